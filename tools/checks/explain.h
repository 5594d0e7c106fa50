#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host_config_store.h"
#include "inputs/config_index.h"
#include "inputs/device_profile.h"
#include "inputs/session_file.h"
#include "runner/runner.h"

// Why a row did or did not match: the legacy tables' column rules applied to the facts the library
// computed, row by row, in the order the policy reads them. The trace is a second reading of the
// tables, made after the run; it is checked against the store's record of the row reads the
// library really made, so that it can never silently contradict the library.
namespace custsim {

// How a match column compares the row's value with the session's.
enum class ColumnRule {
    Equal,          // -1, or equal
    Ceiling,        // -1, or the row value >= the session's (inclusive ceiling)
    FloorSigned,    // -1, or the row value < the session's (exclusive floor)
    FloorUnsigned,  // the same, both compared as unsigned 32-bit
    CeilingBoth,    // -1, or the row value >= both the width and the height
    Threshold,      // no wildcard: a known temperature reaches the row value
};
// "equal", "inclusive ceiling", ...: the words the reports use.
const char* ruleName(ColumnRule rule);

// One match column that a row failed.
struct ColumnMiss {
    int32_t column = 0;
    std::string name;  // "camera-mode class"
    ColumnRule rule = ColumnRule::Equal;
    int32_t rowValue = 0;
    std::string rowText;     // the row's value as tables write it (modes and masks in hexadecimal)
    std::string inputValue;  // the session's value as the column sees it ("-1", "4000x3000")
    std::string source;      // where the session's value comes from
    std::string fix;         // what would let the row pass this column
};

// One row read of the trace.
struct TracedRow {
    std::string key;
    int32_t line = 0;  // 0 when the group has no such row
    int32_t status = hostconfig::kStatusOk;
    std::vector<int32_t> values;  // as the row is written, whatever its width
    bool matched = false;
    // Every column the row fails, in the order the policy tests them: the first one stopped it.
    std::vector<ColumnMiss> misses;
};

// One table and group searched.
struct TracedTable {
    std::string table;
    std::string locale;
    std::string why;         // why this group was searched (where its name comes from)
    std::string outcome;     // what the lookup made of it
    std::string replacedBy;  // a later step that replaced this group's answer; "" when it stood
    bool setting = true;     // read by the setting call (else by the RRZO call)
    // The columns whose values are modes or masks, which tables write in hexadecimal.
    std::vector<int32_t> hexColumns;
    std::vector<TracedRow> rows;
};

// What the run observed, for the self-check.
struct ObservedRun {
    bool decided = false;
    std::optional<MatchedRow> settingMatch;  // the row the decision names
    std::optional<MatchedRow> rrzoMatch;     // the size-table row behind the RRZO size
    const std::vector<hostconfig::RowRead>* settingRowReads = nullptr;
    const std::vector<hostconfig::RowRead>* rrzoRowReads = nullptr;
};

struct ExplainTrace {
    int32_t sensorIdx = 0;
    // The setting call's paths, in the order the policy takes them, each with why it ran or not.
    std::vector<std::string> steps;
    std::vector<TracedTable> tables;  // setting tables, then size tables, in read order
    // Self-check: how the trace differs from the store's record; empty when it agrees.
    std::vector<std::string> differences;
};

// Builds the trace of one sensor's run. Reads the configuration store (its reads are taken out of
// the store's row-read record again) and the index for the rows' lines; `facts` are those the
// library computed for the run.
ExplainTrace buildExplainTrace(const SessionSpec& session, const DeviceProfile& device,
                               int32_t sensorIdx, const MatchFacts& facts,
                               const ObservedRun& observed, const ConfigIndex* index);

// A row that failed on exactly one column.
struct NearMiss {
    const TracedTable* table = nullptr;
    const TracedRow* row = nullptr;
};
std::vector<NearMiss> nearMisses(const ExplainTrace& trace);

}  // namespace custsim
