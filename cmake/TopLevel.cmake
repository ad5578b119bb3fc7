# SPDX-License-Identifier: MIT
# What is decided for a whole build, and so only when this project is the one that is built.

get_property(multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT CMAKE_BUILD_TYPE AND NOT multi_config)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()

# -DCMAKE_CXX_COMPILER_LAUNCHER= builds without ccache.
if(NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(KINLOOM_CCACHE ccache)
  mark_as_advanced(KINLOOM_CCACHE)
  # With these settings another clone of the project finds what this one has compiled, with precompiled headers or without.
  if(KINLOOM_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER
      env CCACHE_BASEDIR=${CMAKE_CURRENT_SOURCE_DIR} CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros "${KINLOOM_CCACHE}")
  endif()
endif()
