#!/usr/bin/env bash
# Times `custpolicy sweep` on 100,000 points with one worker and with two (CUSTPOLICY_SWEEP_ROUNDS
# rounds each, default 5), and measures its peak memory at 10,000 and 100,000 points, for
# docs/performance.md. The sweep is the bundled
# system-camera sweep (72 points) with a temperature axis added to reach the point count.
#
#   scripts/sweep-timing.sh [build folder]      (default build/clang; built when missing)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=${1:-build/clang}
if [[ ! -x "${build}/tools/custpolicy" ]]; then
  cmake --preset clang >/dev/null
  cmake --build --preset clang --parallel "${CUSTPOLICY_JOBS:-2}" --target custpolicy_tool
fi
tool="${build}/tools/custpolicy"
work=$(mktemp -d)
trap 'rm -rf "${work}"' EXIT

# 72 points x N temperatures.
sweep_of() {
  sed -e "s/^\[map\]/temperature = { from = 0, to = $(($1 - 1)) }\n[map]/" \
    examples/sweeps/system-camera-sizes.toml >"${work}/sweep-$1.toml"
  echo "${work}/sweep-$1.toml"
}
large=$(sweep_of 1389)   # 100,008 points
small=$(sweep_of 139)    # 10,008 points

echo "Machine: $(nproc) cores; load average before the run: $(cut -d' ' -f1-3 /proc/loadavg)"
# One worker and two alternate, so that a change in the machine's load falls on both alike; the
# medians of the rounds and their ratio are printed after the rounds.
rounds=${CUSTPOLICY_SWEEP_ROUNDS:-5}
median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }
for output in --csv --json; do
  : >"${work}/wall-1"
  : >"${work}/wall-2"
  for ((round = 1; round <= rounds; ++round)); do
    for jobs in 1 2; do
      /usr/bin/time -o "${work}/time" -f "%e %U %M" \
        "${tool}" sweep "${output}" --jobs "${jobs}" examples/device/device.toml "${large}" >/dev/null
      read -r wall user peak <"${work}/time"
      echo "${output} --jobs ${jobs}, 100,008 points: ${wall} s wall, ${user} s user (all processes), ${peak} KB peak (largest process)"
      echo "${wall}" >>"${work}/wall-${jobs}"
    done
  done
  one=$(median <"${work}/wall-1")
  two=$(median <"${work}/wall-2")
  [[ "${output}" == --csv ]] && csv_one=${one}
  echo "${output}: median of ${rounds} rounds ${one} s with 1 worker, ${two} s with 2: $(awk -v a="${one}" -v b="${two}" 'BEGIN {printf "%.2f", a / b}')x"
done
# What two busy processes get of this machine: two independent one-worker runs at once, against
# the one-worker median above. Twice the work in the same time would be 2.00x; the two-worker runs
# cannot do better than this.
: >"${work}/wall-pair"
for ((round = 1; round <= rounds; ++round)); do
  start=$(date +%s.%N)
  "${tool}" sweep --csv --jobs 1 examples/device/device.toml "${large}" >/dev/null &
  "${tool}" sweep --csv --jobs 1 examples/device/device.toml "${large}" >/dev/null
  wait
  awk -v a="${start}" -v b="$(date +%s.%N)" 'BEGIN {printf "%.2f\n", b - a}' >>"${work}/wall-pair"
done
pair=$(median <"${work}/wall-pair")
echo "--csv, two one-worker runs at once: median ${pair} s for twice the points: $(awk -v a="${csv_one}" -v b="${pair}" 'BEGIN {printf "%.2f", 2 * a / b}')x the throughput of one"
for sweep in "${small}" "${large}"; do
  /usr/bin/time -f "--csv --jobs 1, $(basename "${sweep}" .toml): %M KB peak" \
    "${tool}" sweep --csv --jobs 1 examples/device/device.toml "${sweep}" >/dev/null
done
/usr/bin/time -f "--html --jobs 2, 100,008 points: %e s wall, %M KB peak" \
  "${tool}" sweep --html "${work}/map.html" --jobs 2 examples/device/device.toml "${large}" >/dev/null
echo "page: $(stat -c %s "${work}/map.html") bytes"
