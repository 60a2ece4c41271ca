# Installs the built library into a fresh prefix, then builds the examples
# against it twice: as a CMake project finding the package, and the C
# example with the flags pkg-config gives; with an emulator given, runs them
# against it.
#
# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DLIBDIR=...
#       -DGENERATOR=... -DC_COMPILER=... -DCXX_COMPILER=... [-DEMULATOR=...] -P check_install.cmake

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${output}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(installed ${LIBDIR}/libqvt.so include/qvt/qvt.h ${LIBDIR}/pkgconfig/qvt.pc
                  ${LIBDIR}/cmake/qvt/qvtConfig.cmake)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "not installed: ${installed}")
  endif()
endforeach()
file(READ ${prefix}/${LIBDIR}/cmake/qvt/qvtTargets.cmake targets)
if(targets MATCHES "qvt_objects")
  message(FATAL_ERROR "the object library leaked into the exported targets")
endif()

# Warnings in the examples are errors here.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR}/examples -G ${GENERATOR}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DCMAKE_C_FLAGS=-Werror -DCMAKE_CXX_FLAGS=-Werror -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/examples)

execute_process(
  COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${LIBDIR}/pkgconfig pkg-config --cflags --libs qvt
  RESULT_VARIABLE result OUTPUT_VARIABLE flags ERROR_VARIABLE errors OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not find qvt: ${errors}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${C_COMPILER} -std=c99 -Wall -Wextra -Werror ${SOURCE_DIR}/examples/stream_batches.c ${flags}
    -o ${WORK_DIR}/stream_batches_pkg_config)
# The installed examples run against the virtual headset.
if(EMULATOR)
  foreach(example stream_batches moving_average)
    run(${EMULATOR} -- ${WORK_DIR}/examples/${example})
  endforeach()
endif()
file(REMOVE_RECURSE ${WORK_DIR})
