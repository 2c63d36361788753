# CPack runs this on the files to be packed, to add what Debian expects in a package and an image does not.
set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(doc ${usr}/share/doc/${CPACK_PACKAGE_NAME})
file(COPY ${CPACK_LANFAB_DEBIAN_FILES}/copyright ${CPACK_LANFAB_DEBIAN_FILES}/changelog DESTINATION ${doc})
file(GLOB manual_pages ${usr}/share/man/man*/*)
execute_process(COMMAND gzip --best --no-name ${doc}/changelog ${manual_pages} COMMAND_ERROR_IS_FATAL ANY)
