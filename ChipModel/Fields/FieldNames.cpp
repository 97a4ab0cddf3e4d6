#include "ChipModel/Fields/FieldNames.h"

#include <cstddef>
#include <span>

#include "ChipModel/Lookup/LookupKey.h"

namespace ChipModel {

namespace {

template < typename Enum >
struct Enumerator {
   Enum value;
   std::string_view name;
   Ternary bits;
};

constexpr uint32_t options = kindIp4 | kindIp4Options;
constexpr uint32_t fragBits = fragPart | fragLater;

// Frames fit several, and are named by the first one.
using Shim::FieldIpType;
constexpr Enumerator< FieldIpType > ipTypes[] = {
   { FieldIpType::ipv4WithOpts, "IPv4 with options", { options, options } },
   { FieldIpType::ipv4Any, "IPv4", { kindIp4, kindIp4 } },
   { FieldIpType::ipv6, "IPv6", { kindIp6, kindIp6 } },
   { FieldIpType::arp, "ARP", { kindArp, kindArp } },
   { FieldIpType::ip, "IP", { kindIp, kindIp } },
   { FieldIpType::nonIp, "not IP", { 0, kindIp } },
   { FieldIpType::ipv4NoOpts, "IPv4 without options", { kindIp4, options } },
   { FieldIpType::any, "any", { 0, 0 } },
};
static_assert( std::size( ipTypes ) == static_cast< size_t >( FieldIpType::arp ) + 1 );

using Shim::FieldIpFrag;
constexpr Enumerator< FieldIpFrag > ipFrags[] = {
   { FieldIpFrag::non, "not fragmented", { 0, fragPart } },
   { FieldIpFrag::first, "first fragment", { fragPart, fragBits } },
   { FieldIpFrag::notFirst, "later fragment", { fragLater, fragLater } },
   { FieldIpFrag::nonOrFirst, "not a later fragment", { 0, fragLater } },
   { FieldIpFrag::any, "a fragment", { fragPart, fragPart } },
};
static_assert( std::size( ipFrags ) == static_cast< size_t >( FieldIpFrag::any ) + 1 );

template < typename Enum >
std::optional< Ternary > bitsOf( std::span< const Enumerator< Enum > > list, Enum value ) {
   for ( const Enumerator< Enum >& each : list ) {
      if ( each.value == value ) {
         return each.bits;
      }
   }
   return std::nullopt;
}

// The enumerator that the bits are; of a frame's, which are no enumerator's, the first that they
// fit.
template < typename Enum >
std::string_view nameOf( std::span< const Enumerator< Enum > > list, Ternary bits ) {
   std::string_view fitting = "unknown";
   for ( const Enumerator< Enum >& each : list ) {
      const Ternary& known = each.bits;
      if ( known.data == bits.data && known.mask == bits.mask ) {
         return each.name;
      }
      const bool fits = ( known.mask & ~bits.mask ) == 0 &&
            ( ( known.data ^ bits.data ) & known.mask ) == 0;
      if ( fits && fitting == "unknown" ) {
         fitting = each.name;
      }
   }
   return fitting;
}

} // namespace

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
   return bitsOf< FieldIpType >( ipTypes, type );
}

std::optional< Ternary > ipFragBits( Shim::FieldIpFrag fragment ) {
   return bitsOf< FieldIpFrag >( ipFrags, fragment );
}

std::string_view ipTypeName( Ternary bits ) { return nameOf< FieldIpType >( ipTypes, bits ); }

std::string_view ipFragName( Ternary bits ) { return nameOf< FieldIpFrag >( ipFrags, bits ); }

} // namespace ChipModel
