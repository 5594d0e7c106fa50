// The selection record of the new sensor-setting policy, as the feature-chip service receives it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "test_support.h"

namespace cptest {
namespace {

namespace hp = hostplatform;

using hp::MaxStreamSizeCall;
using I = Session&;

const MaxStreamSizeCall& maxSizeCall() { return hp::state().recorded.maxStreamSize.at(0); }

void setSession(I i, uint32_t tag, std::initializer_list<int32_t> items) {
    i.appConfig->sessionParams.update(NSCam::IEntry::of<int32_t>(tag, items));
}
void setFpsRange(I i, std::initializer_list<int32_t> range) {
    setSession(i, kTagAeTargetFpsRange, range);
}
void setDurations(std::initializer_list<int64_t> items) {
    setStatic<int64_t>(0, kTagMinFrameDurations, items);
}
// Per-sensor stream lists, led by an absent info that must be skipped.
void setStreams(I i, bool raw, int sensorIdx, const std::vector<MSize>& sizes) {
    auto& map = raw ? i.streamInfo->rawStreamsBySensor : i.streamInfo->outputStreamsBySensor;
    auto& list = map[sensorIdx];
    list = streams(sizes);
    list.insert(list.begin(), nullptr);
}
void setOpMode(I i) { i.appConfig->operationMode = 0x8001; }

constexpr char kBaseTag[] = "CustSettingPolicyBase";

using SelectInInputs = SettingTest;

std::string sizeText(int32_t w, int32_t h) { return std::to_string(w) + "x" + std::to_string(h); }

// Every field of the selection record, and what the max-size and custom-info queries received.
std::string describeSelection() {
    const CustSelectIn4Setting r = sentSelectIn();
    const qovix_aaa_ae_vhdr_info& v = r.vhdrInfo;
    char text[512];
    std::snprintf(text, sizeof(text),
                  "  record: drvId %d stream %s fps %d ratio %d opMode 0x%x custInfo %d extra %d "
                  "8k %d highFps %d aov %d pixelArray %s raw %s\n"
                  "  hdr: scene %d start %d values %d %d %d, scenes",
                  r.drvId, sizeText(r.maxStreamSize.w, r.maxStreamSize.h).c_str(), r.maxFps,
                  r.maxRatio, r.operationMode, r.custSensorSettingInfo, r.configExtraPresent,
                  r.is8kVideo, r.highFpsThres, r.aovMode,
                  sizeText(r.pixelArraySize.w, r.pixelArraySize.h).c_str(),
                  sizeText(r.maxRawSize.width, r.maxRawSize.height).c_str(), v.sceneHdrEnable,
                  v.startExpNum, v.vhdrValue0, v.vhdrValue2, v.vhdrValue3);
    std::string out = text;
    for (const auto& scene : v.sceneInfos) {
        std::snprintf(text, sizeof(text), " 0x%x:%d", scene.operationMode, scene.sceneValue);
        out += text;
    }
    for (const MaxStreamSizeCall& q : hp::state().recorded.maxStreamSize) {
        std::snprintf(text, sizeof(text),
                      "\n  max-size query: sensor %d yuv %s candidate %s floats %g %g fps %d "
                      "pixelArray %s extra %d",
                      q.sensorIdx, sizeText(q.maxYuvWidth, q.maxYuvHeight).c_str(),
                      sizeText(q.width, q.height).c_str(), q.floatParam0, q.floatParam1, q.maxFps,
                      sizeText(q.pixelArrayWidth, q.pixelArrayHeight).c_str(),
                      q.configExtraPresent);
        out += text;
    }
    for (const auto& q : hp::state().recorded.custSensorSettingInfo) {
        std::snprintf(text, sizeof(text),
                      "\n  custom-info query: sensor %d opMode 0x%x stream %s info %d", q.sensorIdx,
                      q.operationMode, sizeText(q.maxStreamWidth, q.maxStreamHeight).c_str(),
                      q.info);
        out += text;
    }
    out += "\n";
    for (const std::string& line : logLines(kBaseTag)) {
        if (line[0] == 'E') out += "  " + line + "\n";
    }
    return out;
}

// Each case changes one fact of the default configuration (a 4000x3000 stream, durations of
// 30 fps, AE ranges up to 30, a 8192x6144 pixel array, scene HDR for mode 0x9000 and 0x8001);
// the golden file holds the whole record each case sends.
TEST_F(SelectInInputs, RecordFieldsFollowTheConfiguration) {
    struct Case {
        const char* why;
        void (*arrange)(Session&);
    };
    // clang-format off
    const Case kCases[] = {
        {"defaults", [](I) {}},
        {"session upper bound wins over faster durations and reaches the max-size query",
         [](I i) { setFpsRange(i, {15, 24}); setDurations({0x23, 640, 480, 8333333}); }},
        {"upper bound 0 falls through to the shortest duration",
         [](I i) { setFpsRange(i, {15, 0}); setDurations({0x23, 1, 1, 33333333, 0x23, 1, 1, 16666666}); }},
        {"a one-item session range reads its upper bound as 0", [](I i) { setFpsRange(i, {60}); }},
        {"a session range of 64-bit items has no upper bound: the durations decide",
         [](I i) { i.set(IEntry::of<int64_t>(kTagAeTargetFpsRange, {(60LL << 32) | 15})); }},
        {"durations of 32-bit items read as absent: no frame rate",
         [](I) { setStatic<int32_t>(0, kTagMinFrameDurations, {0x23, 0, 640, 0, 480, 0, 1, 0}); }},
        {"only the low 32 bits of a duration count",
         [](I) { setDurations({0, 0, 0, 0x100000000LL + 16666666}); }},
        {"zero durations are skipped, a short last group reads as 0",
         [](I) { setDurations({0, 0, 0, 0, 0x21, 640, 480, 100000000, 7}); }},
        {"no per-sensor lists: the largest stream size",
         [](I i) { i.streamInfo->maxStreamSize = MSize(5000, 2500); }},
        {"wider but lower stream does not replace",
         [](I i) { setStreams(i, false, 0, {{4000, 3000}, {4096, 2160}}); }},
        {"lists only for another sensor: (0, 0)", [](I i) { setStreams(i, false, 1, {{4000, 3000}}); }},
        {"the service has the last word on the stream size",
         [](I i) {
             setStreams(i, false, 0, {{1920, 1080}, {3840, 2160}});
             i.streamInfo->maxYuvSize = MSize(3000, 2000);
             hp::state().maxStreamSize = [](const MaxStreamSizeCall&, int32_t& w, int32_t& h) { w = 640; h = 480; };
         }},
        {"raw streams of another sensor only", [](I i) { setStreams(i, true, 1, {{4000, 3000}}); }},
        {"largest raw in both sides",
         [](I i) { setStreams(i, true, 0, {{1920, 1080}, {4000, 3000}, {8000, 2000}}); }},
        {"highest AE upper bound, lower bounds and a dangling bound ignored",
         [](I) { setStatic<int32_t>(0, kTagAeAvailableTargetFpsRanges, {15, 30, 90, 60, 240}); }},
        {"AE ranges of 64-bit items read as absent",
         [](I) { setStatic<int64_t>(0, kTagAeAvailableTargetFpsRanges, {(30LL << 32) | 15}); }},
        {"a pixel array of 32-bit items reads as absent: a square stream keeps its ratio",
         [](I i) { setStatic<int32_t>(0, kTagPixelArraySize, {8192, 6144}); i.userConfig = userConfigOf({{3000, 3000}}); }},
        {"scene for this mode without HDR mode resets startExpNum to 1", setOpMode},
        {"scene HDR not in force",
         [](I i) { setOpMode(i); hp::sensor(0).defaultVhdrInfo.sceneHdrEnable = false; }},
        {"the session asks for an HDR mode", [](I i) { setOpMode(i); i.hdrMode = 2; }},
        {"scenes only for other operation modes", [](I i) { i.appConfig->operationMode = 0x8002; }},
        {"the service's custom info, asked with the configuration",
         [](I i) {
             hp::sensor(0).custSensorSettingInfo = -4;
             i.appConfig->operationMode = 0x10;
             i.streamInfo->maxStreamSize = MSize(3000, 1500);
         }},
        {"extension record present",
         [](I i) { i.appConfig->pExtra = std::make_shared<mcam::core::device::policy::PolicyParsedAppConfigurationExtra>(); }},
        {"8K video", [](I i) { i.streamInfo->videoWidth = 7680; }},
        {"just below 8K", [](I i) { i.streamInfo->videoWidth = 7679; }},
        {"AOV session parameter", [](I i) { setSession(i, kTagAovMode, {2}); }},
        {"AOV parameter of another type reads as absent",
         [](I i) { i.set(IEntry::of<int64_t>(kTagAovMode, {2})); }},
        {"no configuration, stream info or metadata provider: empty values, three errors",
         [](I i) { hp::sensor(0).hasMetadataProvider = false; i.appConfig = nullptr; i.streamInfo = nullptr; }},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hp::sensor(0).defaultVhdrInfo = {true, {{0x9000, 11}, {0x8001, 22}}, 1, 3, 2, 3};
        Session session;
        c.arrange(session);
        EXPECT_TRUE(decide(session).result);
        golden += std::string("## ") + c.why + "\n" + describeSelection();
    }
    expectGolden("setting-selection-record", golden);
}

TEST_F(SelectInInputs, RatioClassAndDeviceIndex) {
    constexpr MSize k43(8192, 6144);
    struct Case {
        std::vector<MSize> streams;
        MSize pixelArray;  // (0, 0): no entry
        int32_t expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {{{1920, 1080}, {4000, 3000}}, k43, 750, "squarest stream on a 4:3 sensor"},
        {{{1000, 500}}, k43, 500, "exactly 2:1"},
        {{{1000, 501}}, k43, 562, "501 counts as 16:9"},
        {{{1000, 612}}, k43, 562, "612 is the last near 16:9"},
        {{{1000, 613}}, k43, 750, "613 takes the sensor ratio"},
        {{{1000, 1000}}, {0, 6144}, 1000, "zero-width pixel array keeps the stream ratio"},
        {{{4000, 3000}}, {0, 0}, 750, "no pixel array: the stream ratio"},
        {{{0, 3000}, {1920, 1080}}, k43, 562, "a zero-width stream contributes 0"},
        {{}, k43, 500, "no streams"},
        {{{4000, 3000000}}, k43, 500, "stream height x 1000 wraps negative: class 2:1"},
        {{{1000, 1000}}, {4000, 3000000}, -323741, "the pixel-array ratio wraps like the device"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        hp::sensor(0).staticMetadata.remove(kTagPixelArraySize);
        if (c.pixelArray != MSize()) setStatic<MSize>(0, kTagPixelArraySize, {c.pixelArray});
        Session inputs;
        inputs.userConfig = userConfigOf(c.streams);
        inputs.userConfig.imageStreams[-1] = nullptr;  // an absent info is skipped
        decide(inputs);
        EXPECT_EQ(sentSelectIn().maxRatio, c.expected);
        EXPECT_EQ(sentSelectIn().pixelArraySize, c.pixelArray);
        EXPECT_EQ(MSize(maxSizeCall().pixelArrayWidth, maxSizeCall().pixelArrayHeight),
                  c.pixelArray);
    }

    struct MaskCase {
        bool hasSensorList;
        uint32_t mask;
        int32_t expected;
    };
    const MaskCase kMasks[] = {{true, 1, 0},  {true, 2048, 11}, {true, 6, 1},
                               {true, 0, 13}, {true, 4096, 13}, {false, 4, 0}};
    for (const MaskCase& c : kMasks) {
        SCOPED_TRACE("mask " + std::to_string(c.mask) + (c.hasSensorList ? "" : ", no list"));
        SetUp();
        hp::state().hasSensorList = c.hasSensorList;
        hp::sensor(0).deviceMask = c.mask;
        decide(Session());
        EXPECT_EQ(sentSelectIn().drvId, c.expected);
        EXPECT_EQ(hp::state().recorded.featureChip.at(0).settingRequest->drvId, c.expected);
    }
}

TEST_F(SelectInInputs, PixelArrayCacheKeepsLastReadValue) {
    Session in;
    in.userConfig = userConfigOf({{1000, 1000}});
    CustSettingAlgoAdaptor adaptor(0);
    auto call = [&] {
        hp::state().recorded = hp::Recorded();
        Outcome o;
        adaptor.selectSensorSetting(in.appConfig, in.streamInfo, o.setting, 0, o.outValue,
                                    in.userConfig, 0.0f, 0.0f, 0);
        const CustSelectIn4Setting r = sentSelectIn();
        return std::make_pair(r.pixelArraySize, r.maxRatio);
    };
    EXPECT_EQ(call(), std::make_pair(MSize(8192, 6144), 750));
    hp::sensor(0).staticMetadata.remove(kTagPixelArraySize);
    EXPECT_EQ(call(), std::make_pair(MSize(8192, 6144), 750)) << "a failed read keeps the cache";
    EXPECT_EQ(maxSizeCall().pixelArrayWidth, 8192);
    setStatic<MSize>(0, kTagPixelArraySize, {MSize(4000, 2000)});
    EXPECT_EQ(call(), std::make_pair(MSize(4000, 2000), 500));
}

TEST_F(SelectInInputs, RecordBytesAndDebugLine) {
    Session in;
    in.hdrMode = 0x21;
    in.streamInfo->outputStreamsBySensor[0] = streams({{1920, 1080}});
    in.streamInfo->rawStreamsBySensor[0] = streams({{4000, 3000}});
    in.userConfig = userConfigOf({{1920, 1080}});
    setOpMode(in);
    setSession(in, kTagAovMode, {1});
    hp::sensor(0).deviceMask = 4;
    hp::sensor(0).custSensorSettingInfo = 9;
    decide(in);

    const std::vector<uint8_t>& bytes = hp::state().recorded.featureChip.at(0).selectInBytes;
    ASSERT_EQ(bytes.size(), 104u);
    std::vector<int32_t> words(bytes.size() / sizeof(int32_t));
    std::memcpy(words.data(), bytes.data(), bytes.size());
    // drvId, stream size, fps, ratio, operation mode, HDR flag and padding; words 8..13 hold the
    // scene list pointers and four HDR integers; then the tail fields.
    EXPECT_EQ(std::vector<int32_t>(words.begin(), words.begin() + 8),
              (std::vector<int32_t>{2, 1920, 1080, 30, 562, 0x8001, 0, 0}));
    EXPECT_EQ(std::vector<int32_t>(words.begin() + 14, words.end()),
              (std::vector<int32_t>{0, 1, 0, 0, 9, 0, 30, 1, 8192, 6144, 4000, 3000}));
    EXPECT_EQ(logLines(kBaseTag).at(0),
              "D/[getSettingSelectInfo] configure max stream size is 1920 1080 raw size 4000 3000 "
              "maxFPS 30 maxRatio 562 highFpsThres 30 aovMode 1  hdrMode = 0x21 startExpNum = 1");
}

}  // namespace
}  // namespace cptest
