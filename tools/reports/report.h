#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "checks/lint.h"
#include "inputs/device_profile.h"
#include "reports/json_text.h"
#include "reports/text_escape.h"
#include "runner/runner.h"

// The simulator's two output forms: a text report for people and a JSON document for scripts.
// Both print only integers and strings, so that they read the same whatever C++ runtime built the
// tool.
namespace custsim {

struct ReportOptions {
    // ULogger detail level whose messages the report shows in full; unset: no log.
    std::optional<int32_t> logDetailLevel;
    // The lint findings of the device's configuration file, cited as `configName`.
    std::string configName;
    std::vector<LintFinding> configFindings;
};

// "1 error, 2 warnings": the tally of a configuration file's lint findings.
std::string findingsSummary(const std::vector<LintFinding>& findings);

// "FILE:LINE" of a matched row.
std::string rowLocation(const MatchedRow& row);

// The text report, written as the sessions run: the device and its configuration's findings, then
// each session.
void writeTextHeader(std::ostream& out, const DeviceProfile& device, const ReportOptions& options);
void writeTextSession(std::ostream& out, const SessionRun& run, const ReportOptions& options);

// The JSON report, written as the sessions run.
class JsonReport {
public:
    JsonReport(std::ostream& out, const DeviceProfile& device, const ReportOptions& options);
    void session(const SessionRun& run);
    void finish();

private:
    std::ostream& mOut;
    const ReportOptions& mOptions;
    bool mFirst = true;
};

}  // namespace custsim
