#include "ChipModel/Fields/FieldNames.h"

#include <array>
#include <cstddef>
#include <span>

#include "ChipModel/Lookup/LookupKey.h"

namespace ChipModel {

namespace {

struct Enumerator {
   std::string_view name;
   Ternary bits;
};

constexpr uint32_t options = kindIp4 | kindIp4Options;
constexpr uint32_t fragBits = fragPart | fragLater;

// In the order of the enumerators.
constexpr Enumerator ipTypes[] = {
   { "any", { 0, 0 } },
   { "not IP", { 0, kindIp } },
   { "IP", { kindIp, kindIp } },
   { "IPv4", { kindIp4, kindIp4 } },
   { "IPv4 without options", { kindIp4, options } },
   { "IPv4 with options", { options, options } },
   { "IPv6", { kindIp6, kindIp6 } },
   { "ARP", { kindArp, kindArp } },
};
static_assert( std::size( ipTypes ) == static_cast< size_t >( Shim::FieldIpType::arp ) + 1 );

constexpr Enumerator ipFrags[] = {
   { "no fragment", { 0, fragPart } },
   { "first fragment", { fragPart, fragBits } },
   { "no fragment or the first", { 0, fragLater } },
   { "later fragment", { fragLater, fragLater } },
   { "any fragment", { fragPart, fragPart } },
};
static_assert( std::size( ipFrags ) == static_cast< size_t >( Shim::FieldIpFrag::any ) + 1 );

std::optional< Ternary > bitsOf( std::span< const Enumerator > list, size_t index ) {
   return index < list.size() ? std::optional( list[ index ].bits ) : std::nullopt;
}

std::string_view nameOf( std::span< const Enumerator > list, Ternary bits ) {
   for ( const Enumerator& each : list ) {
      if ( each.bits.data == bits.data && each.bits.mask == bits.mask ) {
         return each.name;
      }
   }
   return "unknown";
}

} // namespace

std::string_view qualifierName( Shim::Qualifier qualifier ) {
   // In the order of the qualifiers.
   constexpr std::array< std::string_view, static_cast< size_t >( Shim::Qualifier::count_ ) >
         names{ "InPorts", "PortClass", "DstPort", "DstTrunk", "Drop", "OuterVlanId", "IpType",
            "SrcIp", "DstIp", "SrcIp6", "DstIp6", "IpProtocol", "DSCP", "IpFrag", "L4SrcPort",
            "L4DstPort", "TcpControl", "IcmpTypeCode", "EtherType", "SrcMac", "DstMac",
            "MplsLabel", "MplsInnerLabel", "DstClassL2", "RangeCheck", "OutPort",
            "MirrorCopy" };
   static_assert( !names.back().empty() );
   const auto index = static_cast< size_t >( qualifier );
   return index < names.size() ? names[ index ] : "unknown";
}

std::string_view actionName( Shim::FieldAction action ) {
   switch ( action ) {
   case Shim::FieldAction::mirrorIngress:
      return "mirror ingress";
   case Shim::FieldAction::mirrorEgress:
      return "mirror egress";
   case Shim::FieldAction::mirrorIngressTo:
      return "mirror ingress to";
   case Shim::FieldAction::drop:
      return "drop";
   case Shim::FieldAction::cosQCpuNew:
      return "copy to CPU";
   case Shim::FieldAction::rpDrop:
      return "drop red";
   case Shim::FieldAction::svtagEnable:
      return "insert source tag";
   case Shim::FieldAction::svtagSignature:
      return "source tag signature";
   case Shim::FieldAction::svtagPrio:
      return "source tag priority";
   case Shim::FieldAction::svtagDeviceId:
      return "source tag device";
   case Shim::FieldAction::svtagOffset:
      return "source tag offset";
   case Shim::FieldAction::svtagSubportNum:
      return "source tag subport";
   }
   return "unknown";
}

std::string_view rangeName( Shim::FieldRange what ) {
   return what == Shim::FieldRange::srcPort ? "L4SrcPort" : "L4DstPort";
}

std::optional< Ternary > ipTypeBits( Shim::FieldIpType type ) {
   return bitsOf( ipTypes, static_cast< size_t >( type ) );
}

std::optional< Ternary > ipFragBits( Shim::FieldIpFrag fragment ) {
   return bitsOf( ipFrags, static_cast< size_t >( fragment ) );
}

std::string_view ipTypeName( Ternary bits ) { return nameOf( ipTypes, bits ); }

std::string_view ipFragName( Ternary bits ) { return nameOf( ipFrags, bits ); }

} // namespace ChipModel
