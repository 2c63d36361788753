# Warnings and sanitizers, the same for every target of this build.
add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wnull-dereference
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wundef)

if(LANFAB_WERROR)
  add_compile_options(-Werror)
endif()

if(LANFAB_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
