#include "Agent/Slices/MirrorTargets.h"

#include <algorithm>

namespace Agent {

using Shim::Sdk;

namespace {

Duolog::Handle trace( "MirrorTargets" );

ChipSubject subjectOf( KarvelMirror::Mtp mtp ) {
   return { ChipSubject::Kind::destination, mtp.value() };
}

} // namespace

bool MirrorTargets::targetIs( Mtp mtp, const Shim::MirrorDestination& target ) {
   Target& held = targets_[ mtp ];
   held.wanted = target;
   return held.written == target || write( mtp, held );
}

bool MirrorTargets::write( Mtp mtp, Target& target ) {
   const int destination = mtp.value();
   const Shim::MirrorDestination value = *target.wanted;
   refusals_.clear( subjectOf( mtp ) );
   const bool isDone = refusals_.took( subjectOf( mtp ), "mirror destination could not be set",
         KARVEL_SDK_OUTCOME(
               trace, bcm_mirror_destination_set, ( unit_, destination, value ) ) );
   target.written = isDone ? target.wanted : std::nullopt;
   return isDone;
}

void MirrorTargets::targetDel( Mtp mtp ) {
   const auto at = targets_.find( mtp );
   if ( at != targets_.end() ) {
      at->second.wanted.reset();
      refusals_.clear( subjectOf( mtp ) );
   }
}

bool MirrorTargets::isLeaving( Mtp mtp ) const {
   const auto at = targets_.find( mtp );
   return at != targets_.end() && !at->second.wanted;
}

bool MirrorTargets::mayGo( Mtp mtp, const Target& target ) const {
   return !target.wanted && !refusals_.refusal( subjectOf( mtp ) );
}

bool MirrorTargets::someMayGo() const {
   return std::ranges::any_of(
         targets_, [ & ]( const auto& held ) { return mayGo( held.first, held.second ); } );
}

void MirrorTargets::forgetRefusedLeaving() {
   for ( const auto& [ mtp, target ] : targets_ ) {
      if ( !target.wanted ) {
         refusals_.clear( subjectOf( mtp ) );
      }
   }
}

bool MirrorTargets::takeBack( Busy busy ) {
   const size_t before = targets_.size();
   for ( auto at = targets_.begin(); at != targets_.end(); ) {
      at = mayGo( at->first, at->second ) && destroy( at->first, at->second, busy )
            ? targets_.erase( at )
            : std::next( at );
   }
   return targets_.size() != before;
}

bool MirrorTargets::destroy( Mtp mtp, Target& target, Busy busy ) {
   const int destination = mtp.value();
   const Karvel::SdkOutcome outcome =
         KARVEL_SDK_OUTCOME( trace, bcm_mirror_destination_destroy, ( unit_, destination ) );
   if ( outcome.rc == Sdk::QX_BCM_E_BUSY() && busy == Busy::isExpected ) {
      return false;
   }
   target.written.reset();
   return refusals_.took( subjectOf( mtp ), "mirror destination could not be taken back",
         outcome, Sdk::QX_BCM_E_NOT_FOUND() );
}

bool MirrorTargets::setRefused() {
   bool isSet = false;
   for ( auto& [ mtp, target ] : targets_ ) {
      if ( target.wanted && !target.written ) {
         isSet = write( mtp, target ) || isSet;
      }
   }
   return isSet;
}

} // namespace Agent
