#include "Agent/Commands/Script.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "ChipModel/Capacity.h"

namespace Agent {

namespace {

constexpr std::string_view blanks = " \t\r\v\f";
constexpr uint64_t nsPerSecond = 1'000'000'000;
constexpr uint64_t maxWaitSeconds = 1'000'000'000; // its nanoseconds fit 64 bits

// What is wrong with a step; parseStep() adds what is allowed.
struct Wrong {
   std::string what;
};

// A piece of the script in an error line: whatever it holds, the line stays one line.
std::string inQuotes( std::string_view text ) {
   constexpr size_t longest = 60;
   std::string result = "\"";
   for ( char c : text.substr( 0, longest ) ) {
      auto byte = static_cast< unsigned char >( c );
      if ( byte < 0x20 || byte == 0x7f ) {
         constexpr std::string_view digits = "0123456789abcdef";
         result += std::string( "\\x" ) + digits[ byte >> 4 ] + digits[ byte & 15 ];
      } else {
         result += c;
      }
   }
   return result + ( text.size() > longest ? "...\"" : "\"" );
}

std::string_view trimmed( std::string_view text ) {
   size_t first = text.find_first_not_of( blanks );
   if ( first == text.npos ) {
      return {};
   }
   return text.substr( first, text.find_last_not_of( blanks ) - first + 1 );
}

// The first word of a trimmed text, which is left with the trimmed rest.
std::string_view takeWord( std::string_view& text ) {
   std::string_view word = text.substr( 0, text.find_first_of( blanks ) );
   text = trimmed( text.substr( word.size() ) );
   return word;
}

// The same for a word that has to be there.
std::string takeNeeded( std::string_view& text, const char* what ) {
   std::string_view word = takeWord( text );
   if ( word.empty() ) {
      throw Wrong{ std::string( what ) + " is missing" };
   }
   return std::string( word );
}

void expectEnd( std::string_view text ) {
   if ( !text.empty() ) {
      throw Wrong{ "unexpected " + inQuotes( text ) };
   }
}

std::string_view withoutComment( std::string_view text ) {
   for ( size_t at = text.find( '#' ); at != text.npos; at = text.find( '#', at + 1 ) ) {
      if ( at == 0 || blanks.find( text[ at - 1 ] ) != blanks.npos ) {
         return trimmed( text.substr( 0, at ) );
      }
   }
   return text;
}

template < typename Number >
bool parseNumber( std::string_view text, Number& number ) {
   auto [ end, error ] = std::from_chars( text.data(), text.data() + text.size(), number );
   return error == std::errc() && end == text.data() + text.size();
}

// The length of the text from the opening brace to the one that closes it, 0 if none does.
// Braces within JSON strings do not count.
size_t bracedLength( std::string_view text ) {
   int depth = 0;
   bool inString = false;
   for ( size_t at = 0; at < text.size(); ++at ) {
      char c = text[ at ];
      if ( inString && c == '\\' ) {
         ++at;
      } else if ( c == '"' ) {
         inString = !inString;
      } else if ( !inString && c == '{' ) {
         ++depth;
      } else if ( !inString && c == '}' && --depth == 0 ) {
         return at + 1;
      }
   }
   return 0;
}

std::pair< std::string, std::string > takeTableAndKey( std::string_view& body ) {
   std::string word = takeNeeded( body, "TABLE|KEY" );
   size_t bar = word.find( '|' );
   if ( bar == word.npos || bar == 0 || bar + 1 == word.size() ) {
      throw Wrong{ inQuotes( word ) + " is not a table and a key" };
   }
   return { word.substr( 0, bar ), word.substr( bar + 1 ) };
}

StepAction parseSet( std::string_view body ) {
   auto [ table, key ] = takeTableAndKey( body );
   if ( body.empty() || body.front() != '{' ) {
      throw Wrong{ "JSON text in braces is missing" };
   }
   size_t length = bracedLength( body );
   if ( length == 0 ) {
      throw Wrong{ "the JSON text is not closed on this line" };
   }
   expectEnd( withoutComment( trimmed( body.substr( length ) ) ) );
   return SetStep{ table, key, std::string( body.substr( 0, length ) ) };
}

StepAction parseDel( std::string_view body ) {
   auto [ table, key ] = takeTableAndKey( body );
   expectEnd( body );
   return DelStep{ table, key };
}

StepAction parseIn( std::string_view body ) {
   std::string port = takeNeeded( body, "PORT" );
   if ( body.empty() ) {
      throw Wrong{ "FILE is missing" };
   }
   return InStep{ port, std::string( body ) };
}

StepAction parseWait( std::string_view body ) {
   std::string word = takeNeeded( body, "SECONDS" );
   expectEnd( body );
   size_t point = word.find( '.' );
   std::string fraction = point == word.npos ? "0" : word.substr( point + 1 );
   uint64_t seconds = 0;
   uint64_t ns = 0;
   bool good = fraction.size() <= 9 && parseNumber( word.substr( 0, point ), seconds ) &&
         parseNumber( fraction + std::string( 9 - fraction.size(), '0' ), ns ) &&
         !fraction.empty();
   if ( !good || seconds > maxWaitSeconds || ( seconds == maxWaitSeconds && ns > 0 ) ) {
      throw Wrong{ inQuotes( word ) + " is not valid" };
   }
   return WaitStep{ seconds * nsPerSecond + ns };
}

StepAction parseShow( std::string_view body ) {
   ShowStep step;
   for ( size_t start = 0; start <= body.size(); ) {
      size_t comma = std::min( body.find( ',', start ), body.size() );
      std::string_view what = trimmed( body.substr( start, comma - start ) );
      if ( what.empty() ) {
         throw Wrong{ "WHAT is missing" };
      }
      if ( what.find_first_of( blanks ) != what.npos ) {
         throw Wrong{ inQuotes( what ) + " is not one word" };
      }
      step.what.emplace_back( what );
      start = comma + 1;
   }
   return step;
}

StepAction parseFail( std::string_view body ) {
   FailStep step;
   step.call = takeNeeded( body, "CALL" );
   std::string range = takeNeeded( body, "N" );
   expectEnd( body );
   size_t dots = range.find( ".." );
   bool good = parseNumber( range.substr( 0, dots ), step.first );
   step.last = step.first;
   if ( dots != range.npos ) {
      good = good && parseNumber( range.substr( dots + 2 ), step.last );
   }
   if ( !good || step.first < 1 || step.last < step.first ) {
      throw Wrong{ inQuotes( range ) + " does not say which calls" };
   }
   return step;
}

StepAction parseCapacity( std::string_view body ) {
   CapacityStep step;
   step.what = takeNeeded( body, "WHAT" );
   std::string count = takeNeeded( body, "N" );
   expectEnd( body );
   if ( !parseNumber( count, step.count ) || step.count > ChipModel::mostCapacity ) {
      throw Wrong{ inQuotes( count ) + " is not valid" };
   }
   return step;
}

StepAction parsePort( std::string_view body ) {
   PortStep step;
   step.port = takeNeeded( body, "PORT" );
   std::string state = takeNeeded( body, "up or down" );
   expectEnd( body );
   if ( state != "up" && state != "down" ) {
      throw Wrong{ inQuotes( state ) + " is not a link state" };
   }
   step.isUp = state == "up";
   return step;
}

StepAction parsePlugin( std::string_view body ) {
   PluginStep step;
   std::string unit = takeNeeded( body, "UNIT" );
   if ( !parseNumber( unit, step.unit ) || step.unit < 0 ) {
      throw Wrong{ inQuotes( unit ) + " is not a chip number" };
   }
   step.text = body;
   return step;
}

template < typename Kind >
StepAction parseAlone( std::string_view body ) {
   expectEnd( body );
   return Kind{};
}

struct Verb {
   std::string_view name;
   const char* allowed;
   StepAction ( *parse )( std::string_view body );
};

constexpr std::array verbs{
   Verb{ "set", "set TABLE|KEY {json}, on one line", parseSet },
   Verb{ "del", "del TABLE|KEY", parseDel },
   Verb{ "in", "in PORT FILE", parseIn },
   Verb{ "wait", "wait SECONDS, from 0 to 1000000000, with at most nine decimals", parseWait },
   Verb{ "show", "show WHAT[,WHAT...]", parseShow },
   Verb{ "fail", "fail CALL N[..M], counted from 1, M not below N", parseFail },
   Verb{ "capacity", "capacity WHAT N, N from 0 to 1000000", parseCapacity },
   Verb{ "port", "port PORT up, port PORT down", parsePort },
   Verb{ "plugin", "plugin UNIT TEXT", parsePlugin },
   Verb{ "reload", "reload", parseAlone< ReloadStep > },
   Verb{ "help", "help", parseAlone< HelpStep > },
   Verb{ "watch", "watch", parseAlone< WatchStep > },
   Verb{ "stop", "stop", parseAlone< StopStep > },
};

const Verb& findVerb( std::string_view name ) {
   std::string known;
   for ( const Verb& verb : verbs ) {
      if ( verb.name == name ) {
         return verb;
      }
      known += ( known.empty() ? "" : ", " ) + std::string( verb.name );
   }
   throw ScriptError( inQuotes( name ) + " is not a step; allowed: " + known );
}

} // namespace

std::optional< StepAction > parseStep( std::string_view line ) {
   std::string_view body = trimmed( line );
   if ( body.empty() || body.front() == '#' ) {
      return std::nullopt;
   }
   const Verb& verb = findVerb( takeWord( body ) );
   try {
      // The JSON text of a set may hold a '#', so that step looks for its comment itself.
      return verb.parse( verb.parse == parseSet ? body : withoutComment( body ) );
   } catch ( const Wrong& wrong ) {
      throw ScriptError( wrong.what + "; allowed: " + verb.allowed );
   }
}

std::vector< std::string > stepForms() {
   std::vector< std::string > forms;
   for ( const Verb& verb : verbs ) {
      forms.emplace_back( verb.allowed );
   }
   return forms;
}

std::vector< Step > parseScript( std::string_view text, const std::string& name ) {
   constexpr std::string_view byteOrderMark = "\xef\xbb\xbf"; // some editors begin with it
   if ( text.starts_with( byteOrderMark ) ) {
      text.remove_prefix( byteOrderMark.size() );
   }
   std::vector< Step > steps;
   for ( unsigned line = 1; !text.empty(); ++line ) {
      size_t end = std::min( text.find( '\n' ), text.size() );
      try {
         if ( std::optional< StepAction > action = parseStep( text.substr( 0, end ) ) ) {
            steps.push_back( { line, std::move( *action ) } );
         }
      } catch ( const ScriptError& error ) {
         throw ScriptError( name + ":" + std::to_string( line ) + ": " + error.what() );
      }
      text.remove_prefix( std::min( end + 1, text.size() ) );
   }
   return steps;
}

std::vector< Step > readScript( const std::string& path ) {
   std::error_code missing; // then opening it says so
   if ( std::filesystem::is_directory( path, missing ) ) {
      throw ScriptError( path + ": is a directory; allowed: a script" );
   }
   std::ifstream file( path, std::ios::binary );
   if ( !file ) {
      throw ScriptError( path + ": cannot be read (" + std::strerror( errno ) + ")" );
   }
   std::string text{ std::istreambuf_iterator< char >( file ), {} };
   return parseScript( text, path );
}

} // namespace Agent
