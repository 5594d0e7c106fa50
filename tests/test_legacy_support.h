#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "cust_setting_policy_legacy.h"
#include "host_config_store.h"
#include "host_platform.h"
#include "platform/IMetadata.h"
#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

// Shared set-up of the legacy sensor-setting tests.
namespace legacytest {

using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;

constexpr char kTag[] = "CustSettingPolicyLegacy";
constexpr uint32_t kSentinel = 0xDEADBEEF;
constexpr uint32_t kTagApiValue = 0x90040118;
constexpr uint32_t kTagTemperature = 0x90040108;
constexpr uint32_t kTagEngineerSensorModeSel = 0x90040069;
constexpr size_t kTemperatureOffset = 40;  // bytes into the entry's data block

enum class Level { Error, Info, Debug };

// Replaces every table of the store with those of `text` and forgets the calls made so far.
inline void loadTables(const std::string& text) {
    const hostconfig::LoadResult loaded = hostconfig::loadText(text, "legacy.config");
    ASSERT_TRUE(loaded.ok) << loaded.error();
    hostconfig::clearCalls();
}

inline std::vector<std::string> storeCalls() { return hostconfig::describedCalls(); }

// The tables that the store was asked about, in the order first asked.
inline std::vector<std::string> tablesAsked() {
    std::vector<std::string> tables;
    for (const hostconfig::StoreCall& call : hostconfig::calls()) {
        if (tables.empty() || tables.back() != call.table) tables.push_back(call.table);
    }
    return tables;
}

inline std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : " ") + part;
    return text;
}

// The full names of the rows read, in order: "Mode[0] Mode[1]".
inline std::string rowsRead() { return joined(hostconfig::readEntries()); }

// The scenario handed to parseSensorSetting; -1 when the helper was never asked.
inline int32_t parsedScenario() {
    const auto& queries = hostplatform::state().recorded.sensorInfo;
    return queries.empty() ? -1 : queries.front().scenarioId;
}

// Counts the unified messages of the legacy tag at `level` whose text is exactly `text`, and checks
// each has its Android twin: for errors followed by " (function){#line:source file}".
inline size_t countMessage(Level level, const std::string& text, const std::string& function,
                           int line = 0) {
    const int32_t unifiedLevel = level == Level::Error ? 1 : level == Level::Info ? 3 : 5;
    const int androidPriority = level == Level::Error ? 6 : level == Level::Info ? 4 : 3;
    size_t unified = 0;
    for (const hostplatform::LogRecord& r : hostplatform::state().recorded.unifiedLog) {
        if (r.tag != kTag || r.text != text) continue;
        EXPECT_EQ(r.priorityOrLevel, unifiedLevel) << text;
        EXPECT_EQ(r.moduleId, 0x101005u) << text;
        EXPECT_EQ(r.length, static_cast<int32_t>(text.size())) << text;
        ++unified;
    }
    std::string pattern = std::regex_replace(text, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
    if (level == Level::Error) {
        pattern += " \\(" + function + "\\)\\{#" + (line > 0 ? std::to_string(line) : "[0-9]+") +
                   ":CustPolicy/cust_setting_policy_legacy\\.cpp\\}";
    }
    const std::regex android(pattern);
    size_t twins = 0;
    for (const hostplatform::LogRecord& r : hostplatform::state().recorded.androidLog) {
        if (r.tag != kTag || !std::regex_match(r.text, android)) continue;
        EXPECT_EQ(r.priorityOrLevel, androidPriority) << r.text;
        ++twins;
    }
    EXPECT_EQ(twins, unified) << "Android copies of: " << text;
    return unified;
}

// The unified texts of the legacy tag, in order.
inline std::vector<std::string> legacyTexts() {
    std::vector<std::string> texts;
    for (const hostplatform::LogRecord& r : hostplatform::state().recorded.unifiedLog) {
        if (r.tag == kTag) texts.push_back(r.text);
    }
    return texts;
}

// An entry whose `size`-byte data block holds `temperature` 40 bytes in (when it fits); the rest
// is filler that must not be read as the temperature.
inline NSCam::IEntry temperatureEntry(int32_t temperature, size_t size = kTemperatureOffset + 4) {
    std::vector<uint8_t> block(size, 0x5A);
    if (size >= kTemperatureOffset + sizeof(temperature)) {
        std::memcpy(block.data() + kTemperatureOffset, &temperature, sizeof(temperature));
    }
    return NSCam::IEntry::ofBytes(kTagTemperature, block.data(), block.size());
}

// A session on sensor 0: one 4000x3000 stream, no video, operation mode 0.
struct Session {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig =
        std::make_shared<PolicyParsedAppConfiguration>();
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo =
        std::make_shared<PolicyParsedAppImageStreamInfo>();

    Session() { streamInfo->maxStreamSize = streamInfo->maxYuvSize = MSize(4000, 3000); }
    void setTemperature(int32_t t) { appConfig->sessionParams.update(temperatureEntry(t)); }
    void setApi(int32_t api) {
        appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagApiValue, {api}));
    }
};

inline SensorSetting sentinelSetting() {
    SensorSetting setting;
    setting.sensorMode = setting.sensorFps = setting.sensorPattern = setting.rawFmtType = kSentinel;
    return setting;
}

// A reset platform, an empty store and sensors 0 and 1 on the legacy policy with sensor modes
// for scenarios 0 to 20 (mode 30 + scenario).
class LegacyTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostplatform::reset();
        hostconfig::clear();
        hostconfig::clearCalls();
        mSession = Session();
        for (int32_t sensorIdx : {0, 1}) {
            hostplatform::SensorFacts& facts = hostplatform::sensor(sensorIdx);
            facts.newSettingPolicy = false;
            for (int32_t scenario = 0; scenario <= 20; ++scenario) {
                facts.modes[scenario] = hostplatform::SensorMode{
                    static_cast<uint32_t>(30 + scenario), MSize(4000, 3000),
                    static_cast<uint32_t>(scenario)};
            }
        }
    }

    CustSettingPolicyLegacy mPolicy;
    Session mSession;
};

}  // namespace legacytest
