#include <cstdio>

#include "json_text.h"
#include "number_text.h"
#include "report.h"
#include "workflow_report.h"

namespace custsim {

namespace {

constexpr int kJsonSchemaVersion = 1;
constexpr int kLabelWidth = 19;

std::string optionalText(const std::optional<uint32_t>& value) {
    return value ? std::to_string(*value) : std::string("none");
}

std::string decisionText(const SensorOutcome* o) {
    if (o == nullptr) return "not run";
    if (!o->decided) return "no decision";
    return "scenario " + std::to_string(o->scenario) + ", " + std::to_string(o->fps) +
           " fps, sensor " + sizeText(o->sensorSize) + ", raw format type " +
           std::to_string(o->rawFormatType);
}

// One compared value: its name in JSON, its label in text, and how each side prints.
struct Field {
    const char* name;
    const char* label;
    bool settingValue;  // compared only when both sides decided
    std::string (*text)(const SensorOutcome&);
};

const Field kFields[] = {
    {"scenario", "scenario", true,
     [](const SensorOutcome& o) { return std::to_string(o.scenario); }},
    {"fps", "fps", true, [](const SensorOutcome& o) { return std::to_string(o.fps); }},
    {"sensor_size", "sensor size", true,
     [](const SensorOutcome& o) { return sizeText(o.sensorSize); }},
    {"raw_format_type", "raw format type", true,
     [](const SensorOutcome& o) { return std::to_string(o.rawFormatType); }},
    {"seamless_flags", "seamless flags", false,
     [](const SensorOutcome& o) { return hexText(o.seamlessFlags); }},
    {"seamless_scenario", "seamless scenario", false,
     [](const SensorOutcome& o) { return optionalText(o.seamlessScenario); }},
    {"rrzo_size", "RRZO", false, [](const SensorOutcome& o) { return sizeText(o.rrzoSize); }},
};

// The names of the values that differ; "decision" when one side decided and the other did not
// (or ran no such sensor).
std::vector<std::string> changedFields(const SensorOutcome* before, const SensorOutcome* after) {
    if (before == nullptr || after == nullptr) return {"decision"};
    std::vector<std::string> changed;
    const bool bothDecided = before->decided && after->decided;
    if (before->decided != after->decided) changed.push_back("decision");
    for (const Field& field : kFields) {
        if (field.settingValue && !bothDecided) continue;
        if (field.text(*before) != field.text(*after)) changed.push_back(field.name);
    }
    return changed;
}

const SensorOutcome* findSensor(const std::vector<SensorOutcome>& outcomes, int32_t sensor) {
    for (const SensorOutcome& o : outcomes) {
        if (o.sensorIdx == sensor) return &o;
    }
    return nullptr;
}

void writeField(std::ostream& out, const char* label, const std::string& value) {
    std::string padded = label;
    padded.resize(kLabelWidth, ' ');
    out << "  " << padded << value << '\n';
}

std::string outcomeJson(const SensorOutcome* o) {
    if (o == nullptr) return "null";
    std::string json = "{\"decided\": " + std::string(o->decided ? "true" : "false");
    if (o->decided) {
        json += ", \"scenario\": " + std::to_string(o->scenario) +
                ", \"fps\": " + std::to_string(o->fps) +
                ", \"sensor_size\": " + jsonSizeArray(o->sensorSize) +
                ", \"raw_format_type\": " + std::to_string(o->rawFormatType);
    } else {
        json +=
            ", \"scenario\": null, \"fps\": null, \"sensor_size\": null, "
            "\"raw_format_type\": null";
    }
    json += ", \"seamless_flags\": " + std::to_string(o->seamlessFlags) +
            ", \"seamless_scenario\": " + jsonOptional(o->seamlessScenario) +
            ", \"rrzo_size\": " + jsonSizeArray(o->rrzoSize) + ", \"row\": ";
    if (o->row) {
        json += "{\"table\": " + jsonString(o->row->table) +
                ", \"locale\": " + jsonString(o->row->locale) +
                ", \"key\": " + jsonString(o->row->key) +
                ", \"file\": " + jsonString(o->row->file) +
                ", \"line\": " + std::to_string(o->row->line) + "}";
    } else {
        json += "null";
    }
    return json + ", \"explanation\": " + jsonString(o->explanation) + "}";
}

}  // namespace

DiffReport::DiffReport(std::ostream& out, bool json, const std::string& device,
                       const std::string& before, const std::string& after)
    : mOut(out), mJson(json) {
    if (mJson) {
        mOut << "{\n\"schema\": " << kJsonSchemaVersion << ",\n\"device\": " << jsonString(device)
             << ",\n\"before\": " << jsonString(before) << ",\n\"after\": " << jsonString(after)
             << ",\n\"changes\": [";
        return;
    }
    mOut << "diff on device " << device << "\n";
    writeField(mOut, "before", before);
    writeField(mOut, "after", after);
}

bool DiffReport::session(const std::string& file, const std::vector<SensorOutcome>& before,
                         const std::vector<SensorOutcome>& after) {
    ++mTotals.sessions;
    // Sensors in the order the session ran them; one the other side did not run follows.
    std::vector<int32_t> sensors;
    for (const SensorOutcome& o : before) sensors.push_back(o.sensorIdx);
    for (const SensorOutcome& o : after) {
        if (findSensor(before, o.sensorIdx) == nullptr) sensors.push_back(o.sensorIdx);
    }
    bool changed = false;
    bool lostDecision = false;
    for (const int32_t sensor : sensors) {
        const SensorOutcome* b = findSensor(before, sensor);
        const SensorOutcome* a = findSensor(after, sensor);
        const std::vector<std::string> fields = changedFields(b, a);
        if (fields.empty()) continue;
        changed = true;
        lostDecision =
            lostDecision || (b != nullptr && b->decided && (a == nullptr || !a->decided));
        if (mJson) {
            sensorJson(file, b, a, fields);
        } else {
            sensorText(file, b, a, fields);
        }
    }
    if (!changed) {
        ++mTotals.unchanged;
        return false;
    }
    ++mTotals.changed;
    if (lostDecision) ++mTotals.newlyUndecided;
    return true;
}

void DiffReport::sensorText(const std::string& file, const SensorOutcome* before,
                            const SensorOutcome* after, const std::vector<std::string>& changed) {
    const SensorOutcome& any = before != nullptr ? *before : *after;
    mOut << "\n" << file << ": sensor " << any.sensorIdx;
    if (!any.sensorName.empty()) mOut << " (" << any.sensorName << ")";
    mOut << "\n";
    for (const std::string& name : changed) {
        if (name == "decision") {
            writeField(mOut, "decision", decisionText(before) + " -> " + decisionText(after));
            continue;
        }
        for (const Field& field : kFields) {
            if (name == field.name)
                writeField(mOut, field.label, field.text(*before) + " -> " + field.text(*after));
        }
    }
    writeField(mOut, "before by", before != nullptr ? before->explanation : "not run");
    writeField(mOut, "after by", after != nullptr ? after->explanation : "not run");
}

void DiffReport::sensorJson(const std::string& file, const SensorOutcome* before,
                            const SensorOutcome* after, const std::vector<std::string>& changed) {
    const SensorOutcome& any = before != nullptr ? *before : *after;
    mOut << (mFirstChange ? "\n" : ",\n") << "  {\n    \"file\": " << jsonString(file)
         << ",\n    \"sensor\": " << any.sensorIdx
         << ",\n    \"sensor_name\": " << jsonString(any.sensorName) << ",\n    \"changed\": [";
    for (size_t i = 0; i < changed.size(); ++i)
        mOut << (i == 0 ? "" : ", ") << jsonString(changed[i]);
    mOut << "],\n    \"before\": " << outcomeJson(before)
         << ",\n    \"after\": " << outcomeJson(after) << "\n  }";
    mFirstChange = false;
}

void DiffReport::finish() {
    const DiffTotals& t = mTotals;
    if (mJson) {
        mOut << (mFirstChange ? "],\n" : "\n],\n") << "\"summary\": {\"sessions\": " << t.sessions
             << ", \"unchanged\": " << t.unchanged << ", \"changed\": " << t.changed
             << ", \"newly_undecided\": " << t.newlyUndecided << "}\n}\n";
        return;
    }
    mOut << "\ndiff: " << t.sessions << " session" << (t.sessions == 1 ? "" : "s") << ": "
         << t.unchanged << " unchanged, " << t.changed << " changed, " << t.newlyUndecided
         << " newly without a decision\n";
}

}  // namespace custsim
