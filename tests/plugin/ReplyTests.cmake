# SPDX-License-Identifier: MIT
# Tests of what the plugin reads out of replies. Included by CMakeLists.txt beside this file.

if(NOT TARGET reply_support)
  add_subdirectory("${PROJECT_SOURCE_DIR}/tests/replies" "${PROJECT_BINARY_DIR}/tests/replies")
endif()

kinloom_test(reply_tests SEPARATE
  SOURCES
    replies/AccountTest.cpp
    replies/CancelTest.cpp
    replies/ContentsTest.cpp
    replies/DifferentialTest.cpp
    replies/DocumentTest.cpp
    replies/FieldsTest.cpp
    replies/GoldenTest.cpp
    replies/GroupsTest.cpp
    replies/Hostile.cpp
    replies/HostileTest.cpp
    replies/ParserTest.cpp
    replies/PeopleTest.cpp
    replies/ValuesTest.cpp
    replies/WalkTest.cpp
  LIBS plugin_test_support reply_support
  TIMEOUT 600
  PARTS 2)
target_compile_definitions(reply_tests PRIVATE GOLDEN_DIR="${PROJECT_SOURCE_DIR}/tests/golden")

# A program of its own, since it replaces the allocator.
kinloom_test(reply_memory_tests
  SOURCES
    replies/AllocationMeter.cpp
    replies/Hostile.cpp
    replies/MemoryTest.cpp
  LIBS wkloai_static reply_support test_support whost_fake
  TIMEOUT 600
  PARTS 2)
