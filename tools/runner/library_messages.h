#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host_config_store.h"
#include "runner/decision.h"

// The one reader of the library's log messages and of the configuration store's row reads: the
// only place that knows the texts the library writes. The texts are literals of the library's
// format strings; each is kept here next to the name of the library function that writes it, so
// that a change of a message is one change of this file (the tool's goldens catch it).
namespace custsim {

// The message without the error tail " (function){#line:path}" that error messages carry.
std::string withoutErrorTail(const std::string& text);
LogLine withoutErrorTail(const LogLine& line);

// The message that explains a setting call's decision: the last table match, thermal pick or
// engineering value before the final result (a table match before the normal path did not decide),
// else the final result. With neither, the call's last message, and `isLastMessage` is set. Null
// for an empty log; otherwise a line of `log`.
const LogLine* settingExplanation(const std::vector<LogLine>& log, bool& isLastMessage);

// True when the message is the policy's final result (which names no row).
bool isFinalResult(const LogLine& line);
// True when the message reports the engineering value that chose the scenario.
bool isEngineeringValue(const LogLine& line);
// True for the summary of the selection inputs that the feature chip's matching logs first.
bool isSelectionInputs(const LogLine& line);

// The table whose row the deciding message reports (a table match or the thermal pick); "" when
// it reports none.
std::string tableOfMessage(const LogLine& line);

// The message that explains the RRZO size, most telling first, and the table whose row it reports
// ("" for none). Null when no message explains it; otherwise a line of `log`.
const LogLine* rrzoExplanation(const std::vector<LogLine>& log, std::string& table);

// True for a message that rrzoExplanation may pick.
bool mayExplainRrzo(const std::string& text);

// The row of `table` the call's scan stopped at: a scan stops at its first match, so it is the
// table's last successful read.
std::optional<MatchedRow> lastReadRow(const std::string& table,
                                      const std::vector<hostconfig::RowRead>& reads,
                                      std::string_view file);

// Per read of one call, whether it is a row the call's scan stopped at: the last successful read of
// each table whose match the call's log reports.
std::vector<bool> matchedReads(const std::vector<hostconfig::RowRead>& reads,
                               const std::vector<LogLine>& log);

// True for a message the library writes at error priority that reports a real fault; false for the
// decision traces it also writes there. `activityHasThermalRows` tells a thermal width check that
// fired on a group that exists (a fault) from one that fired because the activity has no rows.
bool isLibraryError(const LogLine& line, bool activityHasThermalRows);
// True for the thermal table's width check, whose meaning depends on the activity.
bool isThermalWidthCheck(const LogLine& line);

// The reference feature chip's note of its answer to the sensor-setting message.
bool isFeatureChipSettingNote(const std::string& note);

}  // namespace custsim
