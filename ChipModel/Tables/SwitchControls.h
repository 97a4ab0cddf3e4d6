#pragma once

// The chip-wide settings of one chip, with who wrote them.

#include <array>
#include <optional>

#include "ChipModel/Profile.h"
#include "ChipModel/Tables/SwitchContext.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

class SwitchControls {
 public:
   struct Setting {
      int value = -1; // as after reset
      WriteStamp stamp;
   };

   // References must outlive this.
   SwitchControls( const Profile& profile, const SwitchContext& context )
         : profile_( profile ), context_( context ) {}

   bool has() const { return profile_.tomahawkFamily; }
   // E_UNAVAIL on a chip that does not have it, E_PARAM for a value outside its range.
   Shim::Rc set( Shim::SwitchControl control, int value ) {
      if ( !has() ) {
         return Shim::Sdk::QX_BCM_E_UNAVAIL();
      }
      if ( control >= Shim::switchControlCount || value < -1 || value >= Shim::cosQueues ) {
         return Shim::Sdk::QX_BCM_E_PARAM();
      }
      settings_[ control ] = { value, context_.stamp() };
      return Shim::Sdk::QX_BCM_E_NONE();
   }
   const Setting& setting( Shim::SwitchControl control ) const { return settings_[ control ]; }

   // The CoS queue of copies whose destination names none; if none, they keep the frame's
   // queue.
   std::optional< uint8_t > mirrorQueue( bool flooded ) const {
      const int value = settings_[ flooded ? Shim::bcmSwitchMirrorMulticastCosq
                                           : Shim::bcmSwitchMirrorUnicastCosq ]
                              .value;
      return value < 0 ? std::nullopt : std::optional( static_cast< uint8_t >( value ) );
   }

 private:
   const Profile& profile_;
   const SwitchContext& context_;
   std::array< Setting, Shim::switchControlCount > settings_;
};

} // namespace ChipModel
