#pragma once

// What a FieldProcessor holds. Internal to it.

#include <array>
#include <initializer_list>
#include <map>
#include <vector>

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Fields/FieldTables.h"
#include "ChipModel/Fields/RangeCheckers.h"
#include "ChipModel/Profile.h"
#include "ChipModel/Tables/PolicerTable.h"

namespace ChipModel {

struct FieldProcessor::State {
   struct Stage {
      int capacity = 0;
      int used = 0;
      int deepGroups = 0;                // that look beyond layer 2
      std::vector< FieldGroup* > groups; // highest priority first, then lowest id
   };

   explicit State( const Profile& p )
         : profile( p ), ranges( p.rangeCheckers ), policers( p.policers ) {
      stage( Shim::FieldStage::ingress ).capacity = p.ingressEntries;
      stage( Shim::FieldStage::egress ).capacity = p.egressEntries;
   }

   Stage& stage( Shim::FieldStage s ) { return stages[ static_cast< size_t >( s ) ]; }
   FieldGroup* group( int id ) {
      auto found = groups.find( id );
      return found == groups.end() ? nullptr : &found->second;
   }
   // Runs `write` on the entry; what it writes takes effect at the next install.
   template < typename Write >
   Shim::Rc change( int id, Write&& write ) {
      FieldEntry* entry = entries.find( id );
      if ( entry == nullptr ) {
         return Shim::Sdk::QX_BCM_E_NOT_FOUND();
      }
      entry->preserve();
      Shim::Rc rc = write( *entry );
      entry->modified |= rc == Shim::Sdk::QX_BCM_E_NONE();
      return rc;
   }
   Shim::Rc qualify(
         int id, Shim::Qualifier qualifier, std::initializer_list< Ternary > parts ) {
      return change( id, [ & ]( FieldEntry& entry ) {
         const bool fits = qualifier != Shim::Qualifier::portClass ||
               uint64_t{ parts.begin()->data } >> profile.portClassBits == 0;
         const bool done = entry.group->qualifiers.test( static_cast< size_t >( qualifier ) ) &&
               fits && entry.contents.qualifierIs( qualifier, parts );
         return done ? Shim::Sdk::QX_BCM_E_NONE() : Shim::Sdk::QX_BCM_E_PARAM();
      } );
   }

   // Whether some entry's contents, as written or as packets see them, are so.
   template < typename Predicate >
   bool anyContents( Predicate&& predicate ) const {
      bool any = false;
      entries.forEach( [ & ]( const FieldEntry& entry ) {
         any = any || predicate( entry.contents ) || predicate( entry.effective() );
      } );
      return any;
   }

   Profile profile;
   std::array< Stage, 2 > stages;
   std::map< int, FieldGroup > groups;
   FieldEntryTable entries;
   RangeCheckers ranges;
   PolicerTable policers;
   int nextGroup = 1;
};

} // namespace ChipModel
