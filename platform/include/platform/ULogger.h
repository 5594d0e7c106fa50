#pragma once

#include <cstdint>

namespace NSCam {
namespace Utils {
namespace ULog {

// The platform's unified camera logger. The library reads the four globals at every message,
// without synchronisation, and calls print with module id custpolicy::kULogModuleId (0x101005).
class ULogger {
public:
    // Detail level: warnings need 2, info 3, debug 5.
    static int32_t sDetailsLevel;
    // Debug messages also need every bit of the policies' detail mask here.
    static uint32_t sNormalDetailsMask;
    // Destinations: the bit value 0x1 the Android log; either of the bit values 0x2 and 0x8 the
    // unified logger (custpolicy::kLogModeAndroid, kLogModeUnified).
    static uint32_t sMode;
    // The unified logger object, or null.
    static ULogger* sULogger;

    // May be called from two threads at once when the HAL configures sensors concurrently.
    // Receives one formatted message: `text` is NUL-terminated, `length` is what formatting reported
    // (it may exceed the buffer when the text was truncated).
    void print(uint32_t moduleId, const char* tag, int32_t level, const char* text, int32_t length);
};

}  // namespace ULog
}  // namespace Utils
}  // namespace NSCam
