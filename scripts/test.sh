#!/usr/bin/env bash
# Builds the library and runs every test with each toolchain in turn: clang with libc++ (the
# device's C++ runtime), gcc with libstdc++, and clang with AddressSanitizer and
# UndefinedBehaviorSanitizer. Stops at the first failure.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh

jobs=${CUSTPOLICY_JOBS:-2}
for preset in clang gcc asan; do
  echo "==== ${preset}: configure, build, test (build/${preset})"
  cmake --preset "${preset}"
  cmake --build --preset "${preset}" --parallel "${jobs}"
  ctest --preset "${preset}"
done
