#pragma once

// Integers with bounds. A value outside is refused with a RangeError that names the type and
// the bounds as they are written here:
//
//    using U10 = Zol::RangeChecked< U10Range >;      // see ZOL_RANGE below
//    U10( 1024 );    // "U10::value < 0 or > 0x03ff not allowed"

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Platform/Zol/RangeError.h"

// ZOL_RANGE( U10Range, U10::value, 0, 0x03ff, 0x03ff ): the range's name, what its error calls
// the value, the bounds as its error shows them, and the upper bound as a number. The lower
// bound serves as text and as number.
#define ZOL_RANGE( Name, valueName, low, high, highest )                                       \
   struct Name {                                                                               \
      static constexpr int64_t min = low;                                                      \
      static constexpr int64_t max = highest;                                                  \
      static constexpr const char* text = #valueName " < " #low " or > " #high " not allowed"; \
   }

namespace Zol {

template < typename Range >
class RangeChecked {
 public:
   constexpr RangeChecked() = default;
   constexpr RangeChecked( int64_t value ) : value_( static_cast< uint32_t >( value ) ) {
      if ( value < Range::min || value > Range::max ) {
         throw RangeError( Range::text );
      }
   }
   constexpr operator uint32_t() const { return value_; }
   constexpr bool operator==( const RangeChecked& ) const = default;
   constexpr auto operator<=>( const RangeChecked& ) const = default;

   std::string toString() const { return std::to_string( value_ ); }
   // None if the text is no number or out of range.
   static std::optional< RangeChecked > fromString( std::string_view text ) {
      int64_t value = 0;
      for ( char digit : text ) {
         if ( digit < '0' || digit > '9' || value > Range::max ) {
            return {};
         }
         value = value * 10 + ( digit - '0' );
      }
      if ( text.empty() || value < Range::min || value > Range::max ) {
         return {};
      }
      return RangeChecked( value );
   }

 private:
   uint32_t value_ = static_cast< uint32_t >( Range::min );
};

} // namespace Zol

template < typename Range >
struct std::hash< Zol::RangeChecked< Range > > {
   size_t operator()( const Zol::RangeChecked< Range >& value ) const {
      return static_cast< uint32_t >( value );
   }
};
