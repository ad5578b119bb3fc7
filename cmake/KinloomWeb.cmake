# SPDX-License-Identifier: MIT
# What building for browsers needs.

include_guard(GLOBAL)

find_program(KINLOOM_NODE NAMES node nodejs)
find_program(KINLOOM_NPM npm)
mark_as_advanced(KINLOOM_NODE KINLOOM_NPM)
if(NOT KINLOOM_NODE OR NOT KINLOOM_NPM)
  message(FATAL_ERROR "The pages need nodejs and npm. Install them, or set KINLOOM_WEB=OFF: kinloomd then serves no page.")
endif()

# kinloom_npm_packages(TREE FILE...): the packages of the lock file among the files, in TREE/node_modules; TREE/.installed tells that
# they are there. The lock file holds the digest of each.
function(kinloom_npm_packages tree)
  add_custom_command(OUTPUT "${tree}/.installed"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${tree}"
    COMMAND "${CMAKE_COMMAND}" -E chdir "${CMAKE_CURRENT_SOURCE_DIR}" "${CMAKE_COMMAND}" -E copy ${ARGN} "${tree}"
    COMMAND "${CMAKE_COMMAND}" -E chdir "${tree}" "${KINLOOM_NPM}" ci --silent --prefer-offline
    COMMAND "${CMAKE_COMMAND}" -E touch "${tree}/.installed"
    DEPENDS ${ARGN}
    COMMENT "Installing the pages' packages"
    VERBATIM)
endfunction()
