#pragma once

// The one way to call the SDK:
//
//    Shim::Rc rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_Drop,
//          ( unit(), entryId, quals.drop(), quals.dropMask() ) );
//
// The arguments are evaluated and copied first; then the activity lock is released for the
// call alone, and retaken before the result is used. A call that fails writes its text as
// written here, the SDK's error text and the code to the error stream and the trace. Whether a
// failure is fatal is the caller's to decide.

#include <iosfwd>
#include <tuple>
#include <type_traits>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/ActivityLock.h"

namespace Karvel {

// Where failed calls are reported; standard error by default (null restores it).
void sdkErrorStreamIs( std::ostream* stream );
void reportSdkError( const Duolog::Handle& trace, const char* callText, Shim::Rc rc );

template < typename Method, typename... Args >
Shim::Rc callSdk( const Duolog::Handle& trace, const char* callText, Method method, Args... args ) {
   Shim::Rc rc;
   {
      Zol::ActivityUnlock unlock;
      rc = ( ::Shim::sdk_->*method )( args... );
   }
   DUOLOG( trace, 5, callText << " (rc:" << rc << ")" );
   if ( rc != ::Shim::Sdk::QX_BCM_E_NONE() ) [[unlikely]] {
      reportSdkError( trace, callText, rc );
   }
   return rc;
}

} // namespace Karvel

#define KARVEL_SDK_CALL( trace, call, args )                                               \
   ::Karvel::callSdk( trace, #call #args, &::Shim::Sdk::call, KARVEL_SDK_ARGS_ args )
#define KARVEL_SDK_ARGS_( ... ) __VA_ARGS__
