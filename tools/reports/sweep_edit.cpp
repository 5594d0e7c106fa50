#include "sweep_edit.h"

namespace custsim {

namespace {

std::string modeText(const SweepOutcome& outcome) {
    return outcome.decided ? "scenario " + std::to_string(outcome.scenario) : "no decision";
}

std::string sizeOf(MSize size) { return std::to_string(size.w) + "x" + std::to_string(size.h); }

// One compared value, as the diff command compares it.
struct Field {
    const char* name;
    bool settingValue;  // compared only when both sides decided
    std::string (*text)(const SweepOutcome&);
};

const Field kFields[] = {
    {"scenario", true, [](const SweepOutcome& o) { return std::to_string(o.scenario); }},
    {"fps", true, [](const SweepOutcome& o) { return std::to_string(o.fps); }},
    {"sensor_size", true, [](const SweepOutcome& o) { return sizeOf(o.sensorSize); }},
    {"raw_format_type", true,
     [](const SweepOutcome& o) { return std::to_string(o.rawFormatType); }},
    {"seamless_flags", false,
     [](const SweepOutcome& o) { return std::to_string(o.seamlessFlags); }},
    {"seamless_scenario", false,
     [](const SweepOutcome& o) { return std::to_string(o.seamlessScenario); }},
    {"rrzo_size", false, [](const SweepOutcome& o) { return sizeOf(o.rrzoSize); }},
};

}  // namespace

const SweepOutcome* SweepBaseline::at(uint64_t point, int32_t sensor) const {
    if (point >= mPoints.size()) return nullptr;
    for (const SweepOutcome& outcome : mPoints[point]) {
        if (outcome.sensorIdx == sensor) return &outcome;
    }
    return nullptr;
}

std::vector<std::string> changedFields(const SweepOutcome& before, const SweepOutcome& after) {
    std::vector<std::string> changed;
    const bool bothDecided = before.decided && after.decided;
    if (before.decided != after.decided) changed.emplace_back("decision");
    for (const Field& field : kFields) {
        if (field.settingValue && !bothDecided) continue;
        if (field.text(before) != field.text(after)) changed.emplace_back(field.name);
    }
    return changed;
}

std::string changeText(const SweepOutcome& before, const SweepOutcome& after,
                       const std::vector<std::string>& fields) {
    const std::string was = modeText(before);
    const std::string now = modeText(after);
    if (was != now) return was + " -> " + now;
    std::string text = now + ":";
    for (size_t i = 0; i < fields.size(); ++i) text += (i == 0 ? " " : ", ") + fields[i];
    return text + " changed";
}

}  // namespace custsim
