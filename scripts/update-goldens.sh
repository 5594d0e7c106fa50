#!/usr/bin/env bash
# Rewrites the simulator's golden files (tests/tool/golden/) from the current build, for when the
# library's or the tool's output changes on purpose (for example when a legacy policy lands).
# Review the result with `git diff tests/tool/golden` before committing it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-clang}
jobs=${CUSTPOLICY_JOBS:-2}
cmake --preset "${preset}" >/dev/null
cmake --build --preset "${preset}" --parallel "${jobs}" --target custpolicy_tool
CUSTPOLICY_UPDATE_GOLDENS=1 ctest --preset "${preset}" -L golden
echo "update-goldens: rewrote tests/tool/golden; now check them with the other toolchain:" >&2
echo "  ctest --preset gcc -L golden   (after building the gcc preset)" >&2
