#include "host_config_parser.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

// A single pass over the text, one line at a time, with plain pointer scanning: loading a large
// configuration is bounded by the hash insertions, not by the parsing.

namespace hostconfig::detail {

namespace {

constexpr char kCommentStart = '#';
constexpr char kBracketOpen = '[';
constexpr char kBracketClose = ']';
constexpr char kAssign = '=';
constexpr char kSeparator = ',';
constexpr char kQuote = '"';
constexpr char kEscape = '\\';
constexpr char kMinus = '-';
constexpr char kLineEnd = '\n';
constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

constexpr uint64_t kDecimalBase = 10;
constexpr uint64_t kHexBase = 16;
constexpr uint64_t kHexDigitOffset = 10;  // 'a' stands for 10
// The magnitudes that a value may reach: hex is a 32-bit pattern, decimal a signed 32-bit value.
constexpr uint64_t kMaxHexMagnitude = std::numeric_limits<uint32_t>::max();
constexpr uint64_t kMaxPositiveMagnitude = std::numeric_limits<int32_t>::max();
constexpr uint64_t kMaxNegativeMagnitude = kMaxPositiveMagnitude + 1;
constexpr int64_t kTwoToThe32 = int64_t{1} << 32;
// Row indices: keys of at most this many digits; a locale's index leaves room for this many gaps.
constexpr size_t kMaxRowIndexDigits = 9;
constexpr size_t kRowIndexSlack = 64;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

const char* skipBlanks(const char* p, const char* end) {
    while (p < end && isBlank(*p)) ++p;
    return p;
}

const char* trimBlanksBack(const char* begin, const char* end) {
    while (end > begin && isBlank(end[-1])) --end;
    return end;
}

const char* findChar(const char* p, const char* end, char c) {
    const void* found = std::memchr(p, c, static_cast<size_t>(end - p));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

bool holdsNul(std::string_view text) { return text.find('\0') != std::string_view::npos; }

// The value of a digit in `base`, or `base` itself when `c` is not one.
uint64_t digitValue(char c, uint64_t base) {
    uint64_t value = base;
    if (c >= '0' && c <= '9') {
        value = static_cast<uint64_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
        value = static_cast<uint64_t>(c - 'a') + kHexDigitOffset;
    } else if (c >= 'A' && c <= 'F') {
        value = static_cast<uint64_t>(c - 'A') + kHexDigitOffset;
    }
    return value < base ? value : base;
}

// Reads digits of `base` into `magnitude`, which stops growing once it passes every limit, so that
// any number of digits is read without overflow and still reported as out of range.
const char* scanDigits(const char* p, const char* end, uint64_t base, uint64_t& magnitude) {
    magnitude = 0;
    for (; p < end; ++p) {
        const uint64_t digit = digitValue(*p, base);
        if (digit == base) break;
        if (magnitude <= kMaxHexMagnitude) magnitude = magnitude * base + digit;
    }
    return p;
}

// The signed value of a 32-bit pattern.
int32_t int32FromPattern(uint64_t pattern) {
    const auto wide = static_cast<int64_t>(pattern);
    return static_cast<int32_t>(pattern > kMaxPositiveMagnitude ? wide - kTwoToThe32 : wide);
}

// The row index that `key` spells: "0", or decimal digits without a leading zero, at most
// kMaxRowIndexDigits of them.
bool keyIsRowIndex(std::string_view key, size_t& index) {
    if (key.empty() || key.size() > kMaxRowIndexDigits) return false;
    if (key[0] == '0' && key.size() > 1) return false;
    size_t value = 0;
    for (const char c : key) {
        if (c < '0' || c > '9') return false;
        value = value * kDecimalBase + static_cast<size_t>(c - '0');
    }
    index = value;
    return true;
}

bool isHexPrefix(const char* p, const char* end) {
    return end - p >= 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X');
}

class Parser {
public:
    explicit Parser(Config& config) : mConfig(config) {}
    LoadResult run();

private:
    bool parseLine();
    bool parseBracketLine(const char* open);
    bool parseSectionHeader(const char* open, const char* close);
    bool parseEntry(const char* start);
    bool parseQuotedName(const char* open, std::string_view& name, const char*& after);
    bool parseValues(const char* p);
    bool parseValue(const char*& p, int32_t& value);
    bool addEntry(std::string_view name, const char* nameStart, size_t offset);
    static void indexRows(LocaleGroup& group);
    LocaleGroup& localeGroup(std::string_view locale);
    bool fail(const char* at, std::string message);
    const char* contentEnd() const { return trimBlanksBack(mLineBegin, mLineEnd); }

    Config& mConfig;
    Table* mTable = nullptr;
    std::string_view mTableName;
    // The group of the previous entry: rows of one locale usually stand together.
    LocaleGroup* mGroup = nullptr;
    std::string_view mGroupLocale;
    const char* mLineBegin = nullptr;
    const char* mLineEnd = nullptr;
    int32_t mLineNumber = 0;
    LoadResult mResult;
};

LoadResult Parser::run() {
    mResult.source = mConfig.source;
    std::string_view text = mConfig.text;
    if (text.substr(0, kUtf8ByteOrderMark.size()) == kUtf8ByteOrderMark) {
        text.remove_prefix(kUtf8ByteOrderMark.size());
    }
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p < end) {
        ++mLineNumber;
        mLineBegin = p;
        mLineEnd = findChar(p, end, kLineEnd);
        if (!parseLine()) return mResult;
        p = mLineEnd < end ? mLineEnd + 1 : end;
    }
    mResult.ok = true;
    mResult.tableCount = static_cast<int32_t>(mConfig.tables.size());
    for (auto& [name, table] : mConfig.tables) {
        mResult.entryCount += table.entryCount;
        for (auto& [locale, group] : table.locales) indexRows(group);
    }
    return mResult;
}

void Parser::indexRows(LocaleGroup& group) {
    // Sized for the keys that a dense locale has, with room for a few gaps; a key far beyond it
    // stays reachable through the hash.
    const size_t limit = 2 * group.keys.size() + kRowIndexSlack;
    size_t size = 0;
    for (const auto& [key, entry] : group.keys) {
        size_t index = 0;
        if (keyIsRowIndex(key, index) && index < limit) size = std::max(size, index + 1);
    }
    group.rowsByIndex.assign(size, nullptr);
    for (const auto& [key, entry] : group.keys) {
        size_t index = 0;
        if (keyIsRowIndex(key, index) && index < size) group.rowsByIndex[index] = &entry;
    }
}

bool Parser::parseLine() {
    const char* start = skipBlanks(mLineBegin, mLineEnd);
    if (start == mLineEnd || *start == kCommentStart) return true;
    if (*start == kBracketOpen) return parseBracketLine(start);
    return parseEntry(start);
}

// A line that starts with '[' is a section header when its first ']' ends the line (or starts a
// comment); otherwise, when it holds '=', it is an entry of a locale that starts with '[' or of
// the empty locale ("[0] = 1").
bool Parser::parseBracketLine(const char* open) {
    const char* close = findChar(open + 1, mLineEnd, kBracketClose);
    const char* afterClose = close < mLineEnd ? skipBlanks(close + 1, mLineEnd) : mLineEnd;
    if (close < mLineEnd && (afterClose == mLineEnd || *afterClose == kCommentStart)) {
        return parseSectionHeader(open, close);
    }
    if (findChar(open, mLineEnd, kAssign) < mLineEnd) return parseEntry(open);
    if (close == mLineEnd) {
        return fail(contentEnd(), "unterminated section header: expected ']'");
    }
    return fail(afterClose, "expected end of line after the section header");
}

bool Parser::parseSectionHeader(const char* open, const char* close) {
    const char* nameBegin = skipBlanks(open + 1, close);
    const std::string_view name(nameBegin,
                                static_cast<size_t>(trimBlanksBack(nameBegin, close) - nameBegin));
    if (name.empty()) return fail(open + 1, "expected a table name between '[' and ']'");
    if (holdsNul(name)) return fail(nameBegin, "unexpected NUL character in the table name");
    // A table may be continued by a later section of the same name; duplicates are still refused.
    mTable = &mConfig.tables[name];
    mTableName = name;
    mGroup = nullptr;
    return true;
}

bool Parser::parseEntry(const char* start) {
    if (mTable == nullptr) return fail(start, "entry before any [TableName] section header");
    std::string_view name;
    const char* assign = nullptr;
    if (*start == kQuote) {
        const char* afterQuote = nullptr;
        if (!parseQuotedName(start, name, afterQuote)) return false;
        assign = skipBlanks(afterQuote, mLineEnd);
        if (assign == mLineEnd || *assign != kAssign) {
            return fail(assign, "expected '=' after the entry name");
        }
    } else {
        assign = findChar(start, mLineEnd, kAssign);
        if (assign == mLineEnd) return fail(contentEnd(), "expected '=' after the entry name");
        name = std::string_view(start, static_cast<size_t>(trimBlanksBack(start, assign) - start));
    }
    std::string_view locale;
    std::string_view key;
    if (!splitEntryName(name, locale, key)) {
        return fail(start, "expected an entry name of the form Locale[key]");
    }
    if (key.empty()) return fail(start, "expected a key between '[' and ']'");
    if (holdsNul(name)) return fail(start, "unexpected NUL character in the entry name");
    const size_t offset = mConfig.values.size();
    if (!parseValues(assign + 1)) return false;
    return addEntry(name, start, offset);
}

// "..." with \" and \\ as the only escapes: the way to write a name with leading or trailing
// blanks, '=', or a leading '#' or '"'.
bool Parser::parseQuotedName(const char* open, std::string_view& name, const char*& after) {
    std::string unescaped;
    bool hasEscapes = false;
    const char* segment = open + 1;
    const char* p = open + 1;
    while (p < mLineEnd && *p != kQuote) {
        if (*p != kEscape) {
            ++p;
            continue;
        }
        if (p + 1 == mLineEnd || (p[1] != kQuote && p[1] != kEscape)) {
            return fail(p, "unknown escape in a quoted name: expected \\\" or \\\\");
        }
        unescaped.append(segment, p);
        unescaped.push_back(p[1]);
        hasEscapes = true;
        p += 2;
        segment = p;
    }
    if (p == mLineEnd) return fail(contentEnd(), "unterminated quoted name: expected '\"'");
    after = p + 1;
    if (!hasEscapes) {
        name = std::string_view(open + 1, static_cast<size_t>(p - open - 1));
        return true;
    }
    unescaped.append(segment, p);
    mConfig.unescapedNames.push_back(std::move(unescaped));
    name = mConfig.unescapedNames.back();
    return true;
}

bool Parser::parseValues(const char* p) {
    const char* expectation = "expected a value after '='";
    for (;;) {
        p = skipBlanks(p, mLineEnd);
        if (p == mLineEnd || *p == kCommentStart) return fail(p, expectation);
        int32_t value = 0;
        if (!parseValue(p, value)) return false;
        mConfig.values.push_back(value);
        p = skipBlanks(p, mLineEnd);
        if (p == mLineEnd || *p == kCommentStart) return true;
        if (*p != kSeparator) return fail(p, "expected ',' or end of line after a value");
        ++p;
        expectation = "expected a value after ','";
    }
}

bool Parser::parseValue(const char*& p, int32_t& value) {
    const char* const start = p;
    const bool negative = *p == kMinus;
    if (negative) ++p;
    uint64_t magnitude = 0;
    if (isHexPrefix(p, mLineEnd)) {
        if (negative) return fail(start, "expected a value: hexadecimal values take no sign");
        const char* digitsEnd = scanDigits(p + 2, mLineEnd, kHexBase, magnitude);
        if (digitsEnd == p + 2) return fail(start, "expected hexadecimal digits after '0x'");
        if (magnitude > kMaxHexMagnitude) {
            return fail(start, "value out of range: hexadecimal values go up to 0xFFFFFFFF");
        }
        value = int32FromPattern(magnitude);
        p = digitsEnd;
        return true;
    }
    const char* digitsEnd = scanDigits(p, mLineEnd, kDecimalBase, magnitude);
    if (digitsEnd == p) return fail(start, "expected a value: a decimal or 0x-hex integer");
    if (magnitude > (negative ? kMaxNegativeMagnitude : kMaxPositiveMagnitude)) {
        return fail(start, "value out of range: expected -2147483648 to 2147483647");
    }
    const auto wide = static_cast<int64_t>(magnitude);
    value = static_cast<int32_t>(negative ? -wide : wide);
    p = digitsEnd;
    return true;
}

bool Parser::addEntry(std::string_view name, const char* nameStart, size_t offset) {
    std::string_view locale;
    std::string_view key;
    splitEntryName(name, locale, key);
    const Entry entry{offset, static_cast<int32_t>(mConfig.values.size() - offset), mLineNumber};
    const auto [existing, inserted] = localeGroup(locale).keys.try_emplace(key, entry);
    if (!inserted) {
        return fail(nameStart, "duplicate entry '" + std::string(name) + "' in table '" +
                                   std::string(mTableName) + "' (first defined on line " +
                                   std::to_string(existing->second.line) + ")");
    }
    ++mTable->entryCount;
    return true;
}

LocaleGroup& Parser::localeGroup(std::string_view locale) {
    if (mGroup == nullptr || locale != mGroupLocale) {
        mGroup = &mTable->locales[locale];
        mGroupLocale = locale;
    }
    return *mGroup;
}

bool Parser::fail(const char* at, std::string message) {
    mResult.ok = false;
    mResult.line = mLineNumber;
    mResult.column = static_cast<int32_t>(at - mLineBegin) + 1;
    mResult.message = std::move(message);
    return false;
}

}  // namespace

bool splitEntryName(std::string_view fullName, std::string_view& locale, std::string_view& key) {
    if (fullName.empty() || fullName.back() != kBracketClose) return false;
    const size_t open = fullName.rfind(kBracketOpen);
    if (open == std::string_view::npos) return false;
    locale = fullName.substr(0, open);
    key = fullName.substr(open + 1, fullName.size() - open - 2);
    return true;
}

LoadResult parseConfig(Config& config) { return Parser(config).run(); }

bool rowIndexOfKey(const char* key, size_t& index) {
    size_t length = 0;
    while (length <= kMaxRowIndexDigits && key[length] != '\0') ++length;
    return keyIsRowIndex(std::string_view(key, length), index);
}

}  // namespace hostconfig::detail
