#include "target_report.h"

#include <cstdio>

namespace custbench {

namespace {

constexpr double kNanosPerSecond = 1e9;
constexpr char kMedian[] = "median";

// The targets.
constexpr double kMaxRowCostOverFloor = 10.0;
constexpr double kMaxGrowth64To512 = 8.5;
constexpr double kMinLoadRowsPerSecond = 1e6;
constexpr double kMaxLegacyDecisionNanos = 50e3;
// A sweep point (session, platform reset, setting and RRZO calls, explanation) against one bare
// decision of the adaptor.
constexpr double kMaxSweepPointOverDecision = 10.0;

// Rows of the benchmarks the targets read.
constexpr double kSmallTable = 64;
constexpr double kLargeTable = 512;
constexpr double kLoadRows = 100000;

std::string format(const char* pattern, double a, double b = 0, double c = 0) {
    char text[256];
    std::snprintf(text, sizeof(text), pattern, a, b, c);
    return text;
}

const char* verdict(bool met) { return met ? "met" : "MISSED"; }

}  // namespace

void TargetReporter::ReportRuns(const std::vector<Run>& runs) {
    // One line per benchmark: the run itself, or the median of its repetitions.
    std::vector<Run> shown;
    for (const Run& run : runs) {
        const bool aggregate = run.run_type == Run::RT_Aggregate;
        if (aggregate ? run.aggregate_name == kMedian : run.repetitions <= 1) shown.push_back(run);
    }
    benchmark::ConsoleReporter::ReportRuns(shown);
    for (const Run& run : shown) {
        if (run.error_occurred) continue;
        std::string name = run.run_name.function_name;
        if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
        mCpuNanos[name] = run.GetAdjustedCPUTime() * kNanosPerSecond /
                          benchmark::GetTimeUnitMultiplier(run.time_unit);
    }
}

void TargetReporter::printTargets(std::ostream& out) const {
    const auto find = [this](const std::string& name, double& nanos) {
        const auto found = mCpuNanos.find(name);
        if (found == mCpuNanos.end()) return false;
        nanos = found->second;
        return true;
    };
    out << "\nTargets (from CPU time per operation):\n";

    double store64 = 0, store512 = 0, floor64 = 0, floor512 = 0;
    if (find("BM_LegacySystemCamDecision/64", store64) &&
        find("BM_LegacySystemCamDecision/512", store512) && find("BM_RowMatchFloor/64", floor64) &&
        find("BM_RowMatchFloor/512", floor512)) {
        // The marginal cost of one more scanned row, in the decision and in the floor.
        const double storeRow = (store512 - store64) / (kLargeTable - kSmallTable);
        const double floorRow = (floor512 - floor64) / (kLargeTable - kSmallTable);
        const double ratio = storeRow / floorRow;
        out << format("  row scanned through the store: %.1f ns, floor %.2f ns: %.1fx", storeRow,
                      floorRow, ratio)
            << " (target <= 10x): " << verdict(ratio <= kMaxRowCostOverFloor) << "\n";
        const double growth = store512 / store64;
        out << format("  legacy decision, 512 rows / 64 rows: %.2fx", growth)
            << " (target <= 8.5x): " << verdict(growth <= kMaxGrowth64To512) << "\n";
    }
    double load = 0;
    if (find("BM_LoadConfigText", load)) {
        const double rate = kLoadRows * kNanosPerSecond / load;
        out << format("  loading 100,000 rows: %.0f ms, %.2f M rows/s", load / 1e6, rate / 1e6)
            << " (target >= 1 M rows/s): " << verdict(rate >= kMinLoadRowsPerSecond) << "\n";
    }
    double system = 0, thirdParty = 0;
    if (find("BM_LegacySystemCamDecision/64", system) &&
        find("BM_LegacyThirdPartyChain/64", thirdParty)) {
        out << format(
                   "  legacy decision, 64-row tables: system camera %.1f us, third-party chain "
                   "%.1f us",
                   system / 1e3, thirdParty / 1e3)
            << " (target well under 50 us): "
            << verdict(system < kMaxLegacyDecisionNanos && thirdParty < kMaxLegacyDecisionNanos)
            << "\n";
    }
    double point = 0, legacy = 0, newPolicy = 0;
    if (find("BM_SweepPoint", point) && find("BM_LegacySystemCamDecision/8", legacy) &&
        find("BM_NewPolicyDecision", newPolicy)) {
        const double overLegacy = point / legacy;
        const double overNew = point / newPolicy;
        out << format(
                   "  sweep point %.1f us: %.0fx the legacy decision, %.0fx the new-policy "
                   "decision",
                   point / 1e3, overLegacy, overNew)
            << " (target <= 10x each): "
            << verdict(overLegacy <= kMaxSweepPointOverDecision &&
                       overNew <= kMaxSweepPointOverDecision)
            << "\n";
    }
}

}  // namespace custbench
