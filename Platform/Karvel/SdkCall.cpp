#include "Platform/Karvel/SdkCall.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <string_view>
#include <utility>

#include "Platform/Karvel/SdkRefusals.h"

namespace Karvel {

namespace {

std::ostream* errorStream = nullptr;
std::optional< SdkRefusal > lastRefusal;

// What a chip is asked to give for mirroring. The agent has its own books of ports and trunks.
constexpr std::array< std::string_view, 3 > keptCalls{ "bcm_field_", "bcm_policer_",
   "bcm_port_class_" };
constexpr std::array< std::string_view, 3 > harmlessCalls{ "_destroy", "_entry_remove",
   "_range_create" };

} // namespace

std::atomic< const Duolog::Handle* > sdkCaller = nullptr;

void sdkRefusalIs( const SdkRefusal& refusal ) { lastRefusal = refusal; }

std::optional< SdkRefusal > takeSdkRefusal() { return std::exchange( lastRefusal, {} ); }

void keepSdkRefusal( const SdkOutcome& outcome ) {
   const std::string_view text = outcome.callText;
   const std::string_view name = text.substr( 0, text.find( '(' ) );
   const bool isKept = std::any_of( keptCalls.begin(), keptCalls.end(),
         [ & ]( std::string_view kind ) { return name.starts_with( kind ); } );
   const bool isHarmless = std::any_of( harmlessCalls.begin(), harmlessCalls.end(),
         [ & ]( std::string_view end ) { return name.ends_with( end ); } );
   if ( isKept && !isHarmless ) {
      lastRefusal = { std::string( name ), outcome.rc };
   }
}

void sdkErrorStreamIs( std::ostream* stream ) { errorStream = stream; }

void reportSdkError( const Duolog::Handle& trace, const char* callText, Shim::Rc rc,
      SdkErrorForm form, std::string_view handler ) {
   keepSdkRefusal( { callText, rc } );
   const char* label = form == SdkErrorForm::rc ? " (rc:"
         : form == SdkErrorForm::rv             ? " (rv:"
                                                : " (";
   std::ostream& out = errorStream ? *errorStream : std::cerr;
   out << callText << " API ERROR:" << ::Shim::Sdk::bcm_errmsg( rc ) << label << rc << ")"
       << std::endl;
   DUOLOG( trace, 0,
         handler << ( handler.empty() ? "" : " " ) << callText
                 << " API ERROR:" << ::Shim::Sdk::bcm_errmsg( rc ) << label << rc << ")" );
}

Shim::Rc reportUnless( Shim::Rc tolerated, const Duolog::Handle& trace,
      const SdkOutcome& outcome, SdkErrorForm form, std::string_view handler ) {
   if ( outcome.rc < 0 && outcome.rc != tolerated ) {
      reportSdkError( trace, outcome.callText, outcome.rc, form, handler );
   }
   return outcome.rc;
}

} // namespace Karvel
