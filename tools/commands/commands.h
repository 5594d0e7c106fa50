#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "checks/lint.h"
#include "commands/options.h"
#include "inputs/config_index.h"
#include "inputs/corpus.h"
#include "inputs/device_profile.h"
#include "inputs/session_file.h"
#include "inputs/toml_input.h"
#include "runner/host_session.h"

// The simulator's commands, one source file each (simulate_command.cpp holds simulate and demo,
// which share everything but where their inputs come from), and what they share: options, the
// opening of a device and the printing of input problems. cli.cpp dispatches to them.
namespace custsim {

// Every command takes its arguments without the command word and answers its exit code.
int simulateCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int demoCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int lintCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int sweepCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int diffCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int checkCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int coverageCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// Every command's help, made from its option table.
std::string simulateHelp();
std::string demoHelp();
std::string lintHelp();
std::string sweepHelp();
std::string diffHelp();
std::string checkHelp();
std::string coverageHelp();

// Options more than one command takes, with one meaning and one help line everywhere.
Option jsonOption(bool& json);
// --config FILE: the device's configuration file replaced by another.
Option configOption(std::string& configFile);

// The options of simulate and demo.
struct RunOptions {
    bool json = false;
    bool strict = false;  // a configuration error or a decision warning fails the run
    bool trace = false;   // simulate --trace: every table row read, as explain shows them
    std::optional<int32_t> detailLevel;
    std::string configFile;  // simulate --config
};
std::vector<Option> runOptionTable(RunOptions& options);

// Prints input problems file by file, in the order the files were read, each top to bottom.
void printDiagnostics(Diagnostics diagnostics, std::ostream& err);

// A file as the report names it.
using InputFile = SessionInput;

// A device opened for a command. Its configuration file is read and parsed once; the host session's
// tables, the index of its rows and the lint findings all come from that one parse.
struct OpenDevice {
    std::unique_ptr<HostSession> host;   // the device, its tables and the platform state
    std::unique_ptr<ConfigIndex> index;  // null when the device has no configuration file
    std::vector<LintFinding> findings;   // of the configuration file against the device, if asked
    const DeviceProfile& device() const { return host->device(); }
};

// Whether a command reports the configuration's lint findings: linting a large file costs several
// times its parse, so the commands that never show them skip it.
enum class Findings { Lint, Skip };

// Loads and checks the device profile `profile` and opens its configuration file (`configFile`,
// when not empty, replaces the profile's). False with every problem in `diagnostics`: the
// profile's, else the configuration file's (a file that cannot be read is named where the profile
// names it, or as given). Every command that runs a device opens it through this.
bool openDevice(const std::string& profile, const std::string& configFile, Findings findings,
                OpenDevice& opened, Diagnostics& diagnostics);

// What check and coverage open first: the sessions named after the device (`files` from its
// second on), with the problems of the corpus itself kept for the caller to report with those of
// its sessions, and the device. False after printing why the device cannot be opened.
struct CorpusInputs {
    Diagnostics corpusProblems;
    std::vector<SessionInput> files;
    OpenDevice device;
};
bool openCorpus(const std::vector<std::string>& files, const std::string& configFile,
                Findings findings, CorpusInputs& inputs, std::ostream& err);

// The options of the workflow commands (diff, check, coverage); each takes those its table names.
struct WorkflowOptions {
    bool json = false;
    bool record = false;        // check --record
    bool allKeys = false;       // check --record --all-keys: every key for every sensor
    bool force = false;         // check --record --force: replace read-only, hard-linked sessions
    bool allowEmpty = false;    // check --allow-empty: a corpus without expectations passes
    bool listSessions = false;  // coverage --sessions: the sessions each row decides
    std::string device;         // diff --device DEVICE.toml
    std::string configFile;     // check/coverage --config FILE
};

// Reads the sessions one at a time, each checked against the device, and hands each valid one to
// `visit` before reading the next, so that a corpus is never held in memory whole. A session with
// problems adds them to `diagnostics` and is not visited.
void forEachSession(const std::vector<SessionInput>& files, const DeviceProfile& device,
                    Diagnostics& diagnostics,
                    const std::function<void(const SessionInput&, const SessionSpec&)>& visit,
                    SessionUse use = SessionUse::Run);

}  // namespace custsim
