#!/usr/bin/env bash
# Times `custpolicy sweep` on 100,000 points with one worker and with two, and measures its peak
# memory at 10,000 and 100,000 points, for docs/performance.md. The sweep is the bundled
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
for output in --csv --json; do
  for jobs in 1 2; do
    /usr/bin/time -f "${output} --jobs ${jobs}, 100,008 points: %e s wall, %U s user (all processes), %M KB peak (largest process)" \
      "${tool}" sweep "${output}" --jobs "${jobs}" examples/device/device.toml "${large}" >/dev/null
  done
done
for sweep in "${small}" "${large}"; do
  /usr/bin/time -f "--csv --jobs 1, $(basename "${sweep}" .toml): %M KB peak" \
    "${tool}" sweep --csv --jobs 1 examples/device/device.toml "${sweep}" >/dev/null
done
/usr/bin/time -f "--html --jobs 2, 100,008 points: %e s wall, %M KB peak" \
  "${tool}" sweep --html "${work}/map.html" --jobs 2 examples/device/device.toml "${large}" >/dev/null
echo "page: $(stat -c %s "${work}/map.html") bytes"
