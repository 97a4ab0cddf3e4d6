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
#include "Tests/TemporaryFolder.h"

namespace Scenario {

using Frames::Bytes;

// A chip profile's name as a part of a test's, which has no hyphens.
inline std::string testName( std::string profile ) {
   std::ranges::replace( profile, '-', '_' );
   return profile;
}

// An Ethernet frame of 64 bytes; vlan 0: untagged. `tag` is its first payload byte.
inline Bytes frame( uint8_t source, uint8_t destination, uint16_t vlan = 0, uint8_t tag = 0 ) {
   Bytes bytes;
   bytes.reserve( 64 );
   bytes.assign( { 2, 0, 0, 0, 0, destination, 2, 0, 0, 0, 0, source } );
   if ( vlan ) {
      bytes.insert( bytes.end(),
            { 0x81, 0x00, static_cast< uint8_t >( vlan >> 8 ),
                  static_cast< uint8_t >( vlan ) } );
   }
   bytes.insert( bytes.end(), { 0x88, 0xb5, tag } ); // local experimental EtherType
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
      for ( const Agent::Diagnostic& error : loaded.errors ) {
         ADD_FAILURE() << error.toString();
      }
      recordSessions();
   }
   // When all sessions have been withdrawn, nothing is left in the chips.
   ~Rig() {
      runtime.withdraw();
      EXPECT_EQ( ChipModel::leftIn( runtime.chips().control().state( 0 ) ),
            std::vector< std::string >() );
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
      return take( port,
            []( ChipModel::CopyKind kind ) { return kind != ChipModel::CopyKind::forwarded; } );
   }
   size_t copyCount( const std::string& port ) { return copies( port ).size(); }
   void forget() { collector_.all.clear(); }
   const std::vector< Collector::Sent >& sent() const { return collector_.all; }

   void set( const std::string& entry, const std::string& json ) {
      for ( const Agent::Diagnostic& error : runtime.set( entry, json, {} ).errors ) {
         ADD_FAILURE() << error.toString();
      }
      recordSessions();
   }
   void del( const std::string& entry ) {
      for ( const Agent::Diagnostic& error : runtime.del( entry, {} ).errors ) {
         ADD_FAILURE() << error.toString();
      }
      recordSessions();
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
      for ( const auto& entry : runtime.chips().control().state( unit ).entries ) {
         if ( entry.installed && entry.name.starts_with( prefix ) ) {
            ids.push_back( entry.id );
         }
      }
      return ids;
   }
   int entriesUsed( int unit = 0 ) {
      return runtime.chips().chip( unit )->fields().entriesUsed( Shim::FieldStage::ingress );
   }
   uint64_t calls( ChipModel::SdkCall call ) {
      return runtime.chips().control().gate().calls( call );
   }

 private:
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
   template < typename Wanted >
   std::vector< Bytes > take( const std::string& port, Wanted wanted ) {
      const int number = runtime.configuration().ports.at( port ).chipPort;
      std::vector< Bytes > taken;
      std::erase_if( collector_.all, [ & ]( Collector::Sent& one ) {
         if ( one.port != number || !wanted( one.kind ) ) {
            return false;
         }
         taken.push_back( std::move( one.bytes ) );
         return true;
      } );
      return taken;
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
   return "\"" + name + "\": { \"type\": \"SPAN\", \"src_port\": \"" + sources +
         "\", \"dst_port\": \"" + destination + "\", \"direction\": \"" + direction + "\" }";
}

} // namespace Scenario
