# Installation paths and Debian packages. The components are "program", "documents", "tools" and "dev".
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)
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
  # Only the host platform has its configuration in a file.
  install(FILES ${packaging}/lanfab.service.configured.conf DESTINATION ${unit_dir}/lanfab.service.d
    RENAME configured.conf)
endif()
install(FILES ${packaging}/dnsmasq.service.conf DESTINATION ${unit_dir}/dnsmasq.service.d RENAME lanfab.conf)
install(FILES ${packaging}/systemd-networkd.service.conf DESTINATION ${unit_dir}/systemd-networkd.service.d
  RENAME lanfab.conf)
install(FILES ${packaging}/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME lanfab.conf)
install(FILES ${packaging}/sysusers.conf DESTINATION lib/sysusers.d RENAME lanfab.conf)

# A separate component, so that an OS image can omit it and a test can install it alone.
include(cmake/documentation.cmake)
include(cmake/development.cmake)

# The tools for authors of configurations, also a component.
if(LANFAB_CLI)
  include(cmake/tools.cmake)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${LANFAB_VERSION})
set(CPACK_PACKAGE_CONTACT "lanfab maintainers <maintainers@lanfab.example>")
# With DESTDIR, so that the service contains the program's final path.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/complete_deb.cmake)
set(CPACK_LANFAB_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_LANFAB_SYSROOT "${CMAKE_SYSROOT}")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program documents)
if(LANFAB_CLI)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "armv7l")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
# Each package has its own summary, the first line of the description; CPack indents the other lines.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

# The package "lanfab" contains everything except the tools. The file name can be set on cpack's command line.
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_LANFAB_PACKAGE_NAME lanfab)
set(CPACK_DEBIAN_LANFAB_DESCRIPTION "network configuration of a gateway for systemd-networkd and dnsmasq
Turns one JSON object into the units of systemd-networkd and the files of
dnsmasq, removes what the previous configuration left in the kernel, and
restarts both services.")
# The scripts of both packages share a function.
set(scripts ${PROJECT_BINARY_DIR}/debian)
file(READ ${debian}/end_trial END_TRIAL)
foreach(script preinst prerm tools/preinst tools/prerm)
  configure_file(${debian}/${script} ${scripts}/${script} @ONLY)
endforeach()
set(CPACK_DEBIAN_LANFAB_PACKAGE_CONTROL_EXTRA
  ${scripts}/preinst ${debian}/postinst ${scripts}/prerm ${debian}/postrm)
# complete_deb.cmake adds the libraries.
set(CPACK_DEBIAN_LANFAB_PACKAGE_DEPENDS "dnsmasq, iproute2, systemd, udev")

set(CPACK_DEBIAN_TOOLS_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME lanfab-tools)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "check, preview and safely apply the network of a gateway
Checks a configuration of lanfab before it is applied, shows the files and
commands that it leads to and what it would change, applies it with a rollback
unless it is confirmed in time, and reports drift.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA
    ${packaging}/tools/conffiles ${scripts}/tools/preinst ${scripts}/tools/prerm)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "lanfab (= ${LANFAB_VERSION})")
# For diagrams.
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS graphviz)

include(CPack)
cpack_add_component_group(lanfab)
cpack_add_component(program GROUP lanfab)
cpack_add_component(documents GROUP lanfab)
