#include "reports/expect_writer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>

#include "reports/number_text.h"

namespace custsim {

namespace {

constexpr char kExpectHeader[] = "[[expect]]";
// The keys of an [[expect]] table after its sensor, in the order a recorded table writes them.
const char* const kExpectKeys[] = {"scenario",       "fps",   "sensor_size", "rrzo_size",
                                   "seamless_flags", "table", "key"};

std::string tomlString(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\u%04x", static_cast<unsigned char>(c));
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string tomlSize(MSize size) {
    return "[" + std::to_string(size.w) + ", " + std::to_string(size.h) + "]";
}

// Where the lexer is at the start of a line: only a line that starts outside strings and arrays
// can be a table header.
struct LexState {
    enum class Mode { Normal, MultiLineBasic, MultiLineLiteral } mode = Mode::Normal;
    int depth = 0;  // open '[' of a value that spans lines
};

// Advances over one line's value text (never called for header lines).
void lexLine(const std::string& line, LexState& state) {
    using Mode = LexState::Mode;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (state.mode == Mode::MultiLineBasic) {
            if (c == '\\') {
                ++i;
            } else if (line.compare(i, 3, "\"\"\"") == 0) {
                state.mode = Mode::Normal;
                i += 2;
            }
            continue;
        }
        if (state.mode == Mode::MultiLineLiteral) {
            if (line.compare(i, 3, "'''") == 0) {
                state.mode = Mode::Normal;
                i += 2;
            }
            continue;
        }
        if (c == '#') return;
        if (line.compare(i, 3, "\"\"\"") == 0) {
            state.mode = Mode::MultiLineBasic;
            i += 2;
        } else if (line.compare(i, 3, "'''") == 0) {
            state.mode = Mode::MultiLineLiteral;
            i += 2;
        } else if (c == '"') {
            for (++i; i < line.size() && line[i] != '"'; ++i) {
                if (line[i] == '\\') ++i;
            }
        } else if (c == '\'') {
            for (++i; i < line.size() && line[i] != '\''; ++i) {
            }
        } else if (c == '[') {
            ++state.depth;
        } else if (c == ']' && state.depth > 0) {
            --state.depth;
        }
    }
}

std::string trimmed(const std::string& line) {
    const size_t first = line.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return "";
    return line.substr(first, line.find_last_not_of(" \t\r\n") - first + 1);
}

bool isExpectHeader(const std::string& header) {
    std::string compact;
    for (const char c : header) {
        if (c == '#') break;
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') compact += c;
    }
    return compact == kExpectHeader;
}

struct Line {
    std::string text;  // with its line ending
    bool header = false;
    bool expectHeader = false;
    bool blankOrComment = false;
};

std::vector<Line> classify(const std::string& text) {
    std::vector<Line> lines;
    LexState state;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        Line line;
        line.text = text.substr(start, end - start);
        const std::string content = trimmed(line.text);
        const bool free = state.mode == LexState::Mode::Normal && state.depth == 0;
        line.header = free && !content.empty() && content[0] == '[';
        line.expectHeader = line.header && isExpectHeader(content);
        line.blankOrComment = free && (content.empty() || content[0] == '#');
        if (!line.header) lexLine(line.text, state);
        lines.push_back(std::move(line));
        start = end;
    }
    return lines;
}

// Marks the lines of every [[expect]] table.
std::vector<bool> expectLines(const std::vector<Line>& lines) {
    std::vector<bool> inTable(lines.size(), false);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!lines[i].expectHeader) continue;
        size_t end = i + 1;
        while (end < lines.size() && !lines[end].header) ++end;
        // What lies between two expectation tables goes with them.
        const bool nextIsExpect = end < lines.size() && lines[end].expectHeader;
        while (!nextIsExpect && end > i + 1 && lines[end - 1].blankOrComment) --end;
        for (size_t j = i; j < end; ++j) inTable[j] = true;
    }
    return inTable;
}

}  // namespace

std::optional<std::string> expectValueText(const Expectation& fresh, const std::string& key) {
    if (key == "scenario" && fresh.scenario) {
        return fresh.scenario->value == kExpectNoDecision ? std::string("\"none\"")
                                                          : std::to_string(fresh.scenario->value);
    }
    if (key == "fps" && fresh.fps) return std::to_string(fresh.fps->value);
    if (key == "sensor_size" && fresh.sensorSize) return tomlSize(fresh.sensorSize->value);
    if (key == "rrzo_size" && fresh.rrzoSize) return tomlSize(fresh.rrzoSize->value);
    if (key == "seamless_flags" && fresh.seamlessFlags) return hexText(fresh.seamlessFlags->value);
    if (key == "table" && fresh.table) return tomlString(fresh.table->value);
    if (key == "key" && fresh.key) return tomlString(fresh.key->value);
    return std::nullopt;
}

std::string expectTablesText(const std::vector<Expectation>& expectations) {
    std::string text;
    for (const Expectation& expect : expectations) {
        if (!text.empty()) text += "\n";
        text += std::string(kExpectHeader) + "\n";
        text += "sensor = " + std::to_string(expect.sensor) + "\n";
        for (const char* key : kExpectKeys) {
            if (const auto value = expectValueText(expect, key))
                text += std::string(key) + " = " + *value + "\n";
        }
    }
    return text;
}

std::string replaceExpectTables(const std::string& text, const std::string& tables) {
    const std::vector<Line> lines = classify(text);
    const std::vector<bool> inTable = expectLines(lines);
    std::string out;
    bool placed = false;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!inTable[i]) {
            out += lines[i].text;
            continue;
        }
        if (!placed) out += tables;
        placed = true;
    }
    if (placed) return out;
    if (!out.empty() && out.back() != '\n') out += '\n';
    if (!out.empty() && out.compare(out.size() - std::min<size_t>(out.size(), 2), 2, "\n\n") != 0)
        out += '\n';
    return out + tables;
}

}  // namespace custsim

namespace custsim {

namespace {

bool isBlankByte(char c) { return c == ' ' || c == '\t'; }

// Offset just past a quoted string starting at `at` (its quote), or the line's end when it is
// not closed there.
size_t pastString(const std::string& text, size_t at) {
    const char quote = text[at];
    const std::string triple(3, quote);
    if (text.compare(at, 3, triple) == 0) {
        size_t i = at + 3;
        while (i < text.size() && text.compare(i, 3, triple) != 0)
            i += quote == '"' && text[i] == '\\' ? 2 : 1;
        return std::min(text.size(), i + 3);
    }
    size_t i = at + 1;
    while (i < text.size() && text[i] != quote && text[i] != '\n')
        i += quote == '"' && text[i] == '\\' ? 2 : 1;
    return std::min(text.size(), i + 1);
}

// Offset just past the value that starts at `at`: a string, an array or inline table (which may
// span lines), or a scalar running to a comment, a separator or the line's end.
size_t pastValue(const std::string& text, size_t at) {
    if (at >= text.size()) return at;
    if (text[at] == '"' || text[at] == '\'') return pastString(text, at);
    if (text[at] == '[' || text[at] == '{') {
        int depth = 0;
        size_t i = at;
        while (i < text.size()) {
            const char c = text[i];
            if (c == '"' || c == '\'') {
                i = pastString(text, i);
                continue;
            }
            if (c == '#') {
                while (i < text.size() && text[i] != '\n') ++i;
                continue;
            }
            if (c == '[' || c == '{') ++depth;
            if ((c == ']' || c == '}') && --depth == 0) return i + 1;
            ++i;
        }
        return i;
    }
    size_t end = at;
    while (end < text.size() && std::string("#,}\r\n").find(text[end]) == std::string::npos) ++end;
    while (end > at && isBlankByte(text[end - 1])) --end;
    return end;
}

// Offset of the start of line `line` (1-based), or npos.
size_t lineStartOf(const std::string& text, uint32_t line) {
    size_t at = 0;
    for (uint32_t n = 1; n < line; ++n) {
        at = text.find('\n', at);
        if (at == std::string::npos) return at;
        ++at;
    }
    return at;
}

bool isKeyByte(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
}

// Where `key = ` starts on the line at `from` (the key itself), or npos.
size_t findKey(const std::string& text, size_t from, const std::string& key) {
    const size_t lineEnd = std::min(text.find('\n', from), text.size());
    for (size_t at = text.find(key, from); at != std::string::npos && at < lineEnd;
         at = text.find(key, at + 1)) {
        if (at > from && isKeyByte(text[at - 1])) continue;
        size_t i = at + key.size();
        while (i < lineEnd && isBlankByte(text[i])) ++i;
        if (i < lineEnd && text[i] == '=') return at;
    }
    return std::string::npos;
}

// One edit of a key's value: the value replaced, or the key's line removed when the run has no
// value for it (an fps of a sensor that got no decision).
struct ValueEdit {
    uint32_t line = 0;
    std::string key;
    std::optional<std::string> value;
};

bool applyEdit(std::string& text, const ValueEdit& edit) {
    const size_t lineStart = lineStartOf(text, edit.line);
    if (lineStart == std::string::npos) return false;
    const size_t keyAt = findKey(text, lineStart, edit.key);
    if (keyAt == std::string::npos) return false;
    size_t valueAt = text.find('=', keyAt) + 1;
    while (valueAt < text.size() && isBlankByte(text[valueAt])) ++valueAt;
    const size_t valueEnd = pastValue(text, valueAt);
    if (edit.value) {
        text.replace(valueAt, valueEnd - valueAt, *edit.value);
        return true;
    }
    // Only a key alone on its line goes with its line; one inside an inline table stays unmet.
    std::string before = text.substr(lineStart, keyAt - lineStart);
    if (before.find_first_not_of(" \t") != std::string::npos) return false;
    size_t lineEnd = text.find('\n', valueEnd);
    lineEnd = lineEnd == std::string::npos ? text.size() : lineEnd + 1;
    text.erase(lineStart, lineEnd - lineStart);
    return true;
}

const Expectation* freshFor(const std::vector<Expectation>& fresh, int32_t sensor) {
    for (const Expectation& e : fresh) {
        if (e.sensor == sensor) return &e;
    }
    return nullptr;
}

}  // namespace

std::string lineEndingOf(const std::string& text) {
    const size_t newline = text.find('\n');
    return newline != std::string::npos && newline > 0 && text[newline - 1] == '\r' ? "\r\n" : "\n";
}

std::string withLineEnding(const std::string& text, const std::string& ending) {
    if (ending == "\n") return text;
    std::string out;
    for (const char c : text) {
        if (c == '\n')
            out += ending;
        else
            out += c;
    }
    return out;
}

std::string recordedText(const std::string& text, bool hasTables,
                         const std::vector<UnmetExpectation>& unmet,
                         const std::vector<Expectation>& fresh, bool everyKey) {
    const std::string ending = lineEndingOf(text);
    if (everyKey || !hasTables)
        return replaceExpectTables(text, withLineEnding(expectTablesText(fresh), ending));
    std::vector<ValueEdit> edits;
    for (const UnmetExpectation& u : unmet) {
        const Expectation* now = freshFor(fresh, u.sensor);
        if (now == nullptr) continue;
        edits.push_back({u.line, u.key, expectValueText(*now, u.key)});
    }
    // From the last line up, so that an edit never moves the lines of those still to come.
    std::stable_sort(edits.begin(), edits.end(),
                     [](const ValueEdit& a, const ValueEdit& b) { return a.line > b.line; });
    std::string out = text;
    for (const ValueEdit& edit : edits) applyEdit(out, edit);
    return out;
}

}  // namespace custsim
