#include "ChipModel/Switch.h"

#include "ChipModel/Capacity.h"
#include "ChipModel/Sdk/SdkModel.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

Control::Error Control::unitError( int unit ) const {
   if ( chips_.contains( unit ) ) {
      return std::nullopt;
   }
   return "unit " + std::to_string( unit ) + ": no such chip";
}

Control::Error Control::capacityIs( int unit, std::string_view what, int value ) {
   if ( Error error = unitError( unit ) ) {
      return error;
   }
   const bool isEntries = what == "ingress-entries" || what == "egress-entries";
   if ( !isEntries && what != "policers" ) {
      return "capacity '" + std::string( what ) +
            "': unknown; allowed: ingress-entries, egress-entries, policers";
   }
   if ( value < 0 || value > mostCapacity ) {
      return std::string( what ) + ": " + std::to_string( value ) + " is not within 0 to " +
            std::to_string( mostCapacity );
   }
   FieldProcessor& fields = chips_.at( unit )->fields();
   if ( isEntries ) {
      fields.capacityIs(
            what == "ingress-entries" ? Shim::FieldStage::ingress : Shim::FieldStage::egress,
            value );
   } else {
      fields.policerCapacityIs( value );
   }
   return std::nullopt;
}

Control::Error Control::inject( int unit, int port, const FrameView& frame ) {
   if ( Error error = unitError( unit ) ) {
      return error;
   }
   Chip& chip = *chips_.at( unit );
   if ( !chip.tables().ports.has( port ) ) {
      return "port " + std::to_string( port ) + ": unit " + std::to_string( unit ) +
            " has ports 0 to " + std::to_string( chip.tables().ports.last() );
   }
   chip.pipeline().receive( port, frame );
   return std::nullopt;
}

void Control::sinkIs( FrameSink* sink ) {
   sink_ = sink;
   for ( auto& [ unit, chip ] : chips_ ) {
      chip->pipeline().sinkIs( sink );
   }
}

void Control::observerIs( PipelineObserver* observer ) {
   observer_ = observer;
   for ( auto& [ unit, chip ] : chips_ ) {
      chip->pipeline().observerIs( observer );
   }
}

void Control::sdkVersionIs( uint32_t version ) {
   ZOL_ASSERT( chips_.empty() );
   context_.sdkVersion = version;
}

ChipState Control::state( int unit ) const {
   ZOL_ASSERT( chips_.contains( unit ) );
   return chips_.at( unit )->state();
}

Switch::Switch()
      : control_( chips_ ),
        sdk_( std::make_unique< SdkModel >( chips_, control_.gate(), control_.context() ) ) {}

Switch::~Switch() = default;

Chip& Switch::addChip( int unit, const Profile& profile ) {
   ZOL_ASSERT( !chips_.contains( unit ) );
   Chip& chip =
         *( chips_[ unit ] = std::make_unique< Chip >( unit, profile, control_.context() ) );
   chip.pipeline().sinkIs( control_.sink_ );
   chip.pipeline().observerIs( control_.observer_ );
   return chip;
}

Chip* Switch::chip( int unit ) {
   const auto found = chips_.find( unit );
   return found == chips_.end() ? nullptr : found->second.get();
}

std::vector< int > Switch::units() const {
   std::vector< int > units;
   for ( const auto& [ unit, chip ] : chips_ ) {
      units.push_back( unit );
   }
   return units;
}

Shim::Sdk& Switch::sdk() { return *sdk_; }

} // namespace ChipModel
