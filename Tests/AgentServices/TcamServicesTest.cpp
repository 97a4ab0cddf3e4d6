// The TCAM services over a chip of the model.

#include <set>

#include "Tests/ChipBed.h"
#include "Tests/EveryRefusal.h"

namespace AgentServices {
namespace {

using Karvel::ClassSharing;
using Karvel::EntryId;
using Karvel::TcamStatus;
using Shim::Rc;
using Shim::Sdk;
using Manager = Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager >;

constexpr Rc ok = Sdk::QX_BCM_E_NONE();

Shim::PortBitmap ports( std::initializer_list< size_t > numbers ) {
   Shim::PortBitmap result;
   for ( const size_t number : numbers ) {
      result.set( number );
   }
   return result;
}

class TheTcamServices : public ChipBed {
 protected:
   TheTcamServices() : ChipBed( "trident3" ) {}

   TcamStatus registerGroup( uint8_t mtp, int type ) {
      return groups->groupMirroringAclDataIs( 0, { KarvelMirror::Mtp( mtp ), type, false } );
   }
   // A destination's entry manager with its group.
   Manager manager( uint8_t mtp ) {
      Manager result = groups->mirroringEntryManager( 0, KarvelMirror::Mtp( mtp ) );
      EXPECT_EQ( registerGroup( mtp, 0 ), TcamStatus::success );
      return result;
   }
   static Karvel::TcamEntryResult get(
         const Manager& from, uint32_t rule, const char* acl = "" ) {
      return from->getEntry( 0, "name", { KarvelMirror::Mtp( 0 ), acl, 0, rule, 0 } );
   }
   static Rc qualify( const Manager& at, EntryId id, const Shim::PortBitmap& on ) {
      return at->qualifyPortsClassId( 0, id, on, ClassSharing::shared );
   }
   // The class bit of an installed entry on these ports.
   uint32_t install( const Manager& at, uint32_t rule, const Shim::PortBitmap& on,
         ClassSharing sharing = ClassSharing::shared ) {
      const EntryId id = get( at, rule ).entryId;
      EXPECT_EQ( at->qualifyPortsClassId( 0, id, on, sharing ), ok );
      EXPECT_EQ( at->installEntry( 0, id ), ok );
      return entryBit( id );
   }

   void release( const Manager& at, uint32_t rule ) {
      EXPECT_EQ( at->releaseEntry( 0, get( at, rule ).entryId ), ok );
   }

   // Free class bits leave their ports in the next turn of the event loop.
   ChipModel::ChipState settledChip() {
      Zol::activityManager().runUntilIdle();
      return chip();
   }
   uint32_t portBits( size_t port ) { return settledChip().ports.at( port ).classBits; }
   uint32_t entryBit( EntryId id ) {
      for ( const ChipModel::EntryView& entry : chip().entries ) {
         if ( entry.id == static_cast< int >( id ) && !entry.qualifiers.empty() ) {
            EXPECT_EQ( entry.qualifiers[ 0 ].data, entry.qualifiers[ 0 ].mask );
            return entry.qualifiers[ 0 ].data.at( 0 );
         }
      }
      return 0;
   }
};

#define EXPECT_EMPTY_CHIP()                                                                    \
   EXPECT_EQ( differences( emptyChip, settledChip() ), std::vector< std::string >() )

TEST_F( TheTcamServices, LeaveEntriesAloneThatTheManagerDoesNotHold ) {
   const Manager entries = manager( 0 );
   const Manager others = manager( 1 );
   const EntryId released = get( entries, 1 ).entryId;
   EXPECT_EQ( entries->releaseEntry( 0, released ), ok );
   const EntryId foreign = get( others, 1 ).entryId;
   const ChipModel::ChipState before = chip();
   for ( const EntryId id : { EntryId( 0 ), released, foreign, EntryId( 0xffffffff ) } ) {
      EXPECT_EQ( entries->releaseEntry( 0, id ), Sdk::QX_BCM_E_NOT_FOUND() );
      EXPECT_EQ( entries->installEntry( 0, id ), Sdk::QX_BCM_E_NOT_FOUND() );
      EXPECT_EQ( entries->addInPortsForEntry( 0, id, {}, {} ), Sdk::QX_BCM_E_NOT_FOUND() );
      EXPECT_EQ( qualify( entries, id, ports( { 1 } ) ), Sdk::QX_BCM_E_NOT_FOUND() );
   }
   EXPECT_EQ( differences( before, chip() ), std::vector< std::string >() );
}

TEST_F( TheTcamServices, LeaveNothingOfARefusedEntry ) {
   const Manager entries = manager( 0 );
   for ( const SdkCall call :
         { SdkCall::bcm_field_entry_create, SdkCall::bcm_field_entry_name_set } ) {
      refuse( call );
      EXPECT_EQ( get( entries, 1 ).status, TcamStatus::failed );
      EXPECT_TRUE( chip().entries.empty() );
   }
   // One that the chip will not destroy matches no more, and goes a second later.
   for ( const Fault::Effect effect : { Fault::Effect::notDone, Fault::Effect::done } ) {
      install( entries, 1, ports( { 1, 2 } ) );
      const EntryId id = get( entries, 1 ).entryId;
      refuse( SdkCall::bcm_field_entry_destroy, 1, effect );
      EXPECT_NE( entries->releaseEntry( 0, id ), ok );
      EXPECT_EQ( entries->releaseEntry( 0, id ), Sdk::QX_BCM_E_NOT_FOUND() );
      EXPECT_TRUE( this->entries().empty() ) << "none is installed";
      EXPECT_NE( get( entries, 1 ).entryId, id );
      Zol::activityManager().advance( 2 );
      EXPECT_EQ( chip().entries.size(), 1U );
   }
   release( entries, 1 );
   // An entry that the chip made in secret does not block its group.
   refuse( SdkCall::bcm_field_entry_create, 1, Fault::Effect::done );
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::failed );
   EXPECT_EQ( registerGroup( 0, 1 ), TcamStatus::success );
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::success );
}

TEST_F( TheTcamServices, KeepAGroupUntilItIsForSomethingElse ) {
   EXPECT_EQ( registerGroup( 0, 0 ), TcamStatus::success );
   EXPECT_EQ( registerGroup( 1, 2 ), TcamStatus::success );
   const int first = chip().groups.at( 0 ).id;
   const int second = chip().groups.at( 1 ).id;
   EXPECT_EQ( registerGroup( 0, 0 ), TcamStatus::success );
   EXPECT_EQ( chip().groups.at( 0 ).id, first );
   EXPECT_EQ( registerGroup( 0, 1 ), TcamStatus::success );
   ASSERT_EQ( chip().groups.size(), 2U );
   EXPECT_EQ( chip().groups[ 0 ].id, second );

   while ( chip().groups.size() < static_cast< size_t >( profile.groupsPerStage ) ) {
      int filler = 0;
      box.sdk().bcm_field_group_create( 0, Shim::FieldStage::ingress, {}, 0, &filler );
   }
   const Manager third = groups->mirroringEntryManager( 0, KarvelMirror::Mtp( 2 ) );
   EXPECT_EQ( registerGroup( 2, 0 ), TcamStatus::exhausted );
   EXPECT_EQ( get( third, 1 ).status, TcamStatus::failed );
   EXPECT_EQ( registerGroup( 1, -1 ), TcamStatus::success );
   EXPECT_EQ( registerGroup( 2, 0 ), TcamStatus::success );
   EXPECT_EQ( get( third, 1 ).status, TcamStatus::success );
   // Replacing a group or asking for a second manager while there are entries is fatal.
   EXPECT_DEATH( registerGroup( 2, 1 ), "entries_ == 0" );
   EXPECT_DEATH( groups->mirroringEntryManager( 0, KarvelMirror::Mtp( 2 ) ), "!manager_" );
}

// Whatever the chip refuses once on the way down is gone after the next round.
TEST_F( TheTcamServices, EmptyTheChipWithTheLastPointerToAManager ) {
   Manager entries;
   const auto fill = [ & ] {
      entries = manager( 0 );
      install( entries, 1, ports( { 1, 2 } ) );
      install( entries, 2, ports( { 2, 3 } ) );
      get( entries, 3 );
      return &gate();
   };
   const auto fillAndDrop = [ & ] {
      fill();
      entries = nullptr;
   };
   EveryRefusal every;
   every.setUp = fill;
   every.act = [ & ]( const auto& ) {
      entries = nullptr;
      Zol::activityManager().advance( 2 ); // tried again without anything happening
   };
   every.undo = fillAndDrop;
   every.left = [ & ] { return differences( emptyChip, settledChip() ); };
   EXPECT_GE( every.ofItsCalls(), 8U );
   // While an old entry still matches, there is no new group.
   refuseAll( SdkCall::bcm_field_entry_destroy );
   fillAndDrop();
   EXPECT_EQ( registerGroup( 0, 1 ), TcamStatus::failed );
   gate().faultsDelAll();
   EXPECT_EQ( registerGroup( 0, 1 ), TcamStatus::success );

   entries = manager( 1 );
   groups = nullptr;
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::success );
   entries = nullptr;
   EXPECT_EMPTY_CHIP();
}

// A feature's group comes with its first entry, and goes with its last or with its manager.
TEST_F( TheTcamServices, HaveAFeaturesGroupOnlyWhileItHasEntries ) {
   const Karvel::KarvelAclFeature feature( 2 );
   Manager entries = groups->mirroringAclEntryManager( 0, feature );
   EXPECT_EQ( groups->mirroringAclEntryManager( 0, feature ), entries );
   EXPECT_NE( groups->mirroringAclEntryManager( 0, Karvel::KarvelAclFeature( 3 ) ), entries );
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::failed ); // not registered
   for ( int i = 0; i < 2; ++i ) {
      EXPECT_EQ( groups->groupMirroringAclDataIs( 0, feature, {} ), TcamStatus::success );
      EXPECT_TRUE( chip().groups.empty() );
   }
   // An ACL gets a number, which takes nothing of the chip.
   const EntryId number = get( entries, 1, "acl" ).entryId;
   EXPECT_NE( number, get( entries, 2, "acl" ).entryId );
   EXPECT_EQ( entries->installEntry( 0, number ), Sdk::QX_BCM_E_NOT_FOUND() );
   EXPECT_EQ( entries->releaseEntry( 0, number ), ok );
   EXPECT_EMPTY_CHIP();
   refuse( SdkCall::bcm_field_group_create );
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::failed );
   EXPECT_EQ( groups->lastRefusal( 0, feature )->what, "bcm_field_group_create" );
   const EntryId first = get( entries, 1 ).entryId;
   install( entries, 2, ports( { 1, 2 } ) );
   EXPECT_EQ( groups->groupMirroringAclDataIs( 0, feature, {} ), TcamStatus::success );
   EXPECT_EQ( entries->releaseEntry( 0, first ), ok );
   EXPECT_EQ( entries->releaseEntry( 0, first ), Sdk::QX_BCM_E_NOT_FOUND() );
   EXPECT_EQ( chip().groups.size(), 1U );
   release( entries, 2 );
   EXPECT_EMPTY_CHIP();
   EXPECT_NE( get( entries, 2 ).entryId, 0U );
   entries = nullptr;
   EXPECT_EMPTY_CHIP();
   // The next manager registers anew. It finds no entry of the last one that still matches.
   entries = groups->mirroringAclEntryManager( 0, feature );
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::failed );
   EXPECT_EQ( groups->groupMirroringAclDataIs( 0, feature, {} ), TcamStatus::success );
   install( entries, 1, ports( { 1 } ) );
   refuseAll( SdkCall::bcm_field_entry_destroy );
   entries = nullptr;
   EXPECT_EQ( chip().entries.size(), 1U );
   entries = groups->mirroringAclEntryManager( 0, feature );
   EXPECT_EQ( groups->groupMirroringAclDataIs( 0, feature, {} ), TcamStatus::failed );
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::failed );
   gate().faultsDelAll();
   EXPECT_EQ( groups->groupMirroringAclDataIs( 0, feature, {} ), TcamStatus::success );
   EXPECT_EMPTY_CHIP();
   EXPECT_EQ( get( entries, 1 ).status, TcamStatus::success );
}

TEST_F( TheTcamServices, GivePortsTheBitsOfAllTheirSets ) {
   const Manager entries = manager( 0 );
   const uint32_t own = install( entries, 3, ports( { 1, 2 } ), ClassSharing::exclusive );
   const uint32_t a = install( entries, 1, ports( { 1, 2 } ) );
   const uint32_t b = install( entries, 2, ports( { 2, 127 } ) );
   const uint64_t writes = gate().calls( SdkCall::bcm_port_class_set );
   EXPECT_EQ( writes, 6U );
   EXPECT_EQ( install( manager( 1 ), 1, ports( { 1, 2 } ) ), a );
   EXPECT_EQ( gate().calls( SdkCall::bcm_port_class_set ), writes );
   EXPECT_EQ( install( entries, 4, ports( { 1, 2 } ) ), a );
   EXPECT_EQ( std::set< uint32_t >( { 0, a, b, own } ).size(), 4U );
   EXPECT_EQ( portBits( 1 ), a | own );
   EXPECT_EQ( portBits( 2 ), a | b | own );
   EXPECT_EQ( portBits( 127 ), b );

   release( entries, 1 );
   EXPECT_EQ( portBits( 1 ), a | own );
   release( entries, 4 );
   EXPECT_EQ( portBits( 1 ), own );
   EXPECT_EQ( portBits( 2 ), b | own );
}

TEST_F( TheTcamServices, LeaveNoPortBehindWhenAWriteIsRefused ) {
   const Manager entries = manager( 0 );
   const EntryId id = get( entries, 1 ).entryId;
   for ( const Fault::Effect effect : { Fault::Effect::notDone, Fault::Effect::done } ) {
      refuse( SdkCall::bcm_port_class_set, 2, effect );
      EXPECT_NE( qualify( entries, id, ports( { 1, 2, 3 } ) ), ok );
      EXPECT_EQ( portBits( 1 ) | portBits( 2 ) | portBits( 3 ), 0U );
      // Port 2 can neither be written nor taken back: the bit's next user must not find it.
      refuse( SdkCall::bcm_port_class_set, 2, effect );
      refuse( SdkCall::bcm_port_class_set, 4 );
      EXPECT_NE( qualify( entries, id, ports( { 1, 2, 3 } ) ), ok );
      EXPECT_EQ( install( entries, 2, ports( { 4 } ) ), 1U );
      EXPECT_EQ( portBits( 2 ), 0U );
      release( entries, 2 );
   }
   refuse( SdkCall::bcm_field_qualify_PortClass );
   EXPECT_NE( qualify( entries, id, ports( { 5 } ) ), ok );
   EXPECT_EQ( qualify( entries, id, ports( { 5, 200 } ) ), Sdk::QX_BCM_E_PORT() );
   EXPECT_EQ( portBits( 5 ), 0U );
}

// At every call, what a frame that arrives then would meet.
TEST_F( TheTcamServices, LetInstalledEntriesMatchTheirPortsAndNoOthersAllTheTime ) {
   const Manager entries = manager( 0 );
   const EntryId id = get( entries, 1 ).entryId;
   Shim::PortBitmap wanted;
   Shim::PortBitmap matched;
   uint32_t matchedBit = 0; // 0: not installed
   const auto check = [ & ] {
      for ( const ChipModel::PortState& port : chip().ports ) {
         const bool isMatched = ( port.classBits & matchedBit ) != 0;
         EXPECT_EQ( isMatched, matched.test( static_cast< size_t >( port.port ) ) );
      }
   };
   gate().observerIs( [ & ]( const ChipModel::CallInfo& info ) {
      check();
      if ( info.call == SdkCall::bcm_field_entry_install ) {
         matched = wanted;
         matchedBit = entryBit( id );
      }
   } );
   for ( const size_t port : { 2U, 3U, 5U, 5U, 7U, 2U } ) {
      // The first of the two is never installed.
      EXPECT_EQ( qualify( entries, id, ports( { 1, port } ) ), ok );
      wanted = ports( { port } );
      EXPECT_EQ( qualify( entries, id, wanted ), ok );
      EXPECT_EQ( entries->installEntry( 0, id ), ok );
      check();
   }
   gate().observerIs( {} );
   EXPECT_EQ( entries->releaseEntry( 0, id ), ok );
   for ( const ChipModel::PortState& port : settledChip().ports ) {
      EXPECT_EQ( port.classBits, 0U );
   }
}

struct TheTcamServicesWithoutClasses : ChipBed {
   TheTcamServicesWithoutClasses() : ChipBed( "trident2" ) {}
};

TEST_F( TheTcamServicesWithoutClasses, MatchPortsOneByOne ) {
   const Manager entries = groups->mirroringEntryManager( 0, KarvelMirror::Mtp( 0 ) );
   groups->groupMirroringAclDataIs( 0, { KarvelMirror::Mtp( 0 ), 0, false } );
   const EntryId id = entries->getEntry( 0, "name", {} ).entryId;
   EXPECT_EQ( entries->qualifyPortsClassId( 0, id, ports( { 1 } ), ClassSharing::shared ),
         Sdk::QX_BCM_E_UNAVAIL() );
   EXPECT_EQ( entries->addInPortsForEntry( 0, id, ports( { 1, 70 } ), ~ports( {} ) ), ok );
   EXPECT_EQ( chip().entries.at( 0 ).qualifiers.at( 0 ).ports, ports( { 1, 70 } ) );
}

} // namespace
} // namespace AgentServices
