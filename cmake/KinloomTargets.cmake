# SPDX-License-Identifier: MIT
# What all of this project's targets share. Nothing here touches a global of a project that takes this one in.

include_guard(GLOBAL)

# The settings of every target of the project: C++17, hidden symbols, warnings of the project's own code.
function(kinloom_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  # Where sources are compiled together, the compiler takes them for headers, and warns of what is right in a source.
  if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Clang checks what a mutex guards where the code says so; see host/Mutex.h and src/KLService/Lock.h. And ccache takes no
    # precompiled header of clang's that holds the time at which it was made, nor what is compiled with it.
    target_compile_options(${target} PRIVATE -Wthread-safety "SHELL:-Xclang -fno-pch-timestamp")
    # It warns, too, of a local name that a source compiled together with this one has for something else. g++ does not, and the
    # checks of the sources read each one alone.
    if(CMAKE_UNITY_BUILD)
      target_compile_options(${target} PRIVATE -Wno-shadow)
    endif()
  endif()
endfunction()

# What most sources of a target include, parsed once for all of them; further headers may be named. A source still names all that
# it uses: .ci/run reads each one without this.
function(kinloom_common_headers target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <cstdio> <cstring> <functional> <list> <map> <memory>
    <mutex> <optional> <stdexcept> <string> <string_view> <thread> <utility> <vector> ${ARGN})
endfunction()

# Refuses to link a library that leaves a symbol open. Sanitizer builds are let off: what their symbols need comes with the program.
function(kinloom_no_open_symbols target)
  string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
  if(NOT "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}} ${CMAKE_MODULE_LINKER_FLAGS}" MATCHES "-fsanitize")
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
endfunction()

# kinloom_manual(PAGE): the manual page docs/PAGE.scd, built and installed.
function(kinloom_manual page)
  find_program(KINLOOM_SCDOC scdoc REQUIRED)
  mark_as_advanced(KINLOOM_SCDOC)
  add_custom_command(OUTPUT ${page}
    COMMAND "${KINLOOM_SCDOC}" < "${PROJECT_SOURCE_DIR}/docs/${page}.scd" > ${page}
    DEPENDS "${PROJECT_SOURCE_DIR}/docs/${page}.scd" VERBATIM)
  add_custom_target(${page}_page ALL DEPENDS ${page})
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
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

# kinloom_test(NAME SOURCES file... LIBS target... [ENVIRONMENT var=value...] [TIMEOUT seconds] [LABELS label...] [FIXTURES name...]
#              [PARTS n] [SEPARATE])
# One GoogleTest program; each of its tests becomes a CTest test of its own, labelled with its folder's name. Generator
# expressions are allowed in ENVIRONMENT. Where ctest runs with KINLOOM_TEST_PROGRAMS in its environment, the whole program is one
# CTest test instead, of the program's name: most tests are quicker than the start of a process. A long one is so many then, each with
# a part of its tests; these begin first. FIXTURES: what CTest begins before and ends behind them. SEPARATE: files of it give different things the same name, so each is compiled alone also
# where the preset compiles files together.
function(kinloom_test name)
  cmake_parse_arguments(arg "SEPARATE" "TIMEOUT;PARTS" "SOURCES;LIBS;ENVIRONMENT;LABELS;FIXTURES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  kinloom_test_target(${name})
  if(arg_SEPARATE)
    set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  endif()
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock GTest::gtest_main)
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME area)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if(NOT arg_PARTS)
    set(arg_PARTS 1)
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
  set(${name}_TESTS)
  foreach(part RANGE 1 ${arg_PARTS})
    set(test \"${name}\")
    if(${arg_PARTS} GREATER 1)
      string(APPEND test \"_\${part}\")
    endif()
    math(EXPR index \"\${part} - 1\")
    add_test(\"\${test}\" [==[$<TARGET_FILE:${name}>]==] --gtest_brief=1)
    list(APPEND ${name}_TESTS \"\${test}\")
    set(\"\${test}_PART\" GTEST_TOTAL_SHARDS=${arg_PARTS} GTEST_SHARD_INDEX=\${index})
  endforeach()
  set(properties TIMEOUT 1800 COST ${arg_PARTS} WORKING_DIRECTORY [==[${CMAKE_CURRENT_BINARY_DIR}]==])
endif()
foreach(test IN LISTS ${name}_TESTS)
  set(environment [==[${arg_ENVIRONMENT}]==])
  list(APPEND environment \${\${test}_PART})
  set_tests_properties(\"\${test}\" PROPERTIES \${properties}
    LABELS [==[${area};${arg_LABELS}]==]
    FIXTURES_REQUIRED [==[${arg_FIXTURES}]==]
    ENVIRONMENT \"\${environment}\")
endforeach()
")
  set_property(DIRECTORY PROPERTY TEST_INCLUDE_FILES ${files} "${test_file}")
endfunction()
