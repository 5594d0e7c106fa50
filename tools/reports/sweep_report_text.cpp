#include <iomanip>

#include "sweep_report.h"

// The summary of a sweep: points per decided mode, per sensor.
namespace custsim {

namespace {

constexpr uint64_t kPerMille = 1000;

class SummaryWriter : public SweepWriter {
public:
    SummaryWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep)
        : mOut(out), mDevice(device), mSweep(sweep) {}

    void point(const SweepPoint& point) override {
        for (const SweepOutcome& outcome : point.sensors) mCounts.add(outcome);
    }

    void finish() override {
        mOut << "sweep " << mSweep.file << ": " << mSweep.points << " points on device "
             << mDevice.name << "\n";
        for (const SweepAxis& axis : mSweep.axes) {
            mOut << "  " << axis.name << ": " << axis.size() << " values, " << axis.label(0);
            if (axis.size() > 1) mOut << " .. " << axis.label(axis.size() - 1);
            mOut << "\n";
        }
        for (const auto& [sensor, modes] : mCounts.bySensor()) {
            const SensorSpec* spec = mDevice.findSensor(sensor);
            uint64_t total = 0;
            for (const auto& [scenario, count] : modes) total += count;
            mOut << "\nsensor " << sensor << " (" << (spec != nullptr ? spec->name : "")
                 << "): " << total << " points\n";
            for (const auto& [scenario, count] : modes) {
                mOut << "  " << std::left << std::setw(40)
                     << mCounts.modeName(mDevice, sensor, scenario) << std::right << std::setw(9)
                     << count << "  " << shareOf(count, total) << "\n";
            }
        }
    }

private:
    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    ModeCounts mCounts;
};

}  // namespace

std::string shareOf(uint64_t count, uint64_t total) {
    const uint64_t perMille = total == 0 ? 0 : (count * kPerMille + total / 2) / total;
    return std::to_string(perMille / 10) + "." + std::to_string(perMille % 10) + "%";
}

void ModeCounts::add(const SweepOutcome& outcome) {
    ++mCounts[outcome.sensorIdx][outcome.scenario];
    if (outcome.decided)
        mSeen.emplace(std::make_pair(outcome.sensorIdx, outcome.scenario),
                      std::make_pair(outcome.sensorSize, outcome.fps));
}

std::string ModeCounts::modeName(const DeviceProfile& device, int32_t sensor,
                                 int32_t scenario) const {
    if (scenario < 0) return "no decision";
    const std::string name = "scenario " + std::to_string(scenario) + ": ";
    const SensorSpec* spec = device.findSensor(sensor);
    if (spec != nullptr) {
        const auto mode = spec->modes.find(scenario);
        if (mode != spec->modes.end()) {
            return name + std::to_string(mode->second.size.w) + "x" +
                   std::to_string(mode->second.size.h) + ", " + std::to_string(mode->second.fps) +
                   " fps";
        }
    }
    // A scenario the profile does not list: as the decision gave it.
    const auto seen = mSeen.find({sensor, scenario});
    if (seen == mSeen.end()) return name + "not a mode of the sensor";
    return name + std::to_string(seen->second.first.w) + "x" +
           std::to_string(seen->second.first.h) + ", " + std::to_string(seen->second.second) +
           " fps (not a mode of the sensor)";
}

std::unique_ptr<SweepWriter> makeSummaryWriter(std::ostream& out, const DeviceProfile& device,
                                               const SweepSpec& sweep) {
    return std::make_unique<SummaryWriter>(out, device, sweep);
}

}  // namespace custsim
