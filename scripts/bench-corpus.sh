#!/usr/bin/env bash
# Times the workflow commands over a large corpus: generates N sessions (default 10,000) in a
# temporary directory, cycling through the bundled example sessions with their expectations, and
# runs diff, check, coverage and simulate on them once each under /usr/bin/time (wall-clock and CPU seconds,
# peak memory). A second run at a tenth of the sessions shows whether memory grows with them.
#
#   scripts/bench-corpus.sh [SESSIONS]
#
# Environment:
#   CUSTPOLICY_JOBS   build parallelism (default 2)
# The results go into docs/performance.md by hand ("Workflow commands over a corpus").
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

sessions=${1:-10000}
jobs=${CUSTPOLICY_JOBS:-2}
cmake --preset clang >/dev/null
cmake --build --preset clang --parallel "${jobs}" --target custpolicy_tool >/dev/null
tool=build/clang/tools/custpolicy
device=examples/device/device.toml

work=$(mktemp -d)
trap 'rm -rf "${work}"' EXIT

make_corpus() {  # DIR COUNT: COUNT sessions in DIR, 1,000 to a subdirectory
  local dir=$1 count=$2
  local examples=(examples/sessions/*.toml)
  for ((i = 0; i < count; ++i)); do
    local sub="${dir}/$(printf '%03d' $((i / 1000)))"
    mkdir -p "${sub}"
    cp "${examples[$((i % ${#examples[@]}))]}" "${sub}/$(printf '%05d' "${i}").toml"
  done
}

# LABEL COMMAND...: one line of wall-clock seconds, CPU seconds (user + system), peak resident
# KiB and the exit code. On a machine that other jobs share, CPU time is the steadier measure.
timed() {
  local label=$1
  shift
  local rc=0
  /usr/bin/time -q -f "%e %U %S %M" -o "${work}/time" "$@" >/dev/null 2>&1 || rc=$?
  read -r wall user system kib <"${work}/time"
  printf '%-10s wall %6s s  cpu %6s s  peak %8s KiB  exit %s\n' "${label}" "${wall}" \
    "$(awk -v u="${user}" -v s="${system}" 'BEGIN { printf "%.2f", u + s }')" "${kib}" "${rc}"
}

echo "Machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')"
echo "Load average before the run: $(cut -d' ' -f1-3 /proc/loadavg)"
for count in $((sessions / 10)) "${sessions}"; do
  corpus="${work}/corpus-${count}"
  make_corpus "${corpus}" "${count}"
  echo "${count} sessions:"
  timed diff "${tool}" diff --device "${device}" examples/device/CameraHWConfiguration.config \
    tests/tool/data/after.config "${corpus}"
  timed check "${tool}" check "${device}" "${corpus}"
  timed coverage "${tool}" coverage "${device}" "${corpus}"
  timed simulate "${tool}" simulate "${device}" "${corpus}"
done
