#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the main job need, when any of them
# is missing. A machine that has them all is left untouched, so this is safe to run every time.
set -euo pipefail

# g++ is not pulled in by clang; the gcc preset needs it.
packages=(
  cmake ninja-build
  clang lld libc++-14-dev libc++abi-14-dev libclang-rt-14-dev
  g++
  android-liblog-dev googletest libtomlplusplus-dev libbenchmark-dev
  valgrind qemu-user
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  if [[ "$status" != "install ok installed" ]]; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "setup: installing ${missing[*]}" >&2
if [[ $(id -u) -eq 0 ]]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "setup: missing packages and not root (and no sudo): ${missing[*]}" >&2
  exit 1
fi

"${as_root[@]}" apt-get update
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
