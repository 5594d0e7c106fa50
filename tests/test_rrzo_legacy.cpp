// The legacy RRZO policy: the request widened to the sensor's aspect ratio, the sensor-size and
// RRZO-size tables looked up by caller, activity, package and the catch-all, and the service's
// answer and the stabilisation size in between.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cust_rrzo_policy_legacy.h"
#include "test_support.h"

namespace cptest {
namespace {

using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;

constexpr char kSensorTable[] = "CameraCustomSensorSize";
constexpr char kRrzoTable[] = "CameraCustomRrzoSize";
constexpr char kCaller[] = "com.example.camera";
constexpr char kActivity[] = "com.example.app/.ui.Main$Inner";
constexpr char kPackage[] = "com.example.app";
constexpr char kAll[] = "AllCamApp";
constexpr int32_t kEisCapMode = 0x8028;
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
const MSize kSensor4x3(4000, 3000);
const MSize kRequest16x9(1920, 1080);
const MSize kWidened16x9(1920, 1440);

std::string str(MSize size) { return std::to_string(size.w) + "x" + std::to_string(size.h); }

// Caller and session facts as bits; none means the device's own camera from the main menu.
enum : unsigned {
    kOtherApp = 1u << 0,
    kSdkApp = 1u << 1,
    kStereo = 1u << 2,           // stereo feature mode 0x40
    kStereoOtherBits = 1u << 3,  // stereo feature mode 0xBF
    k4kVideo = 1u << 4,
    kNotFromMainMenu = 1u << 5,
    kDolbyVision = 1u << 6,
};

void resetAll(unsigned facts = 0, int32_t capMode = 0, const char* caller = kCaller,
              const char* activity = kActivity, const char* package = kPackage) {
    hostplatform::reset();
    hostconfig::clear();
    hostconfig::clearCalls();
    auto& customer = hostplatform::state().customer;
    customer.systemCam = (facts & (kOtherApp | kSdkApp)) == 0;
    customer.sdkCam = (facts & kSdkApp) != 0;
    customer.thirdPartyCam = (facts & kOtherApp) != 0;
    customer.camFromMainMenu = (facts & kNotFromMainMenu) == 0;
    customer.is4kVideo = (facts & k4kVideo) != 0;
    customer.dolbyVision = (facts & kDolbyVision) != 0;
    customer.capMode = capMode;
    hostplatform::state().stereoFeatureMode =
        (facts & kStereo ? 0x40u : 0u) | (facts & kStereoOtherBits ? 0xBFu : 0u);
    customer.callerName = caller;
    customer.activityName = activity;
    customer.packageName = package;
}

std::string table(const char* name, const std::string& rows) {
    return std::string("[") + name + "]\n" + rows;
}

// Makes the feature-chip service answer request 2 with `answer`, when there is one.
void answerRequest2(std::optional<MSize> answer) {
    hostplatform::state().featureChip = [answer](const CustTransMsgData* request,
                                                 CustTransMsgData*) {
        const auto* record = static_cast<const CustEvalRequest*>(request->pData);
        if (answer && record->evalType == 2) *static_cast<MSize*>(record->pParam) = *answer;
    };
}

MSize select(int sensorIdx, MSize inSize, MSize requested) {
    CustRrzoAlgoAdaptor adaptor(sensorIdx);
    adaptor.selectTargetSize(sensorIdx, inSize, requested);
    return requested;
}

class RrzoLegacyTest : public ::testing::Test {
protected:
    void SetUp() override { resetAll(); }
    void TearDown() override { hostconfig::clear(); }
};

TEST_F(RrzoLegacyTest, WidensTheRequestToTheSensorAspectRatio) {
    struct Case {
        MSize sensor, requested, expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {kSensor4x3, kRequest16x9, kWidened16x9, "16:9 on 4:3: the height grows"},
        {kSensor4x3, {1000, 1000}, {1333, 1000}, "square on 4:3: the width grows, truncated"},
        {kSensor4x3, {1440, 1080}, {1440, 1080}, "equal products recompute the width unchanged"},
        {{0, 0}, kRequest16x9, {0, 1080}, "empty sensor: equal products, zero divisor gives 0"},
        {{0, 3000}, kRequest16x9, {1920, 0}, "zero sensor width divides the height to 0"},
        {{4000, 0}, kRequest16x9, {0, 1080}, "zero sensor height divides the width to 0"},
        {{-4000, 3000}, kRequest16x9, {1920, -1440}, "negative sensor width: negative height"},
        {{40000, 30000}, {100000, 50000}, {66666, 50000}, "3e9 wraps negative: width grows"},
        {{1, -1}, {kMin, kMin}, {kMin, kMin}, "INT_MIN / -1 wraps"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll();
        EXPECT_EQ(str(select(0, c.sensor, c.requested)), str(c.expected));
        EXPECT_EQ(hostconfig::describedCalls(), (Strings{"GetKeyCount(CameraCustomSensorSize) = 0",
                                                         "GetKeyCount(CameraCustomRrzoSize) = 0"}));
    }
}

// A row matches when each of camera id, capture mode and feature mask is -1 or equal.
TEST_F(RrzoLegacyTest, RowsMatchOnCameraCaptureModeAndFeatureMask) {
    struct Case {
        const char *sensorColumns, *rrzoColumns;
        int sensorIdx;
        unsigned facts;
        int32_t capMode;
        bool matches;
        const char* why;
    };
    const unsigned kMask3 = kStereo | k4kVideo;
    const unsigned kAllFacts = kStereo | k4kVideo | kNotFromMainMenu | kDolbyVision;
    // clang-format off
    const Case kCases[] = {
        {"-1, -1, -1", nullptr, 1, kMask3, 7, true, "all wildcards"},
        {"0, -1, -1", nullptr, 0, 0, 0, true, "camera id equal"},
        {"0, -1, -1", nullptr, 1, 0, 0, false, "camera id differs"},
        {"-2, -1, -1", nullptr, 0, 0, 0, false, "only -1 is a wildcard"},
        {"-1, 0x8028, -1", nullptr, 0, 0, kEisCapMode, true, "capture mode equal"},
        {"-1, 0x8028, -1", nullptr, 0, 0, 0x8029, false, "capture mode differs"},
        {"-1, -1, 1", nullptr, 0, kMask3, 0, false, "a subset of the mask is no match"},
        {"-1, -1, 0", nullptr, 0, 0, 0, true, "own camera from the main menu: mask 0"},
        {"-1, -1, 3", "-1, -1, 0x63", 0, kAllFacts, 0, true, "own camera: every bit"},
        {"-1, -1, 1", nullptr, 0, kSdkApp | kStereo, 0, true, "SDK caller in stereo"},
        {"-1, -1, 0", nullptr, 0, kStereoOtherBits, 0, true, "only bit 0x40 of the stereo mode"},
        {"-1, -1, 2", "-1, -1, 0x42", 0, kOtherApp | kAllFacts, 0, true,
         "another application: no stereo bit, no main-menu bit"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts, c.capMode);
        const std::string other = ", 1000, 500\nAllCamApp[1] = -1, -1, -1, 2000, 1500\n";
        loadTables(table(kSensorTable, std::string("AllCamApp[0] = ") + c.sensorColumns + other) +
                   table(kRrzoTable, std::string("AllCamApp[0] = ") +
                                         (c.rrzoColumns ? c.rrzoColumns : c.sensorColumns) +
                                         other));
        const char* expected = c.matches ? "1000x500" : "2000x1500";
        EXPECT_EQ(str(CustRrzoPolicyLegacy().getSensorSizeLegacy(kSensor4x3, c.sensorIdx)),
                  expected);
        EXPECT_EQ(str(select(c.sensorIdx, kSensor4x3, kRequest16x9)), expected);
    }
}

// Which locales are asked in which order, which rows read, the first matching row's size, and
// every message: the golden file holds, per case, the sensor size the sensor table gives a 4:3
// sensor, the final size of a 16:9 request, the store calls and the log of the selection.
TEST_F(RrzoLegacyTest, LocalesInOrderAndTheFirstMatchingRowWins) {
    const std::string act = kActivity, pkg = kPackage, all = kAll, own = kCaller;
    const std::string unrelated = "Unrelated[0] = -1, -1, -1, 8, 6\n";
    const std::string bothUnrelated = table(kSensorTable, unrelated) + table(kRrzoTable, unrelated);
    struct Case {
        unsigned facts;
        int32_t capMode;
        const char *caller, *activity, *package;
        std::string config;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {0, 0, kCaller, kActivity, kPackage, bothUnrelated, "own camera: caller, then AllCamApp"},
        {kOtherApp, 0, kCaller, kActivity, kPackage, bothUnrelated,
         "other application: activity, then package for the RRZO table"},
        {kSdkApp, 0, kCaller, kActivity, kPackage, bothUnrelated,
         "an SDK caller is another application"},
        {0, 0, "", kActivity, kPackage, bothUnrelated, "empty caller name"},
        {kOtherApp, 0, kCaller, "", "", bothUnrelated, "empty activity and package names"},
        {kOtherApp, 0, kCaller, kAll, kPackage, bothUnrelated,
         "a name is not compared with the catch-all"},
        {0, 0, kCaller, kActivity, kPackage, table(kSensorTable, "AllCamApp[0] = 0, -1, -1, 0, 2250\n"),
         "a zero width keeps the sensor's; the request is widened to the result"},
        {0, 0, kCaller, kActivity, kPackage, table(kSensorTable, "AllCamApp[0] = 0, -1, -1, 3000, 0\n"),
         "a zero height keeps the sensor's"},
        {0, 0, kCaller, kActivity, kPackage,
         table(kSensorTable, "AllCamApp[0] = 0, -1, -1, 0, 0\nAllCamApp[1] = -1, -1, -1, 8, 6\n"),
         "a 0 x 0 row keeps both sides and ends the lookup"},
        {0, 0, kCaller, kActivity, kPackage, table(kRrzoTable, "AllCamApp[0] = -1, -1, -1, 0, 0\n"),
         "an RRZO row of 0 x 0 is taken as it stands"},
        {kOtherApp, 0, kCaller, kActivity, kPackage,
         table(kRrzoTable, act + "[0] = 1, -1, -1, 640, 480\n" + pkg +
                               "[0] = -1, 0x8028, -1, 800, 600\n" + all + "[0] = -1, -1, -1, 1280, 720\n"),
         "activity and package rows that do not match fall through to AllCamApp"},
        {kOtherApp, 0, kCaller, kActivity, kPackage,
         table(kRrzoTable, act + "[0] = 0, -1, -1, 640, 480\n" + pkg + "[0] = -1, -1, -1, 800, 600\n"),
         "a matching activity row ends the lookup"},
        {0, 0, kCaller, kActivity, kPackage,
         table(kRrzoTable, own + "[0] = -1, -1, -1, 640, 480\n" + act + "[0] = -1, -1, -1, 8, 6\n"),
         "the own camera's caller rows come first"},
        {kOtherApp, 0, kCaller, kActivity, kPackage,
         table(kRrzoTable, act + "[0] = 1, -1, -1, 8, 6\n" + act + "[2] = 0, -1, -1, 640, 480\n" +
                               all + "[0] = -1, -1, -1, 0, 2250\n"),
         "a missing key fails its read, and the row count ends the scan"},
        {kOtherApp, 0, kCaller, kActivity, kPackage,
         table(kSensorTable, act + "[0] = 0, -1, -1, 8\n" + act + "[1] = -1, -1, -1, 640, 480\n" +
                                 all + "[0] = -1, -1, -1, 2000, 1500\n"),
         "a row 0 of 4 integers skips the locale silently"},
        {kOtherApp, 0, kCaller, kActivity, kPackage,
         table(kRrzoTable, act + "[0] = 0, -1, -1, 8, 6, 0\n" + act + "[1] = -1, -1, -1, 640, 480\n" +
                               all + "[0] = -1, -1, -1, 2000, 1500\n"),
         "a row 0 of 6 integers skips the locale silently"},
        {kOtherApp | k4kVideo, kEisCapMode, kCaller, kActivity, kPackage,
         table(kSensorTable, act + "[0] = 1, -1, -1, 0, 0\n" + act + "[1] = 0, -1, -1, 0\n" + act +
                                 "[2] = 0, 0x8028, 2, 0, 2250\n") +
             table(kRrzoTable, act + "[0] = 1, -1, -1, 0, 0\n" + act + "[1] = 0, -1, -1, 0\n" + pkg +
                                   "[0] = -1, -1, -1, 1280, 720\n"),
         "another application in 4K video: every message of both tables"},
        {kNotFromMainMenu | kDolbyVision, 0, kCaller, kActivity, kPackage,
         table(kRrzoTable, own + "[0] = -1, -1, 0x60, 640, 480\n"),
         "own camera not from the main menu, Dolby Vision; a missing sensor table says nothing"},
    };
    // clang-format on
    std::string golden;
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts, c.capMode, c.caller, c.activity, c.package);
        loadTables(c.config);
        const MSize sensor = CustRrzoPolicyLegacy().getSensorSizeLegacy(kSensor4x3, 0);
        hostconfig::clearCalls();
        hostplatform::state().recorded = {};
        const MSize final = select(0, kSensor4x3, kRequest16x9);
        golden += std::string("## ") + c.why + "\n-> sensor " + str(sensor) + ", final " +
                  str(final) + "\n" + transcript();
    }
    expectGolden("rrzo-legacy-lookup", golden);
}

// The widened size, then the service's answer, then the stabilisation size, then an RRZO row.
TEST_F(RrzoLegacyTest, StabilisationSizeOnlyForTypeOneOnSensorZeroInMode8028) {
    struct Case {
        int32_t eisType;
        int sensorIdx;
        int32_t capMode;
        std::optional<MSize> answer;
        std::string config;
        MSize expected;
        const char* why;
    };
    const MSize kEisSize(1476, 827), kAnswer(1280, 720);
    const std::string rrzoRow = table(kRrzoTable, "AllCamApp[0] = 0, 0x8028, -1, 640, 480\n");
    // clang-format off
    const Case kCases[] = {
        {0, 0, kEisCapMode, std::nullopt, "", kWidened16x9, "unanswered: the widened size"},
        {1, 0, kEisCapMode, kAnswer, "", kEisSize, "replaces the service's answer"},
        {1, 0, kEisCapMode, kAnswer, rrzoRow, MSize(640, 480), "an RRZO row has the last word"},
        {1, 1, kEisCapMode, kAnswer, "", kAnswer, "sensor 1"},
        {1, 0, 0x8029, kAnswer, "", kAnswer, "another capture mode"},
        {0, 0, kEisCapMode, kAnswer, "", kAnswer, "EIS type 0"},
        {2, 0, kEisCapMode, kAnswer, "", kAnswer, "EIS type 2"},
    };
    // clang-format on
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(0, c.capMode);
        hostplatform::state().videoEisAlgoType = c.eisType;
        answerRequest2(c.answer);
        loadTables(c.config);
        EXPECT_EQ(str(select(c.sensorIdx, kSensor4x3, kRequest16x9)), str(c.expected));
        const auto& chip = hostplatform::state().recorded.featureChip;
        ASSERT_EQ(chip.size(), 1u);
        EXPECT_EQ(chip[0].rrzoRequest->sensorIdx, c.sensorIdx);
        EXPECT_EQ(hostplatform::state().recorded.videoEisQueries,
                  Strings{"(-1, -1, -1, 0, 0, -1, false)"});
    }
}

TEST_F(RrzoLegacyTest, CalculateTargetSizeTouchesNothingAndSendsNothing) {
    const std::string row = "AllCamApp[0] = -1, -1, -1, 640, 480\n";
    loadTables(table(kSensorTable, row) + table(kRrzoTable, row));
    auto settings = std::make_shared<CustSensorSettingMap>();
    (*settings)[0].sensorSize = kSensor4x3;
    const StreamRecord before{1.5f, 2.5f, 3.5f, 4.5f};
    StreamRecord record = before;
    ConfigurationOutputParams out{&record};
    ConfigurationInputParams in{std::make_shared<PolicyParsedAppConfiguration>(),
                                std::make_shared<PolicyParsedAppImageStreamInfo>()};
    MSize target = kRequest16x9;

    CustRrzoAlgoAdaptor adaptor(0);
    adaptor.calculateTargetSize(0, target, 7, settings, true, true, 9, &out, &in);
    adaptor.calculateTargetSize(0, target, 0, nullptr, false, false, 0, nullptr, nullptr);

    EXPECT_EQ(str(target), str(kRequest16x9));
    EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
    EXPECT_EQ(settings.use_count(), 1);
    EXPECT_EQ(str(settings->at(0).sensorSize), str(kSensor4x3));
    const auto& recorded = hostplatform::state().recorded;
    EXPECT_TRUE(recorded.featureChip.empty() && recorded.unifiedLog.empty() &&
                recorded.androidLog.empty() && hostconfig::calls().empty());
}

}  // namespace
}  // namespace cptest
