// Which entry wins and why the others do not: against a plain scan of rules that knows nothing
// of lookup keys, over frames made of drawn fields.

#include <map>
#include <random>

#include "ChipModel/FieldNames.h"
#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

using Shim::FieldAction;
using Shim::Qualifier;

// An entry in the terms of the frames below, next to what the chip was told.
struct Rule {
   struct Condition {
      Qualifier qualifier;
      std::vector< Ternary > parts;
   };
   int id = 0;
   int priority = 0;
   bool installed = false;
   std::vector< Condition > conditions; // in the order of the qualifiers
};

// The fields of a frame as the test drew them: a qualifier's words, if the frame has them.
struct Drawn {
   Bytes bytes;
   std::map< Qualifier, std::vector< uint32_t > > fields;
};

// Draws from small sets of values, so that rules match and all but match.
class Draw {
 public:
   uint32_t below( uint32_t limit ) { return static_cast< uint32_t >( random_() % limit ); }

   Drawn frame() {
      Drawn drawn;
      auto& fields = drawn.fields;
      const uint32_t type = std::array{ ip4Type, ip6Type, arpType, mplsType }[ below( 4 ) ];
      fields[ Qualifier::etherType ] = { type };
      fields[ Qualifier::srcMac ] = { 0x0200, 1 };
      fields[ Qualifier::dstMac ] = { 0x0200, 2 };
      fields[ Qualifier::outerVlanId ] = { 10 };
      Bytes payload( 28, 0 );
      if ( type == mplsType ) {
         const uint32_t outer = below( 4 ), inner = below( 4 );
         const bool alone = below( 2 ) == 0;
         payload = label( outer, alone ) + label( inner, true );
         fields[ Qualifier::mplsLabel ] = { outer };
         if ( !alone ) {
            fields[ Qualifier::mplsInnerLabel ] = { inner };
         }
      } else if ( type != arpType ) {
         payload = datagram( type, fields );
      }
      drawn.bytes = ethernet( type, payload );
      return drawn;
   }

 private:
   Bytes datagram( uint32_t type, std::map< Qualifier, std::vector< uint32_t > >& fields ) {
      const bool isIp4 = type == ip4Type;
      const uint32_t upper =
            std::array< uint32_t, 4 >{ 6, 17, isIp4 ? 1U : 58U, 47 }[ below( 4 ) ];
      const uint32_t src = below( 4 ), dst = below( 4 ), tos = below( 4 );
      const auto flags = static_cast< uint8_t >( below( 4 ) );
      const auto protocol = static_cast< uint8_t >( upper );
      const Bytes payload = tcp( src, dst, flags );
      fields[ Qualifier::ipProtocol ] = { upper };
      fields[ Qualifier::dscp ] = { tos };
      const bool isLater = isIp4 && below( 4 ) == 0;
      if ( !isLater && ( upper == 6 || upper == 17 ) ) {
         fields[ Qualifier::l4SrcPort ] = { src };
         fields[ Qualifier::l4DstPort ] = { dst };
      }
      if ( !isLater && upper == 6 ) {
         fields[ Qualifier::tcpControl ] = { flags };
      }
      if ( !isLater && ( upper == 1 || upper == 58 ) ) {
         fields[ Qualifier::icmpTypeCode ] = { src };
      }
      if ( isIp4 ) {
         fields[ Qualifier::srcIp ] = { 0x0a000001 };
         fields[ Qualifier::dstIp ] = { 0x0a000002 };
         return ip4( protocol, payload, isLater ? 7 : 0, {}, static_cast< uint8_t >( tos ) );
      }
      fields[ Qualifier::srcIp6 ] = { 0x20010db8, 0, 0, 1 };
      fields[ Qualifier::dstIp6 ] = { 0x20010db8, 0, 0, 2 };
      return ip6( protocol, payload, static_cast< uint8_t >( tos ) );
   }

   std::mt19937 random_{ 2024 };
};

class FieldExplainTest : public FieldTest {
 protected:
   // Each condition takes its words from some frame's, so that they are not far off.
   Rule newRule( int group ) {
      Rule rule;
      rule.id = newEntry( group, FieldAction::mirrorIngressTo, 0 );
      rule.priority = static_cast< int >( draw_.below( 6 ) );
      const Drawn like = draw_.frame();
      for ( const auto& [ qualifier, words ] : like.fields ) {
         if ( draw_.below( 4 ) == 0 ) {
            continue;
         }
         std::vector< Ternary > parts;
         for ( uint32_t word : words ) {
            const uint32_t mask =
                  std::array< uint32_t, 4 >{ 0, 1, exact, exact }[ draw_.below( 4 ) ];
            parts.push_back( { word ^ ( draw_.below( 4 ) == 0 ? 1U : 0U ), mask } );
         }
         rule.conditions.push_back( { qualifier, parts } );
         qualify( rule.id, qualifier, parts );
      }
      ok( sdk().bcm_field_entry_prio_set( 0, rule.id, rule.priority ) );
      return rule;
   }
   // Few are installed at a time, so that some frames find none.
   void toggle( Rule& rule ) {
      const bool wanted = draw_.below( 20 ) == 0;
      if ( wanted != rule.installed ) {
         ok( wanted ? sdk().bcm_field_entry_install( 0, rule.id )
                    : sdk().bcm_field_entry_remove( 0, rule.id ) );
         rule.installed = wanted;
      }
   }
   void qualify( int id, Qualifier qualifier, const std::vector< Ternary >& p ) {
      FieldProcessor& fields = box_.chip( 0 )->fields();
      ok( p.size() == 1 ? fields.qualify( id, qualifier, { p[ 0 ] } )
                  : p.size() == 2
                  ? fields.qualify( id, qualifier, { p[ 0 ], p[ 1 ] } )
                  : fields.qualify( id, qualifier, { p[ 0 ], p[ 1 ], p[ 2 ], p[ 3 ] } ) );
   }
   static std::optional< Qualifier > failure( const Rule& rule, const Drawn& frame ) {
      for ( const Rule::Condition& condition : rule.conditions ) {
         const auto found = frame.fields.find( condition.qualifier );
         for ( size_t i = 0; i < condition.parts.size(); ++i ) {
            const Ternary& part = condition.parts[ i ];
            const bool holds = part.mask == 0 ||
                  ( found != frame.fields.end() &&
                        ( ( found->second[ i ] ^ part.data ) & part.mask ) == 0 );
            if ( !holds ) {
               return condition.qualifier;
            }
         }
      }
      return std::nullopt;
   }

   Draw draw_;
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

TEST_F( FieldExplainTest, TheBestMatchWinsAndTheOthersSayWhichQualifierFailed ) {
   const int group = newGroup();
   std::vector< Rule > rules;
   for ( int i = 0; i < 150; ++i ) {
      rules.push_back( newRule( group ) );
   }
   std::stable_sort( rules.begin(), rules.end(),
         []( const Rule& a, const Rule& b ) { return a.priority > b.priority; } );
   Explainer explainer( box_.chip( 0 )->fields(), group );
   std::map< int, uint64_t > won;
   int unmatched = 0, matched = 0;
   for ( int round = 0; round < 8000; ++round ) {
      if ( round == 4000 ) { // the path without an observer is the same
         box_.control().observerIs( &explainer );
      }
      toggle( rules[ draw_.below( 150 ) ] );
      const Drawn frame = draw_.frame();
      int winner = -1;
      for ( const Rule& rule : rules ) {
         if ( rule.installed && !failure( rule, frame ) ) {
            winner = rule.id;
            break;
         }
      }
      ++( winner < 0 ? unmatched : matched );
      won[ winner ] += 1;
      ASSERT_EQ( leaves( 1, frame.bytes ), winner < 0 ? "2 3" : "mi0>7 2 3" ) << round;
      if ( round < 4000 ) {
         continue;
      }
      ASSERT_EQ( explainer.winner, winner ) << round;
      std::vector< EntryMiss > expected;
      for ( const Rule& rule : rules ) {
         if ( rule.installed && rule.id != winner ) {
            expected.push_back( { rule.id, failure( rule, frame ) } );
         }
      }
      const std::vector< EntryMiss > misses = explainer.misses();
      ASSERT_EQ( misses.size(), expected.size() );
      for ( size_t i = 0; i < misses.size(); ++i ) {
         ASSERT_EQ( misses[ i ].entry, expected[ i ].entry ) << round;
         ASSERT_EQ( misses[ i ].failed, expected[ i ].failed )
               << round << " " << misses[ i ].entry;
      }
   }
   EXPECT_TRUE( unmatched > 200 && matched > 200 && won.size() > 40 )
         << unmatched << " " << won.size();
   for ( const EntryView& each : state().entries ) {
      EXPECT_EQ( each.packets, won[ each.id ] ) << each.id;
   }
}

// A miss is judged by what packets see, not by what was written since.
TEST_F( FieldExplainTest, MissesAreOfTheInstalledContents ) {
   const int group = newGroup();
   const int entry = newEntry( group, FieldAction::drop );
   ok( sdk().bcm_field_qualify_InPorts( 0, entry, bitmap( { 2 } ), ~Shim::PortBitmap{} ) );
   onPort( entry, 80 );
   installed( entry );
   const int second = installed( newEntry( group, FieldAction::mirrorIngressTo, 0 ), -2 );
   const int third = installed( newEntry( group, FieldAction::mirrorIngressTo, 1 ), -2 );
   ok( sdk().bcm_field_qualifier_delete( 0, entry, Qualifier::inPorts ) );
   Explainer explainer( box_.chip( 0 )->fields(), group );
   box_.control().observerIs( &explainer );
   const auto told = [ & ]( int port ) {
      receive( port, web_ );
      std::ostringstream text;
      text << explainer.winner << ":";
      for ( const EntryMiss& miss : explainer.misses() ) {
         text << " " << miss.entry << " "
              << ( miss.failed ? qualifierName( *miss.failed ) : "-" );
      }
      return text.str();
   };
   const auto line = []( int winner, int a, const char* why, int b, const char* whyB ) {
      std::ostringstream text;
      text << winner << ": " << a << " " << why << " " << b << " " << whyB;
      return text.str();
   };
   EXPECT_EQ( told( 1 ), line( second, entry, "InPorts", third, "-" ) );
   EXPECT_EQ( told( 2 ), line( entry, second, "-", third, "-" ) );
   installed( entry );
   EXPECT_EQ( told( 1 ), line( entry, second, "-", third, "-" ) );
   ok( sdk().bcm_field_entry_remove( 0, second ) );
   ok( sdk().bcm_field_qualify_EtherType( 0, third, 1, exact ) );
   installed( third );
   receive( 1, web_ );
   EXPECT_EQ( explainer.misses().size(), 1u );
   EXPECT_EQ( explainer.misses().at( 0 ).failed, Qualifier::etherType );
}

} // namespace

} // namespace ChipModel::Test
