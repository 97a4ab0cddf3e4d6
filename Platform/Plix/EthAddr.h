#pragma once

// A MAC address (IEEE 802, 48 bits, network byte order).

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Plix {

class EthAddr {
 public:
   constexpr EthAddr() = default;
   constexpr explicit EthAddr( const std::array< uint8_t, 6 >& bytes ) : bytes_( bytes ) {}

   // "00:1c:73:00:00:01", also with '-' between the bytes; none for any other text.
   static std::optional< EthAddr > fromString( std::string_view text );
   std::string toString() const; // lower case, colons

   constexpr const std::array< uint8_t, 6 >& bytes() const { return bytes_; }
   constexpr bool isMulticast() const { return ( bytes_[ 0 ] & 1 ) != 0; }

   constexpr auto operator<=>( const EthAddr& ) const = default;

 private:
   std::array< uint8_t, 6 > bytes_{};
};

std::ostream& operator<<( std::ostream& out, const EthAddr& addr );

} // namespace Plix

template <>
struct std::hash< Plix::EthAddr > {
   size_t operator()( const Plix::EthAddr& addr ) const noexcept {
      uint64_t value = 0;
      for ( uint8_t byte : addr.bytes() ) {
         value = value << 8 | byte;
      }
      return static_cast< size_t >( value * 0x9e3779b97f4a7c15ULL );
   }
};
