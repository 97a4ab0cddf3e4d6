#include "ChipModel/Forwarder.h"

namespace ChipModel {

namespace {

bool isGroup( const uint8_t* mac ) { return ( mac[ 0 ] & 1 ) != 0; }

// 01:80:c2:00:00:00 to 01:80:c2:00:00:0f.
bool isReserved( const uint8_t* mac ) {
   return load32( mac ) == 0x0180c200 && mac[ 4 ] == 0 && mac[ 5 ] <= 0x0f;
}

} // namespace

uint16_t Forwarder::classify( int port, const ParsedFrame& frame ) const {
   if ( !frame.knowsVlan() ) {
      return 0;
   }
   if ( frame.isTagged() && !frame.isPriorityTagged() ) {
      return frame.tag[ 0 ].vid();
   }
   return tables_.ports.port( port ).untaggedVlan;
}

DropReason Forwarder::ingressCheck( int port, const ParsedFrame& frame, uint16_t vid ) const {
   if ( frame.length > maxFrameBytes ) {
      return DropReason::tooLong;
   }
   if ( !frame.hasEtherType ) {
      return DropReason::tooShort;
   }
   if ( isGroup( frame.source() ) ) {
      return DropReason::sourceMulticast;
   }
   if ( isReserved( frame.destination() ) ) {
      return DropReason::reservedAddress;
   }
   if ( vid == 0 ) {
      return DropReason::noUntaggedVlan;
   }
   const Vlan& vlan = tables_.vlans.vlan( vid );
   if ( !vlan.exists ) {
      return DropReason::vlanUnknown;
   }
   return vlan.members.test( port ) ? DropReason::none : DropReason::vlanMismatch;
}

Decision Forwarder::decide(
      int port, const ParsedFrame& frame, uint16_t vid, LazyFlowHash& hash ) {
   Decision decision;
   decision.ingressPort = port;
   decision.vid = vid;
   decision.drop = ingressCheck( port, frame, vid );
   if ( decision.drop != DropReason::none ) {
      return decision;
   }
   const int trunk = tables_.trunks.trunkOf( port );
   const L2Destination origin{ trunk >= 0,
      static_cast< int16_t >( trunk >= 0 ? trunk : port ) };
   tables_.l2.learn( L2Table::key( frame.source(), vid ), origin );

   const PortMask eligible = tables_.vlans.vlan( vid ).members & tables_.ports.enabledPorts();
   const L2Destination* known = isGroup( frame.destination() )
         ? nullptr
         : tables_.l2.find( L2Table::key( frame.destination(), vid ) );
   if ( known != nullptr ) {
      direct( decision, *known, eligible, hash );
   } else {
      flood( decision, eligible, hash );
   }
   return decision;
}

void Forwarder::direct( Decision& decision, L2Destination destination, const PortMask& eligible,
      LazyFlowHash& hash ) const {
   const TrunkTable& trunks = tables_.trunks;
   const int trunk = destination.isTrunk ? destination.id : trunks.trunkOf( destination.id );
   const bool sameTrunk = trunk >= 0 && trunk == trunks.trunkOf( decision.ingressPort );
   if ( sameTrunk || ( !destination.isTrunk && destination.id == decision.ingressPort ) ) {
      decision.drop = DropReason::destinationOnIngress;
      return;
   }
   int port = -1;
   if ( destination.isTrunk ) {
      // An address may outlive its trunk.
      port = trunks.has( trunk ) ? trunks.pick( trunk, eligible, hash.value() ) : -1;
   } else if ( eligible.test( destination.id ) ) {
      port = destination.id;
   }
   if ( port < 0 ) {
      decision.drop = DropReason::noMember;
   } else {
      decision.egress.set( port );
   }
}

void Forwarder::flood(
      Decision& decision, const PortMask& eligible, LazyFlowHash& hash ) const {
   const TrunkTable& trunks = tables_.trunks;
   decision.flooded = true;
   decision.egress = eligible.minus( trunks.memberPorts() );
   decision.egress.reset( decision.ingressPort );
   const int ingressTrunk = trunks.trunkOf( decision.ingressPort );
   for ( int trunk : trunks.populated() ) {
      if ( trunk == ingressTrunk ) {
         continue;
      }
      if ( const int port = trunks.pick( trunk, eligible, hash.value() ); port >= 0 ) {
         decision.egress.set( port );
      }
   }
   if ( !decision.egress.any() ) {
      decision.drop = DropReason::noMember;
   }
}

} // namespace ChipModel
