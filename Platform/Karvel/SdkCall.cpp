#include "Platform/Karvel/SdkCall.h"

#include <iostream>

namespace Karvel {

namespace {

std::ostream* errorStream = nullptr;

} // namespace

std::atomic< const Duolog::Handle* > sdkCaller = nullptr;

void sdkErrorStreamIs( std::ostream* stream ) { errorStream = stream; }

void reportSdkError( const Duolog::Handle& trace, const char* callText, Shim::Rc rc,
      SdkErrorForm form, std::string_view handler ) {
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
