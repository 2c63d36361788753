# The component "dev", for building a device's libraries: the headers of src/platform, and files for CMake and
# pkg-config. It requires no build, so it can be installed before the libraries exist. It is the same for
# every architecture.
set(platform_dir ${CMAKE_INSTALL_DATADIR}/cmake/lanfab-platform)

install(DIRECTORY src/platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lanfab COMPONENT dev
  FILES_MATCHING PATTERN *.h)
install(TARGETS platform EXPORT platform)
install(EXPORT platform NAMESPACE lanfab:: FILE lanfab-platform-targets.cmake DESTINATION ${platform_dir}
  COMPONENT dev)
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lanfab-platform-config-version.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES packaging/dev/lanfab-platform-config.cmake
  ${PROJECT_BINARY_DIR}/lanfab-platform-config-version.cmake DESTINATION ${platform_dir} COMPONENT dev)
configure_file(packaging/dev/lanfab-platform.pc.in lanfab-platform.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lanfab-platform.pc DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig
  COMPONENT dev)
