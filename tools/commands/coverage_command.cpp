#include <algorithm>
#include <memory>
#include <string_view>

#include "checks/lint.h"
#include "commands/cli.h"
#include "commands/commands.h"
#include "host_config_store.h"
#include "reports/text_escape.h"
#include "reports/workflow_report.h"
#include "runner/library_messages.h"
#include "runner/runner.h"

// coverage: which rows of the configuration the sessions matched, only read, or never reached.
namespace custsim {

namespace {

const CommandLine kCoverageLine = {
    "coverage", "DEVICE SESSION|DIR...",
    "Runs every session (a directory stands for every *.toml below it, in name order) on the\n"
    "device profile DEVICE and reports, for every row of every table of its configuration\n"
    "file, whether it decided in some session (a mode, or an RRZO or sensor size), matched\n"
    "but was overridden by a later step (which one is named), was only read, or was never\n"
    "reached (and why: no session reached its table, or its group, or an earlier row always\n"
    "matched): per table a summary and every row that decided nothing, with file:line; those\n"
    "that lint finds no input can match are marked (dead whatever the sessions), the others\n"
    "are dead for this corpus only.\n",
    "Exit codes: 0 reported, 1 a wrong command line, 2 an unreadable or invalid input, or a\n"
    "device without a configuration file (nothing is reported).\n"};

std::vector<Option> coverageOptions(WorkflowOptions& options) {
    return {
        jsonOption(options.json),
        flagOption("--sessions", "also list, per row, the sessions it decides",
                   options.listSessions),
        configOption(options.configFile),
    };
}

}  // namespace

std::string coverageHelp() {
    WorkflowOptions unused;
    return helpText(kCoverageLine, coverageOptions(unused));
}

namespace {

// Per row, the last session that decided, overrode or read it, so that each session counts once.
struct RowTally {
    int32_t lastDecided = -1;
    int32_t lastOverridden = -1;
    int32_t lastRead = -1;
};

// Counts one session's use of the configuration's rows.
class CoverageTally {
public:
    CoverageTally(const ConfigIndex& index, bool listSessions)
        : mIndex(index), mRows(index.rows().size()), mSeen(mRows.size()), mList(listSessions) {}

    void sensor(const Decision& d, const SensorTrace& trace, const std::string& file) {
        for (const auto* reads : {&trace.settingRowReads, &trace.rrzoRowReads}) {
            for (const hostconfig::RowRead& read : *reads) this->read(read);
        }
        if (d.row) decided(*d.row, file);
        // Every row an RRZO call's scan stopped at decided a size.
        const std::vector<bool> matched = matchedReads(trace.rrzoRowReads, trace.rrzoLog);
        for (size_t i = 0; i < matched.size(); ++i) {
            const hostconfig::RowRead& read = trace.rrzoRowReads[i];
            if (matched[i]) decided({read.table, read.locale, read.key, "", read.line}, file);
        }
        for (const OverriddenRow& row : d.overridden) overridden(row);
    }
    void endSession() { ++mSession; }

    int32_t sessions() const { return mSession; }
    std::vector<RowCoverage>& rows() { return mRows; }

private:
    // The row's position in the index; -1 for a key the file does not have.
    int32_t at(const std::string& table, const std::string& locale, const std::string& key) const {
        return mIndex.find(table, locale, key);
    }

    void read(const hostconfig::RowRead& read) {
        const int32_t i = at(read.table, read.locale, read.key);
        if (i < 0 || mSeen[static_cast<size_t>(i)].lastRead == mSession) return;
        mSeen[static_cast<size_t>(i)].lastRead = mSession;
        ++mRows[static_cast<size_t>(i)].readSessions;
    }

    void decided(const MatchedRow& row, const std::string& file) {
        const int32_t i = at(row.table, row.locale, row.key);
        if (i < 0 || mSeen[static_cast<size_t>(i)].lastDecided == mSession) return;
        mSeen[static_cast<size_t>(i)].lastDecided = mSession;
        RowCoverage& coverage = mRows[static_cast<size_t>(i)];
        ++coverage.decidedSessions;
        if (mList) coverage.decidedIn.push_back(file);
    }

    void overridden(const OverriddenRow& row) {
        const int32_t i = at(row.row.table, row.row.locale, row.row.key);
        if (i < 0) return;
        RowCoverage& coverage = mRows[static_cast<size_t>(i)];
        if (std::find(coverage.overriddenBy.begin(), coverage.overriddenBy.end(), row.by) ==
            coverage.overriddenBy.end())
            coverage.overriddenBy.push_back(row.by);
        if (mSeen[static_cast<size_t>(i)].lastOverridden == mSession) return;
        mSeen[static_cast<size_t>(i)].lastOverridden = mSession;
        ++coverage.overriddenSessions;
    }

    const ConfigIndex& mIndex;
    std::vector<RowCoverage> mRows;
    std::vector<RowTally> mSeen;
    bool mList;
    int32_t mSession = 0;
};

// Rows that lint finds no input can match are dead whatever the corpus; the report says so next
// to what the sessions did with them.
void markLintDeadRows(const std::vector<LintFinding>& findings, const ConfigIndex& index,
                      std::vector<RowCoverage>& rows) {
    for (const LintFinding& finding : findings) {
        if (!lintCodeNeverMatches(finding.code)) continue;
        for (size_t i = 0; i < rows.size(); ++i) {
            if (index.rows()[i].line == static_cast<int32_t>(finding.line))
                rows[i].lintNeverMatches = true;
        }
    }
}

}  // namespace

int coverageCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    WorkflowOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kCoverageLine, coverageOptions(options), args, files, out, err))
        return *answered;
    if (files.size() < 2) {
        err << "custpolicy: coverage needs a device profile and at least one session\n"
            << coverageHelp();
        return kExitFindings;
    }
    CorpusInputs inputs;
    if (!openCorpus(files, options.configFile, Findings::Lint, inputs, err)) return kExitInputError;
    if (inputs.device.index == nullptr) {
        err << terminalText(files[0])
            << ": the device names no configuration file: no rows to cover\n";
        return kExitInputError;
    }
    const DeviceProfile& device = inputs.device.device();
    const ConfigIndex* index = inputs.device.index.get();
    Diagnostics diagnostics = inputs.corpusProblems;
    CoverageTally tally(*index, options.listSessions);
    markLintDeadRows(inputs.device.findings, *index, tally.rows());
    {
        Simulator simulator(*inputs.device.host);
        simulator.setTrace(true);
        forEachSession(inputs.files, device, diagnostics,
                       [&](const SessionInput&, const SessionSpec& s) {
                           const SessionRun run = simulator.run(s);
                           for (size_t i = 0; i < run.sensors.size(); ++i)
                               tally.sensor(run.sensors[i], run.traces[i], s.file);
                           tally.endSession();
                       });
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    writeCoverageReport(out, options.json, device.name, *index, tally.sessions(), tally.rows(),
                        options.listSessions);
    return kExitOk;
}

}  // namespace custsim
