#pragma once

// What entries can match on, one row per qualifier: its SDK call and name, the stages that have
// it, its place in the lookup key, and how reports put it into words.
//
// Docs/extending.md has all steps of a new qualifier. A VALUE row's call takes a value and a mask,
// and is complete with that; an OTHER row's call has arguments of its own and stands in
// SdkFieldQualifiers.cpp.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "ChipModel/Lookup/EgressKey.h"
#include "ChipModel/Lookup/LookupKey.h"
#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

// Which chips have a qualifier in a stage.
enum class Presence : uint8_t { never, always, withPortClasses, onTomahawk, notOnTomahawk };

// How values are put into words.
enum class TextStyle : uint8_t {
   ports,     // a set of ports
   portClass, // bits, and the ports that have them
   port,
   trunk,
   decimal,
   hex,
   dscp, // the upper six bits of its byte
   ipType,
   fragment,
   protocol,
   icmp,
   ip4,
   ip6,
   mac,
   ranges, // bits of range checkers
   mirrorCopy,
};

struct KeyPart {
   KeyField field;
   uint32_t widest; // value
};

// Where a qualifier's values lie in the lookup key, and what a frame must have to have one.
struct KeyPlace {
   std::array< KeyPart, 4 > part{};
   uint8_t partCount = 0; // 0: not a value but a set
   uint16_t valid = 0;    // ValidBits that must all be set
   bool isParsed = false; // found by the header parser, which runs only when it is needed

   constexpr std::span< const KeyPart > parts() const { return { part.data(), partCount }; }
};

namespace Place {
// Found on the frame's way: ports, VLAN, destination.
constexpr KeyPlace known( KeyField field, uint16_t valid = 0, int bits = 0 ) {
   KeyPlace place;
   place.valid = valid;
   while ( field.length > 0 ) { // whole words, behind what is left over
      const int rest = field.length % 4;
      const auto length = static_cast< uint16_t >( rest == 0 ? 4 : rest );
      const int width = bits != 0 ? bits : length * 8;
      place.part[ place.partCount++ ] = { { field.offset, length },
         ~uint32_t{ 0 } >> ( 32 - width ) };
      field.offset = static_cast< uint16_t >( field.offset + length );
      field.length = static_cast< uint16_t >( field.length - length );
   }
   return place;
}
constexpr KeyPlace known( KeyField first, KeyField second, uint16_t valid ) {
   KeyPlace place = known( first, valid );
   place.part[ place.partCount++ ] = known( second ).part[ 0 ];
   return place;
}
// Found by the header parser.
constexpr KeyPlace parsed( KeyField field, uint16_t valid = 0, int bits = 0 ) {
   KeyPlace place = known( field, valid, bits );
   place.isParsed = true;
   return place;
}
} // namespace Place

// ROW( enumerator, name and call, at ingress, at egress, place in the key, style, label )
#define CHIP_MODEL_QUALIFIERS( VALUE, OTHER )                                                  \
   OTHER( inPorts, InPorts, always, never, KeyPlace(), ports, "in" )                           \
   VALUE( portClass, PortClass, withPortClasses, never, Place::known( Key::portClass ),        \
         portClass, "in class" )                                                               \
   OTHER( dstPort, DstPort, always, onTomahawk,                                                \
         Place::known( Key::dstModId, Key::dstPort, validDstPort ), port, "out" )              \
   OTHER( dstTrunk, DstTrunk, always, never, Place::known( Key::dstTrunk, validDstTrunk ),     \
         trunk, "out" )                                                                        \
   VALUE( drop, Drop, always, never, Place::known( Key::drop, 0, 1 ), decimal, "drop" )        \
   VALUE( outerVlanId, OuterVlanId, always, always,                                            \
         Place::known( Key::outerVlanId, validOuterVlan, 12 ), decimal, "VLAN" )               \
   VALUE( outerVlanPriority, OuterVlanPriority, always, never,                                 \
         Place::known( Key::outerVlanPriority, validOuterVlan, 3 ), decimal, "VLAN priority" ) \
   OTHER( ipType, IpType, always, always, Place::parsed( Key::ipKind ), ipType, "" )           \
   VALUE( srcIp, SrcIp, always, always, Place::parsed( Key::srcIp, validIp4 ), ip4, "source" ) \
   VALUE( dstIp, DstIp, always, always, Place::parsed( Key::dstIp, validIp4 ), ip4,            \
         "destination" )                                                                       \
   OTHER( srcIp6, SrcIp6, always, always, Place::parsed( Key::srcIp6, validIp6 ), ip6,         \
         "source" )                                                                            \
   OTHER( dstIp6, DstIp6, always, always, Place::parsed( Key::dstIp6, validIp6 ), ip6,         \
         "destination" )                                                                       \
   VALUE( ipProtocol, IpProtocol, always, always, Place::parsed( Key::ipProtocol, validIp ),   \
         protocol, "" )                                                                        \
   VALUE( dscp, DSCP, always, always, Place::parsed( Key::dscp, validIp ), dscp, "DSCP" )      \
   OTHER(                                                                                      \
         ipFrag, IpFrag, always, always, Place::parsed( Key::ipFrag, validIp ), fragment, "" ) \
   VALUE( l4SrcPort, L4SrcPort, always, always, Place::parsed( Key::l4SrcPort, validPorts ),   \
         decimal, "source port" )                                                              \
   VALUE( l4DstPort, L4DstPort, always, always, Place::parsed( Key::l4DstPort, validPorts ),   \
         decimal, "destination port" )                                                         \
   VALUE( tcpControl, TcpControl, always, always, Place::parsed( Key::tcpControl, validTcp ),  \
         hex, "TCP flags" )                                                                    \
   VALUE( icmpTypeCode, IcmpTypeCode, always, always,                                          \
         Place::parsed( Key::icmpTypeCode, validIcmp ), icmp, "ICMP" )                         \
   VALUE( etherType, EtherType, always, always, Place::parsed( Key::etherType, validL2 ), hex, \
         "EtherType" )                                                                         \
   OTHER( srcMac, SrcMac, always, always, Place::parsed( Key::srcMac, validL2 ), mac,          \
         "source" )                                                                            \
   OTHER( dstMac, DstMac, always, always, Place::parsed( Key::dstMac, validL2 ), mac,          \
         "destination" )                                                                       \
   VALUE( mplsLabel, MplsLabel, always, never, Place::parsed( Key::mplsLabel, validMpls, 20 ), \
         decimal, "MPLS label" )                                                               \
   VALUE( mplsInnerLabel, MplsInnerLabel, always, never,                                       \
         Place::parsed( Key::mplsInnerLabel, validMplsInner, 20 ), decimal,                    \
         "inner MPLS label" )                                                                  \
   VALUE( dstClassL2, DstClassL2, always, never, Place::known( Key::dstClassL2, 0, 10 ),       \
         decimal, "L2 class" )                                                                 \
   OTHER(                                                                                      \
         rangeCheck, RangeCheck, always, never, Place::parsed( Key::rangeCheck ), ranges, "" ) \
   VALUE( outPort, OutPort, never, notOnTomahawk, Place::known( Key::outPort ), port, "out" )  \
   VALUE( mirrorCopy, MirrorCopy, never, always, Place::known( Key::mirrorCopy, 0, 1 ),        \
         mirrorCopy, "" )

struct FieldRow {
   Shim::Qualifier qualifier;
   std::string_view name; // "InPorts"
   Presence ingress;
   Presence egress;
   KeyPlace place;
   TextStyle style;
   std::string_view label; // stands before the value: "source port"
};

#define CHIP_MODEL_FIELD_ROW( qualifier, name, ingress, egress, place, style, label )          \
   FieldRow{ Shim::Qualifier::qualifier, #name, Presence::ingress, Presence::egress, place,    \
      TextStyle::style, label },
inline constexpr std::array fieldCatalogue{ CHIP_MODEL_QUALIFIERS(
      CHIP_MODEL_FIELD_ROW, CHIP_MODEL_FIELD_ROW ) };
#undef CHIP_MODEL_FIELD_ROW

// Rows are found by their number.
constexpr bool isInOrder() {
   for ( size_t i = 0; i < fieldCatalogue.size(); ++i ) {
      if ( fieldCatalogue[ i ].qualifier != static_cast< Shim::Qualifier >( i ) ) {
         return false;
      }
   }
   return fieldCatalogue.size() == static_cast< size_t >( Shim::Qualifier::count_ );
}
static_assert( isInOrder(), "one row per qualifier, in the order of the enumerators" );

constexpr const FieldRow& fieldRow( Shim::Qualifier qualifier ) {
   return fieldCatalogue[ static_cast< size_t >( qualifier ) ];
}
constexpr std::string_view qualifierName( Shim::Qualifier qualifier ) {
   return fieldRow( qualifier ).name;
}

} // namespace ChipModel
