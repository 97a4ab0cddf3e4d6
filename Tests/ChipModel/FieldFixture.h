#pragma once

// For tests of entries' matches and actions: a switch with one VLAN and two mirror destinations,
// and groups that carry every qualifier of their stage.

#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Fields/FieldRules.h"
#include "Tests/ChipModel/SwitchFixture.h"

namespace ChipModel::Test {

inline QualifierSet only( std::initializer_list< Qualifier > qualifiers ) {
   QualifierSet set;
   for ( Qualifier each : qualifiers ) {
      set.set( static_cast< size_t >( each ) );
   }
   return set;
}

inline constexpr uint32_t exact = 0xffffffff;

class FieldTest : public ChipTest {
 protected:
   // VLAN 10: ports 1 to 3 untagged. Mirror destinations 0 and 1: 7 and 8.
   explicit FieldTest( const Profile& profile = testProfile() ) : ChipTest( profile ) {
      vlan( 10, {}, { 1, 2, 3 } );
      destination( 0, 7 );
      destination( 1, 8 );
   }
   int newGroup( int priority = 0, FieldStage stage = FieldStage::ingress ) {
      return newGroup( stageQualifiers( box_.chip( 0 )->profile(), stage ), priority, stage );
   }
   int newGroup( const QualifierSet& qualifiers, int priority = 0,
         FieldStage stage = FieldStage::ingress ) {
      int id = -1;
      ok( sdk().bcm_field_group_create( 0, stage, qualifiers, priority, &id ) );
      return id;
   }
   // Matches everything until it is qualified; not installed.
   int newEntry( int in, FieldAction action, uint32_t param0 = 0, uint32_t param1 = 0 ) {
      int id = -1;
      ok( sdk().bcm_field_entry_create( 0, in, &id ) );
      ok( sdk().bcm_field_action_add( 0, id, action, param0, param1 ) );
      return id;
   }
   // The entry, qualified by one more call: with( id, &Sdk::bcm_field_qualify_Drop, 1, 1 ).
   template < typename... Args >
   int with( int id, Rc ( Sdk::*call )( int, int, Args... ),
         const std::type_identity_t< Args >&... args ) {
      ok( ( sdk().*call )( 0, id, args... ) );
      return id;
   }
   int installed( int id, int priority = 0 ) {
      ok( sdk().bcm_field_entry_prio_set( 0, id, priority ) );
      ok( sdk().bcm_field_entry_install( 0, id ) );
      return id;
   }
   // Installed entries for what comes in at a port, and for what goes to one; `to` is a mirror
   // destination.
   int fromPort( int in, int port, FieldAction action, uint32_t to = 0 ) {
      const int id = newEntry( in, action, 0, to );
      // Of the ports that are asked for by mask, the frame's must be among the data.
      ok( sdk().bcm_field_qualify_InPorts( 0, id, bitmap( { port } ), ~PortBitmap{} ) );
      return installed( id );
   }
   int toPort( int in, uint32_t port, FieldAction action, uint32_t to = 0 ) {
      const int id = newEntry( in, action, 0, to );
      toChipPort( id, port );
      return installed( id );
   }
   void matchAll( int id ) {
      for ( const FieldRow& row : fieldCatalogue ) {
         sdk().bcm_field_qualifier_delete( 0, id, row.qualifier );
      }
   }
   void onPort( int id, uint32_t l4Port ) {
      ok( sdk().bcm_field_qualify_L4DstPort( 0, id, l4Port, exact ) );
   }
   void toChipPort( int id, uint32_t port ) {
      ok( sdk().bcm_field_qualify_DstPort( 0, id, 0, 0xff, port, 0xff ) );
   }
   EntryView view( int id ) {
      for ( const EntryView& each : state().entries ) {
         if ( each.id == id ) {
            return each;
         }
      }
      return {};
   }
   uint32_t policer( uint32_t kbits, uint32_t burst ) {
      bcm_policer_config_s config;
      Sdk::bcm_policer_config_t_init( &config );
      config.flags = policerByBytes | policerColorBlind;
      config.ckbits_sec = kbits;
      config.ckbits_burst = burst;
      uint32_t id = 0;
      ok( sdk().bcm_policer_create( 0, config, &id ) );
      return id;
   }
   void attach( int id, uint32_t to ) {
      ok( sdk().bcm_field_entry_policer_attach( 0, id, 0, to ) );
   }
   int range( FieldRange what, uint32_t min, uint32_t max ) {
      int id = -1;
      ok( sdk().bcm_field_range_create( 0, what, min, max, &id ) );
      return id;
   }

   const Bytes web_ = ethernet( ip4Type, ip4( 6, tcp( 9, 80 ) ) ); // flooded
   const Bytes dns_ = ethernet( ip4Type, ip4( 17, tcp( 9, 53 ) ) );
};

// Says for each lookup which entry won, as the packets see it, and why others did not.
struct Explainer : PipelineObserver {
   explicit Explainer( FieldProcessor& f, int g ) : fields( f ), group( g ) {}
   void decided( int, const FrameView&, const Decision& ) override { winner = -1; }
   void lookedUp( const LookupKey& lookedUpKey, FieldProcessor::GroupChoice, int ) override {
      key = lookedUpKey;
   }
   void matched( const Match& match, int ) override { winner = match.entry; }
   std::vector< EntryMiss > misses() const { return fields.misses( group, winner, key ); }

   FieldProcessor& fields;
   int group;
   int winner = -1;
   LookupKey key;
};

// All that comes in at port 1 is copied to mirror destination 0, through a tunnel.
class CopyTest : public FieldTest {
 protected:
   explicit CopyTest( const Profile& profile = testProfile() ) : FieldTest( profile ) {
      fromPort( newGroup(), 1, FieldAction::mirrorIngressTo );
   }
   Rc tunnelIs( const MirrorTunnel& tunnel ) {
      return sdk().bcm_mirror_destination_set( 0, 0, { {}, 7, tunnel } );
   }
   static MirrorTunnel tunnel( const char* from, const char* to ) {
      MirrorTunnel result;
      result.srcMac = address( mac( 0x11 ) );
      result.dstMac = address( mac( 0x22 ) );
      result.srcIp = *Plix::IpGenAddr::fromString( from );
      result.dstIp = *Plix::IpGenAddr::fromString( to );
      return result;
   }
   // The copy of a frame that comes in at port 1; nothing if there is none.
   Bytes copyOf( const Bytes& frame, uint32_t wireLength = 0 ) {
      receive( 1, frame, wireLength );
      const bool isCopy = !sent_.empty() && sent_[ 0 ].kind == CopyKind::ingressMirror;
      return isCopy ? sent_[ 0 ].bytes : Bytes();
   }
   static Bytes cut( const Bytes& from, size_t begin, size_t end = ~size_t{} ) {
      return Bytes( from.begin() + static_cast< ptrdiff_t >( begin ),
            from.begin() + static_cast< ptrdiff_t >( std::min( end, from.size() ) ) );
   }
};

} // namespace ChipModel::Test
