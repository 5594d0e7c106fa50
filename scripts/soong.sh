#!/usr/bin/env bash
# The Soong leg: Android.bp as Soong's own tools see it, and the library built the vendor way.
#  1. bpfix (Debian's soong) parses every Android.bp and shows its differences from bpfmt's
#     canonical form; a parse error or any difference fails.
#  2. mini-soong turns Android.bp into a Makefile that builds libcustpolicy.so in a scratch folder,
#     against a copy of the platform declarations in another folder: platform/include is not on
#     the include path, as in a vendor tree that swaps in its real platform headers.
#  3. The exported dynamic symbols of that library must equal those of the CMake build's.
#  4. The HAL-shaped example (examples/hal) is built against the same copy and that library, and
#     its run must print examples/hal/expected-output.txt.
#
# Usage: bash scripts/soong.sh [CMake build folder to compare with, default build/gcc]
# The scratch folder is <build folder>/soong. mini-soong builds with gcc and libstdc++, so the
# comparison is with the gcc preset's library (built here when it is missing).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
repo=$PWD
cmake_build=${1:-build/gcc}
scratch=$repo/$cmake_build/soong

fail() {
  echo "soong: $*" >&2
  exit 1
}

echo "-- bpfix: Android.bp files in canonical form"
bp_files=(Android.bp platform/Android.bp)
# bpfix exits 0 even on a parse error, so any output at all is a failure.
if ! bpfix_out=$(bpfix -d "${bp_files[@]}" 2>&1) || [[ -n "$bpfix_out" ]]; then
  echo "$bpfix_out" >&2
  fail "bpfix: ${bp_files[*]} do not parse, or differ from the canonical form (bpfix -w fixes the format)"
fi

echo "-- mini-soong: libcustpolicy from Android.bp in $scratch"
rm -rf "$scratch"
mkdir -p "$scratch/vendor-platform"
# The vendor's platform declarations: a copy in another folder. It leaves out the stand-in's one
# global using-declaration, which real platform headers do not have and the library must not need.
cp -R platform/include/platform "$scratch/vendor-platform/"
sed -i '/^using NSCam::MSize;$/d' "$scratch/vendor-platform/platform/MSize.h"
# mini-soong names sources relative to the folder of the Android.bp it reads.
ln -s "$repo" "$scratch/src"
cd "$scratch"
mini-soong src/Android.bp Makefile 2>mini-soong.log || { cat mini-soong.log >&2; fail "mini-soong failed"; }

# What mini-soong cannot express, given on the command line instead (the module stays as Soong
# needs it):
#  - cc_library_headers, header_libs and export_header_lib_headers are not supported (it warns
#    and skips the modules), so the API and platform include folders are passed here;
#  - version_script is ignored, so the module's own script is passed to the linker;
#  - it builds C++11 by default; Soong builds C++17;
#  - it drops -Werror from cflags, and does not add Soong's -fno-exceptions -fno-rtti;
#  - the Android log headers are Debian's (/usr/include/android);
#  - it builds with gcc and libstdc++, not Soong's libc++, so the public headers' libc++ check is
#    switched off with CUSTPOLICY_ALLOW_NON_LIBCXX (never in Android.bp: on the device the check
#    must hold).
grep -q 'cc_library_headers not yet supported' mini-soong.log ||
  fail "mini-soong now handles cc_library_headers: revisit the include folders passed below"
version_script=$(sed -n 's/^ *version_script: "\(.*\)",$/\1/p' src/Android.bp)
[[ -n "$version_script" ]] || fail "Android.bp: libcustpolicy has no version_script"
cxxflags=(-std=c++17 -O2 -Werror -fno-exceptions -fno-rtti
  -DCUSTPOLICY_ALLOW_NON_LIBCXX -Isrc/include -Ivendor-platform -I/usr/include/android)
make -s -f Makefile CC=g++ CXXFLAGS="${cxxflags[*]}" \
  LDFLAGS="-Wl,--version-script=src/$version_script" build ||
  fail "the Makefile that mini-soong made from Android.bp does not build"

echo "-- exports: mini-soong's library against $cmake_build"
cd "$repo"
if [[ ! -f "$cmake_build/CustPolicy/libcustpolicy.so" ]]; then
  [[ -f "$cmake_build/CMakeCache.txt" ]] || cmake --preset gcc
  cmake --build "$cmake_build" --target custpolicy
fi
exports() { nm -D -C --defined-only "$1" | cut -d' ' -f3- | sort; }
exports "$cmake_build/CustPolicy/libcustpolicy.so" >"$scratch/exports-cmake.txt"
exports "$scratch/libcustpolicy.so" >"$scratch/exports-soong.txt"
diff -u "$scratch/exports-cmake.txt" "$scratch/exports-soong.txt" ||
  fail "the library built from Android.bp exports other symbols than the CMake build"
echo "   $(wc -l <"$scratch/exports-soong.txt") exported symbols agree"

echo "-- examples/hal: built against the copied platform declarations, and run"
cd "$scratch"
# Built with libstdc++ like the library above, so it opts out of the libc++ check as well.
flags=(-std=c++17 -O2 -Wall -Wextra -Werror -fPIC -DCUSTPOLICY_ALLOW_NON_LIBCXX -Isrc/include
  -Ivendor-platform)
g++ "${flags[@]}" -shared src/examples/hal/platform_services.cpp -o libexample_platform.so
g++ "${flags[@]}" -fno-exceptions -fno-rtti -fvisibility=hidden -shared \
  src/examples/hal/example_hal.cpp -o libexample_hal.so -L. -lcustpolicy -lexample_platform \
  -Wl,--no-undefined -Wl,-rpath,'$ORIGIN'
g++ "${flags[@]}" src/examples/hal/camera_provider.cpp -o camera_provider -ldl
multiarch=$(gcc -print-multiarch)
LD_LIBRARY_PATH=/usr/lib/$multiarch/android ./camera_provider ./libexample_hal.so >hal-output.txt
diff -u src/examples/hal/expected-output.txt hal-output.txt ||
  fail "the HAL-shaped example printed something else"
echo "-- soong: passed"
