#include <unordered_map>

#include "report.h"
#include "sweep_report.h"

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

// What a cell's title says about the decision beyond its mode: a scenario named but not filled,
// the matched row, or the message that explains the decision, and the warnings.
std::string noteOf(const SweepPoint& point, const Decision& outcome) {
    std::string note;
    if (outcome.row) {
        const MatchedRow& row = *outcome.row;
        note = "row [" + row.table + "] " + row.locale + "[" + row.key + "] at " + row.file + ":" +
               std::to_string(row.line);
    } else {
        note = decisionMessage(outcome);
    }
    // The map draws it as no mode; the note says what was named.
    if (outcome.result == DecisionResult::NamedNotFilled)
        note = decisionSummary(outcome) + "\n" + note;
    for (const std::string& warning : pointWarnings(point, outcome))
        note += "\nwarning: " + warning;
    return note;
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
.about { color: #555; margin: 0 0 10px; }
#controls label { margin-right: 16px; }
table.map { border-collapse: collapse; margin: 6px 0; }
table.map th { font-weight: normal; font-size: 11px; color: #444; padding: 1px 4px; }
table.map th.x { writing-mode: vertical-rl; transform: rotate(180deg); text-align: left; }
table.map th.y { text-align: right; white-space: nowrap; }
table.map th.corner { text-align: left; vertical-align: bottom; }
td.cell { width: 20px; height: 20px; padding: 0; border: 1px solid #fff; text-align: center;
  font-size: 12px; color: #333; }
table.dense td.cell { width: 7px; height: 7px; font-size: 6px; border-width: 0; }
td.cell.none { background: repeating-linear-gradient(45deg, #ddd 0 3px, #fff 3px 6px); }
td.cell.skipped { background: #f4f4f4; }
td.cell.mixed { outline: 1px dotted #000; outline-offset: -2px; }
.legend { margin: 4px 0 8px; }
.legend .entry { display: inline-block; margin-right: 18px; white-space: nowrap; }
.swatch { display: inline-block; width: 14px; height: 14px; vertical-align: -2px;
  margin-right: 5px; border: 1px solid #888; text-align: center; font-size: 11px; line-height: 14px; }
.swatch.none { background: repeating-linear-gradient(45deg, #ddd 0 3px, #fff 3px 6px); }
table.summary { border-collapse: collapse; margin-top: 6px; }
table.summary td, table.summary th { border: 1px solid #ccc; padding: 2px 8px; text-align: left; }
table.summary td.n { text-align: right; }
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
  // From this many columns on, cells are drawn small.
  const DENSE_COLUMNS = 40;
  const axes = data.axes;
  const strides = [];
  let stride = 1;
  for (let a = axes.length - 1; a >= 0; --a) { strides[a] = stride; stride *= axes[a].values.length; }
  const chosen = axes.map(() => 0);
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
  function modeName(sensor, scenario) {
    if (scenario === -1) return "no decision";
    if (scenario === -2) return "not run on this sensor";
    return sensor.names[scenario];
  }
  function cellFor(row, sensor, xb, yb) {
    const counts = new Map();
    let last = 0;
    for (let yi = yb[0]; yi < yb[1]; ++yi) {
      for (let xi = xb[0]; xi < xb[1]; ++xi) {
        last = pointAt(sensor, xi, yi);
        const mode = sensor.mode[last];
        counts.set(mode, (counts.get(mode) || 0) + 1);
      }
    }
    let best = -2, bestCount = -1;
    counts.forEach((n, mode) => { if (n > bestCount) { best = mode; bestCount = n; } });
    const cell = row.insertCell();
    cell.className = "cell" + (best === -1 ? " none" : best === -2 ? " skipped" : "") +
      (counts.size > 1 ? " mixed" : "");
    cell.dataset.scenario = best;
    if (best >= 0) cell.style.background = sensor.colours[best];
    if (best === -1) cell.textContent = "\u00d7";
    let title = place(xb, yb) + "\n";
    if (counts.size === 1 && bestCount === 1) {
      title += modeName(sensor, best) + "\n" + data.notes[sensor.note[last]];
    } else {
      counts.forEach((n, mode) => { title += modeName(sensor, mode) + ": " + n + " points\n"; });
    }
    cell.title = title.trim();
  }
  function drawMap(sensor) {
    const host = document.getElementById("map-" + sensor.index);
    const xs = blocks(count(data.x), MAX_COLUMNS), ys = blocks(count(data.y), MAX_ROWS);
    const dense = xs.length > DENSE_COLUMNS;
    const table = document.createElement("table");
    table.className = "map" + (dense ? " dense" : "");
    const head = table.insertRow();
    const corner = document.createElement("th");
    corner.className = "corner";
    corner.textContent = (data.y >= 0 ? axes[data.y].name + " \u2193 " : "") +
      (data.x >= 0 ? axes[data.x].name + " \u2192" : "");
    head.appendChild(corner);
    xs.forEach((b, i) => {
      const th = document.createElement("th");
      th.className = "x";
      // Narrow columns cannot all carry a label: every tenth does, the cells' titles say the rest.
      th.textContent = !dense || i % 10 === 0 ? rangeLabel(data.x, b) : "";
      head.appendChild(th);
    });
    ys.forEach((yb) => {
      const row = table.insertRow();
      const th = document.createElement("th");
      th.className = "y";
      th.textContent = rangeLabel(data.y, yb);
      row.appendChild(th);
      xs.forEach((xb) => cellFor(row, sensor, xb, yb));
    });
    host.replaceChildren(table);
    const grouped = xs.length < count(data.x) || ys.length < count(data.y);
    if (grouped) {
      const note = document.createElement("p");
      note.className = "note";
      note.textContent = "Drawn as " + xs.length + " x " + ys.length + " blocks of up to " +
        Math.ceil(count(data.x) / MAX_COLUMNS) + " x " + Math.ceil(count(data.y) / MAX_ROWS) +
        " points: a block takes the colour of its most common mode and is outlined when it mixes modes; its title counts them.";
      host.appendChild(note);
    }
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
  drawAll();
})();
</script>
</body>
</html>
)HTML";

class HtmlWriter : public PointOutput {
public:
    HtmlWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep, MapAxes axes)
        : mOut(out), mDevice(device), mSweep(sweep), mAxes(axes) {}

    void point(const SweepPoint& point) override {
        for (const Decision& outcome : point.sensors) {
            mCounts.add(outcome);
            SensorCells& cells = mCells[outcome.sensorIdx];
            if (cells.mode.empty()) {
                cells.mode.assign(mSweep.points, kNotRun);
                cells.note.assign(mSweep.points, 0);
            }
            cells.mode[point.index] = sweepMode(outcome);
            cells.note[point.index] = noteIndex(noteOf(point, outcome));
        }
    }

    void finish() override {
        mOut << kPageHead;
        writeIntroduction();
        for (const auto& [sensor, cells] : mCells) writeSensorSection(sensor);
        writeSummary();
        writeData();
        mOut << kPageScript;
        mOut.flush();
    }

private:
    struct SensorCells {
        std::vector<int32_t> mode;
        std::vector<int32_t> note;
    };

    int32_t noteIndex(const std::string& note) {
        const auto found = mNoteIndex.find(note);
        if (found != mNoteIndex.end()) return found->second;
        const auto index = static_cast<int32_t>(mNotes.size());
        mNotes.push_back(note);
        mNoteIndex.emplace(note, index);
        return index;
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
        mOut << ". Each cell is one point, coloured by the scenario the policy chose; hatched "
                "cells with a cross decided nothing. A cell's title gives its values, the mode "
                "and the row or message that decided it.</p>\n<div id=\"controls\"></div>\n"
                "<noscript><p>The maps are drawn by the page's script; the summary below "
                "needs none.</p></noscript>\n";
    }

    void writeLegend(int32_t sensor) {
        mOut << "<div class=\"legend\">";
        for (const auto& [scenario, points] : mCounts.bySensor().at(sensor)) {
            if (scenario == kNotRun) continue;
            mOut << "<span class=\"entry\" data-scenario=\"" << scenario << "\">";
            if (scenario < 0) {
                mOut << "<span class=\"swatch none\">&#215;</span>";
            } else {
                mOut << "<span class=\"swatch\" style=\"background:" << colourOf(scenario)
                     << "\"></span>";
            }
            mOut << htmlText(mCounts.modeName(mDevice, sensor, scenario)) << "</span>";
        }
        mOut << "</div>\n";
    }

    void writeSensorSection(int32_t sensor) {
        mOut << "<h2>" << htmlText(sensorTitle(sensor)) << "</h2>\n";
        writeLegend(sensor);
        mOut << "<div class=\"map-host\" id=\"map-" << sensor << "\"></div>\n";
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

    template <typename T>
    void writeArray(const std::vector<T>& values) {
        mOut << '[';
        for (size_t i = 0; i < values.size(); ++i) mOut << (i == 0 ? "" : ",") << values[i];
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
        mOut << "],\"sensors\":[";
        bool first = true;
        for (const auto& [sensor, cells] : mCells) {
            mOut << (first ? "" : ",");
            writeSensorData(sensor, cells);
            first = false;
        }
        mOut << "],\"notes\":[";
        for (size_t i = 0; i < mNotes.size(); ++i)
            mOut << (i == 0 ? "" : ",") << scriptJson(mNotes[i]);
        mOut << "]}</script>\n";
    }

    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    MapAxes mAxes;
    ModeCounts mCounts;
    std::map<int32_t, SensorCells> mCells;
    std::vector<std::string> mNotes;
    std::unordered_map<std::string, int32_t> mNoteIndex;
};

}  // namespace

std::unique_ptr<SweepOutput> makeHtmlWriter(std::ostream& out, const DeviceProfile& device,
                                            const SweepSpec& sweep, MapAxes axes) {
    return std::make_unique<HtmlWriter>(out, device, sweep, axes);
}

}  // namespace custsim
