#include "ChipModel/Fields/FieldProcessor.h"

#include <algorithm>

#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Fields/FieldRules.h"
#include "ChipModel/Fields/FieldState.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

using Shim::FieldStage;
using Shim::Qualifier;
using Shim::Rc;
using Shim::Sdk;

bool isStage( FieldStage stage ) {
   return stage == FieldStage::ingress || stage == FieldStage::egress;
}

// Whether the parser has to look for more than forwarding needs.
bool isDeep( const Shim::QualifierSet& qualifiers ) {
   return std::any_of(
         fieldCatalogue.begin(), fieldCatalogue.end(), [ & ]( const FieldRow& row ) {
            return row.place.isParsed &&
                  qualifiers.test( static_cast< size_t >( row.qualifier ) );
         } );
}

} // namespace

FieldProcessor::FieldProcessor( const Profile& profile )
      : state_( std::make_unique< State >( profile ) ) {
   ZOL_ASSERT( profile.groupsPerStage <= maxGroups );
}

FieldProcessor::~FieldProcessor() = default;

Rc FieldProcessor::groupCreate(
      FieldStage stage, Shim::QualifierSet qualifiers, int priority, int* group ) {
   if ( !isStage( stage ) || group == nullptr ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   if ( ( qualifiers & ~stageQualifiers( state_->profile, stage ) ).any() ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   State::Stage& home = state_->stage( stage );
   std::vector< FieldGroup* >& peers = home.groups;
   if ( peers.size() >= static_cast< size_t >( state_->profile.groupsPerStage ) ) {
      return Sdk::QX_BCM_E_RESOURCE();
   }
   FieldGroup& created = state_->groups[ state_->nextGroup ];
   created.id = state_->nextGroup++;
   created.stage = stage;
   created.priority = priority;
   created.qualifiers = qualifiers;
   created.egressUse = stage == FieldStage::egress ? &egressUse_ : nullptr;
   auto place = std::find_if( peers.begin(), peers.end(),
         [ priority ]( const FieldGroup* peer ) { return peer->priority < priority; } );
   peers.insert( place, &created );
   home.deepGroups += isDeep( qualifiers );
   *group = created.id;
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::groupDestroy( int id ) {
   FieldGroup* group = state_->group( id );
   if ( group == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( group->entries != 0 ) {
      return Sdk::QX_BCM_E_BUSY();
   }
   State::Stage& stage = state_->stage( group->stage );
   stage.deepGroups -= isDeep( group->qualifiers );
   std::erase( stage.groups, group );
   state_->groups.erase( id );
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::groupStatusGet( int id, Shim::FieldGroupStatus* status ) const {
   const FieldGroup* group = state_->group( id );
   if ( group == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( status == nullptr ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   const State::Stage& stage = state_->stage( group->stage );
   *status = { group->entries, std::max( 0, stage.capacity - stage.used ) };
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::entryCreate( int groupId, int* id ) {
   FieldGroup* group = state_->group( groupId );
   if ( group == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( id == nullptr ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   State::Stage& stage = state_->stage( group->stage );
   if ( stage.used >= stage.capacity ) {
      return Sdk::QX_BCM_E_RESOURCE();
   }
   FieldEntry& entry = state_->entries.add();
   entry.group = group;
   ++group->entries;
   ++stage.used;
   *id = entry.id;
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::entryDestroy( int id ) {
   FieldEntry* entry = state_->entries.find( id );
   if ( entry == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   FieldGroup& group = *entry->group;
   if ( entry->installed() ) {
      group.remove( *entry );
   }
   --group.entries;
   --state_->stage( group.stage ).used;
   state_->entries.erase( *entry );
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::entryInstall( int id ) {
   FieldEntry* entry = state_->entries.find( id );
   if ( entry == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( entry->installed() && !entry->modified ) {
      return Sdk::QX_BCM_E_NONE();
   }
   entry->group->install( *entry, state_->policers.find( entry->contents.policer ) );
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::entryRemove( int id ) {
   FieldEntry* entry = state_->entries.find( id );
   if ( entry == nullptr || !entry->installed() ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   entry->group->remove( *entry );
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::entryPrioSet( int id, int priority ) {
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      entry.contents.priority = priority;
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::entryNameSet( int id, const char* name ) {
   FieldEntry* entry = state_->entries.find( id );
   if ( entry == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   if ( name == nullptr ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   entry->name = name;
   return Sdk::QX_BCM_E_NONE();
}

Rc FieldProcessor::qualifyInPorts(
      int id, const Shim::PortBitmap& data, const Shim::PortBitmap& mask ) {
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      if ( !entry.group->qualifiers.test( static_cast< size_t >( Qualifier::inPorts ) ) ) {
         return Sdk::QX_BCM_E_PARAM();
      }
      entry.contents.inPortsIs( data, mask );
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::qualify(
      int id, Qualifier qualifier, std::initializer_list< Ternary > parts ) {
   return state_->qualify( id, qualifier, parts );
}

Rc FieldProcessor::qualifyRangeCheck( int id, int range ) {
   const FieldEntry* entry = state_->entries.find( id );
   const uint32_t bit = state_->ranges.bitOf( range );
   if ( entry == nullptr || bit == 0 ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const uint32_t asked = entry->contents.firstPart( Qualifier::rangeCheck ).data | bit;
   return state_->qualify( id, Qualifier::rangeCheck, { { asked, asked } } );
}

Rc FieldProcessor::qualifierDelete( int id, Qualifier qualifier ) {
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      if ( qualifier >= Qualifier::count_ ) {
         return Sdk::QX_BCM_E_PARAM();
      }
      if ( !entry.contents.has( qualifier ) ) {
         return Sdk::QX_BCM_E_NOT_FOUND();
      }
      entry.contents.qualifierDel( qualifier );
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::actionAdd(
      int id, Shim::FieldAction action, uint32_t param0, uint32_t param1 ) {
   const ActionValue added{ action, param0, param1 };
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      if ( !isAction( state_->profile, entry.group->stage, added ) ) {
         return Sdk::QX_BCM_E_PARAM();
      }
      std::vector< ActionValue >& actions = entry.contents.actions;
      for ( const ActionValue& present : actions ) {
         if ( present.action == action ) {
            return Sdk::QX_BCM_E_EXISTS();
         }
      }
      actions.push_back( added );
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::actionRemove( int id, Shim::FieldAction action ) {
   return state_->change( id, [ & ]( FieldEntry& entry ) {
      size_t removed = std::erase_if( entry.contents.actions,
            [ & ]( const ActionValue& present ) { return present.action == action; } );
      return removed != 0 ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_NOT_FOUND();
   } );
}

Rc FieldProcessor::actionRemoveAll( int id ) {
   return state_->change( id, []( FieldEntry& entry ) {
      entry.contents.actions.clear();
      return Sdk::QX_BCM_E_NONE();
   } );
}

Rc FieldProcessor::actionGet( int id, Shim::FieldAction action, ActionValue* value ) const {
   const FieldEntry* entry = state_->entries.find( id );
   if ( entry == nullptr ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   for ( const ActionValue& present : entry->contents.actions ) {
      if ( present.action == action ) {
         *value = present;
         return Sdk::QX_BCM_E_NONE();
      }
   }
   return Sdk::QX_BCM_E_NOT_FOUND();
}

Rc FieldProcessor::rangeCreate(
      Shim::FieldRange what, uint32_t min, uint32_t max, int* range ) {
   return state_->ranges.create( what, min, max, range );
}

Rc FieldProcessor::rangeDestroy( int range ) {
   const uint32_t bit = state_->ranges.bitOf( range );
   if ( bit == 0 ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   const auto asks = [ bit ]( const EntryContents& contents ) {
      return ( contents.firstPart( Qualifier::rangeCheck ).data & bit ) != 0;
   };
   if ( state_->anyContents( asks ) ) {
      return Sdk::QX_BCM_E_BUSY();
   }
   state_->ranges.destroy( range );
   return Sdk::QX_BCM_E_NONE();
}

int FieldProcessor::rangeCheckersUsed() const {
   return static_cast< int >( state_->ranges.views().size() );
}

bool FieldProcessor::looksBeyondL2( FieldStage stage ) const {
   return state_->stage( stage ).deepGroups != 0;
}

void FieldProcessor::checkRanges( LookupKey& key ) const {
   if ( !state_->ranges.views().empty() && ( key.get( Key::valid ) & validPorts ) != 0 ) {
      key.set( Key::rangeCheck, state_->ranges.answers( key ) );
   }
}

bool FieldProcessor::hasDestinationBound( FieldStage stage ) const {
   const std::vector< FieldGroup* >& groups = state_->stage( stage ).groups;
   return std::any_of( groups.begin(), groups.end(),
         []( const FieldGroup* group ) { return group->destinationBound != 0; } );
}

int FieldProcessor::lookup(
      FieldStage stage, GroupChoice choice, const LookupKey& key, Match* out, int room ) const {
   bool wantBound = choice == GroupChoice::destinationBound;
   int matches = 0;
   for ( const FieldGroup* group : state_->stage( stage ).groups ) {
      if ( ( group->destinationBound != 0 ) != wantBound ) {
         continue;
      }
      if ( matches == room ) {
         break;
      }
      int slot = group->lookup.find( key );
      if ( slot >= 0 ) {
         FieldEntry* entry = group->bySlot[ static_cast< size_t >( slot ) ];
         const EntryContents& contents = entry->effective();
         out[ matches++ ] = { group->id, entry->id, &contents.actions, contents.policer,
            entry };
      }
   }
   return matches;
}

int FieldProcessor::capacity( FieldStage stage ) const {
   return state_->stage( stage ).capacity;
}

void FieldProcessor::capacityIs( FieldStage stage, int entries ) {
   ZOL_ASSERT( entries >= 0 );
   state_->stage( stage ).capacity = entries;
}

bool FieldProcessor::namesDestination( int unit, int destination ) const {
   const auto names = [ & ]( const ActionValue& action ) {
      return mirrorsTo(
            action, static_cast< uint32_t >( unit ), static_cast< uint32_t >( destination ) );
   };
   bool isNamed = false;
   state_->entries.forEach( [ & ]( const FieldEntry& entry ) {
      isNamed = isNamed ||
            ( entry.installed() && std::ranges::any_of( entry.effective().actions, names ) );
   } );
   return isNamed;
}

int FieldProcessor::entriesUsed( FieldStage stage ) const {
   return state_->stage( stage ).used;
}

} // namespace ChipModel
