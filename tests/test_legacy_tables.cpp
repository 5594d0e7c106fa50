// The legacy policy's five scenario tables read from configuration texts through the host store.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "test_legacy_support.h"

namespace legacytest {
namespace {

constexpr int kFallback = 3;

// One table row in the configuration format: "Locale[key] = v0, v1, ...".
std::string row(const std::string& entry, const std::vector<int32_t>& values) {
    std::string text = entry + " =";
    for (size_t i = 0; i < values.size(); ++i)
        text += (i == 0 ? " " : ", ") + std::to_string(values[i]);
    return text + "\n";
}

struct Facts {
    int sensorIdx = 0;
    unsigned int operationMode = 0;
    bool video = false;
    MSize yuv{4000, 3000};
    MSize stream{4000, 3000};
    std::string caller, modeName;
};

class Tables : public LegacyTest {
protected:
    void apply(const Facts& f) {
        hostplatform::state().customer.callerName = f.caller;
        hostplatform::state().customer.cameraModeName = f.modeName;
        mSession.streamInfo->maxYuvSize = f.yuv;
        mSession.streamInfo->maxStreamSize = f.stream;
        mSession.streamInfo->hasVideoConsumer = f.video;
    }
    int bySystem(const Facts& f, unsigned int& flags) {
        apply(f);
        return mPolicy.getSystemCamScenarioId(0x8001, f.sensorIdx, NSCam::IMetadata(),
                                              mSession.streamInfo, flags);
    }
    int byApplication(const Facts& f) {
        apply(f);
        return mPolicy.getThirdCamScenarioId(f.sensorIdx, f.operationMode, mSession.streamInfo);
    }
    int byActivity(const Facts& f, int api = -1) {
        apply(f);
        return mPolicy.getThirdCamScenarioIdByActivity(f.sensorIdx, f.operationMode,
                                                       mSession.streamInfo, kFallback, api);
    }
    int byThermal(NSCam::IMetadata* params) {
        return mPolicy.getThirdCamScenarioIdByThermal(0, params, kFallback);
    }
};

TEST_F(Tables, CommonFirstMatchWinsWithWildcards) {
    // Rows 0-9 name another sensor; key "10" follows "9", and the match at 10 hides row 11.
    std::string text = "[CommonSensorSettingMap]\n";
    for (int i = 0; i < 10; ++i) text += row("Mode[" + std::to_string(i) + "]", {1, 5, 20});
    text += row("Mode[10]", {-1, 0, 10}) + row("Mode[11]", {-1, -1, 11}) + row("Mode[12]", {1, -1, 12});
    loadTables(text);
    struct Case {
        int operationMode, sensorIdx, expected;
        const char* why;
    };
    const Case kCases[] = {
        {1, 5, 20, "row 0 matches both columns"},
        {0, 0, 10, "wildcard operation mode, sensor 0"},
        {7, 1, 11, "all-wildcard row catches what is left"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostconfig::clearCalls();
        EXPECT_EQ(mPolicy.getCommonScenarioId(c.operationMode, c.sensorIdx, kFallback), c.expected);
    }
    EXPECT_EQ(rowsRead(), "Mode[0] Mode[1] Mode[2] Mode[3] Mode[4] Mode[5] Mode[6] Mode[7] Mode[8] "
                          "Mode[9] Mode[10] Mode[11]");
    EXPECT_EQ(countMessage(Level::Error,
                           "[getCommonScenarioId] match setting(result):[CommonSensorSettingMap],"
                           "Mode[11/13] [3:0xffffffff,-1,11]",
                           "getCommonScenarioId"),
              1u);
}

TEST_F(Tables, SystemColumnsAtTheirEdges) {
    using F = Facts&;
    struct Case {
        int column;
        int32_t value;  // the row's only live match column
        void (*facts)(Facts&);
        bool matches;
        const char* why;
    };
    const Case kCases[] = {
        {0, 0x8001, [](F) {}, true, "capture mode equal"},
        {0, 0x8028, [](F) {}, false, "capture mode differs"},
        {1, 1, [](F f) { f.caller = "com.google.android.youtube"; }, true, "first outside package"},
        {1, 1, [](F f) { f.caller = "com.greenpoint.android.mc10086.activity"; }, true, "second"},
        {1, 1, [](F f) { f.caller = "com.google.android.youtube.tv"; }, false, "longer name"},
        {1, 1, [](F f) { f.caller = "com.google.android.YouTube"; }, false, "case matters"},
        {1, 0, [](F) {}, true, "no caller name is not an outside package"},
        {2, 1, [](F f) { f.sensorIdx = 1; }, true, "sensor equal"},
        {2, 1, [](F) {}, false, "sensor differs"},
        {3, 1920, [](F f) { f.yuv = {1920, 1080}; }, true, "YUV width at the bound"},
        {3, 1920, [](F f) { f.yuv = {1280, 720}; }, true, "YUV width below the bound"},
        {3, 1920, [](F f) { f.yuv = {1921, 1080}; }, false, "YUV width above"},
        {4, 3999, [](F) {}, false, "stream width differs"},
        {5, 0, [](F f) { f.video = true; f.modeName = "fast_motion_mode"; }, true,
         "video is class 0 whatever the mode name"},
        {5, 1, [](F f) { f.video = true; f.modeName = "fast_motion_mode"; }, false,
         "class 1 cannot match a video session"},
        {5, 1, [](F f) { f.modeName = "fast_motion_mode"; }, true, "fast motion"},
        {5, 2, [](F f) { f.modeName = "high_pixel_mode"; }, true, "high pixel"},
        {5, 2, [](F f) { f.modeName = "high_definition_mode"; }, true, "high definition"},
        {5, 0, [](F f) { f.modeName = "fast_motion"; }, false, "another name is class -1"},
        {6, 562, [](F f) { f.stream = {1920, 1080}; }, true, "16:9 stream is 562"},
        {6, 0, [](F f) { f.stream = {0, 1080}; }, true, "zero width is ratio 0"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        std::vector<int32_t> values{-1, -1, -1, -1, -1, -1, -1, 7, 0};
        values[static_cast<size_t>(c.column)] = c.value;
        loadTables("[SystemCamSensorSettingMap]\n" + row("Mode[0]", values));
        Facts facts;
        c.facts(facts);
        unsigned int flags = kSentinel;
        EXPECT_EQ(bySystem(facts, flags), c.matches ? 7 : -1);
    }
}

TEST_F(Tables, SystemFirstMatchWinsAndLaterRowsAreNotRead) {
    loadTables("[SystemCamSensorSettingMap]\n" +
               row("Mode[0]", {0x8028, -1, -1, -1, -1, -1, -1, 1, 0}) +
               row("Mode[1]", {-1, -1, 0, -1, 4000, -1, 750, 2, 0}) +
               row("Mode[2]", {-1, -1, -1, -1, -1, -1, -1, 3, 0}));
    unsigned int flags = kSentinel;
    EXPECT_EQ(bySystem(Facts(), flags), 2);
    EXPECT_EQ(rowsRead(), "Mode[0] Mode[1]");
    EXPECT_EQ(countMessage(Level::Info,
                           "[getSystemCamScenarioId] match setting(input):captureMode 0x8001,"
                           "isThirdPartyCall 0,maxYuvSize.w 4000,maxStreamSize.w 4000,video 0, "
                           "aspectRation 750",
                           "getSystemCamScenarioId"),
              1u);
    EXPECT_EQ(countMessage(Level::Info,
                           "[getSystemCamScenarioId] match setting(result):"
                           "[SystemCamSensorSettingMap],Mode[1/3] [9:0xffffffff,-1,0,-1,4000,-1,"
                           "750,2]",
                           "getSystemCamScenarioId"),
              1u);
}

TEST_F(Tables, SystemSeamlessCodeSetsFlagsAndRecordsScenario) {
    struct Case {
        int32_t code;  // column 8 of the row
        bool rowMatches;
        unsigned int flags;
        std::vector<uint32_t> recorded;  // seamless scenarios recorded for sensor 1
        const char* why;
    };
    const Case kCases[] = {
        {5, true, 0x801, {5}, "code 5"},
        {4, true, 0x101, {4}, "code 4"},
        {3, true, kSentinel, {0}, "any other code leaves the flags and records 0"},
        {5, false, kSentinel, {}, "no match: no flags, nothing recorded"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        loadTables("[SystemCamSensorSettingMap]\n" +
                   row("Mode[0]", {-1, -1, c.rowMatches ? 1 : 0, -1, -1, -1, -1, 6, c.code}));
        Facts facts;
        facts.sensorIdx = 1;
        unsigned int flags = kSentinel;
        EXPECT_EQ(bySystem(facts, flags), c.rowMatches ? 6 : -1);
        EXPECT_EQ(flags, c.flags);
        std::vector<uint32_t> recorded;
        for (const hostplatform::SeamlessCall& call : hostplatform::state().recorded.seamless) {
            EXPECT_EQ(call.sensorIdx, 1u);
            recorded.push_back(call.scenario);
        }
        EXPECT_EQ(recorded, c.recorded);
        EXPECT_EQ(countMessage(Level::Debug,
                               "[getSystemCamScenarioId] custom setting has no fix seamless "
                               "sensorScenario",
                               "getSystemCamScenarioId"),
                  c.code == 3 ? 1u : 0u);
    }
}

// Columns the two sized third-party tables share; the activity table has the API in column 1.
enum class Column { Sensor, Video, OperationMode, RatioFloor, YuvFloor, YuvCeiling, Unused };

TEST_F(Tables, SizedColumnsAtTheirEdgesInBothTables) {
    using F = Facts&;
    struct Case {
        Column column;
        int32_t value;
        void (*facts)(Facts&);
        bool matches;
        const char* why;
    };
    const Case kCases[] = {
        {Column::Sensor, 1, [](F f) { f.sensorIdx = 1; }, true, "sensor equal"},
        {Column::Sensor, 1, [](F) {}, false, "sensor differs"},
        {Column::Video, 1, [](F f) { f.video = true; }, true, "video"},
        {Column::Video, 1, [](F) {}, false, "not video"},
        {Column::Video, 0, [](F) {}, true, "no video asked"},
        {Column::OperationMode, 1, [](F f) { f.operationMode = 1; }, true, "mode equal"},
        {Column::OperationMode, 1, [](F) {}, false, "mode differs"},
        {Column::RatioFloor, 749, [](F) {}, true, "ratio 750 above floor 749"},
        {Column::RatioFloor, 750, [](F) {}, false, "the floor is exclusive"},
        {Column::RatioFloor, -2, [](F) {}, false, "a negative floor is huge unsigned"},
        {Column::RatioFloor, 0, [](F f) { f.stream = {0, 3000}; }, false,
         "zero stream width is ratio 0, not above floor 0"},
        {Column::RatioFloor, 749, [](F f) { f.stream = {1000, -1}; }, true,
         "a negative ratio is huge unsigned and passes the floor"},
        {Column::YuvFloor, 1919, [](F) {}, true, "YUV width 1920 above floor 1919"},
        {Column::YuvFloor, 1920, [](F) {}, false, "the YUV floor is exclusive"},
        {Column::YuvCeiling, 1920, [](F) {}, true, "the ceiling is inclusive"},
        {Column::YuvCeiling, 1919, [](F) {}, false, "width above the ceiling"},
        {Column::YuvCeiling, 1080, [](F f) { f.yuv = {1080, 1920}; }, false, "height above"},
        {Column::Unused, 12345, [](F) {}, true, "the unused column is never consulted"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        Facts facts;
        facts.yuv = {1920, 1080};
        c.facts(facts);
        const size_t column = static_cast<size_t>(c.column);
        std::vector<int32_t> appRow{-1, -1, -1, -1, -1, -1, -1, 7};
        appRow[column] = c.value;
        loadTables("[ThirdCamSensorSettingMap]\n" + row("AllCamApp[0]", appRow));
        EXPECT_EQ(byApplication(facts), c.matches ? 7 : -1) << "by application";

        std::vector<int32_t> activityRow{-1, -1, -1, -1, -1, -1, -1, -1, 8};
        activityRow[column == 0 ? 0 : column + 1] = c.value;
        hostplatform::state().customer.activityName = "com.app/.Main";
        loadTables("[ThirdCamSensorSettingMapByActivity]\n" + row("com.app/.Main[0]", activityRow));
        EXPECT_EQ(byActivity(facts), c.matches ? 8 : kFallback) << "by activity";
    }
}

TEST_F(Tables, ApplicationGroupsInOrder) {
    loadTables(R"([ThirdCamSensorSettingMap]
com.app.own[0]        = 1, -1, -1, -1, -1, -1, 0, 21   # another sensor only
android.camera.cts[0] = -1, -1, -1, -1, -1, -1, 0, 22
AllCamApp[0]          = -1, -1, -1, -1, -1, -1, 0, 23
com.app.match[0]      = 0, -1, -1, -1, -1, -1, 0, 24
com.app.match[1]      = -1, -1, -1, -1, -1, -1, 0, 25
)");
    struct Case {
        const char* camName;
        bool runGsi;
        int expected;
        const char* rows;     // read, in order
        const char* message;  // info message naming the group, if any
        const char* why;
    };
    const Case kCases[] = {
        {"com.app.match", false, 24, "com.app.match[0]", "match setting:com.app.match",
         "own group first, first match"},
        {"com.app.own", false, 23, "com.app.own[0] AllCamApp[0]", "match setting:com.app.own",
         "own rows without a match"},
        {"com.app.none", false, 23, "AllCamApp[0]", "match setting:com.app.none", "no own rows"},
        {"", false, 23, "AllCamApp[0]", nullptr, "no name, no GSI: only the catch-all"},
        {"com.app.none", true, 23, "AllCamApp[0]", "match setting:com.app.none",
         "GSI only stands in for no name"},
        {"", true, 22, "android.camera.cts[0]", "runGSI, curCamName:android.camera.cts",
         "no name under GSI: the CTS group first"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostconfig::clearCalls();
        hostplatform::state().customer.curCamName = c.camName;
        hostplatform::state().customer.runGsi = c.runGsi;
        Facts facts;
        facts.yuv = {1920, 1080};
        EXPECT_EQ(byApplication(facts), c.expected);
        EXPECT_EQ(rowsRead(), c.rows);
        if (c.message != nullptr) {
            EXPECT_EQ(countMessage(Level::Info, std::string("[getThirdCamScenarioId] ") + c.message,
                                   "getThirdCamScenarioId"),
                      1u);
        }
    }
    EXPECT_EQ(countMessage(Level::Info,
                           "[getThirdCamScenarioId] match setting(input):video 0,thirdOpMode 0x0, "
                           "asepct_Ration 750,maxYuvSize.w 1920,maxYuvSize.h 1080",
                           "getThirdCamScenarioId"),
              1u);
    EXPECT_EQ(countMessage(Level::Info,
                           "[getThirdCamScenarioId] match setting(result):"
                           "[ThirdCamSensorSettingMap],android.camera.cts[0/1] "
                           "[8:-1,-1,-1,-1,-1,-1,22]",
                           "getThirdCamScenarioId"),
              1u);
}

TEST_F(Tables, ActivityGroupAndApiColumn) {
    loadTables(R"([ThirdCamSensorSettingMapByActivity]
com.app/.Main[0] = -1, 2, -1, -1, -1, -1, -1, 0, 31
com.app/.Main[1] = 1, -1, -1, -1, -1, -1, -1, 0, 32
com.app/.Main[2] = -1, -1, -1, -1, -1, -1, -1, 0, 33
com.app/.Other[0] = -1, -1, -1, -1, -1, -1, -1, 0, 34
)");
    const std::string kKeys = "GetKeyCount(ThirdCamSensorSettingMapByActivity) = 4";
    struct Case {
        const char* activity;
        int api, expected;
        std::vector<std::string> calls;  // empty: not checked
        const char* why;
    };
    const Case kCases[] = {
        {"com.app/.Main", -1, 33, {}, "absent API value (-1) is not a wildcard for the row"},
        {"com.app/.Main", 3, 33, {}, "API value differs"},
        {"", 2, kFallback, {kKeys}, "no activity: fallback at once, silently"},
        {"com.app/.None", 2, kFallback,
         {kKeys, "GetLocaleKeyCount(ThirdCamSensorSettingMapByActivity, com.app/.None) = 0"},
         "activity without rows"},
        {"com.app/.Main", 2, 31, {}, "API value equal"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostconfig::clearCalls();
        hostplatform::state().customer.activityName = c.activity;
        Facts facts;
        facts.yuv = {1920, 1080};
        EXPECT_EQ(byActivity(facts, c.api), c.expected);
        if (!c.calls.empty()) {
            EXPECT_EQ(storeCalls(), c.calls);
        }
        if (c.activity[0] == '\0') {
            EXPECT_TRUE(legacyTexts().empty());
        }
        if (c.expected == kFallback && c.activity[0] != '\0') {
            EXPECT_EQ(countMessage(Level::Info,
                                   "[getThirdCamScenarioIdByActivity] curActivityName:com.app/.None",
                                   "getThirdCamScenarioIdByActivity"),
                      1u);
        }
    }
    EXPECT_EQ(countMessage(Level::Info,
                           "[getThirdCamScenarioIdByActivity] match setting(input):video 0, api 2, "
                           "thirdOpMode 0x0, asepct_Ration 750,maxYuvSize.w 1920,maxYuvSize.h 1080",
                           "getThirdCamScenarioIdByActivity"),
              1u);
    EXPECT_EQ(countMessage(Level::Info,
                           "[getThirdCamScenarioIdByActivity] match setting(result):"
                           "[ThirdCamSensorSettingMapByActivity],com.app/.Main[0/3] "
                           "[9:-1,2,-1,-1,-1,-1,-1,31]",
                           "getThirdCamScenarioIdByActivity"),
              1u);
}

enum class Lookup { Common, System, Application, Activity };

TEST_F(Tables, FaultsEndEachLookupItsOwnWay) {
    const std::string kCommon = "[CommonSensorSettingMap]\n";
    const std::string kSystem = "[SystemCamSensorSettingMap]\n";
    const std::string kApp = "[ThirdCamSensorSettingMap]\n";
    const std::string kActivity = "[ThirdCamSensorSettingMapByActivity]\n";
    const std::string kAll9 = " = -1, -1, -1, -1, -1, -1, -1, 2, 0\n";
    const std::string kAll8 = " = -1, -1, -1, -1, -1, -1, 0, 2\n";
    const std::string kCatchAll = "AllCamApp[0]" + kAll8;
    const auto count = [](int width) {
        return "match setting:CameraHWConfiguration.config value count " + std::to_string(width) +
               " error!";
    };
    struct Case {
        Lookup lookup;
        std::string text;
        const char* rowsRead;
        Level level;
        std::string message;  // after "[function] "; empty: no message at all
        const char* why;
    };
    const Case kCases[] = {
        {Lookup::Common, "", "", Level::Error,
         "match setting:CameraHWConfiguration.config key error!", "common: absent table"},
        {Lookup::Common, kCommon + "Other[0] = 0, 0, 1\n", "", Level::Error, count(0),
         "common: no Mode locale, so row 0 has no integers"},
        {Lookup::Common, kCommon + "Mode[0] = 0, 0, 1, 9\nMode[1] = 0, 0, 1\n", "", Level::Error,
         count(4), "common: row 0 of four integers refuses the table"},
        {Lookup::Common,
         kCommon + "Mode[0] = 5, 5, 1\nMode[1] = 5, 5, 1\nMode[2] = 0, 0\nMode[3] = 0, 0, 1\n",
         "Mode[0] Mode[1] Mode[2]", Level::Error, "match setting: key[2/4] error -3!",
         "common: a read error on row 2 ends the lookup although row 3 would match"},
        {Lookup::Common, kCommon + "Mode[0] = 5, -1, 1\n", "Mode[0]", Level::Error, "",
         "common: no row matches, silent fallback"},
        {Lookup::System, "", "", Level::Error,
         "match setting:CameraHWConfiguration.config key count error!", "system: absent table"},
        {Lookup::System, kSystem + "Mode[0]" + kAll8 + "Mode[1]" + kAll9, "", Level::Error,
         count(8), "system: row 0 of eight integers"},
        {Lookup::System,
         kSystem + "Mode[0] = 1, -1, -1, -1, -1, -1, -1, 2, 0\nMode[1]" + kAll8 + "Mode[2]" + kAll9,
         "Mode[0] Mode[1]", Level::Info, "match setting: key[1/3] error -3!",
         "system: a read error ends the lookup, reported at info level"},
        {Lookup::Application, kApp + "com.app[0] = -1, -1, -1, -1, -1, -1, 2\n" + kCatchAll, "",
         Level::Error, count(7), "application: a bad own group hides the catch-all"},
        {Lookup::Application,
         kApp + "com.app[0] = 1, -1, -1, -1, -1, -1, 0, 2\ncom.app[1] = -1, -1, -1, -1, -1, -1, 2\n" +
             kCatchAll,
         "com.app[0] com.app[1]", Level::Error, "match setting: key[1/2] error -3!",
         "application: a read error in the own group hides the catch-all"},
        {Lookup::Application, kApp + "AllCamApp[0]" + kAll9, "", Level::Error, count(9),
         "application: a bad catch-all"},
        {Lookup::Application, "", "", Level::Error, "", "application: absent table, silent"},
        {Lookup::Activity, "", "", Level::Debug,
         "match setting:CameraHWConfiguration.config key count error!", "activity: absent table"},
        {Lookup::Activity, kActivity + "a[0]" + kAll8 + "a[1]" + kAll9, "", Level::Error, count(8),
         "activity: row 0 of eight integers"},
        {Lookup::Activity,
         kActivity + "a[0] = 1, -1, -1, -1, -1, -1, -1, 0, 2\na[1]" + kAll8 + "a[2]" + kAll9,
         "a[0] a[1]", Level::Error, "match setting: key[1/3] error -3!",
         "activity: a read error ends the lookup although row 2 would match"},
    };
    const char* const kFunctions[] = {"getCommonScenarioId", "getSystemCamScenarioId",
                                      "getThirdCamScenarioId", "getThirdCamScenarioIdByActivity"};
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (!c.text.empty()) loadTables(c.text);
        hostplatform::state().customer.curCamName = "com.app";
        hostplatform::state().customer.activityName = "a";
        unsigned int flags = kSentinel;
        Facts facts;
        facts.yuv = {1920, 1080};
        const std::string function = kFunctions[static_cast<int>(c.lookup)];
        switch (c.lookup) {
            case Lookup::Common:
                EXPECT_EQ(mPolicy.getCommonScenarioId(0, 0, kFallback), kFallback);
                break;
            case Lookup::System:
                EXPECT_EQ(bySystem(facts, flags), -1);
                break;
            case Lookup::Application:
                EXPECT_EQ(byApplication(facts), -1);
                break;
            case Lookup::Activity:
                EXPECT_EQ(byActivity(facts), kFallback);
                break;
        }
        EXPECT_EQ(rowsRead(), c.rowsRead);
        EXPECT_EQ(flags, kSentinel);
        EXPECT_TRUE(hostplatform::state().recorded.seamless.empty());
        size_t errors = 0;
        for (const auto& r : hostplatform::state().recorded.unifiedLog) errors += r.priorityOrLevel == 1;
        if (c.message.empty()) {
            EXPECT_EQ(errors, 0u);
        } else {
            EXPECT_EQ(errors, c.level == Level::Error ? 1u : 0u);
            EXPECT_EQ(countMessage(c.level, "[" + function + "] " + c.message, function), 1u);
        }
    }
}

TEST_F(Tables, TemperatureIs32BitsFortyBytesIntoTheBlock) {
    using M = NSCam::IMetadata&;
    struct Case {
        void (*session)(NSCam::IMetadata&);
        bool nullParams;
        int expected;
        const char* why;
    };
    const Case kCases[] = {
        {[](M m) { m.update(temperatureEntry(45)); }, false, 45, "44-byte block"},
        {[](M m) { m.update(temperatureEntry(-20, 64)); }, false, -20, "longer, negative"},
        {[](M m) { m.update(temperatureEntry(45, 43)); }, false, -1, "one byte short: unknown"},
        {[](M m) { m.update(NSCam::IEntry(kTagTemperature)); }, false, -1, "empty entry"},
        {[](M) {}, false, -1, "no entry"},
        {[](M m) { m.update(temperatureEntry(45)); }, true, -1, "no parameters"},
        {[](M m) { m.update(NSCam::IEntry::of<int32_t>(kTagTemperature, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 37})); },
         false, 37, "the eleventh int32 of an int32 entry"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        NSCam::IMetadata params;
        c.session(params);
        EXPECT_EQ(mPolicy.getCurrentTemperature(c.nullParams ? nullptr : &params), c.expected);
        const std::string text = "[getCurrentTemperature] ThirdCamScenarioIdByThermal "
                                 "getCurrentTemperature:" + std::to_string(c.expected);
        EXPECT_EQ(legacyTexts(), std::vector<std::string>{text});
        EXPECT_EQ(countMessage(Level::Debug, text, "getCurrentTemperature"), 1u);
    }
}

TEST_F(Tables, ThermalThresholdReachedByAKnownTemperature) {
    struct Case {
        int32_t threshold, temperature;  // temperature -100: no parameters at all
        int expected;
        const char* why;
    };
    const Case kCases[] = {
        {45, 45, 9, "at the threshold"},
        {45, 44, kFallback, "below"},
        {-5, -1, kFallback, "-1 stands for unknown"},
        {-5, -3, 9, "cold but known"},
        {-5, -100, kFallback, "no parameters"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::state().customer.activityName = "com.act";
        loadTables("[ThirdCamSensorSettingMapByThermal]\n" + row("com.act[0]", {-1, c.threshold, 9}));
        NSCam::IMetadata params;
        params.update(temperatureEntry(c.temperature));
        EXPECT_EQ(byThermal(c.temperature == -100 ? nullptr : &params), c.expected);
    }
}

TEST_F(Tables, ThermalWholeTableCountAndTemperaturePerRow) {
    // Ten rows in all, three of them the activity's: keys 3 to 9 of its group do not exist.
    std::string text = "[ThirdCamSensorSettingMapByThermal]\n";
    text += row("com.act[0]", {1, 0, 5}) + row("com.act[1]", {-1, 50, 6}) + row("com.act[2]", {0, 100, 7});
    for (int i = 0; i < 7; ++i) text += row("com.other[" + std::to_string(i) + "]", {-1, 0, 8});
    loadTables(text);
    hostplatform::state().customer.activityName = "com.act";
    mSession.setTemperature(45);
    EXPECT_EQ(byThermal(&mSession.appConfig->sessionParams), kFallback);
    EXPECT_EQ(rowsRead(), "com.act[0] com.act[1] com.act[2] com.act[3] com.act[4] com.act[5] "
                          "com.act[6] com.act[7] com.act[8] com.act[9]");
    // Row 0 names another sensor and asks nothing; the seven missing rows pass without a word.
    const std::string kAsked =
        "[getCurrentTemperature] ThirdCamScenarioIdByThermal getCurrentTemperature:45";
    const std::string kCompared = "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal "
                                  "temperature:45, value.temperature:";
    EXPECT_EQ(legacyTexts(), (std::vector<std::string>{kAsked, kCompared + "50", kAsked,
                                                       kCompared + "100"}));
    EXPECT_EQ(countMessage(Level::Error, kCompared + "50", "getThirdCamScenarioIdByThermal"), 1u);
}

TEST_F(Tables, ThermalGroupOfTheActivityEvenWhenEmpty) {
    struct Case {
        const char* activity;
        int expected;
        bool valueCountError;
        const char* why;
    };
    const Case kCases[] = {
        {"com.act", 7, false, "the activity's own row"},
        {"", 8, false, "no activity name searches the empty group"},
        {"com.none", kFallback, true, "an activity without rows has no row 0 of three integers"},
        {"com.bad", kFallback, true, "row 0 of two integers"},
        {nullptr, kFallback, false, "absent table: silent after the count"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (c.activity != nullptr) {
            loadTables("[ThirdCamSensorSettingMapByThermal]\n"
                       "com.act[0] = 0, 40, 7\n[0] = -1, 0, 8\ncom.bad[0] = -1, 40\n");
            hostplatform::state().customer.activityName = c.activity;
        }
        mSession.setTemperature(45);
        EXPECT_EQ(byThermal(&mSession.appConfig->sessionParams), c.expected);
        if (c.activity == nullptr) {
            EXPECT_EQ(storeCalls(),
                      std::vector<std::string>{"GetKeyCount(ThirdCamSensorSettingMapByThermal) = 0"});
            EXPECT_TRUE(legacyTexts().empty());
        } else if (c.valueCountError) {
            const std::string error = "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal "
                                      "targetName:" + std::string(c.activity) +
                                      " valueCount is't matched!";
            EXPECT_EQ(legacyTexts(), std::vector<std::string>{error});
            EXPECT_EQ(countMessage(Level::Error, error, "getThirdCamScenarioIdByThermal"), 1u);
            EXPECT_TRUE(hostconfig::readEntries().empty());
        } else {
            EXPECT_EQ(countMessage(Level::Debug,
                                   "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal "
                                   "select size " + std::to_string(c.expected) + " by thermal",
                                   "getThirdCamScenarioIdByThermal"),
                      1u);
        }
    }
}

}  // namespace
}  // namespace legacytest
