#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sweep_report.h"

// The map of an edit: every point of a sweep run with the configuration before the edit, kept so
// that the run with the configuration after it can say, per point, whether the outcome changed and
// from what to what.
namespace custsim {

class SweepBaseline : public PointOutput {
public:
    SweepBaseline(uint64_t points, std::string file) : mPoints(points), mFile(std::move(file)) {}
    void finish() override {}
    // The configuration file the baseline ran with.
    const std::string& file() const { return mFile; }
    // The sensor's outcome at the point before the edit; null when the sensor did not run there.
    const SweepOutcome* at(uint64_t point, int32_t sensor) const;

protected:
    void point(const SweepPoint& point) override { mPoints[point.index] = point.sensors; }

private:
    std::vector<std::vector<SweepOutcome>> mPoints;
    std::string mFile;
};

// The values that differ between two outcomes of a sensor, named as `diff` names them
// ("decision", "scenario", "fps", "sensor_size", "raw_format_type", "seamless_flags",
// "seamless_scenario", "rrzo_size"); empty when the outcome is the same. The deciding row is not
// an outcome: a new row that decides the same is no change.
std::vector<std::string> changedFields(const SweepOutcome& before, const SweepOutcome& after);

// "scenario 2 -> scenario 0", or "scenario 2: rrzo_size changed" when the mode stays.
std::string changeText(const SweepOutcome& before, const SweepOutcome& after,
                       const std::vector<std::string>& fields);

}  // namespace custsim
