#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "checks/lint.h"
#include "tool_test_support.h"

namespace {

struct LintCase {
    const char* why;
    const char* config;
    const char* finding;  // expected "line: severity: where: message" start ("\n": the whole
                          // line); "" for none
};

// Each seeded fault is reported at its line (among whatever else it causes); a clean table
// reports nothing.
const LintCase kLintCases[] = {
    {"a clean table", "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\nMode[1] = -1, 1, 0\n", ""},
    {"row 0 of the wrong width ignores the whole Mode table",
     "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3, 4\nMode[1] = -1, 1, 0\n",
     "2: error: [CommonSensorSettingMap] Mode[0]: row 0 has 4 integers, the reader expects 3: the "
     "whole table is ignored"},
    {"row 0 of the wrong width ignores one group only",
     "[ThirdCamSensorSettingMap]\napp[0] = 0, 1, 0, 500, -1, 1920, 0\nAllCamApp[0] = 0, -1, -1, "
     "-1, "
     "-1, -1, 0, 0\n",
     "2: error: [ThirdCamSensorSettingMap] app[0]: row 0 has 7 integers, the reader expects 8: the "
     "whole group is ignored"},
    {"a later row of another width ends the lookup",
     "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\nMode[1] = 0, 0\n",
     "3: error: [CommonSensorSettingMap] Mode[1]: row has 2 integers, not 3: its read fails, which "
     "ends the lookup"},
    {"a later row of another width is skipped by the size readers",
     "[CameraCustomRrzoSize]\nAllCamApp[0] = 0, -1, 0, 1920, 1080\nAllCamApp[1] = 0, -1, 0, 1920\n",
     "3: error: [CameraCustomRrzoSize] AllCamApp[1]: row has 4 integers, not 5: its read fails and "
     "the row is skipped"},
    {"a row behind a wildcard row of the same group never matches",
     "[CommonSensorSettingMap]\nMode[0] = -1, 0, 3\nMode[1] = 1, 0, 4\n",
     "3: error: [CommonSensorSettingMap] Mode[1]: row can never match: Mode[0] (line 2: -1, 0, 3) "
     "matches everything it matches"},
    {"a larger ceiling shadows a smaller one",
     "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, 0, 3840, -1, -1, -1, 2, 0\n"
     "Mode[1] = -1, -1, 0, 1920, -1, -1, -1, 0, 0\n",
     "3: error: [SystemCamSensorSettingMap] Mode[1]: row can never match: Mode[0]"},
    {"a lower exclusive floor shadows a higher one",
     "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, 500, -1, -1, 0, 1\n"
     "AllCamApp[1] = 0, -1, -1, 700, -1, -1, 0, 2\n",
     "3: error: [ThirdCamSensorSettingMap] AllCamApp[1]: row can never match: AllCamApp[0]"},
    {"a lower thermal threshold shadows a higher one",
     "[ThirdCamSensorSettingMapByThermal]\nact[0] = 0, 40, 0\nact[1] = 0, 45, 1\n",
     "3: error: [ThirdCamSensorSettingMapByThermal] act[1]: row can never match: act[0]"},
    {"a negative aspect-ratio floor never matches (compared unsigned)",
     "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, -2, -1, -1, 0, 1\n",
     "2: error: [ThirdCamSensorSettingMap] AllCamApp[0]: row can never match: column 3 is -2"},
    {"a scenario outside 0..255",
     "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, 0, -1, -1, -1, -1, 300, 0\n",
     "2: error: [SystemCamSensorSettingMap] Mode[0]: scenario 300 in column 7 is outside 0..255"},
    {"a seamless flag value where a seamless code was meant",
     "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, 0, -1, -1, -1, -1, 5, 0x801\n",
     "2: warning: [SystemCamSensorSettingMap] Mode[0]: seamless code 0x801 is neither 5 nor 4, so "
     "the row fixes no seamless scenario (0x801 are the flags of code 5: write 5)"},
    {"a misspelt table name", "[CommonSensorSetingMap]\nMode[0] = 1, 0, 3\n",
     "1: error: [CommonSensorSetingMap]: unknown table: no policy reads it (did you mean "
     "\"CommonSensorSettingMap\"?)"},
    {"a misspelling as far as a suggestion goes, on the longest name",
     "[ThirdCamSensorSettingMapByActivityXXXX]\nMode[0] = 1, 0, 3\n",
     "1: error: [ThirdCamSensorSettingMapByActivityXXXX]: unknown table: no policy reads it (did "
     "you mean \"ThirdCamSensorSettingMapByActivity\"?)"},
    {"a name too far from any table gets no suggestion",
     "[SensorSettingMap]\nMode[0] = 1, 0, 3\n",
     "1: error: [SensorSettingMap]: unknown table: no policy reads it\n"},
    {"a gap in the row keys", "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\nMode[2] = 0, 0, 1\n",
     "3: error: [CommonSensorSettingMap] Mode[1]: row is missing: its read fails, which ends the "
     "lookup"},
    {"a padded row key is never read",
     "[CameraCustomSensorSize]\nAllCamApp[0] = 0, -1, 0, 0, 2250\nAllCamApp[01] = 1, -1, 0, 0, "
     "1836\n",
     "3: error: [CameraCustomSensorSize] AllCamApp[01]: row key is never read"},
    {"a group without row 0 is ignored",
     "[ThirdCamSensorSettingMapByActivity]\nact[1] = -1, 2, 1, 0, -1, -1, 1280, 0, 0\n"
     "act[2] = -1, 2, 1, 0, -1, -1, 1280, 0, 0\n",
     "2: error: [ThirdCamSensorSettingMapByActivity] act[0]: there is no row 0, whose width the "
     "reader checks first: the whole group is ignored"},
    {"entries outside locale Mode in a Mode table",
     "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\nOther[0] = 1, 0, 3\n",
     "3: error: [CommonSensorSettingMap] Other[0]: only locale \"Mode\" is read"},
};

TEST(ToolLint, SeededFaultsAreReportedAtTheirLine) {
    for (const LintCase& c : kLintCases) {
        SCOPED_TRACE(c.why);
        const custsim::LintResult result = custsim::lintConfigText(c.config, "t.config");
        ASSERT_TRUE(result.loaded) << result.loadError;
        if (c.finding[0] == '\0') {
            EXPECT_TRUE(result.findings.empty())
                << custsim::formatFinding("t.config", result.findings.front());
            continue;
        }
        std::string all;
        bool found = false;
        for (const custsim::LintFinding& finding : result.findings) {
            const std::string text = custsim::formatFinding("t.config", finding);
            found = found || (text + "\n").rfind(std::string("t.config:") + c.finding, 0) == 0;
            all += text + "\n";
        }
        EXPECT_TRUE(found) << all;
    }
}

std::string manyErrors(int count) {
    std::string text = "[T]\n";
    for (int i = 0; i < count; ++i) text += "x[" + std::to_string(i) + "] = y\n";
    return text;
}

struct HostileCase {
    const char* why;
    std::string content;  // written to t.config; ignored when `path` is set
    const char* path;     // an existing path to lint instead
    int exitCode;
    std::string expected;  // a line (or line start) of stdout + stderr
};

// Hostile and odd files each get a clear answer and a documented exit code; the answers name the
// file, and the line and column where there is one.
TEST(ToolLint, HostileFilesGetAClearAnswer) {
    using namespace std::string_literals;
    const HostileCase kCases[] = {
        {"a clean file says so", "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\n", nullptr, 0,
         "t.config: 1 table, 1 row: no findings"},
        {"a warning alone passes",
         "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, 0, -1, -1, -1, -1, 5, 3\n", nullptr, 0,
         "t.config: 1 table, 1 row: 0 errors, 1 warning"},
        {"an error fails", "[CommonSensorSettingMap]\nMode[0] = 1, 0\n", nullptr, 1,
         "t.config:2: error: [CommonSensorSettingMap] Mode[0]: row 0 has 2 integers"},
        {"an empty file", "", nullptr, 0, "t.config:1: warning: no tables: the file holds no"},
        {"comments only", "# a\n\n  # b\n", nullptr, 0, "t.config:1: warning: no tables"},
        {"CR-only line ends are line ends", "[CommonSensorSettingMap]\rMode[0] = 1, 0, 3\r",
         nullptr, 0, "t.config: 1 table, 1 row: no findings"},
        {"every syntax error of the file", "[T]\nx = 1\n[U\nM[] = 1\nM[0] = 1,\nM[1] = 0x\n",
         nullptr, 2, "t.config:6:8: expected hexadecimal digits after '0x'"},
        {"errors past the cap are counted", manyErrors(hostconfig::kMaxListedProblems + 5), nullptr,
         2, "t.config: 5 more problems not listed"},
        {"UTF-16", "\xFF\xFE[\0T\0]\0"s, nullptr, 2,
         "t.config:1:1: the file is UTF-16 text, not UTF-8: save it as UTF-8"},
        {"binary junk",
         "[T]\n\x7F"
         "ELF\xC3\x28\n"s,
         nullptr, 2,
         "t.config:2:5: the file is not UTF-8 text: byte 0xC3 starts no UTF-8 character"},
        {"a NUL byte", "[T]\nx[0] = 1\0"s, nullptr, 2,
         "t.config:2:9: the file is not text: it holds a NUL byte"},
        {"terminal escapes in names are escaped", "[\x1B[31mRed]\n\"\x1B]0;t\x07x[0]\" = 1\n",
         nullptr, 1, "t.config:1: error: [\\x1B[31mRed]: unknown table"},
        {"a long name is cut", "[" + std::string(5000, 'N') + "]\nx[0] = 1\n", nullptr, 1,
         "t.config:1: error: [" + std::string(80, 'N') + "...]: unknown table: no policy reads it"},
        {"a directory", "", "/", 2, "/: is a directory, not a configuration file"},
        {"a device file", "", "/dev/zero", 2, "/dev/zero: is not a regular file"},
        {"a pipe without a writer is refused, not waited on", "", "fifo", 2,
         "t.fifo: is not a regular file"},
        {"a missing file", "", "/nonexistent.config", 2,
         "/nonexistent.config: cannot open the file: No such file or directory"},
    };
    for (const HostileCase& c : kCases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        std::string path = c.path != nullptr ? c.path : tool.write("t.config", c.content);
        if (path == "fifo") {  // written first, so that the scratch directory removes it
            path = tool.write("t.fifo", "");
            ASSERT_EQ(unlink(path.c_str()), 0);
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        }
        EXPECT_EQ(tool.run({"lint", path}), c.exitCode);
        const std::string all = "\n" + tool.stdoutText + tool.stderrText;
        const std::string expected = c.expected[0] == '/' ? c.expected : tool.path(c.expected);
        EXPECT_NE(all.find("\n" + expected), std::string::npos) << all;
    }
}

}  // namespace
