cmake_minimum_required(VERSION 3.25)
# Fails when the shared library exports a name outside EXPECTED, misses one
# of them, or needs a library beyond the C library family at run time.
# Called with -DLIB= -DNM= -DREADELF= -DEXPECTED= and -DSANITIZE=ORV_SANITIZE.

function(run out)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Defined dynamic symbols, without versions, the symbols the linker defines
# in every shared object, and the __odr_asan.<name> marker AddressSanitizer
# adds beside each exported variable.
run(nm_out ${NM} -D --defined-only --format=posix ${LIB})
string(REGEX MATCHALL "(^|\n)[^ @\n]+" exported "${nm_out}")
string(REPLACE "\n" "" exported "${exported}")
list(FILTER exported EXCLUDE REGEX
     "^(_init|_fini|_edata|_end|__bss_start__?|__bss_end__|_bss_end__|__end__|__odr_asan.*)$")
file(STRINGS ${EXPECTED} expected REGEX "^[A-Za-z_]")

set(extra ${exported})
list(REMOVE_ITEM extra ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
list(JOIN extra " " extra)
list(JOIN missing " " missing)
set(problems)
if(extra)
  string(APPEND problems "\nexported but not in the list: ${extra}")
endif()
if(missing)
  string(APPEND problems "\nlisted but not exported: ${missing}")
endif()

run(dyn ${READELF} -d ${LIB})
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[[^]\n]+\\]" needed_lines "${dyn}")
foreach(entry IN LISTS needed_lines)
  string(REGEX REPLACE ".*\\[([^]]+)\\].*" "\\1" lib "${entry}")
  # A sanitized build also needs the sanitizer runtimes.
  if(NOT lib MATCHES "^(libc|libm|libdl|libpthread|librt)\\.so\\.[0-9]+$|^ld-linux"
     AND NOT (SANITIZE AND lib MATCHES "^lib(asan|ubsan|tsan)\\.so"))
    string(APPEND problems "\nneeds ${lib} at run time")
  endif()
endforeach()
if(NOT dyn MATCHES "\\(SONAME\\)[^\n]*\\[liborvsys\\.so\\.1\\]")
  string(APPEND problems "\nSONAME is not liborvsys.so.1")
endif()

if(problems)
  message(FATAL_ERROR "export check failed:${problems}")
endif()
list(LENGTH exported count)
message(STATUS "liborvsys exports ${count} names, all listed")
