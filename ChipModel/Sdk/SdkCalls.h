#pragma once

// The SDK's calls as an enumeration: one list, from which the numbers and the names come.
// A new call in Platform/Shim/Sdk.h is added here and in SdkModel; one that qualifies entries is a
// row of the field catalogue, which is passed to QUALIFY.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "ChipModel/Fields/FieldCatalogue.h"

#define CHIP_MODEL_SDK_CALLS( CALL, QUALIFY )                                                  \
   CALL( bcm_field_group_create )                                                              \
   CALL( bcm_field_group_destroy )                                                             \
   CALL( bcm_field_group_status_get )                                                          \
   CALL( bcm_field_entry_create )                                                              \
   CALL( bcm_field_entry_destroy )                                                             \
   CALL( bcm_field_entry_install )                                                             \
   CALL( bcm_field_entry_remove )                                                              \
   CALL( bcm_field_entry_prio_set )                                                            \
   CALL( bcm_field_entry_name_set )                                                            \
   CHIP_MODEL_QUALIFIERS( QUALIFY, QUALIFY )                                                   \
   CALL( bcm_field_qualifier_delete )                                                          \
   CALL( bcm_field_action_add )                                                                \
   CALL( bcm_field_action_remove )                                                             \
   CALL( bcm_field_action_remove_all )                                                         \
   CALL( bcm_field_action_get )                                                                \
   CALL( bcm_field_range_create )                                                              \
   CALL( bcm_field_range_destroy )                                                             \
   CALL( bcm_policer_create )                                                                  \
   CALL( bcm_policer_destroy )                                                                 \
   CALL( bcm_field_entry_policer_attach )                                                      \
   CALL( bcm_field_entry_policer_detach )                                                      \
   CALL( bcm_field_entry_stat_set )                                                            \
   CALL( bcm_switch_control_set )                                                              \
   CALL( soc_mem_read )                                                                        \
   CALL( soc_mem_write )                                                                       \
   CALL( soc_mem_field32_get )                                                                 \
   CALL( soc_mem_field32_set )                                                                 \
   CALL( bcmlt_entry_allocate )                                                                \
   CALL( bcmlt_entry_field_add )                                                               \
   CALL( bcmlt_pt_entry_commit )                                                               \
   CALL( bcmlt_entry_free )                                                                    \
   CALL( bcm_mirror_destination_set )                                                          \
   CALL( bcm_mirror_destination_destroy )                                                      \
   CALL( bcm_port_enable_set )                                                                 \
   CALL( bcm_port_class_set )                                                                  \
   CALL( bcm_port_untagged_vlan_set )                                                          \
   CALL( bcm_vlan_create )                                                                     \
   CALL( bcm_vlan_destroy )                                                                    \
   CALL( bcm_vlan_port_add )                                                                   \
   CALL( bcm_vlan_port_remove )                                                                \
   CALL( bcm_trunk_create )                                                                    \
   CALL( bcm_trunk_destroy )                                                                   \
   CALL( bcm_trunk_members_set )                                                               \
   CALL( bcm_l2_addr_add )                                                                     \
   CALL( bcm_l2_addr_delete )                                                                  \
   CALL( bcm_l2_addr_delete_by_vlan_port )                                                     \
   CALL( bcm_l2_addr_delete_by_vlan_trunk )

namespace ChipModel {

#define CHIP_MODEL_ENUMERATOR( name ) name,
#define CHIP_MODEL_QUALIFY( qualifier, name, ... ) bcm_field_qualify_##name,
enum class SdkCall : uint8_t {
   CHIP_MODEL_SDK_CALLS( CHIP_MODEL_ENUMERATOR, CHIP_MODEL_QUALIFY ) count_
};
#undef CHIP_MODEL_ENUMERATOR
#undef CHIP_MODEL_QUALIFY

inline constexpr size_t sdkCallCount = static_cast< size_t >( SdkCall::count_ );

#define CHIP_MODEL_NAME( name ) #name,
#define CHIP_MODEL_QUALIFY( qualifier, name, ... ) "bcm_field_qualify_" #name,
inline constexpr std::array< std::string_view, sdkCallCount > sdkCallNames{
   CHIP_MODEL_SDK_CALLS( CHIP_MODEL_NAME, CHIP_MODEL_QUALIFY )
};
#undef CHIP_MODEL_NAME
#undef CHIP_MODEL_QUALIFY

// The method's name, "bcm_field_entry_install" for example.
constexpr std::string_view sdkCallName( SdkCall call ) {
   return sdkCallNames[ static_cast< size_t >( call ) ];
}

// The call of that name; none if there is no such call.
constexpr std::optional< SdkCall > sdkCallByName( std::string_view name ) {
   for ( size_t i = 0; i < sdkCallCount; ++i ) {
      if ( sdkCallNames[ i ] == name ) {
         return static_cast< SdkCall >( i );
      }
   }
   return std::nullopt;
}

} // namespace ChipModel
