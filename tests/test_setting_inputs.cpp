// The selection record of the new sensor-setting policy, as the feature-chip service receives it.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "test_setting_support.h"

namespace settingtest {
namespace {

constexpr int kAndroidError = 6;
constexpr int kAndroidDebug = 3;

using SelectInInputs = SettingTest;

TEST_F(SelectInInputs, MaxFpsFromSessionRangeOrMinFrameDurations) {
    struct Case {
        std::vector<int32_t> sessionRange;  // empty: no session entry
        std::vector<int64_t> durations;     // empty: no static entry
        int32_t expected;
        bool durationsErrorLogged;
        const char* why;
    };
    const Case kCases[] = {
        {{15, 30},
         {kFormatYuv, 1920, 1080, 16666666},
         30,
         false,
         "session upper bound wins over faster static durations"},
        {{15, 0},
         {kFormatYuv, 1920, 1080, 33333333, kFormatYuv, 1280, 720, 16666666},
         60,
         false,
         "upper bound 0 falls through to the shortest duration"},
        {{30},
         {kFormatYuv, 1920, 1080, 33333333},
         30,
         false,
         "a one-item range reads its missing upper bound as 0"},
        {{},
         {kFormatYuv, 1920, 1080, 0x100000000LL + 16666666},
         60,
         false,
         "only the low 32 bits of a duration count"},
        {{},
         {kFormatYuv, 1920, 1080, 0, 0x21, 640, 480, 100000000},
         10,
         false,
         "zero durations are skipped and every format takes part"},
        {{},
         {kFormatYuv, 1920, 1080, 33333333, kFormatYuv, 640},
         30,
         false,
         "a short last group reads its duration as 0"},
        {{}, {}, 0, true, "no durations: 0 and an error"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        Inputs inputs;
        if (!c.sessionRange.empty()) {
            NSCam::IEntry range(kTagAeTargetFpsRange);
            for (int32_t v : c.sessionRange) range.push_back(v);
            inputs.appConfig->sessionParams.update(range);
        }
        NSCam::IEntry durations(kTagMinFrameDurations);
        for (int64_t v : c.durations) durations.push_back(v);
        hostplatform::sensor(0).staticMetadata.update(durations);

        decide(inputs);
        EXPECT_EQ(sentSelectIn().maxFps, c.expected);
        ASSERT_EQ(hostplatform::state().recorded.maxStreamSize.size(), 1u);
        EXPECT_EQ(hostplatform::state().recorded.maxStreamSize[0].maxFps, c.expected);
        const auto errors = androidLines("CustSettingPolicyBase", kAndroidError);
        EXPECT_EQ(errors.size(), c.durationsErrorLogged ? 1u : 0u);
    }
}

TEST_F(SelectInInputs, RatioClassAndPixelArray) {
    struct Case {
        std::vector<MSize> userStreams;
        bool hasPixelArray;
        MSize pixelArray;
        int32_t expectedRatio;
        const char* why;
    };
    const Case kCases[] = {
        {{{1920, 1080}, {4000, 3000}}, true, {8192, 6144}, 750, "squarest stream on a 4:3 sensor"},
        {{{1920, 1080}}, true, {8192, 6144}, 562, "16:9"},
        {{{2400, 1080}}, true, {8192, 6144}, 500, "wider than 2:1 (450)"},
        {{{1000, 500}}, true, {8192, 6144}, 500, "exactly 2:1"},
        {{{1000, 501}}, true, {8192, 6144}, 562, "just narrower than 2:1"},
        {{{1920, 1152}}, true, {8192, 6144}, 562, "600 is near 16:9"},
        {{{1000, 612}}, true, {8192, 6144}, 562, "612 is the last near 16:9"},
        {{{1000, 613}}, true, {8192, 6144}, 750, "613 takes the sensor ratio"},
        {{{1000, 1000}}, true, {8192, 6144}, 750, "1:1 stream still takes the 4:3 sensor ratio"},
        {{{1000, 1000}}, true, {0, 6144}, 1000, "a zero-width pixel array keeps the stream ratio"},
        {{{4000, 3000}}, false, {0, 0}, 750, "no pixel array: the stream ratio"},
        {{{0, 3000}, {1920, 1080}}, true, {8192, 6144}, 562, "a zero-width stream contributes 0"},
        {{}, true, {8192, 6144}, 500, "no streams at all"},
        {{{4000, 3000000}},
         true,
         {8192, 6144},
         500,
         "height x 1000 wraps negative, so the class is 2:1"},
        {{{1000, 1000}},
         true,
         {4000, 3000000},
         -323741,
         "the pixel-array ratio wraps like the device"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (c.hasPixelArray) {
            setStatic<MSize>(0, kTagPixelArraySize, {c.pixelArray});
        } else {
            removeStatic(0, kTagPixelArraySize);
        }
        Inputs inputs;
        inputs.userConfig = AppUserConfiguration();
        int64_t id = 0;
        for (const MSize& s : c.userStreams)
            inputs.userConfig.imageStreams[id++] = stream(s.w, s.h);
        inputs.userConfig.imageStreams[id] = nullptr;  // an absent info is skipped

        decide(inputs);
        const CustSelectIn4Setting in = sentSelectIn();
        EXPECT_EQ(in.maxRatio, c.expectedRatio);
        EXPECT_EQ(in.pixelArraySize, c.pixelArray);
        EXPECT_EQ(hostplatform::state().recorded.maxStreamSize[0].pixelArrayWidth, c.pixelArray.w);
        EXPECT_EQ(hostplatform::state().recorded.maxStreamSize[0].pixelArrayHeight, c.pixelArray.h);
    }
}

TEST_F(SelectInInputs, PixelArrayCacheKeepsLastReadValue) {
    Inputs inputs;
    inputs.userConfig = userConfigOf({{1000, 1000}});
    CustSettingAlgoAdaptor adaptor(0);
    SensorSetting setting;
    unsigned int outValue = 0;
    auto call = [&] {
        hostplatform::state().recorded = hostplatform::Recorded();
        adaptor.selectSensorSetting(inputs.appConfig, inputs.streamInfo, setting, 0, outValue,
                                    inputs.userConfig, 0.0f, 0.0f, 0);
        return sentSelectIn();
    };

    EXPECT_EQ(call().pixelArraySize, MSize(8192, 6144));
    removeStatic(0, kTagPixelArraySize);
    const CustSelectIn4Setting afterFailedRead = call();
    EXPECT_EQ(afterFailedRead.pixelArraySize, MSize(8192, 6144));
    EXPECT_EQ(afterFailedRead.maxRatio, 750);
    EXPECT_EQ(hostplatform::state().recorded.maxStreamSize[0].pixelArrayWidth, 8192);
    EXPECT_EQ(
        androidLines("CustSettingPolicyBase", kAndroidError),
        std::vector<std::string>{"[getMaxRatio] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE "
                                 "(getMaxRatio){#143:CustPolicy/cust_setting_policy_base.cpp}"});

    setStatic<MSize>(0, kTagPixelArraySize, {MSize(4000, 2000)});
    const CustSelectIn4Setting afterNewRead = call();
    EXPECT_EQ(afterNewRead.pixelArraySize, MSize(4000, 2000));
    EXPECT_EQ(afterNewRead.maxRatio, 500);
}

TEST_F(SelectInInputs, MaxStreamSizeWalkAndServiceAnswer) {
    using Adjust = std::function<void(const hostplatform::MaxStreamSizeCall&, int32_t&, int32_t&)>;
    struct Case {
        bool perSensorMap;
        int mapSensor;
        std::vector<MSize> list;
        Adjust service;
        MSize expectedCandidate;  // what the service received
        MSize expected;           // what the record carries
        const char* why;
    };
    const Case kCases[] = {
        {false, 0, {}, nullptr, {5000, 2500}, {5000, 2500}, "no per-sensor lists: maxStreamSize"},
        {true,
         0,
         {{4000, 3000}, {4096, 2160}},
         nullptr,
         {4000, 3000},
         {4000, 3000},
         "wider but lower stream does not replace"},
        {true,
         0,
         {{1920, 1080}, {3840, 2160}, {3840, 2160}},
         nullptr,
         {3840, 2160},
         {3840, 2160},
         "larger in both replaces"},
        {true, 1, {{4000, 3000}}, nullptr, {0, 0}, {0, 0}, "lists only for another sensor"},
        {true,
         0,
         {{1920, 1080}},
         [](const auto&, int32_t& w, int32_t& h) {
             w = 640;
             h = 480;
         },
         {1920, 1080},
         {640, 480},
         "the service has the last word"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        Inputs inputs;
        inputs.streamInfo->maxStreamSize = MSize(5000, 2500);
        inputs.streamInfo->maxYuvSize = MSize(3000, 2000);
        inputs.floatParam0 = 0.75f;
        inputs.floatParam1 = -1.5f;
        if (c.perSensorMap) {
            auto& target = inputs.streamInfo->outputStreamsBySensor[c.mapSensor];
            for (const MSize& s : c.list) target.push_back(stream(s.w, s.h));
            target.insert(target.begin(), nullptr);  // an absent info is skipped
        }
        hostplatform::state().maxStreamSize = c.service;

        decide(inputs);
        const auto& calls = hostplatform::state().recorded.maxStreamSize;
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].sensorIdx, 0);
        EXPECT_EQ(MSize(calls[0].width, calls[0].height), c.expectedCandidate);
        EXPECT_EQ(calls[0].maxYuvWidth, 3000);
        EXPECT_EQ(calls[0].maxYuvHeight, 2000);
        EXPECT_EQ(calls[0].floatParam0, 0.75f);
        EXPECT_EQ(calls[0].floatParam1, -1.5f);
        EXPECT_EQ(sentSelectIn().maxStreamSize, c.expected);
    }
}

TEST_F(SelectInInputs, MaxRawSizeRaisesFromZero) {
    struct Case {
        bool hasRawMap;
        int mapSensor;
        std::vector<MSize> list;
        CustFeaturePrvSize expected;
        const char* why;
    };
    const Case kCases[] = {
        {false, 0, {}, {0, 0}, "no raw streams"},
        {true, 1, {{4000, 3000}}, {0, 0}, "raw streams of another sensor only"},
        {true,
         0,
         {{1920, 1080}, {4000, 3000}, {4000, 2000}},
         {4000, 3000},
         "largest in both sides, a lower one later does not replace"},
        {true, 0, {{4000, 3000}, {8000, 2000}}, {4000, 3000}, "wider but lower does not replace"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        Inputs inputs;
        if (c.hasRawMap) {
            auto& target = inputs.streamInfo->rawStreamsBySensor[c.mapSensor];
            for (const MSize& s : c.list) target.push_back(stream(s.w, s.h));
        }
        decide(inputs);
        const CustSelectIn4Setting in = sentSelectIn();
        EXPECT_EQ(in.maxRawSize.width, c.expected.width);
        EXPECT_EQ(in.maxRawSize.height, c.expected.height);
    }
}

TEST_F(SelectInInputs, HighFpsThresholdFromStaticRanges) {
    struct Case {
        std::vector<int32_t> ranges;  // empty: no entry
        int32_t expected;
        const char* why;
    };
    const Case kCases[] = {
        {{15, 30, 30, 60, 7, 24}, 60, "highest upper bound"},
        {{60, 30, 120, 24}, 30, "lower bounds are ignored"},
        {{15, 30, 240}, 30, "a dangling lower bound is ignored"},
        {{}, 0, "no entry: 0 and an error"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        NSCam::IEntry ranges(kTagAeAvailableTargetFpsRanges);
        for (int32_t v : c.ranges) ranges.push_back(v);
        hostplatform::sensor(0).staticMetadata.update(ranges);

        decide(Inputs());
        EXPECT_EQ(sentSelectIn().highFpsThres, c.expected);
        const std::vector<std::string> expectedErrors =
            c.ranges.empty()
                ? std::vector<std::string>{"[getHighFpsThres] no static "
                                           "MTK_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES "
                                           "(getHighFpsThres){#234:CustPolicy/"
                                           "cust_setting_policy_base.cpp}"}
                : std::vector<std::string>{};
        EXPECT_EQ(androidLines("CustSettingPolicyBase", kAndroidError), expectedErrors);
    }
}

TEST_F(SelectInInputs, VideoHdrInfoAndStartExposureOverride) {
    constexpr uint32_t kOpMode = 0x8001;
    struct Case {
        bool sceneHdrEnable;
        uint32_t sceneOpMode;
        bool withScenes;
        unsigned int hdrMode;
        int32_t expectedStartExpNum;
        const char* why;
    };
    const Case kCases[] = {
        {true, kOpMode, true, 0, 1, "scene for this mode, no HDR mode: reset to 1"},
        {false, kOpMode, true, 0, 3, "scene HDR not in force"},
        {true, kOpMode, true, 0x2, 3, "session asks for an HDR mode"},
        {true, 0x8002, true, 0, 3, "scene for another operation mode"},
        {true, kOpMode, false, 0, 3, "no scenes"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        qovix_aaa_ae_vhdr_info& vhdr = hostplatform::sensor(0).defaultVhdrInfo;
        vhdr.sceneHdrEnable = c.sceneHdrEnable;
        if (c.withScenes) vhdr.sceneInfos = {{0x9000, 11}, {c.sceneOpMode, 22}};
        vhdr.vhdrValue0 = 5;
        vhdr.startExpNum = 3;
        vhdr.vhdrValue2 = -6;
        vhdr.vhdrValue3 = 7;
        Inputs inputs;
        inputs.appConfig->operationMode = kOpMode;
        inputs.hdrMode = c.hdrMode;

        decide(inputs);
        const CustSelectIn4Setting in = sentSelectIn();
        EXPECT_EQ(in.operationMode, kOpMode);
        EXPECT_EQ(in.vhdrInfo.startExpNum, c.expectedStartExpNum);
        EXPECT_EQ(in.vhdrInfo.sceneHdrEnable, c.sceneHdrEnable);
        ASSERT_EQ(in.vhdrInfo.sceneInfos.size(), vhdr.sceneInfos.size());
        for (size_t i = 0; i < vhdr.sceneInfos.size(); ++i) {
            EXPECT_EQ(in.vhdrInfo.sceneInfos[i].operationMode, vhdr.sceneInfos[i].operationMode);
            EXPECT_EQ(in.vhdrInfo.sceneInfos[i].sceneValue, vhdr.sceneInfos[i].sceneValue);
        }
        EXPECT_EQ(in.vhdrInfo.vhdrValue0, 5);
        EXPECT_EQ(in.vhdrInfo.vhdrValue2, -6);
        EXPECT_EQ(in.vhdrInfo.vhdrValue3, 7);
    }
}

TEST_F(SelectInInputs, CustomInfoFlagsAndAovMode) {
    using Tweak = std::function<void(Inputs&)>;
    struct Case {
        Tweak tweak;
        int32_t custInfo;
        bool configExtraPresent;
        bool is8kVideo;
        int32_t aovMode;
        const char* why;
    };
    const Case kCases[] = {
        {[](Inputs&) {}, 1, false, false, 0, "defaults: info 1, flags false, no AOV"},
        {[](Inputs&) { hostplatform::sensor(0).custSensorSettingInfo = -4; }, -4, false, false, 0,
         "the service's custom info"},
        {[](Inputs& s) {
             s.appConfig->pExtra =
                 std::make_shared<mcam::core::device::policy::PolicyParsedAppConfigurationExtra>();
         },
         1, true, false, 0, "extension record present"},
        {[](Inputs& s) { s.streamInfo->videoWidth = 7680; }, 1, false, true, 0, "8K video"},
        {[](Inputs& s) { s.streamInfo->videoWidth = 7679; }, 1, false, false, 0, "just below 8K"},
        {[](Inputs& s) {
             s.appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagAovMode, {2}));
         },
         1, false, false, 2, "AOV session parameter"},
        {[](Inputs& s) {
             s.appConfig->sessionParams.update(NSCam::IEntry::of<int64_t>(kTagAovMode, {2}));
         },
         1, false, false, 0, "AOV parameter of another type reads as absent"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        Inputs inputs;
        inputs.appConfig->operationMode = 0x10;
        inputs.streamInfo->maxStreamSize = MSize(3000, 1500);
        c.tweak(inputs);

        decide(inputs);
        const CustSelectIn4Setting in = sentSelectIn();
        EXPECT_EQ(in.custSensorSettingInfo, c.custInfo);
        EXPECT_EQ(in.configExtraPresent, c.configExtraPresent);
        EXPECT_EQ(hostplatform::state().recorded.maxStreamSize[0].configExtraPresent,
                  c.configExtraPresent);
        EXPECT_EQ(in.is8kVideo, c.is8kVideo);
        EXPECT_EQ(in.aovMode, c.aovMode);

        const auto& infoCalls = hostplatform::state().recorded.custSensorSettingInfo;
        ASSERT_EQ(infoCalls.size(), 1u);
        EXPECT_EQ(infoCalls[0].sensorIdx, 0);
        EXPECT_EQ(infoCalls[0].operationMode, 0x10u);
        EXPECT_EQ(infoCalls[0].maxStreamWidth, 3000);
        EXPECT_EQ(infoCalls[0].maxStreamHeight, 1500);
        EXPECT_EQ(infoCalls[0].info, 1);
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
        {true, 1, 0, "slot 0"},          {true, 2, 1, "slot 1"},
        {true, 4, 2, "slot 2"},          {true, 2048, 11, "highest slot"},
        {true, 0, 13, "no slot"},        {true, 4096, 13, "beyond the highest slot"},
        {true, 6, 1, "lowest bit"},      {true, 0x80000000u, 13, "top bit"},
        {false, 4, 0, "no sensor list"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hostplatform::state().hasSensorList = c.hasSensorList;
        hostplatform::sensor(0).deviceMask = c.mask;

        decide(Inputs());
        EXPECT_EQ(sentSelectIn().drvId, c.expected);
        const auto& call = hostplatform::state().recorded.featureChip.at(0);
        ASSERT_TRUE(call.settingRequest.has_value());
        EXPECT_EQ(call.settingRequest->drvId, c.expected);
    }
}

TEST_F(SelectInInputs, WholeRecordBytesAndDebugLine) {
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
    const auto& call = hostplatform::state().recorded.featureChip.at(0);
    const std::vector<uint8_t>& bytes = call.selectInBytes;
    ASSERT_EQ(bytes.size(), sizeof(CustSelectIn4Setting));
    auto i32 = [&](size_t offset) {
        int32_t v;
        std::memcpy(&v, bytes.data() + offset, sizeof(v));
        return v;
    };
    struct Field {
        size_t offset;
        int32_t expected;
        const char* why;
    };
    const Field kFields[] = {
        {0, 2, "drvId"},
        {4, 1920, "max stream width"},
        {8, 1080, "max stream height"},
        {12, 30, "maxFps"},
        {16, 562, "maxRatio"},
        {20, 0x8001, "operationMode"},
        {24 + 32, 0, "vhdrValue0"},
        {24 + 36, 1, "startExpNum"},
        {72, 9, "custSensorSettingInfo"},
        {80, 30, "highFpsThres"},
        {84, 1, "aovMode"},
        {88, 8192, "pixel array width"},
        {92, 6144, "pixel array height"},
        {96, 4000, "raw width"},
        {100, 3000, "raw height"},
    };
    for (const Field& f : kFields) {
        SCOPED_TRACE(f.why);
        EXPECT_EQ(i32(f.offset), f.expected);
    }
    struct ZeroByte {
        size_t offset;
        const char* why;
    };
    const ZeroByte kZeroBytes[] = {
        {24, "sceneHdrEnable"},     {25, "vhdr padding"}, {31, "vhdr padding end"},
        {76, "extension flag"},     {77, "8K flag"},      {78, "record padding"},
        {79, "record padding end"},
    };
    for (const ZeroByte& z : kZeroBytes) {
        SCOPED_TRACE(z.why);
        EXPECT_EQ(bytes[z.offset], 0);
    }

    EXPECT_EQ(androidLines("CustSettingPolicyBase", kAndroidDebug).at(0),
              "[getSettingSelectInfo] configure max stream size is 1920 1080 raw size 4000 3000 "
              "maxFPS 30 maxRatio 562 highFpsThres 30 aovMode 1  hdrMode = 0x21 startExpNum = 1");
}

TEST_F(SelectInInputs, MissingHandlesAndProviderReadAsEmpty) {
    hostplatform::sensor(0).hasMetadataProvider = false;
    Inputs inputs;
    inputs.appConfig = nullptr;
    inputs.streamInfo = nullptr;

    const Outcome outcome = decide(inputs);
    EXPECT_TRUE(outcome.result);
    const CustSelectIn4Setting in = sentSelectIn();
    EXPECT_EQ(in.maxFps, 0);
    EXPECT_EQ(in.maxStreamSize, MSize(0, 0));
    EXPECT_EQ(in.maxRatio, 750);
    EXPECT_EQ(in.pixelArraySize, MSize(0, 0));
    EXPECT_EQ(in.highFpsThres, 0);
    EXPECT_EQ(androidLines("CustSettingPolicyBase", kAndroidError).size(), 3u);
}

}  // namespace
}  // namespace settingtest
