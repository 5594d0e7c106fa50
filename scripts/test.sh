#!/usr/bin/env bash
# Builds the library and runs every test with each toolchain in turn: clang with libc++ (the
# device's C++ runtime), gcc with libstdc++, and clang with AddressSanitizer and
# UndefinedBehaviorSanitizer. Then the unit suite under valgrind's memcheck (on the gcc build),
# the library and the unit suite built for aarch64 and run under qemu-aarch64, and the fuzz
# targets for a bounded time each. Stops at the first failure.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh

jobs=${CUSTPOLICY_JOBS:-2}
timings=()
leg_started=$SECONDS
leg_done() {
  timings+=("$1: $((SECONDS - leg_started)) s")
  leg_started=$SECONDS
}

for preset in clang gcc asan; do
  echo "==== ${preset}: configure, build, test (build/${preset})"
  cmake --preset "${preset}"
  cmake --build --preset "${preset}" --parallel "${jobs}"
  ctest --preset "${preset}"
  leg_done "${preset}"
done

echo "==== valgrind: the unit suite under memcheck (build/gcc)"
bash scripts/valgrind.sh build/gcc
leg_done valgrind

echo "==== soong: Android.bp through bpfix and mini-soong, the HAL example on copied platform headers"
bash scripts/soong.sh build/gcc
leg_done soong

echo "==== aarch64: configure, build, test under qemu-aarch64 (build/aarch64)"
bash scripts/aarch64-sysroot.sh build/aarch64-sysroot
cmake --preset aarch64
cmake --build --preset aarch64 --parallel "${jobs}"
ctest --preset aarch64
leg_done aarch64

if [[ -f scripts/fuzz.sh ]]; then
  echo "==== fuzz: each target for a bounded time"
  bash scripts/fuzz.sh
  leg_done fuzz
fi

echo "==== browser: the sweep map pages in headless Chromium (build/clang)"
bash scripts/browser.sh
leg_done browser

echo "==== all legs passed"
printf '  %s\n' "${timings[@]}"
