#include "reports/text_escape.h"

#include <cstdint>
#include <cstdio>

namespace custsim {

namespace {

constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kDelete = 0x7F;
constexpr uint32_t kFirstC1 = 0x80;
constexpr uint32_t kLastC1 = 0x9F;

// Code points that reorder the text around them on a terminal or in an editor (the bidi
// controls: marks, embeddings, overrides and isolates).
bool isBidiControl(uint32_t c) {
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

void appendByte(std::string& out, unsigned char byte) {
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02X", byte);
    out += hex;
}

void appendCodePoint(std::string& out, uint32_t c) {
    char hex[12];
    std::snprintf(hex, sizeof hex, "\\u%04X", static_cast<unsigned>(c));
    out += hex;
}

}  // namespace

size_t decodeUtf8(std::string_view text, size_t at, uint32_t& c) {
    const auto lead = static_cast<unsigned char>(text[at]);
    size_t length = 0;
    uint32_t min = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, c = lead & 0x1F, min = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, c = lead & 0x0F, min = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, c = lead & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (text.size() - at < length) return 0;
    for (size_t k = 1; k < length; ++k) {
        const auto next = static_cast<unsigned char>(text[at + k]);
        if ((next & 0xC0) != 0x80) return 0;
        c = (c << 6) | (next & 0x3F);
    }
    if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return 0;
    return length;
}

std::string terminalText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80) {
            if (byte < kFirstPrintable || byte == kDelete) {
                appendByte(out, byte);
            } else {
                out.push_back(text[i]);
            }
            ++i;
            continue;
        }
        uint32_t c = 0;
        const size_t length = decodeUtf8(text, i, c);
        if (length == 0) {
            appendByte(out, byte);
            ++i;
            continue;
        }
        // C1 controls (0x9B starts a control sequence on some terminals, as ESC [ does).
        if ((c >= kFirstC1 && c <= kLastC1) || isBidiControl(c)) {
            appendCodePoint(out, c);
        } else {
            out.append(text.substr(i, length));
        }
        i += length;
    }
    return out;
}

}  // namespace custsim
