#include <algorithm>
#include <cctype>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "Agent/Reports/Report.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf( const Value& value ) {
   return std::visit(
         []( const auto& data ) -> Json {
            using Data = std::decay_t< decltype( data ) >;
            if constexpr ( std::is_same_v< Data, std::monostate > ) {
               return nullptr;
            } else if constexpr ( std::is_same_v< Data, Value::List > ) {
               Json array = Json::array();
               for ( const Value& element : data ) {
                  array.push_back( jsonOf( element ) );
               }
               return array;
            } else if constexpr ( std::is_same_v< Data, Value::Object > ) {
               Json object = Json::object();
               for ( const auto& [ key, member ] : data ) {
                  object[ key ] = jsonOf( member );
               }
               return object;
            } else {
               return data;
            }
         },
         value.data );
}

} // namespace

std::string jsonKey( const std::string& name ) {
   std::string key = name;
   std::ranges::transform( key, key.begin(), []( unsigned char c ) {
      return std::isalnum( c ) ? static_cast< char >( std::tolower( c ) ) : '_';
   } );
   return key;
}

std::string toJson( const std::vector< Report >& reports, JsonLayout layout ) {
   Json all = Json::object();
   all[ "version" ] = jsonVersion;
   for ( const Report& report : reports ) {
      Json& rows = all[ jsonKey( report.name ) ];
      if ( rows.is_null() ) {
         rows = Json::array();
      }
      for ( const auto& row : report.rows ) {
         Json object = Json::object();
         for ( size_t i = 0; i < row.size(); ++i ) {
            object[ jsonKey( report.columns[ i ] ) ] = jsonOf( row[ i ].value );
         }
         rows.push_back( std::move( object ) );
      }
   }
   const bool isIndented = layout == JsonLayout::indented;
   return all.dump( isIndented ? 2 : -1, ' ', false, Json::error_handler_t::replace ) +
         ( isIndented ? "\n" : "" );
}

} // namespace Agent
