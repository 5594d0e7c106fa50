#include <unordered_map>

#include "reports/report.h"
#include "reports/sweep_changes.h"
#include "reports/sweep_edit.h"
#include "reports/sweep_report.h"
#include "reports/workflow_report.h"

// The map page: one self-contained HTML file (no network, no external script, style or font). The
// legend and the summary are written here; the page's script draws the maps from the data it
// carries, so that a selector can switch between slices of a large sweep without a server.
namespace custsim {

namespace {

// What a sensor's cell holds when the sensor did not run at a point (another sensor of the sensor
// axis did); -1 is no decision.
constexpr int32_t kNotRun = -2;

// Colours of scenarios 0, 1, ...: distinguishable, and the same for a scenario on every map.
const char* const kPalette[] = {
    "#4e79a7", "#f28e2b", "#59a14f", "#e15759", "#b07aa1", "#edc948",
    "#76b7b2", "#ff9da7", "#9c755f", "#17becf", "#8c564b", "#bcbd22",
};
constexpr size_t kPaletteSize = sizeof(kPalette) / sizeof(kPalette[0]);

const char* colourOf(int32_t scenario) {
    return kPalette[static_cast<size_t>(scenario) % kPaletteSize];
}

std::string htmlText(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

// A JSON string that can stand inside a <script> element: no "</script>" can end it early.
std::string scriptJson(const std::string& text) {
    std::string out;
    for (const char c : jsonString(text)) {
        if (c == '<') {
            out += "\\u003c";
        } else if (c == '>') {
            out += "\\u003e";
        } else if (c == '&') {
            out += "\\u0026";
        } else {
            out += c;
        }
    }
    return out;
}

// A sensor's change key at a point the edit left as it was.
constexpr int32_t kUnchanged = -4;

// What the page shows of one sensor's outcome at one point. The one place that reads the decision
// for the page: the mode, the deciding row, the step of the policy that decided, the title's note
// and the warning codes.
struct CellFacts {
    int32_t scenario = -1;
    std::string row;       // "[table] locale[key]"; empty when no table row decided
    std::string path;      // the policy step that decided
    std::string note;      // the row with its file:line, or the deciding message; the warnings
    std::string warnings;  // the warning codes, separated by spaces
};

// The policy step as the page's legend names it.
const char* pathLabel(PolicyPath path) {
    switch (path) {
        case PolicyPath::SystemTable:
            return "system table";
        case PolicyPath::CommonTable:
            return "common table";
        case PolicyPath::ThirdPartyStep:
            return "third-party step";
        case PolicyPath::Thermal:
            return "thermal";
        case PolicyPath::FeatureChip:
            return "feature chip";
        case PolicyPath::CapabilityManager:
            return "capability manager";
        case PolicyPath::Engineering:
            return "engineering";
        case PolicyPath::HalFallback:
            break;
    }
    return "no decision";
}

CellFacts cellFactsOf(const SweepPoint& point, const Decision& outcome) {
    CellFacts facts;
    facts.scenario = sweepMode(outcome);
    facts.path = pathLabel(outcome.path);
    if (outcome.row) {
        const MatchedRow& row = *outcome.row;
        facts.row = "[" + row.table + "] " + row.locale + "[" + row.key + "]";
        facts.note = "row " + facts.row + " at " + row.file + ":" + std::to_string(row.line);
    } else {
        facts.note = decisionMessage(outcome);
    }
    // The map draws it as no mode; the note says what was named.
    if (outcome.result == DecisionResult::NamedNotFilled)
        facts.note = decisionSummary(outcome) + "\n" + facts.note;
    for (const std::string& warning : pointWarnings(point, outcome)) {
        facts.note += "\nwarning: " + warning;
        // Warnings read "code: message".
        facts.warnings +=
            (facts.warnings.empty() ? "" : " ") + warning.substr(0, warning.find(':'));
    }
    return facts;
}

const char kPageHead[] = R"HTML(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>custpolicy sweep: mode map</title>
<style>
body { font: 14px/1.4 sans-serif; margin: 16px; color: #222; background: #fff; }
h1 { font-size: 20px; margin: 0 0 4px; }
h2 { font-size: 16px; margin: 20px 0 6px; }
h3 { font-size: 14px; margin: 10px 0 4px; }
.about { color: #555; margin: 0 0 10px; }
#controls label { margin-right: 16px; }
table.map { border-collapse: separate; border-spacing: 0; margin: 6px 0; }
table.map th { font-weight: normal; font-size: 11px; line-height: 1; color: #444; padding: 0; }
/* Labels are taken out of the flow, so that no label widens or heightens a cell. */
table.map th.x, table.map th.y { position: relative; }
table.map th.x span { position: absolute; bottom: 3px; left: 50%; white-space: nowrap;
  writing-mode: vertical-rl; transform: translateX(-50%) rotate(180deg); }
table.map th.y span { position: absolute; right: 4px; top: 50%; white-space: nowrap;
  transform: translateY(-50%); }
table.map th.change span { color: #000; font-weight: bold; }
table.map th.corner { text-align: left; vertical-align: bottom; padding: 0 6px 3px 0; }
td.cell { width: 20px; min-width: 20px; max-width: 20px; height: 20px; padding: 0;
  border: 1px solid #fff; text-align: center; font-size: 12px; line-height: 20px; color: #333;
  overflow: hidden; position: relative; cursor: pointer; }
table.dense-x td.cell { width: 8px; min-width: 8px; max-width: 8px; font-size: 0;
  border-left-width: 0; border-right-width: 0; }
table.dense-y td.cell { height: 8px; font-size: 0; line-height: 8px; border-top-width: 0;
  border-bottom-width: 0; }
td.cell.none { background: repeating-linear-gradient(45deg, #ddd 0 3px, #fff 3px 6px); }
td.cell.skipped { background: #f4f4f4; }
td.cell.block:focus { outline: 2px solid #000; outline-offset: -1px; }
/* A warned cell carries a black corner triangle: a shape, so that it does not rest on colour. */
td.cell.warned::after { content: ""; position: absolute; top: 0; right: 0; width: 0; height: 0;
  border-style: solid; border-width: 0 10px 10px 0;
  border-color: transparent #000 transparent transparent; }
table.dense-x td.cell.warned::after, table.dense-y td.cell.warned::after {
  border-width: 0 5px 5px 0; }
body.hide-warnings td.cell.warned::after { display: none; }
.legend { margin: 4px 0 8px; }
.legend .entry { display: inline-block; margin-right: 18px; white-space: nowrap; }
.swatch { display: inline-block; width: 14px; height: 14px; vertical-align: -2px;
  margin-right: 5px; border: 1px solid #888; text-align: center; font-size: 11px; line-height: 14px;
  position: relative; }
.swatch.none { background: repeating-linear-gradient(45deg, #ddd 0 3px, #fff 3px 6px); }
.swatch.marker::after { content: ""; position: absolute; top: 0; right: 0; border-style: solid;
  border-width: 0 10px 10px 0; border-color: transparent #000 transparent transparent; }
.detail { border: 1px solid #aaa; padding: 6px 10px; margin: 6px 0; max-width: 1100px; }
.detail table { border-collapse: collapse; font-size: 12px; }
.detail td, .detail th { border: 1px solid #ddd; padding: 1px 6px; text-align: left;
  vertical-align: top; white-space: pre-wrap; }
table.summary { border-collapse: collapse; margin-top: 6px; }
table.summary td, table.summary th { border: 1px solid #ccc; padding: 2px 8px; text-align: left; }
table.summary td.n { text-align: right; }
ul.changes { margin: 2px 0; }
.note { color: #555; font-size: 12px; }
</style>
</head>
<body>
)HTML";

const char kPageScript[] = R"HTML(<script>
"use strict";
(function () {
  const data = JSON.parse(document.getElementById("sweep-data").textContent);
  // Beyond this many columns or rows, neighbouring points share one drawn block.
  const MAX_COLUMNS = 120, MAX_ROWS = 80;
  // From this many columns (rows) on, cells are drawn narrow (short).
  const DENSE_COLUMNS = 40, DENSE_ROWS = 40;
  // The distance between two small cells' starts.
  const DENSE_PITCH = 8;
  // Regular labels are at least this far apart; the steps they take.
  const LABEL_SPACING = 40, STEPS = [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000];
  // The width of a label's character, an upper bound at the labels' 11 px.
  const CHAR_WIDTH = 7;
  // Points listed when a block is opened.
  const MAX_LISTED = 200;
  // Keys besides the colour-by values: no decision, not run, decided without a table row, and (on
  // the map of an edit) kept its outcome.
  const NONE = -1, NOT_RUN = -2, NO_ROW = -3, UNCHANGED = -4;
  const axes = data.axes;
  const strides = [];
  let stride = 1;
  for (let a = axes.length - 1; a >= 0; --a) { strides[a] = stride; stride *= axes[a].values.length; }
  const chosen = axes.map(() => 0);
  let colourBy = data.edit ? "change" : "mode";
  const count = (a) => (a >= 0 ? axes[a].values.length : 1);
  const label = (a, i) => (a >= 0 ? axes[a].values[i] : "");

  function blocks(n, max) {
    const size = Math.ceil(n / max), out = [];
    for (let start = 0; start < n; start += size) out.push([start, Math.min(n, start + size)]);
    return out;
  }
  function pointAt(sensor, xi, yi) {
    let index = 0;
    axes.forEach((axis, a) => {
      let v = chosen[a];
      if (a === data.x) v = xi; else if (a === data.y) v = yi; else if (a === data.sensorAxis) v = sensor.axisValue;
      index += v * strides[a];
    });
    return index;
  }
  function rangeLabel(a, b) {
    return b[1] - b[0] === 1 ? label(a, b[0]) : label(a, b[0]) + " .. " + label(a, b[1] - 1);
  }
  function otherAxes() {
    return axes.map((axis, a) => (a === data.x || a === data.y || a === data.sensorAxis) ? "" :
      axis.name + " " + axis.values[chosen[a]]).filter((t) => t !== "");
  }
  function place(xb, yb) {
    const parts = [];
    if (data.x >= 0) parts.push(axes[data.x].name + " " + rangeLabel(data.x, xb));
    if (data.y >= 0) parts.push(axes[data.y].name + " " + rangeLabel(data.y, yb));
    return parts.concat(otherAxes()).join(", ");
  }
  // What a point is coloured by: its mode, its deciding row or its policy step.
  function keyOf(sensor, p) {
    const mode = sensor.mode[p];
    if (colourBy === "change") return mode === NOT_RUN ? mode : sensor.change[p];
    if (colourBy === "mode" || mode < 0) return mode;
    if (colourBy === "row") return sensor.row[p] >= 0 ? sensor.row[p] : NO_ROW;
    return sensor.path[p];
  }
  function keyName(sensor, key) {
    if (key === NONE) return "no decision";
    if (key === NOT_RUN) return "not run on this sensor";
    if (key === NO_ROW) return "no table row (a message decided)";
    if (key === UNCHANGED) return "unchanged";
    if (colourBy === "change") return data.changes[key];
    if (colourBy === "mode") return sensor.names[key];
    return colourBy === "row" ? data.rows[key] : data.paths[key];
  }
  function colourOf(sensor, key) {
    if (key === NONE) return "#ccc";
    if (key === NOT_RUN) return "#f4f4f4";
    if (key === NO_ROW) return "#bbb";
    if (key === UNCHANGED) return "#e8e8e8";
    if (colourBy === "mode") return sensor.colours[key];
    return data.palette[key % data.palette.length];
  }
  function modeName(sensor, scenario) {
    if (scenario === NONE) return "no decision";
    if (scenario === NOT_RUN) return "not run on this sensor";
    return sensor.names[scenario];
  }
  // A block's mix as stripes, most common first, each as wide as its share.
  function mixOf(sensor, counts, total) {
    const parts = [...counts].sort((a, b) => b[1] - a[1]);
    let at = 0;
    return "linear-gradient(to right, " + parts.map(([key, n]) => {
      const from = at;
      at += (100 * n) / total;
      return colourOf(sensor, key) + " " + from.toFixed(1) + "% " + at.toFixed(1) + "%";
    }).join(", ") + ")";
  }
  // Marks in `changes` the first value of x (y) where a point's colour differs from the point
  // before it along x (y), keyed by the block it falls in.
  function noteChange(changes, block, value, sensor, p, previous) {
    if (!changes.has(block) && keyOf(sensor, p) !== keyOf(sensor, previous)) changes.set(block, value);
  }
  function cellFor(row, sensor, xb, yb, seen, at) {
    const counts = new Map(), modes = new Map(), warned = new Set();
    let total = 0, last = 0, changed = 0;
    for (let yi = yb[0]; yi < yb[1]; ++yi) {
      for (let xi = xb[0]; xi < xb[1]; ++xi) {
        last = pointAt(sensor, xi, yi);
        if (xi > 0) noteChange(seen.changesX, at.i, xi, sensor, last, pointAt(sensor, xi - 1, yi));
        if (yi > 0) noteChange(seen.changesY, at.j, yi, sensor, last, pointAt(sensor, xi, yi - 1));
        const key = keyOf(sensor, last), mode = sensor.mode[last];
        if (data.edit && sensor.change[last] !== UNCHANGED) ++changed;
        counts.set(key, (counts.get(key) || 0) + 1);
        modes.set(mode, (modes.get(mode) || 0) + 1);
        seen.keys.set(key, (seen.keys.get(key) || 0) + 1);
        const w = sensor.warn[last];
        if (w > 0) {
          for (const code of data.warnSets[w].split(" ")) {
            warned.add(code);
            seen.warnings.set(code, (seen.warnings.get(code) || 0) + 1);
          }
        }
        ++total;
      }
    }
    const most = (m) => { let best = NOT_RUN, n = -1; m.forEach((c, k) => { if (c > n) { best = k; n = c; } }); return best; };
    const best = most(counts), mode = most(modes);
    const cell = row.insertCell();
    cell.className = "cell" + (best === NONE ? " none" : best === NOT_RUN ? " skipped" : "") +
      (counts.size > 1 ? " mixed" : "") + (total > 1 ? " block" : "") + (warned.size ? " warned" : "");
    cell.dataset.x = data.x >= 0 ? xb[0] : 0;
    cell.dataset.y = data.y >= 0 ? yb[0] : 0;
    cell.dataset.scenario = mode;
    if (warned.size) cell.dataset.warnings = [...warned].sort().join(" ");
    if (changed > 0) cell.dataset.changed = changed;
    if (counts.size > 1) cell.style.background = mixOf(sensor, counts, total);
    else if (best !== NONE && best !== NOT_RUN) cell.style.background = colourOf(sensor, best);
    if (best === NONE && counts.size === 1) cell.textContent = "\u00d7";
    let title = place(xb, yb) + "\n";
    if (total === 1) {
      title += modeName(sensor, mode) + "\n" + data.notes[sensor.note[last]];
      if (data.edit) title += "\n" + data.notes[sensor.before[last]];
    } else {
      counts.forEach((n, key) => { title += keyName(sensor, key) + ": " + n + " points\n"; });
      if (warned.size) title += "warnings: " + [...warned].sort().join(", ") + "\n";
      title += "(click or press Enter to list its points)";
      cell.tabIndex = 0;
      cell.setAttribute("role", "button");
    }
    cell.title = title.trim();
  }
  // A label every `step` values, plus where the colour changes from the previous column or row.
  function stepFor(pitch) { return STEPS.find((s) => s * pitch >= LABEL_SPACING) || STEPS[STEPS.length - 1]; }
  function labelled(i, step, changes) {
    if (step === 1 || changes.has(i)) return true;
    if (i % step !== 0) return false;
    // A regular label right beside a change would overlap it.
    return !changes.has(i - 1) && !changes.has(i + 1);
  }
  // A block's label (on a dense axis its first value: a tick), or at a change the value where it
  // changes.
  function axisLabel(th, a, b, i, changes, dense) {
    const span = document.createElement("span");
    span.textContent = changes.has(i) ? label(a, changes.get(i)) : dense ? label(a, b[0]) : rangeLabel(a, b);
    th.appendChild(span);
    if (changes.has(i)) th.classList.add("change");
    return span.textContent.length;
  }
  function longest(a, bs) { return bs.reduce((n, b) => Math.max(n, rangeLabel(a, b).length), 0); }
  function drawLegend(sensor, seen) {
    const host = document.getElementById("legend-" + sensor.index);
    host.replaceChildren();
    [...seen.keys.keys()].filter((k) => k !== NOT_RUN).sort((a, b) => a - b).forEach((key) => {
      const entry = document.createElement("span");
      entry.className = "entry";
      entry.dataset.key = key;
      const swatch = document.createElement("span");
      swatch.className = "swatch" + (key === NONE ? " none" : "");
      if (key === NONE) swatch.textContent = "\u00d7"; else swatch.style.background = colourOf(sensor, key);
      entry.append(swatch, keyName(sensor, key) + (colourBy === "change" ? ": " + seen.keys.get(key) + " points" : ""));
      host.appendChild(entry);
    });
    [...seen.warnings.keys()].sort().forEach((code) => {
      const entry = document.createElement("span");
      entry.className = "entry warning";
      entry.dataset.warning = code;
      const swatch = document.createElement("span");
      swatch.className = "swatch marker";
      entry.append(swatch, "warning " + code + ": " + seen.warnings.get(code) + " points");
      host.appendChild(entry);
    });
  }
  function showDetail(sensor, xb, yb) {
    const host = document.getElementById("detail-" + sensor.index);
    const table = document.createElement("table");
    const head = table.insertRow();
    ["point", "values", "mode", "row or message, warnings"].forEach((t) => {
      const th = document.createElement("th"); th.textContent = t; head.appendChild(th);
    });
    let listed = 0, total = 0;
    for (let yi = yb[0]; yi < yb[1]; ++yi) {
      for (let xi = xb[0]; xi < xb[1]; ++xi) {
        ++total;
        if (listed >= MAX_LISTED) continue;
        ++listed;
        const p = pointAt(sensor, xi, yi), row = table.insertRow();
        [String(p), place([xi, xi + 1], [yi, yi + 1]), modeName(sensor, sensor.mode[p]),
         data.notes[sensor.note[p]] + (data.edit ? "\n" + data.notes[sensor.before[p]] : "")]
          .forEach((t) => { row.insertCell().textContent = t; });
      }
    }
    const heading = document.createElement("h3");
    heading.textContent = place(xb, yb) + ": " + total + (total === 1 ? " point" : " points") +
      (listed < total ? " (the first " + listed + " listed)" : "");
    const close = document.createElement("button");
    close.textContent = "close";
    close.addEventListener("click", () => { host.hidden = true; });
    host.replaceChildren(heading, table, close);
    host.hidden = false;
  }
  function drawMap(sensor) {
    const host = document.getElementById("map-" + sensor.index);
    const xs = blocks(count(data.x), MAX_COLUMNS), ys = blocks(count(data.y), MAX_ROWS);
    const denseX = xs.length > DENSE_COLUMNS, denseY = ys.length > DENSE_ROWS;
    const table = document.createElement("table");
    table.className = "map" + (denseX ? " dense-x" : "") + (denseY ? " dense-y" : "");
    const head = table.insertRow();
    const seen = { keys: new Map(), warnings: new Map(), changesX: new Map(), changesY: new Map() };
    ys.forEach((yb, j) => {
      const row = table.insertRow();
      const th = document.createElement("th");
      th.className = "y";
      row.appendChild(th);
      xs.forEach((xb, i) => cellFor(row, sensor, xb, yb, seen, { i, j }));
    });
    const changesX = seen.changesX, changesY = seen.changesY;
    const corner = document.createElement("th");
    corner.className = "corner";
    corner.textContent = (data.y >= 0 ? axes[data.y].name + " \u2193 " : "") +
      (data.x >= 0 ? axes[data.x].name + " \u2192" : "");
    corner.style.minWidth = (longest(data.y, ys) * CHAR_WIDTH + 8) + "px";
    head.appendChild(corner);
    // The label row is as tall as its longest label: the labels stand outside the flow.
    let longestX = 0;
    const stepX = denseX ? stepFor(DENSE_PITCH) : 1, stepY = denseY ? stepFor(DENSE_PITCH) : 1;
    xs.forEach((b, i) => {
      const th = document.createElement("th");
      th.className = "x";
      if (data.x >= 0 && labelled(i, stepX, changesX))
        longestX = Math.max(longestX, axisLabel(th, data.x, b, i, changesX, denseX));
      head.appendChild(th);
    });
    ys.forEach((b, j) => {
      if (data.y >= 0 && labelled(j, stepY, changesY)) axisLabel(table.rows[j + 1].cells[0], data.y, b, j, changesY, denseY);
    });
    head.style.height = (longestX * CHAR_WIDTH + 8) + "px";
    const open = (cell) => showDetail(sensor, xs[cell.cellIndex - 1], ys[cell.parentNode.rowIndex - 1]);
    table.addEventListener("click", (e) => { const cell = e.target.closest("td.cell"); if (cell) open(cell); });
    table.addEventListener("keydown", (e) => {
      const cell = e.target.closest("td.cell");
      if (cell && (e.key === "Enter" || e.key === " ")) { e.preventDefault(); open(cell); }
    });
    host.replaceChildren(table);
    const grouped = xs.length < count(data.x) || ys.length < count(data.y);
    if (grouped) {
      const note = document.createElement("p");
      note.className = "note";
      note.textContent = "Drawn as " + xs.length + " x " + ys.length + " blocks of up to " +
        Math.ceil(count(data.x) / MAX_COLUMNS) + " x " + Math.ceil(count(data.y) / MAX_ROWS) +
        " points: a block that mixes outcomes is striped by their shares; click it (or press Enter on it) to list its points.";
      host.appendChild(note);
    }
    drawLegend(sensor, seen);
  }
  function drawAll() { data.sensors.forEach(drawMap); }
  const controls = document.getElementById("controls");
  axes.forEach((axis, a) => {
    if (a === data.x || a === data.y || a === data.sensorAxis) return;
    const wrap = document.createElement("label");
    wrap.textContent = axis.name + " ";
    const select = document.createElement("select");
    select.id = "select-" + axis.name;
    axis.values.forEach((value, i) => select.add(new Option(value, String(i))));
    select.addEventListener("change", () => { chosen[a] = Number(select.value); drawAll(); });
    wrap.appendChild(select);
    controls.appendChild(wrap);
  });
  const colourSelect = document.getElementById("colour-by");
  colourSelect.addEventListener("change", () => { colourBy = colourSelect.value; drawAll(); });
  const warnings = document.getElementById("show-warnings");
  warnings.addEventListener("change", () => document.body.classList.toggle("hide-warnings", !warnings.checked));
  drawAll();
})();
</script>
</body>
</html>
)HTML";

// The distinct values of one kind of text, each kept once and referred to by index.
class TextTable {
public:
    int32_t indexOf(const std::string& text) {
        const auto found = mIndex.find(text);
        if (found != mIndex.end()) return found->second;
        const auto index = static_cast<int32_t>(mTexts.size());
        mTexts.push_back(text);
        mIndex.emplace(text, index);
        return index;
    }
    const std::vector<std::string>& texts() const { return mTexts; }

private:
    std::vector<std::string> mTexts;
    std::unordered_map<std::string, int32_t> mIndex;
};

class HtmlWriter : public PointOutput {
public:
    HtmlWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep, MapAxes axes,
               const SweepBaseline* baseline)
        : mOut(out), mDevice(device), mSweep(sweep), mAxes(axes), mBaseline(baseline) {
        mWarnSets.indexOf("");  // 0: no warning
    }

    void point(const SweepPoint& point) override {
        for (const Decision& outcome : point.sensors) {
            mCounts.add(outcome);
            SensorCells& cells = mCells[outcome.sensorIdx];
            if (cells.mode.empty()) {
                cells.mode.assign(mSweep.points, kNotRun);
                cells.note.assign(mSweep.points, 0);
                cells.warn.assign(mSweep.points, 0);
                cells.row.assign(mSweep.points, -1);
                cells.path.assign(mSweep.points, 0);
                if (mBaseline != nullptr) {
                    cells.change.assign(mSweep.points, kUnchanged);
                    cells.before.assign(mSweep.points, 0);
                }
            }
            if (mBaseline != nullptr) compare(point, outcome, cells);
            const CellFacts facts = cellFactsOf(point, outcome);
            cells.mode[point.index] = facts.scenario;
            cells.note[point.index] = mNotes.indexOf(facts.note);
            cells.warn[point.index] = mWarnSets.indexOf(facts.warnings);
            if (!facts.row.empty()) cells.row[point.index] = mRows.indexOf(facts.row);
            cells.path[point.index] = mPaths.indexOf(facts.path);
        }
    }

    void finish() override {
        mOut << kPageHead;
        writeIntroduction();
        for (const auto& [sensor, cells] : mCells) writeSensorSection(sensor, cells);
        writeSummary();
        writeData();
        mOut << kPageScript;
        mOut.flush();
    }

private:
    struct SensorCells {
        std::vector<int32_t> mode;
        std::vector<int32_t> note;
        std::vector<int32_t> warn;
        std::vector<int32_t> row;
        std::vector<int32_t> path;
        std::vector<int32_t> change;  // the edit map's: kUnchanged, or the change's index
        std::vector<int32_t> before;  // the edit map's: the note of the outcome before the edit
    };

    // Whether the edit changed the sensor's outcome at the point, and from what.
    void compare(const SweepPoint& point, const Decision& outcome, SensorCells& cells) {
        const uint64_t index = point.index;
        const Decision* before = mBaseline->at(index, outcome.sensorIdx);
        if (before == nullptr) return;
        mBeforeCounts.add(*before);
        cells.before[index] = mNotes.indexOf(
            "before the edit: " +
            mBeforeCounts.modeName(mDevice, outcome.sensorIdx, mBeforeCounts.keyOf(*before)) +
            "\n" + cellFactsOf(point, *before).note);
        const std::vector<std::string> fields = decisionChanges(*before, outcome);
        if (fields.empty()) return;
        cells.change[index] = mChanges.indexOf(changeText(*before, outcome, fields));
        ++mChanged[outcome.sensorIdx];
    }

    std::string sensorTitle(int32_t sensor) const {
        const SensorSpec* profile = mDevice.findSensor(sensor);
        return "sensor " + std::to_string(sensor) +
               (profile != nullptr && !profile->name.empty() ? " (" + profile->name + ")" : "");
    }

    void writeIntroduction() {
        mOut << "<h1>Mode map" << (mSweep.description.empty() ? "" : ": ")
             << htmlText(mSweep.description) << "</h1>\n<p class=\"about\">Sweep "
             << htmlText(mSweep.file) << " on device " << htmlText(mDevice.name) << ": "
             << mSweep.points << " points over";
        for (size_t i = 0; i < mSweep.axes.size(); ++i) {
            mOut << (i == 0 ? " " : ", ") << htmlText(mSweep.axes[i].name) << " ("
                 << mSweep.axes[i].size() << ")";
        }
        mOut << ". Each cell is one point, coloured by the scenario the policy chose (or by the "
                "row or the policy step that decided); hatched cells with a cross decided "
                "nothing, and a black corner marks a point with a warning. A cell's title gives "
                "its values, the mode and the row or message that decided it; click a cell to "
                "list its points.</p>\n";
        if (mBaseline != nullptr) {
            mOut << "<p class=\"about\">The map of an edit: each point also ran with "
                 << htmlText(mBaseline->file())
                 << "; coloured by change, a cell shows from what to what its outcome changed, "
                    "and grey cells kept theirs. A cell's title names the deciding rows of both "
                    "sides.</p>\n";
        }
        mOut << "<div id=\"controls\"><label>colour by <select id=\"colour-by\">"
             << (mBaseline != nullptr ? "<option value=\"change\" selected>change</option>" : "")
             << "<option value=\"mode\">mode</option><option "
                "value=\"row\">deciding row</option><option value=\"path\">policy "
                "step</option></select></label><label><input type=\"checkbox\" "
                "id=\"show-warnings\" checked> show warnings</label></div>\n"
                "<noscript><p>The maps are drawn by the page's script; the summary below "
                "needs none.</p></noscript>\n";
    }

    // Where the mode changes along x, grouped by place, as the text summary lists it.
    void writeChanges(const SensorCells& cells) {
        if (mAxes.x < 0) return;
        const std::string along = htmlText(mSweep.axes[static_cast<size_t>(mAxes.x)].name);
        const std::vector<ChangePlace> places = changesAlong(mSweep, mAxes.x, cells.mode, kNotRun);
        if (places.empty()) {
            mOut << "<p class=\"changes\">The mode does not change along " << along << ".</p>\n";
            return;
        }
        mOut << "<h3>Where the mode changes along " << along << "</h3>\n<ul class=\"changes\">\n";
        for (const ChangePlace& place : places) {
            mOut << "<li>" << htmlText(changePlaceText(mSweep, mAxes.x, place)) << ":";
            const bool oneLine = place.variants.size() == 1;
            mOut << (oneLine ? " " : "<ul>");
            for (const ChangeVariant& variant : place.variants) {
                const std::string lines = changeLinesText(mSweep, mAxes.x, place, variant);
                mOut << (oneLine ? "" : "<li>") << htmlText(shortModeOf(variant.before)) << " -> "
                     << htmlText(shortModeOf(variant.after)) << (lines.empty() ? "" : " ")
                     << htmlText(lines) << (oneLine ? "" : "</li>");
            }
            mOut << (oneLine ? "" : "</ul>") << "</li>\n";
        }
        mOut << "</ul>\n";
    }

    // "The edit changes 11 of 78 points": against the configuration before it.
    void writeEditCount(int32_t sensor) {
        uint64_t total = 0;
        for (const auto& [scenario, points] : mCounts.bySensor().at(sensor)) total += points;
        const auto changed = mChanged.find(sensor);
        mOut << "<p class=\"edit\" id=\"edit-" << sensor << "\">Against "
             << htmlText(mBaseline->file())
             << ", the device's configuration changes the outcome of <b>"
             << (changed == mChanged.end() ? 0 : changed->second) << "</b> of " << total
             << " points.</p>\n";
    }

    static std::string shortModeOf(int32_t scenario) {
        return scenario < 0 ? "no decision" : "scenario " + std::to_string(scenario);
    }

    void writeSensorSection(int32_t sensor, const SensorCells& cells) {
        mOut << "<h2>" << htmlText(sensorTitle(sensor))
             << "</h2>\n<div class=\"legend\" id=\"legend-" << sensor
             << "\"></div>\n<div class=\"map-host\" id=\"map-" << sensor
             << "\"></div>\n<div class=\"detail\" id=\"detail-" << sensor << "\" hidden></div>\n";
        if (mBaseline != nullptr) writeEditCount(sensor);
        writeChanges(cells);
    }

    void writeSummary() {
        mOut << "<h2>Points per mode</h2>\n<table class=\"summary\">\n<tr><th>sensor</th>"
                "<th>mode</th><th>points</th><th>share</th></tr>\n";
        for (const auto& [sensor, modes] : mCounts.bySensor()) {
            uint64_t total = 0;
            for (const auto& [scenario, points] : modes) total += points;
            for (const auto& [scenario, points] : modes) {
                mOut << "<tr><td>" << htmlText(sensorTitle(sensor)) << "</td><td>"
                     << htmlText(mCounts.modeName(mDevice, sensor, scenario))
                     << "</td><td class=\"n\">" << points << "</td><td class=\"n\">"
                     << shareOf(points, total) << "</td></tr>\n";
            }
        }
        mOut << "</table>\n";
    }

    void writeArray(const std::vector<int32_t>& values) {
        mOut << '[';
        for (size_t i = 0; i < values.size(); ++i) mOut << (i == 0 ? "" : ",") << values[i];
        mOut << ']';
    }

    void writeTexts(const std::vector<std::string>& texts) {
        mOut << '[';
        for (size_t i = 0; i < texts.size(); ++i)
            mOut << (i == 0 ? "" : ",") << scriptJson(texts[i]);
        mOut << ']';
    }

    void writeSensorData(int32_t sensor, const SensorCells& cells) {
        const int32_t sensorAxis = mSweep.axisIndex("sensor");
        int64_t axisValue = -1;
        if (sensorAxis >= 0) {
            const SweepAxis& axis = mSweep.axes[static_cast<size_t>(sensorAxis)];
            for (size_t v = 0; v < axis.size(); ++v) {
                if (axis.numbers[v] == sensor) axisValue = static_cast<int64_t>(v);
            }
        }
        mOut << "{\"index\":" << sensor << ",\"axisValue\":" << axisValue << ",\"names\":{";
        bool first = true;
        std::string colours;
        for (const auto& [scenario, points] : mCounts.bySensor().at(sensor)) {
            if (scenario < 0) continue;
            mOut << (first ? "" : ",") << '"' << scenario
                 << "\":" << scriptJson(mCounts.modeName(mDevice, sensor, scenario));
            colours += std::string(first ? "" : ",") + "\"" + std::to_string(scenario) + "\":\"" +
                       colourOf(scenario) + "\"";
            first = false;
        }
        mOut << "},\"colours\":{" << colours << "},\"mode\":";
        writeArray(cells.mode);
        mOut << ",\"note\":";
        writeArray(cells.note);
        mOut << ",\"warn\":";
        writeArray(cells.warn);
        mOut << ",\"row\":";
        writeArray(cells.row);
        mOut << ",\"path\":";
        writeArray(cells.path);
        if (mBaseline != nullptr) {
            mOut << ",\"change\":";
            writeArray(cells.change);
            mOut << ",\"before\":";
            writeArray(cells.before);
        }
        mOut << '}';
    }

    void writeData() {
        mOut << "<script id=\"sweep-data\" type=\"application/json\">{\"x\":" << mAxes.x
             << ",\"y\":" << mAxes.y << ",\"sensorAxis\":" << mSweep.axisIndex("sensor")
             << ",\"axes\":[";
        for (size_t i = 0; i < mSweep.axes.size(); ++i) {
            const SweepAxis& axis = mSweep.axes[i];
            mOut << (i == 0 ? "" : ",") << "{\"name\":" << scriptJson(axis.name) << ",\"values\":[";
            for (size_t v = 0; v < axis.size(); ++v)
                mOut << (v == 0 ? "" : ",") << scriptJson(axis.label(v));
            mOut << "]}";
        }
        mOut << "],\"palette\":[";
        for (size_t i = 0; i < kPaletteSize; ++i)
            mOut << (i == 0 ? "\"" : ",\"") << kPalette[i] << '"';
        mOut << "],\"sensors\":[";
        bool first = true;
        for (const auto& [sensor, cells] : mCells) {
            mOut << (first ? "" : ",");
            writeSensorData(sensor, cells);
            first = false;
        }
        mOut << "],\"notes\":";
        writeTexts(mNotes.texts());
        mOut << ",\"warnSets\":";
        writeTexts(mWarnSets.texts());
        mOut << ",\"rows\":";
        writeTexts(mRows.texts());
        mOut << ",\"paths\":";
        writeTexts(mPaths.texts());
        mOut << ",\"edit\":" << (mBaseline != nullptr ? "true" : "false") << ",\"changes\":";
        writeTexts(mChanges.texts());
        mOut << "}</script>\n";
    }

    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    MapAxes mAxes;
    ModeCounts mCounts;
    std::map<int32_t, SensorCells> mCells;
    TextTable mNotes;
    TextTable mWarnSets;
    TextTable mRows;
    TextTable mPaths;
    const SweepBaseline* mBaseline;
    ModeCounts mBeforeCounts;
    TextTable mChanges;
    std::map<int32_t, uint64_t> mChanged;  // per sensor, the points the edit changed
};

}  // namespace

std::unique_ptr<SweepOutput> makeHtmlWriter(std::ostream& out, const DeviceProfile& device,
                                            const SweepSpec& sweep, MapAxes axes,
                                            const SweepBaseline* baseline) {
    return std::make_unique<HtmlWriter>(out, device, sweep, axes, baseline);
}

}  // namespace custsim
