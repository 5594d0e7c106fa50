// Must not compile: the logging macros let the compiler check every format against its arguments,
// so a wrong argument type is a build error, not a garbled log line on the device. The test
// LogFormatIsCompilerChecked builds this file and expects the format diagnostic.
#include "cust_log.h"

namespace {
constexpr char kLogSourcePath[] = "tests/log_format_misuse.cpp";
constexpr char kTag[] = "CustLogTest";
}  // namespace

void logsAStringAsAnInteger(const char* name) { CUST_LOGI(kTag, "[%s] sensor %d", name); }
