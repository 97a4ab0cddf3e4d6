#include "Agent/Live/Protocol.h"

#include <nlohmann/json.hpp>

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

std::string onOneLine( const Json& json ) {
   return json.dump( -1, ' ', false, Json::error_handler_t::replace );
}

std::string stringAt( const Json& json, const char* key ) {
   const auto at = json.find( key );
   return at != json.end() && at->is_string() ? at->get< std::string >() : std::string();
}

std::vector< std::string > stringsAt( const Json& json, const char* key ) {
   std::vector< std::string > strings;
   const auto at = json.find( key );
   if ( at != json.end() && at->is_array() ) {
      for ( const Json& element : *at ) {
         if ( element.is_string() ) {
            strings.push_back( element.get< std::string >() );
         }
      }
   }
   return strings;
}

} // namespace

std::string encoded( const Reply& reply ) {
   Json json;
   json[ "ok" ] = reply.errors.empty();
   json[ "text" ] = reply.text;
   json[ "warnings" ] = reply.warnings;
   json[ "errors" ] = reply.errors;
   std::string line = onOneLine( json );
   line.pop_back(); // its brace
   return line + ",\"reports\":" + toJson( reply.reports, JsonLayout::oneLine ) + "}\n";
}

std::string encoded( const Event& event ) {
   Json json;
   json[ "event" ] = event.kind;
   for ( const auto& [ name, value ] : event.fields ) {
      json[ name ] = value;
   }
   json[ "text" ] = event.text;
   return onOneLine( json ) + "\n";
}

Message decoded( std::string_view line ) {
   Message message;
   const Json json = Json::parse( line, nullptr, false );
   if ( json.is_object() && json.contains( "ok" ) ) {
      message.kind = Message::Kind::reply;
      message.warnings = stringsAt( json, "warnings" );
      message.errors = stringsAt( json, "errors" );
      const auto reports = json.find( "reports" );
      if ( reports != json.end() ) {
         message.reports = reports->dump( 2, ' ', false, Json::error_handler_t::replace );
      }
   } else if ( json.is_object() && json.contains( "event" ) ) {
      message.kind = Message::Kind::event;
      message.eventKind = stringAt( json, "event" );
   } else {
      message.text = line;
      return message;
   }
   message.text = stringAt( json, "text" );
   return message;
}

} // namespace Agent
