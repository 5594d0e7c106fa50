#!/usr/bin/env bash
# Runs the main job: builds the default (clang + libc++) preset's tool and runs it with the
# arguments given. The package installation's and the build's output go to stderr, so stdout is
# the tool's alone (on a fresh machine too).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh >&2

jobs=${CUSTPOLICY_JOBS:-2}
{
  cmake --preset clang
  cmake --build --preset clang --parallel "${jobs}" --target custpolicy_tool
} >&2

exec build/clang/tools/custpolicy "$@"
