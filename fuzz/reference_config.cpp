#include "reference_config.h"

#include <optional>
#include <set>

namespace custfuzz {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr uint64_t kMaxHex = 0xFFFFFFFFu;
constexpr uint64_t kMaxPositive = 0x7FFFFFFFu;
constexpr uint64_t kMaxNegative = 0x80000000u;
// Digits stop adding to a magnitude past this, so that long numbers cannot wrap it.
constexpr uint64_t kSaturated = uint64_t{1} << 40;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view trimFront(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    return s;
}

std::string_view trimBack(std::string_view s) {
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 99;
}

// One value at the front of `s`, which is advanced past it; nullopt when malformed.
std::optional<int32_t> takeValue(std::string_view& s) {
    const bool negative = !s.empty() && s.front() == '-';
    if (negative) s.remove_prefix(1);
    const bool hex = s.size() >= 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    if (hex) {
        if (negative) return std::nullopt;
        s.remove_prefix(2);
    }
    const int base = hex ? 16 : 10;
    uint64_t magnitude = 0;
    size_t digits = 0;
    while (digits < s.size() && digitOf(s[digits]) < base) {
        magnitude =
            magnitude * static_cast<uint64_t>(base) + static_cast<uint64_t>(digitOf(s[digits]));
        if (magnitude > kSaturated) magnitude = kSaturated;
        ++digits;
    }
    if (digits == 0) return std::nullopt;
    s.remove_prefix(digits);
    if (hex) {
        if (magnitude > kMaxHex) return std::nullopt;
        return static_cast<int32_t>(static_cast<uint32_t>(magnitude));
    }
    if (magnitude > (negative ? kMaxNegative : kMaxPositive)) return std::nullopt;
    const int64_t wide =
        negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
    return static_cast<int32_t>(wide);
}

// The values after '=': one or more, comma-separated, optionally followed by a comment.
std::optional<std::vector<int32_t>> takeValues(std::string_view s) {
    std::vector<int32_t> values;
    for (;;) {
        s = trimFront(s);
        if (s.empty() || s.front() == '#') return std::nullopt;
        const std::optional<int32_t> value = takeValue(s);
        if (!value) return std::nullopt;
        values.push_back(*value);
        s = trimFront(s);
        if (s.empty() || s.front() == '#') return values;
        if (s.front() != ',') return std::nullopt;
        s.remove_prefix(1);
    }
}

// A quoted name at the front of `s` ("..." with \" and \\); `s` is left after the closing quote.
std::optional<std::string> takeQuotedName(std::string_view& s) {
    std::string name;
    size_t i = 1;
    while (i < s.size() && s[i] != '"') {
        if (s[i] == '\\') {
            if (i + 1 >= s.size() || (s[i + 1] != '"' && s[i + 1] != '\\')) return std::nullopt;
            name.push_back(s[i + 1]);
            i += 2;
        } else {
            name.push_back(s[i]);
            ++i;
        }
    }
    if (i >= s.size()) return std::nullopt;
    s.remove_prefix(i + 1);
    return name;
}

// Lines end at "\r\n", "\n" or a lone "\r".
std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\n' && text[i] != '\r') continue;
        lines.push_back(text.substr(start, i - start));
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        start = i + 1;
    }
    if (start < text.size()) lines.push_back(text.substr(start));
    return lines;
}

// True when `s` is UTF-8 text without NUL: decoded code point by code point.
bool isUtf8Text(std::string_view s) {
    size_t i = 0;
    while (i < s.size()) {
        const auto lead = static_cast<unsigned char>(s[i]);
        if (lead == 0) return false;
        size_t extra = 0;
        uint32_t code = lead;
        if (lead >= 0x80) {
            if ((lead & 0xE0) == 0xC0) {
                extra = 1;
                code = lead & 0x1Fu;
            } else if ((lead & 0xF0) == 0xE0) {
                extra = 2;
                code = lead & 0x0Fu;
            } else if ((lead & 0xF8) == 0xF0) {
                extra = 3;
                code = lead & 0x07u;
            } else {
                return false;
            }
        }
        if (i + extra >= s.size()) return false;
        for (size_t k = 1; k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(s[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            code = (code << 6) | (next & 0x3Fu);
        }
        const uint32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < smallest[extra] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return false;
        i += extra + 1;
    }
    return true;
}

// The index of the first line that is not UTF-8 text, when the whole text is not; a UTF-16 file
// (its byte-order mark) is refused on its first line.
std::optional<size_t> notTextLine(const std::vector<std::string_view>& lines,
                                  std::string_view whole) {
    if (whole.substr(0, 2) == "\xFF\xFE" || whole.substr(0, 2) == "\xFE\xFF") return 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!isUtf8Text(lines[i])) return i;
    }
    return std::nullopt;
}

class ReferenceParser {
public:
    ReferenceConfig run(std::string_view text) {
        mWhole = text;
        if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
            text.remove_prefix(kByteOrderMark.size());
        }
        std::vector<std::string_view> lines = splitLines(text);
        if (const std::optional<size_t> bad = notTextLine(lines, mWhole)) {
            mConfig.ok = false;
            mConfig.errorLine = static_cast<int32_t>(*bad) + 1;
            return mConfig;
        }
        int32_t lineNumber = 0;
        for (const std::string_view line : lines) {
            ++lineNumber;
            if (!parseLine(line)) {
                mConfig.ok = false;
                mConfig.errorLine = lineNumber;
                mConfig.tables.clear();
                return mConfig;
            }
        }
        mConfig.ok = true;
        return mConfig;
    }

private:
    bool parseLine(std::string_view line) {
        const std::string_view s = trimFront(line);
        if (s.empty() || s.front() == '#') return true;
        if (s.front() == '[') {
            const size_t close = s.find(']', 1);
            if (close != std::string_view::npos) {
                const std::string_view rest = trimFront(s.substr(close + 1));
                if (rest.empty() || rest.front() == '#') return header(s.substr(1, close - 1));
            }
            if (s.find('=') == std::string_view::npos) return false;
        }
        return entry(s);
    }

    bool header(std::string_view name) {
        name = trimBack(trimFront(name));
        if (name.empty() || name.find('\0') != std::string_view::npos) return false;
        mTable = std::string(name);
        mConfig.tables[*mTable];
        return true;
    }

    bool entry(std::string_view s) {
        if (!mTable) return false;
        std::string name;
        std::string_view valuesText;
        if (s.front() == '"') {
            const std::optional<std::string> quoted = takeQuotedName(s);
            if (!quoted) return false;
            name = *quoted;
            s = trimFront(s);
            if (s.empty() || s.front() != '=') return false;
            valuesText = s.substr(1);
        } else {
            const size_t assign = s.find('=');
            if (assign == std::string_view::npos) return false;
            name = std::string(trimBack(s.substr(0, assign)));
            valuesText = s.substr(assign + 1);
        }
        std::string locale;
        std::string key;
        if (!splitReferenceName(name, locale, key) || key.empty()) return false;
        if (name.find('\0') != std::string::npos) return false;
        const std::optional<std::vector<int32_t>> values = takeValues(valuesText);
        if (!values) return false;
        return mConfig.tables[*mTable].emplace(std::make_pair(locale, key), *values).second;
    }

    ReferenceConfig mConfig;
    std::optional<std::string> mTable;
    std::string_view mWhole;
};

}  // namespace

bool splitReferenceName(std::string_view name, std::string& locale, std::string& key) {
    if (name.empty() || name.back() != ']') return false;
    const size_t open = name.rfind('[');
    if (open == std::string_view::npos) return false;
    locale = std::string(name.substr(0, open));
    key = std::string(name.substr(open + 1, name.size() - open - 2));
    return true;
}

int32_t ReferenceConfig::entryCount() const {
    size_t count = 0;
    for (const auto& table : tables) count += table.second.size();
    return static_cast<int32_t>(count);
}

int32_t ReferenceConfig::localeKeyCount(const std::string& table, const std::string& locale) const {
    const auto found = tables.find(table);
    if (found == tables.end()) return 0;
    int32_t count = 0;
    for (const auto& entry : found->second) {
        if (entry.first.first == locale) ++count;
    }
    return count;
}

const std::vector<int32_t>* ReferenceConfig::find(const std::string& table,
                                                  const std::string& locale,
                                                  const std::string& key) const {
    const auto found = tables.find(table);
    if (found == tables.end()) return nullptr;
    const auto entry = found->second.find(std::make_pair(locale, key));
    return entry == found->second.end() ? nullptr : &entry->second;
}

std::vector<std::string> ReferenceConfig::locales() const {
    std::set<std::string> names;
    for (const auto& table : tables) {
        for (const auto& entry : table.second) names.insert(entry.first.first);
    }
    return std::vector<std::string>(names.begin(), names.end());
}

ReferenceConfig parseReferenceConfig(std::string_view text) { return ReferenceParser().run(text); }

}  // namespace custfuzz
