#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "config_index.h"
#include "device_profile.h"
#include "explain_report.h"
#include "runner.h"

// The explain command, and the one place that turns a sensor's run into the pieces the trace is
// built from (simulate --trace uses it too).
namespace custsim {

// The exit code of a trace that contradicts the store's record of the library's row reads.
constexpr int kExitTraceContradicts = 4;

std::string explainHelp();
int explainCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

ExplainedSensor explainSensor(const SessionSpec& session, const DeviceProfile& device,
                              const SensorRun& run, const ConfigIndex* index);

// simulate --trace: each session's sensors' traces, after the text report.
void writeSimulateTraces(std::ostream& out, const DeviceProfile& device,
                         const std::vector<SessionRun>& runs, const std::string& configName,
                         const ConfigIndex* index);

}  // namespace custsim
