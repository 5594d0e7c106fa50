#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "runner/runner.h"
#include "tool_test_support.h"

// The command line read the same way by every command, and the host state owned per device.
namespace {

using custsim::kExitFindings;
using custsim::kExitInputError;
using custsim::kExitOk;

const std::string kSource = CUSTPOLICY_SOURCE_DIR;
const std::string kDevice = kSource + "/examples/device/device.toml";
const std::string kAfterConfig = kSource + "/tests/tool/data/after.config";
const std::string kThirdPartySession = kSource + "/examples/sessions/06-third-party-by-name.toml";

// The parser on its own, with one option of each kind.
struct ParseCase {
    const char* why;
    std::vector<std::string> args;
    std::vector<std::string> operands;
    std::string file;   // what --file set
    std::string level;  // what -v/--verbose set ("none" when not given)
    bool flag;
    bool help;
    const char* error;  // "" when the line is valid
};

TEST(ToolOptions, OneParserReadsEveryKindOfOption) {
    const char* kSee = " (see 'custpolicy demo --help')";
    const ParseCase cases[] = {
        {"value apart and attached",
         {"--file", "a", "--file=b", "x"},
         {"x"},
         "b",
         "none",
         false,
         false,
         ""},
        {"the value apart is the next argument, whatever it is",
         {"--file", "--flag"},
         {},
         "--flag",
         "none",
         false,
         false,
         ""},
        {"optional value: none, attached to the short name, after =",
         {"-v", "-v3", "--verbose=7"},
         {},
         "",
         "7",
         false,
         false,
         ""},
        {"'-' and '' are operands", {"-", "", "--flag"}, {"-", ""}, "", "none", true, false, ""},
        {"'--' ends the options",
         {"a", "--", "--flag", "-h", "--"},
         {"a", "--flag", "-h", "--"},
         "",
         "none",
         false,
         false,
         ""},
        {"unknown option",
         {"--flagg", "a"},
         {"a"},
         "",
         "none",
         false,
         false,
         "custpolicy: unknown option '--flagg' for demo"},
        {"a short name is not a prefix of a flag",
         {"-hx"},
         {},
         "",
         "none",
         false,
         false,
         "custpolicy: unknown option '-hx' for demo"},
        {"missing value at the end",
         {"--file"},
         {},
         "",
         "none",
         false,
         false,
         "custpolicy: --file needs a value: --file FILE"},
        {"empty value",
         {"--file=", "a"},
         {"a"},
         "",
         "none",
         false,
         false,
         "custpolicy: --file needs a value: --file FILE"},
        {"an optional value given empty",
         {"--verbose="},
         {},
         "",
         "none",
         false,
         false,
         "custpolicy: --verbose needs a value: --verbose=LEVEL"},
        {"a flag takes no value",
         {"--flag=1"},
         {},
         "",
         "none",
         false,
         false,
         "custpolicy: --flag takes no value, got '--flag=1'"},
        {"the option's own refusal",
         {"-vx"},
         {},
         "",
         "none",
         false,
         false,
         "custpolicy: level x refused"},
        {"the first error is the one reported",
         {"--nope", "--flag=1"},
         {},
         "",
         "none",
         false,
         false,
         "custpolicy: unknown option '--nope' for demo"},
        {"help wins over an error before it",
         {"--nope", "--help"},
         {},
         "",
         "none",
         false,
         true,
         "custpolicy: unknown option '--nope' for demo"},
        {"help after '--' is an operand",
         {"--", "--help"},
         {"--help"},
         "",
         "none",
         false,
         false,
         ""},
    };
    for (const ParseCase& c : cases) {
        SCOPED_TRACE(c.why);
        std::string file;
        std::string level = "none";
        bool flag = false;
        const std::vector<custsim::Option> table = {
            custsim::textOption("--file", "FILE", "a file", file),
            custsim::flagOption("--flag", "a flag", flag),
            {"--verbose", "-v", custsim::Option::Value::Optional, "LEVEL", "a level",
             [&level](const std::string& value) -> std::optional<std::string> {
                 if (value == "x") return "level x refused";
                 level = value;
                 return std::nullopt;
             }},
        };
        const custsim::CommandLine line = {"demo", "", "", ""};
        const custsim::ParsedLine parsed = custsim::parseCommandLine(line, table, c.args);
        EXPECT_EQ(parsed.operands, c.operands);
        EXPECT_EQ(file, c.file);
        EXPECT_EQ(level, c.level);
        EXPECT_EQ(flag, c.flag);
        EXPECT_EQ(parsed.help, c.help);
        EXPECT_EQ(parsed.error.value_or(""), c.error[0] == '\0' ? "" : c.error + std::string(kSee));
    }
}

// Every command, through the command line: the same rules, the same message, the same exit code.
struct CommandCase {
    const char* command;
    const char* valueOption;  // an option of the command that needs a value
    int operandsAfterDashes;  // operands that make the command try to read "-x" as a file
};

TEST(ToolOptions, EveryCommandReadsTheLineByTheSameRules) {
    const CommandCase commands[] = {
        {"simulate", "--config", 2}, {"lint", "--device", 1},  {"sweep", "--jobs", 2},
        {"diff", "--device", 3},     {"check", "--config", 2}, {"coverage", "--config", 2},
        {"demo", nullptr, 0},
    };
    for (const CommandCase& c : commands) {
        SCOPED_TRACE(c.command);
        const std::string command = c.command;
        const std::string see = " (see 'custpolicy " + command + " --help')\n";
        ToolRun tool;

        EXPECT_EQ(tool.run({command, "--nope", "a", "b", "c"}), kExitFindings);
        EXPECT_EQ(tool.stderrText, "custpolicy: unknown option '--nope' for " + command + see);
        EXPECT_EQ(tool.stdoutText, "");

        EXPECT_EQ(tool.run({command, "--nope", "--help"}), kExitOk);
        const std::string help = tool.stdoutText;
        EXPECT_EQ(help.rfind("usage: custpolicy " + command, 0), 0u) << help;
        EXPECT_EQ(tool.stderrText, "");
        EXPECT_EQ(tool.run({"help", command}), kExitOk);
        EXPECT_EQ(tool.stdoutText, help);

        if (c.valueOption != nullptr) {
            const std::string option = c.valueOption;
            EXPECT_EQ(tool.run({command, option}), kExitFindings);
            EXPECT_EQ(tool.stderrText.rfind("custpolicy: " + option + " needs a value: ", 0), 0u)
                << tool.stderrText;
        }
        // After "--" an option-like word is a file: reading it fails as an input, not as usage.
        if (c.operandsAfterDashes > 0) {
            std::vector<std::string> args = {command, "--"};
            for (int i = 0; i < c.operandsAfterDashes; ++i)
                args.push_back("-x" + std::to_string(i) + ".toml");
            EXPECT_EQ(tool.run(args), kExitInputError) << tool.stderrText;
        }
    }
}

TEST(ToolOptions, UnknownCommandsExitOne) {
    const std::vector<std::vector<std::string>> lines = {
        {"nope"}, {"nope", "--help"}, {"help", "nope"}};
    for (const auto& line : lines) {
        ToolRun tool;
        EXPECT_EQ(tool.run(line), kExitFindings);
        EXPECT_EQ(tool.stderrText.rfind("custpolicy: unknown command 'nope'\n", 0), 0u);
        EXPECT_EQ(tool.stdoutText, "");
    }
}

// Two devices in one process, as diff holds them: each host session keeps its own tables, and
// runs alternating between them see each device's own answers and rows.
struct Expected {
    MSize sensorSize;
    std::string rowFile;
};

TEST(ToolHostSession, AlternatingDevicesKeepTheirOwnTables) {
    custsim::Diagnostics problems;
    custsim::OpenDevice before;
    custsim::OpenDevice after;
    ASSERT_TRUE(custsim::openDevice(kDevice, "", custsim::Findings::Skip, before, problems));
    ASSERT_TRUE(
        custsim::openDevice(kDevice, kAfterConfig, custsim::Findings::Skip, after, problems));
    const custsim::SessionSpec session =
        custsim::loadSession(kThirdPartySession, before.device(), problems);
    ASSERT_TRUE(problems.empty()) << problems[0].format();

    custsim::Simulator beforeRuns(*before.host);
    custsim::Simulator afterRuns(*after.host);
    const Expected kBefore = {{4000, 3000}, before.device().configFile};
    const Expected kAfter = {{2000, 1500}, kAfterConfig};
    struct Step {
        const char* why;
        custsim::Simulator* simulator;
        const Expected* expected;
    };
    const Step steps[] = {
        {"before, first run", &beforeRuns, &kBefore},
        {"after, its tables taken into the store", &afterRuns, &kAfter},
        {"before again, its tables given back", &beforeRuns, &kBefore},
        {"before twice in a row", &beforeRuns, &kBefore},
        {"after again", &afterRuns, &kAfter},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.why);
        const custsim::SessionRun run = step.simulator->run(session);
        ASSERT_FALSE(run.sensors.empty());
        const custsim::Decision& sensor = run.sensors[0];
        EXPECT_EQ(sensor.record.sensorSize.w, step.expected->sensorSize.w);
        EXPECT_EQ(sensor.record.sensorSize.h, step.expected->sensorSize.h);
        ASSERT_TRUE(sensor.row.has_value());
        EXPECT_EQ(sensor.row->file, step.expected->rowFile);
    }
    // A simulator that ends does not stop the row-read record of the others on its host.
    { custsim::Simulator shortLived(*before.host); }
    beforeRuns.setTrace(true);
    const custsim::SessionRun run = beforeRuns.run(session);
    ASSERT_FALSE(run.traces.empty());
    EXPECT_FALSE(run.traces[0].settingRowReads.empty());
    EXPECT_TRUE(run.sensors[0].row.has_value());
}

}  // namespace
