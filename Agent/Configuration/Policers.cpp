// POLICER: limits that sessions may name, as rates of the chip's policers, which have one bucket
// each, meter bits, and drop what does not keep to the rate.

#include <algorithm>

#include "Agent/Configuration/Draft.h"

namespace Agent {

namespace {

class PolicerReader {
 public:
   PolicerReader( Draft& draft, const std::string& name, const Entry& entry )
         : draft_( draft ), fields_( schema().policer ),
           reader_( fields_, name, entry, draft.findings ) {}

   void read() {
      const auto meter = readNeeded( fields_.meterType );
      const auto mode = readNeeded( fields_.mode );
      cir_ = reader_.read( fields_.cir );
      cbs_ = reader_.read( fields_.cbs );
      const int64_t pir = reader_.read( fields_.pir );
      const int64_t pbs = reader_.read( fields_.pbs );
      notBelow( fields_.cbs, cbs_, fields_.cir, cir_ );
      notBelow( fields_.pir, pir, fields_.cir, cir_ );
      notBelow( fields_.pbs, pbs, fields_.cbs, cbs_ );
      reader_.read( fields_.color );
      reader_.read( fields_.colorSource );
      const Fate green = reader_.read( fields_.green );
      const Fate yellow = reader_.read( fields_.yellow );
      const Fate red = reader_.read( fields_.red );
      if ( meter && mode ) {
         const bool isTwofold =
               *mode == PolicerMode::two || yellow == Fate::dropped || pir != 0 || pbs != 0;
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
   std::optional< T > readNeeded( const ValueField< T >& field ) {
      if ( !reader_.has( field ) ) {
         reader_.error( field, "missing; allowed: " + field.allowed );
      }
      return reader_.read( field );
   }

   // 0 is what is not set.
   void notBelow(
         std::string_view field, int64_t value, std::string_view least, int64_t limit ) {
      if ( value != 0 && value < limit ) {
         reader_.error( field,
               std::to_string( value ) + " is below " + std::string( least ) +
                     "; allowed: " + std::string( least ) + " and more" );
      }
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
   const PolicerFields& fields_;
   EntryReader reader_;
   int64_t cir_ = 0;
   int64_t cbs_ = 0;
   PolicerDraft policer_;
};

} // namespace

void readPolicers( Draft& draft ) {
   for ( const Table::value_type* entry : draft.entries( schema().policer.name ) ) {
      PolicerReader( draft, entry->first, entry->second ).read();
   }
}

} // namespace Agent
