#include "expect_tables.h"

#include <algorithm>
#include <cstdio>

#include "number_text.h"

namespace custsim {

namespace {

constexpr char kExpectHeader[] = "[[expect]]";

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

std::string expectTablesText(const std::vector<Expectation>& expectations) {
    std::string text;
    for (const Expectation& expect : expectations) {
        if (!text.empty()) text += "\n";
        text += std::string(kExpectHeader) + "\n";
        text += "sensor = " + std::to_string(expect.sensor) + "\n";
        if (expect.scenario) {
            text += "scenario = " +
                    (expect.scenario->value == kExpectNoDecision
                         ? std::string("\"none\"")
                         : std::to_string(expect.scenario->value)) +
                    "\n";
        }
        if (expect.fps) text += "fps = " + std::to_string(expect.fps->value) + "\n";
        if (expect.sensorSize) text += "sensor_size = " + tomlSize(expect.sensorSize->value) + "\n";
        if (expect.rrzoSize) text += "rrzo_size = " + tomlSize(expect.rrzoSize->value) + "\n";
        if (expect.seamlessFlags)
            text += "seamless_flags = " + hexText(expect.seamlessFlags->value) + "\n";
        if (expect.table) text += "table = " + tomlString(expect.table->value) + "\n";
        if (expect.key) text += "key = " + tomlString(expect.key->value) + "\n";
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
