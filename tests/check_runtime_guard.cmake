cmake_minimum_required(VERSION 3.25)

# Compiles a one-line translation unit per public header and runtime, and checks who may include the
# headers: a translation unit built with libc++ may; one built with libstdc++ must fail with the
# guard's message (naming libc++ and the opt-out macro), unless it defines the opt-out macro. The
# wrong runtime otherwise shows only at run time, as garbled strings or a failed load.
#
# Usage: cmake -DCXX=<compiler> -DCXX_ID=<GNU|Clang> -DLIBCXX=<ON|OFF> -DINCLUDE_DIRS=<a,b>
#              -DHEADERS=<a.h,b.h> -DWORK_DIR=<folder> -P check_runtime_guard.cmake

foreach(required CXX CXX_ID INCLUDE_DIRS HEADERS WORK_DIR)
  if(NOT ${required})
    message(FATAL_ERROR "check_runtime_guard: ${required} not given")
  endif()
endforeach()

string(REPLACE "," ";" INCLUDE_DIRS "${INCLUDE_DIRS}")
string(REPLACE "," ";" HEADERS "${HEADERS}")

set(opt_out CUSTPOLICY_ALLOW_NON_LIBCXX)
# gcc has no -stdlib switch: libstdc++ is its only runtime. clang picks either.
if(CXX_ID STREQUAL "Clang")
  set(libstdcxx_flag -stdlib=libstdc++)
else()
  set(libstdcxx_flag "")
endif()

# Each case: name | runtime flag | extra define | expected outcome (pass, or refused).
set(cases
  "libstdc++ without the opt-out|${libstdcxx_flag}||refused"
  "libstdc++ with the opt-out|${libstdcxx_flag}|-D${opt_out}|pass")
# libc++ is there only where the build itself uses it (clang preset).
if(LIBCXX)
  list(APPEND cases "libc++|-stdlib=libc++||pass")
endif()

set(include_flags "")
foreach(dir IN LISTS INCLUDE_DIRS)
  list(APPEND include_flags "-I${dir}")
endforeach()

file(MAKE_DIRECTORY "${WORK_DIR}")
set(failures "")
foreach(header IN LISTS HEADERS)
  set(source "${WORK_DIR}/include_${header}.cpp")
  string(REPLACE ".h.cpp" ".cpp" source "${source}")
  file(WRITE "${source}" "#include \"custpolicy/${header}\"\n")
  foreach(case IN LISTS cases)
    string(REPLACE "|" ";" fields "${case}")
    list(GET fields 0 name)
    list(GET fields 1 runtime_flag)
    list(GET fields 2 define)
    list(GET fields 3 expected)
    execute_process(
      COMMAND ${CXX} -std=c++17 -fsyntax-only ${runtime_flag} ${define} ${include_flags} ${source}
      RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    set(what "${header}, ${name}")
    if(expected STREQUAL "pass")
      if(NOT status EQUAL 0)
        string(APPEND failures "${what}: expected to compile, got:\n${output}\n")
      endif()
    elseif(status EQUAL 0)
      string(APPEND failures "${what}: compiled, expected the libc++ guard to refuse it\n")
    elseif(NOT output MATCHES "error:[^\n]*needs libc\\+\\+[^\n]*${opt_out}")
      string(APPEND failures "${what}: failed, but not with the libc++ guard:\n${output}\n")
    endif()
  endforeach()
endforeach()

if(failures)
  message(FATAL_ERROR "check_runtime_guard:\n${failures}")
endif()
list(LENGTH HEADERS header_count)
list(LENGTH cases case_count)
message(STATUS "check_runtime_guard: ${header_count} headers x ${case_count} runtimes as expected")
