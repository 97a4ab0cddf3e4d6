#pragma once

// Fatal assertions: a broken invariant stops the agent. They are on in every build.
//
//    ZOL_ASSERT( op->fullReprogram() );
//    ZOL_ASSERT( rc == 0 && "installEntry failed" );
//
// Prints the expression as written, file and line, flushes the trace and aborts.

#include <string_view>

namespace Zol {

// Prints "assertion failed: TEXT (FILE:LINE)" to standard error, runs the flush hook and
// aborts. For assertions whose text is composed at run time.
[[noreturn]] void assertionFailed( std::string_view text, const char* file, int line );

// Called once before the abort, so that buffered output (the trace) is not lost.
using FlushHook = void ( * )();
void assertionFlushHookIs( FlushHook hook );

} // namespace Zol

#define ZOL_ASSERT( ... )                                                                      \
   do {                                                                                        \
      if ( !( __VA_ARGS__ ) ) [[unlikely]] {                                                   \
         ::Zol::assertionFailed( #__VA_ARGS__, __FILE__, __LINE__ );                           \
      }                                                                                        \
   } while ( false )
