// What the entity framework costs beside what it is compared with: a virtual call, libsigc++'s
// signals (if they are installed), the bare containers, std::shared_ptr.
//
//    framework-bench                              the benchmarks
//    framework-bench --allocations                operator new per operation
//    framework-bench --instructions WORKLOAD N    one workload N times (count-instructions)

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <thread>

#include <benchmark/benchmark.h>
#ifdef KARVEL_HAVE_SIGCPP
#include <sigc++/sigc++.h>
#endif

#include "Platform/Zol/Sm.h"

namespace {

uint64_t allocations = 0;

} // namespace

// Not inlined: g++ takes std::free() of what operator new returned for a mismatch.
[[gnu::noinline]] void* operator new( size_t size ) {
   ++allocations;
   if ( void* memory = std::malloc( size ) ) {
      return memory;
   }
   throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete( void* memory ) noexcept { std::free( memory ); }
[[gnu::noinline]] void operator delete( void* memory, size_t ) noexcept { std::free( memory ); }

namespace Bench {

class Element : public Zol::Entity {
   ZOL_ENTITY( Bench, Element, Zol::Entity, ( CONST, uint32_t, id ), ( VAL, uint32_t, value ) );

 public:
   explicit Element( uint32_t id ) : id_( id ) {}
};
ZOL_DEFINE_ENTITY( Element );

class Config : public Zol::Entity {
   ZOL_ENTITY( Bench, Config, Zol::Entity, ( VAL, uint32_t, number ), ( SET, uint32_t, member ),
         ( MAP, uint32_t, uint32_t, counter ), ( COLL, uint32_t, Element, element ) );
};
ZOL_DEFINE_ENTITY( Config );

class Counter : public Zol::EntitySm {
   ZOL_ENTITY( Bench, Counter, Zol::EntitySm );

 public:
   Counter( Zol::Ptr< const Config > config, Config::Attr attribute )
         : config_( config ), attribute_( attribute ) {}
   uint64_t calls = 0;

 private:
   void doInit() override {
      if ( attribute_ == Config::Attr::number ) {
         react< &Counter::handleNumber, Config::Attr::number >( config_ );
      } else if ( attribute_ == Config::Attr::counter ) {
         react< &Counter::handleKey, Config::Attr::counter >( config_ );
      } else {
         react< &Counter::handleKey, Config::Attr::element >( config_ );
      }
   }
   void handleNumber() { ++calls; }
   void handleKey( uint32_t ) { ++calls; }

   Zol::Ptr< const Config > config_;
   Config::Attr attribute_;
};
ZOL_DEFINE_ENTITY( Counter );

// What a write and its notification would be if they were written by hand for one listener.
class Listener {
 public:
   virtual ~Listener() = default;
   virtual void changed() = 0;
};

class CountingListener : public Listener {
 public:
   void changed() override { ++calls; }
   uint64_t calls = 0;
};

// A second kind, so that the compiler cannot guess which one it calls.
class SummingListener : public CountingListener {
 public:
   void changed() override { calls += 2; }
};

struct Watched {
   Watched( int counters, Config::Attr attribute ) {
      for ( int i = 0; i < counters; ++i ) {
         machines.push_back( Zol::make< Counter >( config, attribute ) );
         machines.back()->zolStart();
      }
   }
   Zol::Ptr< Config > config = Zol::make< Config >();
   std::vector< Zol::Ptr< Counter > > machines;
};

// Hides from the compiler what the pointer points to: it must assume any object, and any use.
template < typename T >
T* opaque( T* object ) {
   asm volatile( "" : "+r"( object ) : : "memory" );
   return object;
}

// --- Notification --------------------------------------------------------------------------

void virtualCall( benchmark::State& state ) {
   std::vector< std::unique_ptr< Listener > > listeners;
   for ( int64_t i = 0; i < state.range( 0 ); ++i ) {
      listeners.push_back( std::make_unique< CountingListener >() );
   }
   listeners.push_back( std::make_unique< SummingListener >() ); // not called
   const std::unique_ptr< Listener >* end = opaque( &listeners.back() );
   for ( auto _ : state ) {
      for ( auto* each = opaque( listeners.data() ); each != end; ++each ) {
         ( *each )->changed();
      }
   }
}
BENCHMARK( virtualCall )->Arg( 1 )->Arg( 8 );

void changedWrite( benchmark::State& state ) {
   Watched watched( static_cast< int >( state.range( 0 ) ), Config::Attr::number );
   Config* config = opaque( watched.config.get() );
   uint32_t value = 0;
   for ( auto _ : state ) {
      config->numberIs( ++value );
      benchmark::ClobberMemory();
   }
}
BENCHMARK( changedWrite )->Arg( 0 )->Arg( 1 )->Arg( 8 );

void unchangedWrite( benchmark::State& state ) {
   Watched watched( 1, Config::Attr::number );
   Config* config = opaque( watched.config.get() );
   config->numberIs( 5 );
   for ( auto _ : state ) {
      config->numberIs( 5 );
      benchmark::ClobberMemory();
   }
}
BENCHMARK( unchangedWrite );

#ifdef KARVEL_HAVE_SIGCPP
void sigcEmit( benchmark::State& state ) {
   std::vector< CountingListener > listeners( static_cast< size_t >( state.range( 0 ) ) );
   sigc::signal< void > changed;
   for ( CountingListener& listener : listeners ) {
      changed.connect( sigc::mem_fun( listener, &CountingListener::changed ) );
   }
   auto* signal = opaque( &changed );
   for ( auto _ : state ) {
      signal->emit();
      benchmark::ClobberMemory();
   }
}
BENCHMARK( sigcEmit )->Arg( 1 )->Arg( 8 );
#endif

// A burst of writes of few attributes, each delivered once at the burst's end; time per write.
void batchedWrite( benchmark::State& state ) {
   Watched watched( 1, Config::Attr::counter );
   const auto writes = static_cast< uint32_t >( state.range( 0 ) );
   for ( auto _ : state ) {
      Zol::Batch batch;
      for ( uint32_t i = 0; i < writes; ++i ) {
         watched.config->counterIs( i, watched.config->counter( i ) + 1 );
      }
   }
   state.SetItemsProcessed( state.iterations() * writes );
}
BENCHMARK( batchedWrite )->Arg( 10 )->Arg( 100 )->Arg( 1000 )->Arg( 10000 );

// --- Containers ----------------------------------------------------------------------------

constexpr uint32_t spread = 2654435761u; // keys in no particular order

// Fills a container with as many elements as the argument says; time per element, without
// clearing.
template < typename Make, typename Insert >
void fill( benchmark::State& state, Make make, Insert insert ) {
   const auto elements = static_cast< uint32_t >( state.range( 0 ) );
   for ( auto _ : state ) {
      state.PauseTiming();
      {
         auto container = make();
         state.ResumeTiming();
         for ( uint32_t i = 0; i < elements; ++i ) {
            insert( container, i * spread );
         }
         benchmark::ClobberMemory();
         state.PauseTiming();
      }
      state.ResumeTiming();
   }
   state.SetItemsProcessed( state.iterations() * elements );
}

void bareMapInsert( benchmark::State& state ) {
   fill(
         state, [] { return std::map< uint32_t, uint32_t >(); },
         []( auto& map, uint32_t key ) { map.insert_or_assign( key, key ); } );
}
BENCHMARK( bareMapInsert )->Arg( 100 )->Arg( 1000 )->Arg( 10000 );

void mapInsertAndNotify( benchmark::State& state ) {
   fill(
         state, [] { return Watched( 1, Config::Attr::counter ); },
         []( Watched& watched, uint32_t key ) { watched.config->counterIs( key, key ); } );
}
BENCHMARK( mapInsertAndNotify )->Arg( 100 )->Arg( 1000 )->Arg( 10000 );

void bareCollectionInsert( benchmark::State& state ) {
   fill(
         state, [] { return std::map< uint32_t, Zol::Ptr< Element > >(); },
         []( auto& map, uint32_t key ) {
            auto at = map.lower_bound( key );
            if ( at == map.end() || at->first != key ) {
               map.emplace_hint( at, key, Zol::make< Element >( key ) );
            }
         } );
}
BENCHMARK( bareCollectionInsert )->Arg( 100 )->Arg( 1000 )->Arg( 10000 );

void collectionInsertAndNotify( benchmark::State& state ) {
   fill(
         state, [] { return Watched( 1, Config::Attr::element ); },
         []( Watched& watched, uint32_t key ) { watched.config->elementIs( key ); } );
}
BENCHMARK( collectionInsertAndNotify )->Arg( 100 )->Arg( 1000 )->Arg( 10000 );

// --- Pointers ------------------------------------------------------------------------------

template < typename Pointer >
void copyAndDrop( benchmark::State& state, Pointer original ) {
   const Pointer* from = opaque( &original );
   for ( auto _ : state ) {
      Pointer copy = *from;
      opaque( &copy );
   }
}

void sharedPtrCopy( benchmark::State& state ) {
   copyAndDrop( state, std::make_shared< uint32_t >( 1u ) );
}
BENCHMARK( sharedPtrCopy );

void zolPtrCopy( benchmark::State& state ) { copyAndDrop( state, Zol::make< Element >( 1u ) ); }
BENCHMARK( zolPtrCopy );

// --- Workloads for counting ----------------------------------------------------------------

struct Workload {
   const char* name;
   int machines;
   Config::Attr attribute; // that they watch
   void ( *once )( Config& config, uint32_t i );
   enum class Kind { write, insert } kind = Kind::write;
};

std::map< uint32_t, uint32_t > bareMap;
std::map< uint32_t, Zol::Ptr< Element > > bareCollection;

constexpr Workload workloads[] = {
   { "baseline", 1, Config::Attr::number, []( Config&, uint32_t ) {} },
   { "unchanged-write", 1, Config::Attr::number,
         []( Config& config, uint32_t ) { config.numberIs( 0 ); } },
   { "changed-write-unwatched", 0, Config::Attr::number,
         []( Config& config, uint32_t i ) { config.numberIs( i ); } },
   { "changed-write", 1, Config::Attr::number,
         []( Config& config, uint32_t i ) { config.numberIs( i ); } },
   { "changed-write-8", 8, Config::Attr::number,
         []( Config& config, uint32_t i ) { config.numberIs( i ); } },
   { "keyed-write", 1, Config::Attr::counter,
         []( Config& config, uint32_t i ) { config.counterIs( 7, i ); } },
   { "bare-map-insert", 0, Config::Attr::counter,
         []( Config&, uint32_t i ) { bareMap.insert_or_assign( i * spread, i ); },
         Workload::Kind::insert },
   { "map-insert", 1, Config::Attr::counter,
         []( Config& config, uint32_t i ) { config.counterIs( i * spread, i ); },
         Workload::Kind::insert },
   { "bare-collection-insert", 0, Config::Attr::element,
         []( Config&, uint32_t i ) {
            bareCollection.try_emplace( i * spread, Zol::make< Element >( i * spread ) );
         },
         Workload::Kind::insert },
   { "collection-insert", 1, Config::Attr::element,
         []( Config& config, uint32_t i ) { config.elementIs( i * spread ); },
         Workload::Kind::insert },
};

[[noreturn]] void run( const Workload& workload, uint32_t count ) {
   Watched watched( workload.machines, workload.attribute );
   watched.config->counterIs( 7, 0 );
   Config* config = opaque( watched.config.get() );
   auto once = *opaque( &workload.once );
   for ( uint32_t i = 1; i <= count; ++i ) {
      once( *config, i );
   }
   std::_Exit( 0 ); // skips the tear-down, which would be counted
}

int runNamed( const char* name, const char* count ) {
   for ( const Workload& workload : workloads ) {
      if ( std::strcmp( workload.name, name ) == 0 ) {
         run( workload, static_cast< uint32_t >( std::strtoul( count, nullptr, 10 ) ) );
      }
   }
   std::fprintf( stderr, "framework-bench: no workload '%s'; there are:", name );
   for ( const Workload& workload : workloads ) {
      std::fprintf( stderr, " %s", workload.name );
   }
   std::fputc( '\n', stderr );
   return 2;
}

// Calls of operator new, from the second operation on. Returns failure if notifying
// allocates.
int countAllocations() {
   constexpr uint32_t count = 1000;
   uint64_t total = 0;
   for ( const Workload& workload : workloads ) {
      if ( workload.kind == Workload::Kind::insert ) {
         continue;
      }
      Watched watched( workload.machines, workload.attribute );
      watched.config->counterIs( 7, 0 );
      const uint64_t before = allocations;
      for ( uint32_t i = 1; i <= count; ++i ) {
         workload.once( *watched.config, i );
      }
      const uint64_t made = allocations - before;
      total += made;
      std::printf( "%-26s %8.3f allocations per operation\n", workload.name,
            static_cast< double >( made ) / count );
   }
   return total == 0 ? 0 : 1;
}

} // namespace Bench

int main( int argc, char** argv ) {
   if ( argc == 4 && std::strcmp( argv[ 1 ], "--instructions" ) == 0 ) {
      return Bench::runNamed( argv[ 2 ], argv[ 3 ] );
   }
   if ( argc == 2 && std::strcmp( argv[ 1 ], "--allocations" ) == 0 ) {
      return Bench::countAllocations();
   }
   // libstdc++ counts std::shared_ptr without atomics until a thread has been started.
   std::thread( [] {} ).join();
   benchmark::Initialize( &argc, argv );
   if ( benchmark::ReportUnrecognizedArguments( argc, argv ) ) {
      return 2;
   }
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}
