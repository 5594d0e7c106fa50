#include <memory>
#include <optional>
#include <sstream>

#include "checks/lint.h"
#include "commands/cli.h"
#include "commands/commands.h"
#include "reports/workflow_report.h"
#include "runner/runner.h"

// diff: run the same sessions on two configurations and report what changed.
namespace custsim {

namespace {

const CommandLine kDiffLine = {
    "diff", "BEFORE AFTER SESSION|DIR...",
    "Runs every session (a directory stands for every *.toml below it, in name order) on\n"
    "BEFORE and on AFTER and prints, per session and sensor, only what changed: the decision\n"
    "(a chosen mode, a scenario named but not filled, or no decision), scenario, fps, sensor\n"
    "size, raw format type, seamless flags and recorded seamless scenario, RRZO size, the\n"
    "warnings; with what decided on each side (the matched table row with file:line, or the\n"
    "deciding message). A deciding row that moved (same decision, another row or key) is\n"
    "listed apart. The header gives each side's configuration findings and the sensors only\n"
    "one device has (not compared). [[expect]] tables are not used. A summary counts the\n"
    "sessions unchanged, changed, with moved rows only, and newly without a chosen mode.\n"
    "\n"
    "BEFORE and AFTER are device profiles (*.toml), or configuration files, whose device is\n"
    "then the profile given with --device (its own configuration file is not used).\n",
    "Exit codes: 0 nothing changed, 1 something changed (or a wrong command line), 2 an\n"
    "unreadable or invalid input (nothing is reported), 4 nothing changed but deciding rows\n"
    "moved.\n"};

std::vector<Option> diffOptions(WorkflowOptions& options) {
    return {
        jsonOption(options.json),
        textOption("--device", "DEVICE.toml",
                   "the device profile for BEFORE or AFTER given as configuration", options.device),
    };
}

}  // namespace

std::string diffHelp() {
    WorkflowOptions unused;
    return helpText(kDiffLine, diffOptions(unused));
}

namespace {

constexpr char kProfileSuffix[] = ".toml";

bool isProfile(const std::string& path) {
    const size_t n = sizeof(kProfileSuffix) - 1;
    return path.size() > n && path.compare(path.size() - n, n, kProfileSuffix) == 0;
}

// One side of the comparison: its device, with its own tables and platform state.
struct Side {
    OpenDevice opened;
    std::string title;  // as the report names it
    const DeviceProfile& device() const { return opened.device(); }
};

bool loadSide(const std::string& argument, const std::string& deviceProfile, Side& side,
              std::ostream& err) {
    const bool profile = isProfile(argument);
    Diagnostics problems;
    // Each side's findings are the other half of what an edit changes.
    if (!openDevice(profile ? argument : deviceProfile, profile ? "" : argument, Findings::Lint,
                    side.opened, problems)) {
        printDiagnostics(problems, err);
        return false;
    }
    side.title = argument;
    if (profile) {
        side.title += side.device().configFile.empty()
                          ? " (no configuration file)"
                          : " (configuration " + side.device().configFile + ")";
    }
    return true;
}

std::vector<Decision> runSide(Simulator& simulator, const SessionSpec& session) {
    return simulator.run(session).sensors;
}

// The header's view of a side: its title and its configuration's lint findings.
DiffSide reportSide(const Side& side) {
    DiffSide report;
    report.title = side.title;
    report.configName = side.device().configFile;
    report.findings = side.opened.findings;
    return report;
}

// The sensors one device has and the other has not.
std::vector<UncomparedSensor> uncomparedSensors(const DeviceProfile& before,
                                                const DeviceProfile& after) {
    std::vector<UncomparedSensor> sensors;
    for (const SensorSpec& sensor : before.sensors) {
        if (after.findSensor(sensor.index) == nullptr)
            sensors.push_back({sensor.index, sensor.name, true});
    }
    for (const SensorSpec& sensor : after.sensors) {
        if (before.findSensor(sensor.index) == nullptr)
            sensors.push_back({sensor.index, sensor.name, false});
    }
    return sensors;
}

// Every session runs on BEFORE and then on AFTER before the next is read, each side on its own
// host session (its configuration parsed once and put back in force for its runs), so that nothing
// is kept per session and each session file is read once. The report is held until the whole
// corpus has been read, so that an invalid session means no report; it grows with the changes
// only.
int diff(Side& before, Side& after, bool sameDevice, const std::vector<SessionInput>& files,
         Diagnostics diagnostics, bool json, std::ostream& out, std::ostream& err) {
    Simulator beforeRuns(*before.opened.host);
    Simulator afterRuns(*after.opened.host);
    std::ostringstream text;
    DiffReport report(text, json, after.device().name, reportSide(before), reportSide(after),
                      uncomparedSensors(before.device(), after.device()));
    forEachSession(
        files, before.device(), diagnostics,
        [&](const SessionInput& file, const SessionSpec& session) {
            // The session must be valid on both devices; on AFTER it runs the sensors AFTER has.
            const size_t problems = diagnostics.size();
            std::optional<SessionSpec> onAfter;
            if (!sameDevice) {
                onAfter = loadSession(file.path, after.device(), diagnostics, SessionUse::Compare);
                onAfter->file = session.file;
            }
            if (diagnostics.size() != problems) return;
            const auto was = runSide(beforeRuns, session);
            const auto now = runSide(afterRuns, onAfter ? *onAfter : session);
            report.session(session.file, was, now);
        },
        SessionUse::Compare);
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    report.finish();
    out << text.str();
    if (report.totals().changed > 0) return kExitFindings;
    return report.totals().moved > 0 ? kExitMovedOnly : kExitOk;
}

}  // namespace

int diffCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    WorkflowOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kDiffLine, diffOptions(options), args, files, out, err))
        return *answered;
    if (files.size() < 3) {
        err << "custpolicy: diff needs BEFORE, AFTER and at least one session\n" << diffHelp();
        return kExitFindings;
    }
    const std::string& beforeArg = files[0];
    const std::string& afterArg = files[1];
    const bool configs = !isProfile(beforeArg) || !isProfile(afterArg);
    if (configs && options.device.empty()) {
        err << "custpolicy: diff: a configuration file as BEFORE or AFTER needs --device "
               "DEVICE.toml\n";
        return kExitFindings;
    }
    if (!configs && !options.device.empty()) {
        err << "custpolicy: diff: --device is for configuration files; BEFORE and AFTER are "
               "both device profiles\n";
        return kExitFindings;
    }
    // Problems of the corpus are reported together with those of its sessions.
    Diagnostics corpusProblems;
    const std::vector<SessionInput> sessions = expandSessionArguments(
        std::vector<std::string>(files.begin() + 2, files.end()), corpusProblems);
    Side before;
    Side after;
    if (!loadSide(beforeArg, options.device, before, err)) return kExitInputError;
    if (!loadSide(afterArg, options.device, after, err)) return kExitInputError;
    const bool sameDevice = !isProfile(beforeArg) && !isProfile(afterArg);
    return diff(before, after, sameDevice, sessions, corpusProblems, options.json, out, err);
}

}  // namespace custsim
