#include "inputs/toml_input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>

#include "host_config_parser.h"
#include "inputs/edit_distance.h"

namespace custsim {

namespace {

std::string inQuotes(std::string_view text) { return "'" + std::string(text) + "'"; }

// Where a position of TOML text stands, as far as telling a table header from a value goes.
enum class Lex { Normal, Basic, Literal, MultiLineBasic, MultiLineLiteral, Comment };

bool isBareKeyCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

// Column (1-based) at which the table header starting at `at` lacks a name, or 0 when it has
// one. toml++ 3.3.0 asserts (or, built without assertions, assumes) that a header's name starts
// with a key character or a quote, where a header such as "[" alone on a line breaks that.
size_t headerWithoutName(std::string_view text, size_t at, size_t lineStart) {
    size_t i = at + 1;
    if (i < text.size() && text[i] == '[') ++i;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    if (i == text.size()) return 0;  // the end of the text: toml++ reports it
    const char c = text[i];
    if (isBareKeyCharacter(c) || c == '"' || c == '\'' || c == ']') return 0;
    return i - lineStart + 1;
}

// What toml++ 3.3.0 must not be handed, found before it sees the text: false with the line,
// column and problem of the first. Two kinds of text reach its assertions (or, built without
// them, its assumptions, which are undefined behaviour):
//   - a table header without a name ("[" alone on a line): it asserts that a name starts there;
//   - a character that is not ASCII outside strings and comments ("sensors = [é"): its check for
//     Unicode whitespace reaches an unreachable branch for many such characters;
//   - a '}' where an array expects a value ("i = [}"): it asserts that a value starts there;
//   - a quote right after a value ("a = 0\"..."): the text after it reaches that same check.
// Both are invalid TOML in any case. A light lexer over strings, comments, arrays and inline
// tables finds them; what it misreads in invalid text is refused by toml++ anyway.
// Whether a quote after `previous` (the line's last character outside strings) can open a string
// or a quoted key: at the start of a line, or after '=', '[', '{', ',' or '.'.
bool opensString(char previous) {
    return previous == '\0' || std::string_view("=[{,.").find(previous) != std::string_view::npos;
}

bool safeForToml(std::string_view text, uint32_t& line, uint32_t& column, std::string& problem) {
    Lex state = Lex::Normal;
    std::string open;  // the '[' and '{' of values not closed yet, innermost last
    uint32_t lineNumber = 1;
    size_t lineStart = 0;
    bool atLineStart = true;
    bool inHeader = false;  // the rest of a table header's line: its brackets are no values
    char previous = '\0';   // the last character of the line outside strings, '\0' for none
    auto stop = [&](size_t at, const char* why) {
        line = lineNumber;
        column = static_cast<uint32_t>(at - lineStart + 1);
        problem = why;
        return false;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n') {
            if (state != Lex::MultiLineBasic && state != Lex::MultiLineLiteral) state = Lex::Normal;
            ++lineNumber;
            lineStart = i + 1;
            atLineStart = true;
            inHeader = false;
            previous = '\0';
            continue;
        }
        const bool blank = c == ' ' || c == '\t' || c == '\r';
        if (atLineStart && !blank && state == Lex::Normal && open.empty() && c == '[') {
            if (const size_t bad = headerWithoutName(text, i, lineStart); bad != 0)
                return stop(lineStart + bad - 1, "a table header needs a name after '['");
            atLineStart = false;
            inHeader = true;
            previous = '[';
            continue;
        }
        if (!blank) atLineStart = false;
        const std::string_view rest = text.substr(i);
        switch (state) {
            case Lex::Comment:
                break;
            case Lex::Basic:
                if (c == '\\')
                    ++i;
                else if (c == '"')
                    state = Lex::Normal;
                break;
            case Lex::Literal:
                if (c == '\'') state = Lex::Normal;
                break;
            case Lex::MultiLineBasic:
                if (c == '\\')
                    ++i;
                else if (rest.rfind("\"\"\"", 0) == 0)
                    state = Lex::Normal, i += 2;
                break;
            case Lex::MultiLineLiteral:
                if (rest.rfind("\'\'\'", 0) == 0) state = Lex::Normal, i += 2;
                break;
            case Lex::Normal:
                if (static_cast<unsigned char>(c) >= 0x80)
                    return stop(i, "a character that is not ASCII outside a string or comment");
                if ((c == '"' || c == '\'') && !opensString(previous))
                    return stop(i, "a quote where no string or quoted key can start");
                if (!blank) previous = c;
                if (c == '#')
                    state = Lex::Comment;
                else if (rest.rfind("\"\"\"", 0) == 0)
                    state = Lex::MultiLineBasic, i += 2;
                else if (rest.rfind("\'\'\'", 0) == 0)
                    state = Lex::MultiLineLiteral, i += 2;
                else if (c == '"')
                    state = Lex::Basic;
                else if (c == '\'')
                    state = Lex::Literal;
                else if (inHeader)
                    break;
                else if (c == '[' || c == '{')
                    open.push_back(c);
                else if (c == ']' || c == '}') {
                    if (open.empty()) break;  // toml++ reports it
                    if (open.back() != (c == ']' ? '[' : '{'))
                        return stop(i, c == '}' ? "a '}' where an array expects a value or ']'"
                                                : "a ']' inside an inline table");
                    open.pop_back();
                }
                break;
        }
    }
    return true;
}

}  // namespace

std::string Diagnostic::format() const {
    std::ostringstream out;
    out << file;
    if (line > 0) {
        out << ':' << line;
        if (column > 0) out << ':' << column;
    }
    out << ": ";
    if (!keyPath.empty()) out << keyPath << ": ";
    out << message;
    return out.str();
}

const char* typeName(const toml::node& node) {
    switch (node.type()) {
        case toml::node_type::table:
            return "table";
        case toml::node_type::array:
            return "array";
        case toml::node_type::string:
            return "string";
        case toml::node_type::integer:
            return "integer";
        case toml::node_type::floating_point:
            return "float";
        case toml::node_type::boolean:
            return "boolean";
        case toml::node_type::date:
            return "date";
        case toml::node_type::time:
            return "time";
        case toml::node_type::date_time:
            return "date-time";
        default:
            return "nothing";
    }
}

std::optional<toml::table> parseTomlFile(const std::string& path, Diagnostics& diagnostics) {
    std::string text;
    std::string message;
    // Profiles and sessions are a few kilobytes; the bound keeps a wrong argument (a device, a
    // huge file) from exhausting memory.
    if (!hostconfig::detail::readSourceFile(path, text, message, kMaxTomlBytes)) {
        diagnostics.push_back({path, 0, 0, "", message});
        return std::nullopt;
    }
    return parseTomlText(text, path, diagnostics);
}

std::optional<toml::table> parseTomlText(std::string_view text, const std::string& path,
                                         Diagnostics& diagnostics) {
    uint32_t line = 0;
    uint32_t column = 0;
    std::string problem;
    if (!safeForToml(text, line, column, problem)) {
        diagnostics.push_back({path, line, column, "", "not valid TOML: " + problem});
        return std::nullopt;
    }
    try {
        return toml::parse(text, std::string_view(path));
    } catch (const toml::parse_error& e) {
        diagnostics.push_back({path, static_cast<uint32_t>(e.source().begin.line),
                               static_cast<uint32_t>(e.source().begin.column), "",
                               "not valid TOML: " + std::string(e.description())});
        return std::nullopt;
    }
}

TomlTable::TomlTable(const toml::table& table, std::string file, std::string keyPath,
                     Diagnostics& diagnostics)
    : mTable(&table),
      mFile(std::move(file)),
      mKeyPath(std::move(keyPath)),
      mDiagnostics(&diagnostics) {}

uint32_t TomlTable::line() const { return static_cast<uint32_t>(mTable->source().begin.line); }

uint32_t TomlTable::lineOf(std::string_view key) const {
    const toml::node* node = mTable->get(key);
    return node != nullptr ? static_cast<uint32_t>(node->source().begin.line) : line();
}

std::string TomlTable::pathOf(std::string_view key) const {
    return mKeyPath.empty() ? std::string(key) : mKeyPath + "." + std::string(key);
}

void TomlTable::errorAt(const toml::source_region& where, std::string keyPath,
                        std::string message) {
    mDiagnostics->push_back({mFile, static_cast<uint32_t>(where.begin.line),
                             static_cast<uint32_t>(where.begin.column), std::move(keyPath),
                             std::move(message)});
}

std::pair<uint32_t, uint32_t> TomlTable::positionOf(std::string_view key) const {
    const toml::node* node = mTable->get(key);
    const toml::source_region where = node != nullptr ? node->source() : mTable->source();
    return {static_cast<uint32_t>(where.begin.line), static_cast<uint32_t>(where.begin.column)};
}

void TomlTable::error(std::string_view key, std::string message) {
    const toml::node* node = mTable->get(key);
    errorAt(node != nullptr ? node->source() : mTable->source(), pathOf(key), std::move(message));
}

void TomlTable::wrongType(std::string_view key, const toml::node& node, const char* expected) {
    errorAt(node.source(), pathOf(key),
            std::string("expected ") + expected + ", got " + typeName(node));
}

const toml::node* TomlTable::find(std::string_view key, Need need) {
    mRead.emplace_back(key);
    const toml::node* node = mTable->get(key);
    if (node == nullptr && need == Need::Required) {
        errorAt(mTable->source(), pathOf(key), "missing required value");
    }
    return node;
}

std::optional<int64_t> TomlTable::integer(std::string_view key, Need need, int64_t min,
                                          int64_t max) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    const auto* value = node->as_integer();
    if (value == nullptr) {
        wrongType(key, *node, "an integer");
        return std::nullopt;
    }
    const int64_t v = value->get();
    if (v < min || v > max) {
        errorAt(node->source(), pathOf(key),
                "value " + std::to_string(v) + " out of range " + std::to_string(min) + " .. " +
                    std::to_string(max));
        return std::nullopt;
    }
    return v;
}

template <typename T>
std::optional<T> TomlTable::checkedInteger(std::string_view key, Need need) {
    auto v = integer(key, need, std::numeric_limits<T>::min(),
                     static_cast<int64_t>(std::numeric_limits<T>::max()));
    if (!v) return std::nullopt;
    return static_cast<T>(*v);
}

std::optional<int32_t> TomlTable::int32(std::string_view key, Need need) {
    return checkedInteger<int32_t>(key, need);
}
std::optional<uint32_t> TomlTable::uint32(std::string_view key, Need need) {
    return checkedInteger<uint32_t>(key, need);
}
std::optional<uint8_t> TomlTable::uint8(std::string_view key, Need need) {
    return checkedInteger<uint8_t>(key, need);
}

std::optional<bool> TomlTable::boolean(std::string_view key, Need need) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    const auto* value = node->as_boolean();
    if (value == nullptr) {
        wrongType(key, *node, "true or false");
        return std::nullopt;
    }
    return value->get();
}

std::optional<std::string> TomlTable::string(std::string_view key, Need need) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    const auto* value = node->as_string();
    if (value == nullptr) {
        wrongType(key, *node, "a string");
        return std::nullopt;
    }
    return value->get();
}

std::optional<double> TomlTable::number(std::string_view key, Need need) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    if (const auto* f = node->as_floating_point()) return f->get();
    if (const auto* i = node->as_integer()) return static_cast<double>(i->get());
    wrongType(key, *node, "a number");
    return std::nullopt;
}

std::optional<MSize> TomlTable::size(std::string_view key, Need need) {
    auto values = integerArray(key, need, 0, std::numeric_limits<int32_t>::max());
    if (!values) return std::nullopt;
    if (values->size() != 2) {
        error(key, "expected [width, height], got " + std::to_string(values->size()) + " values");
        return std::nullopt;
    }
    return MSize(static_cast<int32_t>((*values)[0]), static_cast<int32_t>((*values)[1]));
}

std::optional<std::vector<int64_t>> TomlTable::integerArray(std::string_view key, Need need,
                                                            int64_t min, int64_t max) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    const auto* array = node->as_array();
    if (array == nullptr) {
        wrongType(key, *node, "an array of integers");
        return std::nullopt;
    }
    std::vector<int64_t> values;
    bool ok = true;
    for (size_t i = 0; i < array->size(); ++i) {
        const toml::node& item = *array->get(i);
        const std::string itemPath = pathOf(key) + "[" + std::to_string(i) + "]";
        const auto* value = item.as_integer();
        if (value == nullptr) {
            errorAt(item.source(), itemPath,
                    std::string("expected an integer, got ") + typeName(item));
            ok = false;
            continue;
        }
        if (value->get() < min || value->get() > max) {
            errorAt(item.source(), itemPath,
                    "value " + std::to_string(value->get()) + " out of range " +
                        std::to_string(min) + " .. " + std::to_string(max));
            ok = false;
            continue;
        }
        values.push_back(value->get());
    }
    if (!ok) return std::nullopt;
    return values;
}

std::optional<std::vector<std::vector<int64_t>>> TomlTable::integerRows(std::string_view key,
                                                                        Need need, size_t width,
                                                                        int64_t min, int64_t max) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    const auto* array = node->as_array();
    if (array == nullptr) {
        wrongType(key, *node, "an array of arrays");
        return std::nullopt;
    }
    std::vector<std::vector<int64_t>> rows;
    bool ok = true;
    for (size_t i = 0; i < array->size(); ++i) {
        const toml::node& item = *array->get(i);
        const std::string rowPath = pathOf(key) + "[" + std::to_string(i) + "]";
        const auto* row = item.as_array();
        if (row == nullptr || row->size() != width) {
            errorAt(item.source(), rowPath,
                    "expected an array of " + std::to_string(width) + " integers");
            ok = false;
            continue;
        }
        std::vector<int64_t> values;
        for (size_t j = 0; j < row->size(); ++j) {
            const toml::node& cell = *row->get(j);
            const auto* value = cell.as_integer();
            if (value == nullptr || value->get() < min || value->get() > max) {
                errorAt(cell.source(), rowPath + "[" + std::to_string(j) + "]",
                        value == nullptr
                            ? std::string("expected an integer, got ") + typeName(cell)
                            : "value " + std::to_string(value->get()) + " out of range " +
                                  std::to_string(min) + " .. " + std::to_string(max));
                ok = false;
                continue;
            }
            values.push_back(value->get());
        }
        rows.push_back(std::move(values));
    }
    if (!ok) return std::nullopt;
    return rows;
}

std::optional<uint64_t> TomlTable::integerOrNames(
    std::string_view key, Need need, const std::vector<std::pair<const char*, uint64_t>>& names,
    bool allowArray, uint64_t max) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    auto knownNames = [&names]() {
        std::string list;
        for (const auto& [name, value] : names) {
            (void)value;
            list += list.empty() ? "" : ", ";
            list += name;
        }
        return list;
    };
    auto byName = [&](const toml::node& item, const std::string& path) -> std::optional<uint64_t> {
        const std::string name = item.as_string()->get();
        for (const auto& [known, value] : names) {
            if (name == known) return value;
        }
        errorAt(item.source(), path,
                "unknown name " + inQuotes(name) + " (known: " + knownNames() + ")");
        return std::nullopt;
    };
    if (const auto* value = node->as_integer()) {
        if (value->get() < 0 || static_cast<uint64_t>(value->get()) > max) {
            errorAt(node->source(), pathOf(key),
                    "value " + std::to_string(value->get()) + " out of range 0 .. " +
                        std::to_string(max));
            return std::nullopt;
        }
        return static_cast<uint64_t>(value->get());
    }
    if (node->is_string()) return byName(*node, pathOf(key));
    const auto* array = node->as_array();
    if (!allowArray || array == nullptr) {
        wrongType(key, *node,
                  allowArray ? "an integer, a name or an array of names" : "an integer or a name");
        return std::nullopt;
    }
    uint64_t bits = 0;
    bool ok = true;
    for (size_t i = 0; i < array->size(); ++i) {
        const toml::node& item = *array->get(i);
        const std::string itemPath = pathOf(key) + "[" + std::to_string(i) + "]";
        if (!item.is_string()) {
            errorAt(item.source(), itemPath, std::string("expected a name, got ") + typeName(item));
            ok = false;
            continue;
        }
        auto value = byName(item, itemPath);
        if (!value) {
            ok = false;
            continue;
        }
        bits |= *value;
    }
    if (!ok) return std::nullopt;
    return bits;
}

std::optional<TomlTable> TomlTable::table(std::string_view key, Need need) {
    const toml::node* node = find(key, need);
    if (node == nullptr) return std::nullopt;
    const auto* sub = node->as_table();
    if (sub == nullptr) {
        wrongType(key, *node, "a table");
        return std::nullopt;
    }
    return TomlTable(*sub, mFile, pathOf(key), *mDiagnostics);
}

std::vector<TomlTable> TomlTable::tables(std::string_view key, Need need) {
    std::vector<TomlTable> result;
    const toml::node* node = find(key, need);
    if (node == nullptr) return result;
    const auto* array = node->as_array();
    if (array == nullptr) {
        wrongType(key, *node, "an array of tables");
        return result;
    }
    for (size_t i = 0; i < array->size(); ++i) {
        const toml::node& item = *array->get(i);
        const std::string itemPath = pathOf(key) + "[" + std::to_string(i) + "]";
        const auto* sub = item.as_table();
        if (sub == nullptr) {
            errorAt(item.source(), itemPath,
                    std::string("expected a table, got ") + typeName(item));
            continue;
        }
        result.emplace_back(*sub, mFile, itemPath, *mDiagnostics);
    }
    return result;
}

void TomlTable::finish() {
    for (const auto& [key, node] : *mTable) {
        const std::string_view name = key.str();
        if (std::find(mRead.begin(), mRead.end(), name) != mRead.end()) continue;
        std::string message = "unknown key " + inQuotes(name);
        const std::string* best = nullptr;
        size_t bestDistance = 3;  // suggest only close spellings
        for (const auto& known : mRead) {
            const size_t distance = editDistance(name, known);
            if (distance < bestDistance) {
                bestDistance = distance;
                best = &known;
            }
        }
        if (best != nullptr) message += " (did you mean " + inQuotes(*best) + "?)";
        errorAt(key.source().begin.line > 0 ? key.source() : node.source(), pathOf(name),
                std::move(message));
    }
}

}  // namespace custsim
