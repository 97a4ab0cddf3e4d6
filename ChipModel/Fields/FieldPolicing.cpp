// Policers of field entries, and what entries count.

#include "ChipModel/Fields/FieldState.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

Rc FieldProcessor::policerCreate(
      const Shim::bcm_policer_config_s& config, uint32_t* policer ) {
   return state_->policers.create( config, policer );
}

Rc FieldProcessor::policerDestroy( uint32_t policer ) {
   if ( state_->policers.find( policer ) == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const auto has = [ policer ]( const EntryContents& contents ) {
      return contents.policer == policer;
   };
   if ( state_->anyContents( has ) ) {
      return Sdk::QX_BCM_E_BUSY();
   }
   state_->policers.destroy( policer );
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::entryPolicerAttach( int id, int level, uint32_t policer ) {
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      if ( level != 0 ) {
         return Sdk::QX_BCM_E_PARAM();
      }
      if ( entry.group->stage != Shim::FieldStage::egress ) {
         return Sdk::QX_BCM_E_UNAVAIL();
      }
      if ( state_->policers.find( policer ) == nullptr ) {
         return Sdk::QX_BCM_E_NOT_FOUND();
      }
      if ( entry.contents.policer != 0 ) {
         return Sdk::QX_BCM_E_EXISTS();
      }
      entry.contents.policer = policer;
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::entryPolicerDetach( int id, int level ) {
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      if ( level != 0 ) {
         return Sdk::QX_BCM_E_PARAM();
      }
      if ( entry.contents.policer == 0 ) {
         return Sdk::QX_BCM_E_NOT_FOUND();
      }
      entry.contents.policer = 0;
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::entryStatSet( int id, Shim::FieldStat stat ) {
   FieldEntry* entry = state_->entries.find( id );
   if ( entry == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( stat > Shim::FieldStat::byColor ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   entry->byColor = stat == Shim::FieldStat::byColor;
   return Sdk::QX_BCM_E_NONE();
}

Color FieldProcessor::meter( const Match& match, uint32_t frameBytes, uint64_t timeNs ) {
   Policer* policer = match.source->policer;
   return policer == nullptr ? Color::green : policer->meter( frameBytes, timeNs );
}

void FieldProcessor::count( const Match& match, uint32_t frameBytes, Color color ) {
   FieldEntry& entry = *match.source;
   ++entry.counters.packets;
   entry.counters.bytes += frameBytes;
   if ( entry.byColor ) {
      entry.colors.add( color, frameBytes );
   }
}

int FieldProcessor::policerCapacity() const { return state_->policers.capacity(); }

void FieldProcessor::policerCapacityIs( int policers ) {
   state_->policers.capacityIs( policers );
}

} // namespace ChipModel
