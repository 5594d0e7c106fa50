#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runner/decision.h"
#include "runner/library_messages.h"

// Building a Decision from what the runner saw of a sensor's calls, and reading the library's
// messages: each case is a call as the library logs it.
namespace {

using custsim::buildDecision;
using custsim::Decision;
using custsim::DecisionResult;
using custsim::LogLine;
using custsim::PolicyPath;
using custsim::SensorCalls;
using custsim::SensorTrace;
using hostconfig::RowRead;

constexpr int32_t kInfo = 4;
constexpr int32_t kDebug = 3;
constexpr int32_t kError = 6;
constexpr int32_t kReadFailed = -1;

const char kThirdCamTable[] = "ThirdCamSensorSettingMap";
const char kThermalTable[] = "ThirdCamSensorSettingMapByThermal";
const char kSystemTable[] = "SystemCamSensorSettingMap";

LogLine thirdCamMatch(int key, int scenario) {
    return {kInfo, "CustSettingPolicyLegacy",
            "[getThirdCamScenarioId] match setting(result):[ThirdCamSensorSettingMap],AllCamApp[" +
                std::to_string(key) + "/3] [8:0,0,0,-1,-1,-1," + std::to_string(scenario) + "]"};
}
const LogLine kThermalPick = {
    kDebug, "CustSettingPolicyLegacy",
    "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal select size 0 by thermal"};
const LogLine kSystemMatch = {
    kError, "CustSettingPolicyLegacy",
    "[getSystemCamScenarioId] match setting(result):[SystemCamSensorSettingMap],Mode[0/1] "
    "[9:-1,-1,-1,-1,-1,-1,-1,300,0] (getSystemCamScenarioId){#12:cust.cpp}"};
const LogLine kNormalPath = {kDebug, "CustSettingPolicyBase",
                             "[getSettingSelectInfo] configure max stream size is 1920 1080"};
const LogLine kFinalResult = {kInfo, "CustSettingPolicyBase",
                              "[parseSensorSetting] match setting(final result): 2"};
const LogLine kEngineering = {kInfo, "CustSettingPolicyLegacy",
                              "[selectSensorSetting4MipiTraversal] sensor mode:2 for engineer "
                              "explorer test."};
const LogLine kNotThirdParty = {kInfo, "CustSettingPolicyLegacy",
                                "[selectSensorSetting4ThirdCase] Not 3rd App"};
const char kChipNote[] = "feature chip 0x1005 for drvId 0 answered 2: closest mode";

RowRead read(const char* table, const char* locale, const char* key, int32_t line,
             int32_t status = hostconfig::kStatusOk) {
    return {table, locale, key, status, line};
}

SensorCalls chosenCalls(int32_t scenario) {
    SensorCalls calls;
    calls.reportedDecision = true;
    calls.namedScenario = scenario;
    calls.record.sensorMode = static_cast<uint32_t>(scenario);
    calls.record.sensorFps = 30;
    calls.record.sensorSize = MSize(4000, 3000);
    calls.rrzoSensorSize = MSize(4000, 3000);
    calls.rrzoSize = MSize(1920, 1440);
    calls.configName = "t.config";
    return calls;
}

std::string rowName(const std::optional<custsim::MatchedRow>& row) {
    return row ? row->table + " " + custsim::entryName(*row) + ":" + std::to_string(row->line)
               : "none";
}

std::string overriddenNames(const Decision& d) {
    std::string names;
    for (const custsim::OverriddenRow& o : d.overridden)
        names += (names.empty() ? "" : "; ") + rowName(o.row) + " by " + custsim::pathName(o.by);
    return names;
}

std::string warningCodes(const Decision& d) {
    std::string codes;
    for (const custsim::Warning& w : d.warnings) codes += (codes.empty() ? "" : ",") + w.code;
    return codes;
}

struct DecisionCase {
    const char* why;
    SensorCalls calls;
    SensorTrace trace;
    DecisionResult result;
    PolicyPath path;
    const char* row;         // rowName() of the deciding row
    const char* overridden;  // overriddenNames()
    const char* warnings;    // warningCodes()
    const char* explanation;
};

std::vector<DecisionCase> decisionCases() {
    std::vector<DecisionCase> cases;
    {
        DecisionCase c{"a table row names a scenario the sensor lacks: named, not filled",
                       chosenCalls(9),
                       {},
                       DecisionResult::NamedNotFilled,
                       PolicyPath::ThirdPartyStep,
                       "ThirdCamSensorSettingMap AllCamApp[1]:17",
                       "",
                       "scenario-not-a-mode",
                       "ThirdCamSensorSettingMap AllCamApp[1] (t.config:17)"};
        c.calls.notFilledReason = "sensor 0 has no mode 9";
        c.calls.namedScenarioIsAMode = false;
        c.calls.record = {};
        c.trace.settingLog = {thirdCamMatch(1, 9)};
        c.trace.settingRowReads = {read(kThirdCamTable, "AllCamApp", "0", 16),
                                   read(kThirdCamTable, "AllCamApp", "1", 17)};
        cases.push_back(c);
    }
    {
        DecisionCase c{"the helper fails a query of a mode the sensor has",
                       chosenCalls(1),
                       {},
                       DecisionResult::NamedNotFilled,
                       PolicyPath::ThirdPartyStep,
                       "ThirdCamSensorSettingMap AllCamApp[0]:16",
                       "",
                       "sensor-query-failed",
                       "ThirdCamSensorSettingMap AllCamApp[0] (t.config:16)"};
        c.calls.notFilledReason = "the sensor-info helper failed the size query of mode 1";
        c.trace.settingLog = {thirdCamMatch(0, 1)};
        c.trace.settingRowReads = {read(kThirdCamTable, "AllCamApp", "0", 16)};
        cases.push_back(c);
    }
    {
        DecisionCase c{"the thermal table replaces the third-party row's answer",
                       chosenCalls(0),
                       {},
                       DecisionResult::Chosen,
                       PolicyPath::Thermal,
                       "ThirdCamSensorSettingMapByThermal hot[0]:22",
                       "ThirdCamSensorSettingMap AllCamApp[1]:17 by thermal",
                       "",
                       "ThirdCamSensorSettingMapByThermal hot[0] (t.config:22)"};
        c.trace.settingLog = {thirdCamMatch(1, 9), kThermalPick, kFinalResult};
        c.trace.settingRowReads = {read(kThirdCamTable, "AllCamApp", "1", 17),
                                   read(kThermalTable, "hot", "0", 22),
                                   read(kThermalTable, "hot", "1", 0, kReadFailed)};
        cases.push_back(c);
    }
    {
        DecisionCase c{
            "a table's scenario refused before the normal path: the feature chip decides",
            chosenCalls(2),
            {},
            DecisionResult::Chosen,
            PolicyPath::FeatureChip,
            "none",
            "SystemCamSensorSettingMap Mode[0]:5 by feature_chip",
            "",
            kChipNote};
        c.trace.settingLog = {kSystemMatch, kNormalPath, kFinalResult};
        c.trace.settingRowReads = {read(kSystemTable, "Mode", "0", 5)};
        c.trace.notes = {"third-party capability manager: not asked", kChipNote};
        cases.push_back(c);
    }
    {
        DecisionCase c{"no decision: the HAL's fallback, explained by the last message",
                       {},
                       {},
                       DecisionResult::None,
                       PolicyPath::HalFallback,
                       "none",
                       "",
                       "",
                       "last message I/CustSettingPolicyLegacy: [selectSensorSetting4ThirdCase] "
                       "Not 3rd App"};
        c.calls.fallbackScenario = 0;
        c.calls.rrzoSensorSize = MSize(2000, 1500);
        c.calls.rrzoSize = MSize(1920, 1440);
        c.trace.settingLog = {kNotThirdParty};
        cases.push_back(c);
    }
    {
        DecisionCase c{"the engineering value decides; a 60 fps request gets a 30 fps mode",
                       chosenCalls(2),
                       {},
                       DecisionResult::Chosen,
                       PolicyPath::Engineering,
                       "none",
                       "",
                       "fps-below-request",
                       "I/CustSettingPolicyLegacy: [selectSensorSetting4MipiTraversal] sensor "
                       "mode:2 for engineer explorer test."};
        c.calls.requestedFps = 60;
        c.trace.settingLog = {kEngineering, kFinalResult};
        cases.push_back(c);
    }
    {
        DecisionCase c{"the capability manager answers; an RRZO row larger than the output",
                       chosenCalls(1),
                       {},
                       DecisionResult::Chosen,
                       PolicyPath::CapabilityManager,
                       "none",
                       "",
                       "rrzo-exceeds-sensor",
                       "I/CustSettingPolicyBase: [parseSensorSetting] match setting(final "
                       "result): 2"};
        c.calls.capabilityManagerAsked = true;
        c.calls.rrzoSize = MSize(4096, 3000);
        c.trace.settingLog = {kFinalResult};
        cases.push_back(c);
    }
    {
        DecisionCase c{"a size row with a zero side",
                       chosenCalls(1),
                       {},
                       DecisionResult::Chosen,
                       PolicyPath::FeatureChip,
                       "none",
                       "",
                       "rrzo-zero-side",
                       "no message"};
        c.calls.rrzoSize = MSize(0, 3000);
        cases.push_back(c);
    }
    return cases;
}

TEST(Decision, IsBuiltFromTheCallsAndTheirMessages) {
    for (const DecisionCase& c : decisionCases()) {
        SCOPED_TRACE(c.why);
        const Decision d = buildDecision(c.calls, c.trace);
        EXPECT_EQ(custsim::resultName(d.result), std::string(custsim::resultName(c.result)));
        EXPECT_EQ(custsim::pathName(d.path), std::string(custsim::pathName(c.path)));
        EXPECT_EQ(rowName(d.row), c.row);
        EXPECT_EQ(overriddenNames(d), c.overridden);
        EXPECT_EQ(warningCodes(d), c.warnings);
        EXPECT_EQ(d.explanation, c.explanation);
        // The HAL's fallback scenario belongs to no decision only.
        EXPECT_EQ(d.fallbackScenario.has_value(), d.halFallback() && c.calls.fallbackScenario);
        // A deciding message carries no error tail.
        if (d.message) {
            EXPECT_EQ(d.message->text, custsim::withoutErrorTail(d.message->text));
        }
    }
}

TEST(Decision, SummaryAndSeamlessInWords) {
    Decision chosen = buildDecision(chosenCalls(2), {});
    chosen.record.sensorSize = MSize(3840, 2160);
    SensorCalls namedCalls = chosenCalls(9);
    namedCalls.notFilledReason = "sensor 0 has no mode 9";
    const struct {
        const char* why;
        std::string actual;
        const char* expected;
    } cases[] = {
        {"a chosen mode", custsim::decisionSummary(chosen),
         "scenario 2, 30 fps, sensor 3840x2160, raw format type 0"},
        {"named, not filled", custsim::decisionSummary(buildDecision(namedCalls, {})),
         "scenario 9 named, not filled"},
        {"no decision", custsim::decisionSummary(buildDecision({}, {})), "no decision"},
        {"a row that fixes no seamless scenario", custsim::seamlessScenarioText(0u),
         "0 (the row fixes none)"},
        {"a fixed seamless scenario", custsim::seamlessScenarioText(5u), "5"},
        {"none recorded", custsim::seamlessScenarioText(std::nullopt), "none"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(c.actual, c.expected);
    }
}

TEST(LibraryMessages, MatchedReadsAreTheLastGoodReadOfAReportedTable) {
    const std::vector<RowRead> reads = {
        read(kThirdCamTable, "AllCamApp", "0", 16), read(kThirdCamTable, "AllCamApp", "1", 17),
        read(kThermalTable, "hot", "0", 22),        read(kThermalTable, "hot", "1", 0, kReadFailed),
        read(kSystemTable, "Mode", "0", 5),
    };
    const struct {
        const char* why;
        std::vector<LogLine> log;
        std::vector<bool> matched;
    } cases[] = {
        {"both named tables matched; the system table's scan found nothing",
         {thirdCamMatch(1, 9), kThermalPick},
         {false, true, true, false, false}},
        {"no match message: nothing matched",
         {kNotThirdParty},
         {false, false, false, false, false}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(custsim::matchedReads(reads, c.log), c.matched);
    }
}

TEST(LibraryMessages, ErrorsAndTails) {
    const LogLine widthCheck = {kError, "CustSettingPolicyLegacy",
                                "[getThirdCamScenarioIdByThermal] ThirdCamScenarioIdByThermal "
                                "targetName:a valueCount is't matched!"};
    const LogLine keyError = {kError, "CustSettingPolicyLegacy",
                              "[getCommonScenarioId] match setting: key[1/3] error -1!"};
    const struct {
        const char* why;
        LogLine line;
        bool thermalRows;
        bool error;
    } cases[] = {
        {"a match report at error priority is a trace", kSystemMatch, false, false},
        {"a failed read is an error", keyError, false, true},
        {"the width check of an activity without thermal rows", widthCheck, false, false},
        {"the width check of a group that exists", widthCheck, true, true},
        {"info is never an error", kFinalResult, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(custsim::isLibraryError(c.line, c.thermalRows), c.error);
    }
    EXPECT_EQ(custsim::withoutErrorTail("a (f){#12:x.cpp}"), "a");
    EXPECT_EQ(custsim::withoutErrorTail("set {a}"), "set {a}");
}

}  // namespace
