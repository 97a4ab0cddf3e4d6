#include "ChipModel/Tables/GreFormats.h"

namespace ChipModel {

using namespace Shim; // the names of memories and fields

namespace {

constexpr uint32_t ip4Bytes = 20; // RFC 791: the total length counts the header
constexpr uint32_t ip6Bytes = 0;  // RFC 8200: the payload length does not

constexpr GreEditorPlaces control( int control, int format, int adjust, uint32_t ipBytes ) {
   return { { EGR_MIRROR_ENCAP_CONTROLm, control, GRE_HEADER_BYTESf },
      { EGR_MIRROR_ENCAP_CONTROLm, control, GRE_KEY_SELECTf },
      { EGR_GRE_HEADER_FORMATm, format, GRE_FLAGSf },
      { EGR_TUNNEL_LENGTH_ADJUSTm, adjust, L3_LENGTH_ADJUSTf }, ipBytes };
}

// Flags are in the control entry itself.
constexpr GreEditorPlaces controlWithFlags( int control, int adjust, uint32_t ipBytes ) {
   return { { EGR_MIRROR_ENCAP_CONTROLm, control, GRE_HEADER_BYTESf },
      { EGR_MIRROR_ENCAP_CONTROLm, control, GRE_KEY_SELECTf },
      { EGR_MIRROR_ENCAP_CONTROLm, control, GRE_FLAGSf },
      { EGR_TUNNEL_LENGTH_ADJUSTm, adjust, L3_LENGTH_ADJUSTf }, ipBytes };
}

// All of it in one entry.
constexpr GreEditorPlaces profileEntry( int index, uint32_t ipBytes ) {
   return { { EGR_MIRROR_PROFILEm, index, GRE_HEADER_BYTESf },
      { EGR_MIRROR_PROFILEm, index, GRE_KEY_SELECTf },
      { EGR_MIRROR_PROFILEm, index, GRE_FLAGSf },
      { EGR_MIRROR_PROFILEm, index, L3_LENGTH_ADJUSTf }, ipBytes };
}

constexpr GreEditor t3x4{ control( 8, 2, 8, ip4Bytes ), control( 9, 2, 9, ip6Bytes ) };
constexpr GreEditor t3x1x2{ profileEntry( 0, ip4Bytes ), profileEntry( 1, ip6Bytes ) };
constexpr GreEditor t3x5x7{ controlWithFlags( 2, 2, ip4Bytes ),
   controlWithFlags( 3, 3, ip6Bytes ) };
constexpr GreEditor t3x3{ control( 4, 4, 4, ip4Bytes ), control( 5, 5, 5, ip6Bytes ) };
constexpr GreEditor tomahawk{ profileEntry( 4, ip4Bytes ), profileEntry( 6, ip6Bytes ) };

bool isAt( const FieldPlace& a, const FieldPlace& b ) {
   return a.memory == b.memory && a.index == b.index && a.field == b.field;
}

} // namespace

const GreEditor* greEditor( GreKeys family ) {
   switch ( family ) {
   case GreKeys::t3x4:
      return &t3x4;
   case GreKeys::t3x1x2:
      return &t3x1x2;
   case GreKeys::t3x5x7:
      return &t3x5x7;
   case GreKeys::t3x3:
      return &t3x3;
   case GreKeys::tomahawk:
      return &tomahawk;
   case GreKeys::none:
   case GreKeys::inserted:
      break;
   }
   return nullptr;
}

uint32_t resetValue( const Profile& profile, const FieldPlace& place ) {
   // Routers cut the Ethernet header off what they put into a tunnel.
   constexpr uint32_t ethernetBytes = 14;
   if ( place.field == OFFSETf ) {
      return ethernetBytes;
   }
   if ( place.memory == ING_DEVICE_PORTm ) {
      const bool isLoopback = profile.loopbackPort != 0 && place.index == profile.loopbackPort;
      if ( place.field == PORT_TYPEf ) {
         return place.index == 0 ? 2 : isLoopback ? 1 : 0;
      }
      return static_cast< uint32_t >( place.index );
   }
   if ( const GreEditor* editor = greEditor( profile.greKeys ) ) {
      for ( const GreEditorPlaces* places : { &editor->ip4, &editor->ip6 } ) {
         if ( isAt( place, places->headerBytes ) ) {
            return plainGreBytes;
         }
         if ( isAt( place, places->lengthAdjust ) ) {
            return places->ipBytes + plainGreBytes;
         }
      }
   }
   return 0;
}

} // namespace ChipModel
