#pragma once

#include <cstdint>

#include "custpolicy/cust_contract.h"

// The library's one logging component. Every message is a printf format whose first argument is
// the logging function's name and which begins with "[%s] ". A message passes a gate on the
// platform logger's detail level, then goes to the Android log and/or the unified logger as
// ULogger::sMode says. Error messages sent to the Android log carry the tail " (%s){#%d:%s}"
// (function, source line, source path); the unified-logger copy never does.

namespace custpolicy {

enum class LogSeverity { Error, Warning, Info, Debug };

// Android log priorities of the four severities.
constexpr int kAndroidPriorityError = 6;
constexpr int kAndroidPriorityWarning = 5;
constexpr int kAndroidPriorityInfo = 4;
constexpr int kAndroidPriorityDebug = 3;

// Unified-logger levels of the four severities.
constexpr int32_t kULogLevelError = 1;
constexpr int32_t kULogLevelWarning = 2;
constexpr int32_t kULogLevelInfo = 3;
constexpr int32_t kULogLevelDebug = 5;

// Detail levels at which each severity is written (errors always are).
constexpr int32_t kDetailLevelWarning = 2;
constexpr int32_t kDetailLevelInfo = 3;
constexpr int32_t kDetailLevelDebug = 5;
// The debug mask, the sMode routing bits and the unified logger's module id are part of the HAL's
// contract: custpolicy/cust_contract.h.

// Size of the text buffer of one unified-logger message, its terminating NUL included.
constexpr int kLogBufferSize = 1024;

// True when a message of this severity passes the detail-level gate right now.
bool logEnabled(LogSeverity severity);

// Writes one message. `function`, `line` and `sourcePath` fill the error tail of the Android copy.
void logMessage(LogSeverity severity, const char* tag, const char* function, int line,
                const char* sourcePath, const char* format, ...)
    __attribute__((format(printf, 6, 7)));

}  // namespace custpolicy

// The macros pass the calling function's name as the first format argument. Each source file
// defines kLogSourcePath, the path reported in error tails.
#define CUST_LOG_AT(severity, tag, line, fmt, ...)                                     \
    ::custpolicy::logMessage(::custpolicy::LogSeverity::severity, tag, __func__, line, \
                             kLogSourcePath, fmt, __func__, ##__VA_ARGS__)

// Errors reported with an explicit source line (the line that log tools know the message by).
#define CUST_LOGE_LINE(tag, line, fmt, ...) CUST_LOG_AT(Error, tag, line, fmt, ##__VA_ARGS__)
#define CUST_LOGE(tag, fmt, ...) CUST_LOG_AT(Error, tag, __LINE__, fmt, ##__VA_ARGS__)
#define CUST_LOGW(tag, fmt, ...) CUST_LOG_AT(Warning, tag, __LINE__, fmt, ##__VA_ARGS__)
#define CUST_LOGI(tag, fmt, ...) CUST_LOG_AT(Info, tag, __LINE__, fmt, ##__VA_ARGS__)
#define CUST_LOGD(tag, fmt, ...) CUST_LOG_AT(Debug, tag, __LINE__, fmt, ##__VA_ARGS__)

// For messages written from inside a lambda or helper on behalf of a named function.
#define CUST_LOG_IN(severity, tag, function, fmt, ...)                                     \
    ::custpolicy::logMessage(::custpolicy::LogSeverity::severity, tag, function, __LINE__, \
                             kLogSourcePath, fmt, function, ##__VA_ARGS__)
