#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/IMetadata.h"
#include "platform/MSize.h"

namespace {

using NSCam::IEntry;
using NSCam::IMetadata;
using NSCam::MetaType;

constexpr uint32_t kTagPixelArray = 0xF0006;
constexpr uint32_t kTagFpsRanges = 0x10014;
constexpr uint32_t kTagAbsent = 0x90040118;

// Stores `items` in an entry and checks that they, and their raw bytes, read back unchanged, and
// that reads past the end yield zero.
template <typename T>
void expectRoundTrip(const std::vector<T>& items, MetaType type) {
    IEntry entry(kTagPixelArray);
    for (const T& item : items) entry.push_back(item);
    IMetadata metadata;
    metadata.update(entry);

    const IEntry read = metadata.entryFor(kTagPixelArray);
    EXPECT_EQ(read.tag(), kTagPixelArray);
    EXPECT_EQ(read.type(), type);
    ASSERT_EQ(read.count(), items.size());
    for (size_t i = 0; i < items.size(); ++i) EXPECT_EQ(read.itemAt<T>(i), items[i]);
    EXPECT_EQ(read.itemAt<T>(items.size()), T{}) << "one past the end";
    EXPECT_EQ(read.itemAt<T>(SIZE_MAX), T{}) << "far past the end";

    ASSERT_EQ(read.dataSize(), items.size() * sizeof(T));
    ASSERT_NE(read.data(), nullptr);
    EXPECT_EQ(std::memcmp(read.data(), items.data(), read.dataSize()), 0) << "packed raw items";
}

TEST(MetadataTest, EveryItemTypeRoundTripsWithItsRawBytes) {
    {
        SCOPED_TRACE("uint8");
        expectRoundTrip<uint8_t>({0, 1, 255}, MetaType::UInt8);
    }
    {
        SCOPED_TRACE("int32");
        expectRoundTrip<int32_t>({15, 30, -1, INT32_MIN, INT32_MAX}, MetaType::Int32);
    }
    {
        SCOPED_TRACE("int64");
        expectRoundTrip<int64_t>({0x23, 4000, 3000, 33333333LL, INT64_MIN}, MetaType::Int64);
    }
    {
        SCOPED_TRACE("float");
        expectRoundTrip<float>({1.5f, -0.25f}, MetaType::Float);
    }
    {
        SCOPED_TRACE("double");
        expectRoundTrip<double>({1e300, -2.5}, MetaType::Double);
    }
    {
        SCOPED_TRACE("MSize");
        expectRoundTrip<MSize>({{4000, 3000}, {-1, 0}}, MetaType::Size);
    }
}

TEST(MetadataTest, ItemReadAsAnotherTypeIsZero) {
    const IEntry ints = IEntry::of<int32_t>(kTagFpsRanges, {30, 60});
    EXPECT_EQ(ints.itemAt<uint8_t>(0), 0);
    EXPECT_EQ(ints.itemAt<int64_t>(0), 0);
    EXPECT_EQ(ints.itemAt<float>(0), 0.0f);
    EXPECT_EQ(ints.itemAt<double>(0), 0.0);
    EXPECT_EQ(ints.itemAt<MSize>(0), MSize(0, 0));

    const IEntry size = IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}});
    EXPECT_EQ(size.itemAt<int32_t>(0), 0) << "an MSize is not two int32 items";
    EXPECT_EQ(size.itemAt<int64_t>(0), 0);
}

TEST(MetadataTest, EntryHoldsOneTypeOnly) {
    IEntry entry(kTagFpsRanges);
    entry.push_back<int32_t>(30);
    entry.push_back<int64_t>(7);
    EXPECT_EQ(entry.type(), MetaType::Int64);
    ASSERT_EQ(entry.count(), 1u) << "a new item type replaces the old items";
    EXPECT_EQ(entry.itemAt<int64_t>(0), 7);
    EXPECT_EQ(entry.itemAt<int32_t>(0), 0);
}

TEST(MetadataTest, AbsentTagGivesAnEmptyEntry) {
    IMetadata metadata;
    metadata.update(IEntry::of<int32_t>(kTagFpsRanges, {30}));
    const IEntry entry = metadata.entryFor(kTagAbsent);
    EXPECT_TRUE(entry.isEmpty());
    EXPECT_EQ(entry.count(), 0u);
    EXPECT_EQ(entry.data(), nullptr);
    EXPECT_EQ(entry.dataSize(), 0u);
    EXPECT_EQ(entry.itemAt<int32_t>(0), 0);
    EXPECT_EQ(entry.itemAt<MSize>(0), MSize(0, 0));
}

TEST(MetadataTest, CopiesAreIndependent) {
    IMetadata original;
    original.update(IEntry::of<int32_t>(kTagFpsRanges, {15, 30}));

    IMetadata copy = original;
    copy.update(IEntry::of<int32_t>(kTagFpsRanges, {60, 120}));
    copy.update(IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}}));
    EXPECT_EQ(original.entryFor(kTagFpsRanges).itemAt<int32_t>(1), 30);
    EXPECT_TRUE(original.entryFor(kTagPixelArray).isEmpty());

    IEntry entryCopy = original.entryFor(kTagFpsRanges);
    entryCopy.push_back<int32_t>(240);
    EXPECT_EQ(original.entryFor(kTagFpsRanges).count(), 2u) << "entries are returned by value";

    original.remove(kTagFpsRanges);
    EXPECT_EQ(copy.entryFor(kTagFpsRanges).itemAt<int32_t>(0), 60);
}

struct GetEntryCase {
    uint32_t tag;
    size_t index;
    bool found;
    int32_t expected;
    const char* why;
};
const GetEntryCase kGetEntryCases[] = {
    {kTagFpsRanges, 0, true, 15, "first item"},
    {kTagFpsRanges, 3, true, 60, "last item"},
    {kTagFpsRanges, 4, false, -7, "index past the end leaves the value"},
    {kTagAbsent, 0, false, -7, "absent tag leaves the value"},
    {kTagPixelArray, 0, false, -7, "entry of another type leaves the value"},
};

TEST(MetadataTest, GetEntryWritesOnlyWhenTheItemExists) {
    IMetadata metadata;
    metadata.update(IEntry::of<int32_t>(kTagFpsRanges, {15, 30, 30, 60}));
    metadata.update(IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}}));
    for (const auto& c : kGetEntryCases) {
        SCOPED_TRACE(c.why);
        int32_t value = -7;
        EXPECT_EQ(IMetadata::getEntry<int32_t>(&metadata, c.tag, value, c.index), c.found);
        EXPECT_EQ(value, c.expected);
    }

    uint8_t narrow = 9;
    EXPECT_FALSE(IMetadata::getEntry<uint8_t>(&metadata, kTagFpsRanges, narrow));
    EXPECT_EQ(narrow, 9) << "int32 items are not read as uint8";

    int32_t untouched = -7;
    EXPECT_FALSE(IMetadata::getEntry<int32_t>(nullptr, kTagFpsRanges, untouched));
    EXPECT_EQ(untouched, -7) << "no metadata at all";
}

TEST(MetadataTest, OpaqueByteBlockIsKeptVerbatim) {
    struct Block {
        int32_t words[12];
    } block{};
    block.words[10] = 40;  // an integer 40 bytes into the block
    const IEntry entry = IEntry::ofBytes(kTagAbsent, &block, sizeof(block));
    ASSERT_EQ(entry.dataSize(), sizeof(block));
    ASSERT_NE(entry.data(), nullptr);
    int32_t word = 0;
    std::memcpy(&word, static_cast<const uint8_t*>(entry.data()) + 40, sizeof(word));
    EXPECT_EQ(word, 40);
    EXPECT_EQ(entry.count(), sizeof(block)) << "one uint8 item per byte";
}

}  // namespace
