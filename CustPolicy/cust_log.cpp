#include "cust_log.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include <android/log.h>

#include "platform/ULogger.h"

namespace custpolicy {

namespace {

using NSCam::Utils::ULog::ULogger;

// Android's own formatting buffer is this size too, so the tail is cut where the device cuts it.
constexpr int kAndroidBufferSize = 1024;

struct SeverityInfo {
    int androidPriority;
    int32_t ulogLevel;
};

SeverityInfo severityInfo(LogSeverity severity) {
    switch (severity) {
        case LogSeverity::Error: return {kAndroidPriorityError, kULogLevelError};
        case LogSeverity::Warning: return {kAndroidPriorityWarning, kULogLevelWarning};
        case LogSeverity::Info: return {kAndroidPriorityInfo, kULogLevelInfo};
        case LogSeverity::Debug: return {kAndroidPriorityDebug, kULogLevelDebug};
    }
    return {kAndroidPriorityError, kULogLevelError};
}

void sendToAndroid(LogSeverity severity, const char* tag, const char* function, int line,
                   const char* sourcePath, const char* format, va_list args)
    __attribute__((format(printf, 6, 0)));

void sendToAndroid(LogSeverity severity, const char* tag, const char* function, int line,
                   const char* sourcePath, const char* format, va_list args) {
    const int priority = severityInfo(severity).androidPriority;
    if (severity != LogSeverity::Error) {
        __android_log_vprint(priority, tag, format, args);
        return;
    }
    // The error tail follows the message text in the same buffer, so an over-long message cuts
    // the tail exactly as one format string would.
    char text[kAndroidBufferSize];
    int length = vsnprintf(text, sizeof(text), format, args);
    if (length < 0) length = 0;
    if (length < kAndroidBufferSize - 1) {
        snprintf(text + length, sizeof(text) - static_cast<size_t>(length), " (%s){#%d:%s}",
                 function, line, sourcePath);
    }
    __android_log_print(priority, tag, "%s", text);
}

void sendToUnified(LogSeverity severity, const char* tag, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));

void sendToUnified(LogSeverity severity, const char* tag, const char* format, va_list args) {
    char* buffer = new (std::nothrow) char[kLogBufferSize];
    if (buffer == nullptr) return;
    const int length = vsnprintf(buffer, kLogBufferSize, format, args);
    if (length >= 0) {
        buffer[kLogBufferSize - 1] = '\0';
        if (ULogger::sULogger != nullptr) {
            ULogger::sULogger->print(kULogModuleId, tag, severityInfo(severity).ulogLevel, buffer,
                                     length);
        }
    }
    delete[] buffer;
}

}  // namespace

bool logEnabled(LogSeverity severity) {
    switch (severity) {
        case LogSeverity::Error: return true;
        case LogSeverity::Warning: return ULogger::sDetailsLevel >= kDetailLevelWarning;
        case LogSeverity::Info: return ULogger::sDetailsLevel >= kDetailLevelInfo;
        case LogSeverity::Debug:
            return ULogger::sDetailsLevel >= kDetailLevelDebug &&
                   (ULogger::sNormalDetailsMask & kNormalDetailsMask) == kNormalDetailsMask;
    }
    return false;
}

void logMessage(LogSeverity severity, const char* tag, const char* function, int line,
                const char* sourcePath, const char* format, ...) {
    if (!logEnabled(severity)) return;
    const uint32_t mode = ULogger::sMode;
    if ((mode & kLogModeAndroid) != 0) {
        va_list args;
        va_start(args, format);
        sendToAndroid(severity, tag, function, line, sourcePath, format, args);
        va_end(args);
    }
    if ((mode & kLogModeUnified) != 0) {
        va_list args;
        va_start(args, format);
        sendToUnified(severity, tag, format, args);
        va_end(args);
    }
}

}  // namespace custpolicy
