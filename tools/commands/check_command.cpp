#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

#include "checks/expectations.h"
#include "commands/cli.h"
#include "commands/commands.h"
#include "host_config_parser.h"
#include "reports/expect_writer.h"
#include "reports/file_output.h"
#include "reports/text_escape.h"
#include "reports/workflow_report.h"
#include "runner/runner.h"

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
                   "make each session's [[expect]] tables hold for today's results\n"
                   "instead: only the values of unmet keys change (a key a table leaves\n"
                   "out stays out; comments and line ends stay); a session without tables\n"
                   "gets one per sensor; a session whose expectations hold is not touched.\n"
                   "Every session is decided and read back before any file is replaced;\n"
                   "a scenario named but not filled is never recorded: such a result is\n"
                   "listed (FILE:LINE) and no file is written",
                   options.record),
        flagOption("--all-keys",
                   "with --record: rewrite the tables with every key for every sensor",
                   options.allKeys),
        flagOption("--force", "with --record: also replace read-only and hard-linked sessions",
                   options.force),
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

// Locks every folder of the sessions for one recording at a time: a second run waits until the
// first is done, then finds its expectations recorded, and never works from a file the first is
// replacing. The locks (flock on the folders) end with the process.
class FolderLocks {
public:
    ~FolderLocks() {
        for (const int fd : mFds) close(fd);
    }
    bool lock(const std::vector<SessionInput>& files, std::ostream& err) {
        std::set<std::string> folders;
        for (const SessionInput& file : files) folders.insert(folderOf(file.path));
        // Always in the same order: two runs over overlapping corpora cannot wait on each other.
        for (const std::string& folder : folders) {
            const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            if (fd < 0) continue;  // the session reader reports what cannot be read
            mFds.push_back(fd);
            if (flock(fd, LOCK_EX | LOCK_NB) == 0) continue;
            err << "custpolicy: " << terminalText(folder)
                << ": another check --record is writing there; waiting for it to finish\n";
            if (flock(fd, LOCK_EX) != 0) {
                err << "custpolicy: " << terminalText(folder)
                    << ": cannot lock the folder: " << std::strerror(errno) << "\n";
                return false;
            }
        }
        return true;
    }

private:
    static std::string folderOf(const std::string& path) {
        const size_t slash = path.rfind('/');
        if (slash == std::string::npos) return ".";
        return slash == 0 ? "/" : path.substr(0, slash);
    }
    std::vector<int> mFds;
};

// The recorded text must read back as a valid session whose expectations all hold: a value
// that cannot be written back (a negative size, a name that is not UTF-8) is found here, before
// any file of the corpus is touched.
bool readsBack(const std::string& recorded, const SessionInput& file, const DeviceProfile& device,
               const std::vector<Decision>& outcomes, Diagnostics& problems) {
    Diagnostics readBack;
    const SessionSpec session = loadSessionText(recorded, file.display, device, readBack);
    std::string why;
    if (!readBack.empty()) {
        why = readBack[0].format();
    } else if (const ExpectationCheck held = checkExpectations(session, outcomes);
               !held.unmet.empty()) {
        const UnmetExpectation& u = held.unmet[0];
        why = "sensor " + std::to_string(u.sensor) + ": " + u.key + " would still expect " +
              valueText(u.expected) + " where the run gives " + valueText(u.actual);
    } else {
        return true;
    }
    problems.push_back(
        {file.display, 0, 0, "",
         "cannot record: the recorded expectations would not read back (" + why + ")"});
    return false;
}

// One session file to be rewritten, and its new text.
struct Recording {
    SessionInput file;
    std::string text;
};

// Decides what --record writes: the new text of every session it changes, each read back
// before anything is written. False with every problem in `problems` when one session cannot be
// recorded.
//
// A scenario named but not filled is no decision to freeze: such a result is added to `refusals`,
// and nothing is written.
bool planRecordings(HostSession& host, const std::vector<SessionInput>& files,
                    const WorkflowOptions& options, std::vector<Recording>& plan, int32_t& sessions,
                    Diagnostics& problems, std::vector<std::string>& refusals) {
    const DeviceProfile& device = host.device();
    Simulator simulator(host);
    for (const SessionInput& file : files) {
        std::string text;
        std::string message;
        if (!hostconfig::detail::readSourceFile(file.path, text, message, kMaxTomlBytes)) {
            problems.push_back({file.display, 0, 0, "", message});
            continue;
        }
        const size_t before = problems.size();
        SessionSpec session = loadSessionText(text, file.display, device, problems);
        if (problems.size() != before) continue;
        ++sessions;
        const std::vector<Decision> outcomes = simulator.run(session).sensors;
        const size_t refused = refusals.size();
        for (const Decision& d : outcomes) {
            if (!recordable(d)) refusals.push_back(refusal(session, d));
        }
        if (refusals.size() != refused) continue;
        const ExpectationCheck held = checkExpectations(session, outcomes);
        const std::string recorded = recordedText(text, !session.expectations.empty(), held.unmet,
                                                  expectationsOf(outcomes), options.allKeys);
        if (recorded == text && held.unmet.empty()) continue;
        // Also when the text could not change: an unmet value that cannot be written is reported.
        if (!readsBack(recorded, file, device, outcomes, problems)) continue;
        const std::string why = whyNotReplaceable(file.path, ReplaceOptions{options.force});
        if (!why.empty()) {
            problems.push_back({file.display, 0, 0, "", "cannot record: the file " + why});
            continue;
        }
        plan.push_back({file, recorded});
    }
    return problems.empty() && refusals.empty();
}

int record(HostSession& host, const std::vector<SessionInput>& files, Diagnostics diagnostics,
           const WorkflowOptions& options, std::ostream& out, std::ostream& err) {
    FolderLocks locks;
    if (!locks.lock(files, err)) return kExitInputError;
    std::vector<Recording> plan;
    std::vector<std::string> refusals;
    int32_t sessions = 0;
    const bool planned =
        planRecordings(host, files, options, plan, sessions, diagnostics, refusals);
    if (diagnostics.empty() && !refusals.empty()) {
        for (const std::string& line : refusals) err << line << "\n";
        err << "check --record: " << refusals.size() << " sensor result"
            << (refusals.size() == 1 ? "" : "s")
            << " named a scenario the sensor could not describe; no file was written\n";
        return kExitFindings;
    }
    if (!planned || !diagnostics.empty()) {
        // In the order of the files: what was read, run and decided is named per session.
        for (const Diagnostic& problem : diagnostics) err << terminalText(problem.format()) << '\n';
        err << "custpolicy: " << diagnostics.size() << " problem"
            << (diagnostics.size() == 1 ? "" : "s") << "; check --record wrote no file\n";
        return kExitInputError;
    }
    int32_t rewritten = 0;
    for (const Recording& recording : plan) {
        std::string error;
        if (!replaceFileWith(recording.file.path, recording.text, ReplaceOptions{options.force},
                             error)) {
            err << "custpolicy: cannot record " << terminalText(recording.file.display) << ": "
                << terminalText(error) << "; " << rewritten << " of " << plan.size()
                << " files were recorded before it, the others are left as they were\n";
            return kExitInputError;
        }
        ++rewritten;
        out << terminalText(recording.file.display) << ": expectations recorded\n";
    }
    out << "check --record: " << sessions << " session" << (sessions == 1 ? "" : "s") << ", "
        << rewritten << " file" << (rewritten == 1 ? "" : "s") << " rewritten\n";
    return kExitOk;
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
    if (options.record) return record(host, inputs.files, inputs.corpusProblems, options, out, err);
    return check(host, inputs.files, inputs.corpusProblems, options.json, options.allowEmpty, out,
                 err);
}

}  // namespace custsim
