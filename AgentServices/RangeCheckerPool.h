#pragma once

// The layer-4 range checkers of one chip. There are few, so equal ranges share one, and each is
// given back with the last of its users.
//
//    RangeCheckerPool checkers( unit );
//    HeldCheckers held( checkers );                                  // of one ACL
//    if ( auto checker = held.acquire( { sourcePortRange, 1024, 65535 } ) ) { ... }
//
// Assumes that nobody else makes range checkers on the chip.

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "Platform/Karvel/RangeCheckerDesc.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Ptr.h"

namespace AgentServices {

class RangeCheckerPool : public Zol::RefCounted {
 public:
   explicit RangeCheckerPool( uint32_t unit );

   // Whether acquire() can share a checker that is in use already.
   bool has( const Karvel::RangeCheckerDesc& range ) const {
      return checkers_.contains( range );
   }
   // The checker of this range, counted once more; none if the chip has none left for it.
   std::optional< int > acquire( const Karvel::RangeCheckerDesc& range );
   // Gives back one count; no entry may use the checker after the last one. A destroy that the
   // chip refuses is tried again a second later.
   void release( const Karvel::RangeCheckerDesc& range );

 private:
   struct Checker {
      int id = 0;
      uint32_t users = 0; // 0: it is to go
   };

   void lastRelease() override { tidy(); }
   void tidy();

   int unit_;
   bool isFull_ = false; // the chip has said so, and nothing has been given back since
   std::map< Karvel::RangeCheckerDesc, Checker > checkers_;
   Zol::Clock tidyClock_;
};

// The checkers that one ACL holds, each counted once however many of its rules use it.
class HeldCheckers {
 public:
   // Must outlive this.
   explicit HeldCheckers( RangeCheckerPool& checkers ) : checkers_( checkers ) {}

   bool has( const Karvel::RangeCheckerDesc& range ) const { return checkers_.has( range ); }
   std::optional< int > acquire( const Karvel::RangeCheckerDesc& range );

   // How many it holds; see releaseDownTo().
   size_t count() const { return held_.size(); }
   // Gives back what was acquired since there were `count`.
   void releaseDownTo( size_t count );

 private:
   RangeCheckerPool& checkers_;
   std::vector< std::pair< Karvel::RangeCheckerDesc, int > > held_;
};

} // namespace AgentServices
