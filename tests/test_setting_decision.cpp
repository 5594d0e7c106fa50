// The sensor-setting adaptor and the new policy's decision: the policy choice, the 0x1005
// conversation with the feature-chip service, the filling of SensorSetting and the log output.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "platform/ULogger.h"
#include "test_setting_support.h"

namespace settingtest {
namespace {

using hostplatform::SensorInfoQuery;
using NSCam::Utils::ULog::ULogger;

constexpr uint32_t kMsgIdSensorSetting = 0x1005;
constexpr int kAndroidError = 6;
constexpr int kAndroidWarning = 5;
constexpr int kAndroidInfo = 4;
constexpr int kAndroidDebug = 3;
constexpr char kBaseTag[] = "CustSettingPolicyBase";
constexpr char kPolicyTag[] = "CustSettingPolicy";
constexpr char kNewPolicyLine[] =
    "[selectSensorSetting] Using New Customized SensorSetting Decision Policy";

size_t settingMessages() {
    size_t count = 0;
    for (const auto& call : hostplatform::state().recorded.featureChip) {
        if (call.request.msgId == kMsgIdSensorSetting) ++count;
    }
    return count;
}

std::vector<SensorInfoQuery> sensorInfoQueries() {
    std::vector<SensorInfoQuery> queries;
    for (const auto& call : hostplatform::state().recorded.sensorInfo)
        queries.push_back(call.query);
    return queries;
}

using SettingAdaptor = SettingTest;

TEST_F(SettingAdaptor, ChoosesPolicyOnceAtConstruction) {
    struct Case {
        int sensorIdx;
        bool newPolicy;
        const char* why;
    };
    const Case kCases[] = {
        {0, true, "sensor 0 on the new policy"},
        {1, false, "sensor 1 on the legacy policy"},
        {2, true, "sensor 2 on the new policy"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        installDefaultSensor(c.sensorIdx);
        hostplatform::sensor(c.sensorIdx).newSettingPolicy = c.newPolicy;
        CustSettingAlgoAdaptor adaptor(c.sensorIdx);
        // A later change of the capability answer does not change the adaptor's policy.
        hostplatform::sensor(c.sensorIdx).newSettingPolicy = !c.newPolicy;

        Inputs inputs;
        inputs.sensorIdx = c.sensorIdx;
        Outcome outcome;
        outcome.result = adaptor.selectSensorSetting(
            inputs.appConfig, inputs.streamInfo, outcome.setting, c.sensorIdx, outcome.outValue,
            inputs.userConfig, inputs.floatParam0, inputs.floatParam1, inputs.hdrMode);

        const size_t expectedCalls = c.newPolicy ? 1 : 0;
        EXPECT_EQ(settingMessages(), expectedCalls);
        EXPECT_EQ(androidLines(kPolicyTag, kAndroidDebug).size(), expectedCalls);
        if (c.newPolicy) {
            EXPECT_TRUE(outcome.result);
            EXPECT_EQ(outcome.setting.sensorMode, static_cast<uint32_t>(kKnownScenario));
            EXPECT_EQ(outcome.outValue, kSentinel);
        }
    }
}

TEST_F(SettingAdaptor, ForwardsEveryArgumentUnchanged) {
    constexpr int kSensor = 2;
    installDefaultSensor(kSensor);
    hostplatform::sensor(kSensor).modes[kKnownScenario] = {24, MSize(2000, 1500), 9};
    Inputs inputs;
    inputs.sensorIdx = kSensor;
    inputs.floatParam0 = 1.25f;
    inputs.floatParam1 = -3.5f;
    inputs.hdrMode = 0x40;
    inputs.userConfig = userConfigOf({{1920, 1080}});
    const long appUses = inputs.appConfig.use_count();
    const long streamUses = inputs.streamInfo.use_count();

    CustSettingAlgoAdaptor adaptor(kSensor);
    Outcome outcome;
    outcome.result = adaptor.selectSensorSetting(
        inputs.appConfig, inputs.streamInfo, outcome.setting, kSensor, outcome.outValue,
        inputs.userConfig, inputs.floatParam0, inputs.floatParam1, inputs.hdrMode);

    EXPECT_TRUE(outcome.result);
    EXPECT_EQ(outcome.outValue, kSentinel);
    EXPECT_EQ(inputs.appConfig.use_count(), appUses);
    EXPECT_EQ(inputs.streamInfo.use_count(), streamUses);
    EXPECT_EQ(outcome.setting.sensorFps, 24u);

    const auto& maxSizeCalls = hostplatform::state().recorded.maxStreamSize;
    ASSERT_EQ(maxSizeCalls.size(), 1u);
    EXPECT_EQ(maxSizeCalls[0].sensorIdx, kSensor);
    EXPECT_EQ(maxSizeCalls[0].floatParam0, 1.25f);
    EXPECT_EQ(maxSizeCalls[0].floatParam1, -3.5f);
    EXPECT_EQ(sentSelectIn().maxRatio, 562);
    const std::string selectLine = androidLines(kBaseTag, kAndroidDebug).at(0);
    EXPECT_NE(selectLine.find("hdrMode = 0x40 "), std::string::npos) << selectLine;
}

using NewPolicyDecision = SettingTest;

TEST_F(NewPolicyDecision, RequestMessageLaidOutExactly) {
    hostplatform::sensor(0).deviceMask = 8;
    std::optional<int32_t> replyBeforeAnswer;
    hostplatform::state().featureChip = [&](const CustTransMsgData*, CustTransMsgData* reply) {
        replyBeforeAnswer = *static_cast<const int32_t*>(reply->pData);
        *static_cast<int32_t*>(reply->pData) = kKnownScenario;
    };
    decide(Inputs());

    const auto& calls = hostplatform::state().recorded.featureChip;
    ASSERT_EQ(calls.size(), 1u);
    const hostplatform::FeatureChipCall& call = calls[0];

    uint8_t expectedRequest[sizeof(CustTransMsgData)] = {};
    expectedRequest[12] = 0x05;
    expectedRequest[13] = 0x10;
    std::memcpy(expectedRequest + 24, &call.request.pData, sizeof(void*));
    expectedRequest[32] = 24;
    EXPECT_EQ(std::memcmp(&call.request, expectedRequest, sizeof(expectedRequest)), 0);
    EXPECT_NE(call.request.pData, nullptr);

    uint8_t expectedReply[sizeof(CustTransMsgData)] = {};
    std::memcpy(expectedReply + 24, &call.reply.pData, sizeof(void*));
    expectedReply[32] = 4;
    EXPECT_EQ(std::memcmp(&call.reply, expectedReply, sizeof(expectedReply)), 0);
    EXPECT_NE(call.reply.pData, nullptr);
    EXPECT_EQ(replyBeforeAnswer, std::optional<int32_t>(0));

    ASSERT_EQ(call.requestPayload.size(), 24u);
    const std::vector<uint8_t> head(call.requestPayload.begin(), call.requestPayload.begin() + 8);
    EXPECT_EQ(head, (std::vector<uint8_t>{1, 0, 0, 0, 3, 0, 0, 0}));
    void* selectIn = nullptr;
    std::memcpy(&selectIn, call.requestPayload.data() + 8, sizeof(selectIn));
    EXPECT_NE(selectIn, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(call.requestPayload.begin() + 16, call.requestPayload.end()),
              std::vector<uint8_t>(8, 0));
    EXPECT_EQ(sentSelectIn().drvId, 3);
    EXPECT_EQ(call.replyPayload, (std::vector<uint8_t>{3, 0, 0, 0}));
}

TEST_F(NewPolicyDecision, ReplyNamesTheScenario) {
    struct Case {
        std::optional<int32_t> answer;  // unset: the service writes nothing
        bool expectedResult;
        std::optional<int32_t> filledScenario;  // unset: the setting stays as it was
        std::vector<SensorInfoQuery> queries;
        const char* why;
    };
    const std::vector<SensorInfoQuery> kAll = {SensorInfoQuery::Fps, SensorInfoQuery::Size,
                                               SensorInfoQuery::RawFmtType};
    const Case kCases[] = {
        {3, true, 3, kAll, "a named scenario fills the setting"},
        {-1, false, std::nullopt, {}, "-1: no scenario, nothing asked, nothing logged"},
        {std::nullopt, true, 0, kAll, "no answer: scenario 0"},
        {7, true, std::nullopt, {SensorInfoQuery::Fps}, "a scenario the helper does not know"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::sensor(0).modes[0] = {120, MSize(1280, 720), 4};
        hostplatform::sensor(0).modes[3] = {60, MSize(4000, 2250), 1};
        hostplatform::state().featureChip = nullptr;
        if (c.answer) answerScenario(*c.answer);

        const Outcome outcome = decide(Inputs());
        EXPECT_EQ(outcome.result, c.expectedResult);
        EXPECT_EQ(outcome.outValue, kSentinel);
        EXPECT_EQ(sensorInfoQueries(), c.queries);
        for (const auto& call : hostplatform::state().recorded.sensorInfo) {
            EXPECT_EQ(call.scenarioId, c.answer.value_or(0));
        }
        SensorSetting expected = sentinelSetting();
        if (c.filledScenario) {
            const hostplatform::SensorMode& mode = hostplatform::sensor(0).modes[*c.filledScenario];
            expected.sensorMode = static_cast<uint32_t>(*c.filledScenario);
            expected.sensorFps = mode.fps;
            expected.sensorSize = mode.size;
            expected.rawFmtType = mode.rawFmtType;
        }
        expectSameSetting(outcome.setting, expected);

        std::vector<std::string> expectedInfo;
        std::vector<std::string> expectedDecisionDebug;
        if (c.filledScenario) {
            expectedInfo.push_back("[parseSensorSetting] match setting(final result): " +
                                   std::to_string(*c.filledScenario));
        }
        if (c.expectedResult) {
            const int32_t scenario = c.answer.value_or(0);
            expectedDecisionDebug.push_back(
                "[selectSensorSetting4Normal] scenarioId(" + std::to_string(scenario) +
                ") sensorMode(" + std::to_string(static_cast<int>(expected.sensorMode)) + ")");
        }
        EXPECT_EQ(androidLines(kBaseTag, kAndroidInfo), expectedInfo);
        const auto debug = androidLines(kBaseTag, kAndroidDebug);
        ASSERT_GE(debug.size(), 1u);  // the selection-input line
        EXPECT_EQ(std::vector<std::string>(debug.begin() + 1, debug.end()), expectedDecisionDebug);
    }
}

TEST_F(NewPolicyDecision, SensorInfoQueryFailureWritesNothing) {
    struct Case {
        hostplatform::SensorMode mode;
        std::vector<SensorInfoQuery> queries;
        const char* warning;
        const char* why;
    };
    hostplatform::SensorMode fpsFails;
    fpsFails.fpsFails = true;
    hostplatform::SensorMode sizeFails;
    sizeFails.sizeFails = true;
    hostplatform::SensorMode rawFails;
    rawFails.rawFmtTypeFails = true;
    const Case kCases[] = {
        {fpsFails,
         {SensorInfoQuery::Fps},
         "[parseSensorSetting] getSensorFps fail",
         "frame rate fails: no further queries"},
        {sizeFails,
         {SensorInfoQuery::Fps, SensorInfoQuery::Size},
         "[parseSensorSetting] getSensorSize fail",
         "size fails: raw format not asked"},
        {rawFails,
         {SensorInfoQuery::Fps, SensorInfoQuery::Size, SensorInfoQuery::RawFmtType},
         "[parseSensorSetting] rawFmtType fail",
         "raw format fails last"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::sensor(0).modes[5] = c.mode;
        answerScenario(5);

        const Outcome outcome = decide(Inputs());
        EXPECT_TRUE(outcome.result);
        expectSameSetting(outcome.setting, sentinelSetting());
        EXPECT_EQ(sensorInfoQueries(), c.queries);
        EXPECT_EQ(androidLines(kBaseTag, kAndroidWarning), std::vector<std::string>{c.warning});
        EXPECT_TRUE(androidLines(kBaseTag, kAndroidInfo).empty());
        EXPECT_EQ(androidLines(kBaseTag, kAndroidDebug).back(),
                  "[selectSensorSetting4Normal] scenarioId(5) sensorMode(" +
                      std::to_string(static_cast<int>(kSentinel)) + ")");
    }
}

TEST_F(NewPolicyDecision, MissingStaticEntriesAreLoggedErrors) {
    struct Case {
        uint32_t tag;
        const char* text;
        const char* tail;
        const char* why;
    };
    const Case kCases[] = {
        {kTagMinFrameDurations, "[getMaxFps] no static MTK_SCALER_AVAILABLE_MIN_FRAME_DURATIONS",
         " (getMaxFps){#178:CustPolicy/cust_setting_policy_base.cpp}", "frame durations"},
        {kTagPixelArraySize, "[getMaxRatio] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE",
         " (getMaxRatio){#143:CustPolicy/cust_setting_policy_base.cpp}", "pixel array"},
        {kTagAeAvailableTargetFpsRanges,
         "[getHighFpsThres] no static MTK_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES",
         " (getHighFpsThres){#234:CustPolicy/cust_setting_policy_base.cpp}", "fps ranges"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        ULogger::sDetailsLevel = 0;
        removeStatic(0, c.tag);

        EXPECT_TRUE(decide(Inputs()).result);
        const auto& rec = hostplatform::state().recorded;
        ASSERT_EQ(rec.androidLog.size(), 1u);
        EXPECT_EQ(rec.androidLog[0].priorityOrLevel, kAndroidError);
        EXPECT_EQ(rec.androidLog[0].tag, kBaseTag);
        EXPECT_EQ(rec.androidLog[0].text, std::string(c.text) + c.tail);
        ASSERT_EQ(rec.unifiedLog.size(), 1u);
        EXPECT_EQ(rec.unifiedLog[0].priorityOrLevel, 1);
        EXPECT_EQ(rec.unifiedLog[0].text, c.text);
        EXPECT_EQ(rec.unifiedLog[0].moduleId, 0x101005u);
    }
}

TEST_F(NewPolicyDecision, LogLinesFollowDetailLevelAndMask) {
    struct Case {
        int32_t level;
        uint32_t mask;
        size_t debug;  // the three debug lines of one decision, or none
        size_t info;
        size_t warnings;
        const char* why;
    };
    const Case kCases[] = {
        {5, 0x101000, 3, 1, 1, "everything at 5 with the full mask"},
        {5, 0xFFFFFFFF, 3, 1, 1, "extra mask bits do not matter"},
        {5, 0x100000, 0, 1, 1, "one mask bit missing: no debug"},
        {5, 0x001000, 0, 1, 1, "the other mask bit missing: no debug"},
        {4, 0x101000, 0, 1, 1, "level 4: no debug"},
        {3, 0x101000, 0, 1, 1, "level 3: info"},
        {2, 0x101000, 0, 0, 1, "level 2: warnings"},
        {1, 0x101000, 0, 0, 0, "level 1: errors only"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        // The first decision succeeds (info line), the second names a scenario the helper cannot
        // describe (warning); both lack frame durations (error).
        removeStatic(0, kTagMinFrameDurations);
        ULogger::sDetailsLevel = c.level;
        ULogger::sNormalDetailsMask = c.mask;
        decide(Inputs());
        const size_t debugAfterFirst = androidLines(kBaseTag, kAndroidDebug).size() +
                                       androidLines(kPolicyTag, kAndroidDebug).size();
        answerScenario(9);
        decide(Inputs());

        EXPECT_EQ(debugAfterFirst, c.debug);
        EXPECT_EQ(androidLines(kBaseTag, kAndroidInfo).size(), c.info);
        EXPECT_EQ(androidLines(kBaseTag, kAndroidWarning).size(), c.warnings);
        EXPECT_EQ(androidLines(kBaseTag, kAndroidError).size(), 2u);
        if (c.debug > 0) {
            EXPECT_EQ(androidLines(kPolicyTag, kAndroidDebug).at(0), kNewPolicyLine);
        }
        const size_t expectedUnified = 2 * c.debug + c.info + c.warnings + 2;
        EXPECT_EQ(hostplatform::state().recorded.unifiedLog.size(), expectedUnified);
    }
}

}  // namespace
}  // namespace settingtest
