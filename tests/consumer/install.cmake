# SPDX-License-Identifier: MIT
# Installs a build under a fresh prefix and checks that every public header got there.
#   BUILD, CONFIG, PREFIX, HEADERS (names as they are included, comma-separated)

file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD}" --config "${CONFIG}" --prefix "${PREFIX}"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "," ";" headers "${HEADERS}")
foreach(header IN LISTS headers)
  if(NOT EXISTS "${PREFIX}/include/${header}")
    message(SEND_ERROR "${header} is not installed")
  endif()
endforeach()
