#include "Agent/Slices/Refusals.h"

namespace Agent {

std::string Refusal::toString() const { return what + ": " + Shim::Sdk::bcm_errmsg( code ); }

bool Refusals::took( const ChipSubject& subject, const std::string& what,
      const Karvel::SdkOutcome& outcome, Shim::Rc asGood ) {
   const Shim::Rc rc = Karvel::reportUnless( asGood, trace_, outcome );
   if ( rc >= 0 || rc == asGood ) {
      return true;
   }
   const std::string text = outcome.callText;
   refusals_.try_emplace( subject, Refusal{ what, text.substr( 0, text.find( '(' ) ), rc } );
   return false;
}

std::optional< Refusal > Refusals::refusal( const ChipSubject& subject ) const {
   const auto at = refusals_.find( subject );
   return at == refusals_.end() ? std::nullopt : std::optional( at->second );
}

} // namespace Agent
