#!/usr/bin/env bash
# Runs the main job: builds the default (clang + libc++) preset's tool and runs it with the
# arguments given. Build output goes to stderr, so stdout is the tool's alone.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh

jobs=${CUSTPOLICY_JOBS:-2}
{
  cmake --preset clang
  cmake --build --preset clang --parallel "${jobs}" --target custpolicy_tool
} >&2

exec build/clang/tools/custpolicy "$@"
