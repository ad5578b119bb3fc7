# SPDX-License-Identifier: MIT
# What is fuzzed, as a library for the fuzzers and for the test that replays the corpus.
include_guard(GLOBAL)
include("${CMAKE_CURRENT_LIST_DIR}/TargetList.cmake")

if(NOT KINLOOM_PROGRAMS)
  message(FATAL_ERROR "What is fuzzed includes the service and the command line: configure with -DKINLOOM_PROGRAMS=ON")
endif()

if(NOT TARGET reply_support)
  add_subdirectory("${PROJECT_SOURCE_DIR}/tests/replies" "${PROJECT_BINARY_DIR}/tests/replies")
endif()
if(NOT TARGET test_support)
  add_subdirectory("${PROJECT_SOURCE_DIR}/tests/support" "${PROJECT_BINARY_DIR}/tests/support")
endif()

find_package(nlohmann_json REQUIRED)

set(fuzz_table "${PROJECT_BINARY_DIR}/fuzz")
kinloom_fuzz_table("${fuzz_table}")

# The command line and the host's client come as sources, since their libraries bring the real client along.
add_library(fuzz_targets STATIC
  "${CMAKE_CURRENT_LIST_DIR}/Addresses.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/Client.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/Configuration.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/Plugin.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/Replies.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/Texts.cpp"
  "${PROJECT_SOURCE_DIR}/cli/core/Errors.cpp"
  "${PROJECT_SOURCE_DIR}/cli/files/FileName.cpp"
  "${PROJECT_SOURCE_DIR}/cli/core/Text.cpp"
  "${PROJECT_SOURCE_DIR}/client/Encode.cpp"
  "${PROJECT_SOURCE_DIR}/client/Failure.cpp"
  "${PROJECT_SOURCE_DIR}/client/Route.cpp"
  "${PROJECT_SOURCE_DIR}/client/core/ErrorDocument.cpp"
  "${PROJECT_SOURCE_DIR}/client/helper/Messages.cpp"
  "${PROJECT_SOURCE_DIR}/client/pairing/PairingReply.cpp"
  "${PROJECT_SOURCE_DIR}/host/http/Url.cpp")
kinloom_target(fuzz_targets)
set_target_properties(fuzz_targets PROPERTIES UNITY_BUILD OFF) # names of different projects meet here
target_compile_definitions(fuzz_targets PRIVATE KINLOOM_ENDPOINT="${KINLOOM_ENDPOINT}")
target_include_directories(fuzz_targets
  PUBLIC "${CMAKE_CURRENT_LIST_DIR}" "${fuzz_table}"
  PRIVATE "${PROJECT_SOURCE_DIR}/cli" "${PROJECT_SOURCE_DIR}/client" "${PROJECT_SOURCE_DIR}/host")

# Apart from the others: the service shares no code with them, but names of headers.
add_library(fuzz_service_targets STATIC
  "${CMAKE_CURRENT_LIST_DIR}/service/Browsers.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Forms.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Http.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Multipart.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Pictures.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Requests.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Stores.cpp"
  "${CMAKE_CURRENT_LIST_DIR}/service/Texts.cpp")
kinloom_target(fuzz_service_targets)
target_include_directories(fuzz_service_targets PRIVATE "${CMAKE_CURRENT_LIST_DIR}" "${fuzz_table}")
target_link_libraries(fuzz_service_targets PRIVATE kinloomd_core kinloom_objects PkgConfig::KINLOOM_LIBXML2)

target_link_libraries(fuzz_targets
  PUBLIC wkloai_static reply_support fuzz_service_targets
  PRIVATE whost_fake test_support nlohmann_json::nlohmann_json)
