#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

// The console table of Google Benchmark, followed by the performance targets worked out from it:
// the cost of a row scanned through the store against the floor, the growth from 64 to 512 rows,
// the loading rate and the time of a full legacy decision. Works on CPU time (the time the
// benchmark thread ran, which a busy machine does not inflate), taking the median when runs are
// repeated.
namespace custbench {

class TargetReporter : public benchmark::ConsoleReporter {
public:
    TargetReporter() : benchmark::ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override;
    // Prints the targets whose benchmarks ran.
    void printTargets(std::ostream& out) const;

private:
    // CPU nanoseconds per iteration, by benchmark name ("BM_RowMatchFloor/512").
    std::map<std::string, double> mCpuNanos;
};

}  // namespace custbench
