#include "Agent/Configuration/Loader.h"

#include <algorithm>
#include <new>
#include <optional>
#include <set>
#include <tuple>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

void sortByPlace( std::vector< Diagnostic >& diagnostics ) {
   std::stable_sort( diagnostics.begin(), diagnostics.end(),
         []( const Diagnostic& left, const Diagnostic& right ) {
            return std::tie( left.place.file, left.place.line ) <
                  std::tie( right.place.file, right.place.line );
         } );
}

LoadResult failed( std::vector< Diagnostic > errors ) {
   LoadResult result;
   result.errors = std::move( errors );
   sortByPlace( result.errors );
   return result;
}

LoadResult failed( const Place& place, const std::string& text ) {
   return failed( { { place, text } } );
}

} // namespace

struct ConfigSource::State {
   Tables tables;
   Configuration current; // what they say
   std::string defaultProfile{ ChipModel::chipProfiles().front().name };
   size_t mostBytes = defaultConfigLimitMb << 20;
   // Said before, so that a later step does not say them again.
   std::set< std::string > saidWarnings;

   LoadResult validate( const Tables& candidate, Findings& findings ) const;
   // Reads and validates a file; `candidate` is what it says.
   LoadResult read( const std::string& path, Tables& candidate ) const;
   LoadResult readWhole( const std::string& path, Tables& candidate ) const;
   // Unless there are errors, what was read takes the place of all before.
   LoadResult replace( LoadResult result, Tables candidate );
   LoadResult accept( LoadResult result );
   // Puts an entry into the tables, or takes it out, and validates them. With errors, the
   // tables are as they were. (They may be large: a copy of them would cost more than all the
   // rest.)
   LoadResult change( const EntryName& name, std::optional< Entry > entry );
};

// The order of the steps is theirs; see Draft.h.
LoadResult ConfigSource::State::validate( const Tables& candidate, Findings& findings ) const {
   Draft draft{ candidate, defaultProfile, findings, current };
   readChips( draft );
   readPorts( draft );
   readPortChannels( draft );
   readVlans( draft );
   readFdb( draft );
   readAcls( draft );
   readRouting( draft );
   readPolicers( draft );
   readSessions( draft );

   LoadResult result;
   result.configuration = std::move( draft.configuration );
   result.errors = std::move( findings.errors );
   result.warnings = std::move( findings.warnings );
   result.warnings.insert(
         result.warnings.end(), candidate.warnings.begin(), candidate.warnings.end() );
   for ( const LeftOutEntry& refusal : findings.refusals ) {
      result.warnings.push_back( refusal.asWarning() );
   }
   result.ignoredTables.assign( candidate.ignored.begin(), candidate.ignored.end() );
   sortByPlace( result.errors );
   sortByPlace( result.warnings );
   return result;
}

LoadResult ConfigSource::State::accept( LoadResult result ) {
   ZOL_ASSERT( result.errors.empty() );
   current = result.configuration;
   std::set< std::string > standing;
   for ( const Diagnostic& warning : result.warnings ) {
      standing.insert( warning.toString() );
   }
   std::erase_if( result.warnings, [ this ]( const Diagnostic& warning ) {
      return saidWarnings.contains( warning.toString() );
   } );
   saidWarnings = std::move( standing );
   return result;
}

LoadResult ConfigSource::State::change( const EntryName& name, std::optional< Entry > entry ) {
   Table& table = tables.tables[ name.table ];
   const auto at = table.find( name.key );
   std::optional< Entry > before;
   if ( at != table.end() ) {
      before = std::move( at->second );
      table.erase( at );
   }
   auto put = [ & ]( std::optional< Entry > value ) {
      table.erase( name.key );
      if ( value ) {
         table.emplace( name.key, std::move( *value ) );
      }
   };
   put( std::move( entry ) );
   Findings findings;
   LoadResult result = validate( tables, findings );
   // A file is served as far as it can be; a step that would have an entry left out is wrong.
   for ( const LeftOutEntry& refusal : findings.refusals ) {
      if ( !saidWarnings.contains( refusal.asWarning().toString() ) ) {
         result.errors.push_back( refusal.asError() );
      }
   }
   if ( !result.errors.empty() ) {
      sortByPlace( result.errors );
      put( std::move( before ) );
      return result;
   }
   if ( name.table == "ACL_RULE" ) {
      std::erase_if( tables.repeatedRules,
            [ & ]( const auto& repeated ) { return repeated.key == name.key; } );
   }
   return accept( std::move( result ) );
}

ConfigSource::ConfigSource() : state_( std::make_unique< State >() ) {}
ConfigSource::~ConfigSource() = default;
ConfigSource::ConfigSource( ConfigSource&& ) noexcept = default;
ConfigSource& ConfigSource::operator=( ConfigSource&& ) noexcept = default;

void ConfigSource::defaultProfileIs( const std::string& profile ) {
   ZOL_ASSERT( ChipModel::chipProfile( profile ) );
   state_->defaultProfile = profile;
}

void ConfigSource::mostBytesIs( size_t bytes ) { state_->mostBytes = bytes; }

LoadResult ConfigSource::State::read( const std::string& path, Tables& candidate ) const {
   try {
      return readWhole( path, candidate );
   } catch ( const std::bad_alloc& ) {
      candidate = {};
      return failed(
            { path, 0 }, "there is not enough memory for it; allowed: a smaller file" );
   }
}

LoadResult ConfigSource::State::readWhole( const std::string& path, Tables& candidate ) const {
   std::vector< Diagnostic > errors;
   const std::string text = readConfigFile( path, mostBytes, errors );
   if ( errors.empty() ) {
      candidate = parseTables( text, path, errors );
   }
   if ( ( candidate.tables.empty() || candidate.isIncomplete ) && !errors.empty() ) {
      return failed( errors ); // nothing that could be looked into further
   }
   Findings findings;
   LoadResult result = validate( candidate, findings );
   result.errors.insert( result.errors.end(), errors.begin(), errors.end() );
   sortByPlace( result.errors );
   return result;
}

LoadResult ConfigSource::State::replace( LoadResult result, Tables candidate ) {
   if ( !result.errors.empty() ) {
      return result;
   }
   saidWarnings.clear();
   tables = std::move( candidate );
   return accept( std::move( result ) );
}

LoadResult ConfigSource::load( const std::string& path ) {
   Tables candidate;
   LoadResult result = state_->read( path, candidate );
   return state_->replace( std::move( result ), std::move( candidate ) );
}

LoadResult ConfigSource::reload( const std::string& path ) {
   Tables candidate;
   LoadResult result = state_->read( path, candidate );
   const auto& chips = result.configuration.chips;
   if ( result.errors.empty() && chips != state_->current.chips ) {
      Place place{ path, 0 };
      for ( const auto& [ unit, chip ] : chips ) {
         const auto at = state_->current.chips.find( unit );
         if ( at == state_->current.chips.end() || !( at->second == chip ) ) {
            place.line = chip.place.line;
            break;
         }
      }
      result.errors.push_back( { place,
            "CHIP: the chips are fixed while the agent runs; "
            "allowed: the table as it was at the start" } );
   }
   return state_->replace( std::move( result ), std::move( candidate ) );
}

LoadResult ConfigSource::set(
      const std::string& tableAndKey, const std::string& json, const Place& place ) {
   const EntryName name = entryName( tableAndKey );
   if ( !tableSchema( name.table ) ) {
      return failed( place,
            tableAndKey + ": no table of the agent" + suggestion( name.table, readTables() ) +
                  "; allowed: " + joined( readTables() ) );
   }
   std::vector< Diagnostic > errors;
   Entry entry = parseEntry( name, json, place, errors );
   if ( !errors.empty() ) {
      return failed( errors );
   }
   LoadResult result = state_->change( name, std::move( entry ) );
   // What is wrong now was right before this step, wherever it stands.
   for ( Diagnostic& error : result.errors ) {
      if ( error.place.file != place.file || error.place.line != place.line ) {
         error = { place, tableAndKey + ": does not go with " + error.toString() };
      }
   }
   return result;
}

LoadResult ConfigSource::del( const std::string& tableAndKey, const Place& place ) {
   const EntryName name = entryName( tableAndKey );
   const auto table = state_->tables.tables.find( name.table );
   if ( table == state_->tables.tables.end() || !table->second.contains( name.key ) ) {
      return failed( place,
            tableAndKey + ": there is no such entry; allowed: an entry of the configuration" );
   }
   LoadResult result = state_->change( name, std::nullopt );
   // Every error is of an entry that has lost what it names, and begins with its name.
   std::vector< Diagnostic > needed;
   for ( const Diagnostic& error : result.errors ) {
      const std::string by = error.text.substr( 0, error.text.find( ": " ) );
      const Diagnostic one{ place,
         tableAndKey + ": is still needed by " + by + " (" +
               Diagnostic{ error.place, "" }.where() + ")" };
      if ( needed.empty() || needed.back().text != one.text ) {
         needed.push_back( one );
      }
   }
   result.errors = std::move( needed );
   return result;
}

} // namespace Agent
