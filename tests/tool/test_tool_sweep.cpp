#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "commands/commands.h"
#include "inputs/sweep_file.h"
#include "reports/sweep_changes.h"
#include "runner/sweep_runner.h"
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
         "axes.stream_size: unknown size set 'wide' (known: 16:9, 4:3, common, sensor)"},
        {"an unknown set among known ones is the one error",
         base + "[axes]\nstream_size = [\"common\", \"wide\", [4096, 3072]]\n",
         {},
         2,
         "sweep.toml:9:26: axes.stream_size[1]: unknown size set 'wide' (known: 16:9, 4:3, "
         "common, sensor)\ncustpolicy: 1 problem in the inputs"},
        {"a bad pair among sets",
         base + "[axes]\nstream_size = [\"4:3\", [0, 10]]\n",
         {},
         2,
         "axes.stream_size[1][0]: value 0 out of range 1 .. 2147483647"},
        {"something that is no size",
         base + "[axes]\nstream_size = [\"4:3\", [1, 2, 3]]\n",
         {},
         2,
         "axes.stream_size[1]: expected a [width, height] pair, the name of a set"},
        {"a number where a size goes is the one error",
         base + "[axes]\nstream_size = [5]\n",
         {},
         2,
         "axes.stream_size[0]: expected a [width, height] pair, the name of a set (16:9, 4:3, "
         "common, sensor) or a {from, to, step, ratio} range, got integer\ncustpolicy: 1 problem"},
        {"a size range without its ratio",
         base + "[axes]\nstream_size = {from = 640, to = 1280, step = 64}\n",
         {},
         2,
         "axes.stream_size.ratio: missing required value"},
        {"a size range whose ratio is not a pair",
         base + "[axes]\nstream_size = {from = 640, to = 1280, step = 64, ratio = [16]}\n",
         {},
         2,
         "axes.stream_size.ratio: expected [width, height]"},
        {"a size range whose ratio flattens a size to nothing",
         base + "[axes]\nstream_size = [{from = 1, to = 9, step = 4, ratio = [16, 9]}]\n",
         {},
         2,
         "axes.stream_size[0].ratio: width 1 gives a height of 0"},
        {"a size range too large to expand",
         base + "[axes]\nstream_size = {from = 1, to = 2147483647, step = 1, ratio = [1, 1]}\n",
         {},
         2,
         "axes.stream_size.to: the range has 2147483647 values, over the cap"},
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
        {"the cap raised to its ceiling is still a cap",
         base + "[axes]\ntemperature = {from = 0, to = 100000}\nhdr_mode = {from = 0, to = 1000}\n",
         {"--max-points", "100000000"},
         2,
         "axes: the axes give 1001 hdr_mode x 100001 temperature points, more than the cap of "
         "100000000"},
        {"no workers",
         base + "[axes]\ntemperature = [30]\n",
         {"--jobs", "0"},
         1,
         "--jobs needs a number of workers, 1 to 256, got '0'"},
        {"a configuration before the edit that cannot be read",
         base + "[axes]\ntemperature = [30]\n",
         {"--before", "/nonexistent/old.config"},
         2,
         "/nonexistent/old.config: configuration file: cannot open the file: No such file or "
         "directory"},
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

// The page never replaces an input, however its path is spelt.
TEST(ToolSweep, ThePageIsNeverAnInput) {
    ToolRun tool;
    const std::string text = std::string(kBase) + "[axes]\nhdr_mode = [0]\n";
    const std::string sweep = tool.write("sweep.toml", text);
    EXPECT_EQ(tool.run({"sweep", "--html", tool.path("./sweep.toml"),
                        tool.write("device.toml", kMinimalDevice), sweep}),
              kExitInputError);
    EXPECT_NE(tool.stderrText.find("is the input " + sweep + "; name another file"),
              std::string::npos)
        << tool.stderrText;
    std::ostringstream after;
    after << std::ifstream(sweep).rdbuf();
    EXPECT_EQ(after.str(), text);
}

struct SizeFormCase {
    const char* why;
    std::string axes;      // the [axes] table's lines
    const char* expected;  // the stream_size column, point by point
};

// Every form of the stream_size axis, alone and mixed, gives the sizes the documentation promises,
// in its order.
TEST(ToolSweep, StreamSizeForms) {
    const SizeFormCase cases[] = {
        {"pairs keep their order", "stream_size = [[1920, 1080], [640, 480]]\n",
         "1920x1080 640x480"},
        {"one pair alone", "stream_size = [1280, 720]\n", "1280x720"},
        {"a set and pairs by area, a size the set repeats taken once",
         "stream_size = [\"16:9\", [1920, 1080], [800, 600]]\n",
         "640x360 800x600 1280x720 1920x1080 2560x1440 3840x2160"},
        {"the sensor set: the modes of every sensor the session runs", "stream_size = \"sensor\"\n",
         "1920x1080 2000x1500 4000x3000"},
        {"the sensor set follows the sensor axis", "sensor = [1]\nstream_size = [\"sensor\"]\n",
         "1920x1080 2000x1500"},
        {"a range keeps the ratio, heights rounded down to even",
         "stream_size = {from = 640, to = 1000, step = 180, ratio = [4, 3]}\n",
         "640x480 820x614 1000x750"},
        {"a range and a set share their sizes",
         "stream_size = [\"4:3\", {from = 1280, to = 1920, step = 640, ratio = [4, 3]}]\n",
         "640x480 1280x960 1440x1080 1920x1440 2560x1920 3264x2448 4000x3000"},
    };
    for (const SizeFormCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        ASSERT_EQ(
            tool.run({"sweep", "--csv", "--jobs", "1", tool.write("device.toml", kMinimalDevice),
                      tool.write("sweep.toml", std::string(kBase) + "[axes]\n" + c.axes)}),
            0)
            << tool.stderrText;
        // The column of the axis, once per point (a point has a row per sensor).
        std::istringstream rows(tool.stdoutText);
        std::string row;
        std::getline(rows, row);
        const size_t column = std::count(row.begin(), row.begin() + row.find("stream_size"), ',');
        std::string sizes;
        std::string lastPoint;
        while (std::getline(rows, row)) {
            std::vector<std::string> fields;
            std::istringstream split(row);
            for (std::string field; std::getline(split, field, ',');) fields.push_back(field);
            if (fields[0] == lastPoint) continue;
            lastPoint = fields[0];
            sizes += (sizes.empty() ? "" : " ") + fields[column];
        }
        EXPECT_EQ(sizes, c.expected);
    }
}

// A sweep of three integer axes: a (3 values) and b (2) hold the lines of the map, x (4) runs
// across it, fastest.
custsim::SweepSpec changeSweep() {
    custsim::SweepSpec sweep;
    for (const auto& [name, count] : {std::pair<const char*, int>{"a", 3}, {"b", 2}, {"x", 4}}) {
        custsim::SweepAxis axis;
        axis.name = name;
        for (int v = 0; v < count; ++v) axis.numbers.push_back(v);
        sweep.axes.push_back(axis);
    }
    sweep.points = 24;
    return sweep;
}

struct ChangeCase {
    const char* why;
    int (*outcome)(size_t a, size_t b, size_t x);
    std::vector<std::string> expected;  // "place: before->after lines", a variant per entry
};

// The change list groups the changes along x by place, and names the lines of each change by the
// values of the axes that tell them apart.
TEST(ToolSweep, ChangeListGroupsByPlace) {
    const ChangeCase cases[] = {
        {"the same change on every line is one entry",
         [](size_t, size_t, size_t x) { return x >= 2 ? 1 : 0; },
         {"1 -> 2: 0->1 at every a and b"}},
        {"a change on some lines names the values, leaving out an axis it spans",
         [](size_t a, size_t, size_t x) { return a == 1 && x >= 2 ? 1 : 0; },
         {"1 -> 2: 0->1 at a 1"}},
        {"lines that are no product of values are listed one by one",
         [](size_t a, size_t b, size_t x) { return a == b && x >= 1 ? 1 : 0; },
         {"0 -> 1: 0->1 at a 0, b 0; a 1, b 1"}},
        {"different changes at one place are listed under it",
         [](size_t a, size_t, size_t x) { return x >= 3 && a < 2 ? static_cast<int>(a) + 1 : 0; },
         {"2 -> 3: 0->1 at a 0", "2 -> 3: 0->2 at a 1"}},
        {"a change and its way back are two places",
         [](size_t, size_t b, size_t x) { return b == 0 && (x == 1 || x == 2) ? 1 : 0; },
         {"0 -> 1: 0->1 at b 0", "2 -> 3: 1->0 at b 0"}},
        {"no change, no entry", [](size_t, size_t, size_t) { return 0; }, {}},
    };
    const custsim::SweepSpec sweep = changeSweep();
    constexpr int32_t kAlong = 2;
    constexpr int32_t kNotRun = -2;
    for (const ChangeCase& c : cases) {
        SCOPED_TRACE(c.why);
        std::vector<int32_t> outcomes;
        for (uint64_t point = 0; point < sweep.points; ++point) {
            const std::vector<size_t> at = sweep.coordinates(point);
            outcomes.push_back(c.outcome(at[0], at[1], at[2]));
        }
        std::vector<std::string> entries;
        for (const auto& place : custsim::changesAlong(sweep, kAlong, outcomes, kNotRun)) {
            for (const auto& variant : place.variants) {
                entries.push_back(custsim::changePlaceText(sweep, kAlong, place) + ": " +
                                  std::to_string(variant.before) + "->" +
                                  std::to_string(variant.after) + " " +
                                  custsim::changeLinesText(sweep, kAlong, place, variant));
            }
        }
        EXPECT_EQ(entries, c.expected);
    }
}

// An output whose part of a point is the first sensor's decision in words, padded to `padding`
// bytes so that a few points fill a pipe; it takes back only what it made. With `paced`, making
// and taking a part each take a while, so that both ends of a pipe wait on the other.
class SummaryOutput : public custsim::SweepOutput {
public:
    explicit SummaryOutput(size_t padding, bool paced = false) : mPadding(padding), mPaced(paced) {}
    void encode(const custsim::SweepPoint& point, std::string& bytes) const override {
        pace();
        std::string part = custsim::decisionSummary(point.sensors.at(0)) + "\n";
        part.resize(std::max(part.size(), mPadding), '.');
        bytes += part;
    }
    bool write(uint64_t, std::string_view bytes) override {
        pace();
        const size_t end = bytes.find('\n');
        if (end == std::string_view::npos) return false;
        if (bytes.find_first_not_of('.', end + 1) != std::string_view::npos) return false;
        text += bytes.substr(0, end + 1);
        return true;
    }
    void finish() override {}
    std::string text;

private:
    void pace() const {
        if (mPaced) usleep(kPaceMicroseconds);
    }
    static constexpr useconds_t kPaceMicroseconds = 300;
    size_t mPadding;
    bool mPaced;
};

// A record made for a point reaches each output whole; one of another point, cut short, with
// bytes past its last part or with a part its output refuses is refused.
TEST(ToolSweep, RecordsArriveWholeOrAreRefused) {
    SummaryOutput first(0), second(64);
    const std::vector<custsim::SweepOutput*> outputs = {&first, &second};
    custsim::SweepPoint point;
    point.index = 7;
    point.sensors.emplace_back();
    std::string bytes;
    custsim::encodeRecord(outputs, point, bytes);
    uint64_t length = 0;
    ASSERT_GT(bytes.size(), sizeof(length));
    std::memcpy(&length, bytes.data(), sizeof(length));
    const std::string record = bytes.substr(sizeof(length));
    EXPECT_EQ(length, record.size());
    ASSERT_TRUE(custsim::writeRecord(outputs, record, 7));
    EXPECT_EQ(first.text, "no decision\n");
    EXPECT_EQ(second.text, "no decision\n");

    std::string refusedPart = record;
    refusedPart.back() = 'x';
    const struct {
        const char* why;
        std::string record;
        uint64_t index;
    } refused[] = {
        {"of another point", record, 8},
        {"cut short", record.substr(0, record.size() - 1), 7},
        {"cut inside a length", record.substr(0, 2 * sizeof(length) + 3), 7},
        {"bytes past the last part", record + ".", 7},
        {"a part its output refuses", refusedPart, 7},
        {"nothing", "", 7},
    };
    for (const auto& c : refused) EXPECT_FALSE(custsim::writeRecord(outputs, c.record, c.index)) << c.why;
}

// Interrupts the calling thread and its child processes with SIGUSR1, caught by a handler
// installed without SA_RESTART, as long as it lives. The thread makes system calls only, so that
// a fork never copies a lock it holds.
class Interrupter {
public:
    Interrupter() : mTarget(pthread_self()) {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigemptyset(&action.sa_mask);
        sigaction(SIGUSR1, &action, &mPrevious);
        mThread = std::thread([this] { interrupt(); });
    }
    ~Interrupter() {
        mRunning = false;
        mThread.join();
        sigaction(SIGUSR1, &mPrevious, nullptr);
    }
    Interrupter(const Interrupter&) = delete;
    Interrupter& operator=(const Interrupter&) = delete;

private:
    void interrupt() {
        char path[64];
        std::snprintf(path, sizeof(path), "/proc/%d/task/%d/children", getpid(), getpid());
        while (mRunning) {
            pthread_kill(mTarget, SIGUSR1);
            char children[4096];
            const int fd = open(path, O_RDONLY | O_CLOEXEC);
            const ssize_t n = fd >= 0 ? read(fd, children, sizeof(children) - 1) : -1;
            if (fd >= 0) close(fd);
            children[n > 0 ? n : 0] = '\0';
            for (char* at = children; *at != '\0';) {
                char* end = nullptr;
                const long pid = std::strtol(at, &end, 10);
                if (end == at) break;
                kill(static_cast<pid_t>(pid), SIGUSR1);
                at = end;
            }
            usleep(kPauseMicroseconds);
        }
    }

    static constexpr useconds_t kPauseMicroseconds = 100;
    pthread_t mTarget;
    struct sigaction mPrevious {};
    std::atomic<bool> mRunning{true};
    std::thread mThread;
};

// Reads and writes of the workers' pipes that a signal interrupts are resumed: with signals
// arriving all the time, three workers hand over the same points as one process alone.
TEST(ToolSweep, InterruptedPipesLoseNoPoint) {
    custsim::Diagnostics problems;
    custsim::OpenDevice opened;
    ASSERT_TRUE(custsim::openDevice(CUSTPOLICY_SOURCE_DIR "/examples/device/device.toml", "",
                                    custsim::Findings::Skip, opened, problems));
    const custsim::SweepSpec sweep = custsim::loadSweep(
        CUSTPOLICY_SOURCE_DIR "/examples/sweeps/thermal.toml", opened.device(), 1000, problems);
    ASSERT_TRUE(problems.empty()) << problems.front().message;
    constexpr size_t kPadding = 16 * 1024;  // a pipe's capacity in four points
    const auto run = [&](unsigned jobs) {
        SummaryOutput output(kPadding, true);
        std::string error;
        EXPECT_TRUE(custsim::runSweep(*opened.host, sweep, jobs, {&output}, [](uint64_t) {}, error))
            << error;
        return output.text;
    };
    const std::string alone = run(1);
    ASSERT_EQ(std::count(alone.begin(), alone.end(), '\n'), static_cast<long>(sweep.points));
    const Interrupter interrupter;
    EXPECT_EQ(run(3), alone);
}

}  // namespace
