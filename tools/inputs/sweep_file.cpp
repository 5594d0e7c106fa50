#include "inputs/sweep_file.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <set>
#include <utility>

namespace custsim {

namespace {

// How each axis is spelled in a sweep file, in nesting order.
const std::pair<AxisKind, const char*> kAxisNames[] = {
    {AxisKind::Sensor, "sensor"},
    {AxisKind::App, "app"},
    {AxisKind::OperationMode, "operation_mode"},
    {AxisKind::HdrMode, "hdr_mode"},
    {AxisKind::Temperature, "temperature"},
    {AxisKind::FpsRange, "fps_range"},
    {AxisKind::StreamSize, "stream_size"},
};

// Named sets of common stream sizes, for the stream-size axis.
const std::vector<MSize> kSizes16x9 = {
    {640, 360}, {1280, 720}, {1920, 1080}, {2560, 1440}, {3840, 2160},
};
const std::vector<MSize> kSizes4x3 = {
    {640, 480}, {1280, 960}, {1440, 1080}, {1920, 1440}, {2560, 1920}, {3264, 2448}, {4000, 3000},
};
constexpr char kSet16x9[] = "16:9";
constexpr char kSet4x3[] = "4:3";
constexpr char kSetCommon[] = "common";
// The sizes of the modes of the sensors the sweep runs on.
constexpr char kSetSensor[] = "sensor";
constexpr char kKnownSets[] = "16:9, 4:3, common, sensor";
// The parts of a size range's aspect ratio, and the heights it gives: even, as camera sizes are.
constexpr int64_t kMaxRatioPart = 65535;
constexpr int32_t kHeightAlign = 2;

const std::vector<std::pair<const char*, uint64_t>> kOperationModeNames = {
    {"NORMAL", 0},
    {"CONSTRAINED_HIGH_SPEED", 1},
};

constexpr int64_t kInt32Min = std::numeric_limits<int32_t>::min();
constexpr int64_t kInt32Max = std::numeric_limits<int32_t>::max();
constexpr int64_t kUint32Max = std::numeric_limits<uint32_t>::max();

std::string directoryOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string stemOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.find_last_of('.');
    return dot == std::string::npos ? name : name.substr(0, dot);
}

std::string hex(int64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

int64_t area(MSize size) { return static_cast<int64_t>(size.w) * size.h; }

// [width, height]: two integers (a list of sizes holds arrays, sets' names and tables).
bool isSizePair(const toml::array& array) {
    return array.size() == 2 && array.get(0)->is_integer() && array.get(1)->is_integer();
}

// Reads the axes of one sweep file; every problem goes to the table's diagnostics.
class AxisReader {
public:
    AxisReader(TomlTable& axes, const DeviceProfile& device, const SessionSpec& base,
               uint64_t maxPoints, Diagnostics& diagnostics)
        : mAxes(axes),
          mDevice(device),
          mBase(base),
          mMaxPoints(maxPoints),
          mDiagnostics(diagnostics) {}

    std::optional<SweepAxis> read(AxisKind kind, const char* name);

private:
    std::string pathOf(const char* name) const { return mAxes.keyPath() + "." + name; }
    std::optional<std::vector<int64_t>> integers(const char* name, const toml::node& node,
                                                 int64_t min, int64_t max, bool names);
    std::optional<std::vector<int64_t>> range(const char* name, int64_t min, int64_t max);
    void readFps(const char* name, const toml::node& node, SweepAxis& axis);
    void readSizes(const char* name, const toml::node& node, SweepAxis& axis);
    bool readSizeItem(const toml::node& item, const std::string& path, std::vector<MSize>& listed,
                      std::vector<MSize>& generated);
    bool readSizeSet(const toml::node& item, const std::string& path, std::vector<MSize>& sizes);
    bool readSizeRange(const toml::table& table, const std::string& path,
                       std::vector<MSize>& sizes);
    std::vector<MSize> sensorModeSizes() const;
    void readApps(const char* name, SweepAxis& axis);
    AppSpec readApp(TomlTable& table, std::string& label);
    void refuseDuplicates(const char* name, const std::vector<std::string>& labels);

    TomlTable& mAxes;
    const DeviceProfile& mDevice;
    const SessionSpec& mBase;
    uint64_t mMaxPoints;
    Diagnostics& mDiagnostics;
    bool mFailed = false;
    std::vector<int64_t> mSensorAxis;  // the sensor axis's values, once read
};

// A list of integers (names allowed for the operation mode) or a {from, to, step} range.
std::optional<std::vector<int64_t>> AxisReader::integers(const char* name, const toml::node& node,
                                                         int64_t min, int64_t max, bool names) {
    if (node.is_table()) return range(name, min, max);
    const auto* array = node.as_array();
    if (array == nullptr) {
        mAxes.errorAtNode(node, pathOf(name),
                          std::string("expected an array of values or a {from, to, step} range, "
                                      "got ") +
                              typeName(node));
        return std::nullopt;
    }
    std::vector<int64_t> values;
    bool ok = true;
    for (size_t i = 0; i < array->size(); ++i) {
        const toml::node& item = *array->get(i);
        const std::string itemPath = pathOf(name) + "[" + std::to_string(i) + "]";
        std::optional<int64_t> value;
        if (const auto* integer = item.as_integer()) {
            value = integer->get();
        } else if (const auto* text = item.as_string(); text != nullptr && names) {
            for (const auto& [known, number] : kOperationModeNames) {
                if (text->get() == known) value = static_cast<int64_t>(number);
            }
            if (!value) {
                mAxes.errorAtNode(item, itemPath,
                                  "unknown operation mode '" + text->get() +
                                      "' (known: NORMAL, CONSTRAINED_HIGH_SPEED)");
            }
        } else {
            mAxes.errorAtNode(item, itemPath,
                              std::string("expected an integer, got ") + typeName(item));
        }
        if (value && (*value < min || *value > max)) {
            mAxes.errorAtNode(item, itemPath,
                              "value " + std::to_string(*value) + " out of range " +
                                  std::to_string(min) + " .. " + std::to_string(max));
            value.reset();
        }
        if (!value) {
            ok = false;
            continue;
        }
        values.push_back(*value);
    }
    if (!ok) return std::nullopt;
    return values;
}

std::optional<std::vector<int64_t>> AxisReader::range(const char* name, int64_t min, int64_t max) {
    auto table = mAxes.table(name, Need::Required);
    if (!table) return std::nullopt;
    const auto from = table->integer("from", Need::Required, min, max);
    const auto to = table->integer("to", Need::Required, min, max);
    const auto step = table->integer("step", Need::Optional, 1, kUint32Max).value_or(1);
    table->finish();
    if (!from || !to) return std::nullopt;
    if (*to < *from) {
        table->error("to", "the range ends (" + std::to_string(*to) + ") before it starts (" +
                               std::to_string(*from) + ")");
        return std::nullopt;
    }
    // Counted before it is expanded, so that a hostile range cannot take the memory.
    const uint64_t count = static_cast<uint64_t>(*to - *from) / static_cast<uint64_t>(step) + 1;
    if (count > mMaxPoints) {
        mAxes.error(name, "the range has " + std::to_string(count) + " values, over the cap of " +
                              std::to_string(mMaxPoints) + " points");
        return std::nullopt;
    }
    std::vector<int64_t> values;
    for (int64_t value = *from; value <= *to; value += step) values.push_back(value);
    return values;
}

// Integers f (the range [f, f]) or [low, high] pairs, or a {from, to, step} range of fixed rates.
void AxisReader::readFps(const char* name, const toml::node& node, SweepAxis& axis) {
    if (node.is_table()) {
        auto rates = range(name, 0, kInt32Max);
        if (!rates) return;
        for (int64_t rate : *rates)
            axis.fps.push_back({static_cast<int32_t>(rate), static_cast<int32_t>(rate)});
        return;
    }
    const auto* array = node.as_array();
    if (array == nullptr) {
        mAxes.errorAtNode(node, pathOf(name),
                          std::string("expected an array of rates or [low, high] ranges, or a "
                                      "{from, to, step} range, got ") +
                              typeName(node));
        return;
    }
    for (size_t i = 0; i < array->size(); ++i) {
        const toml::node& item = *array->get(i);
        const std::string itemPath = pathOf(name) + "[" + std::to_string(i) + "]";
        std::vector<int64_t> pair;
        if (const auto* rate = item.as_integer()) pair = {rate->get(), rate->get()};
        if (const auto* bounds = item.as_array(); bounds != nullptr && bounds->size() == 2) {
            for (const toml::node& bound : *bounds) {
                if (const auto* value = bound.as_integer()) pair.push_back(value->get());
            }
        }
        const bool inRange =
            pair.size() == 2 && pair[0] >= 0 && pair[1] <= kInt32Max && pair[0] <= pair[1];
        if (!inRange) {
            mAxes.errorAtNode(item, itemPath,
                              "expected a rate or a [low, high] range of rates, low <= high, "
                              "within 0 .. 2147483647");
            mFailed = true;
            continue;
        }
        axis.fps.push_back({static_cast<int32_t>(pair[0]), static_cast<int32_t>(pair[1])});
    }
}

// [width, height] pairs, names of sets and {from, to, step, ratio} ranges: one of them, or a list
// mixing them. Pairs alone keep their order; with a set or a range the sizes are sorted by area and
// a size a set or a range repeats is taken once (a pair listed twice is still refused).
void AxisReader::readSizes(const char* name, const toml::node& node, SweepAxis& axis) {
    const bool hasStream = std::any_of(mBase.streams.begin(), mBase.streams.end(),
                                       [](const StreamSpec& s) { return !isRawFormat(s.format); });
    if (!hasStream) {
        mAxes.error(name, "the base session has no non-raw stream whose size the axis could set");
        mFailed = true;
    }
    std::vector<MSize> listed;
    std::vector<MSize> generated;
    bool ok = true;
    if (const auto* array = node.as_array(); array != nullptr && !isSizePair(*array)) {
        for (size_t i = 0; i < array->size(); ++i) {
            ok = readSizeItem(*array->get(i), pathOf(name) + "[" + std::to_string(i) + "]", listed,
                              generated) &&
                 ok;
        }
    } else {
        ok = readSizeItem(node, pathOf(name), listed, generated);
    }
    if (!ok) {
        mFailed = true;
        return;
    }
    axis.sizes = std::move(listed);
    if (generated.empty()) return;
    for (const MSize size : generated) {
        if (std::find(axis.sizes.begin(), axis.sizes.end(), size) == axis.sizes.end())
            axis.sizes.push_back(size);
    }
    std::stable_sort(axis.sizes.begin(), axis.sizes.end(),
                     [](MSize a, MSize b) { return area(a) < area(b); });
}

bool AxisReader::readSizeItem(const toml::node& item, const std::string& path,
                              std::vector<MSize>& listed, std::vector<MSize>& generated) {
    if (item.is_string()) return readSizeSet(item, path, generated);
    if (const auto* table = item.as_table()) return readSizeRange(*table, path, generated);
    const auto* pair = item.as_array();
    if (pair == nullptr || !isSizePair(*pair)) {
        mAxes.errorAtNode(item, path,
                          std::string("expected a [width, height] pair, the name of a set (") +
                              kKnownSets + ") or a {from, to, step, ratio} range, got " +
                              (pair == nullptr ? typeName(item) : "another array"));
        return false;
    }
    int64_t sides[2] = {0, 0};
    bool ok = true;
    for (size_t i = 0; i < 2; ++i) {
        sides[i] = pair->get(i)->as_integer()->get();
        if (sides[i] >= 1 && sides[i] <= kInt32Max) continue;
        mAxes.errorAtNode(*pair->get(i), path + "[" + std::to_string(i) + "]",
                          "value " + std::to_string(sides[i]) + " out of range 1 .. " +
                              std::to_string(kInt32Max));
        ok = false;
    }
    if (ok) listed.emplace_back(static_cast<int32_t>(sides[0]), static_cast<int32_t>(sides[1]));
    return ok;
}

bool AxisReader::readSizeSet(const toml::node& item, const std::string& path,
                             std::vector<MSize>& sizes) {
    const std::string& setName = item.as_string()->get();
    if (setName == kSet16x9 || setName == kSetCommon)
        sizes.insert(sizes.end(), kSizes16x9.begin(), kSizes16x9.end());
    if (setName == kSet4x3 || setName == kSetCommon)
        sizes.insert(sizes.end(), kSizes4x3.begin(), kSizes4x3.end());
    if (setName == kSetSensor) {
        const std::vector<MSize> modes = sensorModeSizes();
        sizes.insert(sizes.end(), modes.begin(), modes.end());
        return true;
    }
    if (setName == kSet16x9 || setName == kSet4x3 || setName == kSetCommon) return true;
    mAxes.errorAtNode(item, path, "unknown size set '" + setName + "' (known: " + kKnownSets + ")");
    return false;
}

// Widths from `from` to `to` by `step`, each with the height that keeps the ratio (rounded down to
// an even number of lines).
bool AxisReader::readSizeRange(const toml::table& table, const std::string& path,
                               std::vector<MSize>& sizes) {
    TomlTable range(table, mAxes.file(), path, mDiagnostics);
    const auto from = range.integer("from", Need::Required, 1, kInt32Max);
    const auto to = range.integer("to", Need::Required, 1, kInt32Max);
    const auto step = range.integer("step", Need::Required, 1, kInt32Max);
    const auto ratio = range.integerArray("ratio", Need::Required, 1, kMaxRatioPart);
    range.finish();
    if (!from || !to || !step || !ratio) return false;
    if (ratio->size() != 2) {
        range.error("ratio", "expected [width, height], e.g. [16, 9]");
        return false;
    }
    if (*to < *from) {
        range.error("to", "the range ends (" + std::to_string(*to) + ") before it starts (" +
                              std::to_string(*from) + ")");
        return false;
    }
    const uint64_t count = static_cast<uint64_t>(*to - *from) / static_cast<uint64_t>(*step) + 1;
    if (count > mMaxPoints) {
        range.error("to", "the range has " + std::to_string(count) + " values, over the cap of " +
                              std::to_string(mMaxPoints) + " points");
        return false;
    }
    for (int64_t width = *from; width <= *to; width += *step) {
        const int64_t height = width * (*ratio)[1] / (*ratio)[0] / kHeightAlign * kHeightAlign;
        if (height < 1 || height > kInt32Max) {
            range.error("ratio", "width " + std::to_string(width) + " gives a height of " +
                                     std::to_string(height) + " at this ratio");
            return false;
        }
        sizes.emplace_back(static_cast<int32_t>(width), static_cast<int32_t>(height));
    }
    return true;
}

// The sizes of the modes of the sensors the sweep runs on: the sensor axis's, else the base
// session's, else every sensor of the device.
std::vector<MSize> AxisReader::sensorModeSizes() const {
    std::vector<MSize> sizes;
    for (const SensorSpec& sensor : mDevice.sensors) {
        const bool onAxis =
            std::find(mSensorAxis.begin(), mSensorAxis.end(), sensor.index) != mSensorAxis.end();
        const bool inBase = std::find(mBase.sensors.begin(), mBase.sensors.end(), sensor.index) !=
                            mBase.sensors.end();
        const bool runs = !mSensorAxis.empty() ? onAxis : (mBase.sensors.empty() || inBase);
        if (!runs) continue;
        for (const auto& [scenario, mode] : sensor.modes) {
            if (std::find(sizes.begin(), sizes.end(), mode.size) == sizes.end())
                sizes.push_back(mode.size);
        }
    }
    return sizes;
}

AppSpec AxisReader::readApp(TomlTable& table, std::string& label) {
    // The identity replaces the base session's; the kind of application stays unless given.
    AppSpec app = mBase.app;
    app.caller = table.string("caller", Need::Optional).value_or("");
    app.package = table.string("package", Need::Optional).value_or(app.caller);
    app.activity = table.string("activity", Need::Optional).value_or("");
    app.cameraAppName = table.string("camera_app_name", Need::Optional).value_or("");
    app.cameraModeName = table.string("camera_mode_name", Need::Optional).value_or("");
    app.system = table.boolean("system", Need::Optional).value_or(app.system);
    app.thirdParty = table.boolean("third_party", Need::Optional).value_or(app.thirdParty);
    app.sdk = table.boolean("sdk", Need::Optional).value_or(app.sdk);
    app.engineerCam = table.boolean("engineer_cam", Need::Optional).value_or(app.engineerCam);
    app.engineerMode = table.boolean("engineer_mode", Need::Optional).value_or(app.engineerMode);
    app.gsi = table.boolean("gsi", Need::Optional).value_or(app.gsi);
    app.fromMainMenu = table.boolean("from_main_menu", Need::Optional).value_or(app.fromMainMenu);
    const std::string named = !app.activity.empty()  ? app.activity
                              : !app.package.empty() ? app.package
                                                     : app.cameraAppName;
    label = table.string("label", Need::Optional).value_or(named);
    if (label.empty()) table.error("label", "the application has no name to show: give a label");
    if (app.system && app.thirdParty) {
        table.error("third_party",
                    "an application cannot be both the system camera and a third-party one");
    }
    table.finish();
    return app;
}

void AxisReader::readApps(const char* name, SweepAxis& axis) {
    if (!mAxes.node(name)->is_array()) mFailed = true;  // tables() reports it
    for (TomlTable& entry : mAxes.tables(name, Need::Required)) {
        std::string label;
        axis.apps.push_back(readApp(entry, label));
        axis.appLabels.push_back(label);
    }
}

// Two equal values would draw the same cells twice and run the same points twice.
void AxisReader::refuseDuplicates(const char* name, const std::vector<std::string>& labels) {
    std::set<std::string> seen;
    for (const std::string& label : labels) {
        if (!seen.insert(label).second) {
            mAxes.error(name, "value " + label + " is listed twice");
            mFailed = true;
            return;
        }
    }
}

std::optional<SweepAxis> AxisReader::read(AxisKind kind, const char* name) {
    const toml::node* node = mAxes.node(name);
    if (node == nullptr) return std::nullopt;
    SweepAxis axis;
    axis.kind = kind;
    axis.name = name;
    mFailed = false;
    std::optional<std::vector<int64_t>> numbers;
    switch (kind) {
        case AxisKind::Sensor:
            numbers = integers(name, *node, 0, kMaxSensorIndex, false);
            mSensorAxis = numbers.value_or(std::vector<int64_t>());
            for (int64_t index : mSensorAxis) {
                if (mDevice.findSensor(static_cast<int32_t>(index)) != nullptr) continue;
                mAxes.error(name, "the device has no sensor " + std::to_string(index));
                mFailed = true;
            }
            break;
        case AxisKind::OperationMode:
            numbers = integers(name, *node, 0, kUint32Max, true);
            break;
        case AxisKind::HdrMode:
            numbers = integers(name, *node, 0, kUint32Max, false);
            break;
        case AxisKind::Temperature:
            numbers = integers(name, *node, kInt32Min, kInt32Max, false);
            break;
        case AxisKind::FpsRange:
            readFps(name, *node, axis);
            break;
        case AxisKind::StreamSize:
            readSizes(name, *node, axis);
            break;
        case AxisKind::App:
            readApps(name, axis);
            break;
    }
    if (numbers) axis.numbers = std::move(*numbers);
    const bool isNumeric = kind == AxisKind::Sensor || kind == AxisKind::OperationMode ||
                           kind == AxisKind::HdrMode || kind == AxisKind::Temperature;
    if (mFailed || (isNumeric && !numbers)) return std::nullopt;
    if (axis.size() == 0) {
        mAxes.error(name, "lists no value (leave the axis out to keep the base session's)");
        return std::nullopt;
    }
    std::vector<std::string> labels;
    for (size_t i = 0; i < axis.size(); ++i) labels.push_back(axis.label(i));
    refuseDuplicates(name, labels);
    if (mFailed) return std::nullopt;
    return axis;
}

void applyStreamSize(SessionSpec& session, MSize size) {
    // The largest non-raw stream (the first of equals, as the stream information derives it)
    // takes the size and every other non-raw stream is shrunk to fit inside it, so that the size
    // is the session's largest stream size.
    StreamSpec* largest = nullptr;
    for (StreamSpec& stream : session.streams) {
        if (isRawFormat(stream.format)) continue;
        if (largest == nullptr || area(stream.size) > area(largest->size)) largest = &stream;
    }
    for (StreamSpec& stream : session.streams) {
        if (isRawFormat(stream.format)) continue;
        stream.size.w = std::min(stream.size.w, size.w);
        stream.size.h = std::min(stream.size.h, size.h);
    }
    if (largest != nullptr) largest->size = size;
    if (session.streamInfo.maxStreamSize) session.streamInfo.maxStreamSize = size;
}

void applyAxis(const SweepAxis& axis, size_t value, SessionSpec& session) {
    switch (axis.kind) {
        case AxisKind::Sensor:
            session.sensors = {static_cast<int32_t>(axis.numbers[value])};
            break;
        case AxisKind::App:
            session.app = axis.apps[value];
            break;
        case AxisKind::OperationMode:
            session.operationMode = static_cast<uint32_t>(axis.numbers[value]);
            break;
        case AxisKind::HdrMode:
            session.hal.hdrMode = static_cast<uint32_t>(axis.numbers[value]);
            break;
        case AxisKind::Temperature:
            session.params.temperature = static_cast<int32_t>(axis.numbers[value]);
            break;
        case AxisKind::FpsRange:
            session.params.fpsRange = std::vector<int64_t>{axis.fps[value][0], axis.fps[value][1]};
            break;
        case AxisKind::StreamSize:
            applyStreamSize(session, axis.sizes[value]);
            break;
    }
}

void readBaseSession(TomlTable& root, const std::string& path, const DeviceProfile& device,
                     Diagnostics& diagnostics, SessionSpec& base) {
    const toml::node* node = root.node("session");
    if (node == nullptr) {
        root.error("session",
                   "missing required value: a session file's path, or a [session] "
                   "table holding the session's keys");
        return;
    }
    if (const auto* file = node->as_string()) {
        const std::string& name = file->get();
        const std::string sessionPath =
            !name.empty() && name[0] == '/' ? name : directoryOf(path) + name;
        base = loadSession(sessionPath, device, diagnostics);
        return;
    }
    if (!node->is_table()) {
        root.error("session", std::string("expected a session file's path or a [session] table, "
                                          "got ") +
                                  typeName(*node));
        return;
    }
    auto table = root.table("session", Need::Required);
    if (!table) return;
    base.file = path;
    base.name = stemOf(path);
    readSession(*table, device, base);
}

// Checks a map axis the file names: it must be one of the sweep's axes, and not the sensor.
void checkMapAxis(TomlTable& map, const char* key, const std::string& name,
                  const SweepSpec& sweep) {
    if (name.empty()) return;
    if (name == "sensor") {
        map.error(key, "the page draws one map per sensor; choose another axis");
    } else if (sweep.axisIndex(name) < 0) {
        map.error(key, "the sweep has no axis '" + name + "'");
    }
}

void readMap(TomlTable& root, SweepSpec& sweep) {
    auto map = root.table("map", Need::Optional);
    if (!map) return;
    sweep.mapX = map->string("x", Need::Optional).value_or("");
    sweep.mapY = map->string("y", Need::Optional).value_or("");
    map->finish();
    checkMapAxis(*map, "x", sweep.mapX, sweep);
    checkMapAxis(*map, "y", sweep.mapY, sweep);
    if (!sweep.mapX.empty() && sweep.mapX == sweep.mapY)
        map->error("y", "the map needs two different axes");
}

// The product of the axes' sizes, or nothing when it passes the cap (checked as it grows, so it
// cannot overflow).
std::optional<uint64_t> pointCount(const std::vector<SweepAxis>& axes, uint64_t maxPoints) {
    uint64_t points = 1;
    for (const SweepAxis& axis : axes) {
        if (axis.size() > maxPoints / points) return std::nullopt;
        points *= axis.size();
    }
    return points;
}

// "12 x 100000 x 2": the sizes of the axes, for a product too large to print.
std::string axisProduct(const std::vector<SweepAxis>& axes) {
    std::string text;
    for (const SweepAxis& axis : axes) {
        text += text.empty() ? "" : " x ";
        text += std::to_string(axis.size()) + " " + axis.name;
    }
    return text;
}

}  // namespace

size_t SweepAxis::size() const {
    switch (kind) {
        case AxisKind::App:
            return apps.size();
        case AxisKind::FpsRange:
            return fps.size();
        case AxisKind::StreamSize:
            return sizes.size();
        default:
            return numbers.size();
    }
}

std::string SweepAxis::label(size_t value) const {
    switch (kind) {
        case AxisKind::App:
            return appLabels[value];
        case AxisKind::FpsRange:
            // A fixed rate reads as the one number it is.
            if (fps[value][0] == fps[value][1]) return std::to_string(fps[value][0]);
            return std::to_string(fps[value][0]) + "-" + std::to_string(fps[value][1]);
        case AxisKind::StreamSize:
            return std::to_string(sizes[value].w) + "x" + std::to_string(sizes[value].h);
        case AxisKind::OperationMode:
        case AxisKind::HdrMode:
            return hex(numbers[value]);
        default:
            return std::to_string(numbers[value]);
    }
}

int32_t SweepSpec::axisIndex(const std::string& name) const {
    for (size_t i = 0; i < axes.size(); ++i) {
        if (axes[i].name == name) return static_cast<int32_t>(i);
    }
    return -1;
}

std::vector<size_t> SweepSpec::coordinates(uint64_t point) const {
    std::vector<size_t> values(axes.size());
    for (size_t i = axes.size(); i-- > 0;) {
        values[i] = static_cast<size_t>(point % axes[i].size());
        point /= axes[i].size();
    }
    return values;
}

SessionSpec SweepSpec::sessionAt(uint64_t point) const {
    SessionSpec session = base;
    const std::vector<size_t> values = coordinates(point);
    for (size_t i = 0; i < axes.size(); ++i) applyAxis(axes[i], values[i], session);
    return session;
}

std::vector<std::string> sweepAxisNames() {
    std::vector<std::string> names;
    for (const auto& [kind, name] : kAxisNames) names.emplace_back(name);
    return names;
}

SweepSpec loadSweep(const std::string& path, const DeviceProfile& device, uint64_t maxPoints,
                    Diagnostics& diagnostics) {
    SweepSpec sweep;
    sweep.file = path;
    auto document = parseTomlFile(path, diagnostics);
    if (!document) return sweep;
    TomlTable root(*document, path, "", diagnostics);
    sweep.description = root.string("description", Need::Optional).value_or("");
    readBaseSession(root, path, device, diagnostics, sweep.base);
    if (auto axes = root.table("axes", Need::Required)) {
        const size_t problems = diagnostics.size();
        AxisReader reader(*axes, device, sweep.base, maxPoints, diagnostics);
        for (const auto& [kind, name] : kAxisNames) {
            if (auto axis = reader.read(kind, name)) sweep.axes.push_back(std::move(*axis));
        }
        axes->finish();
        if (sweep.axes.empty() && diagnostics.size() == problems)
            root.error("axes", "names no axis; a sweep varies at least one (see docs/sweep.md)");
        if (auto points = pointCount(sweep.axes, maxPoints)) {
            sweep.points = *points;
        } else {
            root.error("axes", "the axes give " + axisProduct(sweep.axes) +
                                   " points, more than the cap of " + std::to_string(maxPoints) +
                                   " (raise it with --max-points)");
        }
    }
    readMap(root, sweep);
    root.finish();
    return sweep;
}

}  // namespace custsim
