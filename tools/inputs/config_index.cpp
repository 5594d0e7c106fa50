#include "config_index.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <tuple>

#include "host_config_parser.h"

namespace custsim {

namespace {

// The store refuses larger files; the index holds the same bound.
constexpr std::streamoff kMaxConfigBytes = std::streamoff{1} << 30;

}  // namespace

std::unique_ptr<ConfigIndex> ConfigIndex::load(const std::string& path, std::string& error) {
    struct stat info {};
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        error = path + ": a directory, not a configuration file";
        return nullptr;
    }
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) {
        error = path + ": cannot read the file: " + std::strerror(errno);
        return nullptr;
    }
    if (in.tellg() > kMaxConfigBytes) {
        error = path + ": the file is larger than 1 GiB";
        return nullptr;
    }
    in.seekg(0);
    std::ostringstream text;
    text << in.rdbuf();
    // The parsed names are views into the configuration, so it stays where it was parsed.
    auto config = std::make_unique<hostconfig::detail::Config>();
    config->text = text.str();
    config->source = path;
    config->fromFile = true;
    const hostconfig::LoadResult parsed = hostconfig::detail::parseConfig(*config);
    if (!parsed.ok) {
        error = parsed.error();
        return nullptr;
    }
    auto index = std::make_unique<ConfigIndex>();
    index->mFile = path;
    for (const auto& [tableName, table] : config->tables) {
        for (const auto& [locale, group] : table.locales) {
            for (const auto& [key, entry] : group.keys) {
                index->mRows.push_back(
                    {std::string(tableName), std::string(locale), std::string(key), entry.line});
            }
        }
    }
    std::sort(index->mRows.begin(), index->mRows.end(), [](const Row& a, const Row& b) {
        return std::tie(a.line, a.table, a.locale, a.key) <
               std::tie(b.line, b.table, b.locale, b.key);
    });
    for (size_t i = 0; i < index->mRows.size(); ++i) {
        const Row& row = index->mRows[i];
        index->mByName[{row.table, row.locale, row.key}] = static_cast<int32_t>(i);
    }
    return index;
}

int32_t ConfigIndex::find(const std::string& table, const std::string& locale,
                          const std::string& key) const {
    const auto it = mByName.find({table, locale, key});
    return it != mByName.end() ? it->second : -1;
}

}  // namespace custsim
