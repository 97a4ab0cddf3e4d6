#include <gtest/gtest.h>

#include "Platform/Hubdb/Store.h"
#include "Platform/Zol/TypeRegistry.h"
#include "Tests/Platform/TestEntities.h"
#include "Tests/Raised.h"

namespace Sample {
namespace {

class Hubdb : public ::testing::Test {
 protected:
   static constexpr const char* path = "chip/slice/Port7";

   void mount( std::string_view mode, std::string_view type = "Sample::Port" ) {
      client_.mountGroup().mount( path, type, mode );
   }

   Zol::TypeRegistration< Port > registration_;
   ::Hubdb::Store store_;
   ::Hubdb::EntityManager client_{ store_ };
};

TEST_F( Hubdb, ModesSayWhatIsCreatedAndWhatMayBeWritten ) {
   struct Case {
      const char* mode;
      bool writes, creates;
   };
   for ( const Case& c : { Case{ "r", false, false }, Case{ "w", true, false },
               Case{ "ri", false, true }, Case{ "wi", true, true }, Case{ "wc", true, true },
               Case{ "cw", true, true }, Case{ "rc", false, true } } ) {
      SCOPED_TRACE( c.mode );
      ::Hubdb::Store store;
      ::Hubdb::EntityManager client( store );
      client.mountGroup().mount( path, "Sample::Port", c.mode );
      EXPECT_EQ( client.entity< Port >( path ), nullptr );
      EXPECT_EQ( client.mountsComplete(), ::Hubdb::MountStatus::mounted );
      auto made = client.entity< Port >( path );
      ASSERT_EQ( !!made, c.creates );
      if ( c.creates ) {
         EXPECT_EQ( made->name(), "Port7" );
         client.mountsComplete();
         EXPECT_EQ( client.entity< Port >( path ), made ); // what is there is not made anew
      } else {
         store.entityIs( path, Zol::make< Port >( "put" ) );
         EXPECT_EQ( client.entity< Port >( path )->name(), "put" );
      }
      if ( c.writes ) {
         EXPECT_EQ( client.writableEntity< Port >( path ), client.entity< Port >( path ) );
      } else {
         EXPECT_THROW( client.writableEntity< Port >( path ), ::Hubdb::ModeError );
      }
   }
   for ( const char* mode : { "", "c", "i", "rw", "x", "rx", "R", "w r" } ) {
      EXPECT_THROW( mount( mode ), ::Hubdb::ModeError ) << mode;
   }
   EXPECT_TRUE( client_.mountGroup().mounts().empty() );
}

TEST_F( Hubdb, OnlyWhatIsMountedIsSeenUnderItsType ) {
   store_.entityIs( path, Zol::make< Port >( "p" ) );
   store_.entityIs( path, Zol::make< Config >() ); // two types at one path
   EXPECT_THROW( client_.entity< Port >( path ), ::Hubdb::ModeError );
   mount( "r" );
   client_.mountsComplete();
   EXPECT_EQ( client_.entity< Port >( path )->name(), "p" );
   EXPECT_THROW( client_.entity< Config >( path ), ::Hubdb::ModeError );
   EXPECT_THROW( client_.entity< Port >( "chip/slice" ), ::Hubdb::ModeError );
   mount( "w", "Sample::Config" );
   EXPECT_TRUE( !!client_.writableEntity< Config >( path ) );
   EXPECT_THROW( client_.writableEntity< Port >( path ), ::Hubdb::ModeError );
   mount( "w" ); // a second mount of the same adds what it allows
   EXPECT_TRUE( !!client_.writableEntity< Port >( path ) );

   store_.entityIs( path, Zol::make< Port >( "other" ) ); // takes the place of the first
   EXPECT_EQ( client_.entity< Port >( path )->name(), "other" );
   EXPECT_EQ( store_.entities().size(), 2u );
   store_.entityDel( path, "Sample::Port" );
   EXPECT_EQ( client_.entity< Port >( path ), nullptr );
   EXPECT_TRUE( !!client_.entity< Config >( path ) );
   EXPECT_DEATH( store_.entityIs( path, nullptr ), "!!entity" );
}

TEST_F( Hubdb, AnUnknownTypeCreatesNothingOfTheGroup ) {
   mount( "wc" );
   client_.mountGroup().mount( "a/b", "Sample::Unknown", "r" ); // need not be created
   EXPECT_NO_THROW( client_.mountsComplete() );
   store_.entityDel( path, "Sample::Port" );
   client_.mountGroup().mount( "a/b", "Sample::Unknown", "ri" );
   EXPECT_EQ( raised< ::Hubdb::ModeError >( [ & ] { client_.mountsComplete(); } ),
         "mount of 'a/b': no type Sample::Unknown" );
   EXPECT_TRUE( store_.entities().empty() );
}

} // namespace
} // namespace Sample
