# SPDX-License-Identifier: MIT
# FFTW, single precision, with its OpenMP threads.
# Gives FFTW3f::fftw3f and FFTW3f::fftw3f_omp.

find_path(FFTW3f_INCLUDE_DIR NAMES fftw3.h)
find_library(FFTW3f_LIBRARY NAMES fftw3f)
find_library(FFTW3f_OMP_LIBRARY NAMES fftw3f_omp)
mark_as_advanced(FFTW3f_INCLUDE_DIR FFTW3f_LIBRARY FFTW3f_OMP_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(FFTW3f
  REQUIRED_VARS FFTW3f_LIBRARY FFTW3f_OMP_LIBRARY FFTW3f_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "On Debian the package is libfftw3-dev.")

if(FFTW3f_FOUND AND NOT TARGET FFTW3f::fftw3f)
  add_library(FFTW3f::fftw3f UNKNOWN IMPORTED)
  set_target_properties(FFTW3f::fftw3f PROPERTIES
    IMPORTED_LOCATION "${FFTW3f_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${FFTW3f_INCLUDE_DIR}")
  add_library(FFTW3f::fftw3f_omp UNKNOWN IMPORTED)
  set_target_properties(FFTW3f::fftw3f_omp PROPERTIES
    IMPORTED_LOCATION "${FFTW3f_OMP_LIBRARY}"
    INTERFACE_LINK_LIBRARIES FFTW3f::fftw3f)
endif()
