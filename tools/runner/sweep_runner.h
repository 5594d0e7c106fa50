#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "device_profile.h"
#include "runner.h"
#include "sweep_file.h"

// Runs every point of a sweep: per point the base session with the point's axis values, through
// the same calls as `simulate`. Points are independent, so they are spread over worker processes,
// each with its own host platform; the outcomes come back in point order whatever the number of
// workers.
namespace custsim {

// What a sweep keeps of one sensor's run at one point.
struct SweepOutcome {
    int32_t sensorIdx = 0;
    bool decided = false;
    int32_t scenario = -1;  // -1: no decision
    uint32_t fps = 0;
    MSize sensorSize;
    uint32_t rawFormatType = 0;
    MSize rrzoSize;
    uint32_t seamlessFlags = 0;
    int64_t seamlessScenario = -1;  // -1: none recorded
    std::optional<MatchedRow> match;
    // The message that explains the decision, or the call's last message when nothing was decided
    // (logcat style, without the error tail).
    std::string message;
    std::vector<std::string> warnings;
};

struct SweepPoint {
    uint64_t index = 0;
    std::vector<SweepOutcome> sensors;  // in the order the session runs them
};

// Runs one point of the sweep on the simulator.
SweepPoint runSweepPoint(Simulator& simulator, const SweepSpec& sweep, uint64_t index);

// Reduces one sensor's run to what the sweep reports.
SweepOutcome outcomeOf(const SensorRun& run);

// Warnings as the sweep's outputs print them: "code: message".
std::vector<std::string> decisionWarnings(const std::vector<Warning>& warnings);

// Receives each point's outcome, in point order.
using SweepSink = std::function<void(const SweepPoint&)>;

// Runs the sweep over `jobs` workers (1: in this process). The configuration store must hold the
// device's tables. False, with `error` set, when a worker failed; the points before it have been
// handed to the sink.
bool runSweep(const DeviceProfile& device, const SweepSpec& sweep, unsigned jobs,
              const SweepSink& sink, std::string& error);

}  // namespace custsim
