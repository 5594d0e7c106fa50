#include "reports/json_text.h"

#include <cstdio>

#include "reports/text_escape.h"

namespace custsim {

namespace {

constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kFirstNonAscii = 0x80;

// Where the run of bytes from `at` that JSON takes as they are (printable ASCII but the quote and
// the backslash) ends.
size_t plainAsciiRun(const std::string& text, size_t at) {
    while (at < text.size()) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte < kFirstPrintable || byte >= kFirstNonAscii || byte == '"' || byte == '\\') break;
        ++at;
    }
    return at;
}

}  // namespace

// Text that is not UTF-8 (a file name in another encoding) cannot go into JSON as it is: each
// byte outside a well-formed sequence is written as the four characters \xNN, the way a
// terminal report shows it.
std::string jsonString(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (size_t i = 0; i < text.size();) {
        // A run of printable ASCII that needs no escape goes in at once: most text is all of it.
        const size_t plain = plainAsciiRun(text, i);
        if (plain > i) {
            out.append(text, i, plain - i);
            i = plain;
            continue;
        }
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= kFirstNonAscii) {
            uint32_t codePoint = 0;
            const size_t length = decodeUtf8(text, i, codePoint);
            if (length == 0) {
                char escaped[8];
                std::snprintf(escaped, sizeof(escaped), "\\\\x%02X", byte);
                out += escaped;
                ++i;
            } else {
                out.append(text, i, length);
                i += length;
            }
            continue;
        }
        ++i;
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (byte < kFirstPrintable) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
                    out += escaped;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

std::string jsonSizeArray(MSize size) {
    return "[" + std::to_string(size.w) + ", " + std::to_string(size.h) + "]";
}

std::string jsonOptional(const std::optional<uint32_t>& value) {
    return value ? std::to_string(*value) : std::string("null");
}

}  // namespace custsim
