// The SDK's calls that qualify entries by more than a value and a mask; those that do not come
// from the field catalogue (SdkModel.h).

#include <optional>

#include "ChipModel/Chip.h"
#include "ChipModel/Fields/FieldNames.h"
#include "ChipModel/Sdk/SdkModel.h"

namespace ChipModel {

namespace {

using Shim::Qualifier;
using Shim::Rc;

Ternary word( const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask, size_t number ) {
   const size_t offset = number * 4;
   return { load32( data.bytes().data() + offset ), load32( mask.bytes().data() + offset ) };
}
Ternary upper( const Plix::EthAddr& data, const Plix::EthAddr& mask ) {
   return { load16( data.bytes().data() ), load16( mask.bytes().data() ) };
}
Ternary lower( const Plix::EthAddr& data, const Plix::EthAddr& mask ) {
   return { load32( data.bytes().data() + 2 ), load32( mask.bytes().data() + 2 ) };
}

} // namespace

Rc SdkModel::qualify( SdkCall name, int unit, int entry, Shim::Qualifier qualifier,
      std::initializer_list< Ternary > parts ) {
   return call( name, unit,
         [ & ]( Chip& chip ) { return chip.fields().qualify( entry, qualifier, parts ); } );
}

Rc SdkModel::bcm_field_qualify_InPorts(
      int unit, int entry, const Bitmap& data, const Bitmap& mask ) {
   return call( SdkCall::bcm_field_qualify_InPorts, unit,
         [ & ]( Chip& chip ) { return chip.fields().qualifyInPorts( entry, data, mask ); } );
}

Rc SdkModel::bcm_field_qualify_DstPort( int unit, int entry, uint32_t modId, uint32_t modIdMask,
      uint32_t port, uint32_t portMask ) {
   return qualify( SdkCall::bcm_field_qualify_DstPort, unit, entry, Qualifier::dstPort,
         { { modId, modIdMask }, { port, portMask } } );
}

Rc SdkModel::bcm_field_qualify_DstTrunk( int unit, int entry, int trunk, uint32_t mask ) {
   // A negative trunk turns into a value that is wider than the field.
   return qualify( SdkCall::bcm_field_qualify_DstTrunk, unit, entry, Qualifier::dstTrunk,
         { { static_cast< uint32_t >( trunk ), mask } } );
}

Rc SdkModel::bcm_field_qualify_IpType( int unit, int entry, Shim::FieldIpType type ) {
   return call( SdkCall::bcm_field_qualify_IpType, unit, [ & ]( Chip& chip ) {
      const std::optional< Ternary > bits = ipTypeBits( type );
      return bits ? chip.fields().qualify( entry, Qualifier::ipType, { *bits } )
                  : QX_BCM_E_PARAM();
   } );
}

Rc SdkModel::bcm_field_qualify_SrcIp6(
      int unit, int entry, const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask ) {
   return qualify( SdkCall::bcm_field_qualify_SrcIp6, unit, entry, Qualifier::srcIp6,
         { word( data, mask, 0 ), word( data, mask, 1 ), word( data, mask, 2 ),
               word( data, mask, 3 ) } );
}

Rc SdkModel::bcm_field_qualify_DstIp6(
      int unit, int entry, const Plix::Ip6Addr& data, const Plix::Ip6Addr& mask ) {
   return qualify( SdkCall::bcm_field_qualify_DstIp6, unit, entry, Qualifier::dstIp6,
         { word( data, mask, 0 ), word( data, mask, 1 ), word( data, mask, 2 ),
               word( data, mask, 3 ) } );
}

Rc SdkModel::bcm_field_qualify_IpFrag( int unit, int entry, Shim::FieldIpFrag fragment ) {
   return call( SdkCall::bcm_field_qualify_IpFrag, unit, [ & ]( Chip& chip ) {
      const std::optional< Ternary > bits = ipFragBits( fragment );
      return bits ? chip.fields().qualify( entry, Qualifier::ipFrag, { *bits } )
                  : QX_BCM_E_PARAM();
   } );
}

Rc SdkModel::bcm_field_qualify_SrcMac(
      int unit, int entry, const Plix::EthAddr& data, const Plix::EthAddr& mask ) {
   return qualify( SdkCall::bcm_field_qualify_SrcMac, unit, entry, Qualifier::srcMac,
         { upper( data, mask ), lower( data, mask ) } );
}

Rc SdkModel::bcm_field_qualify_DstMac(
      int unit, int entry, const Plix::EthAddr& data, const Plix::EthAddr& mask ) {
   return qualify( SdkCall::bcm_field_qualify_DstMac, unit, entry, Qualifier::dstMac,
         { upper( data, mask ), lower( data, mask ) } );
}

Rc SdkModel::bcm_field_qualify_RangeCheck( int unit, int entry, int range ) {
   return call( SdkCall::bcm_field_qualify_RangeCheck, unit,
         [ & ]( Chip& chip ) { return chip.fields().qualifyRangeCheck( entry, range ); } );
}

} // namespace ChipModel
