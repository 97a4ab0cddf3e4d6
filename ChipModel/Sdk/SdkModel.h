#pragma once

// Shim::Sdk over the chips of a switch. Every call passes the gate, finds its chip (E_UNIT
// if there is none), checks what it was given, and does nothing unless all of it is right.
// Querying the chip family touches no chip and does not pass the gate.

#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Sdk/Gate.h"
#include "ChipModel/Switch.h"

namespace ChipModel {

class SdkModel final : public Shim::Sdk {
 public:
   // All must outlive this.
   SdkModel( Chips& chips, Gate& gate, const SwitchContext& context )
         : chips_( chips ), gate_( gate ), context_( context ) {}

   using Bitmap = Shim::PortBitmap;
   using Rc = Shim::Rc;

   bool QX_SOC_IS_TOMAHAWKX( int unit ) const override;
   Shim::PolicerMode QX_BCM_POLICER_MODE( int ) const override {
      return Shim::PolicerMode::committed;
   }
   bool QX_SOC_IS_T3X4( int unit ) const override;
   bool QX_SOC_IS_T3X1X2( int unit ) const override;
   bool QX_SOC_IS_T3X5X7( int unit ) const override;
   bool QX_SOC_IS_T3X3( int unit ) const override;
   bool QX_SOC_HAS_FLEX_EDITOR( int unit ) const override;
   uint32_t QX_SDK_VERSION() const override { return context_.sdkVersion; }

   Rc bcm_field_group_create( int unit, Shim::FieldStage stage, Shim::QualifierSet qualifiers,
         int priority, int* group ) override;
   Rc bcm_field_group_destroy( int unit, int group ) override;
   Rc bcm_field_group_status_get(
         int unit, int group, Shim::FieldGroupStatus* status ) override;

   Rc bcm_field_entry_create( int unit, int group, int* entry ) override;
   Rc bcm_field_entry_destroy( int unit, int entry ) override;
   Rc bcm_field_entry_install( int unit, int entry ) override;
   Rc bcm_field_entry_remove( int unit, int entry ) override;
   Rc bcm_field_entry_prio_set( int unit, int entry, int priority ) override;
   Rc bcm_field_entry_name_set( int unit, int entry, const char* name ) override;

#define CHIP_MODEL_VALUE_CALL( qualifier, name, ... )                                          \
   Rc bcm_field_qualify_##name( int unit, int entry, uint32_t data, uint32_t mask ) override { \
      return qualify( SdkCall::bcm_field_qualify_##name, unit, entry,                          \
            Shim::Qualifier::qualifier, { { data, mask } } );                                  \
   }
#define CHIP_MODEL_OTHER_CALL( ... )
   CHIP_MODEL_QUALIFIERS( CHIP_MODEL_VALUE_CALL, CHIP_MODEL_OTHER_CALL )
#undef CHIP_MODEL_VALUE_CALL
#undef CHIP_MODEL_OTHER_CALL
   Rc bcm_field_qualify_InPorts(
         int unit, int entry, const Bitmap& data, const Bitmap& mask ) override;
   Rc bcm_field_qualify_DstPort( int unit, int entry, uint32_t modId, uint32_t modIdMask,
         uint32_t port, uint32_t portMask ) override;
   Rc bcm_field_qualify_DstTrunk( int unit, int entry, int trunk, uint32_t mask ) override;
   Rc bcm_field_qualify_IpType( int unit, int entry, Shim::FieldIpType type ) override;
   Rc bcm_field_qualify_SrcIp6(
         int unit, int entry, const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask ) override;
   Rc bcm_field_qualify_DstIp6(
         int unit, int entry, const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask ) override;
   Rc bcm_field_qualify_IpFrag( int unit, int entry, Shim::FieldIpFrag fragment ) override;
   Rc bcm_field_qualify_SrcMac(
         int unit, int entry, const Plix::EthAddr& data, const Plix::EthAddr& mask ) override;
   Rc bcm_field_qualify_DstMac(
         int unit, int entry, const Plix::EthAddr& data, const Plix::EthAddr& mask ) override;
   Rc bcm_field_qualify_RangeCheck( int unit, int entry, int range ) override;
   Rc bcm_field_qualifier_delete( int unit, int entry, Shim::Qualifier qualifier ) override;

   Rc bcm_field_action_add( int unit, int entry, Shim::FieldAction action, uint32_t param0,
         uint32_t param1 ) override;
   Rc bcm_field_action_remove( int unit, int entry, Shim::FieldAction action ) override;
   Rc bcm_field_action_remove_all( int unit, int entry ) override;
   Rc bcm_field_action_get( int unit, int entry, Shim::FieldAction action, uint32_t* param0,
         uint32_t* param1 ) override;
   Rc bcm_field_range_create(
         int unit, Shim::FieldRange what, uint32_t min, uint32_t max, int* range ) override;
   Rc bcm_field_range_destroy( int unit, int range ) override;

   Rc bcm_policer_create(
         int unit, const Shim::bcm_policer_config_s& config, uint32_t* policer ) override;
   Rc bcm_policer_destroy( int unit, uint32_t policer ) override;
   Rc bcm_field_entry_policer_attach(
         int unit, int entry, int level, uint32_t policer ) override;
   Rc bcm_field_entry_policer_detach( int unit, int entry, int level ) override;
   Rc bcm_field_entry_stat_set( int unit, int entry, Shim::FieldStat stat ) override;

   Rc bcm_switch_control_set( int unit, Shim::SwitchControl control, int value ) override;
   Rc soc_mem_read( int unit, Shim::Memory memory, Shim::MemBlock block, int index,
         Shim::MemEntry* entry ) override;
   Rc soc_mem_write( int unit, Shim::Memory memory, Shim::MemBlock block, int index,
         const Shim::MemEntry* entry ) override;
   Rc soc_mem_field32_get( int unit, Shim::Memory memory, const Shim::MemEntry* entry,
         Shim::MemField field, uint32_t* value ) override;
   Rc soc_mem_field32_set( int unit, Shim::Memory memory, Shim::MemEntry* entry,
         Shim::MemField field, uint32_t value ) override;

   Rc bcmlt_entry_allocate(
         int unit, const char* table, Shim::bcmlt_entry_handle_t* entry ) override;
   Rc bcmlt_entry_field_add(
         Shim::bcmlt_entry_handle_t entry, const char* field, uint64_t value ) override;
   Rc bcmlt_pt_entry_commit( Shim::bcmlt_entry_handle_t entry, Shim::PtOpcode opcode,
         Shim::LtPriority priority ) override;
   Rc bcmlt_entry_free( Shim::bcmlt_entry_handle_t entry ) override;

   Rc bcm_mirror_destination_set(
         int unit, int destination, const Shim::MirrorDestination& value ) override;
   Rc bcm_mirror_destination_destroy( int unit, int destination ) override;

   Rc bcm_port_enable_set( int unit, int port, bool enable ) override;
   Rc bcm_port_class_set( int unit, int port, uint32_t classBits ) override;
   Rc bcm_port_untagged_vlan_set( int unit, int port, uint16_t vid ) override;
   Rc bcm_vlan_create( int unit, uint16_t vid ) override;
   Rc bcm_vlan_destroy( int unit, uint16_t vid ) override;
   Rc bcm_vlan_port_add(
         int unit, uint16_t vid, const Bitmap& members, const Bitmap& untagged ) override;
   Rc bcm_vlan_port_remove( int unit, uint16_t vid, const Bitmap& members ) override;
   Rc bcm_trunk_create( int unit, int trunk ) override;
   Rc bcm_trunk_destroy( int unit, int trunk ) override;
   Rc bcm_trunk_members_set( int unit, int trunk, const int* ports, int count ) override;
   Rc bcm_l2_addr_add( int unit, const Shim::L2Addr& address ) override;
   Rc bcm_l2_addr_delete( int unit, const Plix::EthAddr& mac, uint16_t vid ) override;
   Rc bcm_l2_addr_delete_by_vlan_port( int unit, uint16_t vid, int port ) override;
   Rc bcm_l2_addr_delete_by_vlan_trunk( int unit, uint16_t vid, int trunk ) override;

 private:
   // `operation( chip )` through the gate.
   template < typename Operation >
   Rc call( SdkCall name, int unit, Operation&& operation );
   Rc qualify( SdkCall name, int unit, int entry, Shim::Qualifier qualifier,
         std::initializer_list< Ternary > parts );
   // The same for a call that gives a value back: `operation( chip, &value )`. `*out` is written
   // only if the caller sees success (a fault may hide one).
   template < typename Value, typename Operation >
   Rc callFor( SdkCall name, int unit, Value* out, Operation&& operation );

   template < typename Predicate >
   bool chipIs( int unit, Predicate&& predicate ) const;
   // `operation` on an entry that is allocated; E_NOT_FOUND if it is not.
   template < typename Operation >
   Rc callLogical( SdkCall name, Shim::bcmlt_entry_handle_t entry, Operation&& operation );

   // An entry of a logical table that nobody has freed.
   struct LogicalEntry {
      int unit = 0;
      LogicalTables::Fields fields;
   };

   Chips& chips_;
   Gate& gate_;
   const SwitchContext& context_;
   std::map< Shim::bcmlt_entry_handle_t, LogicalEntry > logicalEntries_;
   Shim::bcmlt_entry_handle_t nextLogicalEntry_ = 1;
};

template < typename Operation >
Shim::Rc SdkModel::call( SdkCall name, int unit, Operation&& operation ) {
   return gate_.pass( name, unit, [ & ]() -> Rc {
      const auto found = chips_.find( unit );
      return found == chips_.end() ? QX_BCM_E_UNIT() : operation( *found->second );
   } );
}

template < typename Value, typename Operation >
Shim::Rc SdkModel::callFor( SdkCall name, int unit, Value* out, Operation&& operation ) {
   Value value{};
   const Rc rc = call( name, unit, [ & ]( Chip& chip ) {
      return out == nullptr ? QX_BCM_E_PARAM() : operation( chip, &value );
   } );
   if ( rc == QX_BCM_E_NONE() ) {
      *out = value;
   }
   return rc;
}

} // namespace ChipModel
