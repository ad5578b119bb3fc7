# SPDX-License-Identifier: MIT
# Replies to records. Included by CMakeLists.txt beside this file.

if(NOT TARGET reply_support)
  add_subdirectory("${PROJECT_SOURCE_DIR}/tests/replies" "${PROJECT_BINARY_DIR}/tests/replies")
endif()
find_package(pugixml REQUIRED)

kinloom_bench(bench_parse
  SOURCES parse.cpp support/PugiReader.cpp
  LIBS wkloai_static reply_support PkgConfig::KINLOOM_LIBXML2 pugixml::pugixml)

# Not one of those that scripts/bench runs: what the parts of a parse take, for whoever wants to make it faster.
add_executable(bench_parse_parts parse_parts.cpp)
kinloom_target(bench_parse_parts)
target_link_libraries(bench_parse_parts PRIVATE
  wkloai_static reply_support whost PkgConfig::KINLOOM_LIBXML2 benchmark::benchmark)
