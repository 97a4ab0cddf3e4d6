#include <cstdio>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/Explainer.h"

namespace Agent {

namespace {

constexpr int shownMisses = 8; // of each group

std::string seconds( uint64_t ns ) {
   char text[ 48 ];
   std::snprintf( text, sizeof text, "%llu.%09llu",
         static_cast< unsigned long long >( ns / 1'000'000'000 ),
         static_cast< unsigned long long >( ns % 1'000'000'000 ) );
   return text;
}

std::string entryTitle( const EntryVerdict& entry ) {
   // A filter's entry is named by session, ACL and rule already; other names say nothing here.
   const bool isNamed = entry.session.empty() || entry.name.starts_with( entry.session + " " );
   return "entry " + std::to_string( entry.entry ) + " of '" +
         printable( isNamed ? entry.name : entry.session ) + "' (priority " +
         std::to_string( entry.priority ) + ")";
}

std::string entryLine( const EntryVerdict& entry ) {
   const std::string title = "      " + entryTitle( entry ) + ": ";
   if ( entry.won ) {
      return title + "matches " + entry.matches.text + "; does " + entry.does.text +
            ( entry.color.empty() ? "" : "; its policer finds it " + entry.color ) + "\n";
   }
   return title +
         ( entry.failures == 0 ? "matches as well, but comes later"
                               : "no: needs " + entry.failed.text +
                           "; the frame: " + entry.frameHas.text +
                           ( entry.failures > 1
                                       ? " (and " + std::to_string( entry.failures - 1 ) +
                                             " more that it does not meet)"
                                       : "" ) ) +
         "\n";
}

} // namespace

std::string explanationText( const Explanation& frame ) {
   std::string text = "frame " + std::to_string( frame.number ) + "  " + frame.port + "  " +
         seconds( frame.timeNs ) + " s  " + std::to_string( frame.bytes ) + " bytes\n";
   text += "   parsed     " + frame.headers.text + "\n";
   text += "   forwarding " + frame.forwarding.text + "\n";
   int group = 0;
   std::string copy;
   int misses = 0;
   int hidden = 0;
   auto sayHidden = [ & ] {
      text += hidden ? "      and " + std::to_string( hidden ) + " more that do not\n" : "";
      hidden = 0;
   };
   for ( const EntryVerdict& entry : frame.entries ) {
      if ( entry.group != group || entry.copy != copy ) {
         sayHidden();
         group = entry.group;
         copy = entry.copy;
         misses = 0;
         text += "   group " + std::to_string( group ) +
               ( copy.empty() ? "" : ", for " + copy ) +
               ( entry.won ? "" : ": no entry matches" ) + "\n";
      }
      if ( entry.won || misses++ < shownMisses ) {
         text += entryLine( entry );
      } else {
         ++hidden;
      }
   }
   sayHidden();
   bool isMirrored = false;
   for ( const FrameCopy& out : frame.copies ) {
      if ( out.mirror < 0 ) {
         continue; // said as forwarding
      }
      isMirrored = true;
      text += "   mirrored   " + out.what + ( out.of.empty() ? "" : " by " + out.of ) +
            ( out.session.empty() ? "" : ", for " + out.session ) + ", to mirror " +
            std::to_string( out.mirror ) + ", " +
            ( out.outcome == "sent" ? "left by " + out.port : "not sent: " + out.outcome ) +
            "\n";
   }
   text += isMirrored ? "" : "   mirrored   no\n";
   for ( const auto& [ session, why ] : frame.idle ) {
      text += "   session    " + session + " copies nothing now, it is " + why + "\n";
   }
   return text + "\n";
}

std::vector< Report > explanationReports( const Explanation& frame ) {
   const auto number = static_cast< int64_t >( frame.number );
   Report frames{ "frames",
      { "frame", "port", "time ns", "bytes", "tags", "parsed", "forwarding" },
      { { number, frame.port, static_cast< int64_t >( frame.timeNs ), int64_t( frame.bytes ),
            { Value::List( frame.tags.begin(), frame.tags.end() ), "" }, frame.headers,
            frame.forwarding } },
      "" };
   Report entries{ "entries",
      { "frame", "group", "copy", "entry", "session", "name", "priority", "result", "matches",
            "does", "policer", "failed", "failures", "frame has" },
      {}, "" };
   for ( const EntryVerdict& entry : frame.entries ) {
      entries.rows.push_back( { number, int64_t( entry.group ), textOrNothing( entry.copy ),
            int64_t( entry.entry ), textOrNothing( entry.session ), entry.name,
            int64_t( entry.priority ),
            entry.won                   ? "matched"
                  : entry.failures == 0 ? "matched later"
                                        : "not matched",
            entry.matches, entry.does, textOrNothing( entry.color ), entry.failed,
            static_cast< int64_t >( entry.failures ), entry.frameHas } );
   }
   Report copies{ "copies", { "frame", "what", "mirror", "session", "port", "of", "outcome" },
      {}, "" };
   for ( const FrameCopy& copy : frame.copies ) {
      copies.rows.push_back(
            { number, copy.what, copy.mirror < 0 ? Cell() : Cell( int64_t( copy.mirror ) ),
                  textOrNothing( copy.session ), copy.port, textOrNothing( copy.of ),
                  copy.outcome } );
   }
   Report idle{ "idle sessions", { "frame", "session", "why" }, {}, "" };
   for ( const auto& [ session, why ] : frame.idle ) {
      idle.rows.push_back( { number, session, why } );
   }
   return { frames, entries, copies, idle };
}

} // namespace Agent
