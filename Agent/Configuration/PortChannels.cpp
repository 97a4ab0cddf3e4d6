// PORTCHANNEL and PORTCHANNEL_MEMBER: link aggregations, their members and trunk ids.

#include <algorithm>
#include <set>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"

namespace Agent {

namespace {

constexpr std::string_view prefix = "PortChannel";

// The number in "PortChannel0012"; none if it is no port channel's name.
std::optional< int > numberOf( const std::string& name ) {
   constexpr size_t mostDigits = 4;
   if ( !name.starts_with( prefix ) ) {
      return std::nullopt;
   }
   const std::string digits = name.substr( prefix.size() );
   if ( digits.empty() || digits.size() > mostDigits ||
         digits.find_first_not_of( "0123456789" ) != std::string::npos ) {
      return std::nullopt;
   }
   return std::stoi( digits );
}

void readPortChannel( Draft& draft, const std::string& name, const Entry& entry ) {
   EntryReader reader( schema().portChannel, name, entry, draft.findings );
   if ( !numberOf( name ) ) {
      reader.error( "not a port channel's name; allowed: PortChannel and 1 to 4 digits" );
   }
   PortChannelConfig channel;
   channel.name = name;
   channel.place = entry.place;
   channel.unit = draft.configuration.chips.begin()->first;
   channel.adminUp = reader.read( schema().portChannel.adminStatus );
   channel.minLinks = reader.read( schema().portChannel.minLinks );
   draft.configuration.portChannels[ name ] = channel;
}

void readMember( Draft& draft, const std::string& key, const Entry& entry ) {
   EntryReader reader( schema().portChannelMember, key, entry, draft.findings );
   const EntryName names = entryName( key );
   const std::string& portName = names.key;
   auto& channels = draft.configuration.portChannels;
   auto channel = channels.find( names.table );
   auto port = draft.configuration.ports.find( portName );
   if ( channel == channels.end() ) {
      reader.error( "there is no " + names.table +
            "; allowed: a port channel of PORTCHANNEL, a bar, and a port of PORT" );
      return;
   }
   if ( port == draft.configuration.ports.end() ) {
      reader.error( "there is no port '" + portName + "'; allowed: a port of PORT" );
      return;
   }
   auto [ at, isNew ] = draft.channelByPort.try_emplace( portName, names.table );
   if ( !isNew ) {
      reader.error(
            portName + " is in " + at->second + ", too; allowed: one port channel per port" );
      return;
   }
   auto& members = channel->second.members;
   if ( !members.empty() && channel->second.unit != port->second.unit ) {
      reader.error( portName + " is on chip " + std::to_string( port->second.unit ) + ", " +
            members.front() + " of the same port channel on chip " +
            std::to_string( channel->second.unit ) + "; allowed: members on one chip" );
      return;
   }
   channel->second.unit = port->second.unit;
   members.push_back( portName );
   const int most = draft.profileOf( port->second.unit ).trunkMembers;
   if ( members.size() == static_cast< size_t >( most ) + 1 ) {
      reader.error(
            names.table + " has too many members; allowed: up to " + std::to_string( most ) );
   }
}

// The older field PORTCHANNEL.members is a copy of PORTCHANNEL_MEMBER, which counts.
void compareMembers( Draft& draft, const std::string& name, const Entry& entry ) {
   const auto& members = draft.configuration.portChannels.at( name ).members;
   const Field* field = entry.find( schema().portChannel.members );
   for ( const std::string& port : splitList( field ? field->text : "" ) ) {
      if ( std::find( members.begin(), members.end(), port ) == members.end() ) {
         draft.findings.warnings.push_back( { field->place,
               "PORTCHANNEL|" + name + ": members: " + port +
                     " is not in PORTCHANNEL_MEMBER, and that is what counts" } );
      }
   }
}

// The trunk that the port channel has had; none if it has been on another chip, or not there.
std::optional< int > trunkBefore( const Draft& draft, const PortChannelConfig& channel ) {
   const auto before = draft.previous.portChannels.find( channel.name );
   return before == draft.previous.portChannels.end() || before->second.unit != channel.unit
         ? std::nullopt
         : std::optional< int >( before->second.trunk );
}

void numberTrunks( Draft& draft, int unit ) {
   const int trunks = draft.profileOf( unit ).trunks;
   std::vector< PortChannelConfig* > waiting;
   std::set< int > taken;
   auto take = [ & ]( PortChannelConfig& channel, std::optional< int > trunk ) {
      if ( !trunk || *trunk >= trunks || !taken.insert( *trunk ).second ) {
         return false;
      }
      channel.trunk = *trunk;
      return true;
   };
   for ( const Table::value_type* entry : draft.entries( schema().portChannel.name ) ) {
      PortChannelConfig& channel = draft.configuration.portChannels.at( entry->first );
      if ( channel.unit == unit && !take( channel, trunkBefore( draft, channel ) ) ) {
         waiting.push_back( &channel );
      }
   }
   std::erase_if( waiting, [ & ]( PortChannelConfig* channel ) {
      return take( *channel, numberOf( channel->name ) );
   } );
   const size_t count = taken.size() + waiting.size();
   int next = 0;
   for ( PortChannelConfig* channel : waiting ) {
      while ( taken.contains( next ) ) {
         ++next;
      }
      if ( next >= trunks ) {
         draft.findings.errors.push_back( { channel->place,
               "PORTCHANNEL|" + channel->name + ": chip " + std::to_string( unit ) +
                     " has no trunk left for it: there are " + std::to_string( count ) +
                     " port channels; allowed: up to " + std::to_string( trunks ) } );
         return;
      }
      channel->trunk = next;
      taken.insert( next );
   }
}

} // namespace

void readPortChannels( Draft& draft ) {
   for ( const Table::value_type* channel : draft.entries( schema().portChannel.name ) ) {
      readPortChannel( draft, channel->first, channel->second );
   }
   for ( const Table::value_type* member : draft.entries( schema().portChannelMember.name ) ) {
      readMember( draft, member->first, member->second );
   }
   for ( const Table::value_type* channel : draft.entries( schema().portChannel.name ) ) {
      compareMembers( draft, channel->first, channel->second );
   }
   for ( const auto& [ unit, chip ] : draft.configuration.chips ) {
      numberTrunks( draft, unit );
   }
}

} // namespace Agent
