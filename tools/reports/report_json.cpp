#include <cstdio>
#include <string>

#include "reports/explain_report.h"
#include "reports/report.h"
#include "reports/text_escape.h"

namespace custsim {

namespace {

// Version of the JSON document's layout; raised when a field changes meaning or goes away.
constexpr int kJsonSchemaVersion = 1;

std::string jsonSize(MSize size) {
    return "[" + std::to_string(size.w) + ", " + std::to_string(size.h) + "]";
}

std::string jsonBool(bool value) { return value ? "true" : "false"; }

std::string jsonLogLine(const LogLine& line) {
    return "{\"priority\": " + jsonString(std::string(1, priorityLetter(line.priority))) +
           ", \"tag\": " + jsonString(line.tag) + ", \"text\": " + jsonString(line.text) + "}";
}

std::string jsonArray(const std::vector<std::string>& items, const std::string& indent) {
    if (items.empty()) return "[]";
    std::string out = "[\n";
    for (size_t i = 0; i < items.size(); ++i)
        out += indent + "  " + items[i] + (i + 1 < items.size() ? ",\n" : "\n");
    return out + indent + "]";
}

std::string jsonStrings(const std::vector<std::string>& items, const std::string& indent) {
    std::vector<std::string> quoted;
    for (const std::string& item : items) quoted.push_back(jsonString(item));
    return jsonArray(quoted, indent);
}

std::string jsonLog(const std::vector<LogLine>& log, int32_t level, const std::string& indent) {
    std::vector<std::string> lines;
    for (const LogLine& line : log) {
        if (shownAtDetailLevel(line.priority, level)) lines.push_back(jsonLogLine(line));
    }
    return jsonArray(lines, indent);
}

std::string jsonOptional(const std::optional<int32_t>& value) {
    return value ? std::to_string(*value) : std::string("null");
}

std::string jsonMatch(const std::optional<MatchedRow>& row) {
    if (!row) return "null";
    return "{\"table\": " + jsonString(row->table) + ", \"locale\": " + jsonString(row->locale) +
           ", \"key\": " + jsonString(row->key) + ", \"file\": " + jsonString(row->file) +
           ", \"line\": " + std::to_string(row->line) + "}";
}

std::string jsonFacts(const MatchFacts& f) {
    return "{\"max_stream_size\": " + jsonSize(f.maxStreamSize) +
           ", \"max_yuv_size\": " + jsonSize(f.maxYuvSize) + ", \"video\": " + jsonBool(f.video) +
           ", \"aspect_ratio\": " + std::to_string(f.aspectRatio) +
           ", \"max_fps\": " + std::to_string(f.maxFps) +
           ", \"camera_mode_class\": " + std::to_string(f.cameraModeClass) +
           ", \"temperature\": " + std::to_string(f.temperature) +
           ", \"operation_mode\": " + std::to_string(f.operationMode) + jsonApplicationFacts(f) +
           "}";
}

// The session's warnings first, then the sensor's: each result stands on its own for scripts.
std::string jsonWarnings(const SessionRun& sessionRun, const Decision& run,
                         const std::string& indent) {
    std::vector<std::string> items;
    for (const auto* list : {&sessionRun.warnings, &run.warnings}) {
        for (const Warning& w : *list) {
            items.push_back("{\"code\": " + jsonString(w.code) +
                            ", \"message\": " + jsonString(w.message) + "}");
        }
    }
    return jsonArray(items, indent);
}

std::string jsonErrors(const std::vector<LogLine>& errors, const std::string& indent) {
    std::vector<std::string> items;
    for (const LogLine& line : errors) items.push_back(jsonLogLine(line));
    return jsonArray(items, indent);
}

std::string jsonFindings(const ReportOptions& options) {
    std::vector<std::string> items;
    for (const LintFinding& f : options.configFindings) {
        const bool error = f.severity == LintFinding::Severity::Error;
        items.push_back("{\"file\": " + jsonString(options.configName) +
                        ", \"line\": " + std::to_string(f.line) +
                        ", \"severity\": " + jsonString(error ? "error" : "warning") +
                        ", \"code\": " + jsonString(f.code) + ", \"where\": " +
                        jsonString(f.where) + ", \"message\": " + jsonString(f.message) + "}");
    }
    return jsonArray(items, "");
}

std::string jsonOverridden(const std::vector<OverriddenRow>& rows, const std::string& indent) {
    std::vector<std::string> items;
    for (const OverriddenRow& row : rows) {
        items.push_back("{\"row\": " + jsonMatch(row.row) +
                        ", \"by\": " + jsonString(pathName(row.by)) + "}");
    }
    return jsonArray(items, indent);
}

const SensorTrace kNoTrace;

void writeSensor(std::ostream& out, const SessionRun& sessionRun, const Decision& run,
                 const SensorTrace& trace, const ReportOptions& options) {
    const SessionSpec& session = *sessionRun.session;
    const std::string in = "    ";
    out << "  {\n";
    out << in << "\"session\": " << jsonString(session.name) << ",\n";
    out << in << "\"file\": " << jsonString(session.file) << ",\n";
    out << in << "\"description\": " << jsonString(session.description) << ",\n";
    out << in << "\"sensor\": " << run.sensorIdx << ",\n";
    out << in << "\"sensor_name\": " << jsonString(run.sensorName) << ",\n";
    out << in << "\"setting_policy\": " << jsonString(run.newSettingPolicy ? "new" : "legacy")
        << ",\n";
    out << in << "\"rrzo_policy\": " << jsonString(run.newRrzoPolicy ? "new" : "legacy") << ",\n";
    out << in << "\"result\": " << jsonString(resultName(run.result)) << ",\n";
    out << in << "\"path\": " << jsonString(pathName(run.path)) << ",\n";
    out << in << "\"decided\": " << jsonBool(!run.halFallback()) << ",\n";
    out << in << "\"engineer_traversal\": " << jsonBool(run.byEngineerTraversal) << ",\n";
    if (!run.halFallback()) {
        out << in << "\"setting\": {\"scenario\": " << run.record.sensorMode
            << ", \"fps\": " << run.record.sensorFps
            << ", \"sensor_size\": " << jsonSize(run.record.sensorSize)
            << ", \"raw_format_type\": " << run.record.rawFmtType << "},\n";
    } else {
        out << in << "\"setting\": null,\n";
    }
    out << in << "\"named_scenario\": " << jsonOptional(run.namedScenario) << ",\n";
    out << in << "\"filled\": " << jsonBool(run.chosen() && run.namedScenario) << ",\n";
    out << in << "\"seamless_flags_before\": " << run.seamlessFlagsBefore << ",\n";
    out << in << "\"seamless_flags\": " << run.seamlessFlags << ",\n";
    out << in << "\"seamless_scenario\": "
        << (run.seamlessScenario ? std::to_string(*run.seamlessScenario) : std::string("null"))
        << ",\n";
    out << in << "\"decided_by\": "
        << (run.message && !run.messageIsLast ? jsonLogLine(*run.message) : "null") << ",\n";
    out << in << "\"last_message\": "
        << (run.message && run.messageIsLast ? jsonLogLine(*run.message) : "null") << ",\n";
    out << in << "\"match\": " << jsonMatch(run.row) << ",\n";
    out << in << "\"overridden\": " << jsonOverridden(run.overridden, in) << ",\n";
    out << in << "\"rrzo\": {\"requested\": " << jsonSize(run.rrzoRequested)
        << ", \"sensor_size\": " << jsonSize(run.rrzoSensorSize) << ", \"hal_fallback_scenario\": "
        << (run.halFallback() && run.fallbackScenario ? std::to_string(*run.fallbackScenario)
                                                      : "null")
        << ", \"size\": " << jsonSize(run.rrzoSize) << "},\n";
    out << in
        << "\"rrzo_decided_by\": " << (run.rrzoMessage ? jsonLogLine(*run.rrzoMessage) : "null")
        << ",\n";
    out << in << "\"rrzo_match\": " << jsonMatch(run.rrzoRow) << ",\n";
    out << in << "\"service_notes\": " << jsonStrings(trace.notes, in) << ",\n";
    out << in << "\"rrzo_service_notes\": " << jsonStrings(trace.rrzoNotes, in) << ",\n";
    out << in << "\"facts\": " << jsonFacts(trace.facts) << ",\n";
    out << in << "\"errors\": " << jsonErrors(trace.errors, in) << ",\n";
    out << in << "\"warnings\": " << jsonWarnings(sessionRun, run, in);
    if (options.logDetailLevel) {
        out << ",\n"
            << in << "\"setting_log\": " << jsonLog(trace.settingLog, *options.logDetailLevel, in);
        out << ",\n"
            << in << "\"rrzo_log\": " << jsonLog(trace.rrzoLog, *options.logDetailLevel, in);
    }
    out << "\n  }";
}

}  // namespace

JsonReport::JsonReport(std::ostream& out, const DeviceProfile& device, const ReportOptions& options)
    : mOut(out), mOptions(options) {
    mOut << "{\n";
    mOut << "\"schema\": " << kJsonSchemaVersion << ",\n";
    mOut << "\"device\": " << jsonString(device.name) << ",\n";
    mOut << "\"log_detail_level\": "
         << (options.logDetailLevel ? std::to_string(*options.logDetailLevel) : "null") << ",\n";
    mOut << "\"config_findings\": " << jsonFindings(options) << ",\n";
    mOut << "\"results\": [\n";
}

void JsonReport::session(const SessionRun& run) {
    for (size_t i = 0; i < run.sensors.size(); ++i) {
        if (!mFirst) mOut << ",\n";
        mFirst = false;
        writeSensor(mOut, run, run.sensors[i], i < run.traces.size() ? run.traces[i] : kNoTrace,
                    mOptions);
    }
}

void JsonReport::finish() { mOut << (mFirst ? "" : "\n") << "]\n}\n"; }

}  // namespace custsim
