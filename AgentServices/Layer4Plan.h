#pragma once

// How a rule's layer-4 port ranges become entries: an entry compares a port with a value under
// a mask, or asks a range checker. A range splits into prefixes, up to 30 of them, and a rule
// with two ranges takes an entry for every pair; a checker makes one entry of a range, but a
// chip has few. The plan takes the fewest entries and new checkers together.
//
//    Layer4Plan plan( filter, heldCheckers );
//    for ( const PortPrefix& source : plan.source().prefixes() ) ...

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "AgentServices/RangeCheckerPool.h"
#include "Platform/Acl/Rules.h"

namespace AgentServices {

// The ports that equal `value` in the bits of `mask`.
struct PortPrefix {
   uint16_t value = 0;
   uint16_t mask = 0;
   bool operator==( const PortPrefix& ) const = default;
};

// The fewest prefixes that together are the range, ascending; none for an empty range.
class PortPrefixes {
 public:
   explicit PortPrefixes( const Acl::PortRange& range );
   std::span< const PortPrefix > all() const { return { prefixes_.data(), count_ }; }

 private:
   static constexpr size_t most = 30;
   std::array< PortPrefix, most > prefixes_; // the first `count_`
   size_t count_ = 0;
};

// One of a rule's two ranges: a checker and a single prefix that takes every port, or prefixes.
class Layer4Side {
 public:
   explicit Layer4Side( const Acl::PortRange& range ) : prefixes_( range ) {}

   std::span< const PortPrefix > prefixes() const {
      return checker ? std::span< const PortPrefix >( &anyPort_, 1 ) : prefixes_.all();
   }

   std::optional< int > checker;

 private:
   static constexpr PortPrefix anyPort_{};
   PortPrefixes prefixes_;
};

class Layer4Plan {
 public:
   // Acquires the checkers that it uses.
   Layer4Plan( const Acl::IpFilter& filter, HeldCheckers& checkers );

   const Layer4Side& source() const { return source_; }
   const Layer4Side& destination() const { return destination_; }
   size_t entries() const { return source_.prefixes().size() * destination_.prefixes().size(); }

 private:
   Layer4Side source_;
   Layer4Side destination_;
};

} // namespace AgentServices
