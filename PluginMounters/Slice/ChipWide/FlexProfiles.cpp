#include "PluginMounters/Slice/ChipWide/FlexProfiles.h"

#include <algorithm>

#include "Platform/Karvel/SdkCall.h"

#include "Platform/Zol/Assert.h"

namespace KarvelMirror::Slice {

using namespace Shim; // the names of memories and fields

namespace {

Duolog::Handle trace( "SliceConfigSm" );

constexpr uint32_t wholeFrame = 0; // bytes left out before the copy begins

// Note: the SDK hands out the entries of these memories when it starts, and mirroring's have moved
// before. For a new version find its allocation in the release's list of reserved profiles, try
// tunnelled copies as received and as sent on a chip, and add a row.
constexpr struct Allocation {
   uint32_t sdkVersion;
   int ingress, egress; // entries
} allocations[] = {
   { 60524, 3, 5 },
   { 60527, 4, 7 },
};

const Allocation& allocationOf( uint32_t sdkVersion ) {
   const auto* found = std::find_if( std::begin( allocations ), std::end( allocations ),
         [ & ]( const Allocation& row ) { return row.sdkVersion == sdkVersion; } );
   ZOL_ASSERT_AS( "false && \"Unsupported SDK version. Please see the note above, and add\"",
         found != std::end( allocations ) );
   return *found;
}

bool succeeded( const Karvel::SdkOutcome& outcome ) {
   return Karvel::reportUnless( Sdk::QX_BCM_E_NONE(), trace, outcome, Karvel::SdkErrorForm::rc,
                "SliceConfigSm::setFlexProfileOffsetEntry" ) >= 0;
}

} // namespace

void setFlexProfileOffsetEntry( int unit, Memory table, int idx, uint32_t value ) {
   DUOLOG_IN( trace, 4, "SliceConfigSm::setFlexProfileOffsetEntry",
         " table: " << memoryNames[ table ] << " idx: " << idx << " value: " << value );
   MemEntry entry;
   if ( succeeded( KARVEL_SDK_OUTCOME( trace, soc_mem_read,
              ( unit, table, MEM_BLOCK_ANY, idx, &entry ),
              "( unit, table, MEM_BLOCK_ANY, idx, entry )" ) ) &&
         succeeded( KARVEL_SDK_OUTCOME( trace, soc_mem_field32_set,
               ( unit, table, &entry, OFFSETf, value ),
               "( unit, table, entry, OFFSETf, value )" ) ) ) {
      succeeded( KARVEL_SDK_OUTCOME( trace, soc_mem_write,
            ( unit, table, MEM_BLOCK_ALL, idx, &entry ),
            "( unit, table, MEM_BLOCK_ALL, idx, entry )" ) );
   }
}

void setupFlexProfileIngress( int unit, const KarvelCentral::ChipAttributes& attributes ) {
   const uint32_t version = ::Shim::sdk_->QX_SDK_VERSION();
   DUOLOG_IN( trace, 1, "SliceConfigSm::setupFlexProfileIngress",
         " chip: " << attributes.chip() << " SDK: " << version );
   setFlexProfileOffsetEntry(
         unit, ING_FLEX_EDITOR_PROFILEm, allocationOf( version ).ingress, wholeFrame );
}

void setupFlexProfileEgress( int unit, const KarvelCentral::ChipAttributes& attributes ) {
   const uint32_t version = ::Shim::sdk_->QX_SDK_VERSION();
   DUOLOG_IN( trace, 1, "SliceConfigSm::setupFlexProfileEgress",
         " chip: " << attributes.chip() << " SDK: " << version );
   setFlexProfileOffsetEntry(
         unit, EGR_FLEX_EDITOR_PROFILEm, allocationOf( version ).egress, wholeFrame );
}

} // namespace KarvelMirror::Slice
