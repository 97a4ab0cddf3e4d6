#pragma once

// An IPv6 address (RFC 4291), printed in the canonical form of RFC 5952.

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Plix {

class Ip6Addr {
 public:
   constexpr Ip6Addr() = default;
   constexpr explicit Ip6Addr( const std::array< uint8_t, 16 >& bytes ) : bytes_( bytes ) {}

   // Any form of RFC 4291 section 2.2, without zone; none for any other text.
   static std::optional< Ip6Addr > fromString( std::string_view text );
   std::string toString() const;

   constexpr const std::array< uint8_t, 16 >& bytes() const { return bytes_; } // as on the wire
   constexpr auto operator<=>( const Ip6Addr& ) const = default;

 private:
   std::array< uint8_t, 16 > bytes_{};
};

std::ostream& operator<<( std::ostream& out, const Ip6Addr& addr );

} // namespace Plix

template <>
struct std::hash< Plix::Ip6Addr > {
   size_t operator()( const Plix::Ip6Addr& addr ) const noexcept {
      size_t result = 0;
      for ( uint8_t byte : addr.bytes() ) {
         result = result * 131 + byte;
      }
      return result;
   }
};
