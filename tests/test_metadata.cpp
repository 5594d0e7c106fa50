// The host's metadata containers, through which the policies read untrusted entries.

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

// Items and their packed raw bytes read back unchanged; reads past the end or of another item
// type yield zero.
template <typename T, typename Other>
void expectRoundTrip(const std::vector<T>& items, MetaType type) {
    IEntry entry(kTagPixelArray);
    for (const T& item : items) entry.push_back(item);
    IMetadata metadata;
    metadata.update(entry);
    const IEntry read = metadata.entryFor(kTagPixelArray);
    EXPECT_EQ(std::make_tuple(read.tag(), read.type(), read.count(), read.dataSize()),
              std::make_tuple(kTagPixelArray, type, items.size(), items.size() * sizeof(T)));
    for (size_t i = 0; i < items.size(); ++i) EXPECT_EQ(read.itemAt<T>(i), items[i]);
    EXPECT_EQ(read.itemAt<T>(items.size()), T{}) << "one past the end";
    EXPECT_EQ(read.itemAt<T>(SIZE_MAX), T{}) << "far past the end";
    EXPECT_EQ(read.itemAt<Other>(0), Other{}) << "another item type";
    ASSERT_NE(read.data(), nullptr);
    EXPECT_EQ(std::memcmp(read.data(), items.data(), read.dataSize()), 0);
}

TEST(MetadataTest, EveryItemTypeRoundTripsWithItsRawBytes) {
    expectRoundTrip<uint8_t, int32_t>({0, 1, 255}, MetaType::UInt8);
    expectRoundTrip<int32_t, uint8_t>({-1, INT32_MIN, INT32_MAX}, MetaType::Int32);
    expectRoundTrip<int64_t, int32_t>({33333333LL, INT64_MIN}, MetaType::Int64);
    expectRoundTrip<float, double>({1.5f, -0.25f}, MetaType::Float);
    expectRoundTrip<double, float>({1e300, -2.5}, MetaType::Double);
    expectRoundTrip<MSize, int32_t>({{4000, 3000}, {-1, 0}}, MetaType::Size);
}

TEST(MetadataTest, EntriesHoldOneTypeAndAreCopiedByValue) {
    IEntry mixed(kTagFpsRanges);
    mixed.push_back<int32_t>(30);
    mixed.push_back<int64_t>(7);
    EXPECT_EQ(std::make_tuple(mixed.type(), mixed.count(), mixed.itemAt<int64_t>(0)),
              std::make_tuple(MetaType::Int64, size_t{1}, int64_t{7}))
        << "a new item type replaces the old items";

    IMetadata original;
    original.update(IEntry::of<int32_t>(kTagFpsRanges, {15, 30}));
    const IEntry absent = original.entryFor(kTagAbsent);
    EXPECT_TRUE(absent.isEmpty());
    EXPECT_EQ(std::make_tuple(absent.count(), absent.data(), absent.dataSize(),
                              absent.itemAt<int32_t>(0)),
              std::make_tuple(size_t{0}, static_cast<const void*>(nullptr), size_t{0}, 0));

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

    int32_t block[12] = {};
    block[10] = 40;
    const IEntry bytes = IEntry::ofBytes(kTagAbsent, block, sizeof(block));
    EXPECT_EQ(std::make_tuple(bytes.type(), bytes.count(), bytes.dataSize()),
              std::make_tuple(MetaType::UInt8, sizeof(block), sizeof(block)))
        << "an opaque block is one byte item per byte";
    ASSERT_NE(bytes.data(), nullptr);
    EXPECT_EQ(std::memcmp(bytes.data(), block, sizeof(block)), 0);
}

TEST(MetadataTest, GetEntryWritesOnlyWhenTheItemExists) {
    IMetadata metadata;
    metadata.update(IEntry::of<int32_t>(kTagFpsRanges, {15, 30, 30, 60}));
    metadata.update(IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}}));
    struct Case {
        const IMetadata* metadata;
        uint32_t tag;
        size_t index;
        int32_t expected;  // -7: not found, the value untouched
        const char* why;
    };
    // clang-format off
    const Case kCases[] = {
        {&metadata, kTagFpsRanges, 0, 15, "first item"},
        {&metadata, kTagFpsRanges, 3, 60, "last item"},
        {&metadata, kTagFpsRanges, 4, -7, "index past the end"},
        {&metadata, kTagAbsent, 0, -7, "absent tag"},
        {&metadata, kTagPixelArray, 0, -7, "entry of another type"},
        {nullptr, kTagFpsRanges, 0, -7, "no metadata at all"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        int32_t value = -7;
        EXPECT_EQ(IMetadata::getEntry<int32_t>(c.metadata, c.tag, value, c.index),
                  c.expected != -7);
        EXPECT_EQ(value, c.expected);
    }
    uint8_t narrow = 9;
    EXPECT_FALSE(IMetadata::getEntry<uint8_t>(&metadata, kTagFpsRanges, narrow));
    EXPECT_EQ(narrow, 9) << "int32 items are not read as uint8";
}

}  // namespace
