// Why entries do not win.

#include "ChipModel/Fields/FieldCatalogue.h"
#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

using Shim::FieldAction;
using Shim::Qualifier;

using FieldExplainTest = FieldTest;

// A miss is judged by what packets see, not by what was written since.
TEST_F( FieldExplainTest, MissesAreOfTheInstalledContents ) {
   const int group = newGroup();
   const int entry = newEntry( group, FieldAction::drop );
   ok( sdk().bcm_field_qualify_InPorts( 0, entry, bitmap( { 2 } ), ~Shim::PortBitmap{} ) );
   onPort( entry, 80 );
   installed( entry );
   const int second = installed( newEntry( group, FieldAction::mirrorIngressTo, 0 ), -2 );
   const int third = installed( newEntry( group, FieldAction::mirrorIngressTo, 1 ), -2 );
   ok( sdk().bcm_field_qualify_OuterVlanId( 0, third, 5, 0 ) ); // looks at nothing
   installed( third, -2 );
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
