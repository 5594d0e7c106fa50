#!/usr/bin/env bash
# Times `custpolicy lint` on large and hostile configuration files and prints one table row per
# input: exit code, wall time, peak memory (/usr/bin/time) and the first line lint printed. The
# table in docs/performance.md ("Lint at scale") comes from this script.
#
#   scripts/lint-scale.sh [TOOL]     TOOL: the custpolicy binary (default build/clang/tools/custpolicy,
#                                    built with the clang preset when missing)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tool=${1:-build/clang/tools/custpolicy}
if [[ ! -x "${tool}" ]]; then
  bash scripts/setup.sh
  cmake --preset clang >/dev/null
  cmake --build --preset clang --parallel "${CUSTPOLICY_JOBS:-2}" --target custpolicy_tool >/dev/null
fi
work=$(mktemp -d)
trap 'rm -rf "${work}"' EXIT

# One "ThirdCamSensorSettingMap" group of N rows, each a width band of its own. The operation-mode
# column is -1 or 0, the only values the third-party path can meet, so the rows are all reachable.
rows() {
  awk -v n="$1" 'BEGIN {
    print "[ThirdCamSensorSettingMap]"
    split("-1 500 562 750", ratio, " ")
    for (i = 0; i < n; i++) {
      floor = int(i / 8) * 16
      mode = (i % 3 == 0) ? -1 : 0
      printf "AllCamApp[%d] = %d, %d, %d, %d, %d, %d, 0, %d\n", i, i % 4, int(i / 4) % 2, mode,
        ratio[int(i / 16) % 4 + 1], floor, floor + 640, i % 6
    }
  }'
}

rows 1000000 >"${work}/rows-1M.config"
awk 'BEGIN { for (i = 0; i < 500000; i++) printf "[CommonSensorSetingMap%d]\nMode[0] = 1, 0, 3\n", i }' \
  >"${work}/tables-500k.config"
{ printf '['; head -c 10485760 /dev/zero | tr '\0' 'N'; printf ']\nMode[0] = 1, 0, 3\n'; } \
  >"${work}/name-10MiB.config"
printf '[CommonSensorSettingMap]\rMode[0] = 1, 0, 3\rMode[1] = -1, 1, 0\r' >"${work}/cr-only.config"
: >"${work}/empty.config"
printf '# comments only\n\n# nothing else\n' >"${work}/comments.config"
printf '[\033[31mRed]\n"\033]0;title\007x[0]" = 1\n' >"${work}/escapes.config"
printf '[T]\nx = 1\n[U\nM[] = 1\nM[0] = 1,\nM[1] = 0x\n' >"${work}/four-errors.config"
printf '\377\376[\000T\000]\000\n\000' >"${work}/utf16.config"
head -c 4096 /dev/urandom >"${work}/binary.config"

echo "| input | exit | wall s | CPU s | peak MiB | first line of the answer |"
echo "|---|---:|---:|---:|---:|---|"
for input in "${work}"/rows-1M.config "${work}"/tables-500k.config "${work}"/name-10MiB.config \
    /dev/zero /tmp "${work}"/cr-only.config "${work}"/empty.config "${work}"/comments.config \
    "${work}"/escapes.config "${work}"/four-errors.config "${work}"/utf16.config \
    "${work}"/binary.config; do
  set +e
  /usr/bin/time -f '%e %U %S %M' -o "${work}/time" "${tool}" lint "${input}" >"${work}/out" 2>&1
  code=$?
  set -e
  read -r wall user system kib < <(tail -n 1 "${work}/time")
  first=$(head -n 1 "${work}/out" | sed "s|${work}/||" | cut -c 1-110 | tr -d '\033\007' | sed 's/|/\\|/g')
  cpu=$(awk -v u="${user}" -v s="${system}" 'BEGIN { printf "%.2f", u + s }')
  printf '| %s | %d | %s | %s | %d | `%s` |\n' "$(basename "${input}")" "${code}" "${wall}" \
    "${cpu}" "$((kib / 1024))" "${first}"
done
