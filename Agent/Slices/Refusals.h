#pragma once

// What a chip has refused, by what it concerns, until it is mended.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Plix/EthAddr.h"
#include "Platform/Shim/Sdk.h"

namespace Agent {

struct Refusal {
   std::string what; // "Ethernet4 could not be enabled"
   std::string call; // "bcm_port_enable_set"
   Shim::Rc code = Shim::Sdk::QX_BCM_E_NONE();

   // "Ethernet4 could not be enabled: Operation failed"
   std::string toString() const;
};

// What a refusal concerns.
struct ChipSubject {
   enum class Kind : uint8_t { port, trunk, vlan, address, destination };
   Kind kind{};
   int number = 0; // the chip's; of an address, its VLAN; without a MAC, all of it
   Plix::EthAddr mac = {};
   auto operator<=>( const ChipSubject& ) const = default;
};

class Refusals {
 public:
   explicit Refusals( const Duolog::Handle& trace ) : trace_( trace ) {}

   // True if the call was done, or answered what is as good. Else it is reported, and kept as the
   // subject's refusal unless there is one already.
   bool took( const ChipSubject& subject, const std::string& what,
         const Karvel::SdkOutcome& outcome, Shim::Rc asGood = Shim::Sdk::QX_BCM_E_NONE() );
   void clear( const ChipSubject& subject ) { refusals_.erase( subject ); }
   void clear() { refusals_.clear(); }

   bool empty() const { return refusals_.empty(); }
   std::optional< Refusal > refusal( const ChipSubject& subject ) const;
   const std::map< ChipSubject, Refusal >& all() const { return refusals_; }

 private:
   const Duolog::Handle& trace_;
   std::map< ChipSubject, Refusal > refusals_;
};

} // namespace Agent
