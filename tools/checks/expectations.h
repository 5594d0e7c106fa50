#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "decision.h"
#include "session_file.h"

// A session's [[expect]] tables against what its run gave: the check of `check`, and the tables
// that `check --record` writes.
namespace custsim {

// One expectation that the run did not meet.
struct UnmetExpectation {
    uint32_t line = 0;  // of the expectation's key in the session file
    int32_t sensor = 0;
    std::string key;  // "scenario", "fps", "sensor_size", ...
    std::string expected;
    std::string actual;
    std::string expectedJson;
    std::string actualJson;
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
