#pragma once

// Numbers that name things: a type of its own for each, so that a destination is never taken
// for a unit. No arithmetic.
//
//    using Mtp = Zol::Id< struct MtpTag, uint8_t >;

#include <charconv>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace Zol {

template < typename Tag, typename Number >
class Id {
 public:
   constexpr Id() = default;
   constexpr explicit Id( Number value ) : value_( value ) {}
   constexpr Number value() const { return value_; }
   constexpr bool operator==( const Id& ) const = default;
   constexpr auto operator<=>( const Id& ) const = default;

   std::string toString() const { return std::to_string( value_ ); }
   // None if the text is no number of this width.
   static std::optional< Id > fromString( std::string_view text ) {
      Number value{};
      auto result = std::from_chars( text.data(), text.data() + text.size(), value );
      if ( result.ec != std::errc() || result.ptr != text.data() + text.size() ) {
         return {};
      }
      return Id( value );
   }

   friend std::ostream& operator<<( std::ostream& out, const Id& id ) {
      return out << std::to_string( id.value_ );
   }

 private:
   Number value_{};
};

} // namespace Zol

template < typename Tag, typename Number >
struct std::hash< Zol::Id< Tag, Number > > {
   size_t operator()( const Zol::Id< Tag, Number >& id ) const { return id.value(); }
};
