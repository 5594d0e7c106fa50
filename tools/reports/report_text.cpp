#include <cstdio>
#include <string>

#include "config_store.h"
#include "reports/number_text.h"
#include "reports/explain_report.h"
#include "reports/report.h"

namespace custsim {

namespace {

constexpr int kLabelWidth = 14;

void writeField(std::ostream& out, const char* label, const std::string& value) {
    std::string padded = label;
    padded.resize(kLabelWidth, ' ');
    out << "  " << padded << value << '\n';
}

std::string policyName(bool isNew) { return isNew ? "new" : "legacy"; }

std::string settingText(const SensorSetting& s) {
    return "scenario " + std::to_string(s.sensorMode) + ", " + std::to_string(s.sensorFps) +
           " fps, sensor " + sizeText(s.sensorSize) + ", raw format type " +
           std::to_string(s.rawFmtType);
}

std::string entryText(const MatchedRow& row) { return terminalText(entryName(row)); }

// A policy that named a scenario the helper could not describe still reports a decision; the
// record it leaves is whatever it held before, and is shown as that, never as a choice.
std::string unfilledText(const Decision& d) {
    std::string text = "scenario " + std::to_string(*d.namedScenario) + " named";
    if (d.row) text += " by " + terminalText(d.row->table) + " " + entryText(*d.row);
    return text + ", but " + d.notFilledReason + ": SensorSetting left as it was (" +
           settingText(d.record) + ")";
}

std::string decisionText(const Decision& d) {
    if (d.halFallback()) return "no decision";
    std::string text =
        d.result == DecisionResult::NamedNotFilled ? unfilledText(d) : settingText(d.record);
    if (d.byEngineerTraversal) text += " (engineering traversal)";
    return text;
}

std::string locationText(const MatchedRow& row) { return terminalText(rowLocation(row)); }

// The thermal table's message names no row, so its row is named here.
std::string matchSuffix(const std::optional<MatchedRow>& match) {
    if (!match) return {};
    const MatchedRow& row = *match;
    if (row.table == custpolicy::kTableThirdCamByThermal)
        return " (" + entryText(row) + ", " + locationText(row) + ")";
    return " (" + locationText(row) + ")";
}

std::string seamlessText(const Decision& d) {
    std::string text = "flags " + hexText(d.seamlessFlags);
    if (d.seamlessFlags == d.seamlessFlagsBefore)
        text += " (unchanged)";
    else
        text += " (was " + hexText(d.seamlessFlagsBefore) + ")";
    return text + ", recorded scenario " + seamlessScenarioText(d.seamlessScenario);
}

std::string rrzoText(const Decision& d) {
    std::string text = sizeText(d.rrzoSize) + " (requested " + sizeText(d.rrzoRequested) +
                       ", sensor " + sizeText(d.rrzoSensorSize);
    if (d.halFallback()) {
        text += d.fallbackScenario
                    ? " of the HAL's fallback scenario " + std::to_string(*d.fallbackScenario)
                    : " (no fallback scenario)";
    }
    return text + ")";
}

std::string messageText(const LogLine& line) { return logcatLine(line); }

std::string overriddenText(const OverriddenRow& overridden) {
    return terminalText(overridden.row.table) + " " + entryText(overridden.row) + " (" +
           locationText(overridden.row) + "), replaced by " + pathText(overridden.by);
}

void writeLog(std::ostream& out, const char* title, const std::vector<LogLine>& log,
              int32_t level) {
    out << "  " << title << " (detail level " << level << "):\n";
    bool any = false;
    for (const LogLine& line : log) {
        if (!shownAtDetailLevel(line.priority, level)) continue;
        out << "    " << logcatLine(line) << '\n';
        any = true;
    }
    if (!any) out << "    (nothing)\n";
}

void writeConfigFindings(std::ostream& out, const ReportOptions& options) {
    if (options.configName.empty()) return;
    // Said even when clean, so that a reader knows the file was checked before the sessions ran.
    if (options.configFindings.empty()) {
        out << "configuration " << terminalText(options.configName) << ": checked, no findings\n";
        return;
    }
    out << "configuration " << terminalText(options.configName) << ": "
        << findingsSummary(options.configFindings) << '\n';
    for (const LintFinding& finding : options.configFindings)
        out << "  " << formatFinding(options.configName, finding) << '\n';
}

void writeWarnings(std::ostream& out, const std::vector<Warning>& warnings) {
    for (const Warning& warning : warnings)
        writeField(out, "warning", warning.code + ": " + warning.message);
}

void writeSensorText(std::ostream& out, const Decision& d, const SensorTrace* trace,
                     const ReportOptions& options) {
    out << "sensor " << d.sensorIdx;
    if (!d.sensorName.empty()) out << " (" << terminalText(d.sensorName) << ")";
    out << ": setting policy " << policyName(d.newSettingPolicy) << ", RRZO policy "
        << policyName(d.newRrzoPolicy) << '\n';
    writeField(out, "decision", decisionText(d));
    writeField(out, "seamless", seamlessText(d));
    writeField(out, "RRZO", rrzoText(d));
    // The values the legacy tables were matched against, each with where it comes from.
    if (trace != nullptr && (!d.newSettingPolicy || !d.newRrzoPolicy)) {
        for (const std::string& line : factsInWords(trace->facts)) writeField(out, "facts", line);
    }
    if (d.message) {
        writeField(out, d.messageIsLast ? "last message" : "decided by",
                   messageText(*d.message) + matchSuffix(d.row));
    }
    for (const OverriddenRow& overridden : d.overridden)
        writeField(out, "overridden", overriddenText(overridden));
    if (d.rrzoMessage)
        writeField(out, "RRZO by", messageText(*d.rrzoMessage) + matchSuffix(d.rrzoRow));
    if (trace != nullptr) {
        for (const std::string& note : trace->notes) writeField(out, "service", note);
        for (const std::string& note : trace->rrzoNotes) writeField(out, "service", note);
        for (const LogLine& error : trace->errors) writeField(out, "error", logcatLine(error));
    }
    writeWarnings(out, d.warnings);
    if (options.logDetailLevel && trace != nullptr) {
        writeLog(out, "log of selectSensorSetting", trace->settingLog, *options.logDetailLevel);
        writeLog(out, "log of calculateTargetSize and selectTargetSize", trace->rrzoLog,
                 *options.logDetailLevel);
    }
}

}  // namespace

std::string findingsSummary(const std::vector<LintFinding>& findings) {
    size_t errors = 0;
    for (const LintFinding& finding : findings)
        errors += finding.severity == LintFinding::Severity::Error ? 1 : 0;
    const size_t warnings = findings.size() - errors;
    return std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
           std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings");
}

std::string rowLocation(const MatchedRow& row) { return row.file + ":" + std::to_string(row.line); }

void writeTextHeader(std::ostream& out, const DeviceProfile& device, const ReportOptions& options) {
    out << "device " << terminalText(device.name) << ": " << device.sensors.size() << " sensor"
        << (device.sensors.size() == 1 ? "" : "s") << '\n';
    writeConfigFindings(out, options);
}

void writeTextSession(std::ostream& out, const SessionRun& sessionRun,
                      const ReportOptions& options) {
    const SessionSpec& session = *sessionRun.session;
    out << "\nsession " << terminalText(session.name) << ": " << session.description << '\n';
    writeWarnings(out, sessionRun.warnings);
    for (size_t i = 0; i < sessionRun.sensors.size(); ++i) {
        const SensorTrace* trace = i < sessionRun.traces.size() ? &sessionRun.traces[i] : nullptr;
        writeSensorText(out, sessionRun.sensors[i], trace, options);
    }
}

}  // namespace custsim
