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
  valgrind qemu-user time
  # The soong leg: bpfix (soong) and mini-soong, which asks dpkg-architecture (dpkg-dev) for the
  # host's architecture.
  soong mini-soong dpkg-dev
  # The aarch64 leg: the arm64 C library, GCC's start files and libgcc, and the Android log
  # library, installed next to the host's (multiarch). The arm64 libc++ cannot be, so
  # scripts/aarch64-sysroot.sh unpacks it into the build tree instead.
  libc6-dev:arm64 libgcc-12-dev:arm64 android-liblog-dev:arm64
  # The browser leg: the sweep's map page rendered in headless Chromium.
  chromium
)

# The arm64 packages need the architecture known to dpkg (and then a fresh apt-get update, which
# the install below runs because they are missing).
add_arm64=false
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  add_arm64=true
fi

# True when the package is installed for its architecture: the one after the colon, else the
# host's (or "all"). A package installed for two architectures has one status line for each.
installed() {
  local name=${1%%:*} arch
  if [[ "$1" == *:* ]]; then arch=${1#*:}; else arch=$(dpkg --print-architecture); fi
  dpkg-query -W -f='${Status} ${Architecture}\n' "$name" 2>/dev/null |
    grep -qxE "install ok installed (${arch}|all)"
}

missing=()
for package in "${packages[@]}"; do
  if ! installed "$package"; then
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

if $add_arm64; then
  "${as_root[@]}" dpkg --add-architecture arm64
fi
"${as_root[@]}" apt-get update
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
