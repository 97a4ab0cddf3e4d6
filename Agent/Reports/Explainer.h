#pragma once

// Says of each frame why it was mirrored or was not: how it was parsed and forwarded, which
// entry of which group matched, which did not and why, and the copies that left. It listens to
// the chip's own decisions and makes none.

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "Agent/Packets/Replay.h"
#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// What one entry had to say.
struct EntryVerdict {
   int group = 0;
   int entry = 0;
   int priority = 0;
   std::string name;    // who made it, for the plug-in's developers
   std::string session; // that it serves; empty: none that is known
   std::string copy;    // what was looked up: "the copy that Ethernet4 sends"; empty: the frame
   bool won = false;    // it decided for its group
   Cell matches;        // what it looks at
   Cell does;           // if it won: its actions
   std::string color;   // if it won and has a policer: what that found
   Cell failed;         // the first qualifier that did not hold; empty: it matches
   size_t failures = 0; // how many did not
   Cell frameHas;       // what the frame has there
};

// One frame that left the chip.
struct FrameCopy {
   std::string what; // "forwarded", "copied as received", "copied as sent"
   int mirror = -1;
   std::string session; // whose copy it is
   std::string port;
   std::string of;      // copied as sent: the port whose sending was copied
   std::string outcome; // "sent", or why it was not
};

struct Explanation {
   uint64_t number = 0; // from 1
   std::string port;
   uint64_t timeNs = 0;
   uint32_t bytes = 0;          // on the wire
   std::vector< int64_t > tags; // VLANs, the outer first
   Cell headers;
   Cell forwarding;
   // By group; the winner first. Below it by priority; if none won, the nearest miss first.
   std::vector< EntryVerdict > entries;
   std::vector< FrameCopy > copies;
   // Sessions with the frame's ports among their sources that copy nothing now, each with why.
   std::vector< std::pair< std::string, std::string > > idle;
};

class Explainer final : public ArrivalObserver,
                        public ChipModel::PipelineObserver,
                        public ChipModel::FrameSink {
 public:
   using Tell = std::function< void( const Explanation& ) >;

   // Tells of every frame, or of the `packet`-th only (0: all). Takes over the sink and the
   // observer of the runtime's chips for its lifetime.
   Explainer( Runtime& runtime, uint64_t packet, Tell tell );
   ~Explainer() override;
   Explainer( const Explainer& ) = delete;
   Explainer& operator=( const Explainer& ) = delete;

   // How many have arrived.
   uint64_t frames() const { return frames_; }

   void arriving(
         const std::string& port, int unit, const ChipModel::FrameView& frame ) override;
   void arrived() override;
   void decided( int unit, const ChipModel::FrameView& frame,
         const ChipModel::Decision& decision ) override;
   void lookedUp( const ChipModel::LookupKey& key,
         ChipModel::FieldProcessor::GroupChoice choice, int egressPort ) override;
   void matched( const ChipModel::Match& match, int egressPort ) override;
   void lookedUpAtEgress(
         const ChipModel::SentFrame& frame, const ChipModel::LookupKey& key ) override;
   void matchedAtEgress( const ChipModel::Match& match, ChipModel::Color color ) override;
   void ended( const ChipModel::SentFrame& frame, const ChipModel::Outcome& outcome ) override;
   void sent( const ChipModel::SentFrame& frame ) override;

 private:
   struct Lookup {
      ChipModel::LookupKey key;
      ChipModel::FieldProcessor::GroupChoice choice{};
      std::string copy; // empty: the frame as a whole
      Shim::FieldStage stage = Shim::FieldStage::ingress;
      std::vector< ChipModel::Match > matches{};
      std::vector< int > red{}; // entries whose policer found it red
   };
   void addIdleSessions();
   std::string sessionAt( int mirror ) const;
   void addCopy( const ChipModel::SentFrame& frame, const std::string& outcome );
   bool isWanted() const { return packet_ == 0 || packet_ == frames_; }
   void explainLookup( const Lookup& lookup );
   void explainGroup( const Lookup& lookup, int group, int winner );
   EntryVerdict verdict( int entry, const Lookup& lookup ) const;
   const ChipModel::EntryView& entryOf( int id ) const;

   Runtime& runtime_;
   const uint64_t packet_;
   const Tell tell_;
   uint64_t frames_ = 0;
   int unit_ = 0;
   bool decided_ = false;
   std::map< int, ChipModel::ChipState > chips_; // as they are before the first frame
   std::map< int, std::map< int, const ChipModel::EntryView* > > entries_;
   const std::vector< SessionState > sessions_;
   std::set< std::string > interfaces_; // that the frame in hand came in or leaves by
   std::vector< Lookup > lookups_;      // of the frame in hand
   Explanation explanation_;
};

// A few lines for people. Of the entries that did not match, the first ones of each group.
std::string explanationText( const Explanation& frame );
// For JSON: the frame, the entries' verdicts and the copies, each with the frame's number.
std::vector< Report > explanationReports( const Explanation& frame );

} // namespace Agent
