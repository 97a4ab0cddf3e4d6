// Reading the field processors back.

#include <algorithm>
#include <tuple>

#include "ChipModel/Fields/FieldState.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

std::vector< RangeView > FieldProcessor::ranges() const { return state_->ranges.views(); }

std::vector< PolicerView > FieldProcessor::policers() const {
   std::vector< PolicerView > views;
   for ( const auto& [ id, policer ] : state_->policers.policers() ) {
      views.push_back( { id, policer.config(), {}, policer.counters() } );
   }
   state_->entries.forEach( [ & ]( const FieldEntry& entry ) {
      const uint32_t written = entry.contents.policer;
      const uint32_t effective = entry.effective().policer;
      if ( written == 0 && effective == 0 ) {
         return;
      }
      for ( PolicerView& view : views ) {
         if ( view.id == written || view.id == effective ) {
            view.entries.push_back( entry.id );
         }
      }
   } );
   return views;
}

std::vector< GroupView > FieldProcessor::groups() const {
   std::vector< GroupView > views;
   for ( const auto& [ id, group ] : state_->groups ) {
      views.push_back( { id, group.stage, group.priority, group.qualifiers, group.entries,
            group.lookup.rules(), group.destinationBound != 0 } );
   }
   return views;
}

std::vector< EntryView > FieldProcessor::entries() const {
   std::vector< const FieldEntry* > sorted;
   state_->entries.forEach( [ & ]( const FieldEntry& entry ) { sorted.push_back( &entry ); } );
   auto key = []( const FieldEntry* entry ) {
      const FieldGroup& group = *entry->group;
      // Highest priority first; the 64 bits keep the least priority's negation in range.
      return std::tuple( group.stage, -int64_t{ group.priority }, group.id,
            -int64_t{ entry->contents.priority }, entry->id );
   };
   std::sort( sorted.begin(), sorted.end(),
         [ & ]( const FieldEntry* a, const FieldEntry* b ) { return key( a ) < key( b ); } );
   std::vector< EntryView > views;
   views.reserve( sorted.size() );
   for ( const FieldEntry* entry : sorted ) {
      const EntryContents& contents = entry->contents;
      views.push_back( { entry->id, entry->group->id, entry->group->stage, contents.priority,
            entry->installed(), entry->modified, entry->name, contents.qualifiers(),
            contents.actions, entry->counters.packets, entry->counters.bytes, contents.policer,
            entry->byColor, entry->colors } );
   }
   return views;
}

std::vector< EntryMiss > FieldProcessor::misses(
      int groupId, int winner, const LookupKey& key ) const {
   const FieldGroup* group = state_->group( groupId );
   ZOL_ASSERT( group != nullptr );
   std::vector< const FieldEntry* > others;
   state_->entries.forEach( [ & ]( const FieldEntry& entry ) {
      if ( entry.group == group && entry.installed() && entry.id != winner ) {
         others.push_back( &entry );
      }
   } );
   std::sort( others.begin(), others.end(), []( const FieldEntry* a, const FieldEntry* b ) {
      return std::pair( -int64_t{ a->effective().priority }, a->id ) <
            std::pair( -int64_t{ b->effective().priority }, b->id );
   } );
   std::vector< EntryMiss > result;
   for ( const FieldEntry* entry : others ) {
      const std::vector< Shim::Qualifier > failures = entry->effective().failures( key );
      EntryMiss miss{ entry->id, {}, failures.size() };
      if ( !failures.empty() ) {
         miss.failed = failures.front();
      }
      result.push_back( miss );
   }
   return result;
}

} // namespace ChipModel
