#pragma once

// Traces: named handles with levels 0 to 9, switched by name while the agent runs. A trace that
// is off costs a load and a test; its arguments are not evaluated.
//
//    namespace { Duolog::Handle trace( "SliceMtpSm" ); }
//    DUOLOG_IN( trace, 1, "SliceMtpSm::handleConfigChange", " mtp : " << mtp );
//    DUOLOG( trace, 2, "words of no handler: " << mtp );
//
//    Duolog::enable( "SliceMtpSm/0-4,Tcam*" );
//
// Only the agent's thread may use it. Lines for standard error are buffered until there are
// many of them, the agent exits or an assertion fails.

#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Duolog {

inline constexpr int maxLevel = 9;

class Handle {
 public:
   // Keeps a reference to the name, which must be a literal. Handles are objects of static
   // storage.
   explicit Handle( const char* name );
   ~Handle(); // a plug-in that is unloaded takes its handles along
   Handle( const Handle& ) = delete;
   Handle& operator=( const Handle& ) = delete;

   const char* name() const { return name_; }
   bool isOn( int level ) const { return ( levels_ >> level & 1 ) != 0; }
   void levelsIs( uint32_t levels ) { levels_ = levels; } // one bit per level

 private:
   uint32_t levels_ = 0;
   const char* name_;
};

// Switches traces on, besides those that are on already. `setting` is a comma list of
// NAME[/LEVELS]: NAME with '*' for any characters, LEVELS as "4", "0-4" or "*" (the default).
// It also holds for handles that are made later, so no name is unknown. Returns what is wrong
// with a malformed setting, which then changes nothing.
std::optional< std::string > enable( std::string_view setting );
void disableAll();
// The names of all handles, sorted, each once.
std::vector< std::string > handleNames();

// Receives the lines, each without its line end; standard error by default.
using Sink = std::function< void( std::string_view line ) >;
void sinkIs( Sink sink ); // an empty one restores the default
// The time stamp of lines, in seconds; the agent's own time by default.
void timeSourceIs( double ( *now )() );
// Writes out the buffered lines. A fatal assertion does so before it aborts.
void flush();

void write( const Handle& handle, int level, const std::string& text );

} // namespace Duolog

#define DUOLOG( handle, level, ... )                                                           \
   do {                                                                                        \
      if ( ( handle ).isOn( level ) ) [[unlikely]] {                                           \
         std::ostringstream duologText;                                                        \
         duologText << __VA_ARGS__;                                                            \
         ::Duolog::write( handle, level, duologText.str() );                                   \
      }                                                                                        \
   } while ( false )
// A line that begins with the handler that it is of, and may say no more than that.
#define DUOLOG_IN( handle, level, handler, ... )                                               \
   DUOLOG( handle, level, handler __VA_OPT__( << __VA_ARGS__ ) )
