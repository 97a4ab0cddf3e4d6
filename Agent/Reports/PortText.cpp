#include "Agent/Reports/PortText.h"

#include <algorithm>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/FieldWords.h"

namespace Agent {

namespace {

using ChipModel::ChipState;
using ChipModel::EntryView;

const Shim::MirrorDestination* targetOf( const ChipState& chip, uint32_t destination ) {
   for ( const auto& mirror : chip.mirrorDestinations ) {
      if ( mirror.destination == static_cast< int >( destination ) && mirror.value ) {
         return &*mirror.value;
      }
   }
   return nullptr;
}

std::string targetPort(
      const Runtime& runtime, int unit, const Shim::MirrorDestination& target ) {
   return target.kind == Shim::MirrorDestination::Kind::trunk
         ? trunkName( runtime, unit, target.id )
         : runtime.portName( unit, target.id );
}

bool matchesTunnel( const EntryView& entry, const Shim::MirrorTunnel& tunnel ) {
   bool hasAddress = false;
   for ( const ChipModel::QualifierValue& value : entry.qualifiers ) {
      const bool isSource = value.qualifier == Shim::Qualifier::srcIp;
      if ( isSource || value.qualifier == Shim::Qualifier::dstIp ) {
         hasAddress = true;
         const Plix::IpGenAddr& end = isSource ? tunnel.srcIp : tunnel.dstIp;
         if ( FieldWords::address( value.data ) != end.toString() ) {
            return false;
         }
      }
      if ( value.qualifier == Shim::Qualifier::dscp &&
            ( ( value.data[ 0 ] ^ tunnel.trafficClass ) & value.mask[ 0 ] ) != 0 ) {
         return false;
      }
   }
   return hasAddress;
}

// The mirror destination that an entry's actions name, or that an entry for copies is about: the
// one whose tunnel has the addresses that it matches.
int destinationOf( const ChipState& chip, const EntryView& entry ) {
   for ( const ChipModel::ActionValue& action : entry.actions ) {
      if ( action.action == Shim::FieldAction::mirrorIngress ||
            action.action == Shim::FieldAction::mirrorEgress ) {
         return static_cast< int >( action.param1 );
      }
      if ( action.action == Shim::FieldAction::mirrorIngressTo ) {
         return static_cast< int >( action.param0 );
      }
   }
   if ( entry.stage == Shim::FieldStage::egress ) {
      for ( const auto& mirror : chip.mirrorDestinations ) {
         if ( mirror.value && mirror.value->tunnel &&
               matchesTunnel( entry, *mirror.value->tunnel ) ) {
            return mirror.destination;
         }
      }
   }
   return -1;
}

// From Ethernet4 to Ethernet8 it is 4; none between names of other letters.
std::optional< long > stepOf( const std::string& from, const std::string& to ) {
   const size_t letters = from.find_last_not_of( "0123456789" ) + 1;
   if ( letters == from.size() || from.size() - letters > 9 || to.size() - letters > 9 ||
         to.find_last_not_of( "0123456789" ) + 1 != letters ||
         to.compare( 0, letters, from, 0, letters ) != 0 ) {
      return {};
   }
   return std::stol( to.substr( letters ) ) - std::stol( from.substr( letters ) );
}

} // namespace

std::vector< std::string > portNames(
      const Runtime& runtime, int unit, const Shim::PortBitmap& ports ) {
   std::vector< std::string > names;
   for ( size_t port = 0; port < ports.size(); ++port ) {
      if ( ports.test( port ) ) {
         names.push_back( runtime.portName( unit, static_cast< int >( port ) ) );
      }
   }
   std::ranges::sort( names, NaturalLess() );
   return names;
}

std::string portList( const Runtime& runtime, int unit, const Shim::PortBitmap& ports ) {
   const std::vector< std::string > names = portNames( runtime, unit, ports );
   if ( names.size() < 3 ) {
      return names.empty() ? "no port" : joined( names );
   }
   // All there are on any chip: a run may leave none of them out.
   std::vector< std::string > all = names;
   for ( const auto& [ name, port ] : runtime.configuration().ports ) {
      all.push_back( name );
   }
   std::ranges::sort( all, NaturalLess() );
   all.erase( std::unique( all.begin(), all.end() ), all.end() );
   std::vector< std::string > texts;
   for ( size_t first = 0; first < names.size(); ) {
      auto at = std::ranges::find( all, names[ first ] );
      size_t end = first + 1;
      // Steps differ where a port between is missing.
      while ( end < names.size() && *++at == names[ end ] &&
            stepOf( names[ end - 1 ], names[ end ] ) ==
                  stepOf( names[ first ], names[ first + 1 ] ) ) {
         ++end;
      }
      if ( end - first < 3 || !stepOf( names[ first ], names[ first + 1 ] ) ) {
         end = first + 1;
      }
      texts.push_back(
            end == first + 1 ? names[ first ] : names[ first ] + "-" + names[ end - 1 ] );
      first = end;
   }
   return joined( texts );
}

Cell portsCell( const Runtime& runtime, int unit, const Shim::PortBitmap& ports ) {
   return { portNames( runtime, unit, ports ), portList( runtime, unit, ports ) };
}

std::string trunkName( const Runtime& runtime, int unit, int trunk ) {
   for ( const auto& [ name, channel ] : runtime.configuration().portChannels ) {
      if ( channel.unit == unit && channel.trunk == trunk ) {
         return name;
      }
   }
   return "trunk " + std::to_string( trunk );
}

std::string mirrorTargetName(
      const Runtime& runtime, const ChipState& chip, uint32_t destination ) {
   const Shim::MirrorDestination* target = targetOf( chip, destination );
   if ( !target ) {
      return "not set";
   }
   return ( target->tunnel ? "tunnel to " + target->tunnel->dstIp.toString() + " by " : "" ) +
         targetPort( runtime, chip.unit, *target );
}

Value mirrorTarget( const Runtime& runtime, const ChipState& chip, uint32_t destination ) {
   const Shim::MirrorDestination* target = targetOf( chip, destination );
   if ( !target ) {
      return {};
   }
   Value::Object object{ { "port", targetPort( runtime, chip.unit, *target ) } };
   if ( target->tunnel ) {
      object.emplace_back( "tunnel", target->tunnel->dstIp.toString() );
   }
   return object;
}

std::string sessionOf( const Runtime& runtime, const std::vector< SessionState >& sessions,
      const ChipState& chip, const EntryView& entry ) {
   const int destination = destinationOf( chip, entry );
   for ( const SessionState& session : sessions ) {
      for ( const HeldDestination& held : session.held ) {
         if ( held.unit == chip.unit && int( held.mtp.value() ) == destination ) {
            return session.config->name;
         }
      }
   }
   // An entry of a filter that copies nothing: the plug-in has named it by its session.
   std::string found;
   for ( const auto& [ name, session ] : runtime.configuration().sessions ) {
      if ( name.size() > found.size() &&
            ( entry.name == name || entry.name.starts_with( name + " " ) ) ) {
         found = name;
      }
   }
   return found;
}

} // namespace Agent
