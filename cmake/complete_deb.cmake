# CPack runs this on the files of a package, to add what Debian requires but an OS image does not need: the
# copyright file, the changelog, and the dependencies on libraries.
set(debian ${CPACK_LANFAB_SOURCE}/packaging/debian)

# The timestamp of all files in the package is that of the changelog's last entry, so that packages are
# reproducible, in a clone as in an unpacked archive.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  file(STRINGS ${debian}/changelog ends_of_entries REGEX "^ -- ")
  list(GET ends_of_entries 0 end_of_entry)
  string(REGEX REPLACE ".*>  " "" date ${end_of_entry})
  execute_process(COMMAND date --date=${date} +%s
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()

# The libraries of a cross-built program are in the sysroot, with the control files of their packages.
set(search)
if(CPACK_LANFAB_SYSROOT)
  set(search -S${CPACK_LANFAB_SYSROOT})
  set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
endif()

# dpkg-shlibdeps runs in a directory with a debian/control, which may be empty.
set(scratch ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
file(WRITE ${scratch}/debian/control "")

# Sets `result` to the packages of the libraries that the programs below a directory need, such as "libc6 (>=
# 2.34), libstdc++6 (>= 11)". Unlike CPack's own call, fails if a library belongs to no package. Warnings of
# missing symbols are disabled: the linker checks these, and on ARM one warning is wrong.
function(find_libraries result directory)
  file(GLOB programs ${directory}/usr/bin/*)
  # dpkg-shlibdeps recognizes the root of a package by this directory.
  file(MAKE_DIRECTORY ${directory}/DEBIAN)
  execute_process(COMMAND dpkg-shlibdeps --warnings=2 -O ${search} ${programs} WORKING_DIRECTORY ${scratch}
    OUTPUT_VARIABLE libraries OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${directory}/DEBIAN)
  string(REPLACE "shlibs:Depends=" "" libraries ${libraries})
  set(${result} ${libraries} PARENT_SCOPE)
endfunction()

file(GLOB packages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(files IN LISTS packages)
  cmake_path(GET files FILENAME group)
  string(TOUPPER ${group} group)
  set(doc ${files}/usr/share/doc/${CPACK_DEBIAN_${group}_PACKAGE_NAME})
  file(COPY ${debian}/copyright ${debian}/changelog DESTINATION ${doc}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(GLOB manual_pages ${files}/usr/share/man/man*/*)
  execute_process(COMMAND gzip --best --no-name ${doc}/changelog ${manual_pages} COMMAND_ERROR_IS_FATAL ANY)
  find_libraries(libraries ${files})
  # CPack reads this when it builds the package.
  set(CPACK_DEBIAN_${group}_PACKAGE_DEPENDS "${libraries}, ${CPACK_DEBIAN_${group}_PACKAGE_DEPENDS}")
endforeach()
