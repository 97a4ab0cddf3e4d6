# Installs the contract and the plug-in without the embedded agent and the chip model, as for a
# real switch, moves the tree elsewhere, and builds and runs a consumer against it.
#
#    cmake -DSOURCE=CHECKOUT -DWORK=DIR -P PackageTest.cmake
cmake_policy( VERSION 3.22 )

function( run )
   execute_process( COMMAND ${ARGV} RESULT_VARIABLE result
      OUTPUT_VARIABLE output ERROR_VARIABLE output )
   if( NOT result EQUAL 0 )
      string( JOIN " " command ${ARGV} )
      message( FATAL_ERROR "${command}\n${output}\nfailed: ${result}" )
   endif()
endfunction()

# Quick to compile; what is tested is what is installed.
set( options -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O0 )
file( REMOVE_RECURSE ${WORK}/prefix ${WORK}/moved ${WORK}/consumer )

run( ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build ${options} -DKARVEL_EMBEDDED=OFF )
run( ${CMAKE_COMMAND} --build ${WORK}/build )
run( ${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/prefix )
file( RENAME ${WORK}/prefix ${WORK}/moved )

file( GLOB installed RELATIVE ${WORK}/moved ${WORK}/moved/* ${WORK}/moved/lib/* )
set( expected include lib lib/cmake lib/karvel lib/libKarvelPlatform.so )
if( NOT installed STREQUAL expected )
   message( FATAL_ERROR "installed: ${installed}; expected: ${expected}" )
endif()

run( ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/consumer ${options}
   -DCMAKE_PREFIX_PATH=${WORK}/moved )
run( ${CMAKE_COMMAND} --build ${WORK}/consumer )
run( ${WORK}/consumer/consumer )
