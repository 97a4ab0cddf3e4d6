#include "PluginMounters/Slice/ChipWide/FlexProfiles.h"

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace KarvelMirror::Slice {

using namespace Shim; // the names of memories and fields

namespace {

Duolog::Handle trace( "SliceConfigSm" );

constexpr uint32_t wholeFrame = 0; // bytes that are left out

// Note: the SDK hands out the entries of these memories when it starts, and mirroring's have moved
// before. For a new version find its allocation in the release's list of reserved profiles, try
// tunnelled copies as received and as sent on a chip, and add the version to both functions below.
constexpr uint32_t sdk6_5_24 = 60524;
constexpr uint32_t sdk6_5_27 = 60527;

} // namespace

void setFlexProfileOffsetEntry( int unit, Memory table, int idx, uint32_t value ) {
   DUOLOG( trace, 4,
         "SliceConfigSm::"
               << "setFlexProfileOffsetEntry"
               << " table: " << memoryNames[ table ] << " idx: " << idx
               << " value: " << value );
   MemEntry buffer;
   MemEntry* entry = &buffer;
   if ( KARVEL_SDK_CALL( trace, soc_mem_read, ( unit, table, MEM_BLOCK_ANY, idx, entry ) ) <
               0 ||
         KARVEL_SDK_CALL( trace, soc_mem_field32_set, ( unit, table, entry, OFFSETf, value ) ) <
               0 ) {
      return;
   }
   KARVEL_SDK_CALL( trace, soc_mem_write, ( unit, table, MEM_BLOCK_ALL, idx, entry ) );
}

void setupFlexProfileIngress( int unit, const KarvelCentral::ChipAttributes& attributes ) {
   const uint32_t version = ::Shim::sdk_->QX_SDK_VERSION();
   DUOLOG( trace, 1,
         "SliceConfigSm::"
               << "setupFlexProfileIngress"
               << " chip: " << attributes.chip() << " SDK: " << version );
   switch ( version ) {
   case sdk6_5_24:
      setFlexProfileOffsetEntry( unit, ING_FLEX_EDITOR_PROFILEm, 3, wholeFrame );
      break;
   case sdk6_5_27:
      setFlexProfileOffsetEntry( unit, ING_FLEX_EDITOR_PROFILEm, 4, wholeFrame );
      break;
   default:
      ZOL_ASSERT( false && "Unsupported SDK version. Please see the note above, and add" );
   }
}

void setupFlexProfileEgress( int unit, const KarvelCentral::ChipAttributes& attributes ) {
   const uint32_t version = ::Shim::sdk_->QX_SDK_VERSION();
   DUOLOG( trace, 1,
         "SliceConfigSm::"
               << "setupFlexProfileEgress"
               << " chip: " << attributes.chip() << " SDK: " << version );
   switch ( version ) {
   case sdk6_5_24:
      setFlexProfileOffsetEntry( unit, EGR_FLEX_EDITOR_PROFILEm, 5, wholeFrame );
      break;
   case sdk6_5_27:
      setFlexProfileOffsetEntry( unit, EGR_FLEX_EDITOR_PROFILEm, 7, wholeFrame );
      break;
   default:
      ZOL_ASSERT( false && "Unsupported SDK version. Please see the note above, and add" );
   }
}

} // namespace KarvelMirror::Slice
