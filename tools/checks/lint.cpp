#include "checks/lint.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "config_store.h"
#include "custpolicy/cust_contract.h"
#include "host_config_parser.h"
#include "inputs/edit_distance.h"

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
    int32_t sensorColumn;    // the column that names the sensor index, or -1
};

// Each table's columns, as wide as the library's reader reads its rows.
using C = Column;
constexpr Column kCommonColumns[] = {C::Equal, C::Equal, C::Scenario};
constexpr Column kSystemCamColumns[] = {C::Equal, C::Equal, C::Equal,    C::AtLeastInput, C::Equal,
                                        C::Equal, C::Equal, C::Scenario, C::Seamless};
constexpr Column kThirdCamColumns[] = {C::Equal,      C::Equal,        C::Equal, C::BelowInputU32,
                                       C::BelowInput, C::AtLeastInput, C::Value, C::Scenario};
constexpr Column kByActivityColumns[] = {C::Equal,        C::Equal,         C::Equal,
                                         C::Equal,        C::BelowInputU32, C::BelowInput,
                                         C::AtLeastInput, C::Value,         C::Scenario};
constexpr Column kByThermalColumns[] = {C::Equal, C::Threshold, C::Scenario};
constexpr Column kCustomSizeColumns[] = {C::Equal, C::Equal, C::Equal, C::Value, C::Value};
static_assert(std::size(kCommonColumns) == custpolicy::kWidthCommonSensorSettingMap);
static_assert(std::size(kSystemCamColumns) == custpolicy::kWidthSystemCamSensorSettingMap);
static_assert(std::size(kThirdCamColumns) == custpolicy::kWidthThirdCamSensorSettingMap);
static_assert(std::size(kByActivityColumns) == custpolicy::kWidthThirdCamByActivity);
static_assert(std::size(kByThermalColumns) == custpolicy::kWidthThirdCamByThermal);
static_assert(std::size(kCustomSizeColumns) == custpolicy::kWidthCustomSize);

template <size_t kWidth>
std::vector<Column> columnsOf(const Column (&columns)[kWidth]) {
    return std::vector<Column>(std::begin(columns), std::end(columns));
}

const std::vector<TableRule>& tableRules() {
    static const std::vector<TableRule> kRules = {
        {custpolicy::kTableCommonSensorSettingMap, columnsOf(kCommonColumns), true, true, false, 1},
        {custpolicy::kTableSystemCamSensorSettingMap, columnsOf(kSystemCamColumns), true, true,
         false, 2},
        {custpolicy::kTableThirdCamSensorSettingMap, columnsOf(kThirdCamColumns), false, false,
         false, 0},
        {custpolicy::kTableThirdCamByActivity, columnsOf(kByActivityColumns), false, false, false,
         0},
        {custpolicy::kTableThirdCamByThermal, columnsOf(kByThermalColumns), false, true, true, 0},
        {custpolicy::kTableCustomSensorSize, columnsOf(kCustomSizeColumns), false, false, true, -1},
        {custpolicy::kTableCustomRrzoSize, columnsOf(kCustomSizeColumns), false, false, true, -1},
    };
    return kRules;
}

constexpr int32_t kWildcard = -1;
constexpr int32_t kScenarioMax = custpolicy::kMaxScenario;
constexpr char kLocaleMode[] = "Mode";
// Seamless codes the system-camera reader acts on, and the flag values they stand for.
constexpr int32_t kSeamlessCode5 = 5;
constexpr int32_t kSeamlessCode4 = 4;
constexpr auto kSeamlessFlags5 = static_cast<int32_t>(custpolicy::kSeamlessFlagsScenario5);
constexpr auto kSeamlessFlags4 = static_cast<int32_t>(custpolicy::kSeamlessFlagsScenario4);
// A table name is compared with the known ones only when it is at most this much longer than
// the longest of them: a suggestion is for a typo, and the comparison grows with the length.
constexpr size_t kMaxSuggestionDistance = 4;
// Matched columns per row (the widest rule has six), and ordered ones (floors, ceilings,
// thresholds; at most three).
constexpr size_t kMaxEqualColumns = 8;
constexpr size_t kMaxOrderedColumns = 3;
constexpr int64_t kAlwaysCovers = std::numeric_limits<int64_t>::max();

using Severity = LintFinding::Severity;

// A column whose value the policy's path conditions restrict: a row with any other value (and
// not -1) is never reached. `maskBits`, when not 0, allows every combination of those bits.
struct PathCondition {
    const char* code;
    const char* table;
    size_t column;
    std::vector<int32_t> reachable;
    uint32_t maskBits;
    const char* reason;
};

// Feature-mask bits each size table's reader can set.
constexpr uint32_t kSensorSizeMaskBits = 0x1 | 0x2;
constexpr uint32_t kRrzoSizeMaskBits = 0x1 | 0x2 | 0x20 | 0x40;

const std::vector<PathCondition>& pathConditions() {
    static const std::vector<PathCondition> kConditions = {
        {kLintThirdPartyOperationMode,
         "ThirdCamSensorSettingMap",
         2,
         {0},
         0,
         "the third-party path runs only for operation mode 0"},
        {kLintThirdPartyOperationMode,
         "ThirdCamSensorSettingMapByActivity",
         3,
         {0},
         0,
         "the third-party path runs only for operation mode 0"},
        {kLintVideoFlagValue, "ThirdCamSensorSettingMap", 1, {0, 1}, 0, "the video flag is 0 or 1"},
        {kLintVideoFlagValue,
         "ThirdCamSensorSettingMapByActivity",
         2,
         {0, 1},
         0,
         "the video flag is 0 or 1"},
        {kLintOutsideCallerValue,
         "SystemCamSensorSettingMap",
         1,
         {0, 1},
         0,
         "the outside-caller flag is 0 or 1"},
        {kLintCameraModeClassValue,
         "SystemCamSensorSettingMap",
         5,
         {0, 1, 2},
         0,
         "the camera-mode class is 0, 1 or 2 (-1 for any other mode, which only -1 matches)"},
        {kLintFeatureMaskBits,
         "CameraCustomSensorSize",
         2,
         {},
         kSensorSizeMaskBits,
         "this table's feature mask has only the bits 0x1 and 0x2"},
        {kLintFeatureMaskBits,
         "CameraCustomRrzoSize",
         2,
         {},
         kRrzoSizeMaskBits,
         "this table's feature mask has only the bits 0x1, 0x2, 0x20 and 0x40"},
    };
    return kConditions;
}

// A row as the lint sees it.
struct Row {
    int32_t index = 0;
    std::string_view locale;
    std::string_view key;
    const Entry* entry = nullptr;
    const int32_t* values = nullptr;
};

uint32_t lineOf(const Entry& entry) { return static_cast<uint32_t>(entry.line); }

std::string entryName(std::string_view locale, std::string_view key) {
    std::string name;
    name.reserve(locale.size() + key.size() + 2);
    name.append(locale).append("[").append(key).append("]");
    return name;
}

std::string shownName(const Row& row) {
    return hostconfig::detail::printableName(entryName(row.locale, row.key));
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

// The known table names in lower case, for suggestions.
const std::vector<std::string>& lowercaseRuleNames() {
    static const std::vector<std::string> kNames = [] {
        std::vector<std::string> names;
        for (const TableRule& rule : tableRules()) names.push_back(lowercase(rule.name));
        return names;
    }();
    return kNames;
}

// The known table name closest to `name`, or null when none is close.
const TableRule* suggestTable(std::string_view name) {
    const std::vector<std::string>& known = lowercaseRuleNames();
    size_t longest = 0;
    for (const std::string& rule : known) longest = std::max(longest, rule.size());
    if (name.size() > longest + kMaxSuggestionDistance) return nullptr;
    const std::string lower = lowercase(name);
    const TableRule* best = nullptr;
    size_t bestDistance = kMaxSuggestionDistance + 1;
    for (size_t i = 0; i < known.size(); ++i) {
        const size_t distance = boundedEditDistance(lower, known[i], kMaxSuggestionDistance);
        if (distance < bestDistance) {
            best = &tableRules()[i];
            bestDistance = distance;
        }
    }
    return best;
}

// How strongly a row's value in an ordered column covers inputs: an earlier row accepts every
// input that a later row accepts in that column when the earlier strength reaches the later need.
// A wildcard covers everything and is covered only by a wildcard.
int64_t strengthOf(Column column, int32_t value) {
    switch (column) {
        case Column::AtLeastInput:  // a larger ceiling accepts more
            return value == kWildcard ? kAlwaysCovers : value;
        case Column::BelowInput:  // a lower floor accepts more
            return value == kWildcard ? kAlwaysCovers : -static_cast<int64_t>(value);
        case Column::BelowInputU32:
            return value == kWildcard ? kAlwaysCovers
                                      : -static_cast<int64_t>(static_cast<uint32_t>(value));
        case Column::Threshold:  // a lower threshold is reached sooner; no wildcard
            return -static_cast<int64_t>(value);
        default:
            return 0;
    }
}

bool isOrdered(Column column) {
    return column == Column::AtLeastInput || column == Column::BelowInput ||
           column == Column::BelowInputU32 || column == Column::Threshold;
}

// The values of a row's matched (Equal) columns, the key of the shadow index.
struct EqualKey {
    std::array<int32_t, kMaxEqualColumns> values{};
    bool operator==(const EqualKey& other) const { return values == other.values; }
};

struct EqualKeyHash {
    size_t operator()(const EqualKey& key) const {
        uint64_t hash = 1469598103934665603ULL;  // FNV-1a offset basis
        for (const int32_t v : key.values) {
            hash ^= static_cast<uint32_t>(v);
            hash *= 1099511628211ULL;  // FNV-1a prime
        }
        return static_cast<size_t>(hash);
    }
};

// A row's strengths in its ordered columns, as (a, b, c): with three ordered columns, a is the
// aspect-ratio floor, which takes few distinct values; unused dimensions are 0.
struct CoverPoint {
    int64_t a = 0;
    int64_t b = 0;
    int64_t c = 0;
};

// The rows of one bucket that share a strength `a`, as a staircase: by b ascending, c strictly
// descending, so no kept row covers another. A row covers a query when its b and c both reach the
// query's: the kept row with the smallest b at or above the query's has the largest c of those.
class Staircase {
public:
    const Row* coverOf(const CoverPoint& point) const {
        const auto it = mSteps.lower_bound(point.b);
        return it != mSteps.end() && it->second.c >= point.c ? it->second.row : nullptr;
    }

    // Adds a row unless a kept row covers it, dropping the kept rows it covers.
    void insert(const CoverPoint& point, const Row* row) {
        if (coverOf(point) != nullptr) return;
        auto it = mSteps.upper_bound(point.b);
        while (it != mSteps.begin()) {
            const auto before = std::prev(it);
            if (before->second.c > point.c) break;
            it = mSteps.erase(before);
        }
        mSteps.emplace_hint(it, point.b, Step{point.c, row});
    }

private:
    struct Step {
        int64_t c;
        const Row* row;
    };
    std::map<int64_t, Step> mSteps;
};

// The earlier rows of one bucket: a Fenwick tree over the bucket's distinct strengths `a`, in
// descending order, whose nodes are staircases over (b, c). The rows at or above a strength are
// then the union of a logarithm of nodes, each answering "does a kept row reach (b, c)" in a
// logarithm, whatever the number of distinct strengths.
class Bucket {
public:
    void addStrength(int64_t a) { mStrengths.push_back(a); }

    // Called once every strength is added, before the first query.
    void seal() {
        std::sort(mStrengths.begin(), mStrengths.end());
        mStrengths.erase(std::unique(mStrengths.begin(), mStrengths.end()), mStrengths.end());
        mNodes.resize(mStrengths.size() + 1);
    }

    // The earliest row found among the nodes that cover `point`, or null.
    const Row* coverOf(const CoverPoint& point) const {
        const Row* cover = nullptr;
        for (size_t node = rankOf(point.a); node > 0; node -= node & (~node + 1)) {
            const Row* candidate = mNodes[node].coverOf(point);
            if (candidate != nullptr && (cover == nullptr || candidate->index < cover->index))
                cover = candidate;
        }
        return cover;
    }

    void insert(const CoverPoint& point, const Row* row) {
        for (size_t node = rankOf(point.a); node < mNodes.size(); node += node & (~node + 1))
            mNodes[node].insert(point, row);
    }

private:
    // The 1-based position of strength `a` counted from the largest: the rows at or above `a` are
    // positions 1 .. rankOf(a). A strength not in the bucket (a query's) counts the ones above it.
    size_t rankOf(int64_t a) const {
        const auto at = std::lower_bound(mStrengths.begin(), mStrengths.end(), a);
        return mStrengths.size() - static_cast<size_t>(at - mStrengths.begin());
    }

    std::vector<int64_t> mStrengths;  // ascending, distinct
    std::vector<Staircase> mNodes;    // 1-based Fenwick nodes
};

// Finds, for each row of a group in read order, an earlier row that matches every input it
// matches. Earlier rows are indexed by their matched columns: a later row can only be covered by
// rows whose matched columns equal its own or are wildcards, so it probes one bucket per pattern
// of wildcards seen so far (a handful in a real table). Within a bucket the rows are kept in a
// Fenwick tree over one ordered column (the one with the fewest distinct values) whose nodes are
// staircases over the other two, so a probe costs a squared logarithm even when every row has a
// floor and a ceiling of its own, and a table of a million rows lints in seconds.
class ShadowIndex {
public:
    ShadowIndex(const TableRule& rule, const std::vector<Row>& rows) : mRule(&rule) {
        for (size_t c = 0; c < rule.columns.size(); ++c) {
            if (rule.columns[c] == Column::Equal && mEqual.size() < kMaxEqualColumns)
                mEqual.push_back(c);
            if (isOrdered(rule.columns[c]) && mOrdered.size() < kMaxOrderedColumns)
                mOrdered.push_back(c);
        }
        putFewestValuesFirst(rows);
        // Every row's bucket and strength are known before the first probe.
        const auto width = static_cast<int32_t>(rule.columns.size());
        for (const Row& row : rows) {
            if (row.entry->width == width)
                mBuckets[keyOf(row, wildcardMask(row))].addStrength(pointOf(row).a);
        }
        for (auto& [key, bucket] : mBuckets) bucket.seal();
    }

    // An earlier row found to cover `row` (the earliest of the candidates), or null; `row` is
    // indexed when none does.
    const Row* coverOf(const Row& row) {
        const CoverPoint point = pointOf(row);
        const uint32_t wildcards = wildcardMask(row);
        const Row* cover = nullptr;
        for (const uint32_t mask : mMasks) {
            if ((mask & wildcards) != wildcards) continue;
            const auto bucket = mBuckets.find(keyOf(row, mask));
            if (bucket == mBuckets.end()) continue;
            const Row* candidate = bucket->second.coverOf(point);
            if (candidate != nullptr && (cover == nullptr || candidate->index < cover->index))
                cover = candidate;
        }
        if (cover == nullptr) insert(row, point, wildcards);
        return cover;
    }

private:
    // A probe visits one staircase per distinct strength `a` at or above its own, so `a` is the
    // ordered column with the fewest distinct values in the group (in a real table the aspect-ratio
    // floor: a few ratios, against thousands of widths).
    void putFewestValuesFirst(const std::vector<Row>& rows) {
        if (mOrdered.size() < kMaxOrderedColumns) return;
        size_t fewest = 0;
        size_t fewestCount = std::numeric_limits<size_t>::max();
        for (size_t i = 0; i < mOrdered.size(); ++i) {
            // Counting stops once a column has more values than the fewest so far.
            std::unordered_set<int32_t> values;
            for (const Row& row : rows) {
                if (row.entry->width <= static_cast<int32_t>(mOrdered[i])) continue;
                values.insert(row.values[mOrdered[i]]);
                if (values.size() >= fewestCount) break;
            }
            if (values.size() < fewestCount) {
                fewest = i;
                fewestCount = values.size();
            }
        }
        std::swap(mOrdered[0], mOrdered[fewest]);
    }

    CoverPoint pointOf(const Row& row) const {
        std::array<int64_t, kMaxOrderedColumns> strength{};
        // Right-aligned: the last ordered column is always c, the one before it b.
        const size_t first = kMaxOrderedColumns - mOrdered.size();
        for (size_t i = 0; i < mOrdered.size(); ++i) {
            strength[first + i] = strengthOf(mRule->columns[mOrdered[i]], row.values[mOrdered[i]]);
        }
        return {strength[0], strength[1], strength[2]};
    }

    uint32_t wildcardMask(const Row& row) const {
        uint32_t mask = 0;
        for (size_t i = 0; i < mEqual.size(); ++i) {
            if (row.values[mEqual[i]] == kWildcard) mask |= 1U << i;
        }
        return mask;
    }

    // The row's matched values with the columns of `mask` made wildcards.
    EqualKey keyOf(const Row& row, uint32_t mask) const {
        EqualKey key;
        for (size_t i = 0; i < mEqual.size(); ++i)
            key.values[i] = (mask & (1U << i)) != 0 ? kWildcard : row.values[mEqual[i]];
        return key;
    }

    void insert(const Row& row, const CoverPoint& point, uint32_t wildcards) {
        if (std::find(mMasks.begin(), mMasks.end(), wildcards) == mMasks.end())
            mMasks.push_back(wildcards);
        mBuckets[keyOf(row, wildcards)].insert(point, &row);
    }

    const TableRule* mRule;
    std::vector<size_t> mEqual;
    std::vector<size_t> mOrdered;
    std::vector<uint32_t> mMasks;
    std::unordered_map<EqualKey, Bucket, EqualKeyHash> mBuckets;
};

class Linter {
public:
    Linter(const Config& config, const DeviceProfile* device, LintResult& result)
        : mConfig(config), mDevice(device), mResult(result), mFindings(result.findings) {}

    void run() {
        if (mConfig.tables.empty()) {
            add(kLintNoTables, Severity::Warning, 1, "",
                "no tables: the file holds no [TableName] section, so every policy finds its "
                "tables absent");
        }
        for (const auto& [name, table] : mConfig.tables) {
            ++mResult.tableCount;
            mResult.rowCount += table.entryCount;
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

    void add(const char* code, Severity severity, uint32_t line, std::string where,
             std::string message) {
        mFindings.push_back({severity, line, std::move(where), std::move(message), code});
    }

    std::string written(const Row& row, size_t column) const {
        const std::vector<std::string_view> values =
            hostconfig::detail::writtenValues(mConfig, *row.entry);
        return column < values.size() ? std::string(values[column])
                                      : std::to_string(row.values[column]);
    }

    std::string writtenRow(const Row& row) const {
        std::string text;
        for (const std::string_view value : hostconfig::detail::writtenValues(mConfig, *row.entry))
            text.append(text.empty() ? "" : ", ").append(value);
        return text;
    }

    void unknownTable(std::string_view name, const hostconfig::detail::Table& table) {
        std::string message = "unknown table: no policy reads it";
        if (const TableRule* best = suggestTable(name))
            message += " (did you mean \"" + std::string(best->name) + "\"?)";
        add(kLintUnknownTable, Severity::Error, static_cast<uint32_t>(table.line),
            "[" + hostconfig::detail::printableName(name) + "]", std::move(message));
    }

    // The rows of one group as its reader reads them: keys 0 .. count-1.
    std::vector<Row> rowsOf(const TableRule& rule, const hostconfig::detail::Table& table,
                            std::string_view locale, const LocaleGroup& group) {
        const int32_t count =
            rule.countsWholeTable ? table.entryCount : static_cast<int32_t>(group.keys.size());
        const std::string where = "[" + std::string(rule.name) + "] ";
        std::vector<Row> rows;
        rows.reserve(group.keys.size());
        for (const auto& [key, entry] : group.keys) {
            int32_t index = 0;
            if (!isCanonicalKey(key, index) || index >= count) {
                add(kLintKeyNeverRead, Severity::Error, lineOf(entry),
                    where + hostconfig::detail::printableName(entryName(locale, key)),
                    "row key is never read: rows are read as keys 0 to " +
                        std::to_string(count - 1) + " in decimal");
                continue;
            }
            rows.push_back({index, locale, key, &entry, mConfig.values.data() + entry.offset});
        }
        std::sort(rows.begin(), rows.end(),
                  [](const Row& a, const Row& b) { return a.index < b.index; });
        // Rows are read 0 .. count-1: a missing key fails its read. The thermal reader counts the
        // whole table and expects most reads of a group to fail, so only the others are checked.
        const bool hasRow0 = !rows.empty() && rows.front().index == 0;
        if (hasRow0 && !(rule.countsWholeTable && !rule.modeLocale))
            reportMissingRows(rule, locale, group, rows, where);
        return rows;
    }

    void reportMissingRows(const TableRule& rule, std::string_view locale, const LocaleGroup& group,
                           const std::vector<Row>& rows, const std::string& where) {
        const int32_t groupCount = static_cast<int32_t>(group.keys.size());
        uint32_t lastLine = 0;
        for (const auto& [key, entry] : group.keys) lastLine = std::max(lastLine, lineOf(entry));
        size_t next = 0;
        for (int32_t index = 0; index < groupCount; ++index) {
            while (next < rows.size() && rows[next].index < index) ++next;
            if (next < rows.size() && rows[next].index == index) continue;
            const bool before = next < rows.size();
            add(kLintRowMissing, Severity::Error, before ? lineOf(*rows[next].entry) : lastLine,
                where + hostconfig::detail::printableName(entryName(locale, std::to_string(index))),
                std::string("row is missing: its read fails, ") +
                    (rule.readErrorSkipsRow ? "and the row is skipped" : "which ends the lookup"));
        }
    }

    void lintTable(const TableRule& rule, const hostconfig::detail::Table& table) {
        const std::string where = "[" + std::string(rule.name) + "] ";
        for (const auto& [locale, group] : table.locales) {
            if (rule.modeLocale && locale != kLocaleMode) {
                for (const auto& [key, entry] : group.keys) {
                    add(kLintLocaleNotRead, Severity::Error, lineOf(entry),
                        where + hostconfig::detail::printableName(entryName(locale, key)),
                        "only locale \"Mode\" is read, but this entry still counts as a row, so "
                        "the read of a Mode row past the last one fails");
                }
                continue;
            }
            lintGroup(rule, table, locale, group, where);
        }
    }

    void lintGroup(const TableRule& rule, const hostconfig::detail::Table& table,
                   std::string_view locale, const LocaleGroup& group, const std::string& where) {
        const int32_t width = static_cast<int32_t>(rule.columns.size());
        const char* scope = rule.modeLocale ? "table" : "group";
        const std::vector<Row> rows = rowsOf(rule, table, locale, group);
        if (rows.empty() || rows.front().index != 0) {
            uint32_t firstLine = 0;
            for (const auto& [key, entry] : group.keys) {
                if (firstLine == 0 || lineOf(entry) < firstLine) firstLine = lineOf(entry);
            }
            add(kLintNoRowZero, Severity::Error, firstLine,
                where + hostconfig::detail::printableName(entryName(locale, "0")),
                "there is no row 0, whose width the reader checks first: the whole " +
                    std::string(scope) + " is ignored");
            return;
        }
        const Row& first = rows.front();
        if (first.entry->width != width) {
            add(kLintGroupIgnored, Severity::Error, lineOf(*first.entry), where + shownName(first),
                "row 0 has " + std::to_string(first.entry->width) +
                    " integers, the reader expects " + std::to_string(width) + ": the whole " +
                    scope + " is ignored");
            return;
        }
        ShadowIndex shadows(rule, rows);
        for (const Row& row : rows) {
            if (row.entry->width != width) {
                add(kLintRowWidth, Severity::Error, lineOf(*row.entry), where + shownName(row),
                    "row has " + std::to_string(row.entry->width) + " integers, not " +
                        std::to_string(width) + ": its read fails" +
                        (rule.readErrorSkipsRow ? " and the row is skipped"
                                                : ", which ends the lookup"));
                continue;
            }
            lintRow(rule, row, where);
            if (mDevice != nullptr) lintRowAgainstDevice(rule, row, where);
            const char* pathCode = "";
            const std::string path = unreachableByPath(rule, row, pathCode);
            if (!path.empty()) {
                add(pathCode, Severity::Error, lineOf(*row.entry), where + shownName(row),
                    "row can never match: " + path);
                continue;
            }
            const std::string never = neverMatches(rule, row);
            if (!never.empty()) {
                add(kLintRowNeverMatches, Severity::Error, lineOf(*row.entry),
                    where + shownName(row), "row can never match: " + never);
                continue;
            }
            if (const Row* cover = shadows.coverOf(row)) {
                // A thermal row behind another of its group and sensor is pre-empted whatever
                // the temperature: the earlier row's threshold is reached first.
                const bool thermal = rule.columns[1] == Column::Threshold;
                add(thermal ? kLintThermalPreEmpted : kLintRowNeverMatches, Severity::Error,
                    lineOf(*row.entry), where + shownName(row),
                    "row can never match: " + shownName(*cover) + " (line " +
                        std::to_string(cover->entry->line) + ": " + writtenRow(*cover) +
                        ") matches everything it matches");
            }
        }
    }

    void lintRow(const TableRule& rule, const Row& row, const std::string& where) {
        for (size_t c = 0; c < rule.columns.size(); ++c) {
            const int32_t v = row.values[c];
            if (rule.columns[c] == Column::Scenario && (v < 0 || v > kScenarioMax)) {
                add(kLintScenarioOutOfRange, Severity::Error, lineOf(*row.entry),
                    where + shownName(row),
                    "scenario " + written(row, c) + " in column " + std::to_string(c) +
                        " is outside 0..255");
            }
            if (rule.columns[c] == Column::Seamless && v != kWildcard && v != 0 &&
                v != kSeamlessCode5 && v != kSeamlessCode4) {
                std::string message = "seamless code " + written(row, c) +
                                      " is neither 5 nor 4, so the row fixes no seamless scenario";
                if (v == kSeamlessFlags5) message += " (0x801 are the flags of code 5: write 5)";
                if (v == kSeamlessFlags4) message += " (0x101 are the flags of code 4: write 4)";
                add(kLintSeamlessCode, Severity::Warning, lineOf(*row.entry),
                    where + shownName(row), std::move(message));
            }
        }
    }

    // Why the policy's own order or conditions keep a row from ever being reached, as
    // a reason with its finding's `code`, or "" when they do not.
    std::string unreachableByPath(const TableRule& rule, const Row& row, const char*& code) const {
        const std::string_view table = rule.name;
        for (const PathCondition& condition : pathConditions()) {
            if (table != condition.table) continue;
            const int32_t v = row.values[condition.column];
            if (v == kWildcard) continue;
            if (std::find(condition.reachable.begin(), condition.reachable.end(), v) !=
                condition.reachable.end())
                continue;
            if (condition.maskBits != 0 && (static_cast<uint32_t>(v) & ~condition.maskBits) == 0)
                continue;
            code = condition.code;
            return "column " + std::to_string(condition.column) + " is " +
                   written(row, condition.column) + ", but " + condition.reason;
        }
        return "";
    }

    // Why a row can never match on its own, or "" when it can.
    std::string neverMatches(const TableRule& rule, const Row& row) const {
        int32_t floorColumn = -1;
        int32_t ceilingColumn = -1;
        for (size_t c = 0; c < rule.columns.size(); ++c) {
            const int32_t v = row.values[c];
            if (rule.columns[c] == Column::BelowInput && v != kWildcard)
                floorColumn = static_cast<int32_t>(c);
            if (rule.columns[c] == Column::AtLeastInput && v != kWildcard)
                ceilingColumn = static_cast<int32_t>(c);
            if (v == kWildcard || v >= 0) continue;
            if (rule.columns[c] == Column::BelowInputU32) {
                return "column " + std::to_string(c) + " is " + written(row, c) +
                       ": the aspect-ratio floor is compared unsigned, so no ratio lies above it";
            }
            if (rule.columns[c] == Column::AtLeastInput) {
                return "column " + std::to_string(c) + " is " + written(row, c) +
                       ": no stream size fits under a negative ceiling";
            }
        }
        if (floorColumn >= 0 && ceilingColumn >= 0 &&
            row.values[floorColumn] >= row.values[ceilingColumn]) {
            return "the width floor " + written(row, static_cast<size_t>(floorColumn)) +
                   " (column " + std::to_string(floorColumn) +
                   ", exclusive) is not below the size ceiling " +
                   written(row, static_cast<size_t>(ceilingColumn)) + " (column " +
                   std::to_string(ceilingColumn) + "), so no width lies between them";
        }
        return "";
    }

    // The device's sensors that a row with `sensor` in its sensor column applies to: the named
    // one, or for a wildcard every sensor whose setting policy reads these tables (the legacy one).
    std::vector<const SensorSpec*> sensorsOf(int32_t sensor) const {
        std::vector<const SensorSpec*> sensors;
        for (const SensorSpec& profile : mDevice->sensors) {
            if (sensor == kWildcard ? !profile.newSettingPolicy : profile.index == sensor)
                sensors.push_back(&profile);
        }
        return sensors;
    }

    static std::string sensorLabel(const SensorSpec& sensor) {
        std::string label = "sensor " + std::to_string(sensor.index);
        if (!sensor.name.empty())
            label += " (" + hostconfig::detail::printableName(sensor.name) + ")";
        return label;
    }

    std::string deviceSensorList() const {
        std::string list;
        for (const SensorSpec& sensor : mDevice->sensors)
            list.append(list.empty() ? "" : ", ").append(std::to_string(sensor.index));
        return list.empty() ? "none" : list;
    }

    static std::string modeList(const SensorSpec& sensor) {
        std::string list;
        for (const auto& [scenario, mode] : sensor.modes)
            list.append(list.empty() ? "" : ", ").append(std::to_string(scenario));
        return list;
    }

    void lintRowAgainstDevice(const TableRule& rule, const Row& row, const std::string& where) {
        if (rule.sensorColumn < 0) return;
        const auto sensorColumn = static_cast<size_t>(rule.sensorColumn);
        const int32_t sensor = row.values[sensorColumn];
        if (sensor != kWildcard && mDevice->findSensor(sensor) == nullptr) {
            add(kLintSensorNotOnDevice, Severity::Error, lineOf(*row.entry), where + shownName(row),
                "sensor " + written(row, sensorColumn) + " in column " +
                    std::to_string(sensorColumn) + " names no sensor of device " +
                    hostconfig::detail::printableName(mDevice->name) + " (sensors " +
                    deviceSensorList() + ")");
            return;
        }
        for (size_t c = 0; c < rule.columns.size(); ++c) {
            const int32_t scenario = row.values[c];
            if (rule.columns[c] != Column::Scenario || scenario < 0 || scenario > kScenarioMax)
                continue;
            for (const SensorSpec* profile : sensorsOf(sensor)) {
                if (profile->modes.count(scenario) != 0) continue;
                add(kLintScenarioNotAMode, Severity::Error, lineOf(*row.entry),
                    where + shownName(row),
                    "scenario " + written(row, c) + " in column " + std::to_string(c) + ": " +
                        sensorLabel(*profile) + " has no mode " + std::to_string(scenario) +
                        " (its modes: " + modeList(*profile) + ")");
            }
        }
    }

    const Config& mConfig;
    const DeviceProfile* mDevice;
    LintResult& mResult;
    std::vector<LintFinding>& mFindings;
};

LintResult lintConfig(std::unique_ptr<Config> config, const DeviceProfile* device) {
    LintResult result;
    const hostconfig::LoadResult load = hostconfig::detail::parseConfig(*config);
    if (!load.ok) {
        for (const std::string& line : load.errors())
            result.loadError.append(result.loadError.empty() ? "" : "\n").append(line);
        return result;
    }
    return lintParsedConfig(*config, device);
}

int32_t countOf(const LintResult& result, LintFinding::Severity severity) {
    return static_cast<int32_t>(
        std::count_if(result.findings.begin(), result.findings.end(),
                      [&](const LintFinding& f) { return f.severity == severity; }));
}

std::string counted(int32_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

LintResult lintParsedConfig(const Config& config, const DeviceProfile* device) {
    LintResult result;
    result.loaded = true;
    Linter(config, device, result).run();
    return result;
}

int32_t LintResult::errorCount() const { return countOf(*this, Severity::Error); }

int32_t LintResult::warningCount() const { return countOf(*this, Severity::Warning); }

LintResult lintConfigText(const std::string& text, const std::string& sourceName,
                          const DeviceProfile* device) {
    auto config = std::make_unique<Config>();
    if (text.size() > hostconfig::detail::kMaxSourceBytes) {
        LintResult result;
        result.loadError = sourceName + ": the text is larger than 1 GiB";
        return result;
    }
    config->text = text;
    config->source = sourceName;
    return lintConfig(std::move(config), device);
}

LintResult lintConfigFile(const std::string& path, const DeviceProfile* device) {
    auto config = std::make_unique<Config>();
    std::string message;
    if (!hostconfig::detail::readSourceFile(path, config->text, message)) {
        LintResult result;
        result.loadError = path + ": " + message;
        return result;
    }
    config->source = path;
    config->fromFile = true;
    return lintConfig(std::move(config), device);
}

std::string formatFinding(const std::string& file, const LintFinding& finding) {
    return file + ":" + std::to_string(finding.line) + ": " +
           (finding.severity == Severity::Error ? "error" : "warning") + ": " +
           (finding.where.empty() ? "" : finding.where + ": ") + finding.message;
}

std::string formatSummary(const std::string& file, const LintResult& result) {
    std::string summary = file + ": " + counted(result.tableCount, "table") + ", " +
                          counted(result.rowCount, "row") + ": ";
    if (result.findings.empty()) return summary + "no findings";
    return summary + counted(result.errorCount(), "error") + ", " +
           counted(result.warningCount(), "warning");
}

bool lintCodeNeverMatches(std::string_view code) {
    static const char* const kNeverMatches[] = {
        kLintRowNeverMatches, kLintThermalPreEmpted,   kLintThirdPartyOperationMode,
        kLintVideoFlagValue,  kLintOutsideCallerValue, kLintCameraModeClassValue,
        kLintFeatureMaskBits,
    };
    for (const char* known : kNeverMatches) {
        if (code == known) return true;
    }
    return false;
}

}  // namespace custsim
