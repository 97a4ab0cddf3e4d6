#include "Platform/Plix/IpAddr.h"

#include <arpa/inet.h>

#include <ostream>

namespace Plix {

std::optional< IpAddr > IpAddr::fromString( std::string_view text ) {
   in_addr address{};
   if ( inet_pton( AF_INET, std::string( text ).c_str(), &address ) != 1 ||
         text.find( '\0' ) != std::string_view::npos ) {
      return {};
   }
   return IpAddr( ntohl( address.s_addr ) );
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
