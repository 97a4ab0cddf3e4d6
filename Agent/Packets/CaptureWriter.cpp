#include "Agent/Packets/CaptureWriter.h"

#include <algorithm>
#include <cstdio>

#include <pcap/pcap.h>

#include "Platform/Zol/Assert.h"

namespace Agent {

namespace {

constexpr size_t snapshotBytes = 262144; // the largest that libpcap and its users accept
constexpr uint64_t nsPerSecond = 1'000'000'000;

// Never fails: what is buffered is written out, and may fail, outside of the C library.
ssize_t buffer( void* file, const char* bytes, size_t size ) {
   static_cast< OutputFile* >( file )->append(
         { reinterpret_cast< const uint8_t* >( bytes ), size } );
   return static_cast< ssize_t >( size );
}

} // namespace

void CaptureWriter::Close::operator()( pcap_dumper* dumper ) const {
   pcap_dump_close( dumper );
}

CaptureWriter::CaptureWriter( const OutputFolder& folder, const std::string& name )
      : file_( folder, name ) {
   FILE* stream = ::fopencookie( &file_, "wb", { nullptr, buffer, nullptr, nullptr } );
   ZOL_ASSERT( stream );
   std::setvbuf( stream, nullptr, _IONBF, 0 );
   pcap_t* format = pcap_open_dead_with_tstamp_precision(
         DLT_EN10MB, snapshotBytes, PCAP_TSTAMP_PRECISION_NANO );
   ZOL_ASSERT( format );
   dumper_.reset( pcap_dump_fopen( format, stream ) );
   pcap_close( format );
   ZOL_ASSERT( dumper_ );
}

void CaptureWriter::write(
      uint64_t timeNs, std::span< const uint8_t > frame, uint32_t wireLength ) {
   pcap_pkthdr header{};
   header.ts.tv_sec = static_cast< time_t >( timeNs / nsPerSecond );
   header.ts.tv_usec = static_cast< suseconds_t >( timeNs % nsPerSecond );
   header.caplen = static_cast< bpf_u_int32 >( std::min( frame.size(), snapshotBytes ) );
   header.len = wireLength;
   pcap_dump( reinterpret_cast< u_char* >( dumper_.get() ), &header, frame.data() );
   file_.flushIfFull();
}

} // namespace Agent
