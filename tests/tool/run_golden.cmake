# Runs the simulator once and compares what it printed with a golden file.
#   TOOL           the custpolicy executable
#   ARGS           its arguments, separated by '|'
#   GOLDEN         the golden file: stdout, then stderr after a "[stderr]" line when there is any
#   EXPECTED_EXIT  the exit code the run must end with
#   WORK_DIR       where the actual output of a failed comparison is left
#   PAGE           optional: a file the run writes (given in ARGS too); its text follows the
#                  output after a "[page]" line, and it is removed first so a stale one never passes
# With the environment variable CUSTPOLICY_UPDATE_GOLDENS set, the golden file is rewritten
# instead (the exit code is still checked).
string(REPLACE "|" ";" args "${ARGS}")
if(DEFINED PAGE)
  file(REMOVE "${PAGE}")
endif()
# A run that hangs (a fault in a loop) is ended and fails rather than holding the suite.
execute_process(COMMAND ${TOOL} ${args} TIMEOUT 120
  OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE exit_code)

set(actual "${out}")
if(NOT err STREQUAL "")
  string(APPEND actual "[stderr]\n${err}")
endif()
if(DEFINED PAGE)
  file(READ "${PAGE}" page)
  string(APPEND actual "[page]\n${page}")
endif()
# Source lines in the error tails of log messages move with every edit of the library.
string(REGEX REPLACE "\\{#[0-9]+:" "{#LINE:" actual "${actual}")

if(NOT exit_code STREQUAL EXPECTED_EXIT)
  message(FATAL_ERROR "exit code ${exit_code}, expected ${EXPECTED_EXIT}\n${actual}")
endif()

if(DEFINED ENV{CUSTPOLICY_UPDATE_GOLDENS})
  file(WRITE "${GOLDEN}" "${actual}")
  message(STATUS "rewrote ${GOLDEN}")
  return()
endif()

if(NOT EXISTS "${GOLDEN}")
  message(FATAL_ERROR "${GOLDEN} is missing; run scripts/update-goldens.sh")
endif()
file(READ "${GOLDEN}" expected)
if(NOT actual STREQUAL expected)
  get_filename_component(name "${GOLDEN}" NAME)
  set(actual_file "${WORK_DIR}/${name}.actual")
  file(WRITE "${actual_file}" "${actual}")
  execute_process(COMMAND diff -u "${GOLDEN}" "${actual_file}" OUTPUT_VARIABLE diff)
  message(FATAL_ERROR "output differs from ${GOLDEN} (actual output in ${actual_file}):\n${diff}")
endif()
