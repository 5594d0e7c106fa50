#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "inputs/config_index.h"
#include "inputs/device_profile.h"
#include "reports/explain_report.h"
#include "runner/runner.h"

// The explain command, and the one place that turns a sensor's run into the pieces the trace is
// built from (simulate --trace uses it too).
namespace custsim {

// The exit code of a trace that contradicts the store's record of the library's row reads.
constexpr int kExitTraceContradicts = 5;

std::string explainHelp();
int explainCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

ExplainedSensor explainSensor(const SessionSpec& session, const DeviceProfile& device,
                              const Decision& decision, const SensorTrace& trace,
                              const ConfigIndex* index);

// simulate --trace: the traces of a session's sensors, after its text report.
void writeSessionTraces(std::ostream& out, const DeviceProfile& device, const SessionRun& run,
                        const std::string& configName, const ConfigIndex* index);

}  // namespace custsim
