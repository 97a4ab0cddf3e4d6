#include "Platform/Plix/IpAddr.h"

#include <charconv>
#include <ostream>

namespace Plix {

std::optional< IpAddr > IpAddr::fromString( std::string_view text ) {
   uint32_t value = 0;
   for ( int numbers = 1;; ++numbers ) {
      const std::string_view number = text.substr( 0, text.find( '.' ) );
      uint8_t byte = 0;
      const char* end = number.data() + number.size();
      const auto parsed = std::from_chars( number.data(), end, byte );
      // A leading zero is octal to some readers and decimal to others.
      if ( parsed.ec != std::errc() || parsed.ptr != end ||
            ( number.size() > 1 && number[ 0 ] == '0' ) ) {
         return {};
      }
      value = value << 8 | byte;
      if ( numbers == 4 ) {
         return number.size() == text.size() ? std::optional( IpAddr( value ) ) : std::nullopt;
      }
      if ( number.size() == text.size() ) {
         return {};
      }
      text.remove_prefix( number.size() + 1 );
   }
}

std::string IpAddr::toString() const {
   std::string text;
   for ( int shift = 24; shift >= 0; shift -= 8 ) {
      text += std::to_string( value_ >> shift & 0xff );
      if ( shift ) {
         text += '.';
      }
   }
   return text;
}

std::ostream& operator<<( std::ostream& out, const IpAddr& addr ) {
   return out << addr.toString();
}

} // namespace Plix
