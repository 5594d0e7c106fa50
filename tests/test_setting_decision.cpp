// The sensor-setting adaptor and the new policy's decision: the policy choice, the 0x1005
// conversation with the feature-chip service, the filling of SensorSetting and the log output.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "platform/ULogger.h"
#include "test_setting_support.h"

namespace settingtest {
namespace {

namespace hp = hostplatform;

using Q = hp::SensorInfoQuery;

std::vector<Q> sensorInfoQueries() {
    std::vector<Q> queries;
    for (const auto& call : hp::state().recorded.sensorInfo) queries.push_back(call.query);
    return queries;
}

void expectSetting(const SensorSetting& s, uint32_t mode, uint32_t fps, MSize size, uint32_t raw) {
    EXPECT_EQ(std::tie(s.sensorMode, s.sensorFps, s.sensorSize, s.sensorPattern, s.rawFmtType),
              std::make_tuple(mode, fps, size, kSentinel, raw));
}
void expectUntouched(const SensorSetting& s) {
    expectSetting(s, kSentinel, kSentinel, MSize(-7, -7), kSentinel);
}

using SettingAdaptor = SettingTest;

TEST_F(SettingAdaptor, ChoosesPolicyOnceAtConstructionAndForwardsEveryArgument) {
    for (bool newPolicy : {true, false}) {
        SCOPED_TRACE(newPolicy ? "new policy" : "legacy policy");
        SetUp();
        installDefaultSensor(2);
        hp::sensor(2).modes[kKnownScenario] = {24, MSize(2000, 1500), 9};
        hp::sensor(2).newSettingPolicy = newPolicy;
        Inputs in;
        in.sensorIdx = 2;
        in.floatParam0 = 1.25f;
        in.floatParam1 = -3.5f;
        in.hdrMode = 0x40;
        in.userConfig = userConfigOf({{1920, 1080}});
        const long appUses = in.appConfig.use_count();
        CustSettingAlgoAdaptor adaptor(2);
        hp::sensor(2).newSettingPolicy = !newPolicy;  // a later answer does not count
        Outcome o;
        o.result = adaptor.selectSensorSetting(in.appConfig, in.streamInfo, o.setting, 2,
                                               o.outValue, in.userConfig, in.floatParam0,
                                               in.floatParam1, in.hdrMode);
        EXPECT_EQ(in.appConfig.use_count(), appUses);
        const auto& rec = hp::state().recorded;
        if (!newPolicy) {
            EXPECT_TRUE(rec.featureChip.empty());
            EXPECT_TRUE(androidLines(kAndroidDebug, "CustSettingPolicy").empty());
            continue;
        }
        EXPECT_TRUE(o.result);
        EXPECT_EQ(o.outValue, kSentinel);
        expectSetting(o.setting, kKnownScenario, 24, MSize(2000, 1500), 9);
        EXPECT_EQ(androidLines(kAndroidDebug, "CustSettingPolicy"),
                  std::vector<std::string>{
                      "[selectSensorSetting] Using New Customized SensorSetting Decision Policy"});
        ASSERT_EQ(rec.maxStreamSize.size(), 1u);
        const auto& q = rec.maxStreamSize[0];
        EXPECT_EQ(std::make_tuple(q.sensorIdx, q.floatParam0, q.floatParam1),
                  std::make_tuple(2, 1.25f, -3.5f));
        EXPECT_EQ(sentSelectIn().maxRatio, 562);
        const std::string selectLine = androidLines(kAndroidDebug).at(0);
        EXPECT_NE(selectLine.find("hdrMode = 0x40 "), std::string::npos) << selectLine;
    }
}

using NewPolicyDecision = SettingTest;

TEST_F(NewPolicyDecision, RequestMessageLaidOutExactly) {
    hp::sensor(0).deviceMask = 8;
    std::optional<int32_t> replyBeforeAnswer;
    hp::state().featureChip = [&](const CustTransMsgData*, CustTransMsgData* reply) {
        replyBeforeAnswer = *static_cast<const int32_t*>(reply->pData);
        *static_cast<int32_t*>(reply->pData) = kKnownScenario;
    };
    decide(Inputs());
    ASSERT_EQ(hp::state().recorded.featureChip.size(), 1u);
    const hp::FeatureChipCall& call = hp::state().recorded.featureChip[0];

    uint8_t expected[sizeof(CustTransMsgData)] = {};
    expected[12] = 0x05;  // message id 0x1005
    expected[13] = 0x10;
    std::memcpy(expected + 24, &call.request.pData, sizeof(void*));
    expected[32] = 24;
    EXPECT_EQ(std::memcmp(&call.request, expected, sizeof(expected)), 0);
    std::memset(expected, 0, sizeof(expected));
    std::memcpy(expected + 24, &call.reply.pData, sizeof(void*));
    expected[32] = 4;
    EXPECT_EQ(std::memcmp(&call.reply, expected, sizeof(expected)), 0);
    EXPECT_NE(call.request.pData, nullptr);
    EXPECT_NE(call.reply.pData, nullptr);
    EXPECT_EQ(replyBeforeAnswer, std::optional<int32_t>(0));

    // Payload: version 1, drvId 3, the selection record's address, 8 zero bytes.
    ASSERT_EQ(call.requestPayload.size(), 24u);
    void* selectIn = nullptr;
    std::memcpy(&selectIn, call.requestPayload.data() + 8, sizeof(selectIn));
    EXPECT_NE(selectIn, nullptr);
    std::vector<uint8_t> payload = {1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                    0, 0, 0, 0, 0, 0, 0, 0};
    std::memcpy(payload.data() + 8, &selectIn, sizeof(selectIn));
    EXPECT_EQ(call.requestPayload, payload);
    EXPECT_EQ(call.replyPayload, (std::vector<uint8_t>{3, 0, 0, 0}));
}

TEST_F(NewPolicyDecision, ReplyNamesTheScenario) {
    const std::vector<Q> kAll = {Q::Fps, Q::Size, Q::RawFmtType};
    struct Case {
        std::optional<int32_t> answer;  // unset: the service writes nothing
        bool result;
        bool filled;
        std::vector<Q> queries;
        const char* why;
    };
    const Case kCases[] = {
        {3, true, true, kAll, "a named scenario fills the setting"},
        {-1, false, false, {}, "-1: no scenario, nothing asked, nothing logged"},
        {std::nullopt, true, true, kAll, "no answer: scenario 0"},
        {7, true, false, {Q::Fps}, "a scenario the helper does not know"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hp::sensor(0).modes[0] = {120, MSize(1280, 720), 4};
        hp::sensor(0).modes[3] = {60, MSize(4000, 2250), 1};
        hp::state().featureChip = nullptr;
        if (c.answer) answerScenario(*c.answer);
        const int32_t scenario = c.answer.value_or(0);

        const Outcome o = decide(Inputs());
        EXPECT_EQ(o.result, c.result);
        EXPECT_EQ(o.outValue, kSentinel);
        EXPECT_EQ(sensorInfoQueries(), c.queries);
        for (const auto& call : hp::state().recorded.sensorInfo) {
            EXPECT_EQ(call.scenarioId, scenario);
        }
        const hp::SensorMode mode = hp::sensor(0).modes[scenario];
        std::vector<std::string> info, debug;
        if (c.filled) {
            expectSetting(o.setting, scenario, mode.fps, mode.size, mode.rawFmtType);
            info.push_back("[parseSensorSetting] match setting(final result): " +
                           std::to_string(scenario));
        } else {
            expectUntouched(o.setting);
        }
        if (c.result) {
            const int shown = c.filled ? scenario : static_cast<int>(kSentinel);
            debug.push_back("[selectSensorSetting4Normal] scenarioId(" + std::to_string(scenario) +
                            ") sensorMode(" + std::to_string(shown) + ")");
        }
        EXPECT_EQ(androidLines(kAndroidInfo), info);
        const auto debugLines = androidLines(kAndroidDebug);
        ASSERT_GE(debugLines.size(), 1u);  // the selection-input line
        EXPECT_EQ(std::vector<std::string>(debugLines.begin() + 1, debugLines.end()), debug);
    }
}

TEST_F(NewPolicyDecision, SensorInfoQueryFailureWritesNothing) {
    struct Case {
        bool hp::SensorMode::*fails;
        std::vector<Q> queries;
        const char* warning;
    };
    const Case kCases[] = {
        {&hp::SensorMode::fpsFails, {Q::Fps}, "[parseSensorSetting] getSensorFps fail"},
        {&hp::SensorMode::sizeFails, {Q::Fps, Q::Size},
         "[parseSensorSetting] getSensorSize fail"},
        {&hp::SensorMode::rawFmtTypeFails, {Q::Fps, Q::Size, Q::RawFmtType},
         "[parseSensorSetting] rawFmtType fail"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.warning);
        SetUp();
        hp::sensor(0).modes[5].*c.fails = true;
        answerScenario(5);
        const Outcome o = decide(Inputs());
        EXPECT_TRUE(o.result);
        expectUntouched(o.setting);
        EXPECT_EQ(sensorInfoQueries(), c.queries);
        EXPECT_EQ(androidLines(kAndroidWarning), std::vector<std::string>{c.warning});
        EXPECT_TRUE(androidLines(kAndroidInfo).empty());
    }
}

TEST_F(NewPolicyDecision, MissingStaticEntriesAreErrorsEvenAtDetailLevel0) {
    struct Case {
        uint32_t tag;
        std::string function, line, entry;
    };
    const Case kCases[] = {
        {kTagMinFrameDurations, "getMaxFps", "178", "MTK_SCALER_AVAILABLE_MIN_FRAME_DURATIONS"},
        {kTagPixelArraySize, "getMaxRatio", "143", "MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE"},
        {kTagAeAvailableTargetFpsRanges, "getHighFpsThres", "234",
         "MTK_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.entry);
        const std::string text = "[" + c.function + "] no static " + c.entry;
        SetUp();
        NSCam::Utils::ULog::ULogger::sDetailsLevel = 0;
        hp::sensor(0).staticMetadata.remove(c.tag);
        EXPECT_TRUE(decide(Inputs()).result);
        const auto& rec = hp::state().recorded;
        ASSERT_EQ(rec.androidLog.size(), 1u);
        EXPECT_EQ(rec.androidLog[0].priorityOrLevel, kAndroidError);
        EXPECT_EQ(rec.androidLog[0].tag, kBaseTag);
        EXPECT_EQ(rec.androidLog[0].text, text + " (" + c.function + "){#" + c.line +
                                              ":CustPolicy/cust_setting_policy_base.cpp}");
        ASSERT_EQ(rec.unifiedLog.size(), 1u);
        EXPECT_EQ(rec.unifiedLog[0].text, text);
    }
}

}  // namespace
}  // namespace settingtest
