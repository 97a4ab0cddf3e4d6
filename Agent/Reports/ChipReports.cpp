#include "Agent/Reports/AgentReports.h"

#include <algorithm>
#include <cstdio>

namespace Agent {

namespace {

using ChipModel::ChipState;
using ChipModel::EntryView;
using ChipModel::QualifierValue;

std::string hex( uint32_t value ) {
   char text[ 16 ];
   std::snprintf( text, sizeof text, "0x%x", value );
   return text;
}

Shim::PortBitmap portsOfClass( const ChipState& chip, uint32_t data, uint32_t mask ) {
   Shim::PortBitmap ports;
   for ( const ChipModel::PortState& port : chip.ports ) {
      if ( ( port.classBits & mask ) == ( data & mask ) ) {
         ports.set( static_cast< size_t >( port.port ) );
      }
   }
   return ports;
}

std::string trunkName( const Runtime& runtime, int unit, int trunk ) {
   for ( const auto& [ name, channel ] : runtime.configuration().portChannels ) {
      if ( channel.unit == unit && channel.trunk == trunk ) {
         return name;
      }
   }
   return "trunk " + std::to_string( trunk );
}

std::string qualifierText(
      const Runtime& runtime, const ChipState& chip, const QualifierValue& value ) {
   switch ( value.qualifier ) {
   case Shim::Qualifier::inPorts:
      return "in " + portList( runtime, chip.unit, value.ports );
   case Shim::Qualifier::portClass:
      return "in class " + hex( value.data[ 0 ] ) + " (" +
             portList( runtime, chip.unit,
                   portsOfClass( chip, value.data[ 0 ], value.mask[ 0 ] ) ) +
             ")";
   case Shim::Qualifier::dstPort:
      return "out " + runtime.portName( chip.unit, static_cast< int >( value.data[ 1 ] ) );
   case Shim::Qualifier::dstTrunk:
      return "out " + trunkName( runtime, chip.unit, static_cast< int >( value.data[ 0 ] ) );
   case Shim::Qualifier::drop:
      return "drop " + std::to_string( value.data[ 0 ] ) + "/" + hex( value.mask[ 0 ] );
   case Shim::Qualifier::outerVlanId:
      return "VLAN " + std::to_string( value.data[ 0 ] ) + "/" + hex( value.mask[ 0 ] );
   default: return "?";
   }
}

std::string targetName( const Runtime& runtime, const ChipState& chip, uint32_t destination ) {
   for ( const auto& mirror : chip.mirrorDestinations ) {
      if ( mirror.destination == static_cast< int >( destination ) && mirror.value ) {
         return mirror.value->kind == Shim::MirrorDestination::Kind::trunk
                      ? trunkName( runtime, chip.unit, mirror.value->id )
                      : runtime.portName( chip.unit, mirror.value->id );
      }
   }
   return "not set";
}

std::string actionText( const Runtime& runtime, const ChipState& chip,
      const ChipModel::ActionValue& action ) {
   const bool ingress = action.action == Shim::FieldAction::mirrorIngress;
   return std::string( "copy as " ) + ( ingress ? "received" : "sent" ) + " to mirror " +
          std::to_string( action.param1 ) + " (" +
          targetName( runtime, chip, action.param1 ) + ")";
}

std::vector< Cell > entryRow(
      const Runtime& runtime, const ChipState& chip, const EntryView& entry ) {
   std::string matches;
   for ( const QualifierValue& value : entry.qualifiers ) {
      matches += ( matches.empty() ? "" : ", " ) + qualifierText( runtime, chip, value );
   }
   std::string actions;
   for ( const ChipModel::ActionValue& action : entry.actions ) {
      actions += ( actions.empty() ? "" : ", " ) + actionText( runtime, chip, action );
   }
   return { int64_t( chip.unit ), int64_t( entry.group ), int64_t( entry.id ),
      int64_t( entry.priority ), entry.name, matches.empty() ? "everything" : matches, actions,
      static_cast< int64_t >( entry.packets ), static_cast< int64_t >( entry.bytes ) };
}

} // namespace

std::string portList( const Runtime& runtime, int unit, const Shim::PortBitmap& ports ) {
   std::string text;
   for ( size_t port = 0; port < ports.size(); ++port ) {
      if ( !ports.test( port ) ) {
         continue;
      }
      size_t last = port;
      while ( last + 1 < ports.size() && ports.test( last + 1 ) ) {
         ++last;
      }
      text += text.empty() ? "" : ", ";
      text += runtime.portName( unit, static_cast< int >( port ) );
      if ( last > port ) {
         text += last > port + 1 ? "-" : ", ";
         text += runtime.portName( unit, static_cast< int >( last ) );
      }
      port = last;
   }
   return text.empty() ? "no port" : text;
}

Report tcamReport( Runtime& runtime ) {
   Report report{ "tcam",
      { "chip", "group", "entry", "priority", "name", "matches", "action", "packets", "bytes" },
      {}, "no TCAM entry is installed" };
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      for ( const EntryView& entry : chip.entries ) {
         if ( entry.installed ) {
            report.rows.push_back( entryRow( runtime, chip, entry ) );
         }
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
         report.rows.push_back( { int64_t( unit ),
            stage == Shim::FieldStage::ingress ? "ingress" : "egress", capacity, used,
            std::max< int64_t >( 0, capacity - used ) } );
      }
   }
   return report;
}

std::vector< Report > tableReports( Runtime& runtime ) {
   Report ports{ "ports", { "chip", "port", "number", "enabled", "untagged VLAN", "trunk", "class" },
      {}, "no ports" };
   Report vlans{ "vlans", { "chip", "VLAN", "tagged", "untagged" }, {}, "no VLANs" };
   Report trunks{ "trunks", { "chip", "trunk", "name", "members" }, {}, "no trunks" };
   Report addresses{ "l2", { "chip", "VLAN", "MAC", "behind", "kind" }, {},
      "no L2 addresses" };
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
            int64_t( port.port ), port.enabled ? "yes" : "no", int64_t( port.untaggedVlan ),
            port.trunk < 0 ? "" : trunkName( runtime, unit, port.trunk ),
            port.classBits ? hex( port.classBits ) : "" } );
      }
      for ( const ChipModel::VlanState& vlan : chip.vlans ) {
         vlans.rows.push_back( { number, int64_t( vlan.vid ),
            portList( runtime, unit, vlan.members & ~vlan.untagged ),
            portList( runtime, unit, vlan.untagged ) } );
      }
      for ( const ChipModel::TrunkState& trunk : chip.trunks ) {
         std::string members;
         for ( int port : trunk.members ) {
            members += ( members.empty() ? "" : ", " ) + runtime.portName( unit, port );
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
            targetName( runtime, chip, index ), int64_t( mirror.counters.frames ),
            int64_t( mirror.counters.bytes ), int64_t( mirror.counters.dropped ),
            int64_t( mirror.counters.lost ) } );
      }
   }
   return { ports, vlans, trunks, addresses, mirrors };
}

} // namespace Agent
