#include <algorithm>
#include <cstdio>
#include <numeric>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/Report.h"

namespace Agent {

namespace {

const std::string heading = "== ";
constexpr size_t gap = 2;         // between columns
constexpr size_t narrowest = 8;   // a column that is wrapped
constexpr size_t longestList = 6; // items, where lines have to fit
constexpr size_t shownOfLonger = 5;

bool isNumber( const Cell& cell ) {
   return std::holds_alternative< int64_t >( cell.value.data ) ||
         std::holds_alternative< double >( cell.value.data );
}

// A list of texts that is long is cut short where lines have to fit.
std::string shownText( const Cell& cell, const Layout& layout ) {
   const auto* list = std::get_if< Value::List >( &cell.value.data );
   if ( layout.width == 0 || !list || list->size() <= longestList ) {
      return printable( cell.text );
   }
   size_t end = 0;
   for ( size_t i = 0; i < shownOfLonger && end != std::string::npos; ++i ) {
      end = cell.text.find( ", ", i == 0 ? 0 : end + 1 );
   }
   return printable( end == std::string::npos
               ? cell.text // a shorter wording, ranges for example
               : cell.text.substr( 0, end ) + " and " +
                     std::to_string( list->size() - shownOfLonger ) + " more" );
}

using Cells = std::vector< std::string >;

// What has to be on one line in any case.
size_t longestWord( const std::string& text ) {
   size_t longest = 0;
   for ( size_t start = 0; start <= text.size(); ) {
      const size_t end = std::min( text.find( ' ', start ), text.size() );
      longest = std::max( longest, end - start );
      start = end + 1;
   }
   return longest;
}

// Widths of columns that together fit, taken from the widest columns as long as they can give.
std::vector< size_t > fitted(
      std::vector< size_t > widths, const std::vector< size_t >& least, size_t room ) {
   const size_t gaps = gap * ( widths.size() - 1 );
   size_t total = std::accumulate( widths.begin(), widths.end(), gaps );
   while ( total > room ) {
      size_t widest = widths.size();
      for ( size_t i = 0; i < widths.size(); ++i ) {
         if ( widths[ i ] > least[ i ] &&
               ( widest == widths.size() || widths[ i ] > widths[ widest ] ) ) {
            widest = i;
         }
      }
      if ( widest == widths.size() ) {
         break; // a terminal that is too narrow for the words themselves
      }
      --widths[ widest ];
      --total;
   }
   return widths;
}

// At blanks; a longer word has a line of its own.
Cells wrapped( const std::string& text, size_t width ) {
   Cells lines( 1 );
   for ( size_t start = 0; start < text.size(); ) {
      const size_t end = std::min( text.find( ' ', start ), text.size() );
      const std::string word = text.substr( start, end - start );
      if ( !lines.back().empty() && lines.back().size() + 1 + word.size() > width ) {
         lines.emplace_back();
      }
      lines.back() += ( lines.back().empty() ? "" : " " ) + word;
      start = end + 1;
   }
   return lines;
}

// The lines of a row, without white space at their ends.
std::string rowText( const Cells& cells, const std::vector< size_t >& widths,
      const std::vector< bool >& right, const Layout& layout ) {
   std::vector< Cells > columns;
   size_t height = 1;
   for ( size_t i = 0; i < cells.size(); ++i ) {
      const bool fits = layout.width == 0 || cells[ i ].size() <= widths[ i ];
      columns.push_back( fits ? Cells{ cells[ i ] } : wrapped( cells[ i ], widths[ i ] ) );
      height = std::max( height, columns.back().size() );
   }
   std::string text;
   for ( size_t at = 0; at < height; ++at ) {
      std::string line;
      for ( size_t i = 0; i < columns.size(); ++i ) {
         const std::string cell = at < columns[ i ].size() ? columns[ i ][ at ] : "";
         const std::string padding( widths[ i ] - std::min( widths[ i ], cell.size() ), ' ' );
         line += std::string( i ? gap : 0, ' ' );
         line += right[ i ] ? padding + cell : cell + padding;
      }
      line.erase( line.find_last_not_of( ' ' ) + 1 );
      text += line + "\n";
   }
   return text;
}

} // namespace

Cell::Cell( const std::vector< std::string >& list ) : value( list ), text( joined( list ) ) {}

Cell yesOrNo( bool yes ) { return { Value( yes ), yes ? "yes" : "no" }; }

Cell secondsCell( double seconds ) {
   char text[ 32 ];
   std::snprintf( text, sizeof text, "%.3f", seconds );
   return { Value( seconds ), text };
}

Cell textOrNothing( const std::string& text ) { return text.empty() ? Cell() : Cell( text ); }

std::string withStyle( const std::string& plain, Style style ) {
   if ( style == Style::plain ) {
      return plain;
   }
   std::string text;
   for ( size_t start = 0; start < plain.size(); ) {
      const size_t end = std::min( plain.find( '\n', start ), plain.size() );
      const std::string one = plain.substr( start, end - start );
      text += one.starts_with( heading ) ? "\033[1m" + one + "\033[0m" : one;
      text += end < plain.size() ? "\n" : "";
      start = end + 1;
   }
   return text;
}

std::string toText( const Report& report, const Layout& layout ) {
   std::string text = withStyle( heading + report.name + "\n", layout.style );
   if ( report.rows.empty() ) {
      return text + report.empty + "\n\n";
   }
   std::vector< Cells > table{ report.columns };
   std::vector< bool > right( report.columns.size(), true );
   for ( const auto& row : report.rows ) {
      table.emplace_back();
      for ( size_t i = 0; i < row.size(); ++i ) {
         table.back().push_back( shownText( row[ i ], layout ) );
         right[ i ] = right[ i ] && isNumber( row[ i ] );
      }
   }
   std::vector< size_t > widths( report.columns.size(), 0 );
   std::vector< size_t > least( report.columns.size(), narrowest );
   for ( const Cells& cells : table ) {
      for ( size_t i = 0; i < cells.size(); ++i ) {
         widths[ i ] = std::max( widths[ i ], cells[ i ].size() );
         least[ i ] = std::max( least[ i ], longestWord( cells[ i ] ) );
      }
   }
   if ( layout.width != 0 ) {
      widths = fitted( widths, least, layout.width );
   }
   for ( const Cells& cells : table ) {
      text += rowText( cells, widths, right, layout );
   }
   return text + "\n";
}

} // namespace Agent
