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
   return "entry " + std::to_string( entry.entry ) + " '" + printable( entry.name ) +
         "' (priority " + std::to_string( entry.priority ) + ")";
}

std::string entryLine( const EntryVerdict& entry ) {
   const std::string title = "      " + entryTitle( entry ) + ": ";
   if ( entry.won ) {
      return title + "matches " + entry.matches + "; does " + entry.does + "\n";
   }
   return title +
         ( entry.failed.empty()
                     ? "matches, too, but comes later"
                     : "no: " + entry.failed + ", the frame has " + entry.frameHas ) +
         "\n";
}

} // namespace

std::string explanationText( const Explanation& frame ) {
   std::string text = "frame " + std::to_string( frame.number ) + "  " + frame.port + "  " +
         seconds( frame.timeNs ) + " s  " + std::to_string( frame.bytes ) + " bytes\n";
   text += "   parsed     " + frame.headers + "\n";
   text += "   forwarding " + frame.forwarding + "\n";
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
            ", to mirror " + std::to_string( out.mirror ) + ", " +
            ( out.outcome == "sent" ? "left by " + out.port : "not sent: " + out.outcome ) +
            "\n";
   }
   return text + ( isMirrored ? "\n" : "   mirrored   no\n\n" );
}

std::vector< Report > explanationReports( const Explanation& frame ) {
   const auto number = static_cast< int64_t >( frame.number );
   Report frames{ "frames", { "frame", "port", "time", "bytes", "parsed", "forwarding" },
      { { number, frame.port, seconds( frame.timeNs ), int64_t( frame.bytes ), frame.headers,
            frame.forwarding } },
      "" };
   Report entries{ "entries",
      { "frame", "group", "copy", "entry", "name", "priority", "result", "matches", "does",
            "failed", "frame has" },
      {}, "" };
   for ( const EntryVerdict& entry : frame.entries ) {
      entries.rows.push_back( { number, int64_t( entry.group ), entry.copy,
            int64_t( entry.entry ), entry.name, int64_t( entry.priority ),
            entry.won                    ? "matched"
                  : entry.failed.empty() ? "matched later"
                                         : "not matched",
            entry.matches, entry.does, entry.failed, entry.frameHas } );
   }
   Report copies{ "copies", { "frame", "what", "mirror", "port", "of", "outcome" }, {}, "" };
   for ( const FrameCopy& copy : frame.copies ) {
      copies.rows.push_back(
            { number, copy.what, int64_t( copy.mirror ), copy.port, copy.of, copy.outcome } );
   }
   return { frames, entries, copies };
}

} // namespace Agent
