#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reports/sweep_report.h"

// The map of an edit: every point of a sweep run with the configuration before the edit, kept so
// that the run with the configuration after it can say, per point, whether the outcome changed and
// from what to what (compared as diff compares two decisions).
namespace custsim {

class SweepBaseline : public PointOutput {
public:
    SweepBaseline(uint64_t points, std::string file) : mPoints(points), mFile(std::move(file)) {}
    void finish() override {}
    // The configuration file the baseline ran with.
    const std::string& file() const { return mFile; }
    // The sensor's decision at the point before the edit; null when the sensor did not run there.
    const Decision* at(uint64_t point, int32_t sensor) const;

protected:
    void point(const SweepPoint& point) override { mPoints[point.index] = point.sensors; }

private:
    std::vector<std::vector<Decision>> mPoints;
    std::string mFile;
};

// "scenario 2 -> scenario 0", or "scenario 2: rrzo_size changed" when the mode stays.
std::string changeText(const Decision& before, const Decision& after,
                       const std::vector<std::string>& fields);

}  // namespace custsim
