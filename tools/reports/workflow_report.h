#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "config_index.h"
#include "device_profile.h"
#include "expectations.h"
#include "outcome.h"

// The reports of the workflow commands: diff (what changed between two configurations), check
// (unmet expectations) and coverage (which rows ever matter). Each is written as the sessions run,
// in text for people or JSON for scripts; docs/simulator.md documents both forms.
namespace custsim {

// ---- diff ----
struct DiffTotals {
    int32_t sessions = 0;
    int32_t unchanged = 0;
    int32_t changed = 0;
    int32_t newlyUndecided = 0;  // changed sessions in which a decided sensor lost its decision
};

class DiffReport {
public:
    DiffReport(std::ostream& out, bool json, const std::string& device, const std::string& before,
               const std::string& after);
    // Reports what changed for one session; false when nothing did.
    bool session(const std::string& file, const std::vector<SensorOutcome>& before,
                 const std::vector<SensorOutcome>& after);
    void finish();
    const DiffTotals& totals() const { return mTotals; }

private:
    void sensorText(const std::string& file, const SensorOutcome* before,
                    const SensorOutcome* after, const std::vector<std::string>& changed);
    void sensorJson(const std::string& file, const SensorOutcome* before,
                    const SensorOutcome* after, const std::vector<std::string>& changed);

    std::ostream& mOut;
    bool mJson;
    bool mFirstChange = true;
    DiffTotals mTotals;
};

// ---- check ----
struct CheckTotals {
    int32_t sessions = 0;
    int32_t withoutExpectations = 0;
    int32_t expectations = 0;
    int32_t unmet = 0;
    int32_t failedSessions = 0;
};

class CheckReport {
public:
    CheckReport(std::ostream& out, bool json, const DeviceProfile& device);
    void session(const SessionSpec& session, const ExpectationCheck& check);
    void finish();
    const CheckTotals& totals() const { return mTotals; }

private:
    std::ostream& mOut;
    bool mJson;
    const DeviceProfile& mDevice;
    bool mFirstUnmet = true;
    std::vector<std::string> mWithout;
    CheckTotals mTotals;
};

// ---- coverage ----
// What the sessions did with one row of the configuration.
struct RowCoverage {
    int32_t matchedSessions = 0;    // sessions in which a scan stopped at the row
    int32_t readSessions = 0;       // sessions in which the row was read
    bool lintNeverMatches = false;  // lint finds that no input can match it
};

void writeCoverageReport(std::ostream& out, bool json, const std::string& device,
                         const ConfigIndex& config, int32_t sessions,
                         const std::vector<RowCoverage>& rows);

}  // namespace custsim
