#include "cli.h"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>

#include "device_profile.h"
#include "host_config_store.h"
#include "lint.h"
#include "report.h"
#include "runner.h"
#include "session_file.h"

#ifndef CUSTPOLICY_EXAMPLES_DIR
#define CUSTPOLICY_EXAMPLES_DIR "examples"
#endif

namespace custsim {

namespace {

constexpr int32_t kDefaultDetailLevel = 5;
constexpr int32_t kMaxDetailLevel = 9;

const char kMainHelp[] =
    "usage: custpolicy [COMMAND] [OPTIONS] [FILES]\n"
    "\n"
    "Shows which sensor mode and RRZO size the camera policy library chooses for each\n"
    "application and stream configuration of a device, and why, without a device.\n"
    "\n"
    "commands:\n"
    "  simulate DEVICE SESSION...  run the sessions on the device profile\n"
    "  demo                        run the bundled example device over the bundled sessions\n"
    "                              (also what custpolicy does without arguments)\n"
    "  lint CONFIG...              check CameraHWConfiguration.config files\n"
    "  help [COMMAND]              show this help, or a command's\n"
    "\n"
    "Run 'custpolicy COMMAND --help' for a command's options. Exit codes: 0 decided (or no\n"
    "lint error), 1 lint errors or a wrong command line, 2 an unreadable or invalid input.\n"
    "See docs/simulator.md for the profile and session keys and the JSON layout.\n";

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

const char kLintHelp[] =
    "usage: custpolicy lint CONFIG...\n"
    "\n"
    "Checks CameraHWConfiguration.config files against what the policies' table readers\n"
    "need, and prints every finding as FILE:LINE: error|warning: [Table] Entry: message.\n"
    "Errors: a row 0 of the wrong width (the table or group is ignored), later rows of another\n"
    "width, missing or unreadable row keys, entries outside locale \"Mode\" in the Mode tables,\n"
    "scenarios outside 0..255, rows that can never match (an earlier row of the same group\n"
    "matches everything they match, or a floor or ceiling no input passes), unknown table\n"
    "names. Warnings: a seamless code other than 5 or 4 where one seems intended.\n"
    "\n"
    "Exit codes: 0 no error, 1 errors found, 2 a file cannot be read or parsed.\n";

struct RunOptions {
    bool json = false;
    std::optional<int32_t> detailLevel;
    bool help = false;
    std::vector<std::string> files;
};

// Parses the options shared by simulate and demo. False after reporting a usage error.
bool parseRunOptions(const std::vector<std::string>& args, size_t first, RunOptions& options,
                     std::ostream& err) {
    bool filesOnly = false;
    for (size_t i = first; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (filesOnly || arg.empty() || arg[0] != '-' || arg == "-") {
            options.files.push_back(arg);
            continue;
        }
        if (arg == "--") {
            filesOnly = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "-v" || arg == "--verbose") {
            options.detailLevel = kDefaultDetailLevel;
        } else if (arg.rfind("-v", 0) == 0 || arg.rfind("--verbose=", 0) == 0) {
            const std::string level = arg.substr(arg[1] == 'v' ? 2 : 10);
            if (level.size() != 1 || level[0] < '0' || level[0] > '0' + kMaxDetailLevel) {
                err << "custpolicy: detail level must be a digit 0-9, got '" << level << "'\n";
                return false;
            }
            options.detailLevel = level[0] - '0';
        } else {
            err << "custpolicy: unknown option '" << arg << "' (see 'custpolicy help')\n";
            return false;
        }
    }
    return true;
}

void printDiagnostics(Diagnostics diagnostics, std::ostream& err) {
    // File by file in the order the files were read, each from top to bottom.
    std::vector<std::string> fileOrder;
    for (const Diagnostic& d : diagnostics) {
        if (std::find(fileOrder.begin(), fileOrder.end(), d.file) == fileOrder.end())
            fileOrder.push_back(d.file);
    }
    auto rank = [&fileOrder](const Diagnostic& d) {
        return std::find(fileOrder.begin(), fileOrder.end(), d.file) - fileOrder.begin();
    };
    std::stable_sort(diagnostics.begin(), diagnostics.end(),
                     [&](const Diagnostic& a, const Diagnostic& b) {
                         if (rank(a) != rank(b)) return rank(a) < rank(b);
                         if (a.line != b.line) return a.line < b.line;
                         return a.column < b.column;
                     });
    for (const Diagnostic& d : diagnostics) err << d.format() << '\n';
    err << "custpolicy: " << diagnostics.size() << " problem"
        << (diagnostics.size() == 1 ? "" : "s") << " in the inputs; nothing was run\n";
}

// A file as the report names it.
struct InputFile {
    std::string path;     // to open
    std::string display;  // to print
};

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
        if (!load.ok) {
            diagnostics.push_back({load.source, static_cast<uint32_t>(load.line),
                                   static_cast<uint32_t>(load.column), "", load.message});
        }
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

int lint(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::vector<std::string> files;
    for (size_t i = 1; i < args.size(); ++i) {
        if (args[i] == "-h" || args[i] == "--help") {
            out << kLintHelp;
            return kExitOk;
        }
        if (!args[i].empty() && args[i][0] == '-' && args[i] != "-") {
            err << "custpolicy: unknown option '" << args[i] << "' for lint\n";
            return kExitFindings;
        }
        files.push_back(args[i]);
    }
    if (files.empty()) {
        err << "custpolicy: lint needs a configuration file\n" << kLintHelp;
        return kExitFindings;
    }
    int exitCode = kExitOk;
    for (const std::string& file : files) {
        const LintResult result = lintConfigFile(file);
        if (!result.loaded) {
            err << result.loadError << '\n';
            exitCode = kExitInputError;
            continue;
        }
        for (const LintFinding& finding : result.findings)
            out << formatFinding(file, finding) << '\n';
        if (result.errorCount() > 0 && exitCode == kExitOk) exitCode = kExitFindings;
    }
    return exitCode;
}

}  // namespace

int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    const std::string command = args.empty() ? "demo" : args[0];
    if (command == "-h" || command == "--help" || command == "help") {
        const std::string topic = args.size() > 1 ? args[1] : "";
        out << (topic == "simulate" ? kSimulateHelp
                : topic == "demo"   ? kDemoHelp
                : topic == "lint"   ? kLintHelp
                                    : kMainHelp);
        return kExitOk;
    }
    if (command == "lint") return lint(args, out, err);
    // Options alone (custpolicy --json) run the demo as well.
    const bool isDemo = command == "demo" || (!command.empty() && command[0] == '-');
    if (command != "simulate" && !isDemo) {
        err << "custpolicy: unknown command '" << command << "'\n" << kMainHelp;
        return kExitFindings;
    }
    RunOptions options;
    if (!parseRunOptions(args, command == "simulate" || command == "demo" ? 1 : 0, options, err)) {
        return kExitFindings;
    }
    if (options.help) {
        out << (command == "simulate" ? kSimulateHelp : kDemoHelp);
        return kExitOk;
    }
    if (isDemo) {
        if (!options.files.empty()) {
            err << "custpolicy: demo takes no files (use simulate DEVICE SESSION...)\n";
            return kExitFindings;
        }
        return demo(options, out, err);
    }
    if (options.files.size() < 2) {
        err << "custpolicy: simulate needs a device profile and at least one session\n"
            << kSimulateHelp;
        return kExitFindings;
    }
    std::vector<InputFile> sessions;
    for (size_t i = 1; i < options.files.size(); ++i)
        sessions.push_back({options.files[i], options.files[i]});
    return simulate({options.files[0], options.files[0]}, sessions, options, out, err);
}

}  // namespace custsim
