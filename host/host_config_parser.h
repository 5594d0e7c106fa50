#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host_config_store.h"

// The parsed form of a configuration: tables of entries grouped by locale, with every count the
// store functions answer computed once here, so that a lookup is a hash access and nothing more.
namespace hostconfig::detail {

// One entry: its integers live in Config::values at [offset, offset + width).
struct Entry {
    size_t offset = 0;
    int32_t width = 0;
    int32_t line = 0;     // where it was defined, for duplicate reports
    size_t valuesAt = 0;  // offset in Config::text of the values as written, for reports
};

// The entries of one locale, by key. The locale's key count is keys.size().
struct LocaleGroup {
    std::unordered_map<std::string_view, Entry> keys;
    // The entries whose keys are row indices written the way the policies write them ("0", "1",
    // ..., no sign, no leading zero), by index: the scans read rows by these keys, and an index
    // is cheaper than a hash. Null where no such key exists. Every such key below
    // rowsByIndex.size() is here; larger ones (of very sparse locales) only in `keys`.
    std::vector<const Entry*> rowsByIndex;
};

struct Table {
    std::unordered_map<std::string_view, LocaleGroup> locales;
    int32_t entryCount = 0;  // over every locale
    int32_t line = 0;        // of its first section header
};

// A whole configuration. Every name is a view into `text` or into `unescapedNames`, so a Config
// must stay where it was parsed: it is created on the heap and never moved.
struct Config {
    Config() = default;
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;

    std::string text;
    std::string source;
    bool fromFile = false;
    std::deque<std::string> unescapedNames;  // quoted names that held escapes
    std::vector<int32_t> values;
    std::unordered_map<std::string_view, Table> tables;
};

// Sources larger than this are refused: the bound keeps every line number, count and width within
// the 32 bits that the store functions answer in.
constexpr size_t kMaxSourceBytes = size_t{1} << 30;

// Reads a whole configuration file into `text`. False with a message (no position) when it cannot:
// it does not exist, is not a regular file (a directory, a device such as /dev/zero, a pipe), is
// larger than kMaxSourceBytes, or a read fails. Never reads more than the bound.
// Callers with a smaller bound pass it as maxBytes.
bool readSourceFile(const std::string& path, std::string& text, std::string& message,
                    size_t maxBytes = kMaxSourceBytes);

// A name as it may be shown on a terminal: control characters and bytes that are not printable
// ASCII or UTF-8 written as \xNN, and a name longer than kMaxShownNameBytes cut with "...".
constexpr size_t kMaxShownNameBytes = 80;
std::string printableName(std::string_view name);

// The values of an entry as the file wrote them ("0x8001", "-1"), one per integer.
std::vector<std::string_view> writtenValues(const Config& config, const Entry& entry);

// A full entry name split into its locale and key: the key is what lies between the last '[' and
// the final ']'. False when the name does not end in "[key]".
bool splitEntryName(std::string_view fullName, std::string_view& locale, std::string_view& key);

// Parses config.text into config (whose tables must be empty). On failure the result holds the
// position and message and config is left half-built, to be discarded. On success every locale's
// rowsByIndex is filled.
LoadResult parseConfig(Config& config);

// The row index that `key` spells in the policies' way (decimal, no sign, no leading zero, at
// most nine digits); false for any other key.
bool rowIndexOfKey(const char* key, size_t& index);

// A configuration parsed by parseConfig, as a held configuration ready to go in force, so that a
// tool that also reads the parsed tables itself (an index of rows, lint) parses the file once.
HeldConfigurationPtr holdParsed(std::unique_ptr<Config> config);

}  // namespace hostconfig::detail
