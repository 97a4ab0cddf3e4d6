#pragma once

// The agent's port tables, as far as features ask for writes: follows the requests of one feature
// and slice, and brings each into the chip's memories. A request that is taken back leaves its
// entry as after reset. What the chip refuses is tried again.

#include "Agent/Slices/RetryClock.h"
#include <set>

#include "Platform/KarvelCentral/Status.h"
#include "Platform/Zol/Sm.h"

namespace Agent {

class PortTabWriter : public Zol::EntitySm {
   ZOL_ENTITY( Agent, PortTabWriter, Zol::EntitySm, ( CONST, int, unit ),
         ( CONST, Zol::Ptr< const KarvelCentral::PortTabWriteRequestDir >, requests ) );

 public:
   PortTabWriter( int unit, Zol::Ptr< const KarvelCentral::PortTabWriteRequestDir > requests )
         : unit_( unit ), requests_( requests ) {}

 private:
   void doInit() override;
   void handleRequest( const KarvelCentral::PortTabKey& key );
   bool write( const KarvelCentral::PortTabKey& key );

   std::set< KarvelCentral::PortTabKey > refused_;
   RetryClock retry_{ [ this ] {
      std::erase_if( refused_, [ this ]( const auto& key ) { return write( key ); } );
      retry_.pendingIs( !refused_.empty() );
   } };
};

} // namespace Agent
