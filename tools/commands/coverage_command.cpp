#include <memory>

#include "cli.h"
#include "commands.h"
#include "host_config_store.h"
#include "lint.h"
#include "outcome.h"
#include "runner.h"
#include "text_escape.h"
#include "workflow_report.h"

// coverage: which rows of the configuration the sessions matched, only read, or never reached.
namespace custsim {

const char kCoverageHelp[] =
    "usage: custpolicy coverage [--json] DEVICE SESSION|DIR...\n"
    "\n"
    "Runs every session (a directory stands for every *.toml below it, in name order) on the\n"
    "device profile DEVICE and reports, for every row of every table of its configuration\n"
    "file, whether some session matched it (a scan stopped at it), only read it, or never\n"
    "reached it: per table a summary (matched / read / never reached / total) and every row\n"
    "that no session matched, with file:line; those that lint finds no input can match are\n"
    "marked (dead whatever the sessions), the others are dead for this corpus only.\n"
    "\n"
    "options:\n"
    "  --json            print a JSON document instead of text\n"
    "  -h, --help        show this help\n"
    "\n"
    "Exit codes: 0 reported, 1 a wrong command line, 2 an unreadable or invalid input, or a\n"
    "device without a configuration file (nothing is reported).\n";

namespace {

// The words of lint's finding for a row that no input can match.
constexpr char kLintNeverMatches[] = "can never match";

// Per row, the last session that matched or read it, so that each session counts once.
struct RowTally {
    int32_t lastMatched = -1;
    int32_t lastRead = -1;
};

void tally(const SensorRun& run, int32_t session, const ConfigIndex& index,
           std::vector<RowCoverage>& rows, std::vector<RowTally>& seen) {
    for (const RowRead& read : rowReadsOf(run)) {
        const int32_t at = index.find(read.table, read.locale, read.key);
        if (at < 0) continue;  // a key the file does not have
        const auto i = static_cast<size_t>(at);
        if (seen[i].lastRead != session) {
            seen[i].lastRead = session;
            ++rows[i].readSessions;
        }
        if (read.matched && seen[i].lastMatched != session) {
            seen[i].lastMatched = session;
            ++rows[i].matchedSessions;
        }
    }
}

// Rows that lint finds no input can match are dead whatever the corpus; the report says so next
// to what the sessions did with them.
void markLintDeadRows(const std::string& configFile, const ConfigIndex& index,
                      std::vector<RowCoverage>& rows) {
    const LintResult lint = lintConfigFile(configFile);
    for (const LintFinding& finding : lint.findings) {
        if (finding.message.find(kLintNeverMatches) == std::string::npos) continue;
        for (size_t i = 0; i < rows.size(); ++i) {
            if (index.rows()[i].line == static_cast<int32_t>(finding.line))
                rows[i].lintNeverMatches = true;
        }
    }
}

}  // namespace

int coverageCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    WorkflowOptions options;
    if (!parseWorkflowOptions("coverage", args, WorkflowFlags(), options, err))
        return kExitFindings;
    if (options.help) {
        out << kCoverageHelp;
        return kExitOk;
    }
    if (options.files.size() < 2) {
        err << "custpolicy: coverage needs a device profile and at least one session\n"
            << kCoverageHelp;
        return kExitFindings;
    }
    CorpusInputs inputs;
    if (!openCorpus(options.files, inputs, err)) return kExitInputError;
    if (inputs.index == nullptr) {
        err << terminalText(options.files[0])
            << ": the device names no configuration file: no rows to cover\n";
        return kExitInputError;
    }
    const DeviceProfile& device = inputs.device;
    const ConfigIndex* index = inputs.index.get();
    Diagnostics diagnostics = inputs.corpusProblems;
    if (!loadDeviceTables(device, diagnostics)) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    std::vector<RowCoverage> rows(index->rows().size());
    markLintDeadRows(device.configFile, *index, rows);
    std::vector<RowTally> seen(rows.size());
    int32_t sessions = 0;
    // The rows a run read come from the simulator's record of each call's row reads.
    {
        Simulator simulator(device);
        forEachSession(inputs.files, device, diagnostics, [&](const SessionInput&, const SessionSpec& s) {
            for (const SensorRun& run : simulator.run(s).sensors)
                tally(run, sessions, *index, rows, seen);
            ++sessions;
        });
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    writeCoverageReport(out, options.json, device.name, *index, sessions, rows);
    return kExitOk;
}

}  // namespace custsim
