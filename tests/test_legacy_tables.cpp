// The legacy policy's five scenario tables read from configuration texts through the host store.
// Each test checks the answers in its table and compares the store calls and log lines of every
// case with a golden file in tests/golden/.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "test_support.h"

namespace cptest {
namespace {

constexpr int kFallback = 3;
constexpr char kTag[] = "CustSettingPolicyLegacy";

// One table row in the configuration format: "Locale[key] = v0, v1, ...".
std::string row(const std::string& entry, const std::vector<int32_t>& values) {
    std::string text = entry + " =";
    for (size_t i = 0; i < values.size(); ++i) {
        text += (i == 0 ? " " : ", ") + std::to_string(values[i]);
    }
    return text + "\n";
}

// A case of a golden run: why it exists, what the lookup answered, what the platform saw.
std::string record(const char* why, int answer) {
    return std::string("## ") + why + "\n-> " + std::to_string(answer) + "\n" + transcript(kTag);
}

struct Facts {
    int sensorIdx = 0;
    unsigned int operationMode = 0;
    bool video = false;
    MSize yuv{1920, 1080};
    MSize stream{4000, 3000};
    std::string caller, modeName;
};
using F = Facts&;

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
    int bySystem(const Facts& f) {
        unsigned int flags = kSentinel;
        const int scenario = bySystem(f, flags);
        EXPECT_EQ(flags, kSentinel) << "only code 4 or 5 of a matching row sets flags";
        return scenario;
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
    int byThermal(bool withParams = true) {
        return mPolicy.getThirdCamScenarioIdByThermal(
            0, withParams ? &mSession.appConfig->sessionParams : nullptr, kFallback);
    }
};

TEST_F(Tables, CommonFirstMatchWinsWithWildcards) {
    // Rows 0-9 name another sensor; key "10" follows "9", and the match at 10 hides row 11.
    std::string text = "[CommonSensorSettingMap]\n";
    for (int i = 0; i < 10; ++i) text += row("Mode[" + std::to_string(i) + "]", {1, 5, 20});
    text +=
        row("Mode[10]", {-1, 0, 10}) + row("Mode[11]", {-1, -1, 11}) + row("Mode[12]", {1, -1, 12});
    struct Case {
        int operationMode, sensorIdx, expected;
        const char* why;
        std::string rows;
    };
    // clang-format off
    const Case kCases[] = {
        {1, 5, 20, "row 0 matches both columns", text},
        {0, 0, 10, "wildcard operation mode, sensor 0", text},
        {7, 1, 11, "all-wildcard row catches what is left", text},
        {0, 0, kFallback, "no row matches: the fallback, silently",
         "[CommonSensorSettingMap]\nMode[0] = 5, -1, 1\n"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SetUp();
        loadTables(c.rows);
        const int answer = mPolicy.getCommonScenarioId(c.operationMode, c.sensorIdx, kFallback);
        EXPECT_EQ(answer, c.expected) << c.why;
        golden += record(c.why, answer);
    }
    expectGolden("legacy-common", golden);
}

TEST_F(Tables, SystemColumnsAtTheirEdges) {
    struct Case {
        int column;
        int32_t value;  // the row's only live match column
        void (*facts)(Facts&);
        bool matches;
        const char* why;
    };
    // clang-format off
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
        {3, 1920, [](F) {}, true, "YUV width at the bound"},
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
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        std::vector<int32_t> values{-1, -1, -1, -1, -1, -1, -1, 7, 0};
        values[static_cast<size_t>(c.column)] = c.value;
        loadTables("[SystemCamSensorSettingMap]\n" + row("Mode[0]", values));
        Facts facts;
        c.facts(facts);
        EXPECT_EQ(bySystem(facts), c.matches ? 7 : -1);
    }
}

TEST_F(Tables, SystemFirstMatchWinsAndSeamlessCodeSetsFlags) {
    struct Case {
        std::string rows;  // of sensor 1's session
        int32_t expected;
        unsigned int flags;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {row("Mode[0]", {0x8028, -1, -1, -1, -1, -1, -1, 1, 0}) + row("Mode[1]", {-1, -1, 1, -1, 4000, -1, 750, 2, 5}) + row("Mode[2]", {-1, -1, -1, -1, -1, -1, -1, 3, 0}),
         2, 0x801, "the first matching row wins, later rows are not read; code 5"},
        {row("Mode[0]", {-1, -1, 1, -1, -1, -1, -1, 6, 4}), 6, 0x101, "code 4"},
        {row("Mode[0]", {-1, -1, 1, -1, -1, -1, -1, 6, 3}), 6, kSentinel,
         "any other code leaves the flags and records scenario 0"},
        {row("Mode[0]", {-1, -1, 0, -1, -1, -1, -1, 6, 5}), -1, kSentinel,
         "no match: no flags, nothing recorded"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        loadTables("[SystemCamSensorSettingMap]\n" + c.rows);
        Facts facts;
        facts.sensorIdx = 1;
        facts.yuv = {4000, 3000};
        unsigned int flags = kSentinel;
        const int answer = bySystem(facts, flags);
        EXPECT_EQ(answer, c.expected);
        EXPECT_EQ(flags, c.flags);
        golden += record(c.why, answer);
        for (const hostplatform::SeamlessCall& call : hostplatform::state().recorded.seamless) {
            golden += "  seamless sensor " + std::to_string(call.sensorIdx) + " scenario " +
                      std::to_string(call.scenario) + "\n";
        }
    }
    expectGolden("legacy-system", golden);
}

// Columns the two sized third-party tables share; the activity table has the API in column 1.
enum class Column { Sensor, Video, OperationMode, RatioFloor, YuvFloor, YuvCeiling, Unused };

TEST_F(Tables, SizedColumnsAtTheirEdgesInBothTables) {
    struct Case {
        Column column;
        int32_t value;
        void (*facts)(Facts&);
        bool matches;
        const char* why;
    };
    // clang-format off
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
    // clang-format on
    hostplatform::state().customer.activityName = "com.app/.Main";
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        Facts facts;
        c.facts(facts);
        const size_t column = static_cast<size_t>(c.column);
        std::vector<int32_t> appRow{-1, -1, -1, -1, -1, -1, -1, 7};
        appRow[column] = c.value;
        loadTables("[ThirdCamSensorSettingMap]\n" + row("AllCamApp[0]", appRow));
        EXPECT_EQ(byApplication(facts), c.matches ? 7 : -1) << "by application";

        std::vector<int32_t> activityRow{-1, -1, -1, -1, -1, -1, -1, -1, 8};
        activityRow[column == 0 ? 0 : column + 1] = c.value;
        loadTables("[ThirdCamSensorSettingMapByActivity]\n" + row("com.app/.Main[0]", activityRow));
        EXPECT_EQ(byActivity(facts), c.matches ? 8 : kFallback) << "by activity";
    }
}

// Own group first, the CTS group for a nameless caller under GSI, the catch-all last.
TEST_F(Tables, ApplicationGroupsInOrder) {
    const std::string kTable = R"([ThirdCamSensorSettingMap]
com.app.own[0]        = 1, -1, -1, -1, -1, -1, 0, 21   # another sensor only
android.camera.cts[0] = -1, -1, -1, -1, -1, -1, 0, 22
AllCamApp[0]          = -1, -1, -1, -1, -1, -1, 0, 23
com.app.match[0]      = 0, -1, -1, -1, -1, -1, 0, 24
com.app.match[1]      = -1, -1, -1, -1, -1, -1, 0, 25
)";
    struct Case {
        const char* camName;
        bool runGsi;
        int expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"com.app.match", false, 24, "own group first, first match"},
        {"com.app.own", false, 23, "own rows without a match"},
        {"com.app.none", false, 23, "no own rows"},
        {"", false, 23, "no name, no GSI: only the catch-all"},
        {"com.app.none", true, 23, "GSI only stands in for no name"},
        {"", true, 22, "no name under GSI: the CTS group first"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        loadTables(kTable);
        hostplatform::state().customer.curCamName = c.camName;
        hostplatform::state().customer.runGsi = c.runGsi;
        const int answer = byApplication(Facts());
        EXPECT_EQ(answer, c.expected);
        golden += record(c.why, answer);
    }
    expectGolden("legacy-application", golden);
}

TEST_F(Tables, ActivityGroupAndApiColumn) {
    const std::string kTable = R"([ThirdCamSensorSettingMapByActivity]
com.app/.Main[0] = -1, 2, -1, -1, -1, -1, -1, 0, 31
com.app/.Main[1] = 1, -1, -1, -1, -1, -1, -1, 0, 32
com.app/.Main[2] = -1, -1, -1, -1, -1, -1, -1, 0, 33
com.app/.Other[0] = -1, -1, -1, -1, -1, -1, -1, 0, 34
)";
    struct Case {
        const char* activity;
        int api, expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"com.app/.Main", -1, 33, "absent API value (-1) is not a wildcard for the row"},
        {"com.app/.Main", 3, 33, "API value differs"},
        {"", 2, kFallback, "no activity: fallback at once, silently"},
        {"com.app/.None", 2, kFallback, "activity without rows"},
        {"com.app/.Main", 2, 31, "API value equal"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        loadTables(kTable);
        hostplatform::state().customer.activityName = c.activity;
        const int answer = byActivity(Facts(), c.api);
        EXPECT_EQ(answer, c.expected);
        golden += record(c.why, answer);
    }
    expectGolden("legacy-activity", golden);
}

enum class Lookup { Common, System, Application, Activity };

// A missing table, a row 0 of the wrong width or a failed read ends each lookup its own way;
// the golden file holds the message and the level of each.
TEST_F(Tables, FaultsEndEachLookupItsOwnWay) {
    const std::string kCommon = "[CommonSensorSettingMap]\n";
    const std::string kSystem = "[SystemCamSensorSettingMap]\n";
    const std::string kApp = "[ThirdCamSensorSettingMap]\n";
    const std::string kActivity = "[ThirdCamSensorSettingMapByActivity]\n";
    const std::string kAll9 = " = -1, -1, -1, -1, -1, -1, -1, 2, 0\n";
    const std::string kAll8 = " = -1, -1, -1, -1, -1, -1, 0, 2\n";
    const std::string kCatchAll = "AllCamApp[0]" + kAll8;
    struct Case {
        Lookup lookup;
        std::string text;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {Lookup::Common, "", "common: absent table"},
        {Lookup::Common, kCommon + "Other[0] = 0, 0, 1\n",
         "common: no Mode locale, so row 0 has no integers"},
        {Lookup::Common, kCommon + "Mode[0] = 0, 0, 1, 9\nMode[1] = 0, 0, 1\n",
         "common: row 0 of four integers refuses the table"},
        {Lookup::Common,
         kCommon + "Mode[0] = 5, 5, 1\nMode[1] = 5, 5, 1\nMode[2] = 0, 0\nMode[3] = 0, 0, 1\n",
         "common: a read error on row 2 ends the lookup although row 3 would match"},
        {Lookup::System, "", "system: absent table"},
        {Lookup::System, kSystem + "Mode[0]" + kAll8 + "Mode[1]" + kAll9,
         "system: row 0 of eight integers"},
        {Lookup::System,
         kSystem + "Mode[0] = 1, -1, -1, -1, -1, -1, -1, 2, 0\nMode[1]" + kAll8 + "Mode[2]" + kAll9,
         "system: a read error ends the lookup, reported at info level"},
        {Lookup::Application, kApp + "com.app[0] = -1, -1, -1, -1, -1, -1, 2\n" + kCatchAll,
         "application: a bad own group hides the catch-all"},
        {Lookup::Application,
         kApp + "com.app[0] = 1, -1, -1, -1, -1, -1, 0, 2\ncom.app[1] = -1, -1, -1, -1, -1, -1, 2\n" + kCatchAll,
         "application: a read error in the own group hides the catch-all"},
        {Lookup::Application, kApp + "AllCamApp[0]" + kAll9, "application: a bad catch-all"},
        {Lookup::Application, "", "application: absent table, silent"},
        {Lookup::Activity, "", "activity: absent table"},
        {Lookup::Activity, kActivity + "a[0]" + kAll8 + "a[1]" + kAll9,
         "activity: row 0 of eight integers"},
        {Lookup::Activity,
         kActivity + "a[0] = 1, -1, -1, -1, -1, -1, -1, 0, 2\na[1]" + kAll8 + "a[2]" + kAll9,
         "activity: a read error ends the lookup although row 2 would match"},
    };
    // clang-format on
    const int kNoMatch[] = {kFallback, -1, -1, kFallback};
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (!c.text.empty()) loadTables(c.text);
        hostplatform::state().customer.curCamName = "com.app";
        hostplatform::state().customer.activityName = "a";
        int answer = 0;
        switch (c.lookup) {
            case Lookup::Common:
                answer = mPolicy.getCommonScenarioId(0, 0, kFallback);
                break;
            case Lookup::System:
                answer = bySystem(Facts());
                break;
            case Lookup::Application:
                answer = byApplication(Facts());
                break;
            case Lookup::Activity:
                answer = byActivity(Facts());
                break;
        }
        EXPECT_EQ(answer, kNoMatch[static_cast<int>(c.lookup)]);
        EXPECT_TRUE(hostplatform::state().recorded.seamless.empty());
        golden += record(c.why, answer);
    }
    expectGolden("legacy-faults", golden);
}

// The temperature is the 32 bits 40 bytes into the entry's block, whatever its item type.
TEST_F(Tables, TemperatureAndThermalThreshold) {
    struct Case {
        IEntry entry;  // tag 0: no entry
        bool params;   // false: no session parameters at all
        int32_t threshold;
        int expectedTemperature, expectedScenario;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {temperatureEntry(45), true, 45, 45, 9, "44-byte block, at the threshold"},
        {temperatureEntry(44, 64), true, 45, 44, kFallback, "longer block, below"},
        {temperatureEntry(-3), true, -5, -3, 9, "cold but known"},
        {temperatureEntry(-1), true, -5, -1, kFallback, "-1 stands for unknown"},
        {temperatureEntry(45, 43), true, -5, -1, kFallback, "one byte short: unknown"},
        {IEntry(kTagTemperature), true, -5, -1, kFallback, "empty entry"},
        {IEntry(), true, -5, -1, kFallback, "no entry"},
        {temperatureEntry(45), false, -5, -1, kFallback, "no parameters"},
        {IEntry::of<int32_t>(kTagTemperature, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 37}), true, 37, 37, 9,
         "the eleventh int32 of an int32 entry"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (c.entry.tag() != 0) mSession.set(c.entry);
        const NSCam::IMetadata* params = c.params ? &mSession.appConfig->sessionParams : nullptr;
        EXPECT_EQ(mPolicy.getCurrentTemperature(params), c.expectedTemperature);
        EXPECT_EQ(logLines(kTag), Strings{"D/[getCurrentTemperature] ThirdCamScenarioIdByThermal "
                                          "getCurrentTemperature:" +
                                          std::to_string(c.expectedTemperature)});
        hostplatform::state().customer.activityName = "com.act";
        loadTables("[ThirdCamSensorSettingMapByThermal]\n" +
                   row("com.act[0]", {-1, c.threshold, 9}));
        EXPECT_EQ(byThermal(c.params), c.expectedScenario);
    }
}

TEST_F(Tables, ThermalRowsOfTheActivityGroup) {
    // Ten rows in all, three of them com.act's: keys 3 to 9 of its group do not exist.
    std::string tenRows = row("com.act[0]", {1, 0, 5}) + row("com.act[1]", {-1, 50, 6}) +
                          row("com.act[2]", {0, 100, 7});
    for (int i = 0; i < 7; ++i) tenRows += row("com.other[" + std::to_string(i) + "]", {-1, 0, 8});
    const std::string kGroups = "com.act[0] = 0, 40, 7\n[0] = -1, 0, 8\ncom.bad[0] = -1, 40\n";
    struct Case {
        const char* activity;
        std::string rows;  // of the thermal table; empty: no table
        int expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"com.act", tenRows, kFallback,
         "the whole table's count of rows is scanned in the group; the temperature per row"},
        {"com.act", kGroups, 7, "the activity's own row"},
        {"", kGroups, 8, "no activity name searches the empty group"},
        {"com.none", kGroups, kFallback, "an activity without rows has no row 0 of 3 integers"},
        {"com.bad", kGroups, kFallback, "row 0 of two integers"},
        {"com.act", "", kFallback, "absent table: silent after the count"},
    };
    // clang-format on
    std::string golden;
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        SetUp();
        if (!c.rows.empty()) loadTables("[ThirdCamSensorSettingMapByThermal]\n" + c.rows);
        hostplatform::state().customer.activityName = c.activity;
        mSession.set(temperatureEntry(45));
        const int answer = byThermal();
        EXPECT_EQ(answer, c.expected);
        golden += record(c.why, answer);
    }
    expectGolden("legacy-thermal", golden);
}

}  // namespace
}  // namespace cptest
