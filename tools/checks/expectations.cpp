#include "expectations.h"

#include <cstdio>

#include "json_text.h"
#include "number_text.h"
#include "report.h"

namespace custsim {

namespace {

std::string scenarioText(bool decided, uint32_t scenario) {
    return decided ? std::to_string(scenario) : "none";
}

std::string scenarioJson(bool decided, uint32_t scenario) {
    return decided ? std::to_string(scenario) : "\"none\"";
}

// The row of an outcome as an expectation names it.
std::string tableOf(const SensorOutcome& outcome) {
    return outcome.row ? outcome.row->table : kExpectNoTable;
}
std::string keyOf(const SensorOutcome& outcome) {
    return outcome.row ? outcome.row->locale + "[" + outcome.row->key + "]" : "";
}

class Comparer {
public:
    Comparer(const Expectation& expect, ExpectationCheck& result)
        : mExpect(expect), mResult(result) {}

    template <typename T>
    void compare(const std::optional<Expected<T>>& expected, const char* key, bool met,
                 std::string expectedText, std::string actualText, std::string expectedJson,
                 std::string actualJson) {
        if (!expected) return;
        ++mResult.checked;
        if (met) return;
        mResult.unmet.push_back({expected->line, mExpect.sensor, key, std::move(expectedText),
                                 std::move(actualText), std::move(expectedJson),
                                 std::move(actualJson)});
    }

private:
    const Expectation& mExpect;
    ExpectationCheck& mResult;
};

// The setting values (fps, sensor size) of a sensor that got no decision compare as "none".
void compareOne(const Expectation& e, const SensorOutcome& o, ExpectationCheck& result) {
    Comparer c(e, result);
    const std::string none = "none";
    const std::string noneJson = "null";
    if (e.scenario) {
        const bool expectDecision = e.scenario->value != kExpectNoDecision;
        const auto expected = static_cast<uint32_t>(e.scenario->value);
        c.compare(e.scenario, "scenario",
                  expectDecision == o.decided && (!o.decided || expected == o.scenario),
                  scenarioText(expectDecision, expected), scenarioText(o.decided, o.scenario),
                  scenarioJson(expectDecision, expected), scenarioJson(o.decided, o.scenario));
    }
    if (e.fps) {
        c.compare(e.fps, "fps", o.decided && e.fps->value == o.fps, std::to_string(e.fps->value),
                  o.decided ? std::to_string(o.fps) : none, std::to_string(e.fps->value),
                  o.decided ? std::to_string(o.fps) : noneJson);
    }
    if (e.sensorSize) {
        const MSize want = e.sensorSize->value;
        c.compare(e.sensorSize, "sensor_size", o.decided && want == o.sensorSize, sizeText(want),
                  o.decided ? sizeText(o.sensorSize) : none, jsonSizeArray(want),
                  o.decided ? jsonSizeArray(o.sensorSize) : noneJson);
    }
    if (e.rrzoSize) {
        const MSize want = e.rrzoSize->value;
        c.compare(e.rrzoSize, "rrzo_size", want == o.rrzoSize, sizeText(want), sizeText(o.rrzoSize),
                  jsonSizeArray(want), jsonSizeArray(o.rrzoSize));
    }
    if (e.seamlessFlags) {
        const uint32_t want = e.seamlessFlags->value;
        c.compare(e.seamlessFlags, "seamless_flags", want == o.seamlessFlags, hexText(want),
                  hexText(o.seamlessFlags), std::to_string(want), std::to_string(o.seamlessFlags));
    }
    if (e.table) {
        const std::string actual = tableOf(o);
        c.compare(e.table, "table", e.table->value == actual, e.table->value, actual,
                  jsonString(e.table->value), jsonString(actual));
    }
    if (e.key) {
        const std::string actual = keyOf(o);
        c.compare(e.key, "key", e.key->value == actual, e.key->value,
                  actual.empty() ? none : actual, jsonString(e.key->value),
                  actual.empty() ? noneJson : jsonString(actual));
    }
}

}  // namespace

ExpectationCheck checkExpectations(const SessionSpec& session,
                                   const std::vector<SensorOutcome>& outcomes) {
    ExpectationCheck result;
    for (const Expectation& expect : session.expectations) {
        for (const SensorOutcome& outcome : outcomes) {
            if (outcome.sensorIdx == expect.sensor) compareOne(expect, outcome, result);
        }
    }
    return result;
}

std::vector<Expectation> expectationsOf(const std::vector<SensorOutcome>& outcomes) {
    std::vector<Expectation> expectations;
    for (const SensorOutcome& o : outcomes) {
        Expectation e;
        e.sensor = o.sensorIdx;
        e.scenario =
            Expected<int32_t>{o.decided ? static_cast<int32_t>(o.scenario) : kExpectNoDecision, 0};
        if (o.decided) {
            e.fps = Expected<uint32_t>{o.fps, 0};
            e.sensorSize = Expected<MSize>{o.sensorSize, 0};
        }
        e.rrzoSize = Expected<MSize>{o.rrzoSize, 0};
        e.seamlessFlags = Expected<uint32_t>{o.seamlessFlags, 0};
        // Only a row the run names is frozen: a decision without one (the feature chip, an
        // engineering value) is held by the scenario alone.
        if (o.row) {
            e.table = Expected<std::string>{o.row->table, 0};
            e.key = Expected<std::string>{keyOf(o), 0};
        }
        expectations.push_back(std::move(e));
    }
    return expectations;
}

}  // namespace custsim
