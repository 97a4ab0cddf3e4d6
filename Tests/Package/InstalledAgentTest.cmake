# Installs a build tree and runs the installed agent, which has to find its libraries and its
# plug-in where they were installed.
#
#    cmake -DBUILD=BUILD-TREE -DCONFIG=FILE -DWORK=DIR -P InstalledAgentTest.cmake
cmake_policy( VERSION 3.22 )

file( REMOVE_RECURSE ${WORK} )
execute_process( COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix
   OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY )
file( RENAME ${WORK}/prefix ${WORK}/moved )
execute_process( COMMAND ${WORK}/moved/bin/karvel-agent run --strict ${CONFIG}
   COMMAND_ERROR_IS_FATAL ANY )

# The build tree's libraries would hide that the installed ones are not found.
file( GLOB libraries ${WORK}/moved/lib/*.so ${WORK}/moved/lib/karvel/*.so )
foreach( binary ${WORK}/moved/bin/karvel-agent ${libraries} )
   execute_process( COMMAND ldd ${binary} OUTPUT_VARIABLE needed COMMAND_ERROR_IS_FATAL ANY )
   string( REPLACE ${WORK} "" needed "${needed}" ) # the installation may stand in the tree
   string( FIND "${needed}" ${BUILD} found )
   if( NOT found EQUAL -1 OR needed MATCHES "not found" )
      message( FATAL_ERROR "${binary} needs:\n${needed}" )
   endif()
endforeach()
