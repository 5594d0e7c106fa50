#include "explain_command.h"

#include <cstdlib>

#include "cli.h"
#include "commands.h"
#include "outcome.h"
#include "session_file.h"
#include "text_escape.h"

namespace custsim {

const char kExplainHelp[] =
    "usage: custpolicy explain [--json] [--sensor N] DEVICE SESSION\n"
    "\n"
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
    "same order, and the same deciding row. A difference is printed as SELF-CHECK FAILED.\n"
    "\n"
    "options:\n"
    "  --json            print a JSON document instead of text (docs/simulator.md)\n"
    "  --sensor N        only sensor N (default: every sensor the session runs)\n"
    "  -h, --help        show this help\n"
    "\n"
    "Exit codes: 0 explained, 1 command-line error, 2 invalid input, 4 the trace contradicts\n"
    "the library's record (a fault of the simulator: please report it).\n";

namespace {

// The message in which the feature chip's matching logs the inputs it selects by.
constexpr char kSelectionInputsMarker[] = "[getSettingSelectInfo]";

struct ExplainOptions {
    bool json = false;
    bool help = false;
    std::optional<int32_t> sensor;
    std::vector<std::string> files;
};

bool parseSensorIndex(const std::string& text, int32_t& index) {
    if (text.empty() || text.size() > 3) return false;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
    }
    index = std::atoi(text.c_str());
    return true;
}

bool parseExplainOptions(const std::vector<std::string>& args, ExplainOptions& options,
                         std::ostream& err) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        std::string sensorText;
        if (arg == "--json") {
            options.json = true;
            continue;
        }
        if (arg == "-h" || arg == "--help") {
            options.help = true;
            continue;
        }
        if (arg == "--sensor") {
            if (i + 1 == args.size()) {
                err << "custpolicy: --sensor needs a sensor index\n";
                return false;
            }
            sensorText = args[++i];
        } else if (arg.rfind("--sensor=", 0) == 0) {
            sensorText = arg.substr(sizeof("--sensor=") - 1);
        } else if (!arg.empty() && arg[0] == '-') {
            err << "custpolicy: unknown option '" << arg
                << "' for explain (see 'custpolicy explain --help')\n";
            return false;
        } else {
            options.files.push_back(arg);
            continue;
        }
        int32_t index = 0;
        if (!parseSensorIndex(sensorText, index)) {
            err << "custpolicy: --sensor wants a sensor index, got '" << sensorText << "'\n";
            return false;
        }
        options.sensor = index;
    }
    return true;
}

int explain(const ExplainOptions& options, std::ostream& out, std::ostream& err) {
    DeviceProfile device;
    std::unique_ptr<ConfigIndex> index;
    if (!loadDevice(options.files[0], "", device, index, err)) return kExitInputError;
    Diagnostics diagnostics;
    SessionSpec session = loadSession(options.files[1], device, diagnostics);
    session.file = options.files[1];
    if (diagnostics.empty()) loadDeviceTables(device, diagnostics);
    if (options.sensor && device.findSensor(*options.sensor) == nullptr) {
        err << "custpolicy: the device has no sensor " << *options.sensor << '\n';
        return kExitFindings;
    }
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    Simulator simulator(device);
    const SessionRun run = simulator.run(session);
    ExplainDocument document;
    document.session = options.files[1];
    document.configFile = device.configFile;
    for (const SensorRun& sensor : run.sensors) {
        if (options.sensor && *options.sensor != sensor.sensorIdx) continue;
        document.sensors.push_back(explainSensor(session, device, sensor, index.get()));
    }
    if (options.sensor && document.sensors.empty()) {
        err << "custpolicy: " << options.files[1] << " does not run sensor " << *options.sensor
            << '\n';
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
                              const SensorRun& run, const ConfigIndex* index) {
    ExplainedSensor explained;
    explained.sensorIdx = run.sensorIdx;
    explained.sensorName = run.sensorName;
    explained.decided = run.decided;
    if (run.decided) explained.scenario = static_cast<int32_t>(run.setting.sensorMode);
    if (run.decided && run.namedScenario) explained.scenario = run.namedScenario;
    explained.decidedBy = outcomeOf(run, index).explanation;
    // The feature chip's matching (the new policy, or the normal path) logs its selection inputs
    // first; the notes then give the service's answer and its reasoning.
    for (const LogLine& line : run.settingLog) {
        if (line.text.find(kSelectionInputsMarker) != std::string::npos)
            explained.serviceNotes.push_back("selection inputs: " + withoutErrorTail(line.text));
    }
    explained.serviceNotes.insert(explained.serviceNotes.end(), run.notes.begin(), run.notes.end());
    ObservedRun observed;
    observed.decided = run.decided;
    observed.settingMatch = run.match;
    observed.rrzoMatch = run.rrzoMatch;
    observed.settingRowReads = &run.settingRowReads;
    observed.rrzoRowReads = &run.rrzoRowReads;
    explained.trace = buildExplainTrace(session, device, run.sensorIdx, run.facts, observed, index);
    return explained;
}

void writeSimulateTraces(std::ostream& out, const DeviceProfile& device,
                         const std::vector<SessionRun>& runs, const std::string& configName) {
    std::string error;
    const std::unique_ptr<ConfigIndex> index =
        device.configFile.empty() ? nullptr : ConfigIndex::load(device.configFile, error);
    for (const SessionRun& run : runs) {
        out << "\ntrace of " << terminalText(run.session->file) << '\n';
        for (const SensorRun& sensor : run.sensors) {
            const ExplainedSensor explained =
                explainSensor(*run.session, device, sensor, index.get());
            out << "sensor " << sensor.sensorIdx << " (" << terminalText(sensor.sensorName)
                << ")\n";
            writeTraceText(out, explained.trace, configName, "  ");
        }
    }
}

int explainCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    ExplainOptions options;
    if (!parseExplainOptions(args, options, err)) return kExitFindings;
    if (options.help) {
        out << kExplainHelp;
        return kExitOk;
    }
    if (options.files.size() != 2) {
        err << "custpolicy: explain needs a device profile and one session\n" << kExplainHelp;
        return kExitFindings;
    }
    return explain(options, out, err);
}

}  // namespace custsim
