#include <gtest/gtest.h>

#include <cstdlib>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Flitlog/Flitlog.h"
#include "Platform/Zol/Assert.h"

namespace {

using Lines = std::vector< std::string >;

class Trace : public ::testing::Test {
 protected:
   Trace() {
      Duolog::disableAll();
      Duolog::sinkIs( [ this ]( std::string_view line ) { lines_.emplace_back( line ); } );
      Duolog::timeSourceIs( [] { return 12.5; } );
   }
   ~Trace() override {
      Duolog::disableAll();
      Duolog::sinkIs( {} );
      Duolog::timeSourceIs( nullptr );
   }
   // The levels that are on, "0349" for example.
   static std::string levels( const Duolog::Handle& handle ) {
      std::string on;
      for ( int level = 0; level <= Duolog::maxLevel; ++level ) {
         if ( handle.isOn( level ) ) {
            on += std::to_string( level );
         }
      }
      return on;
   }

   Lines lines_;
   Duolog::Handle handle_{ "SliceMtpSm" };
};

TEST_F( Trace, ArgumentsAreEvaluatedOnlyWhenTheLevelIsOn ) {
   int evaluated = 0;
   auto text = [ & ] { return std::to_string( ++evaluated ); };
   DUOLOG( handle_, 3, "mtp : " << text() );
   ASSERT_FALSE( Duolog::enable( "SliceMtpSm/3" ) );
   DUOLOG( handle_, 4, "mtp : " << text() );
   DUOLOG( handle_, 3, "mtp : " << text() << std::hex << " 0x" << 255 );
   DUOLOG( handle_, 3, 255 ); // how one line prints numbers is not the next one's matter
   Duolog::disableAll();
   DUOLOG( handle_, 3, text() );
   EXPECT_EQ( lines_,
         ( Lines{ "12.500000 SliceMtpSm/3 mtp : 1 0xff", "12.500000 SliceMtpSm/3 255" } ) );
}

TEST_F( Trace, SettingsChooseHandlesAndLevels ) {
   struct Case {
      const char *setting, *levels;
   };
   for ( const Case& c : { Case{ "SliceMtpSm", "0123456789" },
               Case{ "SliceMtpSm/*", "0123456789" }, Case{ "SliceMtpSm/0", "0" },
               Case{ "SliceMtpSm/9", "9" }, Case{ "SliceMtpSm/2-4", "234" },
               Case{ "SliceMtpSm/0-9", "0123456789" }, Case{ "SliceMtpSm/7-7", "7" },
               Case{ "SliceMtpSm/1,Other,SliceMtpSm/4-5", "145" }, Case{ "*/1", "1" },
               Case{ "Slice*/1", "1" }, Case{ "*Sm/1", "1" }, Case{ "S*M*S*/1", "1" },
               Case{ "**SliceMtpSm**/1", "1" }, Case{ "*Mtp*/1", "1" }, Case{ "*S/1", "" },
               Case{ "Slice/1", "" }, Case{ "SliceMtpSmX/1", "" }, Case{ "liceMtpSm/1", "" },
               Case{ "S*X*/1", "" }, Case{ "slicemtpsm/1", "" } } ) {
      Duolog::disableAll();
      EXPECT_FALSE( Duolog::enable( c.setting ) ) << c.setting;
      EXPECT_EQ( levels( handle_ ), c.levels ) << c.setting;
   }
}

TEST_F( Trace, MalformedSettingChangesNothing ) {
   ASSERT_FALSE( Duolog::enable( "SliceMtpSm/1" ) );
   for ( const char* bad : { "", ",", "/1", "SliceMtpSm/", "SliceMtpSm/10", "SliceMtpSm/4-2",
               "SliceMtpSm/a", "SliceMtpSm/1-", "SliceMtpSm/-1", "SliceMtpSm/1/2",
               "SliceMtpSm/2, SliceMtpSm", "SliceMtpSm/2,", "SliceMtpSm,Tcam*/x" } ) {
      auto error = Duolog::enable( bad );
      ASSERT_TRUE( error ) << bad;
      EXPECT_NE( error->find( "; allowed: " ), std::string::npos );
      EXPECT_EQ( levels( handle_ ), "1" ) << bad;
      EXPECT_EQ( levels( Duolog::Handle( "SliceMtpSm" ) ), "1" ) << bad;
   }
   EXPECT_NE( Duolog::enable( "A,Tcam*/x" )->find( "'Tcam*/x'" ), std::string::npos );
}

TEST_F( Trace, SettingHoldsForHandlesThatComeAndGo ) {
   ASSERT_FALSE( Duolog::enable( "Tcam*/2" ) );
   for ( int load = 0; load < 2; ++load ) {
      Duolog::Handle first( "TcamHelperSm" );
      Duolog::Handle second( "TcamHelperSm" ); // two machines' sources may share a name
      EXPECT_EQ( levels( first ) + levels( second ), "22" );
      auto names = Duolog::handleNames();
      EXPECT_EQ( std::count( names.begin(), names.end(), "TcamHelperSm" ), 1 );
   }
   auto names = Duolog::handleNames();
   EXPECT_EQ( std::count( names.begin(), names.end(), "TcamHelperSm" ), 0 );
   EXPECT_FALSE( Duolog::enable( "*" ) ); // touches no handle that has gone
   Duolog::Handle late( "TcamHelperSm" );
   Duolog::disableAll();
   EXPECT_EQ( levels( late ) + levels( Duolog::Handle( "TcamHelperSm" ) ), "" );
}

using TraceDeathTest = Trace;

TEST_F( TraceDeathTest, NoLineIsLostWhenTheProcessEnds ) {
   Duolog::sinkIs( {} );
   ASSERT_FALSE( Duolog::enable( "SliceMtpSm" ) );
   auto fail = [ this ]( bool fatally ) {
      DUOLOG( handle_, 0, "last words" );
      ZOL_ASSERT( !fatally && "invariant" );
      std::exit( 0 );
   };
   EXPECT_DEATH( fail( true ), "last words\nassertion failed: !fatally && \"invariant\" " );
   EXPECT_EXIT( fail( false ), ::testing::ExitedWithCode( 0 ), "SliceMtpSm/0 last words\n$" );
}

class Log : public ::testing::Test {
 protected:
   Log() { Flitlog::recordsDelAll(); }
   ~Log() override {
      Flitlog::sinkIs( {} );
      Flitlog::recordsDelAll();
   }

   Flitlog::Message full_{ "TEST_RESOURCE_FULL", Flitlog::Severity::error,
      "%s needs %s entries, 100% full, %s% free", "The chip is full.", "Remove a session." };
};

TEST_F( Log, ArgumentsTakeTheirPlacesInOrder ) {
   Lines delivered;
   Flitlog::sinkIs(
         [ & ]( const Flitlog::Record& record ) { delivered.push_back( record.text ); } );
   full_.log( "%s %s", 3, 0.5 );
   Flitlog::Message plain( "TEST_PLAIN", Flitlog::Severity::notice, "{ } %d 5%", "", "" );
   plain.log();
   ASSERT_EQ( Flitlog::records().size(), 2U );
   EXPECT_EQ( Flitlog::records()[ 0 ].text, "%s %s needs 3 entries, 100% full, 0.5% free" );
   EXPECT_EQ( Flitlog::records()[ 0 ].id, "TEST_RESOURCE_FULL" );
   EXPECT_EQ( Flitlog::records()[ 0 ].severity, Flitlog::Severity::error );
   EXPECT_EQ( Flitlog::records()[ 0 ].explanation, "The chip is full." );
   EXPECT_EQ( Flitlog::records()[ 0 ].recommendedAction, "Remove a session." );
   EXPECT_EQ( Flitlog::records()[ 1 ].text, "{ } %d 5%" );
   EXPECT_EQ(
         delivered, ( Lines{ "%s %s needs 3 entries, 100% full, 0.5% free", "{ } %d 5%" } ) );
}

TEST_F( Log, OldestRecordsMakeRoom ) {
   for ( int i = 0; i < 1003; ++i ) {
      full_.log( i, 0, 0 );
   }
   ASSERT_EQ( Flitlog::records().size(), 1000U );
   EXPECT_TRUE( Flitlog::records().front().text.starts_with( "3 needs" ) );
   EXPECT_TRUE( Flitlog::records().back().text.starts_with( "1002 needs" ) );
}

TEST_F( Log, CatalogueHoldsAMessageAsLongAsItsPlugin ) {
   auto find = [] {
      auto all = Flitlog::messages();
      return std::count_if( all.begin(), all.end(),
            []( auto message ) { return message->id() == "TEST_UNLOADED"; } );
   };
   for ( int load = 0; load < 2; ++load ) {
      Flitlog::Message message( "TEST_UNLOADED", Flitlog::Severity::error, "gone", "", "" );
      message.log();
      EXPECT_EQ( find(), 1 );
   }
   EXPECT_EQ( find(), 0 );
   EXPECT_EQ( Flitlog::records().back().id, "TEST_UNLOADED" ); // the record stays readable
}

using LogDeathTest = Log;

TEST_F( LogDeathTest, MisuseIsFatal ) {
   EXPECT_DEATH( Flitlog::Message( "TEST_RESOURCE_FULL", Flitlog::Severity::debug, "", "", "" ),
         "registered once" );
   EXPECT_DEATH( full_.log( 1, 2 ), "an argument for each %s" );
   EXPECT_DEATH( full_.log( 1, 2, 3, 4 ), "a %s for each argument" );
}

} // namespace
