#include "ChipModel/Sdk/SdkModel.h"

#include "ChipModel/Chip.h"

namespace ChipModel {

using Shim::Rc;

Rc SdkModel::bcm_field_group_create( int unit, Shim::FieldStage stage,
      Shim::QualifierSet qualifiers, int priority, int* group ) {
   return callFor( SdkCall::bcm_field_group_create, unit, group, [ & ]( Chip& chip, int* id ) {
      return chip.fields().groupCreate( stage, qualifiers, priority, id );
   } );
}

Rc SdkModel::bcm_field_group_destroy( int unit, int group ) {
   return call( SdkCall::bcm_field_group_destroy, unit,
         [ & ]( Chip& chip ) { return chip.fields().groupDestroy( group ); } );
}

Rc SdkModel::bcm_field_group_status_get( int unit, int group, Shim::FieldGroupStatus* status ) {
   return callFor( SdkCall::bcm_field_group_status_get, unit, status,
         [ & ]( Chip& chip, Shim::FieldGroupStatus* value ) {
            return chip.fields().groupStatusGet( group, value );
         } );
}

Rc SdkModel::bcm_field_entry_create( int unit, int group, int* entry ) {
   return callFor( SdkCall::bcm_field_entry_create, unit, entry,
         [ & ]( Chip& chip, int* id ) { return chip.fields().entryCreate( group, id ); } );
}

Rc SdkModel::bcm_field_entry_destroy( int unit, int entry ) {
   return call( SdkCall::bcm_field_entry_destroy, unit,
         [ & ]( Chip& chip ) { return chip.fields().entryDestroy( entry ); } );
}

Rc SdkModel::bcm_field_entry_install( int unit, int entry ) {
   return call( SdkCall::bcm_field_entry_install, unit,
         [ & ]( Chip& chip ) { return chip.fields().entryInstall( entry ); } );
}

Rc SdkModel::bcm_field_entry_remove( int unit, int entry ) {
   return call( SdkCall::bcm_field_entry_remove, unit,
         [ & ]( Chip& chip ) { return chip.fields().entryRemove( entry ); } );
}

Rc SdkModel::bcm_field_entry_prio_set( int unit, int entry, int priority ) {
   return call( SdkCall::bcm_field_entry_prio_set, unit,
         [ & ]( Chip& chip ) { return chip.fields().entryPrioSet( entry, priority ); } );
}

Rc SdkModel::bcm_field_entry_name_set( int unit, int entry, const char* name ) {
   return call( SdkCall::bcm_field_entry_name_set, unit, [ & ]( Chip& chip ) {
      return name == nullptr ? QX_BCM_E_PARAM() : chip.fields().entryNameSet( entry, name );
   } );
}

Rc SdkModel::bcm_field_qualifier_delete( int unit, int entry, Shim::Qualifier qualifier ) {
   return call( SdkCall::bcm_field_qualifier_delete, unit,
         [ & ]( Chip& chip ) { return chip.fields().qualifierDelete( entry, qualifier ); } );
}

Rc SdkModel::bcm_field_action_add(
      int unit, int entry, Shim::FieldAction action, uint32_t param0, uint32_t param1 ) {
   return call( SdkCall::bcm_field_action_add, unit, [ & ]( Chip& chip ) {
      return chip.fields().actionAdd( entry, action, param0, param1 );
   } );
}

Rc SdkModel::bcm_field_action_remove( int unit, int entry, Shim::FieldAction action ) {
   return call( SdkCall::bcm_field_action_remove, unit,
         [ & ]( Chip& chip ) { return chip.fields().actionRemove( entry, action ); } );
}

Rc SdkModel::bcm_field_action_remove_all( int unit, int entry ) {
   return call( SdkCall::bcm_field_action_remove_all, unit,
         [ & ]( Chip& chip ) { return chip.fields().actionRemoveAll( entry ); } );
}

Rc SdkModel::bcm_field_action_get(
      int unit, int entry, Shim::FieldAction action, uint32_t* param0, uint32_t* param1 ) {
   ActionValue value;
   const Rc rc = call( SdkCall::bcm_field_action_get, unit, [ & ]( Chip& chip ) {
      return param0 == nullptr || param1 == nullptr
            ? QX_BCM_E_PARAM()
            : chip.fields().actionGet( entry, action, &value );
   } );
   if ( rc == QX_BCM_E_NONE() ) {
      *param0 = value.param0;
      *param1 = value.param1;
   }
   return rc;
}

Rc SdkModel::bcm_field_range_create(
      int unit, Shim::FieldRange what, uint32_t min, uint32_t max, int* range ) {
   return callFor( SdkCall::bcm_field_range_create, unit, range, [ & ]( Chip& chip, int* id ) {
      return chip.fields().rangeCreate( what, min, max, id );
   } );
}

Rc SdkModel::bcm_field_range_destroy( int unit, int range ) {
   return call( SdkCall::bcm_field_range_destroy, unit,
         [ & ]( Chip& chip ) { return chip.fields().rangeDestroy( range ); } );
}

Rc SdkModel::bcm_policer_create(
      int unit, const Shim::bcm_policer_config_s& config, uint32_t* policer ) {
   return callFor(
         SdkCall::bcm_policer_create, unit, policer, [ & ]( Chip& chip, uint32_t* id ) {
            return chip.fields().policerCreate( config, id );
         } );
}

Rc SdkModel::bcm_policer_destroy( int unit, uint32_t policer ) {
   return call( SdkCall::bcm_policer_destroy, unit,
         [ & ]( Chip& chip ) { return chip.fields().policerDestroy( policer ); } );
}

Rc SdkModel::bcm_field_entry_policer_attach(
      int unit, int entry, int level, uint32_t policer ) {
   return call( SdkCall::bcm_field_entry_policer_attach, unit, [ & ]( Chip& chip ) {
      return chip.fields().entryPolicerAttach( entry, level, policer );
   } );
}

Rc SdkModel::bcm_field_entry_policer_detach( int unit, int entry, int level ) {
   return call( SdkCall::bcm_field_entry_policer_detach, unit,
         [ & ]( Chip& chip ) { return chip.fields().entryPolicerDetach( entry, level ); } );
}

Rc SdkModel::bcm_field_entry_stat_set( int unit, int entry, Shim::FieldStat stat ) {
   return call( SdkCall::bcm_field_entry_stat_set, unit,
         [ & ]( Chip& chip ) { return chip.fields().entryStatSet( entry, stat ); } );
}

Rc SdkModel::bcm_mirror_destination_set(
      int unit, int destination, const Shim::MirrorDestination& value ) {
   return call( SdkCall::bcm_mirror_destination_set, unit, [ & ]( Chip& chip ) {
      return chip.tables().mirrorDestinationSet( destination, value );
   } );
}

Rc SdkModel::bcm_mirror_destination_destroy( int unit, int destination ) {
   return call( SdkCall::bcm_mirror_destination_destroy, unit, [ & ]( Chip& chip ) {
      return chip.fields().namesDestination( unit, destination )
            ? QX_BCM_E_BUSY()
            : chip.tables().mirrorDestinationDestroy( destination );
   } );
}

Rc SdkModel::bcm_port_enable_set( int unit, int port, bool enable ) {
   return call( SdkCall::bcm_port_enable_set, unit,
         [ & ]( Chip& chip ) { return chip.tables().portEnableSet( port, enable ); } );
}

Rc SdkModel::bcm_port_class_set( int unit, int port, uint32_t classBits ) {
   return call( SdkCall::bcm_port_class_set, unit,
         [ & ]( Chip& chip ) { return chip.tables().ports.classSet( port, classBits ); } );
}

Rc SdkModel::bcm_port_untagged_vlan_set( int unit, int port, uint16_t vid ) {
   return call( SdkCall::bcm_port_untagged_vlan_set, unit,
         [ & ]( Chip& chip ) { return chip.tables().ports.untaggedVlanSet( port, vid ); } );
}

Rc SdkModel::bcm_vlan_create( int unit, uint16_t vid ) {
   return call( SdkCall::bcm_vlan_create, unit,
         [ & ]( Chip& chip ) { return chip.tables().vlans.create( vid ); } );
}

Rc SdkModel::bcm_vlan_destroy( int unit, uint16_t vid ) {
   return call( SdkCall::bcm_vlan_destroy, unit,
         [ & ]( Chip& chip ) { return chip.tables().vlanDestroy( vid ); } );
}

Rc SdkModel::bcm_vlan_port_add(
      int unit, uint16_t vid, const Bitmap& members, const Bitmap& untagged ) {
   return call( SdkCall::bcm_vlan_port_add, unit,
         [ & ]( Chip& chip ) { return chip.tables().vlanPortAdd( vid, members, untagged ); } );
}

Rc SdkModel::bcm_vlan_port_remove( int unit, uint16_t vid, const Bitmap& members ) {
   return call( SdkCall::bcm_vlan_port_remove, unit,
         [ & ]( Chip& chip ) { return chip.tables().vlanPortRemove( vid, members ); } );
}

Rc SdkModel::bcm_trunk_create( int unit, int trunk ) {
   return call( SdkCall::bcm_trunk_create, unit,
         [ & ]( Chip& chip ) { return chip.tables().trunks.create( trunk ); } );
}

Rc SdkModel::bcm_trunk_destroy( int unit, int trunk ) {
   return call( SdkCall::bcm_trunk_destroy, unit,
         [ & ]( Chip& chip ) { return chip.tables().trunkDestroy( trunk ); } );
}

Rc SdkModel::bcm_trunk_members_set( int unit, int trunk, const int* ports, int count ) {
   return call( SdkCall::bcm_trunk_members_set, unit,
         [ & ]( Chip& chip ) { return chip.tables().trunkMembersSet( trunk, ports, count ); } );
}

Rc SdkModel::bcm_l2_addr_add( int unit, const Shim::L2Addr& address ) {
   return call( SdkCall::bcm_l2_addr_add, unit,
         [ & ]( Chip& chip ) { return chip.tables().l2AddrAdd( address ); } );
}

Rc SdkModel::bcm_l2_addr_delete( int unit, const Plix::EthAddr& mac, uint16_t vid ) {
   return call( SdkCall::bcm_l2_addr_delete, unit,
         [ & ]( Chip& chip ) { return chip.tables().l2AddrDelete( mac, vid ); } );
}

Rc SdkModel::bcm_l2_addr_delete_by_vlan_port( int unit, uint16_t vid, int port ) {
   return call( SdkCall::bcm_l2_addr_delete_by_vlan_port, unit, [ & ]( Chip& chip ) {
      return chip.tables().l2AddrForget( vid, { false, static_cast< int16_t >( port ) } );
   } );
}

Rc SdkModel::bcm_l2_addr_delete_by_vlan_trunk( int unit, uint16_t vid, int trunk ) {
   return call( SdkCall::bcm_l2_addr_delete_by_vlan_trunk, unit, [ & ]( Chip& chip ) {
      return chip.tables().l2AddrForget( vid, { true, static_cast< int16_t >( trunk ) } );
   } );
}

} // namespace ChipModel
