// Frames per second through one chip: 64-byte frames, 1,000 entries in the ingress stage,
// and a sink that copies what leaves, as a capture writer does.
//
// Plain: no entries. Lookup: 1,000 entries and a frame that none of them matches. Mirror:
// 1,000 entries and a frame that the last of them mirrors. Each for entries that look at
// the ingress port and VLAN, and for entries that look at the egress port too. "ratio" is
// the time per frame over that of the plain pipeline, measured in the same run.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include <benchmark/benchmark.h>

#include "ChipModel/Profile.h"
#include "ChipModel/Switch.h"

namespace {

using namespace ChipModel;

constexpr int entries = 1000;
constexpr uint16_t firstVid = 100;
constexpr int stations = 256; // on either side

enum class Load { plain, lookup, mirror };
enum class Match { ingress, ingressAndEgress };

class CopyingSink : public FrameSink {
 public:
   CopyingSink() : buffer_( size ) {}
   void sent( const SentFrame& out ) override {
      if ( at_ + out.frame.length > size ) {
         at_ = 0;
      }
      std::memcpy( buffer_.data() + at_, out.frame.data, out.frame.length );
      at_ += out.frame.length;
      ++frames;
   }
   uint64_t frames = 0;

 private:
   static constexpr size_t size = 1 << 20;
   std::vector< uint8_t > buffer_;
   size_t at_ = 0;
};

// Port 1 and 2 in all VLANs, tagged; stations are known at both.
class Setup {
 public:
   Setup( Load load, Match match ) {
      box_.addChip( 0, *chipProfile( "trident3" ) );
      box_.control().sinkIs( &sink );
      Shim::Sdk& sdk = box_.sdk();
      Shim::PortBitmap both;
      both.set( 1 ).set( 2 );
      bool good = true;
      const auto check = [ &good ]( Shim::Rc rc ) { good = good && rc == 0; };
      for ( int port : { 1, 2, 3 } ) {
         check( sdk.bcm_port_enable_set( 0, port, true ) );
      }
      const uint16_t vid = firstVid + entries - 1;
      check( sdk.bcm_vlan_create( 0, vid ) );
      check( sdk.bcm_vlan_port_add( 0, vid, both, {} ) );
      check( sdk.bcm_mirror_destination_set(
            0, 0, { Shim::MirrorDestination::Kind::port, 3 } ) );
      if ( load != Load::plain ) {
         addEntries( sdk, match, load == Load::mirror ? 1 : 9, check );
      }
      makeFrames( vid );
      receive( 2 * stations ); // the stations are learned
      if ( !good || box_.control().state( 0 ).l2Addresses.size() != 2 * stations ) {
         std::abort();
      }
   }

   void receive( int frames ) {
      Pipeline& pipeline = box_.chip( 0 )->pipeline();
      for ( int i = 0; i < frames; ++i ) {
         const auto which = static_cast< size_t >( next_++ ) % frames_.size();
         pipeline.receive( which % 2 == 0 ? 1 : 2, { 0, frames_[ which ].data(), 64, 64 } );
      }
   }

   CopyingSink sink;

 private:
   template < typename Check >
   static void addEntries( Shim::Sdk& sdk, Match match, int port, Check check ) {
      using Shim::Qualifier;
      Shim::QualifierSet set;
      set.set( static_cast< size_t >( Qualifier::inPorts ) );
      set.set( static_cast< size_t >( Qualifier::outerVlanId ) );
      set.set( static_cast< size_t >( Qualifier::dstPort ) );
      int group = 0;
      check( sdk.bcm_field_group_create( 0, Shim::FieldStage::ingress, set, 1, &group ) );
      Shim::PortBitmap ports;
      ports.set( static_cast< size_t >( port ) ).set( static_cast< size_t >( port + 1 ) );
      for ( int i = 0; i < entries; ++i ) {
         int entry = 0;
         check( sdk.bcm_field_entry_create( 0, group, &entry ) );
         check( sdk.bcm_field_entry_prio_set( 0, entry, entries - i ) );
         check( sdk.bcm_field_qualify_InPorts( 0, entry, ports, ~Shim::PortBitmap{} ) );
         check( sdk.bcm_field_qualify_OuterVlanId(
               0, entry, static_cast< uint32_t >( firstVid + i ), 0xfff ) );
         if ( match == Match::ingressAndEgress ) {
            check( sdk.bcm_field_qualify_DstPort( 0, entry, 0, 0xff, 0, 0xfc ) );
         }
         check( sdk.bcm_field_action_add( 0, entry, Shim::FieldAction::mirrorIngress, 0, 0 ) );
         check( sdk.bcm_field_entry_install( 0, entry ) );
      }
   }

   // Turn by turn from a station at port 1 to one at port 2 and back.
   void makeFrames( uint16_t vid ) {
      for ( int i = 0; i < stations; ++i ) {
         std::array< uint8_t, 64 > frame{ 2, 2, 0, 0, 0, static_cast< uint8_t >( i ), 2, 1, 0,
            0, 0, static_cast< uint8_t >( i ), 0x81, 0, static_cast< uint8_t >( vid >> 8 ),
            static_cast< uint8_t >( vid ), 0x08, 0 };
         frames_.push_back( frame );
         std::swap_ranges( frame.begin(), frame.begin() + 6, frame.begin() + 6 );
         frames_.push_back( frame );
      }
   }

   Switch box_;
   std::vector< std::array< uint8_t, 64 > > frames_;
   uint64_t next_ = 0;
};

// Processor time: others on the machine disturb it less than wall-clock time.
double secondsFor( Setup& setup, int frames ) {
   const std::clock_t start = std::clock();
   setup.receive( frames );
   return static_cast< double >( std::clock() - start ) / CLOCKS_PER_SEC;
}

void packets( benchmark::State& state, Load load, Match match ) {
   constexpr int burst = 20'000;
   Setup plain( Load::plain, match );
   Setup loaded( load, match );
   double plainTime = 0;
   double loadedTime = 0;
   const uint64_t before = loaded.sink.frames;
   for ( auto each : state ) {
      static_cast< void >( each );
      // Side by side, so that both meet the same disturbances.
      plainTime += secondsFor( plain, burst );
      const double time = secondsFor( loaded, burst );
      loadedTime += time;
      state.SetIterationTime( time );
   }
   const auto received = static_cast< double >( state.iterations() ) * burst;
   state.SetItemsProcessed( state.iterations() * burst );
   state.counters[ "ratio" ] = loadedTime / plainTime;
   state.counters[ "sent_per_frame" ] =
         static_cast< double >( loaded.sink.frames - before ) / received;
}

BENCHMARK_CAPTURE( packets, plain, Load::plain, Match::ingress )->UseManualTime();
BENCHMARK_CAPTURE( packets, lookup, Load::lookup, Match::ingress )->UseManualTime();
BENCHMARK_CAPTURE( packets, mirror, Load::mirror, Match::ingress )->UseManualTime();
BENCHMARK_CAPTURE( packets, lookupEgress, Load::lookup, Match::ingressAndEgress )
      ->UseManualTime();
BENCHMARK_CAPTURE( packets, mirrorEgress, Load::mirror, Match::ingressAndEgress )
      ->UseManualTime();

} // namespace
