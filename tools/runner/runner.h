#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "device_profile.h"
#include "host_config_store.h"
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

    // What the RRZO calls were given and answered.
    bool halFallback = false;  // no decision: the HAL's fallback scenario stood in
    std::optional<int32_t> fallbackScenario;
    MSize rrzoRequested;
    MSize rrzoSensorSize;
    MSize rrzoSize;
    std::optional<LogLine> rrzoDecidedBy;

    // Explanations of the simulated services (feature chip, capability manager), in call order.
    std::vector<std::string> notes;
    std::vector<std::string> rrzoNotes;
    // Every Android log record of the setting call and of the two RRZO calls.
    std::vector<LogLine> settingLog;
    std::vector<LogLine> rrzoLog;
    // The configuration rows the setting call and the RRZO calls read, in order, when the store
    // records its calls (hostconfig::setRecording(true)); empty otherwise. Coverage reads them.
    std::vector<hostconfig::StoreCall> settingRowReads;
    std::vector<hostconfig::StoreCall> rrzoRowReads;
};

struct SessionRun {
    const SessionSpec* session = nullptr;
    std::vector<SensorRun> sensors;
};

// The platform records built from one session.
struct BuiltConfiguration;

class Simulator {
public:
    // Loads nothing itself: the configuration store must already hold the device's tables.
    explicit Simulator(const DeviceProfile& device);
    ~Simulator();

    SessionRun run(const SessionSpec& session);

private:
    void applyDevice();
    void applySession(const SessionSpec& session);
    int32_t thirdCapAnswer(const SessionSpec& session, int32_t sensorIdx) const;
    void selectSetting(const SessionSpec& session, SensorRun& run,
                       const BuiltConfiguration& configuration);
    void selectRrzo(const SessionSpec& session, SensorRun& run,
                    const BuiltConfiguration& configuration);

    const DeviceProfile* mDevice;
    ReferenceEvaluator mEvaluator;
    std::map<int32_t, std::unique_ptr<CustSettingAlgoAdaptor>> mSettingAdaptors;
    std::map<int32_t, std::unique_ptr<CustRrzoAlgoAdaptor>> mRrzoAdaptors;
    // The settings of every sensor of the session being run, as the RRZO policy receives them.
    std::shared_ptr<CustSensorSettingMap> mSettingsForRrzo;
};

}  // namespace custsim
