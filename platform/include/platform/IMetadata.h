#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <map>
#include <type_traits>
#include <vector>

#include "platform/MSize.h"

namespace NSCam {

// Item types an entry can hold. An entry holds items of exactly one type.
enum class MetaType : uint8_t {
    None = 0,
    UInt8,
    Int32,
    Int64,
    Float,
    Double,
    Size,
};

template <typename T>
struct MetaTypeOf;
template <> struct MetaTypeOf<uint8_t> { static constexpr MetaType value = MetaType::UInt8; };
template <> struct MetaTypeOf<int32_t> { static constexpr MetaType value = MetaType::Int32; };
template <> struct MetaTypeOf<int64_t> { static constexpr MetaType value = MetaType::Int64; };
template <> struct MetaTypeOf<float> { static constexpr MetaType value = MetaType::Float; };
template <> struct MetaTypeOf<double> { static constexpr MetaType value = MetaType::Double; };
template <> struct MetaTypeOf<MSize> { static constexpr MetaType value = MetaType::Size; };

// One metadata entry: a tag and a list of typed items kept as raw bytes, so that `data()` can
// expose the item block the way the platform does. Reads never leave the entry: an item past the
// end, or an item read as another type than the entry holds, yields a zero value.
class IEntry {
public:
    IEntry() = default;
    explicit IEntry(uint32_t tag) : mTag(tag) {}

    template <typename T>
    static IEntry of(uint32_t tag, std::initializer_list<T> items) {
        IEntry entry(tag);
        for (const T& item : items) entry.push_back(item);
        return entry;
    }

    // An entry whose item block is the given bytes (an opaque vendor structure).
    static IEntry ofBytes(uint32_t tag, const void* bytes, size_t size) {
        IEntry entry(tag);
        entry.mType = MetaType::UInt8;
        entry.mItemSize = 1;
        const auto* p = static_cast<const uint8_t*>(bytes);
        entry.mBytes.assign(p, p + size);
        return entry;
    }

    uint32_t tag() const { return mTag; }
    MetaType type() const { return mType; }
    bool isEmpty() const { return count() == 0; }
    size_t count() const { return mItemSize == 0 ? 0 : mBytes.size() / mItemSize; }

    // The raw item block, or null for an empty entry.
    const void* data() const { return mBytes.empty() ? nullptr : mBytes.data(); }
    // Size of the raw item block in bytes.
    size_t dataSize() const { return mBytes.size(); }

    template <typename T>
    void push_back(const T& item) {
        static_assert(std::is_trivially_copyable<T>::value, "items are stored as bytes");
        if (mType != MetaTypeOf<T>::value) {
            mBytes.clear();
            mType = MetaTypeOf<T>::value;
            mItemSize = sizeof(T);
        }
        const auto* p = reinterpret_cast<const uint8_t*>(&item);
        mBytes.insert(mBytes.end(), p, p + sizeof(T));
    }

    template <typename T>
    T itemAt(size_t index) const {
        T value{};
        if (mType != MetaTypeOf<T>::value || index >= count()) return value;
        std::memcpy(&value, mBytes.data() + index * sizeof(T), sizeof(T));
        return value;
    }

private:
    uint32_t mTag = 0;
    MetaType mType = MetaType::None;
    size_t mItemSize = 0;
    std::vector<uint8_t> mBytes;
};

// The platform's metadata container: tags to typed entries, copied by value. The library calls
// entryFor, the entry's count, itemAt, data, dataSize and isEmpty, and the typed getEntry; this
// stand-in defines them inline, so they are not among the library's imports.
class IMetadata {
public:
    // The entry of `tag`, or an empty entry carrying that tag when it is absent.
    IEntry entryFor(uint32_t tag, int /*unused*/ = 0) const {
        auto it = mEntries.find(tag);
        return it == mEntries.end() ? IEntry(tag) : it->second;
    }

    void update(uint32_t tag, const IEntry& entry) { mEntries[tag] = entry; }
    void update(const IEntry& entry) { mEntries[entry.tag()] = entry; }
    void remove(uint32_t tag) { mEntries.erase(tag); }
    void clear() { mEntries.clear(); }
    size_t count() const { return mEntries.size(); }
    bool isEmpty() const { return mEntries.empty(); }
    const std::map<uint32_t, IEntry>& entries() const { return mEntries; }

    // Reads item `index` of `tag` as T. True and `value` set when the entry exists, holds items of
    // type T and has that index; otherwise false and `value` untouched.
    template <typename T>
    static bool getEntry(const IMetadata* metadata, uint32_t tag, T& value, size_t index = 0) {
        if (metadata == nullptr) return false;
        auto it = metadata->mEntries.find(tag);
        if (it == metadata->mEntries.end()) return false;
        const IEntry& entry = it->second;
        if (entry.type() != MetaTypeOf<T>::value || index >= entry.count()) return false;
        value = entry.itemAt<T>(index);
        return true;
    }

private:
    std::map<uint32_t, IEntry> mEntries;
};

}  // namespace NSCam
