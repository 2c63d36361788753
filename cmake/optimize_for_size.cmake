# Read by project() when it determines the flags of the build types, before it applies the builder's settings.
# Releases are optimized for size unless the toolchain file has other flags. Measured on ARM: -Os is one
# seventh smaller than -O2, and a run spends most of its time in external tools.
string(STRIP "${CMAKE_CXX_FLAGS_RELEASE_INIT}" flags)
if(flags STREQUAL "-O3 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE_INIT "-Os -DNDEBUG")
endif()
