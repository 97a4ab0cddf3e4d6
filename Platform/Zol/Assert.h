#pragma once

// Fatal assertions: a broken invariant stops the agent. They are on in every build.
//
//    ZOL_ASSERT( op->fullReprogram() );
//    ZOL_ASSERT( rc == 0 && "installEntry failed" );
//    ZOL_ASSERT_AS( "false && \"Invalid MTP\"", mtp < maxMtps );
//
// Prints the expression as written, or the text that is given for it, with file and line;
// flushes the trace and aborts. People and scripts look for these texts: where one is relied on
// and the code has come to say it in other words, the text is given.

#include <string_view>

namespace Zol {

// Prints "assertion failed: TEXT (FILE:LINE)" to standard error, runs the flush hook and
// aborts. For assertions whose text is composed at run time.
[[noreturn]] void assertionFailed( std::string_view text, const char* file, int line );

// Called once before the abort, so that buffered output (the trace) is not lost.
using FlushHook = void ( * )();
void assertionFlushHookIs( FlushHook hook );

} // namespace Zol

#define ZOL_ASSERT( ... ) ZOL_ASSERT_AS( #__VA_ARGS__, __VA_ARGS__ )
#define ZOL_ASSERT_AS( text, ... )                                                             \
   do {                                                                                        \
      if ( !( __VA_ARGS__ ) ) [[unlikely]] {                                                   \
         ::Zol::assertionFailed( text, __FILE__, __LINE__ );                                   \
      }                                                                                        \
   } while ( false )
