# One place for what all our targets share: warnings as errors, sanitizers, include root.
add_library( karvel-options INTERFACE )
target_compile_options( karvel-options INTERFACE
   -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror )
if( CMAKE_CXX_COMPILER_ID STREQUAL "GNU" )
   # When it optimises, g++ 12 takes "text" + std::to_string( n ) for overlapping copies, and
   # strings within an empty std::optional for used.
   target_compile_options( karvel-options INTERFACE
      -Wno-restrict -Wno-maybe-uninitialized )
endif()
if( KARVEL_SANITIZE )
   target_compile_options( karvel-options INTERFACE
      -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -O0 )
   target_link_options( karvel-options INTERFACE -fsanitize=address,undefined )
endif()

# karvel_module( NAME KIND LIBRARIES... ): a library of every source file of this folder.
function( karvel_module name kind )
   file( GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp )
   add_library( ${name} ${kind} ${sources} )
   target_include_directories( ${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> )
   target_link_libraries( ${name} PRIVATE $<BUILD_INTERFACE:karvel-options> PUBLIC ${ARGN} )
endfunction()
