#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "cli.h"
#include "commands.h"
#include "expect_tables.h"
#include "expectations.h"
#include "outcome.h"
#include "runner.h"
#include "workflow_report.h"

// check: run sessions and compare them with their [[expect]] tables; --record writes the tables.
namespace custsim {

namespace {

const CommandLine kCheckLine = {
    "check", "DEVICE SESSION|DIR...",
    "Runs every session (a directory stands for every *.toml below it, in name order) on the\n"
    "device profile DEVICE and compares each sensor's result with the session's [[expect]]\n"
    "tables: scenario (or \"none\"), fps, sensor_size, rrzo_size, seamless_flags, and the table\n"
    "and key of the row that decided; each is optional. Every unmet expectation is printed as\n"
    "FILE:LINE: sensor N: KEY expected X, got Y, then a summary, which also names the sessions\n"
    "that carry no expectations. With --record it writes the tables instead.\n",
    "Exit codes: 0 every expectation met (or recorded), 1 an expectation unmet or a wrong\n"
    "command line, 2 an unreadable or invalid input (nothing is checked or written).\n"};

std::vector<Option> checkOptions(WorkflowOptions& options) {
    return {
        jsonOption(options.json),
        flagOption("--record",
                   "write each session's [[expect]] tables from today's results instead,\n"
                   "replacing the old ones; the rest of the file (comments, key order) is\n"
                   "kept byte for byte",
                   options.record),
        flagOption("--allow-empty", "accept a corpus that carries no expectation at all",
                   options.allowEmpty),
        configOption(options.configFile),
    };
}

}  // namespace

std::string checkHelp() {
    WorkflowOptions unused;
    return helpText(kCheckLine, checkOptions(unused));
}

namespace {

std::vector<SensorOutcome> outcomesOf(const SessionRun& run, const ConfigIndex* index) {
    std::vector<SensorOutcome> outcomes;
    for (const SensorRun& sensor : run.sensors) outcomes.push_back(outcomeOf(sensor, index));
    return outcomes;
}

int check(HostSession& host, const ConfigIndex* index, const std::vector<SessionInput>& files,
          Diagnostics diagnostics, bool json, std::ostream& out, std::ostream& err) {
    const DeviceProfile& device = host.device();
    // The report is held until every session has been read: an invalid one means no report.
    std::ostringstream report;
    CheckReport checkReport(report, json, device);
    Simulator simulator(host);
    forEachSession(files, device, diagnostics, [&](const SessionInput&, const SessionSpec& s) {
        const SessionRun run = simulator.run(s);
        checkReport.session(s, checkExpectations(s, outcomesOf(run, index)));
    });
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    checkReport.finish();
    out << report.str();
    return checkReport.totals().unmet > 0 ? kExitFindings : kExitOk;
}

bool readFile(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream content;
    content << in.rdbuf();
    text = content.str();
    return !in.bad();
}

// Writes next to the file and renames over it, so that the file is either the old one or the
// new one whole; the new text must read back as a valid session first.
bool replaceFile(const std::string& path, const std::string& text, const DeviceProfile& device,
                 std::string& error) {
    char resolved[PATH_MAX];
    const std::string target = realpath(path.c_str(), resolved) != nullptr ? resolved : path;
    const std::string temporary = target + ".custpolicy-record";
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        file << text;
        if (!file.flush()) {
            error = temporary + ": cannot write the file";
            std::remove(temporary.c_str());
            return false;
        }
    }
    Diagnostics readBack;
    loadSession(temporary, device, readBack);
    if (!readBack.empty()) {
        error = path + ": the recorded file does not read back (" + readBack[0].format() +
                "); the file is left as it was";
        std::remove(temporary.c_str());
        return false;
    }
    struct stat info {};
    if (stat(target.c_str(), &info) == 0) chmod(temporary.c_str(), info.st_mode & 07777);
    if (std::rename(temporary.c_str(), target.c_str()) != 0) {
        error = target + ": cannot replace the file";
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

int record(HostSession& host, const ConfigIndex* index, const std::vector<SessionInput>& files,
           Diagnostics diagnostics, std::ostream& out, std::ostream& err) {
    const DeviceProfile& device = host.device();
    // Every session is read before any file is written: a bad corpus is left untouched.
    forEachSession(files, device, diagnostics, [](const SessionInput&, const SessionSpec&) {});
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    Simulator simulator(host);
    int32_t rewritten = 0;
    int32_t sessions = 0;
    int exitCode = kExitOk;
    forEachSession(files, device, diagnostics, [&](const SessionInput& file, const SessionSpec& s) {
        ++sessions;
        const SessionRun run = simulator.run(s);
        const std::string tables = expectTablesText(expectationsOf(outcomesOf(run, index)));
        std::string text;
        std::string error;
        if (!readFile(file.path, text)) {
            error = file.display + ": cannot read the file";
        } else {
            const std::string recorded = replaceExpectTables(text, tables);
            if (recorded == text) return;
            if (replaceFile(file.path, recorded, device, error)) {
                ++rewritten;
                out << file.display << ": expectations recorded\n";
                return;
            }
        }
        err << "custpolicy: " << error << "\n";
        exitCode = kExitInputError;
    });
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    out << "check --record: " << sessions << " session" << (sessions == 1 ? "" : "s") << ", "
        << rewritten << " file" << (rewritten == 1 ? "" : "s") << " rewritten\n";
    return exitCode;
}

}  // namespace

int checkCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    WorkflowOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kCheckLine, checkOptions(options), args, files, out, err))
        return *answered;
    if (files.size() < 2) {
        err << "custpolicy: check needs a device profile and at least one session\n" << checkHelp();
        return kExitFindings;
    }
    if (options.record && options.json) {
        err << "custpolicy: check --record writes session files; it has no JSON report\n";
        return kExitFindings;
    }
    CorpusInputs inputs;
    if (!openCorpus(files, options.configFile, Findings::Skip, inputs, err)) return kExitInputError;
    HostSession& host = *inputs.device.host;
    const ConfigIndex* index = inputs.device.index.get();
    if (options.record) return record(host, index, inputs.files, inputs.corpusProblems, out, err);
    return check(host, index, inputs.files, inputs.corpusProblems, options.json, out, err);
}

}  // namespace custsim
