// The SDK's calls that qualify entries on what the parser finds: each is a qualifier and its
// parts.

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

Rc SdkModel::bcm_field_qualify_IpType( int unit, int entry, Shim::FieldIpType type ) {
   return call( SdkCall::bcm_field_qualify_IpType, unit, [ & ]( Chip& chip ) {
      const std::optional< Ternary > bits = ipTypeBits( type );
      return bits ? chip.fields().qualify( entry, Qualifier::ipType, { *bits } )
                  : QX_BCM_E_PARAM();
   } );
}

Rc SdkModel::bcm_field_qualify_SrcIp( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify(
         SdkCall::bcm_field_qualify_SrcIp, unit, entry, Qualifier::srcIp, { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_DstIp( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify(
         SdkCall::bcm_field_qualify_DstIp, unit, entry, Qualifier::dstIp, { { data, mask } } );
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

Rc SdkModel::bcm_field_qualify_IpProtocol( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_IpProtocol, unit, entry, Qualifier::ipProtocol,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_DSCP( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify(
         SdkCall::bcm_field_qualify_DSCP, unit, entry, Qualifier::dscp, { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_IpFrag( int unit, int entry, Shim::FieldIpFrag fragment ) {
   return call( SdkCall::bcm_field_qualify_IpFrag, unit, [ & ]( Chip& chip ) {
      const std::optional< Ternary > bits = ipFragBits( fragment );
      return bits ? chip.fields().qualify( entry, Qualifier::ipFrag, { *bits } )
                  : QX_BCM_E_PARAM();
   } );
}

Rc SdkModel::bcm_field_qualify_L4SrcPort( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_L4SrcPort, unit, entry, Qualifier::l4SrcPort,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_L4DstPort( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_L4DstPort, unit, entry, Qualifier::l4DstPort,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_TcpControl( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_TcpControl, unit, entry, Qualifier::tcpControl,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_IcmpTypeCode(
      int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_IcmpTypeCode, unit, entry,
         Qualifier::icmpTypeCode, { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_EtherType( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_EtherType, unit, entry, Qualifier::etherType,
         { { data, mask } } );
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

Rc SdkModel::bcm_field_qualify_MplsLabel( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_MplsLabel, unit, entry, Qualifier::mplsLabel,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_MplsInnerLabel(
      int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_MplsInnerLabel, unit, entry,
         Qualifier::mplsInnerLabel, { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_DstClassL2( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_DstClassL2, unit, entry, Qualifier::dstClassL2,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_OutPort( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_OutPort, unit, entry, Qualifier::outPort,
         { { data, mask } } );
}

Rc SdkModel::bcm_field_qualify_MirrorCopy( int unit, int entry, uint32_t data, uint32_t mask ) {
   return qualify( SdkCall::bcm_field_qualify_MirrorCopy, unit, entry, Qualifier::mirrorCopy,
         { { data, mask } } );
}

} // namespace ChipModel
