#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "config_index.h"
#include "corpus.h"
#include "device_profile.h"
#include "session_file.h"
#include "toml_input.h"

// The simulator's commands, one source file each (simulate_command.cpp holds simulate and demo,
// which share everything but where their inputs come from), and what they share: the options of
// the commands that run sessions and the printing of input problems. cli.cpp dispatches to them.
namespace custsim {

// Every command takes its arguments without the command word and answers its exit code.
int simulateCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int demoCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int lintCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int sweepCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int diffCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int checkCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int coverageCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

extern const char kSimulateHelp[];
extern const char kDemoHelp[];
extern const char kLintHelp[];
extern const char kSweepHelp[];
extern const char kDiffHelp[];
extern const char kCheckHelp[];
extern const char kCoverageHelp[];

struct RunOptions {
    bool json = false;
    bool strict = false;  // a configuration error or a decision warning fails the run
    std::optional<int32_t> detailLevel;
    bool help = false;
    std::vector<std::string> files;
};

// Parses the options shared by the commands that run sessions. False after reporting a usage
// error.
bool parseRunOptions(const std::vector<std::string>& args, RunOptions& options, std::ostream& err);

// Prints input problems file by file, in the order the files were read, each top to bottom.
void printDiagnostics(Diagnostics diagnostics, std::ostream& err);

// A file as the report names it.
using InputFile = SessionInput;

// Puts the device's configuration file into the host configuration store (no file: every table
// absent). False, with the store's own line and column in `diagnostics`, when the store refuses
// it. Every command loads a device's tables through this.
bool loadDeviceTables(const DeviceProfile& device, Diagnostics& diagnostics);

// Loads and checks a device profile and indexes its configuration file (`configFile`, when not
// empty, replaces the profile's), without touching the store. False after printing the problems.
bool loadDevice(const std::string& profile, const std::string& configFile, DeviceProfile& device,
                std::unique_ptr<ConfigIndex>& index, std::ostream& err);

// What check and coverage open first: the sessions named after the device (`files` from its
// second on), with the problems of the corpus itself kept for the caller to report with those of
// its sessions, and the device with the index of its configuration file.
struct CorpusInputs {
    Diagnostics corpusProblems;
    std::vector<SessionInput> files;
    DeviceProfile device;
    std::unique_ptr<ConfigIndex> index;
};
// False after printing why the device cannot be loaded.
bool openCorpus(const std::vector<std::string>& files, CorpusInputs& inputs, std::ostream& err);

// The options of the workflow commands (diff, check, coverage).
struct WorkflowOptions {
    bool json = false;
    bool help = false;
    bool record = false;   // check --record
    bool allKeys = false;  // check --record --all-keys: every key for every sensor
    bool force = false;    // check --record --force: replace read-only and hard-linked sessions
    std::string device;    // diff --device DEVICE.toml
    std::vector<std::string> files;
};
// Which options a workflow command takes beyond --json and --help.
struct WorkflowFlags {
    bool record = false;
    bool device = false;
};
// False after reporting a usage error.
bool parseWorkflowOptions(const char* command, const std::vector<std::string>& args,
                          WorkflowFlags flags, WorkflowOptions& options, std::ostream& err);

// Reads the sessions one at a time, each checked against the device, and hands each valid one to
// `visit` before reading the next, so that a corpus is never held in memory whole. A session with
// problems adds them to `diagnostics` and is not visited.
void forEachSession(const std::vector<SessionInput>& files, const DeviceProfile& device,
                    Diagnostics& diagnostics,
                    const std::function<void(const SessionInput&, const SessionSpec&)>& visit);

}  // namespace custsim
