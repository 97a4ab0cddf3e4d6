#include "ChipModel/Packets/Parser.h"

namespace ChipModel {

ParsedFrame parse( const FrameView& frame ) {
   ParsedFrame parsed;
   parsed.data = frame.data;
   parsed.length = frame.length;
   uint32_t offset = 12;
   while ( offset + 2 <= frame.length ) {
      const uint16_t type = load16( frame.data + offset );
      const bool isTag = type == customerTag || type == serviceTag;
      if ( isTag && parsed.tags < 2 && offset + 4 <= frame.length ) {
         parsed.tag[ static_cast< size_t >( parsed.tags++ ) ] = { type,
            load16( frame.data + offset + 2 ) };
         offset += 4;
         continue;
      }
      // A tag that is not taken apart counts as an EtherType only behind another tag.
      parsed.hasEtherType = !isTag || parsed.tags > 0;
      parsed.etherType = parsed.hasEtherType ? type : uint16_t{ 0 };
      offset += 2;
      break;
   }
   parsed.payload = offset < frame.length ? offset : frame.length;
   return parsed;
}

} // namespace ChipModel
