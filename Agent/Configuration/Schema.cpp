#include "Agent/Configuration/Schema.h"

#include <algorithm>

namespace Agent {

ValueKind< bool > upOrDown() { return { { "up", true }, { "down", false } }; }

ValueKind< Plix::EthAddr > macAddress() {
   return { "a MAC address like 02:00:00:00:00:0a", Plix::EthAddr::fromString };
}

ValueKind< Plix::IpGenAddr > stationAddress() {
   return { "an IPv4 or IPv6 address of one station, not a loopback one", parseStation };
}

const Schema& schema() {
   static const Schema all;
   return all;
}

const TableSchema* tableSchema( std::string_view name ) {
   const auto& tables = schema().tables;
   const auto found = std::find_if( tables.begin(), tables.end(),
         [ name ]( const TableSchema* table ) { return table->name == name; } );
   return found == tables.end() ? nullptr : *found;
}

std::vector< std::string_view > readTables() {
   std::vector< std::string_view > names;
   for ( const TableSchema* table : schema().tables ) {
      names.emplace_back( table->name );
   }
   return names;
}

} // namespace Agent
