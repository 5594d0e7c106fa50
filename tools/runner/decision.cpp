#include "runner/decision.h"

#include "config_store.h"
#include "runner/library_messages.h"
#include "runner/reference_evaluator.h"

namespace custsim {

namespace {

// Android log priorities, and the detail level each needs before the library writes it.
constexpr int32_t kPriorityDebug = 3;
constexpr int32_t kPriorityInfo = 4;
constexpr int32_t kPriorityWarning = 5;
constexpr int32_t kDetailLevelWarning = 2;
constexpr int32_t kDetailLevelInfo = 3;
constexpr int32_t kDetailLevelDebug = 5;

// The seamless scenario a system-camera row records when it fixes none.
constexpr uint32_t kNoSeamlessScenario = 0;

DecisionResult resultOf(const SensorCalls& calls) {
    if (!calls.reportedDecision) return DecisionResult::None;
    // A policy reports a decision once it has named a scenario, even when the sensor-info helper
    // then failed and the record was left as it was.
    if (calls.namedScenario && !calls.notFilledReason.empty())
        return DecisionResult::NamedNotFilled;
    return DecisionResult::Chosen;
}

PolicyPath pathOfTable(const std::string& table) {
    if (table == custpolicy::kTableSystemCamSensorSettingMap) return PolicyPath::SystemTable;
    if (table == custpolicy::kTableCommonSensorSettingMap) return PolicyPath::CommonTable;
    if (table == custpolicy::kTableThirdCamByThermal) return PolicyPath::Thermal;
    return PolicyPath::ThirdPartyStep;
}

PolicyPath pathOf(const SensorCalls& calls, const Decision& d) {
    if (d.result == DecisionResult::None) return PolicyPath::HalFallback;
    if (calls.byEngineerTraversal || (d.message && isEngineeringValue(*d.message)))
        return PolicyPath::Engineering;
    if (d.row) return pathOfTable(d.row->table);
    if (calls.capabilityManagerAsked) return PolicyPath::CapabilityManager;
    return PolicyPath::FeatureChip;
}

std::string explanationOf(const Decision& d, const std::vector<std::string>& notes) {
    if (d.row) return rowText(*d.row);
    // When the feature chip chose (or refused), its reasoning says more than the final-result
    // message.
    const bool byTableOrValue = d.message && !d.messageIsLast && !isFinalResult(*d.message);
    for (const std::string& note : notes) {
        if (!byTableOrValue && isFeatureChipSettingNote(note)) return note;
    }
    if (!d.message) return "no message";
    const std::string line = logcatLine(*d.message);
    return d.messageIsLast ? "last message " + line : line;
}

bool sameRow(const MatchedRow& a, const MatchedRow& b) {
    return a.table == b.table && a.locale == b.locale && a.key == b.key;
}

// Rows the setting call's scans stopped at whose answer did not stand.
// True when the call read some row of a table other than the deciding row's: only then can a row
// have matched and been replaced.
bool readOtherTables(const Decision& d, const std::vector<hostconfig::RowRead>& reads) {
    for (const hostconfig::RowRead& read : reads) {
        if (read.status == hostconfig::kStatusOk && (!d.row || read.table != d.row->table))
            return true;
    }
    return false;
}

std::vector<OverriddenRow> overriddenRows(const Decision& d, const SensorTrace& trace,
                                          std::string_view file) {
    std::vector<OverriddenRow> rows;
    if (!readOtherTables(d, trace.settingRowReads)) return rows;
    const std::vector<bool> matched = matchedReads(trace.settingRowReads, trace.settingLog);
    for (size_t i = 0; i < matched.size(); ++i) {
        if (!matched[i]) continue;
        const hostconfig::RowRead& read = trace.settingRowReads[i];
        MatchedRow row{read.table, read.locale, read.key, std::string(file), read.line};
        if (d.row && sameRow(*d.row, row)) continue;
        rows.push_back({std::move(row), d.path});
    }
    return rows;
}

void addWarnings(const SensorCalls& calls, Decision& d) {
    if (d.result == DecisionResult::NamedNotFilled) {
        d.warnings.push_back(
            {calls.namedScenarioIsAMode ? "sensor-query-failed" : "scenario-not-a-mode",
             d.notFilledReason + ": SensorSetting left as it was"});
    }
    if (d.chosen() && d.namedScenario && calls.requestedFps &&
        *calls.requestedFps > static_cast<int64_t>(d.record.sensorFps)) {
        d.warnings.push_back(
            {"fps-below-request", "scenario " + std::to_string(d.record.sensorMode) + " runs at " +
                                      std::to_string(d.record.sensorFps) + " fps, below the " +
                                      std::to_string(*calls.requestedFps) +
                                      " fps the session asks for"});
    }
    const MSize rrzo = d.rrzoSize;
    const MSize sensor = d.rrzoSensorSize;
    // A size table replaces the RRZO as its row stands, so a side can even be negative.
    if (rrzo.w <= 0 || rrzo.h <= 0) {
        d.warnings.push_back(
            {"rrzo-zero-side", "RRZO " + sizeText(rrzo) + " has a side of zero or less"});
    } else if (sensor.w > 0 && sensor.h > 0 && (rrzo.w > sensor.w || rrzo.h > sensor.h)) {
        d.warnings.push_back(
            {"rrzo-exceeds-sensor",
             "RRZO " + sizeText(rrzo) + " exceeds the sensor output " + sizeText(sensor)});
    }
}

}  // namespace

char priorityLetter(int32_t priority) {
    static const char kLetters[] = "??VDIWEF";
    return priority >= 0 && priority < 8 ? kLetters[priority] : '?';
}

std::string logcatLine(const LogLine& line) {
    return std::string(1, priorityLetter(line.priority)) + "/" + line.tag + ": " + line.text;
}

bool shownAtDetailLevel(int32_t priority, int32_t detailLevel) {
    if (priority > kPriorityWarning) return true;
    if (priority == kPriorityWarning) return detailLevel >= kDetailLevelWarning;
    if (priority == kPriorityInfo) return detailLevel >= kDetailLevelInfo;
    if (priority == kPriorityDebug) return detailLevel >= kDetailLevelDebug;
    return false;
}

Decision buildDecision(const SensorCalls& calls, const SensorTrace& trace) {
    Decision d;
    d.sensorIdx = calls.sensorIdx;
    d.sensorName = calls.sensorName;
    d.newSettingPolicy = calls.newSettingPolicy;
    d.newRrzoPolicy = calls.newRrzoPolicy;
    d.result = resultOf(calls);
    d.byEngineerTraversal = calls.byEngineerTraversal;
    d.record = calls.record;
    d.namedScenario = calls.namedScenario;
    if (d.result == DecisionResult::NamedNotFilled) d.notFilledReason = calls.notFilledReason;
    d.seamlessFlagsBefore = calls.seamlessFlagsBefore;
    d.seamlessFlags = calls.seamlessFlags;
    d.seamlessScenario = calls.seamlessScenario;
    d.rrzoRequested = calls.rrzoRequested;
    d.rrzoSensorSize = calls.rrzoSensorSize;
    d.rrzoSize = calls.rrzoSize;
    if (d.halFallback()) d.fallbackScenario = calls.fallbackScenario;

    // The messages are kept without their error tails.
    if (const LogLine* message = settingExplanation(trace.settingLog, d.messageIsLast)) {
        if (calls.reportedDecision && !d.messageIsLast) {
            const std::string table = tableOfMessage(*message);
            if (!table.empty()) d.row = lastReadRow(table, trace.settingRowReads, calls.configName);
        }
        d.message = withoutErrorTail(*message);
    }
    std::string rrzoTable;
    if (const LogLine* message = rrzoExplanation(trace.rrzoLog, rrzoTable)) {
        d.rrzoMessage = withoutErrorTail(*message);
        if (!rrzoTable.empty())
            d.rrzoRow = lastReadRow(rrzoTable, trace.rrzoRowReads, calls.configName);
    }

    d.path = pathOf(calls, d);
    d.explanation = explanationOf(d, trace.notes);
    d.overridden = overriddenRows(d, trace, calls.configName);
    addWarnings(calls, d);
    return d;
}

const char* resultName(DecisionResult result) {
    switch (result) {
        case DecisionResult::Chosen:
            return "chosen";
        case DecisionResult::NamedNotFilled:
            return "named_not_filled";
        case DecisionResult::None:
            return "none";
    }
    return "";
}

const char* pathName(PolicyPath path) {
    switch (path) {
        case PolicyPath::SystemTable:
            return "system_table";
        case PolicyPath::CommonTable:
            return "common_table";
        case PolicyPath::ThirdPartyStep:
            return "third_party_table";
        case PolicyPath::Thermal:
            return "thermal";
        case PolicyPath::FeatureChip:
            return "feature_chip";
        case PolicyPath::CapabilityManager:
            return "capability_manager";
        case PolicyPath::Engineering:
            return "engineering";
        case PolicyPath::HalFallback:
            return "hal_fallback";
    }
    return "";
}

const char* pathText(PolicyPath path) {
    switch (path) {
        case PolicyPath::SystemTable:
            return "the system-camera table";
        case PolicyPath::CommonTable:
            return "the common table";
        case PolicyPath::ThirdPartyStep:
            return "a later third-party table";
        case PolicyPath::Thermal:
            return "the thermal table";
        case PolicyPath::FeatureChip:
            return "the feature chip";
        case PolicyPath::CapabilityManager:
            return "the capability manager";
        case PolicyPath::Engineering:
            return "the engineering value";
        case PolicyPath::HalFallback:
            return "the HAL's fallback (no decision)";
    }
    return "";
}

std::string entryName(const MatchedRow& row) { return row.locale + "[" + row.key + "]"; }

std::string rowText(const MatchedRow& row) {
    std::string text = row.table + " " + entryName(row);
    if (!row.file.empty()) text += " (" + row.file + ":" + std::to_string(row.line) + ")";
    return text;
}

std::string seamlessScenarioText(const std::optional<uint32_t>& scenario) {
    if (!scenario) return "none";
    // A matched system-camera row always records one; 0 is its way of fixing none.
    if (*scenario == kNoSeamlessScenario) return "0 (the row fixes none)";
    return std::to_string(*scenario);
}

std::string decisionSummary(const Decision& d) {
    switch (d.result) {
        case DecisionResult::None:
            return "no decision";
        case DecisionResult::NamedNotFilled:
            return "scenario " + std::to_string(d.namedScenario.value_or(0)) + " named, not filled";
        case DecisionResult::Chosen:
            break;
    }
    return "scenario " + std::to_string(d.record.sensorMode) + ", " +
           std::to_string(d.record.sensorFps) + " fps, sensor " + sizeText(d.record.sensorSize) +
           ", raw format type " + std::to_string(d.record.rawFmtType);
}

}  // namespace custsim
