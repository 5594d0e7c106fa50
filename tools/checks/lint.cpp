#include "lint.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include "edit_distance.h"
#include "host_config_parser.h"

namespace custsim {

namespace {

using hostconfig::detail::Config;
using hostconfig::detail::Entry;
using hostconfig::detail::LocaleGroup;

// What a column of a table row means to its reader.
enum class Column {
    Equal,          // -1, or equal to the input
    AtLeastInput,   // -1, or not less than the input (a ceiling)
    BelowInput,     // -1, or less than the input, signed (an exclusive floor)
    BelowInputU32,  // the same, compared as unsigned: a negative floor other than -1 never matches
    Threshold,      // the input (a temperature) reaches it; no wildcard
    Scenario,       // the scenario the row returns
    Seamless,       // the fixed seamless scenario code
    Value,          // not matched (a size, or a column no reader consults)
};

// How a reader sizes and scans a table.
struct TableRule {
    const char* name;
    std::vector<Column> columns;
    bool modeLocale;         // rows are Mode[0], Mode[1], ..., counted over the whole table
    bool countsWholeTable;   // the row count is the table's entry count, whatever the locale
    bool readErrorSkipsRow;  // a failed read skips the row instead of ending the lookup
};

const std::vector<TableRule>& tableRules() {
    using C = Column;
    static const std::vector<TableRule> kRules = {
        {"CommonSensorSettingMap", {C::Equal, C::Equal, C::Scenario}, true, true, false},
        {"SystemCamSensorSettingMap",
         {C::Equal, C::Equal, C::Equal, C::AtLeastInput, C::Equal, C::Equal, C::Equal, C::Scenario,
          C::Seamless},
         true,
         true,
         false},
        {"ThirdCamSensorSettingMap",
         {C::Equal, C::Equal, C::Equal, C::BelowInputU32, C::BelowInput, C::AtLeastInput, C::Value,
          C::Scenario},
         false,
         false,
         false},
        {"ThirdCamSensorSettingMapByActivity",
         {C::Equal, C::Equal, C::Equal, C::Equal, C::BelowInputU32, C::BelowInput, C::AtLeastInput,
          C::Value, C::Scenario},
         false,
         false,
         false},
        {"ThirdCamSensorSettingMapByThermal",
         {C::Equal, C::Threshold, C::Scenario},
         false,
         true,
         true},
        {"CameraCustomSensorSize",
         {C::Equal, C::Equal, C::Equal, C::Value, C::Value},
         false,
         false,
         true},
        {"CameraCustomRrzoSize",
         {C::Equal, C::Equal, C::Equal, C::Value, C::Value},
         false,
         false,
         true},
    };
    return kRules;
}

constexpr int32_t kWildcard = -1;
constexpr int32_t kScenarioMax = 255;
constexpr char kLocaleMode[] = "Mode";
// Seamless codes the system-camera reader acts on, and the flag values they stand for.
constexpr int32_t kSeamlessCode5 = 5;
constexpr int32_t kSeamlessCode4 = 4;
constexpr int32_t kSeamlessFlags5 = 0x801;
constexpr int32_t kSeamlessFlags4 = 0x101;

// A row as the lint sees it.
struct Row {
    int32_t index = 0;
    std::string name;  // "Locale[key]"
    const Entry* entry = nullptr;
    const int32_t* values = nullptr;
};

// True when a row with `earlier` in a column accepts every input that `later` accepts.
bool columnCovers(Column column, int32_t earlier, int32_t later) {
    switch (column) {
        case Column::Equal:
            return earlier == kWildcard || earlier == later;
        case Column::AtLeastInput:
            return earlier == kWildcard || (later != kWildcard && earlier >= later);
        case Column::BelowInput:
            return earlier == kWildcard || (later != kWildcard && earlier <= later);
        case Column::BelowInputU32:
            return earlier == kWildcard || (later != kWildcard && static_cast<uint32_t>(earlier) <=
                                                                      static_cast<uint32_t>(later));
        case Column::Threshold:
            return earlier <= later;
        default:
            return true;
    }
}

// Why a row can never match on its own, or "" when it can.
std::string neverMatches(const TableRule& rule, const int32_t* values) {
    for (size_t c = 0; c < rule.columns.size(); ++c) {
        const int32_t v = values[c];
        if (v == kWildcard || v >= 0) continue;
        if (rule.columns[c] == Column::BelowInputU32) {
            return "column " + std::to_string(c) + " is " + std::to_string(v) +
                   ": the aspect-ratio floor is compared unsigned, so no ratio lies above it";
        }
        if (rule.columns[c] == Column::AtLeastInput) {
            return "column " + std::to_string(c) + " is " + std::to_string(v) +
                   ": no stream size fits under a negative ceiling";
        }
    }
    return "";
}

bool isCanonicalKey(std::string_view key, int32_t& index) {
    if (key.empty() || key.size() > 9) return false;
    if (key.size() > 1 && key[0] == '0') return false;
    index = 0;
    for (const char c : key) {
        if (c < '0' || c > '9') return false;
        index = index * 10 + (c - '0');
    }
    return true;
}

std::string lowercase(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

// Line of the section header "[name]", or 0.
uint32_t headerLine(const std::string& text, std::string_view name) {
    std::istringstream in(text);
    std::string line;
    uint32_t number = 0;
    while (std::getline(in, line)) {
        ++number;
        const size_t open = line.find_first_not_of(" \t");
        if (open == std::string::npos || line[open] != '[') continue;
        const size_t close = line.find(']', open);
        if (close == std::string::npos) continue;
        std::string_view inside(line.data() + open + 1, close - open - 1);
        while (!inside.empty() && (inside.front() == ' ' || inside.front() == '\t'))
            inside.remove_prefix(1);
        while (!inside.empty() && (inside.back() == ' ' || inside.back() == '\t'))
            inside.remove_suffix(1);
        const size_t rest = line.find_first_not_of(" \t", close + 1);
        if (inside == name && (rest == std::string::npos || line[rest] == '#')) return number;
    }
    return 0;
}

std::string rowValues(const Row& row) {
    std::string text;
    for (int32_t i = 0; i < row.entry->width; ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(row.values[i]);
    }
    return text;
}

class Linter {
public:
    Linter(const Config& config, std::vector<LintFinding>& findings)
        : mConfig(config), mFindings(findings) {}

    void run() {
        for (const auto& [name, table] : mConfig.tables) {
            const TableRule* rule = findRule(name);
            if (rule == nullptr) {
                unknownTable(name, table);
                continue;
            }
            lintTable(*rule, table);
        }
        std::sort(mFindings.begin(), mFindings.end(),
                  [](const LintFinding& a, const LintFinding& b) {
                      if (a.line != b.line) return a.line < b.line;
                      return a.message < b.message;
                  });
    }

private:
    static const TableRule* findRule(std::string_view name) {
        for (const TableRule& rule : tableRules()) {
            if (name == rule.name) return &rule;
        }
        return nullptr;
    }

    void add(LintFinding::Severity severity, uint32_t line, std::string where,
             std::string message) {
        mFindings.push_back({severity, line, std::move(where), std::move(message)});
    }

    void unknownTable(std::string_view name, const hostconfig::detail::Table& table) {
        uint32_t line = headerLine(mConfig.text, name);
        if (line == 0) {
            for (const auto& [locale, group] : table.locales) {
                for (const auto& [key, entry] : group.keys) {
                    if (line == 0 || static_cast<uint32_t>(entry.line) < line)
                        line = static_cast<uint32_t>(entry.line);
                }
            }
        }
        std::string message = "unknown table: no policy reads it";
        const TableRule* best = nullptr;
        size_t bestDistance = 0;
        for (const TableRule& rule : tableRules()) {
            const size_t distance = editDistance(lowercase(name), lowercase(rule.name));
            if (best == nullptr || distance < bestDistance) {
                best = &rule;
                bestDistance = distance;
            }
        }
        if (best != nullptr && bestDistance <= 4)
            message += " (did you mean \"" + std::string(best->name) + "\"?)";
        add(LintFinding::Severity::Error, line, "[" + std::string(name) + "]", std::move(message));
    }

    // The rows of one group as its reader reads them: keys 0 .. count-1.
    std::vector<Row> rowsOf(const TableRule& rule, const hostconfig::detail::Table& table,
                            std::string_view locale, const LocaleGroup& group) {
        const int32_t count =
            rule.countsWholeTable ? table.entryCount : static_cast<int32_t>(group.keys.size());
        const std::string where = "[" + std::string(rule.name) + "] ";
        std::vector<Row> rows;
        std::vector<std::pair<uint32_t, std::string>> unread;
        for (const auto& [key, entry] : group.keys) {
            int32_t index = 0;
            const std::string name = std::string(locale) + "[" + std::string(key) + "]";
            if (!isCanonicalKey(key, index) || index >= count) {
                unread.emplace_back(static_cast<uint32_t>(entry.line), name);
                continue;
            }
            rows.push_back({index, name, &entry, mConfig.values.data() + entry.offset});
        }
        for (const auto& [line, name] : unread) {
            add(LintFinding::Severity::Error, line, where + name,
                "row key is never read: rows are read as keys 0 to " + std::to_string(count - 1) +
                    " in decimal");
        }
        std::sort(rows.begin(), rows.end(),
                  [](const Row& a, const Row& b) { return a.index < b.index; });
        // Rows are read 0 .. count-1: a missing key fails its read. The thermal reader counts the
        // whole table and expects most reads of a group to fail, so only the others are checked.
        const bool hasRow0 = !rows.empty() && rows.front().index == 0;
        if (hasRow0 && !(rule.countsWholeTable && !rule.modeLocale)) {
            const int32_t groupCount = static_cast<int32_t>(group.keys.size());
            uint32_t lastLine = 0;
            for (const auto& [key, entry] : group.keys) {
                lastLine = std::max(lastLine, static_cast<uint32_t>(entry.line));
            }
            size_t next = 0;
            for (int32_t index = 0; index < groupCount; ++index) {
                while (next < rows.size() && rows[next].index < index) ++next;
                if (next < rows.size() && rows[next].index == index) continue;
                const bool before = next < rows.size();
                add(LintFinding::Severity::Error,
                    before ? static_cast<uint32_t>(rows[next].entry->line) : lastLine,
                    where + std::string(locale) + "[" + std::to_string(index) + "]",
                    std::string("row is missing: its read fails, ") +
                        (rule.readErrorSkipsRow ? "and the row is skipped"
                                                : "which ends the lookup"));
            }
        }
        return rows;
    }

    void lintTable(const TableRule& rule, const hostconfig::detail::Table& table) {
        const int32_t width = static_cast<int32_t>(rule.columns.size());
        const std::string where = "[" + std::string(rule.name) + "] ";
        // Groups in the order they appear in the file.
        std::vector<std::pair<std::string_view, const LocaleGroup*>> groups;
        for (const auto& [locale, group] : table.locales) groups.emplace_back(locale, &group);
        auto firstLine = [](const LocaleGroup& group) {
            int32_t line = 0;
            for (const auto& [key, entry] : group.keys) {
                if (line == 0 || entry.line < line) line = entry.line;
            }
            return line;
        };
        std::sort(groups.begin(), groups.end(), [&](const auto& a, const auto& b) {
            return firstLine(*a.second) < firstLine(*b.second);
        });

        for (const auto& [locale, group] : groups) {
            if (rule.modeLocale && locale != kLocaleMode) {
                for (const auto& [key, entry] : group->keys) {
                    add(LintFinding::Severity::Error, static_cast<uint32_t>(entry.line),
                        where + std::string(locale) + "[" + std::string(key) + "]",
                        "only locale \"Mode\" is read, but this entry still counts as a row, so "
                        "the "
                        "read of a Mode row past the last one fails");
                }
                continue;
            }
            std::vector<Row> rows = rowsOf(rule, table, locale, *group);
            if (rows.empty() || rows.front().index != 0) {
                add(LintFinding::Severity::Error, static_cast<uint32_t>(firstLine(*group)),
                    where + std::string(locale) + "[0]",
                    "there is no row 0, whose width the reader checks first: the whole " +
                        std::string(rule.modeLocale ? "table" : "group") + " is ignored");
                continue;
            }
            const Row& first = rows.front();
            if (first.entry->width != width) {
                add(LintFinding::Severity::Error, static_cast<uint32_t>(first.entry->line),
                    where + first.name,
                    "row 0 has " + std::to_string(first.entry->width) +
                        " integers, the reader expects " + std::to_string(width) + ": the whole " +
                        (rule.modeLocale ? "table" : "group") + " is ignored");
                continue;
            }
            std::vector<const Row*> readable;
            for (const Row& row : rows) {
                if (row.entry->width != width) {
                    add(LintFinding::Severity::Error, static_cast<uint32_t>(row.entry->line),
                        where + row.name,
                        "row has " + std::to_string(row.entry->width) + " integers, not " +
                            std::to_string(width) + ": its read fails" +
                            (rule.readErrorSkipsRow ? " and the row is skipped"
                                                    : ", which ends the lookup"));
                    continue;
                }
                lintRow(rule, row, where);
                readable.push_back(&row);
            }
            findShadowedRows(rule, readable, where);
        }
    }

    void lintRow(const TableRule& rule, const Row& row, const std::string& where) {
        for (size_t c = 0; c < rule.columns.size(); ++c) {
            const int32_t v = row.values[c];
            if (rule.columns[c] == Column::Scenario && (v < 0 || v > kScenarioMax)) {
                add(LintFinding::Severity::Error, static_cast<uint32_t>(row.entry->line),
                    where + row.name,
                    "scenario " + std::to_string(v) + " in column " + std::to_string(c) +
                        " is outside 0..255");
            }
            if (rule.columns[c] == Column::Seamless && v != kWildcard && v != 0 &&
                v != kSeamlessCode5 && v != kSeamlessCode4) {
                std::string message = "seamless code " + std::to_string(v) +
                                      " is neither 5 nor 4, so the row fixes no seamless scenario";
                if (v == kSeamlessFlags5) message += " (0x801 are the flags of code 5: write 5)";
                if (v == kSeamlessFlags4) message += " (0x101 are the flags of code 4: write 4)";
                add(LintFinding::Severity::Warning, static_cast<uint32_t>(row.entry->line),
                    where + row.name, std::move(message));
            }
        }
        const std::string never = neverMatches(rule, row.values);
        if (!never.empty()) {
            add(LintFinding::Severity::Error, static_cast<uint32_t>(row.entry->line),
                where + row.name, "row can never match: " + never);
        }
    }

    void findShadowedRows(const TableRule& rule, const std::vector<const Row*>& rows,
                          const std::string& where) {
        for (size_t j = 1; j < rows.size(); ++j) {
            for (size_t i = 0; i < j; ++i) {
                bool covers = true;
                for (size_t c = 0; c < rule.columns.size() && covers; ++c) {
                    covers = columnCovers(rule.columns[c], rows[i]->values[c], rows[j]->values[c]);
                }
                if (!covers) continue;
                add(LintFinding::Severity::Error, static_cast<uint32_t>(rows[j]->entry->line),
                    where + rows[j]->name,
                    "row can never match: " + rows[i]->name + " (line " +
                        std::to_string(rows[i]->entry->line) + ": " + rowValues(*rows[i]) +
                        ") matches everything it matches");
                break;
            }
        }
    }

    const Config& mConfig;
    std::vector<LintFinding>& mFindings;
};

LintResult lintConfig(std::unique_ptr<Config> config) {
    LintResult result;
    const hostconfig::LoadResult load = hostconfig::detail::parseConfig(*config);
    if (!load.ok) {
        result.loadError = load.error();
        return result;
    }
    result.loaded = true;
    Linter(*config, result.findings).run();
    return result;
}

}  // namespace

int32_t LintResult::errorCount() const {
    return static_cast<int32_t>(std::count_if(
        findings.begin(), findings.end(),
        [](const LintFinding& f) { return f.severity == LintFinding::Severity::Error; }));
}

LintResult lintConfigText(const std::string& text, const std::string& sourceName,
                          const DeviceProfile* /*device*/) {
    auto config = std::make_unique<Config>();
    config->text = text;
    config->source = sourceName;
    return lintConfig(std::move(config));
}

LintResult lintConfigFile(const std::string& path, const DeviceProfile* /*device*/) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        LintResult result;
        result.loadError = path + ": cannot read file: " + std::strerror(errno);
        return result;
    }
    std::ostringstream text;
    text << in.rdbuf();
    auto config = std::make_unique<Config>();
    config->text = text.str();
    config->source = path;
    config->fromFile = true;
    return lintConfig(std::move(config));
}

std::string formatFinding(const std::string& file, const LintFinding& finding) {
    return file + ":" + std::to_string(finding.line) + ": " +
           (finding.severity == LintFinding::Severity::Error ? "error" : "warning") + ": " +
           finding.where + ": " + finding.message;
}

}  // namespace custsim
