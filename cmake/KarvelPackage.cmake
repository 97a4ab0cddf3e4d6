# The package "karvel-mirror" for other CMake projects. Where things are installed is fixed
# below the prefix, since the agent finds its plug-ins relative to itself.
include( CMakePackageConfigHelpers )

set( package_dir lib/cmake/karvel-mirror )
configure_package_config_file( cmake/karvel-mirror-config.cmake.in
   ${PROJECT_BINARY_DIR}/karvel-mirror-config.cmake INSTALL_DESTINATION ${package_dir} )
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/karvel-mirror-config-version.cmake
   COMPATIBILITY SameMinorVersion )
install( FILES ${PROJECT_BINARY_DIR}/karvel-mirror-config.cmake
   ${PROJECT_BINARY_DIR}/karvel-mirror-config-version.cmake DESTINATION ${package_dir} )
install( EXPORT karvel-mirror NAMESPACE karvel-mirror:: FILE karvel-mirror-targets.cmake
   DESTINATION ${package_dir} )
