# Read by project() when it determines the flags of the build types, before the builder's own settings are
# applied to them. A release is optimized for size unless the toolchain file asks for something else. Measured
# on ARM: -Os is one seventh smaller than -O2, and most of a run is spent in the tools it starts.
string(STRIP "${CMAKE_CXX_FLAGS_RELEASE_INIT}" flags)
if(flags STREQUAL "-O3 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE_INIT "-Os -DNDEBUG")
endif()
