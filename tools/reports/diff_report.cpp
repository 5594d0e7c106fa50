#include <cstdio>

#include "reports/number_text.h"
#include "reports/json_text.h"
#include "reports/report.h"
#include "reports/text_escape.h"
#include "reports/workflow_report.h"

namespace custsim {

namespace {

constexpr int kJsonSchemaVersion = 1;
constexpr int kLabelWidth = 19;

// One compared value: its name in JSON, its label in text, and how each side prints.
struct Field {
    const char* name;
    const char* label;
    bool modeValue;  // compared only when both sides chose a mode
    std::string (*text)(const Decision&);
};

const Field kFields[] = {
    {"scenario", "scenario", true,
     [](const Decision& d) { return std::to_string(d.record.sensorMode); }},
    {"fps", "fps", true, [](const Decision& d) { return std::to_string(d.record.sensorFps); }},
    {"sensor_size", "sensor size", true,
     [](const Decision& d) { return sizeText(d.record.sensorSize); }},
    {"raw_format_type", "raw format type", true,
     [](const Decision& d) { return std::to_string(d.record.rawFmtType); }},
    {"seamless_flags", "seamless flags", false,
     [](const Decision& d) { return hexText(d.seamlessFlags); }},
    {"seamless_scenario", "seamless scenario", false,
     [](const Decision& d) { return seamlessScenarioText(d.seamlessScenario); }},
    {"rrzo_size", "RRZO", false, [](const Decision& d) { return sizeText(d.rrzoSize); }},
};

std::string warningText(const Warning& warning) { return warning.code + ": " + warning.message; }

bool hasWarning(const std::vector<Warning>& warnings, const Warning& wanted) {
    for (const Warning& warning : warnings) {
        if (warning.code == wanted.code && warning.message == wanted.message) return true;
    }
    return false;
}

bool sameWarnings(const Decision& before, const Decision& after) {
    if (before.warnings.size() != after.warnings.size()) return false;
    for (const Warning& warning : before.warnings) {
        if (!hasWarning(after.warnings, warning)) return false;
    }
    return true;
}

// A result differs when its kind does, or when both named a scenario they could not fill but not
// the same one.
bool sameResult(const Decision& before, const Decision& after) {
    if (before.result != after.result) return false;
    return before.result != DecisionResult::NamedNotFilled ||
           before.namedScenario == after.namedScenario;
}

}  // namespace

std::vector<std::string> decisionChanges(const Decision& before, const Decision& after) {
    std::vector<std::string> changed;
    const bool bothChosen = before.chosen() && after.chosen();
    if (!sameResult(before, after)) changed.push_back("decision");
    for (const Field& field : kFields) {
        if (field.modeValue && !bothChosen) continue;
        if (field.text(before) != field.text(after)) changed.push_back(field.name);
    }
    if (!sameWarnings(before, after)) changed.push_back("warnings");
    return changed;
}

namespace {

bool sameRow(const std::optional<MatchedRow>& a, const std::optional<MatchedRow>& b) {
    if (a.has_value() != b.has_value()) return false;
    return !a || (a->table == b->table && a->locale == b->locale && a->key == b->key);
}

const Decision* findSensor(const std::vector<Decision>& decisions, int32_t sensor) {
    for (const Decision& d : decisions) {
        if (d.sensorIdx == sensor) return &d;
    }
    return nullptr;
}

void writeField(std::ostream& out, const char* label, const std::string& value) {
    std::string padded = label;
    padded.resize(kLabelWidth, ' ');
    out << "  " << padded << value << '\n';
}

std::string rowJson(const std::optional<MatchedRow>& row) {
    if (!row) return "null";
    return "{\"table\": " + jsonString(row->table) + ", \"locale\": " + jsonString(row->locale) +
           ", \"key\": " + jsonString(row->key) + ", \"file\": " + jsonString(row->file) +
           ", \"line\": " + std::to_string(row->line) + "}";
}

std::string warningsJson(const std::vector<Warning>& warnings) {
    std::string json = "[";
    for (size_t i = 0; i < warnings.size(); ++i) {
        json += (i == 0 ? "" : ", ") + std::string("{\"code\": ") + jsonString(warnings[i].code) +
                ", \"message\": " + jsonString(warnings[i].message) + "}";
    }
    return json + "]";
}

std::string optionalJson(const std::optional<int32_t>& value) {
    return value ? std::to_string(*value) : std::string("null");
}

std::string decisionJson(const Decision& d) {
    std::string json = "{\"result\": " + jsonString(resultName(d.result)) +
                       ", \"decided\": " + std::string(d.chosen() ? "true" : "false") +
                       ", \"named_scenario\": " + optionalJson(d.namedScenario);
    if (d.chosen()) {
        json += ", \"scenario\": " + std::to_string(d.record.sensorMode) +
                ", \"fps\": " + std::to_string(d.record.sensorFps) +
                ", \"sensor_size\": " + jsonSizeArray(d.record.sensorSize) +
                ", \"raw_format_type\": " + std::to_string(d.record.rawFmtType);
    } else {
        json +=
            ", \"scenario\": null, \"fps\": null, \"sensor_size\": null, "
            "\"raw_format_type\": null";
    }
    json += ", \"seamless_flags\": " + std::to_string(d.seamlessFlags) +
            ", \"seamless_scenario\": " + jsonOptional(d.seamlessScenario) +
            ", \"rrzo_size\": " + jsonSizeArray(d.rrzoSize) + ", \"row\": " + rowJson(d.row) +
            ", \"path\": " + jsonString(pathName(d.path)) +
            ", \"warnings\": " + warningsJson(d.warnings);
    return json + ", \"explanation\": " + jsonString(d.explanation) + "}";
}

void writeSideFindings(std::ostream& out, const char* label, const DiffSide& side) {
    if (side.configName.empty()) return;
    if (side.findings.empty()) {
        writeField(out, label, terminalText(side.configName) + ": no findings");
        return;
    }
    writeField(out, label, terminalText(side.configName) + ": " + findingsSummary(side.findings));
    for (const LintFinding& finding : side.findings)
        out << "    " << formatFinding(side.configName, finding) << '\n';
}

std::string findingsJson(const DiffSide& side) {
    std::string json = "[";
    for (size_t i = 0; i < side.findings.size(); ++i) {
        const LintFinding& f = side.findings[i];
        const bool error = f.severity == LintFinding::Severity::Error;
        json += (i == 0 ? "" : ", ") + std::string("{\"line\": ") + std::to_string(f.line) +
                ", \"severity\": " + jsonString(error ? "error" : "warning") +
                ", \"code\": " + jsonString(f.code) + ", \"where\": " + jsonString(f.where) +
                ", \"message\": " + jsonString(f.message) + "}";
    }
    return json + "]";
}

std::string sensorTitle(int32_t index, const std::string& name) {
    std::string text = "sensor " + std::to_string(index);
    if (!name.empty()) text += " (" + terminalText(name) + ")";
    return text;
}

}  // namespace

DiffReport::DiffReport(std::ostream& out, bool json, const std::string& device,
                       const DiffSide& before, const DiffSide& after,
                       const std::vector<UncomparedSensor>& uncompared)
    : mOut(out), mJson(json) {
    if (mJson) {
        mOut << "{\n\"schema\": " << kJsonSchemaVersion << ",\n\"device\": " << jsonString(device)
             << ",\n\"before\": " << jsonString(before.title)
             << ",\n\"after\": " << jsonString(after.title)
             << ",\n\"before_findings\": " << findingsJson(before)
             << ",\n\"after_findings\": " << findingsJson(after) << ",\n\"not_compared\": [";
        for (size_t i = 0; i < uncompared.size(); ++i) {
            const UncomparedSensor& u = uncompared[i];
            mOut << (i == 0 ? "" : ", ") << "{\"sensor\": " << u.index
                 << ", \"sensor_name\": " << jsonString(u.name)
                 << ", \"only_on\": " << jsonString(u.onBefore ? "before" : "after") << "}";
        }
        mOut << "],\n\"changes\": [";
        return;
    }
    mOut << "diff on device " << terminalText(device) << "\n";
    writeField(mOut, "before", before.title);
    writeField(mOut, "after", after.title);
    writeSideFindings(mOut, "before findings", before);
    writeSideFindings(mOut, "after findings", after);
    for (const UncomparedSensor& u : uncompared) {
        writeField(mOut, "not compared",
                   sensorTitle(u.index, u.name) + ": only on " + (u.onBefore ? "BEFORE" : "AFTER"));
    }
}

bool DiffReport::session(const std::string& file, const std::vector<Decision>& before,
                         const std::vector<Decision>& after) {
    ++mTotals.sessions;
    bool changed = false;
    bool moved = false;
    bool lostMode = false;
    // The sensors both sides ran, in the order BEFORE ran them.
    for (const Decision& b : before) {
        const Decision* a = findSensor(after, b.sensorIdx);
        if (a == nullptr) continue;
        const std::vector<std::string> fields = decisionChanges(b, *a);
        if (fields.empty()) {
            if (sameRow(b.row, a->row)) continue;
            moved = true;
            if (mJson) {
                movedJson(file, b, *a);
            } else {
                movedText(file, b, *a);
            }
            continue;
        }
        changed = true;
        lostMode = lostMode || (b.chosen() && !a->chosen());
        if (mJson) {
            sensorJson(file, b, *a, fields);
        } else {
            sensorText(file, b, *a, fields);
        }
    }
    if (changed) {
        ++mTotals.changed;
        if (lostMode) ++mTotals.newlyUndecided;
        return true;
    }
    if (moved) {
        ++mTotals.moved;
    } else {
        ++mTotals.unchanged;
    }
    return false;
}

void DiffReport::sensorText(const std::string& file, const Decision& before, const Decision& after,
                            const std::vector<std::string>& changed) {
    mOut << "\n"
         << terminalText(file) << ": " << sensorTitle(before.sensorIdx, before.sensorName) << "\n";
    for (const std::string& name : changed) {
        if (name == "decision") {
            writeField(mOut, "decision", decisionSummary(before) + " -> " + decisionSummary(after));
            continue;
        }
        if (name == "warnings") {
            for (const Warning& w : before.warnings) {
                if (!hasWarning(after.warnings, w))
                    writeField(mOut, "warning gone", warningText(w));
            }
            for (const Warning& w : after.warnings) {
                if (!hasWarning(before.warnings, w))
                    writeField(mOut, "warning new", warningText(w));
            }
            continue;
        }
        for (const Field& field : kFields) {
            if (name == field.name)
                writeField(mOut, field.label, field.text(before) + " -> " + field.text(after));
        }
    }
    writeField(mOut, "before by", before.explanation);
    writeField(mOut, "after by", after.explanation);
}

void DiffReport::sensorJson(const std::string& file, const Decision& before, const Decision& after,
                            const std::vector<std::string>& changed) {
    mOut << (mFirstChange ? "\n" : ",\n") << "  {\n    \"file\": " << jsonString(file)
         << ",\n    \"sensor\": " << before.sensorIdx
         << ",\n    \"sensor_name\": " << jsonString(before.sensorName) << ",\n    \"changed\": [";
    for (size_t i = 0; i < changed.size(); ++i)
        mOut << (i == 0 ? "" : ", ") << jsonString(changed[i]);
    mOut << "],\n    \"before\": " << decisionJson(before)
         << ",\n    \"after\": " << decisionJson(after) << "\n  }";
    mFirstChange = false;
}

void DiffReport::movedText(const std::string& file, const Decision& before, const Decision& after) {
    const auto rowOrNone = [](const Decision& d) {
        return d.row ? terminalText(rowText(*d.row)) : std::string("no row");
    };
    mMoved += "\n" + terminalText(file) + ": " + sensorTitle(before.sensorIdx, before.sensorName) +
              ": same decision, the deciding row moved\n";
    std::string line;
    std::string padded = "row";
    padded.resize(kLabelWidth, ' ');
    mMoved += "  " + padded + rowOrNone(before) + " -> " + rowOrNone(after) + "\n";
}

void DiffReport::movedJson(const std::string& file, const Decision& before, const Decision& after) {
    mMoved += std::string(mFirstMoved ? "\n" : ",\n") + "  {\"file\": " + jsonString(file) +
              ", \"sensor\": " + std::to_string(before.sensorIdx) +
              ", \"sensor_name\": " + jsonString(before.sensorName) +
              ", \"before\": " + rowJson(before.row) + ", \"after\": " + rowJson(after.row) + "}";
    mFirstMoved = false;
}

void DiffReport::finish() {
    const DiffTotals& t = mTotals;
    if (mJson) {
        mOut << (mFirstChange ? "],\n" : "\n],\n") << "\"moved\": [" << mMoved
             << (mFirstMoved ? "],\n" : "\n],\n") << "\"summary\": {\"sessions\": " << t.sessions
             << ", \"unchanged\": " << t.unchanged << ", \"changed\": " << t.changed
             << ", \"moved\": " << t.moved << ", \"newly_undecided\": " << t.newlyUndecided
             << "}\n}\n";
        return;
    }
    mOut << mMoved;
    mOut << "\ndiff: " << t.sessions << " session" << (t.sessions == 1 ? "" : "s") << ": "
         << t.unchanged << " unchanged, " << t.changed << " changed, " << t.moved
         << " with moved rows only, " << t.newlyUndecided << " newly without a chosen mode\n";
}

}  // namespace custsim
