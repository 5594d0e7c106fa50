#include "host_config_parser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
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
constexpr char kLineFeed = '\n';
constexpr char kCarriageReturn = '\r';
constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";
// Byte-order marks of UTF-16, little and big endian: a file saved by an editor in "Unicode".
constexpr std::string_view kUtf16LeByteOrderMark = "\xFF\xFE";
constexpr std::string_view kUtf16BeByteOrderMark = "\xFE\xFF";
constexpr size_t kReadChunkBytes = size_t{1} << 16;

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

// Splits a text into lines at "\n", "\r\n" or a lone "\r" (old Mac line ends), in one pass.
class LineSplitter {
public:
    explicit LineSplitter(std::string_view text)
        : mNext(text.data()), mEnd(text.data() + text.size()) {}

    bool next(const char*& begin, const char*& end) {
        if (mNext >= mEnd) return false;
        begin = mNext;
        if (mLineFeed == nullptr || mLineFeed < mNext) mLineFeed = findChar(mNext, mEnd, kLineFeed);
        if (mCarriageReturn == nullptr || mCarriageReturn < mNext)
            mCarriageReturn = findChar(mNext, mEnd, kCarriageReturn);
        end = std::min(mLineFeed, mCarriageReturn);
        const bool crLf = end == mCarriageReturn && end + 1 < mEnd && end[1] == kLineFeed;
        mNext = end < mEnd ? end + (crLf ? 2 : 1) : mEnd;
        return true;
    }

private:
    const char* mNext;
    const char* mEnd;
    // The next line feed and carriage return at or after mNext (mEnd when none; null before the
    // first search), searched again only once passed, so that a file with only one kind of line
    // end is still read in one pass.
    const char* mLineFeed = nullptr;
    const char* mCarriageReturn = nullptr;
};

// The length of the UTF-8 sequence that starts with `lead`, or 0 when no sequence starts so.
size_t utf8SequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

// True when the sequence of `length` bytes at `p` (lead byte checked) is well-formed UTF-8: no
// overlong form, no surrogate, nothing above U+10FFFF.
bool isWellFormedSequence(const unsigned char* p, size_t length) {
    for (size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80) return false;
    }
    if (length == 3) {
        if (p[0] == 0xE0 && p[1] < 0xA0) return false;  // overlong
        if (p[0] == 0xED && p[1] > 0x9F) return false;  // surrogate
    }
    if (length == 4) {
        if (p[0] == 0xF0 && p[1] < 0x90) return false;  // overlong
        if (p[0] == 0xF4 && p[1] > 0x8F) return false;  // above U+10FFFF
    }
    return true;
}

// The offset of the first byte that keeps `text` from being UTF-8 text (a NUL, or a byte that
// starts no well-formed sequence), or npos.
size_t firstNonTextByte(std::string_view text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    size_t i = 0;
    while (i < text.size()) {
        if (bytes[i] == 0) return i;
        const size_t length = utf8SequenceLength(bytes[i]);
        if (length == 0 || length > text.size() - i || !isWellFormedSequence(bytes + i, length)) {
            return i;
        }
        i += length;
    }
    return std::string_view::npos;
}

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
    bool addEntry(std::string_view name, const char* nameStart, size_t offset, size_t valuesAt);
    static void indexRows(LocaleGroup& group);
    LocaleGroup& localeGroup(std::string_view locale);
    void useScratchTable();
    bool checkText(std::string_view text);
    bool fail(const char* at, std::string message);
    bool failAtOffset(size_t offset, std::string message);
    const char* contentEnd() const { return trimBlanksBack(mLineBegin, mLineEnd); }

    Config& mConfig;
    Table* mTable = nullptr;
    Table mScratchTable;  // entries whose table is unknown: checked, never kept
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
    if (!checkText(text)) return mResult;
    LineSplitter lines(text);
    while (lines.next(mLineBegin, mLineEnd)) {
        ++mLineNumber;
        parseLine();
    }
    if (!mResult.problems.empty()) return mResult;
    mResult.ok = true;
    mResult.tableCount = static_cast<int32_t>(mConfig.tables.size());
    for (auto& [name, table] : mConfig.tables) {
        mResult.entryCount += table.entryCount;
        for (auto& [locale, group] : table.locales) indexRows(group);
    }
    return mResult;
}

// A file that is not UTF-8 text is refused as a whole, before any line is read: its "lines" would
// only give a misleading syntax error.
bool Parser::checkText(std::string_view text) {
    const std::string_view whole = mConfig.text;
    if (whole.substr(0, kUtf16LeByteOrderMark.size()) == kUtf16LeByteOrderMark ||
        whole.substr(0, kUtf16BeByteOrderMark.size()) == kUtf16BeByteOrderMark) {
        return failAtOffset(0, "the file is UTF-16 text, not UTF-8: save it as UTF-8");
    }
    const size_t bad = firstNonTextByte(text);
    if (bad == std::string_view::npos) return true;
    const size_t offset = static_cast<size_t>(text.data() - whole.data()) + bad;
    if (whole[offset] == '\0') {
        return failAtOffset(offset,
                            "the file is not text: it holds a NUL byte (binary data, or UTF-16)");
    }
    char hex[8];
    std::snprintf(hex, sizeof hex, "0x%02X", static_cast<unsigned char>(whole[offset]));
    return failAtOffset(offset, std::string("the file is not UTF-8 text: byte ") + hex +
                                    " starts no UTF-8 character");
}

// Reports a problem at a byte offset of the text, counting lines the way the parser does.
bool Parser::failAtOffset(size_t offset, std::string message) {
    LineSplitter lines(mConfig.text);
    int32_t number = 0;
    while (lines.next(mLineBegin, mLineEnd)) {
        ++number;
        if (mLineEnd >= mConfig.text.data() + offset) break;
    }
    mLineNumber = number;
    return fail(mConfig.text.data() + offset, std::move(message));
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
    mGroup = nullptr;
    if (name.empty()) {
        useScratchTable();
        return fail(open + 1, "expected a table name between '[' and ']'");
    }
    // A table may be continued by a later section of the same name; duplicates are still refused.
    mTable = &mConfig.tables[name];
    if (mTable->line == 0) mTable->line = mLineNumber;
    mTableName = name;
    return true;
}

// After a section header that could not be read, or an entry before the first one, the entries
// that follow are still checked, into a table that is never kept: their own problems are reported,
// and none of them is blamed on a table they do not belong to.
void Parser::useScratchTable() {
    mTable = &mScratchTable;
    mTableName = "";
    mGroup = nullptr;
}

bool Parser::parseEntry(const char* start) {
    if (mTable == nullptr) {
        useScratchTable();
        return fail(start, "entry before any [TableName] section header");
    }
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
    const size_t offset = mConfig.values.size();
    if (!parseValues(assign + 1)) {
        mConfig.values.resize(offset);
        return false;
    }
    return addEntry(name, start, offset, static_cast<size_t>(assign + 1 - mConfig.text.data()));
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

bool Parser::addEntry(std::string_view name, const char* nameStart, size_t offset,
                      size_t valuesAt) {
    std::string_view locale;
    std::string_view key;
    splitEntryName(name, locale, key);
    const Entry entry{offset, static_cast<int32_t>(mConfig.values.size() - offset), mLineNumber,
                      valuesAt};
    const auto [existing, inserted] = localeGroup(locale).keys.try_emplace(key, entry);
    if (!inserted) {
        return fail(nameStart, "duplicate entry '" + printableName(name) + "' in table '" +
                                   printableName(mTableName) + "' (first defined on line " +
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

// Records a problem of the current line; parsing goes on with the next line.
bool Parser::fail(const char* at, std::string message) {
    mResult.ok = false;
    if (static_cast<int32_t>(mResult.problems.size()) >= kMaxListedProblems) {
        ++mResult.unlistedProblems;
        return false;
    }
    const int32_t column = static_cast<int32_t>(at - mLineBegin) + 1;
    if (mResult.problems.empty()) {
        mResult.line = mLineNumber;
        mResult.column = column;
        mResult.message = message;
    }
    mResult.problems.push_back({mLineNumber, column, std::move(message)});
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

namespace {

std::string systemError(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

// Why a file of this kind cannot be a configuration, or "" for a regular file.
std::string nonRegularFileError(const struct stat& status) {
    if (S_ISREG(status.st_mode)) return "";
    if (S_ISDIR(status.st_mode)) return "is a directory, not a configuration file";
    return "is not a regular file (a device, a pipe or a socket): give the configuration file";
}

constexpr size_t kMebibyte = size_t{1} << 20;

std::string sizeLimitError(size_t maxBytes) {
    if (maxBytes == kMaxSourceBytes) return "the file is larger than 1 GiB";
    return "the file is larger than " + std::to_string(maxBytes / kMebibyte) + " MiB";
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

bool readSourceFile(const std::string& path, std::string& text, std::string& message,
                    size_t maxBytes) {
    // Opened without blocking, so that a pipe with no writer is refused instead of waited on.
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        message = systemError("cannot open the file");
        return false;
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        message = systemError("cannot read the file");
        close(descriptor);
        return false;
    }
    message = nonRegularFileError(status);
    const std::unique_ptr<std::FILE, FileCloser> file(message.empty() ? fdopen(descriptor, "rb")
                                                                      : nullptr);
    if (file == nullptr) {
        if (message.empty()) message = systemError("cannot read the file");
        close(descriptor);
        return false;
    }
    const auto size = static_cast<uint64_t>(status.st_size);
    if (size > maxBytes) {
        message = sizeLimitError(maxBytes);
        return false;
    }
    text.reserve(static_cast<size_t>(size));
    std::unique_ptr<char[]> chunk(new char[kReadChunkBytes]);
    size_t got = 0;
    // The file may grow while it is read: the bound holds whatever its size was.
    while ((got = std::fread(chunk.get(), 1, kReadChunkBytes, file.get())) > 0) {
        if (text.size() + got > maxBytes) {
            message = sizeLimitError(maxBytes);
            return false;
        }
        text.append(chunk.get(), got);
    }
    if (std::ferror(file.get()) != 0) {
        message = systemError("cannot read the file");
        return false;
    }
    return true;
}

namespace {

constexpr std::string_view kEllipsis = "...";
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kDelete = 0x7F;
// UTF-8 C1 control characters (U+0080..U+009F) are 0xC2 followed by 0x80..0x9F; terminals act on
// some of them (0x9B starts a control sequence) as on ESC.
constexpr unsigned char kC1Lead = 0xC2;
constexpr unsigned char kC1Last = 0x9F;

void appendEscapedByte(std::string& out, unsigned char byte) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02X", byte);
    out += hex;
}

// Where a cut at `limit` bytes falls without splitting a UTF-8 sequence.
size_t cutPoint(std::string_view name, size_t limit) {
    size_t cut = limit;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    return cut;
}

}  // namespace

std::string printableName(std::string_view name) {
    const bool cut = name.size() > kMaxShownNameBytes;
    const std::string_view shown = cut ? name.substr(0, cutPoint(name, kMaxShownNameBytes)) : name;
    std::string out;
    out.reserve(shown.size());
    for (size_t i = 0; i < shown.size(); ++i) {
        const auto byte = static_cast<unsigned char>(shown[i]);
        const bool c1 = byte == kC1Lead && i + 1 < shown.size() &&
                        static_cast<unsigned char>(shown[i + 1]) <= kC1Last &&
                        static_cast<unsigned char>(shown[i + 1]) >= 0x80;
        if (c1) {
            appendEscapedByte(out, byte);
            appendEscapedByte(out, static_cast<unsigned char>(shown[++i]));
        } else if (byte < kFirstPrintable || byte == kDelete) {
            appendEscapedByte(out, byte);
        } else {
            out.push_back(shown[i]);
        }
    }
    if (cut) out += kEllipsis;
    return out;
}

std::vector<std::string_view> writtenValues(const Config& config, const Entry& entry) {
    std::vector<std::string_view> values;
    const char* p = config.text.data() + entry.valuesAt;
    const char* const end = config.text.data() + config.text.size();
    for (int32_t i = 0; i < entry.width && p < end; ++i) {
        p = skipBlanks(p, end);
        const char* valueEnd = p;
        while (valueEnd < end && *valueEnd != kSeparator && !isBlank(*valueEnd) &&
               *valueEnd != kLineFeed && *valueEnd != kCommentStart) {
            ++valueEnd;
        }
        values.emplace_back(p, static_cast<size_t>(valueEnd - p));
        if (i + 1 == entry.width) break;
        // The entry parsed, so a separator follows on the same line.
        p = findChar(valueEnd, end, kSeparator) + 1;
    }
    return values;
}

bool rowIndexOfKey(const char* key, size_t& index) {
    size_t length = 0;
    while (length <= kMaxRowIndexDigits && key[length] != '\0') ++length;
    return keyIsRowIndex(std::string_view(key, length), index);
}

}  // namespace hostconfig::detail
