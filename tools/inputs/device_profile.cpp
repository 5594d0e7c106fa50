#include "inputs/device_profile.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "custpolicy/cust_contract.h"

namespace custsim {

namespace {

constexpr int64_t kInt32Max = std::numeric_limits<int32_t>::max();
constexpr int64_t kInt64Min = std::numeric_limits<int64_t>::min();
constexpr int64_t kInt64Max = std::numeric_limits<int64_t>::max();
// Scenario ids a sensor can have; the library treats 0..255 as valid.
constexpr int64_t kScenarioMax = custpolicy::kMaxScenario;

std::string directoryOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

ModeSpec readMode(TomlTable& table) {
    ModeSpec mode;
    mode.scenario = static_cast<int32_t>(
        table.integer("scenario", Need::Required, 0, kScenarioMax).value_or(0));
    mode.fps = table.uint32("fps", Need::Required).value_or(0);
    mode.size = table.size("size", Need::Required).value_or(MSize());
    mode.rawFormatType = table.uint32("raw_format_type", Need::Optional).value_or(0);
    if (auto fails =
            table.integerOrNames("failing_queries", Need::Optional,
                                 {{"fps", 1}, {"size", 2}, {"raw_format_type", 4}}, true, 7)) {
        mode.fpsFails = (*fails & 1) != 0;
        mode.sizeFails = (*fails & 2) != 0;
        mode.rawFormatTypeFails = (*fails & 4) != 0;
    }
    table.finish();
    return mode;
}

qovix_aaa_ae_vhdr_info readVideoHdr(TomlTable& table) {
    qovix_aaa_ae_vhdr_info info;
    info.sceneHdrEnable = table.boolean("scene_hdr_enable", Need::Optional).value_or(false);
    for (TomlTable& scene : table.tables("scene", Need::Optional)) {
        qovix_ae_hdr_scene_info_t entry;
        entry.operationMode = scene.uint32("operation_mode", Need::Required).value_or(0);
        entry.sceneValue = scene.int32("scene_value", Need::Optional).value_or(0);
        scene.finish();
        info.sceneInfos.push_back(entry);
    }
    info.vhdrValue0 = table.int32("value0", Need::Optional).value_or(0);
    info.startExpNum = table.int32("start_exp_num", Need::Optional).value_or(1);
    info.vhdrValue2 = table.int32("value2", Need::Optional).value_or(0);
    info.vhdrValue3 = table.int32("value3", Need::Optional).value_or(0);
    table.finish();
    return info;
}

void readCapability(TomlTable& table, SensorSpec& sensor) {
    sensor.newSettingPolicy = table.boolean("new_setting_policy", Need::Required).value_or(false);
    sensor.newRrzoPolicy = table.boolean("new_rrzo_policy", Need::Required).value_or(false);
    sensor.privateSelectSensorMode =
        table.boolean("private_select_sensor_mode", Need::Optional).value_or(false);
    sensor.custSensorSettingInfo = table.int32("cust_sensor_setting_info", Need::Optional);
    sensor.maxStreamSize = table.size("max_stream_size", Need::Optional);
    if (auto hdr = table.table("video_hdr", Need::Optional)) sensor.videoHdr = readVideoHdr(*hdr);
    table.finish();
}

void readFeatureChip(TomlTable& table, FeatureChipSpec& chip) {
    chip.scenario = table.int32("scenario", Need::Optional);
    chip.rrzoSize = table.size("rrzo_size", Need::Optional);
    chip.rrzoMaxWidth = table.int32("rrzo_max_width", Need::Optional).value_or(0);
    if (chip.rrzoMaxWidth < 0) table.error("rrzo_max_width", "must not be negative");
    table.finish();
}

// A sensor whose index is missing or out of range gets this one, so that it is neither
// reported as a duplicate of a real sensor nor kept.
constexpr int32_t kInvalidSensorIndex = -1;

SensorSpec readSensor(TomlTable& table) {
    SensorSpec sensor;
    sensor.index = static_cast<int32_t>(
        table.integer("index", Need::Required, 0, kMaxSensorIndex).value_or(kInvalidSensorIndex));
    sensor.name = table.string("name", Need::Optional).value_or("");
    sensor.deviceMask = table.uint32("device_mask", Need::Optional);
    sensor.pixelArray = table.size("pixel_array", Need::Optional);
    sensor.minFrameDurations =
        table.integerRows("min_frame_durations", Need::Optional, 4, kInt64Min, kInt64Max);
    sensor.aeTargetFpsRanges = table.integerRows("ae_target_fps_ranges", Need::Optional, 2,
                                                 std::numeric_limits<int32_t>::min(), kInt32Max);
    sensor.engineerStaticItem = table.int32("engineer_static_item", Need::Optional);
    sensor.extraStatic = readMetadataEntries(table, "static_entry");
    sensor.halFallbackScenario = static_cast<std::optional<int32_t>>(
        table.integer("hal_fallback_scenario", Need::Optional, 0, kScenarioMax));
    if (auto capability = table.table("capability", Need::Required))
        readCapability(*capability, sensor);
    if (auto chip = table.table("feature_chip", Need::Optional))
        readFeatureChip(*chip, sensor.featureChip);
    for (TomlTable& modeTable : table.tables("mode", Need::Required)) {
        const uint32_t line = modeTable.line();
        ModeSpec mode = readMode(modeTable);
        if (!sensor.modes.emplace(mode.scenario, mode).second) {
            modeTable.error("scenario", "scenario " + std::to_string(mode.scenario) +
                                            " is given twice (line " + std::to_string(line) + ")");
        }
    }
    if (sensor.halFallbackScenario && sensor.modes.count(*sensor.halFallbackScenario) == 0) {
        table.error("hal_fallback_scenario", "the sensor has no mode with scenario " +
                                                 std::to_string(*sensor.halFallbackScenario));
    }
    table.finish();
    return sensor;
}

void readThirdCap(TomlTable& table, ThirdCapSpec& thirdCap) {
    thirdCap.supported = table.boolean("supported", Need::Required).value_or(false);
    thirdCap.defaultAnswer = table.int32("default_answer", Need::Optional).value_or(-1);
    for (TomlTable& answerTable : table.tables("answer", Need::Optional)) {
        ThirdCapAnswer answer;
        answer.camera = answerTable.string("camera", Need::Optional).value_or("");
        answer.activity = answerTable.string("activity", Need::Optional).value_or("");
        answer.sensor = answerTable.int32("sensor", Need::Optional);
        answer.scenario = answerTable.int32("scenario", Need::Required).value_or(-1);
        answerTable.finish();
        thirdCap.answers.push_back(answer);
    }
    table.finish();
}

}  // namespace

const SensorSpec* DeviceProfile::findSensor(int32_t index) const {
    for (const SensorSpec& sensor : sensors) {
        if (sensor.index == index) return &sensor;
    }
    return nullptr;
}

Diagnostics configLoadDiagnostics(const DeviceProfile& profile,
                                  const hostconfig::LoadResult& load) {
    Diagnostics diagnostics;
    if (load.ok) return diagnostics;
    if (load.line == 0) {
        // The file as a whole: name it where the profile names it.
        diagnostics.push_back({profile.file, profile.configLine, profile.configColumn, "config",
                               "configuration file " + load.source + ": " + load.message});
        return diagnostics;
    }
    for (const hostconfig::LoadProblem& problem : load.problems) {
        diagnostics.push_back({load.source, static_cast<uint32_t>(problem.line),
                               static_cast<uint32_t>(problem.column), "", problem.message});
    }
    if (load.unlistedProblems > 0) {
        diagnostics.push_back({load.source, 0, 0, "",
                               std::to_string(load.unlistedProblems) + " more problem" +
                                   (load.unlistedProblems == 1 ? "" : "s") + " not listed",
                               static_cast<uint32_t>(load.unlistedProblems)});
    }
    return diagnostics;
}

InputKind inputKindOf(const std::string& path) {
    Diagnostics ignored;  // a file that cannot be read is reported when it is read for real
    const auto document = parseTomlFile(path, ignored);
    if (!document) return InputKind::Unknown;
    const bool device = document->contains("sensor");
    const bool session = document->contains("stream") || document->contains("app");
    if (device == session) return InputKind::Unknown;
    return device ? InputKind::Device : InputKind::Session;
}

std::optional<std::string> misplacedInputHint(const std::string& devicePath,
                                              const std::vector<std::string>& sessionPaths) {
    if (inputKindOf(devicePath) == InputKind::Session) {
        return devicePath +
               " is a session ([app], [[stream]]), not a device profile: the device "
               "profile comes first";
    }
    for (const std::string& session : sessionPaths) {
        if (inputKindOf(session) == InputKind::Device) {
            return session +
                   " is a device profile ([[sensor]]), not a session: give the device "
                   "profile first, then the sessions";
        }
    }
    return std::nullopt;
}

std::vector<MetadataEntrySpec> readMetadataEntries(TomlTable& table, std::string_view key) {
    std::vector<MetadataEntrySpec> entries;
    for (TomlTable& entryTable : table.tables(key, Need::Optional)) {
        MetadataEntrySpec entry;
        entry.tag = entryTable.uint32("tag", Need::Required).value_or(0);
        const std::string type = entryTable.string("type", Need::Required).value_or("int32");
        if (type == "uint8") {
            entry.type = MetadataEntrySpec::Type::UInt8;
            entry.integers = entryTable.integerArray("values", Need::Required, 0, 255)
                                 .value_or(std::vector<int64_t>{});
        } else if (type == "int32") {
            entry.type = MetadataEntrySpec::Type::Int32;
            entry.integers = entryTable
                                 .integerArray("values", Need::Required,
                                               std::numeric_limits<int32_t>::min(), kInt32Max)
                                 .value_or(std::vector<int64_t>{});
        } else if (type == "int64") {
            entry.type = MetadataEntrySpec::Type::Int64;
            entry.integers = entryTable.integerArray("values", Need::Required, kInt64Min, kInt64Max)
                                 .value_or(std::vector<int64_t>{});
        } else {
            entryTable.error("type", "unknown type '" + type + "' (known: uint8, int32, int64)");
            entryTable.integerArray("values", Need::Optional, kInt64Min, kInt64Max);
        }
        entryTable.finish();
        entries.push_back(std::move(entry));
    }
    return entries;
}

DeviceProfile loadDeviceProfile(const std::string& path, Diagnostics& diagnostics) {
    DeviceProfile profile;
    profile.file = path;
    auto document = parseTomlFile(path, diagnostics);
    if (!document) return profile;
    TomlTable root(*document, path, "", diagnostics);
    profile.name = root.string("name", Need::Required).value_or("");
    profile.description = root.string("description", Need::Optional).value_or("");
    if (auto config = root.string("config", Need::Optional)) {
        profile.configFile =
            (!config->empty() && (*config)[0] == '/') ? *config : directoryOf(path) + *config;
        std::tie(profile.configLine, profile.configColumn) = root.positionOf("config");
    }
    profile.sensorList = root.boolean("sensor_list", Need::Optional).value_or(true);
    profile.stereoFeatureMode = root.uint32("stereo_feature_mode", Need::Optional).value_or(0);
    profile.logicalDeviceId = root.int32("logical_device_id", Need::Optional).value_or(0);
    profile.videoEisAlgoType = root.int32("video_eis_algo_type", Need::Optional).value_or(0);
    if (auto thirdCap = root.table("third_party_capability", Need::Optional)) {
        readThirdCap(*thirdCap, profile.thirdCap);
    }
    for (TomlTable& sensorTable : root.tables("sensor", Need::Required)) {
        SensorSpec sensor = readSensor(sensorTable);
        if (sensor.index == kInvalidSensorIndex) continue;  // already reported
        if (profile.findSensor(sensor.index) != nullptr) {
            sensorTable.error("index",
                              "sensor " + std::to_string(sensor.index) + " is given twice");
            continue;
        }
        profile.sensors.push_back(std::move(sensor));
    }
    if (document->contains("sensor") && profile.sensors.empty()) {
        root.error("sensor", "the device has no sensor");
    }
    root.finish();
    std::sort(profile.sensors.begin(), profile.sensors.end(),
              [](const SensorSpec& a, const SensorSpec& b) { return a.index < b.index; });
    return profile;
}

}  // namespace custsim
