#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>

#include "cust_log.h"
#include "host_platform.h"
#include "platform/ULogger.h"

namespace {

using custpolicy::LogSeverity;
using NSCam::Utils::ULog::ULogger;

constexpr char kLogSourcePath[] = "tests/test_logging.cpp";
constexpr char kTag[] = "CustLogTest";
constexpr uint32_t kFullDebugMask = 0x101000;
constexpr size_t kMaxText = 1023;  // both log buffers hold 1024 bytes with the NUL
// A lone UTF-16 surrogate: "%lc" of it makes the C library's formatting report -1.
constexpr wint_t kUnencodable = 0xD800;

class LoggingTest : public ::testing::Test {
protected:
    void SetUp() override { setLogger(5, kFullDebugMask, 0xB); }
    static const hostplatform::Recorded& recorded() { return hostplatform::state().recorded; }
    static void setLogger(int32_t level, uint32_t mask, uint32_t mode) {
        hostplatform::reset();
        ULogger::sDetailsLevel = level;
        ULogger::sNormalDetailsMask = mask;
        ULogger::sMode = mode;
    }
};

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
const SeverityCase kSeverities[] = {
    {LogSeverity::Error, INT32_MIN, false, 6, 1, "error: always"},
    {LogSeverity::Warning, 2, false, 5, 2, "warning: from level 2"},
    {LogSeverity::Info, 3, false, 4, 3, "info: from level 3"},
    {LogSeverity::Debug, 5, true, 3, 5, "debug: from level 5 with the whole mask"},
};

TEST_F(LoggingTest, SeverityGatesAndRoutesByDetailLevelMaskAndMode) {
    struct Mode { uint32_t bits; bool android, unified; };
    const Mode kModes[] = {{0x0, false, false}, {0x1, true, false}, {0x2, false, true},
                           {0x8, false, true},  {0xB, true, true}};
    const uint32_t kMasks[] = {kFullDebugMask, 0xFFFFFFFF, 0x100000, 0x1000};
    const std::string text = "[gatedFunction] value 7";
    for (const auto& sev : kSeverities) {
        for (int32_t level = -1; level <= 6; ++level) {
            for (const Mode& mode : kModes) {
                for (uint32_t mask : kMasks) {
                    SCOPED_TRACE(std::string(sev.why) + ", level " + std::to_string(level) +
                                 ", mode " + std::to_string(mode.bits) + ", mask " +
                                 std::to_string(mask));
                    setLogger(level, mask, mode.bits);
                    custpolicy::logMessage(sev.severity, kTag, "gatedFunction", 42, kLogSourcePath,
                                           "[%s] value %d", "gatedFunction", 7);
                    const bool written = level >= sev.minLevel &&
                                         (!sev.needsDebugMask || mask == kFullDebugMask ||
                                          mask == 0xFFFFFFFF);
                    EXPECT_EQ(custpolicy::logEnabled(sev.severity), written);

                    const auto& android = recorded().androidLog;
                    ASSERT_EQ(android.size(), written && mode.android ? 1u : 0u);
                    if (!android.empty()) {
                        EXPECT_EQ(android[0].priorityOrLevel, sev.androidPriority);
                        EXPECT_EQ(android[0].tag, kTag);
                        EXPECT_EQ(android[0].text,
                                  sev.severity == LogSeverity::Error
                                      ? text + " (gatedFunction){#42:tests/test_logging.cpp}"
                                      : text);
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
    }
}

TEST_F(LoggingTest, MacrosNameTheCallerAndOnlyErrorsGetATail) {
    reportMissingPixelArray();
    const int errorLine = __LINE__ + 1;
    CUST_LOGE(kTag, "[%s] failed with %d", -1);
    CUST_LOGW(kTag, "[%s] warned %s", "twice");

    const auto& android = recorded().androidLog;
    const auto& unified = recorded().unifiedLog;
    ASSERT_EQ(android.size(), 3u);
    ASSERT_EQ(unified.size(), 3u);
    EXPECT_EQ(android[0].text,
              "[reportMissingPixelArray] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE "
              "(reportMissingPixelArray){#143:tests/test_logging.cpp}");
    EXPECT_EQ(unified[0].text,
              "[reportMissingPixelArray] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE");
    EXPECT_EQ(android[1].text, "[TestBody] failed with -1 (TestBody){#" +
                                   std::to_string(errorLine) + ":tests/test_logging.cpp}");
    EXPECT_EQ(unified[1].text, "[TestBody] failed with -1");
    EXPECT_EQ(android[2].text, "[TestBody] warned twice");
    EXPECT_EQ(unified[2].text, "[TestBody] warned twice");
}

TEST_F(LoggingTest, LongMessagesAreCutAt1024BytesAndReportTheirFullLength) {
    const std::string tail = " (longFunction){#7:tests/test_logging.cpp}";
    const std::string prefix = "[longFunction] ";
    struct Case { size_t length; const char* why; };
    const Case kCases[] = {{1000, "fits, the error tail is cut"}, {1022, "one byte to spare"},
                           {1023, "exactly fills the buffer"}, {1024, "one too long"}};
    for (const Case& c : kCases) {
        for (LogSeverity severity : {LogSeverity::Error, LogSeverity::Info}) {
            const bool isError = severity == LogSeverity::Error;
            SCOPED_TRACE(std::string(c.why) + (isError ? ", error" : ", info"));
            setLogger(5, kFullDebugMask, 0xB);
            const std::string padding(c.length - prefix.size(), 'x');
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
}

TEST_F(LoggingTest, UnformattableMessageOrAbsentLoggerReachesOnlyAndroid) {
    char probe[16];
    ASSERT_LT(std::snprintf(probe, sizeof(probe), "%lc", kUnencodable), 0)
        << "this C library formats a lone surrogate; pick another failing format";
    for (bool absentLogger : {false, true}) {
        for (const auto& sev : kSeverities) {
            SCOPED_TRACE(std::string(sev.why) + (absentLogger ? ", no logger" : ", bad format"));
            setLogger(5, kFullDebugMask, 0xB);
            if (absentLogger) {
                ULogger::sULogger = nullptr;
                custpolicy::logMessage(sev.severity, kTag, "f", 3, kLogSourcePath, "[%s] %d", "f", 1);
            } else {
                custpolicy::logMessage(sev.severity, kTag, "f", 9, kLogSourcePath, "[%s] %lc", "f",
                                       kUnencodable);
            }
            EXPECT_TRUE(recorded().unifiedLog.empty());
            ASSERT_EQ(recorded().androidLog.size(), 1u);
            EXPECT_EQ(recorded().androidLog[0].priorityOrLevel, sev.androidPriority);
        }
    }
}

}  // namespace
