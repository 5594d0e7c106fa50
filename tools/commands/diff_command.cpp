#include <memory>

#include "cli.h"
#include "commands.h"
#include "outcome.h"
#include "runner.h"
#include "workflow_report.h"

// diff: run the same sessions on two configurations and report what changed.
namespace custsim {

const char kDiffHelp[] =
    "usage: custpolicy diff [--json] [--device DEVICE.toml] BEFORE AFTER SESSION|DIR...\n"
    "\n"
    "Runs every session (a directory stands for every *.toml below it, in name order) on\n"
    "BEFORE and on AFTER and prints, per session and sensor, only what changed: the decision\n"
    "(or no decision), scenario, fps, sensor size, raw format type, seamless flags and\n"
    "recorded seamless scenario, RRZO size; with what decided on each side (the matched\n"
    "table row with file:line, or the deciding message). A summary counts the sessions\n"
    "unchanged, changed and newly without a decision.\n"
    "\n"
    "BEFORE and AFTER are device profiles (*.toml), or configuration files, whose device is\n"
    "then the profile given with --device (its own configuration file is not used).\n"
    "\n"
    "options:\n"
    "  --json                print a JSON document instead of text\n"
    "  --device DEVICE.toml  the device profile for BEFORE or AFTER given as configuration\n"
    "  -h, --help            show this help\n"
    "\n"
    "Exit codes: 0 nothing changed, 1 something changed (or a wrong command line), 2 an\n"
    "unreadable or invalid input (nothing is reported).\n";

namespace {

constexpr char kProfileSuffix[] = ".toml";

bool isProfile(const std::string& path) {
    const size_t n = sizeof(kProfileSuffix) - 1;
    return path.size() > n && path.compare(path.size() - n, n, kProfileSuffix) == 0;
}

// One side of the comparison.
struct Side {
    DeviceProfile device;
    std::unique_ptr<ConfigIndex> index;
    std::string title;  // as the report names it
};

bool loadSide(const std::string& argument, const std::string& deviceProfile, Side& side,
              std::ostream& err) {
    const bool profile = isProfile(argument);
    if (!loadDevice(profile ? argument : deviceProfile, profile ? "" : argument, side.device,
                    side.index, err))
        return false;
    side.title = argument;
    if (profile) {
        side.title += side.device.configFile.empty()
                          ? " (no configuration file)"
                          : " (configuration " + side.device.configFile + ")";
    }
    return true;
}

std::vector<SensorOutcome> outcomesOf(const SessionRun& run, const ConfigIndex* index) {
    std::vector<SensorOutcome> outcomes;
    for (const SensorRun& sensor : run.sensors) outcomes.push_back(outcomeOf(sensor, index));
    return outcomes;
}

bool putTablesInStore(const DeviceProfile& device, std::ostream& err) {
    Diagnostics diagnostics;
    if (loadDeviceTables(device, diagnostics)) return true;
    printDiagnostics(diagnostics, err);
    return false;
}

// BEFORE runs first over the whole corpus, keeping a small record per session and sensor: the
// store holds one configuration at a time, and loading it anew for every session would cost a
// parse of the whole file each time. AFTER then runs and is compared session by session.
int diff(const Side& before, const Side& after, bool sameDevice,
         const std::vector<SessionInput>& files, Diagnostics diagnostics, bool json,
         std::ostream& out, std::ostream& err) {
    std::vector<std::vector<SensorOutcome>> kept;
    if (!putTablesInStore(before.device, err)) return kExitInputError;
    {
        Simulator simulator(before.device);
        forEachSession(files, before.device, diagnostics,
                       [&](const SessionInput& file, const SessionSpec& session) {
                           if (!sameDevice) loadSession(file.path, after.device, diagnostics);
                           kept.push_back(outcomesOf(simulator.run(session), before.index.get()));
                       });
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    if (!putTablesInStore(after.device, err)) return kExitInputError;
    Simulator simulator(after.device);
    DiffReport report(out, json, after.device.name, before.title, after.title);
    size_t next = 0;
    forEachSession(files, after.device, diagnostics,
                   [&](const SessionInput&, const SessionSpec& session) {
                       if (next >= kept.size()) return;
                       const auto outcomes = outcomesOf(simulator.run(session), after.index.get());
                       report.session(session.file, kept[next], outcomes);
                       kept[next++].clear();
                   });
    if (!diagnostics.empty()) {
        // A session file changed between the two runs.
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    report.finish();
    return report.totals().changed > 0 ? kExitFindings : kExitOk;
}

}  // namespace

int diffCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    WorkflowOptions options;
    WorkflowFlags flags;
    flags.device = true;
    if (!parseWorkflowOptions("diff", args, flags, options, err)) return kExitFindings;
    if (options.help) {
        out << kDiffHelp;
        return kExitOk;
    }
    if (options.files.size() < 3) {
        err << "custpolicy: diff needs BEFORE, AFTER and at least one session\n" << kDiffHelp;
        return kExitFindings;
    }
    const std::string& beforeArg = options.files[0];
    const std::string& afterArg = options.files[1];
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
    const std::vector<SessionInput> files = expandSessionArguments(
        std::vector<std::string>(options.files.begin() + 2, options.files.end()), corpusProblems);
    Side before;
    Side after;
    if (!loadSide(beforeArg, options.device, before, err)) return kExitInputError;
    if (!loadSide(afterArg, options.device, after, err)) return kExitInputError;
    const bool sameDevice = !isProfile(beforeArg) && !isProfile(afterArg);
    return diff(before, after, sameDevice, files, corpusProblems, options.json, out, err);
}

}  // namespace custsim
