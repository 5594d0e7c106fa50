#!/usr/bin/env bash
# Builds the libFuzzer targets and runs each for a bounded time, starting from its seed corpus in
# fuzz/corpus/<target>. Fails on the first finding (a crash, a sanitizer report, a leak, a broken
# check of a target, or an input that runs longer than 10 s); the input that found it is kept in
# build/fuzz/findings/<target>/.
#
#   scripts/fuzz.sh [target...]      targets: config_parser store_queries adaptors toml_inputs
#                                    (default: all)
#
# To replay a finding: build/fuzz/fuzz/fuzz_<target> build/fuzz/findings/<target>/<file>
#
# Environment:
#   CUSTPOLICY_FUZZ_SECONDS   seconds per target (default 60)
#   CUSTPOLICY_JOBS           build parallelism (default 2)
#   CUSTPOLICY_FUZZ_BUILD     build directory (default build/fuzz)
#
# The targets are built with the fuzz preset: clang, AddressSanitizer, UndefinedBehaviorSanitizer
# and libstdc++ (Debian's libFuzzer runtime is built against libstdc++). The corpus that a run
# grows is kept in build/fuzz/corpus/<target>, so later local runs start from it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh

seconds=${CUSTPOLICY_FUZZ_SECONDS:-60}
jobs=${CUSTPOLICY_JOBS:-2}
build=${CUSTPOLICY_FUZZ_BUILD:-build/fuzz}
targets=("$@")
if ((${#targets[@]} == 0)); then
  targets=(config_parser store_queries adaptors toml_inputs)
fi

echo "==== fuzz: configure and build (${build})"
cmake --preset fuzz -B "${build}"
targetNames=()
for target in "${targets[@]}"; do targetNames+=("fuzz_${target}"); done
cmake --build "${build}" --parallel "${jobs}" --target "${targetNames[@]}"

for target in "${targets[@]}"; do
  seeds=fuzz/corpus/${target}
  if [[ ! -d "${seeds}" ]]; then
    echo "fuzz: unknown target '${target}' (no ${seeds})" >&2
    exit 2
  fi
  corpus=${build}/corpus/${target}
  findings=${build}/findings/${target}
  mkdir -p "${corpus}" "${findings}"
  # A target with a dictionary of its own (fuzz/<target>.dict) uses it; the others the
  # configuration format's.
  dict=fuzz/${target}.dict
  [[ -f "${dict}" ]] || dict=fuzz/config.dict
  echo "==== fuzz: ${target} for ${seconds} s"
  if ! "${build}/fuzz/fuzz_${target}" -max_total_time="${seconds}" -timeout=10 -max_len=16384 \
      -dict="${dict}" -print_final_stats=1 -artifact_prefix="${findings}/" \
      "${corpus}" "${seeds}"; then
    echo "fuzz: ${target} found a fault; the input is in ${findings}/" >&2
    exit 1
  fi
done
echo "==== fuzz: no findings in ${targets[*]}"
