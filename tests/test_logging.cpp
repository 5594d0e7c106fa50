#include <gtest/gtest.h>

#include "cust_log.h"
#include "host_platform.h"

namespace {
constexpr const char* kLogSourcePath = "tests/test_logging.cpp";
constexpr const char* kTag = "CustTest";

TEST(Logging, ErrorReachesBothDestinations) {
    hostplatform::reset();
    CUST_LOGE_LINE(kTag, 178, "[%s] value %d", 7);
    const auto& rec = hostplatform::state().recorded;
    ASSERT_EQ(rec.androidLog.size(), 1u);
    EXPECT_EQ(rec.androidLog[0].text, "[TestBody] value 7 (TestBody){#178:tests/test_logging.cpp}");
    ASSERT_EQ(rec.unifiedLog.size(), 1u);
    EXPECT_EQ(rec.unifiedLog[0].text, "[TestBody] value 7");
}
}  // namespace
