#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// An independent, deliberately plain reading of the configuration format of
// docs/config-format.md: one line at a time, with owned strings and ordered maps. The fuzz targets
// hold the host store's answers against it, so it shares no code with the store's parser.
namespace custfuzz {

// The entries of one table by (locale, key).
using ReferenceTable = std::map<std::pair<std::string, std::string>, std::vector<int32_t>>;

struct ReferenceConfig {
    bool ok = false;
    int32_t errorLine = 0;  // 1-based line of the first error when !ok
    std::map<std::string, ReferenceTable> tables;

    int32_t entryCount() const;
    // Number of entries of `locale` in `table` (0 when either is absent).
    int32_t localeKeyCount(const std::string& table, const std::string& locale) const;
    // The entry, or null when absent.
    const std::vector<int32_t>* find(const std::string& table, const std::string& locale,
                                     const std::string& key) const;
    // Every distinct locale of every table, in order.
    std::vector<std::string> locales() const;
};

ReferenceConfig parseReferenceConfig(std::string_view text);

// Splits a full name "locale[key]" the documented way: the key lies between the last '[' and the
// final ']'. False when the name does not end in "[key]" (the key may still be empty).
bool splitReferenceName(std::string_view name, std::string& locale, std::string& key);

}  // namespace custfuzz
