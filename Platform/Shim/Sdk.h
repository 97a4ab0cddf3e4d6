#pragma once

// The chip vendor's SDK as this system uses it: one method per call, constants as methods,
// reached as ::Shim::sdk_. Every call takes the unit (chip) first and returns a code; results
// come through pointers that are written only on success.
//
// Do not make calls while holding the activity lock: see Platform/Karvel/SdkCall.h.

#include "Platform/Shim/Memory.h"
#include "Platform/Shim/SdkTypes.h"

namespace Shim {

class Sdk {
 public:
   virtual ~Sdk() = default;

   // --- Return codes -------------------------------------------------------------------
   static constexpr Rc QX_BCM_E_NONE() { return 0; }
   static constexpr Rc QX_BCM_E_INTERNAL() { return -1; }
   static constexpr Rc QX_BCM_E_MEMORY() { return -2; }
   static constexpr Rc QX_BCM_E_UNIT() { return -3; }
   static constexpr Rc QX_BCM_E_PARAM() { return -4; }
   static constexpr Rc QX_BCM_E_EMPTY() { return -5; }
   static constexpr Rc QX_BCM_E_FULL() { return -6; }
   static constexpr Rc QX_BCM_E_NOT_FOUND() { return -7; }
   static constexpr Rc QX_BCM_E_EXISTS() { return -8; }
   static constexpr Rc QX_BCM_E_TIMEOUT() { return -9; }
   static constexpr Rc QX_BCM_E_BUSY() { return -10; }
   static constexpr Rc QX_BCM_E_FAIL() { return -11; }
   static constexpr Rc QX_BCM_E_RESOURCE() { return -14; }
   static constexpr Rc QX_BCM_E_CONFIG() { return -15; }
   static constexpr Rc QX_BCM_E_UNAVAIL() { return -16; }
   static constexpr Rc QX_BCM_E_PORT() { return -18; }
   // The error's text, "Entry not found" for example; "Unknown error" for any other code.
   static const char* bcm_errmsg( Rc rc );

   // --- Chip family --------------------------------------------------------------------
   virtual bool QX_SOC_IS_TOMAHAWKX( int unit ) const = 0;
   // How the chip's policers limit a single rate.
   virtual PolicerMode QX_BCM_POLICER_MODE( int unit ) const = 0;
   // How the chip builds GRE headers with a key; at most one of these and TOMAHAWKX is true.
   virtual bool QX_SOC_IS_T3X4( int unit ) const = 0;
   virtual bool QX_SOC_IS_T3X1X2( int unit ) const = 0;
   virtual bool QX_SOC_IS_T3X5X7( int unit ) const = 0;
   virtual bool QX_SOC_IS_T3X3( int unit ) const = 0;
   // Whether software sets where editing begins (ING_ and EGR_FLEX_EDITOR_PROFILEm).
   virtual bool QX_SOC_HAS_FLEX_EDITOR( int unit ) const = 0;
   // The SDK's version: 60527 is 6.5.27.
   virtual uint32_t QX_SDK_VERSION() const = 0;

   // --- Field processor: groups --------------------------------------------------------
   virtual Rc bcm_field_group_create(
         int unit, FieldStage stage, QualifierSet qualifiers, int priority, int* group ) = 0;
   virtual Rc bcm_field_group_destroy( int unit, int group ) = 0; // E_BUSY while it has entries
   virtual Rc bcm_field_group_status_get( int unit, int group, FieldGroupStatus* status ) = 0;

   // --- Field processor: entries -------------------------------------------------------
   // Creating reserves the slot (E_RESOURCE when the stage is full); matching starts with
   // install. A later install makes the changes since the last one take effect.
   virtual Rc bcm_field_entry_create( int unit, int group, int* entry ) = 0;
   virtual Rc bcm_field_entry_destroy( int unit, int entry ) = 0;
   virtual Rc bcm_field_entry_install( int unit, int entry ) = 0;
   virtual Rc bcm_field_entry_remove(
         int unit, int entry ) = 0; // stays created, matches no more
   virtual Rc bcm_field_entry_prio_set( int unit, int entry, int priority ) = 0;
   virtual Rc bcm_field_entry_name_set( int unit, int entry, const char* name ) = 0;

   // Data and mask; where a bit of the mask is zero, any value matches.
   virtual Rc bcm_field_qualify_InPorts(
         int unit, int entry, const PortBitmap& data, const PortBitmap& mask ) = 0;
   virtual Rc bcm_field_qualify_PortClass(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_DstPort( int unit, int entry, uint32_t modId,
         uint32_t modIdMask, uint32_t port, uint32_t portMask ) = 0;
   virtual Rc bcm_field_qualify_DstTrunk( int unit, int entry, int trunk, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_Drop( int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_OuterVlanId(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   // Of the tag that a frame has in its VLAN: what comes untagged has priority 0 there.
   virtual Rc bcm_field_qualify_OuterVlanPriority(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_IpType( int unit, int entry, FieldIpType type ) = 0;
   virtual Rc bcm_field_qualify_SrcIp( int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_DstIp( int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_SrcIp6(
         int unit, int entry, const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask ) = 0;
   virtual Rc bcm_field_qualify_DstIp6(
         int unit, int entry, const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask ) = 0;
   // The protocol; for IPv6 the next header behind all extensions.
   virtual Rc bcm_field_qualify_IpProtocol(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   // The whole byte: 6 bits of DSCP, 2 of ECN.
   virtual Rc bcm_field_qualify_DSCP( int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_IpFrag( int unit, int entry, FieldIpFrag fragment ) = 0;
   // Ports of TCP, UDP and SCTP.
   virtual Rc bcm_field_qualify_L4SrcPort(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_L4DstPort(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_TcpControl(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   // ICMP and ICMPv6: type in the upper byte, code in the lower one.
   virtual Rc bcm_field_qualify_IcmpTypeCode(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   // The EtherType behind the VLAN tags.
   virtual Rc bcm_field_qualify_EtherType(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_SrcMac(
         int unit, int entry, const Plix::EthAddr& data, const Plix::EthAddr& mask ) = 0;
   virtual Rc bcm_field_qualify_DstMac(
         int unit, int entry, const Plix::EthAddr& data, const Plix::EthAddr& mask ) = 0;
   // The outermost MPLS label, and the next one (RFC 3032): 20 bits.
   virtual Rc bcm_field_qualify_MplsLabel(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_MplsInnerLabel(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   // The class of the L2 address that the frame goes to: 10 bits, 0 is none.
   virtual Rc bcm_field_qualify_DstClassL2(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   // Matches if the range checker does. An entry may name several checkers: all must match.
   virtual Rc bcm_field_qualify_RangeCheck( int unit, int entry, int range ) = 0;
   virtual Rc bcm_field_qualify_OutPort(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualify_MirrorCopy(
         int unit, int entry, uint32_t data, uint32_t mask ) = 0;
   virtual Rc bcm_field_qualifier_delete( int unit, int entry, Qualifier qualifier ) = 0;

   virtual Rc bcm_field_action_add(
         int unit, int entry, FieldAction action, uint32_t param0, uint32_t param1 ) = 0;
   virtual Rc bcm_field_action_remove( int unit, int entry, FieldAction action ) = 0;
   virtual Rc bcm_field_action_remove_all( int unit, int entry ) = 0;
   // E_NOT_FOUND if the entry does not have the action.
   virtual Rc bcm_field_action_get(
         int unit, int entry, FieldAction action, uint32_t* param0, uint32_t* param1 ) = 0;

   // --- Field processor: range checkers ------------------------------------------------
   // A chip has a few. E_RESOURCE when all are in use; destroying one that an entry uses is
   // E_BUSY. Both ends of the range are included.
   virtual Rc bcm_field_range_create(
         int unit, FieldRange what, uint32_t min, uint32_t max, int* range ) = 0;
   virtual Rc bcm_field_range_destroy( int unit, int range ) = 0;

   // --- Policers and counters of entries -------------------------------------------------
   // Sets all fields to zero, and the mode to committed.
   static void bcm_policer_config_t_init( bcm_policer_config_s* config );
   // Ids are 1 and up, never used again. E_RESOURCE when all are in use.
   virtual Rc bcm_policer_create(
         int unit, const bcm_policer_config_s& config, uint32_t* policer ) = 0;
   // E_BUSY while an entry has it.
   virtual Rc bcm_policer_destroy( int unit, uint32_t policer ) = 0;
   // Takes effect with the next install, like every change of an entry. An entry has at most
   // one policer (E_EXISTS), `level` is 0; destroying the entry detaches the policer.
   virtual Rc bcm_field_entry_policer_attach(
         int unit, int entry, int level, uint32_t policer ) = 0;
   virtual Rc bcm_field_entry_policer_detach( int unit, int entry, int level ) = 0;
   // The entry counts from now on.
   virtual Rc bcm_field_entry_stat_set( int unit, int entry, FieldStat stat ) = 0;

   // --- Chip-wide settings and memories ----------------------------------------------------
   // The harmless answer of a chip that does not have the switch control.
   static constexpr Rc QX_BCM_E_SWITCH_CONTROL_ABSENT() { return QX_BCM_E_UNAVAIL(); }
   virtual Rc bcm_switch_control_set( int unit, SwitchControl control, int value ) = 0;
   // E_UNAVAIL if the chip does not have the memory, E_PARAM for an index that the memory does
   // not have. One copy is read, all are written.
   virtual Rc soc_mem_read(
         int unit, Memory memory, MemBlock block, int index, MemEntry* entry ) = 0;
   virtual Rc soc_mem_write(
         int unit, Memory memory, MemBlock block, int index, const MemEntry* entry ) = 0;
   // The entry is one in a buffer. E_NOT_FOUND if the memory does not have the field, E_PARAM
   // for a value that is too wide for it.
   virtual Rc soc_mem_field32_get(
         int unit, Memory memory, const MemEntry* entry, MemField field, uint32_t* value ) = 0;
   virtual Rc soc_mem_field32_set(
         int unit, Memory memory, MemEntry* entry, MemField field, uint32_t value ) = 0;

   // --- Logical tables ---------------------------------------------------------------------
   // E_UNAVAIL if the chip has no logical tables, E_NOT_FOUND if it does not have this one. The
   // caller frees the entry.
   virtual Rc bcmlt_entry_allocate(
         int unit, const char* table, bcmlt_entry_handle_t* entry ) = 0;
   // E_NOT_FOUND if the table does not have the field, E_PARAM for a value that is too wide.
   virtual Rc bcmlt_entry_field_add(
         bcmlt_entry_handle_t entry, const char* field, uint64_t value ) = 0;
   // Writes the fields that were added; other fields of the chip's entry stay.
   virtual Rc bcmlt_pt_entry_commit(
         bcmlt_entry_handle_t entry, PtOpcode opcode, LtPriority priority ) = 0;
   virtual Rc bcmlt_entry_free( bcmlt_entry_handle_t entry ) = 0;

   // --- Mirror destinations ------------------------------------------------------------
   // A destination number is the index of the chip's mirror destination table (0 to 3).
   virtual Rc bcm_mirror_destination_set(
         int unit, int destination, const MirrorDestination& value ) = 0;
   // E_BUSY while an installed entry names it.
   virtual Rc bcm_mirror_destination_destroy( int unit, int destination ) = 0;

   // --- Ports, VLANs, trunks, L2 table -------------------------------------------------
   virtual Rc bcm_port_enable_set( int unit, int port, bool enable ) = 0;
   virtual Rc bcm_port_class_set( int unit, int port, uint32_t classBits ) = 0;
   virtual Rc bcm_port_untagged_vlan_set( int unit, int port, uint16_t vid ) = 0; // 0: none
   virtual Rc bcm_vlan_create( int unit, uint16_t vid ) = 0;
   virtual Rc bcm_vlan_destroy( int unit, uint16_t vid ) = 0;
   virtual Rc bcm_vlan_port_add(
         int unit, uint16_t vid, const PortBitmap& members, const PortBitmap& untagged ) = 0;
   virtual Rc bcm_vlan_port_remove( int unit, uint16_t vid, const PortBitmap& members ) = 0;
   virtual Rc bcm_trunk_create( int unit, int trunk ) = 0;
   virtual Rc bcm_trunk_destroy( int unit, int trunk ) = 0;
   virtual Rc bcm_trunk_members_set( int unit, int trunk, const int* ports, int count ) = 0;
   virtual Rc bcm_l2_addr_add( int unit, const L2Addr& address ) = 0;
   virtual Rc bcm_l2_addr_delete( int unit, const Plix::EthAddr& mac, uint16_t vid ) = 0;
   // What was learned on the port, or on the trunk, in the VLAN; static addresses stay.
   virtual Rc bcm_l2_addr_delete_by_vlan_port( int unit, uint16_t vid, int port ) = 0;
   virtual Rc bcm_l2_addr_delete_by_vlan_trunk( int unit, uint16_t vid, int trunk ) = 0;
};

// The process's SDK. Set once by the agent before any plug-in runs; never null after that.
extern Sdk* sdk_;

} // namespace Shim
