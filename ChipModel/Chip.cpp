#include "ChipModel/Chip.h"

namespace ChipModel {

using Shim::FieldStage;

Chip::Chip( int unit, const Profile& profile, const SwitchContext& context )
      : unit_( unit ), profile_( profile ), tables_( profile_, context ), fields_( profile_ ),
        pipeline_( unit, tables_, fields_ ) {}

ChipState Chip::state() const {
   ChipState state;
   state.unit = unit_;
   state.profile = profile_.name;
   state.ingressEntries = fields_.capacity( FieldStage::ingress );
   state.egressEntries = fields_.capacity( FieldStage::egress );
   for ( int number = 0; number <= tables_.ports.last(); ++number ) {
      const Port& port = tables_.ports.port( number );
      state.ports.push_back( { number, tables_.ports.enabled( number ), port.untaggedVlan,
            port.classBits, tables_.trunks.trunkOf( number ), pipeline_.counters( number ) } );
   }
   for ( uint16_t vid = 1; VlanTable::isVid( vid ); ++vid ) {
      if ( const Vlan& vlan = tables_.vlans.vlan( vid ); vlan.exists ) {
         state.vlans.push_back( { vid, vlan.members.bitmap(), vlan.untagged.bitmap() } );
      }
   }
   for ( int trunk : tables_.trunks.trunks() ) {
      state.trunks.push_back( { trunk, tables_.trunks.members( trunk ) } );
   }
   state.l2Addresses = tables_.l2.addresses();
   for ( int destination = 0; destination < tables_.mirrors.size(); ++destination ) {
      const MirrorTable::Entry& entry = tables_.mirrors.entry( destination );
      state.mirrorDestinations.push_back( { destination, entry.value, entry.counters } );
   }
   if ( tables_.controls.has() ) {
      for ( uint8_t control = 0; control < Shim::switchControlCount; ++control ) {
         state.switchControls.push_back(
               tables_.controls.setting( static_cast< Shim::SwitchControl >( control ) ) );
      }
   }
   state.memories = tables_.memories.entries();
   state.insertProfiles = tables_.logical.view();
   state.strayCopies = pipeline_.strayCopies();
   state.cpuCopies = pipeline_.cpuCopies();
   state.policerCapacity = fields_.policerCapacity();
   state.policers = fields_.policers();
   state.ranges = fields_.ranges();
   state.groups = fields_.groups();
   state.entries = fields_.entries();
   return state;
}

} // namespace ChipModel
