#include "Agent/Packets/Replay.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "Agent/Packets/CaptureMerge.h"

namespace Agent {

namespace {

// What a capture file can hold.
constexpr uint64_t lastStampNs = 0xffff'ffffULL * 1'000'000'000 + 999'999'999;

std::vector< std::string > portNames( const Runtime& runtime ) {
   std::vector< std::string > names;
   for ( const auto& port : runtime.configuration().ports ) {
      names.push_back( port.first );
   }
   return names;
}

} // namespace

Outlet::Outlet(
      Runtime& runtime, const std::string& directory, const std::vector< std::string >& inputs )
      : runtime_( runtime ), files_( std::make_unique< OutputDirectory >(
                                   directory, portNames( runtime ), inputs ) ) {
   for ( int unit : runtime.units() ) {
      ports_.resize( static_cast< size_t >( unit ) + 1 );
      ports_.back().resize( Shim::maxPorts );
   }
   runtime_.chips().control().sinkIs( this );
}

Outlet::~Outlet() { runtime_.chips().control().sinkIs( nullptr ); }

void Outlet::sent( const ChipModel::SentFrame& sent ) {
   PortFiles& files =
         ports_[ static_cast< size_t >( sent.unit ) ][ static_cast< size_t >( sent.port ) ];
   const std::span< const uint8_t > bytes( sent.frame.data, sent.frame.length );
   fetch( files.all, sent, OutputKind::Forwarded )
         .write( sent.frame.timeNs, bytes, sent.frame.wireLength );
   if ( sent.kind != ChipModel::CopyKind::forwarded ) {
      fetch( files.copies, sent, OutputKind::Mirrored )
            .write( sent.frame.timeNs, bytes, sent.frame.wireLength );
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
   files_->publish();
   writePlots();
   // The next configuration may give a chip's port another name.
   for ( auto& unit : ports_ ) {
      unit.assign( unit.size(), {} );
   }
}

void Outlet::commit() {
   files_->commit();
   writePlots();
}

// Beside the captures, one for each session that is limited in rate; those of an earlier run go.
void Outlet::writePlots() const {
   constexpr size_t mostIntervals = 120;
   for ( const auto& [ name, session ] : runtime_.configuration().sessions ) {
      const std::string path = files_->path() + "/" + name + ".rate.svg";
      const auto intervals = runtime_.rateHistory().intervals( name, mostIntervals );
      if ( intervals.empty() ) {
         std::remove( path.c_str() );
         continue;
      }
      const std::string draft = path + ".new";
      std::ofstream out( draft );
      out << ratePlot( name, session.rateKbps, intervals );
      out.close();
      if ( !out || std::rename( draft.c_str(), path.c_str() ) != 0 ) {
         std::remove( draft.c_str() );
         throw CaptureError( path + ": cannot be written" );
      }
   }
}

std::string CutFrames::toString() const {
   return std::to_string( count ) + ( count == 1 ? " frame is" : " frames are" ) +
         " cut short by the capture, the first in " + file +
         ": what is missing is missing in copies, too";
}

CutFrames replay(
      Runtime& runtime, const std::vector< Input >& inputs, ArrivalObserver* observer ) {
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
   }
   if ( shift ) {
      runtime.sampleRatesAtEnd( lastNs );
   }
   return cut;
}

} // namespace Agent
