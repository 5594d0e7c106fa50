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

// What the device's log readers expect, written out independently of the library's constants.
constexpr uint32_t kModuleId = 0x101005;
constexpr uint32_t kFullDebugMask = 0x101000;
// The unified logger's buffer holds this many characters before its terminating NUL; Android's
// formatting buffer has the same size.
constexpr size_t kMaxText = 1023;

// A wide character that no locale can encode (a lone UTF-16 surrogate): "%lc" of it makes the C
// library's formatting report -1.
constexpr wint_t kUnencodable = 0xD800;

class LoggingTest : public ::testing::Test {
protected:
    void SetUp() override { hostplatform::reset(); }

    static const hostplatform::Recorded& recorded() { return hostplatform::state().recorded; }
    static void clearLogs() {
        hostplatform::state().recorded.androidLog.clear();
        hostplatform::state().recorded.unifiedLog.clear();
    }
    static void setLogger(int32_t level, uint32_t mask, uint32_t mode) {
        ULogger::sDetailsLevel = level;
        ULogger::sNormalDetailsMask = mask;
        ULogger::sMode = mode;
    }
};

// A function whose name the macros must print, both in the message and in the error tail.
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
    {LogSeverity::Error, INT32_MIN, false, 6, 1, "errors are always written"},
    {LogSeverity::Warning, 2, false, 5, 2, "warnings from detail level 2"},
    {LogSeverity::Info, 3, false, 4, 3, "info from detail level 3"},
    {LogSeverity::Debug, 5, true, 3, 5, "debug from level 5 with the whole detail mask"},
};

struct ModeCase {
    uint32_t mode;
    bool toAndroid;
    bool toUnified;
    const char* why;
};
const ModeCase kModes[] = {
    {0x0, false, false, "mode 0 writes nowhere"},
    {0x1, true, false, "bit 1 is the Android log"},
    {0x2, false, true, "bit 2 is the unified logger"},
    {0x8, false, true, "bit 8 is the unified logger too"},
    {0xB, true, true, "both destinations, the unified logger once"},
};

struct MaskCase {
    uint32_t mask;
    bool full;
    const char* why;
};
const MaskCase kMasks[] = {
    {kFullDebugMask, true, "exactly the debug bits"},
    {0xFFFFFFFF, true, "a superset of the debug bits"},
    {0x100000, false, "only the high debug bit"},
    {0x1000, false, "only the low debug bit"},
    {0x0, false, "no debug bit"},
};

TEST_F(LoggingTest, SeverityGatesAndRoutesByDetailLevelMaskAndMode) {
    for (const auto& sev : kSeverities) {
        SCOPED_TRACE(sev.why);
        for (int32_t level = -1; level <= 6; ++level) {
            SCOPED_TRACE("detail level " + std::to_string(level));
            for (const auto& mode : kModes) {
                SCOPED_TRACE(mode.why);
                for (const auto& mask : kMasks) {
                    SCOPED_TRACE(mask.why);
                    clearLogs();
                    setLogger(level, mask.mask, mode.mode);
                    custpolicy::logMessage(sev.severity, kTag, "gatedFunction", 42, kLogSourcePath,
                                           "[%s] value %d", "gatedFunction", 7);

                    const bool written =
                        level >= sev.minLevel && (!sev.needsDebugMask || mask.full);
                    EXPECT_EQ(custpolicy::logEnabled(sev.severity), written);
                    const std::string text = "[gatedFunction] value 7";

                    const auto& android = recorded().androidLog;
                    ASSERT_EQ(android.size(), written && mode.toAndroid ? 1u : 0u);
                    if (!android.empty()) {
                        EXPECT_EQ(android[0].priorityOrLevel, sev.androidPriority);
                        EXPECT_EQ(android[0].tag, kTag);
                        const std::string tail =
                            sev.severity == LogSeverity::Error
                                ? " (gatedFunction){#42:tests/test_logging.cpp}"
                                : "";
                        EXPECT_EQ(android[0].text, text + tail);
                    }

                    const auto& unified = recorded().unifiedLog;
                    ASSERT_EQ(unified.size(), written && mode.toUnified ? 1u : 0u);
                    if (!unified.empty()) {
                        EXPECT_EQ(unified[0].moduleId, kModuleId);
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

TEST_F(LoggingTest, ErrorTailNamesFunctionLineAndPathOnTheAndroidCopyOnly) {
    setLogger(5, kFullDebugMask, 0xB);

    reportMissingPixelArray();
    const int errorLine = __LINE__ + 1;
    CUST_LOGE(kTag, "[%s] failed with %d", -1);
    CUST_LOGW(kTag, "[%s] warned %s", "twice");
    CUST_LOGD(kTag, "[%s] debug %u", 5u);

    const std::string testBody = "TestBody";
    const auto& android = recorded().androidLog;
    ASSERT_EQ(android.size(), 4u);
    EXPECT_EQ(android[0].text,
              "[reportMissingPixelArray] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE "
              "(reportMissingPixelArray){#143:tests/test_logging.cpp}");
    EXPECT_EQ(android[1].text, "[" + testBody + "] failed with -1 (" + testBody + "){#" +
                                   std::to_string(errorLine) + ":tests/test_logging.cpp}");
    EXPECT_EQ(android[2].text, "[" + testBody + "] warned twice") << "no tail below error";
    EXPECT_EQ(android[3].text, "[" + testBody + "] debug 5");

    const auto& unified = recorded().unifiedLog;
    ASSERT_EQ(unified.size(), 4u);
    EXPECT_EQ(unified[0].text,
              "[reportMissingPixelArray] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE");
    EXPECT_EQ(unified[1].text, "[" + testBody + "] failed with -1");
    EXPECT_EQ(unified[2].text, "[" + testBody + "] warned twice");
    EXPECT_EQ(unified[3].text, "[" + testBody + "] debug 5");
}

struct LengthCase {
    size_t textLength;  // characters of the formatted message
    const char* why;
};
const LengthCase kLengths[] = {
    {40, "short message"},
    {1000, "fits, but the error tail is cut"},
    {1022, "fits with one byte to spare"},
    {1023, "exactly fills the buffer"},
    {1024, "one character too long"},
    {5000, "far too long"},
};

TEST_F(LoggingTest, LongMessagesAreCutAt1024BytesAndReportTheirFullLength) {
    const std::string tail = " (longFunction){#7:tests/test_logging.cpp}";
    for (const auto& c : kLengths) {
        SCOPED_TRACE(c.why);
        const std::string prefix = "[longFunction] ";
        const std::string padding(c.textLength - prefix.size(), 'x');
        const std::string text = prefix + padding;
        for (LogSeverity severity : {LogSeverity::Error, LogSeverity::Info}) {
            const bool isError = severity == LogSeverity::Error;
            SCOPED_TRACE(isError ? "error" : "info");
            clearLogs();
            setLogger(5, kFullDebugMask, 0xB);
            custpolicy::logMessage(severity, kTag, "longFunction", 7, kLogSourcePath, "[%s] %s",
                                   "longFunction", padding.c_str());

            const auto& unified = recorded().unifiedLog;
            ASSERT_EQ(unified.size(), 1u);
            EXPECT_EQ(unified[0].text, text.substr(0, kMaxText));
            EXPECT_EQ(unified[0].length, static_cast<int32_t>(text.size()));

            // The Android copy is cut where one format string with the tail would be cut.
            const auto& android = recorded().androidLog;
            ASSERT_EQ(android.size(), 1u);
            EXPECT_EQ(android[0].text, (isError ? text + tail : text).substr(0, kMaxText));
        }
    }
}

TEST_F(LoggingTest, UnformattableMessageSendsNothingToTheUnifiedLogger) {
    // The case is only meaningful where the C library really fails this format.
    char probe[16];
    ASSERT_LT(std::snprintf(probe, sizeof(probe), "%lc", kUnencodable), 0)
        << "this C library formats a lone surrogate; pick another failing format";

    for (const auto& sev : kSeverities) {
        SCOPED_TRACE(sev.why);
        clearLogs();
        setLogger(5, kFullDebugMask, 0xB);
        custpolicy::logMessage(sev.severity, kTag, "badFormat", 9, kLogSourcePath, "[%s] %lc",
                               "badFormat", kUnencodable);
        EXPECT_TRUE(recorded().unifiedLog.empty());
        // The Android log library formats on its own; it still receives the message.
        EXPECT_EQ(recorded().androidLog.size(), 1u);
    }
}

TEST_F(LoggingTest, AbsentUnifiedLoggerIsSkippedWithoutHarm) {
    ULogger::sULogger = nullptr;
    for (const auto& sev : kSeverities) {
        SCOPED_TRACE(sev.why);
        clearLogs();
        setLogger(5, kFullDebugMask, 0xB);
        custpolicy::logMessage(sev.severity, kTag, "noLogger", 3, kLogSourcePath, "[%s] %d",
                               "noLogger", 1);
        EXPECT_TRUE(recorded().unifiedLog.empty());
        ASSERT_EQ(recorded().androidLog.size(), 1u);
        EXPECT_EQ(recorded().androidLog[0].priorityOrLevel, sev.androidPriority);
    }
}

}  // namespace
