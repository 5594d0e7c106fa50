#include "host_config_store.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include "host_config_parser.h"
#include "platform/ConfigStore.h"

namespace hostconfig {

namespace {

using detail::Config;
using detail::Entry;
using detail::LocaleGroup;
using detail::Table;

// The table and the locale group of the last successful lookup. A scan names the same table and
// locale for every row, so a string comparison against the last names replaces two hash
// look-ups. The names are views of the configuration's own keys, so the cache never allocates;
// it is emptied whenever the tables in force change.
struct LookupCache {
    std::string_view tableName;
    const Table* table = nullptr;
    std::string_view locale;
    const Table* groupTable = nullptr;  // the table that `group` belongs to
    const LocaleGroup* group = nullptr;
};

struct Store {
    std::mutex mutex;
    std::unique_ptr<Config> config;  // null: every table absent
    bool environmentChecked = false;
    bool recording = true;
    std::vector<StoreCall> calls;
    LookupCache cache;
};

Store& store() {
    static Store sStore;
    return sStore;
}

LoadResult wholeSourceError(std::string_view source, std::string message) {
    LoadResult result;
    result.source = std::string(source);
    result.message = message;
    result.problems.push_back({0, 0, std::move(message)});
    return result;
}

// Parses `config` and, only when it is whole, puts it in force in place of the one before.
LoadResult install(std::unique_ptr<Config> config) {
    LoadResult result = detail::parseConfig(*config);
    if (!result.ok) return result;
    store().cache = LookupCache();
    store().config = std::move(config);
    return result;
}

LoadResult loadFileLocked(const std::string& path) {
    auto config = std::make_unique<Config>();
    config->source = path;
    config->fromFile = true;
    std::string message;
    if (!detail::readSourceFile(path, config->text, message)) {
        return wholeSourceError(path, message);
    }
    return install(std::move(config));
}

LoadResult loadTextLocked(std::string_view text, std::string_view sourceName) {
    if (text.size() > detail::kMaxSourceBytes) {
        return wholeSourceError(sourceName, "the text is larger than 1 GiB");
    }
    auto config = std::make_unique<Config>();
    config->source = std::string(sourceName);
    config->text = std::string(text);
    return install(std::move(config));
}

void loadEnvironmentOnFirstUse(Store& s) {
    if (s.environmentChecked) return;
    s.environmentChecked = true;
    const char* path = std::getenv(kConfigEnvVar);
    if (path == nullptr || *path == '\0') return;
    const LoadResult result = loadFileLocked(path);
    for (const std::string& line : result.errors())
        std::fprintf(stderr, "%s: %s\n", kConfigEnvVar, line.c_str());
}

// Every entry point holds the lock for its whole call; the first one also loads the file that the
// environment names.
std::unique_lock<std::mutex> acquire(Store& s = store()) {
    std::unique_lock<std::mutex> lock(s.mutex);
    loadEnvironmentOnFirstUse(s);
    return lock;
}

// True when the C string `text` is exactly `name`; reads no byte of `text` past its terminator.
bool equalsName(const char* text, std::string_view name) {
    return std::strncmp(text, name.data(), name.size()) == 0 && text[name.size()] == '\0';
}

const Table* findTable(Store& s, const char* tableName) {
    const Config* config = s.config.get();
    if (config == nullptr || tableName == nullptr) return nullptr;
    LookupCache& cache = s.cache;
    if (cache.table != nullptr && equalsName(tableName, cache.tableName)) return cache.table;
    const auto found = config->tables.find(std::string_view(tableName));
    if (found == config->tables.end()) return nullptr;
    cache.tableName = found->first;
    cache.table = &found->second;
    return cache.table;
}

const LocaleGroup* findGroup(LookupCache& cache, const Table& table, std::string_view locale) {
    if (cache.group != nullptr && cache.groupTable == &table && locale == cache.locale) {
        return cache.group;
    }
    const auto found = table.locales.find(locale);
    if (found == table.locales.end()) return nullptr;
    cache.locale = found->first;
    cache.groupTable = &table;
    cache.group = &found->second;
    return cache.group;
}

const Entry* findEntry(LookupCache& cache, const Table& table, std::string_view locale,
                       std::string_view key) {
    const LocaleGroup* group = findGroup(cache, table, locale);
    if (group == nullptr) return nullptr;
    const auto entry = group->keys.find(key);
    return entry != group->keys.end() ? &entry->second : nullptr;
}

const Entry* findEntryByFullName(LookupCache& cache, const Table& table,
                                 std::string_view fullName) {
    std::string_view locale;
    std::string_view key;
    if (!detail::splitEntryName(fullName, locale, key)) return nullptr;
    return findEntry(cache, table, locale, key);
}

// (locale, key) names the entry locale[key]. A key holding '[' gives a full name whose locale
// takes part of the key, so that pair is looked up by its composed name; it is the one lookup that
// allocates, and no key that the policies make holds a '['.
const Entry* findEntryByPair(LookupCache& cache, const Table& table, const char* locale,
                             const char* key) {
    // The keys a scan makes, "0", "1", ..., go through the locale's row index.
    size_t index = 0;
    if (detail::rowIndexOfKey(key, index)) {
        const LocaleGroup* group = findGroup(cache, table, locale);
        if (group == nullptr) return nullptr;
        if (index < group->rowsByIndex.size()) return group->rowsByIndex[index];
        return findEntry(cache, table, locale, key);
    }
    if (std::strchr(key, '[') == nullptr) return findEntry(cache, table, locale, key);
    std::string fullName;
    fullName.append(locale).append("[").append(key).append("]");
    return findEntryByFullName(cache, table, fullName);
}

std::string orEmpty(const char* text) {
    return text != nullptr ? std::string(text) : std::string();
}

void record(Store& s, StoreFunction function, const char* table, const char* name, const char* key,
            int32_t wanted, int32_t result) {
    if (!s.recording) return;
    s.calls.push_back(
        StoreCall{function, orEmpty(table), orEmpty(name), orEmpty(key), wanted, result});
}

int32_t keyCount(Store& s, const char* tableName) {
    const Table* table = findTable(s, tableName);
    return table != nullptr ? table->entryCount : 0;
}

int32_t valuesCount(Store& s, const char* tableName, const char* entryName) {
    const Table* table = findTable(s, tableName);
    if (table == nullptr || entryName == nullptr) return 0;
    const Entry* entry = findEntryByFullName(s.cache, *table, entryName);
    return entry != nullptr ? entry->width : 0;
}

int32_t localeKeyCount(Store& s, const char* tableName, const char* locale) {
    const Table* table = findTable(s, tableName);
    if (table == nullptr || locale == nullptr) return 0;
    const LocaleGroup* group = findGroup(s.cache, *table, locale);
    return group != nullptr ? static_cast<int32_t>(group->keys.size()) : 0;
}

int32_t localeKeyValuesCount(Store& s, const char* tableName, const char* locale, const char* key) {
    const Table* table = findTable(s, tableName);
    if (table == nullptr || locale == nullptr || key == nullptr) return 0;
    const Entry* entry = findEntryByPair(s.cache, *table, locale, key);
    return entry != nullptr ? entry->width : 0;
}

int32_t readRow(Store& s, const char* tableName, const char* locale, const char* key,
                int32_t* values, int32_t count) {
    if (tableName == nullptr || locale == nullptr || key == nullptr || values == nullptr) {
        return kStatusNullArgument;
    }
    const Table* table = findTable(s, tableName);
    if (table == nullptr) return kStatusNoEntry;
    const Entry* entry = findEntryByPair(s.cache, *table, locale, key);
    if (entry == nullptr) return kStatusNoEntry;
    if (count != entry->width) return kStatusWrongCount;
    std::memcpy(values, s.config->values.data() + entry->offset,
                static_cast<size_t>(entry->width) * sizeof(int32_t));
    return kStatusOk;
}

}  // namespace

namespace {

std::string renderProblem(const std::string& source, int32_t line, int32_t column,
                          const std::string& message) {
    if (line == 0) return source + ": " + message;
    return source + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
}

}  // namespace

std::string LoadResult::error() const {
    if (ok) return {};
    return renderProblem(source, line, column, message);
}

std::vector<std::string> LoadResult::errors() const {
    std::vector<std::string> lines;
    if (ok) return lines;
    for (const LoadProblem& problem : problems) {
        lines.push_back(renderProblem(source, problem.line, problem.column, problem.message));
    }
    if (lines.empty()) lines.push_back(error());
    if (unlistedProblems > 0) {
        lines.push_back(source + ": " + std::to_string(unlistedProblems) + " more problem" +
                        (unlistedProblems == 1 ? "" : "s") + " not listed");
    }
    return lines;
}

LoadResult loadFile(const std::string& path) {
    const auto lock = acquire();
    return loadFileLocked(path);
}

LoadResult loadText(std::string_view text, std::string_view sourceName) {
    const auto lock = acquire();
    return loadTextLocked(text, sourceName);
}

LoadResult loadFromEnvironment() {
    const auto lock = acquire();
    const char* path = std::getenv(kConfigEnvVar);
    if (path == nullptr || *path == '\0') {
        return wholeSourceError(kConfigEnvVar, "the environment variable is not set");
    }
    return loadFileLocked(path);
}

LoadResult reload() {
    const auto lock = acquire();
    const Config* config = store().config.get();
    if (config == nullptr)
        return wholeSourceError("", "nothing to reload: no configuration loaded");
    if (config->fromFile) return loadFileLocked(config->source);
    return loadTextLocked(config->text, config->source);
}

void clear() {
    const auto lock = acquire();
    store().cache = LookupCache();
    store().config.reset();
}

std::string currentSource() {
    const auto lock = acquire();
    const Config* config = store().config.get();
    return config != nullptr ? config->source : std::string();
}

const char* functionName(StoreFunction function) {
    switch (function) {
        case StoreFunction::GetKeyCount:
            return "GetKeyCount";
        case StoreFunction::GetValuesCount:
            return "GetValuesCount";
        case StoreFunction::GetLocaleKeyCount:
            return "GetLocaleKeyCount";
        case StoreFunction::GetLocaleKeyValuesCount:
            return "GetLocaleKeyValuesCount";
        case StoreFunction::GetLocaleIntegerListConfiguration:
            return "GetLocaleIntegerListConfiguration";
    }
    return "?";
}

std::string describe(const StoreCall& call) {
    std::string text = std::string(functionName(call.function)) + "(" + call.table;
    switch (call.function) {
        case StoreFunction::GetKeyCount:
            break;
        case StoreFunction::GetValuesCount:
        case StoreFunction::GetLocaleKeyCount:
            text += ", " + call.name;
            break;
        case StoreFunction::GetLocaleKeyValuesCount:
            text += ", " + call.name + ", " + call.key;
            break;
        case StoreFunction::GetLocaleIntegerListConfiguration:
            text += ", " + call.name + ", " + call.key + ", " + std::to_string(call.wanted);
            break;
    }
    return text + ") = " + std::to_string(call.result);
}

std::vector<StoreCall> calls() {
    const auto lock = acquire();
    return store().calls;
}

std::vector<std::string> describedCalls() {
    std::vector<std::string> texts;
    for (const StoreCall& call : calls()) texts.push_back(describe(call));
    return texts;
}

std::vector<std::string> readEntries() {
    std::vector<std::string> names;
    for (const StoreCall& call : calls()) {
        if (call.function != StoreFunction::GetLocaleIntegerListConfiguration) continue;
        names.push_back(call.name + "[" + call.key + "]");
    }
    return names;
}

void clearCalls() {
    const auto lock = acquire();
    store().calls.clear();
}

void setRecording(bool enabled) {
    const auto lock = acquire();
    store().recording = enabled;
}

}  // namespace hostconfig

namespace hostconfig {
namespace {
// Defined with the row-read record at the end of this file.
void recordRowRead(Store& s, const char* table, const char* locale, const char* key,
                   int32_t status);
}  // namespace

// ---- Holding a configuration aside ----

struct HeldConfiguration {
    std::unique_ptr<Config> config;
};

void HeldConfigurationDeleter::operator()(HeldConfiguration* held) const { delete held; }

HeldConfigurationPtr holdConfiguration() {
    const auto lock = acquire();
    HeldConfigurationPtr held(new HeldConfiguration);
    held->config = std::move(store().config);
    store().cache = LookupCache();
    return held;
}

HeldConfigurationPtr detail::holdParsed(std::unique_ptr<Config> config) {
    HeldConfigurationPtr held(new HeldConfiguration);
    held->config = std::move(config);
    return held;
}

void restoreConfiguration(HeldConfigurationPtr held) {
    const auto lock = acquire();
    store().cache = LookupCache();
    store().config = held != nullptr ? std::move(held->config) : nullptr;
}

}  // namespace hostconfig

// The store functions the library imports.
extern "C" {

int32_t GetKeyCount(const char* tableName) {
    using namespace hostconfig;
    Store& s = store();
    const auto lock = acquire(s);
    const int32_t count = keyCount(s, tableName);
    record(s, StoreFunction::GetKeyCount, tableName, nullptr, nullptr, 0, count);
    return count;
}

int32_t GetValuesCount(const char* tableName, const char* entryName) {
    using namespace hostconfig;
    Store& s = store();
    const auto lock = acquire(s);
    const int32_t count = valuesCount(s, tableName, entryName);
    record(s, StoreFunction::GetValuesCount, tableName, entryName, nullptr, 0, count);
    return count;
}

int32_t GetLocaleKeyCount(const char* tableName, const char* locale) {
    using namespace hostconfig;
    Store& s = store();
    const auto lock = acquire(s);
    const int32_t count = localeKeyCount(s, tableName, locale);
    record(s, StoreFunction::GetLocaleKeyCount, tableName, locale, nullptr, 0, count);
    return count;
}

int32_t GetLocaleKeyValuesCount(const char* tableName, const char* locale, const char* key) {
    using namespace hostconfig;
    Store& s = store();
    const auto lock = acquire(s);
    const int32_t count = localeKeyValuesCount(s, tableName, locale, key);
    record(s, StoreFunction::GetLocaleKeyValuesCount, tableName, locale, key, 0, count);
    return count;
}

int32_t GetLocaleIntegerListConfiguration(const char* tableName, const char* locale,
                                          const char* key, int32_t* values, int32_t count) {
    using namespace hostconfig;
    Store& s = store();
    const auto lock = acquire(s);
    const int32_t status = readRow(s, tableName, locale, key, values, count);
    record(s, StoreFunction::GetLocaleIntegerListConfiguration, tableName, locale, key, count,
           status);
    recordRowRead(s, tableName, locale, key, status);
    return status;
}
}

// ---- Row reads ---------------------------------------------------------------------------------
namespace hostconfig {

namespace {

// Guarded by the store's lock, like everything else.
struct RowReadRecord {
    bool enabled = false;
    std::vector<RowRead> reads;
};

RowReadRecord& rowReadRecord() {
    static RowReadRecord sRecord;
    return sRecord;
}

void recordRowRead(Store& s, const char* tableName, const char* locale, const char* key,
                   int32_t status) {
    RowReadRecord& record = rowReadRecord();
    if (!record.enabled) return;
    RowRead read{orEmpty(tableName), orEmpty(locale), orEmpty(key), status, 0};
    const Table* table = findTable(s, tableName);
    if (table != nullptr && locale != nullptr && key != nullptr) {
        const Entry* entry = findEntryByPair(s.cache, *table, locale, key);
        if (entry != nullptr) read.line = entry->line;
    }
    record.reads.push_back(std::move(read));
}

}  // namespace

void setRowReadRecording(bool enabled) {
    const auto lock = acquire();
    rowReadRecord().enabled = enabled;
    if (!enabled) rowReadRecord().reads.clear();
}

std::vector<RowRead> takeRowReads() {
    const auto lock = acquire();
    return std::exchange(rowReadRecord().reads, {});
}

}  // namespace hostconfig
