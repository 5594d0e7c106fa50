#pragma once

#include <optional>
#include <string>
#include <vector>

#include "checks/expectations.h"
#include "inputs/session_file.h"

// The [[expect]] tables of a session file as text, for `check --record`: what changes in a
// session's text to freeze a run's results, leaving every other byte of the file as it was.
namespace custsim {

// The TOML text of expectation tables, one per element, in order, with every key it has.
std::string expectTablesText(const std::vector<Expectation>& expectations);

// The TOML text of one key's value in `fresh` ("[1920, 1080]", "\"none\""), or none when the
// run has no value for it.
std::optional<std::string> expectValueText(const Expectation& fresh, const std::string& key);

// `text` with its [[expect]] tables replaced by `tables`: at the place of the first one, or
// appended after a blank line when the file has none. A table runs from its header to the next
// header; the comments and blank lines just before that next header stay with it, unless it is
// another expectation table.
std::string replaceExpectTables(const std::string& text, const std::string& tables);

// "\r\n" when the file's first line ends so, else "\n"; and LF-only text turned to that ending.
std::string lineEndingOf(const std::string& text);
std::string withLineEnding(const std::string& text, const std::string& ending);

// The text of a session after recording a run. A session with tables keeps them as written and
// only the values of its unmet keys change (a key the run has no value for loses its line);
// keys a table leaves out stay out, comments stay. A session without tables, or `everyKey`,
// gets tables with every key for every sensor run, in place of any it had. The file's line
// ending is followed. Equal to `text` when nothing is unmet.
std::string recordedText(const std::string& text, bool hasTables,
                         const std::vector<UnmetExpectation>& unmet,
                         const std::vector<Expectation>& fresh, bool everyKey);

}  // namespace custsim
