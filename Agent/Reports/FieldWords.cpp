#include "Agent/Reports/FieldWords.h"

#include <algorithm>
#include <cstdio>

#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"

namespace Agent::FieldWords {

Shim::PortBitmap portsOfClass(
      const ChipModel::ChipState& chip, uint32_t data, uint32_t mask ) {
   Shim::PortBitmap ports;
   for ( const ChipModel::PortState& port : chip.ports ) {
      if ( ( port.classBits & mask ) == ( data & mask ) ) {
         ports.set( static_cast< size_t >( port.port ) );
      }
   }
   return ports;
}

std::string address( const std::vector< uint32_t >& words ) {
   if ( words.size() == 1 ) {
      return Plix::IpAddr( words[ 0 ] ).toString();
   }
   if ( words.size() == 2 ) {
      char text[ 24 ];
      std::snprintf( text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", words[ 0 ] >> 8 & 0xff,
            words[ 0 ] & 0xff, words[ 1 ] >> 24, words[ 1 ] >> 16 & 0xff,
            words[ 1 ] >> 8 & 0xff, words[ 1 ] & 0xff );
      return text;
   }
   std::array< uint8_t, 16 > bytes{};
   for ( size_t i = 0; i < bytes.size(); ++i ) {
      bytes[ i ] = static_cast< uint8_t >( words[ i / 4 ] >> ( 24 - i % 4 * 8 ) );
   }
   return Plix::Ip6Addr( bytes ).toString();
}

bool isAny( const ChipModel::QualifierValue& value ) {
   return value.qualifier != Shim::Qualifier::ipType && !value.mask.empty() &&
         std::ranges::all_of( value.mask, []( uint32_t mask ) { return mask == 0; } );
}

ChipModel::QualifierValue frameValue(
      const ChipModel::FieldRow& row, const ChipModel::LookupKey& key ) {
   ChipModel::QualifierValue value;
   value.qualifier = row.qualifier;
   for ( const ChipModel::KeyPart& part : row.place.parts() ) {
      value.data.push_back( key.get( part.field ) );
      value.mask.push_back( part.widest );
   }
   if ( row.style == ChipModel::TextStyle::ports ) {
      value.ports.set( key.get( ChipModel::Key::inPort ) );
   }
   return value;
}

bool isOffered( const ChipModel::FieldRow& row, const ChipModel::LookupKey& key ) {
   return row.place.valid == 0 || ( key.get( ChipModel::Key::valid ) & row.place.valid ) != 0;
}

} // namespace Agent::FieldWords
