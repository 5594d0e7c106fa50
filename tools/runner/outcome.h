#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "config_index.h"
#include "runner.h"

// What a sensor got in one session, in the terms that the workflow commands compare: diff keeps
// one per session and sensor of the BEFORE run, check compares it with the session's
// expectations, check --record writes it. Small on purpose: diff keeps one per sensor run.
namespace custsim {

struct SensorOutcome {
    int32_t sensorIdx = 0;
    std::string sensorName;
    bool decided = false;
    uint32_t scenario = 0;
    uint32_t fps = 0;
    MSize sensorSize;
    uint32_t rawFormatType = 0;
    uint32_t seamlessFlags = 0;
    std::optional<uint32_t> seamlessScenario;
    MSize rrzoSize;
    std::optional<MatchedRow> row;  // the table row that decided
    std::string explanation;        // the row as rowText() names it, else the deciding message
};

// `index` (may be null) gives the line of the deciding row when the run names the row only in its
// log message.
SensorOutcome outcomeOf(const SensorRun& run, const ConfigIndex* index);

// "Table Locale[key] (file:line)".
std::string rowText(const MatchedRow& row);

// One row a call read, and whether it was the row the call's scan stopped at.
struct RowRead {
    std::string table;
    std::string locale;
    std::string key;
    bool matched = false;
};

// The rows the setting call and the RRZO calls of a run read (empty unless the store recorded its
// calls during the run).
std::vector<RowRead> rowReadsOf(const SensorRun& run);

}  // namespace custsim
