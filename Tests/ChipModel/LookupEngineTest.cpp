#include "ChipModel/Lookup/LookupEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace {

using namespace ChipModel;

bool accepts( const LookupRule& rule, const LookupKey& key ) {
   auto byte = [ & ]( uint8_t column ) { return unsigned{ key.bytes[ column ] }; };
   return std::all_of( rule.bytes.begin(), rule.bytes.end(), [ & ]( const ByteTerm& term ) {
      return ( byte( term.column ) & term.mask ) == ( term.value & term.mask );
   } ) && std::all_of( rule.sets.begin(), rule.sets.end(), [ & ]( const SetTerm& term ) {
      unsigned value = byte( term.column );
      return ( term.accepted[ value / 64 ] >> value % 64 & 1 ) != 0;
   } );
}

enum class Priorities { equal, rising, falling, random };

// The engine beside a plain list of the same rules.
class Pair {
 public:
   explicit Pair( Priorities priorities, uint32_t seed )
         : priorities_( priorities ), random_( seed ) {}

   size_t size() const { return rules_.size(); }
   uint32_t below( uint32_t bound ) { return static_cast< uint32_t >( random_() ) % bound; }

   void insert() {
      Rule rule{ randomRule(), priority(), nextId_++, 0 };
      rule.slot = engine_.insert( rule.rule, rule.priority, rule.id );
      rules_.push_back( rule );
   }
   void removeAt( size_t index ) {
      engine_.remove( rules_[ index ].slot, rules_[ index ].rule );
      rules_.erase( rules_.begin() + static_cast< ptrdiff_t >( index ) );
   }
   void removeAny() { removeAt( below( static_cast< uint32_t >( size() ) ) ); }

   // Looks up frames that match some rule, miss one by a single bit, and any frames.
   void compare( int times ) {
      ASSERT_EQ( static_cast< size_t >( engine_.rules() ), size() );
      for ( int i = 0; i < times; ++i ) {
         LookupKey key = randomKey();
         ASSERT_EQ( engine_.find( key ), scan( key ) );
         if ( size() != 0 ) {
            satisfy( rules_[ below( static_cast< uint32_t >( size() ) ) ].rule, key );
            ASSERT_EQ( engine_.find( key ), scan( key ) );
            key.bytes[ columns_[ below( 7 ) ] ] ^= static_cast< uint8_t >( 1 << below( 8 ) );
            ASSERT_EQ( engine_.find( key ), scan( key ) );
         }
      }
   }

 private:
   struct Rule {
      LookupRule rule;
      int priority;
      int id;
      int slot;
   };

   static constexpr uint8_t columns_[] = { 0, 1, 2, 9, 63, 64, 127 };

   uint8_t randomByte() {
      // Few distinct values, so that rules overlap, and now and then any.
      return static_cast< uint8_t >( below( 8 ) == 0 ? below( 256 ) : below( 6 ) );
   }
   LookupRule randomRule() {
      LookupRule rule;
      for ( uint8_t column : columns_ ) {
         // Nearly all rules care about the first column, so that whole words of slots do.
         bool always = column == columns_[ 0 ] && below( 64 ) != 0;
         switch ( below( always ? 5 : 8 ) ) {
         case 0:
            rule.bytes.push_back(
                  { column, randomByte(), static_cast< uint8_t >( below( 256 ) ) } );
            break;
         case 1:
         case 2:
            rule.bytes.push_back( { column, randomByte(), 0xff } );
            break;
         case 3:
            rule.bytes.push_back( { column, randomByte(), 0x07 } );
            break;
         case 4: {
            SetTerm term{ column, {} }; // empty at times: matches nothing
            for ( uint32_t values = below( 40 ); values > 0; --values ) {
               uint32_t value = randomByte();
               term.accepted[ value / 64 ] |= uint64_t{ 1 } << value % 64;
            }
            rule.sets.push_back( term );
            break;
         }
         default:
            break;
         }
      }
      return rule;
   }
   LookupKey randomKey() {
      LookupKey key;
      for ( uint8_t& byte : key.bytes ) {
         byte = randomByte();
      }
      return key;
   }
   void satisfy( const LookupRule& rule, LookupKey& key ) {
      for ( const ByteTerm& term : rule.bytes ) {
         uint8_t& byte = key.bytes[ term.column ];
         byte = static_cast< uint8_t >( ( byte & ~term.mask ) | ( term.value & term.mask ) );
      }
      for ( const SetTerm& term : rule.sets ) {
         uint8_t& byte = key.bytes[ term.column ];
         for ( int i = 0; i < 256 && !accepts( { {}, { term } }, key ); ++i ) {
            ++byte;
         }
      }
   }
   int priority() {
      using Limits = std::numeric_limits< int >;
      const int random[] = { Limits::min(), -1, 0, 1, Limits::max() };
      const int each[] = { 5, nextId_, -nextId_, random[ below( 5 ) ] };
      return each[ static_cast< size_t >( priorities_ ) ];
   }
   int scan( const LookupKey& key ) const {
      const Rule* best = nullptr;
      for ( const Rule& rule : rules_ ) {
         bool better = best == nullptr || rule.priority > best->priority ||
               ( rule.priority == best->priority && rule.id < best->id );
         if ( better && accepts( rule.rule, key ) ) {
            best = &rule;
         }
      }
      return best == nullptr ? -1 : best->slot;
   }

   Priorities priorities_;
   std::mt19937 random_;
   LookupEngine engine_;
   std::vector< Rule > rules_;
   int nextId_ = 0;
};

class LookupEngineOrder : public testing::TestWithParam< Priorities > {};

INSTANTIATE_TEST_SUITE_P( Priorities, LookupEngineOrder,
      testing::Values(
            Priorities::equal, Priorities::rising, Priorities::falling, Priorities::random ) );

TEST_P( LookupEngineOrder, AgreesWithAPlainScanThroughGrowthAndChurn ) {
   Pair pair( GetParam(), 7 );
   // Several doublings and more than one word of summary.
   for ( size_t target : { 0U, 1U, 3U, 60U, 600U, 1500U, 4700U } ) {
      while ( pair.size() < target ) {
         pair.insert();
      }
      pair.compare( 60 );
   }
   for ( int i = 0; i < 3000; ++i ) { // rules come and go, slots are used again
      pair.below( 3 ) == 0 ? pair.insert() : pair.removeAny();
      if ( i % 100 == 0 ) {
         pair.compare( 3 );
      }
   }
   while ( pair.size() > 0 ) { // the oldest first: whole words run empty
      pair.removeAt( 0 );
      if ( pair.size() % 200 == 0 ) {
         pair.compare( 3 );
      }
   }
   pair.compare( 3 );
   pair.insert();
   pair.compare( 20 );
}

TEST_P( LookupEngineOrder, AgreesWithAPlainScanWhenNearlyEmpty ) {
   // Columns come into use, widen and fall out of use all the time.
   for ( uint32_t seed = 0; seed < 20; ++seed ) {
      Pair pair( GetParam(), seed );
      for ( int i = 0; i < 200; ++i ) {
         bool add = pair.size() == 0 || ( pair.size() < 5 && pair.below( 2 ) == 0 );
         add ? pair.insert() : pair.removeAny();
         pair.compare( 2 );
      }
   }
}

TEST( LookupEngineTest, RemovingAnotherRuleThanTheInsertedOneIsFatal ) {
   LookupEngine engine;
   LookupRule first{ { { 1, 2, 0xff } }, {} };
   LookupRule second{ { { 2, 2, 0xff } }, {} };
   int slot = engine.insert( first, 0, 0 );
   EXPECT_DEATH( engine.remove( slot, second ), "assertion failed" );
   engine.remove( slot, first );
   EXPECT_DEATH( engine.remove( slot, first ), "assertion failed" );
   EXPECT_DEATH( engine.insert( { { { 1, 2, 0xff }, { 1, 3, 0xff } }, {} }, 0, 0 ),
         "one term per column" );
}

} // namespace
