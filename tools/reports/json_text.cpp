#include "json_text.h"

#include <cstdio>

namespace custsim {

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
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
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\u%04x",
                                  static_cast<unsigned char>(c));
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
