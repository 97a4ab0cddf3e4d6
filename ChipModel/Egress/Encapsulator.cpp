#include "ChipModel/Egress/Encapsulator.h"

#include <algorithm>
#include <cstring>

#include "ChipModel/Lookup/EgressKey.h"
#include "ChipModel/Packets/HeaderParser.h"
#include "ChipModel/Packets/Parser.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

constexpr uint32_t maxIpBytes = 65'535;
constexpr uint8_t protocolGre = 47;
constexpr uint32_t ip4Bytes = 20;
constexpr uint32_t ip6Bytes = 40;
constexpr uint32_t greKeyPresent = 0x2000; // RFC 2890

void store16( uint8_t* to, uint32_t value ) {
   to[ 0 ] = static_cast< uint8_t >( value >> 8 );
   to[ 1 ] = static_cast< uint8_t >( value );
}

} // namespace

bool TunnelHeader::isValid( const Shim::MirrorTunnel& tunnel ) {
   return tunnel.vid <= 4094 && tunnel.srcIp.family() == tunnel.dstIp.family() &&
         tunnel.srcIp.family() != Plix::AddressFamily::unknown;
}

GreFormat greFormatOf( const Shim::MirrorTunnel& tunnel ) {
   const uint32_t bytes = tunnel.greKey ? plainGreBytes + 4 : plainGreBytes;
   const bool isIp4 = tunnel.srcIp.family() == Plix::AddressFamily::ipv4;
   return { bytes, tunnel.greKey.has_value(),
      static_cast< uint16_t >( tunnel.greKey ? greKeyPresent : 0 ),
      ( isIp4 ? ip4Bytes : 0 ) + bytes };
}

TunnelHeader::TunnelHeader( const Shim::MirrorTunnel& tunnel, const GreFormat& gre )
      : lengthAdjust_( gre.lengthAdjust ),
        isIp4_( tunnel.srcIp.family() == Plix::AddressFamily::ipv4 ) {
   ZOL_ASSERT( isValid( tunnel ) );
   std::ranges::copy( tunnel.dstMac.bytes(), bytes_.begin() );
   std::ranges::copy( tunnel.srcMac.bytes(), bytes_.begin() + 6 );
   length_ = 12;
   if ( tunnel.vid != 0 ) {
      append16( customerTag );
      append16( tunnel.vid );
   }
   append16( isIp4_ ? 0x0800 : 0x86dd );
   ip_ = length_;
   appendIp( tunnel );
   appendGre( tunnel, gre );
   const ParsedFrame parsed = parse( { 0, bytes_.data(), length_, length_ } );
   parseHeaders( parsed, key_ );
   setOuterVlan( key_, tunnel.vid );
}

// Lengths, and of IPv4 identification and checksum, are left at 0.
void TunnelHeader::appendIp( const Shim::MirrorTunnel& tunnel ) {
   if ( isIp4_ ) {
      append16( 0x4500U | tunnel.trafficClass );
      append32( 0 );
      append16( 0 );
      append16( uint32_t{ tunnel.ttl } << 8 | protocolGre );
      append16( 0 );
      append32( tunnel.srcIp.v4Addr().value() );
      append32( tunnel.dstIp.v4Addr().value() );
      for ( uint32_t at = ip_; at < length_; at += 2 ) {
         sum_ += load16( &bytes_[ at ] );
      }
      return;
   }
   append32( 0x60000000U | uint32_t{ tunnel.trafficClass } << 20 );
   append16( 0 );
   append16( uint32_t{ protocolGre } << 8 | tunnel.ttl );
   for ( const Plix::Ip6Addr& address : { tunnel.srcIp.v6Addr(), tunnel.dstIp.v6Addr() } ) {
      std::ranges::copy( address.bytes(), bytes_.begin() + length_ );
      length_ += static_cast< uint32_t >( address.bytes().size() );
   }
}

// As many bytes as are said, whatever should stand in them: a chip does not know better.
void TunnelHeader::appendGre( const Shim::MirrorTunnel& tunnel, const GreFormat& gre ) {
   const uint32_t start = length_;
   append16( gre.flags );
   append16( tunnel.greProtocol );
   append32( gre.hasKey ? tunnel.greKey.value_or( 0 ) : 0 );
   length_ = start + gre.headerBytes;
   std::fill( bytes_.begin() + std::min( length_, start + 8 ), bytes_.end(), uint8_t{ 0 } );
}

void TunnelHeader::insertionIs( const HeaderInsertion& insertion ) {
   insertion_ = insertion;
   length_ = 0;
   for ( const HeaderInsertion::Piece& piece : insertion.pieces ) {
      length_ += piece.bytes;
   }
}

void TunnelHeader::append16( uint32_t value ) {
   store16( &bytes_[ length_ ], value );
   length_ += 2;
}

void TunnelHeader::append32( uint32_t value ) {
   append16( value >> 16 );
   append16( value );
}

bool TunnelHeader::takes( uint32_t frameBytes ) const {
   const uint32_t packet = lengthAdjust_ + ( isIp4_ ? 0 : ip6Bytes );
   return uint64_t{ frameBytes } + packet <= maxIpBytes &&
         uint64_t{ frameBytes } + length_ <= maxFrameBytes;
}

void TunnelHeader::write( uint8_t* to, uint32_t frameBytes, uint16_t identification ) const {
   if ( !insertion_ ) [[likely]] {
      std::memcpy( to, bytes_.data(), length_ );
      complete( to + ip_, frameBytes, identification );
      return;
   }
   std::array< uint8_t, longest > whole = bytes_;
   complete( whole.data() + ip_, frameBytes, identification );
   for ( const HeaderInsertion::Piece& piece : insertion_->pieces ) {
      to = std::copy_n(
            whole.begin() + piece.number * HeaderInsertion::pieceBytes, piece.bytes, to );
   }
}

void TunnelHeader::complete( uint8_t* ip, uint32_t frameBytes, uint16_t identification ) const {
   const uint32_t packet = frameBytes + lengthAdjust_;
   if ( !isIp4_ ) {
      store16( ip + 4, packet );
      return;
   }
   store16( ip + 2, packet );
   store16( ip + 4, identification );
   uint32_t sum = sum_ + packet + identification;
   sum = ( sum & 0xffff ) + ( sum >> 16 );
   sum += sum >> 16;
   store16( ip + 10, ~sum );
}

FrameView Encapsulator::build( const FrameView& frame, const TunnelHeader* tunnel,
      uint16_t identification, const SourceTag* tag ) {
   uint8_t* out = buffer_.get();
   const uint32_t front = tunnel == nullptr ? 0 : tunnel->length();
   FrameView built = frame;
   built.data = out;
   built.length += front;
   built.wireLength += front;
   ZOL_ASSERT( built.length <= built.wireLength && built.wireLength <= maxFrameBytes );
   if ( tunnel != nullptr ) {
      tunnel->write( out, frame.wireLength, identification );
   }
   const bool isInside = tag != nullptr && tag->offset <= built.length;
   if ( tag != nullptr ) {
      ZOL_ASSERT( tag->isTakenBy( built.wireLength ) );
      built.wireLength += SourceTag::length;
   }
   if ( !isInside ) {
      std::copy_n( frame.data, frame.length, out + front );
      return built;
   }
   const uint32_t at = tag->offset;
   const uint32_t before = at > front ? at - front : 0; // bytes of the frame
   std::copy_n( frame.data, before, out + front );
   if ( at < front ) {
      std::memmove( out + at + SourceTag::length, out + at, front - at );
   }
   store16( out + at, tag->signature );
   store16( out + at + 2,
         ( uint32_t{ tag->prio } << 5 | tag->deviceId ) << 8 | uint32_t{ tag->subport } );
   std::memcpy(
         out + front + before + SourceTag::length, frame.data + before, frame.length - before );
   built.length += SourceTag::length;
   return built;
}

} // namespace ChipModel
