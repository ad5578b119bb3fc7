# SPDX-License-Identifier: MIT
# What find_package(Kinloom) and pkg-config find in an installed tree. The targets' own install rules stand in their folders;
# those with EXPORT KinloomTargets become Kinloom::<name>.

include(CMakePackageConfigHelpers)

set(KINLOOM_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Kinloom")
set(KINLOOM_PLUGIN_DIR "${CMAKE_INSTALL_LIBDIR}/kinloom")
set(KINLOOM_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(EXPORT KinloomTargets NAMESPACE Kinloom:: DESTINATION "${KINLOOM_CMAKE_DIR}")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/KinloomConfig.cmake.in" "${PROJECT_BINARY_DIR}/KinloomConfig.cmake"
  INSTALL_DESTINATION "${KINLOOM_CMAKE_DIR}" PATH_VARS KINLOOM_PLUGIN_DIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KinloomConfigVersion.cmake"
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KinloomConfig.cmake" "${PROJECT_BINARY_DIR}/KinloomConfigVersion.cmake"
  DESTINATION "${KINLOOM_CMAKE_DIR}")

# The file finds its prefix from where it lies, so that an installed tree may be moved as a whole.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
  OUTPUT_VARIABLE KINLOOM_PREFIX_FROM_PKGCONFIG)
foreach(package kinloom-host kinloom-client)
  configure_file("${CMAKE_CURRENT_LIST_DIR}/${package}.pc.in" "${PROJECT_BINARY_DIR}/${package}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${package}.pc" DESTINATION "${KINLOOM_PKGCONFIG_DIR}")
endforeach()

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/README.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
