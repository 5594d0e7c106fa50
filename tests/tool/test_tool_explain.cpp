#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/explain_command.h"
#include "host_config_store.h"
#include "inputs/corpus.h"
#include "inputs/sweep_file.h"

namespace custsim {
namespace {

const std::string kSourceDir = CUSTPOLICY_SOURCE_DIR;
const std::string kExamples = kSourceDir + "/examples";

OpenDevice openDeviceOf(const std::string& profile) {
    OpenDevice opened;
    Diagnostics diagnostics;
    EXPECT_TRUE(openDevice(profile, "", Findings::Skip, opened, diagnostics));
    return opened;
}

OpenDevice openExampleDevice() { return openDeviceOf(kExamples + "/device/device.toml"); }

// Every difference of every sensor's trace from the store's record, named by where it happened.
std::vector<std::string> traceDifferences(Simulator& simulator, const OpenDevice& open,
                                          const SessionSpec& session, const std::string& where) {
    std::vector<std::string> found;
    const SessionRun run = simulator.run(session);
    for (size_t i = 0; i < run.sensors.size(); ++i) {
        const ExplainedSensor explained =
            explainSensor(session, open.device(), run.sensors[i], run.traces[i], open.index.get());
        for (const std::string& difference : explained.trace.differences)
            found.push_back(where + " sensor " + std::to_string(run.sensors[i].sensorIdx) + ": " +
                            difference);
    }
    return found;
}

// The trace never contradicts the library: on every bundled session and every point of the
// bundled sweeps it reads the rows the library read, in order, and finds the row that decided.
TEST(ToolExplain, TraceAgreesWithTheStoreOnEveryBundledSessionAndSweepPoint) {
    const OpenDevice open = openExampleDevice();
    Simulator simulator(*open.host);
    simulator.setTrace(true);
    std::vector<std::string> differences;
    Diagnostics unread;
    const std::vector<SessionInput> sessions =
        sessionsInDirectory(kExamples + "/sessions", "sessions", unread);
    ASSERT_FALSE(sessions.empty());
    size_t runs = 0;
    for (const SessionInput& file : sessions) {
        Diagnostics diagnostics;
        const SessionSpec session = loadSession(file.path, open.device(), diagnostics);
        ASSERT_TRUE(diagnostics.empty()) << file.path;
        for (const std::string& d : traceDifferences(simulator, open, session, file.display))
            differences.push_back(d);
        ++runs;
    }
    for (const char* sweepName : {"system-camera-sizes.toml", "thermal.toml"}) {
        Diagnostics diagnostics;
        const SweepSpec sweep =
            loadSweep(kExamples + "/sweeps/" + sweepName, open.device(), 1u << 20, diagnostics);
        ASSERT_TRUE(diagnostics.empty()) << sweepName;
        for (uint64_t point = 0; point < sweep.points; ++point) {
            const std::string where = std::string(sweepName) + " point " + std::to_string(point);
            for (const std::string& d :
                 traceDifferences(simulator, open, sweep.sessionAt(point), where))
                differences.push_back(d);
            ++runs;
        }
    }
    EXPECT_GT(runs, 100u);
    EXPECT_TRUE(differences.empty())
        << differences.size() << " differences, first: " << differences.front();
}

// The same over the applications, operation modes, names and temperatures that steer the paths:
// every combination of them on the example device, and the test device whose tables have faults.
TEST(ToolExplain, TraceAgreesWithTheStoreAcrossThePathsInputs) {
    const OpenDevice open = openExampleDevice();
    Simulator simulator(*open.host);
    simulator.setTrace(true);
    Diagnostics diagnostics;
    const SessionSpec base =
        loadSession(kExamples + "/sessions/08-third-party-hot.toml", open.device(), diagnostics);
    ASSERT_TRUE(diagnostics.empty());
    struct AppKind {
        bool system, thirdParty, sdk, gsi, engineerMode;
    };
    const AppKind kApps[] = {{true, false, false, false, false},
                             {false, true, false, false, false},
                             {false, true, true, false, false},
                             {false, true, false, true, false},
                             {false, false, false, false, true}};
    const uint32_t kOperationModes[] = {0, 1, 0x8001};
    const char* const kCameraApps[] = {"", "com.example.socialcam", "com.other.cam"};
    const char* const kActivities[] = {"", "com.example.socialcam/.call.VideoCallActivity",
                                       "com.example.scanner/.ScanActivity$Embedded"};
    const std::optional<int32_t> kTemperatures[] = {std::nullopt, 44, 50};
    std::vector<std::string> differences;
    for (const AppKind& kind : kApps) {
        for (uint32_t operationMode : kOperationModes) {
            for (const char* cameraApp : kCameraApps) {
                for (const char* activity : kActivities) {
                    for (const auto& temperature : kTemperatures) {
                        SessionSpec session = base;
                        session.sensors.clear();
                        session.app.system = kind.system;
                        session.app.thirdParty = kind.thirdParty;
                        session.app.sdk = kind.sdk;
                        session.app.gsi = kind.gsi;
                        session.app.engineerMode = kind.engineerMode;
                        session.operationMode = operationMode;
                        session.app.cameraAppName = cameraApp;
                        session.app.activity = activity;
                        session.params.temperature = temperature;
                        for (const std::string& d :
                             traceDifferences(simulator, open, session, "combination"))
                            differences.push_back(d);
                    }
                }
            }
        }
    }
    EXPECT_TRUE(differences.empty())
        << differences.size() << " differences, first: " << differences.front();
}

TEST(ToolExplain, TraceAgreesWithTheStoreOnFaultyTables) {
    const std::string truth = kSourceDir + "/tests/tool/data/truth";
    const OpenDevice open = openDeviceOf(truth + "/device.toml");
    Diagnostics diagnostics;
    Simulator simulator(*open.host);
    simulator.setTrace(true);
    const std::vector<SessionInput> sessions =
        sessionsInDirectory(truth + "/sessions", "sessions", diagnostics);
    ASSERT_FALSE(sessions.empty());
    std::vector<std::string> differences;
    for (const SessionInput& file : sessions) {
        const SessionSpec session = loadSession(file.path, open.device(), diagnostics);
        ASSERT_TRUE(diagnostics.empty()) << file.path;
        for (const std::string& d : traceDifferences(simulator, open, session, file.display))
            differences.push_back(d);
    }
    EXPECT_TRUE(differences.empty())
        << differences.size() << " differences, first: " << differences.front();
}

// The column rules at their edges, as the trace reports them: the first column that stops a row
// (or -1 for a match), on one-row tables, with the library's own reads as the judge.
TEST(ToolExplain, FirstFailingColumnAtTheRulesEdges) {
    const OpenDevice open = openExampleDevice();
    Diagnostics diagnostics;
    const SessionSpec base = loadSession(kExamples + "/sessions/06-third-party-by-name.toml",
                                         open.device(), diagnostics);
    ASSERT_TRUE(diagnostics.empty());
    constexpr int32_t kMatched = -1;
    struct Case {
        const char* why;
        const char* config;
        MSize yuv;
        std::optional<int32_t> temperature;
        const char* table;
        int32_t firstFailing;
    };
    const char* const kThird = "ThirdCamSensorSettingMap";
    const char* const kThermal = "ThirdCamSensorSettingMapByThermal";
    const Case kCases[] = {
        {"the aspect-ratio floor is exclusive",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, 750, -1, -1, 0, 1\n",
         {4000, 3000},
         std::nullopt,
         kThird,
         3},
        {"a ratio just above the floor",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, 749, -1, -1, 0, 1\n",
         {4000, 3000},
         std::nullopt,
         kThird,
         kMatched},
        {"a negative floor other than -1, compared unsigned",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, -2, -1, -1, 0, 1\n",
         {4000, 3000},
         std::nullopt,
         kThird,
         3},
        {"the YUV width floor is exclusive",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, -1, 1920, -1, 0, 1\n",
         {1920, 1080},
         std::nullopt,
         kThird,
         4},
        {"the YUV ceiling is inclusive",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, -1, 1919, 1920, 0, 1\n",
         {1920, 1080},
         std::nullopt,
         kThird,
         kMatched},
        {"the YUV ceiling holds the height too",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 0, -1, -1, -1, -1, 1000, 0, 1\n",
         {1000, 1080},
         std::nullopt,
         kThird,
         5},
        {"the sensor column comes first",
         "[ThirdCamSensorSettingMap]\nAllCamApp[0] = 1, 1, -1, 9999, -1, -1, 0, 1\n",
         {1920, 1080},
         std::nullopt,
         kThird,
         0},
        {"a temperature reaching the threshold",
         "[ThirdCamSensorSettingMapByThermal]\nact[0] = 0, 45, 2\n",
         {1920, 1080},
         45,
         kThermal,
         kMatched},
        {"a degree below the threshold",
         "[ThirdCamSensorSettingMapByThermal]\nact[0] = 0, 45, 2\n",
         {1920, 1080},
         44,
         kThermal,
         1},
        {"no temperature matches no threshold, not even -1",
         "[ThirdCamSensorSettingMapByThermal]\nact[0] = 0, -1, 2\n",
         {1920, 1080},
         std::nullopt,
         kThermal,
         1},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        ASSERT_TRUE(hostconfig::loadText(c.config, "t.config").ok);
        HostSession host(open.device(), hostconfig::holdConfiguration());
        Simulator simulator(host);
        simulator.setTrace(true);
        SessionSpec session = base;
        session.app.cameraAppName.clear();
        session.app.activity = "act";
        session.params.temperature = c.temperature;
        session.streamInfo.maxYuvSize = c.yuv;
        session.streamInfo.maxStreamSize = MSize(4000, 3000);
        const SessionRun run = simulator.run(session);
        const Decision& sensor = run.sensors.front();
        const SensorTrace& traced = run.traces.front();
        ObservedRun observed{!sensor.halFallback(), sensor.row, sensor.rrzoRow,
                             &traced.settingRowReads, &traced.rrzoRowReads};
        const ExplainTrace trace = buildExplainTrace(session, open.device(), sensor.sensorIdx,
                                                     traced.facts, observed, nullptr);
        EXPECT_TRUE(trace.differences.empty()) << trace.differences.front();
        const auto table = std::find_if(trace.tables.begin(), trace.tables.end(),
                                        [&c](const TracedTable& t) { return t.table == c.table; });
        ASSERT_NE(table, trace.tables.end());
        ASSERT_FALSE(table->rows.empty());
        const TracedRow& row = table->rows.front();
        EXPECT_EQ(row.matched ? kMatched : row.misses.front().column, c.firstFailing);
    }
}

// The self-check is only worth having if it fails loudly: every kind of disagreement with the
// record is named.
TEST(ToolExplain, SelfCheckNamesEveryKindOfDisagreement) {
    const OpenDevice open = openExampleDevice();
    Simulator simulator(*open.host);
    simulator.setTrace(true);
    Diagnostics diagnostics;
    const SessionSpec session = loadSession(kExamples + "/sessions/06-third-party-by-name.toml",
                                            open.device(), diagnostics);
    ASSERT_TRUE(diagnostics.empty());
    const SessionRun run = simulator.run(session);
    const Decision& sensor = run.sensors.front();
    const SensorTrace& traced = run.traces.front();
    ASSERT_TRUE(sensor.row.has_value());
    ASSERT_GE(traced.settingRowReads.size(), 2u);

    struct Case {
        const char* why;
        std::function<void(ObservedRun&, std::vector<hostconfig::RowRead>&,
                           std::vector<hostconfig::RowRead>&)>
            tamper;
        const char* named;  // a word the difference must contain
    };
    const Case kCases[] = {
        {"the record agrees", [](ObservedRun&, auto&, auto&) {}, nullptr},
        {"a read the record lacks", [](ObservedRun&, auto& reads, auto&) { reads.pop_back(); },
         "rows"},
        {"a read with another status",
         [](ObservedRun&, auto& reads, auto&) {
             reads.front().status = hostconfig::kStatusNoEntry;
         },
         "status"},
        {"another deciding row",
         [](ObservedRun& observed, auto&, auto&) { observed.settingMatch->key = "9"; }, "deciding"},
        {"a decision the trace does not find",
         [](ObservedRun& observed, auto&, auto&) { observed.decided = !observed.decided; },
         "decide"},
        {"an RRZO read the record lacks",
         [](ObservedRun&, auto&, auto& rrzo) { rrzo.push_back(rrzo.front()); }, "RRZO"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        std::vector<hostconfig::RowRead> reads = traced.settingRowReads;
        std::vector<hostconfig::RowRead> rrzoReads = traced.rrzoRowReads;
        ASSERT_FALSE(rrzoReads.empty());
        ObservedRun observed{!sensor.halFallback(), sensor.row, sensor.rrzoRow, &reads, &rrzoReads};
        c.tamper(observed, reads, rrzoReads);
        const ExplainTrace trace = buildExplainTrace(session, open.device(), sensor.sensorIdx,
                                                     traced.facts, observed, open.index.get());
        if (c.named == nullptr) {
            EXPECT_TRUE(trace.differences.empty());
            continue;
        }
        ASSERT_EQ(trace.differences.size(), 1u);
        EXPECT_NE(trace.differences.front().find(c.named), std::string::npos)
            << trace.differences.front();
    }
}

}  // namespace
}  // namespace custsim
