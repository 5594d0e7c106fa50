#include <cstdio>
#include <initializer_list>
#include <iterator>
#include <set>

#include "number_text.h"
#include "report.h"
#include "sweep_report.h"

// The sweep's rows as CSV and as JSON, written as the points arrive.
namespace custsim {

namespace {

// Version of the sweep JSON document's layout; raised when a field changes meaning or goes away.
constexpr int kSweepJsonSchemaVersion = 1;

// The columns every row has after the sweep's axes.
const char* const kFixedColumns[] = {
    "sensor",         "sensor_name",       "decided",         "scenario",     "fps",
    "sensor_width",   "sensor_height",     "raw_format_type", "rrzo_width",   "rrzo_height",
    "seamless_flags", "seamless_scenario", "match_table",     "match_locale", "match_key",
    "match_file",     "match_line",        "message",         "warnings"};

bool isNumber(const std::string& text) {
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
bool readAsFormula(const std::string& text) {
    if (text.empty() || isNumber(text)) return false;
    return std::string("=+-@\t\r").find(text[0]) != std::string::npos;
}

// A CSV field: neutralised when a spreadsheet would run it, and quoted when it holds a separator,
// a quote or a line break (RFC 4180).
std::string csvField(const std::string& cell) {
    const std::string text = readAsFormula(cell) ? "'" + cell : cell;
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string out = "\"";
    for (const char c : text) {
        out += c;
        if (c == '"') out += '"';
    }
    return out + "\"";
}

std::string joined(const std::vector<std::string>& items, const char* separator) {
    std::string out;
    for (const std::string& item : items) out += (out.empty() ? "" : separator) + item;
    return out;
}

void appendFields(std::string& row, std::initializer_list<std::string> fields) {
    for (const std::string& field : fields) {
        row += ',';
        row += field;
    }
}

std::string sensorName(const DeviceProfile& device, int32_t index) {
    const SensorSpec* sensor = device.findSensor(index);
    return sensor != nullptr ? sensor->name : "";
}

class CsvWriter : public SweepOutput {
public:
    CsvWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep)
        : mOut(out), mDevice(device), mSweep(sweep) {
        mOut << joined(header(), ",") << '\n';
    }

    // The point's rows, one per sensor.
    void encode(const SweepPoint& point, std::string& rows) const override {
        const std::vector<size_t> values = mSweep.coordinates(point.index);
        std::string axes = std::to_string(point.index);
        for (size_t i = 0; i < values.size(); ++i)
            axes += "," + csvField(mSweep.axes[i].label(values[i]));
        for (const SweepOutcome& o : point.sensors) {
            rows += axes;
            appendFields(rows,
                         {std::to_string(o.sensorIdx), csvField(sensorName(mDevice, o.sensorIdx)),
                          o.decided ? "true" : "false"});
            if (o.decided) {
                appendFields(rows, {std::to_string(o.scenario), std::to_string(o.fps),
                                    std::to_string(o.sensorSize.w), std::to_string(o.sensorSize.h),
                                    std::to_string(o.rawFormatType)});
            } else {
                rows += ",,,,,";
            }
            appendFields(rows, {std::to_string(o.rrzoSize.w), std::to_string(o.rrzoSize.h),
                                hexText(o.seamlessFlags),
                                o.seamlessScenario >= 0 ? std::to_string(o.seamlessScenario) : ""});
            if (o.match) {
                appendFields(rows, {csvField(o.match->table), csvField(o.match->locale),
                                    csvField(o.match->key), csvField(o.match->file),
                                    std::to_string(o.match->line)});
            } else {
                rows += ",,,,,";
            }
            appendFields(rows, {csvField(o.message), csvField(joined(o.warnings, "; "))});
            rows += '\n';
        }
    }

    bool write(uint64_t, std::string_view rows) override {
        mOut.write(rows.data(), static_cast<std::streamsize>(rows.size()));
        return true;
    }

    void finish() override { mOut.flush(); }

private:
    // The column names, each once: an axis named like another column (the sensor axis and the
    // sensor column) is written axis_NAME, with _2, _3... should that be taken as well.
    std::vector<std::string> header() const {
        std::vector<std::string> names = {"point"};
        std::set<std::string> taken(std::begin(kFixedColumns), std::end(kFixedColumns));
        taken.insert("point");
        for (const SweepAxis& axis : mSweep.axes) {
            std::string name = axis.name;
            if (taken.count(name) != 0) name = "axis_" + axis.name;
            for (int n = 2; taken.count(name) != 0; ++n)
                name = "axis_" + axis.name + "_" + std::to_string(n);
            taken.insert(name);
            names.push_back(csvField(name));
        }
        names.insert(names.end(), std::begin(kFixedColumns), std::end(kFixedColumns));
        return names;
    }

    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
};

// "null", or the value as JSON.
std::string jsonOrNull(bool present, const std::string& json) { return present ? json : "null"; }

class JsonWriter : public SweepOutput {
public:
    JsonWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep)
        : mOut(out), mDevice(device), mSweep(sweep) {
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
        for (const SweepOutcome& o : point.sensors) {
            results += first ? "" : ",\n";
            first = false;
            results += "  {\"point\": " + std::to_string(point.index) + ", \"axes\": " + axes +
                       ", \"sensor\": " + std::to_string(o.sensorIdx) +
                       ", \"sensor_name\": " + jsonString(sensorName(mDevice, o.sensorIdx)) +
                       ", \"decided\": " + (o.decided ? "true" : "false") + ", \"setting\": ";
            results += jsonOrNull(
                o.decided, "{\"scenario\": " + std::to_string(o.scenario) +
                               ", \"fps\": " + std::to_string(o.fps) + ", \"sensor_size\": [" +
                               std::to_string(o.sensorSize.w) + ", " +
                               std::to_string(o.sensorSize.h) +
                               "], \"raw_format_type\": " + std::to_string(o.rawFormatType) + "}");
            results += ", \"rrzo\": [" + std::to_string(o.rrzoSize.w) + ", " +
                       std::to_string(o.rrzoSize.h) +
                       "], \"seamless_flags\": " + std::to_string(o.seamlessFlags) +
                       ", \"seamless_scenario\": " +
                       jsonOrNull(o.seamlessScenario >= 0, std::to_string(o.seamlessScenario)) +
                       ", \"match\": ";
            if (o.match) {
                results += "{\"table\": " + jsonString(o.match->table) +
                           ", \"locale\": " + jsonString(o.match->locale) +
                           ", \"key\": " + jsonString(o.match->key) +
                           ", \"file\": " + jsonString(o.match->file) +
                           ", \"line\": " + std::to_string(o.match->line) + "}";
            } else {
                results += "null";
            }
            results += ", \"message\": " + jsonString(o.message) + ", \"warnings\": [";
            for (size_t w = 0; w < o.warnings.size(); ++w)
                results += (w == 0 ? "" : ", ") + jsonString(o.warnings[w]);
            results += "]}";
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
    bool mFirst = true;
};

}  // namespace

std::unique_ptr<SweepOutput> makeCsvWriter(std::ostream& out, const DeviceProfile& device,
                                           const SweepSpec& sweep) {
    return std::make_unique<CsvWriter>(out, device, sweep);
}

std::unique_ptr<SweepOutput> makeJsonWriter(std::ostream& out, const DeviceProfile& device,
                                            const SweepSpec& sweep) {
    return std::make_unique<JsonWriter>(out, device, sweep);
}

}  // namespace custsim
