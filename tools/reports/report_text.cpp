#include <cstdio>
#include <string>

#include "report.h"

namespace custsim {

namespace {

constexpr int kLabelWidth = 14;

std::string hex(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%x", value);
    return text;
}

void writeField(std::ostream& out, const char* label, const std::string& value) {
    std::string padded = label;
    padded.resize(kLabelWidth, ' ');
    out << "  " << padded << value << '\n';
}

std::string policyName(bool isNew) { return isNew ? "new" : "legacy"; }

std::string decisionText(const SensorRun& run) {
    if (!run.decided) return "no decision";
    const SensorSetting& s = run.setting;
    std::string text = "scenario " + std::to_string(s.sensorMode) + ", " +
                       std::to_string(s.sensorFps) + " fps, sensor " + sizeText(s.sensorSize) +
                       ", raw format type " + std::to_string(s.rawFmtType);
    if (run.byEngineerTraversal) text += " (engineering traversal)";
    return text;
}

std::string seamlessText(const SensorRun& run) {
    std::string text = "flags " + hex(run.seamlessFlags);
    if (run.seamlessFlags == run.seamlessFlagsBefore)
        text += " (unchanged)";
    else
        text += " (was " + hex(run.seamlessFlagsBefore) + ")";
    text += ", recorded scenario ";
    text += run.seamlessScenario ? std::to_string(*run.seamlessScenario) : std::string("none");
    return text;
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

}  // namespace

void writeTextReport(std::ostream& out, const DeviceProfile& device,
                     const std::vector<SessionRun>& runs, const ReportOptions& options) {
    out << "device " << device.name << ": " << device.sensors.size() << " sensor"
        << (device.sensors.size() == 1 ? "" : "s") << '\n';
    for (const SessionRun& sessionRun : runs) {
        const SessionSpec& session = *sessionRun.session;
        out << "\nsession " << session.name << ": " << session.description << '\n';
        for (const SensorRun& run : sessionRun.sensors) {
            out << "sensor " << run.sensorIdx;
            if (!run.sensorName.empty()) out << " (" << run.sensorName << ")";
            out << ": setting policy " << policyName(run.newSettingPolicy) << ", RRZO policy "
                << policyName(run.newRrzoPolicy) << '\n';
            writeField(out, "decision", decisionText(run));
            writeField(out, "seamless", seamlessText(run));
            writeField(out, "RRZO", rrzoText(run));
            if (run.decidedBy) {
                writeField(out, run.decidedByIsLastMessage ? "last message" : "decided by",
                           logcatLine({run.decidedBy->priority, run.decidedBy->tag,
                                       withoutErrorTail(run.decidedBy->text)}));
            }
            if (run.rrzoDecidedBy) {
                writeField(out, "RRZO by",
                           logcatLine({run.rrzoDecidedBy->priority, run.rrzoDecidedBy->tag,
                                       withoutErrorTail(run.rrzoDecidedBy->text)}));
            }
            for (const std::string& note : run.notes) writeField(out, "service", note);
            for (const std::string& note : run.rrzoNotes) writeField(out, "service", note);
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
