#include <algorithm>
#include <unordered_map>

#include "commands/cli.h"
#include "commands/commands.h"
#include "host_config_parser.h"
#include "host_config_store.h"
#include "reports/text_escape.h"

namespace custsim {

namespace {

constexpr int32_t kDefaultDetailLevel = 5;
constexpr int32_t kMaxDetailLevel = 9;

}  // namespace

Option jsonOption(bool& json) {
    return flagOption("--json", "print a JSON document instead of text", json);
}

Option configOption(std::string& configFile) {
    return textOption("--config", "FILE",
                      "run the device with the configuration file FILE instead of the one its\n"
                      "profile names",
                      configFile);
}

std::vector<Option> runOptionTable(RunOptions& options) {
    std::optional<int32_t>* detailLevel = &options.detailLevel;
    Option verbose{"--verbose",
                   "-v",
                   Option::Value::Optional,
                   "LEVEL",
                   "also print every captured log message, logcat style, as the device\n"
                   "writes them at ULogger detail level LEVEL (0-9, default 5): errors\n"
                   "always, warnings from 2, info from 3, debug from 5",
                   [detailLevel](const std::string& value) -> std::optional<std::string> {
                       if (value.empty()) {
                           *detailLevel = kDefaultDetailLevel;
                           return std::nullopt;
                       }
                       if (value.size() != 1 || value[0] < '0' || value[0] > '0' + kMaxDetailLevel)
                           return "detail level must be a digit 0-9, got '" + value + "'";
                       *detailLevel = value[0] - '0';
                       return std::nullopt;
                   }};
    return {
        jsonOption(options.json),
        flagOption("--strict",
                   "exit with 3 when the configuration has a lint error or any session\n"
                   "or decision has a warning",
                   options.strict),
        verbose,
    };
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

namespace {

// The problems of a configuration file that the store's parser refused or could not read. A file
// the profile names is cited where the profile names it; a file given on the command line as
// itself.
Diagnostics configProblems(const DeviceProfile& device, bool overridden,
                           const hostconfig::LoadResult& load) {
    if (overridden && load.line == 0)
        return {{load.source, 0, 0, "", "configuration file: " + load.message}};
    return configLoadDiagnostics(device, load);
}

hostconfig::LoadResult unreadable(const std::string& path, const std::string& message) {
    hostconfig::LoadResult load;
    load.source = path;
    load.message = message;
    load.problems.push_back({0, 0, message});
    return load;
}

}  // namespace

bool openDevice(const std::string& profile, const std::string& configFile, Findings findings,
                OpenDevice& opened, Diagnostics& diagnostics) {
    const size_t before = diagnostics.size();
    DeviceProfile device = loadDeviceProfile(profile, diagnostics);
    if (diagnostics.size() != before) return false;
    const bool overridden = !configFile.empty();
    if (overridden) device.configFile = configFile;
    if (device.configFile.empty()) {
        opened.host = std::make_unique<HostSession>(std::move(device), nullptr);
        return true;
    }
    // Parsed once: the index and lint read the parsed tables, then the host session takes them.
    auto config = std::make_unique<hostconfig::detail::Config>();
    config->source = device.configFile;
    config->fromFile = true;
    std::string message;
    hostconfig::LoadResult load =
        hostconfig::detail::readSourceFile(device.configFile, config->text, message)
            ? hostconfig::detail::parseConfig(*config)
            : unreadable(device.configFile, message);
    if (!load.ok) {
        for (Diagnostic& problem : configProblems(device, overridden, load))
            diagnostics.push_back(std::move(problem));
        return false;
    }
    opened.index = std::make_unique<ConfigIndex>(*config);
    if (findings == Findings::Lint) opened.findings = lintParsedConfig(*config, &device).findings;
    opened.host = std::make_unique<HostSession>(std::move(device),
                                                hostconfig::detail::holdParsed(std::move(config)));
    return true;
}

bool openCorpus(const std::vector<std::string>& files, const std::string& configFile,
                Findings findings, CorpusInputs& inputs, std::ostream& err) {
    inputs.files = expandSessionArguments(std::vector<std::string>(files.begin() + 1, files.end()),
                                          inputs.corpusProblems);
    Diagnostics problems;
    if (openDevice(files[0], configFile, findings, inputs.device, problems)) return true;
    printDiagnostics(problems, err);
    return false;
}

void forEachSession(const std::vector<SessionInput>& files, const DeviceProfile& device,
                    Diagnostics& diagnostics,
                    const std::function<void(const SessionInput&, const SessionSpec&)>& visit,
                    SessionUse use) {
    for (const SessionInput& file : files) {
        const size_t before = diagnostics.size();
        SessionSpec session = loadSession(file.path, device, diagnostics, use);
        if (diagnostics.size() != before) continue;
        session.file = file.display;
        visit(file, session);
    }
}

}  // namespace custsim
