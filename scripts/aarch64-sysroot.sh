#!/usr/bin/env bash
# Unpacks Debian's arm64 LLVM C++ runtime (libc++, libc++abi, libunwind) into a folder of the
# build tree, for the aarch64 cross build (cmake/aarch64-linux-gnu.cmake).
#
# Debian's libc++ packages put their files under /usr/lib/llvm-14 whatever the architecture, so
# the arm64 ones cannot be installed next to the host's: they are downloaded with apt-get download
# and unpacked with dpkg -x instead. The arm64 C library, GCC's start files and the Android log
# library are ordinary multiarch packages that scripts/setup.sh installs.
#
# Usage: scripts/aarch64-sysroot.sh [DIR]   (default build/aarch64-sysroot)
# Does nothing when DIR already holds the same package versions.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

sysroot=${1:-build/aarch64-sysroot}
packages=(libc++-14-dev libc++1-14 libc++abi-14-dev libc++abi1-14 libunwind-14 libunwind-14-dev)
arm64_packages=("${packages[@]/%/:arm64}")

# The versions apt would download now; the stamp records what the folder holds.
candidates() {
  apt-cache policy "${arm64_packages[@]}" | awk '/^[^ ]/ {name = $1} /Candidate:/ {print name, $2}'
}
wanted=$(candidates)
if [[ "$wanted" != *" "[0-9]* ]] || [[ "$wanted" == *"(none)"* ]]; then
  # No arm64 package lists yet (a fresh machine, or lists cleaned since): fetch them once.
  if [[ $(id -u) -eq 0 ]]; then apt-get update >&2; else sudo apt-get update >&2; fi
  wanted=$(candidates)
fi
stamp="$sysroot/.packages"
if [[ -f "$stamp" && "$(cat "$stamp")" == "$wanted" ]]; then
  exit 0
fi

echo "aarch64-sysroot: unpacking ${packages[*]} (arm64) into $sysroot" >&2
rm -rf "$sysroot"
mkdir -p "$sysroot/debs"
# apt-get download writes into the current folder; as root it warns that it cannot drop to the
# _apt user for a folder that user cannot write, which is harmless here.
(cd "$sysroot/debs" && apt-get download "${arm64_packages[@]}" 2>&1 | grep -v '^W: Download is performed unsandboxed' >&2 || true)
debs=("$sysroot"/debs/*.deb)
if ((${#debs[@]} != ${#packages[@]})); then
  echo "aarch64-sysroot: expected ${#packages[@]} packages, got ${#debs[@]}" >&2
  exit 1
fi
for deb in "${debs[@]}"; do
  dpkg -x "$deb" "$sysroot"
done
for file in usr/lib/llvm-14/include/c++/v1/__config usr/lib/llvm-14/lib/libc++.a \
  usr/lib/llvm-14/lib/libc++abi.a usr/lib/llvm-14/lib/libunwind.a; do
  if [[ ! -f "$sysroot/$file" ]]; then
    echo "aarch64-sysroot: $file missing after unpacking" >&2
    exit 1
  fi
done
rm -rf "$sysroot/debs"
echo "$wanted" >"$stamp"
