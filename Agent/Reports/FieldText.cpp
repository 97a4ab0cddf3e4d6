#include "Agent/Reports/FieldText.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/FieldWords.h"
#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Fields/FieldNames.h"

namespace Agent {

namespace {

using ChipModel::ChipState;
using ChipModel::FieldRow;
using ChipModel::LookupKey;
using ChipModel::QualifierValue;
using ChipModel::TextStyle;
using Shim::Qualifier;
namespace Key = ChipModel::Key;

using FieldWords::address;
using FieldWords::portsOfClass;

// "/16" for the mask of a prefix, "/MASK" for any other; nothing for a whole address.
std::string maskText( const std::vector< uint32_t >& words ) {
   int ones = 0;
   bool isPrefix = true;
   for ( uint32_t word : words ) {
      isPrefix = isPrefix && ( word == 0 || ones % 32 == 0 ) && ( ~word & ( ~word + 1 ) ) == 0;
      ones += std::popcount( word );
   }
   const int bits = static_cast< int >( words.size() ) * 32;
   if ( isPrefix ) {
      return ones == bits ? "" : "/" + std::to_string( ones );
   }
   return "/" + address( words );
}

std::string number( const FieldRow& row, const QualifierValue& value ) {
   auto text = [ & ]( uint32_t n ) {
      return row.style == TextStyle::hex ? hex( n ) : std::to_string( n );
   };
   const uint32_t whole = row.place.part[ 0 ].widest;
   const std::string result = text( value.data[ 0 ] );
   return ( value.mask[ 0 ] & whole ) == whole ? result : result + "/" + hex( value.mask[ 0 ] );
}

// The byte that holds the DSCP ends with two bits of congestion notification.
constexpr uint32_t dscpBits = 0xfc;
constexpr int dscpShift = 2;

std::string dscpText( uint32_t byte, uint32_t mask ) {
   if ( ( mask & dscpBits ) != dscpBits ) {
      return "byte " + hex( byte ) + "/" + hex( mask );
   }
   const uint32_t congestion = mask & ~dscpBits;
   return std::to_string( byte >> dscpShift ) +
         ( congestion ? ", ECN " + std::to_string( byte & congestion ) : "" );
}

std::string protocolText( uint32_t protocol ) {
   switch ( protocol ) {
   case 1:
      return "ICMP";
   case 6:
      return "TCP";
   case 17:
      return "UDP";
   case 47:
      return "GRE";
   case 58:
      return "ICMPv6";
   case 132:
      return "SCTP";
   default:
      return "protocol " + std::to_string( protocol );
   }
}

std::string icmpText( uint32_t typeCode ) {
   return "type " + std::to_string( typeCode >> 8 ) + " code " +
         std::to_string( typeCode & 0xff );
}

std::vector< uint32_t > words( const LookupKey& key, Qualifier qualifier ) {
   return FieldWords::frameValue( ChipModel::fieldRow( qualifier ), key ).data;
}
bool has( const LookupKey& key, unsigned bits ) {
   return ( key.get( Key::valid ) & bits ) != 0;
}
std::string layer4PortsText( const LookupKey& key ) {
   if ( !has( key, ChipModel::validPorts ) ) {
      return "none";
   }
   return std::to_string( key.get( Key::l4SrcPort ) ) + " > " +
         std::to_string( key.get( Key::l4DstPort ) );
}

// The ranges whose bits an entry asks for.
std::string rangesText( const ChipState& chip, uint32_t bits ) {
   std::string text;
   for ( const ChipModel::RangeView& range : chip.ranges ) {
      if ( range.bit & bits ) {
         text += text.empty() ? "" : ", ";
         text += range.what == Shim::FieldRange::srcPort ? "source port " : "destination port ";
         text += std::to_string( range.min ) + "-" + std::to_string( range.max );
      }
   }
   return text;
}

// Text of an entry's value, or, with a frame, of what that offers.
std::string valueText( const Runtime& runtime, const ChipState& chip, const FieldRow& row,
      const QualifierValue& value, const LookupKey* frame ) {
   auto data = [ & ]( size_t part ) { return value.data[ part ]; };
   switch ( row.style ) {
   case TextStyle::ports:
      return portList( runtime, chip.unit, value.ports );
   case TextStyle::portClass: {
      const std::string ports =
            portList( runtime, chip.unit, portsOfClass( chip, data( 0 ), value.mask[ 0 ] ) );
      return hex( data( 0 ) ) + ( frame != nullptr ? "" : " (" + ports + ")" );
   }
   case TextStyle::port: // behind its module, if the qualifier has that too
      return runtime.portName( chip.unit, static_cast< int >( value.data.back() ) );
   case TextStyle::trunk:
      return trunkName( runtime, chip.unit, static_cast< int >( data( 0 ) ) );
   case TextStyle::decimal:
   case TextStyle::hex:
      return number( row, value );
   case TextStyle::dscp:
      return dscpText( data( 0 ), frame != nullptr ? dscpBits : value.mask[ 0 ] );
   case TextStyle::ipType:
      return std::string( ChipModel::ipTypeName( { data( 0 ), value.mask[ 0 ] } ) );
   case TextStyle::fragment:
      return std::string( ChipModel::ipFragName( { data( 0 ), value.mask[ 0 ] } ) );
   case TextStyle::protocol:
      return protocolText( data( 0 ) );
   case TextStyle::icmp:
      return icmpText( data( 0 ) ) +
            ( value.mask[ 0 ] == 0xffff ? "" : " under " + hex( value.mask[ 0 ] ) );
   case TextStyle::ip4:
   case TextStyle::ip6:
      return address( value.data ) + maskText( value.mask );
   case TextStyle::mac:
      return address( value.data ) + ( frame != nullptr ? "" : "/" + address( value.mask ) );
   case TextStyle::ranges:
      return frame != nullptr ? layer4PortsText( *frame ) : rangesText( chip, data( 0 ) );
   case TextStyle::mirrorCopy:
      return frame != nullptr ? ( data( 0 ) ? "a copy" : "no copy" )
                              : ( data( 0 ) ? "mirror copies" : "no mirror copies" );
   }
   return "unknown";
}

} // namespace

std::string hex( uint32_t value ) {
   char text[ 16 ];
   std::snprintf( text, sizeof text, "0x%x", value );
   return text;
}

std::string qualifierText(
      const Runtime& runtime, const ChipState& chip, const QualifierValue& value ) {
   const FieldRow& row = ChipModel::fieldRow( value.qualifier );
   const std::string text = valueText( runtime, chip, row, value, nullptr );
   return row.label.empty() ? text : std::string( row.label ) + " " + text;
}

std::string matchText(
      const Runtime& runtime, const ChipState& chip, const ChipModel::EntryView& entry ) {
   std::vector< std::string > texts;
   for ( const QualifierValue& value : entry.qualifiers ) {
      if ( !FieldWords::isAny( value ) ) {
         texts.push_back( qualifierText( runtime, chip, value ) );
      }
   }
   return texts.empty() ? "everything" : joined( texts );
}

std::string actionsText( const Runtime& runtime, const ChipState& chip,
      const std::vector< ChipModel::ActionValue >& actions ) {
   std::vector< std::string > texts;
   for ( const ChipModel::ActionValue& action : actions ) {
      auto copy = [ & ]( const char* how, uint32_t mirror ) {
         texts.push_back( std::string( "copy as " ) + how + " to mirror " +
               std::to_string( mirror ) + " (" + mirrorTargetName( runtime, chip, mirror ) +
               ")" );
      };
      switch ( action.action ) {
      case Shim::FieldAction::mirrorIngress:
         copy( "received", action.param1 );
         break;
      case Shim::FieldAction::mirrorIngressTo:
         copy( "received", action.param0 );
         break;
      case Shim::FieldAction::mirrorEgress:
         copy( "sent", action.param1 );
         break;
      case Shim::FieldAction::rpDrop:
         texts.emplace_back( "drop red" );
         break;
      case Shim::FieldAction::svtagEnable:
         texts.emplace_back( "insert source tag" );
         break;
      case Shim::FieldAction::svtagSignature:
         texts.push_back( "tag signature " + hex( action.param0 ) );
         break;
      case Shim::FieldAction::svtagPrio:
         texts.push_back( "tag priority " + std::to_string( action.param0 ) );
         break;
      case Shim::FieldAction::svtagDeviceId:
         texts.push_back( "tag device " + std::to_string( action.param0 ) );
         break;
      case Shim::FieldAction::svtagOffset:
         texts.push_back( "tag at byte " + std::to_string( action.param0 ) );
         break;
      case Shim::FieldAction::svtagSubportNum:
         texts.push_back( "tag channel " + std::to_string( action.param0 ) );
         break;
      case Shim::FieldAction::cosQCpuNew:
         texts.push_back( "to CPU queue " + std::to_string( action.param0 ) );
         break;
      default:
         texts.emplace_back( ChipModel::actionName( action.action ) );
         break;
      }
   }
   return texts.empty() ? "nothing" : joined( texts );
}

std::string frameText( const Runtime& runtime, const ChipState& chip, Qualifier qualifier,
      const LookupKey& key ) {
   const FieldRow& row = ChipModel::fieldRow( qualifier );
   if ( row.place.valid != 0 && !has( key, row.place.valid ) ) {
      return "none";
   }
   return valueText( runtime, chip, row, FieldWords::frameValue( row, key ), &key );
}

std::string headersText( const LookupKey& key ) {
   using namespace ChipModel;
   std::vector< std::string > texts;
   if ( !has( key, validL2 ) ) {
      return "too short to be parsed";
   }
   texts.push_back( address( words( key, Qualifier::srcMac ) ) + " > " +
         address( words( key, Qualifier::dstMac ) ) );
   if ( has( key, validIp4 ) ) {
      texts.push_back( std::string( ipTypeName( { key.get( Key::ipKind ), 0xff } ) ) + " " +
            address( words( key, Qualifier::srcIp ) ) + " > " +
            address( words( key, Qualifier::dstIp ) ) );
   } else if ( has( key, validIp6 ) ) {
      texts.push_back( "IPv6 " + address( words( key, Qualifier::srcIp6 ) ) + " > " +
            address( words( key, Qualifier::dstIp6 ) ) );
   } else {
      texts.push_back( key.get( Key::ipKind ) & kindArp
                  ? "ARP"
                  : "EtherType " + hex( key.get( Key::etherType ) ) );
   }
   if ( has( key, validMpls ) ) {
      texts.push_back( "MPLS label " + std::to_string( key.get( Key::mplsLabel ) ) );
   }
   if ( has( key, validIp ) ) {
      std::string layer4 = protocolText( key.get( Key::ipProtocol ) );
      if ( has( key, validPorts ) ) {
         layer4 += " " + layer4PortsText( key );
      }
      if ( has( key, validTcp ) ) {
         layer4 += " flags " + hex( key.get( Key::tcpControl ) );
      }
      if ( has( key, validIcmp ) ) {
         layer4 += " " + icmpText( key.get( Key::icmpTypeCode ) );
      }
      texts.push_back( layer4 );
      if ( const uint32_t dscp = key.get( Key::dscp ) ) {
         texts.push_back( "DSCP " + dscpText( dscp, 0xff ) );
      }
      if ( const uint32_t frag = key.get( Key::ipFrag ) ) {
         texts.emplace_back( ipFragName( { frag, 0xff } ) );
      }
   }
   return joined( texts );
}

} // namespace Agent
