#include "Agent/Slices/ChipReconciler.h"

namespace Agent {

using Kind = ChipSubject::Kind;

namespace {

Duolog::Handle trace( "ChipReconciler" );

// Rules are withdrawn by machines that hand on to each other, each in a turn of the event loop.
// After so many turns nothing more will happen by itself.
constexpr int turnsToSettle = 16;

} // namespace

ChipReconciler::ChipReconciler( int unit )
      : unit_( unit ), forwardingRefusals_( trace ), targetRefusals_( trace ),
        forwarding_( unit, forwardingRefusals_ ), targets_( unit, targetRefusals_ ),
        takeBackClock_( [ this ] { takeBack(); } ), retry_( [ this ] { tryAgain(); } ) {}

void ChipReconciler::configurationIs(
      const Configuration& configuration, const PortStates& states ) {
   plan_ = chipPlan( configuration, states, unit_ );
   forward();
   targets_.forgetRefusedLeaving();
   settleTargets();
   retry_.restart();
   awaitRetry();
}

void ChipReconciler::forward() {
   forwardingRefusals_.clear();
   forwarding_.planIs( plan_ );
}

void ChipReconciler::withdraw() {
   lateChange_ = {};
   plan_ = {};
   // Once more than at other times: there is no later time.
   for ( int attempt = 0; attempt < 2; ++attempt ) {
      targets_.forgetRefusedLeaving();
      targets_.takeBack( MirrorTargets::Busy::isRefusal );
      forward();
   }
   takeBackClock_.timeMinIs( Zol::never );
   retry_.restart();
}

// --- Mirror destinations ----------------------------------------------------------------------

bool ChipReconciler::targetIs( Mtp mtp, const Shim::MirrorDestination& target ) {
   const bool isDone = targets_.targetIs( mtp, target );
   awaitRetry();
   return isDone;
}

void ChipReconciler::targetDel( Mtp mtp ) {
   targets_.targetDel( mtp );
   settleTargets();
}

void ChipReconciler::settleTargets() {
   if ( targets_.someMayGo() ) {
      turnsLeft_ = turnsToSettle;
      takeBackClock_.timeMinIs( Zol::activityManager().now() );
   }
}

// Of its clock, which fires at every turn until it is told otherwise.
void ChipReconciler::takeBack() {
   const bool isLastTurn = --turnsLeft_ <= 0;
   const bool someGone = targets_.takeBack(
         isLastTurn ? MirrorTargets::Busy::isRefusal : MirrorTargets::Busy::isExpected );
   if ( isLastTurn || !targets_.someMayGo() ) {
      takeBackClock_.timeMinIs( Zol::never );
   }
   if ( someGone ) {
      changed();
   }
   awaitRetry();
}

void ChipReconciler::changed() {
   if ( lateChange_ ) {
      lateChange_();
   }
}

// --- Trying again -------------------------------------------------------------------------------

void ChipReconciler::tryAgain() {
   forward();
   targets_.forgetRefusedLeaving();
   const bool someGone = targets_.takeBack( MirrorTargets::Busy::isRefusal );
   const bool someSet = targets_.setRefused();
   if ( someGone || someSet ) {
      changed();
   }
   awaitRetry();
}

void ChipReconciler::awaitRetry() {
   retry_.pendingIs( !forwardingRefusals_.empty() || !targetRefusals_.empty() );
}

// --- What is refused ------------------------------------------------------------------------------

std::optional< Refusal > ChipReconciler::portRefusal( int chipPort ) const {
   return forwardingRefusals_.refusal( { Kind::port, chipPort } );
}

std::optional< Refusal > ChipReconciler::trunkRefusal( int trunk ) const {
   return forwardingRefusals_.refusal( { Kind::trunk, trunk } );
}

std::optional< Refusal > ChipReconciler::vlanRefusal( uint16_t vid ) const {
   return forwardingRefusals_.refusal( { Kind::vlan, vid } );
}

std::optional< Refusal > ChipReconciler::addressRefusal(
      uint16_t vid, const Plix::EthAddr& mac ) const {
   return forwardingRefusals_.refusal( { Kind::address, vid, mac } );
}

std::optional< Refusal > ChipReconciler::destinationRefusal( Mtp mtp ) const {
   return targetRefusals_.refusal( { Kind::destination, mtp.value() } );
}

std::vector< std::string > ChipReconciler::problems() const {
   const std::string chip = "chip " + std::to_string( unit_ ) + ": ";
   std::vector< std::string > lines;
   for ( const auto& [ subject, refusal ] : forwardingRefusals_.all() ) {
      lines.push_back( chip + refusal.toString() );
   }
   for ( const auto& [ subject, refusal ] : targetRefusals_.all() ) {
      const Mtp mtp( static_cast< uint8_t >( subject.number ) );
      if ( isLeaving( mtp ) ) {
         lines.push_back( chip + refusal.toString() + " (mirror " + mtp.toString() + ")" );
      }
   }
   return lines;
}

} // namespace Agent
