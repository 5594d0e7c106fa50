#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "custpolicy/cust_setting_policy.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/IMetadata.h"
#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

// Shared set-up of the sensor-setting tests: configurations built from plain sizes, static
// metadata written into the host platform, and one call through the adaptor.
namespace settingtest {

using custpolicy_types::AppUserConfiguration;
using custpolicy_types::PolicyParsedAppConfiguration;
using custpolicy_types::PolicyParsedAppImageStreamInfo;
using custpolicy_types::SensorSetting;
using mcam::core::device::policy::ImageStreamInfoPtr;

// Tags the tests write; the library reads them.
constexpr uint32_t kTagAeTargetFpsRange = 0x10005;
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;
constexpr uint32_t kTagMinFrameDurations = 0xD000B;
constexpr uint32_t kTagPixelArraySize = 0xF0006;
constexpr uint32_t kTagAovMode = 0x80150001;

constexpr int64_t kFormatYuv = 0x23;
// Scenario the host sensor-info helper knows by default in these tests.
constexpr int32_t kKnownScenario = 3;
// Values an untouched out-record keeps, so that any write shows.
constexpr uint32_t kSentinel = 0xDEADBEEF;

inline ImageStreamInfoPtr stream(int32_t w, int32_t h) {
    hostplatform::ImageStreamFacts facts;
    facts.size = MSize(w, h);
    return hostplatform::makeImageStream(facts);
}

inline std::vector<ImageStreamInfoPtr> streams(std::initializer_list<MSize> sizes) {
    std::vector<ImageStreamInfoPtr> list;
    for (const MSize& size : sizes) list.push_back(stream(size.w, size.h));
    return list;
}

inline AppUserConfiguration userConfigOf(std::initializer_list<MSize> sizes) {
    AppUserConfiguration config;
    int64_t id = 0;
    for (const MSize& size : sizes) config.imageStreams[id++] = stream(size.w, size.h);
    return config;
}

template <typename T>
void setStatic(int32_t sensorIdx, uint32_t tag, std::initializer_list<T> items) {
    hostplatform::sensor(sensorIdx).staticMetadata.update(NSCam::IEntry::of<T>(tag, items));
}

inline void removeStatic(int32_t sensorIdx, uint32_t tag) {
    hostplatform::sensor(sensorIdx).staticMetadata.remove(tag);
}

// A configuration that every test starts from: one 4000x3000 stream on a 4:3 sensor with
// complete static metadata, the new policy, and a service that answers kKnownScenario.
struct Inputs {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig =
        std::make_shared<PolicyParsedAppConfiguration>();
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo =
        std::make_shared<PolicyParsedAppImageStreamInfo>();
    AppUserConfiguration userConfig = userConfigOf({{4000, 3000}});
    int sensorIdx = 0;
    float floatParam0 = 1.0f;
    float floatParam1 = 2.0f;
    unsigned int hdrMode = 0;

    Inputs() {
        streamInfo->maxStreamSize = MSize(4000, 3000);
        streamInfo->maxYuvSize = MSize(4000, 3000);
    }
};

inline void installDefaultSensor(int32_t sensorIdx) {
    hostplatform::SensorFacts& facts = hostplatform::sensor(sensorIdx);
    facts.newSettingPolicy = true;
    facts.modes[kKnownScenario] = hostplatform::SensorMode{30, MSize(4000, 3000), 2};
    setStatic<MSize>(sensorIdx, kTagPixelArraySize, {MSize(8192, 6144)});
    setStatic<int64_t>(sensorIdx, kTagMinFrameDurations, {kFormatYuv, 4000, 3000, 33333333});
    setStatic<int32_t>(sensorIdx, kTagAeAvailableTargetFpsRanges, {15, 30, 30, 30});
}

// A service that names `scenario` through the reply.
inline void answerScenario(int32_t scenario) {
    hostplatform::state().featureChip = [scenario](const CustTransMsgData*,
                                                   CustTransMsgData* reply) {
        *static_cast<int32_t*>(reply->pData) = scenario;
    };
}

inline SensorSetting sentinelSetting() {
    SensorSetting setting;
    setting.sensorMode = kSentinel;
    setting.sensorFps = kSentinel;
    setting.sensorSize = MSize(-7, -7);
    setting.sensorPattern = kSentinel;
    setting.rawFmtType = kSentinel;
    return setting;
}

inline void expectSameSetting(const SensorSetting& actual, const SensorSetting& expected) {
    EXPECT_EQ(actual.sensorMode, expected.sensorMode);
    EXPECT_EQ(actual.sensorFps, expected.sensorFps);
    EXPECT_EQ(actual.sensorSize, expected.sensorSize);
    EXPECT_EQ(actual.sensorPattern, expected.sensorPattern);
    EXPECT_EQ(actual.rawFmtType, expected.rawFmtType);
}

struct Outcome {
    bool result = false;
    SensorSetting setting = sentinelSetting();
    unsigned int outValue = kSentinel;
};

// One decision through a fresh adaptor for the inputs' sensor.
inline Outcome decide(const Inputs& inputs) {
    CustSettingAlgoAdaptor adaptor(inputs.sensorIdx);
    Outcome outcome;
    outcome.result = adaptor.selectSensorSetting(
        inputs.appConfig, inputs.streamInfo, outcome.setting, inputs.sensorIdx, outcome.outValue,
        inputs.userConfig, inputs.floatParam0, inputs.floatParam1, inputs.hdrMode);
    return outcome;
}

// The selection record of the only 0x1005 message sent so far.
inline CustSelectIn4Setting sentSelectIn() {
    const auto& calls = hostplatform::state().recorded.featureChip;
    EXPECT_EQ(calls.size(), 1u);
    if (calls.empty() || !calls.back().selectIn) return CustSelectIn4Setting();
    return *calls.back().selectIn;
}

// Android log lines with this tag and priority.
inline std::vector<std::string> androidLines(const std::string& tag, int priority) {
    std::vector<std::string> lines;
    for (const auto& record : hostplatform::state().recorded.androidLog) {
        if (record.tag == tag && record.priorityOrLevel == priority) lines.push_back(record.text);
    }
    return lines;
}

class SettingTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostplatform::reset();
        installDefaultSensor(0);
        answerScenario(kKnownScenario);
    }
};

}  // namespace settingtest
