#include "outcome.h"

namespace custsim {

namespace {

// The message of a table lookup that names the row it took: "[Table],Locale[i/n] [values]".
constexpr char kTableMatchMarker[] = "match setting(result):[";
constexpr char kTableNameEnd[] = "],";
constexpr char kValuesStart[] = " [";

// The messages that say a table's scan matched, for the tables whose match message does not name
// the row: the row is then the last one the scan read, since every scan stops at its first match.
struct MatchMarker {
    const char* table;
    const char* marker;
};
const MatchMarker kUnnamedRowMarkers[] = {
    {"ThirdCamSensorSettingMapByThermal", "by thermal"},
    {"CameraCustomSensorSize", "customized sensor size("},
    {"CameraCustomRrzoSize", "customized rrzo size("},
};

// The row a "match setting(result)" message names, without its line.
std::optional<MatchedRow> rowOfMessage(const std::string& text) {
    const size_t marker = text.find(kTableMatchMarker);
    if (marker == std::string::npos) return std::nullopt;
    const size_t tableStart = marker + sizeof(kTableMatchMarker) - 1;
    const size_t tableEnd = text.find(kTableNameEnd, tableStart);
    const size_t valuesStart = text.rfind(kValuesStart);
    if (tableEnd == std::string::npos || valuesStart == std::string::npos || valuesStart < tableEnd)
        return std::nullopt;
    // "Locale[i/n]": the locale may hold '/' and '[' itself (activity names), the index does not.
    const std::string entry = text.substr(tableEnd + 2, valuesStart - tableEnd - 2);
    const size_t open = entry.rfind('[');
    const size_t slash = entry.rfind('/');
    if (open == std::string::npos || slash == std::string::npos || slash < open)
        return std::nullopt;
    MatchedRow row;
    row.table = text.substr(tableStart, tableEnd - tableStart);
    row.locale = entry.substr(0, open);
    row.key = entry.substr(open + 1, slash - open - 1);
    return row;
}

std::optional<MatchedRow> decidingRow(const SensorRun& run, const ConfigIndex* index) {
    if (run.match) return run.match;
    if (!run.decided || !run.decidedBy || run.decidedByIsLastMessage) return std::nullopt;
    std::optional<MatchedRow> row = rowOfMessage(run.decidedBy->text);
    if (!row || index == nullptr) return row;
    row->file = index->file();
    const int32_t found = index->find(row->table, row->locale, row->key);
    if (found >= 0) row->line = index->rows()[static_cast<size_t>(found)].line;
    return row;
}

// The feature chip's answer to the sensor-setting message, with its reasoning, and the message a
// policy logs after any decision.
constexpr char kFeatureChipSettingNote[] = "feature chip 0x1005";
constexpr char kFinalResultMarker[] = "match setting(final result)";

std::string explanationOf(const SensorRun& run, const std::optional<MatchedRow>& row) {
    if (row) return rowText(*row);
    // When the feature chip chose (or refused), its reasoning says more than the final-result
    // message.
    const bool byTableOrValue = run.decidedBy && !run.decidedByIsLastMessage &&
                                run.decidedBy->text.find(kFinalResultMarker) == std::string::npos;
    for (const std::string& note : run.notes) {
        if (!byTableOrValue && note.rfind(kFeatureChipSettingNote, 0) == 0) return note;
    }
    if (!run.decidedBy) return "no message";
    const std::string line = logcatLine(
        {run.decidedBy->priority, run.decidedBy->tag, withoutErrorTail(run.decidedBy->text)});
    return run.decidedByIsLastMessage ? "last message " + line : line;
}

bool logSays(const std::vector<LogLine>& log, const std::string& marker) {
    for (const LogLine& line : log) {
        if (line.text.find(marker) != std::string::npos) return true;
    }
    return false;
}

std::string matchMarkerOf(const std::string& table) {
    for (const MatchMarker& known : kUnnamedRowMarkers) {
        if (table == known.table) return known.marker;
    }
    return kTableMatchMarker + table + kTableNameEnd;
}

// The reads of one call: the last successful read of each table whose match the log reports is
// the matched row.
void addCallReads(const std::vector<hostconfig::RowRead>& reads, const std::vector<LogLine>& log,
                  std::vector<RowRead>& out) {
    const size_t first = out.size();
    for (const hostconfig::RowRead& read : reads)
        out.push_back({read.table, read.locale, read.key, false});
    std::vector<std::string> settled;
    for (size_t i = reads.size(); i-- > 0;) {
        const hostconfig::RowRead& read = reads[i];
        if (read.status != hostconfig::kStatusOk) continue;
        bool done = false;
        for (const std::string& table : settled) done = done || table == read.table;
        if (done) continue;
        settled.push_back(read.table);
        if (logSays(log, matchMarkerOf(read.table))) out[first + i].matched = true;
    }
}

}  // namespace

std::string rowText(const MatchedRow& row) {
    std::string text = row.table + " " + row.locale + "[" + row.key + "]";
    if (!row.file.empty()) text += " (" + row.file + ":" + std::to_string(row.line) + ")";
    return text;
}

SensorOutcome outcomeOf(const SensorRun& run, const ConfigIndex* index) {
    SensorOutcome outcome;
    outcome.sensorIdx = run.sensorIdx;
    outcome.sensorName = run.sensorName;
    outcome.decided = run.decided;
    if (run.decided) {
        outcome.scenario = run.setting.sensorMode;
        outcome.fps = run.setting.sensorFps;
        outcome.sensorSize = run.setting.sensorSize;
        outcome.rawFormatType = run.setting.rawFmtType;
    }
    outcome.seamlessFlags = run.seamlessFlags;
    outcome.seamlessScenario = run.seamlessScenario;
    outcome.rrzoSize = run.rrzoSize;
    outcome.row = decidingRow(run, index);
    outcome.explanation = explanationOf(run, outcome.row);
    return outcome;
}

std::vector<RowRead> rowReadsOf(const SensorRun& run) {
    std::vector<RowRead> reads;
    addCallReads(run.settingRowReads, run.settingLog, reads);
    addCallReads(run.rrzoRowReads, run.rrzoLog, reads);
    return reads;
}

}  // namespace custsim
