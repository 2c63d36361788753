# What belongs to the program `lanfab`. It is never part of an image.
install(TARGETS lanfab RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(FILES packaging/tools/lanfab.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME lanfab COMPONENT tools)
install(FILES packaging/tools/_lanfab DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
  COMPONENT tools)
install(FILES packaging/tools/lanfab.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
  COMPONENT tools)
install_manual_page(lanfab.1 tools)
install_manual_page(lanfab-network.5 tools)
# For editors, which take it from here by a path in a configuration.
install(FILES schema/network.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/lanfab COMPONENT tools)
# Beside the other pages, so that links work.
install(FILES docs/checks.md docs/editors.md DESTINATION ${doc}/docs COMPONENT tools)
