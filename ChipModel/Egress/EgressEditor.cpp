#include "ChipModel/Egress/EgressEditor.h"

#include <algorithm>

namespace ChipModel {

FlexProfilePlaces flexProfilePlaces( uint32_t sdkVersion ) {
   constexpr uint32_t firstWithMovedProfiles = 60527;
   return sdkVersion < firstWithMovedProfiles ? FlexProfilePlaces{ 3, 5 }
                                              : FlexProfilePlaces{ 4, 7 };
}

TunnelHeader& EgressEditor::header( int destination, MirrorTable::Entry& entry ) {
   if ( entry.header && entry.headerVersion == version() ) [[likely]] {
      return *entry.header;
   }
   Shim::MirrorTunnel tunnel = *entry.value->tunnel;
   if ( tunnel.greKey && greEditor( tables_.profile.greKeys ) != nullptr ) {
      tunnel.greKey = tables_.memories.value(
            { Shim::EGR_MIRROR_ENCAP_DATAm, destination, Shim::GRE_KEYf } );
   }
   entry.header.emplace( tunnel, greFormat( tunnel ) );
   if ( tables_.profile.logicalTables ) {
      entry.header->insertionIs( tables_.logical.insertion( tunnel.insertProfile ) );
   }
   entry.headerVersion = version();
   return *entry.header;
}

GreFormat EgressEditor::greFormat( const Shim::MirrorTunnel& tunnel ) const {
   const GreEditor* editor = greEditor( tables_.profile.greKeys );
   if ( !tunnel.greKey || editor == nullptr ) {
      return greFormatOf( tunnel );
   }
   const GreEditorPlaces& places =
         tunnel.srcIp.family() == Plix::AddressFamily::ipv4 ? editor->ip4 : editor->ip6;
   const Memories& memories = tables_.memories;
   return { memories.value( places.headerBytes ), memories.value( places.keySelect ) == 1,
      static_cast< uint16_t >( memories.value( places.flags ) ),
      memories.value( places.lengthAdjust ) };
}

FrameView EgressEditor::payload( CopyKind kind, const FrameView& frame ) {
   if ( offsetsVersion_ != version() ) [[unlikely]] {
      readOffsets();
   }
   const uint32_t offset = kind == CopyKind::ingressMirror ? ingressOffset_ : egressOffset_;
   FrameView rest = frame;
   const uint32_t captured = std::min( offset, frame.length );
   rest.data += captured;
   rest.length -= captured;
   rest.wireLength -= std::min( offset, frame.wireLength );
   return rest;
}

void EgressEditor::readOffsets() {
   offsetsVersion_ = version();
   if ( !tables_.profile.flexEditor ) {
      return;
   }
   const FlexProfilePlaces places = flexProfilePlaces( tables_.context.sdkVersion );
   ingressOffset_ = tables_.memories.value(
         { Shim::ING_FLEX_EDITOR_PROFILEm, places.ingress, Shim::OFFSETf } );
   egressOffset_ = tables_.memories.value(
         { Shim::EGR_FLEX_EDITOR_PROFILEm, places.egress, Shim::OFFSETf } );
}

} // namespace ChipModel
