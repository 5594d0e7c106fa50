// The legacy policy's five scenario tables, read from configuration texts through the host store:
// the match rule of every column at its edge, first match, wildcards, group order, how each
// lookup ends on a faulty table, the seamless scenario, the temperature, and the messages.

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

// ---- "CommonSensorSettingMap" ---------------------------------------------------------------

using CommonTable = LegacyTest;

TEST_F(CommonTable, FirstMatchWinsWithWildcards) {
    // Rows 0-9 name another sensor; key "10" follows "9", and the match at 10 hides row 11.
    std::string text = "[CommonSensorSettingMap]\n";
    for (int i = 0; i < 10; ++i) text += row("Mode[" + std::to_string(i) + "]", {1, 5, 20});
    text += row("Mode[10]", {-1, 0, 10}) + row("Mode[11]", {-1, -1, 11});
    text += row("Mode[12]", {1, -1, 12});
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
    // The last case read rows 0 to 11, in numeric key order, and nothing after its match.
    std::vector<std::string> expectedRows;
    for (int i = 0; i < 12; ++i) expectedRows.push_back("Mode[" + std::to_string(i) + "]");
    EXPECT_EQ(hostconfig::readEntries(), expectedRows);
    EXPECT_EQ(countMessage(Level::Error,
                           "[getCommonScenarioId] match setting(result):[CommonSensorSettingMap],"
                           "Mode[11/13] [3:0xffffffff,-1,11]",
                           "getCommonScenarioId"),
              1u);
}

// ---- "SystemCamSensorSettingMap" ------------------------------------------------------------

// The facts a system-camera row is matched against.
struct SystemFacts {
    uint32_t captureMode = 0x8001;
    int sensorIdx = 0;
    std::string caller;
    std::string modeName;
    MSize yuv{4000, 3000};
    MSize stream{4000, 3000};
    bool video = false;
};

class SystemTable : public LegacyTest {
protected:
    int lookup(const SystemFacts& f, unsigned int& seamlessFlags) {
        hostplatform::state().customer.callerName = f.caller;
        hostplatform::state().customer.cameraModeName = f.modeName;
        mSession.streamInfo->maxYuvSize = f.yuv;
        mSession.streamInfo->maxStreamSize = f.stream;
        mSession.streamInfo->hasVideoConsumer = f.video;
        return mPolicy.getSystemCamScenarioId(f.captureMode, f.sensorIdx, NSCam::IMetadata(),
                                              mSession.streamInfo, seamlessFlags);
    }
};

TEST_F(SystemTable, EachColumnAtItsEdge) {
    struct Case {
        int column;
        int32_t value;  // the row's only live match column
        void (*facts)(SystemFacts&);
        bool matches;
        const char* why;
    };
    const Case kCases[] = {
        {0, 0x8001, [](SystemFacts&) {}, true, "capture mode equal"},
        {0, 0x8028, [](SystemFacts&) {}, false, "capture mode differs"},
        {1, 1, [](SystemFacts& f) { f.caller = "com.google.android.youtube"; }, true,
         "first outside package"},
        {1, 1, [](SystemFacts& f) { f.caller = "com.greenpoint.android.mc10086.activity"; }, true,
         "second outside package"},
        {1, 1, [](SystemFacts& f) { f.caller = "com.google.android.youtube.tv"; }, false,
         "a longer name is not the package"},
        {1, 1, [](SystemFacts& f) { f.caller = "com.google.android.YouTube"; }, false,
         "case matters"},
        {1, 0, [](SystemFacts&) {}, true, "no caller name is not an outside package"},
        {2, 1, [](SystemFacts& f) { f.sensorIdx = 1; }, true, "sensor equal"},
        {2, 1, [](SystemFacts&) {}, false, "sensor differs"},
        {3, 1920,
         [](SystemFacts& f) {
             f.yuv = {1920, 1080};
         },
         true, "YUV width at the bound"},
        {3, 1920,
         [](SystemFacts& f) {
             f.yuv = {1280, 720};
         },
         true, "YUV width below the bound"},
        {3, 1920,
         [](SystemFacts& f) {
             f.yuv = {1921, 1080};
         },
         false, "YUV width above"},
        {4, 4000, [](SystemFacts&) {}, true, "stream width equal"},
        {4, 3999, [](SystemFacts&) {}, false, "stream width differs"},
        {5, 0,
         [](SystemFacts& f) {
             f.video = true;
             f.modeName = "fast_motion_mode";
         },
         true, "video is class 0 whatever the mode name"},
        {5, 1,
         [](SystemFacts& f) {
             f.video = true;
             f.modeName = "fast_motion_mode";
         },
         false, "class 1 cannot match a video session"},
        {5, 1, [](SystemFacts& f) { f.modeName = "fast_motion_mode"; }, true, "fast motion"},
        {5, 2, [](SystemFacts& f) { f.modeName = "high_pixel_mode"; }, true, "high pixel"},
        {5, 2, [](SystemFacts& f) { f.modeName = "high_definition_mode"; }, true,
         "high definition is high pixel too"},
        {5, 0, [](SystemFacts& f) { f.modeName = "fast_motion"; }, false,
         "another name is class -1, which only the wildcard matches"},
        {6, 750, [](SystemFacts&) {}, true, "4:3 stream is 750"},
        {6, 562,
         [](SystemFacts& f) {
             f.stream = {1920, 1080};
         },
         true, "16:9 stream is 562"},
        {6, 0,
         [](SystemFacts& f) {
             f.stream = {0, 1080};
         },
         true, "zero width is ratio 0"},
        {6, 750,
         [](SystemFacts& f) {
             f.stream = {0, 3000};
         },
         false, "not 750 either"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        std::vector<int32_t> values{-1, -1, -1, -1, -1, -1, -1, 7, 0};
        values[static_cast<size_t>(c.column)] = c.value;
        loadTables("[SystemCamSensorSettingMap]\n" + row("Mode[0]", values));
        SystemFacts facts;
        c.facts(facts);
        unsigned int flags = kSentinel;
        EXPECT_EQ(lookup(facts, flags), c.matches ? 7 : -1);
    }
}

TEST_F(SystemTable, FirstMatchWinsAndLaterRowsAreNotRead) {
    loadTables("[SystemCamSensorSettingMap]\n" +
               row("Mode[0]", {0x8028, -1, -1, -1, -1, -1, -1, 1, 0}) +
               row("Mode[1]", {-1, -1, 0, -1, 4000, -1, 750, 2, 0}) +
               row("Mode[2]", {-1, -1, -1, -1, -1, -1, -1, 3, 0}));
    unsigned int flags = kSentinel;
    EXPECT_EQ(lookup(SystemFacts(), flags), 2);
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

TEST_F(SystemTable, SeamlessCodeSetsFlagsAndRecordsScenario) {
    struct Case {
        int32_t code;  // column 8 of the matching row; 0 with no matching row
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
        SystemFacts facts;
        facts.sensorIdx = 1;
        unsigned int flags = kSentinel;
        EXPECT_EQ(lookup(facts, flags), c.rowMatches ? 6 : -1);
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

// ---- Sized third-party tables: by application name and by activity ---------------------------

// Columns the two sized tables share; the activity table has the API value in column 1.
enum class Column { Sensor, Video, OperationMode, RatioFloor, YuvFloor, YuvCeiling, Unused };

struct SizedFacts {
    int sensorIdx = 0;
    unsigned int operationMode = 0;
    bool video = false;
    MSize yuv{1920, 1080};
    MSize stream{4000, 3000};
};

class SizedTables : public LegacyTest {
protected:
    void apply(const SizedFacts& f) {
        mSession.streamInfo->maxYuvSize = f.yuv;
        mSession.streamInfo->maxStreamSize = f.stream;
        mSession.streamInfo->hasVideoConsumer = f.video;
    }
    int byApplication(const SizedFacts& f) {
        apply(f);
        return mPolicy.getThirdCamScenarioId(f.sensorIdx, f.operationMode, mSession.streamInfo);
    }
    int byActivity(const SizedFacts& f, int api = -1) {
        apply(f);
        return mPolicy.getThirdCamScenarioIdByActivity(f.sensorIdx, f.operationMode,
                                                       mSession.streamInfo, kFallback, api);
    }
};

TEST_F(SizedTables, EachColumnAtItsEdgeInBothTables) {
    struct Case {
        Column column;
        int32_t value;
        void (*facts)(SizedFacts&);
        bool matches;
        const char* why;
    };
    const Case kCases[] = {
        {Column::Sensor, 1, [](SizedFacts& f) { f.sensorIdx = 1; }, true, "sensor equal"},
        {Column::Sensor, 1, [](SizedFacts&) {}, false, "sensor differs"},
        {Column::Video, 1, [](SizedFacts& f) { f.video = true; }, true, "video"},
        {Column::Video, 1, [](SizedFacts&) {}, false, "not video"},
        {Column::Video, 0, [](SizedFacts&) {}, true, "no video asked"},
        {Column::OperationMode, 1, [](SizedFacts& f) { f.operationMode = 1; }, true, "mode equal"},
        {Column::OperationMode, 1, [](SizedFacts&) {}, false, "mode differs"},
        {Column::RatioFloor, 749, [](SizedFacts&) {}, true, "ratio 750 above floor 749"},
        {Column::RatioFloor, 750, [](SizedFacts&) {}, false, "the floor is exclusive"},
        {Column::RatioFloor, -2, [](SizedFacts&) {}, false,
         "a negative floor is huge unsigned and never matches"},
        {Column::RatioFloor, 0,
         [](SizedFacts& f) {
             f.stream = {0, 3000};
         },
         false, "zero stream width is ratio 0, not above floor 0"},
        {Column::RatioFloor, 749,
         [](SizedFacts& f) {
             f.stream = {1000, -1};
         },
         true, "a negative ratio is huge unsigned and passes the floor"},
        {Column::YuvFloor, 1919, [](SizedFacts&) {}, true, "YUV width 1920 above floor 1919"},
        {Column::YuvFloor, 1920, [](SizedFacts&) {}, false, "the YUV floor is exclusive"},
        {Column::YuvCeiling, 1920, [](SizedFacts&) {}, true, "the ceiling is inclusive"},
        {Column::YuvCeiling, 1919, [](SizedFacts&) {}, false, "width above the ceiling"},
        {Column::YuvCeiling, 1080,
         [](SizedFacts& f) {
             f.yuv = {1080, 1920};
         },
         false, "height above the ceiling"},
        {Column::Unused, 12345, [](SizedFacts&) {}, true, "the unused column is never consulted"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SizedFacts facts;
        c.facts(facts);
        const size_t column = static_cast<size_t>(c.column);

        std::vector<int32_t> appRow{-1, -1, -1, -1, -1, -1, -1, 7};
        appRow[column] = c.value;
        loadTables("[ThirdCamSensorSettingMap]\n" + row("AllCamApp[0]", appRow));
        EXPECT_EQ(byApplication(facts), c.matches ? 7 : -1) << "by application";

        // The activity table is the same row with the API value inserted as column 1.
        std::vector<int32_t> activityRow{-1, -1, -1, -1, -1, -1, -1, -1, 8};
        activityRow[column == 0 ? 0 : column + 1] = c.value;
        hostplatform::state().customer.activityName = "com.app/.Main";
        loadTables("[ThirdCamSensorSettingMapByActivity]\n" + row("com.app/.Main[0]", activityRow));
        EXPECT_EQ(byActivity(facts), c.matches ? 8 : kFallback) << "by activity";
    }
}

TEST_F(SizedTables, ApplicationGroupsInOrder) {
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
        const char* groups;   // whose row counts were asked, in order
        const char* message;  // info message naming the group, if any
        const char* why;
    };
    const Case kCases[] = {
        {"com.app.match", false, 24, "com.app.match", "match setting:com.app.match",
         "own group first"},
        {"com.app.own", false, 23, "com.app.own AllCamApp", "match setting:com.app.own",
         "own rows without a match"},
        {"com.app.none", false, 23, "com.app.none AllCamApp", "match setting:com.app.none",
         "no rows of its own"},
        {"", false, 23, "AllCamApp", nullptr, "no name, no GSI: only the catch-all"},
        {"", true, 22, "android.camera.cts", "runGSI, curCamName:android.camera.cts",
         "no name under GSI: the CTS group first"},
        {"com.app.none", true, 23, "com.app.none AllCamApp", "match setting:com.app.none",
         "GSI only stands in for no name"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostconfig::clearCalls();
        hostplatform::state().customer.curCamName = c.camName;
        hostplatform::state().customer.runGsi = c.runGsi;
        EXPECT_EQ(byApplication(SizedFacts()), c.expected);
        EXPECT_EQ(localesCounted(), c.groups);
        if (c.message != nullptr) {
            EXPECT_EQ(countMessage(Level::Info, std::string("[getThirdCamScenarioId] ") + c.message,
                                   "getThirdCamScenarioId"),
                      1u);
        }
    }
    // The first match of a group hides the rows after it.
    hostplatform::reset();
    hostconfig::clearCalls();
    hostplatform::state().customer.runGsi = true;
    EXPECT_EQ(byApplication(SizedFacts()), 22);
    EXPECT_EQ(rowsRead(), "android.camera.cts[0]");
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

TEST_F(SizedTables, ActivityGroupAndApiColumn) {
    loadTables(R"([ThirdCamSensorSettingMapByActivity]
com.app/.Main[0] = -1, 2, -1, -1, -1, -1, -1, 0, 31
com.app/.Main[1] = 1, -1, -1, -1, -1, -1, -1, 0, 32
com.app/.Main[2] = -1, -1, -1, -1, -1, -1, -1, 0, 33
com.app/.Other[0] = -1, -1, -1, -1, -1, -1, -1, 0, 34
)");
    struct Case {
        const char* activity;
        int api;
        int expected;
        std::vector<std::string> calls;
        const char* why;
    };
    const std::string kKeys = "GetKeyCount(ThirdCamSensorSettingMapByActivity) = 4";
    const Case kCases[] = {
        {"com.app/.Main", 2, 31, {}, "API value equal"},
        {"com.app/.Main", -1, 33, {}, "absent API value (-1) is not a wildcard for the row"},
        {"com.app/.Main", 3, 33, {}, "API value differs"},
        {"", 2, kFallback, {kKeys}, "no activity: fallback at once, nothing else asked"},
        {"com.app/.None",
         2,
         kFallback,
         {kKeys, "GetLocaleKeyCount(ThirdCamSensorSettingMapByActivity, com.app/.None) = 0"},
         "activity without rows"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostconfig::clearCalls();
        hostplatform::state().customer.activityName = c.activity;
        EXPECT_EQ(byActivity(SizedFacts(), c.api), c.expected);
        if (!c.calls.empty()) {
            EXPECT_EQ(storeCalls(), c.calls);
        }
        if (c.activity[0] == '\0') {
            EXPECT_TRUE(legacyTexts().empty());
        }
    }
    EXPECT_EQ(
        countMessage(Level::Info, "[getThirdCamScenarioIdByActivity] curActivityName:com.app/.None",
                     "getThirdCamScenarioIdByActivity"),
        1u);
    EXPECT_EQ(countMessage(Level::Info,
                           "[getThirdCamScenarioIdByActivity] match setting(input):video 0, api 2, "
                           "thirdOpMode 0x0, asepct_Ration 750,maxYuvSize.w 1920,maxYuvSize.h 1080",
                           "getThirdCamScenarioIdByActivity"),
              1u);
    // The success report of the first case.
    hostplatform::reset();
    hostplatform::state().customer.activityName = "com.app/.Main";
    EXPECT_EQ(byActivity(SizedFacts(), 2), 31);
    EXPECT_EQ(countMessage(Level::Info,
                           "[getThirdCamScenarioIdByActivity] match setting(result):"
                           "[ThirdCamSensorSettingMapByActivity],com.app/.Main[0/3] "
                           "[9:-1,2,-1,-1,-1,-1,-1,31]",
                           "getThirdCamScenarioIdByActivity"),
              1u);
}

// ---- Faulty tables: each lookup ends its own way ---------------------------------------------

enum class Lookup { Common, System, Application, Activity };

TEST_F(SizedTables, FaultsEndEachLookupItsOwnWay) {
    const std::string kCommon = "[CommonSensorSettingMap]\n";
    const std::string kSystem = "[SystemCamSensorSettingMap]\n";
    const std::string kApp = "[ThirdCamSensorSettingMap]\n";
    const std::string kActivity = "[ThirdCamSensorSettingMapByActivity]\n";
    const std::string kAll9 = " = -1, -1, -1, -1, -1, -1, -1, 2, 0\n";  // nine integers
    const std::string kAll8 = " = -1, -1, -1, -1, -1, -1, 0, 2\n";      // eight integers
    const std::string kCatchAll = "AllCamApp[0]" + kAll8;
    const auto valueCount = [](int width) {
        return "match setting:CameraHWConfiguration.config value count " + std::to_string(width) +
               " error!";
    };
    struct Case {
        Lookup lookup;
        std::string text;
        int expected;
        const char* rowsRead;
        Level level;
        std::string message;  // after "[function] "; empty: no message at all
        const char* why;
    };
    const Case kCases[] = {
        {Lookup::Common, "", kFallback, "", Level::Error,
         "match setting:CameraHWConfiguration.config key error!", "common: absent table"},
        {Lookup::Common, kCommon + "Other[0] = 0, 0, 1\n", kFallback, "", Level::Error,
         valueCount(0), "common: no Mode locale, so row 0 has no integers"},
        {Lookup::Common, kCommon + "Mode[0] = 0, 0, 1, 9\nMode[1] = 0, 0, 1\n", kFallback, "",
         Level::Error, valueCount(4),
         "common: row 0 of four integers refuses the table although row 1 would match"},
        {Lookup::Common,
         kCommon + "Mode[0] = 5, 5, 1\nMode[1] = 5, 5, 1\nMode[2] = 0, 0\nMode[3] = 0, 0, 1\n",
         kFallback, "Mode[0] Mode[1] Mode[2]", Level::Error, "match setting: key[2/4] error -3!",
         "common: a read error on row 2 ends the lookup although row 3 would match"},
        {Lookup::Common, kCommon + "Mode[0] = 5, -1, 1\n", kFallback, "Mode[0]", Level::Error, "",
         "common: no row matches, silent fallback"},
        {Lookup::System, "", -1, "", Level::Error,
         "match setting:CameraHWConfiguration.config key count error!", "system: absent table"},
        {Lookup::System, kSystem + "Mode[0]" + kAll8 + "Mode[1]" + kAll9, -1, "", Level::Error,
         valueCount(8), "system: row 0 of eight integers"},
        {Lookup::System,
         kSystem + "Mode[0] = 1, -1, -1, -1, -1, -1, -1, 2, 0\nMode[1]" + kAll8 + "Mode[2]" + kAll9,
         -1, "Mode[0] Mode[1]", Level::Info, "match setting: key[1/3] error -3!",
         "system: a read error ends the lookup, reported at info level"},
        {Lookup::Application, kApp + "com.app[0] = -1, -1, -1, -1, -1, -1, 2\n" + kCatchAll, -1, "",
         Level::Error, valueCount(7), "application: a bad own group hides the catch-all"},
        {Lookup::Application,
         kApp +
             "com.app[0] = 1, -1, -1, -1, -1, -1, 0, 2\ncom.app[1] = -1, -1, -1, -1, -1, -1, 2\n" +
             kCatchAll,
         -1, "com.app[0] com.app[1]", Level::Error, "match setting: key[1/2] error -3!",
         "application: a read error in the own group hides the catch-all"},
        {Lookup::Application, kApp + "AllCamApp[0]" + kAll9, -1, "", Level::Error, valueCount(9),
         "application: a bad catch-all"},
        {Lookup::Application, "", -1, "", Level::Error, "", "application: absent table, silent"},
        {Lookup::Activity, "", kFallback, "", Level::Debug,
         "match setting:CameraHWConfiguration.config key count error!", "activity: absent table"},
        {Lookup::Activity, kActivity + "a[0]" + kAll8 + "a[1]" + kAll9, kFallback, "", Level::Error,
         valueCount(8), "activity: row 0 of eight integers"},
        {Lookup::Activity,
         kActivity + "a[0] = 1, -1, -1, -1, -1, -1, -1, 0, 2\na[1]" + kAll8 + "a[2]" + kAll9,
         kFallback, "a[0] a[1]", Level::Error, "match setting: key[1/3] error -3!",
         "activity: a read error ends the lookup although row 2 would match"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (!c.text.empty()) loadTables(c.text);
        hostplatform::state().customer.curCamName = "com.app";
        hostplatform::state().customer.activityName = "a";
        unsigned int flags = kSentinel;
        const SizedFacts facts;
        int answer = 0;
        std::string function;
        switch (c.lookup) {
            case Lookup::Common:
                function = "getCommonScenarioId";
                answer = mPolicy.getCommonScenarioId(0, 0, kFallback);
                break;
            case Lookup::System:
                function = "getSystemCamScenarioId";
                answer = mPolicy.getSystemCamScenarioId(0x8001, 0, NSCam::IMetadata(),
                                                        mSession.streamInfo, flags);
                break;
            case Lookup::Application:
                function = "getThirdCamScenarioId";
                answer = byApplication(facts);
                break;
            case Lookup::Activity:
                function = "getThirdCamScenarioIdByActivity";
                answer = byActivity(facts);
                break;
        }
        EXPECT_EQ(answer, c.expected);
        EXPECT_EQ(rowsRead(), c.rowsRead);
        EXPECT_EQ(flags, kSentinel);
        EXPECT_TRUE(hostplatform::state().recorded.seamless.empty());
        size_t errors = 0;
        for (const auto& r : hostplatform::state().recorded.unifiedLog) {
            errors += r.priorityOrLevel == unifiedLevel(Level::Error);
        }
        if (c.message.empty()) {
            EXPECT_EQ(errors, 0u);
        } else {
            EXPECT_EQ(errors, c.level == Level::Error ? 1u : 0u);
            EXPECT_EQ(countMessage(c.level, "[" + function + "] " + c.message, function), 1u);
        }
    }
}

// ---- "ThirdCamSensorSettingMapByThermal" and the temperature --------------------------------

using ThermalTable = LegacyTest;

TEST_F(ThermalTable, TemperatureIs32BitsFortyBytesIntoTheBlock) {
    struct Case {
        void (*session)(NSCam::IMetadata&);
        bool nullParams;
        int expected;
        const char* why;
    };
    const Case kCases[] = {
        {[](NSCam::IMetadata& m) { m.update(temperatureEntry(45)); }, false, 45, "44-byte block"},
        {[](NSCam::IMetadata& m) { m.update(temperatureEntry(-20, 64)); }, false, -20,
         "longer block, negative value"},
        {[](NSCam::IMetadata& m) { m.update(temperatureEntry(45, 43)); }, false, -1,
         "a block one byte short is unknown"},
        {[](NSCam::IMetadata& m) { m.update(NSCam::IEntry(kTagTemperature)); }, false, -1,
         "empty entry"},
        {[](NSCam::IMetadata&) {}, false, -1, "no entry"},
        {[](NSCam::IMetadata& m) { m.update(temperatureEntry(45)); }, true, -1, "no parameters"},
        {[](NSCam::IMetadata& m) {
             m.update(
                 NSCam::IEntry::of<int32_t>(kTagTemperature, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 37}));
         },
         false, 37, "the eleventh int32 of an int32 entry"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        NSCam::IMetadata params;
        c.session(params);
        EXPECT_EQ(mPolicy.getCurrentTemperature(c.nullParams ? nullptr : &params), c.expected);
        EXPECT_EQ(legacyTexts(),
                  std::vector<std::string>{
                      "[getCurrentTemperature] ThirdCamScenarioIdByThermal getCurrentTemperature:" +
                      std::to_string(c.expected)});
    }
    EXPECT_EQ(countMessage(Level::Debug,
                           "[getCurrentTemperature] ThirdCamScenarioIdByThermal "
                           "getCurrentTemperature:37",
                           "getCurrentTemperature"),
              1u);
}

TEST_F(ThermalTable, ThresholdReachedByAKnownTemperature) {
    struct Case {
        int32_t threshold;
        void (*session)(NSCam::IMetadata&);
        int expected;
        const char* why;
    };
    const Case kCases[] = {
        {45, [](NSCam::IMetadata& m) { m.update(temperatureEntry(45)); }, 9, "at the threshold"},
        {45, [](NSCam::IMetadata& m) { m.update(temperatureEntry(44)); }, kFallback, "below"},
        {-5, [](NSCam::IMetadata&) {}, kFallback, "missing temperature never reaches a threshold"},
        {-5, [](NSCam::IMetadata& m) { m.update(temperatureEntry(45, 40)); }, kFallback,
         "short block: unknown"},
        {-5, [](NSCam::IMetadata& m) { m.update(temperatureEntry(-1)); }, kFallback,
         "-1 stands for unknown"},
        {-5, [](NSCam::IMetadata& m) { m.update(temperatureEntry(-3)); }, 9, "cold but known"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        hostplatform::state().customer.activityName = "com.act";
        loadTables("[ThirdCamSensorSettingMapByThermal]\n" +
                   row("com.act[0]", {-1, c.threshold, 9}));
        NSCam::IMetadata params;
        c.session(params);
        EXPECT_EQ(mPolicy.getThirdCamScenarioIdByThermal(0, &params, kFallback), c.expected);
    }
    hostplatform::reset();
    EXPECT_EQ(mPolicy.getThirdCamScenarioIdByThermal(0, nullptr, kFallback), kFallback);
}

TEST_F(ThermalTable, WholeTableCountAndTemperaturePerRow) {
    // Ten rows in all, three of them the activity's: keys 3 to 9 of its group do not exist.
    std::string text = "[ThirdCamSensorSettingMapByThermal]\n";
    text += row("com.act[0]", {1, 0, 5}) + row("com.act[1]", {-1, 50, 6});
    text += row("com.act[2]", {0, 100, 7});
    for (int i = 0; i < 7; ++i) text += row("com.other[" + std::to_string(i) + "]", {-1, 0, 8});
    loadTables(text);
    hostplatform::state().customer.activityName = "com.act";
    mSession.setTemperature(45);
    EXPECT_EQ(
        mPolicy.getThirdCamScenarioIdByThermal(0, &mSession.appConfig->sessionParams, kFallback),
        kFallback);
    std::vector<std::string> rows;
    for (int i = 0; i < 10; ++i) rows.push_back("com.act[" + std::to_string(i) + "]");
    EXPECT_EQ(hostconfig::readEntries(), rows);
    // Row 0 names another sensor and asks nothing; rows 1 and 2 ask the temperature each and
    // report the comparison; the seven missing rows pass without a word.
    EXPECT_EQ(legacyTexts(),
              (std::vector<std::string>{
                  "[getCurrentTemperature] ThirdCamScenarioIdByThermal getCurrentTemperature:45",
                  "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal temperature:45, "
                  "value.temperature:50",
                  "[getCurrentTemperature] ThirdCamScenarioIdByThermal getCurrentTemperature:45",
                  "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal temperature:45, "
                  "value.temperature:100",
              }));
    EXPECT_EQ(countMessage(Level::Error,
                           "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal "
                           "temperature:45, value.temperature:50",
                           "getThirdCamScenarioIdByThermal"),
              1u);
}

TEST_F(ThermalTable, GroupOfTheActivityEvenWhenEmpty) {
    struct Case {
        const char* activity;
        int expected;
        const char* error;  // null: no error message but the comparisons
        const char* why;
    };
    const Case kCases[] = {
        {"com.act", 7, nullptr, "the activity's own row"},
        {"", 8, nullptr, "no activity name searches the empty group"},
        {"com.none", kFallback,
         "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal targetName:com.none "
         "valueCount is't matched!",
         "an activity without rows has no row 0 of three integers"},
        {"com.bad", kFallback,
         "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal targetName:com.bad "
         "valueCount is't matched!",
         "row 0 of two integers"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        hostplatform::reset();
        loadTables(R"([ThirdCamSensorSettingMapByThermal]
com.act[0] = 0, 40, 7
[0] = -1, 0, 8
com.bad[0] = -1, 40
)");
        hostplatform::state().customer.activityName = c.activity;
        mSession.setTemperature(45);
        EXPECT_EQ(mPolicy.getThirdCamScenarioIdByThermal(0, &mSession.appConfig->sessionParams,
                                                         kFallback),
                  c.expected);
        if (c.error != nullptr) {
            EXPECT_EQ(legacyTexts(), std::vector<std::string>{c.error});
            EXPECT_EQ(countMessage(Level::Error, c.error, "getThirdCamScenarioIdByThermal"), 1u);
            EXPECT_TRUE(hostconfig::readEntries().empty());
        } else {
            EXPECT_EQ(countMessage(Level::Debug,
                                   "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal "
                                   "select size " +
                                       std::to_string(c.expected) + " by thermal",
                                   "getThirdCamScenarioIdByThermal"),
                      1u);
        }
    }
    // An absent table ends the lookup silently after the count.
    hostplatform::reset();
    hostconfig::clear();
    hostconfig::clearCalls();
    EXPECT_EQ(
        mPolicy.getThirdCamScenarioIdByThermal(0, &mSession.appConfig->sessionParams, kFallback),
        kFallback);
    EXPECT_EQ(storeCalls(),
              std::vector<std::string>{"GetKeyCount(ThirdCamSensorSettingMapByThermal) = 0"});
    EXPECT_TRUE(legacyTexts().empty());
}

}  // namespace
}  // namespace legacytest
