#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

// The command line of one command, declared as data: its options (name, value, help line, what it
// sets) and its operands. One parser reads every command's arguments by the same rules, and each
// command's help is made from its declaration, so that the two cannot drift apart.
//
// The rules (docs/simulator.md repeats them):
// - an argument that does not start with '-', or is "-" alone, is an operand; "--" ends the options
//   and every argument after it is an operand;
// - an option that takes a value takes it as "--name VALUE" (the next argument, whatever it is) or
//   "--name=VALUE"; a short option with an optional value takes it attached ("-v3"); a flag given a
//   value ("--json=1") is an error;
// - an unknown option, a missing or empty value and a value the option refuses are errors: one
//   line on stderr and exit code 1;
// - "-h" or "--help" anywhere before "--" shows the command's help and exits 0, whatever else the
//   line holds.
namespace custsim {

struct Option {
    enum class Value {
        None,      // a flag
        Required,  // "--name VALUE" or "--name=VALUE"
        Optional,  // "--name", "--name=VALUE", or the short form with the value attached
    };
    const char* name;       // "--json"
    const char* shortName;  // "-v", or nullptr
    Value value = Value::None;
    const char* placeholder;  // "FILE"; nullptr for a flag
    const char* help;         // lines separated by '\n'
    // Sets what the option sets from its value ("" for a flag, or an optional value not given).
    // Returns the problem with the value, or nothing when it is taken.
    std::function<std::optional<std::string>(const std::string& value)> set;
};

// A flag that sets `target` to true.
Option flagOption(const char* name, const char* help, bool& target);
// An option whose value is stored as it is written.
Option textOption(const char* name, const char* placeholder, const char* help, std::string& target);

// What a command's help says around its options.
struct CommandLine {
    const char* name;         // "simulate"
    const char* operands;     // "DEVICE SESSION|DIR..." (may be "")
    const char* description;  // the paragraphs between the usage line and the options
    const char* epilogue;     // the paragraphs after the options (may be "")
};

// The help of a command: the usage line (every option, then the operands), the description, the
// options with their help lines (-h, --help last), the epilogue.
std::string helpText(const CommandLine& command, const std::vector<Option>& options);

// The outcome of reading a command line.
struct ParsedLine {
    std::vector<std::string> operands;
    bool help = false;                 // -h or --help was given
    std::optional<std::string> error;  // the first usage error, as printed
};
ParsedLine parseCommandLine(const CommandLine& command, const std::vector<Option>& options,
                            const std::vector<std::string>& args);

// Parses, and answers a command line that ends here: its help (exit 0) or its usage error (exit 1,
// the error on `err`). Nothing when the command should go on with the operands.
std::optional<int> readCommandLine(const CommandLine& command, const std::vector<Option>& options,
                                   const std::vector<std::string>& args,
                                   std::vector<std::string>& operands, std::ostream& out,
                                   std::ostream& err);

}  // namespace custsim
