#pragma once

// Builds the copies that do not leave as they are: inside a tunnel, with a source tag, or both.
//
// In front of a tunnelled frame: Ethernet with at most one tag (IEEE 802.1Q), IPv4 (RFC 791) or
// IPv6 (RFC 8200), and GRE (RFC 2784, its key RFC 2890). A tunnel's headers are made once, when
// its mirror destination is set; per copy only lengths, identification and checksum are filled in.
// Fragmentation is allowed (DF is clear), and the identification counts the chip's IPv4 copies, so
// that those of different copies differ.
//
// Lengths are those of the frame on the wire, also of one that a capture cut. Nothing is ever
// truncated here: callers check takes() first.

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Packets/Frame.h"
#include "ChipModel/Tables/GreFormats.h"
#include "ChipModel/Tables/LogicalTables.h"
#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

// What a tunnel's headers need if nothing else is programmed: with its key, if it has one.
GreFormat greFormatOf( const Shim::MirrorTunnel& tunnel );

class TunnelHeader {
 public:
   // Whether both addresses are of one known family, and the VLAN is one or none.
   static bool isValid( const Shim::MirrorTunnel& tunnel );
   // Of a valid tunnel, with a GRE header of that form. The whole of it is inserted.
   TunnelHeader( const Shim::MirrorTunnel& tunnel, const GreFormat& gre );
   // Only these pieces of it are.
   void insertionIs( const HeaderInsertion& insertion );

   // Bytes that are inserted.
   uint32_t length() const { return length_; }
   bool isIp4() const { return isIp4_; }
   // Whether a frame of that length can be sent through the tunnel: an IP packet has at most
   // 65535 bytes, headers included, and a frame maxFrameBytes.
   bool takes( uint32_t frameBytes ) const;
   // The outer headers, as the egress stage looks at them; the caller says how each copy leaves.
   LookupKey& key() { return key_; }
   // Writes length() bytes: what stands in front of a frame that it takes. The identification
   // is for IPv4 only.
   void write( uint8_t* to, uint32_t frameBytes, uint16_t identification ) const;

 private:
   // All pieces that an insertion can name.
   static constexpr uint32_t longest = 4 * HeaderInsertion::pieceBytes;

   void append16( uint32_t value );
   void append32( uint32_t value );
   void appendIp( const Shim::MirrorTunnel& tunnel );
   void appendGre( const Shim::MirrorTunnel& tunnel, const GreFormat& gre );
   // Fills in what differs from copy to copy.
   void complete( uint8_t* ip, uint32_t frameBytes, uint16_t identification ) const;

   std::array< uint8_t, longest > bytes_{};
   uint32_t length_ = 0;
   uint32_t lengthAdjust_;                      // of the IP length field
   std::optional< HeaderInsertion > insertion_; // none: the whole
   uint32_t ip_ = 0;                            // where the IP header begins
   bool isIp4_;
   uint32_t sum_ = 0; // of the 16-bit words of the IPv4 header, without what varies
   LookupKey key_;
};

// Four bytes, somewhere in a frame, that say where it came from: a signature (16 bits), a
// priority (3 bits), a device (5 bits) and one of its subports (8 bits).
struct SourceTag {
   static constexpr uint32_t length = 4;

   uint16_t signature = 0;
   uint8_t prio = 0;
   uint8_t deviceId = 0;
   uint8_t subport = 0;
   uint8_t offset = 12; // from the start of the frame: in place of its EtherType

   // Whether a frame of that length takes the tag: not if it ends before the offset, nor if it
   // would grow beyond maxFrameBytes.
   bool isTakenBy( uint32_t frameBytes ) const {
      return frameBytes >= offset && frameBytes <= maxFrameBytes - length;
   }
};

class Encapsulator {
 public:
   Encapsulator() : buffer_( std::make_unique< uint8_t[] >( maxFrameBytes ) ) {}

   // The frame, copied once into a buffer that the next one is built in, too: behind a tunnel's
   // headers, and with a tag. Null: without. Both must take it. A tag that lies in what a
   // capture cut off counts on the wire only.
   FrameView build( const FrameView& frame, const TunnelHeader* tunnel, uint16_t identification,
         const SourceTag* tag );

 private:
   std::unique_ptr< uint8_t[] > buffer_;
};

} // namespace ChipModel
