#include "Agent/Configuration/Loader.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/KnownFields.h"
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
   std::string defaultProfile{ ChipModel::chipProfiles().front().name };
   // Said before, so that a later step does not say them again.
   std::set< std::string > saidWarnings;

   LoadResult validate( const Tables& candidate ) const;
   LoadResult accept( Tables candidate, LoadResult result );
};

// The order of the steps is theirs; see Draft.h.
LoadResult ConfigSource::State::validate( const Tables& candidate ) const {
   Findings findings;
   findings.warnings = candidate.mirrorRules;
   Draft draft{ candidate, defaultProfile, findings, {}, {}, {}, {} };
   readChips( draft );
   readPorts( draft );
   readPortChannels( draft );
   readVlans( draft );
   readFdb( draft );
   readSessions( draft );

   LoadResult result;
   result.configuration = std::move( draft.configuration );
   result.errors = std::move( findings.errors );
   result.warnings = std::move( findings.warnings );
   result.ignoredTables.assign( candidate.ignored.begin(), candidate.ignored.end() );
   sortByPlace( result.errors );
   sortByPlace( result.warnings );
   return result;
}

LoadResult ConfigSource::State::accept( Tables candidate, LoadResult result ) {
   ZOL_ASSERT( result.errors.empty() );
   tables = std::move( candidate );
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

ConfigSource::ConfigSource() : state_( std::make_unique< State >() ) {}
ConfigSource::~ConfigSource() = default;
ConfigSource::ConfigSource( ConfigSource&& ) noexcept = default;
ConfigSource& ConfigSource::operator=( ConfigSource&& ) noexcept = default;

void ConfigSource::defaultProfileIs( const std::string& profile ) {
   ZOL_ASSERT( ChipModel::chipProfile( profile ) );
   state_->defaultProfile = profile;
}

LoadResult ConfigSource::load( const std::string& path ) {
   std::vector< Diagnostic > errors;
   const std::string text = readConfigFile( path, errors );
   Tables candidate;
   if ( errors.empty() ) {
      candidate = parseTables( text, path, errors );
   }
   if ( candidate.tables.empty() && !errors.empty() ) {
      return failed( errors ); // nothing that could be looked into further
   }
   LoadResult result = state_->validate( candidate );
   result.errors.insert( result.errors.end(), errors.begin(), errors.end() );
   sortByPlace( result.errors );
   if ( !result.errors.empty() ) {
      return result;
   }
   state_->saidWarnings.clear();
   return state_->accept( std::move( candidate ), std::move( result ) );
}

LoadResult ConfigSource::set(
      const std::string& tableAndKey, const std::string& json, const Place& place ) {
   const EntryName name = entryName( tableAndKey );
   if ( !isReadTable( name.table ) ) {
      return failed( place,
            tableAndKey + ": no table of the agent; allowed: " + joined( readTables() ) );
   }
   std::vector< Diagnostic > errors;
   Entry entry = parseEntry( name, json, place, errors );
   if ( !errors.empty() ) {
      return failed( errors );
   }
   Tables candidate = state_->tables;
   candidate.tables[ name.table ][ name.key ] = std::move( entry );
   LoadResult result = state_->validate( candidate );
   if ( result.errors.empty() ) {
      return state_->accept( std::move( candidate ), std::move( result ) );
   }
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
   Tables candidate = state_->tables;
   auto table = candidate.tables.find( name.table );
   if ( table == candidate.tables.end() || table->second.erase( name.key ) == 0 ) {
      return failed( place,
            tableAndKey +
                  ": there is no such entry; allowed: an entry of the configuration" );
   }
   LoadResult result = state_->validate( candidate );
   if ( result.errors.empty() ) {
      return state_->accept( std::move( candidate ), std::move( result ) );
   }
   for ( Diagnostic& error : result.errors ) {
      error = { place, tableAndKey + ": is still needed: " + error.toString() };
   }
   return result;
}

} // namespace Agent
