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
#include "runner.h"
#include "text_escape.h"
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
    "Exit codes: 0 every expectation met (or recorded), 1 an expectation unmet, a corpus with\n"
    "no expectation at all (unless --allow-empty), a result --record refuses, or a wrong\n"
    "command line, 2 an unreadable or invalid input (nothing is checked or written).\n"};

std::vector<Option> checkOptions(WorkflowOptions& options) {
    return {
        jsonOption(options.json),
        flagOption("--record",
                   "write each session's [[expect]] tables from today's results instead,\n"
                   "replacing the old ones; the rest of the file (comments, key order) is\n"
                   "kept byte for byte. A scenario named but not filled is never recorded:\n"
                   "such a result is listed (FILE:LINE) and no file is written",
                   options.record),
        flagOption("--allow-empty", "pass a corpus that carries no expectation at all",
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

int check(HostSession& host, const std::vector<SessionInput>& files, Diagnostics diagnostics,
          bool json, bool allowEmpty, std::ostream& out, std::ostream& err) {
    const DeviceProfile& device = host.device();
    // The report is held until every session has been read: an invalid one means no report.
    std::ostringstream report;
    CheckReport checkReport(report, json, device);
    Simulator simulator(host);
    forEachSession(files, device, diagnostics, [&](const SessionInput&, const SessionSpec& s) {
        const SessionRun run = simulator.run(s);
        checkReport.session(s, checkExpectations(s, run.sensors));
    });
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    checkReport.finish();
    out << report.str();
    if (checkReport.totals().unmet > 0) return kExitFindings;
    // A gate that checks nothing is no gate.
    if (checkReport.totals().expectations == 0 && !allowEmpty) {
        if (!json) {
            out << "check: the corpus carries no expectation at all: nothing was checked "
                   "(--allow-empty accepts that)\n";
        }
        return kExitFindings;
    }
    return kExitOk;
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

// The line a refusal cites: the sensor's [[expect]] table if the session has one, else the top.
uint32_t expectationLine(const SessionSpec& session, int32_t sensor) {
    for (const Expectation& e : session.expectations) {
        if (e.sensor == sensor) return e.line;
    }
    return 1;
}

// Why a sensor's result cannot be recorded: a scenario named but not filled is no decision to
// freeze, and recording the record the policy left would freeze a mode the sensor never runs in.
std::string refusal(const SessionSpec& session, const Decision& d) {
    std::string text = terminalText(session.file) + ":" +
                       std::to_string(expectationLine(session, d.sensorIdx)) + ": sensor " +
                       std::to_string(d.sensorIdx);
    if (!d.sensorName.empty()) text += " (" + terminalText(d.sensorName) + ")";
    text += ": scenario " + std::to_string(d.namedScenario.value_or(0)) + " named";
    if (d.row) text += " by " + terminalText(rowText(*d.row));
    return text + ", but " + d.notFilledReason + ": not recorded";
}

// Every session is read and run before any file is written: a bad corpus, or a result that cannot
// be recorded, leaves every file untouched.
int record(HostSession& host, const std::vector<SessionInput>& files, Diagnostics diagnostics,
           std::ostream& out, std::ostream& err) {
    const DeviceProfile& device = host.device();
    Simulator simulator(host);
    std::vector<std::string> tables;
    std::vector<std::string> refusals;
    forEachSession(files, device, diagnostics, [&](const SessionInput&, const SessionSpec& s) {
        const SessionRun run = simulator.run(s);
        for (const Decision& d : run.sensors) {
            if (!recordable(d)) refusals.push_back(refusal(s, d));
        }
        tables.push_back(expectTablesText(expectationsOf(run.sensors)));
    });
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    if (!refusals.empty()) {
        for (const std::string& line : refusals) err << line << "\n";
        err << "check --record: " << refusals.size() << " sensor result"
            << (refusals.size() == 1 ? "" : "s")
            << " named a scenario the sensor could not describe; no file was written\n";
        return kExitFindings;
    }
    int32_t rewritten = 0;
    int exitCode = kExitOk;
    for (size_t i = 0; i < files.size(); ++i) {
        const SessionInput& file = files[i];
        std::string text;
        std::string error;
        if (!readFile(file.path, text)) {
            error = file.display + ": cannot read the file";
        } else {
            const std::string recorded = replaceExpectTables(text, tables[i]);
            if (recorded == text) continue;
            if (replaceFile(file.path, recorded, device, error)) {
                ++rewritten;
                out << file.display << ": expectations recorded\n";
                continue;
            }
        }
        err << "custpolicy: " << error << "\n";
        exitCode = kExitInputError;
    }
    const size_t sessions = files.size();
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
    if (options.record) return record(host, inputs.files, inputs.corpusProblems, out, err);
    return check(host, inputs.files, inputs.corpusProblems, options.json, options.allowEmpty, out,
                 err);
}

}  // namespace custsim
