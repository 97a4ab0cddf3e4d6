// What a field group's lookup costs beside a plain scan of its rules, and what programming
// an entry costs as the table grows. Both lookups of a size must name the same winners, or
// the program stops.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Fields/FieldRules.h"
#include "ChipModel/Lookup/LookupEngine.h"
#include "ChipModel/Profile.h"
#include "Platform/Zol/Assert.h"

namespace {

using namespace ChipModel;

// What the rules have in common: exact ones name a port or a VLAN each; masked ones give a
// range of ports or VLANs, so that many rules come close to matching a frame.
enum Style { exact, masked };

class Random {
 public:
   uint32_t operator()( uint32_t below ) {
      return static_cast< uint32_t >( engine_() ) % below;
   }

 private:
   std::mt19937 engine_{ 1 };
};

struct ScanRule {
   LookupRule rule;
   int slot = 0;
};

bool accepts( const LookupRule& rule, const LookupKey& key ) {
   return std::all_of( rule.bytes.begin(), rule.bytes.end(), [ & ]( const ByteTerm& term ) {
      return ( ( key.bytes[ term.column ] ^ term.value ) & term.mask ) == 0;
   } ) && std::all_of( rule.sets.begin(), rule.sets.end(), [ & ]( const SetTerm& term ) {
      uint8_t byte = key.bytes[ term.column ];
      return ( term.accepted[ byte / 64U ] >> byte % 64U & 1 ) != 0;
   } );
}

struct Workload {
   LookupEngine engine;
   std::vector< ScanRule > rules; // best first
   std::vector< LookupKey > keys;
   uint64_t checksum = 0; // of the winners, by both ways

   Workload( int count, Style style );
   int scan( const LookupKey& key ) const {
      for ( const ScanRule& rule : rules ) {
         if ( accepts( rule.rule, key ) ) {
            return rule.slot;
         }
      }
      return -1;
   }
   static const Workload& of( const benchmark::State& state ) {
      static std::map< std::pair< int64_t, int64_t >, Workload > all;
      auto id = std::pair( state.range( 0 ), state.range( 1 ) );
      return all
            .try_emplace(
                  id, static_cast< int >( id.first ), static_cast< Style >( id.second ) )
            .first->second;
   }
};

constexpr int keyCount = 4096;

uint8_t byteOf( uint32_t value ) { return static_cast< uint8_t >( value ); }

ByteTerm byteTerm( KeyField field, int byte, uint32_t value, uint32_t mask = 0xff ) {
   return { byteOf( static_cast< uint32_t >( field.offset + byte ) ), byteOf( value ),
      byteOf( mask ) };
}

LookupRule randomRule( Style style, Random& random ) {
   LookupRule rule;
   uint32_t vid = random( 4094 ) + 1;
   uint32_t port = random( 128 );
   SetTerm inPorts{ byteOf( Key::inPort.offset ), {} };
   uint32_t ports = style == exact ? 1 : 1 + random( 32 );
   for ( uint32_t p = port; p < port + ports; ++p ) {
      inPorts.accepted[ p % 128 / 64 ] |= uint64_t{ 1 } << p % 64;
   }
   rule.sets.push_back( inPorts );
   uint32_t loose = style == exact ? 0 : ( 1U << random( 9 ) ) - 1;
   rule.bytes = { byteTerm( Key::valid, 0, validOuterVlan, validOuterVlan ),
      byteTerm( Key::outerVlanId, 0, vid >> 8, 0x0f ),
      byteTerm( Key::outerVlanId, 1, vid, ~loose ) };
   if ( random( 2 ) != 0 ) {
      rule.bytes.push_back( byteTerm( Key::dstPort, 0, random( 128 ) ) );
   }
   return rule;
}

// Half of the keys are drawn from a rule and match at least that one.
LookupKey randomKey( const std::vector< ScanRule >& rules, Random& random ) {
   LookupKey key;
   for ( uint16_t i = 0; i < Key::size; ++i ) {
      key.bytes[ i ] = byteOf( random( 128 ) );
   }
   key.set( Key::outerVlanId, random( 4094 ) + 1 );
   key.setValid( validOuterVlan );
   if ( random( 2 ) != 0 ) {
      const LookupRule& rule = rules[ random( static_cast< uint32_t >( rules.size() ) ) ].rule;
      for ( const ByteTerm& term : rule.bytes ) {
         key.bytes[ term.column ] = byteOf( ( term.value & term.mask ) |
               ( key.bytes[ term.column ] & ~unsigned{ term.mask } ) );
      }
      for ( uint8_t port = 0; port < 128; ++port ) {
         if ( ( rule.sets[ 0 ].accepted[ port / 64U ] >> port % 64U & 1 ) != 0 ) {
            key.bytes[ Key::inPort.offset ] = port;
         }
      }
   }
   return key;
}

Workload::Workload( int count, Style style ) {
   Random random;
   for ( int id = 0; id < count; ++id ) {
      LookupRule rule = randomRule( style, random );
      int slot = engine.insert( rule, 0, id );
      rules.push_back( { rule, slot } );
   }
   uint64_t scanned = 0;
   for ( int i = 0; i < keyCount; ++i ) {
      keys.push_back( randomKey( rules, random ) );
      scanned = scanned * 31 + static_cast< uint64_t >( scan( keys.back() ) );
      checksum = checksum * 31 + static_cast< uint64_t >( engine.find( keys.back() ) );
   }
   ZOL_ASSERT( checksum == scanned );
}

void engineLookup( benchmark::State& state ) {
   const Workload& work = Workload::of( state );
   size_t i = 0;
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( work.engine.find( work.keys[ i++ % keyCount ] ) );
   }
}

void scanLookup( benchmark::State& state ) {
   const Workload& work = Workload::of( state );
   size_t i = 0;
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( work.scan( work.keys[ i++ % keyCount ] ) );
   }
}

void sizes( benchmark::internal::Benchmark* bench ) {
   bench->ArgNames( { "rules", "masked" } );
   for ( Style style : { exact, masked } ) {
      for ( int count : { 128, 1000, 4000, 16000, 60000 } ) {
         bench->Args( { count, style } );
      }
   }
}

BENCHMARK( engineLookup )->Apply( sizes );
BENCHMARK( scanLookup )->Apply( sizes );

// Everything that the agent does to put an entry into a new table; time per entry. The larger
// tables pay for page faults, since the allocator gives their memory back between iterations.
void programEntries( benchmark::State& state ) {
   int count = static_cast< int >( state.range( 0 ) );
   int failed = 0;
   for ( auto _ : state ) {
      FieldProcessor processor( chipProfiles().front() );
      processor.capacityIs( Shim::FieldStage::ingress, count );
      int group = 0;
      failed |= processor.groupCreate( Shim::FieldStage::ingress,
            stageQualifiers( chipProfiles().front(), Shim::FieldStage::ingress ), 0, &group );
      for ( int i = 0; i < count; ++i ) {
         int entry = 0;
         uint32_t number = static_cast< uint32_t >( i );
         Shim::PortBitmap ports;
         ports.set( number % 128 );
         failed |= processor.entryCreate( group, &entry );
         failed |= processor.entryNameSet( entry, "session" );
         failed |= processor.qualifyInPorts( entry, ports, Shim::PortBitmap().set() );
         failed |= processor.qualify(
               entry, Shim::Qualifier::outerVlanId, { { number / 128 + 1, 0xfff } } );
         failed |=
               processor.actionAdd( entry, Shim::FieldAction::mirrorIngress, 0, number % 4 );
         failed |= processor.entryInstall( entry );
      }
   }
   ZOL_ASSERT( failed == 0 );
   state.counters[ "perEntry" ] = benchmark::Counter( static_cast< double >( count ),
         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert );
   state.SetComplexityN( count );
}
BENCHMARK( programEntries )->Arg( 1000 )->Arg( 4000 )->Arg( 16000 )->Arg( 60000 )->Complexity();

} // namespace
