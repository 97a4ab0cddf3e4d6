#pragma once

// The forwarding tables of one chip, and the operations in which several of them meet: an
// address on a trunk needs the trunk, a port that goes down takes its learned addresses with
// it. Operations have the meaning, errors and ranges of the calls of Shim::Sdk.

#include "ChipModel/Tables/L2Table.h"
#include "ChipModel/Tables/LogicalTables.h"
#include "ChipModel/Tables/Memories.h"
#include "ChipModel/Tables/MirrorTable.h"
#include "ChipModel/Tables/PortTable.h"
#include "ChipModel/Tables/SwitchContext.h"
#include "ChipModel/Tables/SwitchControls.h"
#include "ChipModel/Tables/TrunkTable.h"
#include "ChipModel/Tables/VlanTable.h"

namespace ChipModel {

struct ForwardingTables {
   // References must outlive this.
   ForwardingTables( const Profile& profile, const SwitchContext& context );
   ForwardingTables( const ForwardingTables& ) = delete;
   ForwardingTables& operator=( const ForwardingTables& ) = delete;

   // Disabling forgets the addresses learned on the port.
   Shim::Rc portEnableSet( int port, bool enable );
   Shim::Rc vlanDestroy( uint16_t vid ); // forgets what was learned in it
   Shim::Rc vlanPortAdd(
         uint16_t vid, const Shim::PortBitmap& members, const Shim::PortBitmap& untagged );
   Shim::Rc vlanPortRemove( uint16_t vid, const Shim::PortBitmap& members );
   // Forgets what was learned on it. Static addresses and mirror destinations may still
   // name it: their frames then have nowhere to go.
   Shim::Rc trunkDestroy( int trunk );
   // Members are front-panel ports. Forgets what was learned on ports that join, and on a
   // trunk that becomes empty.
   Shim::Rc trunkMembersSet( int trunk, const int* ports, int count );
   // E_PORT or E_NOT_FOUND if the destination does not exist; E_PARAM for group addresses.
   Shim::Rc l2AddrAdd( const Shim::L2Addr& address );
   Shim::Rc l2AddrDelete( const Plix::EthAddr& mac, uint16_t vid );
   // What was learned there; the port or trunk must exist.
   Shim::Rc l2AddrForget( uint16_t vid, L2Destination place );
   // E_UNAVAIL for a tunnel with a key on a chip without keys. The key goes into the
   // encapsulation data.
   Shim::Rc mirrorDestinationSet( int destination, const Shim::MirrorDestination& value );

   Shim::Rc mirrorDestinationDestroy( int destination );

   const Profile& profile;
   const SwitchContext& context;
   PortTable ports;
   VlanTable vlans;
   TrunkTable trunks;
   L2Table l2;
   MirrorTable mirrors;
   SwitchControls controls;
   Memories memories;
   LogicalTables logical;

 private:
   // E_NONE if there is such a port or trunk.
   Shim::Rc checkPlace( bool isTrunk, int id ) const;
   void encapsulationKeyIs( int destination, uint32_t key );
};

} // namespace ChipModel
