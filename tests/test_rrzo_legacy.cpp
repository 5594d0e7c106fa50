#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cust_rrzo_policy_legacy.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "host_config_store.h"
#include "host_platform.h"

namespace {

using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;

constexpr char kTag[] = "CustRrzoPolicyLegacy";
constexpr char kSensorTable[] = "CameraCustomSensorSize";
constexpr char kRrzoTable[] = "CameraCustomRrzoSize";
constexpr char kCaller[] = "com.example.camera";
constexpr char kActivity[] = "com.example.app/.ui.Main$Inner";
constexpr char kPackage[] = "com.example.app";
constexpr int32_t kEisCapMode = 0x8028;
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
const MSize kSensor4x3(4000, 3000);
const MSize kRequest16x9(1920, 1080);
const MSize kWidened16x9(1920, 1440);  // 1920 x 1080 widened to 4:3

std::string str(MSize size) { return std::to_string(size.w) + "x" + std::to_string(size.h); }

// Facts about the caller and the session, combined as bits in the case tables. With none of
// them the caller is the device's own camera, opened from the main menu.
enum : unsigned {
    kOtherApp = 1u << 0,         // not the device's own camera
    kSdkApp = 1u << 1,           // an SDK caller, not the device's own camera
    kStereo = 1u << 2,           // stereo feature mode 0x40
    kStereoOtherBits = 1u << 3,  // stereo feature mode 0xBF: every bit but 0x40
    k4kVideo = 1u << 4,
    kNotFromMainMenu = 1u << 5,
    kDolbyVision = 1u << 6,
};

void setCaller(unsigned facts, int32_t capMode = 0) {
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
}

void setNames(const std::string& caller, const std::string& activity, const std::string& package) {
    auto& customer = hostplatform::state().customer;
    customer.callerName = caller;
    customer.activityName = activity;
    customer.packageName = package;
}

// A fresh platform with the caller's names set and an empty store.
void resetAll(unsigned facts = 0, int32_t capMode = 0) {
    hostplatform::reset();
    hostconfig::clear();
    hostconfig::clearCalls();
    setCaller(facts, capMode);
    setNames(kCaller, kActivity, kPackage);
}

// A table section with the given rows.
std::string table(const char* name, const std::string& rows) {
    return std::string("[") + name + "]\n" + rows;
}

// Replaces every table with those of `text` and forgets the store calls made so far.
void load(const std::string& text) {
    const hostconfig::LoadResult loaded = hostconfig::loadText(text, "rrzo.config");
    ASSERT_TRUE(loaded.ok) << loaded.error();
    hostconfig::clearCalls();
}

// Both tables with the same rows.
std::string bothTables(const std::string& rows) {
    return table(kSensorTable, rows) + table(kRrzoTable, rows);
}

// Makes the feature-chip service answer request 2 with `answer`.
void answerRequest2(MSize answer) {
    hostplatform::state().featureChip = [answer](const CustTransMsgData* request,
                                                 CustTransMsgData*) {
        const auto* record = static_cast<const CustEvalRequest*>(request->pData);
        if (record->evalType == 2) *static_cast<MSize*>(record->pParam) = answer;
    };
}

MSize select(int sensorIdx, MSize inSize, MSize requested) {
    CustRrzoAlgoAdaptor adaptor(sensorIdx);
    adaptor.selectTargetSize(sensorIdx, inSize, requested);
    return requested;
}

// One log record as "L/tag: text"; L is I for info and D for debug (the policy logs nothing else).
std::string render(const char* letter, const std::string& tag, const std::string& text) {
    return std::string(letter) + "/" + tag + ": " + text;
}

std::vector<std::string> unifiedLog() {
    std::vector<std::string> lines;
    for (const auto& r : hostplatform::state().recorded.unifiedLog) {
        EXPECT_EQ(r.moduleId, 0x101005u);
        const int32_t level = r.priorityOrLevel;
        lines.push_back(render(level == 3 ? "I" : level == 5 ? "D" : "?", r.tag, r.text));
    }
    return lines;
}

std::vector<std::string> androidLog() {
    std::vector<std::string> lines;
    for (const auto& r : hostplatform::state().recorded.androidLog) {
        const int32_t priority = r.priorityOrLevel;
        lines.push_back(render(priority == 4 ? "I" : priority == 3 ? "D" : "?", r.tag, r.text));
    }
    return lines;
}

// The policy's own texts whose text starts with `prefix`.
std::vector<std::string> legacyTexts(const std::string& prefix) {
    std::vector<std::string> texts;
    for (const auto& r : hostplatform::state().recorded.unifiedLog) {
        if (r.tag == kTag && r.text.rfind(prefix, 0) == 0) texts.push_back(r.text);
    }
    return texts;
}

// The locales whose row count was asked of `table`, in order.
std::vector<std::string> localesAsked(const char* table) {
    std::vector<std::string> locales;
    for (const auto& call : hostconfig::calls()) {
        if (call.function == hostconfig::StoreFunction::GetLocaleKeyCount && call.table == table)
            locales.push_back(call.name);
    }
    return locales;
}

// The rows of `table` whose read was attempted, as locale[key].
std::vector<std::string> rowsRead(const char* table) {
    std::vector<std::string> rows;
    for (const auto& call : hostconfig::calls()) {
        if (call.function == hostconfig::StoreFunction::GetLocaleIntegerListConfiguration &&
            call.table == table) {
            EXPECT_EQ(call.wanted, 5);
            rows.push_back(call.name + "[" + call.key + "]");
        }
    }
    return rows;
}

using Strings = std::vector<std::string>;

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
    const Case kCases[] = {
        {kSensor4x3, kRequest16x9, kWidened16x9, "16:9 on 4:3: 1920 x 3000 / 4000 = 1440"},
        {kSensor4x3, {1000, 1000}, {1333, 1000}, "square on 4:3: the width grows, truncated"},
        {kSensor4x3, {1440, 1080}, {1440, 1080}, "equal products recompute the width unchanged"},
        {kSensor4x3, {0, 0}, {0, 0}, "an empty request stays empty"},
        {{0, 0}, kRequest16x9, {0, 1080}, "empty sensor: equal products, zero divisor gives 0"},
        {{0, 3000}, kRequest16x9, {1920, 0}, "zero sensor width divides the height to 0"},
        {{4000, 0}, kRequest16x9, {0, 1080}, "zero sensor height divides the width to 0"},
        {{40000, 30000}, {100000, 50000}, {66666, 50000}, "3e9 wraps negative: width grows"},
        {{65536, 65536}, {65536, 32768}, {65536, 0}, "products wrap to 0 and to INT_MIN"},
        {{1, -1}, {kMin, kMin}, {kMin, kMin}, "INT_MIN / -1 wraps"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll();
        EXPECT_EQ(str(select(0, c.sensor, c.requested)), str(c.expected));
        // The service was asked with the widened size in hand, and there were no tables.
        EXPECT_EQ(hostplatform::unifiedTexts().at(1), "[applyTargetSize] rrzo target size " +
                                                          std::to_string(c.expected.w) + " " +
                                                          std::to_string(c.expected.h));
        EXPECT_EQ(hostconfig::describedCalls(), (Strings{"GetKeyCount(CameraCustomSensorSize) = 0",
                                                         "GetKeyCount(CameraCustomRrzoSize) = 0"}));
    }
}

TEST_F(RrzoLegacyTest, SensorRowsReplaceNonzeroSidesRrzoRowsTheWholeSize) {
    struct Case {
        const char* table;
        const char* rows;
        MSize sensor, final;
        const char* why;
    };
    const Case kCases[] = {
        {kSensorTable, "AllCamApp[0] = 0, -1, -1, 0, 2250\n", MSize(4000, 2250), kRequest16x9,
         "a 16:9 crop of the sensor keeps the request"},
        {kSensorTable, "AllCamApp[0] = 0, -1, -1, 3000, 0\n", MSize(3000, 3000), MSize(1920, 1920),
         "width only"},
        {kSensorTable, "AllCamApp[0] = 0, -1, -1, 0, 0\nAllCamApp[1] = -1, -1, -1, 8, 6\n",
         kSensor4x3, kWidened16x9, "a 0 x 0 row keeps both sides and still ends the lookup"},
        {kSensorTable, "AllCamApp[0] = 1, -1, -1, 8, 6\nAllCamApp[1] = 0, -1, -1, 2000, 1500\n",
         MSize(2000, 1500), kWidened16x9, "the first matching row"},
        {kRrzoTable, "AllCamApp[0] = -1, -1, -1, 0, 0\n", kSensor4x3, MSize(0, 0),
         "0 x 0 is taken as it stands"},
        {kRrzoTable, "AllCamApp[0] = -1, -1, -1, 1280, 0\n", kSensor4x3, MSize(1280, 0),
         "a 0 side is taken too"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll();
        load(table(c.table, c.rows));
        EXPECT_EQ(str(CustRrzoPolicyLegacy().getSensorSizeLegacy(kSensor4x3, 0)), str(c.sensor));
        EXPECT_EQ(str(select(0, kSensor4x3, kRequest16x9)), str(c.final));
    }
}

TEST_F(RrzoLegacyTest, FeatureMaskFollowsTheCallerFacts) {
    struct Case {
        unsigned facts;
        int32_t sensorMask, rrzoMask;
        const char* why;
    };
    const Case kCases[] = {
        {0, 0, 0, "own camera from the main menu"},
        {kStereo, 1, 1, "own camera in stereo"},
        {kSdkApp | kStereo, 1, 1, "SDK caller in stereo"},
        {kOtherApp | kStereo, 0, 0, "stereo does not count for other applications"},
        {kStereoOtherBits, 0, 0, "only bit 0x40 of the stereo mode"},
        {k4kVideo, 2, 2, "4K video"},
        {kOtherApp | k4kVideo, 2, 2, "4K video counts for every caller"},
        {kNotFromMainMenu, 0, 0x20, "not from the main menu: RRZO table only"},
        {kOtherApp | kNotFromMainMenu, 0, 0, "not from the main menu: own camera only"},
        {kDolbyVision, 0, 0x40, "Dolby Vision: RRZO table only"},
        {kStereo | k4kVideo | kNotFromMainMenu | kDolbyVision, 3, 0x63, "every bit"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts);
        load(bothTables("AllCamApp[0] = -1, -1, -1, 1280, 720\n"));
        select(0, kSensor4x3, kRequest16x9);
        const std::string tail = ") activity=AllCamApp";
        EXPECT_EQ(legacyTexts("[getSensorSizeLegacy] customized"),
                  Strings{"[getSensorSizeLegacy] customized sensor size(1280x720) for camId=0 "
                          "opMode=0 featureMask=(-1, " +
                          std::to_string(c.sensorMask) + tail});
        EXPECT_EQ(legacyTexts("[getRrzoSizeLegacy] customized"),
                  Strings{"[getRrzoSizeLegacy] customized rrzo size(1280x720) for camId=0 "
                          "opMode=0 featureMask=(-1, " +
                          std::to_string(c.rrzoMask) + tail});
    }
}

TEST_F(RrzoLegacyTest, MatchColumnsAreWildcardsOrWholeValues) {
    struct Case {
        const char* columns;  // camera id, capture mode, feature mask of the first row
        int sensorIdx;
        unsigned facts;
        int32_t capMode;
        bool sensorMatches, rrzoMatches;
        const char* why;
    };
    const unsigned kMask3 = kStereo | k4kVideo;
    const Case kCases[] = {
        {"-1, -1, -1", 1, kMask3, 7, true, true, "all wildcards"},
        {"0, -1, -1", 0, 0, 0, true, true, "camera id equal"},
        {"0, -1, -1", 1, 0, 0, false, false, "camera id differs"},
        {"-2, -1, -1", 0, 0, 0, false, false, "only -1 is a wildcard"},
        {"-1, 0x8028, -1", 0, 0, kEisCapMode, true, true, "capture mode equal"},
        {"-1, 0x8028, -1", 0, 0, 0x8029, false, false, "capture mode differs"},
        {"-1, -1, 1", 0, kMask3, 0, false, false, "a row with 1 does not match mask 3"},
        {"-1, -1, 3", 0, kMask3, 0, true, true, "mask 3 equal"},
        {"-1, -1, 1", 0, kStereo, 0, true, true, "stereo"},
        {"-1, -1, 2", 0, k4kVideo, 0, true, true, "4K video"},
        {"-1, -1, 0", 0, kNotFromMainMenu, 0, true, false, "bit 5 is in the RRZO mask only"},
        {"-1, -1, 0x20", 0, kNotFromMainMenu, 0, false, true, "not from the main menu"},
        {"-1, -1, 0x40", 0, kDolbyVision, 0, false, true, "Dolby Vision"},
        {"-1, -1, 0x60", 0, kNotFromMainMenu | kDolbyVision, 0, false, true, "bits 5 and 6"},
        {"-1, -1, 0x20", 0, kNotFromMainMenu | kDolbyVision, 0, false, false, "a subset"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts, c.capMode);
        load(bothTables(std::string("AllCamApp[0] = ") + c.columns +
                        ", 1000, 500\nAllCamApp[1] = -1, -1, -1, 2000, 1500\n"));
        EXPECT_EQ(str(CustRrzoPolicyLegacy().getSensorSizeLegacy(kSensor4x3, c.sensorIdx)),
                  c.sensorMatches ? "1000x500" : "2000x1500");
        EXPECT_EQ(str(select(c.sensorIdx, kSensor4x3, kRequest16x9)),
                  c.rrzoMatches ? "1000x500" : "2000x1500");
    }
}

TEST_F(RrzoLegacyTest, LocalesAreTriedInOrderWithAllCamAppLast) {
    struct Case {
        unsigned facts;
        const char *caller, *activity, *package;
        Strings sensorLocales, rrzoLocales;
        const char* why;
    };
    const char* kAll = "AllCamApp";
    const Case kCases[] = {
        {0, kCaller, kActivity, kPackage, {kCaller, kAll}, {kCaller, kAll}, "own camera: caller"},
        {kOtherApp,
         kCaller,
         kActivity,
         kPackage,
         {kActivity, kAll},
         {kActivity, kPackage, kAll},
         "other application: activity, then package for the RRZO table"},
        {kSdkApp,
         kCaller,
         kActivity,
         kPackage,
         {kActivity, kAll},
         {kActivity, kPackage, kAll},
         "an SDK caller is another application"},
        {0, "", kActivity, kPackage, {kAll}, {kAll}, "empty caller name"},
        {kOtherApp, kCaller, "", kPackage, {kAll}, {kPackage, kAll}, "empty activity name"},
        {kOtherApp, kCaller, "", "", {kAll}, {kAll}, "no names"},
        {kOtherApp,
         kCaller,
         kAll,
         kPackage,
         {kAll, kAll},
         {kAll, kPackage, kAll},
         "a name is not compared with the catch-all"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts);
        setNames(c.caller, c.activity, c.package);
        load(bothTables("Unrelated[0] = -1, -1, -1, 8, 6\n"));
        EXPECT_EQ(str(select(0, kSensor4x3, kRequest16x9)), str(kWidened16x9));
        EXPECT_EQ(localesAsked(kSensorTable), c.sensorLocales);
        EXPECT_EQ(localesAsked(kRrzoTable), c.rrzoLocales);
        EXPECT_TRUE(rowsRead(kSensorTable).empty());
        EXPECT_TRUE(rowsRead(kRrzoTable).empty());
    }
}

TEST_F(RrzoLegacyTest, FirstLocaleWithAMatchingRowWins) {
    struct Case {
        unsigned facts;
        const char* rows;
        MSize expected;
        Strings read;
        const char* why;
    };
    const std::string act = kActivity, pkg = kPackage, caller = kCaller;
    const Case kCases[] = {
        {kOtherApp,
         "com.example.app/.ui.Main$Inner[0] = 1, -1, -1, 640, 480\n"
         "com.example.app[0] = -1, 0x8028, -1, 800, 600\n"
         "AllCamApp[0] = -1, -1, -1, 1280, 720\n",
         MSize(1280, 720),
         {act + "[0]", pkg + "[0]", "AllCamApp[0]"},
         "activity and package rows that do not match fall through to AllCamApp"},
        {kOtherApp,
         "com.example.app/.ui.Main$Inner[0] = 0, -1, -1, 640, 480\n"
         "com.example.app[0] = -1, -1, -1, 800, 600\n"
         "AllCamApp[0] = -1, -1, -1, 1280, 720\n",
         MSize(640, 480),
         {act + "[0]"},
         "a matching activity row ends the lookup"},
        {0,
         "com.example.camera[0] = -1, -1, -1, 640, 480\n"
         "com.example.app/.ui.Main$Inner[0] = -1, -1, -1, 800, 600\n"
         "AllCamApp[0] = -1, -1, -1, 1280, 720\n",
         MSize(640, 480),
         {caller + "[0]"},
         "the own camera's caller rows come first"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts);
        load(table(kRrzoTable, c.rows));
        EXPECT_EQ(str(select(0, kSensor4x3, kRequest16x9)), str(c.expected));
        EXPECT_EQ(rowsRead(kRrzoTable), c.read);
    }
}

TEST_F(RrzoLegacyTest, UnreadableRowIsSkippedWithADebugMessage) {
    struct Case {
        const char* table;
        Strings rows;  // keys and values of the activity's rows
        Strings read;
        MSize sensor, rrzo;
        const char* why;
    };
    const std::string act = kActivity;
    const Strings kRow1Short = {"[0] = 1, -1, -1, 8, 6", "[1] = 0, -1, -1, 8",
                                "[2] = 1, -1, -1, 8, 6"};
    const Strings kRow2Matches = {"[0] = 1, -1, -1, 8, 6", "[1] = 0, -1, -1, 8",
                                  "[2] = 0, -1, -1, 0, 1500"};
    const Strings kAllThree = {act + "[0]", act + "[1]", act + "[2]"};
    const Strings kAllThreeThenAllCamApp = {act + "[0]", act + "[1]", act + "[2]", "AllCamApp[0]"};
    const Case kCases[] = {
        {kSensorTable, kRow1Short, kAllThreeThenAllCamApp, MSize(4000, 2250), kRequest16x9,
         "sensor table: row 2, then AllCamApp"},
        {kSensorTable, kRow2Matches, kAllThree, MSize(4000, 1500), kRequest16x9,
         "sensor table: row 2 matches"},
        {kRrzoTable, kRow1Short, kAllThreeThenAllCamApp, kSensor4x3, MSize(0, 2250),
         "RRZO table: row 2, then AllCamApp"},
        {kRrzoTable, kRow2Matches, kAllThree, kSensor4x3, MSize(0, 1500),
         "RRZO table: row 2 matches"},
        {kRrzoTable,
         {"[0] = 1, -1, -1, 8, 6", "[2] = 0, -1, -1, 640, 480"},
         {act + "[0]", act + "[1]", "AllCamApp[0]"},
         kSensor4x3,
         MSize(0, 2250),
         "RRZO table: a missing key fails its read, and the row count ends the scan"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(kOtherApp);
        std::string rows;
        for (const auto& row : c.rows) rows += act + row + "\n";
        load(table(c.table, rows + "AllCamApp[0] = -1, -1, -1, 0, 2250\n"));
        CustRrzoPolicyLegacy policy;
        EXPECT_EQ(str(policy.getSensorSizeLegacy(kSensor4x3, 0)), str(c.sensor));
        MSize rrzo = kRequest16x9;
        policy.getRrzoSizeLegacy(rrzo, 0);
        EXPECT_EQ(str(rrzo), str(c.rrzo));
        EXPECT_EQ(rowsRead(c.table), c.read);
        const std::string function =
            c.table == kSensorTable ? "getSensorSizeLegacy" : "getRrzoSizeLegacy";
        const std::string debug = "D/CustRrzoPolicyLegacy: [" + function + "] " + c.table +
                                  " keyIndx=1 activity=" + act + " valueCnt=5 getconfig fail";
        for (const Strings& log : {unifiedLog(), androidLog()}) {
            EXPECT_EQ(std::count(log.begin(), log.end(), debug), 1);
        }
    }
}

TEST_F(RrzoLegacyTest, WrongWidthRowZeroSkipsTheLocaleSilently) {
    struct Case {
        const char* table;
        const char* row0;
        const char* why;
    };
    const Case kCases[] = {
        {kSensorTable, "0, -1, -1, 8", "sensor table, 4 integers"},
        {kSensorTable, "0, -1, -1, 8, 6, 0", "sensor table, 6 integers"},
        {kRrzoTable, "0, -1, -1, 8", "RRZO table, 4 integers"},
        {kRrzoTable, "0, -1, -1, 8, 6, 0", "RRZO table, 6 integers"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(kOtherApp);
        const std::string act = kActivity;
        load(table(c.table, act + "[0] = " + c.row0 + "\n" + act +
                                "[1] = -1, -1, -1, 640, 480\nAllCamApp[0] = -1, -1, -1, 2000, "
                                "1500\n"));
        CustRrzoPolicyLegacy policy;
        const bool sensorTable = c.table == kSensorTable;
        EXPECT_EQ(str(policy.getSensorSizeLegacy(kSensor4x3, 0)),
                  sensorTable ? "2000x1500" : str(kSensor4x3));
        MSize rrzo = kRequest16x9;
        policy.getRrzoSizeLegacy(rrzo, 0);
        EXPECT_EQ(str(rrzo), sensorTable ? str(kRequest16x9) : "2000x1500");
        EXPECT_EQ(rowsRead(c.table), Strings{"AllCamApp[0]"});
        // Two fact messages, the AllCamApp row's columns (sensor table only) and the result.
        EXPECT_EQ(legacyTexts("").size(), sensorTable ? 4u : 3u);
        EXPECT_EQ(legacyTexts(sensorTable ? "[getSensorSizeLegacy] customized"
                                          : "[getRrzoSizeLegacy] customized")
                      .size(),
                  1u);
    }
}

TEST_F(RrzoLegacyTest, ServiceIsAskedBetweenTheTwoTables) {
    struct Case {
        std::optional<MSize> answer;
        std::string config;
        MSize expected;
        const char* why;
    };
    const Case kCases[] = {
        {std::nullopt, "", kWidened16x9, "unanswered: the widened size"},
        {MSize(0, 0), "", kWidened16x9, "0 x 0 is no answer"},
        {MSize(1280, 720), "", MSize(1280, 720), "the answer is adopted"},
        {MSize(1280, 720), table(kSensorTable, "AllCamApp[0] = -1, -1, -1, 0, 2250\n"),
         MSize(1280, 720), "the answer replaces the widened size"},
        {MSize(1280, 720), table(kRrzoTable, "AllCamApp[0] = -1, -1, -1, 640, 480\n"),
         MSize(640, 480), "an RRZO row replaces the answer"},
        {MSize(1280, 720), table(kRrzoTable, "AllCamApp[0] = 1, -1, -1, 640, 480\n"),
         MSize(1280, 720), "an RRZO row for another sensor"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll();
        load(c.config);
        std::vector<hostconfig::StoreCall> callsBefore;
        hostplatform::state().featureChip = [&](const CustTransMsgData* request,
                                                CustTransMsgData*) {
            callsBefore = hostconfig::calls();
            const auto* record = static_cast<const CustEvalRequest*>(request->pData);
            if (c.answer) *static_cast<MSize*>(record->pParam) = *c.answer;
        };
        EXPECT_EQ(str(select(0, kSensor4x3, kRequest16x9)), str(c.expected));

        const auto& chip = hostplatform::state().recorded.featureChip;
        ASSERT_EQ(chip.size(), 1u);
        ASSERT_TRUE(chip[0].rrzoRequest);
        EXPECT_EQ(chip[0].rrzoRequest->evalType, 2);
        EXPECT_EQ(chip[0].rrzoRequest->sensorIdx, 0);
        // Every sensor-table call came before the request, every RRZO-table call after it.
        const auto after = hostconfig::calls();
        ASSERT_FALSE(callsBefore.empty());
        ASSERT_LT(callsBefore.size(), after.size());
        for (const auto& call : callsBefore) EXPECT_EQ(call.table, kSensorTable);
        for (size_t i = callsBefore.size(); i < after.size(); ++i)
            EXPECT_EQ(after[i].table, kRrzoTable);
    }
}

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
    const MSize kEisSize(1476, 827);
    const std::string rrzoRow = table(kRrzoTable, "AllCamApp[0] = 0, 0x8028, -1, 640, 480\n");
    const Case kCases[] = {
        {1, 0, kEisCapMode, std::nullopt, "", kEisSize, "the fixed size"},
        {1, 0, kEisCapMode, MSize(1280, 720), "", kEisSize, "replaces the service's answer"},
        {1, 0, kEisCapMode, std::nullopt, rrzoRow, MSize(640, 480),
         "an RRZO row has the last word"},
        {1, 1, kEisCapMode, std::nullopt, "", kWidened16x9, "sensor 1"},
        {1, 0, 0x8029, std::nullopt, "", kWidened16x9, "another capture mode"},
        {0, 0, kEisCapMode, std::nullopt, "", kWidened16x9, "EIS type 0"},
        {2, 0, kEisCapMode, std::nullopt, "", kWidened16x9, "EIS type 2"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(0, c.capMode);
        hostplatform::state().videoEisAlgoType = c.eisType;
        if (c.answer) answerRequest2(*c.answer);
        load(c.config);
        EXPECT_EQ(str(select(c.sensorIdx, kSensor4x3, kRequest16x9)), str(c.expected));
    }
}

TEST_F(RrzoLegacyTest, CalculateTargetSizeTouchesNothingAndSendsNothing) {
    load(bothTables("AllCamApp[0] = -1, -1, -1, 640, 480\n"));
    answerRequest2({1280, 720});
    auto settings = std::make_shared<CustSensorSettingMap>();
    (*settings)[0].sensorSize = kSensor4x3;
    const StreamRecord before{1.5f, 2.5f, 3.5f, 4.5f};
    StreamRecord record = before;
    ConfigurationOutputParams out{&record};
    ConfigurationInputParams in{std::make_shared<PolicyParsedAppConfiguration>(),
                                std::make_shared<PolicyParsedAppImageStreamInfo>()};
    MSize target = kRequest16x9;

    CustRrzoAlgoAdaptor adaptor(0);
    hostplatform::state().recorded = {};
    hostconfig::clearCalls();
    adaptor.calculateTargetSize(0, target, 7, settings, true, true, 9, &out, &in);
    adaptor.calculateTargetSize(0, target, 0, nullptr, false, false, 0, nullptr, nullptr);

    EXPECT_EQ(str(target), str(kRequest16x9));
    EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
    EXPECT_EQ(settings.use_count(), 1);
    ASSERT_EQ(settings->size(), 1u);
    EXPECT_EQ(str(settings->at(0).sensorSize), str(kSensor4x3));
    EXPECT_TRUE(hostplatform::state().recorded.featureChip.empty());
    EXPECT_TRUE(hostplatform::state().recorded.unifiedLog.empty());
    EXPECT_TRUE(hostplatform::state().recorded.androidLog.empty());
    EXPECT_TRUE(hostconfig::calls().empty());
}

TEST_F(RrzoLegacyTest, MessagesOfOneSelection) {
    struct Case {
        unsigned facts;
        int32_t capMode;
        const char* config;
        Strings log;
        const char* why;
    };
    const Case kCases[] = {
        {kOtherApp | k4kVideo,
         kEisCapMode,
         "[CameraCustomSensorSize]\n"
         "com.example.app/.ui.Main$Inner[0] = 1, -1, -1, 0, 0\n"
         "com.example.app/.ui.Main$Inner[1] = 0, -1, -1, 0\n"
         "com.example.app/.ui.Main$Inner[2] = 0, 0x8028, 2, 0, 2250\n"
         "[CameraCustomRrzoSize]\n"
         "com.example.app/.ui.Main$Inner[0] = 1, -1, -1, 0, 0\n"
         "com.example.app/.ui.Main$Inner[1] = 0, -1, -1, 0\n"
         "com.example.app[0] = -1, -1, -1, 1280, 720\n",
         {"I/CustRrzoPolicyLegacy: [getSensorSizeLegacy] isSysCam = 0, is3rdCam = 1, "
          "isSdkCam = 0, is4kVideo = 1",
          "I/CustRrzoPolicyLegacy: [getSensorSizeLegacy] 1 -1 -1",
          "D/CustRrzoPolicyLegacy: [getSensorSizeLegacy] CameraCustomSensorSize keyIndx=1 "
          "activity=com.example.app/.ui.Main$Inner valueCnt=5 getconfig fail",
          "I/CustRrzoPolicyLegacy: [getSensorSizeLegacy] 0 32808 2",
          "I/CustRrzoPolicyLegacy: [getSensorSizeLegacy] customized sensor size(4000x2250) for "
          "camId=0 opMode=32808 featureMask=(2, 2) activity=com.example.app/.ui.Main$Inner",
          "D/CustRrzoPolicyBase: [applyTargetSize] rrzo target size 1920 1080",
          "I/CustRrzoPolicyLegacy: [getRrzoSizeLegacy] isSysCam = 0, is3rdCam = 1, "
          "isSdkCam = 0, is4kVideo = 1, isCamFromMainMenu = 1",
          "D/CustRrzoPolicyLegacy: [getRrzoSizeLegacy] CameraCustomRrzoSize keyIndx=1 "
          "activity=com.example.app/.ui.Main$Inner valueCnt=5 getconfig fail",
          "I/CustRrzoPolicyLegacy: [getRrzoSizeLegacy] customized rrzo size(1280x720) for "
          "camId=0 opMode=32808 featureMask=(-1, 2) activity=com.example.app"},
         "another application: every message of both tables"},
        {kNotFromMainMenu | kDolbyVision,
         0,
         "[CameraCustomRrzoSize]\ncom.example.camera[0] = -1, -1, 0x60, 640, 480\n",
         {"I/CustRrzoPolicyLegacy: [getSensorSizeLegacy] isSysCam = 1, is3rdCam = 0, "
          "isSdkCam = 0, is4kVideo = 0",
          "D/CustRrzoPolicyBase: [applyTargetSize] rrzo target size 1920 1440",
          "I/CustRrzoPolicyLegacy: [getRrzoSizeLegacy] isSysCam = 1, is3rdCam = 0, "
          "isSdkCam = 0, is4kVideo = 0, isCamFromMainMenu = 0",
          "I/CustRrzoPolicyLegacy: [getRrzoSizeLegacy] customized rrzo size(640x480) for "
          "camId=0 opMode=0 featureMask=(96, 96) activity=com.example.camera"},
         "own camera; a missing sensor table says nothing more"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        resetAll(c.facts, c.capMode);
        load(c.config);
        select(0, kSensor4x3, kRequest16x9);
        EXPECT_EQ(unifiedLog(), c.log);
        EXPECT_EQ(androidLog(), c.log);
    }
}

}  // namespace
