cmake_minimum_required(VERSION 3.25)
# Fails when the shared library exports a name outside EXPECTED, misses one
# of them, or needs a library beyond the C library family at run time.
# Called with -DLIB= -DNM= -DREADELF= -DEXPECTED= and -DSANITIZED=ON|OFF.

execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIB}
  OUTPUT_VARIABLE nm_out RESULT_VARIABLE nm_rc)
if(NOT nm_rc EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIB}")
endif()

# Symbols the linker defines in every shared object.
set(linker_symbols _init _fini _edata _end __bss_start __bss_start__ __bss_end__
    _bss_end__ __end__)

set(exported)
string(REPLACE "\n" ";" nm_lines "${nm_out}")
foreach(line IN LISTS nm_lines)
  if(line MATCHES "^([^ ]+) ([A-Za-z]) ")
    set(name ${CMAKE_MATCH_1})
    string(REGEX REPLACE "@.*" "" name "${name}")
    # AddressSanitizer adds an __odr_asan.<name> marker beside each
    # exported variable.
    if(NOT name IN_LIST linker_symbols AND NOT (SANITIZED AND name MATCHES "^__odr_asan"))
      list(APPEND exported ${name})
    endif()
  endif()
endforeach()

file(STRINGS ${EXPECTED} expected_lines)
set(expected)
foreach(line IN LISTS expected_lines)
  string(STRIP "${line}" line)
  if(line AND NOT line MATCHES "^#")
    list(APPEND expected ${line})
  endif()
endforeach()

set(failed FALSE)
foreach(name IN LISTS exported)
  if(NOT name IN_LIST expected)
    message(SEND_ERROR "exported but not in the list: ${name}")
    set(failed TRUE)
  endif()
endforeach()
foreach(name IN LISTS expected)
  if(NOT name IN_LIST exported)
    message(SEND_ERROR "listed but not exported: ${name}")
    set(failed TRUE)
  endif()
endforeach()

execute_process(COMMAND ${READELF} -d ${LIB} OUTPUT_VARIABLE dyn RESULT_VARIABLE re_rc)
if(NOT re_rc EQUAL 0)
  message(FATAL_ERROR "${READELF} failed on ${LIB}")
endif()
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[([^]]+)\\]" needed_lines "${dyn}")
foreach(entry IN LISTS needed_lines)
  string(REGEX REPLACE ".*\\[([^]]+)\\].*" "\\1" lib "${entry}")
  # A sanitized build also needs the sanitizer runtimes.
  if(NOT lib MATCHES "^(libc|libm|libdl|libpthread|librt)\\.so\\.[0-9]+$|^ld-linux"
     AND NOT (SANITIZED AND lib MATCHES "^lib(asan|ubsan|tsan)\\.so"))
    message(SEND_ERROR "needs ${lib} at run time")
    set(failed TRUE)
  endif()
endforeach()
if(NOT dyn MATCHES "\\(SONAME\\)[^\n]*\\[liborvsys\\.so\\.1\\]")
  message(SEND_ERROR "SONAME is not liborvsys.so.1")
  set(failed TRUE)
endif()

list(LENGTH exported count)
if(failed)
  message(FATAL_ERROR "export check failed")
endif()
message(STATUS "liborvsys exports ${count} names, all listed")
