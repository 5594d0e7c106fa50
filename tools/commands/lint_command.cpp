#include <algorithm>
#include <optional>

#include "cli.h"
#include "commands.h"
#include "device_profile.h"
#include "lint.h"

// lint: check configuration files.
namespace custsim {

const char kLintHelp[] =
    "usage: custpolicy lint [--device DEVICE.toml] CONFIG...\n"
    "\n"
    "Checks CameraHWConfiguration.config files against what the policies' table readers\n"
    "need, and prints every finding as FILE:LINE: error|warning: [Table] Entry: message,\n"
    "then one summary line per file (\"FILE: N tables, M rows: no findings\").\n"
    "Errors: a row 0 of the wrong width (the table or group is ignored), later rows of another\n"
    "width, missing or unreadable row keys, entries outside locale \"Mode\" in the Mode tables,\n"
    "scenarios outside 0..255, rows that can never match (an earlier row of the same group\n"
    "matches everything they match, or a floor or ceiling no input passes), unknown table\n"
    "names. Warnings: a seamless code other than 5 or 4 where one seems intended; a file\n"
    "without tables.\n"
    "\n"
    "options:\n"
    "  --device DEVICE.toml  also check the tables against a device profile: sensor indices\n"
    "                        it does not have, scenarios its sensors have no mode for\n"
    "  -h, --help            show this help\n"
    "\n"
    "Exit codes: 0 no error, 1 errors found (or a wrong command line), 2 a file (or the\n"
    "device profile) cannot be read or parsed.\n";

namespace {

struct LintOptions {
    std::optional<std::string> device;
    std::vector<std::string> files;
    bool help = false;
};

// False after reporting a usage error.
bool parseLintOptions(const std::vector<std::string>& args, LintOptions& options,
                      std::ostream& err) {
    bool filesOnly = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (filesOnly || arg.empty() || arg[0] != '-' || arg == "-") {
            options.files.push_back(arg);
        } else if (arg == "--") {
            filesOnly = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "--device" && i + 1 < args.size()) {
            options.device = args[++i];
        } else if (arg.rfind("--device=", 0) == 0) {
            options.device = arg.substr(std::string("--device=").size());
        } else if (arg == "--device") {
            err << "custpolicy: --device needs a device profile\n" << kLintHelp;
            return false;
        } else {
            err << "custpolicy: unknown option '" << arg << "' for lint\n" << kLintHelp;
            return false;
        }
    }
    return true;
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

int lintCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    LintOptions options;
    if (!parseLintOptions(args, options, err)) return kExitFindings;
    if (options.help) {
        out << kLintHelp;
        return kExitOk;
    }
    if (options.files.empty()) {
        err << "custpolicy: lint needs a configuration file\n" << kLintHelp;
        return kExitFindings;
    }
    std::optional<DeviceProfile> device;
    if (options.device) {
        if (inputKindOf(*options.device) == InputKind::Session) {
            err << "custpolicy: " << *options.device
                << " is a session ([app], [[stream]]): --device takes a device profile\n"
                << kLintHelp;
            return kExitFindings;
        }
        Diagnostics diagnostics;
        device = loadDeviceProfile(*options.device, diagnostics);
        if (!diagnostics.empty()) {
            printDiagnostics(diagnostics, err);
            return kExitInputError;
        }
    }
    int exitCode = kExitOk;
    for (const std::string& file : options.files) {
        const int fileExit = lintFile(file, device ? &*device : nullptr, out, err);
        exitCode = std::max(exitCode, fileExit);
    }
    return exitCode;
}

}  // namespace custsim
