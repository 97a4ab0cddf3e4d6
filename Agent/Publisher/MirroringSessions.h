#pragma once

// The mirroring configuration that all slices read: the sessions that are served, and their GRE
// keys. Each chip's publisher keeps those of its own.
//
// A key is announced before copies are sent with it, and taken back only when none is sent any
// more: in between the chip knows how to send both.

#include <map>
#include <optional>
#include <set>
#include <string>

#include "Platform/Mirroring/MirroringConfig.h"
#include "Platform/Zol/Clock.h"

namespace Agent {

class MirroringSessions {
 public:
   using Key = std::optional< uint32_t >;
   using Keys = std::map< std::string, Key >; // by session

   explicit MirroringSessions( Zol::Ptr< Mirroring::Config > config )
         : config_( config ), showClock_( [ this ] { showKeys(); } ) {}

   // Sessions of a chip that are served from now on. Keys come, none goes.
   void announce( int unit, const Keys& sessions );
   // These are all that the chip serves, as they are. Unsettled ones may still send copies as
   // before: no key of theirs goes.
   void settle( int unit, const Keys& sessions, const std::set< std::string >& unsettled = {} );
   // Shows all sessions without keys for a turn of the event loop, so that slices set their chips
   // for keys anew.
   void renewKeys();

 private:
   void set( int unit, const std::string& session, const Key& key );
   void showKeys();

   Zol::Ptr< Mirroring::Config > config_;
   std::map< std::string, int > units_; // of each session, the chip that serves it
   std::map< std::string, Mirroring::GreTunnelKey > hidden_;
   int turnsHidden_ = 0; // that are left
   Zol::Clock showClock_;
};

} // namespace Agent
