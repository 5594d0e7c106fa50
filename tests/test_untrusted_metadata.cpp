// Session parameters come from applications and static metadata from vendor files: neither is
// trusted. Every read of an entry stays inside it. An entry shorter than a read needs gives that
// read's fallback, and an entry holding another item type than the read expects reads as absent
// or 0. The raw-block reads (the temperature, the traversal item) go by bytes, whatever the type.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cust_rrzo_policy.h"
#include "host_image_stream.h"
#include "test_legacy_support.h"
#include "test_setting_support.h"

namespace {

using NSCam::IEntry;

constexpr uint32_t kAeTargetFpsRange = 0x10005, kAeAvailableTargetFpsRanges = 0x10014;
constexpr uint32_t kMinFrameDurations = 0xD000B, kPixelArraySize = 0xF0006, kAovMode = 0x80150001;

class UntrustedSelectionInputs : public settingtest::SettingTest {};

// The default inputs give durations of 30 fps, a 4:3 pixel array of 8192x6144 under a 4:3
// stream, AE ranges up to 30 and no AOV mode. Comments name what a raw-word read would see.
TEST_F(UntrustedSelectionInputs, ReadsStayInsideTheirEntries) {
    const MSize kArray(8192, 6144), kNoArray(0, 0);
    struct Case {
        const char* why;
        IEntry session, sensorStatic;  // tag 0 leaves it out
        bool squareStream;
        int32_t maxFps, maxRatio, highFpsThres, aovMode;
        MSize pixelArraySize;
    };
    const Case kCases[] = {
        {"session range of 64-bit items: its upper bound reads as 0, durations decide",
         IEntry::of<int64_t>(kAeTargetFpsRange, {(60LL << 32) | 15}),  // second word 60
         IEntry(), false, 30, 750, 30, 0, kArray},
        {"empty session range: its upper bound reads as 0", IEntry(kAeTargetFpsRange), IEntry(),
         false, 30, 750, 30, 0, kArray},
        {"durations of 32-bit items read as 0: no frame rate", IEntry(),
         IEntry::of<int32_t>(kMinFrameDurations, {0x23, 0, 640, 0, 480, 0, 16666666, 0}),  // 60fps
         false, 0, 750, 30, 0, kArray},
        {"a duration group cut before its duration reads it as 0", IEntry(),
         IEntry::of<int64_t>(kMinFrameDurations, {0x23, 640, 480}), false, 0, 750, 30, 0, kArray},
        {"pixel array of 32-bit items reads as (0, 0): a square stream keeps its own ratio",
         IEntry(), IEntry::of<int32_t>(kPixelArraySize, {8192, 6144}), true, 30, 1000, 30, 0,
         kNoArray},
        {"AE ranges of 64-bit items read as 0", IEntry(),
         IEntry::of<int64_t>(kAeAvailableTargetFpsRanges, {(30LL << 32) | 15}),  // second word 30
         false, 30, 750, 0, 0, kArray},
        {"AE ranges of a lone lower bound have no upper bound", IEntry(),
         IEntry::of<int32_t>(kAeAvailableTargetFpsRanges, {240}), false, 30, 750, 0, 0, kArray},
        {"AOV mode of bytes reads as absent", IEntry::of<uint8_t>(kAovMode, {2}), IEntry(), false,
         30, 750, 30, 0, kArray},
        {"control: an AOV mode of 32-bit items is read", IEntry::of<int32_t>(kAovMode, {2}),
         IEntry(), false, 30, 750, 30, 2, kArray},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        settingtest::Inputs inputs;
        if (c.session.tag() != 0) inputs.appConfig->sessionParams.update(c.session);
        if (c.sensorStatic.tag() != 0) {
            hostplatform::sensor(0).staticMetadata.update(c.sensorStatic);
        }
        if (c.squareStream) inputs.userConfig = settingtest::userConfigOf({{3000, 3000}});
        settingtest::decide(inputs);
        const CustSelectIn4Setting record = settingtest::sentSelectIn();
        EXPECT_EQ(record.maxFps, c.maxFps);
        EXPECT_EQ(record.maxRatio, c.maxRatio);
        EXPECT_EQ(record.highFpsThres, c.highFpsThres);
        EXPECT_EQ(record.aovMode, c.aovMode);
        EXPECT_EQ(record.pixelArraySize, c.pixelArraySize);
    }
}

class UntrustedLegacyFacts : public legacytest::LegacyTest {};

constexpr int32_t kHot = 45;  // the temperature, 40 bytes into its block

TEST_F(UntrustedLegacyFacts, ManagerRecordGetsFallbacksForUnreadableFacts) {
    using legacytest::kTagApiValue;
    using legacytest::kTagTemperature;
    struct Case {
        const char* why;
        IEntry entry;  // a session parameter
        int32_t expectedApi, expectedTemperature;
    };
    const Case kCases[] = {
        {"API value of 64-bit items reads as absent", IEntry::of<int64_t>(kTagApiValue, {2}), -1,
         -1},
        {"empty API entry reads as absent", IEntry(kTagApiValue), -1, -1},
        {"control: API value of 32-bit items", IEntry::of<int32_t>(kTagApiValue, {2}), 2, -1},
        {"temperature block of six 64-bit items: the low half of the sixth",
         IEntry::of<int64_t>(kTagTemperature, {0, 0, 0, 0, 0, 0x700000000LL + kHot}), -1, kHot},
        {"temperature block of 43 bytes: too short", legacytest::temperatureEntry(kHot, 43), -1,
         -1},
        {"temperature block of 44 bytes", legacytest::temperatureEntry(kHot), -1, kHot},
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
        mSession.appConfig->sessionParams.update(c.entry);

        CustSettingAlgoAdaptor adaptor(0);
        legacytest::SensorSetting setting = legacytest::sentinelSetting();
        unsigned int seamlessFlags = 0;
        ASSERT_TRUE(adaptor.selectSensorSetting(mSession.appConfig, mSession.streamInfo, setting, 0,
                                                seamlessFlags, {}, 1.0f, 2.0f, 0));
        EXPECT_EQ(setting.sensorMode, 4u);
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
        IEntry traversal;   // static metadata of sensor 0; tag 0 leaves it out
        IEntry sensorMode;  // session parameters; tag 0 leaves it out
        int32_t expected;   // -1: no decision
    };
    const IEntry kModeFive = IEntry::of<uint8_t>(kTagEngineerSensorModeSel, {5});
    const Case kCases[] = {
        {"sensor mode of 32-bit items reads as absent", 0, IEntry(),
         IEntry::of<int32_t>(kTagEngineerSensorModeSel, {5}), -1},
        {"control: a sensor mode of bytes", 0, IEntry(), kModeFive, 5},
        {"four zero bytes hold a zero item: the short-cut", kTraversalOperationMode,
         IEntry::of<uint8_t>(kTagTraversalMode, {0, 0, 0, 0}), kModeFive, kTraversalScenario},
        {"three zero bytes cannot hold an item: read as nonzero", kTraversalOperationMode,
         IEntry::of<uint8_t>(kTagTraversalMode, {0, 0, 0}), kModeFive, 5},
        {"a zero 64-bit item begins with a zero word", kTraversalOperationMode,
         IEntry::of<int64_t>(kTagTraversalMode, {0x100000000LL}), kModeFive, kTraversalScenario},
        {"a 64-bit item with a nonzero low word", kTraversalOperationMode,
         IEntry::of<int64_t>(kTagTraversalMode, {1}), kModeFive, 5},
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

TEST(UntrustedRrzoInputs, StabilisationModeOfAnotherTypeReadsAsAbsent) {
    namespace policy = mcam::core::device::policy;
    constexpr uint32_t kTagEisMode = 0x10011;
    struct Case {
        const char* why;
        IEntry eisMode;
        bool eisOn;
    };
    const Case kCases[] = {
        {"32-bit items", IEntry::of<int32_t>(kTagEisMode, {1}), false},
        {"empty entry", IEntry(kTagEisMode), false},
        {"control: one byte", IEntry::of<uint8_t>(kTagEisMode, {1}), true},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::sensor(0).newRrzoPolicy = true;
        auto app = std::make_shared<policy::PolicyParsedAppConfiguration>();
        app->sessionParams.update(c.eisMode);
        auto settings = std::make_shared<CustSensorSettingMap>();
        (*settings)[0].sensorSize = MSize(4000, 3000);
        policy::featuresetting::StreamRecord record;
        policy::featuresetting::ConfigurationOutputParams out{&record};
        policy::featuresetting::ConfigurationInputParams in{
            app, std::make_shared<policy::PolicyParsedAppImageStreamInfo>()};
        MSize target(1920, 1080);
        CustRrzoAlgoAdaptor(0).calculateTargetSize(0, target, 0, settings, false, false, 0, &out,
                                                   &in);

        const auto& calls = hostplatform::state().recorded.featureChip;
        ASSERT_FALSE(calls.empty());
        ASSERT_TRUE(calls[0].rrzoStaticInfo);
        EXPECT_EQ(calls[0].rrzoStaticInfo->eisOn, c.eisOn);
        size_t absent = 0;
        for (const std::string& text : hostplatform::unifiedTexts()) {
            absent +=
                text.rfind("[calculateTargetSize] No MTK_CONTROL_VIDEO_STABILIZATION_MODE", 0) == 0;
        }
        EXPECT_EQ(absent, c.eisOn ? 0u : 1u);
    }
}

}  // namespace
