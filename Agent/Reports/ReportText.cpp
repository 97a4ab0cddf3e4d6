#include <algorithm>

#include "Agent/Configuration/Names.h"
#include "Agent/Reports/Report.h"

namespace Agent {

namespace {

const std::string heading = "== ";

bool isNumber( const Cell& cell ) { return std::holds_alternative< int64_t >( cell ); }

std::string textOf( const Cell& cell ) {
   return isNumber( cell ) ? std::to_string( std::get< int64_t >( cell ) )
                           : printable( std::get< std::string >( cell ) );
}

// Cells of one line, without white space at its end.
std::string line( const std::vector< std::string >& cells, const std::vector< size_t >& widths,
      const std::vector< bool >& right ) {
   std::string text;
   for ( size_t i = 0; i < cells.size(); ++i ) {
      const std::string padding( widths[ i ] - cells[ i ].size(), ' ' );
      text += i ? "  " : "";
      text += right[ i ] ? padding + cells[ i ] : cells[ i ] + padding;
   }
   text.erase( text.find_last_not_of( ' ' ) + 1 );
   return text + "\n";
}

} // namespace

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

std::string toText( const Report& report, Style style ) {
   std::string text = withStyle( heading + report.name + "\n", style );
   if ( report.rows.empty() ) {
      return text + report.empty + "\n\n";
   }
   std::vector< size_t > widths;
   std::vector< bool > right;
   for ( size_t i = 0; i < report.columns.size(); ++i ) {
      size_t width = report.columns[ i ].size();
      bool numbers = true;
      for ( const auto& row : report.rows ) {
         width = std::max( width, textOf( row[ i ] ).size() );
         numbers = numbers && isNumber( row[ i ] );
      }
      widths.push_back( width );
      right.push_back( numbers );
   }
   text += line( report.columns, widths, right );
   for ( const auto& row : report.rows ) {
      std::vector< std::string > cells;
      for ( const Cell& cell : row ) {
         cells.push_back( textOf( cell ) );
      }
      text += line( cells, widths, right );
   }
   return text + "\n";
}

} // namespace Agent
