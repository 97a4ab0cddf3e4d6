// VLAN, VLAN_MEMBER and FDB: which ports and port channels are in which VLAN, and which
// addresses are known there.

#include <algorithm>

#include "Agent/Configuration/Draft.h"

namespace Agent {

namespace {

// The number in "Vlan10"; none if it is no VLAN's name.
std::optional< uint16_t > vlanOf( const std::string& name ) {
   constexpr std::string_view prefix = "Vlan";
   constexpr size_t mostDigits = 4;
   if ( !name.starts_with( prefix ) ) {
      return std::nullopt;
   }
   const std::string digits = name.substr( prefix.size() );
   if ( digits.empty() || digits.size() > mostDigits || digits[ 0 ] == '0' ||
         digits.find_first_not_of( "0123456789" ) != std::string::npos ) {
      return std::nullopt;
   }
   return schema().vlan.vlanId.parse( digits );
}

void readVlan( Draft& draft, const std::string& name, const Entry& entry ) {
   const VlanFields& fields = schema().vlan;
   EntryReader reader( fields, name, entry, draft.findings );
   const auto vlan = vlanOf( name );
   if ( !vlan ) {
      reader.error( "not a VLAN's name; allowed: Vlan2 to Vlan4094" );
      return;
   }
   const auto id = reader.read( fields.vlanId );
   if ( id && *id != *vlan ) {
      reader.error( fields.vlanId,
            std::to_string( *id ) +
                  " is not the number in the name; "
                  "allowed: " +
                  std::to_string( *vlan ) );
   }
   VlanConfig& config = draft.configuration.vlans[ *vlan ];
   config.id = *vlan;
   config.place = entry.place;
}

// The VLAN that an entry's key names, said to be missing if it is.
VlanConfig* findVlan( Draft& draft, EntryReader& reader, const std::string& name ) {
   const auto vlan = vlanOf( name );
   const auto at = draft.configuration.vlans.find( vlan.value_or( 0 ) );
   if ( at != draft.configuration.vlans.end() ) {
      return &at->second;
   }
   if ( draft.table( schema().vlan.name ).contains( name ) ) {
      return nullptr; // what is wrong with it is said there
   }
   if ( vlan ) {
      reader.refuse( "there is no " + name + "; allowed: a VLAN of VLAN" );
   } else {
      reader.error( "the key begins with no VLAN's name; allowed: Vlan2 to Vlan4094" );
   }
   return nullptr;
}

void readMember( Draft& draft, const std::string& key, const Entry& entry,
      std::map< std::string, uint16_t >& untaggedVlan ) {
   const VlanMemberFields& fields = schema().vlanMember;
   EntryReader reader( fields, key, entry, draft.findings );
   const EntryName names = entryName( key );
   const std::string& interface = names.key;
   const Tagging tagging = reader.read( fields.taggingMode );
   VlanConfig* vlan = findVlan( draft, reader, names.table );
   if ( interface.empty() ) {
      reader.error(
            "the key names no port; allowed: a VLAN, a bar, and a port or port channel" );
   }
   if ( !vlan || interface.empty() ) {
      return;
   }
   if ( !draft.isInterface( interface ) ) {
      reader.refuse( Draft::unknownInterface( interface ) );
      return;
   }
   if ( auto channel = draft.channelByPort.find( interface );
         channel != draft.channelByPort.end() ) {
      reader.refuse( interface + " is a member of " + channel->second +
            "; allowed: the port channel in its place" );
      return;
   }
   if ( tagging == Tagging::priorityTagged ) {
      reader.warning( fields.taggingMode, "priority_tagged is served as untagged" );
   }
   const bool tagged = tagging == Tagging::tagged;
   if ( !tagged ) {
      auto [ at, isNew ] = untaggedVlan.try_emplace( interface, vlan->id );
      if ( !isNew ) {
         reader.refuse( interface + " is untagged in Vlan" + std::to_string( at->second ) +
               ", too; allowed: untagged in one VLAN" );
         return;
      }
   }
   vlan->members.push_back( { interface, tagged, entry.place } );
   draft.vlanByInterface.try_emplace( interface, vlan->id );
}

void readAddress( Draft& draft, const std::string& key, const Entry& entry ) {
   const FdbFields& fields = schema().fdb;
   EntryReader reader( fields, key, entry, draft.findings );
   const EntryName names = entryName( key );
   const auto mac = Plix::EthAddr::fromString( names.key );
   VlanConfig* const vlan = findVlan( draft, reader, names.table );
   if ( !mac || mac->isMulticast() || *mac == Plix::EthAddr() ) {
      reader.error( "not a VLAN, a bar and an address; allowed: a unicast MAC address like "
                    "02:00:00:00:00:0a, not all zero" );
   }
   FdbConfig config;
   config.place = entry.place;
   config.isStatic = reader.read( fields.isStatic );
   config.interface = reader.text( fields.port );
   if ( !reader.has( fields.port ) ) {
      reader.error( fields.port, "missing; allowed: a PORT or PORTCHANNEL in the VLAN" );
      return;
   }
   if ( !vlan || !mac ) {
      return;
   }
   if ( !draft.isInterface( config.interface ) ) {
      reader.refuse( fields.port, Draft::unknownInterface( config.interface ) );
      return;
   }
   const bool isMember = std::any_of( vlan->members.begin(), vlan->members.end(),
         [ & ]( const auto& member ) { return member.interface == config.interface; } );
   if ( !isMember ) {
      reader.refuse( fields.port,
            config.interface + " is not in " + names.table +
                  "; allowed: a PORT or PORTCHANNEL in the VLAN" );
      return;
   }
   config.vlan = vlan->id;
   config.mac = *mac;
   auto [ at, isNew ] =
         draft.configuration.fdb.try_emplace( { config.vlan, config.mac }, config );
   if ( !isNew ) {
      reader.error( "duplicate address; the first is in line " +
            std::to_string( at->second.place.line ) );
   }
}

// The older field VLAN.members is a copy of VLAN_MEMBER, which counts.
void compareMembers( Draft& draft, const std::string& name, const Entry& entry ) {
   const Field* field = entry.find( schema().vlan.members );
   const auto vlan = vlanOf( name );
   if ( !field || !vlan ) {
      return;
   }
   const auto& members = draft.configuration.vlans.at( *vlan ).members;
   for ( const std::string& interface : splitList( field->text ) ) {
      if ( std::none_of( members.begin(), members.end(),
                 [ & ]( const auto& member ) { return member.interface == interface; } ) ) {
         draft.findings.warnings.push_back( { field->place,
               "VLAN|" + name + ": members: " + interface +
                     " is not in VLAN_MEMBER, and that is what counts" } );
      }
   }
}

} // namespace

void readVlans( Draft& draft ) {
   for ( const Table::value_type* vlan : draft.entries( schema().vlan.name ) ) {
      readVlan( draft, vlan->first, vlan->second );
   }
   std::map< std::string, uint16_t > untaggedVlan;
   for ( const Table::value_type* member : draft.entries( schema().vlanMember.name ) ) {
      readMember( draft, member->first, member->second, untaggedVlan );
   }
   for ( const Table::value_type* vlan : draft.entries( schema().vlan.name ) ) {
      compareMembers( draft, vlan->first, vlan->second );
   }
}

void readFdb( Draft& draft ) {
   for ( const Table::value_type* address : draft.entries( schema().fdb.name ) ) {
      readAddress( draft, address->first, address->second );
   }
}

} // namespace Agent
