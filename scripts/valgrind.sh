#!/usr/bin/env bash
# Runs the unit suite under valgrind's memcheck: any memory error, and any block definitely or
# indirectly lost at exit, fails the run.
#
# Usage: scripts/valgrind.sh [BUILD_DIR]   (default build/gcc, configured with the gcc preset)
#
# The gcc build is the one to check: valgrind 3.19 gives up on the debug information that clang 14
# writes, and libstdc++ is what valgrind's default suppressions know. The whole suite runs in one
# process rather than test by test through ctest, which would start valgrind once per test.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=${1:-build/gcc}
jobs=${CUSTPOLICY_JOBS:-2}
if [[ ! -f "$build/CMakeCache.txt" ]]; then
  cmake --preset gcc -B "$build"
fi
cmake --build "$build" --parallel "$jobs" --target custpolicy_tests

log="$build/valgrind.log"
echo "valgrind: memcheck of $build/tests/custpolicy_tests (full report in $log)"
status=0
valgrind --tool=memcheck --error-exitcode=1 --leak-check=full \
  --errors-for-leak-kinds=definite,indirect --show-leak-kinds=definite,indirect \
  --num-callers=30 --log-file="$log" \
  "$build/tests/custpolicy_tests" --gtest_brief=1 || status=$?
grep -E 'ERROR SUMMARY|definitely lost|indirectly lost|All heap blocks were freed' "$log" || true
if ((status != 0)); then
  echo "valgrind: memcheck failed (exit $status)" >&2
  cat "$log" >&2
  exit "$status"
fi
