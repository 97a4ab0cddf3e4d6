# One place for what all our targets share: warnings as errors, sanitizers, include root.
add_library( karvel-options INTERFACE )
target_compile_options( karvel-options INTERFACE
   -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror )
if( CMAKE_CXX_COMPILER_ID STREQUAL "GNU" )
   # When it optimises, g++ 12 takes "text" + std::to_string( n ) for overlapping or overlong
   # copies, and strings within an empty std::optional for used uninitialised. Code that comes
   # out of a precompiled header is no longer known to be the library's, whose warnings are off.
   target_compile_options( karvel-options INTERFACE
      -Wno-restrict -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow
      -Wno-stringop-overread )
endif()
if( KARVEL_SANITIZE )
   target_compile_options( karvel-options INTERFACE
      -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -O0 )
   target_link_options( karvel-options INTERFACE -fsanitize=address,undefined )
endif()

# Headers that most files include, parsed once for each target. Every file still includes what
# it uses: a test builds the contract and the plug-in alone (KARVEL_EMBEDDED off) without them.
function( karvel_precompile_headers target )
   if( KARVEL_EMBEDDED )
      target_precompile_headers( ${target} PRIVATE <algorithm> <array> <cstdint> <functional>
         <map> <memory> <optional> <ostream> <string> <string_view> <utility> <vector> ${ARGN} )
   endif()
endfunction()

# karvel_module( NAME KIND LIBRARIES... ): a library of every source file of this folder.
function( karvel_module name kind )
   file( GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp )
   add_library( ${name} ${kind} ${sources} )
   target_include_directories( ${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> )
   target_link_libraries( ${name} PRIVATE $<BUILD_INTERFACE:karvel-options> PUBLIC ${ARGN} )
   karvel_precompile_headers( ${name} )
endfunction()
