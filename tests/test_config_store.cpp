#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "config_store.h"
#include "host_config_store.h"
#include "test_support.h"

namespace {

using namespace custpolicy;
using cptest::expectGolden;
using hostconfig::kStatusNoEntry;
using hostconfig::kStatusNullArgument;
using hostconfig::kStatusWrongCount;

constexpr int32_t kSentinel = 0x5A5A5A5A;

class ConfigStoreTest : public ::testing::Test {
protected:
    void SetUp() override { resetStore(); }
    void TearDown() override { resetStore(); }
    static void resetStore() {
        hostconfig::clear();
        hostconfig::clearCalls();
        hostconfig::setRecording(true);
    }
    static void load(const std::string& text, const char* name = "test.config") {
        const hostconfig::LoadResult result = hostconfig::loadText(text, name);
        ASSERT_TRUE(result.ok) << result.error();
        hostconfig::clearCalls();
    }
};

TEST_F(ConfigStoreTest, FullNameAndLocaleKeyNameTheSameEntry) {
    load(R"([T]
Mode[0] = 1, 2, 3
Mode[10] = 4
[0] = 5, 6
com.example.app/.ui.Main$Inner[0] = 7, 8, 9, 10
a[b[1] = 11
with space[0] = 12
"quo\"te = #x\\[0]" = 13, 14
[U]
Mode[0] = 15
)");
    struct Case {
        const char *locale, *key;
        int32_t width, first, localeKeys;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"Mode", "0", 3, 1, 2, "the Mode locale"},
        {"", "0", 2, 5, 1, "the empty locale"},
        {"com.example.app/.ui.Main$Inner", "0", 4, 7, 1, "dots, slash and dollar"},
        {"a[b", "1", 1, 11, 1, "a locale holding '['"},
        {"a", "b[1", 1, 11, 0, "a key holding '[' names the same full name"},
        {"with space", "0", 1, 12, 1, "a blank inside the locale"},
        {"quo\"te = #x\\", "0", 2, 13, 1, "a quoted name with escapes, '=' and '#'"},
        {"Mode", "01", 0, 0, 2, "keys are exact text: no padding"},
        {"mode", "0", 0, 0, 0, "locales are case-sensitive"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        const std::string fullName = std::string(c.locale) + "[" + c.key + "]";
        EXPECT_EQ(GetValuesCount("T", fullName.c_str()), c.width);
        EXPECT_EQ(GetLocaleKeyValuesCount("T", c.locale, c.key), c.width);
        EXPECT_EQ(GetLocaleKeyCount("T", c.locale), c.localeKeys);
        std::vector<int32_t> row(static_cast<size_t>(c.width) + 1, kSentinel);
        EXPECT_EQ(GetLocaleIntegerListConfiguration("T", c.locale, c.key, row.data(), c.width),
                  c.width > 0 ? hostconfig::kStatusOk : kStatusNoEntry);
        if (c.width > 0) {
            EXPECT_EQ(row[0], c.first);
        }
        EXPECT_EQ(row.back(), kSentinel) << "wrote past the wanted count";
    }
    EXPECT_EQ(GetKeyCount("T"), 7) << "every entry of the table, over all locales";
    EXPECT_EQ(GetKeyCount("U"), 1);
    EXPECT_EQ(GetKeyCount("Absent"), 0);
}

TEST_F(ConfigStoreTest, FailedReadsLeaveTheArrayUntouched) {
    load("[T]\nMode[0] = 1, 2, 3\n");
    int32_t row[4] = {kSentinel, kSentinel, kSentinel, kSentinel};
    struct Case {
        const char *table, *locale, *key;
        int32_t* values;
        int32_t count, status;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"T", "Mode", "0", row, 2, kStatusWrongCount, "fewer than the width"},
        {"T", "Mode", "0", row, 4, kStatusWrongCount, "more than the width"},
        {"T", "Mode", "0", row, -3, kStatusWrongCount, "a negative count"},
        {"T", "Mode", "1", row, 3, kStatusNoEntry, "an absent key"},
        {"T", "Mode", "0", nullptr, 3, kStatusNullArgument, "a null array"},
        {nullptr, "Mode", "0", row, 3, kStatusNullArgument, "a null table"},
        {"T", nullptr, "0", row, 3, kStatusNullArgument, "a null locale"},
        {"T", "Mode", nullptr, row, 3, kStatusNullArgument, "a null key"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(GetLocaleIntegerListConfiguration(c.table, c.locale, c.key, c.values, c.count),
                  c.status);
        for (int32_t value : row) EXPECT_EQ(value, kSentinel);
    }
    EXPECT_EQ(GetKeyCount(nullptr), 0);
    EXPECT_EQ(GetValuesCount("T", nullptr), 0);
    EXPECT_EQ(GetLocaleKeyCount("T", nullptr), 0);
    EXPECT_EQ(GetLocaleKeyValuesCount("T", "Mode", nullptr), 0);
}

TEST_F(ConfigStoreTest, ValuesAreSigned32BitWithHexAsPattern) {
    struct Case {
        const char* values;
        std::vector<int32_t> expected;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"2147483647, -2147483648", {2147483647, -2147483647 - 1}, "the decimal limits"},
        {"0xFFFFFFFF, 0x80000000, 0x7fffffff", {-1, -2147483647 - 1, 2147483647},
         "hex is the 32-bit pattern"},
        {"0XaB, 0x0000000000000001, 007, -0", {0xAB, 1, 7, 0}, "either case, leading zeros"},
        {"1,2\t,  3 # comment, 4", {1, 2, 3}, "blanks and a trailing comment"},
        {"5, 6\r", {5, 6}, "a CRLF line end"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        load(std::string("[T]\nMode[0] = ") + c.values + "\n");
        const auto width = static_cast<int32_t>(c.expected.size());
        ASSERT_EQ(GetValuesCount("T", "Mode[0]"), width);
        std::vector<int32_t> row(c.expected.size());
        ASSERT_EQ(GetLocaleIntegerListConfiguration("T", "Mode", "0", row.data(), width), 0);
        EXPECT_EQ(row, c.expected);
    }
}

// The golden file holds the error of each text: file, line, column and message.
TEST_F(ConfigStoreTest, MalformedTextIsRefusedWholeWithItsPosition) {
    // clang-format off
    const std::pair<const char*, const char*> kCases[] = {
        {"[Fresh]\nMode[0] 1, 2\n", "no '='"},
        {"[Fresh]\nMode[0] = 1, 2147483648\n", "above int32"},
        {"[Fresh]\nMode[0] = -2147483649\n", "below int32"},
        {"[Fresh]\nMode[0] = 0x100000000\n", "hex above 32 bits"},
        {"[Fresh]\nMode[0] = -0x1\n", "signed hex"},
        {"[Fresh]\nMode[0] = 0x\n", "bare 0x"},
        {"[Fresh]\nMode[0] = x\n", "not a number"},
        {"[Fresh]\nMode[0] = 1, 2,\n", "trailing comma"},
        {"[Fresh]\nMode[0] =  # none\n", "no values"},
        {"[Fresh]\nMode[0] = 12abc\n", "junk after a value"},
        {"[Fresh]\nA[0] = 1\n[Other]\n[Fresh]\n  A[0] = 2\n", "duplicate across two sections of one table"},
        {"[Fresh]\nMode[0] = 1\n[Other  \n", "unterminated header"},
        {"[Fresh] extra\n", "junk after a header"},
        {"[ ]\n", "empty table name"},
        {"# first\nMode[0] = 1\n", "entry before any section"},
        {"[Fresh]\nMode = 1\n", "no key"},
        {"[Fresh]\nMode[] = 1\n", "empty key"},
        {"[Fresh]\n\"Mode[0] = 1\n", "unterminated quote"},
        {"[Fresh]\n\"Mo\\de[0]\" = 1\n", "unknown escape"},
    };
    // clang-format on
    load("[Kept]\nMode[0] = 1, 2, 3\n", "good.config");
    std::string golden;
    for (const auto& [text, why] : kCases) {
        SCOPED_TRACE(why);
        const hostconfig::LoadResult result = hostconfig::loadText(text, "bad.config");
        EXPECT_FALSE(result.ok);
        golden += std::string(why) + ": " + result.error() + "\n";
        EXPECT_EQ(GetKeyCount("Fresh"), 0) << "nothing of a refused text is installed";
        EXPECT_EQ(GetValuesCount("Kept", "Mode[0]"), 3) << "the tables before stay in force";
        EXPECT_EQ(hostconfig::currentSource(), "good.config");
    }
    expectGolden("config-errors", golden);
}

void writeFile(const std::string& path, const std::string& text) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
}

int32_t firstValue(const char* table) {
    int32_t value = kSentinel;
    GetLocaleIntegerListConfiguration(table, "Mode", "0", &value, 1);
    return value;
}

TEST_F(ConfigStoreTest, FilesLoadOnlyWhenToldAndWhole) {
    const std::string path = ::testing::TempDir() + "custpolicy_config_store_test.config";
    writeFile(path, "[T]\nMode[0] = 1\n");
    ASSERT_TRUE(hostconfig::loadFile(path).ok);
    writeFile(path, "[T]\nMode[0] = 2\n");
    EXPECT_EQ(firstValue("T"), 1) << "the file is read only on request";
    ASSERT_TRUE(hostconfig::reload().ok);
    EXPECT_EQ(firstValue("T"), 2);

    writeFile(path, "[T]\nMode[0] = x\n");
    EXPECT_EQ(hostconfig::reload().error().rfind(path + ":2:11: ", 0), 0u);
    EXPECT_EQ(firstValue("T"), 2) << "a refused reload keeps the tables";

    const hostconfig::LoadResult missing = hostconfig::loadFile(path + ".absent");
    EXPECT_EQ(missing.line, 0);
    EXPECT_EQ(missing.error(), path + ".absent: cannot open the file: No such file or directory");
    EXPECT_EQ(hostconfig::loadFile(::testing::TempDir()).message,
              "is a directory, not a configuration file");
    EXPECT_EQ(firstValue("T"), 2);
    EXPECT_EQ(hostconfig::currentSource(), path);

    writeFile(path, "[E]\nMode[0] = 3\n");
    ASSERT_EQ(setenv(hostconfig::kConfigEnvVar, path.c_str(), 1), 0);
    EXPECT_TRUE(hostconfig::loadFromEnvironment().ok);
    EXPECT_EQ(firstValue("E"), 3);
    EXPECT_EQ(GetKeyCount("T"), 0) << "a load replaces every table";
    ASSERT_EQ(unsetenv(hostconfig::kConfigEnvVar), 0);
    EXPECT_FALSE(hostconfig::loadFromEnvironment().ok);

    hostconfig::clear();
    EXPECT_EQ(GetKeyCount("E"), 0);
    EXPECT_FALSE(hostconfig::reload().ok) << "clear forgets the source";
    std::remove(path.c_str());
}

// The golden files of the policy tests show how each call is described; a call that fails on
// its arguments is recorded too, and nothing is when recording is off.
TEST_F(ConfigStoreTest, RecordsEveryCallUnlessTurnedOff) {
    load("[T]\nMode[0] = 1, 2\n");
    int32_t row[2] = {};
    GetLocaleIntegerListConfiguration("T", nullptr, "0", row, 2);
    EXPECT_EQ(hostconfig::describedCalls(),
              std::vector<std::string>{"GetLocaleIntegerListConfiguration(T, , 0, 2) = -1"});
    hostconfig::clearCalls();
    hostconfig::setRecording(false);
    GetKeyCount("T");
    EXPECT_TRUE(hostconfig::calls().empty());
}

// The value read, or the status when it is not 0.
int32_t readOne(const char* table, const char* locale, const char* key) {
    int32_t value = kSentinel;
    const int32_t status = GetLocaleIntegerListConfiguration(table, locale, key, &value, 1);
    return status == 0 ? value : status;
}

// The short cuts for row-by-row reading (an index of row keys, the table and locale of the
// previous lookup remembered) answer exactly what the full lookup would. Run in order.
TEST_F(ConfigStoreTest, ShortCutsAnswerWhatTheFullLookupWould) {
    load(
        "[T]\nMode[0] = 10\nMode[12] = 112\nMode[00] = 100\nMode[-1] = -10\nMode[+1] = 101\n"
        "Mode[1234567890] = 1010\nMode[5000000] = 5\nMode[1a] = 7\n"
        "[Table]\nMode[0] = 1\nOther[0] = 2\nMod[0] = 3\n"
        "[TableX]\nMode[0] = 4\nModeX[0] = 5\n[TableXY]\nMode[0] = 6\n");
    struct Case {
        const char *table, *locale, *key;
        int32_t read;
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {"T", "Mode", "12", 112, "a row after a gap"},
        {"T", "Mode", "3", kStatusNoEntry, "a gap inside the index"},
        {"T", "Mode", "00", 100, "a leading zero is another key than 0"},
        {"T", "Mode", "-1", -10, "a signed key"},
        {"T", "Mode", "+1", 101, "a plus sign is another key than 1"},
        {"T", "Mode", "1234567890", 1010, "ten digits"},
        {"T", "Mode", "5000000", 5, "a row far beyond the index"},
        {"T", "Mode", "4999999", kStatusNoEntry, "no such far row"},
        {"T", "Mode", "1a", 7, "digits then a letter"},
        {"T", "Mode", "", kStatusNoEntry, "the empty key"},
        {"TableX", "Mode", "0", 4, "another table"},
        {"Table", "Mode", "0", 1, "a prefix of the table before"},
        {"TableXY", "Mode", "0", 6, "an extension of a table before"},
        {"TableX", "ModeX", "0", 5, "an extension of the locale before"},
        {"TableX", "Mod", "0", kStatusNoEntry, "a prefix of the locale, absent here"},
        {"Table", "Mod", "0", 3, "the same locale name in another table"},
        {"Table", "Other", "0", 2, "another locale of the same table"},
        {"TableXYZ", "Mode", "0", kStatusNoEntry, "an absent table"},
        {"TableX", "Mode", "0", 4, "after an absent table"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(readOne(c.table, c.locale, c.key), c.read);
        EXPECT_EQ(GetLocaleKeyValuesCount(c.table, c.locale, c.key),
                  c.read == kStatusNoEntry ? 0 : 1);
    }
    EXPECT_EQ(GetLocaleKeyCount("TableX", "Mod"), 0);
    EXPECT_EQ(GetKeyCount("Tabl"), 0);
}

// A load or a clear replaces what a lookup remembered.
TEST_F(ConfigStoreTest, ShortCutsFollowTheTablesInForce) {
    load("[T]\nMode[0] = 1\nMode[1] = 2\n");
    EXPECT_EQ(readOne("T", "Mode", "1"), 2);
    load("[T]\nMode[0] = 3\n");
    EXPECT_EQ(readOne("T", "Mode", "0"), 3);
    EXPECT_EQ(readOne("T", "Mode", "1"), kStatusNoEntry);
    hostconfig::clear();
    EXPECT_EQ(readOne("T", "Mode", "0"), kStatusNoEntry);
    EXPECT_EQ(GetLocaleKeyCount("T", "Mode"), 0);
}

}  // namespace
