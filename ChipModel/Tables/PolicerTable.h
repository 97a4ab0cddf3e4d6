#pragma once

// Policers: token buckets that limit what field entries match.
//
//    uint32_t id = 0;
//    policers.create( config, &id );
//    if ( policers.find( id )->meter( 1500, nowNs ) == Color::red ) ...
//
// Policers are exact: tokens are counted in millionths of a bit, of which a rate of n kilobits
// (1000 bits) per second brings n each nanosecond, so nothing is ever rounded. Time is an
// argument and never runs backwards here: an earlier time counts as the last one.

#include <cstdint>
#include <map>

#include "ChipModel/Tables/Counters.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

class Policer {
 public:
   // `config` is one that PolicerTable accepts. The bucket starts full.
   explicit Policer( const Shim::bcm_policer_config_s& config );

   // Meters a frame. If the bucket holds all its bits they are taken and the frame is green;
   // else nothing is taken and it is red.
   Color meter( uint32_t frameBytes, uint64_t timeNs ) {
      if ( timeNs > lastNs_ ) {
         const uint64_t elapsedNs = timeNs - lastNs_;
         lastNs_ = timeNs;
         tokens_ = elapsedNs < fillNs_ && elapsedNs * rate_ < depth_ - tokens_
               ? tokens_ + elapsedNs * rate_
               : depth_;
      }
      const uint64_t needed = uint64_t{ frameBytes } * 8 * tokensPerBit;
      const Color color = needed <= tokens_ ? Color::green : Color::red;
      tokens_ -= color == Color::green ? needed : 0;
      counters_.add( color, frameBytes );
      return color;
   }

   const Shim::bcm_policer_config_s& config() const { return config_; }
   const ColorCounters& counters() const { return counters_; }

 private:
   static constexpr uint64_t tokensPerBit = 1'000'000;
   static constexpr uint64_t tokensPerKilobit = 1000 * tokensPerBit;

   uint64_t depth_;  // tokens
   uint64_t rate_;   // tokens per nanosecond
   uint64_t fillNs_; // fills any bucket of that depth; its tokens fit into 64 bits
   uint64_t tokens_;
   uint64_t lastNs_ = 0;
   ColorCounters counters_;
   Shim::bcm_policer_config_s config_;
};

// The policers of one chip, by id.
class PolicerTable {
 public:
   explicit PolicerTable( int capacity ) : capacity_( capacity ) {}

   // E_PARAM for a rate of 0, E_UNAVAIL for what the chip's policers cannot do: two rates,
   // flags other than by bytes and colour blind, another mode. E_RESOURCE when all are in use.
   // Ids count up from 1.
   Shim::Rc create( const Shim::bcm_policer_config_s& config, uint32_t* id );
   void destroy( uint32_t id ); // it must be there

   // Null if there is none. It stays where it is until it is destroyed.
   Policer* find( uint32_t id ) {
      const auto found = policers_.find( id );
      return found == policers_.end() ? nullptr : &found->second;
   }
   const std::map< uint32_t, Policer >& policers() const { return policers_; }

   int capacity() const { return capacity_; }
   void capacityIs( int policers ) { capacity_ = policers; } // those that are there stay

 private:
   std::map< uint32_t, Policer > policers_;
   int capacity_;
   uint32_t nextId_ = 1;
};

} // namespace ChipModel
