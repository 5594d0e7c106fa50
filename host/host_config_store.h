#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The host's camera configuration store: the five store functions of platform/ConfigStore.h,
// answered from a configuration file in the text format of docs/config-format.md, and the control
// API that tests and tools use to load it, reload it and see which calls the policies made.
//
// On first use (any store function or any call below) the file named by the environment variable
// CUSTPOLICY_CONFIG is loaded, if the variable is set. After that the store changes only when told
// to: it never watches the file.
//
// Every function here and every store function is serialised by one lock, so the store may be
// used from any thread.
namespace hostconfig {

// The environment variable naming the configuration file loaded on first use.
inline constexpr char kConfigEnvVar[] = "CUSTPOLICY_CONFIG";

// Status codes of GetLocaleIntegerListConfiguration. On any nonzero status the caller's array is
// left exactly as it was.
constexpr int32_t kStatusOk = 0;
constexpr int32_t kStatusNullArgument = -1;  // a null table name, locale, key or array
constexpr int32_t kStatusNoEntry = -2;       // no such table, or no such entry in it
constexpr int32_t kStatusWrongCount = -3;    // the count wanted is not the entry's width

// At most this many problems of one source are listed; the rest are only counted.
constexpr int32_t kMaxListedProblems = 20;

// One problem of a refused source.
struct LoadProblem {
    int32_t line = 0;    // 1-based; 0 when the problem concerns the source as a whole
    int32_t column = 0;  // 1-based byte column within the line; 0 with line 0
    std::string message;
};

// The outcome of a load. A refused load changes nothing: the tables loaded before stay in force.
// A source is parsed to its end, so a refusal lists every problem (up to kMaxListedProblems);
// line, column and message repeat the first of them.
struct LoadResult {
    bool ok = false;
    std::string source;      // the file path, or the name given to loadText
    int32_t line = 0;        // 1-based; 0 when the error concerns the source as a whole
    int32_t column = 0;      // 1-based byte column within the line; 0 with line 0
    std::string message;     // what was wrong, or what was expected there
    int32_t tableCount = 0;  // on success: tables and entries now in force
    int32_t entryCount = 0;
    std::vector<LoadProblem> problems;  // every problem listed, in source order
    int32_t unlistedProblems = 0;       // problems past kMaxListedProblems

    explicit operator bool() const { return ok; }
    // "source:line:column: message", or "source: message" for errors without a position, for the
    // first problem; empty on success.
    std::string error() const;
    // One such line per listed problem, then "source: N more problems" when some were unlisted.
    std::vector<std::string> errors() const;
};

// Replaces every table with those of the file. The file is read and parsed whole before anything
// changes.
LoadResult loadFile(const std::string& path);
// The same for a configuration held in memory; `sourceName` stands for the file name in errors.
LoadResult loadText(std::string_view text, std::string_view sourceName = "<text>");
// Loads the file named by CUSTPOLICY_CONFIG now (the automatic load happens only once). Refused
// with a whole-source error when the variable is unset or empty.
LoadResult loadFromEnvironment();
// Loads the last successfully loaded source again: the file is read afresh, a text is parsed
// again. Refused when nothing has been loaded since the last clear().
LoadResult reload();
// Makes every table absent and forgets the source.
void clear();
// The source in force ("" when none).
std::string currentSource();

// The store functions, as recorded.
enum class StoreFunction {
    GetKeyCount,
    GetValuesCount,
    GetLocaleKeyCount,
    GetLocaleKeyValuesCount,
    GetLocaleIntegerListConfiguration,
};
const char* functionName(StoreFunction function);

// One call of a store function. A null name is recorded as "" and gives kStatusNullArgument or 0.
struct StoreCall {
    StoreFunction function;
    std::string table;
    std::string name;    // the locale, or the full entry name for GetValuesCount; "" otherwise
    std::string key;     // for the locale-and-key functions; "" otherwise
    int32_t wanted = 0;  // the count passed to GetLocaleIntegerListConfiguration; 0 otherwise
    int32_t result = 0;  // the count or status returned
};
// Renders a call as "Function(table, name, key, wanted) = result", with only the arguments that
// the function takes, e.g. "GetLocaleKeyCount(ThirdCamSensorSettingMap, AllCamApp) = 4".
std::string describe(const StoreCall& call);

// Every store call since the last clearCalls(), oldest first.
std::vector<StoreCall> calls();
std::vector<std::string> describedCalls();
// The full entry names (locale[key]) of every row read attempted, in order, whatever its status.
std::vector<std::string> readEntries();
void clearCalls();
// Recording is on by default. With it off the store functions neither allocate nor scan: turn it
// off for benchmarks and long-running tools.
void setRecording(bool enabled);

// ---- Holding a configuration aside ----
// The simulator's diff runs every session on two configurations in turn. Loading a file again for
// every session would parse it whole each time; a held configuration goes back in force as it
// was, without parsing.
struct HeldConfiguration;
struct HeldConfigurationDeleter {
    void operator()(HeldConfiguration* held) const;
};
using HeldConfigurationPtr = std::unique_ptr<HeldConfiguration, HeldConfigurationDeleter>;
// Takes the configuration in force out of the store, which then has every table absent.
HeldConfigurationPtr holdConfiguration();
// Puts a held configuration back in force in place of the one in force (null: every table absent).
void restoreConfiguration(HeldConfigurationPtr held);

}  // namespace hostconfig

// ---- Row reads ---------------------------------------------------------------------------------
// A light record of the row reads alone (GetLocaleIntegerListConfiguration), each with the line
// where its entry is defined, kept apart from calls() so that a tool can leave it on while full
// recording is off. A scan reads rows in key order and stops at the first match, so the last
// successful read of a table in a lookup that decided is the row that decided.
namespace hostconfig {

struct RowRead {
    std::string table;
    std::string locale;
    std::string key;
    int32_t status = kStatusOk;  // as the read returned it
    int32_t line = 0;            // where the entry is defined; 0 when there is no such entry
};

// Off by default; turning it off also empties the record.
void setRowReadRecording(bool enabled);
// The row reads since the last take, oldest first; the record is emptied.
std::vector<RowRead> takeRowReads();

}  // namespace hostconfig
