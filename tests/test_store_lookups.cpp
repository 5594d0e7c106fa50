#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host_config_store.h"
#include "platform/ConfigStore.h"

// The host store's short cuts for row-by-row reading: row keys answered through an index of their
// locale, and the table and locale of the previous lookup remembered. Each case checks that the
// short cut answers exactly what the full lookup would.

namespace {

constexpr int32_t kSentinel = 0x5A5A5A5A;

class StoreLookupTest : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        hostconfig::clear();
        hostconfig::clearCalls();
        hostconfig::setRecording(true);
    }
    static void load(const std::string& text) {
        const hostconfig::LoadResult result = hostconfig::loadText(text, "lookups.config");
        ASSERT_TRUE(result.ok) << result.error();
    }
};

// A one-value read: the value, or the status when it is not 0.
struct Read {
    int32_t status;
    int32_t value;
};

Read readOne(const char* table, const char* locale, const char* key) {
    int32_t value = kSentinel;
    const int32_t status = GetLocaleIntegerListConfiguration(table, locale, key, &value, 1);
    return {status, value};
}

struct KeyCase {
    const char* key;
    int32_t status;
    int32_t value;
    const char* why;
};

TEST_F(StoreLookupTest, RowKeysAndOtherKeysReadTheirOwnEntries) {
    load(
        "[T]\n"
        "Mode[0] = 10\nMode[1] = 11\nMode[2] = 12\nMode[12] = 112\n"
        "Mode[00] = 100\nMode[012] = 1012\nMode[-1] = -10\nMode[+1] = 101\n"
        "Mode[123456789] = 9\nMode[1234567890] = 10\nMode[5000000] = 5\nMode[1a] = 7\n");
    const KeyCase cases[] = {
        {"0", 0, 10, "row 0"},
        {"2", 0, 12, "row 2"},
        {"12", 0, 112, "a row after a gap"},
        {"3", hostconfig::kStatusNoEntry, kSentinel, "a gap inside the index"},
        {"00", 0, 100, "a leading zero is another key than 0"},
        {"012", 0, 1012, "a leading zero is another key than 12"},
        {"-1", 0, -10, "a signed key"},
        {"+1", 0, 101, "a plus sign is another key than 1"},
        {"123456789", 0, 9, "nine digits, far beyond the index"},
        {"1234567890", 0, 10, "ten digits"},
        {"5000000", 0, 5, "a row far beyond the index"},
        {"4999999", hostconfig::kStatusNoEntry, kSentinel, "no such far row"},
        {"1a", 0, 7, "digits then a letter"},
        {"", hostconfig::kStatusNoEntry, kSentinel, "the empty key"},
    };
    for (const KeyCase& c : cases) {
        SCOPED_TRACE(c.why);
        const Read read = readOne("T", "Mode", c.key);
        EXPECT_EQ(read.status, c.status);
        EXPECT_EQ(read.value, c.value);
        EXPECT_EQ(GetLocaleKeyValuesCount("T", "Mode", c.key), c.status == 0 ? 1 : 0);
    }
}

struct NameCase {
    const char* table;
    const char* locale;
    const char* key;
    int32_t status;
    int32_t value;
    const char* why;
};

// Lookups in a row, each after the one before it: the remembered table and locale must never
// answer for another name, not for a prefix or an extension of it, nor in another table.
TEST_F(StoreLookupTest, EachLookupAnswersForItsOwnTableAndLocale) {
    load(
        "[Table]\nMode[0] = 1\nOther[0] = 2\nMod[0] = 3\n"
        "[TableX]\nMode[0] = 4\nModeX[0] = 5\n"
        "[TableXY]\nMode[0] = 6\n");
    const NameCase cases[] = {
        {"TableX", "Mode", "0", 0, 4, "first lookup"},
        {"Table", "Mode", "0", 0, 1, "a prefix of the table before"},
        {"TableXY", "Mode", "0", 0, 6, "an extension of a table before"},
        {"TableX", "ModeX", "0", 0, 5, "an extension of the locale before"},
        {"TableX", "Mod", "0", hostconfig::kStatusNoEntry, kSentinel, "a prefix, absent here"},
        {"Table", "Mod", "0", 0, 3, "the same locale name in another table"},
        {"Table", "Other", "0", 0, 2, "another locale of the same table"},
        {"Table", "Mode", "0", 0, 1, "back to the first locale"},
        {"TableXYZ", "Mode", "0", hostconfig::kStatusNoEntry, kSentinel, "an absent table"},
        {"TableX", "Mode", "0", 0, 4, "after an absent table"},
    };
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.why);
        const Read read = readOne(c.table, c.locale, c.key);
        EXPECT_EQ(read.status, c.status);
        EXPECT_EQ(read.value, c.value);
    }
    EXPECT_EQ(GetLocaleKeyCount("Table", "Mode"), 1);
    EXPECT_EQ(GetLocaleKeyCount("TableX", "Mod"), 0);
    EXPECT_EQ(GetKeyCount("TableX"), 2);
    EXPECT_EQ(GetKeyCount("Tabl"), 0);
}

// What a lookup remembered belongs to the tables it was made in: a load, a reload or a clear
// replaces them, and the next lookup answers from the tables now in force.
TEST_F(StoreLookupTest, LookupsFollowTheTablesInForce) {
    load("[T]\nMode[0] = 1\nMode[1] = 2\n");
    EXPECT_EQ(readOne("T", "Mode", "1").value, 2);

    load("[T]\nMode[0] = 3\n");
    EXPECT_EQ(readOne("T", "Mode", "0").value, 3);
    EXPECT_EQ(readOne("T", "Mode", "1").status, hostconfig::kStatusNoEntry);

    ASSERT_TRUE(hostconfig::reload().ok);
    EXPECT_EQ(readOne("T", "Mode", "0").value, 3);

    hostconfig::clear();
    EXPECT_EQ(readOne("T", "Mode", "0").status, hostconfig::kStatusNoEntry);
    EXPECT_EQ(GetLocaleKeyCount("T", "Mode"), 0);

    // A refused load leaves the tables before it, and what was remembered of them, in force.
    load("[T]\nMode[0] = 4\n");
    EXPECT_EQ(readOne("T", "Mode", "0").value, 4);
    EXPECT_FALSE(hostconfig::loadText("[T]\nMode[0] = x\n", "bad.config").ok);
    EXPECT_EQ(readOne("T", "Mode", "0").value, 4);
}

}  // namespace
