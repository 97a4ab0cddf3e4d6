#include "Platform/Plix/IpGenAddr.h"

#include <ostream>

namespace Plix {

std::optional< IpGenAddr > IpGenAddr::fromString( std::string_view text ) {
   if ( text.empty() ) {
      return IpGenAddr();
   }
   if ( const auto v4 = IpAddr::fromString( text ) ) {
      return IpGenAddr( *v4 );
   }
   if ( const auto v6 = Ip6Addr::fromString( text ) ) {
      return IpGenAddr( *v6 );
   }
   return {};
}

std::string IpGenAddr::toString() const {
   switch ( family_ ) {
   case AddressFamily::ipv4:
      return v4_.toString();
   case AddressFamily::ipv6:
      return v6_.toString();
   default:
      return {};
   }
}

std::ostream& operator<<( std::ostream& out, const IpGenAddr& addr ) {
   return out << addr.toString();
}

} // namespace Plix
