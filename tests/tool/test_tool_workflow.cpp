#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "reports/expect_writer.h"
#include "tool_test_support.h"

namespace {

using custsim::kExitOk;

const char kNew[] = "[[expect]]\nsensor = 9\n";

struct ReplaceCase {
    const char* why;
    const char* text;
    const char* expected;
};

TEST(ToolWorkflow, RecordReplacesOnlyTheExpectTables) {
    const ReplaceCase cases[] = {
        {"no table yet: appended after a blank line, a missing last newline added",
         "a = 1\n[app]\nb = 2", "a = 1\n[app]\nb = 2\n\n[[expect]]\nsensor = 9\n"},
        {"replaced in place; the comment before the next header stays with it",
         "a = 1\n\n[[expect]]\nsensor = 0\n\n# streams\n[[stream]]\nc = 3\n",
         "a = 1\n\n[[expect]]\nsensor = 9\n\n# streams\n[[stream]]\nc = 3\n"},
        {"two tables apart: all new tables where the first was, the second gone",
         "[[ expect ]] # old\nsensor = 0\n[app]\nb = 2\n[[expect]]\nsensor = 1\n",
         "[[expect]]\nsensor = 9\n[app]\nb = 2\n"},
        {"a header inside a multi-line string or array is no header",
         "d = \"\"\"\n[[expect]]\n\"\"\"\ne = [\n[1, 2],\n]\n",
         "d = \"\"\"\n[[expect]]\n\"\"\"\ne = [\n[1, 2],\n]\n\n[[expect]]\nsensor = 9\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(custsim::replaceExpectTables(c.text, kNew), c.expected);
    }
}

// Whatever a table or row name holds (quotes, backslashes, control characters, a header on a line
// of its own, text past ASCII), the recorded expectation reads back as the same string.
TEST(ToolWorkflow, RecordedNamesReadBackUnchanged) {
    const std::string names[] = {"Mode[1]", "a \"quoted\" \\ name\\", "line\nbreak\r\t\x01\x7f",
                                 "\n[[expect]]\nsensor = 0", "caf\xc3\xa9 \xe2\x80\xae"};
    ToolRun tool;
    custsim::Diagnostics problems;
    const custsim::DeviceProfile device =
        custsim::loadDeviceProfile(tool.write("device.toml", kMinimalDevice), problems);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        custsim::Expectation written;
        written.table = custsim::Expected<std::string>{name, 0};
        written.key = custsim::Expected<std::string>{name + "[0]", 0};
        const custsim::SessionSpec session = custsim::loadSessionText(
            std::string(kMinimalSession) + custsim::expectTablesText({written}), "s.toml", device,
            problems);
        ASSERT_TRUE(problems.empty()) << problems.front().message;
        ASSERT_EQ(session.expectations.size(), 1u);
        EXPECT_EQ(session.expectations[0].table->value, name);
        EXPECT_EQ(session.expectations[0].key->value, name + "[0]");
    }
}

TEST(ToolWorkflow, RecordedExpectationsPassAndKeepTheFile) {
    ToolRun tool;
    const std::string device = tool.write("device.toml", kMinimalDevice);
    const std::string head = std::string("# kept as written\n") + kMinimalSession;
    const std::string session = tool.write("s.toml", head);
    ASSERT_EQ(tool.run({"check", "--record", device, session}), kExitOk) << tool.stderrText;
    std::ostringstream text;
    text << std::ifstream(session).rdbuf();
    EXPECT_EQ(text.str().substr(0, head.size()), head);
    EXPECT_NE(text.str().find("[[expect]]\nsensor = 1\nscenario = "), std::string::npos);
    EXPECT_EQ(tool.run({"check", device, session}), kExitOk) << tool.stdoutText;
    ASSERT_EQ(tool.run({"check", "--record", device, session}), kExitOk);
    EXPECT_NE(tool.stdoutText.find("0 files rewritten"), std::string::npos) << tool.stdoutText;
}

// A device whose common table names scenario 7, which its only sensor lacks, for system-camera
// video; stills go to the feature chip.
const char kUnfilledDevice[] = R"(name = "unfilled"
config = "tables.config"
[[sensor]]
index = 0
pixel_array = [4000, 3000]
[sensor.capability]
new_setting_policy = false
new_rrzo_policy = false
[[sensor.mode]]
scenario = 0
fps = 30
size = [2000, 1500]
)";
const char kUnfilledTables[] = "[CommonSensorSettingMap]\nMode[0] = 0x8028, 0, 7\n";
std::string unfilledSession(const char* operationMode) {
    return std::string("description = \"x\"\noperation_mode = ") + operationMode +
           "\n[app]\nsystem = true\n[[stream]]\nformat = \"YCbCr_420_888\"\nsize = [1920, "
           "1080]\n";
}

TEST(ToolWorkflow, RecordRefusesANamedButUnfilledScenarioAndWritesNothing) {
    ToolRun tool;
    const std::string device = tool.write("device.toml", kUnfilledDevice);
    tool.write("tables.config", kUnfilledTables);
    // The good session comes first: it is not written either.
    const std::string good = tool.write("a-good.toml", unfilledSession("0"));
    const std::string bad = tool.write("b-bad.toml", unfilledSession("0x8028"));
    EXPECT_EQ(tool.run({"check", "--record", device, good, bad}), custsim::kExitFindings);
    EXPECT_NE(tool.stderrText.find(
                  bad + ":1: sensor 0: scenario 7 named by CommonSensorSettingMap Mode[0]"),
              std::string::npos)
        << tool.stderrText;
    for (const std::string& file : {good, bad}) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        EXPECT_EQ(text.str().find("[[expect]]"), std::string::npos) << file;
    }
    // Without the bad session the good one is recorded, and passes.
    ASSERT_EQ(tool.run({"check", "--record", device, good}), kExitOk) << tool.stderrText;
    EXPECT_EQ(tool.run({"check", device, good}), kExitOk) << tool.stdoutText;
}

struct RecordCase {
    const char* why;
    std::string expect;    // the session's expectation text after kMinimalSession
    std::string recorded;  // what --record leaves there
    bool atTop = false;    // an inline expect array goes before the session's tables
};

std::string sessionWith(const std::string& expect, bool atTop) {
    return atTop ? expect + kMinimalSession : kMinimalSession + expect;
}

// Sensor 0 of the minimal device gets no decision; sensor 1 gets scenario 1 at 60 fps.
TEST(ToolWorkflow, RecordChangesOnlyWhatItMust) {
    const std::string held =
        "\n[[expect]]  # main\nsensor = 0\nscenario = \"none\"   # no mode fits\n\n"
        "[[expect]]\nsensor = 1\n# fps left out on purpose\nscenario = 1\n";
    const RecordCase cases[] = {
        {"expectations that hold: byte for byte", held, held},
        {"an unmet value changes in place; comments, a left-out key and CRLF stay",
         "\r\n[[expect]]\r\nsensor = 1  # front\r\nscenario = 0   # was\r\n# no fps\r\n"
         "rrzo_size = [\r\n  1, 1]  # multi\r\n",
         "\r\n[[expect]]\r\nsensor = 1  # front\r\nscenario = 1   # was\r\n# no fps\r\n"
         "rrzo_size = [1920, 1080]  # multi\r\n"},
        {"a value in triple quotes is replaced whole, up to its comment",
         "\n[[expect]]\nsensor = 1\nscenario = '''none''' # was\n",
         "\n[[expect]]\nsensor = 1\nscenario = 1 # was\n"},
        {"a key the run has no value for loses its line",
         "\n[[expect]]\nsensor = 0\nfps = 30 # gone\nscenario = \"none\"\n",
         "\n[[expect]]\nsensor = 0\nscenario = \"none\"\n"},
        {"a value inside an inline table changes in place", "expect = [{sensor = 1, fps = 24}]\n",
         "expect = [{sensor = 1, fps = 60}]\n", true},
    };
    for (const RecordCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        const std::string device = tool.write("device.toml", kMinimalDevice);
        const std::string text = sessionWith(c.expect, c.atTop);
        const std::string session = tool.write("s.toml", text);
        ASSERT_EQ(tool.run({"check", "--record", device, session}), kExitOk) << tool.stderrText;
        std::ostringstream after;
        after << std::ifstream(session, std::ios::binary).rdbuf();
        EXPECT_EQ(after.str(), sessionWith(c.recorded, c.atTop));
        EXPECT_EQ(tool.run({"check", device, session}), kExitOk) << tool.stdoutText;
    }
}

// A value that cannot be written back (a key to remove from an inline table) stops the whole
// recording before any session is touched, and names the session.
TEST(ToolWorkflow, RecordIsAllOrNothing) {
    ToolRun tool;
    const std::string device = tool.write("device.toml", kMinimalDevice);
    const std::string fine = std::string(kMinimalSession) + "\n[[expect]]\nsensor = 1\nfps = 24\n";
    const std::string stuck = sessionWith("expect = [{sensor = 0, fps = 30}]\n", true);
    const std::string a = tool.write("a.toml", fine);
    const std::string b = tool.write("b.toml", stuck);
    EXPECT_EQ(tool.run({"check", "--record", device, a, b}), custsim::kExitInputError);
    EXPECT_NE(tool.stderrText.find(b + ": cannot record"), std::string::npos) << tool.stderrText;
    std::ostringstream afterA;
    afterA << std::ifstream(a, std::ios::binary).rdbuf();
    EXPECT_EQ(afterA.str(), fine);
}

}  // namespace
