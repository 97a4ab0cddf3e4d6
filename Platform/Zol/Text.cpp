#include "Platform/Zol/Text.h"

namespace Zol {

void appendQuotedName( std::string& out, std::string_view name ) {
   out += '\'';
   out += name;
   out += '\'';
}

void TextCursor::fail( std::string_view expected ) const {
   throw ParseError( "expected " + std::string( expected ) + " before '" +
         std::string( rest_.substr( 0, 40 ) ) + "'" );
}

void TextCursor::skip( std::string_view expected ) {
   if ( rest_.substr( 0, expected.size() ) != expected ) {
      fail( '"' + std::string( expected ) + '"' );
   }
   rest_.remove_prefix( expected.size() );
}

std::string_view TextCursor::takeNumber() {
   size_t length = rest_.find_first_not_of( "0123456789", rest_.starts_with( '-' ) ? 1 : 0 );
   std::string_view number = rest_.substr( 0, length );
   rest_.remove_prefix( number.size() );
   return number;
}

std::string_view TextCursor::takeWord() {
   std::string_view word = rest_.substr( 0, rest_.find_first_of( ",}) " ) );
   rest_.remove_prefix( word.size() );
   return word;
}

std::string_view TextCursor::takeUntil( std::string_view end ) {
   if ( end.empty() ) {
      return std::exchange( rest_, {} );
   }
   size_t length = rest_.find( end );
   if ( length == std::string_view::npos ) {
      fail( '"' + std::string( end ) + '"' );
   }
   std::string_view text = rest_.substr( 0, length );
   rest_.remove_prefix( length );
   return text;
}

} // namespace Zol
