#pragma once

// The laws that every value type keeps, as one typed test. The values to try are made from
// the type's own description: the default one, one that differs from it in each attribute,
// and one that differs in all.
//
//    using MyValues = ::testing::Types< SysPort, KarvelPort >;
//    INSTANTIATE_TYPED_TEST_SUITE_P( Mine, ValueLaws, MyValues );

#include <gtest/gtest.h>

#include "Platform/Zol/Enum.h"
#include "Platform/Zol/Value.h"

namespace ValueLawsDetail {

template < typename T >
void vary( T& value );

template < typename T >
void vary( Zol::Set< T >& set ) {
   T element{};
   vary( element );
   set.insert( element );
}

template < typename K, typename V >
void vary( Zol::Map< K, V >& map ) {
   K key{};
   vary( key );
   map.base()[ key ];
}

// Another value of the same type.
template < typename T >
void vary( T& value ) {
   if constexpr ( std::same_as< T, bool > ) {
      value = !value;
   } else if constexpr ( Zol::EnumType< T > ) {
      auto enumerators = zolEnumerators( value );
      bool isFirst = static_cast< int64_t >( value ) == enumerators[ 0 ].number;
      value = static_cast< T >( enumerators[ isFirst ? 1 : 0 ].number );
   } else if constexpr ( std::integral< T > ) {
      value = static_cast< T >( value + 1 );
   } else if constexpr ( Zol::ValueType< T > ) {
      Zol::allMembers< T >(
            [ & ]( const auto&... member ) { ( vary( member.of( value ) ), ... ); } );
   } else if constexpr ( requires { T::fromString( "" ); } ) {
      for ( const char* text : { "1", "2", "0.0.0.1", "::1", "02:00:00:00:00:01" } ) {
         const auto other = T::fromString( text );
         if ( other && !( *other == value ) ) {
            value = *other;
            return;
         }
      }
      ADD_FAILURE() << "no other value than " << Zol::toString( value );
   } else {
      value += "x, {'y': 1} ";
   }
}

template < typename T >
std::vector< T > samples() {
   std::vector< T > result( 1 );
   Zol::allMembers< T >( [ & ]( const auto&... member ) {
      ( ( result.emplace_back(), vary( member.of( result.back() ) ) ), ... );
      if ( sizeof...( member ) > 1 ) {
         result.emplace_back();
         ( vary( member.of( result.back() ) ), ... );
      }
   } );
   return result;
}

} // namespace ValueLawsDetail

template < typename T >
class ValueLaws : public ::testing::Test {
 protected:
   const std::vector< T > samples_ = ValueLawsDetail::samples< T >();
};

TYPED_TEST_SUITE_P( ValueLaws );

TYPED_TEST_P( ValueLaws, EqualityOrderHashAndTextAgree ) {
   const auto& samples = this->samples_;
   for ( size_t i = 0; i < samples.size(); ++i ) {
      for ( size_t j = 0; j < samples.size(); ++j ) {
         const TypeParam left = samples[ i ];
         const TypeParam right = samples[ j ];
         SCOPED_TRACE( Zol::toString( left ) + " and " + Zol::toString( right ) );
         EXPECT_EQ( left == right, i == j );
         EXPECT_EQ( left != right, i != j );
         EXPECT_EQ( ( left < right ) + ( right < left ), i == j ? 0 : 1 );
         EXPECT_EQ( Zol::toString( left ) == Zol::toString( right ), i == j );
         if ( i == j ) {
            EXPECT_EQ( std::hash< TypeParam >()( left ), std::hash< TypeParam >()( right ) );
         }
         for ( const TypeParam& between : samples ) {
            EXPECT_TRUE( !( left < between && between < right ) || left < right );
         }
      }
   }
}

TYPED_TEST_P( ValueLaws, TextIsReadBackOrRefused ) {
   for ( const TypeParam& value : this->samples_ ) {
      const std::string text = Zol::toString( value );
      SCOPED_TRACE( text );
      if constexpr ( Zol::isParseable< TypeParam >() ) {
         EXPECT_EQ( Zol::fromString< TypeParam >( text ), value );
         EXPECT_THROW( Zol::fromString< TypeParam >( text + " " ), Zol::ParseError );
         for ( size_t length = 0; length < text.size(); ++length ) {
            EXPECT_THROW(
                  Zol::fromString< TypeParam >( text.substr( 0, length ) ), Zol::ParseError );
         }
      } else {
         EXPECT_DEATH( Zol::fromString< TypeParam >( text ), "No String constructor for " );
         break;
      }
   }
}

REGISTER_TYPED_TEST_SUITE_P(
      ValueLaws, EqualityOrderHashAndTextAgree, TextIsReadBackOrRefused );
