#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "expect_writer.h"
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

}  // namespace
