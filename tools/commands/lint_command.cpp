#include <algorithm>
#include <optional>

#include "checks/lint.h"
#include "commands/cli.h"
#include "commands/commands.h"
#include "inputs/device_profile.h"

// lint: check configuration files.
namespace custsim {

namespace {

const CommandLine kLintLine = {
    "lint", "CONFIG...",
    "Checks CameraHWConfiguration.config files against what the policies' table readers\n"
    "need, and prints every finding as FILE:LINE: error|warning: [Table] Entry: message,\n"
    "then one summary line per file (\"FILE: N tables, M rows: no findings\").\n"
    "Errors: a row 0 of the wrong width (the table or group is ignored), later rows of another\n"
    "width, missing or unreadable row keys, entries outside locale \"Mode\" in the Mode tables,\n"
    "scenarios outside 0..255, rows that can never match (an earlier row of the same group\n"
    "matches everything they match, or a floor or ceiling no input passes), unknown table\n"
    "names. Warnings: a seamless code other than 5 or 4 where one seems intended; a file\n"
    "without tables.\n",
    "Exit codes: 0 no error, 1 errors found (or a wrong command line), 2 a file (or the\n"
    "device profile) cannot be read or parsed.\n"};

struct LintOptions {
    std::string device;
};

std::vector<Option> lintOptions(LintOptions& options) {
    return {
        textOption("--device", "DEVICE.toml",
                   "also check the tables against a device profile: sensor indices\n"
                   "it does not have, scenarios its sensors have no mode for",
                   options.device),
    };
}

int lintFile(const std::string& file, const DeviceProfile* device, std::ostream& out,
             std::ostream& err) {
    const LintResult result = lintConfigFile(file, device);
    if (!result.loaded) {
        err << result.loadError << '\n';
        return kExitInputError;
    }
    for (const LintFinding& finding : result.findings) out << formatFinding(file, finding) << '\n';
    out << formatSummary(file, result) << '\n';
    return result.errorCount() > 0 ? kExitFindings : kExitOk;
}

}  // namespace

std::string lintHelp() {
    LintOptions unused;
    return helpText(kLintLine, lintOptions(unused));
}

int lintCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    LintOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kLintLine, lintOptions(options), args, files, out, err))
        return *answered;
    if (files.empty()) {
        err << "custpolicy: lint needs a configuration file\n" << lintHelp();
        return kExitFindings;
    }
    std::optional<DeviceProfile> device;
    if (!options.device.empty()) {
        if (inputKindOf(options.device) == InputKind::Session) {
            err << "custpolicy: " << options.device
                << " is a session ([app], [[stream]]): --device takes a device profile\n"
                << lintHelp();
            return kExitFindings;
        }
        Diagnostics diagnostics;
        device = loadDeviceProfile(options.device, diagnostics);
        if (!diagnostics.empty()) {
            printDiagnostics(diagnostics, err);
            return kExitInputError;
        }
    }
    int exitCode = kExitOk;
    for (const std::string& file : files) {
        const int fileExit = lintFile(file, device ? &*device : nullptr, out, err);
        exitCode = std::max(exitCode, fileExit);
    }
    return exitCode;
}

}  // namespace custsim
