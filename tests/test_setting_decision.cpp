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
#include "test_support.h"

namespace cptest {
namespace {

namespace hp = hostplatform;

constexpr char kBaseTag[] = "CustSettingPolicyBase";

void expectSetting(const SensorSetting& s, uint32_t mode, uint32_t fps, MSize size, uint32_t raw) {
    EXPECT_EQ(std::tie(s.sensorMode, s.sensorFps, s.sensorSize, s.sensorPattern, s.rawFmtType),
              std::make_tuple(mode, fps, size, kSentinel, raw));
}

using SettingAdaptor = SettingTest;

TEST_F(SettingAdaptor, ChoosesPolicyOnceAtConstructionAndForwardsEveryArgument) {
    for (bool newPolicy : {true, false}) {
        SCOPED_TRACE(newPolicy ? "new policy" : "legacy policy");
        SetUp();
        installNewPolicySensor(2);
        hp::sensor(2).modes[kKnownScenario] = {24, MSize(2000, 1500), 9};
        hp::sensor(2).newSettingPolicy = newPolicy;
        Session in;
        in.sensorIdx = 2;
        in.floatParam0 = 1.25f;
        in.floatParam1 = -3.5f;
        in.hdrMode = 0x40;
        in.userConfig = userConfigOf({{1920, 1080}});
        const long appUses = in.appConfig.use_count();
        CustSettingAlgoAdaptor adaptor(2);
        hp::sensor(2).newSettingPolicy = !newPolicy;  // a later answer does not count
        Outcome o;
        o.result =
            adaptor.selectSensorSetting(in.appConfig, in.streamInfo, o.setting, 2, o.outValue,
                                        in.userConfig, in.floatParam0, in.floatParam1, in.hdrMode);
        EXPECT_EQ(in.appConfig.use_count(), appUses);
        const auto& rec = hp::state().recorded;
        if (!newPolicy) {
            EXPECT_TRUE(rec.featureChip.empty());
            EXPECT_TRUE(logLines("CustSettingPolicy").empty());
            continue;
        }
        EXPECT_TRUE(o.result);
        EXPECT_EQ(o.outValue, kSentinel);
        expectSetting(o.setting, kKnownScenario, 24, MSize(2000, 1500), 9);
        EXPECT_EQ(logLines("CustSettingPolicy"),
                  Strings{"D/[selectSensorSetting] Using New Customized SensorSetting Decision "
                          "Policy"});
        ASSERT_EQ(rec.maxStreamSize.size(), 1u);
        const auto& q = rec.maxStreamSize[0];
        EXPECT_EQ(std::make_tuple(q.sensorIdx, q.floatParam0, q.floatParam1),
                  std::make_tuple(2, 1.25f, -3.5f));
        EXPECT_EQ(sentSelectIn().maxRatio, 562);
        const std::string selectLine = logLines(kBaseTag).at(0);
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
    decide(mSession);
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
    std::vector<uint8_t> payload(24, 0);
    payload[0] = 1;
    payload[4] = 3;
    std::memcpy(payload.data() + 8, &selectIn, sizeof(selectIn));
    EXPECT_EQ(call.requestPayload, payload);
    EXPECT_EQ(call.replyPayload, (std::vector<uint8_t>{3, 0, 0, 0}));
}

// The service's answer names the scenario; the sensor-info helper fills the setting, all four
// values or none. The golden file holds each case's setting, helper queries and log lines.
TEST_F(NewPolicyDecision, ReplyNamesTheScenarioAndTheHelperFillsIt) {
    struct Case {
        std::optional<int32_t> answer;  // unset: the service writes nothing
        bool hp::SensorMode::*fails;    // a query of scenario 5 that fails
        bool result;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {3, nullptr, true, "a named scenario fills the setting"},
        {-1, nullptr, false, "-1: no scenario, nothing asked, nothing logged"},
        {std::nullopt, nullptr, true, "no answer: scenario 0"},
        {7, nullptr, true, "a scenario the helper does not know"},
        {300, nullptr, true, "300: beyond 0..255, still a decision"},
        {-5, nullptr, true, "-5: every answer but -1 is a decision"},
        {5, &hp::SensorMode::fpsFails, true, "the frame rate query fails"},
        {5, &hp::SensorMode::sizeFails, true, "the size query fails"},
        {5, &hp::SensorMode::rawFmtTypeFails, true, "the raw format query fails"},
    };
    // clang-format on
    const char* const kQueries[] = {"fps", "size", "raw"};
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hp::sensor(0).modes[0] = {120, MSize(1280, 720), 4};
        hp::sensor(0).modes[3] = {60, MSize(4000, 2250), 1};
        hp::sensor(0).modes[5] = {24, MSize(2000, 1500), 5};
        if (c.fails != nullptr) hp::sensor(0).modes[5].*c.fails = true;
        hp::state().featureChip = nullptr;
        if (c.answer) answerScenario(*c.answer);

        const Outcome o = decide(mSession);
        EXPECT_EQ(o.result, c.result);
        EXPECT_EQ(o.outValue, kSentinel);
        const SensorSetting& s = o.setting;
        char setting[96];
        std::snprintf(setting, sizeof(setting), "%d: mode %u fps %u size %dx%d pattern %u raw %u\n",
                      o.result, s.sensorMode, s.sensorFps, s.sensorSize.w, s.sensorSize.h,
                      s.sensorPattern, s.rawFmtType);
        golden += std::string("## ") + c.why + "\n-> " + setting;
        for (const hp::SensorInfoCall& call : hp::state().recorded.sensorInfo) {
            golden += std::string("  query ") + kQueries[static_cast<int>(call.query)] +
                      " sensor " + std::to_string(call.sensorIdx) + " scenario " +
                      std::to_string(call.scenarioId) + "\n";
        }
        const Strings log = logLines(kBaseTag);
        ASSERT_FALSE(log.empty());  // the selection-input line comes first; checked elsewhere
        for (size_t i = 1; i < log.size(); ++i) golden += "  " + log[i] + "\n";
    }
    expectGolden("setting-reply", golden);
}

TEST_F(NewPolicyDecision, MissingStaticEntriesAreErrorsEvenAtDetailLevel0) {
    struct Case {
        uint32_t tag;
        std::string function, line, entry;
    };
    // clang-format off
    const Case kCases[] = {
        {kTagMinFrameDurations, "getMaxFps", "178", "MTK_SCALER_AVAILABLE_MIN_FRAME_DURATIONS"},
        {kTagPixelArraySize, "getMaxRatio", "143", "MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE"},
        {kTagAeAvailableTargetFpsRanges, "getHighFpsThres", "234",
         "MTK_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.entry);
        SetUp();
        NSCam::Utils::ULog::ULogger::sDetailsLevel = 0;
        hp::sensor(0).staticMetadata.remove(c.tag);
        EXPECT_TRUE(decide(mSession).result);
        const std::string text = "[" + c.function + "] no static " + c.entry;
        EXPECT_EQ(logLines("", true),
                  Strings{"E/" + std::string(kBaseTag) + ": " + text + " (" + c.function + "){#" +
                          c.line + ":CustPolicy/cust_setting_policy_base.cpp}"});
        EXPECT_EQ(hp::unifiedTexts(), Strings{text});
    }
}

}  // namespace
}  // namespace cptest
