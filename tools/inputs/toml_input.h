#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/MSize.h"

// Strict reading of the simulator's TOML inputs. Every value is read through a TomlTable, which
// checks its type and range and remembers which keys were read, so that whatever a file holds
// beyond the schema is refused as an unknown key. Problems are collected, not thrown: a file is
// read to its end and every problem in it is reported, each with its file, line, column and key
// path.
namespace custsim {

// One problem with an input, or one lint finding.
struct Diagnostic {
    std::string file;
    uint32_t line = 0;  // 1-based; 0 when the problem concerns the file as a whole
    uint32_t column = 0;
    std::string keyPath;  // "sensor[1].mode[0].fps"; empty for syntax errors
    std::string message;
    // > 0: this entry stands for that many problems of the file that are not listed one by one.
    uint32_t unlisted = 0;

    // "file:line:column: keyPath: message" (parts that are unknown are left out).
    std::string format() const;
};
using Diagnostics = std::vector<Diagnostic>;

// Whether a key must be present.
enum class Need { Optional, Required };

// TOML inputs larger than this are refused unread.
constexpr size_t kMaxTomlBytes = size_t{16} << 20;

// Parses a TOML file. Null with a diagnostic when the file cannot be read (it is missing, not a
// regular file, or larger than kMaxTomlBytes) or is not TOML.
std::optional<toml::table> parseTomlFile(const std::string& path, Diagnostics& diagnostics);
// Parses TOML text read from `path` (which names it in diagnostics).
std::optional<toml::table> parseTomlText(std::string_view text, const std::string& path,
                                         Diagnostics& diagnostics);

// A view of one TOML table that reads its keys strictly.
class TomlTable {
public:
    TomlTable(const toml::table& table, std::string file, std::string keyPath,
              Diagnostics& diagnostics);

    const std::string& file() const { return mFile; }
    const std::string& keyPath() const { return mKeyPath; }
    uint32_t line() const;
    // The line of a key's value; the table's line when the key is absent.
    uint32_t lineOf(std::string_view key) const;
    bool has(std::string_view key) const { return mTable->contains(key); }

    // Integers, checked against an inclusive range.
    std::optional<int64_t> integer(std::string_view key, Need need, int64_t min, int64_t max);
    std::optional<int32_t> int32(std::string_view key, Need need);
    std::optional<uint32_t> uint32(std::string_view key, Need need);
    std::optional<uint8_t> uint8(std::string_view key, Need need);
    std::optional<bool> boolean(std::string_view key, Need need);
    std::optional<std::string> string(std::string_view key, Need need);
    // A floating-point value; an integer is accepted too.
    std::optional<double> number(std::string_view key, Need need);
    // A [width, height] pair of integers in 0 .. 2^31-1.
    std::optional<MSize> size(std::string_view key, Need need);
    // An array of integers, each in the inclusive range.
    std::optional<std::vector<int64_t>> integerArray(std::string_view key, Need need, int64_t min,
                                                     int64_t max);
    // An array of arrays of exactly `width` integers each.
    std::optional<std::vector<std::vector<int64_t>>> integerRows(std::string_view key, Need need,
                                                                 size_t width, int64_t min,
                                                                 int64_t max);
    // An integer, or a name from `names` (or, when `names` allows it, an array of such names whose
    // values are or-ed together).
    std::optional<uint64_t> integerOrNames(
        std::string_view key, Need need, const std::vector<std::pair<const char*, uint64_t>>& names,
        bool allowArray, uint64_t max);
    // A sub-table.
    std::optional<TomlTable> table(std::string_view key, Need need);
    // An array of tables ([[key]]); empty when absent.
    std::vector<TomlTable> tables(std::string_view key, Need need);

    // The raw node of a key, marked as read, for values that may take more than one shape; null
    // when absent.
    const toml::node* node(std::string_view key) { return find(key, Need::Optional); }

    // The line and column of `key` (or of the table when the key is absent).
    std::pair<uint32_t, uint32_t> positionOf(std::string_view key) const;
    // Records a problem at the position of `key` (or of the table when the key is absent).
    void error(std::string_view key, std::string message);
    // Records a problem at a node inside this table's values, such as an array item.
    void errorAtNode(const toml::node& node, std::string keyPath, std::string message) {
        errorAt(node.source(), std::move(keyPath), std::move(message));
    }
    // Refuses every key that was not read. Call once, after the last read.
    void finish();

private:
    const toml::node* find(std::string_view key, Need need);
    std::string pathOf(std::string_view key) const;
    void errorAt(const toml::source_region& where, std::string keyPath, std::string message);
    void wrongType(std::string_view key, const toml::node& node, const char* expected);
    template <typename T>
    std::optional<T> checkedInteger(std::string_view key, Need need);

    const toml::table* mTable;
    std::string mFile;
    std::string mKeyPath;
    Diagnostics* mDiagnostics;
    std::vector<std::string> mRead;
};

// The TOML type name of a node, as a user reads it: "integer", "string", "table", ...
const char* typeName(const toml::node& node);

}  // namespace custsim
