#pragma once

// Captures through the chips: frames arrive at ports in the order of their time stamps, and
// what leaves the ports is written down.

#include <memory>
#include <string>
#include <vector>

#include "Agent/Packets/Input.h"
#include "Agent/Packets/OutputDirectory.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// Writes every frame that leaves a port to PORT.pcap, and mirror copies also to
// PORT.mirror.pcap. Of each session that is limited in rate SESSION.rate.svg shows what passed over
// time.
class Outlet : public ChipModel::FrameSink {
 public:
   // Takes over the sink of the runtime's chips for its lifetime. `inputs` are the captures of
   // the run: none of them is overwritten. CaptureError if the directory cannot be used.
   Outlet( Runtime& runtime, const std::string& directory,
         const std::vector< std::string >& inputs );
   ~Outlet() override;

   void sent( const ChipModel::SentFrame& sent ) override;
   // Puts the files in place. CaptureError if that cannot be done.
   void commit();
   // The same for what was sent so far; more may be sent, also by ports that are configured
   // later.
   void publish();
   // CaptureError if the file is one of the outputs.
   void checkInput( const std::string& file ) const { files_->checkInput( file ); }

 private:
   void writePlots() const;
   // The writers of a port, fetched when it first sends.
   struct PortFiles {
      CaptureWriter* all = nullptr;
      CaptureWriter* copies = nullptr;
   };
   CaptureWriter& fetch(
         CaptureWriter*& place, const ChipModel::SentFrame& sent, OutputKind kind );

   Runtime& runtime_;
   std::unique_ptr< OutputDirectory > files_;
   std::vector< std::vector< PortFiles > > ports_; // by unit and chip port
};

// Is told of each frame before and after it goes through its chip.
class ArrivalObserver {
 public:
   virtual ~ArrivalObserver() = default;
   virtual void arriving(
         const std::string& port, int unit, const ChipModel::FrameView& frame ) = 0;
   virtual void arrived() = 0;
};

// Frames that were longer than the snapshot length of the capture that they come from.
struct CutFrames {
   uint64_t count = 0;
   std::string file; // of the first

   std::string toString() const;
};

// All frames of the inputs, merged by time. The ports exist and the captures have been
// validated; std::runtime_error, in one line, if not.
CutFrames replay( Runtime& runtime, const std::vector< Input >& inputs,
      ArrivalObserver* observer = nullptr );

} // namespace Agent
