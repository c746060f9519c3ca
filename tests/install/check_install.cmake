cmake_minimum_required(VERSION 3.25)
# Installs the build into a scratch prefix, then builds and runs a small
# consumer against it twice: through find_package(orvsys) and through
# pkg-config. Called with -DBUILD_DIR= -DWORK_DIR= -DCONSUMER_DIR= -DGENERATOR=
# -DCC= -DLIBDIR= and, for a cross build, -DTOOLCHAIN= -DEMULATOR=.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " shown "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${shown}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(file include/orvsys/orvsys.h ${LIBDIR}/liborvsys.so ${LIBDIR}/liborvsys.so.1
             ${LIBDIR}/cmake/orvsys/orvsysConfig.cmake ${LIBDIR}/pkgconfig/orvsys.pc)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()

# 1. find_package (an empty toolchain file is none)
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR}/consumer -B ${WORK_DIR}/cmake-consumer -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-consumer)
run(${EMULATOR} ${WORK_DIR}/cmake-consumer/consumer)
message(STATUS "find_package consumer: ${run_output}")

# 2. pkg-config
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
run(pkg-config --cflags --libs orvsys)
string(STRIP "${run_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CC} -std=c11 -pedantic -Wall -Wextra -Werror ${CONSUMER_DIR}/consumer/consumer.c ${flags}
    -Wl,-rpath,${prefix}/${LIBDIR} -o ${WORK_DIR}/pkgconfig-consumer)
run(${EMULATOR} ${WORK_DIR}/pkgconfig-consumer)
message(STATUS "pkg-config consumer: ${run_output}")
