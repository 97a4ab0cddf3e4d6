#pragma once

// The one way to call the SDK:
//
//    Shim::Rc rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_Drop,
//          ( unit(), entryId, quals.drop(), quals.dropMask() ) );
//
// The arguments are evaluated, converted and copied first; then the activity lock is released
// for the call alone, and retaken before the result is used. What a pointer points at is not
// copied: it must be the caller's own, never an attribute. A call that fails writes its text as
// written here, the SDK's error text and the code to the error stream and the trace. Whether a
// failure is fatal is the caller's to decide.

#include <atomic>
#include <iosfwd>
#include <type_traits>

#include "Platform/Duolog/Duolog.h"
#include "Platform/Shim/Sdk.h"
#include "Platform/Zol/ActivityLock.h"

namespace Karvel {

// Where failed calls are reported; standard error by default (null restores it).
void sdkErrorStreamIs( std::ostream* stream );

// What stands before the code of a failed call, or that a failure is an answer like any
// other and not reported.
enum class SdkErrorForm : uint8_t { rc, rv, bare, quiet };

void reportSdkError( const Duolog::Handle& trace, const char* callText, Shim::Rc rc,
      SdkErrorForm form = SdkErrorForm::rc );

// Reports a call that failed with another code than the tolerated one; gives the code back.
Shim::Rc reportUnless(
      Shim::Rc tolerated, const Duolog::Handle& trace, const char* callText, Shim::Rc rc );

// The trace handle of the call that is being made; null between calls. For people who ask who
// writes to a chip: while several threads make calls it is that of one of them.
extern std::atomic< const Duolog::Handle* > sdkCaller;

// Takes the arguments by value in the types of the method's parameters, so that nothing of
// them is left to be read or converted once the lock is released.
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
