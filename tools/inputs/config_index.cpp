#include "inputs/config_index.h"

#include <algorithm>
#include <tuple>

#include "host_config_parser.h"

namespace custsim {

ConfigIndex::ConfigIndex(const hostconfig::detail::Config& config) : mFile(config.source) {
    for (const auto& [tableName, table] : config.tables) {
        for (const auto& [locale, group] : table.locales) {
            for (const auto& [key, entry] : group.keys) {
                mRows.push_back(
                    {std::string(tableName), std::string(locale), std::string(key), entry.line});
            }
        }
    }
    std::sort(mRows.begin(), mRows.end(), [](const Row& a, const Row& b) {
        return std::tie(a.line, a.table, a.locale, a.key) <
               std::tie(b.line, b.table, b.locale, b.key);
    });
    for (size_t i = 0; i < mRows.size(); ++i) {
        const Row& row = mRows[i];
        mByName[{row.table, row.locale, row.key}] = static_cast<int32_t>(i);
    }
}

int32_t ConfigIndex::find(const std::string& table, const std::string& locale,
                          const std::string& key) const {
    const auto it = mByName.find({table, locale, key});
    return it != mByName.end() ? it->second : -1;
}

}  // namespace custsim
