#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

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

extern const char kSimulateHelp[];
extern const char kDemoHelp[];
extern const char kLintHelp[];
extern const char kSweepHelp[];

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
struct InputFile {
    std::string path;     // to open
    std::string display;  // to print
};

}  // namespace custsim
