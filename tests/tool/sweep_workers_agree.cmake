# Runs sweeps with one, two and three workers and requires byte-identical output each time: the
# points are merged in point order whatever the number of workers.
#   TOOL       the custpolicy executable
#   WORK_DIR   where the outputs are left
set(runs
  "--csv|examples/device/device.toml|examples/sweeps/thermal.toml"
  "--json|examples/device/device.toml|tests/tool/data/tiny-sweep.toml"
  "--html|${WORK_DIR}/agree-map.html|examples/device/device.toml|examples/sweeps/system-camera-sizes.toml")
set(n 0)
foreach(run IN LISTS runs)
  string(REPLACE "|" ";" args "${run}")
  math(EXPR n "${n} + 1")
  foreach(jobs 1 2 3)
    execute_process(COMMAND ${TOOL} sweep --jobs ${jobs} ${args}
      OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE code)
    if(NOT code EQUAL 0)
      message(FATAL_ERROR "sweep --jobs ${jobs} ${run}: exit ${code}\n${err}")
    endif()
    if(EXISTS "${WORK_DIR}/agree-map.html")
      file(READ "${WORK_DIR}/agree-map.html" page)
      string(APPEND out "${page}")
      file(REMOVE "${WORK_DIR}/agree-map.html")
    endif()
    file(WRITE "${WORK_DIR}/agree-${n}-jobs${jobs}.out" "${out}")
    if(jobs EQUAL 1)
      set(expected "${out}")
    elseif(NOT out STREQUAL expected)
      message(FATAL_ERROR "sweep ${run}: --jobs ${jobs} differs from --jobs 1 (outputs in "
                          "${WORK_DIR}/agree-${n}-jobs*.out)")
    endif()
  endforeach()
endforeach()
