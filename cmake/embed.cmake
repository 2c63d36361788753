# Compiles a file into a target, which can access its content as `extern const std::string_view <symbol>`.
function(lanfab_embed target symbol file)
  cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE path)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
  file(READ ${path} bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp @ONLY CONTENT [[
#include <string_view>
static const unsigned char kBytes[] = {@bytes@};
extern const std::string_view @symbol@;
const std::string_view @symbol@(reinterpret_cast<const char*>(kBytes), sizeof kBytes);
]])
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp)
endfunction()
