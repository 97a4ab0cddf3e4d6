#include "Platform/Shim/Sdk.h"

namespace Shim {

Sdk* sdk_ = nullptr;

const char* Sdk::bcm_errmsg( Rc rc ) {
   switch ( rc ) {
   case QX_BCM_E_NONE():
      return "Ok";
   case QX_BCM_E_INTERNAL():
      return "Internal error";
   case QX_BCM_E_MEMORY():
      return "Out of memory";
   case QX_BCM_E_UNIT():
      return "Invalid unit";
   case QX_BCM_E_PARAM():
      return "Invalid parameter";
   case QX_BCM_E_EMPTY():
      return "Table empty";
   case QX_BCM_E_FULL():
      return "Table full";
   case QX_BCM_E_NOT_FOUND():
      return "Entry not found";
   case QX_BCM_E_EXISTS():
      return "Entry exists";
   case QX_BCM_E_TIMEOUT():
      return "Operation timed out";
   case QX_BCM_E_BUSY():
      return "Operation still running";
   case QX_BCM_E_FAIL():
      return "Operation failed";
   case QX_BCM_E_RESOURCE():
      return "No resources for operation";
   case QX_BCM_E_CONFIG():
      return "Invalid configuration";
   case QX_BCM_E_UNAVAIL():
      return "Feature unavailable";
   case QX_BCM_E_PORT():
      return "Invalid port";
   default:
      return "Unknown error";
   }
}

void Sdk::bcm_policer_config_t_init( bcm_policer_config_s* config ) { *config = {}; }

} // namespace Shim
