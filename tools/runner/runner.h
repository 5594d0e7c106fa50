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
#include "host_config_store.h"
#include "inputs/device_profile.h"
#include "inputs/session_file.h"
#include "runner/decision.h"
#include "runner/host_session.h"
#include "runner/reference_evaluator.h"

// Runs the policy library over the host platform the way the HAL does: one setting adaptor and one
// RRZO adaptor per sensor index, made once and kept for the whole run; per session, every sensor's
// selectSensorSetting first, then per sensor calculateTargetSize and selectTargetSize.
namespace custsim {

// The RRZO size the HAL asks for by default: the largest stream, shrunk to fit the sensor output
// when it is larger (keeping its aspect ratio, sides even), since the RRZO never upscales. A side
// of zero or less on either size leaves the stream's size as it is.
MSize defaultRrzoRequest(MSize stream, MSize sensor);

using mcam::core::device::policy::SensorSetting;

// One session's run: a Decision per sensor, in the order the session runs them, and their traces
// when the simulator was asked for them (in the same order; empty otherwise).
struct SessionRun {
    const SessionSpec* session = nullptr;
    std::vector<Decision> sensors;
    std::vector<SensorTrace> traces;
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
    // Whether a run also keeps each sensor's trace (logs, notes, facts, row reads, errors) in
    // SessionRun::traces. Off by default: the Decision is built the same either way, and only
    // simulate and coverage read the trace. The adaptors' calls are the same either way.
    void setTrace(bool enabled) { mTrace = enabled; }

private:
    void beginRun();
    void applySession(const SessionSpec& session);
    int32_t thirdCapAnswer(const SessionSpec& session, int32_t sensorIdx) const;
    void selectSetting(const SessionSpec& session, SensorCalls& calls, SensorTrace& trace,
                       const BuiltConfiguration& configuration);
    void selectRrzo(const SessionSpec& session, SensorCalls& calls, SensorTrace& trace,
                    const BuiltConfiguration& configuration);

    HostSession* mHost;
    const DeviceProfile* mDevice;
    ReferenceEvaluator mEvaluator;
    std::map<int32_t, std::unique_ptr<CustSettingAlgoAdaptor>> mSettingAdaptors;
    std::map<int32_t, std::unique_ptr<CustRrzoAlgoAdaptor>> mRrzoAdaptors;
    // The settings of every sensor of the session being run, as the RRZO policy receives them.
    std::shared_ptr<CustSensorSettingMap> mSettingsForRrzo;
    std::string mConfigName;
    bool mUnifiedLog = true;
    bool mTrace = false;
};

}  // namespace custsim
