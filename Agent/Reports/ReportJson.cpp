#include <nlohmann/json.hpp>

#include "Agent/Reports/Report.h"

namespace Agent {

std::string toJson( const std::vector< Report >& reports, JsonLayout layout ) {
   using Json = nlohmann::ordered_json;
   Json all = Json::object();
   for ( const Report& report : reports ) {
      Json& rows = all[ report.name ];
      if ( rows.is_null() ) {
         rows = Json::array();
      }
      for ( const auto& row : report.rows ) {
         Json object = Json::object();
         for ( size_t i = 0; i < row.size(); ++i ) {
            std::visit( [ & ]( const auto& value ) { object[ report.columns[ i ] ] = value; },
                  row[ i ] );
         }
         rows.push_back( std::move( object ) );
      }
   }
   const bool isIndented = layout == JsonLayout::indented;
   return all.dump( isIndented ? 2 : -1, ' ', false, Json::error_handler_t::replace ) +
         ( isIndented ? "\n" : "" );
}

} // namespace Agent
