#include "Platform/Plix/EthAddr.h"

#include <ostream>

namespace Plix {

namespace {

// The value of a hexadecimal digit; -1 for anything else.
int hexDigit( char c ) {
   if ( c >= '0' && c <= '9' ) {
      return c - '0';
   }
   const char lower = static_cast< char >( c | 0x20 );
   return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::optional< EthAddr > EthAddr::fromString( std::string_view text ) {
   if ( text.size() != 17 ) {
      return {};
   }
   const char separator = text[ 2 ];
   std::array< uint8_t, 6 > bytes{};
   for ( size_t i = 0; i < bytes.size(); ++i ) {
      const int high = hexDigit( text[ i * 3 ] );
      const int low = hexDigit( text[ i * 3 + 1 ] );
      if ( high < 0 || low < 0 || ( i > 0 && text[ i * 3 - 1 ] != separator ) ) {
         return {};
      }
      bytes[ i ] = static_cast< uint8_t >( high << 4 | low );
   }
   return separator == ':' || separator == '-' ? std::optional( EthAddr( bytes ) )
                                               : std::nullopt;
}

std::string EthAddr::toString() const {
   static constexpr char digits[] = "0123456789abcdef";
   std::string text;
   for ( uint8_t byte : bytes_ ) {
      if ( !text.empty() ) {
         text += ':';
      }
      text += digits[ byte >> 4 ];
      text += digits[ byte & 15 ];
   }
   return text;
}

std::ostream& operator<<( std::ostream& out, const EthAddr& addr ) {
   return out << addr.toString();
}

} // namespace Plix
