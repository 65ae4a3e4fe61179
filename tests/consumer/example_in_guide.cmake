# SPDX-License-Identifier: MIT
# The guide shows the example verbatim.
#   GUIDE, EXAMPLE

file(READ "${GUIDE}" guide)
file(READ "${EXAMPLE}" example)
string(FIND "${guide}" "```cpp\n${example}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "the code block in ${GUIDE} differs from ${EXAMPLE}")
endif()
