# Warnings, sanitizers and hardening, the same for every target of this build.
add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wnull-dereference
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wundef)

if(LANFAB_WERROR)
  add_compile_options(-Werror)
endif()

if(LANFAB_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  # Loaded anywhere, a program with sanitizers has a million relocations: a sixth of the time of a small run.
  set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
  add_compile_options(-fno-pie)
endif()

if(LANFAB_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(LANFAB_COVERAGE)
  # LLVM_PROFILE_FILE says where the counters go; without it nowhere. They can be kept in a mapped file, where
  # they survive a process that a signal ends.
  set(counting -fprofile-instr-generate=/dev/null)
  add_compile_options(${counting} -fcoverage-mapping -mllvm -runtime-counter-relocation)
  add_link_options(${counting})
endif()

if(CMAKE_BUILD_TYPE STREQUAL Release)
  # Measured on ARM: -Os is one seventh smaller than -O2, and most of a run is spent in the tools it starts.
  set(CMAKE_CXX_FLAGS_RELEASE "-Os -DNDEBUG")
  # cmd_lanfab is optimized as a whole. Its objects also hold ordinary code, with which lanfab and the tests
  # are linked.
  if(NOT DEFINED CMAKE_INTERPROCEDURAL_OPTIMIZATION)
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(CMAKE_CXX_COMPILE_OPTIONS_IPO -flto=auto -ffat-lto-objects)
  endif()
  add_compile_options(-ffunction-sections -fdata-sections -fstack-protector-strong)
  # The same bytes in whichever directory it is built.
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
  add_compile_definitions(_FORTIFY_SOURCE=2)
  add_link_options(-Wl,--gc-sections -Wl,-z,relro,-z,now -Wl,--as-needed)
endif()
include(CheckPIESupported)
check_pie_supported()
