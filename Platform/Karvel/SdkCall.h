#pragma once

// The one way to call the SDK:
//
//    Shim::Rc rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_Drop,
//          ( unit(), entryId, quals.drop(), quals.dropMask() ) );
//
// The arguments are evaluated, converted and copied first; then the activity lock is released
// for the call alone, and retaken before the result is used. The target of a pointer is not
// copied: it must be the caller's own, never an attribute. A call that fails writes its text as
// written here, the SDK's error text and the code to the error stream and the trace. The caller
// decides whether a failure is fatal.

#include <atomic>
#include <iosfwd>
#include <type_traits>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/ActivityLock.h"

namespace Karvel {

// Where failed calls are reported; standard error by default (null restores it).
void sdkErrorStreamIs( std::ostream* stream );

// The word before the code of a failed call. `quiet` calls are not reported: their failure is
// an answer like any other.
enum class SdkErrorForm : uint8_t { rc, rv, bare, quiet };

void reportSdkError( const Duolog::Handle& trace, const char* callText, Shim::Rc rc,
      SdkErrorForm form = SdkErrorForm::rc );

// Reports a call that failed with any code but the tolerated one; returns the code.
Shim::Rc reportUnless(
      Shim::Rc tolerated, const Duolog::Handle& trace, const char* callText, Shim::Rc rc );

// The trace handle of the call that is being made; null between calls. It tells people who
// writes to a chip; while several threads make calls it is the handle of one of them.
extern std::atomic< const Duolog::Handle* > sdkCaller;

// Takes the arguments by value in the types of the method's parameters, so that nothing of them
// remains to be read or converted once the lock is released.
template < SdkErrorForm form, typename... Params >
Shim::Rc callSdk( const Duolog::Handle& trace, const char* callText,
      Shim::Rc ( Shim::Sdk::*method )( Params... ),
      std::type_identity_t< std::remove_cvref_t< Params > >... args ) {
   Shim::Rc rc;
   {
      Zol::ActivityUnlock unlock;
      sdkCaller.store( &trace, std::memory_order_relaxed );
      rc = ( ::Shim::sdk_->*method )( args... );
      sdkCaller.store( nullptr, std::memory_order_relaxed );
   }
   if ( form != SdkErrorForm::quiet && rc != ::Shim::Sdk::QX_BCM_E_NONE() ) [[unlikely]] {
      reportSdkError( trace, callText, rc, form );
   } else {
      DUOLOG( trace, 5, callText << " (rc:" << rc << ")" );
   }
   return rc;
}

} // namespace Karvel

#define KARVEL_SDK_CALL( trace, call, args ) KARVEL_SDK_CALL_AS( rc, trace, call, args )
// A failure with the tolerated code is an answer like any other.
#define KARVEL_SDK_CALL_TOLERATING( tolerated, trace, call, args )                             \
   ::Karvel::reportUnless(                                                                     \
         tolerated, trace, #call #args, KARVEL_SDK_CALL_AS( quiet, trace, call, args ) )
#define KARVEL_SDK_CALL_AS( form, trace, call, args )                                          \
   ::Karvel::callSdk< ::Karvel::SdkErrorForm::form >(                                          \
         trace, #call #args, &::Shim::Sdk::call, KARVEL_SDK_ARGS_ args )
#define KARVEL_SDK_ARGS_( ... ) __VA_ARGS__
