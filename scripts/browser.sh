#!/usr/bin/env bash
# The browser leg: opens the sweep map pages in headless Chromium (Debian's `chromium`) and checks
# what a person would see: a screenshot that is not blank and shows every mode's colour, one drawn
# cell per point, the legend entries, and the thermal example's change of mode at 45 degrees.
#
#   bash scripts/browser.sh [build folder]     (default build/clang; built when missing)
#
# The pages and the screenshots are left in <build folder>/browser/ for a look.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh

build=${1:-build/clang}
if [[ ! -x "${build}/tools/custpolicy" ]]; then
  cmake --preset clang >/dev/null
  cmake --build --preset clang --parallel "${CUSTPOLICY_JOBS:-2}" --target custpolicy_tool
fi
tool="${build}/tools/custpolicy"
out="${build}/browser"
rm -rf "${out}"
mkdir -p "${out}"

profile=$(mktemp -d)
trap 'rm -rf "${profile}"' EXIT
chromium_flags=(--headless --no-sandbox --disable-gpu --disable-quic --no-first-run
  --disable-background-networking --disable-component-update --disable-sync
  --user-data-dir="${profile}" --window-size=1200,900 --virtual-time-budget=5000)

# Renders one page: its DOM after the page's script ran, and a screenshot.
render() {
  local page=$1 name=$2
  timeout 120 chromium "${chromium_flags[@]}" --dump-dom "file://${PWD}/${page}" \
    >"${out}/${name}.dom.html" 2>"${out}/${name}.log"
  timeout 120 chromium "${chromium_flags[@]}" --screenshot="${out}/${name}.png" \
    "file://${PWD}/${page}" >>"${out}/${name}.log" 2>&1
}

"${tool}" sweep examples/device/device.toml examples/sweeps/system-camera-sizes.toml \
  --html "${out}/sizes.html" >/dev/null
"${tool}" sweep examples/device/device.toml examples/sweeps/thermal.toml \
  --html "${out}/thermal.html" >/dev/null
render "${out}/sizes.html" sizes
render "${out}/thermal.html" thermal

python3 scripts/check_map_page.py "${out}"
