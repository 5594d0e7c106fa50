#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "device_profile.h"
#include "host_config_store.h"
#include "host_session.h"
#include "reference_evaluator.h"
#include "session_file.h"

// Runs the policy library over the host platform the way the HAL does: one setting adaptor and one
// RRZO adaptor per sensor index, made once and kept for the whole run; per session, every sensor's
// selectSensorSetting first, then per sensor calculateTargetSize and selectTargetSize.
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
// The message without the error tail " (function){#line:path}" that error messages carry.
std::string withoutErrorTail(const std::string& text);
// True when a record of this priority is written at the given ULogger detail level.
bool shownAtDetailLevel(int32_t priority, int32_t detailLevel);

using mcam::core::device::policy::SensorSetting;

// The configuration-table row that decided, as the store defined it.
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
    std::vector<std::string> thirdCamGroups;  // the ThirdCamSensorSettingMap groups, in search order
};

struct SensorRun {
    int32_t sensorIdx = 0;
    std::string sensorName;
    bool newSettingPolicy = false;
    bool newRrzoPolicy = false;

    // The sensor-setting decision.
    bool decided = false;
    bool byEngineerTraversal = false;
    SensorSetting setting;
    uint32_t seamlessFlagsBefore = 0;
    uint32_t seamlessFlags = 0;
    std::optional<uint32_t> seamlessScenario;  // last one recorded for this sensor
    std::optional<LogLine> decidedBy;          // the message that explains the decision
    bool decidedByIsLastMessage = false;       // no decision: decidedBy is merely the last message
    std::optional<MatchedRow> match;           // the table row that named the scenario
    // The scenario the policy asked the sensor-info helper about, and whether the helper answered
    // every query: a policy reports a decision once it has named a scenario, even when the record
    // was then left as it was.
    std::optional<int32_t> namedScenario;
    bool filled = false;
    std::string notFilledReason;  // why not, for a decision that left the record as it was
    MatchFacts facts;

    // What the RRZO calls were given and answered.
    bool halFallback = false;  // no decision: the HAL's fallback scenario stood in
    std::optional<int32_t> fallbackScenario;
    MSize rrzoRequested;
    MSize rrzoSensorSize;
    MSize rrzoSize;
    std::optional<LogLine> rrzoDecidedBy;
    std::optional<MatchedRow> rrzoMatch;  // the custom size-table row behind the RRZO size

    // Explanations of the simulated services (feature chip, capability manager), in call order.
    std::vector<std::string> notes;
    std::vector<std::string> rrzoNotes;
    // Every Android log record of the setting call and of the two RRZO calls.
    std::vector<LogLine> settingLog;
    std::vector<LogLine> rrzoLog;
    // The messages of both logs that report a real error (error tails left out), and the warnings
    // about this sensor's decision.
    std::vector<LogLine> errors;
    std::vector<Warning> warnings;
    // The configuration rows the setting call and the RRZO calls read, in order, with their status
    // and line: the matched row is found among them, and coverage counts them.
    std::vector<hostconfig::RowRead> settingRowReads;
    std::vector<hostconfig::RowRead> rrzoRowReads;
};

struct SessionRun {
    const SessionSpec* session = nullptr;
    std::vector<SensorRun> sensors;
    std::vector<Warning> warnings;  // about the session's own inputs
};

// The platform records built from one session.
struct BuiltConfiguration;

class Simulator {
public:
    // Runs on the host state that `host` owns (the device, its tables, the recorders), which must
    // outlive the simulator. Several simulators may share one host; each run begins it afresh.
    explicit Simulator(HostSession& host);

    SessionRun run(const SessionSpec& session);
    // The name under which reports cite the configuration file (default: its path).
    void setConfigName(std::string name) { mConfigName = std::move(name); }
    const std::string& configName() const {
        return mConfigName.empty() ? mDevice->configFile : mConfigName;
    }

    // Whether the library's messages also go to the platform's unified logger, as on the device
    // (the default). Nothing the simulator reports reads that copy; a sweep turns it off so that
    // each message is formatted once instead of twice.
    void setUnifiedLog(bool enabled) { mUnifiedLog = enabled; }
    // Whether a run keeps only what a sweep reports of each sensor: the decision, the message and
    // row that explain it, the seamless outcome, the RRZO size and the warnings. The facts the
    // tables were matched against (which the simulator asks the library for separately), the
    // services' notes, the logged errors and the RRZO's explanation are left empty. The adaptors'
    // calls are the same either way.
    void setOutcomeOnly(bool enabled) { mOutcomeOnly = enabled; }

private:
    void beginRun();
    void applySession(const SessionSpec& session);
    int32_t thirdCapAnswer(const SessionSpec& session, int32_t sensorIdx) const;
    void selectSetting(const SessionSpec& session, SensorRun& run,
                       const BuiltConfiguration& configuration);
    void selectRrzo(const SessionSpec& session, SensorRun& run,
                    const BuiltConfiguration& configuration);
    void explainSetting(SensorRun& run) const;
    void reviewSensor(const SessionSpec& session, SensorRun& run) const;

    HostSession* mHost;
    const DeviceProfile* mDevice;
    ReferenceEvaluator mEvaluator;
    std::map<int32_t, std::unique_ptr<CustSettingAlgoAdaptor>> mSettingAdaptors;
    std::map<int32_t, std::unique_ptr<CustRrzoAlgoAdaptor>> mRrzoAdaptors;
    // The settings of every sensor of the session being run, as the RRZO policy receives them.
    std::shared_ptr<CustSensorSettingMap> mSettingsForRrzo;
    std::string mConfigName;
    bool mUnifiedLog = true;
    bool mOutcomeOnly = false;
};

}  // namespace custsim
