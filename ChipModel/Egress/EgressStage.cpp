#include "ChipModel/Egress/EgressStage.h"

#include <bit>

#include "ChipModel/Lookup/EgressKey.h"
#include "ChipModel/Packets/HeaderParser.h"

namespace ChipModel {

using Shim::FieldAction;
using Shim::FieldStage;

namespace {

constexpr uint32_t bitOf( FieldAction action ) {
   return uint32_t{ 1 } << static_cast< int32_t >( action );
}

void countKeptBack( MirrorCounters& counters, Outcome::Kind kind, uint32_t bytes ) {
   switch ( kind ) {
   case Outcome::Kind::notSet:
      ++counters.lost;
      break;
   case Outcome::Kind::noPort:
      ++counters.dropped;
      break;
   case Outcome::Kind::tooLong:
      ++counters.tooLong;
      break;
   case Outcome::Kind::policed:
      ++counters.policedFrames;
      counters.policedBytes += bytes;
      break;
   case Outcome::Kind::filtered:
      ++counters.filtered;
      break;
   case Outcome::Kind::sent:
      break;
   }
}

} // namespace

bool EgressStage::Verdict::isTagged() const {
   return ( tagFields & bitOf( FieldAction::svtagEnable ) ) != 0;
}

EgressStage::EgressStage(
      int unit, ForwardingTables& tables, FieldProcessor& fields, PortCounterTable& counters )
      : unit_( unit ), tables_( tables ), fields_( fields ), counters_( counters ),
        editor_( tables ) {}

void EgressStage::frameIs(
      const ParsedFrame& parsed, const LookupKey& key, bool keyHasHeaders, bool flooded ) {
   parsed_ = &parsed;
   ingressKey_ = &key;
   ingressKeyHasHeaders_ = keyHasHeaders;
   hasForm_ = false;
   frameQueue_ = parsed.tags > 0 ? parsed.tag[ 0 ].priority() : uint8_t{ 0 };
   copyQueue_ = tables_.controls.mirrorQueue( flooded ).value_or( frameQueue_ );
}

bool EgressStage::forward( SentFrame& frame ) {
   frame.queue = frameQueue_;
   if ( fields_.egressUse().forForwarded == 0 ) [[likely]] {
      sent( frame );
      return true;
   }
   const Verdict verdict = lookUp( frame, keyOf( frame ) );
   if ( !verdict.isSent() ) {
      ++counters_[ static_cast< size_t >( frame.port ) ].txKeptBack;
   } else if ( verdict.isTagged() ) {
      SentFrame tagged = frame;
      tagged.frame = encapsulator_.build( frame.frame, nullptr, 0, &verdict.tag );
      sent( tagged );
   } else {
      sent( frame );
   }
   ended( frame, verdict.outcome );
   return verdict.isSent();
}

void EgressStage::mirror( uint32_t destinations, SentFrame copy, LazyFlowHash& hash ) {
   const FrameView original = copy.frame;
   for ( ; destinations != 0; destinations &= destinations - 1 ) {
      copy.mirrorDestination = std::countr_zero( destinations );
      copy.frame = original;
      MirrorTable::Entry& entry = tables_.mirrors.entry( copy.mirrorDestination );
      copy.port = entry.value ? mirrorPort( *entry.value, hash ) : -1;
      const Outcome outcome = send( entry, copy );
      if ( outcome.kind != Outcome::Kind::sent ) {
         countKeptBack( entry.counters, outcome.kind, copy.frame.wireLength );
      }
      ended( copy, outcome );
   }
}

// Leaves the copy as it was sent, or would have been.
Outcome EgressStage::send( MirrorTable::Entry& destination, SentFrame& copy ) {
   if ( copy.port < 0 ) {
      return { destination.value ? Outcome::Kind::noPort : Outcome::Kind::notSet };
   }
   copy.queue = destination.value->queue.value_or( copyQueue_ );
   TunnelHeader* tunnel = destination.value->tunnel
         ? &editor_.header( copy.mirrorDestination, destination )
         : nullptr;
   if ( tunnel != nullptr ) {
      copy.frame = editor_.payload( copy.kind, copy.frame );
   }
   const FrameView original = copy.frame;
   if ( tunnel != nullptr ) {
      if ( !tunnel->takes( original.wireLength ) ) {
         return { Outcome::Kind::tooLong };
      }
      copy.frame.wireLength += tunnel->length();
   }
   Verdict verdict;
   if ( fields_.egressUse().installed != 0 ) {
      if ( observer_ != nullptr && tunnel != nullptr ) {
         copy.frame = encapsulator_.build( original, tunnel, identification_, nullptr );
      }
      verdict = lookUp( copy, tunnel == nullptr ? keyOf( copy ) : tunnel->key() );
      if ( !verdict.isSent() ) {
         return verdict.outcome;
      }
   }
   if ( tunnel != nullptr || verdict.isTagged() ) {
      copy.frame = encapsulator_.build(
            original, tunnel, identification_, verdict.isTagged() ? &verdict.tag : nullptr );
      identification_ = static_cast< uint16_t >(
            identification_ + ( tunnel != nullptr && tunnel->isIp4() ? 1 : 0 ) );
   }
   ++destination.counters.frames;
   destination.counters.bytes += copy.frame.wireLength;
   sent( copy );
   return verdict.outcome;
}

int EgressStage::mirrorPort(
      const Shim::MirrorDestination& destination, LazyFlowHash& hash ) const {
   if ( destination.kind == Shim::MirrorDestination::Kind::port ) {
      return tables_.ports.enabled( destination.id ) ? destination.id : -1;
   }
   if ( !tables_.trunks.has( destination.id ) ) {
      return -1;
   }
   return tables_.trunks.pick( destination.id, tables_.ports.enabledPorts(), hash.value() );
}

LookupKey& EgressStage::keyOf( const SentFrame& frame ) {
   if ( hasForm_ && frame.frame.data == formData_ ) {
      return key_;
   }
   const bool wantsHeaders =
         fields_.looksBeyondL2( FieldStage::egress ) || observer_ != nullptr;
   if ( !hasForm_ ) {
      key_ = *ingressKey_;
      keyHasHeaders_ = ingressKeyHasHeaders_;
      etherType_ = parsed_->etherType;
      payload_ = parsed_->length - parsed_->payload;
   }
   hasForm_ = true;
   formData_ = frame.frame.data;
   const ParsedFrame form = formData_ == parsed_->data ? *parsed_ : parse( frame.frame );
   // Forms differ in the outermost tag only. The parser reads a limited number of tags: where the
   // outer tag changes which ones these are, the headers behind them differ, too.
   const uint32_t payload = form.length - form.payload;
   if ( wantsHeaders &&
         ( !keyHasHeaders_ || form.etherType != etherType_ || payload != payload_ ) ) {
      key_ = {};
      parseHeaders( form, key_ );
      keyHasHeaders_ = true;
      etherType_ = form.etherType;
      payload_ = payload;
   }
   setOuterVlan( key_, form.isTagged() ? form.tag[ 0 ].vid() : uint16_t{ 0 } );
   return key_;
}

EgressStage::Verdict EgressStage::lookUp( const SentFrame& frame, LookupKey& key ) {
   setEgress( key, unit_, frame.port, frame.kind != CopyKind::forwarded );
   Match matches[ FieldProcessor::maxGroups ];
   const int count =
         fields_.lookup( FieldStage::egress, FieldProcessor::GroupChoice::destinationFree, key,
               matches, FieldProcessor::maxGroups );
   if ( observer_ != nullptr ) {
      observer_->lookedUpAtEgress( frame, key );
   }
   const uint32_t bytes = frame.frame.wireLength;
   Verdict verdict;
   for ( int i = 0; i < count; ++i ) {
      const Color color = fields_.meter( matches[ i ], bytes, frame.frame.timeNs );
      fields_.count( matches[ i ], bytes, color );
      apply( matches[ i ], color, verdict );
      if ( observer_ != nullptr ) {
         observer_->matchedAtEgress( matches[ i ], color );
      }
   }
   if ( verdict.isSent() && verdict.isTagged() && !verdict.tag.isTakenBy( bytes ) ) {
      verdict.outcome.kind = Outcome::Kind::tooLong;
   }
   return verdict;
}

void EgressStage::apply( const Match& match, Color color, Verdict& verdict ) {
   for ( const ActionValue& action : *match.actions ) {
      switch ( action.action ) {
      case FieldAction::rpDrop:
         if ( color == Color::red && verdict.isSent() ) {
            verdict.outcome = { Outcome::Kind::policed, match.entry, match.policer };
         }
         break;
      case FieldAction::drop:
         if ( verdict.isSent() ) {
            verdict.outcome = { Outcome::Kind::filtered, match.entry };
         }
         break;
      default:
         takeTagField( action, verdict );
         break;
      }
   }
}

void EgressStage::takeTagField( const ActionValue& action, Verdict& verdict ) {
   const uint32_t bit = bitOf( action.action );
   if ( ( verdict.tagFields & bit ) != 0 ) {
      return;
   }
   verdict.tagFields |= bit;
   SourceTag& tag = verdict.tag;
   const uint32_t value = action.param0;
   switch ( action.action ) {
   case FieldAction::svtagSignature:
      tag.signature = static_cast< uint16_t >( value );
      break;
   case FieldAction::svtagPrio:
      tag.prio = static_cast< uint8_t >( value );
      break;
   case FieldAction::svtagDeviceId:
      tag.deviceId = static_cast< uint8_t >( value );
      break;
   case FieldAction::svtagOffset:
      tag.offset = static_cast< uint8_t >( value );
      break;
   case FieldAction::svtagSubportNum:
      tag.subport = static_cast< uint8_t >( value );
      break;
   default:
      break;
   }
}

void EgressStage::sent( const SentFrame& frame ) {
   PortCounters& counters = counters_[ static_cast< size_t >( frame.port ) ];
   FrameCount& queue = counters.queues[ frame.queue ];
   ++queue.packets;
   queue.bytes += frame.frame.wireLength;
   if ( frame.kind == CopyKind::forwarded ) {
      ++counters.txFrames;
      counters.txBytes += frame.frame.wireLength;
   } else {
      ++counters.txMirrorFrames;
      counters.txMirrorBytes += frame.frame.wireLength;
   }
   if ( sink_ != nullptr ) {
      sink_->sent( frame );
   }
}

} // namespace ChipModel
