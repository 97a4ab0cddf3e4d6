#include "PluginMounters/Slice/ChipWide/LoopbackHelperSm.h"

#include "Platform/Karvel/SdkCall.h"
#include "Platform/KarvelCentral/ModId.h"
#include "Platform/KarvelTypes/U10.h"

namespace KarvelMirror {

using KarvelCentral::ModId;
using KarvelCentral::PortTab;
using KarvelCentral::PortTabKey;
using namespace Shim; // the names of memories and fields

namespace {

// The helper traces under the mounter's name, as a part of the slice.
Duolog::Handle trace( "SliceMounter" );

const Zol::String loopbackName = "Loopback0";

} // namespace

LoopbackHelperSm::LoopbackHelperSm( uint16_t unit,
      Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
      Zol::Ptr< const KarvelCentral::CpuRecircStatus > cpuRecircStatus,
      Zol::Ptr< KarvelCentral::PortTabWriteRequestDir > portTabWriteRequestDir )
      : unit_( unit ), scsd_( scsd ), cpuRecircStatus_( cpuRecircStatus ),
        portTabWriteRequestDir_( portTabWriteRequestDir ) {}

void LoopbackHelperSm::doInit() {
   react< &LoopbackHelperSm::handlePort, KarvelCentral::CpuRecircStatus::Attr::port >(
         cpuRecircStatus() );
   handleProgramTrunkMap();
}

void LoopbackHelperSm::doCleanup() { takeBackRequests(); }

void LoopbackHelperSm::handlePort( const Zol::String& name ) {
   DUOLOG_IN( trace, 2, "SliceMounter::handlePort", " port: " << name );
   if ( name == loopbackName ) {
      takeBackRequests(); // of the port that it was
      handleProgramTrunkMap();
   }
}

void LoopbackHelperSm::handleProgramTrunkMap() {
   ZOL_ASSERT( scsd()->chipTable()->findOrMake( scsd()->chipAttributes() ) );
   if ( !cpuRecircStatus()->portHas( loopbackName ) ) {
      DUOLOG_IN( trace, 1, "SliceMounter::handleProgramTrunkMap", " no Loopback0" );
      return;
   }
   const Karvel::SysPort sp = cpuRecircStatus()->port( loopbackName );
   if ( !scsd()->unit( static_cast< uint16_t >( sp.unit() ) ) ) {
      return; // another slice's port
   }
   ZOL_ASSERT( scsd()->karvelModIdHas( sp.unit() ) );
   MemEntry portEntry;
   const Karvel::SdkOutcome read = KARVEL_SDK_OUTCOME( trace, soc_mem_read,
         ( sp.unit(), ING_DEVICE_PORTm, MEM_BLOCK_ANY, sp.port(), &portEntry ) );
   Rc rc = Karvel::reportUnless( Sdk::QX_BCM_E_NONE(), trace, read, Karvel::SdkErrorForm::rc,
         "SliceMounter::handleProgramTrunkMap " + std::to_string( sp.unit() ) + ":" +
               std::to_string( sp.port() ) );
   ZOL_ASSERT( rc >= 0 );
   uint32_t place = 0;
   rc = KARVEL_SDK_CALL( trace, soc_mem_field32_get,
         ( sp.unit(), ING_DEVICE_PORTm, &portEntry, SOURCE_TRUNK_MAP_INDEXf, &place ) );
   ZOL_ASSERT( rc >= 0 );
   const U10 index( place );
   const ModId modId( scsd()->karvelModId( sp.unit() ) );
   postRequest( { PortTab::sourceTrunkMapBase, modId }, index );
   postRequest( { PortTab::sourceTrunkMap, index }, modId );
}

void LoopbackHelperSm::takeBackRequests() {
   for ( const PortTabKey& key : posted_ ) {
      portTabWriteRequestDir()->requestDel( key );
   }
   posted_.clear();
}

void LoopbackHelperSm::postRequest( const PortTabKey& key, uint32_t value ) {
   posted_.push_back( key );
   portTabWriteRequestDir()->postRequest( key, value );
}

ZOL_DEFINE_ENTITY( LoopbackHelperSm );

} // namespace KarvelMirror
