#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inputs/session_file.h"
#include "runner/decision.h"

// A session's [[expect]] tables against what its run gave: the check of `check`, and the tables
// that `check --record` writes.
namespace custsim {

// A value an expectation names, or the run gave, as the check compares it; the check report
// prints it (as text and as JSON).
struct CheckValue {
    enum class Kind {
        Absent,          // no value: the fps or size of no chosen mode, no deciding row
        NoDecision,      // the scenario "none"
        NamedNotFilled,  // a scenario named but not filled: `number` is the scenario
        Number,
        Hex,  // a bit set (seamless flags)
        Size,
        Text,
    };
    Kind kind = Kind::Absent;
    int64_t number = 0;
    MSize size;
    std::string text;
};

// One expectation that the run did not meet.
struct UnmetExpectation {
    uint32_t line = 0;  // of the expectation's key in the session file
    int32_t sensor = 0;
    std::string key;  // "scenario", "fps", "sensor_size", ...
    CheckValue expected;
    CheckValue actual;
};

struct ExpectationCheck {
    int32_t checked = 0;  // keys compared
    std::vector<UnmetExpectation> unmet;
};

// Compares every expectation of the session with the outcome of its sensor.
ExpectationCheck checkExpectations(const SessionSpec& session,
                                   const std::vector<Decision>& decisions);

// True when a decision can be frozen as an expectation: a scenario named but not filled is no
// mode the sensor runs in, and is never recorded as one.
bool recordable(const Decision& decision);

// The expectations that freeze these decisions (every one recordable): every key for every sensor
// run.
std::vector<Expectation> expectationsOf(const std::vector<Decision>& decisions);

}  // namespace custsim
