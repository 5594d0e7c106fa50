#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>

#include "commands/cli.h"
#include "commands/commands.h"
#include "inputs/device_profile.h"
#include "inputs/sweep_file.h"
#include "reports/file_output.h"
#include "reports/sweep_edit.h"
#include "reports/sweep_report.h"
#include "reports/text_escape.h"
#include "runner/sweep_runner.h"

// sweep: run the product of a sweep's axes and report every point, as CSV, JSON, a summary and a
// map page.
namespace custsim {

namespace {

// The most workers and points a command line may ask for: beyond them a machine runs out of
// processes or of memory for the map before it runs out of patience.
constexpr unsigned kMaxJobs = 256;
constexpr uint64_t kMaxPointsCeiling = 100000000;
// The progress line appears once a run has taken this long, and is redrawn at most this often.
constexpr auto kProgressDelay = std::chrono::seconds(1);
constexpr auto kProgressInterval = std::chrono::milliseconds(100);

const CommandLine kSweepLine = {
    "sweep", "DEVICE SWEEP",
    "Runs a base session over every combination of the values of the sweep's axes (stream\n"
    "size, requested fps range, temperature, application, operation mode, HDR mode, sensor),\n"
    "with the same calls as simulate, and reports per point and sensor the mode chosen.\n"
    "Without --csv or --json it prints the points per mode of each sensor, and where along\n"
    "the map's x axis the mode changes.\n",
    "Nothing runs unless every input is valid and the points are within the cap (exit code 2).\n"
    "A progress line is shown on a terminal for runs longer than a second. docs/sweep.md\n"
    "documents the sweep file, the columns and the page.\n"};

struct SweepOptions {
    bool csv = false;
    bool json = false;
    bool force = false;  // --force: the page may replace a read-only or hard-linked file
    std::string html;
    std::string before;  // the configuration before an edit: the map of the edit
    std::string x;
    std::string y;
    unsigned jobs = 0;  // 0: one per core
    uint64_t maxPoints = kDefaultMaxPoints;
    std::string configFile;
};

bool parseCount(const std::string& text, uint64_t max, uint64_t& value) {
    if (text.empty() || text.size() > 12 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    value = std::stoull(text);
    return value >= 1 && value <= max;
}

// An option whose value is a count from 1 to `max`; `what` names the count in the error.
Option countOption(const char* name, const char* help, uint64_t max, const char* what,
                   std::function<void(uint64_t)> set) {
    const std::string option = name;
    return {name,
            nullptr,
            Option::Value::Required,
            "N",
            help,
            [option, max, what, set](const std::string& value) -> std::optional<std::string> {
                uint64_t number = 0;
                if (!parseCount(value, max, number))
                    return option + " needs " + what + ", 1 to " + std::to_string(max) + ", got '" +
                           value + "'";
                set(number);
                return std::nullopt;
            }};
}

std::vector<Option> sweepOptions(SweepOptions& options) {
    return {
        flagOption("--csv", "print one CSV row per point and sensor", options.csv),
        flagOption("--json", "print one JSON document with a result per point and sensor",
                   options.json),
        textOption("--html", "FILE",
                   "write a self-contained page with a map per sensor: one cell per point,\n"
                   "coloured by the scenario chosen, with a legend and a summary; the\n"
                   "file is replaced whole once the run succeeded, never an input",
                   options.html),
        flagOption("--force", "let --html replace a read-only or hard-linked file", options.force),
        textOption("--x", "AXIS",
                   "the axis the map draws across (default: the sweep's [map], else its\n"
                   "fastest-varying axis); the other axes get a selector",
                   options.x),
        textOption("--y", "AXIS", "the axis the map draws down (default: as for --x, the next)",
                   options.y),
        textOption("--before", "OLD.config",
                   "the map of an edit: every point also runs with OLD.config, and the\n"
                   "summary and the page show the points whose outcome the device's own\n"
                   "configuration changes, from what to what",
                   options.before),
        countOption("--jobs",
                    "worker processes (default: the number of cores); the output is the\n"
                    "same for every N",
                    kMaxJobs, "a number of workers",
                    [&options](uint64_t n) { options.jobs = static_cast<unsigned>(n); }),
        countOption("--max-points", "the cap on the number of points (default 1000000)",
                    kMaxPointsCeiling, "a number",
                    [&options](uint64_t n) { options.maxPoints = n; }),
        configOption(options.configFile),
    };
}

// The map's axes: the command line's, else the sweep file's, else the two fastest-varying axes
// other than the sensor. False after reporting an axis the sweep does not have.
bool chooseMapAxes(const SweepOptions& options, const SweepSpec& sweep, MapAxes& axes,
                   std::ostream& err) {
    const std::string x = !options.x.empty() ? options.x : sweep.mapX;
    const std::string y = !options.y.empty() ? options.y : sweep.mapY;
    std::vector<int32_t> free;
    for (size_t i = sweep.axes.size(); i-- > 0;) {
        const auto index = static_cast<int32_t>(i);
        if (sweep.axes[i].kind != AxisKind::Sensor && sweep.axes[i].name != x &&
            sweep.axes[i].name != y)
            free.push_back(index);
    }
    auto pick = [&](const std::string& name, const char* option, int32_t& axis) {
        if (name.empty()) {
            if (!free.empty()) {
                axis = free.front();
                free.erase(free.begin());
            }
            return true;
        }
        axis = sweep.axisIndex(name);
        if (axis >= 0 && name != "sensor") return true;
        err << "custpolicy: " << option << " '" << terminalText(name) << "' is not a map axis of "
            << terminalText(sweep.file) << " (its axes:";
        for (const SweepAxis& a : sweep.axes) {
            if (a.kind != AxisKind::Sensor) err << ' ' << terminalText(a.name);
        }
        err << "; the sensor gets a map of its own)\n";
        return false;
    };
    if (!pick(x, "--x", axes.x) || !pick(y, "--y", axes.y)) return false;
    if (axes.x >= 0 && axes.x == axes.y) {
        err << "custpolicy: the map needs two different axes, got " << terminalText(x)
            << " twice\n";
        return false;
    }
    return true;
}

unsigned defaultJobs() {
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    return cores < 1 ? 1 : static_cast<unsigned>(std::min<long>(cores, kMaxJobs));
}

// "sweep: 1200/100000 points (1%)" on standard error, redrawn in place, once a run takes a while.
class Progress {
public:
    Progress(bool enabled, uint64_t total)
        : mEnabled(enabled), mTotal(total), mStart(std::chrono::steady_clock::now()) {}
    ~Progress() {
        if (mShown) std::cerr << "\r\033[K" << std::flush;
    }
    void update(uint64_t done) {
        if (!mEnabled) return;
        const auto now = std::chrono::steady_clock::now();
        if (now - mStart < kProgressDelay || now - mLast < kProgressInterval) return;
        mLast = now;
        mShown = true;
        std::cerr << "\rsweep: " << done << "/" << mTotal << " points (" << done * 100 / mTotal
                  << "%)" << std::flush;
    }

private:
    bool mEnabled;
    uint64_t mTotal;
    std::chrono::steady_clock::time_point mStart;
    std::chrono::steady_clock::time_point mLast;
    bool mShown = false;
};

// Refuses, before anything runs, a page that could not be put in place or would replace one of
// the run's inputs.
bool checkPageTarget(const SweepOptions& options, const std::vector<std::string>& files,
                     const DeviceProfile& device, std::ostream& err) {
    if (options.html.empty()) return true;
    const std::string inputs[] = {files[0], files[1], device.configFile, options.before};
    for (const std::string& input : inputs) {
        if (input.empty() || !sameFile(options.html, input)) continue;
        err << "custpolicy: --html " << terminalText(options.html) << " is the input "
            << terminalText(input) << "; name another file for the page\n";
        return false;
    }
    std::string error;
    if (checkReplaceable(options.html, ReplaceOptions{options.force}, error)) return true;
    err << "custpolicy: cannot write the page: " << terminalText(error) << "\n";
    return false;
}

// Runs every point with the configuration before the edit into `baseline`. Its host session puts
// its own tables in force for the run; the device's come back with the next run of `host`. False
// after reporting a problem.
bool runBaseline(const SweepOptions& options, const std::string& profile, const SweepSpec& sweep,
                 SweepBaseline& baseline, std::ostream& err) {
    Diagnostics diagnostics;
    OpenDevice before;
    if (!openDevice(profile, options.before, Findings::Skip, before, diagnostics)) {
        printDiagnostics(diagnostics, err);
        return false;
    }
    std::string error;
    const bool ok = runSweep(
        *before.host, sweep, options.jobs != 0 ? options.jobs : defaultJobs(), {&baseline},
        [](uint64_t) {}, error);
    if (!ok) err << "custpolicy: " << error << " (with " << terminalText(options.before) << ")\n";
    return ok;
}

int runAndReport(const SweepOptions& options, const std::string& profile, HostSession& host,
                 const SweepSpec& sweep, MapAxes axes, std::ostream& out, std::ostream& err) {
    const DeviceProfile& device = host.device();
    std::unique_ptr<SweepBaseline> baseline;
    if (!options.before.empty()) {
        baseline = std::make_unique<SweepBaseline>(sweep.points, options.before);
        if (!runBaseline(options, profile, sweep, *baseline, err)) return kExitInputError;
    }
    AtomicFile page;
    std::string error;
    if (!options.html.empty() && !page.open(options.html, ReplaceOptions{options.force}, error)) {
        err << "custpolicy: cannot write the page: " << terminalText(error) << "\n";
        return kExitInputError;
    }
    const bool withPage = !options.html.empty();
    std::vector<std::unique_ptr<SweepOutput>> writers;
    if (options.csv) writers.push_back(makeCsvWriter(out, device, sweep, baseline.get()));
    if (options.json) writers.push_back(makeJsonWriter(out, device, sweep, baseline.get()));
    if (!options.csv && !options.json)
        writers.push_back(makeSummaryWriter(out, device, sweep, axes.x, baseline.get()));
    if (withPage)
        writers.push_back(makeHtmlWriter(page.stream(), device, sweep, axes, baseline.get()));
    std::vector<SweepOutput*> outputs;
    for (auto& writer : writers) outputs.push_back(writer.get());

    Progress progress(&err == &std::cerr && isatty(STDERR_FILENO) == 1, sweep.points);
    const bool ok = runSweep(
        host, sweep, options.jobs != 0 ? options.jobs : defaultJobs(), outputs,
        [&](uint64_t done) { progress.update(done); }, error);
    if (!ok) {
        err << "custpolicy: " << error << "; the output is incomplete"
            << (withPage ? " and the page was not written" : "") << "\n";
        return kExitInputError;
    }
    for (auto& writer : writers) writer->finish();
    // Standard output that could not take the report (it reports why): the page of a run whose
    // report was lost is not published either.
    if (!out.flush()) return kExitInputError;
    if (withPage && !page.commit(error)) {
        err << "custpolicy: cannot write the page: " << terminalText(error) << "\n";
        return kExitInputError;
    }
    return kExitOk;
}

int sweep(const SweepOptions& options, const std::vector<std::string>& files, std::ostream& out,
          std::ostream& err) {
    Diagnostics diagnostics;
    OpenDevice opened;
    SweepSpec plan;
    if (openDevice(files[0], options.configFile, Findings::Skip, opened, diagnostics))
        plan = loadSweep(files[1], opened.device(), options.maxPoints, diagnostics);
    if (!diagnostics.empty()) {
        printDiagnostics(diagnostics, err);
        return kExitInputError;
    }
    MapAxes axes;
    if (!chooseMapAxes(options, plan, axes, err)) return kExitFindings;
    if (!checkPageTarget(options, files, opened.device(), err)) return kExitInputError;
    return runAndReport(options, files[0], *opened.host, plan, axes, out, err);
}

}  // namespace

std::string sweepHelp() {
    SweepOptions unused;
    return helpText(kSweepLine, sweepOptions(unused));
}

int sweepCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    SweepOptions options;
    std::vector<std::string> files;
    if (const auto answered =
            readCommandLine(kSweepLine, sweepOptions(options), args, files, out, err))
        return *answered;
    if (options.csv && options.json) {
        err << "custpolicy: --csv and --json both print to standard output; choose one\n";
        return kExitFindings;
    }
    if (files.size() != 2) {
        err << "custpolicy: sweep needs a device profile and a sweep file\n" << sweepHelp();
        return kExitFindings;
    }
    try {
        return sweep(options, files, out, err);
    } catch (const std::bad_alloc&) {
        err << "custpolicy: sweep stopped: out of memory (fewer points, --max-points, or fewer"
               " outputs need less)\n";
        return kExitInputError;
    } catch (const std::exception& e) {
        err << "custpolicy: sweep stopped: " << e.what() << "\n";
        return kExitInputError;
    }
}

}  // namespace custsim
