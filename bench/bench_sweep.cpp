// The cost of one point of a sweep: the base session with the point's values, the HAL's calls for
// every sensor of the session over the host platform (platform reset, session facts, the setting
// and RRZO calls, the log captured and explained), and the outcome kept for the reports; once
// without and once with writing its CSV row. Run on the bundled system-camera sweep, which the
// legacy policy decides through its tables or the feature chip, point after point.

#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>
#include <string>

#include "commands/commands.h"
#include "inputs/device_profile.h"
#include "inputs/sweep_file.h"
#include "reports/sweep_report.h"
#include "runner/runner.h"
#include "runner/sweep_runner.h"

namespace {

constexpr char kDevice[] = CUSTPOLICY_EXAMPLES_DIR "/device/device.toml";
constexpr char kSweep[] = CUSTPOLICY_EXAMPLES_DIR "/sweeps/system-camera-sizes.toml";

// Swallows what the CSV writer writes.
class NullBuffer : public std::streambuf {
protected:
    int overflow(int c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

struct SweepFixture {
    custsim::Diagnostics diagnostics;
    custsim::OpenDevice opened;
    custsim::SweepSpec sweep;

    bool load() {
        if (!custsim::openDevice(kDevice, "", custsim::Findings::Skip, opened, diagnostics))
            return false;
        sweep =
            custsim::loadSweep(kSweep, opened.device(), custsim::kDefaultMaxPoints, diagnostics);
        return diagnostics.empty();
    }
};

void timeSweepPoints(benchmark::State& state, bool withCsv) {
    SweepFixture fixture;
    if (!fixture.load()) {
        state.SkipWithError("cannot load the bundled device and sweep");
        return;
    }
    custsim::Simulator simulator(*fixture.opened.host);
    custsim::configureForSweep(simulator);
    NullBuffer discard;
    std::ostream out(&discard);
    auto csv = custsim::makeCsvWriter(out, fixture.opened.device(), fixture.sweep);
    std::string rows;
    uint64_t index = 0;
    for (auto _ : state) {
        const custsim::SweepPoint point = custsim::runSweepPoint(simulator, fixture.sweep, index);
        if (withCsv) {
            rows.clear();
            csv->encode(point, rows);
            csv->write(index, rows);
        }
        benchmark::DoNotOptimize(point.sensors.data());
        index = (index + 1) % fixture.sweep.points;
    }
}

void BM_SweepPoint(benchmark::State& state) { timeSweepPoints(state, false); }
BENCHMARK(BM_SweepPoint);

void BM_SweepPointCsv(benchmark::State& state) { timeSweepPoints(state, true); }
BENCHMARK(BM_SweepPointCsv);

}  // namespace
