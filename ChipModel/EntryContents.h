#pragma once

// What the agent has written into one TCAM entry, and what it becomes as a lookup rule.
//
// How a qualifier lies in the lookup key is one row of a table in EntryContents.cpp; range
// checks and compilation follow from it.

#include <array>
#include <cstdint>
#include <vector>

#include "ChipModel/FieldProcessor.h"
#include "ChipModel/LookupEngine.h"

namespace ChipModel {

// A value to compare with under a mask; a mask bit of zero does not care.
struct Ternary {
   uint32_t data = 0;
   uint32_t mask = 0;
};

class EntryContents {
 public:
   int priority = 0;
   std::vector< ActionValue > actions;

   bool has( Shim::Qualifier qualifier ) const {
      return qualifiers_.test( static_cast< size_t >( qualifier ) );
   }
   void inPortsIs( const Shim::PortBitmap& data, const Shim::PortBitmap& mask );
   // False, and nothing changed, if a value is wider than its field. Masks may be wider:
   // there is nothing to care about beyond the field. `second` is for DstPort, whose two
   // parts are the module and the port.
   bool qualifierIs( Shim::Qualifier qualifier, Ternary first, Ternary second = {} );
   void qualifierDel( Shim::Qualifier qualifier );

   // Replaces what `rule` holds; true if it looks at where the frame goes. A qualifier
   // whose mask is zero restricts nothing and looks at nothing.
   bool compile( LookupRule* rule ) const;
   // For reading back.
   std::vector< QualifierValue > qualifiers() const;

 private:
   static constexpr size_t count_ = static_cast< size_t >( Shim::Qualifier::count_ );

   void compilePorts( LookupRule* rule ) const;

   Shim::QualifierSet qualifiers_;
   std::array< std::array< Ternary, 2 >, count_ > values_{};
   Shim::PortBitmap ports_; // that InPorts accepts
};

} // namespace ChipModel
