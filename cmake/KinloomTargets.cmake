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
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Clang checks what a mutex guards where the code says so; see host/Mutex.h and src/KLService/Lock.h. And ccache takes no
    # precompiled header of clang's that holds the time at which it was made, nor what is compiled with it.
    target_compile_options(${target} PRIVATE -Wthread-safety "SHELL:-Xclang -fno-pch-timestamp")
  endif()
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
  if(NOT target STREQUAL kinloom_test_headers)
    target_precompile_headers(${target} REUSE_FROM kinloom_test_headers)
  endif()
endfunction()

# kinloom_test(NAME SOURCES file... LIBS target... [ENVIRONMENT var=value...] [TIMEOUT seconds] [LABELS label...] [LONG])
# One GoogleTest program; each of its tests becomes a CTest test of its own, labelled with its folder's name. Generator
# expressions are allowed in ENVIRONMENT. Where ctest runs with KINLOOM_TEST_PROGRAMS in its environment, the whole program is one
# CTest test instead, of the program's name: most tests are quicker than the start of a process. LONG ones begin first then.
function(kinloom_test name)
  cmake_parse_arguments(arg "LONG" "TIMEOUT" "SOURCES;LIBS;ENVIRONMENT;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  kinloom_test_target(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock GTest::gtest_main)
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME area)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  set(cost 0)
  if(arg_LONG)
    set(cost 1)
  endif()

  # CTest reads the file below each time it runs, and through it what gtest_discover_tests has prepared. The properties are set here
  # since gtest_discover_tests keeps only the first element of one that is a list.
  get_property(files DIRECTORY PROPERTY TEST_INCLUDE_FILES)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 NO_PRETTY_VALUES)
  get_property(discovery DIRECTORY PROPERTY TEST_INCLUDE_FILES)
  list(REMOVE_ITEM discovery ${files})
  set(test_file "${CMAKE_CURRENT_BINARY_DIR}/${name}_ctest.cmake")
  file(GENERATE OUTPUT "${test_file}" CONTENT "if(\"\$ENV{KINLOOM_TEST_PROGRAMS}\" STREQUAL \"\")
  include([==[${discovery}]==])
  set(properties TIMEOUT ${arg_TIMEOUT})
else()
  add_test([==[${name}]==] [==[$<TARGET_FILE:${name}>]==] --gtest_brief=1)
  set(${name}_TESTS ${name})
  set(properties TIMEOUT 1800 COST ${cost} WORKING_DIRECTORY [==[${CMAKE_CURRENT_BINARY_DIR}]==])
endif()
foreach(test IN LISTS ${name}_TESTS)
  set_tests_properties(\"\${test}\" PROPERTIES \${properties}
    LABELS [==[${area};${arg_LABELS}]==]
    ENVIRONMENT [==[${arg_ENVIRONMENT}]==])
endforeach()
")
  set_property(DIRECTORY PROPERTY TEST_INCLUDE_FILES ${files} "${test_file}")
endfunction()
