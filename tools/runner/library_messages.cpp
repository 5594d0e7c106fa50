#include "runner/library_messages.h"

#include <iterator>

#include "config_store.h"

namespace custsim {

namespace {

// Android's error priority.
constexpr int32_t kPriorityError = 6;

// ICustSettingPolicy's and CustSettingPolicyLegacy's messages that say which table row, thermal
// row or engineering value chose the scenario: a table's "match setting(result)" (the legacy
// policy's table lookups), the thermal pick of getThirdCamScenarioIdByThermal, and the engineering
// value of the legacy policy's engineering override.
constexpr char kTableMatchMarker[] = "match setting(result)";
constexpr char kThermalPickMarker[] = "by thermal";
constexpr char kEngineeringMarker[] = "for engineer explorer test";
const char* const kDecisionMarkers[] = {kTableMatchMarker, kThermalPickMarker, kEngineeringMarker};
// ICustSettingPolicy::selectSensorSetting's message after any decision.
constexpr char kFinalResultMarker[] = "match setting(final result)";
// The selection-input summary that ICustSettingPolicy's normal path (the feature chip's matching)
// logs first.
constexpr char kNormalPathMarker[] = "[getSettingSelectInfo]";
// A table match names its table and row: "match setting(result):[Table],Locale[i/n] [values]".
constexpr char kTableNameStart[] = "match setting(result):[";
constexpr char kTableNameEnd[] = "],";

// Messages the legacy setting policy writes at error priority although nothing failed: a table's
// match report (log tools look for it there) and getThirdCamScenarioIdByThermal's per-row
// comparison.
const char* const kErrorPriorityTraces[] = {
    kTableMatchMarker,
    "ThirdCamScenarioIdByThermal temperature:",
};
// getThirdCamScenarioIdByThermal's width check, which also fires for an activity that simply has
// no thermal rows.
constexpr char kThermalWidthMarker[] = "ThirdCamScenarioIdByThermal targetName:";

// The RRZO policies' messages that explain the RRZO size, most telling first, with the table each
// reports a row of: the legacy RRZO policy's size tables, then the base policy's target size.
struct RrzoMarker {
    const char* text;
    const char* table;  // "" when the message reports no table row
};
const RrzoMarker kRrzoMarkers[] = {
    {"customized rrzo size", custpolicy::kTableCustomRrzoSize},
    {"customized sensor size", custpolicy::kTableCustomSensorSize},
    {"rrzo target size", ""},
};

// The messages that say a table's scan matched, for the tables whose match message does not name
// the row (the thermal pick, the legacy RRZO policy's size tables).
struct MatchMarker {
    const char* table;
    const char* marker;
};
const MatchMarker kUnnamedRowMarkers[] = {
    {custpolicy::kTableThirdCamByThermal, kThermalPickMarker},
    {custpolicy::kTableCustomSensorSize, "customized sensor size("},
    {custpolicy::kTableCustomRrzoSize, "customized rrzo size("},
};

// The reference evaluator's note of its answer to the sensor-setting message
// (reference_evaluator.cpp).
constexpr char kFeatureChipSettingNote[] = "feature chip 0x1005";

bool contains(const std::string& text, const char* marker) {
    return text.find(marker) != std::string::npos;
}

// The tables whose scan the log reports a match of, in one pass over the log: a table match names
// its table; the other tables' match messages are known by their text.
std::vector<std::string> matchedTables(const std::vector<LogLine>& log) {
    std::vector<std::string> tables;
    const auto add = [&tables](std::string table) {
        for (const std::string& known : tables) {
            if (known == table) return;
        }
        tables.push_back(std::move(table));
    };
    for (const LogLine& line : log) {
        const size_t start = line.text.find(kTableNameStart);
        if (start != std::string::npos) {
            const size_t from = start + sizeof(kTableNameStart) - 1;
            const size_t end = line.text.find(kTableNameEnd, from);
            if (end != std::string::npos) add(line.text.substr(from, end - from));
            continue;
        }
        for (const MatchMarker& known : kUnnamedRowMarkers) {
            if (contains(line.text, known.marker)) add(known.table);
        }
    }
    return tables;
}

}  // namespace

namespace {

// Where the error tail " (function){#line:path}" at the very end starts; npos without one.
size_t errorTailStart(const std::string& text) {
    if (text.empty() || text.back() != '}') return std::string::npos;
    const size_t brace = text.rfind("){#");
    if (brace == std::string::npos) return std::string::npos;
    return text.rfind(" (", brace);
}

}  // namespace

std::string withoutErrorTail(const std::string& text) {
    const size_t tail = errorTailStart(text);
    return tail == std::string::npos ? text : text.substr(0, tail);
}

LogLine withoutErrorTail(const LogLine& line) {
    LogLine copy = line;
    const size_t tail = errorTailStart(copy.text);
    if (tail != std::string::npos) copy.text.erase(tail);
    return copy;
}

const LogLine* settingExplanation(const std::vector<LogLine>& log, bool& isLastMessage) {
    isLastMessage = false;
    const LogLine* finalResult = nullptr;
    const LogLine* explanation = nullptr;
    for (const LogLine& line : log) {
        if (isFinalResult(line)) {
            finalResult = &line;
            break;
        }
        // The normal path starts by gathering its inputs: a table match logged before it did not
        // decide (its scenario was refused), the feature chip does.
        if (contains(line.text, kNormalPathMarker)) explanation = nullptr;
        for (const char* marker : kDecisionMarkers) {
            if (contains(line.text, marker)) explanation = &line;
        }
    }
    if (explanation != nullptr) return explanation;
    if (finalResult != nullptr) return finalResult;
    if (log.empty()) return nullptr;
    isLastMessage = true;
    return &log.back();
}

bool isFinalResult(const LogLine& line) { return contains(line.text, kFinalResultMarker); }

bool isEngineeringValue(const LogLine& line) { return contains(line.text, kEngineeringMarker); }

bool isSelectionInputs(const LogLine& line) { return contains(line.text, kNormalPathMarker); }

std::string tableOfMessage(const LogLine& line) {
    const std::string& text = line.text;
    if (contains(text, kThermalPickMarker)) return custpolicy::kTableThirdCamByThermal;
    const size_t start = text.find(kTableNameStart);
    if (start == std::string::npos) return {};
    const size_t from = start + sizeof(kTableNameStart) - 1;
    const size_t end = text.find(']', from);
    return end == std::string::npos ? std::string() : text.substr(from, end - from);
}

const LogLine* rrzoExplanation(const std::vector<LogLine>& log, std::string& table) {
    // One pass: the last message of the most telling kind.
    constexpr size_t kNone = std::size(kRrzoMarkers);
    size_t best = kNone;
    const LogLine* found = nullptr;
    for (const LogLine& line : log) {
        for (size_t rank = 0; rank < best; ++rank) {
            if (!contains(line.text, kRrzoMarkers[rank].text)) continue;
            best = rank;
            found = &line;
            break;
        }
        if (found == &line || best == kNone) continue;
        // A later message of the same kind as the best so far replaces it.
        if (contains(line.text, kRrzoMarkers[best].text)) found = &line;
    }
    if (found == nullptr) return nullptr;
    table = kRrzoMarkers[best].table;
    return found;
}

std::optional<MatchedRow> lastReadRow(const std::string& table,
                                      const std::vector<hostconfig::RowRead>& reads,
                                      std::string_view file) {
    for (auto it = reads.rbegin(); it != reads.rend(); ++it) {
        if (it->table != table || it->status != hostconfig::kStatusOk) continue;
        return MatchedRow{it->table, it->locale, it->key, std::string(file), it->line};
    }
    return std::nullopt;
}

std::vector<bool> matchedReads(const std::vector<hostconfig::RowRead>& reads,
                               const std::vector<LogLine>& log) {
    std::vector<bool> matched(reads.size(), false);
    std::vector<std::string> pending = matchedTables(log);
    // A scan stops at its first match: the table's last successful read is the matched row.
    for (size_t i = reads.size(); i-- > 0 && !pending.empty();) {
        const hostconfig::RowRead& read = reads[i];
        if (read.status != hostconfig::kStatusOk) continue;
        for (auto table = pending.begin(); table != pending.end(); ++table) {
            if (*table != read.table) continue;
            matched[i] = true;
            pending.erase(table);
            break;
        }
    }
    return matched;
}

bool mayExplainRrzo(const std::string& text) {
    for (const RrzoMarker& marker : kRrzoMarkers) {
        if (contains(text, marker.text)) return true;
    }
    return false;
}

bool isThermalWidthCheck(const LogLine& line) { return contains(line.text, kThermalWidthMarker); }

bool isLibraryError(const LogLine& line, bool activityHasThermalRows) {
    if (line.priority < kPriorityError) return false;
    for (const char* trace : kErrorPriorityTraces) {
        if (contains(line.text, trace)) return false;
    }
    if (isThermalWidthCheck(line)) return activityHasThermalRows;
    return true;
}

bool isFeatureChipSettingNote(const std::string& note) {
    return note.rfind(kFeatureChipSettingNote, 0) == 0;
}

}  // namespace custsim
