#include "reports/explain_report.h"

#include <algorithm>
#include <cstdio>

#include "reports/report.h"
#include "reports/text_escape.h"

namespace custsim {

namespace {

// A sentence of the trace quotes input names among its own words: each word goes through the one
// escaping sink on its own, so that the sink's cap on a name's length never cuts the sentence.
std::string sentence(const std::string& text) {
    std::string out;
    size_t from = 0;
    while (from <= text.size()) {
        const size_t space = text.find(' ', from);
        const size_t end = space == std::string::npos ? text.size() : space;
        out += terminalText(std::string_view(text).substr(from, end - from));
        if (space == std::string::npos) break;
        out += ' ';
        from = space + 1;
    }
    return out;
}

std::string valuesText(const std::vector<int32_t>& values) {
    std::string text;
    for (int32_t value : values) text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

// The values as a table usually writes them: modes and masks in hexadecimal.
std::string writtenValues(const TracedTable& table, const std::vector<int32_t>& values) {
    std::string text;
    for (size_t c = 0; c < values.size(); ++c) {
        const bool hex =
            values[c] != -1 && std::find(table.hexColumns.begin(), table.hexColumns.end(),
                                         static_cast<int32_t>(c)) != table.hexColumns.end();
        char hexText[16];
        std::snprintf(hexText, sizeof(hexText), "0x%X", static_cast<uint32_t>(values[c]));
        text += (c == 0 ? "" : ", ") + (hex ? std::string(hexText) : std::to_string(values[c]));
    }
    return text;
}

std::string rowName(const TracedTable& table, const TracedRow& row) {
    return terminalText(table.table) + " " + terminalText(table.locale) + "[" + row.key + "]";
}

std::string lineText(const TracedRow& row) {
    return row.line > 0 ? " (line " + std::to_string(row.line) + ")" : "";
}

// "column 5, camera-mode class: the row wants 2, the session has -1 (why)".
std::string missText(const ColumnMiss& miss) {
    return "column " + std::to_string(miss.column) + ", " + miss.name + " (" + ruleName(miss.rule) +
           "): the row has " + miss.rowText + ", the session has " + miss.inputValue + " (" +
           sentence(miss.source) + ")";
}

std::string rowResultText(const TracedRow& row) {
    if (row.status == hostconfig::kStatusWrongCount)
        return "fails to read: " + std::to_string(row.values.size()) +
               " values, not the table's width";
    if (row.status != hostconfig::kStatusOk)
        return "fails to read (status " + std::to_string(row.status) + ")";
    if (row.matched) return "matched";
    return missText(row.misses.front());
}

void writeTableText(std::ostream& out, const TracedTable& table, const std::string& indent) {
    out << indent << terminalText(table.table) << ", group " << terminalText(table.locale) << " ("
        << sentence(table.why) << "): " << sentence(table.outcome);
    if (!table.replacedBy.empty()) out << "; its answer replaced by " << table.replacedBy;
    out << '\n';
    int32_t absent = 0;
    for (const TracedRow& row : table.rows) {
        // A thermal scan tries every key of the whole table: those the group lacks are counted.
        if (row.status == hostconfig::kStatusNoEntry) {
            ++absent;
            continue;
        }
        out << indent << "  " << rowName(table, row) << lineText(row);
        if (!row.values.empty()) out << " = " << writtenValues(table, row.values);
        out << ": " << rowResultText(row) << '\n';
    }
    if (absent > 0) {
        out << indent << "  " << absent << " key" << (absent == 1 ? "" : "s")
            << " not in this group: read, failed, skipped\n";
    }
}

void writeNearMissesText(std::ostream& out, const ExplainTrace& trace, const std::string& indent) {
    const std::vector<NearMiss> misses = nearMisses(trace);
    if (misses.empty()) return;
    out << indent << "near misses (rows that failed on one column only):\n";
    for (const NearMiss& near : misses) {
        const ColumnMiss& miss = near.row->misses.front();
        out << indent << "  " << rowName(*near.table, *near.row) << lineText(*near.row) << ": "
            << missText(miss) << "\n"
            << indent << "    would match with " << sentence(miss.fix) << '\n';
    }
}

void writeSelfCheckText(std::ostream& out, const ExplainTrace& trace, const std::string& indent) {
    if (trace.differences.empty()) {
        out << indent << "self-check: the trace agrees with the store's record of row reads\n";
        return;
    }
    out << indent << "SELF-CHECK FAILED: the trace contradicts the library's run:\n";
    for (const std::string& difference : trace.differences)
        out << indent << "  " << sentence(difference) << '\n';
}

// JSON ------------------------------------------------------------------------------------------

std::string jsonInts(const std::vector<int32_t>& values) { return "[" + valuesText(values) + "]"; }

std::string jsonStringList(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "" : ", ") + jsonString(item);
    return "[" + text + "]";
}

const char* resultWord(const TracedRow& row) {
    if (row.status == hostconfig::kStatusNoEntry) return "absent";
    if (row.status != hostconfig::kStatusOk) return "read error";
    return row.matched ? "matched" : "failed";
}

std::string jsonMiss(const ColumnMiss* miss) {
    if (miss == nullptr) {
        return "\"column\": null, \"column_name\": null, \"rule\": null, \"row_value\": null, "
               "\"input_value\": null, \"source\": null";
    }
    return "\"column\": " + std::to_string(miss->column) +
           ", \"column_name\": " + jsonString(miss->name) +
           ", \"rule\": " + jsonString(ruleName(miss->rule)) +
           ", \"row_value\": " + std::to_string(miss->rowValue) +
           ", \"input_value\": " + jsonString(miss->inputValue) +
           ", \"source\": " + jsonString(miss->source);
}

std::string jsonRow(const std::string& file, const TracedRow& row) {
    return "{\"key\": " + jsonString(row.key) + ", \"file\": " + jsonString(file) +
           ", \"line\": " + std::to_string(row.line) + ", \"values\": " + jsonInts(row.values) +
           ", \"result\": " + jsonString(resultWord(row)) + ", " +
           jsonMiss(row.misses.empty() ? nullptr : &row.misses.front()) + "}";
}

void writeTableJson(std::ostream& out, const TracedTable& table, const std::string& file,
                    const std::string& in) {
    out << in << "{\"table\": " << jsonString(table.table)
        << ", \"locale\": " << jsonString(table.locale)
        << ", \"call\": " << jsonString(table.setting ? "setting" : "rrzo")
        << ", \"why\": " << jsonString(table.why) << ", \"outcome\": " << jsonString(table.outcome)
        << ", \"replaced_by\": "
        << (table.replacedBy.empty() ? std::string("null") : jsonString(table.replacedBy)) << ",\n"
        << in << " \"rows\": [";
    for (size_t i = 0; i < table.rows.size(); ++i)
        out << (i == 0 ? "\n" : ",\n") << in << "   " << jsonRow(file, table.rows[i]);
    out << (table.rows.empty() ? "]}" : "\n" + in + " ]}");
}

void writeNearMissesJson(std::ostream& out, const ExplainTrace& trace, const std::string& file,
                         const std::string& in) {
    const std::vector<NearMiss> misses = nearMisses(trace);
    out << in << "\"near_misses\": [";
    for (size_t i = 0; i < misses.size(); ++i) {
        const NearMiss& near = misses[i];
        out << (i == 0 ? "\n" : ",\n") << in << "  {\"table\": " << jsonString(near.table->table)
            << ", \"locale\": " << jsonString(near.table->locale)
            << ", \"key\": " << jsonString(near.row->key) << ", \"file\": " << jsonString(file)
            << ", \"line\": " << near.row->line << ", " << jsonMiss(&near.row->misses.front())
            << ", \"fix\": " << jsonString(near.row->misses.front().fix) << "}";
    }
    out << (misses.empty() ? "],\n" : "\n" + in + "],\n");
}

void writeSensorJson(std::ostream& out, const ExplainedSensor& sensor, const std::string& file) {
    const std::string in = "      ";
    const ExplainTrace& trace = sensor.trace;
    out << "    {\n"
        << in << "\"sensor\": " << sensor.sensorIdx << ",\n"
        << in << "\"name\": " << jsonString(sensor.sensorName) << ",\n"
        << in << "\"decided\": " << (sensor.decided ? "true" : "false") << ",\n"
        << in << "\"scenario\": "
        << (sensor.scenario ? std::to_string(*sensor.scenario) : std::string("null")) << ",\n"
        << in << "\"filled\": " << (sensor.filled ? "true" : "false") << ",\n"
        << in << "\"decided_by\": " << jsonString(sensor.decidedBy) << ",\n"
        << in << "\"notes\": " << jsonStringList(sensor.serviceNotes) << ",\n";
    writeNearMissesJson(out, trace, file, in);
    out << in << "\"steps\": " << jsonStringList(trace.steps) << ",\n" << in << "\"tables\": [";
    for (size_t i = 0; i < trace.tables.size(); ++i) {
        out << (i == 0 ? "\n" : ",\n");
        writeTableJson(out, trace.tables[i], file, in + "  ");
    }
    out << (trace.tables.empty() ? "],\n" : "\n" + in + "],\n");
    out << in << "\"self_check\": {\"agrees\": " << (trace.differences.empty() ? "true" : "false")
        << ", \"differences\": " << jsonStringList(trace.differences) << "}\n"
        << "    }";
}

}  // namespace

void writeTraceText(std::ostream& out, const ExplainTrace& trace, const std::string& configFile,
                    const std::string& indent) {
    writeNearMissesText(out, trace, indent);
    out << indent << "paths:\n";
    for (const std::string& step : trace.steps) out << indent << "  " << sentence(step) << '\n';
    bool settingHeading = false;
    bool rrzoHeading = false;
    for (const TracedTable& table : trace.tables) {
        if (table.setting && !settingHeading) {
            out << indent << "tables the setting call searched, rows of "
                << terminalText(configFile) << " it read, in order:\n";
            settingHeading = true;
        }
        if (!table.setting && !rrzoHeading) {
            out << indent << "size tables the RRZO calls searched, in order:\n";
            rrzoHeading = true;
        }
        writeTableText(out, table, indent + "  ");
    }
    writeSelfCheckText(out, trace, indent);
}

std::vector<std::string> factsInWords(const MatchFacts& f) {
    const auto hexText = [](uint32_t value) {
        char text[16];
        std::snprintf(text, sizeof(text), "0x%X", value);
        return std::string(text);
    };
    const auto size = [](MSize s) { return std::to_string(s.w) + "x" + std::to_string(s.h); };
    const auto quotedName = [](const std::string& name) {
        return "\"" + terminalText(name) + "\"";
    };
    std::string modeClass = "camera-mode class " + std::to_string(f.cameraModeClass);
    modeClass += f.video ? " (video: 0 whatever the mode name)"
                         : " (camera_mode_name " + quotedName(f.cameraModeName) +
                               (f.cameraModeClass == -1 ? ": none of fast_motion_mode, "
                                                          "high_pixel_mode, high_definition_mode)"
                                                        : ")");
    std::string groups;
    for (const std::string& group : f.thirdCamGroups)
        groups += (groups.empty() ? "" : ", ") + terminalText(group);
    return {
        "operation mode " + hexText(f.operationMode) + " (operation_mode), capture mode " +
            hexText(static_cast<uint32_t>(f.captureMode)) + " ([common] capture_mode, size tables)",
        "largest stream " + size(f.maxStreamSize) + ", largest YUV " + size(f.maxYuvSize) +
            ", aspect ratio " + std::to_string(f.aspectRatio) + ", video " + (f.video ? "1" : "0") +
            " (streams)",
        modeClass + ", outside caller " + std::to_string(f.outsideCaller) + " (caller " +
            quotedName(f.caller) + ")",
        "API " + std::to_string(f.api) + (f.api == -1 ? " (none)" : " ([session_params] api)") +
            ", temperature " + std::to_string(f.temperature) +
            (f.temperature == -1 ? " (unknown)" : " ([session_params] temperature)"),
        "camera app " + quotedName(f.cameraAppName) + " (ThirdCamSensorSettingMap groups " +
            groups + "), activity " + quotedName(f.activity) + " (by-activity, thermal groups)",
    };
}

std::string jsonApplicationFacts(const MatchFacts& f) {
    return ", \"outside_caller\": " + std::to_string(f.outsideCaller) +
           ", \"caller\": " + jsonString(f.caller) +
           ", \"camera_mode_name\": " + jsonString(f.cameraModeName) +
           ", \"camera_app_name\": " + jsonString(f.cameraAppName) +
           ", \"activity\": " + jsonString(f.activity) + ", \"api\": " + std::to_string(f.api) +
           ", \"capture_mode\": " + std::to_string(f.captureMode) +
           ", \"third_cam_groups\": " + jsonStringList(f.thirdCamGroups);
}

void writeExplainText(std::ostream& out, const ExplainDocument& document) {
    out << "session " << terminalText(document.session) << '\n';
    for (const ExplainedSensor& sensor : document.sensors) {
        out << "sensor " << sensor.sensorIdx << " (" << terminalText(sensor.sensorName) << "): ";
        if (!sensor.decided) {
            out << "no decision";
        } else {
            out << "scenario " << (sensor.scenario ? std::to_string(*sensor.scenario) : "?");
            if (!sensor.filled) out << " named, not filled";
        }
        if (!sensor.decidedBy.empty()) out << ", by " << sentence(sensor.decidedBy);
        out << '\n';
        for (const std::string& note : sensor.serviceNotes)
            out << "  note: " << sentence(note) << '\n';
        writeTraceText(out, sensor.trace, document.configFile, "  ");
    }
}

void writeExplainJson(std::ostream& out, const ExplainDocument& document) {
    out << "{\n  \"session\": " << jsonString(document.session)
        << ",\n  \"config\": " << jsonString(document.configFile) << ",\n  \"sensors\": [";
    for (size_t i = 0; i < document.sensors.size(); ++i) {
        out << (i == 0 ? "\n" : ",\n");
        writeSensorJson(out, document.sensors[i], document.configFile);
    }
    out << (document.sensors.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace custsim
