#!/usr/bin/env bash
# The browser leg: opens the sweep map pages in headless Chromium (Debian's `chromium`) and checks
# what a person would see: a screenshot that is not blank and shows every mode's colour, one drawn
# cell per point, the legend entries, the thermal example's change of mode at 45 degrees, cells of
# one width at a sparse and a dense layout, warning markers (and none once hidden), the legend of
# the colouring by row, a block that opens to its points, and the map of a bundled edit.
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

# Renders one page with scripts/map_probe.js appended (it writes the laid-out cell sizes into the
# DOM and does what the fragment asks): its DOM after the scripts ran, and a screenshot.
render() {
  local page=$1 name=$2 fragment=${3:-}
  local probe="${out}/${name}.probe.html"
  { head -n -2 "${page}"; echo "<script>"; cat scripts/map_probe.js; echo "</script></body></html>"; } >"${probe}"
  timeout 120 chromium "${chromium_flags[@]}" --dump-dom "file://${PWD}/${probe}${fragment}" \
    >"${out}/${name}.dom.html" 2>"${out}/${name}.log"
  timeout 120 chromium "${chromium_flags[@]}" --screenshot="${out}/${name}.png" \
    "file://${PWD}/${probe}${fragment}" >>"${out}/${name}.log" 2>&1
}

"${tool}" sweep examples/device/device.toml examples/sweeps/system-camera-sizes.toml \
  --html "${out}/sizes.html" >/dev/null
"${tool}" sweep examples/device/device.toml examples/sweeps/thermal.toml \
  --html "${out}/thermal.html" >/dev/null
# The thermal sweep from -40 to 110 degrees: 151 columns, drawn dense as blocks of two.
sed -e 's/^temperature = .*/temperature = { from = -40, to = 110 }/' examples/sweeps/thermal.toml \
  >"${out}/dense.toml"
"${tool}" sweep examples/device/device.toml "${out}/dense.toml" --html "${out}/dense.html" >/dev/null
# The map of an edit: the thermal sweep against the configuration before its thermal row.
"${tool}" sweep examples/device/device.toml examples/sweeps/thermal.toml \
  --before examples/device/before-thermal-row.config --html "${out}/edit.html" >/dev/null
render "${out}/sizes.html" sizes
render "${out}/sizes.html" sizes-hidden "#hide-warnings"
render "${out}/thermal.html" thermal
render "${out}/thermal.html" thermal-rows "#colour=row"
render "${out}/dense.html" dense
render "${out}/dense.html" dense-open "#open-block"
render "${out}/edit.html" edit

python3 scripts/check_map_page.py "${out}"
