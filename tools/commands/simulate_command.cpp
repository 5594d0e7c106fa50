#include <algorithm>
#include <cstdlib>

#include "cli.h"
#include "commands.h"
#include "device_profile.h"
#include "host_config_store.h"
#include "lint.h"
#include "report.h"
#include "runner.h"
#include "session_file.h"
#include "text_escape.h"

#ifndef CUSTPOLICY_EXAMPLES_DIR
#define CUSTPOLICY_EXAMPLES_DIR "examples"
#endif

// simulate and demo: run sessions on a device and report every sensor's decisions.
namespace custsim {

const char kSimulateHelp[] =
    "usage: custpolicy simulate [--json] [--strict] [-v[LEVEL]] DEVICE SESSION|DIR...\n"
    "\n"
    "Loads the device profile DEVICE (TOML) and its configuration file, checks every SESSION\n"
    "(TOML; a directory stands for every *.toml below it, in name order), then runs them in\n"
    "order. Per sensor the HAL's calls are made as on the device:\n"
    "one setting adaptor and one RRZO adaptor per sensor for the whole run, then per session\n"
    "selectSensorSetting for every sensor, then calculateTargetSize and selectTargetSize.\n"
    "Prints per session and sensor the policies that served, the decision or \"no decision\",\n"
    "the seamless flags and recorded seamless scenario, the RRZO size and the message that\n"
    "decided them, with the configuration row (file:line) that decided. The configuration\n"
    "file's lint findings come first; under each sensor, the errors the library logged and\n"
    "warnings about the decision (codes in docs/simulator.md).\n"
    "\n"
    "options:\n"
    "  --json            print a JSON document instead of text\n"
    "  --strict          exit with 3 when the configuration has a lint error or any session\n"
    "                    or decision has a warning\n"
    "  -v, --verbose     also print every captured log message, logcat style, as the device\n"
    "                    writes them at detail level 5\n"
    "  -vLEVEL, --verbose=LEVEL\n"
    "                    the same at ULogger detail level LEVEL (0-9): errors always, warnings\n"
    "                    from 2, info from 3, debug from 5\n"
    "  -h, --help        show this help\n"
    "\n"
    "Nothing runs unless every input is valid: problems are listed with file, line, column and\n"
    "key path, and the exit code is 2.\n"
    "\n"
    "Exit codes: 0 every session ran, 1 command-line error, 2 invalid input, 3 --strict and\n"
    "a configuration error or a warning.\n";

const char kDemoHelp[] =
    "usage: custpolicy demo [--json] [--strict] [-v[LEVEL]]\n"
    "\n"
    "Simulates the bundled example device (examples/device/device.toml) over every bundled\n"
    "session (examples/sessions/*.toml, in name order). The examples directory is the\n"
    "source tree's, or the one named by the environment variable CUSTPOLICY_EXAMPLES.\n"
    "Options as for simulate.\n";

namespace {

// The configuration file as the reports cite it: beside the profile as the user named it, so that
// a relative name stays relative (and the demo's output does not depend on where it runs).
std::string configDisplayName(const DeviceProfile& device, const InputFile& deviceFile) {
    const auto directoryOf = [](const std::string& path) {
        const size_t slash = path.find_last_of('/');
        return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    };
    const std::string real = directoryOf(deviceFile.path);
    if (device.configFile.compare(0, real.size(), real) != 0) return device.configFile;
    return directoryOf(deviceFile.display) + device.configFile.substr(real.size());
}

// The lint findings of the configuration, checked against the device.
std::vector<LintFinding> configFindings(const DeviceProfile& device) {
    if (device.configFile.empty()) return {};
    LintResult lint = lintConfigFile(device.configFile, &device);
    if (lint.loaded) return std::move(lint.findings);
    // The store took the file, so this is not expected; it is reported, not hidden.
    LintFinding finding;
    finding.message = "lint could not read the file: " + lint.loadError;
    return {finding};
}

bool anyWarning(const std::vector<SessionRun>& runs) {
    for (const SessionRun& run : runs) {
        if (!run.warnings.empty()) return true;
        for (const SensorRun& sensor : run.sensors) {
            if (!sensor.warnings.empty()) return true;
        }
    }
    return false;
}

bool anyError(const std::vector<LintFinding>& findings) {
    for (const LintFinding& finding : findings) {
        if (finding.severity == LintFinding::Severity::Error) return true;
    }
    return false;
}

int simulate(const InputFile& deviceFile, const std::vector<InputFile>& sessionFiles,
             const RunOptions& options, std::ostream& out, std::ostream& err) {
    Diagnostics diagnostics;
    DeviceProfile device = loadDeviceProfile(deviceFile.path, diagnostics);
    const bool deviceOk = diagnostics.empty();
    std::vector<SessionSpec> sessions;
    if (deviceOk) {
        for (const InputFile& file : sessionFiles) {
            sessions.push_back(loadSession(file.path, device, diagnostics));
            sessions.back().file = file.display;
        }
    }
    if (deviceOk) loadDeviceTables(device, diagnostics);
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }

    ReportOptions report;
    report.logDetailLevel = options.detailLevel;
    report.configName = configDisplayName(device, deviceFile);
    report.configFindings = configFindings(device);
    Simulator simulator(device);
    simulator.setConfigName(report.configName);
    std::vector<SessionRun> runs;
    for (const SessionSpec& session : sessions) runs.push_back(simulator.run(session));
    if (options.json) {
        writeJsonReport(out, device, runs, report);
    } else {
        writeTextReport(out, device, runs, report);
    }
    if (options.strict && (anyError(report.configFindings) || anyWarning(runs))) return kExitStrict;
    return kExitOk;
}

std::string examplesDir() {
    const char* fromEnv = std::getenv(kExamplesEnvVar);
    return fromEnv != nullptr && fromEnv[0] != '\0' ? fromEnv : CUSTPOLICY_EXAMPLES_DIR;
}

int demo(const RunOptions& options, std::ostream& out, std::ostream& err) {
    const std::string root = examplesDir();
    const std::string sessionsDir = root + "/sessions";
    Diagnostics unread;
    const std::vector<InputFile> sessions = sessionsInDirectory(sessionsDir, "sessions", unread);
    if (sessions.empty()) {
        err << terminalText(sessionsDir) << ": no sessions found (set " << kExamplesEnvVar
            << " to the examples directory)\n";
        return kExitInputError;
    }
    if (!unread.empty()) {
        printDiagnostics(unread, err);
        return kExitInputError;
    }
    return simulate({root + "/device/device.toml", "device/device.toml"}, sessions, options, out,
                    err);
}

}  // namespace

int simulateCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    RunOptions options;
    if (!parseRunOptions(args, options, err)) return kExitFindings;
    if (options.help) {
        out << kSimulateHelp;
        return kExitOk;
    }
    if (options.files.size() < 2) {
        err << "custpolicy: simulate needs a device profile and at least one session\n"
            << kSimulateHelp;
        return kExitFindings;
    }
    const std::vector<std::string> sessionPaths(options.files.begin() + 1, options.files.end());
    if (const auto hint = misplacedInputHint(options.files[0], sessionPaths)) {
        err << "custpolicy: " << *hint << "\n" << kSimulateHelp;
        return kExitFindings;
    }
    Diagnostics diagnostics;
    const std::vector<InputFile> sessions = expandSessionArguments(sessionPaths, diagnostics);
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    return simulate({options.files[0], options.files[0]}, sessions, options, out, err);
}

int demoCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    RunOptions options;
    if (!parseRunOptions(args, options, err)) return kExitFindings;
    if (options.help) {
        out << kDemoHelp;
        return kExitOk;
    }
    if (!options.files.empty()) {
        err << "custpolicy: demo takes no files (use simulate DEVICE SESSION...)\n";
        return kExitFindings;
    }
    return demo(options, out, err);
}

}  // namespace custsim
