// A lookup in a table of access list rules: the chip model's engine beside a plain scan in
// order of priority and, where the Data Plane Development Kit is installed (pkg-config
// libdpdk), beside the classifier of its library librte_acl, with each of its methods that
// this processor has. All must name the same first match for each packet, or the program
// stops.
//
//    acl-lookup-bench [ROUNDS]
//
// All ways to look up get the same packets, in bursts. The keys of a burst are written just
// before its lookups, as a parser does, and so are in the cache; only the lookups are timed.
// The ways take turns, and the best round of each burst counts, so that the times of one run
// can be compared even on a machine that others use, too. librte_acl classifies a burst by one
// call and knows ranges. The engine looks up packet by packet, as the packet path does, and
// gets a range as the prefixes that cover it, like any table of values and masks; its entries
// are inserted in no particular order.

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "Benchmarks/AclTrace.h"
#include "ChipModel/Lookup/LookupEngine.h"

#ifdef KARVEL_HAVE_RTE_ACL
#include <rte_acl.h>
#include <rte_eal.h>
#include <rte_errno.h>
#endif

namespace {

using namespace Acl;
using namespace ChipModel;
using Clock = std::chrono::steady_clock;

constexpr size_t burst = 64;
constexpr size_t packetCount = 1024 * burst;

// A way to look packets up: takes a burst, then gives the index of the first rule that matches
// each packet, -1 for none.
struct Way {
   std::string name;
   std::function< void( std::span< const Packet > packets ) > fill;
   std::function< void( std::span< int > winners ) > run;
   std::vector< double > best = std::vector< double >( packetCount / burst, 1e9 ); // ns
   uint64_t checksum = 0;

   double perPacket() const {
      return std::accumulate( best.begin(), best.end(), 0.0 ) / packetCount;
   }
};

Way scanWay( const std::vector< Rule >& rules ) {
   auto packets = std::make_shared< std::span< const Packet > >();
   return { "scan", [ packets ]( std::span< const Packet > given ) { *packets = given; },
      [ packets, &rules ]( std::span< int > winners ) {
         for ( size_t i = 0; i < burst; ++i ) {
            auto found = std::find_if( rules.begin(), rules.end(),
                  [ & ]( const Rule& rule ) { return accepts( rule, ( *packets )[ i ] ); } );
            winners[ i ] =
                  found == rules.end() ? -1 : static_cast< int >( found - rules.begin() );
         }
      } };
}

// The engine, with the rules as entries of values and masks.
class EngineTable {
 public:
   EngineTable( const Family& family, const std::vector< Rule >& rules, Generator& random )
         : place_( family.bytes == 4 ? KeyPlace{ 2, 26, 30 } : KeyPlace{ 4, 34, 50 } ),
           addressBytes_( family.bytes ) {
      for ( size_t i = 0; i < rules.size(); ++i ) {
         expand( rules[ i ], static_cast< int >( i ) );
      }
      random.shuffle( entries_ );
      for ( Entry& entry : entries_ ) {
         insert( entry );
      }
      std::mt19937 noise( 2 );
      for ( LookupKey& key : keys_ ) { // what no rule looks at
         for ( uint8_t& byte : key.bytes ) {
            byte = static_cast< uint8_t >( noise() );
         }
      }
   }

   size_t entries() const { return entries_.size(); }
   Way way() {
      return { "engine", [ this ]( std::span< const Packet > packets ) { fill( packets ); },
         [ this ]( std::span< int > winners ) {
            for ( size_t i = 0; i < burst; ++i ) {
               winners[ i ] =
                     ruleOf_[ static_cast< size_t >( engine_.find( keys_[ i ] ) + 1 ) ];
            }
         } };
   }

   struct Times { // microseconds
      double mean;
      double most;
   };
   // Takes entries out and puts them in again, with a lookup after each.
   Times churn() {
      constexpr size_t changes = 4000;
      double sum = 0;
      double most = 0;
      for ( size_t i = 0; i < changes; ++i ) {
         Entry& entry = entries_[ i * 7919 % entries_.size() ];
         auto start = Clock::now();
         engine_.remove( entry.slot, entry.rule );
         found_ = engine_.find( keys_[ i % burst ] );
         insert( entry );
         found_ = engine_.find( keys_[ i % burst ] );
         std::chrono::duration< double, std::micro > took = Clock::now() - start;
         sum += took.count();
         most = std::max( most, took.count() );
      }
      return { sum / changes, most };
   }

 private:
   static constexpr uint8_t validOffset_ = 0;
   static constexpr uint8_t protocolOffset_ = 15;
   static constexpr uint8_t sourcePortOffset_ = 18;
   static constexpr uint8_t destinationPortOffset_ = 20;

   struct KeyPlace { // of the addresses; the bit says that they are there
      uint8_t validBit;
      uint8_t sourceOffset;
      uint8_t destinationOffset;
   };
   struct Entry {
      LookupRule rule;
      int index;
      int slot;
   };

   void insert( Entry& entry ) {
      entry.slot = engine_.insert( entry.rule, -entry.index, entry.index );
      size_t place = static_cast< size_t >( entry.slot ) + 1;
      ruleOf_.resize( std::max( ruleOf_.size(), place + 1 ) );
      ruleOf_[ place ] = entry.index;
   }
   static void addPrefix( LookupRule& rule, uint8_t offset, const Prefix& prefix ) {
      for ( int i = 0; i * 8 < prefix.length; ++i ) {
         int kept = std::min( prefix.length - i * 8, 8 );
         rule.bytes.push_back( { static_cast< uint8_t >( offset + i ),
               prefix.address[ static_cast< size_t >( i ) ],
               static_cast< uint8_t >( 0xff00 >> kept & 0xff ) } );
      }
   }
   static std::vector< Prefix > prefixesOf( const Range& range ) {
      std::vector< Prefix > result;
      for ( unsigned low = range.low; low <= range.high; ) {
         unsigned size = low == 0 ? 0x10000 : low & ( ~low + 1 );
         while ( low + size - 1 > range.high ) {
            size /= 2;
         }
         Prefix prefix;
         prefix.address[ 0 ] = static_cast< uint8_t >( low >> 8 );
         prefix.address[ 1 ] = static_cast< uint8_t >( low );
         prefix.length = 16 - std::countr_zero( size );
         result.push_back( prefix );
         low += size;
      }
      return result;
   }
   void expand( const Rule& acl, int index ) {
      for ( const Prefix& source : prefixesOf( acl.sourcePort ) ) {
         for ( const Prefix& destination : prefixesOf( acl.destinationPort ) ) {
            LookupRule rule;
            rule.bytes.push_back( { validOffset_, place_.validBit, place_.validBit } );
            if ( acl.protocol >= 0 ) {
               rule.bytes.push_back(
                     { protocolOffset_, static_cast< uint8_t >( acl.protocol ), 0xff } );
            }
            addPrefix( rule, sourcePortOffset_, source );
            addPrefix( rule, destinationPortOffset_, destination );
            addPrefix( rule, place_.sourceOffset, acl.source );
            addPrefix( rule, place_.destinationOffset, acl.destination );
            entries_.push_back( { rule, index, 0 } );
         }
      }
   }
   void fill( std::span< const Packet > packets ) {
      for ( size_t i = 0; i < burst; ++i ) {
         const Packet& packet = packets[ i ];
         LookupKey& key = keys_[ i ];
         auto put = [ & ]( uint8_t offset, uint16_t port ) {
            key.bytes[ offset ] = static_cast< uint8_t >( port >> 8 );
            key.bytes[ offset + 1U ] = static_cast< uint8_t >( port );
         };
         key.bytes[ validOffset_ ] |= place_.validBit;
         key.bytes[ protocolOffset_ ] = packet.protocol;
         put( sourcePortOffset_, packet.sourcePort );
         put( destinationPortOffset_, packet.destinationPort );
         std::memcpy( &key.bytes[ place_.sourceOffset ], packet.source.data(), addressBytes_ );
         std::memcpy( &key.bytes[ place_.destinationOffset ], packet.destination.data(),
               addressBytes_ );
      }
   }

   KeyPlace place_;
   size_t addressBytes_;
   LookupEngine engine_;
   std::vector< Entry > entries_;
   std::vector< int > ruleOf_{ -1 }; // by slot + 1: -1 for no slot
   std::array< LookupKey, burst > keys_;
   volatile int found_ = 0; // keeps the compiler from leaving the lookups out
};

#ifdef KARVEL_HAVE_RTE_ACL

[[noreturn]] void fail( const char* what ) {
   std::fprintf( stderr, "%s: %s\n", what, rte_strerror( rte_errno ) );
   std::exit( 1 );
}

// The classifier of librte_acl, with the rules as they are: it knows ranges.
class RteAclTable {
   using Method = enum rte_acl_classify_alg; // a function has the same name

 public:
   RteAclTable( const Family& family, const std::vector< Rule >& rules )
         : words_( family.bytes / 4 ), stride_( 8 + 2 * family.bytes ),
           input_( burst * stride_ ) {
      rte_acl_param param{};
      param.name = "acl";
      param.socket_id = -1;
      param.rule_size = static_cast< uint32_t >( RTE_ACL_RULE_SZ( fields() ) );
      param.max_rule_num = static_cast< uint32_t >( rules.size() );
      context_ = rte_acl_create( &param );
      if ( context_ == nullptr ) {
         fail( "rte_acl_create" );
      }
      addRules( rules );
      build();
   }
   RteAclTable( const RteAclTable& ) = delete;
   RteAclTable& operator=( const RteAclTable& ) = delete;
   ~RteAclTable() { rte_acl_free( context_ ); }

   static void start() {
      const char* arguments[] = { "acl-lookup-bench", "--no-huge", "--no-shconf", "--no-pci",
         "--no-telemetry", "-m", "1024", "--lcores", "0@(0,1)", "--force-max-simd-bitwidth=512",
         "--log-level=*:critical" };
      std::vector< char* > copies;
      for ( const char* argument : arguments ) {
         copies.push_back( const_cast< char* >( argument ) );
      }
      if ( rte_eal_init( static_cast< int >( copies.size() ), copies.data() ) < 0 ) {
         fail( "rte_eal_init" );
      }
   }
   std::vector< Way > ways() {
      static constexpr std::pair< Method, const char* > methods[] = {
         { RTE_ACL_CLASSIFY_SCALAR, "scalar" }, { RTE_ACL_CLASSIFY_SSE, "SSE" },
         { RTE_ACL_CLASSIFY_AVX2, "AVX2" }, { RTE_ACL_CLASSIFY_NEON, "NEON" },
         { RTE_ACL_CLASSIFY_ALTIVEC, "AltiVec" }, { RTE_ACL_CLASSIFY_AVX512X16, "AVX512x16" },
         { RTE_ACL_CLASSIFY_AVX512X32, "AVX512x32" }
      };
      std::vector< Way > result;
      for ( auto [ method, name ] : methods ) {
         if ( rte_acl_set_ctx_classify( context_, method ) == 0 ) {
            result.push_back( { std::string( "rte_acl " ) + name,
                  [ this ]( std::span< const Packet > packets ) { fill( packets ); },
                  [ this, method = method ](
                        std::span< int > winners ) { run( method, winners ); } } );
         }
      }
      return result;
   }

 private:
   size_t fields() const { return 1 + 2 * words_ + 2; }

   // As the packet has them: the protocol, padding, both addresses, both ports.
   std::vector< rte_acl_field_def > definitions() const {
      std::vector< rte_acl_field_def > result( fields() );
      for ( size_t i = 0; i < result.size(); ++i ) {
         rte_acl_field_def& def = result[ i ];
         def.type = RTE_ACL_FIELD_TYPE_MASK;
         def.size = 4;
         def.field_index = static_cast< uint8_t >( i );
         def.input_index = static_cast< uint8_t >( i );
         def.offset = static_cast< uint32_t >( 4 * i );
      }
      result.front().type = RTE_ACL_FIELD_TYPE_BITMASK;
      result.front().size = 1;
      for ( size_t i = result.size() - 2; i < result.size(); ++i ) {
         result[ i ].type = RTE_ACL_FIELD_TYPE_RANGE;
         result[ i ].size = 2;
      }
      result.back().input_index = result[ result.size() - 2 ].input_index;
      result.back().offset = result[ result.size() - 2 ].offset + 2;
      return result;
   }
   void setPrefix( rte_acl_field* field, const Prefix& prefix ) const {
      for ( size_t i = 0; i < words_; ++i ) {
         uint32_t word = 0;
         for ( size_t byte = 4 * i; byte < 4 * i + 4; ++byte ) {
            word = word << 8 | prefix.address[ byte ];
         }
         field[ i ].value.u32 = word;
         field[ i ].mask_range.u32 = static_cast< uint32_t >(
               std::clamp( prefix.length - 32 * static_cast< int >( i ), 0, 32 ) );
      }
   }
   void addRules( const std::vector< Rule >& rules ) {
      std::vector< uint64_t > space( ( RTE_ACL_RULE_SZ( fields() ) + 7 ) / 8 );
      auto* data = reinterpret_cast< rte_acl_rule* >( space.data() );
      for ( size_t i = 0; i < rules.size(); ++i ) {
         const Rule& rule = rules[ i ];
         data->data.category_mask = 1;
         data->data.priority = static_cast< int32_t >( rules.size() - i );
         data->data.userdata = static_cast< uint32_t >( i + 1 );
         rte_acl_field* field = data->field;
         field[ 0 ].value.u8 = static_cast< uint8_t >( std::max( rule.protocol, 0 ) );
         field[ 0 ].mask_range.u8 = rule.protocol < 0 ? 0 : 0xff;
         setPrefix( field + 1, rule.source );
         setPrefix( field + 1 + words_, rule.destination );
         setRange( field[ 1 + 2 * words_ ], rule.sourcePort );
         setRange( field[ 2 + 2 * words_ ], rule.destinationPort );
         if ( rte_acl_add_rules( context_, data, 1 ) != 0 ) {
            fail( "rte_acl_add_rules" );
         }
      }
   }
   static void setRange( rte_acl_field& field, const Range& range ) {
      field.value.u16 = range.low;
      field.mask_range.u16 = range.high;
   }
   void build() {
      rte_acl_config config{};
      config.num_categories = 1;
      config.num_fields = static_cast< uint32_t >( fields() );
      std::vector< rte_acl_field_def > fieldDefs = definitions();
      std::copy( fieldDefs.begin(), fieldDefs.end(), config.defs );
      if ( rte_acl_build( context_, &config ) != 0 ) {
         fail( "rte_acl_build" );
      }
   }
   void fill( std::span< const Packet > packets ) {
      for ( size_t i = 0; i < packets.size(); ++i ) {
         const Packet& packet = packets[ i ];
         uint8_t* at = input_.data() + i * stride_;
         inputs_[ i ] = at;
         at[ 0 ] = packet.protocol;
         std::memcpy( at + 4, packet.source.data(), words_ * 4 );
         std::memcpy( at + 4 + words_ * 4, packet.destination.data(), words_ * 4 );
         uint8_t* ports = at + 4 + words_ * 8;
         ports[ 0 ] = static_cast< uint8_t >( packet.sourcePort >> 8 );
         ports[ 1 ] = static_cast< uint8_t >( packet.sourcePort );
         ports[ 2 ] = static_cast< uint8_t >( packet.destinationPort >> 8 );
         ports[ 3 ] = static_cast< uint8_t >( packet.destinationPort );
      }
   }
   void run( Method method, std::span< int > winners ) {
      std::array< uint32_t, burst > results;
      rte_acl_classify_alg( context_, inputs_.data(), results.data(), burst, 1, method );
      for ( size_t i = 0; i < burst; ++i ) {
         winners[ i ] = static_cast< int >( results[ i ] ) - 1;
      }
   }

   size_t words_; // of an address
   size_t stride_;
   rte_acl_ctx* context_ = nullptr;
   std::vector< uint8_t > input_;
   std::array< const uint8_t*, burst > inputs_{};
};

#endif

// Times the ways, in turns. All must find the same rules.
void compete( std::vector< Way >& ways, const std::vector< Packet >& packets, int rounds ) {
   for ( int round = 0; round < rounds; ++round ) {
      for ( Way& way : ways ) {
         if ( round > 0 && way.name == "scan" ) {
            continue; // long enough to be measured once
         }
         way.checksum = 0;
         for ( size_t first = 0; first < packetCount; first += burst ) {
            std::array< int, burst > winners{};
            way.fill( std::span( packets ).subspan( first, burst ) );
            auto start = Clock::now();
            way.run( winners );
            std::chrono::duration< double, std::nano > took = Clock::now() - start;
            double& best = way.best[ first / burst ];
            best = std::min( best, took.count() );
            for ( int winner : winners ) {
               way.checksum = way.checksum * 31 + static_cast< uint64_t >( winner + 1 );
            }
         }
      }
   }
   for ( const Way& way : ways ) {
      if ( way.checksum != ways.front().checksum ) {
         std::fprintf( stderr, "%s names other rules than %s\n", way.name.c_str(),
               ways.front().name.c_str() );
         std::exit( 1 );
      }
   }
}

// Returns the engine's nanoseconds per packet.
double measure( const Family& family, size_t size, int rounds ) {
   Generator generator( family, size );
   std::vector< Rule > rules = generator.rules();
   std::vector< Packet > packets;
   for ( size_t i = 0; i < packetCount; ++i ) {
      packets.push_back( generator.packet( rules, i ) );
   }
   EngineTable engine( family, rules, generator );
   std::vector< Way > ways{ scanWay( rules ), engine.way() };
#ifdef KARVEL_HAVE_RTE_ACL
   RteAclTable rteAcl( family, rules );
   for ( Way& way : rteAcl.ways() ) {
      ways.push_back( std::move( way ) );
   }
#endif
   compete( ways, packets, rounds );
   std::printf( "\n%s, %zu rules, %zu entries\n", family.name, size, engine.entries() );
   double other = 1e9;
   for ( const Way& way : ways ) {
      std::printf( "   %-20s %10.1f ns per packet, checksum %016llx\n", way.name.c_str(),
            way.perPacket(), static_cast< unsigned long long >( way.checksum ) );
      if ( &way > &ways[ 1 ] ) {
         other = std::min( other, way.perPacket() );
      }
   }
   if ( ways.size() > 2 ) {
      std::printf( "   engine / best rte_acl %9.2f\n", ways[ 1 ].perPacket() / other );
   }
   EngineTable::Times churn = engine.churn();
   std::printf( "   an entry out and in %11.2f us, at most %.1f us\n", churn.mean, churn.most );
   std::fflush( stdout );
   return ways[ 1 ].perPacket();
}

} // namespace

int main( int argc, char** argv ) {
   int rounds = 15;
   if ( argc > 1 ) {
      const char* end = argv[ 1 ] + std::strlen( argv[ 1 ] );
      auto [ stopped, error ] = std::from_chars( argv[ 1 ], end, rounds );
      if ( argc > 2 || error != std::errc() || stopped != end || rounds < 1 ) {
         std::fprintf( stderr, "usage: %s [ROUNDS]\n", argv[ 0 ] );
         return 2;
      }
   }
#ifdef KARVEL_HAVE_RTE_ACL
   RteAclTable::start();
#endif
   for ( const Family* family : { &ipv4, &ipv6 } ) {
      constexpr size_t sizes[] = { 128, 1000, 4000, 16000 };
      std::vector< double > times;
      for ( size_t size : sizes ) {
         times.push_back( measure( *family, size, rounds ) );
      }
      std::printf( "\n%s: growth exponent of the engine from %zu to %zu rules: %.2f\n",
            family->name, sizes[ 0 ], sizes[ 3 ],
            std::log( times[ 3 ] / times[ 0 ] ) /
                  std::log( static_cast< double >( sizes[ 3 ] ) / sizes[ 0 ] ) );
   }
   return 0;
}
