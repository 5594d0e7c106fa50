#!/usr/bin/env bash
# Rewrites the golden files from the current build, for when the library's or the tool's output
# changes on purpose: the simulator's (tests/tool/golden/) and the unit suite's transcripts
# (tests/golden/). Review the result with `git diff tests/tool/golden tests/golden` before
# committing it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-clang}
jobs=${CUSTPOLICY_JOBS:-2}
cmake --preset "${preset}" >/dev/null
cmake --build --preset "${preset}" --parallel "${jobs}" --target custpolicy_tool custpolicy_tests
CUSTPOLICY_UPDATE_GOLDENS=1 ctest --preset "${preset}" -L golden
CUSTPOLICY_UPDATE_GOLDENS=1 "build/${preset}/tests/custpolicy_tests" >/dev/null
echo "update-goldens: rewrote tests/tool/golden and tests/golden; now check them with the other" >&2
echo "toolchain: ctest --preset gcc (after building the gcc preset)" >&2
