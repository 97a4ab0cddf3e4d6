#pragma once

// An IPv4 address (RFC 791).

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Plix {

class IpAddr {
 public:
   constexpr IpAddr() = default;
   constexpr explicit IpAddr( uint32_t hostOrder ) : value_( hostOrder ) {}

   // Four decimal numbers, 0 to 255, without leading zeros; none for any other text.
   static std::optional< IpAddr > fromString( std::string_view text );
   std::string toString() const;

   constexpr uint32_t value() const { return value_; } // host order
   constexpr auto operator<=>( const IpAddr& ) const = default;

 private:
   uint32_t value_ = 0;
};

std::ostream& operator<<( std::ostream& out, const IpAddr& addr );

} // namespace Plix

template <>
struct std::hash< Plix::IpAddr > {
   size_t operator()( const Plix::IpAddr& addr ) const noexcept { return addr.value(); }
};
