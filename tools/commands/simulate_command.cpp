#include <algorithm>
#include <cstdlib>

#include "checks/lint.h"
#include "commands/cli.h"
#include "commands/commands.h"
#include "commands/explain_command.h"
#include "inputs/device_profile.h"
#include "inputs/session_file.h"
#include "reports/report.h"
#include "reports/text_escape.h"
#include "runner/runner.h"

#ifndef CUSTPOLICY_EXAMPLES_DIR
#define CUSTPOLICY_EXAMPLES_DIR "examples"
#endif

// simulate and demo: run sessions on a device and report every sensor's decisions.
namespace custsim {

namespace {

const CommandLine kSimulateLine = {
    "simulate", "DEVICE SESSION|DIR...",
    "Loads the device profile DEVICE (TOML) and its configuration file, checks every SESSION\n"
    "(TOML; a directory stands for every *.toml below it, in name order), then runs them in\n"
    "order. Per sensor the HAL's calls are made as on the device:\n"
    "one setting adaptor and one RRZO adaptor per sensor for the whole run, then per session\n"
    "selectSensorSetting for every sensor, then calculateTargetSize and selectTargetSize.\n"
    "Prints per session and sensor the policies that served, the decision or \"no decision\",\n"
    "the seamless flags and recorded seamless scenario, the RRZO size and the message that\n"
    "decided them, with the configuration row (file:line) that decided. The configuration\n"
    "file's lint findings come first; under each sensor, the errors the library logged and\n"
    "warnings about the decision (codes in docs/simulator.md).\n",
    "Nothing runs unless every input is valid: problems are listed with file, line, column and\n"
    "key path, and the exit code is 2.\n"
    "\n"
    "Exit codes: 0 every session ran, 1 command-line error, 2 invalid input, 3 --strict and\n"
    "a configuration error or a warning.\n"};

const CommandLine kDemoLine = {
    "demo", "",
    "Simulates the bundled example device (examples/device/device.toml) over every bundled\n"
    "session (examples/sessions/*.toml, in name order). The examples directory is the\n"
    "source tree's, or the one named by the environment variable CUSTPOLICY_EXAMPLES.\n",
    "Exit codes as for simulate.\n"};

std::vector<Option> simulateOptions(RunOptions& options) {
    std::vector<Option> table = runOptionTable(options);
    table.push_back(flagOption("--trace",
                               "after the text report, every table row each sensor's calls read\n"
                               "and why it did or did not match (see custpolicy explain)",
                               options.trace));
    table.push_back(configOption(options.configFile));
    return table;
}

}  // namespace

std::string simulateHelp() {
    RunOptions unused;
    return helpText(kSimulateLine, simulateOptions(unused));
}

std::string demoHelp() {
    RunOptions unused;
    return helpText(kDemoLine, runOptionTable(unused));
}

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

bool anyWarning(const SessionRun& run) {
    if (!run.warnings.empty()) return true;
    for (const Decision& sensor : run.sensors) {
        if (!sensor.warnings.empty()) return true;
    }
    return false;
}

bool anyError(const std::vector<LintFinding>& findings) {
    for (const LintFinding& finding : findings) {
        if (finding.severity == LintFinding::Severity::Error) return true;
    }
    return false;
}

// Every session is read and checked before any runs (nothing runs unless every input is valid);
// then each is read again, run and reported before the next, so that memory stays flat in the
// number of sessions.
int simulate(const InputFile& deviceFile, const std::vector<InputFile>& sessionFiles,
             const RunOptions& options, std::ostream& out, std::ostream& err) {
    Diagnostics diagnostics;
    OpenDevice opened;
    if (openDevice(deviceFile.path, options.configFile, Findings::Lint, opened, diagnostics)) {
        forEachSession(sessionFiles, opened.device(), diagnostics,
                       [](const SessionInput&, const SessionSpec&) {});
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }

    const DeviceProfile& device = opened.device();
    ReportOptions report;
    report.logDetailLevel = options.detailLevel;
    report.configName =
        options.configFile.empty() ? configDisplayName(device, deviceFile) : options.configFile;
    report.configFindings = opened.findings;
    Simulator simulator(*opened.host);
    simulator.setConfigName(report.configName);
    simulator.setTrace(true);
    std::optional<JsonReport> json;
    if (options.json) {
        json.emplace(out, device, report);
    } else {
        writeTextHeader(out, device, report);
    }
    bool warned = false;
    forEachSession(
        sessionFiles, device, diagnostics, [&](const SessionInput&, const SessionSpec& session) {
            const SessionRun run = simulator.run(session);
            warned = warned || anyWarning(run);
            if (json) {
                json->session(run);
            } else {
                writeTextSession(out, run, report);
                if (options.trace)
                    writeSessionTraces(out, device, run, report.configName, opened.index.get());
            }
        });
    if (json) json->finish();
    if (options.strict && (anyError(report.configFindings) || warned)) return kExitStrict;
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
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kSimulateLine, simulateOptions(options), args, files, out, err))
        return *answered;
    if (files.size() < 2) {
        err << "custpolicy: simulate needs a device profile and at least one session\n"
            << simulateHelp();
        return kExitFindings;
    }
    const std::vector<std::string> sessionPaths(files.begin() + 1, files.end());
    if (const auto hint = misplacedInputHint(files[0], sessionPaths)) {
        err << "custpolicy: " << *hint << "\n" << simulateHelp();
        return kExitFindings;
    }
    Diagnostics diagnostics;
    const std::vector<InputFile> sessions = expandSessionArguments(sessionPaths, diagnostics);
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    return simulate({files[0], files[0]}, sessions, options, out, err);
}

int demoCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    RunOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kDemoLine, runOptionTable(options), args, files, out, err))
        return *answered;
    if (!files.empty()) {
        err << "custpolicy: demo takes no files (use simulate DEVICE SESSION...)\n";
        return kExitFindings;
    }
    return demo(options, out, err);
}

}  // namespace custsim
