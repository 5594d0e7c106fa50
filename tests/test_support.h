#pragma once

// Shared set-up of the library tests: a reset host platform, sessions built from a few facts,
// decisions made through the adaptors as the HAL makes them, and what the platform saw rendered
// as text for comparisons and golden files.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cust_setting_policy_legacy.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "host_config_store.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/IMetadata.h"
#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

namespace cptest {

using mcam::core::device::policy::AppUserConfiguration;
using mcam::core::device::policy::ImageStreamInfoPtr;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;
using NSCam::IEntry;
using Strings = std::vector<std::string>;

// Metadata tags the policies read.
constexpr uint32_t kTagAeTargetFpsRange = 0x10005;
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;
constexpr uint32_t kTagMinFrameDurations = 0xD000B;
constexpr uint32_t kTagPixelArraySize = 0xF0006;
constexpr uint32_t kTagAovMode = 0x80150001;
constexpr uint32_t kTagApiValue = 0x90040118;
constexpr uint32_t kTagTemperature = 0x90040108;
constexpr uint32_t kTagEngineerSensorModeSel = 0x90040069;
constexpr uint32_t kTagTraversalMode = 0x9004003D;
constexpr uint32_t kTagEisMode = 0x10011;

constexpr uint32_t kSentinel = 0xDEADBEEF;  // an out-value the call must not touch keeps it
constexpr size_t kTemperatureOffset = 40;   // bytes into the temperature entry's data block

inline ImageStreamInfoPtr stream(int32_t w, int32_t h) {
    hostplatform::ImageStreamFacts facts;
    facts.size = MSize(w, h);
    return hostplatform::makeImageStream(facts);
}

inline std::vector<ImageStreamInfoPtr> streams(const std::vector<MSize>& sizes) {
    std::vector<ImageStreamInfoPtr> list;
    for (const MSize& size : sizes) list.push_back(stream(size.w, size.h));
    return list;
}

inline AppUserConfiguration userConfigOf(const std::vector<MSize>& sizes) {
    AppUserConfiguration config;
    int64_t id = 0;
    for (const ImageStreamInfoPtr& info : streams(sizes)) config.imageStreams[id++] = info;
    return config;
}

template <typename T>
void setStatic(int32_t sensorIdx, uint32_t tag, std::initializer_list<T> items) {
    hostplatform::sensor(sensorIdx).staticMetadata.update(IEntry::of<T>(tag, items));
}

// A temperature entry whose `size`-byte block holds `temperature` 40 bytes in (when it fits);
// the rest is filler that must not be read as the temperature.
inline IEntry temperatureEntry(int32_t temperature, size_t size = kTemperatureOffset + 4) {
    std::vector<uint8_t> block(size, 0x5A);
    if (size >= kTemperatureOffset + sizeof(temperature)) {
        std::memcpy(block.data() + kTemperatureOffset, &temperature, sizeof(temperature));
    }
    return IEntry::ofBytes(kTagTemperature, block.data(), block.size());
}

// The arguments of one selectSensorSetting call: sensor 0, one 4000x3000 stream, operation
// mode 0, no video.
struct Session {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig =
        std::make_shared<PolicyParsedAppConfiguration>();
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo =
        std::make_shared<PolicyParsedAppImageStreamInfo>();
    AppUserConfiguration userConfig = userConfigOf({{4000, 3000}});
    int sensorIdx = 0;
    float floatParam0 = 1.0f, floatParam1 = 2.0f;
    unsigned int hdrMode = 0;

    Session() { streamInfo->maxStreamSize = streamInfo->maxYuvSize = MSize(4000, 3000); }
    void set(const IEntry& entry) { appConfig->sessionParams.update(entry); }
};

inline SensorSetting sentinelSetting() {
    return SensorSetting{kSentinel, kSentinel, MSize(-7, -7), kSentinel, kSentinel};
}

struct Outcome {
    bool result = false;
    SensorSetting setting = sentinelSetting();
    unsigned int outValue = kSentinel;  // the seamless flags of the legacy policy
};

// One decision through a new adaptor, as the HAL makes it.
inline Outcome decide(const Session& s) {
    CustSettingAlgoAdaptor adaptor(s.sensorIdx);
    Outcome o;
    o.result =
        adaptor.selectSensorSetting(s.appConfig, s.streamInfo, o.setting, s.sensorIdx, o.outValue,
                                    s.userConfig, s.floatParam0, s.floatParam1, s.hdrMode);
    return o;
}

// The selection record of the only feature-chip message sent so far.
inline CustSelectIn4Setting sentSelectIn() {
    const auto& calls = hostplatform::state().recorded.featureChip;
    EXPECT_EQ(calls.size(), 1u);
    if (calls.empty() || !calls.back().selectIn) return CustSelectIn4Setting();
    return *calls.back().selectIn;
}

// The scenario a decision handed to the sensor-info helper; -1 when it asked nothing.
inline int32_t parsedScenario() {
    const auto& queries = hostplatform::state().recorded.sensorInfo;
    return queries.empty() ? -1 : queries.front().scenarioId;
}

// Replaces every table of the store with those of `text` and forgets the calls made so far.
inline void loadTables(const std::string& text) {
    const hostconfig::LoadResult loaded = hostconfig::loadText(text, "test.config");
    ASSERT_TRUE(loaded.ok) << loaded.error();
    hostconfig::clearCalls();
}

inline std::string joined(const Strings& parts, const char* separator = " ") {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : separator) + part;
    return text;
}

// The Android log of `tag` (every tag when empty) as "E/text": E, W, I or D by priority. The
// Android copy is the one that carries an error's tail "(function){#line:file}". The line of an
// error logged with the source line (not a named one) is where the compiler puts a multi-line
// call, which clang and gcc put differently: unless `exactLines`, it reads "#line".
inline Strings logLines(const std::string& tag = "", bool exactLines = false) {
    static const std::regex kSourceLine(R"(\{#[0-9]+:)");
    Strings lines;
    for (const hostplatform::LogRecord& r : hostplatform::state().recorded.androidLog) {
        if (!tag.empty() && r.tag != tag) continue;
        const int p = r.priorityOrLevel;
        const char* level = p == 6 ? "E/" : p == 5 ? "W/" : p == 4 ? "I/" : p == 3 ? "D/" : "?/";
        const std::string text =
            exactLines ? r.text : std::regex_replace(r.text, kSourceLine, "{#line:");
        lines.push_back(level + (tag.empty() ? r.tag + ": " : "") + text);
    }
    return lines;
}

// How often `line` ("I/text") appears in the log of `tag`.
inline long logCount(const std::string& tag, const std::string& line) {
    const Strings log = logLines(tag);
    return std::count(log.begin(), log.end(), line);
}

// What the platform saw since the last reset, one line each: the store calls, then the log.
inline std::string transcript(const std::string& tag = "") {
    std::string text;
    for (const std::string& call : hostconfig::describedCalls()) text += "  " + call + "\n";
    for (const std::string& line : logLines(tag)) text += "  " + line + "\n";
    return text;
}

// Compares `text` with tests/golden/<name>.txt. With CUSTPOLICY_UPDATE_GOLDENS set the file is
// rewritten instead (build/clang/tests/custpolicy_tests): review its diff before committing.
inline void expectGolden(const std::string& name, const std::string& text) {
    const std::string path = std::string(CUSTPOLICY_TEST_GOLDEN_DIR) + "/" + name + ".txt";
    if (std::getenv("CUSTPOLICY_UPDATE_GOLDENS") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
        return;
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file) << "missing golden file " << path;
    std::stringstream expected;
    expected << file.rdbuf();
    EXPECT_EQ(expected.str(), text) << "differs from " << path;
}

// A reset platform and an empty store.
class PolicyTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostplatform::reset();
        hostconfig::clear();
        hostconfig::clearCalls();
        mSession = Session();
    }
    void TearDown() override { hostconfig::clear(); }

    Session mSession;
};

// Sensor 0 on the new setting policy: scenario 3 known to the sensor-info helper, the static
// entries every selection reads, and the service answering 3.
class SettingTest : public PolicyTest {
protected:
    static constexpr int32_t kKnownScenario = 3;

    void SetUp() override {
        PolicyTest::SetUp();
        installNewPolicySensor(0);
        answerScenario(kKnownScenario);
    }
    static void installNewPolicySensor(int32_t idx) {
        hostplatform::sensor(idx).newSettingPolicy = true;
        hostplatform::sensor(idx).modes[kKnownScenario] = {30, MSize(4000, 3000), 2};
        setStatic<MSize>(idx, kTagPixelArraySize, {MSize(8192, 6144)});
        setStatic<int64_t>(idx, kTagMinFrameDurations, {0x23, 4000, 3000, 33333333});
        setStatic<int32_t>(idx, kTagAeAvailableTargetFpsRanges, {15, 30, 30, 30});
    }
    static void answerScenario(int32_t scenario) {
        hostplatform::state().featureChip = [scenario](const CustTransMsgData*,
                                                       CustTransMsgData* reply) {
            *static_cast<int32_t*>(reply->pData) = scenario;
        };
    }
};

// Sensors 0 and 1 on the legacy setting policy, knowing scenarios 0 to 20 (mode 30 + scenario).
class LegacyTest : public PolicyTest {
protected:
    void SetUp() override {
        PolicyTest::SetUp();
        for (int32_t sensorIdx : {0, 1}) {
            for (int32_t scenario = 0; scenario <= 20; ++scenario) {
                hostplatform::sensor(sensorIdx).modes[scenario] =
                    hostplatform::SensorMode{static_cast<uint32_t>(30 + scenario),
                                             MSize(4000, 3000), static_cast<uint32_t>(scenario)};
            }
        }
    }

    CustSettingPolicyLegacy mPolicy;
};

}  // namespace cptest
