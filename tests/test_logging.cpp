#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>

#include "cust_log.h"
#include "host_platform.h"
#include "platform/ULogger.h"

// The unified logger formats into a heap array of 1024 bytes. Without a sanitizer nothing notices a
// write past its end, so every array of this program gets guard bytes after it, checked when it
// is freed. Under AddressSanitizer its own operators stay in place and do that check.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define CUSTPOLICY_TEST_HAS_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define CUSTPOLICY_TEST_HAS_ASAN 1
#endif

namespace {
int gArrayOverruns = 0;  // guard bytes found overwritten
}  // namespace

#if !defined(CUSTPOLICY_TEST_HAS_ASAN)
namespace {
constexpr size_t kGuardHeader = 16;  // holds the size; keeps the array's alignment
constexpr size_t kGuardBytes = 16;
constexpr unsigned char kGuardPattern = 0xA5;

void* allocateGuarded(size_t size) noexcept {
    auto* block = static_cast<unsigned char*>(std::malloc(kGuardHeader + size + kGuardBytes));
    if (block == nullptr) return nullptr;
    std::memcpy(block, &size, sizeof(size));
    std::memset(block + kGuardHeader + size, kGuardPattern, kGuardBytes);
    return block + kGuardHeader;
}

void releaseGuarded(void* array) noexcept {
    if (array == nullptr) return;
    unsigned char* block = static_cast<unsigned char*>(array) - kGuardHeader;
    size_t size = 0;
    std::memcpy(&size, block, sizeof(size));
    for (size_t i = 0; i < kGuardBytes; ++i) {
        gArrayOverruns += block[kGuardHeader + size + i] != kGuardPattern;
    }
    std::free(block);
}
}  // namespace

void* operator new[](std::size_t size) {
    void* array = allocateGuarded(size);
    if (array == nullptr) throw std::bad_alloc();
    return array;
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateGuarded(size);
}
void operator delete[](void* array) noexcept { releaseGuarded(array); }
void operator delete[](void* array, std::size_t) noexcept { releaseGuarded(array); }
void operator delete[](void* array, const std::nothrow_t&) noexcept { releaseGuarded(array); }
#endif

namespace {

using custpolicy::LogSeverity;
using NSCam::Utils::ULog::ULogger;

constexpr char kLogSourcePath[] = "tests/test_logging.cpp";
constexpr char kTag[] = "CustLogTest";
constexpr uint32_t kFullDebugMask = 0x101000;
constexpr size_t kMaxText = 1023;        // both log buffers hold 1024 bytes with the NUL
constexpr wint_t kUnencodable = 0xD800;  // "%lc" of a lone surrogate fails to format

const hostplatform::Recorded& recorded() { return hostplatform::state().recorded; }

void resetLogger(int32_t level = 5, uint32_t mask = kFullDebugMask, uint32_t mode = 0xB) {
    hostplatform::reset();
    ULogger::sDetailsLevel = level;
    ULogger::sNormalDetailsMask = mask;
    ULogger::sMode = mode;
}

void reportMissingPixelArray() {
    CUST_LOGE_LINE(kTag, 143, "[%s] no static %s", "MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE");
}

struct SeverityCase {
    LogSeverity severity;
    int32_t minLevel;
    bool needsDebugMask;
    int androidPriority;
    int32_t unifiedLevel;
    const char* why;
};
// clang-format off
const SeverityCase kSeverities[] = {
    {LogSeverity::Error, INT32_MIN, false, 6, 1, "error: always"},
    {LogSeverity::Warning, 2, false, 5, 2, "warning: from level 2"},
    {LogSeverity::Info, 3, false, 4, 3, "info: from level 3"},
    {LogSeverity::Debug, 5, true, 3, 5, "debug: from level 5 with the whole mask"},
};
// clang-format on

TEST(LoggingTest, SeverityGatesAndRoutesByDetailLevelMaskAndMode) {
    struct Mode {
        uint32_t bits;
        bool android, unified;
    };
    const Mode kModes[] = {{0x0, false, false},
                           {0x1, true, false},
                           {0x2, false, true},
                           {0x8, false, true},
                           {0xB, true, true}};
    struct Mask {
        uint32_t bits;
        bool full;
    };
    const Mask kMasks[] = {
        {kFullDebugMask, true}, {0xFFFFFFFF, true}, {0x100000, false}, {0x1000, false}};
    const std::string text = "[gatedFunction] value 7";
    for (const auto& sev : kSeverities)
        for (int32_t level = -1; level <= 6; ++level) {
            for (const Mode& mode : kModes)
                for (const Mask& mask : kMasks) {
                    SCOPED_TRACE(std::string(sev.why) + ", level " + std::to_string(level) +
                                 ", mode " + std::to_string(mode.bits) + ", mask " +
                                 std::to_string(mask.bits));
                    resetLogger(level, mask.bits, mode.bits);
                    custpolicy::logMessage(sev.severity, kTag, "gatedFunction", 42, kLogSourcePath,
                                           "[%s] value %d", "gatedFunction", 7);
                    const bool written =
                        level >= sev.minLevel && (!sev.needsDebugMask || mask.full);
                    EXPECT_EQ(custpolicy::logEnabled(sev.severity), written);
                    const auto& android = recorded().androidLog;
                    ASSERT_EQ(android.size(), written && mode.android ? 1u : 0u);
                    if (!android.empty()) {
                        EXPECT_EQ(android[0].priorityOrLevel, sev.androidPriority);
                        EXPECT_EQ(android[0].tag, kTag);
                        EXPECT_EQ(android[0].text,
                                  sev.severity != LogSeverity::Error
                                      ? text
                                      : text + " (gatedFunction){#42:tests/test_logging.cpp}");
                    }
                    const auto& unified = recorded().unifiedLog;
                    ASSERT_EQ(unified.size(), written && mode.unified ? 1u : 0u);
                    if (!unified.empty()) {
                        EXPECT_EQ(unified[0].moduleId, 0x101005u);
                        EXPECT_EQ(unified[0].tag, kTag);
                        EXPECT_EQ(unified[0].priorityOrLevel, sev.unifiedLevel);
                        EXPECT_EQ(unified[0].text, text);
                        EXPECT_EQ(unified[0].length, static_cast<int32_t>(text.size()));
                    }
                }
        }
}

TEST(LoggingTest, MacrosNameTheCallerAndOnlyErrorsGetATail) {
    resetLogger();
    reportMissingPixelArray();
    const int errorLine = __LINE__ + 1;
    CUST_LOGE(kTag, "[%s] failed with %d", -1);
    CUST_LOGW(kTag, "[%s] warned %s", "twice");
    const auto& android = recorded().androidLog;
    const auto& unified = recorded().unifiedLog;
    ASSERT_EQ(android.size(), 3u);
    ASSERT_EQ(unified.size(), 3u);
    EXPECT_EQ(android[0].text,
              unified[0].text + " (reportMissingPixelArray){#143:" + kLogSourcePath + "}");
    EXPECT_EQ(unified[0].text,
              "[reportMissingPixelArray] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE");
    EXPECT_EQ(android[1].text, "[TestBody] failed with -1 (TestBody){#" +
                                   std::to_string(errorLine) + ":tests/test_logging.cpp}");
    EXPECT_EQ(unified[1].text, "[TestBody] failed with -1");
    EXPECT_EQ(android[2].text, "[TestBody] warned twice");
    EXPECT_EQ(unified[2].text, "[TestBody] warned twice");
}

TEST(LoggingTest, LongMessagesAreCutAt1024BytesAndReportTheirFullLength) {
    const std::string tail = " (longFunction){#7:tests/test_logging.cpp}";
    const std::string prefix = "[longFunction] ";
    for (size_t length : {1000, 1022, 1023, 1024}) {  // 1000: the error tail is cut
        for (LogSeverity severity : {LogSeverity::Error, LogSeverity::Info}) {
            const bool isError = severity == LogSeverity::Error;
            SCOPED_TRACE(std::to_string(length) + (isError ? " error" : " info"));
            resetLogger();
            const std::string padding(length - prefix.size(), 'x');
            const std::string text = prefix + padding;
            custpolicy::logMessage(severity, kTag, "longFunction", 7, kLogSourcePath, "[%s] %s",
                                   "longFunction", padding.c_str());
            ASSERT_EQ(recorded().unifiedLog.size(), 1u);
            EXPECT_EQ(recorded().unifiedLog[0].text, text.substr(0, kMaxText));
            EXPECT_EQ(recorded().unifiedLog[0].length, static_cast<int32_t>(text.size()));
            ASSERT_EQ(recorded().androidLog.size(), 1u);
            EXPECT_EQ(recorded().androidLog[0].text,
                      (isError ? text + tail : text).substr(0, kMaxText));
        }
    }
    EXPECT_EQ(gArrayOverruns, 0) << "a write past the end of the text buffer";
    resetLogger();
    custpolicy::logMessage(LogSeverity::Info, kTag, "emptyFunction", 7, kLogSourcePath, "%s", "");
    ASSERT_EQ(recorded().unifiedLog.size(), 1u) << "an empty text is still a message";
    EXPECT_EQ(recorded().unifiedLog[0].length, 0);
}

TEST(LoggingTest, UnformattableMessageOrAbsentLoggerReachesOnlyAndroid) {
    char probe[16];
    ASSERT_LT(std::snprintf(probe, sizeof(probe), "%lc", kUnencodable), 0)
        << "this C library formats a lone surrogate; pick another failing format";
    for (bool absentLogger : {false, true}) {
        for (const auto& sev : kSeverities) {
            SCOPED_TRACE(std::string(sev.why) + (absentLogger ? ", no logger" : ", bad format"));
            resetLogger();
            if (absentLogger) {
                ULogger::sULogger = nullptr;
                custpolicy::logMessage(sev.severity, kTag, "f", 3, kLogSourcePath, "%d", 1);
            } else {
                custpolicy::logMessage(sev.severity, kTag, "f", 9, kLogSourcePath, "%lc",
                                       kUnencodable);
            }
            EXPECT_TRUE(recorded().unifiedLog.empty());
            ASSERT_EQ(recorded().androidLog.size(), 1u);
            EXPECT_EQ(recorded().androidLog[0].priorityOrLevel, sev.androidPriority);
            if (sev.severity == LogSeverity::Error && !absentLogger) {
                EXPECT_EQ(recorded().androidLog[0].text, " (f){#9:tests/test_logging.cpp}")
                    << "the tail replaces what could not be formatted";
            }
        }
    }
}

}  // namespace
