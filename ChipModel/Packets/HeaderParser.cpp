#include "ChipModel/Packets/HeaderParser.h"

#include <algorithm>

namespace ChipModel {

namespace {

constexpr uint16_t typeIp4 = 0x0800;
constexpr uint16_t typeArp = 0x0806;
constexpr uint16_t typeIp6 = 0x86dd;
constexpr uint16_t typeMpls = 0x8847;
constexpr uint16_t typeMplsMulticast = 0x8848;

// Protocol numbers (IANA).
enum Protocol : uint8_t {
   hopByHop = 0,
   icmp = 1,
   tcp = 6,
   udp = 17,
   routing = 43,
   fragment = 44,
   authentication = 51,
   icmp6 = 58,
   destinationOptions = 60,
   sctp = 132,
};

// A header's bytes, up to where its datagram ends or was cut.
struct Bytes {
   const uint8_t* data;
   uint32_t length;

   Bytes from( uint32_t offset ) const {
      const uint32_t skipped = std::min( offset, length );
      return { data + skipped, length - skipped };
   }
   // Cuts to a length that a header gives; 0 means no limit (RFC 2675, or a header that the
   // sender left to be filled in).
   Bytes upTo( uint32_t given ) const {
      return { data, given == 0 ? length : std::min( given, length ) };
   }
};

void parseLayer4( Bytes header, uint8_t protocol, LookupKey& key ) {
   const bool hasPorts = protocol == tcp || protocol == udp || protocol == sctp;
   if ( hasPorts && header.length >= 4 ) {
      key.copy( Key::l4SrcPort, header.data );
      key.copy( Key::l4DstPort, header.data + 2 );
      key.setValid( validPorts );
   }
   if ( protocol == tcp && header.length >= 14 ) {
      key.set( Key::tcpControl, header.data[ 13 ] );
      key.setValid( validTcp );
   }
   const bool isIcmp = protocol == icmp || protocol == icmp6;
   if ( isIcmp && header.length >= 2 ) {
      key.copy( Key::icmpTypeCode, header.data );
      key.setValid( validIcmp );
   }
}

void setFragment( bool isPart, bool isLater, LookupKey& key ) {
   key.set( Key::ipFrag,
         ( isPart ? unsigned{ fragPart } : 0U ) | ( isLater ? unsigned{ fragLater } : 0U ) );
}

void parseIp4( Bytes header, LookupKey& key ) {
   if ( header.length < 20 || header.data[ 0 ] >> 4 != 4 ) {
      return;
   }
   const uint32_t headerLength = ( header.data[ 0 ] & 0xfU ) * 4U;
   const uint32_t totalLength = load16( header.data + 2 );
   if ( headerLength < 20 || ( totalLength != 0 && totalLength < headerLength ) ) {
      return;
   }
   const uint8_t protocol = header.data[ 9 ];
   key.set( Key::ipKind,
         kindIp | kindIp4 | ( headerLength > 20 ? unsigned{ kindIp4Options } : 0U ) );
   key.set( Key::dscp, header.data[ 1 ] );
   key.set( Key::ipProtocol, protocol );
   key.copy( Key::srcIp, header.data + 12 );
   key.copy( Key::dstIp, header.data + 16 );
   key.setValid( validIp | validIp4 );
   const uint16_t fragmentWord = load16( header.data + 6 );
   const bool isLater = ( fragmentWord & 0x1fff ) != 0;
   setFragment( isLater || ( fragmentWord & 0x2000 ) != 0, isLater, key );
   if ( !isLater ) {
      parseLayer4( header.upTo( totalLength ).from( headerLength ), protocol, key );
   }
}

// Where the upper layer begins, behind the extension headers that are there whole.
struct UpperLayer {
   Bytes bytes;
   uint8_t protocol;
   bool isPart = false;
   bool isLater = false;
};

bool isExtension( uint8_t protocol ) {
   return protocol == hopByHop || protocol == routing || protocol == fragment ||
         protocol == authentication || protocol == destinationOptions;
}

UpperLayer skipExtensions( Bytes bytes, uint8_t protocol ) {
   UpperLayer upper{ bytes, protocol };
   while ( !upper.isLater && isExtension( upper.protocol ) && upper.bytes.length >= 8 ) {
      const uint8_t* header = upper.bytes.data;
      uint32_t length = ( header[ 1 ] + 1U ) * 8U;
      if ( upper.protocol == fragment ) {
         length = 8;
         const uint16_t word = load16( header + 2 );
         upper.isLater = ( word & 0xfff8 ) != 0;
         // A fragment that is all of its datagram is no part (RFC 8200, section 4.5).
         upper.isPart |= upper.isLater || ( word & 1 ) != 0;
      } else if ( upper.protocol == authentication ) {
         length = ( header[ 1 ] + 2U ) * 4U;
      }
      if ( length > upper.bytes.length ) {
         break;
      }
      upper.protocol = header[ 0 ];
      upper.bytes = upper.bytes.from( length );
   }
   return upper;
}

void parseIp6( Bytes header, LookupKey& key ) {
   constexpr uint32_t headerLength = 40;
   if ( header.length < headerLength || header.data[ 0 ] >> 4 != 6 ) {
      return;
   }
   const uint32_t payloadLength = load16( header.data + 4 );
   const Bytes payload = header.from( headerLength ).upTo( payloadLength );
   const UpperLayer upper = skipExtensions( payload, header.data[ 6 ] );
   key.set( Key::ipKind, kindIp | kindIp6 );
   key.set( Key::dscp, load16( header.data ) >> 4 & 0xffU );
   key.set( Key::ipProtocol, upper.protocol );
   key.copy( Key::srcIp6, header.data + 8 );
   key.copy( Key::dstIp6, header.data + 24 );
   key.setValid( validIp | validIp6 );
   setFragment( upper.isPart, upper.isLater, key );
   if ( !upper.isLater ) {
      parseLayer4( upper.bytes, upper.protocol, key );
   }
}

void parseMpls( Bytes stack, LookupKey& key ) {
   if ( stack.length < 4 ) {
      return;
   }
   key.set( Key::mplsLabel, load32( stack.data ) >> 12 );
   key.setValid( validMpls );
   const bool isBottom = ( stack.data[ 2 ] & 1 ) != 0;
   if ( !isBottom && stack.length >= 8 ) {
      key.set( Key::mplsInnerLabel, load32( stack.data + 4 ) >> 12 );
      key.setValid( validMplsInner );
   }
}

} // namespace

void parseHeaders( const ParsedFrame& frame, LookupKey& key ) {
   if ( !frame.hasEtherType ) {
      return;
   }
   key.copy( Key::dstMac, frame.destination() );
   key.copy( Key::srcMac, frame.source() );
   key.set( Key::etherType, frame.etherType );
   key.setValid( validL2 );
   const Bytes payload{ frame.data + frame.payload, frame.length - frame.payload };
   switch ( frame.etherType ) {
   case typeIp4:
      parseIp4( payload, key );
      break;
   case typeIp6:
      parseIp6( payload, key );
      break;
   case typeArp:
      key.set( Key::ipKind, kindArp );
      break;
   case typeMpls:
   case typeMplsMulticast:
      parseMpls( payload, key );
      break;
   default:
      break;
   }
}

} // namespace ChipModel
