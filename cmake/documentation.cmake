# Installs the documents, in the layout of the source, so that their links work.
set(doc ${CMAKE_INSTALL_DOCDIR})

# The index ends with pages that are only in the source.
file(READ docs/README.md index)
string(REGEX REPLACE "\n## In the source\n.*" "" index "${index}")
file(CONFIGURE OUTPUT documentation/README.md CONTENT "${index}" @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS docs/README.md)

install(FILES ${PROJECT_BINARY_DIR}/documentation/README.md
  docs/compatibility.md
  docs/configuration.md docs/files.md docs/integration.md docs/operation.md docs/security.md
  docs/status.md
  docs/supported-systems.md
  DESTINATION ${doc}/docs COMPONENT documents)
install(FILES CHANGELOG.md DESTINATION ${doc} COMPONENT documents)
install(DIRECTORY examples DESTINATION ${doc} COMPONENT documents
  FILES_MATCHING PATTERN network.json PATTERN README.md)

# Installs a manual page with the version in it.
function(install_manual_page page component)
  configure_file(docs/man/${page} documentation/${page} @ONLY)
  cmake_path(GET page EXTENSION LAST_ONLY section)
  string(REPLACE "." "man" directory ${section})
  install(FILES ${PROJECT_BINARY_DIR}/documentation/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/${directory}
    COMPONENT ${component})
endfunction()
install_manual_page(cmd_lanfab.8 documents)
