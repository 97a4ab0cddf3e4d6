// An agent in small: declares data of its own by the contract, loads the plug-in as installed,
// and makes a mounter of it by type name.

#include <dlfcn.h>

#include <iostream>

#include "AllHeaders.h"

namespace Consumer {

class Uplink : public Zol::Value {
   ZOL_VALUE( Consumer, Uplink, ( VAL, Zol::String, name ), ( VAL, uint32_t, speed, 100 ) );
};

} // namespace Consumer

int main() {
   Consumer::Uplink uplink;
   uplink.nameIs( "Ethernet0" );
   if ( uplink == Consumer::Uplink() || uplink.speed() != 100 ) {
      std::cerr << "a value declared here does not work\n";
      return 1;
   }
   const char* mounterType = "KarvelMirror::SliceMounter";
   if ( Zol::TypeRegistry::has( mounterType ) ) {
      std::cerr << "the plug-in's types are there before it is loaded\n";
      return 1;
   }
   void* plugin = dlopen( PLUGIN, RTLD_NOW | RTLD_LOCAL );
   if ( !plugin ) {
      std::cerr << dlerror() << "\n";
      return 1;
   }
   const bool made = Zol::dynamicCast< Plugin::Mounter >(
                           Zol::TypeRegistry::make( mounterType, "slice0" ) ) != nullptr;
   dlclose( plugin );
   if ( !made ) {
      std::cerr << "the plug-in brings no mounter\n";
      return 1;
   }
   return 0;
}
