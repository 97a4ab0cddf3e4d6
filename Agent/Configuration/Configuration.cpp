#include "Agent/Configuration/Configuration.h"

#include <algorithm>
#include <charconv>

#include "Agent/Configuration/Names.h"

namespace Agent {

int Configuration::unitOf( const std::string& interface ) const {
   if ( auto port = ports.find( interface ); port != ports.end() ) {
      return port->second.unit;
   }
   auto channel = portChannels.find( interface );
   return channel == portChannels.end() ? -1 : channel->second.unit;
}

const VlanConfig* Configuration::vlanNamed( std::string_view name ) const {
   constexpr std::string_view prefix = "Vlan";
   if ( !name.starts_with( prefix ) ) {
      return nullptr;
   }
   name.remove_prefix( prefix.size() );
   uint16_t id = 0;
   const char* end = name.data() + name.size();
   const auto [ at, error ] = std::from_chars( name.data(), end, id );
   if ( error != std::errc() || at != end || name.starts_with( '0' ) ) {
      return nullptr;
   }
   const auto vlan = vlans.find( id );
   return vlan == vlans.end() ? nullptr : &vlan->second;
}

const PortChannelConfig* Configuration::channelOf( const std::string& port ) const {
   for ( const auto& [ name, channel ] : portChannels ) {
      const auto& members = channel.members;
      if ( std::find( members.begin(), members.end(), port ) != members.end() ) {
         return &channel;
      }
   }
   return nullptr;
}

std::string Diagnostic::where() const {
   return place.line ? place.file + ":" + std::to_string( place.line ) : place.file;
}

std::string Diagnostic::toString() const { return printable( where() + ": " + text ); }

bool SessionAcl::operator==( const SessionAcl& other ) const {
   const bool sameRules =
         rules == other.rules || ( rules && other.rules && rules->rules == other.rules->rules );
   return key == other.key && interfaces == other.interfaces && sameRules;
}

} // namespace Agent
