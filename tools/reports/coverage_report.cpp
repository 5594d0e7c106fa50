#include <map>
#include <set>

#include "reports/json_text.h"
#include "reports/report.h"
#include "reports/text_escape.h"
#include "reports/workflow_report.h"

namespace custsim {

namespace {

constexpr int kJsonSchemaVersion = 1;

enum class RowState { Decided, Overridden, Read, NeverReached };

RowState stateOf(const RowCoverage& row) {
    if (row.decidedSessions > 0) return RowState::Decided;
    if (row.overriddenSessions > 0) return RowState::Overridden;
    if (row.readSessions > 0) return RowState::Read;
    return RowState::NeverReached;
}

const char* stateName(RowState state) {
    switch (state) {
        case RowState::Decided:
            return "decided";
        case RowState::Overridden:
            return "overridden";
        case RowState::Read:
            return "read";
        case RowState::NeverReached:
            return "never_reached";
    }
    return "";
}

const char* unreachedName(Unreached why) {
    switch (why) {
        case Unreached::Table:
            return "table";
        case Unreached::Group:
            return "group";
        case Unreached::EarlierRow:
            return "earlier_row";
    }
    return "";
}

const char* unreachedText(Unreached why) {
    switch (why) {
        case Unreached::Table:
            return "no session reached the table";
        case Unreached::Group:
            return "no session reached the group";
        case Unreached::EarlierRow:
            return "an earlier row always matched";
    }
    return "";
}

// Which tables and groups (table, locale) some session read.
struct Reach {
    std::set<std::string> tables;
    std::set<std::pair<std::string, std::string>> groups;

    Reach(const ConfigIndex& config, const std::vector<RowCoverage>& rows) {
        for (size_t i = 0; i < rows.size(); ++i) {
            if (rows[i].readSessions == 0) continue;
            const ConfigIndex::Row& row = config.rows()[i];
            tables.insert(row.table);
            groups.insert({row.table, row.locale});
        }
    }

    Unreached why(const ConfigIndex::Row& row) const {
        if (tables.count(row.table) == 0) return Unreached::Table;
        if (groups.count({row.table, row.locale}) == 0) return Unreached::Group;
        return Unreached::EarlierRow;
    }
};

struct Counts {
    int32_t decided = 0;
    int32_t overridden = 0;
    int32_t read = 0;
    int32_t neverReached = 0;
    int32_t total = 0;

    void add(RowState state) {
        ++total;
        if (state == RowState::Decided) ++decided;
        if (state == RowState::Overridden) ++overridden;
        if (state == RowState::Read) ++read;
        if (state == RowState::NeverReached) ++neverReached;
    }
};

// A table's rows (positions in the index) in file order; tables in the order the file first
// writes them.
struct TableRows {
    std::string name;
    std::vector<size_t> rows;
    Counts counts;
};

std::vector<TableRows> byTable(const ConfigIndex& config, const std::vector<RowCoverage>& rows) {
    std::vector<TableRows> tables;
    std::map<std::string, size_t> position;
    for (size_t i = 0; i < config.rows().size(); ++i) {
        const std::string& name = config.rows()[i].table;
        auto [it, added] = position.emplace(name, tables.size());
        if (added) tables.push_back({name, {}, {}});
        TableRows& table = tables[it->second];
        table.rows.push_back(i);
        table.counts.add(stateOf(rows[i]));
    }
    return tables;
}

std::string countsText(const Counts& c) {
    return std::to_string(c.decided) + " decided, " + std::to_string(c.overridden) +
           " overridden, " + std::to_string(c.read) + " read without a match, " +
           std::to_string(c.neverReached) + " never reached, of " + std::to_string(c.total) +
           " row" + (c.total == 1 ? "" : "s");
}

std::string countsJson(const Counts& c) {
    return "\"decided\": " + std::to_string(c.decided) +
           ", \"overridden\": " + std::to_string(c.overridden) +
           ", \"read\": " + std::to_string(c.read) +
           ", \"never_reached\": " + std::to_string(c.neverReached) +
           ", \"total\": " + std::to_string(c.total);
}

std::string sessionsText(int32_t count) {
    return std::to_string(count) + " session" + (count == 1 ? "" : "s");
}

std::string stepsText(const std::vector<PolicyPath>& steps) {
    std::string text;
    for (size_t i = 0; i < steps.size(); ++i)
        text += (i == 0                  ? ""
                 : i + 1 == steps.size() ? " and "
                                         : ", ") +
                std::string(pathText(steps[i]));
    return text;
}

// What the text report says of a row that decided nothing.
std::string rowStateText(const RowCoverage& row, RowState state, Unreached why) {
    switch (state) {
        case RowState::Overridden:
            return "matched in " + sessionsText(row.overriddenSessions) + ", overridden by " +
                   stepsText(row.overriddenBy);
        case RowState::Read:
            return "read, never matched";
        case RowState::NeverReached:
            return std::string("never reached: ") + unreachedText(why);
        case RowState::Decided:
            break;
    }
    std::string text = "decided in " + sessionsText(row.decidedSessions);
    if (row.overriddenSessions > 0) {
        text += ", overridden in " + sessionsText(row.overriddenSessions) + " by " +
                stepsText(row.overriddenBy);
    }
    return text;
}

void writeText(std::ostream& out, const std::string& device, const ConfigIndex& config,
               int32_t sessions, const std::vector<RowCoverage>& rows, bool listSessions) {
    const Reach reach(config, rows);
    out << "coverage of " << terminalText(config.file()) << " on device " << terminalText(device)
        << ", " << sessionsText(sessions) << "\n";
    Counts total;
    for (const TableRows& table : byTable(config, rows)) {
        out << "\n" << terminalText(table.name) << ": " << countsText(table.counts) << "\n";
        for (const size_t i : table.rows) {
            const RowState state = stateOf(rows[i]);
            total.add(state);
            const ConfigIndex::Row& row = config.rows()[i];
            const bool listed = listSessions && state == RowState::Decided;
            // A row that decided is shown when asked for, or when another session overrode it.
            if (state == RowState::Decided && !listed && rows[i].overriddenSessions == 0) continue;
            out << "  " << terminalText(config.file()) << ":" << row.line << ": "
                << terminalText(row.entry()) << ": " << rowStateText(rows[i], state, reach.why(row))
                << (rows[i].lintNeverMatches ? " (lint: can never match)" : "") << "\n";
            if (!listed) continue;
            for (const std::string& session : rows[i].decidedIn)
                out << "    " << terminalText(session) << "\n";
        }
    }
    out << "\ntotal: " << countsText(total) << "\n";
}

std::string stepsJson(const std::vector<PolicyPath>& steps) {
    std::string json = "[";
    for (size_t i = 0; i < steps.size(); ++i)
        json += (i == 0 ? "" : ", ") + jsonString(pathName(steps[i]));
    return json + "]";
}

void writeJson(std::ostream& out, const std::string& device, const ConfigIndex& config,
               int32_t sessions, const std::vector<RowCoverage>& rows, bool listSessions) {
    const Reach reach(config, rows);
    out << "{\n\"schema\": " << kJsonSchemaVersion << ",\n\"device\": " << jsonString(device)
        << ",\n\"config\": " << jsonString(config.file()) << ",\n\"sessions\": " << sessions
        << ",\n\"tables\": [";
    Counts total;
    const std::vector<TableRows> tables = byTable(config, rows);
    for (size_t t = 0; t < tables.size(); ++t) {
        const TableRows& table = tables[t];
        out << (t == 0 ? "\n" : ",\n") << "  {\"table\": " << jsonString(table.name) << ", "
            << countsJson(table.counts) << ", \"rows\": [";
        for (size_t r = 0; r < table.rows.size(); ++r) {
            const size_t i = table.rows[r];
            const ConfigIndex::Row& row = config.rows()[i];
            const RowState state = stateOf(rows[i]);
            total.add(state);
            out << (r == 0 ? "\n" : ",\n") << "    {\"entry\": " << jsonString(row.entry())
                << ", \"line\": " << row.line << ", \"state\": " << jsonString(stateName(state))
                << ", \"decided_sessions\": " << rows[i].decidedSessions
                << ", \"overridden_sessions\": " << rows[i].overriddenSessions
                << ", \"overridden_by\": " << stepsJson(rows[i].overriddenBy)
                << ", \"read_sessions\": " << rows[i].readSessions << ", \"unreached\": "
                << (state == RowState::NeverReached ? jsonString(unreachedName(reach.why(row)))
                                                    : "null")
                << ", \"lint_never_matches\": " << (rows[i].lintNeverMatches ? "true" : "false");
            if (listSessions) {
                out << ", \"decided_in\": [";
                for (size_t s = 0; s < rows[i].decidedIn.size(); ++s)
                    out << (s == 0 ? "" : ", ") << jsonString(rows[i].decidedIn[s]);
                out << "]";
            }
            out << "}";
        }
        out << "\n  ]}";
    }
    out << (tables.empty() ? "],\n" : "\n],\n") << "\"summary\": {" << countsJson(total)
        << "}\n}\n";
}

}  // namespace

void writeCoverageReport(std::ostream& out, bool json, const std::string& device,
                         const ConfigIndex& config, int32_t sessions,
                         const std::vector<RowCoverage>& rows, bool listSessions) {
    if (json) {
        writeJson(out, device, config, sessions, rows, listSessions);
    } else {
        writeText(out, device, config, sessions, rows, listSessions);
    }
}

}  // namespace custsim
