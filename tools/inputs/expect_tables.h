#pragma once

#include <string>
#include <vector>

#include "session_file.h"

// The [[expect]] tables of a session file as text, for `check --record`: written from a run's
// results and put in place of the file's own, leaving every other byte of the file as it was.
namespace custsim {

// The TOML text of expectation tables, one per element, in order.
std::string expectTablesText(const std::vector<Expectation>& expectations);

// `text` with its [[expect]] tables replaced by `tables`: at the place of the first one, or
// appended after a blank line when the file has none. A table runs from its header to the next
// header; the comments and blank lines just before that next header stay with it, unless it is
// another expectation table.
std::string replaceExpectTables(const std::string& text, const std::string& tables);

}  // namespace custsim
