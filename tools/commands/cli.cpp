#include "commands/cli.h"

#include "commands/commands.h"
#include "commands/explain_command.h"

namespace custsim {

namespace {

const char kMainHelp[] =
    "usage: custpolicy [COMMAND] [OPTIONS] [FILES]\n"
    "\n"
    "Shows which sensor mode and RRZO size the camera policy library chooses for each\n"
    "application and stream configuration of a device, and why, without a device.\n"
    "\n"
    "commands:\n"
    "  simulate DEVICE SESSION|DIR...\n"
    "                              run the sessions on the device profile\n"
    "  demo                        run the bundled example device over the bundled sessions\n"
    "                              (also what custpolicy does without arguments)\n"
    "  lint CONFIG...              check CameraHWConfiguration.config files\n"
    "  sweep DEVICE SWEEP          run a session over ranges of sizes, fps, temperatures, apps,\n"
    "                              ...; CSV, JSON or a map page of the modes chosen\n"
    "  diff BEFORE AFTER SESSION|DIR...\n"
    "                              what changes between two configurations (or profiles)\n"
    "  check DEVICE SESSION|DIR... compare runs with the sessions' [[expect]] tables;\n"
    "                              --record makes them hold\n"
    "  coverage DEVICE SESSION|DIR...\n"
    "                              which table rows the sessions match, read or never reach\n"
    "  explain DEVICE SESSION      why each table row did or did not match\n"
    "  help [COMMAND]              show this help, or a command's\n"
    "\n"
    "A directory given as SESSION stands for every *.toml below it, in name order.\n"
    "\n"
    "Run 'custpolicy COMMAND --help' for a command's options. Exit codes: 0 decided (or no\n"
    "lint error, nothing changed, every expectation met), 1 lint errors, a change, an unmet\n"
    "expectation or a wrong command line, 2 an unreadable or invalid input or an output that\n"
    "cannot be written, 3 with --strict, a configuration error or a warning, 4 diff: only\n"
    "deciding rows moved, 5 explain: the trace contradicts the library's record.\n"
    "See docs/simulator.md for the profile and session keys and the JSON layout,\n"
    "docs/workflow.md for diff, check and coverage in a tuning workflow, and docs/sweep.md\n"
    "for sweeps.\n";

struct Command {
    const char* name;
    std::string (*help)();
    int (*run)(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
};

const Command kCommands[] = {
    {"simulate", simulateHelp, simulateCommand},
    {"demo", demoHelp, demoCommand},
    {"lint", lintHelp, lintCommand},
    {"sweep", sweepHelp, sweepCommand},
    {"diff", diffHelp, diffCommand},
    {"check", checkHelp, checkCommand},
    {"coverage", coverageHelp, coverageCommand},
    {"explain", explainHelp, explainCommand},
};

const Command* findCommand(const std::string& name) {
    for (const Command& command : kCommands) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

int unknownCommand(const std::string& word, std::ostream& err) {
    err << "custpolicy: unknown command '" << word << "'\n" << kMainHelp;
    return kExitFindings;
}

}  // namespace

int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    if (args.empty()) return demoCommand(args, out, err);
    const std::string& word = args[0];
    if (word == "-h" || word == "--help" || word == "help") {
        if (args.size() == 1) {
            out << kMainHelp;
            return kExitOk;
        }
        const Command* topic = findCommand(args[1]);
        if (topic == nullptr) return unknownCommand(args[1], err);
        out << topic->help();
        return kExitOk;
    }
    // Options alone (custpolicy --json) run the demo with them.
    if (!word.empty() && word[0] == '-') return demoCommand(args, out, err);
    const Command* command = findCommand(word);
    if (command == nullptr) return unknownCommand(word, err);
    return command->run(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
}

}  // namespace custsim
