#include "Agent/Reports/AgentReports.h"

#include <algorithm>

#include "Agent/Reports/FieldText.h"

namespace Agent {

namespace {

using ChipModel::ChipState;
using ChipModel::EntryView;

const char* stageName( Shim::FieldStage stage ) {
   return stage == Shim::FieldStage::ingress ? "ingress" : "egress";
}

std::vector< Cell > entryRow( const Runtime& runtime,
      const std::vector< SessionState >& sessions, const ChipState& chip,
      const EntryView& entry ) {
   return { int64_t( chip.unit ), stageName( entry.stage ), int64_t( entry.group ),
      int64_t( entry.id ), int64_t( entry.priority ),
      textOrNothing( sessionOf( runtime, sessions, chip, entry ) ), entry.name,
      matchCell( runtime, chip, entry ),
      entry.installed ? actionsCell( runtime, chip, entry.actions )
                      : Cell( Value(), "none: holds its slot, is not installed" ),
      static_cast< int64_t >( entry.packets ), static_cast< int64_t >( entry.bytes ) };
}

} // namespace

Report tcamReport( Runtime& runtime ) {
   Report report{ "tcam",
      { "chip", "stage", "group", "entry", "priority", "session", "name", "matches", "action",
            "packets", "bytes" },
      {}, "no TCAM entry is installed" };
   const std::vector< SessionState > sessions = runtime.sessions();
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      for ( const EntryView& entry : chip.entries ) {
         report.rows.push_back( entryRow( runtime, sessions, chip, entry ) );
      }
   }
   return report;
}

Report tcamCapacityReport( Runtime& runtime ) {
   Report report{ "tcam capacity", { "chip", "stage", "entries", "used", "free" }, {}, "" };
   for ( int unit : runtime.units() ) {
      const ChipModel::FieldProcessor& fields = runtime.chips().chip( unit )->fields();
      for ( Shim::FieldStage stage : { Shim::FieldStage::ingress, Shim::FieldStage::egress } ) {
         const int64_t capacity = fields.capacity( stage );
         const int64_t used = fields.entriesUsed( stage );
         report.rows.push_back( { int64_t( unit ), stageName( stage ), capacity, used,
               std::max< int64_t >( 0, capacity - used ) } );
      }
   }
   return report;
}

std::vector< Report > tableReports( Runtime& runtime ) {
   Report ports{ "ports",
      { "chip", "port", "number", "enabled", "untagged VLAN", "trunk", "class" }, {},
      "no ports" };
   Report vlans{ "vlans", { "chip", "VLAN", "tagged", "untagged" }, {}, "no VLANs" };
   Report trunks{ "trunks", { "chip", "trunk", "name", "members" }, {}, "no trunks" };
   Report addresses{ "l2", { "chip", "VLAN", "MAC", "behind", "kind" }, {}, "no L2 addresses" };
   Report mirrors{ "mirrors",
      { "chip", "mirror", "target", "copies", "bytes", "dropped", "lost" }, {}, "" };
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      const int64_t number = unit;
      for ( const ChipModel::PortState& port : chip.ports ) {
         if ( runtime.portName( unit, port.port ).starts_with( "port " ) ) {
            continue; // nobody configured it
         }
         ports.rows.push_back( { number, runtime.portName( unit, port.port ),
               int64_t( port.port ), yesOrNo( port.enabled ), int64_t( port.untaggedVlan ),
               port.trunk < 0 ? Cell() : Cell( trunkName( runtime, unit, port.trunk ) ),
               port.classBits ? Cell( port.classBits, hex( port.classBits ) ) : Cell() } );
      }
      for ( const ChipModel::VlanState& vlan : chip.vlans ) {
         vlans.rows.push_back( { number, int64_t( vlan.vid ),
               portsCell( runtime, unit, vlan.members & ~vlan.untagged ),
               portsCell( runtime, unit, vlan.untagged ) } );
      }
      for ( const ChipModel::TrunkState& trunk : chip.trunks ) {
         std::vector< std::string > members;
         for ( int port : trunk.members ) {
            members.push_back( runtime.portName( unit, port ) );
         }
         trunks.rows.push_back( { number, int64_t( trunk.trunk ),
               trunkName( runtime, unit, trunk.trunk ), members } );
      }
      for ( const Shim::L2Addr& address : chip.l2Addresses ) {
         addresses.rows.push_back( { number, int64_t( address.vid ), address.mac.toString(),
               address.isTrunk ? trunkName( runtime, unit, address.destination )
                               : runtime.portName( unit, address.destination ),
               address.isStatic ? "static" : "learned" } );
      }
      for ( const ChipModel::MirrorDestinationState& mirror : chip.mirrorDestinations ) {
         const auto index = static_cast< uint32_t >( mirror.destination );
         mirrors.rows.push_back( { number, int64_t( mirror.destination ),
               { mirrorTarget( runtime, chip, index ),
                     mirrorTargetName( runtime, chip, index ) },
               int64_t( mirror.counters.frames ), int64_t( mirror.counters.bytes ),
               int64_t( mirror.counters.dropped ), int64_t( mirror.counters.lost ) } );
      }
   }
   return { ports, vlans, trunks, addresses, mirrors };
}

} // namespace Agent
