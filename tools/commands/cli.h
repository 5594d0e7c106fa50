#pragma once

#include <ostream>
#include <string>
#include <vector>

// The command line of the simulator: the command word picks one of commands.h.
namespace custsim {

// Exit codes, as docs/simulator.md lists them.
constexpr int kExitOk = 0;          // decided: every session ran / lint found no error
constexpr int kExitFindings = 1;    // lint found errors, or the command line was wrong
constexpr int kExitInputError = 2;  // an input file is unreadable or invalid; nothing was run
constexpr int kExitStrict = 3;      // --strict: a configuration error or a decision warning
constexpr int kExitMovedOnly = 4;   // diff: nothing changed, but deciding rows moved

// The environment variable that points the demo at another examples directory.
inline constexpr char kExamplesEnvVar[] = "CUSTPOLICY_EXAMPLES";

// Runs one command line (without the program name) and answers its exit code.
int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace custsim
