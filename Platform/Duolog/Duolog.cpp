#include "Platform/Duolog/Duolog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "Platform/Zol/Assert.h"
#include "Platform/Zol/Clock.h"

namespace Duolog {

namespace {

constexpr uint32_t allLevels = ( 1U << ( maxLevel + 1 ) ) - 1;

struct Setting {
   std::string name; // may hold '*'
   uint32_t levels = allLevels;
};

double agentTime() { return Zol::activityManager().now(); }

struct State {
   std::vector< Handle* > handles;
   std::vector< Setting > settings;
   Sink sink;
   double ( *now )() = agentTime;
   std::string buffer;
};

// Never destroyed: handles of unloaded plug-ins still sign off at the very end.
State& state() {
   static State* all = [] {
      Zol::assertionFlushHookIs( flush );
      std::atexit( flush );
      return new State;
   }();
   return *all;
}

// Only the last '*' ever matches more: everything before it has matched already.
bool matches( std::string_view pattern, std::string_view name ) {
   size_t p = 0;
   size_t n = 0;
   size_t afterStar = std::string_view::npos;
   size_t starEnd = 0; // in `name`: where what that '*' matches ends
   while ( n < name.size() ) {
      if ( p < pattern.size() && pattern[ p ] == '*' ) {
         afterStar = ++p;
         starEnd = n;
      } else if ( p < pattern.size() && pattern[ p ] == name[ n ] ) {
         ++p;
         ++n;
      } else if ( afterStar != std::string_view::npos ) {
         p = afterStar;
         n = ++starEnd;
      } else {
         return false;
      }
   }
   return pattern.find_first_not_of( '*', p ) == std::string_view::npos;
}

uint32_t levelsOf( const Handle& handle ) {
   uint32_t levels = 0;
   for ( const Setting& setting : state().settings ) {
      if ( matches( setting.name, handle.name() ) ) {
         levels |= setting.levels;
      }
   }
   return levels;
}

// "4", "0-4" or "*" as bits; none for any other text.
std::optional< uint32_t > parseLevels( std::string_view text ) {
   auto digit = []( char c ) { return c >= '0' && c <= '9'; };
   if ( text == "*" ) {
      return allLevels;
   }
   if ( text.size() == 1 && digit( text[ 0 ] ) ) {
      return 1U << ( text[ 0 ] - '0' );
   }
   if ( text.size() == 3 && digit( text[ 0 ] ) && text[ 1 ] == '-' && digit( text[ 2 ] ) &&
         text[ 0 ] <= text[ 2 ] ) {
      return ( 2U << ( text[ 2 ] - '0' ) ) - ( 1U << ( text[ 0 ] - '0' ) );
   }
   return {};
}

} // namespace

Handle::Handle( const char* name ) : name_( name ) {
   state().handles.push_back( this );
   levels_ = levelsOf( *this );
}

Handle::~Handle() { std::erase( state().handles, this ); }

std::optional< std::string > enable( std::string_view text ) {
   std::vector< Setting > settings = state().settings;
   while ( true ) {
      const size_t end = text.find( ',' );
      const std::string_view item = text.substr( 0, end );
      const size_t slash = item.find( '/' );
      Setting setting;
      setting.name = item.substr( 0, slash );
      auto levels = slash == std::string_view::npos ? std::optional( allLevels )
                                                    : parseLevels( item.substr( slash + 1 ) );
      const bool blank = setting.name.find_first_of( " \t\r\n" ) != std::string::npos;
      if ( setting.name.empty() || blank || !levels ) {
         return "trace setting '" + std::string( item ) +
               "' is malformed; allowed: NAME or NAME/LEVELS without blanks, with '*' in "
               "NAME, LEVELS as 4, 0-4 or *";
      }
      setting.levels = *levels;
      settings.push_back( setting );
      if ( end == std::string_view::npos ) {
         break;
      }
      text.remove_prefix( end + 1 );
   }
   state().settings = settings;
   for ( Handle* handle : state().handles ) {
      handle->levelsIs( levelsOf( *handle ) );
   }
   return {};
}

void disableAll() {
   state().settings.clear();
   for ( Handle* handle : state().handles ) {
      handle->levelsIs( 0 );
   }
}

std::vector< std::string > handleNames() {
   std::set< std::string > names;
   for ( const Handle* handle : state().handles ) {
      names.insert( handle->name() );
   }
   return { names.begin(), names.end() };
}

void sinkIs( Sink sink ) {
   flush();
   state().sink = std::move( sink );
}

void timeSourceIs( double ( *now )() ) { state().now = now ? now : agentTime; }

void flush() {
   std::string& buffer = state().buffer;
   std::fwrite( buffer.data(), 1, buffer.size(), stderr );
   std::fflush( stderr );
   buffer.clear();
}

void write( const Handle& handle, int level, const std::string& text ) {
   char head[ 40 ];
   std::snprintf( head, sizeof head, "%.6f ", state().now() );
   std::string line = head;
   line.append( handle.name() ).append( 1, '/' ).append( std::to_string( level ) );
   line.append( 1, ' ' ).append( text );
   if ( state().sink ) {
      state().sink( line );
      return;
   }
   state().buffer.append( line ).append( 1, '\n' );
   if ( state().buffer.size() > 65536 ) {
      flush();
   }
}

} // namespace Duolog
