#include <cstdio>
#include <string>

#include "report.h"
#include "text_escape.h"

namespace custsim {

// Text that is not UTF-8 (a file name in another encoding) cannot go into JSON as it is: each
// byte outside a well-formed sequence is written as the four characters \xNN, the way a
// terminal report shows it.
std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80) {
            uint32_t codePoint = 0;
            const size_t length = decodeUtf8(text, i, codePoint);
            if (length == 0) {
                char escaped[8];
                std::snprintf(escaped, sizeof(escaped), "\\\\x%02X", byte);
                out += escaped;
                ++i;
            } else {
                out.append(text, i, length);
                i += length;
            }
            continue;
        }
        ++i;
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (byte < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
                    out += escaped;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

namespace {

// Version of the JSON document's layout; raised when a field changes meaning or goes away.
constexpr int kJsonSchemaVersion = 1;

std::string jsonSize(MSize size) {
    return "[" + std::to_string(size.w) + ", " + std::to_string(size.h) + "]";
}

std::string jsonBool(bool value) { return value ? "true" : "false"; }

std::string jsonLogLine(const LogLine& line, bool withTail) {
    return "{\"priority\": " + jsonString(std::string(1, priorityLetter(line.priority))) +
           ", \"tag\": " + jsonString(line.tag) +
           ", \"text\": " + jsonString(withTail ? line.text : withoutErrorTail(line.text)) + "}";
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
        if (shownAtDetailLevel(line.priority, level)) lines.push_back(jsonLogLine(line, true));
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
           ", \"operation_mode\": " + std::to_string(f.operationMode) + "}";
}

// The session's warnings first, then the sensor's: each result stands on its own for scripts.
std::string jsonWarnings(const SessionRun& sessionRun, const SensorRun& run,
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
    for (const LogLine& line : errors) items.push_back(jsonLogLine(line, false));
    return jsonArray(items, indent);
}

std::string jsonFindings(const ReportOptions& options) {
    std::vector<std::string> items;
    for (const LintFinding& f : options.configFindings) {
        const bool error = f.severity == LintFinding::Severity::Error;
        items.push_back("{\"file\": " + jsonString(options.configName) +
                        ", \"line\": " + std::to_string(f.line) +
                        ", \"severity\": " + jsonString(error ? "error" : "warning") +
                        ", \"where\": " + jsonString(f.where) +
                        ", \"message\": " + jsonString(f.message) + "}");
    }
    return jsonArray(items, "");
}

void writeSensor(std::ostream& out, const SessionRun& sessionRun, const SensorRun& run,
                 const ReportOptions& options, bool last) {
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
    out << in << "\"decided\": " << jsonBool(run.decided) << ",\n";
    out << in << "\"engineer_traversal\": " << jsonBool(run.byEngineerTraversal) << ",\n";
    if (run.decided) {
        out << in << "\"setting\": {\"scenario\": " << run.setting.sensorMode
            << ", \"fps\": " << run.setting.sensorFps
            << ", \"sensor_size\": " << jsonSize(run.setting.sensorSize)
            << ", \"raw_format_type\": " << run.setting.rawFmtType << "},\n";
    } else {
        out << in << "\"setting\": null,\n";
    }
    out << in << "\"named_scenario\": " << jsonOptional(run.namedScenario) << ",\n";
    out << in << "\"filled\": " << jsonBool(run.filled) << ",\n";
    out << in << "\"seamless_flags_before\": " << run.seamlessFlagsBefore << ",\n";
    out << in << "\"seamless_flags\": " << run.seamlessFlags << ",\n";
    out << in << "\"seamless_scenario\": "
        << (run.seamlessScenario ? std::to_string(*run.seamlessScenario) : std::string("null"))
        << ",\n";
    out << in << "\"decided_by\": "
        << (run.decidedBy && !run.decidedByIsLastMessage ? jsonLogLine(*run.decidedBy, false)
                                                         : "null")
        << ",\n";
    out << in << "\"last_message\": "
        << (run.decidedBy && run.decidedByIsLastMessage ? jsonLogLine(*run.decidedBy, false)
                                                        : "null")
        << ",\n";
    out << in << "\"match\": " << jsonMatch(run.match) << ",\n";
    out << in << "\"rrzo\": {\"requested\": " << jsonSize(run.rrzoRequested)
        << ", \"sensor_size\": " << jsonSize(run.rrzoSensorSize) << ", \"hal_fallback_scenario\": "
        << (run.halFallback && run.fallbackScenario ? std::to_string(*run.fallbackScenario)
                                                    : "null")
        << ", \"size\": " << jsonSize(run.rrzoSize) << "},\n";
    out << in << "\"rrzo_decided_by\": "
        << (run.rrzoDecidedBy ? jsonLogLine(*run.rrzoDecidedBy, false) : "null") << ",\n";
    out << in << "\"rrzo_match\": " << jsonMatch(run.rrzoMatch) << ",\n";
    out << in << "\"service_notes\": " << jsonStrings(run.notes, in) << ",\n";
    out << in << "\"rrzo_service_notes\": " << jsonStrings(run.rrzoNotes, in) << ",\n";
    out << in << "\"facts\": " << jsonFacts(run.facts) << ",\n";
    out << in << "\"errors\": " << jsonErrors(run.errors, in) << ",\n";
    out << in << "\"warnings\": " << jsonWarnings(sessionRun, run, in);
    if (options.logDetailLevel) {
        out << ",\n"
            << in << "\"setting_log\": " << jsonLog(run.settingLog, *options.logDetailLevel, in);
        out << ",\n" << in << "\"rrzo_log\": " << jsonLog(run.rrzoLog, *options.logDetailLevel, in);
    }
    out << "\n  }" << (last ? "\n" : ",\n");
}

}  // namespace

void writeJsonReport(std::ostream& out, const DeviceProfile& device,
                     const std::vector<SessionRun>& runs, const ReportOptions& options) {
    out << "{\n";
    out << "\"schema\": " << kJsonSchemaVersion << ",\n";
    out << "\"device\": " << jsonString(device.name) << ",\n";
    out << "\"log_detail_level\": "
        << (options.logDetailLevel ? std::to_string(*options.logDetailLevel) : "null") << ",\n";
    out << "\"config_findings\": " << jsonFindings(options) << ",\n";
    out << "\"results\": [\n";
    size_t total = 0;
    for (const SessionRun& run : runs) total += run.sensors.size();
    size_t written = 0;
    for (const SessionRun& run : runs) {
        for (const SensorRun& sensor : run.sensors) {
            ++written;
            writeSensor(out, run, sensor, options, written == total);
        }
    }
    out << "]\n}\n";
}

}  // namespace custsim
