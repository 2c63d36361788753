# Warnings, hardening, optimization and sanitizers, the same for every target of this build. Defaults precede
# the builder's own flags (CXXFLAGS, LDFLAGS, toolchain file, -DCMAKE_...), which therefore win.
set(default_flags
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wnull-dereference
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wundef)
set(default_link_flags)

if(LANFAB_WERROR)
  add_compile_options(-Werror)
endif()

if(NOT DEFINED CMAKE_POSITION_INDEPENDENT_CODE)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  if(LANFAB_SANITIZE)
    # Position-independent, a program with sanitizers has a million relocations: a sixth of the time of a
    # small run.
    set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
    list(APPEND default_flags -fno-pie)
  endif()
endif()

if(LANFAB_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

if(LANFAB_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(LANFAB_COVERAGE)
  # LLVM_PROFILE_FILE is the path of the counters; without it, they are not written. They can be in a mapped
  # file, where they survive a process killed by a signal.
  set(counting -fprofile-instr-generate=/dev/null)
  add_compile_options(${counting} -fcoverage-mapping -mllvm -runtime-counter-relocation)
  add_link_options(${counting})
endif()

# Sets `result` to whether the builder's flags optimize and do not set _FORTIFY_SOURCE: without optimization
# it only causes a warning, and a second value is an error.
function(can_fortify result)
  include(CheckCXXSourceCompiles)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  set(CMAKE_TRY_COMPILE_CONFIGURATION ${CMAKE_BUILD_TYPE})
  set(CMAKE_REQUIRED_QUIET ON)
  # The flags may have changed since the previous configuration.
  unset(${result} CACHE)
  check_cxx_source_compiles("
    #if !defined __OPTIMIZE__ || defined _FORTIFY_SOURCE
    #error
    #endif
    int main() {}" ${result})
endfunction()

if(LANFAB_HARDENING AND NOT LANFAB_SANITIZE)
  list(APPEND default_flags -fstack-protector-strong)
  list(APPEND default_link_flags -Wl,-z,relro,-z,now)
  can_fortify(LANFAB_CAN_FORTIFY)
  if(LANFAB_CAN_FORTIFY)
    list(APPEND default_flags -D_FORTIFY_SOURCE=2)
  endif()
endif()

if(CMAKE_BUILD_TYPE STREQUAL Release)
  list(APPEND default_flags -ffunction-sections -fdata-sections)
  list(APPEND default_link_flags -Wl,--gc-sections,--as-needed)
  # Reproducible in any build directory.
  list(APPEND default_flags "-ffile-prefix-map=\"${PROJECT_SOURCE_DIR}/\"=")
  # cmd_lanfab uses link-time optimization. Its objects also contain ordinary code, which lanfab and the tests
  # link.
  set(flags "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_RELEASE}")
  if(NOT DEFINED CMAKE_INTERPROCEDURAL_OPTIMIZATION AND NOT flags MATCHES "-f(no-)?lto")
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(CMAKE_CXX_COMPILE_OPTIONS_IPO -flto=auto -ffat-lto-objects)
    # With all functions in view, it warns about paths that no caller takes.
    list(APPEND default_link_flags -Wno-null-dereference)
  endif()
endif()

list(JOIN default_flags " " default_flags)
list(JOIN default_link_flags " " default_link_flags)
# Normal variables: the cache keeps the builder's values.
set(CMAKE_CXX_FLAGS "${default_flags} ${CMAKE_CXX_FLAGS}")
set(CMAKE_EXE_LINKER_FLAGS "${default_link_flags} ${CMAKE_EXE_LINKER_FLAGS}")

include(CheckPIESupported)
check_pie_supported()
