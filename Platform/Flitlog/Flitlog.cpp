#include "Platform/Flitlog/Flitlog.h"

#include <map>

#include "Platform/Zol/Assert.h"
#include "Platform/Zol/Clock.h"

namespace Flitlog {

namespace {

constexpr size_t maxRecords = 1000;

struct State {
   std::map< std::string, const Message* > messages;
   std::deque< Record > records;
   std::function< void( const Record& ) > sink;
};

// Never destroyed: messages of unloaded plug-ins still sign off at the very end.
State& state() {
   static State* all = new State;
   return *all;
}

} // namespace

Message::Message( std::string id, Severity severity, std::string format,
      std::string explanation, std::string action )
      : id_( std::move( id ) ), severity_( severity ), format_( std::move( format ) ),
        explanation_( std::move( explanation ) ), action_( std::move( action ) ) {
   bool isNew = state().messages.emplace( id_, this ).second;
   ZOL_ASSERT( isNew && "a log message is registered once" );
}

Message::~Message() { state().messages.erase( id_ ); }

void Message::logTexts( const std::vector< std::string >& arguments ) const {
   // With all that its message says: the plug-in that has the message may be unloaded.
   Record record{ Zol::activityManager().now(), id_, severity_, {}, explanation_, action_ };
   size_t used = 0;
   size_t from = 0;
   for ( size_t at; ( at = format_.find( "%s", from ) ) != std::string::npos; from = at + 2 ) {
      ZOL_ASSERT( used < arguments.size() && "an argument for each %s" );
      record.text.append( format_, from, at - from ).append( arguments[ used++ ] );
   }
   ZOL_ASSERT( used == arguments.size() && "a %s for each argument" );
   record.text.append( format_, from );
   state().records.push_back( record );
   if ( state().records.size() > maxRecords ) {
      state().records.pop_front();
   }
   if ( state().sink ) {
      state().sink( record );
   }
}

std::vector< const Message* > messages() {
   std::vector< const Message* > all;
   for ( const auto& message : state().messages ) {
      all.push_back( message.second );
   }
   return all;
}

const std::deque< Record >& records() { return state().records; }

void recordsDelAll() { state().records.clear(); }

void sinkIs( std::function< void( const Record& ) > sink ) { state().sink = std::move( sink ); }

} // namespace Flitlog
