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
  if(KINLOOM_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${KINLOOM_CCACHE}")
  endif()
endif()
