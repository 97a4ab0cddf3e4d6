// POLICER: limits that sessions may name, as rates of the chip's policers, which have one bucket
// each, meter bits, and drop what does not keep to the rate.

#include <algorithm>
#include <limits>

#include "Agent/Configuration/Draft.h"

namespace Agent {

namespace {

enum class Meter : uint8_t { bytes, packets };
enum class Mode : uint8_t { single, two, storm };
enum class Fate : uint8_t { passes, dropped, trapped };

const EntryReader::Choices< Fate > fates = { { "drop", Fate::dropped },
   { "forward", Fate::passes }, { "copy", Fate::passes }, { "copy_cancel", Fate::passes },
   { "trap", Fate::trapped }, { "log", Fate::passes }, { "deny", Fate::dropped },
   { "transit", Fate::passes } };

constexpr int64_t any = std::numeric_limits< int64_t >::max();

class PolicerReader {
 public:
   PolicerReader( Draft& draft, const std::string& name, const Entry& entry )
         : draft_( draft ), reader_( "POLICER", name, entry, draft.findings ) {}

   void read() {
      const auto meter = needed( "meter_type",
            reader_.choice< Meter >(
                  "meter_type", { { "bytes", Meter::bytes }, { "packets", Meter::packets } } ),
            "bytes, packets" );
      const auto mode = needed( "mode",
            reader_.choice< Mode >( "mode",
                  { { "sr_tcm", Mode::single }, { "tr_tcm", Mode::two },
                        { "storm", Mode::storm } } ),
            "sr_tcm, tr_tcm, storm" );
      cir_ = reader_.number( "cir", 0, any ).value_or( 0 );
      cbs_ = reader_.number( "cbs", 0, any ).value_or( 0 );
      const int64_t pir = reader_.number( "pir", 0, any ).value_or( 0 );
      const int64_t pbs = reader_.number( "pbs", 0, any ).value_or( 0 );
      if ( cbs_ != 0 && cbs_ < cir_ ) {
         reader_.error(
               "cbs", std::to_string( cbs_ ) + " is below cir; allowed: cir and more" );
      }
      for ( std::string_view field : { "color", "color_source" } ) {
         reader_.choice< bool >( field, { { "aware", true }, { "blind", false } } );
      }
      const Fate green = fate( "green_packet_action" );
      const Fate yellow = fate( "yellow_packet_action" );
      const Fate red = fate( "red_packet_action" );
      if ( meter && mode ) {
         const bool isTwofold =
               *mode == Mode::two || yellow == Fate::dropped || pir != 0 || pbs != 0;
         const bool traps =
               green == Fate::trapped || yellow == Fate::trapped || red == Fate::trapped;
         policer_.beyond = beyond( *meter, isTwofold, traps, green == Fate::dropped );
         if ( !policer_.beyond ) {
            decide( red == Fate::dropped );
         }
      }
      draft_.policers[ reader_.key() ] = policer_;
   }

 private:
   template < typename T >
   std::optional< T > needed(
         std::string_view field, std::optional< T > value, std::string_view allowed ) {
      if ( !reader_.has( field ) ) {
         reader_.error( field, "missing; allowed: " + std::string( allowed ) );
      }
      return value;
   }

   Fate fate( std::string_view field ) {
      return reader_.choice< Fate >( field, fates ).value_or( Fate::passes );
   }

   std::string name() const { return "policer " + reader_.key(); }

   std::optional< std::string > beyond(
         Meter meter, bool isTwofold, bool traps, bool dropsGreen ) const {
      if ( meter == Meter::packets ) {
         return name() + " meters packets; the chip's policers meter bits";
      }
      if ( isTwofold ) {
         return name() + " has two rates or bursts; the chip's policers have one (cir)";
      }
      if ( traps ) {
         return name() + " traps packets; the chip's policers drop them";
      }
      if ( dropsGreen ) {
         return name() + " drops what is green, so nothing would pass";
      }
      return std::nullopt;
   }

   void decide( bool dropsRed ) {
      constexpr int64_t bytesPerKilobit = 125; // of 1000 bits
      const int64_t kbps =
            cir_ / bytesPerKilobit + ( cir_ % bytesPerKilobit * 2 > bytesPerKilobit ? 1 : 0 );
      if ( !dropsRed ) {
         policer_.note = name() +
               " does not drop what is red (red_packet_action drop), so it limits nothing";
      } else if ( cir_ == 0 ) {
         policer_.beyond = name() + " has no cir, so nothing would pass";
      } else if ( kbps > highestRateKbps ) {
         policer_.beyond = name() + " has a cir beyond " + std::to_string( highestRateKbps ) +
               " kbit/s, the most that the chip's policers do";
      } else {
         setRate( std::max< int64_t >( 1, kbps ), bytesPerKilobit );
      }
   }

   void setRate( int64_t kbps, int64_t bytesPerKilobit ) {
      policer_.rateKbps = static_cast< uint32_t >( kbps );
      const int64_t burst = kbps * 3 / 2 * bytesPerKilobit;
      if ( cbs_ != 0 && cbs_ != burst ) {
         policer_.note = name() + ": the burst is " + std::to_string( burst ) +
               " bytes, whatever cbs says: the chip's is 3/2 of the rate";
      }
   }

   Draft& draft_;
   EntryReader reader_;
   int64_t cir_ = 0;
   int64_t cbs_ = 0;
   PolicerDraft policer_;
};

} // namespace

void readPolicers( Draft& draft ) {
   for ( const Table::value_type* entry : draft.entries( "POLICER" ) ) {
      PolicerReader( draft, entry->first, entry->second ).read();
   }
}

} // namespace Agent
