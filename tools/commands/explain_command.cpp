#include "commands/explain_command.h"

#include <cstdlib>

#include "commands/cli.h"
#include "commands/commands.h"
#include "inputs/session_file.h"
#include "reports/text_escape.h"
#include "runner/library_messages.h"

namespace custsim {

namespace {

const CommandLine kExplainLine = {
    "explain", "DEVICE SESSION",
    "Runs the session on the device as simulate does, then shows for each sensor why each row\n"
    "of the legacy tables did or did not match: the paths the setting policy took and why,\n"
    "every table and group it searched (where the group's name comes from, a group without\n"
    "rows, a table refused for its width), and every row it read, with its file line, its\n"
    "values, and either \"matched\" or the first column that failed: the column's meaning, its\n"
    "rule, the row's value and the session's value with where it comes from. Rows that failed\n"
    "on one column only come first, with what would make them match. The size tables of the\n"
    "RRZO calls follow. Rows the policy never read are not shown.\n"
    "\n"
    "The trace applies the tables' column rules to the facts the library computed, and checks\n"
    "itself against the store's record of the rows the library read: the same rows, in the\n"
    "same order, and the same deciding row. A difference is printed as SELF-CHECK FAILED.\n",
    "Exit codes: 0 explained, 1 command-line error, 2 invalid input, 5 the trace contradicts\n"
    "the library's record (a fault of the simulator: please report it).\n"};

struct ExplainOptions {
    bool json = false;
    std::optional<int32_t> sensor;
    std::string configFile;
};

// A sensor index as --sensor takes it: one to three digits.
bool parseSensorIndex(const std::string& text, int32_t& index) {
    if (text.empty() || text.size() > 3) return false;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
    }
    index = std::atoi(text.c_str());
    return true;
}

std::vector<Option> explainOptions(ExplainOptions& options) {
    std::optional<int32_t>* sensor = &options.sensor;
    Option sensorOption{"--sensor",
                        nullptr,
                        Option::Value::Required,
                        "N",
                        "only sensor N (default: every sensor the session runs)",
                        [sensor](const std::string& value) -> std::optional<std::string> {
                            int32_t index = 0;
                            if (!parseSensorIndex(value, index))
                                return "--sensor wants a sensor index, got '" + value + "'";
                            *sensor = index;
                            return std::nullopt;
                        }};
    return {jsonOption(options.json), sensorOption, configOption(options.configFile)};
}

int explain(const ExplainOptions& options, const std::vector<std::string>& files, std::ostream& out,
            std::ostream& err) {
    Diagnostics diagnostics;
    OpenDevice opened;
    SessionSpec session;
    if (openDevice(files[0], options.configFile, Findings::Skip, opened, diagnostics)) {
        session = loadSession(files[1], opened.device(), diagnostics);
        session.file = files[1];
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    const DeviceProfile& device = opened.device();
    if (options.sensor && device.findSensor(*options.sensor) == nullptr) {
        err << "custpolicy: the device has no sensor " << *options.sensor << '\n';
        return kExitFindings;
    }
    Simulator simulator(*opened.host);
    simulator.setTrace(true);
    const SessionRun run = simulator.run(session);
    ExplainDocument document;
    document.session = files[1];
    document.configFile = device.configFile;
    for (size_t i = 0; i < run.sensors.size(); ++i) {
        if (options.sensor && *options.sensor != run.sensors[i].sensorIdx) continue;
        document.sensors.push_back(
            explainSensor(session, device, run.sensors[i], run.traces[i], opened.index.get()));
    }
    if (options.sensor && document.sensors.empty()) {
        err << "custpolicy: " << files[1] << " does not run sensor " << *options.sensor << '\n';
        return kExitFindings;
    }
    if (options.json) {
        writeExplainJson(out, document);
    } else {
        writeExplainText(out, document);
    }
    for (const ExplainedSensor& sensor : document.sensors) {
        if (!sensor.trace.differences.empty()) return kExitTraceContradicts;
    }
    return kExitOk;
}

}  // namespace

ExplainedSensor explainSensor(const SessionSpec& session, const DeviceProfile& device,
                              const Decision& decision, const SensorTrace& trace,
                              const ConfigIndex* index) {
    ExplainedSensor explained;
    explained.sensorIdx = decision.sensorIdx;
    explained.sensorName = decision.sensorName;
    // The library answered true whenever it named a scenario, filled or not.
    explained.decided = !decision.halFallback();
    if (decision.chosen()) explained.scenario = static_cast<int32_t>(decision.record.sensorMode);
    if (explained.decided && decision.namedScenario) explained.scenario = decision.namedScenario;
    explained.filled = decision.result != DecisionResult::NamedNotFilled;
    explained.decidedBy = decision.explanation;
    // The feature chip's matching (the new policy, or the normal path) logs its selection inputs
    // first; the notes then give the service's answer and its reasoning.
    for (const LogLine& line : trace.settingLog) {
        if (isSelectionInputs(line))
            explained.serviceNotes.push_back("selection inputs: " + withoutErrorTail(line.text));
    }
    explained.serviceNotes.insert(explained.serviceNotes.end(), trace.notes.begin(),
                                  trace.notes.end());
    ObservedRun observed;
    observed.decided = explained.decided;
    observed.settingMatch = decision.row;
    observed.rrzoMatch = decision.rrzoRow;
    observed.settingRowReads = &trace.settingRowReads;
    observed.rrzoRowReads = &trace.rrzoRowReads;
    explained.trace =
        buildExplainTrace(session, device, decision.sensorIdx, trace.facts, observed, index);
    return explained;
}

void writeSessionTraces(std::ostream& out, const DeviceProfile& device, const SessionRun& run,
                        const std::string& configName, const ConfigIndex* index) {
    out << "\ntrace of " << terminalText(run.session->file) << '\n';
    for (size_t i = 0; i < run.sensors.size() && i < run.traces.size(); ++i) {
        const Decision& sensor = run.sensors[i];
        const ExplainedSensor explained =
            explainSensor(*run.session, device, sensor, run.traces[i], index);
        out << "sensor " << sensor.sensorIdx << " (" << terminalText(sensor.sensorName) << ")\n";
        writeTraceText(out, explained.trace, configName, "  ");
    }
}

std::string explainHelp() {
    ExplainOptions unused;
    return helpText(kExplainLine, explainOptions(unused));
}

int explainCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    ExplainOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kExplainLine, explainOptions(options), args, files, out, err))
        return *answered;
    if (files.size() != 2) {
        err << "custpolicy: explain needs a device profile and one session\n" << explainHelp();
        return kExitFindings;
    }
    return explain(options, files, out, err);
}

}  // namespace custsim
