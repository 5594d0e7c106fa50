#include <cstdio>
#include <initializer_list>
#include <iterator>
#include <set>

#include "reports/number_text.h"
#include "reports/report.h"
#include "reports/sweep_edit.h"
#include "reports/sweep_report.h"
#include "reports/workflow_report.h"

// The sweep's rows as CSV and as JSON, written as the points arrive.
namespace custsim {

namespace {

// Version of the sweep JSON document's layout; raised when a field changes meaning or goes away.
constexpr int kSweepJsonSchemaVersion = 1;

// Whether the text is a plain number ("-5", "+1.5"), which a spreadsheet reads as one.
bool isNumber(std::string_view text) {
    size_t i = text[0] == '-' || text[0] == '+' ? 1 : 0;
    bool digits = false;
    bool point = false;
    for (; i < text.size(); ++i) {
        if (text[i] >= '0' && text[i] <= '9') {
            digits = true;
        } else if (text[i] == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    return digits;
}

// A spreadsheet reads a cell that starts with = + - @ (or a tab or CR before them) as a formula:
// such text from an input (an application, a sensor name, a locale) is written with a leading
// apostrophe, which spreadsheets show as text. A number ("-5") stays a number.
bool readAsFormula(std::string_view text) {
    if (text.empty() || std::string_view("=+-@\t\r").find(text[0]) == std::string_view::npos)
        return false;
    return !isNumber(text);
}

// A CSV field: neutralised when a spreadsheet would run it, and quoted when it holds a separator,
// a quote or a line break (RFC 4180).
void appendCsvField(std::string& out, std::string_view cell) {
    const std::string neutral = readAsFormula(cell) ? "'" + std::string(cell) : std::string();
    const std::string_view text = neutral.empty() ? cell : std::string_view(neutral);
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        out += text;
        return;
    }
    // Quoted, each quote doubled: the text between quotes goes in at once.
    out += '"';
    size_t from = 0;
    for (size_t quote = text.find('"'); quote != std::string_view::npos;
         quote = text.find('"', from)) {
        out.append(text.substr(from, quote + 1 - from));
        out += '"';
        from = quote + 1;
    }
    out.append(text.substr(from));
    out += '"';
}

std::string csvField(std::string_view text) {
    std::string out;
    appendCsvField(out, text);
    return out;
}

std::string joined(const std::vector<std::string>& items, const char* separator) {
    std::string out;
    for (const std::string& item : items) out += (out.empty() ? "" : separator) + item;
    return out;
}

std::string_view sensorName(const DeviceProfile& device, int32_t index) {
    const SensorSpec* sensor = device.findSensor(index);
    return sensor != nullptr ? std::string_view(sensor->name) : std::string_view();
}

// One value of a sweep result, as both row formats print it.
struct Cell {
    enum class Kind { Bool, Integer, Hex, Text, Size, Texts };
    Kind kind = Kind::Integer;
    bool present = true;  // false: empty in CSV, null in JSON
    int64_t integer = 0;
    std::string_view text;  // of a text, when it lives in the decision or the device
    std::string owned;      // of a text made for the cell
    MSize size;
    std::vector<std::string> texts;

    std::string_view textValue() const { return owned.empty() ? text : owned; }
};

Cell boolCell(bool value) {
    Cell cell;
    cell.kind = Cell::Kind::Bool;
    cell.integer = value ? 1 : 0;
    return cell;
}
Cell integerCell(int64_t value, bool present = true) {
    Cell cell;
    cell.integer = value;
    cell.present = present;
    return cell;
}
Cell textCell(std::string_view value) {
    Cell cell;
    cell.kind = Cell::Kind::Text;
    cell.text = value;
    return cell;
}
Cell ownedTextCell(std::string value) {
    Cell cell;
    cell.kind = Cell::Kind::Text;
    cell.owned = std::move(value);
    return cell;
}
Cell sizeCell(MSize value) {
    Cell cell;
    cell.kind = Cell::Kind::Size;
    cell.size = value;
    return cell;
}

// What a field reads: the point, the sensor's decision and the device (for names).
struct RowSource {
    const SweepPoint& point;
    const Decision& decision;
    const DeviceProfile& device;
};

// The group a field belongs to in JSON, which is null as a whole when absent; CSV leaves the
// group's columns empty then.
enum class Group { Top, Setting, Match };

// One field of a sweep result: its JSON name (inside its group), its CSV columns (two for a size)
// and its value. CSV and JSON print the same fields, from this one table.
struct SweepField {
    Group group;
    const char* json;
    const char* csv;
    const char* csvSecond;  // the height column of a size; nullptr otherwise
    Cell (*cell)(const RowSource&);
};

const char kSettingGroup[] = "setting";
const char kMatchGroup[] = "match";

const SweepField kSweepFields[] = {
    {Group::Top, "sensor", "sensor", nullptr,
     [](const RowSource& s) { return integerCell(s.decision.sensorIdx); }},
    {Group::Top, "sensor_name", "sensor_name", nullptr,
     [](const RowSource& s) { return textCell(sensorName(s.device, s.decision.sensorIdx)); }},
    {Group::Top, "decided", "decided", nullptr,
     [](const RowSource& s) { return boolCell(s.decision.chosen()); }},
    {Group::Setting, "scenario", "scenario", nullptr,
     [](const RowSource& s) { return integerCell(s.decision.record.sensorMode); }},
    {Group::Setting, "fps", "fps", nullptr,
     [](const RowSource& s) { return integerCell(s.decision.record.sensorFps); }},
    {Group::Setting, "sensor_size", "sensor_width", "sensor_height",
     [](const RowSource& s) { return sizeCell(s.decision.record.sensorSize); }},
    {Group::Setting, "raw_format_type", "raw_format_type", nullptr,
     [](const RowSource& s) { return integerCell(s.decision.record.rawFmtType); }},
    {Group::Top, "rrzo", "rrzo_width", "rrzo_height",
     [](const RowSource& s) { return sizeCell(s.decision.rrzoSize); }},
    {Group::Top, "seamless_flags", "seamless_flags", nullptr,
     [](const RowSource& s) {
         Cell cell = integerCell(s.decision.seamlessFlags);
         cell.kind = Cell::Kind::Hex;
         return cell;
     }},
    {Group::Top, "seamless_scenario", "seamless_scenario", nullptr,
     [](const RowSource& s) {
         const auto& scenario = s.decision.seamlessScenario;
         return integerCell(scenario.value_or(0), scenario.has_value());
     }},
    {Group::Match, "table", "match_table", nullptr,
     [](const RowSource& s) { return textCell(s.decision.row->table); }},
    {Group::Match, "locale", "match_locale", nullptr,
     [](const RowSource& s) { return textCell(s.decision.row->locale); }},
    {Group::Match, "key", "match_key", nullptr,
     [](const RowSource& s) { return textCell(s.decision.row->key); }},
    {Group::Match, "file", "match_file", nullptr,
     [](const RowSource& s) { return textCell(s.decision.row->file); }},
    {Group::Match, "line", "match_line", nullptr,
     [](const RowSource& s) { return integerCell(s.decision.row->line); }},
    {Group::Top, "message", "message", nullptr,
     [](const RowSource& s) { return ownedTextCell(decisionMessage(s.decision)); }},
    {Group::Top, "warnings", "warnings", nullptr,
     [](const RowSource& s) {
         Cell cell;
         cell.kind = Cell::Kind::Texts;
         cell.texts = pointWarnings(s.point, s.decision);
         return cell;
     }},
    {Group::Top, "result", "result", nullptr,
     [](const RowSource& s) { return textCell(resultName(s.decision.result)); }},
    {Group::Top, "path", "path", nullptr,
     [](const RowSource& s) { return textCell(pathName(s.decision.path)); }},
};

bool groupPresent(Group group, const Decision& decision) {
    switch (group) {
        case Group::Top:
            return true;
        case Group::Setting:
            return decision.chosen();
        case Group::Match:
            return decision.row.has_value();
    }
    return true;
}

const char* groupName(Group group) {
    return group == Group::Setting ? kSettingGroup : group == Group::Match ? kMatchGroup : "";
}

void appendCsvCell(std::string& out, const Cell& cell) {
    switch (cell.kind) {
        case Cell::Kind::Bool:
            out += cell.integer != 0 ? "true" : "false";
            return;
        case Cell::Kind::Integer:
            if (cell.present) out += std::to_string(cell.integer);
            return;
        case Cell::Kind::Hex:
            out += hexText(static_cast<uint32_t>(cell.integer));
            return;
        case Cell::Kind::Text:
            appendCsvField(out, cell.textValue());
            return;
        case Cell::Kind::Size:
            out += std::to_string(cell.size.w);
            out += ',';
            out += std::to_string(cell.size.h);
            return;
        case Cell::Kind::Texts:
            appendCsvField(out, joined(cell.texts, "; "));
            return;
    }
}

std::string jsonCell(const Cell& cell) {
    switch (cell.kind) {
        case Cell::Kind::Bool:
            return cell.integer != 0 ? "true" : "false";
        case Cell::Kind::Integer:
        case Cell::Kind::Hex:
            return cell.present ? std::to_string(cell.integer) : "null";
        case Cell::Kind::Text:
            return jsonString(std::string(cell.textValue()));
        case Cell::Kind::Size:
            return "[" + std::to_string(cell.size.w) + ", " + std::to_string(cell.size.h) + "]";
        case Cell::Kind::Texts: {
            std::string out = "[";
            for (size_t i = 0; i < cell.texts.size(); ++i)
                out += (i == 0 ? "" : ", ") + jsonString(cell.texts[i]);
            return out + "]";
        }
    }
    return {};
}

void appendCsvFields(std::string& row, const RowSource& source) {
    for (const SweepField& field : kSweepFields) {
        row += ',';
        if (groupPresent(field.group, source.decision)) {
            appendCsvCell(row, field.cell(source));
        } else if (field.csvSecond != nullptr) {
            row += ',';
        }
    }
}

// The fields as JSON members, a group as one member holding an object (or null).
void appendJsonFields(std::string& out, const RowSource& source) {
    Group open = Group::Top;
    bool skipping = false;
    for (const SweepField& field : kSweepFields) {
        if (field.group != open) {
            if (open != Group::Top && !skipping) out += "}";
            open = field.group;
            skipping = false;
            if (open != Group::Top) {
                out += std::string(", \"") + groupName(open) + "\": ";
                if (!groupPresent(open, source.decision)) {
                    out += "null";
                    skipping = true;
                    continue;
                }
                out += "{";
                out += std::string("\"") + field.json + "\": " + jsonCell(field.cell(source));
                continue;
            }
        }
        if (skipping) continue;
        out += std::string(open == Group::Top ? ", \"" : ", \"") + field.json +
               "\": " + jsonCell(field.cell(source));
    }
    if (open != Group::Top && !skipping) out += "}";
}

// The columns of the map of an edit, after the fields.
const char* const kEditColumns[] = {"changed",          "before_decided",     "before_scenario",
                                    "before_fps",       "before_match_table", "before_match_locale",
                                    "before_match_key", "before_match_line"};

// The sensor's decision at the point before an edit; null without a baseline.
const Decision* beforeOf(const SweepBaseline* baseline, uint64_t point, int32_t sensor) {
    return baseline != nullptr ? baseline->at(point, sensor) : nullptr;
}

// The edit's columns: what changed, and the outcome and row before the edit.
std::string csvBefore(const Decision& before, const Decision& after) {
    std::string fields = ",";
    appendCsvField(fields, joined(decisionChanges(before, after), " "));
    fields += before.chosen() ? ",true," : ",false,";
    if (before.chosen()) {
        fields += std::to_string(before.record.sensorMode) + "," +
                  std::to_string(before.record.sensorFps);
    } else {
        fields += ",";
    }
    if (!before.row) return fields + ",,,,";
    for (const std::string* text : {&before.row->table, &before.row->locale, &before.row->key}) {
        fields += ',';
        appendCsvField(fields, *text);
    }
    return fields + "," + std::to_string(before.row->line);
}

// "null", or the value as JSON.
std::string jsonOrNull(bool present, const std::string& json) { return present ? json : "null"; }

// The edit's members of a result: what changed, and the outcome and row before the edit.
std::string jsonBefore(const Decision& before, const Decision& after) {
    const std::vector<std::string> changed = decisionChanges(before, after);
    std::string json = ", \"changed\": [";
    for (size_t i = 0; i < changed.size(); ++i)
        json += (i == 0 ? "" : ", ") + jsonString(changed[i]);
    const bool chosen = before.chosen();
    json += "], \"before\": {\"decided\": " + std::string(chosen ? "true" : "false") +
            ", \"scenario\": " + jsonOrNull(chosen, std::to_string(before.record.sensorMode)) +
            ", \"fps\": " + jsonOrNull(chosen, std::to_string(before.record.sensorFps)) +
            ", \"match\": ";
    if (!before.row) return json + "null}";
    return json + "{\"table\": " + jsonString(before.row->table) +
           ", \"locale\": " + jsonString(before.row->locale) +
           ", \"key\": " + jsonString(before.row->key) +
           ", \"line\": " + std::to_string(before.row->line) + "}}";
}

class CsvWriter : public SweepOutput {
public:
    CsvWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep,
              const SweepBaseline* baseline)
        : mOut(out), mDevice(device), mSweep(sweep), mBaseline(baseline) {
        mOut << header() << "\n";
    }

    // "point", the axes, the fields and the edit's columns: every name once, so an axis that a
    // field already names (a sensor axis) is written "axis_NAME".
    std::string header() const {
        std::vector<std::string> fixed;
        for (const SweepField& field : kSweepFields) {
            fixed.emplace_back(field.csv);
            if (field.csvSecond != nullptr) fixed.emplace_back(field.csvSecond);
        }
        if (mBaseline != nullptr)
            fixed.insert(fixed.end(), std::begin(kEditColumns), std::end(kEditColumns));
        std::set<std::string> taken(fixed.begin(), fixed.end());
        taken.insert("point");
        std::string header = "point";
        for (const SweepAxis& axis : mSweep.axes) {
            std::string name = axis.name;
            if (taken.count(name) != 0) name = "axis_" + axis.name;
            for (int n = 2; taken.count(name) != 0; ++n)
                name = "axis_" + axis.name + "_" + std::to_string(n);
            taken.insert(name);
            header += ',';
            appendCsvField(header, name);
        }
        for (const std::string& name : fixed) header += "," + name;
        return header;
    }

    // The point's rows, one per sensor.
    void encode(const SweepPoint& point, std::string& rows) const override {
        const std::vector<size_t> values = mSweep.coordinates(point.index);
        std::string axes = std::to_string(point.index);
        for (size_t i = 0; i < values.size(); ++i)
            axes += "," + csvField(mSweep.axes[i].label(values[i]));
        for (const Decision& decision : point.sensors) {
            rows += axes;
            appendCsvFields(rows, {point, decision, mDevice});
            if (const Decision* before = beforeOf(mBaseline, point.index, decision.sensorIdx))
                rows += csvBefore(*before, decision);
            rows += '\n';
        }
    }

    bool write(uint64_t, std::string_view rows) override {
        mOut.write(rows.data(), static_cast<std::streamsize>(rows.size()));
        return true;
    }

    void finish() override { mOut.flush(); }

private:
    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    const SweepBaseline* mBaseline;
};

class JsonWriter : public SweepOutput {
public:
    JsonWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep,
               const SweepBaseline* baseline)
        : mOut(out), mDevice(device), mSweep(sweep), mBaseline(baseline) {
        mOut << "{\n\"schema\": " << kSweepJsonSchemaVersion
             << ",\n\"device\": " << jsonString(mDevice.name)
             << ",\n\"sweep\": " << jsonString(mSweep.file)
             << ",\n\"description\": " << jsonString(mSweep.description) << ",\n\"axes\": [";
        for (size_t i = 0; i < mSweep.axes.size(); ++i) {
            const SweepAxis& axis = mSweep.axes[i];
            mOut << (i == 0 ? "\n" : ",\n") << "  {\"name\": " << jsonString(axis.name)
                 << ", \"values\": [";
            for (size_t v = 0; v < axis.size(); ++v)
                mOut << (v == 0 ? "" : ", ") << jsonString(axis.label(v));
            mOut << "]}";
        }
        mOut << "\n],\n\"points\": " << mSweep.points << ",\n\"results\": [";
    }

    // The point's results, one per sensor, separated as in the array.
    void encode(const SweepPoint& point, std::string& results) const override {
        const std::vector<size_t> values = mSweep.coordinates(point.index);
        std::string axes = "{";
        for (size_t i = 0; i < values.size(); ++i) {
            axes += (i == 0 ? "" : ", ") + jsonString(mSweep.axes[i].name) + ": " +
                    jsonString(mSweep.axes[i].label(values[i]));
        }
        axes += "}";
        bool first = true;
        for (const Decision& decision : point.sensors) {
            results += first ? "" : ",\n";
            first = false;
            results += "  {\"point\": " + std::to_string(point.index) + ", \"axes\": " + axes;
            appendJsonFields(results, {point, decision, mDevice});
            if (const Decision* before = beforeOf(mBaseline, point.index, decision.sensorIdx))
                results += jsonBefore(*before, decision);
            results += "}";
        }
    }

    bool write(uint64_t, std::string_view results) override {
        if (results.empty()) return true;
        mOut << (mFirst ? "\n" : ",\n");
        mOut.write(results.data(), static_cast<std::streamsize>(results.size()));
        mFirst = false;
        return true;
    }

    void finish() override {
        mOut << (mFirst ? "" : "\n") << "]\n}\n";
        mOut.flush();
    }

private:
    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    const SweepBaseline* mBaseline;
    bool mFirst = true;
};

}  // namespace

std::unique_ptr<SweepOutput> makeCsvWriter(std::ostream& out, const DeviceProfile& device,
                                           const SweepSpec& sweep, const SweepBaseline* baseline) {
    return std::make_unique<CsvWriter>(out, device, sweep, baseline);
}

std::unique_ptr<SweepOutput> makeJsonWriter(std::ostream& out, const DeviceProfile& device,
                                            const SweepSpec& sweep, const SweepBaseline* baseline) {
    return std::make_unique<JsonWriter>(out, device, sweep, baseline);
}

}  // namespace custsim
