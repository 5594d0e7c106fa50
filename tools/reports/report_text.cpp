#include <cstdio>
#include <string>

#include "config_store.h"
#include "explain_report.h"
#include "number_text.h"
#include "report.h"

namespace custsim {

namespace {

constexpr int kLabelWidth = 14;
// The seamless scenario a system-camera row records when it fixes none.
constexpr uint32_t kNoSeamlessScenario = 0;

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

std::string entryName(const MatchedRow& row) { return row.locale + "[" + row.key + "]"; }

// A policy that named a scenario the helper could not describe still reports a decision; the
// record it leaves is whatever it held before, and is shown as that, never as a choice.
std::string unfilledText(const SensorRun& run) {
    std::string text = "scenario " + std::to_string(*run.namedScenario) + " named";
    if (run.match) text += " by " + run.match->table + " " + entryName(*run.match);
    return text + ", but " + run.notFilledReason + ": SensorSetting left as it was (" +
           settingText(run.setting) + ")";
}

std::string decisionText(const SensorRun& run) {
    if (!run.decided) return "no decision";
    std::string text =
        run.namedScenario && !run.filled ? unfilledText(run) : settingText(run.setting);
    if (run.byEngineerTraversal) text += " (engineering traversal)";
    return text;
}

// The thermal table's message names no row, so its row is named here.
std::string matchSuffix(const std::optional<MatchedRow>& match) {
    if (!match) return {};
    const MatchedRow& row = *match;
    if (row.table == custpolicy::kTableThirdCamByThermal)
        return " (" + entryName(row) + ", " + rowLocation(row) + ")";
    return " (" + rowLocation(row) + ")";
}

std::string seamlessText(const SensorRun& run) {
    std::string text = "flags " + hexText(run.seamlessFlags);
    if (run.seamlessFlags == run.seamlessFlagsBefore)
        text += " (unchanged)";
    else
        text += " (was " + hexText(run.seamlessFlagsBefore) + ")";
    text += ", recorded scenario ";
    if (!run.seamlessScenario) return text + "none";
    // A matched system-camera row always records one; 0 is its way of fixing none.
    if (*run.seamlessScenario == kNoSeamlessScenario) return text + "0 (the row fixes none)";
    return text + std::to_string(*run.seamlessScenario);
}

std::string rrzoText(const SensorRun& run) {
    std::string text = sizeText(run.rrzoSize) + " (requested " + sizeText(run.rrzoRequested) +
                       ", sensor " + sizeText(run.rrzoSensorSize);
    if (run.halFallback) {
        text += run.fallbackScenario
                    ? " of the HAL's fallback scenario " + std::to_string(*run.fallbackScenario)
                    : " (no fallback scenario)";
    }
    return text + ")";
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

std::string findingsSummary(const std::vector<LintFinding>& findings) {
    size_t errors = 0;
    for (const LintFinding& finding : findings)
        errors += finding.severity == LintFinding::Severity::Error ? 1 : 0;
    const size_t warnings = findings.size() - errors;
    return std::to_string(errors) + (errors == 1 ? " error, " : " errors, ") +
           std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings");
}

void writeConfigFindings(std::ostream& out, const ReportOptions& options) {
    if (options.configName.empty()) return;
    // Said even when clean, so that a reader knows the file was checked before the sessions ran.
    if (options.configFindings.empty()) {
        out << "configuration " << options.configName << ": checked, no findings\n";
        return;
    }
    out << "configuration " << options.configName << ": " << findingsSummary(options.configFindings)
        << '\n';
    for (const LintFinding& finding : options.configFindings)
        out << "  " << formatFinding(options.configName, finding) << '\n';
}

void writeWarnings(std::ostream& out, const std::vector<Warning>& warnings) {
    for (const Warning& warning : warnings)
        writeField(out, "warning", warning.code + ": " + warning.message);
}

}  // namespace

std::string rowLocation(const MatchedRow& row) { return row.file + ":" + std::to_string(row.line); }

void writeTextReport(std::ostream& out, const DeviceProfile& device,
                     const std::vector<SessionRun>& runs, const ReportOptions& options) {
    out << "device " << device.name << ": " << device.sensors.size() << " sensor"
        << (device.sensors.size() == 1 ? "" : "s") << '\n';
    writeConfigFindings(out, options);
    for (const SessionRun& sessionRun : runs) {
        const SessionSpec& session = *sessionRun.session;
        out << "\nsession " << session.name << ": " << session.description << '\n';
        writeWarnings(out, sessionRun.warnings);
        for (const SensorRun& run : sessionRun.sensors) {
            out << "sensor " << run.sensorIdx;
            if (!run.sensorName.empty()) out << " (" << run.sensorName << ")";
            out << ": setting policy " << policyName(run.newSettingPolicy) << ", RRZO policy "
                << policyName(run.newRrzoPolicy) << '\n';
            writeField(out, "decision", decisionText(run));
            writeField(out, "seamless", seamlessText(run));
            writeField(out, "RRZO", rrzoText(run));
            if (!run.newSettingPolicy || !run.newRrzoPolicy) {
                for (const std::string& line : factsInWords(run.facts))
                    writeField(out, "facts", line);
            }
            if (run.decidedBy) {
                writeField(out, run.decidedByIsLastMessage ? "last message" : "decided by",
                           logcatLine({run.decidedBy->priority, run.decidedBy->tag,
                                       withoutErrorTail(run.decidedBy->text)}) +
                               matchSuffix(run.match));
            }
            if (run.rrzoDecidedBy) {
                writeField(out, "RRZO by",
                           logcatLine({run.rrzoDecidedBy->priority, run.rrzoDecidedBy->tag,
                                       withoutErrorTail(run.rrzoDecidedBy->text)}) +
                               matchSuffix(run.rrzoMatch));
            }
            for (const std::string& note : run.notes) writeField(out, "service", note);
            for (const std::string& note : run.rrzoNotes) writeField(out, "service", note);
            for (const LogLine& error : run.errors) writeField(out, "error", logcatLine(error));
            writeWarnings(out, run.warnings);
            if (options.logDetailLevel) {
                writeLog(out, "log of selectSensorSetting", run.settingLog,
                         *options.logDetailLevel);
                writeLog(out, "log of calculateTargetSize and selectTargetSize", run.rrzoLog,
                         *options.logDetailLevel);
            }
        }
    }
}

}  // namespace custsim
