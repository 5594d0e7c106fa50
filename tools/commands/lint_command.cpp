#include "cli.h"
#include "commands.h"
#include "lint.h"

// lint: check configuration files.
namespace custsim {

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

int lintCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::vector<std::string> files;
    for (size_t i = 0; i < args.size(); ++i) {
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

}  // namespace custsim
