#include "ChipModel/ReadBack.h"

#include <array>
#include <charconv>
#include <map>
#include <string_view>

#include "ChipModel/Fields/FieldCatalogue.h"
#include "ChipModel/Fields/FieldNames.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

namespace {

using Line = std::pair< std::string, std::string >;

std::string text( uint64_t value ) { return std::to_string( value ); }
std::string text( int value ) { return std::to_string( value ); }
std::string text( bool value ) { return value ? "yes" : "no"; }
std::string_view text( Shim::FieldStage stage ) {
   return stage == Shim::FieldStage::ingress ? "ingress" : "egress";
}

std::string hex( uint32_t value ) {
   std::array< char, 8 > digits{};
   const auto end = std::to_chars( digits.begin(), digits.end(), value, 16 ).ptr;
   return std::string( "0x" ).append( digits.begin(), end );
}

std::string text( const Shim::bcm_policer_config_s& config ) {
   return std::to_string( config.ckbits_sec ) + " kbit/s, burst " +
         std::to_string( config.ckbits_burst ) + " kbit";
}

std::string text( const Shim::MirrorTunnel& tunnel ) {
   return "MAC " + tunnel.srcMac.toString() + " to " + tunnel.dstMac.toString() + " VLAN " +
         std::to_string( tunnel.vid ) + " IP " + tunnel.srcIp.toString() + " to " +
         tunnel.dstIp.toString() + " traffic class " + hex( tunnel.trafficClass ) + " TTL " +
         std::to_string( tunnel.ttl ) + " GRE " + hex( tunnel.greProtocol ) +
         ( tunnel.greKey ? " key " + hex( *tunnel.greKey ) : "" );
}

std::string text( const Shim::PortBitmap& ports ) {
   std::string result;
   for ( size_t port = 0; port < ports.size(); ++port ) {
      if ( ports[ port ] ) {
         result += result.empty() ? "" : ",";
         result += std::to_string( port );
      }
   }
   return result.empty() ? "none" : result;
}

std::string text( const Shim::QualifierSet& set ) {
   std::string result;
   for ( size_t i = 0; i < set.size(); ++i ) {
      if ( set[ i ] ) {
         result += result.empty() ? "" : ",";
         result += qualifierName( static_cast< Shim::Qualifier >( i ) );
      }
   }
   return result.empty() ? "none" : result;
}

std::string text( const RangeView& range ) {
   return std::string( rangeName( range.what ) ) + " " + std::to_string( range.min ) + "-" +
         std::to_string( range.max );
}

// Which bit and which id a checker has differ from run to run; what it compares does not.
std::string text( const std::vector< RangeView >& ranges, uint32_t asked ) {
   std::string result;
   for ( const RangeView& range : ranges ) {
      if ( ( range.bit & asked ) != 0 ) {
         result.append( result.empty() ? "" : "," ).append( text( range ) );
      }
   }
   return result;
}

std::string text( const QualifierValue& value, const std::vector< RangeView >& ranges ) {
   ZOL_ASSERT( value.data.size() == value.mask.size() );
   switch ( fieldRow( value.qualifier ).style ) {
   case TextStyle::ports:
      return text( value.ports );
   case TextStyle::ipType:
      return std::string( ipTypeName( { value.data[ 0 ], value.mask[ 0 ] } ) );
   case TextStyle::fragment:
      return std::string( ipFragName( { value.data[ 0 ], value.mask[ 0 ] } ) );
   case TextStyle::ranges:
      return text( ranges, value.data[ 0 ] );
   default: // what is a value is printed as bits, whatever it means
      break;
   }
   std::string result;
   for ( size_t i = 0; i < value.data.size(); ++i ) {
      result.append( i == 0 ? "" : "," ).append( hex( value.data[ i ] ) );
      result.append( "/" ).append( hex( value.mask[ i ] ) );
   }
   return result;
}

std::string text( const ActionValue& action ) {
   std::string result( actionName( action.action ) );
   switch ( action.action ) {
   case Shim::FieldAction::mirrorIngress:
   case Shim::FieldAction::mirrorEgress:
      return result + " unit " + std::to_string( action.param0 ) + " destination " +
            std::to_string( action.param1 );
   case Shim::FieldAction::mirrorIngressTo:
      return result + " destination " + std::to_string( action.param0 );
   case Shim::FieldAction::cosQCpuNew:
      return result + " queue " + std::to_string( action.param0 );
   case Shim::FieldAction::svtagSignature:
      return result + " " + hex( action.param0 );
   case Shim::FieldAction::svtagPrio:
   case Shim::FieldAction::svtagDeviceId:
   case Shim::FieldAction::svtagOffset:
   case Shim::FieldAction::svtagSubportNum:
      return result + " " + std::to_string( action.param0 );
   case Shim::FieldAction::drop:
   case Shim::FieldAction::rpDrop:
   case Shim::FieldAction::svtagEnable:
      break;
   }
   return result;
}

class Describer {
 public:
   explicit Describer( ReadBackScope scope ) : all_( scope == ReadBackScope::everything ) {}

   std::vector< Line > describe( const ChipState& state );

 private:
   template < typename Value >
   void add( const std::string& place, const Value& value ) {
      lines_.emplace_back( place, value );
   }
   void addCount( const std::string& place, uint64_t value ) {
      if ( all_ ) {
         add( place, text( value ) );
      }
   }
   void addPort( const PortState& port );
   void addForwarding( const ChipState& state );
   void addMirrorDestination( const MirrorDestinationState& destination );
   void addPolicers( const ChipState& state );
   void addColors( const std::string& place, const ColorCounters& colors );
   void addFields( const ChipState& state );
   void addSettings( const ChipState& state );
   void addEntry( const EntryView& entry, const std::string& place,
         const std::vector< RangeView >& ranges );

   // A name for the n-th thing called `name`: hardware ids differ from run to run.
   std::string ordinal( const std::string& name ) {
      const int count = ++seen_[ name ];
      return count == 1 ? name : name + " #" + std::to_string( count );
   }

   bool all_;
   std::vector< Line > lines_;
   std::map< std::string, int > seen_;
   std::map< int, std::string > groupPlaces_;        // by group id
   std::map< uint32_t, std::string > policerPlaces_; // by policer id
};

std::vector< Line > Describer::describe( const ChipState& state ) {
   add( "unit", text( state.unit ) );
   add( "profile", state.profile );
   add( "ingress entries capacity", text( state.ingressEntries ) );
   add( "egress entries capacity", text( state.egressEntries ) );
   add( "policers capacity", text( state.policerCapacity ) );
   for ( const PortState& port : state.ports ) {
      addPort( port );
   }
   addForwarding( state );
   for ( const MirrorDestinationState& destination : state.mirrorDestinations ) {
      addMirrorDestination( destination );
   }
   addSettings( state );
   addCount( "stray copies", state.strayCopies );
   addCount( "CPU copies", state.cpuCopies );
   addPolicers( state );
   addFields( state );
   return std::move( lines_ );
}

void Describer::addPort( const PortState& port ) {
   const std::string place = "port " + text( port.port ) + " ";
   add( place + "enabled", text( port.enabled ) );
   add( place + "untagged VLAN", text( port.untaggedVlan ) );
   add( place + "class bits", hex( port.classBits ) );
   add( place + "trunk", text( port.trunk ) );
   const PortCounters& counters = port.counters;
   addCount( place + "rx frames", counters.rxFrames );
   addCount( place + "rx bytes", counters.rxBytes );
   addCount( place + "tx frames", counters.txFrames );
   addCount( place + "tx bytes", counters.txBytes );
   addCount( place + "tx mirror frames", counters.txMirrorFrames );
   addCount( place + "tx mirror bytes", counters.txMirrorBytes );
   addCount( place + "tx kept back", counters.txKeptBack );
   for ( size_t queue = 0; queue < counters.queues.size(); ++queue ) {
      const std::string name = place + "queue " + std::to_string( queue );
      addCount( name + " packets", counters.queues[ queue ].packets );
      addCount( name + " bytes", counters.queues[ queue ].bytes );
   }
   for ( size_t reason = 1; reason < dropReasonCount; ++reason ) {
      const auto name = dropReasonName( static_cast< DropReason >( reason ) );
      addCount( place + "drops, " + std::string( name ), counters.drops[ reason ] );
   }
}

void Describer::addForwarding( const ChipState& state ) {
   for ( const VlanState& vlan : state.vlans ) {
      const std::string place = "VLAN " + text( vlan.vid ) + " ";
      add( place + "members", text( vlan.members ) );
      add( place + "untagged", text( vlan.untagged ) );
   }
   for ( const TrunkState& trunk : state.trunks ) {
      std::string members;
      for ( int port : trunk.members ) {
         members += members.empty() ? "" : ",";
         members += text( port );
      }
      add( "trunk " + text( trunk.trunk ) + " members", members.empty() ? "none" : members );
   }
   for ( const Shim::L2Addr& address : state.l2Addresses ) {
      if ( all_ || address.isStatic ) {
         add( "address " + address.mac.toString() + " VLAN " + text( address.vid ),
               ( address.isTrunk ? "trunk " : "port " ) + text( address.destination ) +
                     ( address.isStatic ? " static" : " learned" ) );
      }
   }
}

void Describer::addMirrorDestination( const MirrorDestinationState& destination ) {
   const std::string place = "mirror destination " + text( destination.destination ) + " ";
   if ( destination.value ) {
      const bool isPort = destination.value->kind == Shim::MirrorDestination::Kind::port;
      add( place + "value", ( isPort ? "port " : "trunk " ) + text( destination.value->id ) );
      if ( destination.value->tunnel ) {
         add( place + "tunnel", text( *destination.value->tunnel ) );
      }
      if ( destination.value->queue ) {
         add( place + "queue", text( int{ *destination.value->queue } ) );
      }
   }
   addCount( place + "frames", destination.counters.frames );
   addCount( place + "bytes", destination.counters.bytes );
   addCount( place + "dropped", destination.counters.dropped );
   addCount( place + "lost", destination.counters.lost );
   addCount( place + "policed frames", destination.counters.policedFrames );
   addCount( place + "policed bytes", destination.counters.policedBytes );
   addCount( place + "filtered", destination.counters.filtered );
   addCount( place + "too long", destination.counters.tooLong );
}

// Entries that were written back to what they are after reset are like those nobody wrote.
void Describer::addSettings( const ChipState& state ) {
   for ( size_t i = 0; i < state.switchControls.size(); ++i ) {
      add( "switch control " + std::string( Shim::switchControlNames[ i ] ),
            text( state.switchControls[ i ].value ) );
   }
   for ( const MemoryEntryView& entry : state.memories ) {
      const std::string place =
            std::string( Shim::memoryNames[ entry.memory ] ) + "[" + text( entry.index ) + "] ";
      for ( const auto& [ field, value ] : entry.fields ) {
         if ( all_ || !entry.isReset ) {
            add( place + std::string( Shim::memFieldNames[ field ] ), hex( value ) );
         }
      }
   }
   for ( const LogicalEntryView& entry : state.insertProfiles ) {
      const std::string place =
            std::string( LogicalTables::insertProfiles ) + "[" + text( entry.index ) + "] ";
      for ( const auto& [ field, value ] : entry.fields ) {
         if ( all_ || value != 0 ) {
            add( place + std::string( field ), text( value ) );
         }
      }
   }
}

void Describer::addPolicers( const ChipState& state ) {
   for ( const PolicerView& policer : state.policers ) {
      const std::string name = text( policer.config );
      const std::string place =
            all_ ? "policer " + text( uint64_t{ policer.id } ) : ordinal( "policer " + name );
      policerPlaces_[ policer.id ] = place;
      add( place, name );
      addCount( place + " entries", policer.entries.size() );
      addColors( place, policer.counters );
   }
}

void Describer::addColors( const std::string& place, const ColorCounters& colors ) {
   addCount( place + " green packets", colors.green.packets );
   addCount( place + " green bytes", colors.green.bytes );
   addCount( place + " red packets", colors.red.packets );
   addCount( place + " red bytes", colors.red.bytes );
}

void Describer::addFields( const ChipState& state ) {
   for ( const RangeView& range : state.ranges ) {
      add( all_ ? "range checker " + text( range.id )
                : ordinal( "range checker " + text( range ) ),
            text( range ) );
   }
   for ( const GroupView& group : state.groups ) {
      const std::string stage( text( group.stage ) );
      const std::string place = all_
            ? "group " + text( group.id )
            : ordinal( stage + " group of priority " + text( group.priority ) );
      groupPlaces_[ group.id ] = place;
      add( place + " stage", stage );
      add( place + " priority", text( group.priority ) );
      add( place + " qualifiers", text( group.qualifiers ) );
      add( place + " entries", text( group.entries ) );
      add( place + " installed", text( group.installed ) );
   }
   for ( const EntryView& entry : state.entries ) {
      addEntry( entry,
            all_ ? "entry " + text( entry.id ) : ordinal( "entry '" + entry.name + "'" ),
            state.ranges );
   }
}

void Describer::addEntry( const EntryView& entry, const std::string& place,
      const std::vector< RangeView >& ranges ) {
   add( place + " group", groupPlaces_[ entry.group ] );
   add( place + " stage", std::string( text( entry.stage ) ) );
   add( place + " name", entry.name );
   add( place + " priority", text( entry.priority ) );
   add( place + " installed", text( entry.installed ) );
   add( place + " modified", text( entry.modified ) );
   for ( const QualifierValue& qualifier : entry.qualifiers ) {
      add( place + " " + std::string( qualifierName( qualifier.qualifier ) ),
            text( qualifier, ranges ) );
   }
   std::string actions;
   for ( const ActionValue& action : entry.actions ) {
      actions += actions.empty() ? "" : "; ";
      actions += text( action );
   }
   add( place + " actions", actions.empty() ? "none" : actions );
   if ( entry.policer != 0 ) {
      add( place + " policer", policerPlaces_[ entry.policer ] );
   }
   addCount( place + " packets", entry.packets );
   addCount( place + " bytes", entry.bytes );
   if ( entry.byColor ) {
      add( place + " counts", std::string( "by colour" ) );
      addColors( place, entry.colors );
   }
}

} // namespace

std::vector< Line > describe( const ChipState& state, ReadBackScope scope ) {
   return Describer( scope ).describe( state );
}

std::vector< std::string > differences(
      const ChipState& before, const ChipState& after, ReadBackScope scope, size_t limit ) {
   const std::vector< Line > old = describe( before, scope );
   const std::vector< Line > now = describe( after, scope );
   const std::map< std::string, std::string > oldValues( old.begin(), old.end() );
   const std::map< std::string, std::string > nowValues( now.begin(), now.end() );
   std::vector< std::string > result;
   for ( const auto& [ place, value ] : old ) {
      const auto found = nowValues.find( place );
      const std::string other = found == nowValues.end() ? "nothing" : found->second;
      if ( other != value && result.size() < limit ) {
         result.push_back( place + ": " + value + " before, " + other + " after" );
      }
   }
   for ( const auto& [ place, value ] : now ) {
      if ( !oldValues.contains( place ) && result.size() < limit ) {
         result.push_back( place + ": nothing before, " + value + " after" );
      }
   }
   return result;
}

} // namespace ChipModel
