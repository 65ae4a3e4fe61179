# SPDX-License-Identifier: MIT
# What `cmake --install` puts under a prefix: headers, libraries, the program with its manual, and the two
# descriptions of the package, for CMake and for pkg-config. Both find the rest of the package from where they lie,
# so that the prefix may be chosen at install time and moved afterwards.
#
# Components: program, library (what programs need of shared libraries), development.

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

# A static library leaves its own dependencies to its users; a shared one carries them.
get_target_property(gnr_library_kind gnr_deconvolution TYPE)
if(gnr_library_kind STREQUAL "STATIC_LIBRARY")
  set(gnr_is_static TRUE)
else()
  set(gnr_is_static FALSE)
endif()

# ---- libraries and headers -------------------------------------------------------------------------------

if(APPLE)
  set(gnr_origin "@loader_path")
else()
  set(gnr_origin "$ORIGIN")
endif()
set_target_properties(gnr_deconvolution ${gnr_siblings} PROPERTIES INSTALL_RPATH "${gnr_origin}")

install(TARGETS gnr_deconvolution ${gnr_siblings}
  EXPORT gnr_deconvolution_targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
  FILES_MATCHING PATTERN "*.h")
foreach(sibling IN LISTS gnr_siblings)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${sibling}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development
    FILES_MATCHING PATTERN "*.h")
endforeach()

# ---- papers ----------------------------------------------------------------------------------------------

# The licence in the form that Debian asks for.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE gnr_licence)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" gnr_copyright "${gnr_licence}")
set(GNR_COPYRIGHT "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^.*Copyright[^\n]*\n\n" "" gnr_licence "${gnr_licence}")
string(STRIP "${gnr_licence}" gnr_licence)
string(REPLACE "\n\n" "\n.\n" gnr_licence "${gnr_licence}")
string(REPLACE "\n" "\n " GNR_LICENCE "${gnr_licence}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/copyright.in ${PROJECT_BINARY_DIR}/copyright @ONLY)

# gnr_install_papers(<component> <folder> [<document>...]): licence, changes and documents of a component
function(gnr_install_papers component folder)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/docs/ OUTPUT_VARIABLE documents)
  install(FILES ${PROJECT_BINARY_DIR}/copyright ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${documents}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${folder} COMPONENT ${component})
endfunction()

# Each set with the documents that its own refer to.
gnr_install_papers(development libgnr-deconvolution-dev
  hosting.md kernels.md memory-stock.md algorithms.md psf.md wavelets.md bibliography.md)
if(NOT gnr_is_static)
  set(gnr_library_package libgnr-deconvolution${PROJECT_VERSION_MAJOR})
  gnr_install_papers(library ${gnr_library_package})
endif()
if(TARGET rydecon)
  file(GLOB gnr_user_documents CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/docs/*.md)
  list(REMOVE_ITEM gnr_user_documents architecture.md hosting.md kernels.md memory-stock.md)
  gnr_install_papers(program rydecon ${gnr_user_documents})
endif()

# ---- program ---------------------------------------------------------------------------------------------

if(TARGET rydecon)
  file(RELATIVE_PATH gnr_program_to_libraries
    "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(rydecon PROPERTIES INSTALL_RPATH "${gnr_origin}/${gnr_program_to_libraries}")
  install(TARGETS rydecon RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
endif()
if(TARGET rydecon_manual_files)
  install(DIRECTORY ${RYDECON_MANUAL}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT program)
  install(FILES ${RYDECON_MANUAL}/rydecon.bash
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME rydecon COMPONENT program)
endif()

# ---- find_package(gnr_deconvolution CONFIG) --------------------------------------------------------------

set(gnr_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/gnr_deconvolution")

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
  DESTINATION ${gnr_package_dir} COMPONENT development)
if(GNR_FFT STREQUAL "fftw")
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/FindFFTW3f.cmake
    DESTINATION ${gnr_package_dir} COMPONENT development)
endif()
install(EXPORT gnr_deconvolution_targets
  FILE gnr_deconvolutionTargets.cmake
  NAMESPACE gnr_deconvolution::
  DESTINATION ${gnr_package_dir} COMPONENT development)

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
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
