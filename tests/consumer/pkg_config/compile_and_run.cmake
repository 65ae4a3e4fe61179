# SPDX-License-Identifier: MIT
# Compiles the outside program with nothing but the compiler and what pkg-config says, and runs it.
#   PREFIX      where the package is installed
#   PKG_CONFIG, COMPILER, FLAGS (a command-line string), SOURCE, WORK

file(GLOB_RECURSE description "${PREFIX}/*/gnr_deconvolution.pc")
cmake_path(GET description PARENT_PATH folder)
set(ENV{PKG_CONFIG_PATH} "${folder}:$ENV{PKG_CONFIG_PATH}")

# ask(<result> <argument>...): the answer as a list of arguments.
function(ask result)
  execute_process(COMMAND ${PKG_CONFIG} ${ARGN} gnr_deconvolution
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(answer UNIX_COMMAND "${answer}")
  set(${result} ${answer} PARENT_SCOPE)
endfunction()

ask(libdir --variable=libdir)
ask(cflags --cflags)
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
file(MAKE_DIRECTORY "${WORK}")
foreach(mode IN ITEMS "--libs" "--libs;--static")
  ask(libs ${mode})
  execute_process(
    COMMAND ${COMPILER} -std=c++20 ${flags} ${cflags} ${SOURCE} -o ${WORK}/wiener_job ${libs} -Wl,-rpath,${libdir}
    COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${WORK}/wiener_job COMMAND_ERROR_IS_FATAL ANY)
endforeach()
