# SPDX-License-Identifier: MIT
# What all of this project's targets share. Nothing here touches a global of a project that takes this one in.

include_guard(GLOBAL)

# The settings of every target of the project: C++17, hidden symbols, warnings of the project's own code.
function(kinloom_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
endfunction()

# Refuses to link a library that leaves a symbol open. Sanitizer builds are let off: what their symbols need comes with the program.
function(kinloom_no_open_symbols target)
  string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
  if(NOT "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}} ${CMAKE_MODULE_LINKER_FLAGS}" MATCHES "-fsanitize")
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
endfunction()

# What the project's tests share beyond that: the compile options of KINLOOM_TEST_FLAGS, and headers that are parsed once for all of
# them. Everything here ends up in programs, never in a library that others load, so the compiler's own choice of position
# independence will do; it must be one choice, since precompiled headers serve only those who are compiled alike.
function(kinloom_test_target target)
  kinloom_target(${target})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(${target} PRIVATE ${KINLOOM_TEST_FLAGS})
  target_precompile_headers(${target} REUSE_FROM kinloom_test_headers)
endfunction()

# kinloom_test(NAME SOURCES file... LIBS target... [ENVIRONMENT var=value...] [TIMEOUT seconds] [LABELS label...] [LONG])
# One GoogleTest program; each of its tests becomes a CTest test of its own, labelled with its folder's name. Generator
# expressions are allowed in ENVIRONMENT. With KINLOOM_TEST_PROGRAMS the whole program is one CTest test, of the program's name;
# LONG ones begin first then.
function(kinloom_test name)
  cmake_parse_arguments(arg "LONG" "TIMEOUT" "SOURCES;LIBS;ENVIRONMENT;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  kinloom_test_target(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock GTest::gtest_main)
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME area)
  if(KINLOOM_TEST_PROGRAMS)
    if(arg_LONG)
      set(cost 1)
    else()
      set(cost 0)
    endif()
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES
      TIMEOUT 1800
      COST ${cost}
      LABELS "${area};${arg_LABELS}"
      ENVIRONMENT "${arg_ENVIRONMENT}")
    return()
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 NO_PRETTY_VALUES)

  # gtest_discover_tests keeps only the first element of a property that is a list, so the properties are set by a file of
  # our own, which CTest reads after the discovery.
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  set(properties_file "${CMAKE_CURRENT_BINARY_DIR}/${name}_properties.cmake")
  file(GENERATE OUTPUT "${properties_file}" CONTENT "foreach(test IN LISTS ${name}_TESTS)
  set_tests_properties(\"\${test}\" PROPERTIES
    TIMEOUT ${arg_TIMEOUT}
    LABELS [==[${area};${arg_LABELS}]==]
    ENVIRONMENT [==[${arg_ENVIRONMENT}]==])
endforeach()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${properties_file}")
endfunction()
