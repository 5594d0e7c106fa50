#include <dirent.h>

#include <algorithm>
#include <cstdlib>

#include "cli.h"
#include "commands.h"
#include "device_profile.h"
#include "host_config_store.h"
#include "report.h"
#include "runner.h"
#include "session_file.h"

#ifndef CUSTPOLICY_EXAMPLES_DIR
#define CUSTPOLICY_EXAMPLES_DIR "examples"
#endif

// simulate and demo: run sessions on a device and report every sensor's decisions.
namespace custsim {

const char kSimulateHelp[] =
    "usage: custpolicy simulate [--json] [-v[LEVEL]] DEVICE SESSION...\n"
    "\n"
    "Loads the device profile DEVICE (TOML) and its configuration file, checks every SESSION\n"
    "(TOML), then runs them in order. Per sensor the HAL's calls are made as on the device:\n"
    "one setting adaptor and one RRZO adaptor per sensor for the whole run, then per session\n"
    "selectSensorSetting for every sensor, then calculateTargetSize and selectTargetSize.\n"
    "Prints per session and sensor the policies that served, the decision or \"no decision\",\n"
    "the seamless flags and recorded seamless scenario, the RRZO size and the message that\n"
    "decided them.\n"
    "\n"
    "options:\n"
    "  --json            print a JSON document instead of text\n"
    "  -v, --verbose     also print every captured log message, logcat style, as the device\n"
    "                    writes them at detail level 5\n"
    "  -vLEVEL, --verbose=LEVEL\n"
    "                    the same at ULogger detail level LEVEL (0-9): errors always, warnings\n"
    "                    from 2, info from 3, debug from 5\n"
    "  -h, --help        show this help\n"
    "\n"
    "Nothing runs unless every input is valid: problems are listed with file, line, column and\n"
    "key path, and the exit code is 2.\n";

const char kDemoHelp[] =
    "usage: custpolicy demo [--json] [-v[LEVEL]]\n"
    "\n"
    "Simulates the bundled example device (examples/device/device.toml) over every bundled\n"
    "session (examples/sessions/*.toml, in name order). The examples directory is the\n"
    "source tree's, or the one named by the environment variable CUSTPOLICY_EXAMPLES.\n"
    "Options as for simulate.\n";

namespace {

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
    // The store reads its tables from the profile's configuration file; with none, every table is
    // absent.
    hostconfig::setRecording(false);
    if (deviceOk && !device.configFile.empty()) {
        const hostconfig::LoadResult load = hostconfig::loadFile(device.configFile);
        for (Diagnostic& problem : configLoadDiagnostics(device, load))
            diagnostics.push_back(std::move(problem));
    } else {
        hostconfig::clear();
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }

    Simulator simulator(device);
    std::vector<SessionRun> runs;
    for (const SessionSpec& session : sessions) runs.push_back(simulator.run(session));
    ReportOptions report;
    report.logDetailLevel = options.detailLevel;
    if (options.json) {
        writeJsonReport(out, device, runs, report);
    } else {
        writeTextReport(out, device, runs, report);
    }
    return kExitOk;
}

std::string examplesDir() {
    const char* fromEnv = std::getenv(kExamplesEnvVar);
    return fromEnv != nullptr && fromEnv[0] != '\0' ? fromEnv : CUSTPOLICY_EXAMPLES_DIR;
}

int demo(const RunOptions& options, std::ostream& out, std::ostream& err) {
    const std::string root = examplesDir();
    const std::string sessionsDir = root + "/sessions";
    std::vector<std::string> names;
    if (DIR* dir = opendir(sessionsDir.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 5 && name.compare(name.size() - 5, 5, ".toml") == 0)
                names.push_back(name);
        }
        closedir(dir);
    }
    if (names.empty()) {
        err << sessionsDir << ": no sessions found (set " << kExamplesEnvVar
            << " to the examples directory)\n";
        return kExitInputError;
    }
    std::sort(names.begin(), names.end());
    std::vector<InputFile> sessions;
    for (const std::string& name : names)
        sessions.push_back({sessionsDir + "/" + name, "sessions/" + name});
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
    std::vector<InputFile> sessions;
    for (size_t i = 1; i < options.files.size(); ++i)
        sessions.push_back({options.files[i], options.files[i]});
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
