#include "Agent/Reports/Explainer.h"

#include <algorithm>

#include "Agent/Reports/FieldText.h"
#include "ChipModel/Chip.h"
#include "ChipModel/Fields/FieldCatalogue.h"

namespace Agent {

using ChipModel::FieldProcessor;
using GroupChoice = FieldProcessor::GroupChoice;

namespace {

// The VLANs of a frame's tags.
std::vector< int64_t > tagsOf( const ChipModel::FrameView& frame ) {
   constexpr uint32_t firstTag = 12;
   constexpr uint32_t tagBytes = 4;
   auto word = [ & ]( uint32_t at ) { return frame.data[ at ] << 8 | frame.data[ at + 1 ]; };
   std::vector< int64_t > tags;
   for ( uint32_t at = firstTag; at + tagBytes <= frame.length; at += tagBytes ) {
      if ( word( at ) != 0x8100 && word( at ) != 0x88a8 && word( at ) != 0x9100 ) {
         break;
      }
      tags.push_back( word( at + 2 ) & 0xfff );
   }
   return tags;
}

} // namespace

Explainer::Explainer( Runtime& runtime, uint64_t packet, Tell tell )
      : runtime_( runtime ), packet_( packet ), tell_( std::move( tell ) ),
        sessions_( runtime.sessions() ) {
   for ( int unit : runtime_.units() ) {
      const ChipModel::ChipState& chip =
            chips_.emplace( unit, runtime_.chips().control().state( unit ) ).first->second;
      for ( const ChipModel::EntryView& entry : chip.entries ) {
         entries_[ unit ][ entry.id ] = &entry;
      }
   }
   runtime_.chips().control().observerIs( this );
   runtime_.chips().control().sinkIs( this );
}

Explainer::~Explainer() {
   runtime_.chips().control().observerIs( nullptr );
   runtime_.chips().control().sinkIs( nullptr );
}

void Explainer::arriving(
      const std::string& port, int unit, const ChipModel::FrameView& frame ) {
   ++frames_;
   unit_ = unit;
   decided_ = false;
   lookups_.clear();
   explanation_ = {};
   explanation_.number = frames_;
   explanation_.port = port;
   explanation_.timeNs = frame.timeNs;
   explanation_.bytes = std::max( frame.length, frame.wireLength );
   explanation_.tags = tagsOf( frame );
   interfaces_ = { port };
}

void Explainer::decided(
      int, const ChipModel::FrameView&, const ChipModel::Decision& decision ) {
   decided_ = true;
   if ( !isWanted() ) {
      return;
   }
   const bool isDropped = decision.drop != ChipModel::DropReason::none;
   const std::string reason( ChipModel::dropReasonName( decision.drop ) );
   Shim::PortBitmap ports;
   if ( !isDropped ) {
      decision.egress.forEach(
            [ & ]( int port ) { ports.set( static_cast< size_t >( port ) ); } );
   }
   const std::vector< std::string > names = portNames( runtime_, unit_, ports );
   interfaces_.insert( names.begin(), names.end() );
   explanation_.forwarding = {
      Value::Object{ { "vlan", decision.vid ? Value( int64_t( decision.vid ) ) : Value() },
            { "dropped", isDropped ? Value( reason ) : Value() },
            { "flooded", decision.flooded }, { "ports", names } },
      ( decision.vid ? "in VLAN " + std::to_string( decision.vid ) : "in no VLAN" ) +
            ( isDropped ? ", dropped: " + reason
                        : decision.flooded
                        ? ", flooded to " + portList( runtime_, unit_, ports )
                        : ", to " + portList( runtime_, unit_, ports ) )
   };
}

void Explainer::lookedUp(
      const ChipModel::LookupKey& key, GroupChoice choice, int egressPort ) {
   if ( isWanted() ) {
      lookups_.push_back( { key, choice,
            egressPort < 0
                  ? ""
                  : "the copy that " + runtime_.portName( unit_, egressPort ) + " sends" } );
   }
}

void Explainer::lookedUpAtEgress(
      const ChipModel::SentFrame& frame, const ChipModel::LookupKey& key ) {
   if ( isWanted() ) {
      const std::string what = frame.mirrorDestination < 0
            ? "the frame"
            : "the copy for mirror " + std::to_string( frame.mirrorDestination );
      lookups_.push_back( { key, GroupChoice::destinationFree,
            what + " that is to leave by " + runtime_.portName( frame.unit, frame.port ),
            Shim::FieldStage::egress } );
   }
}

void Explainer::matchedAtEgress( const ChipModel::Match& match, ChipModel::Color color ) {
   if ( isWanted() ) {
      lookups_.back().matches.push_back( match );
      if ( color == ChipModel::Color::red ) {
         lookups_.back().red.push_back( match.entry );
      }
   }
}

void Explainer::ended( const ChipModel::SentFrame& frame, const ChipModel::Outcome& outcome ) {
   using Kind = ChipModel::Outcome::Kind;
   if ( !isWanted() || outcome.kind == Kind::sent ) {
      return; // what is sent is told by the sink
   }
   std::string text( ChipModel::outcomeName( outcome.kind ) );
   if ( outcome.entry != 0 ) {
      text += " by entry " + std::to_string( outcome.entry );
   }
   if ( outcome.policer != 0 ) {
      text += ", policer " + std::to_string( outcome.policer );
   }
   addCopy( frame, text );
}

void Explainer::matched( const ChipModel::Match& match, int ) {
   if ( isWanted() ) {
      lookups_.back().matches.push_back( match );
   }
}

void Explainer::sent( const ChipModel::SentFrame& frame ) {
   if ( isWanted() ) {
      addCopy( frame, "sent" );
   }
}

void Explainer::addCopy( const ChipModel::SentFrame& frame, const std::string& outcome ) {
   FrameCopy copy;
   copy.outcome = outcome;
   copy.port = frame.port < 0 ? "no port" : runtime_.portName( frame.unit, frame.port );
   copy.mirror = frame.mirrorDestination;
   copy.session = sessionAt( copy.mirror );
   switch ( frame.kind ) {
   case ChipModel::CopyKind::forwarded:
      copy.what = "forwarded";
      break;
   case ChipModel::CopyKind::ingressMirror:
      copy.what = "copied as received";
      break;
   case ChipModel::CopyKind::egressMirror:
      copy.what = "copied as sent";
      copy.of = runtime_.portName( frame.unit, frame.egressPort );
      break;
   }
   explanation_.copies.push_back( copy );
}

void Explainer::arrived() {
   if ( !isWanted() ) {
      return;
   }
   if ( !decided_ ) {
      explanation_.headers = "not looked at";
      explanation_.forwarding = { Value::Object{ { "vlan", {} }, { "dropped", "port down" },
                                        { "flooded", false }, { "ports", Value::List() } },
         "the port is down: the frame never came in" };
   } else if ( !lookups_.empty() ) {
      const ChipModel::LookupKey& key = lookups_.front().key;
      std::string text;
      for ( int64_t tag : explanation_.tags ) {
         text += "VLAN tag " + std::to_string( tag ) + ", ";
      }
      explanation_.headers = { headersValue( runtime_, chips_.at( unit_ ), key ),
         text + headersText( key ) };
   }
   addIdleSessions();
   for ( const Lookup& lookup : lookups_ ) {
      explainLookup( lookup );
   }
   tell_( explanation_ );
}

// What an operator looks for first, where a copy is missed: no route, a port that is down.
void Explainer::addIdleSessions() {
   const Configuration& configuration = runtime_.configuration();
   for ( const SessionState& session : sessions_ ) {
      const auto watches = [ & ]( const std::string& source ) {
         return std::ranges::any_of( interfaces_, [ & ]( const std::string& port ) {
            const PortChannelConfig* channel = configuration.channelOf( port );
            return source == port || source.starts_with( port + "." ) ||
                  ( channel && channel->name == source );
         } );
      };
      if ( session.phase != SessionPhase::active &&
            std::ranges::any_of( session.config->sources, watches ) ) {
         explanation_.idle.emplace_back( session.config->name,
               phaseName( session.phase ) +
                     ( session.reason.empty() ? "" : ": " + session.reason ) );
      }
   }
}

std::string Explainer::sessionAt( int mirror ) const {
   for ( const SessionState& session : sessions_ ) {
      for ( const HeldDestination& held : session.held ) {
         if ( held.unit == unit_ && int( held.mtp.value() ) == mirror ) {
            return session.config->name;
         }
      }
   }
   return "";
}

void Explainer::explainLookup( const Lookup& lookup ) {
   const bool wantBound = lookup.choice == GroupChoice::destinationBound;
   for ( const ChipModel::GroupView& group : chips_.at( unit_ ).groups ) {
      if ( group.stage != lookup.stage || group.installed == 0 ||
            group.destinationBound != wantBound ) {
         continue;
      }
      const auto winner = std::find_if( lookup.matches.begin(), lookup.matches.end(),
            [ & ]( const ChipModel::Match& match ) { return match.group == group.id; } );
      explainGroup( lookup, group.id, winner == lookup.matches.end() ? 0 : winner->entry );
   }
}

void Explainer::explainGroup( const Lookup& lookup, int group, int winner ) {
   const ChipModel::ChipState& chip = chips_.at( unit_ );
   if ( winner != 0 ) {
      EntryVerdict won = verdict( winner, lookup );
      won.won = true;
      won.does = actionsCell( runtime_, chip, entryOf( winner ).actions );
      if ( entryOf( winner ).policer != 0 ) {
         const bool isRed =
               std::find( lookup.red.begin(), lookup.red.end(), winner ) != lookup.red.end();
         won.color = isRed ? "red" : "green";
      }
      explanation_.entries.push_back( won );
   }
   const FieldProcessor& fields = runtime_.chips().chip( unit_ )->fields();
   std::vector< ChipModel::EntryMiss > misses = fields.misses( group, winner, lookup.key );
   if ( winner == 0 ) {
      std::ranges::stable_sort( misses, {}, &ChipModel::EntryMiss::failures );
   }
   for ( const ChipModel::EntryMiss& miss : misses ) {
      EntryVerdict lost = verdict( miss.entry, lookup );
      lost.failures = miss.failures;
      if ( miss.failed ) {
         const auto& qualifiers = entryOf( miss.entry ).qualifiers;
         const auto at = std::find_if( qualifiers.begin(), qualifiers.end(),
               [ & ]( const auto& value ) { return value.qualifier == *miss.failed; } );
         lost.failed = at == qualifiers.end()
               ? Cell( std::string( ChipModel::qualifierName( *miss.failed ) ) )
               : qualifierCell( runtime_, chip, *at );
         lost.frameHas = frameCell( runtime_, chip, *miss.failed, lookup.key );
      }
      explanation_.entries.push_back( lost );
   }
}

EntryVerdict Explainer::verdict( int entry, const Lookup& lookup ) const {
   const ChipModel::EntryView& view = entryOf( entry );
   EntryVerdict result;
   result.group = view.group;
   result.entry = entry;
   result.priority = view.priority;
   result.name = view.name;
   result.session = sessionOf( runtime_, sessions_, chips_.at( unit_ ), view );
   result.matches = matchCell( runtime_, chips_.at( unit_ ), view );
   result.copy = lookup.copy;
   return result;
}

const ChipModel::EntryView& Explainer::entryOf( int id ) const {
   return *entries_.at( unit_ ).at( id );
}

} // namespace Agent
