# CPack runs this on the files to be packed, to add what Debian expects in a package and an image does not.
set(debian ${CPACK_LANFAB_SOURCE}/packaging/debian)
file(GLOB packages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(files IN LISTS packages)
  cmake_path(GET files FILENAME group)
  string(TOUPPER ${group} group)
  set(doc ${files}/usr/share/doc/${CPACK_DEBIAN_${group}_PACKAGE_NAME})
  file(COPY ${debian}/copyright ${debian}/changelog DESTINATION ${doc}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(GLOB manual_pages ${files}/usr/share/man/man*/*)
  execute_process(COMMAND gzip --best --no-name ${doc}/changelog ${manual_pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# The timestamp of all files in the package: that of the changelog's last entry, so that the same source gives
# the same bytes, in a clone as in an unpacked archive.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  file(STRINGS ${debian}/changelog ends_of_entries REGEX "^ -- ")
  list(GET ends_of_entries 0 end_of_entry)
  string(REGEX REPLACE ".*>  " "" date ${end_of_entry})
  execute_process(COMMAND date --date=${date} +%s
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()
