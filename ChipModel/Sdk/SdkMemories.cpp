// The SDK's calls for chip-wide settings, memories and logical tables.

#include "ChipModel/Chip.h"
#include "ChipModel/Sdk/SdkModel.h"
#include "ChipModel/Tables/MemoryLayout.h"

namespace ChipModel {

using Shim::Rc;

namespace {

// Stops an agent that does not free what it allocates.
constexpr size_t mostLogicalEntries = 1024;

} // namespace

template < typename Predicate >
bool SdkModel::chipIs( int unit, Predicate&& predicate ) const {
   const auto found = chips_.find( unit );
   return found != chips_.end() && predicate( found->second->profile() );
}

bool SdkModel::QX_SOC_IS_TOMAHAWKX( int unit ) const {
   return chipIs( unit, []( const Profile& profile ) { return profile.tomahawkFamily; } );
}

bool SdkModel::QX_SOC_IS_T3X4( int unit ) const {
   return chipIs(
         unit, []( const auto& profile ) { return profile.greKeys == GreKeys::t3x4; } );
}

bool SdkModel::QX_SOC_IS_T3X1X2( int unit ) const {
   return chipIs(
         unit, []( const auto& profile ) { return profile.greKeys == GreKeys::t3x1x2; } );
}

bool SdkModel::QX_SOC_IS_T3X5X7( int unit ) const {
   return chipIs(
         unit, []( const auto& profile ) { return profile.greKeys == GreKeys::t3x5x7; } );
}

bool SdkModel::QX_SOC_IS_T3X3( int unit ) const {
   return chipIs(
         unit, []( const auto& profile ) { return profile.greKeys == GreKeys::t3x3; } );
}

bool SdkModel::QX_SOC_HAS_FLEX_EDITOR( int unit ) const {
   return chipIs( unit, []( const Profile& profile ) { return profile.flexEditor; } );
}

Rc SdkModel::bcm_switch_control_set( int unit, Shim::SwitchControl control, int value ) {
   return call( SdkCall::bcm_switch_control_set, unit,
         [ & ]( Chip& chip ) { return chip.tables().controls.set( control, value ); } );
}

Rc SdkModel::soc_mem_read(
      int unit, Shim::Memory memory, Shim::MemBlock block, int index, Shim::MemEntry* entry ) {
   return callFor(
         SdkCall::soc_mem_read, unit, entry, [ & ]( Chip& chip, Shim::MemEntry* value ) {
            return block != Shim::MEM_BLOCK_ANY
                  ? QX_BCM_E_PARAM()
                  : chip.tables().memories.read( memory, index, value );
         } );
}

Rc SdkModel::soc_mem_write( int unit, Shim::Memory memory, Shim::MemBlock block, int index,
      const Shim::MemEntry* entry ) {
   return call( SdkCall::soc_mem_write, unit, [ & ]( Chip& chip ) {
      return block != Shim::MEM_BLOCK_ALL || entry == nullptr
            ? QX_BCM_E_PARAM()
            : chip.tables().memories.write( memory, index, *entry );
   } );
}

Rc SdkModel::soc_mem_field32_get( int unit, Shim::Memory memory, const Shim::MemEntry* entry,
      Shim::MemField field, uint32_t* value ) {
   return callFor( SdkCall::soc_mem_field32_get, unit, value, [ & ]( Chip&, uint32_t* found ) {
      return entry == nullptr ? QX_BCM_E_PARAM() : fieldGet( memory, *entry, field, found );
   } );
}

Rc SdkModel::soc_mem_field32_set( int unit, Shim::Memory memory, Shim::MemEntry* entry,
      Shim::MemField field, uint32_t value ) {
   return call( SdkCall::soc_mem_field32_set, unit, [ & ]( Chip& ) {
      return entry == nullptr ? QX_BCM_E_PARAM() : fieldSet( memory, *entry, field, value );
   } );
}

// --- Logical tables -----------------------------------------------------------------------

Rc SdkModel::bcmlt_entry_allocate(
      int unit, const char* table, Shim::bcmlt_entry_handle_t* entry ) {
   return callFor( SdkCall::bcmlt_entry_allocate, unit, entry,
         [ & ]( Chip& chip, Shim::bcmlt_entry_handle_t* handle ) {
            if ( table == nullptr ) {
               return QX_BCM_E_PARAM();
            }
            if ( const Rc rc = chip.tables().logical.find( table ) ) {
               return rc;
            }
            if ( logicalEntries_.size() >= mostLogicalEntries ) {
               return QX_BCM_E_MEMORY();
            }
            *handle = nextLogicalEntry_++;
            logicalEntries_[ *handle ] = { unit, {} };
            return QX_BCM_E_NONE();
         } );
}

template < typename Operation >
Rc SdkModel::callLogical(
      SdkCall name, Shim::bcmlt_entry_handle_t entry, Operation&& operation ) {
   const auto found = logicalEntries_.find( entry );
   const int unit = found == logicalEntries_.end() ? -1 : found->second.unit;
   return gate_.pass( name, unit, [ & ]() -> Rc {
      return found == logicalEntries_.end() ? QX_BCM_E_NOT_FOUND() : operation( found );
   } );
}

Rc SdkModel::bcmlt_entry_field_add(
      Shim::bcmlt_entry_handle_t entry, const char* field, uint64_t value ) {
   return callLogical( SdkCall::bcmlt_entry_field_add, entry, [ & ]( auto found ) {
      if ( field == nullptr ) {
         return QX_BCM_E_PARAM();
      }
      const Rc rc = LogicalTables::check( field, value );
      if ( rc == QX_BCM_E_NONE() ) {
         found->second.fields.emplace_back( field, value );
      }
      return rc;
   } );
}

Rc SdkModel::bcmlt_pt_entry_commit(
      Shim::bcmlt_entry_handle_t entry, Shim::PtOpcode, Shim::LtPriority ) {
   return callLogical( SdkCall::bcmlt_pt_entry_commit, entry, [ & ]( auto found ) {
      return chips_.at( found->second.unit )->tables().logical.commit( found->second.fields );
   } );
}

Rc SdkModel::bcmlt_entry_free( Shim::bcmlt_entry_handle_t entry ) {
   return callLogical( SdkCall::bcmlt_entry_free, entry, [ & ]( auto found ) {
      logicalEntries_.erase( found );
      return QX_BCM_E_NONE();
   } );
}

} // namespace ChipModel
