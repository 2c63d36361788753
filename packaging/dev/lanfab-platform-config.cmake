# find_package(lanfab-platform) defines the target lanfab::platform: link the libraries of a device with it.
include(CMakeFindDependencyMacro)
find_dependency(PkgConfig)
pkg_check_modules(jsoncpp REQUIRED IMPORTED_TARGET jsoncpp)
include(${CMAKE_CURRENT_LIST_DIR}/lanfab-platform-targets.cmake)
