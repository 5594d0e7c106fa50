#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tool_test_support.h"

namespace {

using custsim::kExitFindings;
using custsim::kExitInputError;

// An inline base session for the sweep files below: 7 lines, so their own keys start at line 8.
const char kBase[] =
    "[session]\ndescription = \"preview\"\n[session.app]\nsystem = true\n[[session.stream]]\n"
    "format = \"IMPLEMENTATION_DEFINED\"\nsize = [1920, 1080]\n";

struct SweepCase {
    const char* why;
    std::string sweep;               // the sweep file
    std::vector<std::string> flags;  // before the files
    int exitCode;
    const char* error;  // expected on stderr
};

// A bad sweep file or command line is refused before any point runs, with file:line and key path
// for the file, and with a bounded cost however many points it asks for.
TEST(ToolSweep, RefusesBadSweepsBeforeRunning) {
    const std::string base = kBase;
    const SweepCase cases[] = {
        {"misspelt axis, with a suggestion",
         base + "[axes]\ntempreature = [30]\n",
         {},
         2,
         "sweep.toml:9:1: axes.tempreature: unknown key 'tempreature' (did you mean "
         "'temperature'?)"},
        {"an empty axis",
         base + "[axes]\ntemperature = []\n",
         {},
         2,
         "sweep.toml:9:15: axes.temperature: lists no value"},
        {"no axis at all", base + "[axes]\n", {}, 2, "axes: names no axis"},
        {"the product of the axes over the cap",
         base + "[axes]\ntemperature = {from = 0, to = 1000}\nhdr_mode = {from = 0, to = 1000}\n",
         {},
         2,
         "axes: the axes give 1001 hdr_mode x 1001 temperature points, more than the cap of "
         "1000000"},
        {"a lower cap from the command line",
         base + "[axes]\ntemperature = {from = 0, to = 4}\nhdr_mode = [0, 1, 2]\n",
         {"--max-points", "10"},
         2,
         "axes: the axes give 3 hdr_mode x 5 temperature points, more than the cap of 10"},
        {"a range too large to expand",
         base + "[axes]\ntemperature = {from = -2147483648, to = 2147483647}\n",
         {},
         2,
         "axes.temperature: the range has 4294967296 values, over the cap"},
        {"a range that never advances",
         base + "[axes]\ntemperature = {from = 1, to = 2, step = 0}\n",
         {},
         2,
         "axes.temperature.step: value 0 out of range 1 .. 4294967295"},
        {"a range that ends before it starts",
         base + "[axes]\ntemperature = {from = 20, to = 10}\n",
         {},
         2,
         "axes.temperature.to: the range ends (10) before it starts (20)"},
        {"a zero stream size",
         base + "[axes]\nstream_size = [[0, 1080]]\n",
         {},
         2,
         "axes.stream_size[0][0]: value 0 out of range 1 .. 2147483647"},
        {"an unknown set of sizes",
         base + "[axes]\nstream_size = \"wide\"\n",
         {},
         2,
         "axes.stream_size: unknown size set 'wide' (known: 16:9, 4:3, common)"},
        {"an fps range whose low end is above its high end",
         base + "[axes]\nfps_range = [[60, 30]]\n",
         {},
         2,
         "axes.fps_range[0]: expected a rate or a [low, high] range"},
        {"a value listed twice",
         base + "[axes]\ntemperature = [30, 40, 30]\n",
         {},
         2,
         "axes.temperature: value 30 is listed twice"},
        {"a sensor the device lacks",
         base + "[axes]\nsensor = [4]\n",
         {},
         2,
         "axes.sensor: the device has no sensor 4"},
        {"an application both system and third-party",
         base + "[axes]\n[[axes.app]]\ncaller = \"a\"\nthird_party = true\n",
         {},
         2,
         "axes.app[0].third_party: an application cannot be both"},
        {"a map axis the sweep does not vary",
         base + "[axes]\ntemperature = [30]\n[map]\nx = \"fps_range\"\n",
         {},
         2,
         "map.x: the sweep has no axis 'fps_range'"},
        {"no base session",
         "[axes]\ntemperature = [30]\n",
         {},
         2,
         "session: missing required value"},
        {"an inline session is checked as a session file",
         "[session]\ndescription = \"p\"\n[session.app]\nsystem = 1\n[[session.stream]]\n"
         "format = 0x22\nsize = [1, 1]\n[axes]\ntemperature = [30]\n",
         {},
         2,
         "sweep.toml:4:10: session.app.system: expected true or false, got integer"},
        {"not TOML", "[axes\n", {}, 2, "sweep.toml:1:"},
        {"no workers",
         base + "[axes]\ntemperature = [30]\n",
         {"--jobs", "0"},
         1,
         "--jobs needs a number of workers, 1 to 256, got '0'"},
        {"a map axis the command line names wrongly",
         base + "[axes]\ntemperature = [30]\n",
         {"--x", "sensor"},
         1,
         "--x 'sensor' is not a map axis"},
    };
    for (const SweepCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        std::vector<std::string> args = {"sweep"};
        args.insert(args.end(), c.flags.begin(), c.flags.end());
        args.push_back(tool.write("device.toml", kMinimalDevice));
        args.push_back(tool.write("sweep.toml", c.sweep));
        EXPECT_EQ(tool.run(args), c.exitCode);
        EXPECT_NE(tool.stderrText.find(c.error), std::string::npos) << tool.stderrText;
        EXPECT_EQ(tool.stdoutText, "");
    }
}

}  // namespace
