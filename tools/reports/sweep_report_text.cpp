#include <iomanip>

#include "reports/sweep_changes.h"
#include "reports/sweep_edit.h"
#include "reports/sweep_report.h"
#include "reports/text_escape.h"
#include "reports/workflow_report.h"

// The summary of a sweep: points per decided mode, per sensor, and where along the map's x axis
// the mode changes.
namespace custsim {

namespace {

constexpr uint64_t kPerMille = 1000;
// A sensor's scenario at a point where it did not run (another sensor of the sensor axis did).
constexpr int32_t kNotRun = -2;
// Places where the mode changes listed per sensor; the rest are counted (the CSV has them all).
constexpr size_t kMaxChangesShown = 40;

class SummaryWriter : public PointOutput {
public:
    SummaryWriter(std::ostream& out, const DeviceProfile& device, const SweepSpec& sweep,
                  int32_t alongAxis, const SweepBaseline* baseline)
        : mOut(out),
          mDevice(device),
          mSweep(sweep),
          mAlong(alongAxis),
          mCounts(true),
          mBaseline(baseline) {}

    void point(const SweepPoint& point) override {
        for (const Decision& outcome : point.sensors) {
            mCounts.add(outcome);
            if (mBaseline != nullptr) compare(point.index, outcome);
            if (mAlong < 0) continue;
            std::vector<int32_t>& modes = mModes[outcome.sensorIdx];
            if (modes.empty()) modes.assign(mSweep.points, kNotRun);
            modes[point.index] = mCounts.keyOf(outcome);
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
            if (mBaseline != nullptr) writeEdit(sensor);
            writeChanges(sensor);
        }
    }

private:
    void compare(uint64_t index, const Decision& outcome) {
        const Decision* before = mBaseline->at(index, outcome.sensorIdx);
        if (before == nullptr) return;
        const std::vector<std::string> fields = decisionChanges(*before, outcome);
        if (!fields.empty()) ++mEdits[outcome.sensorIdx][changeText(*before, outcome, fields)];
    }

    // The points whose outcome differs from the configuration before the edit, per change.
    void writeEdit(int32_t sensor) {
        const auto found = mEdits.find(sensor);
        uint64_t changed = 0;
        if (found != mEdits.end()) {
            for (const auto& [change, count] : found->second) changed += count;
        }
        mOut << "  against " << terminalText(mBaseline->file()) << ": " << changed
             << " points change\n";
        if (found == mEdits.end()) return;
        for (const auto& [change, count] : found->second) {
            mOut << "    " << std::left << std::setw(38) << change << std::right << std::setw(9)
                 << count << "\n";
        }
    }

    // Where the mode changes from one value of the map's x axis to the next, grouped by place:
    // "from which size on", "at which temperature".
    void writeChanges(int32_t sensor) {
        const auto found = mModes.find(sensor);
        if (found == mModes.end()) return;
        const SweepAxis& along = mSweep.axes[static_cast<size_t>(mAlong)];
        const std::vector<ChangePlace> places =
            changesAlong(mSweep, mAlong, found->second, kNotRun);
        if (places.empty()) {
            mOut << "  no change along " << terminalText(along.name) << "\n";
            return;
        }
        mOut << "  changes along " << terminalText(along.name) << ":\n";
        for (size_t i = 0; i < places.size() && i < kMaxChangesShown; ++i) writePlace(places[i]);
        if (places.size() <= kMaxChangesShown) return;
        const size_t more = places.size() - kMaxChangesShown;
        mOut << "    ... and " << more << (more == 1 ? " more place" : " more places")
             << " (see --csv)\n";
    }

    // "44 -> 45: scenario 2 -> scenario 0 at app socialcam video call"; a place with several
    // variants lists one per line under it.
    void writePlace(const ChangePlace& place) {
        mOut << "    " << terminalText(changePlaceText(mSweep, mAlong, place)) << ":";
        const bool oneLine = place.variants.size() == 1;
        for (const ChangeVariant& variant : place.variants) {
            const std::string lines = changeLinesText(mSweep, mAlong, place, variant);
            mOut << (oneLine ? " " : "\n      ") << mCounts.shortName(variant.before) << " -> "
                 << mCounts.shortName(variant.after) << (lines.empty() ? "" : " ")
                 << terminalText(lines);
        }
        mOut << "\n";
    }

    std::ostream& mOut;
    const DeviceProfile& mDevice;
    const SweepSpec& mSweep;
    int32_t mAlong;
    ModeCounts mCounts;
    std::map<int32_t, std::vector<int32_t>> mModes;
    const SweepBaseline* mBaseline;
    std::map<int32_t, std::map<std::string, uint64_t>> mEdits;  // sensor -> change -> points
};

}  // namespace

std::string shareOf(uint64_t count, uint64_t total) {
    const uint64_t perMille = total == 0 ? 0 : (count * kPerMille + total / 2) / total;
    return std::to_string(perMille / 10) + "." + std::to_string(perMille % 10) + "%";
}

int32_t ModeCounts::keyOf(const Decision& outcome) const {
    if (mNamedApart && outcome.result == DecisionResult::NamedNotFilled)
        return kNamedNotFilledKey - outcome.namedScenario.value_or(0);
    return sweepMode(outcome);
}

void ModeCounts::add(const Decision& outcome) {
    const int32_t mode = keyOf(outcome);
    ++mCounts[outcome.sensorIdx][mode];
    if (outcome.chosen())
        mSeen.emplace(std::make_pair(outcome.sensorIdx, mode),
                      std::make_pair(outcome.record.sensorSize, outcome.record.sensorFps));
}

std::string ModeCounts::shortName(int32_t key) const {
    if (key <= kNamedNotFilledKey)
        return "scenario " + std::to_string(kNamedNotFilledKey - key) + " named, not filled";
    return key < 0 ? "no decision" : "scenario " + std::to_string(key);
}

std::string ModeCounts::modeName(const DeviceProfile& device, int32_t sensor,
                                 int32_t scenario) const {
    if (scenario <= kNamedNotFilledKey)
        return "scenario " + std::to_string(kNamedNotFilledKey - scenario) + " named, not filled";
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
                                               const SweepSpec& sweep, int32_t alongAxis,
                                               const SweepBaseline* baseline) {
    return std::make_unique<SummaryWriter>(out, device, sweep, alongAxis, baseline);
}

}  // namespace custsim
