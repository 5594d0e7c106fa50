#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "custpolicy/cust_setting_policy.h"
#include "host_config_store.h"
#include "platform/MSize.h"

// What one sensor got in one session, built once by the runner and read by every command and
// report (simulate, diff, check, check --record, coverage, sweep); and, apart from it, the trace of
// how it came about, made only when a command asks for it.
namespace custsim {

// One captured Android log record.
struct LogLine {
    int32_t priority = 0;
    std::string tag;
    std::string text;
};

// Android priority letter, as logcat prints it.
char priorityLetter(int32_t priority);
// "I/Tag: text".
std::string logcatLine(const LogLine& line);
// True when a record of this priority is written at the given ULogger detail level.
bool shownAtDetailLevel(int32_t priority, int32_t detailLevel);

// A configuration-table row, as the store defined it.
struct MatchedRow {
    std::string table;   // "SystemCamSensorSettingMap"
    std::string locale;  // "Mode", "AllCamApp", ...
    std::string key;     // the row index, "0", "1", ...
    std::string file;    // the configuration file
    int32_t line = 0;    // where the row is defined
};

// Something in a session or a decision that a tuning engineer should look at; `code` is stable
// (docs/simulator.md lists every code) so that scripts can gate on it.
struct Warning {
    std::string code;
    std::string message;
};

// What the setting policy did for the sensor.
enum class DecisionResult {
    Chosen,          // a scenario was named and filled into the record: the sensor runs in it
    NamedNotFilled,  // a scenario was named, but the sensor could not describe it: record untouched
    None,            // no decision: the HAL's fallback scenario stands in
};

// Which step of the policy the decision came from (the map colours by it).
enum class PolicyPath {
    SystemTable,        // SystemCamSensorSettingMap
    CommonTable,        // CommonSensorSettingMap
    ThirdPartyStep,     // ThirdCamSensorSettingMap or its by-activity table
    Thermal,            // ThirdCamSensorSettingMapByThermal
    FeatureChip,        // the feature chip's answer (the normal path)
    CapabilityManager,  // the third-party capability manager's answer
    Engineering,        // an engineering value or the engineering traversal
    HalFallback,        // no decision
};

// A row whose scan stopped at it (it matched) but whose answer a later step replaced.
struct OverriddenRow {
    MatchedRow row;
    PolicyPath by = PolicyPath::HalFallback;
};

struct Decision {
    int32_t sensorIdx = 0;
    std::string sensorName;
    bool newSettingPolicy = false;
    bool newRrzoPolicy = false;

    DecisionResult result = DecisionResult::None;
    PolicyPath path = PolicyPath::HalFallback;
    bool byEngineerTraversal = false;
    // The sensor-setting record as the policy left it: the chosen mode when the result is Chosen,
    // whatever it held before otherwise.
    mcam::core::device::policy::SensorSetting record;
    // The scenario the policy asked the sensor-info helper about, and why the helper could not
    // describe it (empty when it could).
    std::optional<int32_t> namedScenario;
    std::string notFilledReason;

    uint32_t seamlessFlagsBefore = 0;
    uint32_t seamlessFlags = 0;
    std::optional<uint32_t> seamlessScenario;  // the last one recorded for this sensor

    MSize rrzoRequested;
    MSize rrzoSensorSize;  // of the chosen mode, or of the HAL's fallback scenario
    MSize rrzoSize;
    std::optional<int32_t> fallbackScenario;  // the HAL's, when the result is None

    std::optional<MatchedRow> row;      // the table row that decided
    std::optional<MatchedRow> rrzoRow;  // the size-table row behind the RRZO size
    // The message that explains the decision; with no decision, merely the call's last message.
    // Messages here come without the error tail " (function){#line:path}".
    std::optional<LogLine> message;
    bool messageIsLast = false;
    std::optional<LogLine> rrzoMessage;
    // The row as rowText() names it, else the feature chip's reasoning, else the message.
    std::string explanation;
    std::vector<Warning> warnings;  // about this sensor's decision and RRZO size
    std::vector<OverriddenRow> overridden;

    bool chosen() const { return result == DecisionResult::Chosen; }
    bool halFallback() const { return result == DecisionResult::None; }
};

// The values the legacy tables are matched against, as the library derives them for this call.
struct MatchFacts {
    MSize maxStreamSize;
    MSize maxYuvSize;
    bool video = false;
    int32_t aspectRatio = 0;      // height * 1000 / width of maxStreamSize, in signed 32 bits
    int32_t maxFps = 0;           // the frame rate the policy takes as the highest requested
    int32_t cameraModeClass = 0;  // 0 video, 1 fast motion, 2 high resolution, -1 other
    int32_t temperature = 0;      // -1 when the session carries none
    uint32_t operationMode = 0;
    // The application's facts that name the tables' groups or are matched by them, as the session
    // gives them to the library.
    int32_t outsideCaller = 0;  // 1 when the caller is one of the two outside callers
    std::string caller;
    std::string cameraModeName;
    std::string cameraAppName;
    std::string activity;
    int32_t api = -1;  // -1 when the session carries none
    int32_t captureMode = 0;
    std::vector<std::string>
        thirdCamGroups;  // the ThirdCamSensorSettingMap groups, in search order
};

// How a decision came about: what `simulate -v`, coverage and explain read.
struct SensorTrace {
    MatchFacts facts;
    // Every Android log record of the setting call and of the two RRZO calls.
    std::vector<LogLine> settingLog;
    std::vector<LogLine> rrzoLog;
    // Explanations of the simulated services (feature chip, capability manager), in call order.
    std::vector<std::string> notes;
    std::vector<std::string> rrzoNotes;
    // The configuration rows each call read, in order, with their status and line.
    std::vector<hostconfig::RowRead> settingRowReads;
    std::vector<hostconfig::RowRead> rrzoRowReads;
    // The messages of both logs that report a real error (error tails left out).
    std::vector<LogLine> errors;
};

// What the runner saw of one sensor's calls, besides the trace: the facts a Decision is built of.
struct SensorCalls {
    int32_t sensorIdx = 0;
    std::string sensorName;
    bool newSettingPolicy = false;
    bool newRrzoPolicy = false;
    bool reportedDecision = false;  // what selectSensorSetting (or the traversal) returned
    bool byEngineerTraversal = false;
    mcam::core::device::policy::SensorSetting record;
    uint32_t seamlessFlagsBefore = 0;
    uint32_t seamlessFlags = 0;
    std::optional<uint32_t> seamlessScenario;
    std::optional<int32_t> namedScenario;
    std::string notFilledReason;  // why the helper could not describe the named scenario
    bool namedScenarioIsAMode = true;
    bool capabilityManagerAsked = false;
    std::optional<int32_t> fallbackScenario;
    MSize rrzoRequested;
    MSize rrzoSensorSize;
    MSize rrzoSize;
    std::optional<int64_t> requestedFps;  // the high end of the session's fps range
    std::string_view configName;  // as reports cite the configuration file; outlives the calls
};

// The one place a Decision is made.
Decision buildDecision(const SensorCalls& calls, const SensorTrace& trace);

// "chosen", "named_not_filled", "none": as JSON documents and CSV name a result.
const char* resultName(DecisionResult result);
// "system_table", "common_table", ...: as JSON documents and CSV name a path.
const char* pathName(PolicyPath path);
// "the system-camera table", ...: as text reports name a path.
const char* pathText(PolicyPath path);

// "Table Locale[key] (file:line)".
std::string rowText(const MatchedRow& row);
// "Locale[key]".
std::string entryName(const MatchedRow& row);
// "4" or "0 (the row fixes none)" or "none": the recorded seamless scenario in words.
std::string seamlessScenarioText(const std::optional<uint32_t>& scenario);
// "scenario 2, 30 fps, sensor 3840x2160, raw format type 0" for a chosen mode;
// "scenario 9 named, not filled" when named but not filled; "no decision" for none.
std::string decisionSummary(const Decision& decision);

}  // namespace custsim
