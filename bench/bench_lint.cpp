// Benchmarks of lint on large and hostile configurations: one table of many rows (the scaling from
// 10k to 1M rows), many small tables, and one very long table name. Each text is made once, and
// every iteration lints it whole: parsing, grouping, the row checks and the shadowed-row index.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "checks/lint.h"

namespace {

constexpr int64_t kManyTables = 500'000;
constexpr size_t kLongNameBytes = size_t{10} << 20;  // 10 MiB
// Values the generated rows cycle through, like the bands of a real third-party table.
constexpr int32_t kSensors = 4;
constexpr int32_t kRatioFloors[] = {-1, 500, 562, 750};
constexpr int32_t kWidthStep = 16;
constexpr int32_t kBandWidth = 640;
constexpr int32_t kScenarios = 6;

// One "ThirdCamSensorSettingMap" group of `rows` rows: sensor, video, operation mode, aspect-ratio
// floor, width floor, size ceiling, unused, scenario. The operation mode is -1 or 0, the only
// values the third-party path meets, so that every row is reachable. Each row is a width band
// (floor, floor + kBandWidth] of its own, so most rows are not shadowed and the index keeps many of
// them.
std::string thirdPartyTable(int64_t rows) {
    std::string text = "[ThirdCamSensorSettingMap]\n";
    text.reserve(static_cast<size_t>(rows) * 64);
    for (int64_t i = 0; i < rows; ++i) {
        const auto n = static_cast<int32_t>(i);
        const int32_t floor = (n / (kSensors * 2)) * kWidthStep;
        text += "AllCamApp[" + std::to_string(i) + "] = " + std::to_string(n % kSensors) + ", " +
                std::to_string((n / kSensors) % 2) + ", " + std::to_string(n % 3 == 0 ? -1 : 0) +
                ", " + std::to_string(kRatioFloors[(n / 16) % 4]) + ", " + std::to_string(floor) +
                ", " + std::to_string(floor + kBandWidth) + ", 0, " +
                std::to_string(n % kScenarios) + "\n";
    }
    return text;
}

// The hardest shape for the shadowed-row index: `rows` rows of one bucket, each with an
// aspect-ratio floor, a width floor and a size ceiling of its own, none covering another (each
// accepts fewer ratios than the rows before it, but more widths).
std::string antichainTable(int64_t rows) {
    std::string text = "[ThirdCamSensorSettingMap]\n";
    for (int64_t i = 0; i < rows; ++i) {
        text += "AllCamApp[" + std::to_string(i) + "] = 0, 0, 0, " + std::to_string(i) + ", " +
                std::to_string(rows - i) + ", " + std::to_string(2 * rows + i) + ", 0, 1\n";
    }
    return text;
}

// `tables` tables of one row each, every one of them unknown (a misspelt name).
std::string manyTables(int64_t tables) {
    std::string text;
    text.reserve(static_cast<size_t>(tables) * 48);
    for (int64_t i = 0; i < tables; ++i)
        text += "[CommonSensorSetingMap" + std::to_string(i) + "]\nMode[0] = 1, 0, 3\n";
    return text;
}

void lintText(benchmark::State& state, const std::string& text, int64_t items) {
    int64_t findings = 0;
    for (auto _ : state) {
        const custsim::LintResult result = custsim::lintConfigText(text, "bench.config");
        findings = static_cast<int64_t>(result.findings.size());
        benchmark::DoNotOptimize(findings);
    }
    state.SetItemsProcessed(state.iterations() * items);
    state.counters["findings"] = static_cast<double>(findings);
    state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
}

void BM_LintRows(benchmark::State& state) {
    const std::string text = thirdPartyTable(state.range(0));
    lintText(state, text, state.range(0));
}
// The scaling from 10k to 1M rows.
BENCHMARK(BM_LintRows)
    ->Arg(10'000)
    ->Arg(20'000)
    ->Arg(40'000)
    ->Arg(100'000)
    ->Arg(200'000)
    ->Arg(400'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

void BM_LintRowsOfTheirOwn(benchmark::State& state) {
    const std::string text = antichainTable(state.range(0));
    lintText(state, text, state.range(0));
}
BENCHMARK(BM_LintRowsOfTheirOwn)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_LintTables(benchmark::State& state) {
    const std::string text = manyTables(state.range(0));
    lintText(state, text, state.range(0));
}
BENCHMARK(BM_LintTables)->Arg(kManyTables)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_LintLongTableName(benchmark::State& state) {
    const std::string text = "[" + std::string(kLongNameBytes, 'N') + "]\nMode[0] = 1, 0, 3\n";
    lintText(state, text, 1);
}
BENCHMARK(BM_LintLongTableName)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
