// Session parameters come from applications and static metadata from vendor files: neither is
// trusted. Every read of an entry stays inside it. An entry shorter than a read needs gives that
// read's fallback, and an entry holding another item type than the read expects reads as absent
// or 0. The raw-block reads (the temperature, the traversal item) go by bytes, whatever the type.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cust_rrzo_policy.h"
#include "host_image_stream.h"
#include "test_legacy_support.h"
#include "test_setting_support.h"

namespace {

// ---- New sensor-setting policy: the selection record ----------------------------------------

// What the default inputs of the setting tests put into the record: durations of 30 fps, a 4:3
// pixel array of 8192x6144 under a 4:3 stream, AE ranges up to 30 and no AOV mode.
struct SelectionFacts {
    int32_t maxFps = 30;
    int32_t maxRatio = 750;
    int32_t highFpsThres = 30;
    int32_t aovMode = 0;
    MSize pixelArraySize{8192, 6144};
};

class UntrustedSelectionInputs : public settingtest::SettingTest {};

TEST_F(UntrustedSelectionInputs, ReadsStayInsideTheirEntries) {
    using settingtest::Inputs;
    using settingtest::kTagAeAvailableTargetFpsRanges;
    using settingtest::kTagAeTargetFpsRange;
    using settingtest::kTagAovMode;
    using settingtest::kTagMinFrameDurations;
    using settingtest::kTagPixelArraySize;
    using settingtest::setStatic;
    const auto session = [](Inputs& i, const NSCam::IEntry& entry) {
        i.appConfig->sessionParams.update(entry);
    };
    struct Case {
        const char* why;
        std::function<void(Inputs&)> arrange;
        std::function<void(SelectionFacts&)> expect;
    };
    const Case kCases[] = {
        {"session range of 64-bit items: its upper bound reads as 0, durations decide",
         [&](Inputs& i) {
             // Read as raw 32-bit words, the block's second word would be 60.
             session(i, NSCam::IEntry::of<int64_t>(kTagAeTargetFpsRange, {(60LL << 32) | 15}));
         },
         [](SelectionFacts&) {}},
        {"session range of sizes: its upper bound reads as 0",
         [&](Inputs& i) {
             session(i, NSCam::IEntry::of<MSize>(kTagAeTargetFpsRange, {{60, 60}, {60, 60}}));
         },
         [](SelectionFacts&) {}},
        {"empty session range: its upper bound reads as 0",
         [&](Inputs& i) { session(i, NSCam::IEntry(kTagAeTargetFpsRange)); },
         [](SelectionFacts&) {}},
        {"durations of 32-bit items read as 0: no frame rate",
         [](Inputs&) {
             // Read as raw 64-bit words, the block would be one group of 60 fps.
             setStatic<int32_t>(0, kTagMinFrameDurations, {0x23, 0, 640, 0, 480, 0, 16666666, 0});
         },
         [](SelectionFacts& f) { f.maxFps = 0; }},
        {"a duration group cut before its duration reads it as 0",
         [](Inputs&) {
             setStatic<int64_t>(0, kTagMinFrameDurations, {0x23, 640, 480});
         },
         [](SelectionFacts& f) { f.maxFps = 0; }},
        {"pixel array of 32-bit items reads as (0, 0): a square stream keeps its own ratio",
         [](Inputs& i) {
             setStatic<int32_t>(0, kTagPixelArraySize, {8192, 6144});
             i.userConfig = settingtest::userConfigOf({{3000, 3000}});
         },
         [](SelectionFacts& f) {
             f.pixelArraySize = MSize(0, 0);
             f.maxRatio = 1000;
         }},
        {"pixel array of one byte reads as (0, 0)",
         [](Inputs&) { setStatic<uint8_t>(0, kTagPixelArraySize, {1}); },
         [](SelectionFacts& f) {
             f.pixelArraySize = MSize(0, 0);
             f.maxRatio = 750;  // the stream's own 4:3
         }},
        {"AE ranges of 64-bit items read as 0",
         [](Inputs&) {
             // Read as raw 32-bit words, the block's second word would be 30.
             setStatic<int64_t>(0, kTagAeAvailableTargetFpsRanges,
                                {(30LL << 32) | 15, (120LL << 32) | 60});
         },
         [](SelectionFacts& f) { f.highFpsThres = 0; }},
        {"AE ranges of a lone lower bound have no upper bound",
         [](Inputs&) { setStatic<int32_t>(0, kTagAeAvailableTargetFpsRanges, {240}); },
         [](SelectionFacts& f) { f.highFpsThres = 0; }},
        {"AOV mode of bytes reads as absent",
         [&](Inputs& i) { session(i, NSCam::IEntry::of<uint8_t>(kTagAovMode, {2})); },
         [](SelectionFacts&) {}},
        {"empty AOV entry reads as absent",
         [&](Inputs& i) { session(i, NSCam::IEntry(kTagAovMode)); }, [](SelectionFacts&) {}},
        {"control: an AOV mode of 32-bit items is read",
         [&](Inputs& i) { session(i, NSCam::IEntry::of<int32_t>(kTagAovMode, {2})); },
         [](SelectionFacts& f) { f.aovMode = 2; }},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        Inputs inputs;
        c.arrange(inputs);
        settingtest::decide(inputs);
        SelectionFacts expected;
        c.expect(expected);
        const CustSelectIn4Setting record = settingtest::sentSelectIn();
        EXPECT_EQ(record.maxFps, expected.maxFps);
        EXPECT_EQ(record.maxRatio, expected.maxRatio);
        EXPECT_EQ(record.highFpsThres, expected.highFpsThres);
        EXPECT_EQ(record.aovMode, expected.aovMode);
        EXPECT_EQ(record.pixelArraySize, expected.pixelArraySize);
    }
}

// ---- Legacy sensor-setting policy: the manager record and the engineering override ----------

class UntrustedLegacyFacts : public legacytest::LegacyTest {
protected:
    // One decision for sensor 0 through the adaptor; the scenario it chose, or -1.
    int32_t decide() {
        CustSettingAlgoAdaptor adaptor(0);
        legacytest::SensorSetting setting = legacytest::sentinelSetting();
        unsigned int seamlessFlags = 0;
        const mcam::core::device::policy::AppUserConfiguration userConfig;
        const bool result =
            adaptor.selectSensorSetting(mSession.appConfig, mSession.streamInfo, setting, 0,
                                        seamlessFlags, userConfig, 1.0f, 2.0f, 0);
        return result ? static_cast<int32_t>(setting.sensorMode) : -1;
    }
};

// A temperature that a block holds 40 bytes in.
constexpr int32_t kHot = 45;

TEST_F(UntrustedLegacyFacts, ManagerRecordGetsFallbacksForUnreadableFacts) {
    using legacytest::kTagApiValue;
    using legacytest::kTagTemperature;
    struct Case {
        const char* why;
        NSCam::IEntry api;          // tag 0 leaves the API value out
        NSCam::IEntry temperature;  // tag 0 leaves the temperature out
        int32_t expectedApi, expectedTemperature;
    };
    const Case kCases[] = {
        {"API value of 64-bit items reads as absent", NSCam::IEntry::of<int64_t>(kTagApiValue, {2}),
         NSCam::IEntry(), -1, -1},
        {"API value of bytes reads as absent", NSCam::IEntry::of<uint8_t>(kTagApiValue, {2}),
         NSCam::IEntry(), -1, -1},
        {"empty API entry reads as absent", NSCam::IEntry(kTagApiValue), NSCam::IEntry(), -1, -1},
        {"control: API value of 32-bit items", NSCam::IEntry::of<int32_t>(kTagApiValue, {2}),
         NSCam::IEntry(), 2, -1},
        {"temperature block of five 64-bit items is 40 bytes: too short", NSCam::IEntry(),
         NSCam::IEntry::of<int64_t>(kTagTemperature, {kHot, kHot, kHot, kHot, kHot}), -1, -1},
        {"temperature block of six 64-bit items: the low half of the sixth", NSCam::IEntry(),
         NSCam::IEntry::of<int64_t>(kTagTemperature, {0, 0, 0, 0, 0, 0x700000000LL + kHot}), -1,
         kHot},
        {"temperature block of sizes: the width of the sixth", NSCam::IEntry(),
         NSCam::IEntry::of<MSize>(kTagTemperature, {{}, {}, {}, {}, {}, {kHot, 7}}), -1, kHot},
        {"temperature block of 43 bytes: too short", NSCam::IEntry(),
         legacytest::temperatureEntry(kHot, 43), -1, -1},
        {"empty temperature entry", NSCam::IEntry(), NSCam::IEntry(kTagTemperature), -1, -1},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::CustomerFacts& customer = hostplatform::state().customer;
        customer.systemCam = false;
        customer.thirdPartyCam = true;
        customer.curCamName = "com.app";
        customer.activityName = "com.app/.Main";
        hostplatform::state().thirdCap = {true, 4};
        if (c.api.tag() != 0) mSession.appConfig->sessionParams.update(c.api);
        if (c.temperature.tag() != 0) mSession.appConfig->sessionParams.update(c.temperature);

        EXPECT_EQ(decide(), 4);
        ASSERT_EQ(hostplatform::state().recorded.thirdCap.size(), 1u);
        const hostplatform::ThirdCapCall& record = hostplatform::state().recorded.thirdCap.front();
        EXPECT_EQ(record.apiValue, c.expectedApi);
        EXPECT_EQ(record.temperature, c.expectedTemperature);
    }
}

constexpr uint32_t kTagTraversalMode = 0x9004003D;
constexpr uint32_t kTraversalOperationMode = 0x40009007;
constexpr int32_t kTraversalScenario = 16;

TEST_F(UntrustedLegacyFacts, EngineeringOverrideReadsOnlyWhatTheEntriesHold) {
    using legacytest::kTagEngineerSensorModeSel;
    struct Case {
        const char* why;
        uint32_t operationMode;
        NSCam::IEntry traversal;   // static metadata of sensor 0; tag 0 leaves it out
        NSCam::IEntry sensorMode;  // session parameters; tag 0 leaves it out
        int32_t expected;          // -1: no decision
    };
    const NSCam::IEntry kModeFive = NSCam::IEntry::of<uint8_t>(kTagEngineerSensorModeSel, {5});
    const Case kCases[] = {
        {"sensor mode of 32-bit items reads as absent", 0, NSCam::IEntry(),
         NSCam::IEntry::of<int32_t>(kTagEngineerSensorModeSel, {5}), -1},
        {"empty sensor-mode entry reads as absent", 0, NSCam::IEntry(),
         NSCam::IEntry(kTagEngineerSensorModeSel), -1},
        {"control: a sensor mode of bytes", 0, NSCam::IEntry(), kModeFive, 5},
        {"four zero bytes hold a zero item: the short-cut", kTraversalOperationMode,
         NSCam::IEntry::of<uint8_t>(kTagTraversalMode, {0, 0, 0, 0}), kModeFive,
         kTraversalScenario},
        {"three zero bytes cannot hold an item: read as nonzero", kTraversalOperationMode,
         NSCam::IEntry::of<uint8_t>(kTagTraversalMode, {0, 0, 0}), kModeFive, 5},
        {"a zero 64-bit item begins with a zero word", kTraversalOperationMode,
         NSCam::IEntry::of<int64_t>(kTagTraversalMode, {0x100000000LL}), kModeFive,
         kTraversalScenario},
        {"a 64-bit item with a nonzero low word", kTraversalOperationMode,
         NSCam::IEntry::of<int64_t>(kTagTraversalMode, {1}), kModeFive, 5},
        {"empty traversal entry: read as nonzero", kTraversalOperationMode,
         NSCam::IEntry(kTagTraversalMode), kModeFive, 5},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::state().customer.engineerMode = true;
        mSession.appConfig->operationMode = c.operationMode;
        if (c.traversal.tag() != 0) hostplatform::sensor(0).staticMetadata.update(c.traversal);
        if (c.sensorMode.tag() != 0) mSession.appConfig->sessionParams.update(c.sensorMode);

        legacytest::SensorSetting setting = legacytest::sentinelSetting();
        const bool result =
            mPolicy.selectSensorSetting4MipiTraversal(mSession.appConfig, setting, 0);
        EXPECT_EQ(result, c.expected != -1);
        EXPECT_EQ(legacytest::parsedScenario(), c.expected);
    }
}

// ---- Feature-driven RRZO policy: the stabilisation mode --------------------------------------

constexpr uint32_t kTagEisMode = 0x10011;

TEST(UntrustedRrzoInputs, StabilisationModeOfAnotherTypeReadsAsAbsent) {
    using mcam::core::device::policy::PolicyParsedAppConfiguration;
    using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
    using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
    using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
    using mcam::core::device::policy::featuresetting::StreamRecord;
    struct Case {
        const char* why;
        NSCam::IEntry eisMode;
        bool eisOn;
        bool reportedAbsent;
    };
    const Case kCases[] = {
        {"32-bit items", NSCam::IEntry::of<int32_t>(kTagEisMode, {1}), false, true},
        {"64-bit items", NSCam::IEntry::of<int64_t>(kTagEisMode, {1}), false, true},
        {"empty entry", NSCam::IEntry(kTagEisMode), false, true},
        {"control: one byte", NSCam::IEntry::of<uint8_t>(kTagEisMode, {1}), true, false},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::sensor(0).newRrzoPolicy = true;
        auto app = std::make_shared<PolicyParsedAppConfiguration>();
        auto streams = std::make_shared<PolicyParsedAppImageStreamInfo>();
        auto settings = std::make_shared<CustSensorSettingMap>();
        (*settings)[0].sensorSize = MSize(4000, 3000);
        app->sessionParams.update(c.eisMode);
        StreamRecord record;
        ConfigurationOutputParams out{&record};
        ConfigurationInputParams in{app, streams};
        MSize target(1920, 1080);
        CustRrzoAlgoAdaptor adaptor(0);
        adaptor.calculateTargetSize(0, target, 0, settings, false, false, 0, &out, &in);

        const auto& calls = hostplatform::state().recorded.featureChip;
        ASSERT_FALSE(calls.empty());
        ASSERT_TRUE(calls[0].rrzoStaticInfo);
        EXPECT_EQ(calls[0].rrzoStaticInfo->eisOn, c.eisOn);
        size_t absent = 0;
        for (const std::string& text : hostplatform::unifiedTexts()) {
            absent +=
                text.rfind("[calculateTargetSize] No MTK_CONTROL_VIDEO_STABILIZATION_MODE", 0) == 0;
        }
        EXPECT_EQ(absent, c.reportedAbsent ? 1u : 0u);
    }
}

}  // namespace
