// The shared TCAM manager over a chip of the model: requests in, entries and statuses out.

#include <functional>
#include <map>
#include <set>

#include "AgentServices/TcamRequestManager.h"
#include "Tests/ChipBed.h"
#include "Tests/EveryRefusal.h"

namespace AgentServices {
namespace {

using namespace KarvelTcam;
using ChipModel::EntryView;
using Status = RequestStatusType;
using SubConfig = Zol::Ptr< RequestSubConfig >;

constexpr LogicalFap::LogicalFapId chipFap( 3 );

class RequestsOfTheTcam : public ChipBed {
 protected:
   RequestsOfTheTcam() : ChipBed( "tomahawk3" ) {
      manager = Zol::make< TcamRequestManager >( 0U, chipFap, "client", groups, statusDir );
      manager->zolStart();
      manager->events()->clientWarmIs( true );
   }

   static RequestKey key( int number ) {
      return { FeatureType::mirroring, "request-" + std::to_string( number ) };
   }
   // The next sub-configuration of a request, of egress entries for these ports.
   SubConfig wants( int number, const std::vector< int >& ports,
         FeatureGroupType group = FeatureGroupType::mirroring0 ) {
      Zol::Ptr< RequestConfig >& config = configs[ number ];
      if ( !config ) {
         config = Zol::make< RequestConfig >( key( number ), key( number ).requestName() );
         config->fapSetIs()->logicalFapIs( true );
         config->fapSet()->fapIs( chipFap )->allPipesIs( true );
         config->classInfoIs();
      }
      config->requestConfigTypeIs( RequestConfigType::programming );
      config->requestSubConfigDelAll();
      SubConfig rules = config->requestSubConfigIs( Orv::UniqueId::fresh(), 1U, ClassData() );
      rules->fgTypeIs( group );
      config->currCfgIs( rules );
      for ( const int port : ports ) {
         auto entry = add( rules );
         entry->portQualifierIs( QualifierType::dstPort, { 0, 0xff, port, 0xff } );
      }
      return rules;
   }
   static Zol::Ptr< EntryRequest > add( const SubConfig& rules ) {
      const auto sequence = static_cast< uint32_t >( rules->entryQ().size() );
      auto entry = rules->entryRequestIs( rules->getRuleId( key( 0 ), sequence ), ClassData() );
      Action action( ActionType::mirrorEgress );
      action.paramIs( 0, 0 );
      action.paramIs( 1, 1 );
      entry->featureActionIs( FeatureActionType::mirrorEgress );
      entry->actionParamsIs( ActionType::mirrorEgress, action );
      entry->descriptionIs( "entry" );
      rules->entryQEnq( entry->ruleId() );
      return entry;
   }
   void ask( int number ) {
      manager->events()->enqueueRequests( KarvelTcamConfig::karvelTcamReviewRequestFactory(
            configs.at( number ), KarvelTcamConfig::karvelTcamIntfTypeFactory(), 0 ) );
      manager->events()->commitBatch();
   }
   Status settle() {
      Zol::activityManager().runUntilIdle();
      return status( 0 );
   }
   // Asks for these ports and lets it be carried out.
   Status program( int number, const std::vector< int >& ports ) {
      wants( number, ports );
      ask( number );
      settle();
      return status( number );
   }
   Status withdraw( int number ) {
      configs.at( number )->requestConfigTypeIs( RequestConfigType::deleting );
      ask( number );
      return settle();
   }
   Status status( int number ) {
      auto dir = Zol::dynamicCast< Zol::Dir >( statusDir->entity( "client" ) );
      auto said = Zol::dynamicCast< const RequestStatus >(
            dir->entity( key( number ).requestName() ) );
      return said ? said->statusType() : Status::withdrawn;
   }
   // What is installed, by destination port.
   std::map< uint32_t, int > installed() {
      std::map< uint32_t, int > ids;
      for ( const EntryView& entry : entries() ) {
         ids[ entry.qualifiers.at( 0 ).data.at( 1 ) ] = entry.id;
      }
      return ids;
   }
   std::vector< uint32_t > ports() {
      std::vector< uint32_t > all;
      for ( const auto& [ port, id ] : installed() ) {
         all.push_back( port );
      }
      return all;
   }
   void roomFor( int entries ) {
      ASSERT_FALSE( box.control().capacityIs( 0, "ingress-entries", entries ) );
   }

   Zol::Ptr< Zol::Dir > statusDir = Zol::make< Zol::Dir >();
   Zol::Ptr< TcamRequestManager > manager;
   std::map< int, Zol::Ptr< RequestConfig > > configs;
};

using Ports = std::vector< uint32_t >;

TEST_F( RequestsOfTheTcam, KeepWhatDoesNotChangeAndNeverInterruptIt ) {
   EXPECT_EQ( program( 0, { 1, 2, 3 } ), Status::programmed );
   const auto before = installed();
   // Shifted, shuffled, one gone and one new.
   Ports least;
   gate().observerIs( [ & ]( const ChipModel::CallInfo& ) {
      const Ports now = ports();
      least = least.empty() || now.size() < least.size() ? now : least;
   } );
   EXPECT_EQ( program( 0, { 3, 4, 1 } ), Status::programmed );
   gate().observerIs( {} );
   auto after = installed();
   EXPECT_EQ( ports(), ( Ports{ 1, 3, 4 } ) );
   EXPECT_EQ( after[ 1 ], before.at( 1 ) );
   EXPECT_EQ( after[ 3 ], before.at( 3 ) );
   EXPECT_EQ( least.size(), 3U ) << "the new one comes before the old one goes";

   // The same again, also after a withdrawal in the same turn.
   const uint64_t calls = gate().calls();
   EXPECT_EQ( program( 0, { 1, 3, 4 } ), Status::programmed );
   configs[ 0 ]->requestConfigTypeIs( RequestConfigType::deleting );
   ask( 0 );
   configs[ 0 ] = nullptr;
   EXPECT_EQ( program( 0, { 4, 3, 1 } ), Status::programmed );
   EXPECT_EQ( gate().calls(), calls );

   // Twice the same is two entries, and one of them goes with the second.
   program( 0, { 1, 1, 1 } );
   std::set< int > alike;
   for ( const EntryView& entry : chip().entries ) {
      alike.insert( entry.id );
   }
   EXPECT_EQ( alike.size(), 3U );
   EXPECT_TRUE( alike.contains( before.at( 1 ) ) );
   program( 0, { 1 } );
   EXPECT_EQ( chip().entries.size(), 1U );
   EXPECT_TRUE( alike.contains( installed()[ 1 ] ) );
   EXPECT_EQ( withdraw( 0 ), Status::withdrawn );
   EXPECT_EQ( remains(), Strings() );
   EXPECT_TRUE( manager->requests().empty() );
}

TEST_F( RequestsOfTheTcam, TradeOldEntriesForNewOnesWhereThereIsNoRoomForBoth ) {
   roomFor( 2 );
   EXPECT_EQ( program( 0, { 1, 2 } ), Status::programmed );
   const int kept = installed()[ 2 ];
   EXPECT_EQ( program( 0, { 2, 3 } ), Status::programmed );
   EXPECT_EQ( ports(), ( Ports{ 2, 3 } ) );
   EXPECT_EQ( installed()[ 2 ], kept );
   // What does not fit at all is not there at all.
   EXPECT_EQ( program( 0, { 2, 3, 4 } ), Status::noRoom );
   EXPECT_TRUE( chip().entries.empty() );
   EXPECT_TRUE( chip().groups.empty() );
   EXPECT_EQ( program( 0, { 2 } ), Status::programmed );
}

TEST_F( RequestsOfTheTcam, WaitForRoomAndTakeItWhenItComes ) {
   roomFor( 3 );
   program( 1, { 1, 2 } );
   EXPECT_EQ( program( 0, { 3, 4 } ), Status::noRoom );
   EXPECT_EQ( manager->status( FeatureGroupType::mirroring0 ), Status::noRoom );
   EXPECT_EQ( ports(), ( Ports{ 1, 2 } ) );
   const std::vector< TcamRequestView > waiting = manager->requests();
   for ( const TcamRequestView::Entry& entry : waiting.at( 0 ).entries ) {
      EXPECT_EQ( entry.id, 0U );
   }
   // A smaller request may be served meanwhile; another's release is noticed in its turn, ...
   program( 1, { 1 } );
   EXPECT_EQ( status( 0 ), Status::programmed );
   EXPECT_EQ( program( 1, { 1, 2 } ), Status::noRoom );
   EXPECT_EQ( ports(), ( Ports{ 3, 4 } ) );
   withdraw( 0 );
   EXPECT_EQ( status( 1 ), Status::programmed );
   // ... room that somebody else makes when the manager is told, or after a while.
   EXPECT_EQ( program( 0, { 3, 4 } ), Status::noRoom );
   roomFor( 4 );
   EXPECT_EQ( settle(), Status::noRoom );
   manager->retry();
   EXPECT_EQ( settle(), Status::programmed );
   roomFor( 2 );
   EXPECT_EQ( program( 0, { 3, 4, 5 } ), Status::noRoom );
   roomFor( 5 );
   Zol::activityManager().advance( 9 );
   EXPECT_EQ( status( 0 ), Status::noRoom );
   Zol::activityManager().advance( 2 );
   EXPECT_EQ( status( 0 ), Status::programmed );
   const uint64_t calls = gate().calls();
   Zol::activityManager().advance( 100 );
   EXPECT_EQ( gate().calls(), calls ) << "nothing waits any more";
}

TEST_F( RequestsOfTheTcam, OfWhatThereIsNotAreMalformedAndChangeNothing ) {
   using Mistake = std::function< void( RequestSubConfig&, EntryRequest& ) >;
   const std::vector< Mistake > mistakes{
      []( auto& rules, auto& ) { rules.fgTypeIs( fgtInvalid() ); },
      []( auto& rules, auto& ) { rules.fgTypeIs( static_cast< FeatureGroupType >( 134 ) ); },
      []( auto& rules, auto& ) { rules.entryQEnq( rules.getRuleId( key( 0 ), 99 ) ); },
      []( auto&, auto& entry ) {
         entry.qualifierIs( QualifierType::dstPort, { 1, 1 } );
      },
      []( auto&, auto& entry ) { entry.portQualifierIs( QualifierType::dstTrunk, {} ); },
      []( auto&, auto& entry ) { entry.featureActionIs( FeatureActionType::mirrorIngress ); },
      []( auto&, auto& entry ) { entry.actionParamsDelAll(); },
      []( auto&, auto& entry ) {
         entry.actionParamsIs( ActionType::mirrorEgress, Action( ActionType::mirrorEgress ) );
      },
      []( auto&, auto& entry ) {
         CounterSet counters;
         counters.counterIs( static_cast< CounterType >( 3 ), true );
         entry.counterSetIs( counters );
      },
   };
   for ( size_t i = 0; i <= mistakes.size(); ++i ) {
      EXPECT_EQ( program( 0, { 1 } ), Status::programmed );
      const SubConfig rules = wants( 0, { 1, 2 } );
      if ( i < mistakes.size() ) {
         mistakes[ i ]( *rules, *rules->entryRequest( rules->entryQ()[ 1 ] ) );
      } else {
         configs.at( 0 )->fapSet()->fapDel( chipFap ); // for another chip
      }
      ask( 0 );
      EXPECT_EQ( settle(), Status::malformed ) << "mistake " << i;
      EXPECT_EQ( remains(), Strings() );
      const uint64_t calls = gate().calls();
      manager->retry();
      Zol::activityManager().advance( 20 );
      EXPECT_EQ( gate().calls(), calls );
   }
}

TEST_F( RequestsOfTheTcam, MoveWithTheirFeatureGroup ) {
   program( 0, { 1 } );
   const auto before = chip().groups;
   wants( 0, { 1 }, FeatureGroupType::mirroring3 );
   ask( 0 );
   EXPECT_EQ( settle(), Status::programmed );
   const auto after = chip().groups;
   ASSERT_EQ( after.size(), 1U );
   EXPECT_NE( after[ 0 ].id, before.at( 0 ).id );
   EXPECT_NE( after[ 0 ].priority, before[ 0 ].priority );
}

TEST_F( RequestsOfTheTcam, MatchPortsByClassOrByBitmapAsTheirProfileSays ) {
   const auto bits = Shim::PortBitmap().set( 7 );
   for ( const auto& [ match, qualifier ] :
         { std::pair( IntfMatch::classId, Shim::Qualifier::portClass ),
               std::pair( IntfMatch::inPorts, Shim::Qualifier::inPorts ) } ) {
      add( wants( 0, {} ) )
            ->intfProfileIs( manager->intfProfileManager()->intfProfile( match, bits, ~bits ) );
      ask( 0 );
      EXPECT_EQ( settle(), Status::programmed );
      EXPECT_EQ( entries().at( 0 ).qualifiers.at( 0 ).qualifier, qualifier );
   }
}

// Whatever the chip refuses once, and whether it did it all the same: the request gets there,
// and leaves nothing.
TEST_F( RequestsOfTheTcam, OvercomeEveryRefusalAndLeaveNothing ) {
   const auto classOf = [ this ]( size_t port ) {
      Shim::PortBitmap bits;
      bits.set( port );
      return manager->intfProfileManager()->intfProfile( IntfMatch::classId, bits, {} );
   };
   const auto ask = [ & ]( const std::vector< int >& ports, size_t ofClass ) {
      add( wants( 0, ports ) )->intfProfileIs( classOf( ofClass ) );
      RequestsOfTheTcam::ask( 0 );
      settle();
   };
   EveryRefusal every;
   every.setUp = [ & ] { return &gate(); };
   every.act = [ & ]( const auto& ) {
      ask( { 1, 2 }, 7 );
      ask( { 2, 3 }, 8 );
      Zol::activityManager().advance( 25 );
      EXPECT_EQ( status( 0 ), Status::programmed );
      EXPECT_EQ( entries().size(), 3U );
      withdraw( 0 );
   };
   every.undo = [] { Zol::activityManager().advance( 2 ); };
   // An entry or group that the chip made in secret, nobody can name.
   every.left = [ & ] {
      ChipModel::ChipState state = chip();
      std::erase_if( state.entries, []( const EntryView& each ) { return !each.installed; } );
      state.groups.clear();
      return differences( emptyChip, state, ChipModel::ReadBackScope::programmed );
   };
   EXPECT_GT( every.ofItsCalls(), 30U );
}

TEST_F( RequestsOfTheTcam, AreCarriedOutOnceTheClientIsWarmAndGoWithTheManager ) {
   manager->events()->clientWarmIs( false );
   EXPECT_EQ( program( 0, { 1 } ), Status::withdrawn );
   EXPECT_EQ( remains(), Strings() );
   program( 0, { 2, 3 } );
   manager->events()->clientWarmIs( true );
   EXPECT_EQ( settle(), Status::programmed );
   EXPECT_EQ( ports(), ( Ports{ 2, 3 } ) );
   auto profiles = manager->intfProfileManager();
   auto events = manager->events();
   manager = nullptr;
   EXPECT_EQ( remains(), Strings() );
   EXPECT_FALSE( statusDir->entityHas( "client" ) );
   events->commitBatch(); // to nobody

   // Equal profiles are one, while somebody has it.
   Shim::PortBitmap bits;
   bits.set( 3 );
   auto one = profiles->intfProfile( IntfMatch::classId, bits, {} );
   EXPECT_EQ( one, profiles->intfProfile( IntfMatch::classId, bits, {} ) );
   EXPECT_NE( one, profiles->intfProfile( IntfMatch::inPorts, bits, {} ) );
   EXPECT_NE( one, profiles->intfProfile( IntfMatch::classId, bits, bits ) );
   EXPECT_EQ( profiles->profiles(), 1U );
   profiles = nullptr;
   EXPECT_EQ( one->ports(), bits );
}

} // namespace
} // namespace AgentServices
