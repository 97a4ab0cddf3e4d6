#include "ChipModel/Tables/VlanTable.h"

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

Rc VlanTable::check( uint16_t vid ) const {
   if ( !isVid( vid ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   return vlans_[ vid ].exists ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_NOT_FOUND();
}

Rc VlanTable::create( uint16_t vid ) {
   if ( !isVid( vid ) ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   if ( vlans_[ vid ].exists ) {
      return Sdk::QX_BCM_E_EXISTS();
   }
   vlans_[ vid ].exists = true;
   return Sdk::QX_BCM_E_NONE();
}

Rc VlanTable::destroy( uint16_t vid ) {
   if ( const Rc rc = check( vid ) ) {
      return rc;
   }
   vlans_[ vid ] = Vlan{};
   return Sdk::QX_BCM_E_NONE();
}

Rc VlanTable::portAdd(
      uint16_t vid, const Shim::PortBitmap& members, const Shim::PortBitmap& untagged ) {
   if ( const Rc rc = check( vid ) ) {
      return rc;
   }
   if ( ( untagged & ~members ).any() ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   Vlan& vlan = vlans_[ vid ];
   const PortMask added( members );
   vlan.members = vlan.members | added;
   vlan.untagged = vlan.untagged.minus( added ) | PortMask( untagged );
   return Sdk::QX_BCM_E_NONE();
}

Rc VlanTable::portRemove( uint16_t vid, const Shim::PortBitmap& members ) {
   if ( const Rc rc = check( vid ) ) {
      return rc;
   }
   Vlan& vlan = vlans_[ vid ];
   const PortMask removed( members );
   if ( removed.minus( vlan.members ).any() ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   vlan.members = vlan.members.minus( removed );
   vlan.untagged = vlan.untagged.minus( removed );
   return Sdk::QX_BCM_E_NONE();
}

} // namespace ChipModel
