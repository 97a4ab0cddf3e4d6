#include "Platform/Plix/Ip6Addr.h"

#include <algorithm>
#include <charconv>
#include <ostream>

#include "Platform/Plix/IpAddr.h"

namespace Plix {

namespace {

// The address as its eight groups of 16 bits.
using Groups = std::array< uint16_t, 8 >;

Groups toGroups( const std::array< uint8_t, 16 >& bytes ) {
   Groups groups{};
   for ( size_t i = 0; i < groups.size(); ++i ) {
      groups[ i ] = static_cast< uint16_t >( bytes[ i * 2 ] << 8 | bytes[ i * 2 + 1 ] );
   }
   return groups;
}

Ip6Addr toAddr( const Groups& groups ) {
   std::array< uint8_t, 16 > bytes{};
   for ( size_t i = 0; i < groups.size(); ++i ) {
      bytes[ i * 2 ] = static_cast< uint8_t >( groups[ i ] >> 8 );
      bytes[ i * 2 + 1 ] = static_cast< uint8_t >( groups[ i ] & 0xff );
   }
   return Ip6Addr( bytes );
}

// One to four hexadecimal digits.
std::optional< uint16_t > parseGroup( std::string_view text ) {
   uint16_t group = 0;
   const char* end = text.data() + text.size();
   const auto parsed = std::from_chars( text.data(), end, group, 16 );
   if ( text.size() > 4 || parsed.ec != std::errc() || parsed.ptr != end ) {
      return {};
   }
   return group;
}

// The longest run of two or more zero groups, the first of several; empty if there is none.
struct Run {
   size_t begin = 0;
   size_t size = 0;
};

Run longestZeroRun( const Groups& groups ) {
   Run longest;
   for ( size_t begin = 0; begin < groups.size(); ++begin ) {
      size_t end = begin;
      while ( end < groups.size() && groups[ end ] == 0 ) {
         ++end;
      }
      if ( end - begin > std::max( longest.size, size_t( 1 ) ) ) {
         longest = { begin, end - begin };
      }
   }
   return longest;
}

} // namespace

std::optional< Ip6Addr > Ip6Addr::fromString( std::string_view text ) {
   Groups groups{};
   size_t count = 0;
   std::optional< size_t > gap; // where "::" stands for zeros
   if ( text.starts_with( "::" ) ) {
      gap = 0;
      text.remove_prefix( 2 );
   }
   while ( !text.empty() ) {
      const std::string_view part = text.substr( 0, text.find( ':' ) );
      const bool isLast = part.size() == text.size();
      if ( auto v4 = IpAddr::fromString( part ); v4 && isLast && count <= 6 ) {
         groups[ count++ ] = static_cast< uint16_t >( v4->value() >> 16 );
         groups[ count++ ] = static_cast< uint16_t >( v4->value() & 0xffff );
         break;
      }
      const auto group = parseGroup( part );
      if ( !group || count == groups.size() ) {
         return {};
      }
      groups[ count++ ] = *group;
      if ( isLast ) {
         break;
      }
      text.remove_prefix( part.size() + 1 );
      if ( text.starts_with( ':' ) && !gap ) {
         gap = count;
         text.remove_prefix( 1 );
      } else if ( text.empty() ) {
         return {}; // a lone colon at the end
      }
   }
   // "::" stands for at least one group.
   if ( gap ? count >= groups.size() : count != groups.size() ) {
      return {};
   }
   if ( gap ) {
      const auto from = groups.begin() + static_cast< ptrdiff_t >( *gap );
      std::rotate( from, groups.begin() + static_cast< ptrdiff_t >( count ), groups.end() );
   }
   return toAddr( groups );
}

std::string Ip6Addr::toString() const {
   const Groups groups = toGroups( bytes_ );
   const Run zeros = longestZeroRun( groups );
   // Of the addresses that RFC 5952 section 5 writes in mixed notation, only IPv4-mapped ones
   // can be told without knowing the network.
   if ( zeros.begin == 0 && zeros.size == 5 && groups[ 5 ] == 0xffff ) {
      return "::ffff:" + IpAddr( uint32_t( groups[ 6 ] ) << 16 | groups[ 7 ] ).toString();
   }
   std::string text;
   for ( size_t i = 0; i < groups.size(); ++i ) {
      if ( zeros.size != 0 && i == zeros.begin ) {
         text += "::";
         i += zeros.size - 1;
         continue;
      }
      if ( !text.empty() && text.back() != ':' ) {
         text += ':';
      }
      char digits[ 4 ];
      text.append( digits, std::to_chars( digits, digits + 4, groups[ i ], 16 ).ptr );
   }
   return text;
}

std::ostream& operator<<( std::ostream& out, const Ip6Addr& addr ) {
   return out << addr.toString();
}

} // namespace Plix
