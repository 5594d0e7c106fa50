#include <map>

#include "json_text.h"
#include "report.h"
#include "workflow_report.h"

namespace custsim {

namespace {

constexpr int kJsonSchemaVersion = 1;

enum class RowState { Matched, Read, NeverReached };

RowState stateOf(const RowCoverage& row) {
    if (row.matchedSessions > 0) return RowState::Matched;
    if (row.readSessions > 0) return RowState::Read;
    return RowState::NeverReached;
}

const char* stateName(RowState state) {
    switch (state) {
        case RowState::Matched:
            return "matched";
        case RowState::Read:
            return "read";
        case RowState::NeverReached:
            return "never_reached";
    }
    return "";
}

const char* stateText(RowState state) {
    return state == RowState::Read ? "read, never matched" : "never reached";
}

struct Counts {
    int32_t matched = 0;
    int32_t read = 0;
    int32_t neverReached = 0;
    int32_t total = 0;

    void add(RowState state) {
        ++total;
        if (state == RowState::Matched) ++matched;
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
    return std::to_string(c.matched) + " matched, " + std::to_string(c.read) +
           " read without a match, " + std::to_string(c.neverReached) + " never reached, of " +
           std::to_string(c.total) + " row" + (c.total == 1 ? "" : "s");
}

std::string countsJson(const Counts& c) {
    return "\"matched\": " + std::to_string(c.matched) + ", \"read\": " + std::to_string(c.read) +
           ", \"never_reached\": " + std::to_string(c.neverReached) +
           ", \"total\": " + std::to_string(c.total);
}

void writeText(std::ostream& out, const std::string& device, const ConfigIndex& config,
               int32_t sessions, const std::vector<RowCoverage>& rows) {
    out << "coverage of " << config.file() << " on device " << device << ", " << sessions
        << " session" << (sessions == 1 ? "" : "s") << "\n";
    Counts total;
    for (const TableRows& table : byTable(config, rows)) {
        out << "\n" << table.name << ": " << countsText(table.counts) << "\n";
        for (const size_t i : table.rows) {
            const RowState state = stateOf(rows[i]);
            total.add(state);
            if (state == RowState::Matched) continue;
            const ConfigIndex::Row& row = config.rows()[i];
            out << "  " << config.file() << ":" << row.line << ": " << row.entry() << ": "
                << stateText(state) << (rows[i].lintNeverMatches ? " (lint: can never match)" : "")
                << "\n";
        }
    }
    out << "\ntotal: " << countsText(total) << "\n";
}

void writeJson(std::ostream& out, const std::string& device, const ConfigIndex& config,
               int32_t sessions, const std::vector<RowCoverage>& rows) {
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
                << ", \"matched_sessions\": " << rows[i].matchedSessions
                << ", \"read_sessions\": " << rows[i].readSessions
                << ", \"lint_never_matches\": " << (rows[i].lintNeverMatches ? "true" : "false")
                << "}";
        }
        out << "\n  ]}";
    }
    out << (tables.empty() ? "],\n" : "\n],\n") << "\"summary\": {" << countsJson(total)
        << "}\n}\n";
}

}  // namespace

void writeCoverageReport(std::ostream& out, bool json, const std::string& device,
                         const ConfigIndex& config, int32_t sessions,
                         const std::vector<RowCoverage>& rows) {
    if (json) {
        writeJson(out, device, config, sessions, rows);
    } else {
        writeText(out, device, config, sessions, rows);
    }
}

}  // namespace custsim
