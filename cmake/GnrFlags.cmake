# SPDX-License-Identifier: MIT
# Flags that every target of the project shares: link to gnr_flags, privately.

add_library(gnr_flags INTERFACE)
target_compile_features(gnr_flags INTERFACE cxx_std_20)

# Contraction would fuse a * b + c into one rounding and change results between machines. The other two give up
# exception flags and errno, which nothing reads, and change no value (docs/decisions/0002-value-safe-flags.md).
target_compile_options(gnr_flags INTERFACE
  -ffp-contract=off
  -fno-trapping-math -fno-math-errno
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion)

if(GNR_SANITIZE)
  list(JOIN GNR_SANITIZE "," gnr_sanitize)
  target_compile_options(gnr_flags INTERFACE
    -fsanitize=${gnr_sanitize} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # g++ warns of paths that only its instrumentation makes, within std::regex for one.
  target_compile_options(gnr_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(gnr_flags INTERFACE -fsanitize=${gnr_sanitize})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
