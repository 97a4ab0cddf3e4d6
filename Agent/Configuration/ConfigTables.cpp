#include "Agent/Configuration/ConfigTables.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Agent/Configuration/Json.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Configuration/Schema.h"

namespace Agent {

namespace {

using Errors = std::vector< Diagnostic >;

bool isScalar( const JsonValue& value ) {
   return value.kind == JsonValue::Kind::string || value.kind == JsonValue::Kind::number ||
         value.kind == JsonValue::Kind::boolean;
}

// The position of the first byte that is not part of a UTF-8 character; none if all is well.
std::optional< size_t > badUtf8( std::string_view text ) {
   for ( size_t i = 0; i < text.size(); ) {
      const size_t length = utf8Length( text.substr( i ) );
      if ( length == 0 ) {
         return i;
      }
      i += length;
   }
   return std::nullopt;
}

// Looks into one file, or into one entry of which everything stands at one place.
class Reader {
 public:
   // Of a file values have lines of their own; all of one entry stands where it was written.
   enum class Source : uint8_t { file, entry };
   Reader( Source source, Place place, Errors& errors )
         : source_( source ), place_( std::move( place ) ), errors_( errors ) {}

   JsonValue parse( const std::string& text );
   void readTop( const JsonValue& top, Tables& into );
   Entry readEntry( const EntryName& name, const JsonValue& value, const Place& place );
   void error( const Place& place, const std::string& text ) {
      errors_.push_back( { place, text } );
   }
   Place placeOf( int line ) const {
      return source_ == Source::file ? Place{ place_.file, line } : place_;
   }

 private:
   void readMember( const JsonMember& member, Tables& into );
   void ignore( const std::string& table, const Place& place, Tables& into );
   void readTable( const std::string& table, const JsonMember& member, Tables& into );
   void addEntry( const EntryName& name, const JsonMember& member, Tables& into );
   std::optional< std::string > textOf( const std::string& where, const JsonMember& member );

   const Source source_;
   Place place_;
   std::set< std::string > whole_; // tables read so far that were not flat
   std::set< std::string > mistyped_;
   Errors& errors_;
};

JsonValue Reader::parse( const std::string& text ) {
   auto errorAt = [ & ]( size_t position, const std::string& what ) {
      const auto end = text.begin() + static_cast< std::ptrdiff_t >( position );
      const auto line = 1 + std::count( text.begin(), end, '\n' );
      error( placeOf( static_cast< int >( line ) ), what );
      return JsonValue();
   };
   if ( auto bad = badUtf8( text ) ) {
      return errorAt( *bad, "not UTF-8; allowed: JSON in UTF-8" );
   }
   // To the parser it is the end, whatever stands behind it.
   if ( const size_t zero = text.find( '\0' ); zero != std::string::npos ) {
      return errorAt( zero, "a NUL byte; allowed: JSON in UTF-8" );
   }
   try {
      JsonValue value = parseJson( text );
      if ( !value.isObject() ) {
         error( placeOf( value.line ), kindOf( value ) + "; allowed: an object" );
      }
      return value;
   } catch ( const JsonError& problem ) {
      error( placeOf( problem.line() ), problem.what() );
      return {};
   }
}

// True if the name is that of a table we read, or of one of its entries.
bool namesReadTable( const JsonMember& member ) {
   return tableSchema( entryName( member.name ).table );
}

void Reader::readTop( const JsonValue& top, Tables& into ) {
   const auto& members = top.members;
   const bool bare = std::any_of( members.begin(), members.end(), namesReadTable );
   for ( const JsonMember& member : members ) {
      const auto& inner = member.value.members;
      if ( !bare && std::any_of( inner.begin(), inner.end(), namesReadTable ) ) {
         for ( const JsonMember& wrapped : inner ) {
            readMember( wrapped, into );
         }
      } else {
         readMember( member, into );
      }
   }
}

void Reader::readMember( const JsonMember& member, Tables& into ) {
   const EntryName name = entryName( member.name );
   const bool flat = member.name.find( '|' ) != std::string::npos;
   if ( !tableSchema( name.table ) ) {
      ignore( name.table, placeOf( member.line ), into );
   } else if ( flat ) {
      addEntry( name, member, into );
   } else {
      readTable( name.table, member, into );
   }
}

void Reader::ignore( const std::string& table, const Place& place, Tables& into ) {
   if ( const std::string meant = suggestion( table, readTables() ); meant.empty() ) {
      into.ignored.insert( table );
   } else if ( mistyped_.insert( table ).second ) {
      into.warnings.push_back( { place, table + ": unknown table, ignored" + meant } );
   }
}

void Reader::readTable( const std::string& table, const JsonMember& member, Tables& into ) {
   if ( !member.value.isObject() ) {
      error( placeOf( member.line ),
            table + ": " + kindOf( member.value ) + "; allowed: an object of entries" );
      into.isIncomplete = true;
      return;
   }
   into.tables.try_emplace( table );
   if ( !whole_.insert( table ).second ) {
      error( placeOf( member.line ), table + ": duplicate table" );
   }
   for ( const JsonMember& entry : member.value.members ) {
      addEntry( { table, entry.name }, entry, into );
   }
}

void Reader::addEntry( const EntryName& name, const JsonMember& member, Tables& into ) {
   const Place place = placeOf( member.line );
   Entry entry = readEntry( name, member.value, place );
   auto [ at, isNew ] = into.tables[ name.table ].try_emplace( name.key, std::move( entry ) );
   if ( isNew ) {
      return;
   }
   const std::string text = name.toString() + ": duplicate entry; the first is in line " +
         std::to_string( at->second.place.line );
   if ( name.table == "ACL_RULE" ) {
      into.repeatedRules.push_back( { name.key, { place, text } } );
   } else {
      error( place, text );
   }
}

// An entry's own members, or those that a dump has wrapped.
const std::vector< JsonMember >& fieldsOf( const JsonValue& entry ) {
   const JsonMember* hash = nullptr;
   const JsonMember* value = nullptr;
   for ( const JsonMember& member : entry.members ) {
      if ( member.name == "type" && member.value.text == "hash" ) {
         hash = &member;
      } else if ( member.name == "value" && member.value.isObject() ) {
         value = &member;
      }
   }
   return hash && value ? value->value.members : entry.members;
}

std::string fieldName( const std::string& table, std::string name ) {
   if ( name.ends_with( '@' ) ) {
      name.pop_back();
   }
   if ( table == "ACL_RULE" ) {
      // They are upper case; files in the field also have them in lower case.
      std::transform( name.begin(), name.end(), name.begin(), []( char c ) {
         return c >= 'a' && c <= 'z' ? static_cast< char >( c - 'a' + 'A' ) : c;
      } );
   }
   return name;
}

Entry Reader::readEntry( const EntryName& name, const JsonValue& value, const Place& place ) {
   Entry entry;
   entry.place = place;
   if ( !value.isObject() ) {
      error( place,
            name.toString() + ": " + kindOf( value ) +
                  "; allowed: an object of fields, {} if there are none" );
      return entry;
   }
   const TableSchema* table = tableSchema( name.table );
   ZOL_ASSERT( table );
   for ( const JsonMember& member : fieldsOf( value ) ) {
      Field field;
      field.name = fieldName( name.table, member.name );
      field.place = placeOf( member.line );
      if ( table->isOpen && !table->knows( field.name ) ) {
         continue;
      }
      const std::string where = name.toString() + ": " + field.name;
      if ( entry.find( field.name ) ) {
         error( field.place, where + ": duplicate field" );
         continue;
      }
      auto text = textOf( where, member );
      // {"NULL": "NULL"} is how an entry without fields is stored.
      if ( text && !( field.name == "NULL" && *text == "NULL" ) ) {
         field.text = *text;
         entry.fields.push_back( std::move( field ) );
      }
   }
   return entry;
}

std::optional< std::string > Reader::textOf(
      const std::string& where, const JsonMember& member ) {
   const JsonValue& value = member.value;
   if ( isScalar( value ) ) {
      return value.text;
   }
   if ( value.kind != JsonValue::Kind::array ) {
      error( placeOf( member.line ),
            where + ": " + kindOf( value ) + "; allowed: text, or an array of texts" );
      return std::nullopt;
   }
   std::string text;
   for ( const JsonValue& element : value.elements ) {
      if ( !isScalar( element ) ) {
         error( placeOf( element.line ),
               where + ": " + kindOf( element ) + " in the array; allowed: texts" );
         return std::nullopt;
      }
      text += &element == &value.elements.front() ? "" : ",";
      text += element.text;
   }
   return text;
}

} // namespace

const Field* Entry::find( std::string_view name ) const {
   auto at = std::find_if( fields.begin(), fields.end(),
         [ name ]( const Field& field ) { return field.name == name; } );
   return at == fields.end() ? nullptr : &*at;
}

std::string_view Entry::text( std::string_view name ) const {
   const Field* field = find( name );
   return field ? std::string_view( field->text ) : std::string_view();
}

EntryName entryName( const std::string& tableAndKey ) {
   const size_t bar = tableAndKey.find( '|' );
   if ( bar == std::string::npos ) {
      return { tableAndKey, "" };
   }
   return { tableAndKey.substr( 0, bar ), tableAndKey.substr( bar + 1 ) };
}

Tables parseTables( const std::string& text, const std::string& file, Errors& errors ) {
   Reader reader( Reader::Source::file, { file, 0 }, errors );
   Tables tables;
   reader.readTop( reader.parse( text ), tables );
   return tables;
}

std::string readConfigFile( const std::string& path, size_t mostBytes, Errors& errors ) {
   Diagnostic error;
   error.place.file = path;
   std::error_code ignored;
   if ( std::filesystem::is_directory( path, ignored ) ) {
      error.text = "a directory; allowed: a JSON file";
      errors.push_back( error );
      return "";
   }
   errno = 0;
   std::ifstream in( path, std::ios::binary );
   std::string text;
   char part[ 65536 ];
   while ( in && ( in.read( part, sizeof part ), in.gcount() > 0 ) ) {
      text.append( part, static_cast< size_t >( in.gcount() ) );
      if ( text.size() > mostBytes ) {
         error.text = "larger than " + std::to_string( mostBytes >> 20 ) +
               " MB; allowed: up to that, or more by --config-limit";
         errors.push_back( error );
         return "";
      }
   }
   if ( !in.is_open() || in.bad() ) {
      const std::string why = errno ? std::strerror( errno ) : "cannot be read";
      error.text = why + "; allowed: a JSON file that can be read";
      errors.push_back( error );
   }
   return text;
}

Entry parseEntry(
      const EntryName& name, const std::string& json, const Place& place, Errors& errors ) {
   Reader reader( Reader::Source::entry, place, errors );
   const size_t before = errors.size();
   const JsonValue value = reader.parse( json );
   if ( errors.size() > before ) {
      for ( size_t i = before; i < errors.size(); ++i ) {
         errors[ i ].text = name.toString() + ": " + errors[ i ].text;
      }
      return {};
   }
   return reader.readEntry( name, value, place );
}

} // namespace Agent
