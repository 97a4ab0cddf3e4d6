// The one way to call the SDK: with the activity lock released and the arguments copied before,
// and with every failure told.

#include "Platform/Karvel/SdkCall.h"

#include <chrono>
#include <future>
#include <thread>

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

using Zol::activityLock;

// An entry that calls qualify; what a call finds when it begins is up to the gate's observer.
class SdkCallTest : public FieldTest {
 protected:
   SdkCallTest() : before_( std::exchange( Shim::sdk_, &sdk() ) ) {
      entry_ = newEntry( newGroup(), FieldAction::drop );
      Karvel::sdkErrorStreamIs( &errors_ );
      Duolog::sinkIs( [ this ]( std::string_view line ) { traced_.emplace_back( line ); } );
      Duolog::timeSourceIs( [] { return 0.0; } );
   }
   ~SdkCallTest() override {
      Duolog::timeSourceIs( nullptr );
      Duolog::sinkIs( {} );
      Duolog::disableAll();
      Karvel::sdkErrorStreamIs( nullptr );
      Shim::sdk_ = before_;
   }
   Rc qualifyDrop( uint32_t data ) {
      return KARVEL_SDK_CALL( trace_, bcm_field_qualify_Drop, ( 0, entry_, data, 1 ) );
   }
   void duringCalls( const std::function< void() >& work ) {
      box_.control().gate().observerIs( [ work ]( const CallInfo& ) { work(); } );
   }

   Sdk* before_;
   int entry_ = 0;
   Duolog::Handle trace_{ "SdkCallTest" };
   std::ostringstream errors_;
   std::vector< std::string > traced_;
};

TEST_F( SdkCallTest, AnotherThreadGetsInDuringTheCallAndOnlyThen ) {
   std::atomic< bool > callBegins = false;
   std::atomic< bool > otherIsDone = false;
   std::promise< bool > otherIsIn; // the value: whether the call had begun
   std::thread other;
   duringCalls( [ & ] {
      EXPECT_FALSE( activityLock().heldByThisThread() );
      auto in = otherIsIn.get_future();
      EXPECT_EQ( in.wait_for( std::chrono::seconds( 20 ) ), std::future_status::ready );
      EXPECT_TRUE( in.get() ) << "it got in before the call";
   } );
   {
      Zol::ActivityLockHolder lock;
      other = std::thread( [ & ] {
         Zol::ActivityLockHolder otherLock;
         otherIsIn.set_value( callBegins );
         std::this_thread::sleep_for( std::chrono::milliseconds( 30 ) );
         otherIsDone = true;
      } );
      std::this_thread::sleep_for( std::chrono::milliseconds( 30 ) ); // time to break in
      callBegins = true;
      qualifyDrop( 1 );
      EXPECT_TRUE( otherIsDone ) << "the call came back before the lock was free again";
      EXPECT_TRUE( activityLock().heldByThisThread() );
   }
   other.join();
   EXPECT_FALSE( activityLock().heldByThisThread() );
}

// Converts to a call's argument, which reads what the lock protects.
struct Attribute {
   operator uint32_t() const { return activityLock().heldByThisThread() ? 1 : 0; }
};

TEST_F( SdkCallTest, ArgumentsAreConvertedAndCopiedUnderTheLock ) {
   PortBitmap ports( 5 );
   duringCalls( [ & ] { ports.reset(); } ); // as another thread may
   Zol::ActivityLockHolder lock;
   EXPECT_EQ( KARVEL_SDK_CALL(
                    trace_, bcm_field_qualify_InPorts, ( 0, entry_, ports, ~PortBitmap() ) ),
         0 );
   EXPECT_EQ(
         KARVEL_SDK_CALL( trace_, bcm_field_qualify_Drop, ( 0, entry_, Attribute(), 1 ) ), 0 );
   ASSERT_EQ( view( entry_ ).qualifiers.size(), 2U );
   for ( const QualifierValue& value : view( entry_ ).qualifiers ) {
      const bool isDrop = value.qualifier == Qualifier::drop;
      EXPECT_TRUE( isDrop ? value.data.at( 0 ) == 1 : value.ports == PortBitmap( 5 ) );
   }
   int made = -1; // what a call gives back comes through the caller's pointer
   EXPECT_EQ(
         KARVEL_SDK_CALL( trace_, bcm_field_entry_create, ( 0, view( entry_ ).group, &made ) ),
         0 );
   EXPECT_EQ( view( made ).id, made );
}

TEST_F( SdkCallTest, FailureIsReportedWithTheCallAsWritten ) {
   ASSERT_FALSE( Duolog::enable( "SdkCallTest" ) );
   EXPECT_EQ( qualifyDrop( 1 ), none );
   EXPECT_EQ( errors_.str(), "" );
   entry_ = 999;
   EXPECT_EQ( qualifyDrop( 1 ), notFound );
   const std::string failed =
         "bcm_field_qualify_Drop( 0, entry_, data, 1 ) API ERROR:Entry not "
         "found (rc:-7)";
   EXPECT_EQ( errors_.str(), failed + "\n" );
   EXPECT_EQ( traced_,
         ( std::vector< std::string >{
               "0.000000 SdkCallTest/5 bcm_field_qualify_Drop( 0, entry_, data, 1 ) (rc:0)",
               "0.000000 SdkCallTest/0 " + failed } ) );
}

TEST_F( SdkCallTest, LockIsRetakenWhenTheCallThrowsAndNotTakenWhenItWasNotHeld ) {
   duringCalls( [] { throw std::runtime_error( "gone" ); } );
   EXPECT_THROW( qualifyDrop( 1 ), std::runtime_error );
   EXPECT_FALSE( activityLock().heldByThisThread() );
   Zol::ActivityLockHolder lock;
   EXPECT_THROW( qualifyDrop( 1 ), std::runtime_error );
   EXPECT_TRUE( activityLock().heldByThisThread() );
}

TEST( ActivityLockDeathTest, MisuseIsFatal ) {
   GTEST_FLAG_SET( death_test_style, "threadsafe" );
   EXPECT_DEATH( activityLock().unlock(), "heldByThisThread" );
   Zol::ActivityLockHolder lock;
   EXPECT_DEATH( activityLock().lock(), "heldByThisThread" );
   EXPECT_DEATH( std::thread( [] { activityLock().unlock(); } ).join(), "heldByThisThread" );
}

} // namespace

} // namespace ChipModel::Test
