#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <tuple>
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

// Items and their packed raw bytes read back unchanged; reads past the end yield zero.
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
    EXPECT_EQ(std::memcmp(read.data(), items.data(), read.dataSize()), 0);
}

TEST(MetadataTest, EveryItemTypeRoundTripsWithItsRawBytes) {
    expectRoundTrip<uint8_t>({0, 1, 255}, MetaType::UInt8);
    expectRoundTrip<int32_t>({-1, INT32_MIN, INT32_MAX}, MetaType::Int32);
    expectRoundTrip<int64_t>({33333333LL, INT64_MIN}, MetaType::Int64);
    expectRoundTrip<float>({1.5f, -0.25f}, MetaType::Float);
    expectRoundTrip<double>({1e300, -2.5}, MetaType::Double);
    expectRoundTrip<MSize>({{4000, 3000}, {-1, 0}}, MetaType::Size);
}

TEST(MetadataTest, EntryHoldsOneTypeAndOtherTypesOrAbsentTagsReadAsZero) {
    IEntry mixed(kTagFpsRanges);
    mixed.push_back<int32_t>(30);
    mixed.push_back<int64_t>(7);
    EXPECT_EQ(mixed.type(), MetaType::Int64);
    ASSERT_EQ(mixed.count(), 1u) << "a new item type replaces the old items";
    EXPECT_EQ(mixed.itemAt<int64_t>(0), 7);

    const IEntry ints = IEntry::of<int32_t>(kTagFpsRanges, {30, 60});
    EXPECT_EQ(std::make_tuple(ints.itemAt<uint8_t>(0), ints.itemAt<int64_t>(0),
                              ints.itemAt<float>(0), ints.itemAt<double>(0), ints.itemAt<MSize>(0)),
              std::make_tuple(uint8_t{0}, int64_t{0}, 0.0f, 0.0, MSize(0, 0)));
    EXPECT_EQ(IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}}).itemAt<int32_t>(0), 0)
        << "an MSize is not two int32 items";

    IMetadata metadata;
    metadata.update(ints);
    const IEntry absent = metadata.entryFor(kTagAbsent);
    EXPECT_TRUE(absent.isEmpty());
    EXPECT_EQ(std::make_tuple(absent.count(), absent.data(), absent.dataSize(),
                              absent.itemAt<int32_t>(0)),
              std::make_tuple(size_t{0}, static_cast<const void*>(nullptr), size_t{0}, 0));
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

TEST(MetadataTest, GetEntryWritesOnlyWhenTheItemExists) {
    IMetadata metadata;
    metadata.update(IEntry::of<int32_t>(kTagFpsRanges, {15, 30, 30, 60}));
    metadata.update(IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}}));
    struct Case { uint32_t tag; size_t index; bool found; int32_t expected; const char* why; };
    const Case kCases[] = {
        {kTagFpsRanges, 0, true, 15, "first item"},
        {kTagFpsRanges, 3, true, 60, "last item"},
        {kTagFpsRanges, 4, false, -7, "index past the end"},
        {kTagAbsent, 0, false, -7, "absent tag"},
        {kTagPixelArray, 0, false, -7, "entry of another type"},
    };
    for (const Case& c : kCases) {
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
    int32_t block[12] = {};
    block[10] = 40;
    const IEntry entry = IEntry::ofBytes(kTagAbsent, block, sizeof(block));
    ASSERT_EQ(entry.dataSize(), sizeof(block));
    ASSERT_NE(entry.data(), nullptr);
    EXPECT_EQ(std::memcmp(entry.data(), block, sizeof(block)), 0);
    EXPECT_EQ(entry.count(), sizeof(block)) << "one uint8 item per byte";
}

}  // namespace
