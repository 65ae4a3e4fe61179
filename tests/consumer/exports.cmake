# SPDX-License-Identifier: MIT
# A shared library shows its exported classes and nothing else.
#   PREFIX, NM, EXPORTED (names of exported classes and functions, comma-separated)

string(REPLACE "," "|" exported "${EXPORTED}")
file(GLOB libraries "${PREFIX}/lib*/*.so" "${PREFIX}/lib/*/*.so")
if(NOT libraries)
  message(FATAL_ERROR "no shared library under ${PREFIX}")
endif()
foreach(library IN LISTS libraries)
  execute_process(COMMAND ${NM} -DC --defined-only "${library}"
    OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE ";" "," listing "${listing}")
  string(REPLACE "\n" ";" symbols "${listing}")
  set(shown 0)
  foreach(symbol IN LISTS symbols)
    # Address, kind, name; the name of a table or a type description is that of its class.
    string(REGEX REPLACE "^[0-9a-f]* *[A-Za-z] " "" name "${symbol}")
    string(REGEX REPLACE "^(vtable|typeinfo|typeinfo name) for " "" name "${name}")
    # What the C++ library's templates and the OpenMP runtime's locks leave behind is theirs.
    if(name STREQUAL "" OR name MATCHES "^(\\.gomp_|std::|void std::|bool std::|__gnu_cxx::|operator)")
      continue()
    endif()
    if(NOT name MATCHES "^(${exported})(::|\\(|$)")
      message(SEND_ERROR "${library} shows ${name}")
    endif()
    math(EXPR shown "${shown} + 1")
  endforeach()
  if(shown EQUAL 0)
    message(SEND_ERROR "${library} shows nothing")
  endif()
endforeach()
