#include <unordered_set>

#include <gtest/gtest.h>

#include "Platform/Karvel/SysPort.h"
#include "Platform/Karvel/TcamServices.h"
#include "Platform/KarvelCentral/ChipInfo.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/KarvelTypes/KarvelPort.h"
#include "Tests/Platform/ValueLaws.h"
#include "Tests/Raised.h"

namespace Sample {

ZOL_RANGE( LevelRange, Sample::Level::value, 1, 0x0f, 15 );
using Level = Zol::RangeChecked< LevelRange >;
using Slot = Zol::Id< struct SlotTag, uint8_t >;

class Paint : public Zol::Value {
 public:
   ZOL_NESTED_ENUM( Color, uint8_t, ( red, 1 ), ( green, 4 ), ( blue, 200 ) );

   ZOL_VALUE( Sample, Paint, ( VAL, Color, color, red() ), ( VAL, int8_t, shade, -3 ) );
};

class Everything : public Zol::Value {
   ZOL_VALUE( Sample, Everything, ( VAL, bool, flag, true ), ( VAL, uint64_t, number ),
         ( VAL, Zol::String, name ), ( VAL, Level, level ), ( VAL, Slot, slot ),
         ( VAL, Paint, paint ), ( VAL, Zol::String, last ) );
};

class Sets : public Zol::Value {
   ZOL_VALUE( Sample, Sets, ( VAL, uint32_t, number ), ( SET, Zol::String, name ),
         ( MAP, Slot, Paint, paint ) );
};

class Wrapper : public Zol::Value {
   ZOL_VALUE( Sample, Wrapper, ( VAL, Sets, sets ) );
};

class Empty : public Zol::Value {
   ZOL_VALUE( Sample, Empty );
};

} // namespace Sample

using PlatformValues = ::testing::Types< Sample::Paint, Sample::Everything, Sample::Sets,
      Sample::Wrapper, Sample::Empty, Karvel::SysPort, Karvel::TcamRequestKey,
      KarvelCentral::ChipAttributes, KarvelMirror::AclKey, KarvelMirror::SourcePort,
      KarvelTypes::KarvelPort >;
INSTANTIATE_TYPED_TEST_SUITE_P( Platform, ValueLaws, PlatformValues );

TEST( ZolValue, PrintsInTheOneTemplate ) {
   Sample::Everything value;
   value.nameIs( "a b" );
   value.numberIs( std::numeric_limits< uint64_t >::max() );
   EXPECT_EQ( Zol::toString( value ),
         "Value('Sample::Everything', ** {'flag': true, 'number': 18446744073709551615, "
         "'name': a b, 'level': 1, 'slot': 0, "
         "'paint': Value('Sample::Paint', ** {'color': red, 'shade': -3}), 'last': })" );
   value.nameDel();
   value.numberDel();
   EXPECT_EQ( value, Sample::Everything() );
   Sample::Sets sets;
   sets.nameIs( "z" );
   sets.nameIs( "b" );
   sets.paintIs( Sample::Slot( 7 ), {} );
   EXPECT_EQ( Zol::toString( sets ),
         "Value('Sample::Sets', ** {'number': 0, 'name': {b, z}, "
         "'paint': {7: Value('Sample::Paint', ** {'color': red, 'shade': -3})}})" );
}

TEST( ZolValue, CollectionsKeepOneOfEachInOrder ) {
   Sample::Sets sets;
   for ( const char* name : { "m", "z", "a", "m", "k", "z" } ) {
      sets.nameIs( name );
   }
   EXPECT_EQ( Zol::toString( sets.name() ), "{a, k, m, z}" );
   EXPECT_EQ( sets.names(), 4u );
   sets.nameDel( "absent" );
   sets.nameDel( "a" );
   sets.nameDel( "z" );
   EXPECT_EQ( Zol::toString( sets.name() ), "{k, m}" );
   EXPECT_TRUE( sets.nameHas( "k" ) && !sets.nameHas( "a" ) && !sets.nameHas( "zz" ) );

   Sample::Paint green;
   green.colorIs( Sample::Paint::green() );
   sets.paintIs( Sample::Slot( 1 ), green );
   EXPECT_EQ( sets.paint( Sample::Slot( 1 ) ), green );
   EXPECT_EQ( sets.paint( Sample::Slot( 2 ) ), Sample::Paint() );
   EXPECT_EQ( sets.paints(), 1u ); // asking made none
   sets.nameDelAll();
   sets.paintDelAll();
   EXPECT_EQ( sets, Sample::Sets() );
}

TEST( ZolValue, HashesOfNeighboursDiffer ) {
   std::unordered_set< size_t > hashes;
   for ( int32_t port = 0; port < 1000; ++port ) {
      hashes.insert( Zol::hash( Karvel::SysPort( port % 10, port ) ) );
   }
   EXPECT_EQ( hashes.size(), 1000u );
}

TEST( ZolValue, RefusesTextOfAnotherKind ) {
   const std::string good = Zol::toString( Sample::Everything() );
   EXPECT_NO_THROW( Zol::fromString< Sample::Everything >( good ) );
   using Change = std::pair< std::string_view, std::string_view >;
   for ( const auto& [ from, to ] :
         std::initializer_list< Change >{ { "Sample::Everything", "Sample::Everythings" },
               { "'flag': true", "'flag': 1" }, { "'flag': true", "'flag': True" },
               { "'flag'", "'flog'" }, { "'number': 0", "'number': -1" },
               { "'number': 0", "'number': 18446744073709551616" },
               { "'number': 0", "'number': 0x1" }, { "'number': 0, ", "" },
               { "'level': 1", "'level': 0" }, { "'level': 1", "'level': 16" },
               { "'slot': 0", "'slot': 256" }, { "'slot': 0", "'slot': " },
               { "'color': red", "'color': Red" }, { "'color': red", "'color': 1" },
               { "'shade': -3", "'shade': --3" }, { "'shade': -3", "'shade': 128" } } ) {
      std::string bad = good;
      bad.replace( bad.find( from ), from.size(), to );
      EXPECT_THROW( Zol::fromString< Sample::Everything >( bad ), Zol::ParseError ) << bad;
   }
   EXPECT_EQ( raised< Zol::ParseError >( [] { Zol::fromString< uint8_t >( "256" ); } ),
         "expected a number in range before '256'" );
   EXPECT_THROW( Zol::fromString< double >( "1.5s" ), Zol::ParseError );
   EXPECT_EQ( Zol::fromString< double >( "-1.5" ), -1.5 );
}

TEST( ZolEnum, IsFoundByNumberNameAndText ) {
   using Color = Sample::Paint::Color;
   EXPECT_EQ( Zol::instanceByNumber< Color >( 200 ), Color::blue );
   EXPECT_EQ( Zol::instanceByName< Color >( "green" ), Sample::Paint::green() );
   // 456 is 200 in eight bits: a number is compared before it is narrowed.
   for ( int64_t number : { 0, 2, 456, -56 } ) {
      EXPECT_FALSE( Zol::instanceByNumber< Color >( number ) ) << number;
   }
   for ( const char* name : { "", "gree", "greens", "Green", "4" } ) {
      EXPECT_FALSE( Zol::instanceByName< Color >( name ) ) << name;
      EXPECT_THROW( Zol::fromString< Color >( name ), Zol::ParseError ) << name;
   }
   EXPECT_EQ( Zol::toString( static_cast< Color >( 5 ) ), "5" );
   EXPECT_EQ( Zol::fromString< Acl::AclType >( "ipv6" ), Acl::AclType::ipv6 );
   EXPECT_EQ( raised< Zol::ParseError >( [] { Zol::fromString< Color >( "pink" ); } ),
         "expected one of red green blue before 'pink'" );
}

TEST( ZolRange, RefusesWhatIsOutsideAndNamesTheBounds ) {
   EXPECT_EQ( static_cast< uint32_t >( Sample::Level() ), 1u );
   EXPECT_EQ( static_cast< uint32_t >( Sample::Level( 15 ) ), 15u );
   for ( int64_t value :
         { int64_t{ 0 }, int64_t{ 16 }, int64_t{ -1 }, int64_t{ 1 } << 32 | 5 } ) {
      EXPECT_EQ( raised< Zol::RangeError >( [ & ] { Sample::Level level( value ); } ),
            "Sample::Level::value < 1 or > 0x0f not allowed" )
            << value;
   }
   for ( const char* text : { "", "0", "16", "-1", "1 ", "99999999999999999999999" } ) {
      EXPECT_FALSE( Sample::Level::fromString( text ) ) << text;
   }
}
