// A lookup in a table of access list rules: the chip model's engine beside a plain scan in
// order of priority and, where the Data Plane Development Kit is installed (pkg-config
// libdpdk), beside the classifier of its library librte_acl, in bursts and with the fastest
// of its methods that this processor has. All must name the same first match for each
// packet, or the program stops.
//
//    acl-lookup-bench [ROUNDS]
//
// The ways of a table take turns; each one's best round counts. The rules are made up in the
// manner of ClassBench (Taylor and Turner, INFOCOM 2005): prefixes of nested networks, exact
// ports and ranges, the broader rules mostly behind the narrower ones. The engine gets a
// range as the prefixes that cover it, like any table of values and masks, in no particular
// order. Half of the packets are drawn from a rule, a quarter mixes the fields of several
// rules, a quarter is random.

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ChipModel/LookupEngine.h"

#ifdef KARVEL_HAVE_RTE_ACL
#include <rte_acl.h>
#include <rte_eal.h>
#include <rte_errno.h>
#endif

namespace {

using namespace ChipModel;

constexpr size_t packetCount = 65536;

// Of this program, in nanoseconds: others may be running.
double processorTime() {
   timespec now;
   clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &now );
   return static_cast< double >( now.tv_sec ) * 1e9 + static_cast< double >( now.tv_nsec );
}

using Address = std::array< uint8_t, 16 >; // IPv4: the first four

struct Prefix {
   Address address{};
   int length = 0;
};

struct Range {
   uint16_t low = 0;
   uint16_t high = 0xffff;

   bool any() const { return low == 0 && high == 0xffff; }
};

struct AclRule {
   int protocol = -1; // -1: any
   Prefix source;
   Prefix destination;
   Range sourcePort;
   Range destinationPort;
};

struct Packet {
   uint8_t protocol = 0;
   Address source{};
   Address destination{};
   uint16_t sourcePort = 0;
   uint16_t destinationPort = 0;
};

// Addresses of one IP version and their place in the lookup key.
struct Family {
   const char* name;
   size_t bytes;
   uint8_t validBit;
   uint8_t sourceOffset;
   uint8_t destinationOffset;
   // Lengths of prefixes and how often they occur, in percent.
   std::vector< std::pair< int, int > > sourceLengths;
   std::vector< std::pair< int, int > > destinationLengths;
   std::array< int, 3 > levels; // of the nested networks: prefix lengths
};

constexpr uint8_t validOffset = 0;
constexpr uint8_t protocolOffset = 15;
constexpr uint8_t sourcePortOffset = 18;
constexpr uint8_t destinationPortOffset = 20;

const Family ipv4{ "IPv4", 4, 2, 26, 30,
   { { 0, 10 }, { 16, 12 }, { 18, 4 }, { 20, 6 }, { 22, 5 }, { 24, 28 }, { 27, 6 }, { 29, 4 },
         { 32, 25 } },
   { { 0, 5 }, { 12, 2 }, { 16, 5 }, { 19, 4 }, { 21, 5 }, { 23, 6 }, { 24, 25 }, { 26, 5 },
         { 28, 4 }, { 32, 39 } },
   { 12, 16, 24 } };
const Family ipv6{ "IPv6", 16, 4, 34, 50,
   { { 0, 10 }, { 32, 12 }, { 40, 5 }, { 48, 20 }, { 56, 8 }, { 64, 25 }, { 128, 20 } },
   { { 0, 5 }, { 32, 8 }, { 44, 4 }, { 48, 18 }, { 56, 5 }, { 64, 25 }, { 128, 35 } },
   { 24, 32, 48 } };

class Generator {
 public:
   Generator( const Family& family, size_t count ) : family_( family ), size_( count ) {
      fillPool();
   }

   std::vector< AclRule > rules() {
      std::vector< std::pair< int, AclRule > > graded( size_ );
      for ( auto& [ grade, rule ] : graded ) {
         rule = randomRule();
         int bits = static_cast< int >( family_.bytes ) * 8;
         grade = ( rule.source.length + rule.destination.length ) * 32 / bits +
               ( rule.sourcePort.any() ? 0 : 8 ) + ( rule.destinationPort.any() ? 0 : 8 ) +
               below( 24 );
      }
      std::stable_sort( graded.begin(), graded.end(),
            []( const auto& a, const auto& b ) { return a.first > b.first; } );
      std::vector< AclRule > result;
      for ( const auto& [ grade, rule ] : graded ) {
         result.push_back( rule );
      }
      return result;
   }

   Packet packet( const std::vector< AclRule >& rules, size_t number ) {
      switch ( number % 4 ) {
      case 0:
      case 1: {
         const AclRule& rule = any( rules );
         return within( rule, rule, rule );
      }
      case 2:
         return within( any( rules ), any( rules ), any( rules ) );
      default:
         return within( {}, {}, {} );
      }
   }

   template < typename T >
   void shuffle( std::vector< T >& values ) {
      std::shuffle( values.begin(), values.end(), random_ );
   }

 private:
   int below( int bound ) {
      return static_cast< int >( random_() % static_cast< uint32_t >( bound ) );
   }
   template < typename T >
   const T& any( const std::vector< T >& values ) {
      return values[ static_cast< size_t >( below( static_cast< int >( values.size() ) ) ) ];
   }
   uint8_t randomByte() { return static_cast< uint8_t >( below( 256 ) ); }

   // The prefix's address with every bit behind `length` chosen anew.
   Address randomised( const Address& base, int length ) {
      Address result{};
      for ( int i = 0; i < static_cast< int >( family_.bytes ); ++i ) {
         int kept = std::clamp( length - i * 8, 0, 8 );
         int mask = 0xff00 >> kept & 0xff;
         size_t at = static_cast< size_t >( i );
         result[ at ] = static_cast< uint8_t >(
               ( base[ at ] & mask ) | ( randomByte() & ~mask ) );
      }
      return result;
   }
   // Networks within networks, so that prefixes overlap as those of a real list do.
   void fillPool() {
      for ( int i = 0; i < 6; ++i ) {
         roots_.push_back( randomised( {}, 0 ) );
      }
      for ( size_t i = 0; i < size_ / 32 + 4; ++i ) {
         sites_.push_back( randomised( any( roots_ ), family_.levels[ 0 ] ) );
      }
      for ( size_t i = 0; i < size_ / 6 + 8; ++i ) {
         subnets_.push_back( randomised( any( sites_ ), family_.levels[ 1 ] ) );
      }
      for ( size_t i = 0; i < size_ / 3 + 8; ++i ) {
         hosts_.push_back( randomised( any( subnets_ ), family_.levels[ 2 ] ) );
      }
   }
   Prefix randomPrefix( const std::vector< std::pair< int, int > >& lengths ) {
      int left = below( 100 );
      size_t i = 0;
      while ( left >= lengths[ i ].second ) {
         left -= lengths[ i++ ].second;
      }
      Prefix prefix{ any( hosts_ ), lengths[ i ].first };
      prefix.address = masked( prefix );
      return prefix;
   }
   static Address masked( const Prefix& prefix ) {
      Address result{};
      for ( int i = 0; i < 16; ++i ) {
         int kept = std::clamp( prefix.length - i * 8, 0, 8 );
         result[ static_cast< size_t >( i ) ] = static_cast< uint8_t >(
               prefix.address[ static_cast< size_t >( i ) ] & 0xff00 >> kept );
      }
      return result;
   }
   uint16_t knownPort() {
      static constexpr uint16_t known[] = { 20, 21, 22, 23, 25, 53, 67, 69, 80, 88, 110, 111,
         119, 123, 135, 137, 139, 143, 161, 162, 179, 389, 443, 445, 465, 514, 587, 636, 993,
         995, 1433, 1521, 1723, 1812, 2049, 3268, 3306, 3389, 5060, 5432, 6379, 8080, 8443 };
      int index = below( static_cast< int >( std::size( known ) ) );
      return known[ below( 3 ) == 0 ? index : index / 3 ]; // some far more often
   }
   Range randomRange() {
      int low = 1024 + below( 50000 );
      int high = low + ( below( 2 ) == 0 ? below( 16 ) : below( 4000 ) );
      return { static_cast< uint16_t >( low ), static_cast< uint16_t >( high ) };
   }
   AclRule randomRule() {
      AclRule rule;
      rule.source = randomPrefix( family_.sourceLengths );
      rule.destination = randomPrefix( family_.destinationLengths );
      int kind = below( 100 );
      rule.protocol = kind < 65 ? 6 : kind < 85 ? 17 : kind < 90 ? 1 : -1;
      if ( rule.protocol != 6 && rule.protocol != 17 ) {
         return rule;
      }
      kind = below( 100 );
      if ( kind < 60 ) {
         uint16_t port = below( 8 ) == 0 ? randomRange().low : knownPort();
         rule.destinationPort = { port, port };
      } else if ( kind < 70 ) {
         rule.destinationPort = { 1024, 65535 };
      } else if ( kind < 80 ) {
         rule.destinationPort = randomRange();
      }
      kind = below( 100 );
      if ( kind < 5 ) {
         uint16_t port = knownPort();
         rule.sourcePort = { port, port };
      } else if ( kind < 12 ) {
         rule.sourcePort = { 1024, 65535 };
      } else if ( kind < 14 ) {
         rule.sourcePort = randomRange();
      }
      return rule;
   }
   uint16_t within( const Range& range ) {
      return static_cast< uint16_t >( range.low + below( range.high - range.low + 1 ) );
   }
   Packet within( const AclRule& from, const AclRule& to, const AclRule& what ) {
      static constexpr uint8_t protocols[] = { 6, 6, 6, 17, 17, 1, 47 };
      Packet packet;
      packet.protocol = what.protocol >= 0 ? static_cast< uint8_t >( what.protocol )
                                           : protocols[ below( 7 ) ];
      packet.source = randomised( from.source.address, from.source.length );
      packet.destination = randomised( to.destination.address, to.destination.length );
      packet.sourcePort = within( what.sourcePort );
      packet.destinationPort = within( what.destinationPort );
      return packet;
   }

   const Family& family_;
   size_t size_;
   std::mt19937 random_{ 1 };
   std::vector< Address > roots_;
   std::vector< Address > sites_;
   std::vector< Address > subnets_;
   std::vector< Address > hosts_;
};

// A way to look packets up: the index of the first rule that matches each, -1 for none.
struct Way {
   std::string name;
   std::function< void( std::vector< int >& winners ) > run;
   double best = 1e9; // ns per packet
};

bool accepts( const Prefix& prefix, const Address& address ) {
   size_t whole = static_cast< size_t >( prefix.length ) / 8;
   if ( std::memcmp( prefix.address.data(), address.data(), whole ) != 0 ) {
      return false;
   }
   int rest = prefix.length % 8;
   return rest == 0 || ( ( prefix.address[ whole ] ^ address[ whole ] ) >> ( 8 - rest ) ) == 0;
}

bool accepts( const Range& range, uint16_t port ) {
   return range.low <= port && port <= range.high;
}

bool accepts( const AclRule& rule, const Packet& packet ) {
   return accepts( rule.source, packet.source ) &&
         accepts( rule.destination, packet.destination ) &&
         ( rule.protocol < 0 || rule.protocol == packet.protocol ) &&
         accepts( rule.sourcePort, packet.sourcePort ) &&
         accepts( rule.destinationPort, packet.destinationPort );
}

Way scanWay( const std::vector< AclRule >& rules, const std::vector< Packet >& packets ) {
   return { "scan", [ & ]( std::vector< int >& winners ) {
              for ( size_t i = 0; i < packets.size(); ++i ) {
                 auto found = std::find_if( rules.begin(), rules.end(),
                       [ & ]( const AclRule& rule ) { return accepts( rule, packets[ i ] ); } );
                 winners[ i ] =
                       found == rules.end() ? -1 : static_cast< int >( found - rules.begin() );
              }
           } };
}

// The engine, with the rules as entries of values and masks.
class EngineTable {
 public:
   EngineTable( const Family& family, const std::vector< AclRule >& rules,
         const std::vector< Packet >& packets, Generator& random )
         : family_( family ) {
      for ( size_t i = 0; i < rules.size(); ++i ) {
         expand( rules[ i ], static_cast< int >( i ) );
      }
      random.shuffle( entries_ );
      for ( Entry& entry : entries_ ) {
         insert( entry );
      }
      std::mt19937 noise( 2 );
      for ( const Packet& packet : packets ) {
         keys_.push_back( keyOf( packet, noise ) );
      }
   }

   size_t entries() const { return entries_.size(); }
   void run( std::vector< int >& winners ) const {
      for ( size_t i = 0; i < keys_.size(); ++i ) {
         winners[ i ] = ruleOf_[ static_cast< size_t >( engine_.find( keys_[ i ] ) + 1 ) ];
      }
   }
   // Microseconds to take an entry out and to put it in again, with a lookup after each.
   double churn() {
      constexpr size_t changes = 2000;
      int found = 0;
      double start = processorTime();
      for ( size_t i = 0; i < changes; ++i ) {
         Entry& entry = entries_[ i * 7919 % entries_.size() ];
         engine_.remove( entry.slot, entry.rule );
         found += engine_.find( keys_[ i ] ) >= 0;
         insert( entry );
         found += engine_.find( keys_[ i ] ) >= 0;
      }
      double took = processorTime() - start;
      return found < 0 ? 0 : took / changes / 1000;
   }

 private:
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
   void expand( const AclRule& acl, int index ) {
      for ( const Prefix& source : prefixesOf( acl.sourcePort ) ) {
         for ( const Prefix& destination : prefixesOf( acl.destinationPort ) ) {
            LookupRule rule;
            rule.bytes.push_back( { validOffset, family_.validBit, family_.validBit } );
            if ( acl.protocol >= 0 ) {
               rule.bytes.push_back(
                     { protocolOffset, static_cast< uint8_t >( acl.protocol ), 0xff } );
            }
            addPrefix( rule, sourcePortOffset, source );
            addPrefix( rule, destinationPortOffset, destination );
            addPrefix( rule, family_.sourceOffset, acl.source );
            addPrefix( rule, family_.destinationOffset, acl.destination );
            entries_.push_back( { rule, index, 0 } );
         }
      }
   }
   LookupKey keyOf( const Packet& packet, std::mt19937& noise ) const {
      LookupKey key;
      for ( uint8_t& byte : key.bytes ) { // what no rule looks at
         byte = static_cast< uint8_t >( noise() );
      }
      auto put = [ & ]( uint8_t offset, uint16_t port ) {
         key.bytes[ offset ] = static_cast< uint8_t >( port >> 8 );
         key.bytes[ offset + 1U ] = static_cast< uint8_t >( port );
      };
      key.bytes[ validOffset ] |= family_.validBit;
      key.bytes[ protocolOffset ] = packet.protocol;
      put( sourcePortOffset, packet.sourcePort );
      put( destinationPortOffset, packet.destinationPort );
      std::memcpy( &key.bytes[ family_.sourceOffset ], packet.source.data(), family_.bytes );
      std::memcpy( &key.bytes[ family_.destinationOffset ], packet.destination.data(),
            family_.bytes );
      return key;
   }

   const Family& family_;
   LookupEngine engine_;
   std::vector< Entry > entries_;
   std::vector< int > ruleOf_{ -1 }; // by slot + 1: -1 for no slot
   std::vector< LookupKey > keys_;
};

#ifdef KARVEL_HAVE_RTE_ACL

[[noreturn]] void fail( const char* what ) {
   std::fprintf( stderr, "%s: %s\n", what, rte_strerror( rte_errno ) );
   std::exit( 1 );
}

// The classifier of librte_acl, with the rules as they are: it knows ranges.
class RteAclTable {
   using Method = enum rte_acl_classify_alg; // a function has the same name
   static constexpr size_t burst = 64;

 public:
   RteAclTable( const Family& family, const std::vector< AclRule >& rules,
         const std::vector< Packet >& packets )
         : words_( family.bytes / 4 ), stride_( 8 + 2 * family.bytes ) {
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
      fillPackets( packets );
   }
   RteAclTable( const RteAclTable& ) = delete;
   RteAclTable& operator=( const RteAclTable& ) = delete;
   ~RteAclTable() { rte_acl_free( context_ ); }

   static void start() {
      const char* arguments[] = { "acl-lookup-bench", "--no-huge", "--no-shconf", "--no-pci",
         "--no-telemetry", "-m", "1024", "--lcores", "0@(0,1)",
         "--force-max-simd-bitwidth=512", "--log-level=*:critical" };
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
         { RTE_ACL_CLASSIFY_ALTIVEC, "AltiVec" },
         { RTE_ACL_CLASSIFY_AVX512X16, "AVX512x16" },
         { RTE_ACL_CLASSIFY_AVX512X32, "AVX512x32" }
      };
      std::vector< Way > result;
      for ( auto [ method, name ] : methods ) {
         if ( rte_acl_set_ctx_classify( context_, method ) == 0 ) {
            result.push_back( { std::string( "rte_acl " ) + name,
                  [ this, method = method ]( std::vector< int >& winners ) {
                     run( method, winners );
                  } } );
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
   void addRules( const std::vector< AclRule >& rules ) {
      std::vector< uint64_t > space( ( RTE_ACL_RULE_SZ( fields() ) + 7 ) / 8 );
      auto* data = reinterpret_cast< rte_acl_rule* >( space.data() );
      for ( size_t i = 0; i < rules.size(); ++i ) {
         const AclRule& rule = rules[ i ];
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
   void fillPackets( const std::vector< Packet >& packets ) {
      input_.resize( packets.size() * stride_ );
      uint8_t* at = input_.data();
      for ( const Packet& packet : packets ) {
         inputs_.push_back( at );
         at[ 0 ] = packet.protocol;
         std::memcpy( at + 4, packet.source.data(), words_ * 4 );
         std::memcpy( at + 4 + words_ * 4, packet.destination.data(), words_ * 4 );
         uint8_t* ports = at + 4 + words_ * 8;
         ports[ 0 ] = static_cast< uint8_t >( packet.sourcePort >> 8 );
         ports[ 1 ] = static_cast< uint8_t >( packet.sourcePort );
         ports[ 2 ] = static_cast< uint8_t >( packet.destinationPort >> 8 );
         ports[ 3 ] = static_cast< uint8_t >( packet.destinationPort );
         at += stride_;
      }
   }
   void run( Method method, std::vector< int >& winners ) {
      std::array< uint32_t, burst > results;
      for ( size_t first = 0; first < inputs_.size(); first += burst ) {
         rte_acl_classify_alg( context_, &inputs_[ first ], results.data(), burst, 1, method );
         for ( size_t i = 0; i < burst; ++i ) {
            winners[ first + i ] = static_cast< int >( results[ i ] ) - 1;
         }
      }
   }

   size_t words_; // of an address
   size_t stride_;
   rte_acl_ctx* context_ = nullptr;
   std::vector< uint8_t > input_;
   std::vector< const uint8_t* > inputs_;
};

#endif

uint64_t checksumOf( const std::vector< int >& winners ) {
   uint64_t sum = 0;
   for ( int winner : winners ) {
      sum = sum * 31 + static_cast< uint64_t >( winner + 1 );
   }
   return sum;
}

// Times the ways, in turns. Returns the checksum of the winners, the same for all of them.
uint64_t compete( std::vector< Way >& ways, int rounds ) {
   std::vector< int > winners( packetCount );
   std::vector< uint64_t > sums( ways.size() );
   for ( int round = 0; round < rounds; ++round ) {
      for ( size_t i = 0; i < ways.size(); ++i ) {
         if ( round > 0 && ways[ i ].name == "scan" ) {
            continue; // long enough to be measured once
         }
         std::fill( winners.begin(), winners.end(), -2 );
         double start = processorTime();
         ways[ i ].run( winners );
         double took = processorTime() - start;
         ways[ i ].best = std::min( ways[ i ].best, took / packetCount );
         sums[ i ] = checksumOf( winners );
      }
   }
   for ( size_t i = 0; i < ways.size(); ++i ) {
      if ( sums[ i ] != sums.front() ) {
         std::fprintf( stderr, "%s names other rules than %s\n", ways[ i ].name.c_str(),
               ways.front().name.c_str() );
         std::exit( 1 );
      }
   }
   return sums.front();
}

double measure( const Family& family, size_t size, int rounds ) {
   Generator generator( family, size );
   std::vector< AclRule > rules = generator.rules();
   std::vector< Packet > packets;
   for ( size_t i = 0; i < packetCount; ++i ) {
      packets.push_back( generator.packet( rules, i ) );
   }
   EngineTable engine( family, rules, packets, generator );
   std::vector< Way > ways{ scanWay( rules, packets ), { "engine",
      [ & ]( std::vector< int >& winners ) { engine.run( winners ); } } };
#ifdef KARVEL_HAVE_RTE_ACL
   RteAclTable rteAcl( family, rules, packets );
   for ( Way& way : rteAcl.ways() ) {
      ways.push_back( std::move( way ) );
   }
#endif
   uint64_t sum = compete( ways, rounds );
   double engineTime = ways[ 1 ].best;
   std::printf( "\n%s, %zu rules, %zu entries, checksum %016llx, change %.2f us\n",
         family.name, size, engine.entries(), static_cast< unsigned long long >( sum ),
         engine.churn() );
   for ( const Way& way : ways ) {
      std::printf( "   %-20s %10.1f ns per packet\n", way.name.c_str(), way.best );
   }
   double other = 1e9;
   for ( size_t i = 2; i < ways.size(); ++i ) {
      other = std::min( other, ways[ i ].best );
   }
   if ( ways.size() > 2 ) {
      std::printf( "   engine / best rte_acl %8.2f\n", engineTime / other );
   }
   std::fflush( stdout );
   return engineTime;
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
      double first = 0;
      double last = 0;
      for ( size_t size : sizes ) {
         last = measure( *family, size, rounds );
         first = first == 0 ? last : first;
      }
      std::printf( "\n%s: growth exponent of the engine from %zu to %zu rules: %.2f\n",
            family->name, sizes[ 0 ], sizes[ 3 ],
            std::log( last / first ) / std::log( double( sizes[ 3 ] ) / double( sizes[ 0 ] ) ) );
   }
   return 0;
}
