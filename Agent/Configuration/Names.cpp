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

std::string nearestName( std::string_view name, const std::vector< std::string_view >& known ) {
   ZOL_ASSERT( !known.empty() );
   // Names that no one can have meant are not worth a long comparison.
   const std::string_view start = name.substr( 0, 64 );
   return std::string( *std::min_element(
         known.begin(), known.end(), [ start ]( std::string_view a, std::string_view b ) {
            return distance( start, a ) < distance( start, b );
         } ) );
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
