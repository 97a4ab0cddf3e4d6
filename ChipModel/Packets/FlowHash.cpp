#include "ChipModel/Packets/FlowHash.h"

#include <cstddef>

namespace ChipModel {

namespace {

constexpr uint16_t etherTypeIpv4 = 0x0800;
constexpr uint16_t etherTypeIpv6 = 0x86dd;

class Folder {
 public:
   void add( uint64_t word ) {
      uint64_t z = ( state_ ^ word ) + 0x9e3779b97f4a7c15ULL;
      z = ( z ^ ( z >> 30 ) ) * 0xbf58476d1ce4e5b9ULL;
      z = ( z ^ ( z >> 27 ) ) * 0x94d049bb133111ebULL;
      state_ = z ^ ( z >> 31 );
   }
   void add64( const uint8_t* bytes ) {
      add( static_cast< uint64_t >( load32( bytes ) ) << 32 | load32( bytes + 4 ) );
   }
   uint32_t result() const { return static_cast< uint32_t >( state_ >> 32 ); }

 private:
   uint64_t state_ = 0;
};

bool hasPorts( uint8_t protocol ) {
   return protocol == 6 || protocol == 17 || protocol == 132; // TCP, UDP, SCTP
}

void addPorts( Folder& folder, uint8_t protocol, const uint8_t* header, uint32_t length ) {
   if ( hasPorts( protocol ) && length >= 4 ) {
      folder.add( load32( header ) );
   }
}

// RFC 791.
void addIpv4( Folder& folder, const uint8_t* header, uint32_t length ) {
   const uint32_t headerLength = ( header[ 0 ] & 0xfU ) * 4U;
   if ( header[ 0 ] >> 4 != 4 || headerLength < 20 || length < headerLength ) {
      return;
   }
   const uint8_t protocol = header[ 9 ];
   folder.add64( header + 12 );
   folder.add( protocol );
   const bool isFragment = ( load16( header + 6 ) & 0x3fff ) != 0;
   if ( !isFragment ) {
      addPorts( folder, protocol, header + headerLength, length - headerLength );
   }
}

// RFC 8200.
void addIpv6( Folder& folder, const uint8_t* header, uint32_t length ) {
   constexpr uint32_t headerLength = 40;
   if ( length < headerLength || header[ 0 ] >> 4 != 6 ) {
      return;
   }
   for ( size_t offset = 8; offset < headerLength; offset += 8 ) {
      folder.add64( header + offset );
   }
   folder.add( header[ 6 ] );
   addPorts( folder, header[ 6 ], header + headerLength, length - headerLength );
}

} // namespace

uint32_t flowHash( const ParsedFrame& frame, uint16_t vid ) {
   Folder folder;
   folder.add( static_cast< uint64_t >( vid ) << 16 | frame.etherType );
   if ( frame.length >= 12 ) {
      folder.add(
            static_cast< uint64_t >( load16( frame.data ) ) << 32 | load32( frame.data + 2 ) );
      folder.add( static_cast< uint64_t >( load16( frame.data + 6 ) ) << 32 |
            load32( frame.data + 8 ) );
   }
   const uint8_t* header = frame.data + frame.payload;
   const uint32_t length = frame.length - frame.payload;
   if ( frame.etherType == etherTypeIpv4 && length >= 20 ) {
      addIpv4( folder, header, length );
   } else if ( frame.etherType == etherTypeIpv6 && length >= 40 ) {
      addIpv6( folder, header, length );
   }
   return folder.result();
}

} // namespace ChipModel
