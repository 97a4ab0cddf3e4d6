#pragma once

// What the agent has written into one TCAM entry, and what it becomes as a lookup rule.
//
// How a qualifier lies in the lookup key is said by its row of the field catalogue; range checks
// and compilation follow from it.

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <vector>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Lookup/LookupEngine.h"

namespace ChipModel {

class EntryContents {
 public:
   int priority = 0;
   uint32_t policer = 0; // 0: none
   std::vector< ActionValue > actions;

   bool has( Shim::Qualifier qualifier ) const {
      return qualifiers_.test( static_cast< size_t >( qualifier ) );
   }
   void inPortsIs( const Shim::PortBitmap& data, const Shim::PortBitmap& mask );
   // As many parts as the qualifier has: DstPort a module and a port, an IPv6 address four
   // words, a MAC address its upper 16 bits and the others. False, and nothing changed, if a
   // value is wider than its field. Masks may be wider: there is nothing to care about beyond
   // the field.
   bool qualifierIs( Shim::Qualifier qualifier, std::initializer_list< Ternary > parts );
   void qualifierDel( Shim::Qualifier qualifier );
   // The first part of a qualifier; nothing in it if the entry does not have it.
   Ternary firstPart( Shim::Qualifier qualifier ) const;
   // Whether no forwarded frame can match it.
   bool takesCopiesOnly() const;

   // Replaces what `rule` holds; true if it looks at where the frame goes. A qualifier
   // whose mask is zero restricts nothing and looks at nothing.
   bool compile( LookupRule* rule ) const;
   // The qualifiers that the key does not satisfy; none if it matches.
   std::vector< Shim::Qualifier > failures( const LookupKey& key ) const;
   // For reading back.
   std::vector< QualifierValue > qualifiers() const;

 private:
   static constexpr size_t count_ = static_cast< size_t >( Shim::Qualifier::count_ );

   void compilePorts( LookupRule* rule ) const;
   size_t placeOf( size_t qualifier ) const;

   Shim::QualifierSet qualifiers_;
   std::vector< Ternary > parts_; // of the qualifiers it has, in their order
   Shim::PortBitmap ports_;       // that InPorts accepts
};

} // namespace ChipModel
