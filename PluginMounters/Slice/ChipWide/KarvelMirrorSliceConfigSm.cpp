#include "PluginMounters/Slice/ChipWide/KarvelMirrorSliceConfigSm.h"

#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelLib/Toggles.h"
#include "PluginMounters/Slice/ChipWide/FlexProfiles.h"
#include "PluginMounters/Slice/ChipWide/GreKeyTables.h"

namespace KarvelMirror::Slice {

using namespace Shim; // the names of switch controls and memory blocks

namespace {

Duolog::Handle trace( "SliceConfigSm" );

// A call that has failed otherwise is reported under the handler that made it.
bool succeeded( const char* handler, const Karvel::SdkOutcome& outcome,
      Rc tolerated = Sdk::QX_BCM_E_NONE() ) {
   return Karvel::reportUnless(
                tolerated, trace, outcome, Karvel::SdkErrorForm::rc, handler ) >= 0;
}

// A chip without these settings needs none.
void setMirrorCosq( int unit ) {
   const Rc tolerated = ::Shim::sdk_->QX_BCM_E_SWITCH_CONTROL_ABSENT();
   succeeded( "SliceConfigSm::doInit",
         KARVEL_SDK_OUTCOME( trace, bcm_switch_control_set,
               ( unit, bcmSwitchMirrorUnicastCosq, 0 ),
               "( i.key(), bcmSwitchMirrorUnicastCosq, 0 )" ),
         tolerated );
   succeeded( "SliceConfigSm::doInit",
         KARVEL_SDK_OUTCOME( trace, bcm_switch_control_set,
               ( unit, bcmSwitchMirrorMulticastCosq, 0 ),
               "( i.key(), bcmSwitchMirrorMulticastCosq, 0 )" ),
         tolerated );
}

// Fields that are not listed stay as they are.
void writeFields( int unit, Memory mem, int idx,
      const std::set< std::pair< MemField, uint32_t > >& fields ) {
   const char* handler = "SliceConfigSm::applyGreKeyPatch";
   MemEntry entry;
   if ( !succeeded( handler,
              KARVEL_SDK_OUTCOME( trace, soc_mem_read,
                    ( unit, mem, MEM_BLOCK_ANY, idx, &entry ),
                    "( unit, mem, MEM_BLOCK_ANY, idx, entry )" ) ) ) {
      return;
   }
   for ( const auto& [ field, value ] : fields ) {
      if ( !succeeded( handler,
                 KARVEL_SDK_OUTCOME( trace, soc_mem_field32_set,
                       ( unit, mem, &entry, field, value ),
                       "( unit, mem, entry, field, value )" ) ) ) {
         return;
      }
   }
   succeeded( handler,
         KARVEL_SDK_OUTCOME( trace, soc_mem_write, ( unit, mem, MEM_BLOCK_ALL, idx, &entry ),
               "( unit, mem, MEM_BLOCK_ALL, idx, entry )" ) );
}

} // namespace

bool karvelMirrorGreKey() {
   static const bool on = KarvelLib::toggle( "KarvelLib.json", "KarvelMirrorGreKey", true );
   return on;
}

void ConfigSm::ZolMirroringSession::doInit() {
   react< &ZolMirroringSession::handleGreTunnelKey, Mirroring::Session::Attr::greTunnelKey >(
         session() );
}

void ConfigSm::ZolMirroringSession::handleGreTunnelKey() {
   DUOLOG_IN( trace, 4, "SliceConfigSm::ZolMirroringSession::handleGreTunnelKey",
         " session: " << session()->name() );
   configSm_.handleGreTunnelKey();
}

ConfigSm::ConfigSm( const Karvel::KarvelCommonSmData& scsd,
      Zol::Ptr< const Mirroring::Config > mirroringConfig )
      : mirroringConfig_( mirroringConfig ), lookClock_( *this, [ this ] {
           lookClock_.timeMinIs( Zol::never );
           lookForGreKey();
        } ) {
   for ( uint16_t unit : scsd.unit().keys() ) {
      unitIs( unit, scsd.chipAttributes() );
   }
}

void ConfigSm::doInit() {
   DUOLOG_IN( trace, 1, "SliceConfigSm::doInit" );
   const auto units = unit(); // a copy: SDK calls release the activity lock
   for ( const auto& [ number, attributes ] : units ) {
      if ( ::Shim::sdk_->QX_SOC_IS_TOMAHAWKX( number ) ) {
         setMirrorCosq( number );
      }
      if ( ::Shim::sdk_->QX_SOC_HAS_FLEX_EDITOR( number ) ) {
         setupFlexProfileIngress( number, attributes );
         setupFlexProfileEgress( number, attributes );
      }
   }
   react< &ConfigSm::handleMirroringConfig, Mirroring::Config::Attr::session >(
         mirroringConfig() );
   for ( const Zol::String& name : mirroringConfig()->session().keys() ) {
      followSession( name );
   }
   lookForGreKey();
}

void ConfigSm::doCleanup() {
   if ( greKeyPatchApplied() ) {
      applyGreKeyPatch( false );
   }
}

void ConfigSm::handleMirroringConfig( const Zol::String& session ) {
   DUOLOG_IN( trace, 4, "SliceConfigSm::handleMirroringConfig", " session: " << session );
   followSession( session );
   lookClock_.timeMinIs( Zol::activityManager().now() );
}

void ConfigSm::handleGreTunnelKey() {
   DUOLOG_IN( trace, 4, "SliceConfigSm::handleGreTunnelKey" );
   lookClock_.timeMinIs( Zol::activityManager().now() );
}

void ConfigSm::followSession( const Zol::String& name ) {
   Zol::Ptr< const Mirroring::Session > session = mirroringConfig()->session( name );
   // One that went and came back within one batch is another entity.
   if ( mirroringSession( name ) && mirroringSession( name )->session() != session ) {
      mirroringSessionDel( name );
   }
   if ( session ) {
      mirroringSessionIs( name, session, *this );
   }
}

void ConfigSm::lookForGreKey() {
   bool found = false;
   for ( const auto& [ name, session ] : mirroringConfig()->session() ) {
      if ( session->greTunnelKey() != Mirroring::GreTunnelKey() ) {
         DUOLOG_IN( trace, 4, "SliceConfigSm::lookForGreKey", " " << name << " has GRE key." );
         found = true;
      }
   }
   if ( found != greKeyPatchApplied() ) {
      DUOLOG_IN( trace, 1, "SliceConfigSm::lookForGreKey",
            " " << ( found ? "apply GRE key patch" : "unapply GRE key patch" ) );
      applyGreKeyPatch( found );
   }
}

void ConfigSm::applyGreKeyPatch( bool apply ) {
   if ( !karvelMirrorGreKey() ) {
      return;
   }
   for ( uint16_t unit : unit().keys() ) {
      for ( const auto& [ mem, entries ] : greTable( unit, apply ) ) {
         for ( const auto& [ idx, fields ] : entries ) {
            writeFields( unit, mem, idx, fields );
         }
      }
   }
   greKeyPatchAppliedIs( apply );
}

ZOL_DEFINE_ENTITY( ConfigSm::ZolMirroringSession );
ZOL_DEFINE_ENTITY( ConfigSm );

} // namespace KarvelMirror::Slice
