#include "Agent/Packets/Replay.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Agent/Packets/CaptureMerge.h"

namespace Agent {

namespace {

constexpr uint64_t framesBetweenPauses = 1024;
// What a capture file can hold.
constexpr uint64_t lastStampNs = 0xffff'ffffULL * 1'000'000'000 + 999'999'999;

std::vector< std::string > portNames( const Runtime& runtime ) {
   std::vector< std::string > names;
   for ( const auto& port : runtime.configuration().ports ) {
      names.push_back( port.first );
   }
   constexpr int cpuPort = 0; // every chip has one, of the same name
   names.push_back( runtime.portName( runtime.units().front(), cpuPort ) );
   return names;
}

// A session's name may hold what a file's may not.
std::string plotName( std::string session ) {
   std::replace( session.begin(), session.end(), '/', '_' );
   if ( session.starts_with( '.' ) ) {
      session.front() = '_';
   }
   return session + ".rate.svg";
}

} // namespace

Outlet::Outlet(
      Runtime& runtime, const std::string& directory, const std::vector< std::string >& inputs )
      : runtime_( runtime ), files_( std::make_unique< OutputDirectory >(
                                   directory, portNames( runtime ), inputs ) ) {
   files_->checkPlots( plots() );
   for ( int unit : runtime.units() ) {
      ports_.resize( static_cast< size_t >( unit ) + 1 );
      ports_.back().resize( Shim::maxPorts );
   }
   runtime_.chips().control().sinkIs( this );
}

Outlet::~Outlet() { runtime_.chips().control().sinkIs( nullptr ); }

void Outlet::sent( const ChipModel::SentFrame& sent ) {
   if ( !failure_.empty() ) {
      return;
   }
   PortFiles& files =
         ports_[ static_cast< size_t >( sent.unit ) ][ static_cast< size_t >( sent.port ) ];
   const std::span< const uint8_t > bytes( sent.frame.data, sent.frame.length );
   try {
      fetch( files.all, sent, OutputKind::Forwarded )
            .write( sent.frame.timeNs, bytes, sent.frame.wireLength );
      if ( sent.kind != ChipModel::CopyKind::forwarded ) {
         fetch( files.copies, sent, OutputKind::Mirrored )
               .write( sent.frame.timeNs, bytes, sent.frame.wireLength );
      }
   } catch ( const CaptureError& error ) {
      failure_ = error.what();
   }
}

void Outlet::check() const {
   if ( !failure_.empty() ) {
      throw CaptureError( failure_ );
   }
}

CaptureWriter& Outlet::fetch(
      CaptureWriter*& place, const ChipModel::SentFrame& sent, OutputKind kind ) {
   if ( !place ) [[unlikely]] {
      place = &files_->writer( runtime_.portName( sent.unit, sent.port ), kind );
   }
   return *place;
}

void Outlet::publish() {
   // The next configuration may give a chip's port another name, and writers may go.
   for ( auto& unit : ports_ ) {
      unit.assign( unit.size(), {} );
   }
   if ( const std::string failure = std::exchange( failure_, {} ); !failure.empty() ) {
      files_->rollBack();
      throw CaptureError( failure );
   }
   files_->publish( plots() );
}

void Outlet::commit() {
   check();
   files_->commit( plots() );
}

// One for each session that is limited in rate; those of an earlier run go.
Plots Outlet::plots() const {
   constexpr size_t mostIntervals = 120;
   Plots plots;
   for ( const auto& [ name, session ] : runtime_.configuration().sessions ) {
      const auto intervals = runtime_.rateHistory().intervals( name, mostIntervals );
      plots[ plotName( name ) ] =
            intervals.empty() ? "" : ratePlot( name, session.rateKbps, intervals );
   }
   return plots;
}

namespace {

// Frames that were longer than the snapshot length of the capture that they come from.
struct CutFrames {
   uint64_t count = 0;
   std::string file; // of the first

   std::string toString() const {
      return std::to_string( count ) + ( count == 1 ? " frame is" : " frames are" ) +
            " cut short by the capture, the first in " + file +
            ": what is missing is missing in copies, too";
   }
};

} // namespace

std::vector< std::string > replay( Runtime& runtime, const std::vector< Input >& inputs,
      const Pause& pause, ArrivalObserver* observer ) {
   struct Port {
      ChipModel::Pipeline* pipeline;
      int unit;
      int number;
   };
   CaptureMerge merge;
   std::vector< Port > ports;
   for ( const Input& input : inputs ) {
      auto at = runtime.configuration().ports.find( input.port );
      if ( at == runtime.configuration().ports.end() ) {
         throw std::runtime_error( input.port + ": no such port; allowed: a port of PORT" );
      }
      ports.push_back( { &runtime.chips().chip( at->second.unit )->pipeline(), at->second.unit,
            at->second.chipPort } );
      merge.add( input.port, CaptureReader( input.file ) );
   }
   CutFrames cut;
   std::optional< uint64_t > shift;
   uint64_t lastNs = 0;
   uint64_t frames = 0;
   for ( Arrival arrival; merge.next( arrival ); ) {
      const Port& port = ports[ arrival.input ];
      const CaptureFrame& frame = arrival.frame;
      if ( !shift ) {
         shift = runtime.captureShift( frame.timeNs );
      }
      lastNs = std::min( frame.timeNs + *shift, lastStampNs );
      const ChipModel::FrameView view{ lastNs, frame.data, frame.length, frame.wireLength };
      runtime.sampleRates( lastNs );
      if ( frame.wireLength > frame.length && cut.count++ == 0 ) {
         cut.file = inputs[ arrival.input ].file;
      }
      if ( observer ) {
         observer->arriving( merge.port( arrival.input ), port.unit, view );
      }
      port.pipeline->receive( port.number, view );
      if ( observer ) {
         observer->arrived();
      }
      if ( ++frames == framesBetweenPauses ) {
         pause( std::exchange( frames, 0 ) );
      }
   }
   pause( frames );
   if ( shift ) {
      runtime.sampleRatesAtEnd( lastNs );
   }
   std::vector< std::string > cuts;
   for ( size_t input = 0; input < merge.inputs(); ++input ) {
      if ( const std::string& why = merge.reader( input ).cut(); !why.empty() ) {
         cuts.push_back( why );
      }
   }
   if ( cut.count > 0 ) {
      cuts.push_back( cut.toString() );
   }
   return cuts;
}

} // namespace Agent
