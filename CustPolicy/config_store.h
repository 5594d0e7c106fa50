#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

#include "platform/ConfigStore.h"

// Access to the keyed integer tables of the device's camera configuration store. The store is read
// afresh on every lookup: one count call, one width call on row 0, then at most one read per row
// until the first match. Nothing is cached between lookups.

namespace custpolicy {

// Tables read by the legacy policies, and the number of integers in each of their rows.
inline constexpr char kTableCommonSensorSettingMap[] = "CommonSensorSettingMap";
inline constexpr char kTableSystemCamSensorSettingMap[] = "SystemCamSensorSettingMap";
inline constexpr char kTableThirdCamSensorSettingMap[] = "ThirdCamSensorSettingMap";
inline constexpr char kTableThirdCamByActivity[] = "ThirdCamSensorSettingMapByActivity";
inline constexpr char kTableThirdCamByThermal[] = "ThirdCamSensorSettingMapByThermal";
inline constexpr char kTableCustomSensorSize[] = "CameraCustomSensorSize";
inline constexpr char kTableCustomRrzoSize[] = "CameraCustomRrzoSize";

constexpr size_t kWidthCommonSensorSettingMap = 3;
constexpr size_t kWidthSystemCamSensorSettingMap = 9;
constexpr size_t kWidthThirdCamSensorSettingMap = 8;
constexpr size_t kWidthThirdCamByActivity = 9;
constexpr size_t kWidthThirdCamByThermal = 3;
constexpr size_t kWidthCustomSize = 5;

// Locales (row groups) with a fixed name.
inline constexpr char kLocaleMode[] = "Mode";
inline constexpr char kEntryModeRow0[] = "Mode[0]";  // full name of row 0 of the "Mode" locale
inline constexpr char kLocaleAllCamApp[] = "AllCamApp";
inline constexpr char kLocaleGsi[] = "android.camera.cts";
inline constexpr char kKeyRow0[] = "0";

// -1 in a match column matches every input.
constexpr int32_t kWildcard = -1;

inline bool wildcardOrEqual(int32_t column, int32_t value) {
    return column == kWildcard || column == value;
}

// A row's key: its index in decimal, without padding or sign for the indices the scan makes.
// Built on the stack, so that a scan allocates nothing per row.
class RowKey {
public:
    explicit RowKey(int32_t index) {
        auto result = std::to_chars(mText.data(), mText.data() + mText.size() - 1, index);
        *result.ptr = '\0';
    }
    const char* c_str() const { return mText.data(); }

private:
    // "-2147483648" and its terminator fit with room to spare.
    static constexpr size_t kCapacity = 16;
    std::array<char, kCapacity> mText{};
};

// What a failed row read does to a lookup.
enum class RowReadFault {
    EndLookup,  // the whole lookup ends (and its reader falls back)
    SkipRow,    // the row is passed over and the scan goes on
};

template <size_t kWidth>
using TableRow = std::array<int32_t, kWidth>;

// How a scan ended.
struct RowScan {
    bool matched = false;     // `row` holds the first matching row, at `index`
    bool readFailed = false;  // a read error ended the lookup at `index` with `status`
    int32_t index = 0;
    int32_t status = 0;
};

// The common scan: reads rows "0", "1", ... up to `rowCount` - 1 of (table, locale) into `row`,
// each zero-filled first, and stops at the first row for which `rowMatches(row, index)` holds.
// `onReadError(index, status)` is told of every failed read before `fault` decides what follows.
template <size_t kWidth, typename RowMatches, typename OnReadError>
RowScan scanTableRows(const char* table, const char* locale, int32_t rowCount, RowReadFault fault,
                      TableRow<kWidth>& row, RowMatches&& rowMatches, OnReadError&& onReadError) {
    RowScan scan;
    for (int32_t index = 0; index < rowCount; ++index) {
        row.fill(0);
        const RowKey key(index);
        const int32_t status = GetLocaleIntegerListConfiguration(
            table, locale, key.c_str(), row.data(), static_cast<int32_t>(kWidth));
        if (status != 0) {
            onReadError(index, status);
            if (fault == RowReadFault::SkipRow) continue;
            scan.readFailed = true;
            scan.index = index;
            scan.status = status;
            return scan;
        }
        if (rowMatches(row, index)) {
            scan.matched = true;
            scan.index = index;
            return scan;
        }
    }
    return scan;
}

}  // namespace custpolicy
