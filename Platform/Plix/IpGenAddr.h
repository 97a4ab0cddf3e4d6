#pragma once

// An IP address of either version, or none.

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Enum.h"

namespace Plix {

ZOL_ENUM( AddressFamily, uint8_t, ( unknown, 0 ), ( ipv4, 4 ), ( ipv6, 6 ) );

class IpGenAddr {
 public:
   constexpr IpGenAddr() = default; // of no family
   constexpr explicit( false ) IpGenAddr( IpAddr addr )
         : family_( AddressFamily::ipv4 ), v4_( addr ) {}
   constexpr explicit( false ) IpGenAddr( const Ip6Addr& addr )
         : family_( AddressFamily::ipv6 ), v6_( addr ) {}

   // The forms of IpAddr and Ip6Addr; empty text is an address of no family; none for any
   // other.
   static std::optional< IpGenAddr > fromString( std::string_view text );
   std::string toString() const; // empty for no family

   constexpr AddressFamily family() const { return family_; }
   // Zero if the address is not of that family.
   constexpr const IpAddr& v4Addr() const { return v4_; }
   constexpr const Ip6Addr& v6Addr() const { return v6_; }
   // True for the zero address of a family, and for no family.
   constexpr bool isZero() const { return v4_ == IpAddr() && v6_ == Ip6Addr(); }
   constexpr auto operator<=>( const IpGenAddr& ) const = default;

 private:
   AddressFamily family_ = AddressFamily::unknown;
   IpAddr v4_;
   Ip6Addr v6_;
};

std::ostream& operator<<( std::ostream& out, const IpGenAddr& addr );

} // namespace Plix

template <>
struct std::hash< Plix::IpGenAddr > {
   size_t operator()( const Plix::IpGenAddr& addr ) const noexcept {
      return std::hash< Plix::IpAddr >()( addr.v4Addr() ) * 31 +
            std::hash< Plix::Ip6Addr >()( addr.v6Addr() );
   }
};
