#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/device_profile.h"
#include "inputs/sweep_file.h"
#include "runner/runner.h"

// Runs every point of a sweep: per point the base session with the point's axis values, through
// the same calls as `simulate`. Points are independent, so they are spread over worker processes,
// each with its own host platform; the outcomes come back in point order whatever the number of
// workers.
namespace custsim {

struct SweepPoint {
    uint64_t index = 0;
    std::vector<Decision> sensors;  // in the order the session runs them
    std::vector<Warning> sessionWarnings;
};

// The scenario a sensor runs in at a point, as the sweep's outputs count it: -1 unless a mode was
// chosen (a scenario named but not filled is no mode the sensor runs in; its result says so).
int32_t sweepMode(const Decision& decision);
// The message that explains the decision (or the call's last message), logcat style without the
// error tail; "" for none.
std::string decisionMessage(const Decision& decision);
// The warnings of a sensor at a point as the sweep's outputs print them ("code: message"): the
// session's first, then the sensor's.
std::vector<std::string> pointWarnings(const SweepPoint& point, const Decision& decision);

// Sets a simulator up as a sweep runs it: the library's messages go to the Android log only, and no
// trace is kept. Neither changes what the sweep reports.
void configureForSweep(Simulator& simulator);

// Runs one point of the sweep on the simulator.
SweepPoint runSweepPoint(Simulator& simulator, const SweepSpec& sweep, uint64_t index);

// What an output of a sweep makes of a point, in two halves, so that the formatting is spread over
// the workers with the points: `encode` runs where the point ran (a worker process, or this one
// with one job) and turns the point into the bytes the output needs; `write` runs in this process,
// in point order, with those bytes. A row format encodes its finished rows, so that this process
// only copies them; an output that needs the whole sweep (a map, a summary) encodes the point
// itself (encodePoint) and decodes it when it is written (decodePoint).
class SweepOutput {
public:
    virtual ~SweepOutput() = default;
    // Appends to `bytes`. Called in a worker, on the worker's copy of the output: it must not rely
    // on anything `write` changes.
    virtual void encode(const SweepPoint& point, std::string& bytes) const = 0;
    // False when the bytes are not what `encode` made.
    virtual bool write(uint64_t index, std::string_view bytes) = 0;
    // Called once after the last point.
    virtual void finish() = 0;
};

// The point as plain fields, and back; false when the bytes are not a point.
void encodePoint(const SweepPoint& point, std::string& bytes);
bool decodePoint(std::string_view bytes, SweepPoint& point);

// The records that carry points from the workers to the parent. A worker's record of one point:
// its length, the point's index, then each output's part, each with its length.
void encodeRecord(const std::vector<SweepOutput*>& outputs, const SweepPoint& point,
                  std::string& bytes);
// Hands a record (without its own length) to the outputs; false when it is garbled, carries
// bytes past its last part or is of another point than `expected`.
bool writeRecord(const std::vector<SweepOutput*>& outputs, std::string_view record,
                 uint64_t expected);

// Told the number of points written so far, after each point.
using SweepProgress = std::function<void(uint64_t done)>;

// Runs the sweep over `jobs` workers (1: in this process) and hands every point to every output,
// in point order, on the device and tables of `host`. False, with `error` set, when a worker
// failed; the points before it have been written.
bool runSweep(HostSession& host, const SweepSpec& sweep, unsigned jobs,
              const std::vector<SweepOutput*>& outputs, const SweepProgress& progress,
              std::string& error);

}  // namespace custsim
