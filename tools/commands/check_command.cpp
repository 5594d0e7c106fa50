#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

#include "cli.h"
#include "commands.h"
#include "expect_writer.h"
#include "expectations.h"
#include "file_output.h"
#include "host_config_parser.h"
#include "outcome.h"
#include "runner.h"
#include "text_escape.h"
#include "workflow_report.h"

// check: run sessions and compare them with their [[expect]] tables; --record writes the tables.
namespace custsim {

const char kCheckHelp[] =
    "usage: custpolicy check [--json] DEVICE SESSION|DIR...\n"
    "       custpolicy check --record [--all-keys] [--force] DEVICE SESSION|DIR...\n"
    "\n"
    "Runs every session (a directory stands for every *.toml below it, in name order) on the\n"
    "device profile DEVICE and compares each sensor's result with the session's [[expect]]\n"
    "tables: scenario (or \"none\"), fps, sensor_size, rrzo_size, seamless_flags, and the table\n"
    "and key of the row that decided; each is optional. Every unmet expectation is printed as\n"
    "FILE:LINE: sensor N: KEY expected X, got Y, then a summary, which also names the sessions\n"
    "that carry no expectations.\n"
    "\n"
    "options:\n"
    "  --json            print a JSON document instead of text\n"
    "  --record          make each session's [[expect]] tables hold for today's results\n"
    "                    instead: only the values of unmet keys change (a key a table leaves\n"
    "                    out stays out; comments and line ends stay); a session without tables\n"
    "                    gets one per sensor; a session whose expectations hold is not touched.\n"
    "                    Every session is decided and read back before any file is replaced\n"
    "  --all-keys        with --record: rewrite the tables with every key for every sensor\n"
    "  --force           with --record: also replace read-only and hard-linked sessions\n"
    "  -h, --help        show this help\n"
    "\n"
    "Exit codes: 0 every expectation met (or recorded), 1 an expectation unmet or a wrong\n"
    "command line, 2 an unreadable or invalid input (nothing is checked or written).\n";

namespace {

std::vector<SensorOutcome> outcomesOf(const SessionRun& run, const ConfigIndex* index) {
    std::vector<SensorOutcome> outcomes;
    for (const SensorRun& sensor : run.sensors) outcomes.push_back(outcomeOf(sensor, index));
    return outcomes;
}

int check(const DeviceProfile& device, const ConfigIndex* index,
          const std::vector<SessionInput>& files, Diagnostics diagnostics, bool json,
          std::ostream& out, std::ostream& err) {
    // The report is held until every session has been read: an invalid one means no report.
    std::ostringstream report;
    CheckReport checkReport(report, json, device);
    Simulator simulator(device);
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
               const std::vector<SensorOutcome>& outcomes, Diagnostics& problems) {
    Diagnostics readBack;
    const SessionSpec session = loadSessionText(recorded, file.display, device, readBack);
    std::string why;
    if (!readBack.empty()) {
        why = readBack[0].format();
    } else if (const ExpectationCheck held = checkExpectations(session, outcomes);
               !held.unmet.empty()) {
        const UnmetExpectation& u = held.unmet[0];
        why = "sensor " + std::to_string(u.sensor) + ": " + u.key + " would still expect " +
              u.expected + " where the run gives " + u.actual;
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
bool planRecordings(const DeviceProfile& device, const ConfigIndex* index,
                    const std::vector<SessionInput>& files, const WorkflowOptions& options,
                    std::vector<Recording>& plan, int32_t& sessions, Diagnostics& problems) {
    Simulator simulator(device);
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
        const std::vector<SensorOutcome> outcomes = outcomesOf(simulator.run(session), index);
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
    return problems.empty();
}

int record(const DeviceProfile& device, const ConfigIndex* index,
           const std::vector<SessionInput>& files, Diagnostics diagnostics,
           const WorkflowOptions& options, std::ostream& out, std::ostream& err) {
    FolderLocks locks;
    if (!locks.lock(files, err)) return kExitInputError;
    std::vector<Recording> plan;
    int32_t sessions = 0;
    if (!planRecordings(device, index, files, options, plan, sessions, diagnostics) ||
        !diagnostics.empty()) {
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
    WorkflowFlags flags;
    flags.record = true;
    if (!parseWorkflowOptions("check", args, flags, options, err)) return kExitFindings;
    if (options.help) {
        out << kCheckHelp;
        return kExitOk;
    }
    if (options.files.size() < 2) {
        err << "custpolicy: check needs a device profile and at least one session\n" << kCheckHelp;
        return kExitFindings;
    }
    if (options.record && options.json) {
        err << "custpolicy: check --record writes session files; it has no JSON report\n";
        return kExitFindings;
    }
    CorpusInputs inputs;
    if (!openCorpus(options.files, inputs, err)) return kExitInputError;
    Diagnostics tableProblems;
    if (!loadDeviceTables(inputs.device, tableProblems)) {
        printDiagnostics(tableProblems, err);
        return kExitInputError;
    }
    if (options.record) {
        return record(inputs.device, inputs.index.get(), inputs.files, inputs.corpusProblems,
                      options, out, err);
    }
    return check(inputs.device, inputs.index.get(), inputs.files, inputs.corpusProblems,
                 options.json, out, err);
}

}  // namespace custsim
