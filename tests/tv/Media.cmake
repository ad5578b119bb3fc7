# SPDX-License-Identifier: MIT
# The television's pictures and guests, each without the rest of its program.

add_executable(tv_cache_writer CacheWriter.cpp)
kinloom_target(tv_cache_writer)
target_link_libraries(tv_cache_writer PRIVATE kinloom_tv_media)

kinloom_test(tv_media_test
  SOURCES
    CacheCrashTest.cpp
    CacheTest.cpp
    MediaCheckTest.cpp
    MediaFixture.cpp
    MediaOutageTest.cpp
    MediaReplyTest.cpp
    MediaStressTest.cpp
    MediaTest.cpp
    MediaWantedTest.cpp
  LIBS kinloom_tv_media picture_testing test_support
  PARTS 2)
target_compile_definitions(tv_media_test PRIVATE
  CACHE_WRITER="$<TARGET_FILE:tv_cache_writer>"
  PICTURE_PROGRAM="$<TARGET_FILE:kinloom-pictures>")
add_dependencies(tv_media_test kinloom-pictures tv_cache_writer)

kinloom_test(tv_guests_test
  SOURCES
    GuestHostileTest.cpp
    GuestTest.cpp
  LIBS kinloom_tv_guests picture_testing test_support)

# A television's computer without a television: cage and the browser, both from the distribution.
if(KINLOOM_WEB)
  add_test(NAME Kiosk.ShowsAPageThatARemoteControlMoves COMMAND "${KINLOOM_NODE}" --test "${CMAKE_CURRENT_SOURCE_DIR}/kiosk.test.mjs")
  set_tests_properties(Kiosk.ShowsAPageThatARemoteControlMoves PROPERTIES
    LABELS tv TIMEOUT 300 PROCESSORS 2 ENVIRONMENT "SOURCE_DIR=${PROJECT_SOURCE_DIR}")
endif()
