#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tool_test_support.h"

namespace {

using custsim::kExitFindings;
using custsim::kExitInputError;
using custsim::kExitOk;

struct InputCase {
    const char* why;
    const char* device;   // device profile text; null: the minimal device
    const char* session;  // session text; null: the minimal session
    const char* error;    // expected on stderr after the scratch directory's path
};

// Every malformed input is refused before anything runs, with file, line, column and key path.
const InputCase kInputCases[] = {
    {"misspelt top-level key of the profile, with a suggestion", "nmae = \"x\"\n", nullptr,
     "/device.toml:1:1: nmae: unknown key 'nmae' (did you mean 'name'?)"},
    {"profile value of the wrong type",
     "name = \"x\"\n[[sensor]]\nindex = \"0\"\n[sensor.capability]\nnew_setting_policy = false\n"
     "new_rrzo_policy = false\n[[sensor.mode]]\nscenario = 0\nfps = 30\nsize = [1, 1]\n",
     nullptr, "/device.toml:3:9: sensor[0].index: expected an integer, got string"},
    {"a sensor without its capability answers",
     "name = \"x\"\n[[sensor]]\nindex = 0\n[[sensor.mode]]\nscenario = 0\nfps = 30\nsize = [1, "
     "1]\n",
     nullptr, "/device.toml:2:1: sensor[0].capability: missing required value"},
    {"scenario ids stop at 255",
     "name = \"x\"\n[[sensor]]\nindex = 0\n[sensor.capability]\nnew_setting_policy = false\n"
     "new_rrzo_policy = false\n[[sensor.mode]]\nscenario = 256\nfps = 30\nsize = [1, 1]\n",
     nullptr, "/device.toml:8:12: sensor[0].mode[0].scenario: value 256 out of range 0 .. 255"},
    {"a size needs exactly two values",
     "name = \"x\"\n[[sensor]]\nindex = 0\npixel_array = [1, 2, 3]\n[sensor.capability]\n"
     "new_setting_policy = false\nnew_rrzo_policy = false\n[[sensor.mode]]\nscenario = 0\n"
     "fps = 30\nsize = [1, 1]\n",
     nullptr, "/device.toml:4:15: sensor[0].pixel_array: expected [width, height], got 3 values"},
    {"the profile's configuration file must be readable",
     "name = \"x\"\nconfig = \"absent.config\"\n[[sensor]]\nindex = 0\n[sensor.capability]\n"
     "new_setting_policy = false\nnew_rrzo_policy = false\n[[sensor.mode]]\nscenario = 0\n"
     "fps = 30\nsize = [1, 1]\n",
     nullptr, "/device.toml:2:10: config: configuration file "},
    {"an out-of-range sensor index is reported once, not also as a duplicate",
     "name = \"x\"\n[[sensor]]\nindex = 40\n[sensor.capability]\nnew_setting_policy = false\n"
     "new_rrzo_policy = false\n[[sensor.mode]]\nscenario = 0\nfps = 30\nsize = [1, 1]\n"
     "[[sensor]]\nindex = 0\n[sensor.capability]\nnew_setting_policy = false\n"
     "new_rrzo_policy = false\n[[sensor.mode]]\nscenario = 0\nfps = 30\nsize = [1, 1]\n",
     nullptr, "out of range 0 .. 31\ncustpolicy: 1 problem in the inputs"},
    {"a profile that is not TOML", "name = \n", nullptr, "/device.toml:1:"},
    {"misspelt key in a session table, with a suggestion", nullptr,
     "description = \"x\"\n[app]\nsystem = true\ncalller = \"a\"\n[[stream]]\nformat = 0x22\n"
     "size = [1, 1]\n",
     "/session.toml:4:1: app.calller: unknown key 'calller' (did you mean 'caller'?)"},
    {"session value of the wrong type", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[session_params]\nfps_range = \"30\"\n[[stream]]\n"
     "format = 0x22\nsize = [1, 1]\n",
     "/session.toml:5:13: session_params.fps_range: expected an array of integers, got string"},
    {"a session without streams", nullptr, "description = \"x\"\n[app]\nsystem = true\n",
     "/session.toml:1:1: stream: missing required value"},
    {"a session on a sensor the device lacks", nullptr,
     "description = \"x\"\nsensors = [5]\n[app]\nsystem = true\n[[stream]]\nformat = 0x22\n"
     "size = [1, 1]\n",
     "/session.toml:2:11: sensors: the device has no sensor 5"},
    {"a session lists each sensor once", nullptr,
     "description = \"x\"\nsensors = [1, 1]\n[app]\nsystem = true\n[[stream]]\nformat = 0x22\n"
     "size = [1, 1]\n",
     "/session.toml:2:11: sensors: sensor 1 is listed twice"},
    {"an empty sensor list is refused, not read as every sensor", nullptr,
     "description = \"x\"\nsensors = []\n[app]\nsystem = true\n[[stream]]\nformat = 0x22\n"
     "size = [1, 1]\n",
     "/session.toml:2:11: sensors: lists no sensor"},
    {"an unknown format name lists the known ones", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[[stream]]\nformat = \"NV21\"\nsize = [1, 1]\n",
     "/session.toml:5:10: stream[0].format: unknown name 'NV21' (known: RGB_888,"},
    {"usage names are names, not numbers, inside an array", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[[stream]]\nformat = 0x22\n"
     "usage = [\"HW_TEXTURE\", 4]\nsize = [1, 1]\n",
     "/session.toml:6:24: stream[0].usage[1]: expected a name, got integer"},
    {"the engineering sensor mode is one byte", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[session_params]\nengineer_sensor_mode = 300\n"
     "[[stream]]\nformat = 0x22\nsize = [1, 1]\n",
     "/session.toml:5:24: session_params.engineer_sensor_mode: value 300 out of range 0 .. 255"},
    {"the system camera is not a third-party app", nullptr,
     "description = \"x\"\n[app]\nsystem = true\nthird_party = true\n[[stream]]\nformat = 0x22\n"
     "size = [1, 1]\n",
     "/session.toml:4:15: app.third_party: an application cannot be both"},
    {"two streams with one id", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[[stream]]\nid = 3\nformat = 0x22\nsize = [1, 1]\n"
     "[[stream]]\nid = 3\nformat = 0x22\nsize = [1, 1]\n",
     "/session.toml:9:6: stream[1].id: stream id 3 is given twice"},
    {"a one-byte entry holds values up to 255", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[[session_params.entry]]\ntag = 1\n"
     "type = \"uint8\"\nvalues = [255, 256]\n[[stream]]\nformat = 0x22\nsize = [1, 1]\n",
     "/session.toml:7:16: session_params.entry[0].values[1]: value 256 out of range 0 .. 255"},
    {"an expected scenario is one value or \"none\", never a list", nullptr,
     "description = \"x\"\n[app]\nsystem = true\n[[stream]]\nformat = 0x22\nsize = [1, 1]\n"
     "[[expect]]\nsensor = 0\nscenario = [\"none\"]\n",
     "/session.toml:9:12: expect[0].scenario: expected an integer or a name, got array"},
};

TEST(ToolInputs, MalformedInputsAreRefusedWithFileLineAndKeyPath) {
    for (const InputCase& c : kInputCases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        const std::string device = tool.write("device.toml", c.device ? c.device : kMinimalDevice);
        const std::string session =
            tool.write("session.toml", c.session ? c.session : kMinimalSession);
        EXPECT_EQ(tool.run({"simulate", device, session}), kExitInputError);
        const std::string expected = c.error[0] == '/' ? tool.path("") + (c.error + 1) : c.error;
        EXPECT_NE(tool.stderrText.find(expected), std::string::npos)
            << "expected: " << expected << "\nstderr: " << tool.stderrText;
        EXPECT_NE(tool.stderrText.find("nothing was run"), std::string::npos) << tool.stderrText;
        EXPECT_EQ(tool.stdoutText, "") << "nothing may be half-run";
    }
}

TEST(ToolInputs, OneBadSessionStopsTheWholeRun) {
    ToolRun tool;
    const std::string device = tool.write("device.toml", kMinimalDevice);
    const std::string good = tool.write("good.toml", kMinimalSession);
    const std::string bad = tool.write("bad.toml", "description = 1\n");
    EXPECT_EQ(tool.run({"simulate", device, good, bad}), kExitInputError);
    EXPECT_EQ(tool.stdoutText, "");
    // Every problem of the file is listed, not only the first.
    EXPECT_NE(tool.stderrText.find("bad.toml:1:15: description: expected a string, got integer"),
              std::string::npos)
        << tool.stderrText;
    EXPECT_NE(tool.stderrText.find("bad.toml:1:1: app: missing required value"), std::string::npos)
        << tool.stderrText;
}

TEST(ToolInputs, UnreadableFilesAreInputErrors) {
    ToolRun tool;
    const std::string device = tool.write("device.toml", kMinimalDevice);
    EXPECT_EQ(tool.run({"simulate", device, tool.path("missing.toml")}), kExitInputError);
    EXPECT_NE(tool.stderrText.find(tool.path("missing.toml") + ": cannot open the file"),
              std::string::npos)
        << tool.stderrText;
    EXPECT_EQ(tool.run({"simulate", tool.path("nodevice.toml"), tool.path("missing.toml")}),
              kExitInputError);
    EXPECT_NE(tool.stderrText.find(tool.path("nodevice.toml") + ": cannot open the file"),
              std::string::npos)
        << tool.stderrText;
}

// The annotated examples of the documentation use every key; they must stay valid.
TEST(ToolInputs, DocumentedExamplesAreValid) {
    std::ifstream in(CUSTPOLICY_SOURCE_DIR "/docs/simulator.md");
    std::stringstream text;
    text << in.rdbuf();
    std::vector<std::string> blocks;
    const std::string doc = text.str();
    const std::string open = "```toml\n";
    for (size_t at = doc.find(open); at != std::string::npos; at = doc.find(open, at)) {
        at += open.size();
        blocks.push_back(doc.substr(at, doc.find("```", at) - at));
    }
    ASSERT_EQ(blocks.size(), 2u) << "a profile and a session";
    const std::string relativeConfig = "config = \"CameraHWConfiguration.config\"";
    const size_t config = blocks[0].find(relativeConfig);
    ASSERT_NE(config, std::string::npos);
    blocks[0].replace(config, relativeConfig.size(),
                      "config = \"" CUSTPOLICY_SOURCE_DIR
                      "/examples/device/CameraHWConfiguration.config\"");
    ToolRun tool;
    const std::string device = tool.write("device.toml", blocks[0]);
    const std::string session = tool.write("session.toml", blocks[1]);
    EXPECT_EQ(tool.run({"simulate", device, session}), kExitOk) << tool.stderrText;
    EXPECT_EQ(tool.stderrText, "");
}

struct UsageCase {
    const char* why;
    std::vector<std::string> args;
    int exitCode;
    const char* expected;  // on stdout for 0, on stderr otherwise
};

TEST(ToolCommandLine, UsageErrorsAndHelp) {
    const UsageCase cases[] = {
        {"unknown command", {"simulat"}, kExitFindings, "unknown command 'simulat'"},
        {"simulate needs a session",
         {"simulate", "device.toml"},
         kExitFindings,
         "needs a device profile and at least one session"},
        {"unknown option",
         {"simulate", "--jsn", "a", "b"},
         kExitFindings,
         "unknown option '--jsn'"},
        {"detail level is one digit",
         {"simulate", "-v12", "a", "b"},
         kExitFindings,
         "detail level must be a digit"},
        {"demo takes no files", {"demo", "x.toml"}, kExitFindings, "demo takes no files"},
        {"lint needs a file", {"lint"}, kExitFindings, "lint needs a configuration file"},
        {"main help", {"--help"}, kExitOk, "commands:"},
        {"help on simulate", {"simulate", "--help"}, kExitOk, "usage: custpolicy simulate"},
        {"help on demo", {"demo", "-h"}, kExitOk, "usage: custpolicy demo"},
        {"help on lint", {"lint", "--help"}, kExitOk, "usage: custpolicy lint"},
        {"help topic", {"help", "lint"}, kExitOk, "usage: custpolicy lint"},
    };
    for (const UsageCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        EXPECT_EQ(tool.run(c.args), c.exitCode);
        const std::string& text = c.exitCode == kExitOk ? tool.stdoutText : tool.stderrText;
        EXPECT_NE(text.find(c.expected), std::string::npos) << text;
    }
}

}  // namespace
