#include "Agent/Configuration/Draft.h"

#include <algorithm>

#include "Agent/Configuration/Names.h"
#include "Platform/Zol/Assert.h"

namespace Agent {

const ChipModel::Profile& Draft::profileOf( int unit ) const {
   const ChipModel::Profile* profile =
         ChipModel::chipProfile( configuration.chips.at( unit ).profile );
   ZOL_ASSERT( profile );
   return *profile;
}

bool Draft::isInterface( const std::string& name ) const {
   return configuration.ports.contains( name ) || configuration.portChannels.contains( name );
}

std::optional< NamedInterface > Draft::find( const std::string& name ) const {
   constexpr uint64_t highestVlan = 4094;
   if ( isInterface( name ) ) {
      return NamedInterface{ name, 0 };
   }
   const size_t dot = name.rfind( '.' );
   const std::string digits = dot == std::string::npos ? "" : name.substr( dot + 1 );
   if ( digits.empty() || digits[ 0 ] < '1' || digits[ 0 ] > '9' ) {
      return std::nullopt;
   }
   const auto vlanId = parseNumber( digits );
   if ( !vlanId || *vlanId > highestVlan || !isInterface( name.substr( 0, dot ) ) ) {
      return std::nullopt;
   }
   return NamedInterface{ name.substr( 0, dot ), static_cast< uint16_t >( *vlanId ) };
}

std::vector< Plix::IntfId > Draft::interfacesOf(
      const std::vector< std::string >& names ) const {
   std::vector< Plix::IntfId > found;
   for ( const std::string& name : names ) {
      const auto named = find( name );
      ZOL_ASSERT( named );
      const auto channel = configuration.portChannels.find( named->base );
      if ( channel == configuration.portChannels.end() ) {
         found.emplace_back( named->base, named->vlanId );
         continue;
      }
      for ( const std::string& member : channel->second.members ) {
         found.emplace_back( member, named->vlanId );
      }
   }
   // A port as a whole comes before its sub-interfaces.
   std::sort( found.begin(), found.end() );
   const auto end = std::unique(
         found.begin(), found.end(), []( const Plix::IntfId& kept, const Plix::IntfId& next ) {
            return kept.port() == next.port() &&
                  ( !kept.isSubIntf() || kept.vlanId() == next.vlanId() );
         } );
   found.erase( end, found.end() );
   return found;
}

std::vector< std::string > Draft::interfaceList( EntryReader& entry, std::string_view field ) {
   std::vector< std::string > names = entry.list( field );
   std::erase_if( names, [ & ]( const std::string& name ) {
      if ( find( name ) ) {
         return false;
      }
      const size_t dot = name.rfind( '.' );
      if ( dot != std::string::npos && isInterface( name.substr( 0, dot ) ) ) {
         entry.error( field,
               name + " is not a sub-interface; allowed: a dot and an outer VLAN, 1 to 4094" );
      } else {
         entry.error( field, unknownInterface( name ) );
      }
      return true;
   } );
   return names;
}

const Table& Draft::table( const std::string& name ) const {
   static const Table none;
   const auto found = tables.tables.find( name );
   return found == tables.tables.end() ? none : found->second;
}

std::vector< const Table::value_type* > Draft::entries( const std::string& name ) const {
   std::vector< const Table::value_type* > sorted;
   for ( const Table::value_type& entry : table( name ) ) {
      sorted.push_back( &entry );
   }
   std::sort( sorted.begin(), sorted.end(), []( const auto* left, const auto* right ) {
      return NaturalLess()( left->first, right->first );
   } );
   return sorted;
}

std::string Draft::unknownInterface( const std::string& name ) {
   return ( name.empty() ? "empty" : "there is no " + name ) +
         "; allowed: a port of PORT or a port channel of PORTCHANNEL";
}

} // namespace Agent
