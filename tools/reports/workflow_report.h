#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "checks/expectations.h"
#include "checks/lint.h"
#include "inputs/config_index.h"
#include "inputs/device_profile.h"
#include "runner/decision.h"

// The reports of the workflow commands: diff (what changed between two configurations), check
// (unmet expectations) and coverage (which rows ever matter). Each is written as the sessions run,
// in text for people or JSON for scripts; docs/simulator.md documents both forms.
namespace custsim {

// How an expected or actual value of a check prints in text: "none" for no decision's scenario,
// "9 named, not filled", a number, hex flags, a size or a text.
std::string valueText(const CheckValue& value);

// The names of the values that differ between two decisions of a sensor, as diff names them
// ("decision", "scenario", "fps", "sensor_size", "raw_format_type", "seamless_flags",
// "seamless_scenario", "rrzo_size", "warnings"); empty when nothing differs. The deciding row is
// no value: a row that moved changes nothing here.
std::vector<std::string> decisionChanges(const Decision& before, const Decision& after);

// ---- diff ----
struct DiffTotals {
    int32_t sessions = 0;
    int32_t unchanged = 0;
    int32_t changed = 0;
    int32_t moved = 0;           // sessions whose only difference is a deciding row that moved
    int32_t newlyUndecided = 0;  // changed sessions in which a chosen mode was lost
};

// One side of a diff as the report's header names it.
struct DiffSide {
    std::string title;
    std::string configName;  // "" when the side has no configuration file
    std::vector<LintFinding> findings;
};

// A sensor that only one side's device has: it is run on that side only and never compared.
struct UncomparedSensor {
    int32_t index = 0;
    std::string name;
    bool onBefore = false;  // else only on AFTER
};

class DiffReport {
public:
    DiffReport(std::ostream& out, bool json, const std::string& device, const DiffSide& before,
               const DiffSide& after, const std::vector<UncomparedSensor>& uncompared);
    // Reports what changed for one session, comparing the sensors both sides ran; false when
    // nothing did (a moved row is not a change).
    bool session(const std::string& file, const std::vector<Decision>& before,
                 const std::vector<Decision>& after);
    void finish();
    const DiffTotals& totals() const { return mTotals; }

private:
    void sensorText(const std::string& file, const Decision& before, const Decision& after,
                    const std::vector<std::string>& changed);
    void sensorJson(const std::string& file, const Decision& before, const Decision& after,
                    const std::vector<std::string>& changed);
    void movedText(const std::string& file, const Decision& before, const Decision& after);
    void movedJson(const std::string& file, const Decision& before, const Decision& after);

    std::ostream& mOut;
    bool mJson;
    bool mFirstChange = true;
    // Moved rows are listed after the changes.
    std::string mMoved;
    bool mFirstMoved = true;
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
    int32_t decidedSessions = 0;     // sessions in which the row decided (a mode or a size)
    int32_t overriddenSessions = 0;  // sessions in which it matched but a later step replaced it
    int32_t readSessions = 0;        // sessions in which the row was read
    std::vector<PolicyPath> overriddenBy;  // each step that replaced it, once
    std::vector<std::string> decidedIn;    // the sessions it decided (with --sessions)
    bool lintNeverMatches = false;         // lint finds that no input can match it
};

// Why no session read a row.
enum class Unreached {
    Table,       // no session read any row of its table
    Group,       // no session read any row of its group (locale)
    EarlierRow,  // its group was read, but every scan stopped at an earlier row
};

void writeCoverageReport(std::ostream& out, bool json, const std::string& device,
                         const ConfigIndex& config, int32_t sessions,
                         const std::vector<RowCoverage>& rows, bool listSessions);

}  // namespace custsim
