cmake_minimum_required(VERSION 3.25)

# A quick check in every preset: Android.bp's libcustpolicy module must compile exactly the library
# sources that CMake compiles, and link with the same version script. The soong leg
# (scripts/soong.sh) builds the module with mini-soong and compares the result.
#
# Usage: cmake -DANDROID_BP=<Android.bp> -DCMAKE_SOURCES=<a.cpp,b.cpp,...>
#              -DVERSION_SCRIPT=<CustPolicy/libcustpolicy.map.txt> -P check_android_bp.cmake
# CMAKE_SOURCES and VERSION_SCRIPT are relative to the directory of Android.bp.

if(NOT ANDROID_BP OR NOT EXISTS "${ANDROID_BP}")
  message(FATAL_ERROR "check_android_bp: '${ANDROID_BP}' not found")
endif()
file(READ "${ANDROID_BP}" bp)

# Drop // comments so that a commented-out source does not count.
string(REGEX REPLACE "//[^\n]*" "" bp "${bp}")

# The module body, from its name to the closing brace at the start of a line.
if(NOT bp MATCHES "cc_library_shared[ \t\n]*{([^}]*name:[ \t]*\"libcustpolicy\"[^}]*)\n}")
  message(FATAL_ERROR "check_android_bp: no cc_library_shared module named libcustpolicy")
endif()
set(module "${CMAKE_MATCH_1}")

if(NOT module MATCHES "[ \t\n]srcs:[ \t\n]*\\[([^]]*)\\]")
  message(FATAL_ERROR "check_android_bp: libcustpolicy has no srcs list")
endif()
string(REGEX MATCHALL "\"[^\"]+\"" bp_sources "${CMAKE_MATCH_1}")
string(REPLACE "\"" "" bp_sources "${bp_sources}")

string(REPLACE "," ";" cmake_sources "${CMAKE_SOURCES}")
if(NOT cmake_sources)
  message(FATAL_ERROR "check_android_bp: CMAKE_SOURCES is empty")
endif()

set(failed FALSE)
foreach(source IN LISTS bp_sources)
  if(NOT source IN_LIST cmake_sources)
    message(SEND_ERROR "check_android_bp: ${source} is in Android.bp but not built by CMake")
    set(failed TRUE)
  endif()
endforeach()
foreach(source IN LISTS cmake_sources)
  if(NOT source IN_LIST bp_sources)
    message(SEND_ERROR "check_android_bp: ${source} is built by CMake but missing from Android.bp")
    set(failed TRUE)
  endif()
endforeach()
set(duplicates ${bp_sources})
list(REMOVE_DUPLICATES duplicates)
list(LENGTH duplicates unique_count)
list(LENGTH bp_sources bp_count)
if(NOT unique_count EQUAL bp_count)
  message(SEND_ERROR "check_android_bp: Android.bp names a source twice")
  set(failed TRUE)
endif()

if(VERSION_SCRIPT)
  if(NOT module MATCHES "version_script:[ \t]*\"([^\"]+)\"")
    message(SEND_ERROR "check_android_bp: no version_script (CMake links with ${VERSION_SCRIPT})")
    set(failed TRUE)
  elseif(NOT CMAKE_MATCH_1 STREQUAL VERSION_SCRIPT)
    message(SEND_ERROR
      "check_android_bp: version_script ${CMAKE_MATCH_1}, CMake links with ${VERSION_SCRIPT}")
    set(failed TRUE)
  endif()
endif()

if(failed)
  message(FATAL_ERROR "check_android_bp: Android.bp and CMake disagree")
endif()
list(LENGTH bp_sources count)
message(STATUS "check_android_bp: ${count} sources agree")
