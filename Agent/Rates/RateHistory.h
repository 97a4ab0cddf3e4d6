#pragma once

// How much of each limited session's copies was offered, passed and policed over time. It looks
// at the chips' counters at regular times of the captures, and keeps a bounded number of samples:
// when there are too many, every second one goes.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Agent {

struct CopyCount {
   uint64_t packets = 0;
   uint64_t bytes = 0;
   bool operator==( const CopyCount& ) const = default;
};

// What happened to a session's copies between two times.
struct RateInterval {
   uint64_t fromNs = 0; // since the first of its intervals
   uint64_t toNs = 0;
   CopyCount passed;
   CopyCount policed;

   CopyCount offered() const {
      return { passed.packets + policed.packets, passed.bytes + policed.bytes };
   }
   // Kilobits (1000 bits) per second.
   double kbps( const CopyCount& count ) const {
      return toNs == fromNs ? 0
                            : static_cast< double >( count.bytes ) * 8e6 /
                  static_cast< double >( toNs - fromNs );
   }
};

class RateHistory {
 public:
   // Totals of a session so far.
   struct Totals {
      CopyCount passed;
      CopyCount policed;
      bool operator==( const Totals& ) const = default;
   };
   using Sample = std::map< std::string, Totals >; // by session

   // Whether the next sample is due at that time of a capture.
   bool isDue( uint64_t timeNs ) const { return timeNs >= nextNs_; }
   // A sample that is due, or the last one.
   void add( uint64_t timeNs, Sample sample );

   // The sessions that were sampled, by name.
   std::vector< std::string > sessions() const;
   // At most `most` intervals, from the first copy to the last: none shorter than a round length
   // that is no finer than the samples, and longer where nothing happened for a while.
   std::vector< RateInterval > intervals( const std::string& session, size_t most ) const;

 private:
   static constexpr size_t mostSamples = 512;
   static constexpr uint64_t firstStepNs = 10'000'000;

   std::vector< std::pair< uint64_t, Sample > > samples_;
   uint64_t stepNs_ = firstStepNs;
   uint64_t nextNs_ = 0;
};

// A chart of offered and passed kilobits per second over time, as SVG.
std::string ratePlot( const std::string& session, uint32_t limitKbps,
      const std::vector< RateInterval >& intervals );

} // namespace Agent
