#include "Agent/Slices/PortTabWriter.h"

#include "Platform/Karvel/SdkCall.h"

namespace Agent {

using namespace Shim; // the names of memories and fields

namespace {

Duolog::Handle trace( "PortTables" );

struct Place {
   Memory memory;
   MemField field;
};

Place placeOf( KarvelCentral::PortTab table ) {
   return table == KarvelCentral::PortTab::sourceTrunkMap
         ? Place{ SOURCE_TRUNK_MAP_TABLEm, MODULE_IDf }
         : Place{ SOURCE_TRUNK_MAP_MODBASEm, BASEf };
}

} // namespace

void PortTabWriter::doInit() {
   follow< &PortTabWriter::handleRequest,
         KarvelCentral::PortTabWriteRequestDir::Attr::request >( requests() );
}

void PortTabWriter::handleRequest( const KarvelCentral::PortTabKey& key ) {
   refused_.erase( key );
   if ( !write( key ) ) {
      refused_.insert( key );
   }
   retry_.pendingIs( !refused_.empty() );
}

bool PortTabWriter::write( const KarvelCentral::PortTabKey& key ) {
   const auto [ memory, field ] = placeOf( key.table() );
   const int index = static_cast< int >( key.index() );
   const uint32_t value = requests()->request( key );
   MemEntry buffer;
   MemEntry* entry = &buffer;
   if ( requests()->requestHas( key ) &&
         KARVEL_SDK_CALL(
               trace, soc_mem_field32_set, ( unit(), memory, entry, field, value ) ) < 0 ) {
      return false;
   }
   return KARVEL_SDK_CALL(
                trace, soc_mem_write, ( unit(), memory, MEM_BLOCK_ALL, index, entry ) ) >= 0;
}

ZOL_DEFINE_ENTITY( PortTabWriter );

} // namespace Agent
