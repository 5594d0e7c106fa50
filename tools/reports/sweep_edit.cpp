#include "reports/sweep_edit.h"

namespace custsim {

namespace {

// A mode as the edit's lists name it: "scenario 2", "scenario 9 named, not filled", "no decision".
std::string modeText(const Decision& d) {
    return d.chosen() ? "scenario " + std::to_string(d.record.sensorMode) : decisionSummary(d);
}

}  // namespace

const Decision* SweepBaseline::at(uint64_t point, int32_t sensor) const {
    if (point >= mPoints.size()) return nullptr;
    for (const Decision& decision : mPoints[point]) {
        if (decision.sensorIdx == sensor) return &decision;
    }
    return nullptr;
}

std::string changeText(const Decision& before, const Decision& after,
                       const std::vector<std::string>& fields) {
    const std::string was = modeText(before);
    const std::string now = modeText(after);
    if (was != now) return was + " -> " + now;
    std::string text = now + ":";
    for (size_t i = 0; i < fields.size(); ++i) text += (i == 0 ? " " : ", ") + fields[i];
    return text + " changed";
}

}  // namespace custsim
