#include "reports/number_text.h"
#include "reports/json_text.h"
#include "reports/report.h"
#include "reports/text_escape.h"
#include "reports/workflow_report.h"

namespace custsim {

namespace {

constexpr int kJsonSchemaVersion = 1;

}  // namespace

std::string valueText(const CheckValue& v) {
    switch (v.kind) {
        case CheckValue::Kind::Absent:
        case CheckValue::Kind::NoDecision:
            return "none";
        case CheckValue::Kind::NamedNotFilled:
            return std::to_string(v.number) + " named, not filled";
        case CheckValue::Kind::Number:
            return std::to_string(v.number);
        case CheckValue::Kind::Hex:
            return hexText(static_cast<uint32_t>(v.number));
        case CheckValue::Kind::Size:
            return sizeText(v.size);
        case CheckValue::Kind::Text:
            return v.text;
    }
    return {};
}

namespace {

// An expected or actual value in JSON, with the type of its key ("none" for no decision's
// scenario, null for an absent value).
std::string valueJson(const CheckValue& v) {
    switch (v.kind) {
        case CheckValue::Kind::Absent:
            return "null";
        case CheckValue::Kind::NoDecision:
        case CheckValue::Kind::NamedNotFilled:
        case CheckValue::Kind::Text:
            return jsonString(valueText(v));
        case CheckValue::Kind::Number:
        case CheckValue::Kind::Hex:
            return std::to_string(v.number);
        case CheckValue::Kind::Size:
            return jsonSizeArray(v.size);
    }
    return {};
}

std::string plural(int32_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

CheckReport::CheckReport(std::ostream& out, bool json, const DeviceProfile& device)
    : mOut(out), mJson(json), mDevice(device) {
    if (!mJson) return;
    mOut << "{\n\"schema\": " << kJsonSchemaVersion << ",\n\"device\": " << jsonString(device.name)
         << ",\n\"unmet\": [";
}

void CheckReport::session(const SessionSpec& session, const ExpectationCheck& check) {
    ++mTotals.sessions;
    if (session.expectations.empty()) {
        ++mTotals.withoutExpectations;
        mWithout.push_back(session.file);
    }
    mTotals.expectations += check.checked;
    mTotals.unmet += static_cast<int32_t>(check.unmet.size());
    if (!check.unmet.empty()) ++mTotals.failedSessions;
    for (const UnmetExpectation& u : check.unmet) {
        if (mJson) {
            mOut << (mFirstUnmet ? "\n" : ",\n") << "  {\"file\": " << jsonString(session.file)
                 << ", \"line\": " << u.line << ", \"sensor\": " << u.sensor
                 << ", \"key\": " << jsonString(u.key)
                 << ", \"expected\": " << valueJson(u.expected)
                 << ", \"actual\": " << valueJson(u.actual) << "}";
            mFirstUnmet = false;
            continue;
        }
        const SensorSpec* sensor = mDevice.findSensor(u.sensor);
        mOut << terminalText(session.file) << ":" << u.line << ": sensor " << u.sensor;
        if (sensor != nullptr && !sensor->name.empty())
            mOut << " (" << terminalText(sensor->name) << ")";
        mOut << ": " << u.key << " expected " << terminalText(valueText(u.expected)) << ", got "
             << terminalText(valueText(u.actual)) << "\n";
    }
}

void CheckReport::finish() {
    const CheckTotals& t = mTotals;
    if (mJson) {
        mOut << (mFirstUnmet ? "],\n" : "\n],\n") << "\"sessions_without_expectations\": [";
        for (size_t i = 0; i < mWithout.size(); ++i)
            mOut << (i == 0 ? "" : ", ") << jsonString(mWithout[i]);
        mOut << "],\n\"summary\": {\"sessions\": " << t.sessions
             << ", \"expectations\": " << t.expectations
             << ", \"met\": " << t.expectations - t.unmet << ", \"unmet\": " << t.unmet
             << ", \"failed_sessions\": " << t.failedSessions << "}\n}\n";
        return;
    }
    if (t.unmet > 0) mOut << "\n";
    mOut << "check: " << plural(t.sessions, "session") << ", "
         << plural(t.expectations, "expectation") << ": " << t.expectations - t.unmet << " met, "
         << t.unmet << " unmet";
    if (t.unmet > 0) mOut << " in " << plural(t.failedSessions, "session");
    mOut << "\n";
    if (mWithout.empty()) return;
    mOut << "check: " << plural(t.withoutExpectations, "session")
         << (t.withoutExpectations == 1 ? " carries" : " carry")
         << " no expectations (freeze them with check --record):\n";
    for (const std::string& file : mWithout) mOut << "  " << terminalText(file) << "\n";
}

}  // namespace custsim
