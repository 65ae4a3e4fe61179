# SPDX-License-Identifier: MIT
# What `cmake --install` puts under a prefix: headers, libraries, the program, and the two descriptions of the
# package, for CMake and for pkg-config. Both find the rest of the package from where they lie, so that the
# prefix may be chosen at install time and moved afterwards.

option(GNR_INSTALL "Make the install rules" ${PROJECT_IS_TOP_LEVEL})
if(NOT GNR_INSTALL)
  return()
endif()

include(CMakePackageConfigHelpers)

# Sibling libraries, each with headers of its own; those that this build has, users first.
set(gnr_siblings "")
foreach(sibling IN ITEMS ry_picture ry_math ry_platform ry_system)
  if(TARGET ${sibling})
    list(APPEND gnr_siblings ${sibling})
  endif()
endforeach()

# ---- libraries and headers -------------------------------------------------------------------------------

if(APPLE)
  set(gnr_origin "@loader_path")
else()
  set(gnr_origin "$ORIGIN")
endif()
set_target_properties(gnr_deconvolution ${gnr_siblings} PROPERTIES INSTALL_RPATH "${gnr_origin}")

install(TARGETS gnr_deconvolution ${gnr_siblings}
  EXPORT gnr_deconvolution_targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
foreach(sibling IN LISTS gnr_siblings)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${sibling}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h")
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# ---- program ---------------------------------------------------------------------------------------------

if(TARGET rydecon)
  file(RELATIVE_PATH gnr_program_to_libraries
    "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(rydecon PROPERTIES INSTALL_RPATH "${gnr_origin}/${gnr_program_to_libraries}")
  install(TARGETS rydecon RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# ---- find_package(gnr_deconvolution CONFIG) --------------------------------------------------------------

set(gnr_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/gnr_deconvolution")
# A static library leaves its own dependencies to its users; a shared one carries them.
get_target_property(gnr_library_kind gnr_deconvolution TYPE)
if(gnr_library_kind STREQUAL "STATIC_LIBRARY")
  set(gnr_is_static TRUE)
else()
  set(gnr_is_static FALSE)
endif()

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/gnr_deconvolutionConfig.cmake.in
  ${PROJECT_BINARY_DIR}/gnr_deconvolutionConfig.cmake
  INSTALL_DESTINATION ${gnr_package_dir}
  NO_SET_AND_CHECK_MACRO)
# Before version 1 a minor version may break what hosts build on.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/gnr_deconvolutionConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/gnr_deconvolutionConfig.cmake
  ${PROJECT_BINARY_DIR}/gnr_deconvolutionConfigVersion.cmake
  DESTINATION ${gnr_package_dir})
if(GNR_FFT STREQUAL "fftw")
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/FindFFTW3f.cmake DESTINATION ${gnr_package_dir})
endif()
install(EXPORT gnr_deconvolution_targets
  FILE gnr_deconvolutionTargets.cmake
  NAMESPACE gnr_deconvolution::
  DESTINATION ${gnr_package_dir})

# ---- pkg-config gnr_deconvolution ------------------------------------------------------------------------

if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(GNR_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH gnr_pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" gnr_pc_to_prefix "${gnr_pc_to_prefix}")
  set(GNR_PC_PREFIX "\${pcfiledir}/${gnr_pc_to_prefix}")
endif()
foreach(folder IN ITEMS LIBDIR INCLUDEDIR)
  set(GNR_PC_${folder} "${CMAKE_INSTALL_${folder}}")
  cmake_path(ABSOLUTE_PATH GNR_PC_${folder} BASE_DIRECTORY "\${prefix}")
endforeach()

set(GNR_PC_LIBS "-lgnr_deconvolution")
foreach(sibling IN LISTS gnr_siblings)
  string(APPEND GNR_PC_LIBS " -l${sibling}")
endforeach()

# What stands behind the library.
if(GNR_FFT STREQUAL "fftw")
  set(gnr_pc_requires "fftw3f")
  set(gnr_pc_behind "-lfftw3f_omp ${OpenMP_CXX_FLAGS} -lm")
else()
  set(gnr_pc_requires "")
  list(JOIN GNR_FFT_PACKAGES " " gnr_pc_behind)
  string(APPEND gnr_pc_behind " ${OpenMP_CXX_FLAGS} -lm")
endif()

# Where only the archive is there, every user needs what stands behind it, with or without --static.
if(gnr_is_static)
  set(GNR_PC_REQUIRES "${gnr_pc_requires}")
  string(APPEND GNR_PC_LIBS " ${gnr_pc_behind}")
  set(GNR_PC_REQUIRES_PRIVATE "")
  set(GNR_PC_LIBS_PRIVATE "")
else()
  set(GNR_PC_REQUIRES "")
  set(GNR_PC_REQUIRES_PRIVATE "${gnr_pc_requires}")
  set(GNR_PC_LIBS_PRIVATE "${gnr_pc_behind}")
endif()

configure_file(
  ${PROJECT_SOURCE_DIR}/cmake/gnr_deconvolution.pc.in
  ${PROJECT_BINARY_DIR}/gnr_deconvolution.pc
  @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/gnr_deconvolution.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
