cmake_minimum_required(VERSION 3.25)

# Checks the dynamic symbol table of the policy library against the interface the camera HAL links
# with: the two adaptors and the sensor-setting policy interface, their members and vtables.
# Anything else exported is an internal leaking out (a class that lost its hidden visibility, a
# C++ runtime instantiation, a host stand-in linked in by mistake) and fails the check; so does a
# missing entry point of the HAL.
#
# With IMPORTS, it also checks the undefined symbols: every one that is not the C++ runtime's or the
# C library's is a platform symbol that the HAL must define, and must be listed in IMPORTS
# (CustPolicy/libcustpolicy.imports.txt), so that a new platform dependency cannot appear
# unnoticed; a listed symbol the library no longer imports fails too, so the list stays exact.
#
# Usage: cmake -DLIBRARY=<libcustpolicy.so> -DNM=<nm> [-DIMPORTS=<list>] -P check_exports.cmake

if(NOT LIBRARY OR NOT EXISTS "${LIBRARY}")
  message(FATAL_ERROR "check_exports: library '${LIBRARY}' not found")
endif()
if(NOT NM)
  set(NM nm)
endif()

# The exported classes. Patterns, not a fixed list: members are added as the policies grow.
set(exported_classes "(CustSettingAlgoAdaptor|CustRrzoAlgoAdaptor|ICustSettingPolicy)")
set(allowed_patterns
  "^${exported_classes}::"
  "^vtable for ${exported_classes}$"
)
# What the HAL calls; each must be exported.
set(required_patterns
  "^CustSettingAlgoAdaptor::CustSettingAlgoAdaptor\\(int\\)$"
  "^CustSettingAlgoAdaptor::~CustSettingAlgoAdaptor\\(\\)$"
  "^CustSettingAlgoAdaptor::selectSensorSetting\\("
  "^CustRrzoAlgoAdaptor::CustRrzoAlgoAdaptor\\(int\\)$"
  "^CustRrzoAlgoAdaptor::~CustRrzoAlgoAdaptor\\(\\)$"
  "^CustRrzoAlgoAdaptor::selectTargetSize\\("
  "^CustRrzoAlgoAdaptor::calculateTargetSize\\("
  "^ICustSettingPolicy::~ICustSettingPolicy\\(\\)$"
  "^ICustSettingPolicy::parseSensorSetting\\("
)

execute_process(
  COMMAND "${NM}" -D -C --defined-only "${LIBRARY}"
  OUTPUT_VARIABLE nm_output
  ERROR_VARIABLE nm_error
  RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "check_exports: ${NM} failed (${nm_result}): ${nm_error}")
endif()

# Demangled C++ names hold spaces and brackets but never ';', so lines become list items as they are.
string(REPLACE "\n" ";" nm_lines "${nm_output}")

set(exports "")
set(unexpected "")
foreach(line IN LISTS nm_lines)
  # "<address> <type> <demangled name>"
  if(NOT line MATCHES "^[0-9a-fA-F]+ [A-Za-z] (.+)$")
    continue()
  endif()
  set(symbol "${CMAKE_MATCH_1}")
  list(APPEND exports "${symbol}")
  set(allowed FALSE)
  foreach(pattern IN LISTS allowed_patterns)
    if(symbol MATCHES "${pattern}")
      set(allowed TRUE)
      break()
    endif()
  endforeach()
  if(NOT allowed)
    list(APPEND unexpected "${symbol}")
  endif()
endforeach()

set(missing "")
foreach(pattern IN LISTS required_patterns)
  set(found FALSE)
  foreach(symbol IN LISTS exports)
    if(symbol MATCHES "${pattern}")
      set(found TRUE)
      break()
    endif()
  endforeach()
  if(NOT found)
    list(APPEND missing "${pattern}")
  endif()
endforeach()

list(LENGTH exports export_count)
message(STATUS "check_exports: ${export_count} exported symbols in ${LIBRARY}")
set(failed FALSE)
if(unexpected)
  list(REMOVE_DUPLICATES unexpected)
  string(REPLACE ";" "\n  " text "${unexpected}")
  message(SEND_ERROR "check_exports: unexpected exports:\n  ${text}")
  set(failed TRUE)
endif()
if(missing)
  string(REPLACE ";" "\n  " text "${missing}")
  message(SEND_ERROR "check_exports: no export matches:\n  ${text}")
  set(failed TRUE)
endif()

# ---- Imports ----
# Symbols of the C++ runtime (libc++ or libstdc++, libc++abi, the unwinder), of the C library and
# of the sanitizers' runtimes. Versioned symbols (name@GLIBC_..., @GLIBCXX_..., @CXXABI_...) come
# from the system's runtime libraries; libc++'s are unversioned and recognised by name.
set(runtime_patterns
  "@(GLIBC|GLIBCXX|CXXABI|GCC)_"
  "^std::"
  "^(vtable|typeinfo|typeinfo name|VTT) for (std::|__cxxabiv1::)"
  "^operator (new|delete)"
  "^__cxa_"
  "^__gxx_personality"
  "^_Unwind_"
  "^_ITM_"
  "^__gmon_start__$"
  "^__(asan|ubsan|lsan|sanitizer)_"
)
if(IMPORTS)
  file(STRINGS "${IMPORTS}" listed_imports REGEX "^[^#]")
  execute_process(
    COMMAND "${NM}" -D -C --undefined-only "${LIBRARY}"
    OUTPUT_VARIABLE nm_output
    ERROR_VARIABLE nm_error
    RESULT_VARIABLE nm_result)
  if(NOT nm_result EQUAL 0)
    message(FATAL_ERROR "check_exports: ${NM} failed (${nm_result}): ${nm_error}")
  endif()
  string(REPLACE "\n" ";" nm_lines "${nm_output}")
  set(platform_imports "")
  set(runtime_imports "")
  foreach(line IN LISTS nm_lines)
    # "<spaces> U <demangled name>[@version]" (w for weak references)
    if(NOT line MATCHES "^ +[A-Za-z] (.+)$")
      continue()
    endif()
    set(symbol "${CMAKE_MATCH_1}")
    set(runtime FALSE)
    foreach(pattern IN LISTS runtime_patterns)
      if(symbol MATCHES "${pattern}")
        set(runtime TRUE)
        break()
      endif()
    endforeach()
    if(runtime)
      list(APPEND runtime_imports "${symbol}")
      continue()
    endif()
    # libstdc++ tags functions returning std::string; the list names them as libc++ does.
    string(REPLACE "[abi:cxx11]" "" symbol "${symbol}")
    list(APPEND platform_imports "${symbol}")
  endforeach()

  set(unlisted "")
  foreach(symbol IN LISTS platform_imports)
    if(NOT symbol IN_LIST listed_imports)
      list(APPEND unlisted "${symbol}")
    endif()
  endforeach()
  set(unused "")
  foreach(symbol IN LISTS listed_imports)
    if(NOT symbol IN_LIST platform_imports)
      list(APPEND unused "${symbol}")
    endif()
  endforeach()
  list(LENGTH platform_imports platform_count)
  list(LENGTH runtime_imports runtime_count)
  message(STATUS "check_exports: ${platform_count} platform imports, ${runtime_count} from the "
                 "C++ runtime and the C library")
  if(unlisted)
    string(REPLACE ";" "\n  " text "${unlisted}")
    message(SEND_ERROR "check_exports: imports platform symbols that ${IMPORTS} does not list "
                       "(a new platform dependency: list it and document it for the HAL):\n  ${text}")
    set(failed TRUE)
  endif()
  if(unused)
    string(REPLACE ";" "\n  " text "${unused}")
    message(SEND_ERROR "check_exports: ${IMPORTS} lists symbols the library no longer imports:"
                       "\n  ${text}")
    set(failed TRUE)
  endif()
endif()

if(failed)
  message(FATAL_ERROR "check_exports: failed")
endif()
