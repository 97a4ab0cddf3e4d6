#include "AgentServices/TcamEntryTable.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace AgentServices {

using Karvel::TcamRequestKey;

TEST( TcamEntryTable, FindsWhatAnOrderedMapFinds ) {
   std::mt19937 random( 7 );
   TcamEntryTable table;
   std::map< TcamRequestKey, Karvel::EntryId > expected;
   for ( Karvel::EntryId id = 1; id < 40'000; ++id ) {
      // Grows and shrinks in turns, so that indexes grow and probe runs break up.
      const bool growing = id / 4'000 % 2 == 0;
      const TcamRequestKey key( KarvelMirror::Mtp( random() % 2 ),
            random() % 2 == 0 ? "acl" : "an acl with a longer name", 0,
            static_cast< uint32_t >( random() % 700 ),
            static_cast< uint32_t >( random() % 2 ) );
      const TcamEntryTable::Key kept = table.keep( key );
      const auto at = expected.find( key );
      const TcamEntry* found = table.find( kept );
      ASSERT_EQ( found != nullptr, at != expected.end() );
      if ( found ) {
         ASSERT_EQ( found->id, at->second );
         ASSERT_EQ( table.find( found->id ), found );
      }
      if ( found && ( !growing || random() % 4 == 0 ) ) {
         table.erase( at->second );
         ASSERT_EQ( table.find( at->second ), nullptr );
         expected.erase( at );
      } else if ( !found && ( growing || random() % 4 == 0 ) ) {
         table.insert( kept, { .id = id } );
         expected.emplace( key, id );
      }
      ASSERT_EQ( table.size(), expected.size() );
   }
   size_t visited = 0;
   table.forEach( [ & ]( const TcamEntry& ) { ++visited; } );
   EXPECT_EQ( visited, expected.size() );
   for ( const auto& [ key, id ] : expected ) {
      ASSERT_EQ( table.find( table.keep( key ) )->id, id );
   }
}

} // namespace AgentServices
