#pragma once

// A switch with the agent and the plug-in on it, driven by a configuration and by frames.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Agent/Runtime/Runtime.h"
#include "ChipModel/LeftIn.h"
#include "Tests/Frames.h"
#include "Tests/Names.h"
#include "Tests/TemporaryFolder.h"

namespace Scenario {

using Frames::Bytes;

inline std::vector< std::string > chipsWhere( bool ( *is )( const ChipModel::Profile& ) ) {
   std::vector< std::string > names;
   for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
      if ( is( profile ) ) {
         names.emplace_back( profile.name );
      }
   }
   return names;
}

// An Ethernet frame of 64 bytes and an experimental type; vlan 0: untagged. `tag` is its first
// payload byte.
inline Bytes frame( uint8_t source, uint8_t destination, uint16_t vlan = 0, uint8_t tag = 0 ) {
   using Frames::operator+;
   Bytes bytes = Frames::mac( destination ) + Frames::mac( source ) +
         ( vlan ? Frames::tag( vlan ) : Bytes() ) + Frames::be16( 0x88b5 ) + Bytes{ tag };
   bytes.resize( 64 );
   return bytes;
}

// What left the chips.
class Collector : public ChipModel::FrameSink {
 public:
   struct Sent {
      ChipModel::CopyKind kind{};
      int port = 0;
      Bytes bytes;
   };
   void sent( const ChipModel::SentFrame& out ) override {
      all.push_back( { out.kind, out.port,
            Bytes( out.frame.data, out.frame.data + out.frame.length ) } );
   }
   std::vector< Sent > all;
};

// What a user could see of a scenario, in lines.
using Transcript = std::vector< std::string >;

inline std::string spanJson( const std::string& sources, const std::string& destination,
      const std::string& direction ) {
   return R"({ "type": "SPAN", "src_port": ")" + sources + R"(", "dst_port": ")" + destination +
         R"(", "direction": ")" + direction + "\" }";
}

class Rig {
 public:
   // While there is a recorder: what leaves the chips for each frame, and the sessions after each
   // change.
   static inline Transcript* recorder = nullptr;
   static inline std::string defaultProfile; // of rigs that name none

   explicit Rig( const std::string& json, const std::string& profile = defaultProfile )
         : config_( folder_.write( "config.json", json ) ),
           runtime( { KARVEL_PLUGIN, profile } ) {
      runtime.chips().control().sinkIs( &collector_ );
      loaded = runtime.start( config_ );
      changed( loaded.errors );
   }
   // When all sessions have been withdrawn, nothing is left in the chips.
   ~Rig() {
      runtime.withdraw();
      EXPECT_EQ( ChipModel::leftIn( chip() ), Transcript() );
      runtime.chips().control().sinkIs( nullptr );
   }

   // Sends a frame into a port.
   void send( const std::string& port, const Bytes& bytes ) {
      const Agent::PortConfig& config = runtime.configuration().ports.at( port );
      const auto length = static_cast< uint32_t >( bytes.size() );
      const size_t before = collector_.all.size();
      runtime.receive( config.unit, config.chipPort, { 1, bytes.data(), length, length } );
      recordSent( port, before );
   }
   // The mirror copies that left a port since they were last asked for, there or at any port.
   std::vector< Bytes > copies( const std::string& port ) {
      const int number = port == Agent::cpuDestination
            ? 0
            : runtime.configuration().ports.at( port ).chipPort;
      std::vector< Bytes > taken;
      std::erase_if( collector_.all, [ & ]( Collector::Sent& one ) {
         if ( one.port != number || one.kind == ChipModel::CopyKind::forwarded ) {
            return false;
         }
         taken.push_back( std::move( one.bytes ) );
         return true;
      } );
      return taken;
   }
   size_t copyCount( const std::string& port ) { return copies( port ).size(); }
   // Sends a frame and counts what has left a port since it was last asked.
   size_t copied( const std::string& from, const Bytes& bytes, const std::string& to ) {
      send( from, bytes );
      return copyCount( to );
   }
   // How many frames of the switch's ordinary work left by any port, or by one.
   size_t forwarded( const std::string& port = "" ) const {
      return static_cast< size_t >( std::ranges::count_if( sent(), [ & ]( const auto& one ) {
         return one.kind == ChipModel::CopyKind::forwarded &&
               ( port.empty() || runtime.portName( 0, one.port ) == port );
      } ) );
   }
   void forget() { collector_.all.clear(); }
   const std::vector< Collector::Sent >& sent() const { return collector_.all; }

   void set( const std::string& entry, const std::string& json ) {
      changed( runtime.set( entry, json, {} ).errors );
   }
   void del( const std::string& entry ) { changed( runtime.del( entry, {} ).errors ); }
   void setSpan( const std::string& name, const std::string& sources,
         const std::string& destination, const std::string& direction ) {
      set( "MIRROR_SESSION|" + name, spanJson( sources, destination, direction ) );
   }

   Agent::SessionState session( const std::string& name ) const {
      for ( const Agent::SessionState& state : runtime.sessions() ) {
         if ( state.config->name == name ) {
            return state;
         }
      }
      ADD_FAILURE() << "no session " << name;
      return {};
   }
   // Ids of the installed entries whose name begins like this; all with "".
   std::vector< int > entries( const std::string& prefix = "", int unit = 0 ) {
      std::vector< int > ids;
      for ( const auto& entry : chip( unit ).entries ) {
         if ( entry.installed && entry.name.starts_with( prefix ) ) {
            ids.push_back( entry.id );
         }
      }
      return ids;
   }
   int entriesUsed( int unit = 0 ) {
      return runtime.chips().chip( unit )->fields().entriesUsed( Shim::FieldStage::ingress );
   }
   ChipModel::ChipState chip( int unit = 0 ) { return runtime.chips().control().state( unit ); }
   // What mirroring has in the chip; forwarding's tables stay while the agent runs.
   Transcript left() {
      ChipModel::ChipState state = chip();
      state.vlans.clear();
      state.trunks.clear();
      state.l2Addresses.clear();
      Transcript lines = ChipModel::leftIn( state );
      for ( const auto& port : state.ports ) {
         if ( port.classBits != 0 ) {
            lines.push_back( "port " + std::to_string( port.port ) + " in a class" );
         }
      }
      return lines;
   }
   ChipModel::Gate& gate() { return runtime.chips().control().gate(); }
   uint64_t calls( ChipModel::SdkCall call ) { return gate().calls( call ); }

 private:
   void changed( const std::vector< Agent::Diagnostic >& errors ) {
      for ( const Agent::Diagnostic& error : errors ) {
         ADD_FAILURE() << error.toString();
      }
      recordSessions();
   }
   // In the order of the ports: that of the copies of one frame is the chip's own.
   void recordSent( const std::string& from, size_t before ) {
      if ( !recorder ) {
         return;
      }
      std::multiset< std::string > lines;
      for ( size_t i = before; i < collector_.all.size(); ++i ) {
         const Collector::Sent& sent = collector_.all[ i ];
         std::string line = from + " > " + runtime.portName( 0, sent.port ) + " kind " +
               std::to_string( static_cast< int >( sent.kind ) ) + ":";
         for ( uint8_t byte : sent.bytes ) {
            line += " " + std::to_string( byte );
         }
         lines.insert( line );
      }
      recorder->insert( recorder->end(), lines.begin(), lines.end() );
   }
   void recordSessions() {
      if ( !recorder ) {
         return;
      }
      for ( const Agent::SessionState& state : runtime.sessions() ) {
         std::string line = state.config->name + " phase " +
               std::to_string( static_cast< int >( state.phase ) ) + " " + state.reason;
         for ( const Agent::HeldDestination& held : state.held ) {
            line += " mirror " + held.mtp.toString() + " " + Zol::toString( held.status );
         }
         recorder->push_back( line + ", " + std::to_string( entriesUsed() ) + " entries" );
      }
   }
   TemporaryFolder folder_;
   std::string config_;
   Collector collector_;

 public:
   Agent::Runtime runtime;
   Agent::LoadResult loaded;
};

// Hosts on Ethernet0 (untagged), Ethernet4 (untagged) and Ethernet8 (VLAN 20 too), PortChannel1
// of Ethernet12 and Ethernet16, all in VLAN 10; Ethernet20 to Ethernet36 are for mirroring.
// `more` are further tables.
inline std::string network( const std::string& sessions, const std::string& more = "" ) {
   return R"({
  "PORT": { "Ethernet0": {}, "Ethernet4": {}, "Ethernet8": {}, "Ethernet12": {},
            "Ethernet16": {}, "Ethernet20": {}, "Ethernet24": {}, "Ethernet28": {},
            "Ethernet32": {}, "Ethernet36": {} },
  "PORTCHANNEL": { "PortChannel1": {} },
  "PORTCHANNEL_MEMBER": { "PortChannel1|Ethernet12": {}, "PortChannel1|Ethernet16": {} },
  "VLAN": { "Vlan10": {}, "Vlan20": {} },
  "VLAN_MEMBER": {
    "Vlan10|Ethernet0": { "tagging_mode": "untagged" },
    "Vlan10|Ethernet4": { "tagging_mode": "untagged" },
    "Vlan10|Ethernet8": { "tagging_mode": "tagged" },
    "Vlan10|PortChannel1": { "tagging_mode": "untagged" },
    "Vlan20|Ethernet0": { "tagging_mode": "tagged" },
    "Vlan20|Ethernet8": { "tagging_mode": "tagged" } },
  "MIRROR_SESSION": { )" +
         sessions + " }" + ( more.empty() ? "" : ", " + more ) + " }";
}

inline std::string span( const std::string& name, const std::string& sources,
      const std::string& destination, const std::string& direction ) {
   return "\"" + name + "\": " + spanJson( sources, destination, direction );
}

} // namespace Scenario
