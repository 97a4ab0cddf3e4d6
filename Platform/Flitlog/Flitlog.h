#pragma once

// Log messages, registered once with all that an operator needs:
//
//    const Flitlog::Message tcamFull( "KARVEL_MIRRORING_TCAM_RESOURCE_FULL",
//          Flitlog::Severity::error, "%s could not be programmed", "explanation", "action" );
//    tcamFull.log( sessionName );
//
// Severities are those of RFC 5424.

#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Zol/Enum.h"

namespace Flitlog {

ZOL_ENUM( Severity, uint8_t, ( emergency, 0 ), ( alert, 1 ), ( critical, 2 ), ( error, 3 ),
      ( warning, 4 ), ( notice, 5 ), ( informational, 6 ), ( debug, 7 ) );

class Message {
 public:
   // `format` has one %s for each argument. An identifier is registered once: asserted.
   Message( std::string id, Severity severity, std::string format, std::string explanation,
         std::string action );
   ~Message();
   Message( const Message& ) = delete;
   Message& operator=( const Message& ) = delete;

   // Takes as many arguments as the format has places: asserted.
   template < typename... Args >
   void log( const Args&... args ) const {
      std::vector< std::string > texts;
      ( texts.push_back( toText( args ) ), ... );
      logTexts( texts );
   }

   const std::string& id() const { return id_; }
   Severity severity() const { return severity_; }
   const std::string& format() const { return format_; }
   const std::string& explanation() const { return explanation_; }
   const std::string& recommendedAction() const { return action_; }

 private:
   template < typename T >
   static std::string toText( const T& value ) {
      std::ostringstream out;
      out << value;
      return out.str();
   }
   void logTexts( const std::vector< std::string >& arguments ) const;

   const std::string id_;
   const Severity severity_;
   const std::string format_;
   const std::string explanation_;
   const std::string action_;
};

struct Record {
   double time = 0; // the agent's, in seconds
   std::string id;
   Severity severity{};
   std::string text;
   std::string explanation;
   std::string recommendedAction;
};

// All registered messages, by identifier.
std::vector< const Message* > messages();

// The last 1,000 records, oldest first.
const std::deque< Record >& records();
void recordsDelAll();

// The sink is called with every record, which is kept as well; an empty sink ends this.
void sinkIs( std::function< void( const Record& ) > sink );

} // namespace Flitlog
