# Installs the program `lanfab` and its files. They are not part of an OS image.
install(TARGETS lanfab RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
foreach(program lanfab cmd_lanfab)
  install(FILES packaging/tools/${program}.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program} COMPONENT tools)
  install(FILES packaging/tools/_${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
    COMPONENT tools)
  install(FILES packaging/tools/${program}.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)
endforeach()
install_manual_page(lanfab.1 tools)
install_manual_page(lanfab-network.5 tools)
# The same prefix as the service, which this extends.
install(CODE "
  cmake_path(APPEND LANFAB_PROGRAM \"\${CMAKE_INSTALL_PREFIX}\" ${CMAKE_INSTALL_BINDIR} cmd_lanfab)
  cmake_path(APPEND LANFAB_TOOL \"\${CMAKE_INSTALL_PREFIX}\" ${CMAKE_INSTALL_BINDIR} lanfab)
  configure_file(${packaging}/tools/lanfab.service.conf.in ${PROJECT_BINARY_DIR}/record.conf @ONLY)
  configure_file(${packaging}/tools/lanfab-metrics.service.in
    ${PROJECT_BINARY_DIR}/lanfab-metrics.service @ONLY)"
  COMPONENT tools)
install(FILES ${PROJECT_BINARY_DIR}/record.conf DESTINATION ${unit_dir}/lanfab.service.d COMPONENT tools)
install(FILES ${PROJECT_BINARY_DIR}/lanfab-metrics.service packaging/tools/lanfab-metrics.timer
  DESTINATION ${unit_dir} COMPONENT tools)
# For the monitoring server.
install(FILES packaging/monitoring/alerts.yml packaging/monitoring/dashboard.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lanfab/monitoring COMPONENT tools)
# Login shells read this from /etc, which belongs to the prefix /usr.
install(CODE "
  set(etc \"\${CMAKE_INSTALL_PREFIX}/etc\")
  if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    set(etc /etc)
  endif()
  file(INSTALL ${packaging}/tools/profile.sh DESTINATION \"\${etc}/profile.d\" RENAME lanfab.sh
    PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)"
  COMPONENT tools)
# For editors, whose configuration refers to it by path.
install(FILES schema/network.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/lanfab COMPONENT tools)
# In the same directory as the other pages, so that links work.
install(FILES docs/checks.md docs/editors.md docs/fleet.md DESTINATION ${doc}/docs COMPONENT tools)
