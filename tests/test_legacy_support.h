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

// Shared set-up of the legacy sensor-setting tests: configuration texts loaded into the host
// store, a session on a sensor of the legacy policy, and checks of what the platform saw.
namespace legacytest {

using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;

constexpr char kTag[] = "CustSettingPolicyLegacy";
constexpr char kSourcePath[] = "CustPolicy/cust_setting_policy_legacy.cpp";
constexpr uint32_t kULogModule = 0x101005;
constexpr uint32_t kSentinel = 0xDEADBEEF;

// Session parameters the policy reads.
constexpr uint32_t kTagApiValue = 0x90040118;
constexpr uint32_t kTagTemperature = 0x90040108;
constexpr uint32_t kTagEngineerSensorModeSel = 0x90040069;
// Byte offset of the temperature inside its entry's data block.
constexpr size_t kTemperatureOffset = 40;

enum class Level { Error, Info, Debug };

inline int androidPriority(Level level) {
    return level == Level::Error ? 6 : level == Level::Info ? 4 : 3;
}
inline int32_t unifiedLevel(Level level) {
    return level == Level::Error ? 1 : level == Level::Info ? 3 : 5;
}

// Replaces every table of the store with those of `text` and forgets the calls made so far.
inline void loadTables(const std::string& text) {
    const hostconfig::LoadResult loaded = hostconfig::loadText(text, "legacy.config");
    ASSERT_TRUE(loaded.ok) << loaded.error();
    hostconfig::clearCalls();
}

// Every store call rendered, e.g. "GetLocaleKeyCount(ThirdCamSensorSettingMap, AllCamApp) = 1".
inline std::vector<std::string> storeCalls() { return hostconfig::describedCalls(); }

// The tables that the store was asked about, in the order first asked.
inline std::vector<std::string> tablesAsked() {
    std::vector<std::string> tables;
    for (const hostconfig::StoreCall& call : hostconfig::calls()) {
        if (tables.empty() || tables.back() != call.table) tables.push_back(call.table);
    }
    return tables;
}

// The parts separated by single blanks.
inline std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : " ") + part;
    return text;
}

// The locales whose row count was asked with GetLocaleKeyCount, in order, separated by blanks.
inline std::string localesCounted() {
    std::vector<std::string> locales;
    for (const hostconfig::StoreCall& call : hostconfig::calls()) {
        if (call.function == hostconfig::StoreFunction::GetLocaleKeyCount) {
            locales.push_back(call.name);
        }
    }
    return joined(locales);
}

// The full names of the rows read, in order, separated by blanks: "Mode[0] Mode[1]".
inline std::string rowsRead() { return joined(hostconfig::readEntries()); }

// The scenario handed to parseSensorSetting: the first sensor-info query names it. -1 when the
// helper was never asked.
inline int32_t parsedScenario() {
    const auto& queries = hostplatform::state().recorded.sensorInfo;
    return queries.empty() ? -1 : queries.front().scenarioId;
}

// Counts the messages of the legacy tag at `level` whose unified copy is exactly `text`, and checks
// that each has its Android twin: the same text, followed for errors by the tail that names
// `function`, a source line (`line` when given) and this library's source file.
inline size_t countMessage(Level level, const std::string& text, const std::string& function,
                           int line = 0) {
    size_t unified = 0;
    for (const hostplatform::LogRecord& r : hostplatform::state().recorded.unifiedLog) {
        if (r.tag != kTag || r.text != text) continue;
        EXPECT_EQ(r.priorityOrLevel, unifiedLevel(level)) << text;
        EXPECT_EQ(r.moduleId, kULogModule) << text;
        EXPECT_EQ(r.length, static_cast<int32_t>(text.size())) << text;
        ++unified;
    }
    std::string pattern = std::regex_replace(text, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
    if (level == Level::Error) {
        pattern += " \\(" + function + "\\)\\{#" + (line > 0 ? std::to_string(line) : "[0-9]+") +
                   ":" + std::regex_replace(kSourcePath, std::regex(R"(\.)"), R"(\.)") + "\\}";
    }
    const std::regex android(pattern);
    size_t twins = 0;
    for (const hostplatform::LogRecord& r : hostplatform::state().recorded.androidLog) {
        if (r.tag != kTag || !std::regex_match(r.text, android)) continue;
        EXPECT_EQ(r.priorityOrLevel, androidPriority(level)) << r.text;
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

// A metadata entry whose data block is `size` bytes holding `temperature` 40 bytes in (when it
// fits); the rest of the block is filler that must not be read as the temperature.
inline NSCam::IEntry temperatureEntry(int32_t temperature, size_t size = kTemperatureOffset + 4) {
    std::vector<uint8_t> block(size, 0x5A);
    if (size >= kTemperatureOffset + sizeof(temperature)) {
        std::memcpy(block.data() + kTemperatureOffset, &temperature, sizeof(temperature));
    }
    return NSCam::IEntry::ofBytes(kTagTemperature, block.data(), block.size());
}

// A session on sensor 0 of the legacy policy: one 4000x3000 stream, no video, operation mode 0.
struct Session {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig =
        std::make_shared<PolicyParsedAppConfiguration>();
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo =
        std::make_shared<PolicyParsedAppImageStreamInfo>();

    Session() {
        streamInfo->maxStreamSize = MSize(4000, 3000);
        streamInfo->maxYuvSize = MSize(4000, 3000);
    }
    void setTemperature(int32_t temperature) {
        appConfig->sessionParams.update(temperatureEntry(temperature));
    }
    void setApi(int32_t api) {
        appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagApiValue, {api}));
    }
};

inline SensorSetting sentinelSetting() {
    SensorSetting setting;
    setting.sensorMode = kSentinel;
    setting.sensorFps = kSentinel;
    setting.sensorPattern = kSentinel;
    setting.rawFmtType = kSentinel;
    return setting;
}

// Each test starts from a reset platform, an empty store and sensors 0 and 1 on the legacy policy
// with sensor modes for scenarios 0 to 20.
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
                facts.modes[scenario] =
                    hostplatform::SensorMode{static_cast<uint32_t>(30 + scenario),
                                             MSize(4000, 3000), static_cast<uint32_t>(scenario)};
            }
        }
    }

    CustSettingPolicyLegacy mPolicy;
    Session mSession;
};

}  // namespace legacytest
