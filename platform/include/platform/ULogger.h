#pragma once

#include <cstdint>

namespace NSCam {
namespace Utils {
namespace ULog {

// The platform's unified camera logger.
class ULogger {
public:
    // Detail level: warnings need 2, info 3, debug 5.
    static int32_t sDetailsLevel;
    // Debug messages also need every bit of the policies' detail mask here.
    static uint32_t sNormalDetailsMask;
    // Destinations: bit 1 the Android log, bits 2 and 8 the unified logger.
    static uint32_t sMode;
    // The unified logger object, or null.
    static ULogger* sULogger;

    // Receives one formatted message: `text` is NUL-terminated, `length` is what formatting reported
    // (it may exceed the buffer when the text was truncated).
    void print(uint32_t moduleId, const char* tag, int32_t level, const char* text, int32_t length);
};

}  // namespace ULog
}  // namespace Utils
}  // namespace NSCam
