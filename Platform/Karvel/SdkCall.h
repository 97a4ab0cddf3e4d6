#pragma once

// The one way to call the SDK:
//
//    Shim::Rc rc = KARVEL_SDK_CALL( trace, bcm_field_qualify_Drop,
//          ( unit(), entryId, quals.drop(), quals.dropMask() ) );
//
// The arguments are evaluated, converted and copied first; then the activity lock is released
// for the call alone, and retaken before the result is used. The target of a pointer is not
// copied: it must be the caller's own, never an attribute. A call that fails writes its text,
// the SDK's error text and the code to the error stream and the trace. Whether a failure is fatal
// is the caller's to decide.
//
//    KARVEL_SDK_CALL( trace, call, args )           reported with " (rc:" before the code
//    KARVEL_SDK_CALL_AS( form, trace, call, args )  reported in another form, or not at all
//    KARVEL_SDK_OUTCOME( trace, call, args )        not reported: text and code are the caller's
//
// The text is the call as written here. People and scripts look for these texts: where one is
// relied on and the code has come to say it in other words, the text of the arguments follows
// them:
//
//    KARVEL_SDK_CALL( trace, bcm_field_qualify_DSCP, ( unit(), id, tos, mask ),
//          "( unit(), entryId, dscp << 2, dscpMask << 2 )" );

#include <atomic>
#include <iosfwd>
#include <string_view>
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

// `handler` is who made the call, for the trace.
void reportSdkError( const Duolog::Handle& trace, const char* callText, Shim::Rc rc,
      SdkErrorForm form = SdkErrorForm::rc, std::string_view handler = {} );

// A call that was made, and what the SDK answered.
struct SdkOutcome {
   const char* callText;
   Shim::Rc rc;
};

// Remembers a failed call as what the chip refused last (SdkRefusals.h). A report does so, too;
// this is for whoever says in words of its own that a call has failed.
void keepSdkRefusal( const SdkOutcome& outcome );

// Reports a call that failed with another code than the tolerated one, which is an answer like
// any other; gives the code back.
Shim::Rc reportUnless( Shim::Rc tolerated, const Duolog::Handle& trace,
      const SdkOutcome& outcome, SdkErrorForm form = SdkErrorForm::rc,
      std::string_view handler = {} );

// The trace handle of the call that is being made; null between calls. It tells people who
// writes to a chip; while several threads make calls it is the handle of one of them.
extern std::atomic< const Duolog::Handle* > sdkCaller;

// An argument as the SDK takes it. Integers may change their sign, which the SDK is not strict
// about (its units and entries are signed, our ids are not), but never lose bits.
template < typename Param, typename Arg >
Param sdkArg( const Arg& arg ) {
   if constexpr ( std::is_integral_v< Param > && std::is_integral_v< Arg > ) {
      static_assert( sizeof( Arg ) <= sizeof( Param ) );
      return static_cast< Param >( arg );
   } else {
      return arg;
   }
}

// Takes the arguments by value in the types of the method's parameters, so that nothing of them
// remains to be read or converted once the lock is released.
template < SdkErrorForm form, typename... Params >
Shim::Rc callSdkWith( const Duolog::Handle& trace, const char* callText,
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

template < SdkErrorForm form, typename... Params, typename... Args >
Shim::Rc callSdk( const Duolog::Handle& trace, const char* callText,
      Shim::Rc ( Shim::Sdk::*method )( Params... ), const Args&... args ) {
   return callSdkWith< form >(
         trace, callText, method, sdkArg< std::remove_cvref_t< Params > >( args )... );
}

} // namespace Karvel

#define KARVEL_SDK_CALL( trace, call, ... ) KARVEL_SDK_CALL_AS( rc, trace, call, __VA_ARGS__ )
#define KARVEL_SDK_CALL_AS( form, trace, call, ... )                                           \
   ::Karvel::callSdk< ::Karvel::SdkErrorForm::form >( trace,                                   \
         KARVEL_SDK_TEXT_( call, __VA_ARGS__ ), &::Shim::Sdk::call,                            \
         KARVEL_SDK_ARGS_( __VA_ARGS__ ) )
#define KARVEL_SDK_OUTCOME( trace, call, ... )                                                 \
   ( ::Karvel::SdkOutcome{ KARVEL_SDK_TEXT_( call, __VA_ARGS__ ),                              \
         KARVEL_SDK_CALL_AS( quiet, trace, call, __VA_ARGS__ ) } )

// The arguments as the compiler takes them; the text of the call, with theirs if it is given.
#define KARVEL_SDK_ARGS_( args, ... ) KARVEL_SDK_BARE_ args
#define KARVEL_SDK_BARE_( ... ) __VA_ARGS__
#define KARVEL_SDK_TEXT_( call, ... ) #call KARVEL_SDK_ARGS_TEXT_( __VA_ARGS__ )
#define KARVEL_SDK_ARGS_TEXT_( args, ... ) KARVEL_SDK_FIRST_( __VA_OPT__( __VA_ARGS__, ) #args )
#define KARVEL_SDK_FIRST_( first, ... ) first
