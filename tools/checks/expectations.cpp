#include "checks/expectations.h"

namespace custsim {

namespace {

using Kind = CheckValue::Kind;

CheckValue number(int64_t value) { return {Kind::Number, value, {}, {}}; }
CheckValue hex(uint32_t value) { return {Kind::Hex, value, {}, {}}; }
CheckValue size(MSize value) { return {Kind::Size, 0, value, {}}; }
CheckValue text(std::string value) { return {Kind::Text, 0, {}, std::move(value)}; }
CheckValue absent() { return {}; }

CheckValue expectedScenario(int32_t value) {
    return value == kExpectNoDecision ? CheckValue{Kind::NoDecision, 0, {}, {}} : number(value);
}

// What a sensor got, as the scenario expectation compares it: a scenario named but not filled is
// neither that scenario nor "none".
CheckValue actualScenario(const Decision& d) {
    switch (d.result) {
        case DecisionResult::Chosen:
            return number(d.record.sensorMode);
        case DecisionResult::NamedNotFilled:
            return {Kind::NamedNotFilled, d.namedScenario.value_or(0), {}, {}};
        case DecisionResult::None:
            break;
    }
    return {Kind::NoDecision, 0, {}, {}};
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
                 CheckValue want, CheckValue got) {
        if (!expected) return;
        ++mResult.checked;
        if (met) return;
        mResult.unmet.push_back(
            {expected->line, mExpect.sensor, key, std::move(want), std::move(got)});
    }

private:
    const Expectation& mExpect;
    ExpectationCheck& mResult;
};

// The setting values (fps, sensor size) of a sensor without a chosen mode compare as absent.
void compareOne(const Expectation& e, const Decision& d, ExpectationCheck& result) {
    Comparer c(e, result);
    const bool chosen = d.chosen();
    if (e.scenario) {
        const bool expectDecision = e.scenario->value != kExpectNoDecision;
        const auto expected = static_cast<uint32_t>(e.scenario->value);
        c.compare(e.scenario, "scenario",
                  expectDecision == chosen && (!chosen || expected == d.record.sensorMode),
                  expectedScenario(e.scenario->value), actualScenario(d));
    }
    if (e.fps) {
        c.compare(e.fps, "fps", chosen && e.fps->value == d.record.sensorFps, number(e.fps->value),
                  chosen ? number(d.record.sensorFps) : absent());
    }
    if (e.sensorSize) {
        const MSize want = e.sensorSize->value;
        c.compare(e.sensorSize, "sensor_size", chosen && want == d.record.sensorSize, size(want),
                  chosen ? size(d.record.sensorSize) : absent());
    }
    if (e.rrzoSize) {
        const MSize want = e.rrzoSize->value;
        c.compare(e.rrzoSize, "rrzo_size", want == d.rrzoSize, size(want), size(d.rrzoSize));
    }
    if (e.seamlessFlags) {
        const uint32_t want = e.seamlessFlags->value;
        c.compare(e.seamlessFlags, "seamless_flags", want == d.seamlessFlags, hex(want),
                  hex(d.seamlessFlags));
    }
    if (e.table) {
        const std::string actual = tableOf(d);
        c.compare(e.table, "table", e.table->value == actual, text(e.table->value), text(actual));
    }
    if (e.key) {
        const std::string actual = keyOf(d);
        c.compare(e.key, "key", e.key->value == actual, text(e.key->value),
                  actual.empty() ? absent() : text(actual));
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
