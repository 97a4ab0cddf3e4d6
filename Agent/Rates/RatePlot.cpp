#include <algorithm>
#include <cmath>
#include <sstream>

#include "Agent/Rates/RateHistory.h"

namespace Agent {

namespace {

constexpr double width = 760;
constexpr double height = 340;
constexpr double left = 80;
constexpr double right = 20;
constexpr double top = 50;
constexpr double bottom = 50;

// 1, 2 or 5 times a power of ten, so that there are about five of them in `range`.
double niceStep( double range ) {
   const double power = std::pow( 10, std::floor( std::log10( std::max( range, 1e-9 ) / 5 ) ) );
   for ( double factor : { 1.0, 2.0, 5.0 } ) {
      if ( range / ( factor * power ) <= 6 ) {
         return factor * power;
      }
   }
   return 10 * power;
}

class Chart {
 public:
   Chart( const std::vector< RateInterval >& intervals, double limit )
         : intervals_( intervals ) {
      endS_ = intervals.empty() ? 1 : static_cast< double >( intervals.back().toNs ) * 1e-9;
      endS_ = std::max( endS_, 1e-6 );
      topKbps_ = limit;
      for ( const RateInterval& interval : intervals ) {
         topKbps_ = std::max( topKbps_, interval.kbps( interval.offered() ) );
      }
      topKbps_ = std::max( topKbps_ * 1.05, 1.0 );
   }

   void axes() {
      const double xStep = niceStep( endS_ );
      for ( int i = 0; i * xStep <= endS_; ++i ) {
         const double x = xOf( i * xStep );
         line( x, height - bottom, x, height - bottom + 5, "#333", "" );
         text( x, height - bottom + 20, "middle", label( i * xStep ) );
      }
      const double yStep = niceStep( topKbps_ );
      for ( int i = 0; i * yStep <= topKbps_; ++i ) {
         const double y = yOf( i * yStep );
         line( left, y, width - right, y, "#ddd", "" );
         text( left - 8, y + 4, "end", label( i * yStep ) );
      }
      line( left, height - bottom, width - right, height - bottom, "#333", "" );
      text( ( left + width - right ) / 2, height - 10, "middle", "seconds" );
      text( left - 8, top - 14, "end", "kbit/s" );
   }
   template < typename Count >
   void steps( const char* color, double thickness, Count count ) {
      out_ << "<path fill=\"none\" stroke=\"" << color << "\" stroke-width=\"" << thickness
           << "\" d=\"";
      char command = 'M';
      for ( const RateInterval& interval : intervals_ ) {
         const double y = yOf( interval.kbps( count( interval ) ) );
         out_ << command << xOf( static_cast< double >( interval.fromNs ) * 1e-9 ) << ' ' << y
              << 'L' << xOf( static_cast< double >( interval.toNs ) * 1e-9 ) << ' ' << y;
         command = 'L';
      }
      out_ << "\"/>\n";
   }
   void limit( double kbps ) {
      line( left, yOf( kbps ), width - right, yOf( kbps ), "#c0392b",
            " stroke-dasharray=\"6 4\"" );
   }
   void legend( double x, const char* color, const std::string& what ) {
      line( x, top - 18, x + 24, top - 18, color, " stroke-width=\"3\"" );
      text( x + 30, top - 14, "start", what );
   }
   void text( double x, double y, const char* anchor, const std::string& what ) {
      out_ << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\">"
           << what << "</text>\n";
   }
   std::string str() const { return out_.str(); }

 private:
   double xOf( double seconds ) const {
      return left + seconds / endS_ * ( width - left - right );
   }
   double yOf( double kbps ) const {
      return height - bottom - kbps / topKbps_ * ( height - top - bottom );
   }
   static std::string label( double value ) {
      std::ostringstream out;
      out << value;
      return out.str();
   }
   void line(
         double x1, double y1, double x2, double y2, const char* color, const char* more ) {
      out_ << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2
           << "\" stroke=\"" << color << "\"" << more << "/>\n";
   }

   const std::vector< RateInterval >& intervals_;
   double endS_ = 1;
   double topKbps_ = 1;
   std::ostringstream out_;
};

} // namespace

std::string ratePlot( const std::string& session, uint32_t limitKbps,
      const std::vector< RateInterval >& intervals ) {
   Chart chart( intervals, limitKbps );
   chart.axes();
   chart.steps( "#999", 1.5, []( const RateInterval& one ) { return one.offered(); } );
   chart.steps( "#2980b9", 2.5, []( const RateInterval& one ) { return one.passed; } );
   chart.limit( limitKbps );
   chart.legend( 260, "#999", "offered" );
   chart.legend( 370, "#2980b9", "passed" );
   chart.legend(
         480, "#c0392b", "limit, " + std::to_string( limitKbps ) + " kbit/s after its burst" );
   chart.text( left, 22, "start", "Mirror copies of session " + session );
   std::ostringstream out;
   out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\""
       << height << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
       << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
       << chart.str() << "</svg>\n";
   return out.str();
}

} // namespace Agent
