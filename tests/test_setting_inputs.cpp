// The selection record of the new sensor-setting policy, as the feature-chip service receives it.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "test_setting_support.h"

namespace settingtest {
namespace {

using hostplatform::MaxStreamSizeCall;
using Record = CustSelectIn4Setting;

constexpr int kAndroidError = 6;
constexpr int kAndroidDebug = 3;

const MaxStreamSizeCall& maxSizeCall() {
    return hostplatform::state().recorded.maxStreamSize.at(0);
}

void setSessionFps(Inputs& inputs, std::initializer_list<int32_t> range) {
    inputs.appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagAeTargetFpsRange, range));
}

void setStreamsOf(mcam::core::device::policy::StreamsBySensor& map, int sensorIdx,
                  std::initializer_list<MSize> sizes) {
    map[sensorIdx] = streams(sizes);
    map[sensorIdx].insert(map[sensorIdx].begin(), nullptr);  // an absent info is skipped
}

using SelectInInputs = SettingTest;

TEST_F(SelectInInputs, RecordFieldsFollowTheConfiguration) {
    struct Case {
        const char* why;
        std::function<void(Inputs&)> arrange;
        std::function<void(const Record&)> check;
    };
    using I = Inputs&;
    using R = const Record&;
    const Case kCases[] = {
        // Highest frame rate.
        {"session upper bound wins over faster static durations",
         [](I i) {
             setSessionFps(i, {15, 30});
             setStatic<int64_t>(0, kTagMinFrameDurations, {kFormatYuv, 640, 480, 8333333});
         },
         [](R r) { EXPECT_EQ(r.maxFps, 30); }},
        {"upper bound 0 falls through to the shortest duration",
         [](I i) {
             setSessionFps(i, {15, 0});
             setStatic<int64_t>(0, kTagMinFrameDurations,
                                {kFormatYuv, 1920, 1080, 33333333, kFormatYuv, 640, 480, 16666666});
         },
         [](R r) { EXPECT_EQ(r.maxFps, 60); }},
        {"a one-item session range reads its upper bound as 0", [](I i) { setSessionFps(i, {60}); },
         [](R r) { EXPECT_EQ(r.maxFps, 30); }},
        {"only the low 32 bits of a duration count",
         [](I) {
             setStatic<int64_t>(0, kTagMinFrameDurations, {0, 0, 0, 0x100000000LL + 16666666});
         },
         [](R r) { EXPECT_EQ(r.maxFps, 60); }},
        {"zero durations are skipped, a short last group reads as 0",
         [](I) {
             setStatic<int64_t>(0, kTagMinFrameDurations,
                                {0, 0, 0, 0, 0x21, 640, 480, 100000000, 7});
         },
         [](R r) { EXPECT_EQ(r.maxFps, 10); }},
        {"the frame rate reaches the max-size query",
         [](I i) {
             setSessionFps(i, {24, 24});
         },
         [](R) { EXPECT_EQ(maxSizeCall().maxFps, 24); }},
        // Largest stream size, then the service's word on it.
        {"no per-sensor lists: the largest stream size",
         [](I i) { i.streamInfo->maxStreamSize = MSize(5000, 2500); },
         [](R r) { EXPECT_EQ(r.maxStreamSize, MSize(5000, 2500)); }},
        {"wider but lower stream does not replace",
         [](I i) {
             setStreamsOf(i.streamInfo->outputStreamsBySensor, 0, {{4000, 3000}, {4096, 2160}});
         },
         [](R r) { EXPECT_EQ(r.maxStreamSize, MSize(4000, 3000)); }},
        {"lists only for another sensor: (0, 0)",
         [](I i) {
             setStreamsOf(i.streamInfo->outputStreamsBySensor, 1, {{4000, 3000}});
         },
         [](R r) { EXPECT_EQ(r.maxStreamSize, MSize(0, 0)); }},
        {"the service has the last word",
         [](I i) {
             setStreamsOf(i.streamInfo->outputStreamsBySensor, 0, {{1920, 1080}, {3840, 2160}});
             i.streamInfo->maxYuvSize = MSize(3000, 2000);
             hostplatform::state().maxStreamSize = [](const MaxStreamSizeCall&, int32_t& w,
                                                      int32_t& h) {
                 w = 640;
                 h = 480;
             };
         },
         [](R r) {
             EXPECT_EQ(MSize(maxSizeCall().width, maxSizeCall().height), MSize(3840, 2160));
             EXPECT_EQ(MSize(maxSizeCall().maxYuvWidth, maxSizeCall().maxYuvHeight),
                       MSize(3000, 2000));
             EXPECT_EQ(r.maxStreamSize, MSize(640, 480));
         }},
        // Largest raw size.
        {"no raw streams", [](I) {}, [](R r) { EXPECT_EQ(r.maxRawSize.width, 0); }},
        {"raw streams of another sensor only",
         [](I i) {
             setStreamsOf(i.streamInfo->rawStreamsBySensor, 1, {{4000, 3000}});
         },
         [](R r) { EXPECT_EQ(r.maxRawSize.width, 0); }},
        {"largest raw in both sides",
         [](I i) {
             setStreamsOf(i.streamInfo->rawStreamsBySensor, 0,
                          {{1920, 1080}, {4000, 3000}, {8000, 2000}});
         },
         [](R r) {
             EXPECT_EQ(r.maxRawSize.width, 4000);
             EXPECT_EQ(r.maxRawSize.height, 3000);
         }},
        // Highest AE target fps bound.
        {"highest upper bound, lower bounds ignored",
         [](I) {
             setStatic<int32_t>(0, kTagAeAvailableTargetFpsRanges, {15, 30, 90, 60, 7, 24});
         },
         [](R r) { EXPECT_EQ(r.highFpsThres, 60); }},
        {"a dangling lower bound is ignored",
         [](I) {
             setStatic<int32_t>(0, kTagAeAvailableTargetFpsRanges, {15, 30, 240});
         },
         [](R r) { EXPECT_EQ(r.highFpsThres, 30); }},
        // Video HDR information and the start exposure override.
        {"scene for this mode without HDR mode resets startExpNum to 1",
         [](I i) { i.appConfig->operationMode = 0x8001; },
         [](R r) { EXPECT_EQ(r.vhdrInfo.startExpNum, 1); }},
        {"scene HDR not in force",
         [](I i) {
             i.appConfig->operationMode = 0x8001;
             hostplatform::sensor(0).defaultVhdrInfo.sceneHdrEnable = false;
         },
         [](R r) { EXPECT_EQ(r.vhdrInfo.startExpNum, 3); }},
        {"the session asks for an HDR mode",
         [](I i) {
             i.appConfig->operationMode = 0x8001;
             i.hdrMode = 2;
         },
         [](R r) { EXPECT_EQ(r.vhdrInfo.startExpNum, 3); }},
        {"scenes only for other operation modes", [](I i) { i.appConfig->operationMode = 0x8002; },
         [](R r) {
             EXPECT_EQ(r.operationMode, 0x8002u);
             EXPECT_EQ(r.vhdrInfo.startExpNum, 3);
             ASSERT_EQ(r.vhdrInfo.sceneInfos.size(), 2u);
             EXPECT_EQ(r.vhdrInfo.sceneInfos[1].operationMode, 0x8001u);
             EXPECT_EQ(r.vhdrInfo.sceneInfos[1].sceneValue, 22);
             EXPECT_EQ(r.vhdrInfo.vhdrValue0 + r.vhdrInfo.vhdrValue2 + r.vhdrInfo.vhdrValue3, 6);
         }},
        // Custom info, the two flags, AOV mode.
        {"custom info defaults to 1", [](I) {}, [](R r) { EXPECT_EQ(r.custSensorSettingInfo, 1); }},
        {"the service's custom info, asked with the configuration",
         [](I i) {
             hostplatform::sensor(0).custSensorSettingInfo = -4;
             i.appConfig->operationMode = 0x10;
             i.streamInfo->maxStreamSize = MSize(3000, 1500);
         },
         [](R r) {
             EXPECT_EQ(r.custSensorSettingInfo, -4);
             const auto& call = hostplatform::state().recorded.custSensorSettingInfo.at(0);
             EXPECT_EQ(call.operationMode, 0x10u);
             EXPECT_EQ(MSize(call.maxStreamWidth, call.maxStreamHeight), MSize(3000, 1500));
             EXPECT_EQ(call.info, 1);
         }},
        {"extension record present",
         [](I i) {
             i.appConfig->pExtra =
                 std::make_shared<mcam::core::device::policy::PolicyParsedAppConfigurationExtra>();
         },
         [](R r) {
             EXPECT_TRUE(r.configExtraPresent);
             EXPECT_TRUE(maxSizeCall().configExtraPresent);
         }},
        {"8K video", [](I i) { i.streamInfo->videoWidth = 7680; },
         [](R r) { EXPECT_TRUE(r.is8kVideo); }},
        {"just below 8K", [](I i) { i.streamInfo->videoWidth = 7679; },
         [](R r) { EXPECT_FALSE(r.is8kVideo); }},
        {"AOV session parameter",
         [](I i) {
             i.appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagAovMode, {2}));
         },
         [](R r) { EXPECT_EQ(r.aovMode, 2); }},
        {"AOV parameter of another type reads as absent",
         [](I i) {
             i.appConfig->sessionParams.update(NSCam::IEntry::of<int64_t>(kTagAovMode, {2}));
         },
         [](R r) { EXPECT_EQ(r.aovMode, 0); }},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        qovix_aaa_ae_vhdr_info& vhdr = hostplatform::sensor(0).defaultVhdrInfo;
        vhdr.sceneHdrEnable = true;
        vhdr.sceneInfos = {{0x9000, 11}, {0x8001, 22}};
        vhdr.vhdrValue0 = 1;
        vhdr.startExpNum = 3;
        vhdr.vhdrValue2 = 2;
        vhdr.vhdrValue3 = 3;
        Inputs inputs;
        c.arrange(inputs);
        decide(inputs);
        const Record record = sentSelectIn();
        c.check(record);
    }
}

TEST_F(SelectInInputs, RatioClass) {
    constexpr MSize k43Sensor(8192, 6144);
    struct Case {
        std::vector<MSize> streams;
        MSize pixelArray;  // (0, 0): no entry
        int32_t expected;
        const char* why;
    };
    const Case kCases[] = {
        {{{1920, 1080}, {4000, 3000}}, k43Sensor, 750, "squarest stream on a 4:3 sensor"},
        {{{1920, 1080}}, k43Sensor, 562, "16:9"},
        {{{2400, 1080}}, k43Sensor, 500, "wider than 2:1"},
        {{{1000, 500}}, k43Sensor, 500, "exactly 2:1"},
        {{{1000, 501}}, k43Sensor, 562, "501 counts as 16:9"},
        {{{1000, 612}}, k43Sensor, 562, "612 is the last near 16:9"},
        {{{1000, 613}}, k43Sensor, 750, "613 takes the sensor ratio"},
        {{{1000, 1000}}, k43Sensor, 750, "1:1 stream takes the sensor ratio"},
        {{{1000, 1000}}, {0, 6144}, 1000, "zero-width pixel array keeps the stream ratio"},
        {{{4000, 3000}}, {0, 0}, 750, "no pixel array: the stream ratio"},
        {{{0, 3000}, {1920, 1080}}, k43Sensor, 562, "a zero-width stream contributes 0"},
        {{}, k43Sensor, 500, "no streams"},
        {{{4000, 3000000}}, k43Sensor, 500, "stream height x 1000 wraps negative: class 2:1"},
        {{{1000, 1000}}, {4000, 3000000}, -323741, "the pixel-array ratio wraps like the device"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        removeStatic(0, kTagPixelArraySize);
        if (c.pixelArray != MSize()) setStatic<MSize>(0, kTagPixelArraySize, {c.pixelArray});
        Inputs inputs;
        inputs.userConfig = AppUserConfiguration();
        int64_t id = 0;
        for (const MSize& size : c.streams)
            inputs.userConfig.imageStreams[id++] = stream(size.w, size.h);
        inputs.userConfig.imageStreams[-1] = nullptr;  // an absent info is skipped
        decide(inputs);
        EXPECT_EQ(sentSelectIn().maxRatio, c.expected);
        EXPECT_EQ(sentSelectIn().pixelArraySize, c.pixelArray);
        EXPECT_EQ(MSize(maxSizeCall().pixelArrayWidth, maxSizeCall().pixelArrayHeight),
                  c.pixelArray);
    }
}

TEST_F(SelectInInputs, DeviceIndexFromDeviceMask) {
    struct Case {
        bool hasSensorList;
        uint32_t mask;
        int32_t expected;
        const char* why;
    };
    const Case kCases[] = {
        {true, 1, 0, "slot 0"},       {true, 2, 1, "slot 1"},          {true, 4, 2, "slot 2"},
        {true, 2048, 11, "slot 11"},  {true, 6, 1, "lowest bit"},      {true, 0, 13, "no slot"},
        {true, 4096, 13, "too high"}, {false, 4, 0, "no sensor list"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::state().hasSensorList = c.hasSensorList;
        hostplatform::sensor(0).deviceMask = c.mask;
        decide(Inputs());
        EXPECT_EQ(sentSelectIn().drvId, c.expected);
        EXPECT_EQ(hostplatform::state().recorded.featureChip.at(0).settingRequest->drvId,
                  c.expected);
    }
}

TEST_F(SelectInInputs, PixelArrayCacheKeepsLastReadValue) {
    Inputs inputs;
    inputs.userConfig = userConfigOf({{1000, 1000}});
    CustSettingAlgoAdaptor adaptor(0);
    auto call = [&] {
        hostplatform::state().recorded = hostplatform::Recorded();
        Outcome o;
        adaptor.selectSensorSetting(inputs.appConfig, inputs.streamInfo, o.setting, 0, o.outValue,
                                    inputs.userConfig, 0.0f, 0.0f, 0);
        return sentSelectIn();
    };

    EXPECT_EQ(call().pixelArraySize, MSize(8192, 6144));
    removeStatic(0, kTagPixelArraySize);
    const Record afterFailedRead = call();
    EXPECT_EQ(afterFailedRead.pixelArraySize, MSize(8192, 6144));
    EXPECT_EQ(afterFailedRead.maxRatio, 750);
    EXPECT_EQ(maxSizeCall().pixelArrayWidth, 8192);

    setStatic<MSize>(0, kTagPixelArraySize, {MSize(4000, 2000)});
    const Record afterNewRead = call();
    EXPECT_EQ(afterNewRead.pixelArraySize, MSize(4000, 2000));
    EXPECT_EQ(afterNewRead.maxRatio, 500);
}

TEST_F(SelectInInputs, RecordBytesAndDebugLine) {
    Inputs inputs;
    inputs.hdrMode = 0x21;
    inputs.streamInfo->outputStreamsBySensor[0] = streams({{1920, 1080}});
    inputs.streamInfo->rawStreamsBySensor[0] = streams({{4000, 3000}});
    inputs.userConfig = userConfigOf({{1920, 1080}});
    inputs.appConfig->operationMode = 0x8001;
    inputs.appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagAovMode, {1}));
    hostplatform::sensor(0).deviceMask = 4;
    hostplatform::sensor(0).custSensorSettingInfo = 9;

    decide(inputs);
    const std::vector<uint8_t>& bytes =
        hostplatform::state().recorded.featureChip.at(0).selectInBytes;
    ASSERT_EQ(bytes.size(), 104u);
    std::vector<int32_t> words(bytes.size() / sizeof(int32_t));
    std::memcpy(words.data(), bytes.data(), bytes.size());
    // Word by word: drvId, stream size, fps, ratio, operation mode; then the video-HDR block
    // (flag and padding, scene list pointers, four integers); then the tail fields.
    const int32_t kHead[] = {2, 1920, 1080, 30, 562, 0x8001, 0, 0};
    const int32_t kTail[] = {0, 1, 0, 0, 9, 0, 30, 1, 8192, 6144, 4000, 3000};
    EXPECT_EQ(std::vector<int32_t>(words.begin(), words.begin() + 8),
              std::vector<int32_t>(std::begin(kHead), std::end(kHead)));
    EXPECT_EQ(std::vector<int32_t>(words.begin() + 14, words.end()),
              std::vector<int32_t>(std::begin(kTail), std::end(kTail)));

    EXPECT_EQ(androidLines("CustSettingPolicyBase", kAndroidDebug).at(0),
              "[getSettingSelectInfo] configure max stream size is 1920 1080 raw size 4000 3000 "
              "maxFPS 30 maxRatio 562 highFpsThres 30 aovMode 1  hdrMode = 0x21 startExpNum = 1");
}

TEST_F(SelectInInputs, MissingHandlesAndProviderReadAsEmpty) {
    hostplatform::sensor(0).hasMetadataProvider = false;
    Inputs inputs;
    inputs.appConfig = nullptr;
    inputs.streamInfo = nullptr;

    EXPECT_TRUE(decide(inputs).result);
    const Record record = sentSelectIn();
    EXPECT_EQ(record.maxFps, 0);
    EXPECT_EQ(record.maxStreamSize, MSize(0, 0));
    EXPECT_EQ(record.maxRatio, 750);
    EXPECT_EQ(record.pixelArraySize, MSize(0, 0));
    EXPECT_EQ(record.highFpsThres, 0);
    EXPECT_EQ(androidLines("CustSettingPolicyBase", kAndroidError).size(), 3u);
}

}  // namespace
}  // namespace settingtest
