#include "Platform/Plix/Ip6Addr.h"

#include <arpa/inet.h>

#include <cstring>
#include <ostream>

namespace Plix {

std::optional< Ip6Addr > Ip6Addr::fromString( std::string_view text ) {
   std::array< uint8_t, 16 > bytes{};
   if ( text.find( '\0' ) != std::string_view::npos ||
         inet_pton( AF_INET6, std::string( text ).c_str(), bytes.data() ) != 1 ) {
      return {};
   }
   return Ip6Addr( bytes );
}

std::string Ip6Addr::toString() const {
   // glibc's inet_ntop prints the form of RFC 5952.
   char text[ INET6_ADDRSTRLEN ] = {};
   inet_ntop( AF_INET6, bytes_.data(), text, sizeof text );
   return text;
}

std::ostream& operator<<( std::ostream& out, const Ip6Addr& addr ) {
   return out << addr.toString();
}

} // namespace Plix
