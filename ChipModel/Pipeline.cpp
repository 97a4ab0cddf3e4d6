#include "ChipModel/Pipeline.h"

#include <algorithm>
#include <utility>

#include "ChipModel/Packets/HeaderParser.h"
#include "Platform/Zol/Assert.h"

namespace ChipModel {

using Shim::FieldAction;
using Shim::FieldStage;
using GroupChoice = FieldProcessor::GroupChoice;

namespace {

constexpr uint32_t noDestination = ~0U;

// Also when a sink throws.
class BusyScope {
 public:
   explicit BusyScope( bool& busy ) : busy_( busy ) { busy_ = true; }
   ~BusyScope() { busy_ = false; }
   BusyScope( const BusyScope& ) = delete;
   BusyScope& operator=( const BusyScope& ) = delete;

 private:
   bool& busy_;
};

} // namespace

Pipeline::Pipeline( int unit, ForwardingTables& tables, FieldProcessor& fields )
      : unit_( unit ), tables_( tables ), fields_( fields ), forwarder_( tables ),
        egress_( unit, tables, fields, counters_ ) {
   ZOL_ASSERT( unit >= 0 && unit <= 127 );
   countedEntries_.reserve(
         static_cast< size_t >( FieldProcessor::maxGroups * Shim::maxPorts ) );
}

void Pipeline::receive( int port, const FrameView& frame ) {
   ZOL_ASSERT( tables_.ports.has( port ) );
   ZOL_ASSERT( !busy_ && "a sink must not hand a frame to the same chip" );
   PortCounters& counters = countersOf( port );
   if ( !tables_.ports.enabled( port ) ) {
      ++counters.drops[ static_cast< size_t >( DropReason::portDisabled ) ];
      return;
   }
   const BusyScope scope( busy_ );
   Pass pass;
   pass.frame = frame;
   pass.frame.wireLength = std::max( frame.length, frame.wireLength );
   ++counters.rxFrames;
   counters.rxBytes += pass.frame.wireLength;

   pass.parsed = parse( pass.frame );
   const uint16_t vid = forwarder_.classify( port, pass.parsed );
   LazyFlowHash hash( pass.parsed, vid );
   pass.decision = forwarder_.decide( port, pass.parsed, vid, hash );
   if ( observer_ != nullptr ) {
      observer_->decided( unit_, pass.frame, pass.decision );
   }
   fillKey( pass );
   lookUp( pass );
   egress_.frameIs( pass.parsed, pass.key, pass.keyHasHeaders, pass.decision.flooded );
   if ( pass.mirrors.ingress != 0 ) {
      egress_.mirror( pass.mirrors.ingress,
            { unit_, 0, CopyKind::ingressMirror, -1, port, -1, pass.frame }, hash );
   }
   cpuCopies_ += pass.mirrors.toCpu;
   if ( pass.mirrors.drop && pass.decision.drop == DropReason::none ) {
      pass.decision.drop = DropReason::filtered;
   }
   if ( pass.decision.drop != DropReason::none ) {
      ++counters.drops[ static_cast< size_t >( pass.decision.drop ) ];
   } else {
      transmit( pass, hash );
   }
}

void Pipeline::fillKey( Pass& pass ) const {
   const Decision& decision = pass.decision;
   LookupKey& key = pass.key;
   key.set( Key::inPort, static_cast< uint32_t >( decision.ingressPort ) );
   key.set( Key::portClass, tables_.ports.port( decision.ingressPort ).classBits );
   key.set( Key::drop, decision.drop != DropReason::none ? 1 : 0 );
   if ( decision.vid != 0 ) {
      key.set( Key::outerVlanId, decision.vid );
      // Also of a tag that names no VLAN. A frame without a tag has one of priority 0 in its VLAN.
      key.set( Key::outerVlanPriority, pass.parsed.tag[ 0 ].priority() );
      key.setValid( validOuterVlan );
   }
   if ( fields_.looksBeyondL2( FieldStage::ingress ) || observer_ != nullptr ) {
      parseHeaders( pass.parsed, key );
      fields_.checkRanges( key );
      pass.keyHasHeaders = true;
   }
}

void Pipeline::setDestination( Pass& pass, int egressPort ) const {
   LookupKey& key = pass.key;
   key.set( Key::dstModId, static_cast< uint32_t >( unit_ ) );
   key.set( Key::dstPort, static_cast< uint32_t >( egressPort ) );
   key.setValid( validDstPort );
   const int trunk = tables_.trunks.trunkOf( egressPort );
   if ( trunk >= 0 ) {
      key.set( Key::dstTrunk, static_cast< uint32_t >( trunk ) );
      key.setValid( validDstTrunk );
   } else {
      key.set( Key::dstTrunk, 0 );
      key.clearValid( validDstTrunk );
   }
}

void Pipeline::lookUp( Pass& pass ) {
   pass.mirrors = lookUp( pass, GroupChoice::destinationFree, -1 );
   if ( !fields_.hasDestinationBound( FieldStage::ingress ) ) {
      return;
   }
   if ( pass.decision.drop != DropReason::none ) {
      // Entries of these groups that do not ask for the destination still see it.
      pass.mirrors.add( lookUp( pass, GroupChoice::destinationBound, -1 ) );
      return;
   }
   countedEntries_.clear();
   pass.perCopy = true;
   pass.decision.egress.forEach( [ & ]( int egressPort ) {
      setDestination( pass, egressPort );
      Mirrors found = lookUp( pass, GroupChoice::destinationBound, egressPort );
      copyMirrors_[ static_cast< size_t >( egressPort ) ] = std::exchange( found.egress, 0 );
      pass.mirrors.add( found );
   } );
}

Pipeline::Mirrors Pipeline::lookUp( const Pass& pass, GroupChoice choice, int egressPort ) {
   Match matches[ FieldProcessor::maxGroups ];
   const int count = fields_.lookup(
         FieldStage::ingress, choice, pass.key, matches, FieldProcessor::maxGroups );
   if ( observer_ != nullptr ) {
      observer_->lookedUp( pass.key, choice, egressPort );
   }
   Mirrors mirrors;
   for ( int i = 0; i < count; ++i ) {
      Mirrors found;
      apply( matches[ i ], found );
      mirrors.add( found );
      // What concerns the frame counts it once, however many copies it is flooded to; what
      // concerns its copies counts each.
      if ( !pass.decision.flooded || egressPort < 0 || found.egress != 0 ||
            isFirstCount( matches[ i ] ) ) {
         fields_.count( matches[ i ], pass.frame.wireLength );
      }
      if ( observer_ != nullptr ) {
         observer_->matched( matches[ i ], egressPort );
      }
   }
   return mirrors;
}

void Pipeline::apply( const Match& match, Mirrors& mirrors ) {
   for ( const ActionValue& action : *match.actions ) {
      const bool isOurs = action.param0 == static_cast< uint32_t >( unit_ );
      switch ( action.action ) {
      case FieldAction::mirrorIngressTo:
         addDestination( action.param0, mirrors.ingress );
         break;
      case FieldAction::mirrorIngress:
         addDestination( isOurs ? action.param1 : noDestination, mirrors.ingress );
         break;
      case FieldAction::mirrorEgress:
         addDestination( isOurs ? action.param1 : noDestination, mirrors.egress );
         break;
      case FieldAction::drop:
         mirrors.drop = true;
         break;
      case FieldAction::cosQCpuNew:
         mirrors.toCpu = true;
         break;
      default: // of the other stage
         break;
      }
   }
}

void Pipeline::addDestination( uint32_t destination, uint32_t& set ) {
   if ( destination < static_cast< uint32_t >( tables_.mirrors.size() ) ) {
      set |= uint32_t{ 1 } << destination;
   } else {
      ++strayCopies_;
   }
}

bool Pipeline::isFirstCount( const Match& match ) {
   if ( std::ranges::find( countedEntries_, match.entry ) != countedEntries_.end() ) {
      return false;
   }
   countedEntries_.push_back( match.entry );
   return true;
}

void Pipeline::transmit( Pass& pass, LazyFlowHash& hash ) {
   const Decision& decision = pass.decision;
   const PortMask& untagged = tables_.vlans.vlan( decision.vid ).untagged;
   tagger_.frameIs( pass.frame, pass.parsed, decision.vid );
   decision.egress.forEach( [ & ]( int port ) {
      SentFrame out{ unit_, port, CopyKind::forwarded, -1, decision.ingressPort, -1,
         untagged.test( port ) ? tagger_.untagged() : tagger_.tagged() };
      if ( !egress_.forward( out ) ) {
         return;
      }
      uint32_t destinations = pass.mirrors.egress;
      if ( pass.perCopy ) {
         destinations |= copyMirrors_[ static_cast< size_t >( port ) ];
      }
      if ( destinations != 0 ) {
         out.kind = CopyKind::egressMirror;
         out.egressPort = port;
         egress_.mirror( destinations, out, hash );
      }
   } );
}

} // namespace ChipModel
