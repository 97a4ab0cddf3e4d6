#include "Agent/Configuration/Names.h"

#include <algorithm>
#include <numeric>

#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

bool isDigit( char c ) { return c >= '0' && c <= '9'; }

char lower( char c ) { return c >= 'A' && c <= 'Z' ? static_cast< char >( c - 'A' + 'a' ) : c; }

// Takes the number at the front, without leading zeros.
std::string_view takeNumber( std::string_view& text ) {
   size_t end = 0;
   while ( end < text.size() && isDigit( text[ end ] ) ) {
      ++end;
   }
   std::string_view number = text.substr( 0, end );
   text.remove_prefix( end );
   while ( number.size() > 1 && number.front() == '0' ) {
      number.remove_prefix( 1 );
   }
   return number;
}

// Levenshtein's distance, without regard to case.
size_t distance( std::string_view left, std::string_view right ) {
   std::vector< size_t > row( right.size() + 1 );
   std::iota( row.begin(), row.end(), size_t( 0 ) );
   for ( size_t i = 0; i < left.size(); ++i ) {
      size_t diagonal = row[ 0 ];
      row[ 0 ] = i + 1;
      for ( size_t j = 0; j < right.size(); ++j ) {
         const size_t changed =
               diagonal + ( lower( left[ i ] ) == lower( right[ j ] ) ? 0 : 1 );
         diagonal = row[ j + 1 ];
         row[ j + 1 ] = std::min( { changed, diagonal + 1, row[ j ] + 1 } );
      }
   }
   return row.back();
}

template < typename T >
std::string joinedOf( const std::vector< T >& names, std::string_view separator ) {
   std::string text;
   for ( const T& name : names ) {
      text += text.empty() ? "" : separator;
      text += name;
   }
   return text;
}

} // namespace

bool NaturalLess::operator()( std::string_view left, std::string_view right ) const {
   std::string_view l = left;
   std::string_view r = right;
   while ( !l.empty() && !r.empty() ) {
      if ( isDigit( l.front() ) && isDigit( r.front() ) ) {
         const std::string_view leftNumber = takeNumber( l );
         const std::string_view rightNumber = takeNumber( r );
         if ( leftNumber.size() != rightNumber.size() ) {
            return leftNumber.size() < rightNumber.size();
         }
         if ( leftNumber != rightNumber ) {
            return leftNumber < rightNumber;
         }
      } else if ( l.front() != r.front() ) {
         return l.front() < r.front();
      } else {
         l.remove_prefix( 1 );
         r.remove_prefix( 1 );
      }
   }
   // Equal but for leading zeros, or one is the beginning of the other.
   return l.empty() && r.empty() ? left < right : l.empty();
}

std::string nearName( std::string_view name, const std::vector< std::string_view >& known ) {
   constexpr size_t longest = 64; // names beyond that no one can have meant
   constexpr size_t lettersPerMistake = 4;
   constexpr size_t mostMistakes = 2;
   std::string_view nearest;
   size_t least = mostMistakes + 1;
   for ( std::string_view candidate : name.size() <= longest ? known : decltype( known ){} ) {
      const size_t mistakes = distance( name, candidate );
      if ( mistakes < least &&
            mistakes <= std::max< size_t >( 1, candidate.size() / lettersPerMistake ) ) {
         least = mistakes;
         nearest = candidate;
      }
   }
   return std::string( nearest );
}

std::string suggestion( std::string_view name, const std::vector< std::string_view >& known ) {
   const std::string meant = nearName( name, known );
   return meant.empty() ? "" : "; did you mean " + meant + "?";
}

size_t utf8Length( std::string_view text ) {
   auto at = [ text ]( size_t i ) {
      return i < text.size() ? static_cast< unsigned char >( text[ i ] ) : 0u;
   };
   const unsigned lead = at( 0 );
   const size_t length = lead < 0x80   ? 1
         : lead >= 0xc2 && lead < 0xe0 ? 2
         : lead >= 0xe0 && lead < 0xf0 ? 3
         : lead >= 0xf0 && lead < 0xf5 ? 4
                                       : 0;
   // The second byte tells overlong forms, surrogates and what lies beyond U+10FFFF.
   const unsigned second = at( 1 );
   if ( ( lead == 0xe0 && second < 0xa0 ) || ( lead == 0xed && second > 0x9f ) ||
         ( lead == 0xf0 && second < 0x90 ) || ( lead == 0xf4 && second > 0x8f ) ) {
      return 0;
   }
   for ( size_t i = 1; i < length; ++i ) {
      if ( ( at( i ) & 0xc0 ) != 0x80 ) {
         return 0;
      }
   }
   return length;
}

std::string printable( std::string_view text ) {
   std::string shown;
   for ( size_t i = 0; i < text.size(); ) {
      const size_t length = utf8Length( text.substr( i ) );
      const std::string_view one = text.substr( i, length );
      const bool isControl = length == 1 && ( one[ 0 ] < ' ' || one[ 0 ] == 0x7f );
      const bool isOfC1 = length == 2 && one[ 0 ] == '\xc2' && one[ 1 ] < '\xa0';
      const bool isSeparatorOrTurn = one >= "\u2028" && one <= "\u202e";
      const bool isIsolate = one >= "\u2066" && one <= "\u2069";
      if ( length == 0 || isControl || isOfC1 || isSeparatorOrTurn || isIsolate ) {
         shown += '?';
      } else {
         shown += one;
      }
      i += std::max< size_t >( length, 1 );
   }
   return shown;
}

std::string inQuotes( std::string_view text ) {
   constexpr size_t longest = 64;
   if ( text.size() <= longest ) {
      return "'" + printable( text ) + "'";
   }
   size_t end = 0; // no character is cut
   for ( size_t length = 0; end + length <= longest; ) {
      end += length;
      length = std::max< size_t >( utf8Length( text.substr( end ) ), 1 );
   }
   return "'" + printable( text.substr( 0, end ) ) + "...'";
}

std::string joined( const std::vector< std::string >& names, std::string_view separator ) {
   return joinedOf( names, separator );
}
std::string joined( const std::vector< std::string_view >& names ) {
   return joinedOf( names, ", " );
}

bool isLetterOrDigit( char c ) {
   return isDigit( c ) || ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' );
}

bool sameText( std::string_view left, std::string_view right ) {
   return std::equal( left.begin(), left.end(), right.begin(), right.end(),
         []( char l, char r ) { return lower( l ) == lower( r ); } );
}

} // namespace Agent
