// CHIP and PORT: which chips there are, which port is on which of them, and under which
// number.

#include <algorithm>
#include <set>

#include "Agent/Configuration/Draft.h"
#include "Agent/Configuration/Names.h"

namespace Agent {

namespace {

constexpr int highestUnit = 7;
constexpr size_t longestPortName = 128;

std::string profileNames() {
   std::vector< std::string_view > names;
   for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
      names.push_back( profile.name );
   }
   return joined( names );
}

void readChip( Draft& draft, const std::string& key, const Entry& entry ) {
   const ChipFields& fields = schema().chip;
   EntryReader reader( fields, key, entry, draft.findings );
   if ( key.size() != 1 || key[ 0 ] < '0' || key[ 0 ] > '0' + highestUnit ) {
      reader.error( "not a unit; allowed: 0 to " + std::to_string( highestUnit ) );
      return;
   }
   ChipConfig chip;
   chip.unit = key[ 0 ] - '0';
   chip.place = entry.place;
   chip.profile = draft.defaultProfile;
   if ( reader.has( fields.profile ) ) {
      const std::string profile = reader.text( fields.profile );
      if ( ChipModel::chipProfile( profile ) ) {
         chip.profile = profile;
      } else {
         reader.error( fields.profile, "unknown; allowed: " + profileNames() );
      }
   }
   chip.ingressEntries = reader.read( fields.ingressEntries );
   chip.egressEntries = reader.read( fields.egressEntries );

   for ( const std::string& port : reader.list( fields.ports ) ) {
      if ( !draft.table( schema().port.name ).contains( port ) ) {
         reader.error( fields.ports, port + " is not in PORT; allowed: ports of PORT" );
      } else if ( auto [ at, isNew ] = draft.unitByPort.try_emplace( port, chip.unit );
                  !isNew ) {
         reader.error( fields.ports,
               port + " is repeated, before on chip " + std::to_string( at->second ) +
                     "; allowed: once" );
      }
   }
   draft.configuration.chips[ chip.unit ] = chip;
}

// Names stand in lists and keys, and files of packets are named by them. A dot is for
// sub-interfaces.
bool isPortName( const std::string& name ) {
   const bool plain = std::all_of( name.begin(), name.end(),
         []( char c ) { return isLetterOrDigit( c ) || c == '_' || c == '-'; } );
   return plain && !name.empty() && ( name[ 0 ] < '0' || name[ 0 ] > '9' ) &&
         isLetterOrDigit( name[ 0 ] ) && name.size() <= longestPortName &&
         !sameText( name, "cpu" ) && !name.starts_with( "PortChannel" ) &&
         !name.starts_with( "Vlan" );
}

// Gives chip ports to the ports of one chip.
class Numbering {
 public:
   Numbering( const Draft& draft, int unit )
         : unit_( unit ), profile_( draft.profileOf( unit ) ) {}

   void takeExplicit( EntryReader& reader, PortConfig& port ) {
      const FieldSchema& field = schema().port.chipPort;
      const std::optional< int > number = reader.read( schema().port.chipPort );
      if ( !number ) {
         return;
      }
      if ( *number > profile_.ports ) {
         reader.error( field,
               std::to_string( *number ) + " is not on chip " + std::to_string( unit_ ) +
                     "; allowed: 1 to " + std::to_string( profile_.ports ) + " (" +
                     std::string( profile_.name ) + ")" );
      } else if ( auto [ at, isNew ] = taken_.try_emplace( *number, port.name ); !isNew ) {
         reader.error( field,
               std::to_string( *number ) + " is taken by " + at->second +
                     "; allowed: a number that is free" );
      }
      // Even if it is wrong: the port asked for none of the others.
      port.chipPort = *number;
   }
   // The number that the port has had, unless another asks for it.
   void keep( PortConfig& port, const Configuration& previous ) {
      const auto before = previous.ports.find( port.name );
      if ( before != previous.ports.end() && before->second.unit == port.unit &&
            before->second.chipPort <= profile_.ports &&
            taken_.try_emplace( before->second.chipPort, port.name ).second ) {
         port.chipPort = before->second.chipPort;
      }
   }
   // False if the chip has no port left.
   bool takeNext( PortConfig& port ) {
      while ( taken_.contains( next_ ) ) {
         ++next_;
      }
      if ( next_ > profile_.ports ) {
         return false;
      }
      port.chipPort = next_;
      taken_[ next_ ] = port.name;
      return true;
   }

 private:
   int unit_;
   const ChipModel::Profile& profile_;
   std::map< int, std::string > taken_;
   int next_ = 1;
};

using Numberings = std::map< int, Numbering >;

// Fields that have no effect here.
void checkOthers( EntryReader& reader ) {
   const PortFields& fields = schema().port;
   reader.read( fields.mtu );
   reader.read( fields.speed );
   reader.read( fields.index );
   for ( const std::string& lane : reader.list( fields.lanes ) ) {
      if ( !parseNumber( lane ) ) {
         reader.notAllowed( fields.lanes, "numbers with commas between them" );
         break;
      }
   }
}

void readPort(
      Draft& draft, const std::string& name, const Entry& entry, Numberings& numberings ) {
   const PortFields& fields = schema().port;
   EntryReader reader( fields, name, entry, draft.findings );
   if ( !isPortName( name ) ) {
      reader.error( "not a port's name; allowed: up to " + std::to_string( longestPortName ) +
            " letters, digits, '-' and '_', the first a letter, not cpu and not beginning "
            "with PortChannel or Vlan" );
   }
   PortConfig port;
   port.name = name;
   port.place = entry.place;
   auto unit = draft.unitByPort.find( name );
   port.unit = unit != draft.unitByPort.end() ? unit->second
                                              : draft.configuration.chips.begin()->first;
   port.adminUp = reader.read( fields.adminStatus );
   port.alias = reader.text( fields.alias );
   port.channel = reader.read( fields.channel );
   checkOthers( reader );
   numberings.at( port.unit ).takeExplicit( reader, port );
   draft.configuration.ports[ name ] = port;
}

// Numbers for the ports that ask for none: those that they have, for the others the lowest in
// natural order.
void numberTheOthers( Draft& draft, Numberings& numberings ) {
   for ( auto& [ name, port ] : draft.configuration.ports ) {
      if ( !port.chipPort ) {
         numberings.at( port.unit ).keep( port, draft.previous );
      }
   }
   std::set< int > full;
   for ( const Table::value_type* entry : draft.entries( schema().port.name ) ) {
      PortConfig& port = draft.configuration.ports.at( entry->first );
      if ( port.chipPort || numberings.at( port.unit ).takeNext( port ) ||
            !full.insert( port.unit ).second ) {
         continue;
      }
      const auto& ports = draft.configuration.ports;
      const auto count = std::count_if( ports.begin(), ports.end(),
            [ & ]( const auto& other ) { return other.second.unit == port.unit; } );
      const ChipModel::Profile& profile = draft.profileOf( port.unit );
      draft.findings.errors.push_back( { port.place,
            "PORT|" + port.name + ": chip " + std::to_string( port.unit ) +
                  " has no port left for it: there are " + std::to_string( count ) +
                  " ports; allowed: up to " + std::to_string( profile.ports ) + " (" +
                  std::string( profile.name ) + ")" } );
   }
}

} // namespace

void readChips( Draft& draft ) {
   for ( const Table::value_type* chip : draft.entries( schema().chip.name ) ) {
      readChip( draft, chip->first, chip->second );
   }
   // Also if there are chips and none of them can be read, so that reading can go on.
   if ( draft.configuration.chips.empty() ) {
      draft.configuration.chips[ 0 ].profile = draft.defaultProfile;
   }
}

void readPorts( Draft& draft ) {
   Numberings numberings;
   for ( const auto& [ unit, chip ] : draft.configuration.chips ) {
      numberings.try_emplace( unit, draft, unit );
   }
   for ( const Table::value_type* port : draft.entries( schema().port.name ) ) {
      readPort( draft, port->first, port->second, numberings );
   }
   numberTheOthers( draft, numberings );
}

} // namespace Agent
