# What is installed and where, and the Debian package.
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(debian ${packaging}/debian)
set(unit_dir lib/systemd/system)

install(TARGETS cmd_lanfab RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Generated at installation: the service contains the program's path, which `cmake --install --prefix` sets.
install(CODE "
  cmake_path(APPEND LANFAB_PROGRAM \"\${CMAKE_INSTALL_PREFIX}\" ${CMAKE_INSTALL_BINDIR} cmd_lanfab)
  configure_file(${packaging}/lanfab.service.in ${PROJECT_BINARY_DIR}/lanfab.service @ONLY)")
install(FILES ${PROJECT_BINARY_DIR}/lanfab.service DESTINATION ${unit_dir})
if(LANFAB_PLATFORM STREQUAL "host")
  # Only the host platform keeps its configuration in a file.
  install(FILES ${packaging}/lanfab.service.configured.conf DESTINATION ${unit_dir}/lanfab.service.d
    RENAME configured.conf)
endif()
install(FILES ${packaging}/dnsmasq.service.conf DESTINATION ${unit_dir}/dnsmasq.service.d RENAME lanfab.conf)
install(FILES ${packaging}/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME lanfab.conf)
install(FILES ${packaging}/sysusers.conf DESTINATION lib/sysusers.d RENAME lanfab.conf)

# A component of its own, so that an image can do without it and a test can install it alone.
include(cmake/documentation.cmake)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "lanfab maintainers <maintainers@lanfab.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "network configuration of a gateway for systemd-networkd and dnsmasq")
# CPack indents the lines.
set(CPACK_PACKAGE_DESCRIPTION "Turns one JSON object into the units of systemd-networkd and the files of
dnsmasq, undoes what the previous run left in the kernel and restarts both
services.")
# With DESTDIR, so that the service contains the program's final path.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/complete_deb.cmake)
set(CPACK_LANFAB_SOURCE ${PROJECT_SOURCE_DIR})

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${debian}/postinst ${debian}/prerm ${debian}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Written by hand: dpkg-shlibdeps knows only the packages of the build machine.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.3.1), libjsoncpp25 (>= 1.9.5), \
libsqlite3-0 (>= 3.5.9), libstdc++6 (>= 11), dnsmasq, iproute2, systemd, udev")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "armv7l")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
include(CPack)
