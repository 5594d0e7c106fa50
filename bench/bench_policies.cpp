// Speed of the policy decisions through the host platform and the host configuration store, and
// the floor they are held against: the same row matching over the same rows in a plain array.
//
// Every benchmark runs with the store's call recording off and the log quiet (detail level 0 and
// no destination), and clears the host platform's records in each iteration so that they do not
// grow. Counters: "rows/s" where rows are scanned, "allocs/op" for the heap allocations of one
// operation (every operator new and malloc of the process, host stand-ins included).

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "alloc_counter.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "host_config_store.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/ConfigStore.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"
#include "target_report.h"

namespace {

using mcam::core::device::policy::AppUserConfiguration;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;

constexpr int kSensor = 0;

// Platform and vendor tags the benchmarks fill.
constexpr uint32_t kTagAeTargetFpsRange = 0x10005;
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;
constexpr uint32_t kTagScalerAvailableMinFrameDurations = 0xD000B;
constexpr uint32_t kTagSensorInfoPixelArraySize = 0xF0006;
constexpr uint32_t kTagTemperature = 0x90040108;
// The temperature sits this many bytes into its vendor block.
constexpr size_t kTemperatureOffset = 40;
constexpr size_t kTemperatureBlockSize = 48;

constexpr uint32_t kMsgIdSensorSetting = 0x1005;
constexpr int32_t kRrzoEvalTargetSize = 2;

// The stream configuration of every decision: a 4:3 still stream of the full sensor and a 1080p
// YUV stream, recording.
constexpr MSize kSensorSize{4000, 3000};
constexpr MSize kMaxYuv{1920, 1080};
constexpr int32_t kCaptureModeVideo = 0x8028;
constexpr int32_t kTemperature = 45;

// ---- Platform set-up ------------------------------------------------------------------------

// The host platform with the log quiet and the store's call recording off.
void quietPlatform() {
    hostplatform::reset();
    NSCam::Utils::ULog::ULogger::sDetailsLevel = 0;
    NSCam::Utils::ULog::ULogger::sMode = 0;
    hostconfig::setRecording(false);
}

// Empties the host platform's records, keeping their capacity, so that they do not grow.
void clearRecords() {
    hostplatform::Recorded& r = hostplatform::state().recorded;
    r.featureChip.clear();
    r.seamless.clear();
    r.sensorInfo.clear();
    r.maxStreamSize.clear();
    r.custSensorSettingInfo.clear();
    r.thirdCap.clear();
    r.staticMetadataQueries.clear();
    r.androidLog.clear();
    r.unifiedLog.clear();
}

void describeSensor() {
    hostplatform::SensorFacts& facts = hostplatform::sensor(kSensor);
    for (int32_t scenario = 0; scenario < 6; ++scenario) {
        facts.modes[scenario] = hostplatform::SensorMode{30, kSensorSize, 0};
    }
    NSCam::IMetadata& statics = facts.staticMetadata;
    statics.update(NSCam::IEntry::of<MSize>(kTagSensorInfoPixelArraySize, {kSensorSize}));
    statics.update(
        NSCam::IEntry::of<int32_t>(kTagAeAvailableTargetFpsRanges, {15, 30, 30, 30, 60, 60}));
    statics.update(
        NSCam::IEntry::of<int64_t>(kTagScalerAvailableMinFrameDurations,
                                   {0x23, 4000, 3000, 33333333, 0x23, 1920, 1080, 16666666}));
}

std::shared_ptr<PolicyParsedAppConfiguration> appConfig() {
    auto config = std::make_shared<PolicyParsedAppConfiguration>();
    config->operationMode = 0;
    config->sessionParams.update(NSCam::IEntry::of<int32_t>(kTagAeTargetFpsRange, {30, 30}));
    std::array<uint8_t, kTemperatureBlockSize> block{};
    std::memcpy(block.data() + kTemperatureOffset, &kTemperature, sizeof(kTemperature));
    config->sessionParams.update(
        NSCam::IEntry::ofBytes(kTagTemperature, block.data(), block.size()));
    return config;
}

std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo(MSize maxStream) {
    auto info = std::make_shared<PolicyParsedAppImageStreamInfo>();
    info->maxYuvSize = kMaxYuv;
    info->maxStreamSize = maxStream;
    info->hasVideoConsumer = true;
    info->videoWidth = kMaxYuv.w;
    const auto still = hostplatform::makeImageStream({0, 0x21, 0x20000, 0, kSensorSize});
    const auto yuv = hostplatform::makeImageStream({0, 0x23, 0x800, 0, kMaxYuv});
    info->imageStreams = {{1, still}, {2, yuv}};
    info->outputStreamsBySensor[kSensor] = {still, yuv};
    return info;
}

AppUserConfiguration userConfig() {
    AppUserConfiguration config;
    config.imageStreams = streamInfo(kSensorSize)->imageStreams;
    return config;
}

void loadConfig(const std::string& text, benchmark::State& state) {
    const hostconfig::LoadResult result = hostconfig::loadText(text, "bench.config");
    if (!result.ok) state.SkipWithError(result.error().c_str());
}

// ---- Table texts ----------------------------------------------------------------------------

// One row of a table: its values, comma-separated.
template <size_t kWidth>
std::string rowText(const std::string& name, const std::array<int32_t, kWidth>& values) {
    std::string text = name + " =";
    for (size_t i = 0; i < kWidth; ++i) text += (i == 0 ? " " : ", ") + std::to_string(values[i]);
    return text + "\n";
}

// System-camera rows (width 9) that agree with the benchmark's configuration in every column up
// to the aspect ratio, so that each row is tested in full; only the last row has the ratio of the
// configuration (750, 4:3) and names scenario 1.
using SystemCamRow = std::array<int32_t, 9>;
SystemCamRow systemCamRow(int32_t index, int32_t rows) {
    const bool last = index == rows - 1;
    return {-1, -1, kSensor, -1, kSensorSize.w, -1, last ? 750 : 562, last ? 1 : 0, 0};
}

std::string systemCamTable(int32_t rows) {
    std::string text = "[SystemCamSensorSettingMap]\n";
    for (int32_t i = 0; i < rows; ++i) {
        text += rowText("Mode[" + std::to_string(i) + "]", systemCamRow(i, rows));
    }
    return text;
}

// ---- Counters and the timed decision loop -----------------------------------------------------

// Heap allocations of the timed loop, per iteration.
void reportAllocations(benchmark::State& state, uint64_t allocationsBefore) {
    state.counters["allocs/op"] =
        benchmark::Counter(static_cast<double>(custbench::allocationCount() - allocationsBefore),
                           benchmark::Counter::kAvgIterations);
}

// Rows scanned per second, for `rowsPerOperation` rows read in every iteration.
void reportRowRate(benchmark::State& state, int64_t rowsPerOperation) {
    state.counters["rows/s"] = benchmark::Counter(
        static_cast<double>(rowsPerOperation) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}

// Times CustSettingAlgoAdaptor::selectSensorSetting for the benchmark sensor over one stream
// configuration, reports its allocations, and returns the setting of the last decision.
SensorSetting timeSettingDecisions(benchmark::State& state, MSize maxStreamSize) {
    CustSettingAlgoAdaptor adaptor(kSensor);
    const auto config = appConfig();
    const auto streams = streamInfo(maxStreamSize);
    const AppUserConfiguration user = userConfig();
    SensorSetting setting;
    unsigned int flags = 0;

    const uint64_t allocationsBefore = custbench::allocationCount();
    for (auto _ : state) {
        const bool chosen = adaptor.selectSensorSetting(config, streams, setting, kSensor, flags,
                                                        user, 1.0f, 1.0f, 0);
        benchmark::DoNotOptimize(chosen);
        clearRecords();
    }
    reportAllocations(state, allocationsBefore);
    return setting;
}

// ---- New policy -----------------------------------------------------------------------------

void BM_NewPolicyDecision(benchmark::State& state) {
    quietPlatform();
    describeSensor();
    hostplatform::sensor(kSensor).newSettingPolicy = true;
    hostplatform::state().featureChip = [](const CustTransMsgData* request,
                                           CustTransMsgData* reply) {
        if (request->msgId != kMsgIdSensorSetting) return;
        const int32_t scenario = 1;
        std::memcpy(reply->pData, &scenario, sizeof(scenario));
    };
    const SensorSetting setting = timeSettingDecisions(state, kSensorSize);
    if (setting.sensorMode != 1) state.SkipWithError("the decision did not take scenario 1");
}
BENCHMARK(BM_NewPolicyDecision);

// ---- Legacy system-camera decision ----------------------------------------------------------

void BM_LegacySystemCamDecision(benchmark::State& state) {
    const auto rows = static_cast<int32_t>(state.range(0));
    quietPlatform();
    describeSensor();
    hostplatform::state().customer.capMode = kCaptureModeVideo;
    loadConfig(systemCamTable(rows), state);
    const SensorSetting setting = timeSettingDecisions(state, kSensorSize);
    reportRowRate(state, rows);
    if (setting.sensorMode != 1) state.SkipWithError("the decision did not take the last row");
    hostconfig::clear();
}
BENCHMARK(BM_LegacySystemCamDecision)->Arg(8)->Arg(64)->Arg(512);

// ---- The floor: the same rows in a plain array ----------------------------------------------

// The facts the system-camera rows are matched against, as the policy derives them.
struct SystemCamFacts {
    int32_t captureMode;
    int32_t thirdPartyCall;
    int32_t sensorIdx;
    int32_t maxYuvWidth;
    int32_t maxStreamWidth;
    int32_t modeClass;
    int32_t aspectRatio;
};

bool wildcardOrEqual(int32_t column, int32_t value) { return column == -1 || column == value; }

// The system-camera row test, column for column as the policy makes it.
bool systemCamRowMatches(const int32_t* r, const SystemCamFacts& f) {
    return wildcardOrEqual(r[0], f.captureMode) && wildcardOrEqual(r[1], f.thirdPartyCall) &&
           wildcardOrEqual(r[2], f.sensorIdx) && (r[3] == -1 || r[3] >= f.maxYuvWidth) &&
           wildcardOrEqual(r[4], f.maxStreamWidth) && wildcardOrEqual(r[5], f.modeClass) &&
           wildcardOrEqual(r[6], f.aspectRatio);
}

// First matching row's scenario (column 7), or -1.
__attribute__((noinline)) int32_t scanRows(const std::vector<SystemCamRow>& rows,
                                           const SystemCamFacts& facts) {
    for (const SystemCamRow& row : rows) {
        if (systemCamRowMatches(row.data(), facts)) return row[7];
    }
    return -1;
}

void BM_RowMatchFloor(benchmark::State& state) {
    const auto rowCount = static_cast<int32_t>(state.range(0));
    std::vector<SystemCamRow> rows;
    for (int32_t i = 0; i < rowCount; ++i) rows.push_back(systemCamRow(i, rowCount));
    SystemCamFacts facts{0, 0, kSensor, kMaxYuv.w, kSensorSize.w, 0, 750};

    const uint64_t allocationsBefore = custbench::allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(facts);
        const int32_t scenario = scanRows(rows, facts);
        benchmark::DoNotOptimize(scenario);
    }
    reportAllocations(state, allocationsBefore);
    reportRowRate(state, rowCount);
    if (scanRows(rows, facts) != 1) state.SkipWithError("the floor did not take the last row");
}
BENCHMARK(BM_RowMatchFloor)->Arg(8)->Arg(64)->Arg(512);

// One row read through the store, the unit of every scan above.
void BM_StoreRowRead(benchmark::State& state) {
    quietPlatform();
    loadConfig(systemCamTable(64), state);
    SystemCamRow row{};

    const uint64_t allocationsBefore = custbench::allocationCount();
    for (auto _ : state) {
        const int32_t status =
            GetLocaleIntegerListConfiguration("SystemCamSensorSettingMap", "Mode", "42", row.data(),
                                              static_cast<int32_t>(row.size()));
        benchmark::DoNotOptimize(status);
        benchmark::DoNotOptimize(row);
    }
    reportAllocations(state, allocationsBefore);
    reportRowRate(state, 1);
    hostconfig::clear();
}
BENCHMARK(BM_StoreRowRead);

// ---- Third-party chain ----------------------------------------------------------------------

constexpr char kApp[] = "com.example.socialcam";
constexpr char kActivity[] = "com.example.socialcam/.call.VideoCallActivity";

// The three third-party tables with `rows` rows each under the application's or the activity's
// name; in each only the last row matches (the earlier ones fail on their last tested column).
std::string thirdPartyTables(int32_t rows) {
    std::string text = "[ThirdCamSensorSettingMap]\n";
    for (int32_t i = 0; i < rows; ++i) {
        const bool last = i == rows - 1;
        // sensor, video, operation mode, ratio floor, YUV width floor, YUV ceiling, -, scenario
        text += rowText<8>(std::string(kApp) + "[" + std::to_string(i) + "]",
                           {kSensor, 1, 0, -1, -1, last ? -1 : 1000, 0, 2});
    }
    text += "[ThirdCamSensorSettingMapByActivity]\n";
    for (int32_t i = 0; i < rows; ++i) {
        const bool last = i == rows - 1;
        // sensor, API, video, operation mode, ratio floor, YUV width floor, YUV ceiling, -,
        // scenario
        text += rowText<9>(std::string(kActivity) + "[" + std::to_string(i) + "]",
                           {kSensor, -1, 1, 0, -1, -1, last ? -1 : 1000, 0, 3});
    }
    text += "[ThirdCamSensorSettingMapByThermal]\n";
    for (int32_t i = 0; i < rows; ++i) {
        const bool last = i == rows - 1;
        // sensor, temperature threshold, scenario
        text += rowText<3>(std::string(kActivity) + "[" + std::to_string(i) + "]",
                           {kSensor, last ? kTemperature - 5 : kTemperature + 50, 4});
    }
    return text;
}

void BM_LegacyThirdPartyChain(benchmark::State& state) {
    const auto rows = static_cast<int32_t>(state.range(0));
    quietPlatform();
    describeSensor();
    hostplatform::CustomerFacts& customer = hostplatform::state().customer;
    customer.systemCam = false;
    customer.thirdPartyCam = true;
    customer.curCamName = kApp;
    customer.activityName = kActivity;
    loadConfig(thirdPartyTables(rows), state);
    const SensorSetting setting = timeSettingDecisions(state, kMaxYuv);
    reportRowRate(state, 3 * rows);  // three tables of `rows` rows each
    // The thermal table has the last word.
    if (setting.sensorMode != 4) state.SkipWithError("the chain did not end in the thermal row");
    hostconfig::clear();
}
BENCHMARK(BM_LegacyThirdPartyChain)->Arg(8)->Arg(64);

// ---- Legacy RRZO ----------------------------------------------------------------------------

constexpr char kSystemCamera[] = "com.example.camera";

// Both custom size tables with `rows` rows under the system camera's name; only the last row of
// each matches (the others carry a feature mask that the configuration does not have).
std::string customSizeTables(int32_t rows) {
    std::string text;
    for (const char* table : {"CameraCustomSensorSize", "CameraCustomRrzoSize"}) {
        text += std::string("[") + table + "]\n";
        for (int32_t i = 0; i < rows; ++i) {
            const bool last = i == rows - 1;
            // camera id, capture mode, feature mask, width, height
            text += rowText<5>(std::string(kSystemCamera) + "[" + std::to_string(i) + "]",
                               {kSensor, kCaptureModeVideo, last ? 0 : 0x4, 4000, 2250});
        }
    }
    return text;
}

void BM_LegacyRrzoSelectTargetSize(benchmark::State& state) {
    const auto rows = static_cast<int32_t>(state.range(0));
    quietPlatform();
    describeSensor();
    hostplatform::CustomerFacts& customer = hostplatform::state().customer;
    customer.callerName = kSystemCamera;
    customer.capMode = kCaptureModeVideo;
    hostplatform::state().featureChip = [](const CustTransMsgData* request, CustTransMsgData*) {
        CustEvalRequest record;
        std::memcpy(static_cast<void*>(&record), request->pData, sizeof(record));
        if (record.evalType != kRrzoEvalTargetSize) return;
        const MSize answer(1920, 1080);
        std::memcpy(record.pParam, &answer, sizeof(answer));
    };
    loadConfig(customSizeTables(rows), state);
    CustRrzoAlgoAdaptor adaptor(kSensor);
    MSize out;

    const uint64_t allocationsBefore = custbench::allocationCount();
    for (auto _ : state) {
        out = kMaxYuv;
        adaptor.selectTargetSize(kSensor, kSensorSize, out);
        benchmark::DoNotOptimize(out);
        clearRecords();
    }
    reportAllocations(state, allocationsBefore);
    reportRowRate(state, 2 * rows);  // two tables of `rows` rows each
    if (out != MSize(4000, 2250)) state.SkipWithError("the RRZO row was not applied");
    hostconfig::clear();
}
BENCHMARK(BM_LegacyRrzoSelectTargetSize)->Arg(8)->Arg(64);

// ---- Loading a configuration ----------------------------------------------------------------

constexpr int32_t kLoadRows = 100000;

// 100,000 rows: ten tables of a hundred locales of a hundred rows, five to nine values each in
// decimal and hexadecimal, with a comment line per locale.
const std::string& largeConfig() {
    static const std::string sText = [] {
        std::string text;
        for (int32_t t = 0; t < 10; ++t) {
            text += "[BenchTable" + std::to_string(t) + "]\n";
            for (int32_t l = 0; l < 100; ++l) {
                const std::string locale = "com.example.app" + std::to_string(l) + "/.Activity";
                text += "# rows of " + locale + "\n";
                for (int32_t k = 0; k < 100; ++k) {
                    text += locale + "[" + std::to_string(k) + "] = -1, " + std::to_string(k) +
                            ", 0x8028, 1920, " + std::to_string(t * 1000 + l);
                    for (int32_t extra = 0; extra < (k % 5); ++extra) text += ", 0x1F";
                    text += "\n";
                }
            }
        }
        return text;
    }();
    return sText;
}

void BM_LoadConfigText(benchmark::State& state) {
    quietPlatform();
    const std::string& text = largeConfig();
    const uint64_t allocationsBefore = custbench::allocationCount();
    for (auto _ : state) {
        const hostconfig::LoadResult result = hostconfig::loadText(text, "large.config");
        if (!result.ok || result.entryCount != kLoadRows) {
            state.SkipWithError("the large configuration did not load whole");
            break;
        }
    }
    reportAllocations(state, allocationsBefore);
    reportRowRate(state, kLoadRows);
    state.counters["bytes/s"] = benchmark::Counter(
        static_cast<double>(text.size()) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
    hostconfig::clear();
}
BENCHMARK(BM_LoadConfigText)->Unit(benchmark::kMillisecond);

// The same rows from a file, as a device would load them (the file is in the page cache).
void BM_LoadConfigFile(benchmark::State& state) {
    quietPlatform();
    char path[] = "/tmp/custpolicy-bench-XXXXXX";
    const int fd = mkstemp(path);
    const std::string& text = largeConfig();
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        state.SkipWithError("cannot write the temporary configuration");
        return;
    }
    close(fd);
    const uint64_t allocationsBefore = custbench::allocationCount();
    for (auto _ : state) {
        const hostconfig::LoadResult result = hostconfig::loadFile(path);
        if (!result.ok || result.entryCount != kLoadRows) {
            state.SkipWithError("the large configuration did not load whole");
            break;
        }
    }
    reportAllocations(state, allocationsBefore);
    reportRowRate(state, kLoadRows);
    unlink(path);
    hostconfig::clear();
}
BENCHMARK(BM_LoadConfigFile)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    custbench::TargetReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTargets(std::cout);
    benchmark::Shutdown();
    return 0;
}
