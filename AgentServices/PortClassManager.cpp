#include "AgentServices/PortClassManager.h"

#include <bit>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Karvel/SdkRefusals.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::ClassSharing;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "PortClassManager" );

constexpr Zol::Seconds tidyInterval = 1; // until a refused write is tried again

} // namespace

PortClassManager::PortClassManager( uint32_t unit, int bits )
      : unit_( static_cast< int >( unit ) ), tidyClock_( *this, [ this ] { tidy(); } ) {
   ZOL_ASSERT( bits >= 0 && bits <= maxBits );
   classes_.resize( static_cast< size_t >( bits ) );
}

PortClass PortClassManager::acquire( const Shim::PortBitmap& ports, ClassSharing sharing ) {
   size_t free = classes_.size();
   for ( size_t i = 0; i < classes_.size(); ++i ) {
      Class& present = classes_[ i ];
      if ( present.users == 0 ) {
         auto difference = [ & ]( size_t at ) {
            return ( classes_[ at ].ports ^ ports ).count();
         };
         if ( free == classes_.size() || difference( i ) < difference( free ) ) {
            free = i;
         }
      } else if ( sharing == ClassSharing::shared && present.sharing == sharing &&
            present.ports == ports ) {
         ++present.users;
         return { Sdk::QX_BCM_E_NONE(), 1U << i };
      }
   }
   if ( free == classes_.size() ) {
      Karvel::sdkRefusalIs( { portClassShortage, Sdk::QX_BCM_E_RESOURCE() } );
      return { Sdk::QX_BCM_E_RESOURCE(), 0 };
   }
   const uint32_t bit = 1U << free;
   const Rc rc = spread( bit, ports );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      clear( bit );
      classes_[ free ].ports.reset();
      return { rc, 0 };
   }
   classes_[ free ] = { ports, sharing, 1 };
   return { rc, bit };
}

void PortClassManager::release( uint32_t bit ) {
   const auto number = static_cast< size_t >( std::countr_zero( bit ) );
   ZOL_ASSERT( std::has_single_bit( bit ) && number < classes_.size() );
   Class& released = classes_[ number ];
   ZOL_ASSERT( released.users > 0 );
   if ( --released.users == 0 ) {
      tidyClock_.timeMinIs( Zol::activityManager().now() );
   }
}

void PortClassManager::tidy() {
   tidyClock_.timeMinIs( Zol::never );
   for ( size_t i = 0; i < classes_.size(); ++i ) {
      if ( classes_[ i ].users > 0 || classes_[ i ].ports.none() ) {
         continue;
      }
      if ( clear( 1U << i ) ) {
         classes_[ i ].ports.reset();
      } else {
         tidyClock_.timeMinIs( Zol::activityManager().now() + tidyInterval );
      }
   }
}

// Makes these ports carry the bit, and no others: a refusal may have left it on another port.
Rc PortClassManager::spread( uint32_t bit, const Shim::PortBitmap& ports ) {
   for ( size_t port = 0; port < portBits_.size(); ++port ) {
      const uint32_t others = portBits_[ port ] & ~bit;
      const Rc rc = portBitsIs( port, ports.test( port ) ? others | bit : others );
      if ( rc != Sdk::QX_BCM_E_NONE() ) {
         return rc;
      }
   }
   return Sdk::QX_BCM_E_NONE();
}

// True unless the chip refused a port.
bool PortClassManager::clear( uint32_t bit ) {
   bool all = true;
   for ( size_t port = 0; port < portBits_.size(); ++port ) {
      all = portBitsIs( port, portBits_[ port ] & ~bit ) == Sdk::QX_BCM_E_NONE() && all;
   }
   return all;
}

Rc PortClassManager::portBitsIs( size_t at, uint32_t bits ) {
   if ( portBits_[ at ] == bits && !unsure_.test( at ) ) {
      return Sdk::QX_BCM_E_NONE();
   }
   const int port = static_cast< int >( at );
   const Rc rc = KARVEL_SDK_CALL( trace, bcm_port_class_set, ( unit_, port, bits ) );
   // A port that the chip does not have cannot have been written.
   unsure_.set( at, rc != Sdk::QX_BCM_E_NONE() && rc != Sdk::QX_BCM_E_PORT() );
   if ( rc == Sdk::QX_BCM_E_NONE() ) {
      portBits_[ at ] = bits;
   }
   return rc;
}

} // namespace AgentServices
