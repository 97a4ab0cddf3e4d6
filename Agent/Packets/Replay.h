#pragma once

// Captures through the chips: frames arrive at ports in the order of their time stamps, and
// what leaves the ports is written down.

#include <functional>
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
   // Throws the CaptureError of a frame that could not be written: the chip, which sends it, is
   // not left in the middle of a frame.
   void check() const;
   // Puts the files in place. CaptureError if that cannot be done.
   void commit();
   // For an agent that goes on: before and after frames that arrive, also at ports that are
   // configured later. After a CaptureError of publish() the files are as they were at
   // resume().
   void resume() { files_->resume(); }
   void publish();
   // CaptureError if the file is one of the outputs.
   void checkInput( const std::string& file ) const { files_->checkInput( file ); }

 private:
   Plots plots() const;
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
   std::string failure_;                           // why a frame could not be written
};

// Is told of each frame before and after it goes through its chip.
class ArrivalObserver {
 public:
   virtual ~ArrivalObserver() = default;
   virtual void arriving(
         const std::string& port, int unit, const ChipModel::FrameView& frame ) = 0;
   virtual void arrived() = 0;
};

// Called between frames, now and then, with the number of those that have arrived since it was
// called last. What it throws ends the replay.
using Pause = std::function< void( uint64_t frames ) >;

// All frames of the inputs, merged by time. Says which of them were cut off,
// and that frames were, in one line each.
// The ports exist and the captures have been validated; std::runtime_error, in one line, if not.
std::vector< std::string > replay( Runtime& runtime, const std::vector< Input >& inputs,
      const Pause& pause, ArrivalObserver* observer = nullptr );

} // namespace Agent
