#include <gtest/gtest.h>

#include <string>

#include "lint.h"
#include "tool_test_support.h"

namespace {

struct LintCase {
    const char* why;
    const char* config;
    const char* finding;  // expected "line: severity: where: message" start; "" for none
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
     "2: warning: [SystemCamSensorSettingMap] Mode[0]: seamless code 2049 is neither 5 nor 4, so "
     "the row fixes no seamless scenario (0x801 are the flags of code 5: write 5)"},
    {"a misspelt table name", "[CommonSensorSetingMap]\nMode[0] = 1, 0, 3\n",
     "1: error: [CommonSensorSetingMap]: unknown table: no policy reads it (did you mean "
     "\"CommonSensorSettingMap\"?)"},
    {"a gap in the row keys", "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\nMode[2] = 0, 0, 1\n",
     "3: error: [CommonSensorSettingMap] Mode[1]: row is missing: its read fails, which ends the "
     "lookup"},
    {"a padded row key is never read",
     "[CameraCustomSensorSize]\nAllCamApp[0] = 0, -1, 0, 0, 2250\nAllCamApp[01] = 1, -1, 0, 0, "
     "1836\n",
     "3: error: [CameraCustomSensorSize] AllCamApp[01]: row key is never read"},
    {"a group without row 0 is ignored",
     "[ThirdCamSensorSettingMapByActivity]\nact[1] = -1, 2, 1, 0, -1, -1, 1280, 0, 0\n",
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
            found = found || text.rfind(std::string("t.config:") + c.finding, 0) == 0;
            all += text + "\n";
        }
        EXPECT_TRUE(found) << all;
    }
}

TEST(ToolLint, ExitCodesFollowTheWorstFinding) {
    ToolRun tool;
    const std::string clean =
        tool.write("clean.config", "[CommonSensorSettingMap]\nMode[0] = 1, 0, 3\n");
    const std::string warned =
        tool.write("warned.config",
                   "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, 0, -1, -1, -1, -1, 5, 3\n");
    const std::string broken =
        tool.write("broken.config", "[CommonSensorSettingMap]\nMode[0] = 1, 0\n");
    const std::string unparsable = tool.write("bad.config", "Mode[0] = 1\n");
    EXPECT_EQ(tool.run({"lint", clean}), custsim::kExitOk);
    EXPECT_EQ(tool.stdoutText, "");
    EXPECT_EQ(tool.run({"lint", warned}), custsim::kExitOk) << "a warning alone passes";
    EXPECT_NE(tool.stdoutText.find("warned.config:2: warning:"), std::string::npos)
        << tool.stdoutText;
    EXPECT_EQ(tool.run({"lint", clean, broken}), custsim::kExitFindings);
    EXPECT_NE(tool.stdoutText.find("broken.config:2: error:"), std::string::npos)
        << tool.stdoutText;
    EXPECT_EQ(tool.run({"lint", unparsable}), custsim::kExitInputError);
    EXPECT_NE(tool.stderrText.find("bad.config:1:"), std::string::npos) << tool.stderrText;
    EXPECT_EQ(tool.run({"lint", tool.path("absent.config")}), custsim::kExitInputError);
}

}  // namespace
