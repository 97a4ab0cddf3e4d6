#pragma once

// What left the ports during a run, as a directory of captures: PORT.pcap holds what the
// port sent, PORT.mirror.pcap the mirror copies it sent. Plots may stand beside them.
//
//    OutputDirectory out( "out", { "Ethernet0", "Ethernet4" }, { "host-a.pcap" } );
//    CaptureWriter& copies = out.writer( "Ethernet4", OutputKind::Mirrored );
//    copies.write( timeNs, frame, wireLength );
//    out.commit( {} );
//
// After commit() the directory tells of this run and no other: a port that sent nothing has
// no file, one of an earlier run is removed. Files of any other name are left alone.
// Without commit() everything stays as it was, and a directory that was made for the run
// goes again. All files are complete before the first gets its name, so a full disk changes
// nothing.
//
// An agent that runs on and on calls resume() before and publish() after each burst of frames
// instead: the files have their names from then on, and whatever was written is in them. If one
// of them cannot be written, all are as they were at resume().
//
// Port names become file names as they are. The directory is made if it is missing; its
// parent has to exist. An output that would replace one of the run's own inputs is refused.
// All errors are CaptureError.

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/Packets/CaptureWriter.h"

namespace Agent {

enum class OutputKind {
   Forwarded, // PORT.pcap
   Mirrored,  // PORT.mirror.pcap
};

// Plots by the names of their files. An empty one has no file: one of an earlier run goes.
using Plots = std::map< std::string, std::string >;

class OutputDirectory {
 public:
   // Checks everything that can be known before the first packet. `inputs` are the captures
   // that the run reads.
   OutputDirectory( std::string path, const std::vector< std::string >& ports,
         const std::vector< std::string >& inputs );

   // The writer of a port, made at the first call. Ports that were not given at construction
   // are checked now. It stays where it is until the directory ends, or until resume(): keep
   // the reference where speed matters.
   CaptureWriter& writer( std::string_view port, OutputKind kind );

   // Puts this run's files in place. Once, and no frame afterwards.
   void commit( const Plots& plots );

   // Captures that were removed, moved or changed by somebody else begin anew, and so does the
   // whole directory.
   void resume();
   // Puts in place what was written so far; more can be written.
   void publish( const Plots& plots );
   // Takes away what was written since resume(), as publish() does where it fails.
   void rollBack();
   // For an input that becomes known only now: refused if it is one of the outputs.
   void checkInput( const std::string& file ) const;
   // Plots that could not take their place are known before the first packet, too.
   void checkPlots( const Plots& plots ) const;

 private:
   using Files = std::vector< std::unique_ptr< OutputFile > >;

   void addPort( const std::string& port );
   void checkOutput( const std::string& name, const std::vector< std::string >& inputs ) const;
   Files written( const Plots& plots ) const;
   void removeEarlier( const Plots& plots ) const;

   const std::string path_;
   std::unique_ptr< OutputFolder > folder_;
   // Every file that is ours to write, by name; no writer as long as nothing was sent.
   std::map< std::string, std::unique_ptr< CaptureWriter > > files_;
   bool published_ = false; // what was there of earlier runs has gone
};

} // namespace Agent
