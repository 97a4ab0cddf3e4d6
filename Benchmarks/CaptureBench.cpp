// What frames cost on their way in and out, next to each other: reading a capture, writing one,
// and a copy, which is both. All frames have 64 bytes and go through real files. Times are real
// time, because part of the work is the kernel's.

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "Agent/Packets/CaptureMerge.h"
#include "Agent/Packets/CaptureReader.h"
#include "Agent/Packets/CaptureWriter.h"

namespace {

using namespace Agent;

constexpr uint64_t frameCount = 500'000;

class CaptureBench : public benchmark::Fixture {
 public:
   void SetUp( benchmark::State& ) override {
      directory_ = std::filesystem::temp_directory_path() /
            ( "karvel-bench-" + std::to_string( ::getpid() ) );
      std::filesystem::create_directory( directory_ );
      input_ = directory_ / "in.pcap";
      output_ = directory_ / "out.pcap";
      writeFrames( input_ );
   }

   void TearDown( benchmark::State& ) override {
      std::error_code ignored;
      std::filesystem::remove_all( directory_, ignored );
   }

 protected:
   static void writeFrames( const std::filesystem::path& path ) {
      std::array< uint8_t, 64 > frame{ 2, 0, 0, 0, 0, 0x0b, 2, 0, 0, 0, 0, 0x0a, 8, 0 };
      const OutputFolder folder( path.parent_path() );
      CaptureWriter writer( folder, path.filename() );
      for ( uint64_t i = 0; i < frameCount; ++i ) {
         writer.write( i * 672, frame, 64 ); // the pace of a full 1 Gbit/s link
      }
      writer.file().complete();
      writer.file().takeName();
   }

   // Frames per second, and the cost of one.
   static void report( benchmark::State& state ) {
      auto frames = static_cast< double >( frameCount );
      state.counters[ "frames" ] =
            benchmark::Counter( frames, benchmark::Counter::kIsIterationInvariantRate );
      state.counters[ "s/frame" ] = benchmark::Counter( frames,
            benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert );
   }

   std::filesystem::path directory_;
   std::filesystem::path input_;
   std::filesystem::path output_;
};

BENCHMARK_DEFINE_F( CaptureBench, Read )( benchmark::State& state ) {
   for ( auto _ : state ) {
      CaptureReader reader( input_ );
      uint64_t bytes = 0;
      for ( CaptureFrame frame; reader.next( frame ); ) {
         bytes += frame.length;
      }
      benchmark::DoNotOptimize( bytes );
   }
   report( state );
}
BENCHMARK_REGISTER_F( CaptureBench, Read )->UseRealTime();

BENCHMARK_DEFINE_F( CaptureBench, ReadMerged )( benchmark::State& state ) {
   for ( auto _ : state ) {
      CaptureMerge merge;
      merge.add( "Ethernet0", CaptureReader( input_ ) );
      uint64_t bytes = 0;
      for ( Arrival arrival; merge.next( arrival ); ) {
         bytes += arrival.frame.length;
      }
      benchmark::DoNotOptimize( bytes );
   }
   report( state );
}
BENCHMARK_REGISTER_F( CaptureBench, ReadMerged )->UseRealTime();

BENCHMARK_DEFINE_F( CaptureBench, Write )( benchmark::State& state ) {
   for ( auto _ : state ) {
      writeFrames( output_ );
   }
   report( state );
}
BENCHMARK_REGISTER_F( CaptureBench, Write )->UseRealTime();

BENCHMARK_DEFINE_F( CaptureBench, Copy )( benchmark::State& state ) {
   for ( auto _ : state ) {
      CaptureReader reader( input_ );
      const OutputFolder folder( directory_ );
      CaptureWriter writer( folder, output_.filename() );
      for ( CaptureFrame frame; reader.next( frame ); ) {
         writer.write( frame.timeNs, { frame.data, frame.length }, frame.wireLength );
      }
      writer.file().complete();
      writer.file().takeName();
   }
   report( state );
}
BENCHMARK_REGISTER_F( CaptureBench, Copy )->UseRealTime();

} // namespace
