#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <sstream>

#include "Platform/Karvel/SdkCall.h"

namespace {

using Shim::PortBitmap;
using Shim::Rc;
using Zol::activityLock;

// An SDK that knows nothing but three calls, which a test looks into.
class FakeSdk : public Shim::Sdk {
 public:
   std::function< Rc( const PortBitmap& data, const PortBitmap& mask ) > onInPorts;
   std::function< Rc( uint32_t data ) > onDrop;

   Rc bcm_field_qualify_InPorts(
         int, int, const PortBitmap& data, const PortBitmap& mask ) override {
      return onInPorts( data, mask );
   }
   Rc bcm_field_qualify_Drop( int, int, uint32_t data, uint32_t ) override {
      return onDrop( data );
   }
   Rc bcm_field_entry_create( int, int, int* entry ) override {
      *entry = 7;
      return QX_BCM_E_NONE();
   }

   using Mac = Plix::EthAddr;
   using Ip6 = Plix::Ip6Addr;
   bool QX_SOC_IS_TOMAHAWKX( int ) const override { return false; }
   Shim::PolicerMode QX_BCM_POLICER_MODE( int ) const override { return {}; }
   bool QX_SOC_IS_T3X4( int ) const override { return false; }
   bool QX_SOC_IS_T3X1X2( int ) const override { return false; }
   bool QX_SOC_IS_T3X5X7( int ) const override { return false; }
   bool QX_SOC_IS_T3X3( int ) const override { return false; }
   bool QX_SOC_HAS_FLEX_EDITOR( int ) const override { return false; }
   uint32_t QX_SDK_VERSION() const override { return 0; }
#define NOT_HERE( name, ... )                                                              \
   Rc name( __VA_ARGS__ ) override { return QX_BCM_E_UNAVAIL(); }
   NOT_HERE( bcm_field_group_create, int, Shim::FieldStage, Shim::QualifierSet, int, int* )
   NOT_HERE( bcm_field_group_destroy, int, int )
   NOT_HERE( bcm_field_group_status_get, int, int, Shim::FieldGroupStatus* )
   NOT_HERE( bcm_field_entry_destroy, int, int )
   NOT_HERE( bcm_field_entry_install, int, int )
   NOT_HERE( bcm_field_entry_remove, int, int )
   NOT_HERE( bcm_field_entry_prio_set, int, int, int )
   NOT_HERE( bcm_field_entry_name_set, int, int, const char* )
   NOT_HERE( bcm_field_qualify_PortClass, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_DstPort, int, int, uint32_t, uint32_t, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_DstTrunk, int, int, int, uint32_t )
   NOT_HERE( bcm_field_qualify_OuterVlanId, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_SrcIp, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_DstIp, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_IpProtocol, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_DSCP, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_L4SrcPort, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_L4DstPort, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_TcpControl, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_IcmpTypeCode, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_EtherType, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_MplsLabel, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_MplsInnerLabel, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_DstClassL2, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_SrcIp6, int, int, const Ip6&, const Ip6& )
   NOT_HERE( bcm_field_qualify_DstIp6, int, int, const Ip6&, const Ip6& )
   NOT_HERE( bcm_field_qualify_SrcMac, int, int, const Mac&, const Mac& )
   NOT_HERE( bcm_field_qualify_DstMac, int, int, const Mac&, const Mac& )
   NOT_HERE( bcm_field_qualify_IpType, int, int, Shim::FieldIpType )
   NOT_HERE( bcm_field_qualify_IpFrag, int, int, Shim::FieldIpFrag )
   NOT_HERE( bcm_field_qualify_RangeCheck, int, int, int )
   NOT_HERE( bcm_field_qualify_OutPort, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_field_qualify_MirrorCopy, int, int, uint32_t, uint32_t )
   NOT_HERE( bcm_policer_create, int, const Shim::bcm_policer_config_s&, uint32_t* )
   NOT_HERE( bcm_policer_destroy, int, uint32_t )
   NOT_HERE( bcm_field_entry_policer_attach, int, int, int, uint32_t )
   NOT_HERE( bcm_field_entry_policer_detach, int, int, int )
   NOT_HERE( bcm_field_entry_stat_set, int, int, Shim::FieldStat )
   NOT_HERE( bcm_field_action_remove_all, int, int )
   NOT_HERE( bcm_field_action_get, int, int, Shim::FieldAction, uint32_t*, uint32_t* )
   NOT_HERE( bcm_field_range_create, int, Shim::FieldRange, uint32_t, uint32_t, int* )
   NOT_HERE( bcm_field_range_destroy, int, int )
   NOT_HERE( bcm_field_qualifier_delete, int, int, Shim::Qualifier )
   NOT_HERE( bcm_field_action_add, int, int, Shim::FieldAction, uint32_t, uint32_t )
   NOT_HERE( bcm_field_action_remove, int, int, Shim::FieldAction )
   NOT_HERE( bcm_switch_control_set, int, Shim::SwitchControl, int )
   NOT_HERE( soc_mem_read, int, Shim::Memory, Shim::MemBlock, int, Shim::MemEntry* )
   NOT_HERE( soc_mem_write, int, Shim::Memory, Shim::MemBlock, int, const Shim::MemEntry* )
   NOT_HERE( soc_mem_field32_get, int, Shim::Memory, const Shim::MemEntry*, Shim::MemField,
         uint32_t* )
   NOT_HERE( soc_mem_field32_set, int, Shim::Memory, Shim::MemEntry*, Shim::MemField, uint32_t )
   NOT_HERE( bcmlt_entry_allocate, int, const char*, Shim::bcmlt_entry_handle_t* )
   NOT_HERE( bcmlt_entry_field_add, Shim::bcmlt_entry_handle_t, const char*, uint64_t )
   NOT_HERE( bcmlt_pt_entry_commit, Shim::bcmlt_entry_handle_t, Shim::PtOpcode,
         Shim::LtPriority )
   NOT_HERE( bcmlt_entry_free, Shim::bcmlt_entry_handle_t )
   NOT_HERE( bcm_mirror_destination_set, int, int, const Shim::MirrorDestination& )
   NOT_HERE( bcm_mirror_destination_destroy, int, int )
   NOT_HERE( bcm_port_enable_set, int, int, bool )
   NOT_HERE( bcm_port_class_set, int, int, uint32_t )
   NOT_HERE( bcm_port_untagged_vlan_set, int, int, uint16_t )
   NOT_HERE( bcm_vlan_create, int, uint16_t )
   NOT_HERE( bcm_vlan_destroy, int, uint16_t )
   NOT_HERE( bcm_vlan_port_add, int, uint16_t, const PortBitmap&, const PortBitmap& )
   NOT_HERE( bcm_vlan_port_remove, int, uint16_t, const PortBitmap& )
   NOT_HERE( bcm_trunk_create, int, int )
   NOT_HERE( bcm_trunk_destroy, int, int )
   NOT_HERE( bcm_trunk_members_set, int, int, const int*, int )
   NOT_HERE( bcm_l2_addr_add, int, const Shim::L2Addr& )
   NOT_HERE( bcm_l2_addr_delete, int, const Mac&, uint16_t )
#undef NOT_HERE
};

class SdkCall : public ::testing::Test {
 protected:
   SdkCall() : before_( std::exchange( Shim::sdk_, &sdk_ ) ) {
      Karvel::sdkErrorStreamIs( &errors_ );
      Duolog::sinkIs( [ this ]( std::string_view line ) { traced_.emplace_back( line ); } );
      Duolog::timeSourceIs( [] { return 0.0; } );
   }
   ~SdkCall() override {
      Duolog::timeSourceIs( nullptr );
      Duolog::sinkIs( {} );
      Duolog::disableAll();
      Karvel::sdkErrorStreamIs( nullptr );
      Shim::sdk_ = before_;
   }
   Rc qualifyDrop( uint32_t data ) {
      return KARVEL_SDK_CALL( trace_, bcm_field_qualify_Drop, ( 0, 7, data, 1 ) );
   }

   FakeSdk sdk_;
   Shim::Sdk* before_;
   Duolog::Handle trace_{ "SdkCallTest" };
   std::ostringstream errors_;
   std::vector< std::string > traced_;
};

TEST_F( SdkCall, AnotherThreadGetsInDuringTheCallAndOnlyThen ) {
   std::atomic< bool > callBegins = false;
   std::atomic< bool > otherIsDone = false;
   std::promise< bool > otherIsIn; // the value: whether the call had begun
   std::thread other;
   sdk_.onDrop = [ & ]( uint32_t ) {
      EXPECT_FALSE( activityLock().heldByThisThread() );
      auto in = otherIsIn.get_future();
      EXPECT_EQ( in.wait_for( std::chrono::seconds( 20 ) ), std::future_status::ready );
      EXPECT_TRUE( in.get() ) << "it got in before the call";
      return Shim::Sdk::QX_BCM_E_NONE();
   };
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

TEST_F( SdkCall, ArgumentsAreConvertedAndCopiedUnderTheLock ) {
   sdk_.onDrop = []( uint32_t data ) { return data == 1 ? Rc( 0 ) : Rc( -1 ); };
   PortBitmap ports( 5 );
   PortBitmap seen;
   sdk_.onInPorts = [ & ]( const PortBitmap& data, const PortBitmap& mask ) {
      ports.reset(); // as another thread may
      seen = data & mask;
      return Shim::Sdk::QX_BCM_E_NONE();
   };
   Zol::ActivityLockHolder lock;
   EXPECT_EQ( KARVEL_SDK_CALL( trace_, bcm_field_qualify_Drop, ( 0, 7, Attribute(), 1 ) ), 0 );
   EXPECT_EQ(
         KARVEL_SDK_CALL( trace_, bcm_field_qualify_InPorts, ( 0, 7, ports, ~PortBitmap() ) ),
         0 );
   EXPECT_EQ( seen, PortBitmap( 5 ) );
   int entry = 0; // what a call gives back comes through the caller's pointer
   EXPECT_EQ( KARVEL_SDK_CALL( trace_, bcm_field_entry_create, ( 0, 1, &entry ) ), 0 );
   EXPECT_EQ( entry, 7 );
}

TEST_F( SdkCall, FailureIsReportedWithTheCallAsWritten ) {
   ASSERT_FALSE( Duolog::enable( "SdkCallTest" ) );
   Rc rc = Shim::Sdk::QX_BCM_E_NONE();
   sdk_.onDrop = [ & ]( uint32_t ) { return rc; };
   EXPECT_EQ( qualifyDrop( 1 ), rc );
   EXPECT_EQ( errors_.str(), "" );
   rc = Shim::Sdk::QX_BCM_E_NOT_FOUND();
   EXPECT_EQ( qualifyDrop( 1 ), rc );
   EXPECT_EQ( errors_.str(),
         "bcm_field_qualify_Drop( 0, 7, data, 1 ) API ERROR:Entry not found (rc:-7)\n" );
   EXPECT_EQ(
         traced_, ( std::vector< std::string >{
                        "0.000000 SdkCallTest/5 bcm_field_qualify_Drop( 0, 7, data, 1 ) (rc:0)",
                        "0.000000 SdkCallTest/0 bcm_field_qualify_Drop( 0, 7, data, 1 ) API "
                        "ERROR:Entry not found (rc:-7)" } ) );
}

TEST_F( SdkCall, LockIsRetakenWhenTheCallThrowsAndNotTakenWhenItWasNotHeld ) {
   sdk_.onDrop = []( uint32_t ) -> Rc { throw std::runtime_error( "gone" ); };
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
