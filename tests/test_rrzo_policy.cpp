#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cust_rrzo_policy.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/ULogger.h"

namespace {

using hostplatform::FeatureChipCall;
using hostplatform::ImageStreamFacts;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;
using Streams = std::vector<std::optional<ImageStreamFacts>>;

constexpr uint32_t kRrzoMsgId = 0x1001;
constexpr float kUntouched = 0.25f;  // heightToWidth before the walk
constexpr uint32_t kTagEisMode = 0x10011;
const MSize k169(1920, 1080), k43(1440, 1080);

// A configuration of one sensor (index 0) with the given streams, in stream-id order.
struct Config {
    std::shared_ptr<PolicyParsedAppConfiguration> app{new PolicyParsedAppConfiguration()};
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streams{new PolicyParsedAppImageStreamInfo()};
    std::shared_ptr<CustSensorSettingMap> settings{new CustSensorSettingMap()};
    StreamRecord record;
    ConfigurationOutputParams out{&record};
    ConfigurationInputParams in{app, streams};

    explicit Config(MSize sensor = {4000, 3000}, const Streams& s = {}) {
        (*settings)[0].sensorSize = sensor;
        record.heightToWidth = kUntouched;
        for (size_t i = 0; i < s.size(); ++i) {
            streams->imageStreams[static_cast<int64_t>(i)] =
                s[i] ? hostplatform::makeImageStream(*s[i]) : nullptr;
        }
    }
    void calculate() {
        CustRrzoPolicy policy;
        MSize target(1920, 1080);
        policy.calculateTargetSize(0, target, 7, settings, true, false, 9, &out, &in);
    }
};

const std::vector<FeatureChipCall>& calls() { return hostplatform::state().recorded.featureChip; }

bool isZero(const CustTransMsgData& message) {
    const CustTransMsgData zero{};
    return std::memcmp(&message, &zero, sizeof(zero)) == 0;
}

// Request head (three zero words, the class), one 24-byte record, all other words zero.
void expectRequestMessage(const CustTransMsgData& m, uint32_t msgId) {
    CustTransMsgData expected{};
    expected.msgId = msgId;
    expected.pData = m.pData;
    expected.dataSize = sizeof(CustEvalRequest);
    EXPECT_EQ(std::memcmp(&m, &expected, sizeof(m)), 0);
    EXPECT_NE(m.pData, nullptr);
}

void expectSameFloat(float expected, float actual) {
    EXPECT_TRUE(std::isnan(expected) ? std::isnan(actual) : expected == actual) << actual;
}

size_t countLogs(const std::string& prefix) {
    size_t count = 0;
    for (const auto& text : hostplatform::unifiedTexts()) count += text.rfind(prefix, 0) == 0;
    return count;
}

class RrzoPolicyTest : public ::testing::Test {
protected:
    void SetUp() override { hostplatform::reset(); }
};

NSCam::IEntry eis(uint8_t mode) { return NSCam::IEntry::of<uint8_t>(kTagEisMode, {mode}); }

TEST_F(RrzoPolicyTest, StaticInfoRequestCarriesTheConfigurationFacts) {
    struct Case {
        float ratioC;
        uint32_t stereoMode;
        bool is4k, sysCam;
        NSCam::IEntry eisMode;  // tag 0: none
        std::optional<uint8_t> eisRead;
        float sentRatioA;
        bool eisOn;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {1.0f, 0, false, true, {}, std::nullopt, 0.5f, false, "ratio-C of 1 is not above 1"},
        {1.2f, 0, false, true, eis(1), 1, 1.2f, true, "ratio-C above 1 replaces ratio-A"},
        {std::numeric_limits<float>::quiet_NaN(), 0, false, true, eis(0), 0, 0.5f, false,
         "a NaN ratio-C is not above 1"},
        {0.0f, 0xBF, false, false, eis(2), 2, 0.5f, true, "only bit 6 of stereo counts"},
        {0.0f, 0x40, true, false, {}, std::nullopt, 0.5f, false, "stereo bit 6 and 4K video"},
        {0.0f, 0, false, true, NSCam::IEntry::of<int32_t>(kTagEisMode, {1}), std::nullopt, 0.5f,
         false, "a stabilisation mode of 32-bit items reads as absent"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::state().stereoFeatureMode = c.stereoMode;
        hostplatform::state().customer.is4kVideo = c.is4k;
        hostplatform::state().customer.systemCam = c.sysCam;
        Config config;
        if (c.eisMode.tag() != 0) config.app->sessionParams.update(c.eisMode);
        config.record.ratioA = 0.5f;
        config.record.ratioC = c.ratioC;
        config.calculate();

        ASSERT_EQ(calls().size(), 2u);
        const FeatureChipCall& call = calls()[0];
        expectRequestMessage(call.request, kRrzoMsgId);
        expectRequestMessage(call.reply, 0);
        ASSERT_TRUE(call.rrzoRequest && call.rrzoStaticInfo);
        EXPECT_EQ(call.rrzoRequest->evalType, 0);
        EXPECT_EQ(call.rrzoRequest->reserved, 0u);
        // The reply carries its own record, all zero but for where the answer is to go.
        CustEvalRequest reply;
        ASSERT_EQ(call.replyPayload.size(), sizeof(reply));
        std::memcpy(static_cast<void*>(&reply), call.replyPayload.data(), sizeof(reply));
        EXPECT_NE(call.reply.pData, call.request.pData);
        EXPECT_NE(reply.pParam, nullptr);
        EXPECT_NE(reply.pParam, call.rrzoRequest->pParam);
        const CustEvalRequest zeroReply{0, 0, reply.pParam, 0};
        EXPECT_EQ(std::memcmp(&reply, &zeroReply, sizeof(reply)), 0);

        // No streams: heightToWidth goes out as it was.
        const CustRrzoStaticInfo expected{7,
                                          false,
                                          (c.stereoMode & 0x40) != 0,
                                          c.is4k,
                                          c.sysCam,
                                          {1920, 1080},
                                          c.sentRatioA,
                                          kUntouched,
                                          true,
                                          {},
                                          9,
                                          c.eisOn};
        EXPECT_EQ(std::memcmp(&*call.rrzoStaticInfo, &expected, sizeof(expected)), 0);
        EXPECT_EQ(countLogs("[calculateTargetSize] No MTK_CONTROL_VIDEO_STABILIZATION_MODE"),
                  c.eisRead ? 0u : 1u);
        EXPECT_EQ(countLogs("[calculateTargetSize] 3rd tag for QVXSEIS-enable:" +
                            std::to_string(c.eisRead.value_or(0))),
                  1u);
    }
}

TEST_F(RrzoPolicyTest, SensorSizesRequestReusesTheMessagesOfRequestZero) {
    using Sizes = std::vector<std::pair<int32_t, MSize>>;
    struct Case {
        CustSensorSettingMap settings;
        bool sendStaticInfoFirst;
        Sizes expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {{}, true, {}, "an empty map still sends the request"},
        {{{5, {0, 0, {1, 2}}}, {0, {0, 0, {3, 4}}}, {0xFFFFFFFFu, {0, 0, {5, 6}}}}, true,
         {{-1, {5, 6}}, {0, {3, 4}}, {5, {1, 2}}}, "ascending signed keys"},
        {{{0, {0, 0, {8, 6}}}}, false, {{0, {8, 6}}}, "without request 0 the head stays zero"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        CustRrzoPolicy policy;
        MSize target(1280, 720);
        if (c.sendStaticInfoFirst) policy.updateStaticRrzoInfo(2, target, 0, 0, 0, 0, 0, 0, 0, 0);
        policy.applyTargetSize(2, target);  // request 2 must not disturb the persistent messages
        policy.selectRrzoSize(2, std::make_shared<CustSensorSettingMap>(c.settings));

        const FeatureChipCall& call = calls().back();
        ASSERT_TRUE(call.rrzoRequest && call.rrzoSensorSizes);
        EXPECT_EQ(call.rrzoRequest->evalType, 1);
        EXPECT_EQ(call.rrzoRequest->sensorIdx, 2);
        EXPECT_EQ(call.rrzoSensorSizes->sensorIdx, 2);
        Sizes seen;
        for (const auto& [key, size] : call.rrzoSensorSizes->sizeMap) {
            seen.push_back({key, MSize(size.width, size.height)});
        }
        EXPECT_EQ(seen, c.expected);
        expectRequestMessage(call.request, c.sendStaticInfoFirst ? kRrzoMsgId : 0);
        if (c.sendStaticInfoFirst) {
            EXPECT_EQ(std::memcmp(&call.reply, &calls().front().reply, sizeof(call.reply)), 0);
        } else {
            EXPECT_TRUE(isZero(call.reply));
        }
    }
}

TEST_F(RrzoPolicyTest, TargetSizeAdoptsOnlyPositiveAnswers) {
    struct Case {
        std::optional<MSize> answer;
        MSize expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {std::nullopt, {1280, 720}, "unanswered"},
        {MSize(1920, 0), {1280, 720}, "a zero height"},
        {MSize(-1920, 1080), {1280, 720}, "a negative width"},
        {MSize(1, 1), {1, 1}, "smallest positive size"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::sensor(1).newRrzoPolicy = true;
        std::optional<MSize> preset;  // what the service finds where its answer is to go
        hostplatform::state().featureChip = [&](const CustTransMsgData* m, CustTransMsgData*) {
            const auto* record = static_cast<const CustEvalRequest*>(m->pData);
            preset = *static_cast<MSize*>(record->pParam);
            if (c.answer) *static_cast<MSize*>(record->pParam) = *c.answer;
        };
        MSize size(1280, 720);
        CustRrzoAlgoAdaptor(1).selectTargetSize(1, MSize(4000, 3000), size);

        EXPECT_EQ(size, c.expected);
        EXPECT_EQ(preset, MSize(0, 0));
        ASSERT_EQ(calls().size(), 1u);
        expectRequestMessage(calls()[0].request, kRrzoMsgId);
        EXPECT_TRUE(isZero(calls()[0].reply));
        EXPECT_EQ(calls()[0].rrzoRequest->evalType, 2);
        EXPECT_EQ(calls()[0].rrzoRequest->sensorIdx, 1);
        const auto& log = hostplatform::state().recorded.unifiedLog;
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].tag + " " + std::to_string(log[0].priorityOrLevel) + " " + log[0].text,
                  "CustRrzoPolicyBase 5 [applyTargetSize] rrzo target size " +
                      std::to_string(c.expected.w) + " " + std::to_string(c.expected.h));
    }
}

ImageStreamFacts preview(MSize size, uint64_t usage = 0x100, int32_t format = 0x11) {
    return {0, format, usage, 0, size};
}
ImageStreamFacts other(MSize size, uint64_t useCase, uint64_t usage = 0) {
    return {1, 0x21, usage, useCase, size};
}

TEST_F(RrzoPolicyTest, StreamWalkKeepsTheLastQualifyingRatio) {
    struct Case {
        Streams streams;
        float expected;
        size_t streamLogs;  // streams looked at and logged
        const char* why;
        MSize sensor = {4000, 3000};
    };
    // clang-format off
    const Case kCases[] = {
        {{preview(k169)}, 0.5625f, 1, "preview stream"},
        {{preview(k43), preview(k169)}, 0.0f, 0, "sensor ratio stops the walk"},
        {{preview(k169), other({4000, 3000}, 0)}, 0.0f, 2, "JPEG after resets"},
        {{preview(k169), preview({2400, 1080})}, 0.45f, 2, "last one wins"},
        {{other(k169, 3)}, 0.5625f, 1, "record use case qualifies"},
        {{other(k169, 0, 0x10000)}, 0.5625f, 1, "default use case and encoder"},
        {{other(k169, 0)}, 0.0f, 1, "default use case without encoder"},
        {{other(k169, 1, 0x10000)}, 0.0f, 1, "another use case never by test B"},
        {{preview(k169, 0x40000)}, 0.0f, 1, "half the ZSL bits"},
        {{preview(k169, 0x60000)}, 0.5625f, 1, "both ZSL bits"},
        {{ImageStreamFacts{1, 0x11, 0x100, 0, k169}}, 0.0f, 1, "test A is for type 0 only"},
        {{preview(k169, 0x800, 3)}, 0.5625f, 1, "RGB_888 with composer"},
        {{preview(k169, 0x20000, 0x1000)}, 0.5625f, 1, "platform format, cam write"},
        {{preview(k169, 0x100, 0x20203859)}, 0.5625f, 1, "Y8"},
        {{preview(k169, 0x100, 0x23)}, 0.0f, 1, "other formats fail test A"},
        {{std::nullopt}, kUntouched, 0, "null entries are skipped"},
        {{std::nullopt, preview(k169)}, 0.5625f, 1, "null entry then preview"},
        {{preview({0, 1080})}, std::numeric_limits<float>::infinity(), 1, "zero stream width"},
        {{preview({0, 0}), preview(k43)}, 0.0f, 1, "NaN never stops the walk"},
        {{preview(k43)}, 0.75f, 1, "zero sensor width", {0, 3000}},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        Config config(c.sensor, c.streams);
        config.calculate();

        expectSameFloat(c.expected, config.record.heightToWidth);
        ASSERT_EQ(calls().size(), 2u);
        ASSERT_TRUE(calls()[0].rrzoStaticInfo);
        expectSameFloat(c.expected, calls()[0].rrzoStaticInfo->ratioB);
        EXPECT_EQ(countLogs("[calculateTargetSize] calculateTargetSize streamType("), c.streamLogs);
    }
}

TEST_F(RrzoPolicyTest, StreamLineIsAnInfoMessage) {
    NSCam::Utils::ULog::ULogger::sDetailsLevel = 3;  // info passes, debug does not
    Config({4000, 3000}, {preview(k169, 0x60000)}).calculate();
    // The stream line and the missing-stabilisation line.
    const auto& log = hostplatform::state().recorded.unifiedLog;
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].tag + " " + std::to_string(log[0].priorityOrLevel) + " " + log[0].text,
              "CustRrzoPolicy 3 [calculateTargetSize] calculateTargetSize streamType(0) fmt(0x11) "
              "usage(393216) useCase(0) imgSize(1920x1080) HeightToWidth(0.562500)");
}

TEST_F(RrzoPolicyTest, AdaptorChoosesThePolicyAndSurvivesBadInput) {
    struct Case {
        bool newPolicy;
        void (*breakIt)(Config&);
        size_t expectedCalls, expectedSizes;
        float expectedRatioB;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {false, [](Config&) {}, 0, 0, 0.0f, "legacy policy sends nothing"},
        {true, [](Config&) {}, 2, 1, 0.5625f, "feature-driven policy"},
        {true, [](Config& c) { c.out.pStreamRecord = nullptr; }, 2, 1, 0.0f, "no stream record"},
        {true, [](Config& c) { c.in.pParsedAppImageStreamInfo = nullptr; }, 2, 1, kUntouched,
         "no stream information"},
        {true, [](Config& c) { c.in.pParsedAppConfiguration = nullptr; }, 2, 1, 0.5625f,
         "no session parameters"},
        {true, [](Config& c) { c.settings->clear(); }, 2, 0, 0.5625f, "no setting for the sensor"},
        {true, [](Config& c) { c.settings = nullptr; }, 2, 0, 0.5625f, "no settings map"},
        {true, [](Config&) { hostplatform::state().customerObjects = false; }, 2, 1, 0.5625f,
         "no customer-data objects: neither the device's own camera nor 4K video"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::sensor(0).newRrzoPolicy = c.newPolicy;
        hostplatform::state().customer.is4kVideo = true;  // systemCam is true by default
        Config config({4000, 3000}, {preview(k169)});
        c.breakIt(config);
        MSize target(1920, 1080);
        CustRrzoAlgoAdaptor(0).calculateTargetSize(0, target, 0, config.settings, false, false, 0,
                                                   &config.out, &config.in);

        EXPECT_EQ(target, MSize(1920, 1080));
        EXPECT_LE(config.settings.use_count(), 1);  // the call's references are all released
        ASSERT_EQ(calls().size(), c.expectedCalls);
        if (c.expectedCalls == 2) {
            EXPECT_EQ(calls()[0].rrzoStaticInfo->ratioB, c.expectedRatioB);
            const bool customer = hostplatform::state().customerObjects;
            EXPECT_EQ(calls()[0].rrzoStaticInfo->isSysCam, customer);
            EXPECT_EQ(calls()[0].rrzoStaticInfo->is4kVideo, customer);
            EXPECT_EQ(calls()[1].rrzoSensorSizes->sizeMap.size(), c.expectedSizes);
        }
    }
}

}  // namespace
