#include "Agent/Reports/FieldText.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "Agent/Configuration/Names.h"
#include "ChipModel/Fields/FieldNames.h"
#include "ChipModel/Lookup/EgressKey.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"

namespace Agent {

namespace {

using ChipModel::ChipState;
using ChipModel::KeyField;
using ChipModel::LookupKey;
using ChipModel::QualifierValue;
using Shim::Qualifier;
namespace Key = ChipModel::Key;

Shim::PortBitmap portsOfClass( const ChipState& chip, uint32_t data, uint32_t mask ) {
   Shim::PortBitmap ports;
   for ( const ChipModel::PortState& port : chip.ports ) {
      if ( ( port.classBits & mask ) == ( data & mask ) ) {
         ports.set( static_cast< size_t >( port.port ) );
      }
   }
   return ports;
}

Plix::Ip6Addr ip6( const std::vector< uint32_t >& words ) {
   std::array< uint8_t, 16 > bytes{};
   for ( size_t i = 0; i < bytes.size(); ++i ) {
      bytes[ i ] = static_cast< uint8_t >( words[ i / 4 ] >> ( 24 - i % 4 * 8 ) );
   }
   return Plix::Ip6Addr( bytes );
}
std::string mac( const std::vector< uint32_t >& words ) {
   char text[ 24 ];
   std::snprintf( text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", words[ 0 ] >> 8 & 0xff,
         words[ 0 ] & 0xff, words[ 1 ] >> 24, words[ 1 ] >> 16 & 0xff, words[ 1 ] >> 8 & 0xff,
         words[ 1 ] & 0xff );
   return text;
}

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
   return "/" +
         ( words.size() == 1 ? Plix::IpAddr( words[ 0 ] ).toString()
                             : ip6( words ).toString() );
}

std::string number( const QualifierValue& value, uint32_t whole, bool asHex ) {
   auto text = [ asHex ]( uint32_t n ) { return asHex ? hex( n ) : std::to_string( n ); };
   const std::string result = text( value.data[ 0 ] );
   return ( value.mask[ 0 ] & whole ) == whole ? result : result + "/" + hex( value.mask[ 0 ] );
}

std::string kindText( uint32_t data, uint32_t mask ) {
   if ( mask == 0 ) {
      return "any";
   }
   if ( data == 0 ) {
      return "not IP";
   }
   if ( data & ChipModel::kindIp4Options ) {
      return "IPv4 with options";
   }
   return data & ChipModel::kindIp4  ? "IPv4"
         : data & ChipModel::kindIp6 ? "IPv6"
         : data & ChipModel::kindArp ? "ARP"
                                     : "IP";
}

std::string fragmentText( uint32_t data, uint32_t mask ) {
   if ( data & ChipModel::fragLater ) {
      return "later fragment";
   }
   if ( data & ChipModel::fragPart ) {
      return mask & ChipModel::fragLater ? "first fragment" : "a fragment";
   }
   return mask & ChipModel::fragPart ? "not fragmented" : "not a later fragment";
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

std::vector< uint32_t > words( const LookupKey& key, KeyField field ) {
   std::vector< uint32_t > result;
   for ( uint16_t at = 0; at < field.length; at = static_cast< uint16_t >( at + 4 ) ) {
      result.push_back( key.get( { static_cast< uint16_t >( field.offset + at ), 4 } ) );
   }
   return result;
}
std::string macOf( const LookupKey& key, KeyField field ) {
   return mac( { key.get( { field.offset, 2 } ),
         key.get( { static_cast< uint16_t >( field.offset + 2 ), 4 } ) } );
}
bool has( const LookupKey& key, unsigned bits ) {
   return ( key.get( Key::valid ) & bits ) != 0;
}

// What a frame has for a qualifier, and the bit that says whether it has it.
struct FrameField {
   unsigned valid;
   std::string text;
};

FrameField frameField(
      const Runtime& runtime, int unit, Qualifier qualifier, const LookupKey& key ) {
   using namespace ChipModel;
   auto plain = [ & ]( KeyField field ) { return std::to_string( key.get( field ) ); };
   switch ( qualifier ) {
   case Qualifier::inPorts:
      return { 0, runtime.portName( unit, static_cast< int >( key.get( Key::inPort ) ) ) };
   case Qualifier::portClass:
      return { 0, hex( key.get( Key::portClass ) ) };
   case Qualifier::dstPort:
      return { validDstPort,
         runtime.portName( unit, static_cast< int >( key.get( Key::dstPort ) ) ) };
   case Qualifier::dstTrunk:
      return { validDstTrunk,
         trunkName( runtime, unit, static_cast< int >( key.get( Key::dstTrunk ) ) ) };
   case Qualifier::drop:
      return { 0, plain( Key::drop ) };
   case Qualifier::outerVlanId:
      return { validOuterVlan, plain( Key::outerVlanId ) };
   case Qualifier::ipType:
      return { 0, kindText( key.get( Key::ipKind ), 0xff ) };
   case Qualifier::srcIp:
      return { validIp4, Plix::IpAddr( key.get( Key::srcIp ) ).toString() };
   case Qualifier::dstIp:
      return { validIp4, Plix::IpAddr( key.get( Key::dstIp ) ).toString() };
   case Qualifier::srcIp6:
      return { validIp6, ip6( words( key, Key::srcIp6 ) ).toString() };
   case Qualifier::dstIp6:
      return { validIp6, ip6( words( key, Key::dstIp6 ) ).toString() };
   case Qualifier::ipProtocol:
      return { validIp, protocolText( key.get( Key::ipProtocol ) ) };
   case Qualifier::dscp:
      return { validIp, hex( key.get( Key::dscp ) ) };
   case Qualifier::ipFrag:
      return { validIp, fragmentText( key.get( Key::ipFrag ), 3 ) };
   case Qualifier::l4SrcPort:
      return { validPorts, plain( Key::l4SrcPort ) };
   case Qualifier::l4DstPort:
      return { validPorts, plain( Key::l4DstPort ) };
   case Qualifier::tcpControl:
      return { validTcp, hex( key.get( Key::tcpControl ) ) };
   case Qualifier::icmpTypeCode:
      return { validIcmp, icmpText( key.get( Key::icmpTypeCode ) ) };
   case Qualifier::etherType:
      return { validL2, hex( key.get( Key::etherType ) ) };
   case Qualifier::srcMac:
      return { validL2, macOf( key, Key::srcMac ) };
   case Qualifier::dstMac:
      return { validL2, macOf( key, Key::dstMac ) };
   case Qualifier::mplsLabel:
      return { validMpls, plain( Key::mplsLabel ) };
   case Qualifier::mplsInnerLabel:
      return { validMplsInner, plain( Key::mplsInnerLabel ) };
   case Qualifier::dstClassL2:
      return { 0, plain( Key::dstClassL2 ) };
   case Qualifier::outPort:
      return { 0, runtime.portName( unit, static_cast< int >( key.get( Key::outPort ) ) ) };
   case Qualifier::mirrorCopy:
      return { 0, key.get( Key::mirrorCopy ) ? "a copy" : "no copy" };
   default:
      return { validPorts, plain( Key::l4SrcPort ) + " > " + plain( Key::l4DstPort ) };
   }
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

} // namespace

std::string hex( uint32_t value ) {
   char text[ 16 ];
   std::snprintf( text, sizeof text, "0x%x", value );
   return text;
}

std::string portList( const Runtime& runtime, int unit, const Shim::PortBitmap& ports ) {
   std::string text;
   for ( size_t port = 0; port < ports.size(); ++port ) {
      if ( !ports.test( port ) ) {
         continue;
      }
      size_t last = port;
      while ( last + 1 < ports.size() && ports.test( last + 1 ) ) {
         ++last;
      }
      text += text.empty() ? "" : ", ";
      text += runtime.portName( unit, static_cast< int >( port ) );
      if ( last > port ) {
         text += last > port + 1 ? "-" : ", ";
         text += runtime.portName( unit, static_cast< int >( last ) );
      }
      port = last;
   }
   return text.empty() ? "no port" : text;
}

std::string trunkName( const Runtime& runtime, int unit, int trunk ) {
   for ( const auto& [ name, channel ] : runtime.configuration().portChannels ) {
      if ( channel.unit == unit && channel.trunk == trunk ) {
         return name;
      }
   }
   return "trunk " + std::to_string( trunk );
}

std::string mirrorTargetName(
      const Runtime& runtime, const ChipState& chip, uint32_t destination ) {
   for ( const auto& mirror : chip.mirrorDestinations ) {
      if ( mirror.destination == static_cast< int >( destination ) && mirror.value ) {
         const Shim::MirrorDestination& target = *mirror.value;
         return ( target.tunnel ? "tunnel to " + target.tunnel->dstIp.toString() + " by "
                                : "" ) +
               ( target.kind == Shim::MirrorDestination::Kind::trunk
                           ? trunkName( runtime, chip.unit, target.id )
                           : runtime.portName( chip.unit, target.id ) );
      }
   }
   return "not set";
}

std::string qualifierText(
      const Runtime& runtime, const ChipState& chip, const QualifierValue& value ) {
   auto data = [ & ]( size_t part ) { return value.data[ part ]; };
   switch ( value.qualifier ) {
   case Qualifier::inPorts:
      return "in " + portList( runtime, chip.unit, value.ports );
   case Qualifier::portClass:
      return "in class " + hex( data( 0 ) ) + " (" +
            portList( runtime, chip.unit, portsOfClass( chip, data( 0 ), value.mask[ 0 ] ) ) +
            ")";
   case Qualifier::dstPort:
      return "out " + runtime.portName( chip.unit, static_cast< int >( data( 1 ) ) );
   case Qualifier::dstTrunk:
      return "out " + trunkName( runtime, chip.unit, static_cast< int >( data( 0 ) ) );
   case Qualifier::drop:
      return "drop " + number( value, 1, false );
   case Qualifier::outerVlanId:
      return "VLAN " + number( value, 0xfff, false );
   case Qualifier::ipType:
      return kindText( data( 0 ), value.mask[ 0 ] );
   case Qualifier::srcIp:
      return "source " + Plix::IpAddr( data( 0 ) ).toString() + maskText( value.mask );
   case Qualifier::dstIp:
      return "destination " + Plix::IpAddr( data( 0 ) ).toString() + maskText( value.mask );
   case Qualifier::srcIp6:
      return "source " + ip6( value.data ).toString() + maskText( value.mask );
   case Qualifier::dstIp6:
      return "destination " + ip6( value.data ).toString() + maskText( value.mask );
   case Qualifier::ipProtocol:
      return protocolText( data( 0 ) );
   case Qualifier::dscp:
      return "DSCP byte " + number( value, 0xff, true );
   case Qualifier::ipFrag:
      return fragmentText( data( 0 ), value.mask[ 0 ] );
   case Qualifier::l4SrcPort:
      return "source port " + number( value, 0xffff, false );
   case Qualifier::l4DstPort:
      return "destination port " + number( value, 0xffff, false );
   case Qualifier::tcpControl:
      return "TCP flags " + number( value, 0xff, true );
   case Qualifier::icmpTypeCode:
      return "ICMP " + icmpText( data( 0 ) ) +
            ( value.mask[ 0 ] == 0xffff ? "" : " under " + hex( value.mask[ 0 ] ) );
   case Qualifier::etherType:
      return "EtherType " + number( value, 0xffff, true );
   case Qualifier::srcMac:
      return "source " + mac( value.data ) + "/" + mac( value.mask );
   case Qualifier::dstMac:
      return "destination " + mac( value.data ) + "/" + mac( value.mask );
   case Qualifier::mplsLabel:
      return "MPLS label " + number( value, 0xfffff, false );
   case Qualifier::mplsInnerLabel:
      return "inner MPLS label " + number( value, 0xfffff, false );
   case Qualifier::dstClassL2:
      return "L2 class " + number( value, 0x3ff, false );
   case Qualifier::outPort:
      return "out " + runtime.portName( chip.unit, static_cast< int >( data( 0 ) ) );
   case Qualifier::mirrorCopy:
      return data( 0 ) ? "mirror copies" : "no mirror copies";
   case Qualifier::rangeCheck:
      return rangesText( chip, data( 0 ) );
   default:
      return std::string( ChipModel::qualifierName( value.qualifier ) );
   }
}

std::string matchText(
      const Runtime& runtime, const ChipState& chip, const ChipModel::EntryView& entry ) {
   std::vector< std::string > texts;
   for ( const QualifierValue& value : entry.qualifiers ) {
      const bool isAny = !value.mask.empty() &&
            std::all_of( value.mask.begin(), value.mask.end(),
                  []( uint32_t mask ) { return mask == 0; } );
      if ( isAny && value.qualifier != Qualifier::ipType ) {
         continue;
      }
      texts.push_back( qualifierText( runtime, chip, value ) );
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

std::string frameText(
      const Runtime& runtime, int unit, Qualifier qualifier, const LookupKey& key ) {
   const FrameField field = frameField( runtime, unit, qualifier, key );
   return field.valid == 0 || has( key, field.valid ) ? field.text : "none";
}

std::string headersText( const LookupKey& key ) {
   using namespace ChipModel;
   std::vector< std::string > texts;
   if ( !has( key, validL2 ) ) {
      return "too short to be parsed";
   }
   texts.push_back( macOf( key, Key::srcMac ) + " > " + macOf( key, Key::dstMac ) );
   const uint32_t kind = key.get( Key::ipKind );
   if ( has( key, validIp4 ) ) {
      texts.push_back( kindText( kind, 0xff ) + " " +
            Plix::IpAddr( key.get( Key::srcIp ) ).toString() + " > " +
            Plix::IpAddr( key.get( Key::dstIp ) ).toString() );
   } else if ( has( key, validIp6 ) ) {
      texts.push_back( "IPv6 " + ip6( words( key, Key::srcIp6 ) ).toString() + " > " +
            ip6( words( key, Key::dstIp6 ) ).toString() );
   } else {
      texts.push_back(
            kind & kindArp ? "ARP" : "EtherType " + hex( key.get( Key::etherType ) ) );
   }
   if ( has( key, validMpls ) ) {
      texts.push_back( "MPLS label " + std::to_string( key.get( Key::mplsLabel ) ) );
   }
   if ( has( key, validIp ) ) {
      std::string layer4 = protocolText( key.get( Key::ipProtocol ) );
      if ( has( key, validPorts ) ) {
         layer4 += " " + std::to_string( key.get( Key::l4SrcPort ) ) + " > " +
               std::to_string( key.get( Key::l4DstPort ) );
      }
      if ( has( key, validTcp ) ) {
         layer4 += " flags " + hex( key.get( Key::tcpControl ) );
      }
      if ( has( key, validIcmp ) ) {
         layer4 += " " + icmpText( key.get( Key::icmpTypeCode ) );
      }
      texts.push_back( layer4 );
      if ( const uint32_t dscp = key.get( Key::dscp ) ) {
         texts.push_back( "DSCP byte " + hex( dscp ) );
      }
      if ( const uint32_t frag = key.get( Key::ipFrag ) ) {
         texts.push_back( fragmentText( frag, 3 ) );
      }
   }
   return joined( texts );
}

} // namespace Agent
