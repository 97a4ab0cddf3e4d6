#include "PluginMounters/Slice/ChipWide/PtHelper.h"

#include <cstdlib>
#include <iostream>

#include "Platform/Karvel/SdkCall.h"

namespace KarvelMirror::Slice {

using namespace Shim; // the names of opcodes and priorities

namespace {

Duolog::Handle trace( "BcmPtHelper" );

void mustSucceed( const Karvel::SdkOutcome& outcome, const char* file, int line ) {
   if ( outcome.rc != Sdk::QX_BCM_E_NONE() ) {
      std::cerr << file << ":" << line << ": " << outcome.callText << std::endl;
      Duolog::flush();
      std::abort();
   }
}

} // namespace

// A macro, so that the place printed is that of the call.
#define BCMLT_CALL( ... )                                                                      \
   mustSucceed( KARVEL_SDK_OUTCOME( trace, __VA_ARGS__ ), __FILE__, __LINE__ )

void BcmPtHelper::write(
      uint32_t unitNumber, const Zol::String& tableName, const TableValues& values ) {
   DUOLOG_IN(
         trace, 4, "BcmPtHelper::write", " unit=" << unitNumber << " table=" << tableName );
   for ( const auto& [ name, value ] : values.fields() ) {
      DUOLOG_IN( trace, 4, "BcmPtHelper::write", " field='" << name << "' value=" << value );
   }
   const int unit = static_cast< int >( unitNumber );
   bcmlt_entry_handle_t entry = 0;
   BCMLT_CALL( bcmlt_entry_allocate, ( unit, tableName.c_str(), &entry ),
         "( unit, table.charPtr(), &entry )" );
   for ( const auto& [ name, value ] : values.fields() ) {
      BCMLT_CALL( bcmlt_entry_field_add, ( entry, name.c_str(), value ),
            "( entry, field.charPtr(), value )" );
   }
   BCMLT_CALL( bcmlt_pt_entry_commit, ( entry, BCMLT_PT_OPCODE_SET, BCMLT_PRIORITY_NORMAL ) );
   BCMLT_CALL( bcmlt_entry_free, ( entry ) );
}

void MockPtHelper::write( uint32_t unit, const Zol::String&, const TableValues& values ) {
   dataEnq( values );
   dataIs( unit, values );
}

void MockPtHelper::dataEnq( const TableValues& values ) {
   if ( queue_.size() == mostKept ) {
      queue_.pop_front();
   }
   queue_.push_back( values );
}

TableValues MockPtHelper::dataDeq() {
   ZOL_ASSERT( !queue_.empty() );
   TableValues oldest = queue_.front();
   queue_.pop_front();
   return oldest;
}

ZOL_DEFINE_ENTITY( PtHelper );
ZOL_DEFINE_ENTITY( BcmPtHelper );
ZOL_DEFINE_ENTITY( MockPtHelper );

} // namespace KarvelMirror::Slice
