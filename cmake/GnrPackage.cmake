# SPDX-License-Identifier: MIT
# What `cpack` makes of the installed files: Debian packages, one a component, since who restores images needs no
# headers; and one archive with everything, to be unpacked anywhere.

if(NOT GNR_INSTALL)
  return()
endif()

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME rydecon)
set(CPACK_PACKAGE_VENDOR "The rydecon developers")
set(CPACK_PACKAGE_CONTACT "The rydecon developers <rydecon@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package begins its description with its own
set(CPACK_PACKAGE_FILE_NAME "rydecon-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_COMPONENTS_ALL development)
if(NOT gnr_is_static)
  list(APPEND CPACK_COMPONENTS_ALL library)
endif()
if(TARGET rydecon)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()

# ---- archive ---------------------------------------------------------------------------------------------

set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)

# ---- Debian packages -------------------------------------------------------------------------------------

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME rydecon)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "bash-completion, imagej")
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"restoration of fluorescence microscopy images
Takes the blur of the microscope out of TIFF stacks and pictures, with a point
spread function that was measured or that follows from the optics. Pixel sizes
are kept and intensities are not rescaled.
.
Makes, compares and shows stacks as well.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${gnr_library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"restoration of fluorescence microscopy images - shared libraries
Deconvolves 3D volumes and 2D pictures with their point spread functions.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libgnr-deconvolution-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"restoration of fluorescence microscopy images - development files
Headers, libraries, and their descriptions for CMake and pkg-config.")

if(gnr_is_static)
  # What stands behind the archives is linked by their users.
  if(GNR_FFT STREQUAL "fftw")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libfftw3-dev)
  endif()
else()
  set(CPACK_COMPONENT_PROGRAM_DEPENDS library)
  set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  foreach(library IN ITEMS gnr_deconvolution LISTS gnr_siblings)
    get_target_property(folder ${library} BINARY_DIR)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${folder}")
  endforeach()
endif()

include(CPack)
