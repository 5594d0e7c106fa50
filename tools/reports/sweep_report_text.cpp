#include <iomanip>

#include "sweep_report.h"
#include "text_escape.h"

// The summary of a sweep: points per decided mode, per sensor, and where along the map's x axis
// the mode changes.
namespace custsim {

namespace {

constexpr uint64_t kPerMille = 1000;
// A sensor's scenario at a point where it did not run (another sensor of the sensor axis did).
constexpr int32_t kNotRun = -2;
// Changes of mode listed per sensor; the rest are counted (the CSV has them all).
constexpr size_t kMaxChangesShown = 40;

std::string shortModeName(int32_t scenario) {
    return scenario < 0 ? "no decision" : "scenario " + std::to_string(scenario);
}

class SummaryWriter : public PointOutput {
public:
    SummaryWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep,
                  int32_t alongAxis)
        : mOut(out), mDevice(device), mSweep(sweep), mAlong(alongAxis) {}

    void point(const SweepPoint& point) override {
        for (const SweepOutcome& outcome : point.sensors) {
            mCounts.add(outcome);
            if (mAlong < 0) continue;
            std::vector<int32_t>& modes = mModes[outcome.sensorIdx];
            if (modes.empty()) modes.assign(mSweep.points, kNotRun);
            modes[point.index] = outcome.scenario;
        }
    }

    void finish() override {
        mOut << "sweep " << terminalText(mSweep.file) << ": " << mSweep.points
             << " points on device " << terminalText(mDevice.name) << "\n";
        for (const SweepAxis& axis : mSweep.axes) {
            mOut << "  " << terminalText(axis.name) << ": " << axis.size() << " values, "
                 << terminalText(axis.label(0));
            if (axis.size() > 1) mOut << " .. " << terminalText(axis.label(axis.size() - 1));
            mOut << "\n";
        }
        for (const auto& [sensor, modes] : mCounts.bySensor()) {
            const SensorSpec* profile = mDevice.findSensor(sensor);
            uint64_t total = 0;
            for (const auto& [scenario, count] : modes) total += count;
            mOut << "\nsensor " << sensor << " ("
                 << terminalText(profile != nullptr ? profile->name : "") << "): " << total
                 << " points\n";
            for (const auto& [scenario, count] : modes) {
                mOut << "  " << std::left << std::setw(40)
                     << mCounts.modeName(mDevice, sensor, scenario) << std::right << std::setw(9)
                     << count << "  " << shareOf(count, total) << "\n";
            }
            writeChanges(sensor);
        }
    }

private:
    // "app socialcam video call": the values of the point's other axes, the sensor's aside.
    std::string lineOf(const std::vector<size_t>& values) const {
        std::string text;
        for (size_t i = 0; i < values.size(); ++i) {
            if (static_cast<int32_t>(i) == mAlong || mSweep.axes[i].kind == AxisKind::Sensor)
                continue;
            text += (text.empty() ? "" : ", ") + terminalText(mSweep.axes[i].name) + " " +
                    terminalText(mSweep.axes[i].label(values[i]));
        }
        return text;
    }

    // Where the mode changes from one value of the map's x axis to the next, the other axes held:
    // "from which size on", "at which temperature".
    void writeChanges(int32_t sensor) {
        const auto found = mModes.find(sensor);
        if (found == mModes.end()) return;
        const std::vector<int32_t>& modes = found->second;
        const SweepAxis& along = mSweep.axes[static_cast<size_t>(mAlong)];
        uint64_t stride = 1;
        for (size_t i = static_cast<size_t>(mAlong) + 1; i < mSweep.axes.size(); ++i)
            stride *= mSweep.axes[i].size();
        size_t changes = 0;
        for (uint64_t point = 0; point < mSweep.points; ++point) {
            const std::vector<size_t> values = mSweep.coordinates(point);
            const size_t x = values[static_cast<size_t>(mAlong)];
            if (x == 0) continue;
            const int32_t before = modes[point - stride];
            const int32_t after = modes[point];
            if (before == after || before == kNotRun || after == kNotRun) continue;
            if (changes++ == 0) mOut << "  changes along " << terminalText(along.name) << ":\n";
            if (changes > kMaxChangesShown) continue;
            const std::string line = lineOf(values);
            mOut << "    " << line << (line.empty() ? "" : ": ") << terminalText(along.label(x - 1))
                 << " -> " << terminalText(along.label(x)) << ": " << shortModeName(before)
                 << " -> " << shortModeName(after) << "\n";
        }
        if (changes > kMaxChangesShown)
            mOut << "    ... and " << changes - kMaxChangesShown << " more (see --csv)\n";
        if (changes == 0) mOut << "  no change along " << terminalText(along.name) << "\n";
    }

    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    int32_t mAlong;
    ModeCounts mCounts;
    std::map<int32_t, std::vector<int32_t>> mModes;
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
    const SensorSpec* profile = device.findSensor(sensor);
    if (profile != nullptr) {
        const auto mode = profile->modes.find(scenario);
        if (mode != profile->modes.end()) {
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

std::unique_ptr<SweepOutput> makeSummaryWriter(std::ostream& out, const DeviceProfile& device,
                                               const SweepSpec& sweep, int32_t alongAxis) {
    return std::make_unique<SummaryWriter>(out, device, sweep, alongAxis);
}

}  // namespace custsim
