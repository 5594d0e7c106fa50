#include "inputs/session_file.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "custpolicy/cust_contract.h"

namespace custsim {

namespace {

// Android pixel formats, by the names the sessions may use.
constexpr int32_t kFormatRgb888 = 0x3;
constexpr int32_t kFormatYCrCb420Sp = 0x11;
constexpr int32_t kFormatRaw16 = 0x20;
constexpr int32_t kFormatBlob = 0x21;
constexpr int32_t kFormatImplementationDefined = 0x22;
constexpr int32_t kFormatYCbCr420888 = 0x23;
constexpr int32_t kFormatRawOpaque = 0x24;
constexpr int32_t kFormatRaw10 = 0x25;
constexpr int32_t kFormatRaw12 = 0x26;
constexpr int32_t kFormatY8 = 0x20203859;
constexpr int32_t kFormatYv12 = 0x32315659;

// Scenario ids an expectation can name; the library treats 0..255 as valid.
constexpr uint64_t kScenarioMax = custpolicy::kMaxScenario;

// Gralloc usage bits and stream use cases.
constexpr uint64_t kUsageHwVideoEncoder = 0x10000;
constexpr uint64_t kUseCaseVideoRecord = 3;

const std::vector<std::pair<const char*, uint64_t>> kFormatNames = {
    {"RGB_888", kFormatRgb888},
    {"YCrCb_420_SP", kFormatYCrCb420Sp},
    {"RAW16", kFormatRaw16},
    {"BLOB", kFormatBlob},
    {"IMPLEMENTATION_DEFINED", kFormatImplementationDefined},
    {"YCbCr_420_888", kFormatYCbCr420888},
    {"RAW_OPAQUE", kFormatRawOpaque},
    {"RAW10", kFormatRaw10},
    {"RAW12", kFormatRaw12},
    {"Y8", kFormatY8},
    {"YV12", kFormatYv12},
};

const std::vector<std::pair<const char*, uint64_t>> kUsageNames = {
    {"CPU_READ_OFTEN", 0x3},      {"CPU_WRITE_OFTEN", 0x30},   {"HW_TEXTURE", 0x100},
    {"HW_RENDER", 0x200},         {"HW_COMPOSER", 0x800},      {"HW_VIDEO_ENCODER", 0x10000},
    {"HW_CAMERA_WRITE", 0x20000}, {"HW_CAMERA_READ", 0x40000}, {"HW_CAMERA_ZSL", 0x60000},
};

const std::vector<std::pair<const char*, uint64_t>> kUseCaseNames = {
    {"DEFAULT", 0},
    {"PREVIEW", 1},
    {"STILL_CAPTURE", 2},
    {"VIDEO_RECORD", 3},
    {"PREVIEW_VIDEO_STILL", 4},
    {"VIDEO_CALL", 5},
    {"CROPPED_RAW", 6},
};

const std::vector<std::pair<const char*, uint64_t>> kOperationModeNames = {
    {"NORMAL", 0},
    {"CONSTRAINED_HIGH_SPEED", 1},
};

constexpr uint64_t kUint32Max = std::numeric_limits<uint32_t>::max();

std::string stemOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.find_last_of('.');
    return dot == std::string::npos ? name : name.substr(0, dot);
}

void readApp(TomlTable& table, AppSpec& app) {
    app.caller = table.string("caller", Need::Optional).value_or("");
    app.package = table.string("package", Need::Optional).value_or(app.caller);
    app.activity = table.string("activity", Need::Optional).value_or("");
    app.cameraAppName = table.string("camera_app_name", Need::Optional).value_or("");
    app.cameraModeName = table.string("camera_mode_name", Need::Optional).value_or("");
    app.system = table.boolean("system", Need::Required).value_or(true);
    app.thirdParty = table.boolean("third_party", Need::Optional).value_or(false);
    app.sdk = table.boolean("sdk", Need::Optional).value_or(false);
    app.engineerCam = table.boolean("engineer_cam", Need::Optional).value_or(false);
    app.engineerMode = table.boolean("engineer_mode", Need::Optional).value_or(false);
    app.gsi = table.boolean("gsi", Need::Optional).value_or(false);
    app.fromMainMenu = table.boolean("from_main_menu", Need::Optional).value_or(true);
    if (app.system && app.thirdParty) {
        table.error("third_party",
                    "an application cannot be both the system camera and a third-party one");
    }
    table.finish();
}

void readCommon(TomlTable& table, CommonSpec& common) {
    common.captureMode = table.int32("capture_mode", Need::Optional).value_or(0);
    common.video4k = table.boolean("video_4k", Need::Optional).value_or(false);
    common.dolbyVision = table.boolean("dolby_vision", Need::Optional).value_or(false);
    table.finish();
}

void readParams(TomlTable& table, SessionParamsSpec& params) {
    params.fpsRange =
        table.integerArray("fps_range", Need::Optional, 0, std::numeric_limits<int32_t>::max());
    if (params.fpsRange && params.fpsRange->size() != 2) {
        table.error("fps_range", "expected [low, high]");
        params.fpsRange.reset();
    }
    params.videoStabilization = table.uint8("video_stabilization", Need::Optional);
    params.aovMode = table.int32("aov_mode", Need::Optional);
    params.api = table.int32("api", Need::Optional);
    params.temperature = table.int32("temperature", Need::Optional);
    params.engineerSensorMode = table.uint8("engineer_sensor_mode", Need::Optional);
    params.extra = readMetadataEntries(table, "entry");
    table.finish();
}

float readFloat(TomlTable& table, std::string_view key) {
    return static_cast<float>(table.number(key, Need::Optional).value_or(0.0));
}

void readHal(TomlTable& table, HalSpec& hal) {
    hal.floatParam0 = readFloat(table, "float_param0");
    hal.floatParam1 = readFloat(table, "float_param1");
    hal.hdrMode = table.uint32("hdr_mode", Need::Optional).value_or(0);
    hal.seamlessFlags = table.uint32("seamless_flags", Need::Optional).value_or(0);
    hal.rrzoTarget = table.size("rrzo_target", Need::Optional);
    hal.rrzoIntParam = table.int32("rrzo_int_param", Need::Optional).value_or(0);
    hal.rrzoFlagA = table.boolean("rrzo_flag_a", Need::Optional).value_or(false);
    hal.rrzoFlagB = table.boolean("rrzo_flag_b", Need::Optional).value_or(false);
    hal.rrzoUintParam = table.uint32("rrzo_uint_param", Need::Optional).value_or(0);
    hal.ratioA = readFloat(table, "ratio_a");
    hal.ratioC = readFloat(table, "ratio_c");
    hal.heightToWidth = readFloat(table, "height_to_width");
    hal.engineerTraversal = table.boolean("engineer_traversal", Need::Optional).value_or(false);
    table.finish();
}

void readStreamInfo(TomlTable& table, StreamInfoSpec& info) {
    info.maxYuvSize = table.size("max_yuv_size", Need::Optional);
    info.maxStreamSize = table.size("max_stream_size", Need::Optional);
    info.video = table.boolean("video", Need::Optional);
    info.videoWidth = table.int32("video_width", Need::Optional);
    table.finish();
}

StreamSpec readStream(TomlTable& table, int64_t defaultId, const DeviceProfile& device) {
    StreamSpec stream;
    stream.id = table.integer("id", Need::Optional, 0, std::numeric_limits<int64_t>::max())
                    .value_or(defaultId);
    stream.type = table.int32("type", Need::Optional).value_or(0);
    stream.format = static_cast<int32_t>(
        table.integerOrNames("format", Need::Required, kFormatNames, false, kUint32Max)
            .value_or(0));
    stream.usage = table
                       .integerOrNames("usage", Need::Optional, kUsageNames, true,
                                       std::numeric_limits<int64_t>::max())
                       .value_or(0);
    stream.useCase = table
                         .integerOrNames("use_case", Need::Optional, kUseCaseNames, false,
                                         std::numeric_limits<int64_t>::max())
                         .value_or(0);
    stream.size = table.size("size", Need::Required).value_or(MSize());
    stream.physicalSensor = table.int32("physical_sensor", Need::Optional);
    if (stream.physicalSensor && device.findSensor(*stream.physicalSensor) == nullptr) {
        table.error("physical_sensor",
                    "the device has no sensor " + std::to_string(*stream.physicalSensor));
    }
    table.finish();
    return stream;
}

template <typename T>
std::optional<Expected<T>> expected(TomlTable& table, std::string_view key,
                                    std::optional<T> value) {
    if (!value) return std::nullopt;
    return Expected<T>{*value, table.lineOf(key)};
}

Expectation readExpectation(TomlTable& table) {
    Expectation expect;
    expect.line = table.line();
    expect.sensor = table.int32("sensor", Need::Required).value_or(0);
    // "none" reads as a value no scenario id can have.
    const uint64_t noDecision = kScenarioMax + 1;
    if (auto scenario = table.integerOrNames("scenario", Need::Optional, {{"none", noDecision}},
                                             false, kScenarioMax)) {
        expect.scenario = Expected<int32_t>{
            *scenario == noDecision ? kExpectNoDecision : static_cast<int32_t>(*scenario),
            table.lineOf("scenario")};
    }
    expect.fps = expected(table, "fps", table.uint32("fps", Need::Optional));
    expect.sensorSize = expected(table, "sensor_size", table.size("sensor_size", Need::Optional));
    expect.rrzoSize = expected(table, "rrzo_size", table.size("rrzo_size", Need::Optional));
    expect.seamlessFlags =
        expected(table, "seamless_flags", table.uint32("seamless_flags", Need::Optional));
    expect.table = expected(table, "table", table.string("table", Need::Optional));
    expect.key = expected(table, "key", table.string("key", Need::Optional));
    if (expect.key && (!expect.table || expect.table->value == kExpectNoTable))
        table.error("key", "a key needs the table it is a row of");
    table.finish();
    return expect;
}

bool runsSensor(const SessionSpec& session, int32_t sensor) {
    if (session.sensors.empty()) return true;
    return std::find(session.sensors.begin(), session.sensors.end(), sensor) !=
           session.sensors.end();
}

void readExpectations(TomlTable& root, const DeviceProfile& device, SessionSpec& session,
                      SessionUse use) {
    for (TomlTable& table : root.tables("expect", Need::Optional)) {
        Expectation expect = readExpectation(table);
        if (use == SessionUse::Compare) continue;
        if (device.findSensor(expect.sensor) == nullptr) {
            table.error("sensor", "the device has no sensor " + std::to_string(expect.sensor));
            continue;
        }
        if (!runsSensor(session, expect.sensor)) {
            table.error("sensor",
                        "the session does not run sensor " + std::to_string(expect.sensor));
            continue;
        }
        // Only the first expectation of a sensor is kept, so that the list stays one per sensor
        // however many a hostile file repeats.
        const auto earlier =
            std::find_if(session.expectations.begin(), session.expectations.end(),
                         [&expect](const Expectation& e) { return e.sensor == expect.sensor; });
        if (earlier != session.expectations.end()) {
            table.error("sensor", "sensor " + std::to_string(expect.sensor) +
                                      " already has an expectation (line " +
                                      std::to_string(earlier->line) + ")");
            continue;
        }
        session.expectations.push_back(std::move(expect));
    }
}

}  // namespace

bool isRawFormat(int32_t format) {
    return format == kFormatRaw16 || format == kFormatRawOpaque || format == kFormatRaw10 ||
           format == kFormatRaw12;
}

bool isYuvFormat(int32_t format) {
    return format == kFormatYCbCr420888 || format == kFormatImplementationDefined ||
           format == kFormatYCrCb420Sp || format == kFormatYv12 || format == kFormatY8;
}

bool isVideoStream(const StreamSpec& stream) {
    return stream.useCase == kUseCaseVideoRecord || (stream.usage & kUsageHwVideoEncoder) != 0;
}

SessionSpec loadSession(const std::string& path, const DeviceProfile& device,
                        Diagnostics& diagnostics, SessionUse use) {
    SessionSpec session;
    session.file = path;
    session.name = stemOf(path);
    auto document = parseTomlFile(path, diagnostics);
    if (!document) return session;
    TomlTable root(*document, path, "", diagnostics);
    readSession(root, device, session, use);
    return session;
}

SessionSpec loadSessionText(std::string_view text, const std::string& path,
                            const DeviceProfile& device, Diagnostics& diagnostics, SessionUse use) {
    SessionSpec session;
    session.file = path;
    session.name = stemOf(path);
    auto document = parseTomlText(text, path, diagnostics);
    if (!document) return session;
    TomlTable root(*document, path, "", diagnostics);
    readSession(root, device, session, use);
    return session;
}

void readSession(TomlTable& root, const DeviceProfile& device, SessionSpec& session,
                 SessionUse use) {
    session.description = root.string("description", Need::Required).value_or("");
    if (auto sensors = root.integerArray("sensors", Need::Optional, 0, kMaxSensorIndex)) {
        if (sensors->empty())
            root.error("sensors", "lists no sensor (leave it out to run every sensor)");
        for (int64_t index : *sensors) {
            const auto sensor = static_cast<int32_t>(index);
            if (use == SessionUse::Compare && device.findSensor(sensor) == nullptr) continue;
            if (device.findSensor(sensor) == nullptr) {
                root.error("sensors", "the device has no sensor " + std::to_string(index));
            } else if (std::find(session.sensors.begin(), session.sensors.end(), sensor) !=
                       session.sensors.end()) {
                root.error("sensors", "sensor " + std::to_string(index) + " is listed twice");
            }
            session.sensors.push_back(sensor);
        }
        if (!sensors->empty() && session.sensors.empty())
            root.error("sensors", "the device has none of the sensors listed");
    }
    session.operationMode =
        static_cast<uint32_t>(root.integerOrNames("operation_mode", Need::Optional,
                                                  kOperationModeNames, false, kUint32Max)
                                  .value_or(0));
    session.configExtension = root.boolean("config_extension", Need::Optional).value_or(false);
    if (auto app = root.table("app", Need::Required)) readApp(*app, session.app);
    if (auto common = root.table("common", Need::Optional)) readCommon(*common, session.common);
    if (auto params = root.table("session_params", Need::Optional))
        readParams(*params, session.params);
    if (auto hal = root.table("hal", Need::Optional)) readHal(*hal, session.hal);
    if (auto info = root.table("stream_info", Need::Optional))
        readStreamInfo(*info, session.streamInfo);
    int64_t nextId = 0;
    for (TomlTable& streamTable : root.tables("stream", Need::Required)) {
        StreamSpec stream = readStream(streamTable, nextId, device);
        for (const StreamSpec& earlier : session.streams) {
            if (earlier.id == stream.id) {
                streamTable.error("id",
                                  "stream id " + std::to_string(stream.id) + " is given twice");
            }
        }
        nextId = stream.id + 1;
        session.streams.push_back(stream);
    }
    readExpectations(root, device, session, use);
    root.finish();
}

}  // namespace custsim
