#include <gtest/gtest.h>

#include <string>

#include "runner/runner.h"
#include "tool_test_support.h"

namespace {

using custsim::kExitOk;

// One sensor on the new policies, so that the simulator's feature chip decides.
std::string evaluatorDevice(const std::string& featureChip) {
    return R"(name = "evaluator"
[[sensor]]
index = 0
pixel_array = [4000, 3000]
ae_target_fps_ranges = [[30, 30], [120, 120]]
[sensor.capability]
new_setting_policy = true
new_rrzo_policy = true
[sensor.feature_chip]
)" + featureChip +
           R"(
[[sensor.mode]]
scenario = 0
fps = 30
size = [4000, 3000]
[[sensor.mode]]
scenario = 1
fps = 30
size = [4000, 2250]
[[sensor.mode]]
scenario = 2
fps = 30
size = [2000, 1500]
[[sensor.mode]]
scenario = 3
fps = 60
size = [1920, 1080]
[[sensor.mode]]
scenario = 4
fps = 120
size = [1280, 720]
)";
}

std::string session(int fps, const char* size, const char* extra = "") {
    return std::string(
               "description = \"x\"\n[app]\nsystem = true\n[session_params]\nfps_range = [") +
           std::to_string(fps) + ", " + std::to_string(fps) + "]\n" + extra +
           "\n[[stream]]\nformat = \"YCbCr_420_888\"\nsize = " + size + "\n";
}

struct EvaluatorCase {
    const char* why;
    const char* featureChip;  // keys of [sensor.feature_chip]
    int fps;
    const char* streamSize;
    const char* expected;  // in the JSON result
};

TEST(ToolSimulate, ReferenceEvaluatorPicksTheMode) {
    const EvaluatorCase cases[] = {
        {"closest ratio among the covering modes, then the smallest", "", 30, "[1920, 1080]",
         "\"setting\": {\"scenario\": 3,"},
        {"4:3 streams take the sensor's ratio: the full-size mode covers", "", 30, "[4000, 3000]",
         "\"setting\": {\"scenario\": 0,"},
        {"a smaller 4:3 stream gets the smallest 4:3 mode", "", 30, "[1600, 1200]",
         "\"setting\": {\"scenario\": 2,"},
        {"the fps term filters first: only the 60 fps mode covers", "", 60, "[1920, 1080]",
         "\"setting\": {\"scenario\": 3,"},
        {"no fast mode covers: the largest of the fast ones", "", 120, "[1920, 1080]",
         "\"setting\": {\"scenario\": 4,"},
        {"no mode reaches the fps: -1 and no decision", "", 240, "[1920, 1080]",
         "\"setting\": null,"},
        {"a scripted answer wins over the rule", "scenario = 2", 30, "[1920, 1080]",
         "\"setting\": {\"scenario\": 2,"},
        {"a scripted -1 is no decision", "scenario = -1", 30, "[1920, 1080]",
         "\"decided\": false,"},
    };
    for (const EvaluatorCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        const std::string device = tool.write("device.toml", evaluatorDevice(c.featureChip));
        const std::string sessionFile = tool.write("session.toml", session(c.fps, c.streamSize));
        ASSERT_EQ(tool.run({"simulate", "--json", device, sessionFile}), kExitOk)
            << tool.stderrText;
        EXPECT_NE(tool.stdoutText.find(c.expected), std::string::npos) << tool.stdoutText;
    }
}

struct RrzoCase {
    const char* why;
    const char* featureChip;
    const char* streamSize;
    const char* hal;  // a [hal] table, or ""
    const char* expected;
};

TEST(ToolSimulate, RrzoRequestTwoFollowsTheSensorAndTheTarget) {
    const RrzoCase cases[] = {
        {"narrowed to the target width, sensor ratio kept", "", "[1920, 1080]", "",
         "\"size\": [1920, 1080]}"},
        {"a full-size target keeps the sensor output", "", "[4000, 3000]", "",
         "\"size\": [4000, 3000]}"},
        {"the RRZO line limit narrows further", "rrzo_max_width = 1000", "[4000, 3000]", "",
         "\"size\": [1000, 750]}"},
        {"a line limit the output already meets narrows nothing", "rrzo_max_width = 4000",
         "[4000, 3000]", "", "answered 4000x3000: sensor output 4000x3000, sensor aspect ratio kept"},
        {"odd sides are rounded down to even", "rrzo_max_width = 1001", "[4000, 3000]", "",
         "\"size\": [1000, 750]}"},
        {"a scripted size is taken as it stands", "rrzo_size = [1234, 567]", "[1920, 1080]", "",
         "\"size\": [1234, 567]}"},
        {"a scripted 0 x 0 leaves the requested size", "rrzo_size = [0, 0]", "[1920, 1080]", "",
         "\"requested\": [1920, 1080], \"sensor_size\": [1920, 1080], \"hal_fallback_scenario\": "
         "null, \"size\": [1920, 1080]}"},
        {"the HAL's requested size comes from the session", "", "[1920, 1080]",
         "[hal]\nrrzo_target = [1280, 720]\n", "\"requested\": [1280, 720]"},
    };
    for (const RrzoCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        const std::string device = tool.write("device.toml", evaluatorDevice(c.featureChip));
        const std::string sessionFile =
            tool.write("session.toml", session(30, c.streamSize, c.hal));
        ASSERT_EQ(tool.run({"simulate", "--json", device, sessionFile}), kExitOk)
            << tool.stderrText;
        EXPECT_NE(tool.stdoutText.find(c.expected), std::string::npos) << tool.stdoutText;
    }
}

// The HAL's default request: the largest stream, fitted into the sensor output with its ratio
// kept and even sides; a size with a side of zero or less is passed on as it stands.
TEST(ToolSimulate, DefaultRrzoRequestFitsTheStreamIntoTheSensor) {
    constexpr int32_t kHuge = 2147483647;
    const struct {
        MSize stream, sensor, expected;
    } cases[] = {
        {{1920, 1080}, {4000, 3000}, {1920, 1080}},  // fits
        {{4000, 3000}, {4000, 3000}, {4000, 3000}},  // exactly
        {{4000, 2250}, {2000, 1500}, {2000, 1124}},  // wider: the width is the limit
        {{1000, 3000}, {2000, 1500}, {500, 1500}},   // taller: the height is the limit
        {{2100, 1000}, {2000, 1500}, {2000, 952}},   // one side over
        {{kHuge, kHuge}, {4000, 3000}, {3000, 3000}},
        {{1920, 1080}, {1, 1}, {0, 0}},  // nothing even fits a one-pixel output
        {{4000, 3000}, {0, 0}, {4000, 3000}},
        {{4000, 3000}, {0, 1500}, {4000, 3000}},
        {{4000, 3000}, {2000, 0}, {4000, 3000}},
        {{0, 4000}, {2000, 1500}, {0, 4000}},
        {{5000, 0}, {2000, 1500}, {5000, 0}},
    };
    for (const auto& c : cases) {
        const MSize request = custsim::defaultRrzoRequest(c.stream, c.sensor);
        EXPECT_EQ(std::make_pair(request.w, request.h), std::make_pair(c.expected.w, c.expected.h))
            << c.stream.w << "x" << c.stream.h << " into " << c.sensor.w << "x" << c.sensor.h;
    }
}

// --strict fails a run whose configuration is clean when a session only warns; without it the
// same run passes.
TEST(ToolSimulate, StrictFailsOnAWarningAlone) {
    ToolRun tool;
    const std::string config = tool.write(
        "clean.config", "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, 1, 0, 500, 1920, 3840, 0, 2\n");
    const std::string truth = CUSTPOLICY_SOURCE_DIR "/tests/tool/data/truth/";
    const std::vector<std::string> run = {"--config", config, truth + "device.toml",
                                          truth + "sessions/3-60fps.toml"};
    std::vector<std::string> strict = {"simulate", "--strict"};
    strict.insert(strict.end(), run.begin(), run.end());
    EXPECT_EQ(tool.run(strict), custsim::kExitStrict) << tool.stdoutText;
    EXPECT_NE(tool.stdoutText.find("checked, no findings"), std::string::npos);
    EXPECT_NE(tool.stdoutText.find("warning       fps-below-request"), std::string::npos);
    strict.erase(strict.begin() + 1);
    EXPECT_EQ(tool.run(strict), kExitOk) << tool.stderrText;
}

TEST(ToolSimulate, NoDecisionRunsTheRrzoOnTheHalFallbackScenario) {
    ToolRun tool;
    const std::string device = tool.write("device.toml", evaluatorDevice(""));
    const std::string sessionFile = tool.write("session.toml", session(240, "[1920, 1080]"));
    ASSERT_EQ(tool.run({"simulate", device, sessionFile}), kExitOk) << tool.stderrText;
    EXPECT_NE(tool.stdoutText.find("decision      no decision"), std::string::npos)
        << tool.stdoutText;
    EXPECT_NE(tool.stdoutText.find("sensor 4000x3000 of the HAL's fallback scenario 0"),
              std::string::npos)
        << tool.stdoutText;
    EXPECT_NE(tool.stdoutText.find("answered -1: no mode reaches 240 fps"), std::string::npos)
        << tool.stdoutText;
}

struct DetailCase {
    const char* why;
    const char* option;
    bool debugShown;
    bool infoShown;
};

TEST(ToolSimulate, VerboseShowsTheLogAtTheChosenDetailLevel) {
    const DetailCase cases[] = {
        {"-v is detail level 5: debug and info", "-v", true, true},
        {"level 3: info without debug", "-v3", false, true},
        {"level 2: neither", "--verbose=2", false, false},
    };
    for (const DetailCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        const std::string device = tool.write("device.toml", evaluatorDevice(""));
        const std::string sessionFile = tool.write("session.toml", session(30, "[1920, 1080]"));
        ASSERT_EQ(tool.run({"simulate", c.option, device, sessionFile}), kExitOk)
            << tool.stderrText;
        EXPECT_EQ(tool.stdoutText.find("\n    D/CustSettingPolicy: [selectSensorSetting]") !=
                      std::string::npos,
                  c.debugShown)
            << tool.stdoutText;
        EXPECT_EQ(tool.stdoutText.find("\n    I/CustSettingPolicyBase: [parseSensorSetting] match "
                                       "setting(final result): 3") != std::string::npos,
                  c.infoShown)
            << tool.stdoutText;
    }
}

// A sensor on the legacy policies without private selection, the tables given per case.
std::string legacyDevice(const std::string& thirdCap, bool privateSelect) {
    return R"(name = "legacy"
config = "tables.config"
)" + thirdCap +
           R"(
[[sensor]]
index = 0
pixel_array = [4000, 3000]
[sensor.capability]
new_setting_policy = false
new_rrzo_policy = false
private_select_sensor_mode = )" +
           (privateSelect ? "true" : "false") + R"(
[[sensor.mode]]
scenario = 0
fps = 30
size = [2000, 1500]
[[sensor.mode]]
scenario = 1
fps = 30
size = [4000, 3000]
[[sensor.mode]]
scenario = 2
fps = 30
size = [3840, 2160]
)";
}

std::string legacySession(const std::string& app, const std::string& params,
                          const std::string& hal = "") {
    return "description = \"x\"\n[app]\n" + app + "\n[session_params]\n" + params + "\n" + hal +
           "\n[[stream]]\nformat = \"YCbCr_420_888\"\nsize = [1920, 1080]\n";
}

constexpr char kThirdPartyApp[] =
    "system = false\nthird_party = true\ncamera_app_name = \"com.a\"\nactivity = \"act\"";
constexpr char kManager[] = R"([third_party_capability]
supported = true
default_answer = -1
[[third_party_capability.answer]]
camera = "android.camera.cts"
scenario = 2
[[third_party_capability.answer]]
camera = "com.a"
activity = "act"
scenario = 1
)";

struct FactsCase {
    const char* why;
    const char* thirdCap;  // the profile's [third_party_capability], or ""
    const char* tables;
    std::string app;
    const char* params;
    const char* hal;
    const char* expected;  // in the text report
    bool privateSelect = false;
};

// The session's facts reach the legacy policy through the platform queries they stand for.
TEST(ToolSimulate, SessionFactsReachTheLegacyPolicy) {
    const std::string thirdParty = kThirdPartyApp;
    const char* thermal = "[ThirdCamSensorSettingMapByThermal]\nact[0] = 0, 45, 1\n";
    const char* byApi =
        "[ThirdCamSensorSettingMapByActivity]\nact[0] = -1, 2, -1, -1, -1, -1, -1, 0, 2\n";
    const char* seamless =
        "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, -1, -1, -1, -1, -1, 1, 5\n";
    const FactsCase cases[] = {
        {"the temperature reaches the thermal row", "", thermal, thirdParty, "temperature = 45", "",
         "decision      scenario 1,"},
        {"one degree below the threshold", "", thermal, thirdParty, "temperature = 44", "",
         "decision      no decision"},
        {"no temperature entry: no thermal row", "", thermal, thirdParty, "", "",
         "decision      no decision"},
        {"the API value reaches the activity row", "", byApi, thirdParty, "api = 2", "",
         "decision      scenario 2,"},
        {"another API value", "", byApi, thirdParty, "api = 1", "", "decision      no decision"},
        {"the manager answers by camera and activity", kManager, "", thirdParty, "", "",
         "decision      scenario 1,"},
        {"under GSI the manager sees the CTS camera name", kManager, "",
         thirdParty + "\ngsi = true", "", "", "decision      scenario 2,"},
        {"no scripted answer: the default -1", kManager, "",
         "system = false\nthird_party = true\ncamera_app_name = \"com.b\"", "", "",
         "decision      no decision"},
        {"a matched seamless code 5 sets the flags", "", seamless, "system = true", "",
         "[hal]\nseamless_flags = 0x10\n",
         "seamless      flags 0x801 (was 0x10), recorded scenario 5"},
        {"the engineering traversal takes the tag's scenario", "", "",
         "system = false\nengineer_mode = true", "engineer_sensor_mode = 2",
         "[hal]\nengineer_traversal = true\n",
         "scenario 2, 30 fps, sensor 3840x2160, raw format type 0 "
         "(engineering traversal)"},
        {"a refused table scenario does not explain the feature chip's decision", "",
         "[SystemCamSensorSettingMap]\nMode[0] = -1, -1, -1, -1, -1, -1, -1, 300, 0\n",
         "system = true", "", "",
         "decided by    I/CustSettingPolicyBase: [parseSensorSetting] match setting(final result)",
         true},
        {"without the tag the traversal declines", "", "", "system = false\nengineer_mode = true",
         "", "[hal]\nengineer_traversal = true\n",
         "QOVIX_CONTROL_ENGINEER_SENSORMODE_SELECT not exist"},
    };
    for (const FactsCase& c : cases) {
        SCOPED_TRACE(c.why);
        ToolRun tool;
        const std::string device =
            tool.write("device.toml", legacyDevice(c.thirdCap, c.privateSelect));
        tool.write("tables.config", c.tables);
        const std::string sessionFile =
            tool.write("session.toml", legacySession(c.app, c.params, c.hal));
        ASSERT_EQ(tool.run({"simulate", "-v", device, sessionFile}), kExitOk) << tool.stderrText;
        EXPECT_NE(tool.stdoutText.find(c.expected), std::string::npos) << tool.stdoutText;
    }
}

}  // namespace
