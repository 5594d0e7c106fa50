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

// What a sensor got, as the scenario expectation compares it: a scenario named but not filled is
// neither that scenario nor "none".
std::string actualScenarioText(const Decision& d) {
    if (d.result == DecisionResult::NamedNotFilled)
        return std::to_string(d.namedScenario.value_or(0)) + " named, not filled";
    return scenarioText(d.chosen(), d.record.sensorMode);
}

std::string actualScenarioJson(const Decision& d) {
    if (d.result == DecisionResult::NamedNotFilled) return jsonString(actualScenarioText(d));
    return scenarioJson(d.chosen(), d.record.sensorMode);
}

// The row of an outcome as an expectation names it.
std::string tableOf(const Decision& decision) {
    return decision.row ? decision.row->table : kExpectNoTable;
}
std::string keyOf(const Decision& decision) { return decision.row ? entryName(*decision.row) : ""; }

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
void compareOne(const Expectation& e, const Decision& d, ExpectationCheck& result) {
    Comparer c(e, result);
    const std::string none = "none";
    const std::string noneJson = "null";
    // Only a chosen mode has a frame rate and a sensor size.
    struct {
        bool decided;
        uint32_t fps;
        MSize sensorSize;
        MSize rrzoSize;
        uint32_t seamlessFlags;
    } o{d.chosen(), d.record.sensorFps, d.record.sensorSize, d.rrzoSize, d.seamlessFlags};
    if (e.scenario) {
        const bool expectDecision = e.scenario->value != kExpectNoDecision;
        const auto expected = static_cast<uint32_t>(e.scenario->value);
        c.compare(e.scenario, "scenario",
                  expectDecision == o.decided && (!o.decided || expected == d.record.sensorMode),
                  scenarioText(expectDecision, expected), actualScenarioText(d),
                  scenarioJson(expectDecision, expected), actualScenarioJson(d));
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
        const std::string actual = tableOf(d);
        c.compare(e.table, "table", e.table->value == actual, e.table->value, actual,
                  jsonString(e.table->value), jsonString(actual));
    }
    if (e.key) {
        const std::string actual = keyOf(d);
        c.compare(e.key, "key", e.key->value == actual, e.key->value,
                  actual.empty() ? none : actual, jsonString(e.key->value),
                  actual.empty() ? noneJson : jsonString(actual));
    }
}

}  // namespace

ExpectationCheck checkExpectations(const SessionSpec& session,
                                   const std::vector<Decision>& decisions) {
    ExpectationCheck result;
    for (const Expectation& expect : session.expectations) {
        for (const Decision& decision : decisions) {
            if (decision.sensorIdx == expect.sensor) compareOne(expect, decision, result);
        }
    }
    return result;
}

bool recordable(const Decision& decision) {
    return decision.result != DecisionResult::NamedNotFilled;
}

std::vector<Expectation> expectationsOf(const std::vector<Decision>& decisions) {
    std::vector<Expectation> expectations;
    for (const Decision& d : decisions) {
        Expectation e;
        e.sensor = d.sensorIdx;
        e.scenario = Expected<int32_t>{
            d.chosen() ? static_cast<int32_t>(d.record.sensorMode) : kExpectNoDecision, 0};
        if (d.chosen()) {
            e.fps = Expected<uint32_t>{d.record.sensorFps, 0};
            e.sensorSize = Expected<MSize>{d.record.sensorSize, 0};
        }
        e.rrzoSize = Expected<MSize>{d.rrzoSize, 0};
        e.seamlessFlags = Expected<uint32_t>{d.seamlessFlags, 0};
        // Only a row the run names is frozen: a decision without one (the feature chip, an
        // engineering value) is held by the scenario alone.
        if (d.row) {
            e.table = Expected<std::string>{d.row->table, 0};
            e.key = Expected<std::string>{keyOf(d), 0};
        }
        expectations.push_back(std::move(e));
    }
    return expectations;
}

}  // namespace custsim
