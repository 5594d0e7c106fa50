#include <gtest/gtest.h>

#include <string>

#include "host_config_store.h"
#include "platform/ConfigStore.h"

// The host store's short cuts for row-by-row reading (an index of row keys, the table and locale
// of the previous lookup remembered) must answer exactly what the full lookup would.

namespace {

constexpr int32_t kSentinel = 0x5A5A5A5A;
constexpr int32_t kNoEntry = hostconfig::kStatusNoEntry;

class StoreLookupTest : public ::testing::Test {
protected:
    void SetUp() override { hostconfig::clear(); }
    void TearDown() override { hostconfig::clear(); }
    static void load(const std::string& text) {
        const hostconfig::LoadResult result = hostconfig::loadText(text, "lookups.config");
        ASSERT_TRUE(result.ok) << result.error();
    }
};

// The value read, or the status when it is not 0.
int32_t readOne(const char* table, const char* locale, const char* key) {
    int32_t value = kSentinel;
    const int32_t status = GetLocaleIntegerListConfiguration(table, locale, key, &value, 1);
    return status == 0 ? value : status;
}

TEST_F(StoreLookupTest, RowKeysAndOtherKeysReadTheirOwnEntries) {
    load(
        "[T]\nMode[0] = 10\nMode[12] = 112\nMode[00] = 100\nMode[-1] = -10\nMode[+1] = 101\n"
        "Mode[123456789] = 9\nMode[1234567890] = 10\nMode[5000000] = 5\nMode[1a] = 7\n");
    struct Case {
        const char* key;
        int32_t read;
        const char* why;
    };
    const Case kCases[] = {
        {"0", 10, "row 0"},
        {"12", 112, "a row after a gap"},
        {"3", kNoEntry, "a gap inside the index"},
        {"00", 100, "a leading zero is another key than 0"},
        {"-1", -10, "a signed key"},
        {"+1", 101, "a plus sign is another key than 1"},
        {"123456789", 9, "nine digits, far beyond the index"},
        {"1234567890", 10, "ten digits"},
        {"5000000", 5, "a row far beyond the index"},
        {"4999999", kNoEntry, "no such far row"},
        {"1a", 7, "digits then a letter"},
        {"", kNoEntry, "the empty key"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(readOne("T", "Mode", c.key), c.read);
        EXPECT_EQ(GetLocaleKeyValuesCount("T", "Mode", c.key), c.read == kNoEntry ? 0 : 1);
    }
}

// Run in order: the remembered table and locale must never answer for another name, a prefix
// or an extension of it, nor in another table.
TEST_F(StoreLookupTest, EachLookupAnswersForItsOwnTableAndLocale) {
    load(
        "[Table]\nMode[0] = 1\nOther[0] = 2\nMod[0] = 3\n"
        "[TableX]\nMode[0] = 4\nModeX[0] = 5\n[TableXY]\nMode[0] = 6\n");
    struct Case {
        const char *table, *locale;
        int32_t read;
        const char* why;
    };
    const Case kCases[] = {
        {"TableX", "Mode", 4, "first lookup"},
        {"Table", "Mode", 1, "a prefix of the table before"},
        {"TableXY", "Mode", 6, "an extension of a table before"},
        {"TableX", "ModeX", 5, "an extension of the locale before"},
        {"TableX", "Mod", kNoEntry, "a prefix, absent here"},
        {"Table", "Mod", 3, "the same locale name in another table"},
        {"Table", "Other", 2, "another locale of the same table"},
        {"TableXYZ", "Mode", kNoEntry, "an absent table"},
        {"TableX", "Mode", 4, "after an absent table"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(readOne(c.table, c.locale, "0"), c.read);
    }
    EXPECT_EQ(GetLocaleKeyCount("TableX", "Mod"), 0);
    EXPECT_EQ(GetKeyCount("Tabl"), 0);
}

// A load, a reload or a clear replaces the tables; a refused load keeps them.
TEST_F(StoreLookupTest, LookupsFollowTheTablesInForce) {
    load("[T]\nMode[0] = 1\nMode[1] = 2\n");
    EXPECT_EQ(readOne("T", "Mode", "1"), 2);
    load("[T]\nMode[0] = 3\n");
    EXPECT_EQ(readOne("T", "Mode", "0"), 3);
    EXPECT_EQ(readOne("T", "Mode", "1"), kNoEntry);
    ASSERT_TRUE(hostconfig::reload().ok);
    EXPECT_EQ(readOne("T", "Mode", "0"), 3);
    hostconfig::clear();
    EXPECT_EQ(readOne("T", "Mode", "0"), kNoEntry);
    EXPECT_EQ(GetLocaleKeyCount("T", "Mode"), 0);

    load("[T]\nMode[0] = 4\n");
    EXPECT_EQ(readOne("T", "Mode", "0"), 4);
    EXPECT_FALSE(hostconfig::loadText("[T]\nMode[0] = x\n", "bad.config").ok);
    EXPECT_EQ(readOne("T", "Mode", "0"), 4);
}

}  // namespace
