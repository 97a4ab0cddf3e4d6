#include "Platform/Zol/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Zol {

namespace {
FlushHook flushHook = nullptr;
}

void assertionFlushHookIs( FlushHook hook ) { flushHook = hook; }

void assertionFailed( std::string_view text, const char* file, int line ) {
   if ( FlushHook hook = flushHook ) {
      flushHook = nullptr; // a hook that asserts must not come back here
      hook();
   }
   std::fflush( stdout );
   std::fprintf( stderr, "assertion failed: %.*s (%s:%d)\n", static_cast< int >( text.size() ),
         text.data(), file, line );
   std::fflush( stderr );
   std::abort();
}

} // namespace Zol
