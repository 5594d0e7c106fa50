#include <algorithm>
#include <unordered_map>

#include "cli.h"
#include "commands.h"
#include "host_config_store.h"
#include "text_escape.h"

namespace custsim {

namespace {

constexpr int32_t kDefaultDetailLevel = 5;
constexpr int32_t kMaxDetailLevel = 9;

}  // namespace

bool parseRunOptions(const std::vector<std::string>& args, RunOptions& options, std::ostream& err) {
    bool filesOnly = false;
    for (const std::string& arg : args) {
        if (filesOnly || arg.empty() || arg[0] != '-' || arg == "-") {
            options.files.push_back(arg);
            continue;
        }
        if (arg == "--") {
            filesOnly = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--strict") {
            options.strict = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "-v" || arg == "--verbose") {
            options.detailLevel = kDefaultDetailLevel;
        } else if (arg.rfind("-v", 0) == 0 || arg.rfind("--verbose=", 0) == 0) {
            const std::string level = arg.substr(arg[1] == 'v' ? 2 : 10);
            if (level.size() != 1 || level[0] < '0' || level[0] > '0' + kMaxDetailLevel) {
                err << "custpolicy: detail level must be a digit 0-9, got '" << level << "'\n";
                return false;
            }
            options.detailLevel = level[0] - '0';
        } else {
            err << "custpolicy: unknown option '" << arg << "' (see 'custpolicy help')\n";
            return false;
        }
    }
    return true;
}

void printDiagnostics(Diagnostics diagnostics, std::ostream& err) {
    // Files rank in the order they were read; a corpus can bring thousands of them. Within a
    // file, the count of problems not listed comes after those listed.
    std::unordered_map<std::string, size_t> fileRank;
    for (const Diagnostic& d : diagnostics) fileRank.emplace(d.file, fileRank.size());
    std::stable_sort(diagnostics.begin(), diagnostics.end(),
                     [&fileRank](const Diagnostic& a, const Diagnostic& b) {
                         const size_t rankA = fileRank.at(a.file);
                         const size_t rankB = fileRank.at(b.file);
                         if (rankA != rankB) return rankA < rankB;
                         if ((a.unlisted > 0) != (b.unlisted > 0)) return b.unlisted > 0;
                         if (a.line != b.line) return a.line < b.line;
                         return a.column < b.column;
                     });
    uint64_t total = 0;
    for (const Diagnostic& d : diagnostics) {
        err << terminalText(d.format()) << '\n';
        total += d.unlisted > 0 ? d.unlisted : 1;
    }
    err << "custpolicy: " << total << " problem" << (total == 1 ? "" : "s")
        << " in the inputs; nothing was run\n";
}

bool loadDeviceTables(const DeviceProfile& device, Diagnostics& diagnostics) {
    // The store answers one configuration at a time. Its call record is for tests; the simulator
    // keeps its own record of row reads.
    hostconfig::setRecording(false);
    if (device.configFile.empty()) {
        hostconfig::clear();
        return true;
    }
    const hostconfig::LoadResult load = hostconfig::loadFile(device.configFile);
    if (load.ok) return true;
    // Every problem of the file, or the profile's config line when the file cannot be read.
    for (Diagnostic& problem : configLoadDiagnostics(device, load))
        diagnostics.push_back(std::move(problem));
    return false;
}

bool loadDevice(const std::string& profile, const std::string& configFile, DeviceProfile& device,
                std::unique_ptr<ConfigIndex>& index, std::ostream& err) {
    Diagnostics diagnostics;
    device = loadDeviceProfile(profile, diagnostics);
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return false;
    }
    if (!configFile.empty()) device.configFile = configFile;
    if (device.configFile.empty()) return true;
    std::string error;
    index = ConfigIndex::load(device.configFile, error);
    if (index != nullptr) return true;
    err << terminalText(error) << "\ncustpolicy: 1 problem in the inputs; nothing was run\n";
    return false;
}

bool openCorpus(const std::vector<std::string>& files, CorpusInputs& inputs, std::ostream& err) {
    inputs.files = expandSessionArguments(std::vector<std::string>(files.begin() + 1, files.end()),
                                          inputs.corpusProblems);
    return loadDevice(files[0], "", inputs.device, inputs.index, err);
}

bool parseWorkflowOptions(const char* command, const std::vector<std::string>& args,
                          WorkflowFlags flags, WorkflowOptions& options, std::ostream& err) {
    bool filesOnly = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (filesOnly || arg.empty() || arg[0] != '-' || arg == "-") {
            options.files.push_back(arg);
        } else if (arg == "--") {
            filesOnly = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (flags.record && arg == "--record") {
            options.record = true;
        } else if (flags.record && arg == "--all-keys") {
            options.allKeys = true;
        } else if (flags.record && arg == "--force") {
            options.force = true;
        } else if (flags.device && arg == "--device" && i + 1 < args.size()) {
            options.device = args[++i];
        } else if (flags.device && arg.rfind("--device=", 0) == 0) {
            options.device = arg.substr(sizeof("--device=") - 1);
        } else if (flags.device && arg == "--device") {
            err << "custpolicy: --device needs a device profile\n";
            return false;
        } else {
            err << "custpolicy: unknown option '" << arg << "' for " << command
                << " (see 'custpolicy " << command << " --help')\n";
            return false;
        }
    }
    return true;
}

void forEachSession(const std::vector<SessionInput>& files, const DeviceProfile& device,
                    Diagnostics& diagnostics,
                    const std::function<void(const SessionInput&, const SessionSpec&)>& visit) {
    for (const SessionInput& file : files) {
        const size_t before = diagnostics.size();
        SessionSpec session = loadSession(file.path, device, diagnostics);
        if (diagnostics.size() != before) continue;
        session.file = file.display;
        visit(file, session);
    }
}

}  // namespace custsim
