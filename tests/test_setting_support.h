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

namespace settingtest {

using custpolicy_types::AppUserConfiguration;
using custpolicy_types::PolicyParsedAppConfiguration;
using custpolicy_types::PolicyParsedAppImageStreamInfo;
using custpolicy_types::SensorSetting;
using mcam::core::device::policy::ImageStreamInfoPtr;

constexpr uint32_t kTagAeTargetFpsRange = 0x10005;
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;
constexpr uint32_t kTagMinFrameDurations = 0xD000B;
constexpr uint32_t kTagPixelArraySize = 0xF0006;
constexpr uint32_t kTagAovMode = 0x80150001;
constexpr int32_t kKnownScenario = 3;
constexpr uint32_t kSentinel = 0xDEADBEEF;  // an untouched out-value keeps it
constexpr int kAndroidError = 6, kAndroidWarning = 5, kAndroidInfo = 4, kAndroidDebug = 3;
constexpr char kBaseTag[] = "CustSettingPolicyBase";

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
    hostplatform::sensor(sensorIdx).staticMetadata.update(NSCam::IEntry::of<T>(tag, items));
}

struct Inputs {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig =
        std::make_shared<PolicyParsedAppConfiguration>();
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo =
        std::make_shared<PolicyParsedAppImageStreamInfo>();
    AppUserConfiguration userConfig = userConfigOf({{4000, 3000}});
    int sensorIdx = 0;
    float floatParam0 = 1.0f, floatParam1 = 2.0f;
    unsigned int hdrMode = 0;
    Inputs() { streamInfo->maxStreamSize = streamInfo->maxYuvSize = MSize(4000, 3000); }
};

inline void installDefaultSensor(int32_t idx) {
    hostplatform::sensor(idx).newSettingPolicy = true;
    hostplatform::sensor(idx).modes[kKnownScenario] = {30, MSize(4000, 3000), 2};
    setStatic<MSize>(idx, kTagPixelArraySize, {MSize(8192, 6144)});
    setStatic<int64_t>(idx, kTagMinFrameDurations, {0x23, 4000, 3000, 33333333});
    setStatic<int32_t>(idx, kTagAeAvailableTargetFpsRanges, {15, 30, 30, 30});
}

inline void answerScenario(int32_t scenario) {
    hostplatform::state().featureChip = [scenario](const CustTransMsgData*,
                                                   CustTransMsgData* reply) {
        *static_cast<int32_t*>(reply->pData) = scenario;
    };
}

inline SensorSetting sentinelSetting() {
    return SensorSetting{kSentinel, kSentinel, MSize(-7, -7), kSentinel, kSentinel};
}

struct Outcome {
    bool result = false;
    SensorSetting setting = sentinelSetting();
    unsigned int outValue = kSentinel;
};

inline Outcome decide(const Inputs& in) {
    CustSettingAlgoAdaptor adaptor(in.sensorIdx);
    Outcome o;
    o.result = adaptor.selectSensorSetting(in.appConfig, in.streamInfo, o.setting, in.sensorIdx,
                                           o.outValue, in.userConfig, in.floatParam0,
                                           in.floatParam1, in.hdrMode);
    return o;
}

// The selection record of the only feature-chip message sent so far.
inline CustSelectIn4Setting sentSelectIn() {
    const auto& calls = hostplatform::state().recorded.featureChip;
    EXPECT_EQ(calls.size(), 1u);
    if (calls.empty() || !calls.back().selectIn) return CustSelectIn4Setting();
    return *calls.back().selectIn;
}

inline std::vector<std::string> androidLines(int priority, const std::string& tag = kBaseTag) {
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
