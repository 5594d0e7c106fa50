#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace hostconfig::detail {
struct Config;
}

// The rows of a configuration file with the lines they are written on, parsed as the store parses
// them, for the reports that name a row by file and line (coverage, the matched row of diff and
// check). The store itself answers the policies; this index never feeds them.
namespace custsim {

class ConfigIndex {
public:
    struct Row {
        std::string table;
        std::string locale;
        std::string key;
        int32_t line = 0;
        std::string entry() const { return locale + "[" + key + "]"; }
    };

    // The rows of a parsed configuration; the file is its source.
    explicit ConfigIndex(const hostconfig::detail::Config& config);

    const std::string& file() const { return mFile; }
    // Every row of every table, in file order.
    const std::vector<Row>& rows() const { return mRows; }
    // The position of a row in rows(); -1 when the file has no such row.
    int32_t find(const std::string& table, const std::string& locale, const std::string& key) const;

private:
    std::string mFile;
    std::vector<Row> mRows;
    std::map<std::tuple<std::string, std::string, std::string>, int32_t> mByName;
};

}  // namespace custsim
