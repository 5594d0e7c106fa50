#include "cust_rrzo_policy_legacy.h"

#include <string>
#include <vector>

#include "config_store.h"
#include "cust_int32.h"
#include "cust_log.h"
#include "platform/CustFeatureServices.h"
#include "platform/SensorServices.h"

using NSCam::MSize;

namespace {

using custpolicy::RowReadFault;
using custpolicy::RowScan;
using custpolicy::scanTableRows;
using custpolicy::TableRow;
using custpolicy::wildcardOrEqual;

constexpr char kLogSourcePath[] = "CustPolicy/cust_rrzo_policy_legacy.cpp";
constexpr char kTag[] = "CustRrzoPolicyLegacy";

constexpr size_t kWidth = custpolicy::kWidthCustomSize;
using SizeRow = TableRow<kWidth>;
// Columns of a custom size row.
constexpr size_t kColumnCamId = 0;
constexpr size_t kColumnCapMode = 1;
constexpr size_t kColumnFeatureMask = 2;
constexpr size_t kColumnWidth = 3;
constexpr size_t kColumnHeight = 4;

// Feature-mask bits of the custom size tables.
constexpr int32_t kMaskStereo = 0x1;
constexpr int32_t kMask4kVideo = 0x2;
constexpr int32_t kMaskNotFromMainMenu = 0x20;
constexpr int32_t kMaskDolbyVision = 0x40;
// Bit of the stereo feature mode that marks the stereo feature of the custom tables.
constexpr uint32_t kStereoFeatureBit = 0x40;

// The device's fixed RRZO size for its video-stabilisation capture mode on the main sensor.
constexpr int32_t kEisAlgoTypeFixedSize = 1;
constexpr int kEisSensorIdx = 0;
constexpr int32_t kEisCaptureMode = 0x8028;
constexpr MSize kEisRrzoSize{1476, 827};

CustomMetadata* customMetadata() { return CustomerData::getInstance()->getCustomMetadata(); }
CustomCommon* customCommon() { return CustomerData::getInstance()->getCustomCommon(); }

// The caller facts both tables are keyed on.
struct CallerFacts {
    bool stereo = false;
    bool is4kVideo = false;
    bool is3rdCam = false;
    bool isSdkCam = false;
    bool isSysCam = false;
};

CallerFacts queryCallerFacts() {
    CallerFacts facts;
    const uint32_t stereoMode =
        StereoSettingProvider::getStereoFeatureMode(StereoSettingProvider::__logicalDeviceID);
    facts.stereo = (stereoMode & kStereoFeatureBit) != 0;
    facts.is4kVideo = customCommon()->is4kVideoMode();
    facts.is3rdCam = customMetadata()->is3rdCam();
    facts.isSdkCam = customMetadata()->isSdkCam();
    facts.isSysCam = customMetadata()->isSystemCam();
    return facts;
}

int32_t baseFeatureMask(const CallerFacts& facts) {
    int32_t mask = 0;
    if ((facts.isSdkCam || facts.isSysCam) && facts.stereo) mask |= kMaskStereo;
    if (facts.is4kVideo) mask |= kMask4kVideo;
    return mask;
}

void appendIfNamed(std::vector<std::string>& locales, std::string name) {
    if (!name.empty()) locales.push_back(std::move(name));
}

// One custom-size lookup: the first row, over the locales in order, whose camera id, capture mode
// and feature mask match. A locale without rows or with a row 0 of another width is passed over
// silently; an unreadable row is skipped with a debug message naming the table, and the scan goes
// on with the next row.
struct SizeLookup {
    const char* table;
    const char* function;  // printed as the first "%s" of every message
    bool isSensorTable;    // the sensor table also reports each row's match columns
};

bool findSizeRow(const SizeLookup& lookup, const std::vector<std::string>& locales, int camId,
                 int32_t capMode, int32_t featureMask, SizeRow& row, const std::string** matched) {
    for (const std::string& locale : locales) {
        const int32_t rowCount = GetLocaleKeyCount(lookup.table, locale.c_str());
        if (rowCount == 0) continue;
        if (GetLocaleKeyValuesCount(lookup.table, locale.c_str(), custpolicy::kKeyRow0) !=
            static_cast<int32_t>(kWidth)) {
            continue;
        }
        const RowScan scan = scanTableRows<kWidth>(
            lookup.table, locale.c_str(), rowCount, RowReadFault::SkipRow, row,
            [&](const SizeRow& r, int32_t) {
                if (lookup.isSensorTable) {
                    CUST_LOG_IN(Info, kTag, lookup.function, "[%s] %d %d %d", r[kColumnCamId],
                                r[kColumnCapMode], r[kColumnFeatureMask]);
                }
                return wildcardOrEqual(r[kColumnCamId], camId) &&
                       wildcardOrEqual(r[kColumnCapMode], capMode) &&
                       wildcardOrEqual(r[kColumnFeatureMask], featureMask);
            },
            [&](int32_t index, int32_t) {
                if (lookup.isSensorTable) {
                    CUST_LOG_IN(Debug, kTag, lookup.function,
                                "[%s] CameraCustomSensorSize keyIndx=%d activity=%s valueCnt=%u "
                                "getconfig fail",
                                index, locale.c_str(), static_cast<unsigned int>(kWidth));
                } else {
                    CUST_LOG_IN(Debug, kTag, lookup.function,
                                "[%s] CameraCustomRrzoSize keyIndx=%d activity=%s valueCnt=%u "
                                "getconfig fail",
                                index, locale.c_str(), static_cast<unsigned int>(kWidth));
                }
            });
        if (scan.matched) {
            *matched = &locale;
            return true;
        }
    }
    return false;
}

}  // namespace

CustRrzoPolicyLegacy::~CustRrzoPolicyLegacy() = default;

void CustRrzoPolicyLegacy::calculateTargetSize(int, MSize&, int,
                                               std::shared_ptr<CustSensorSettingMap>, bool, bool,
                                               unsigned int, ConfigurationOutputParams*,
                                               ConfigurationInputParams const*) {}

void CustRrzoPolicyLegacy::selectTargetSize(int sensorIdx, MSize const& inSize, MSize& outSize) {
    const MSize sensorSize = getSensorSizeLegacy(inSize, sensorIdx);

    // Widen the requested size to the sensor's aspect ratio: only one side grows.
    const int32_t widthTimesSensorHeight = custpolicy::wrapMul(outSize.w, sensorSize.h);
    const int32_t heightTimesSensorWidth = custpolicy::wrapMul(outSize.h, sensorSize.w);
    if (widthTimesSensorHeight > heightTimesSensorWidth) {
        outSize.h = custpolicy::divOrZero(widthTimesSensorHeight, sensorSize.w);
    } else {
        outSize.w = custpolicy::divOrZero(heightTimesSensorWidth, sensorSize.h);
    }

    applyTargetSize(sensorIdx, outSize);

    const int32_t eisAlgoType =
        ICustFeatureCapability::getVideoEisAlgoType(-1, -1, -1, 0, 0, -1, false);
    const int32_t capMode = customCommon()->getCapMode();
    if (eisAlgoType == kEisAlgoTypeFixedSize && sensorIdx == kEisSensorIdx &&
        capMode == kEisCaptureMode) {
        outSize = kEisRrzoSize;
    }

    getRrzoSizeLegacy(outSize, sensorIdx);
}

MSize CustRrzoPolicyLegacy::getSensorSizeLegacy(MSize const& inSize, int camId) {
    MSize result = inSize;
    const CallerFacts facts = queryCallerFacts();
    CUST_LOGI(kTag, "[%s] isSysCam = %d, is3rdCam = %d, isSdkCam = %d, is4kVideo = %d",
              facts.isSysCam, facts.is3rdCam, facts.isSdkCam, facts.is4kVideo);
    const int32_t capMode = customCommon()->getCapMode();
    const int32_t featureMask = baseFeatureMask(facts);

    const SizeLookup lookup{custpolicy::kTableCustomSensorSize, __func__, true};
    if (GetKeyCount(lookup.table) == 0) return result;

    std::vector<std::string> locales;
    if (customMetadata()->isSystemCam()) {
        appendIfNamed(locales, customMetadata()->getCallerName());
    } else {
        appendIfNamed(locales, customMetadata()->getActivityName());
    }
    locales.emplace_back(custpolicy::kLocaleAllCamApp);

    SizeRow row{};
    const std::string* locale = nullptr;
    if (!findSizeRow(lookup, locales, camId, capMode, featureMask, row, &locale)) return result;

    // A zero column keeps the sensor's own side.
    if (row[kColumnWidth] != 0) result.w = row[kColumnWidth];
    if (row[kColumnHeight] != 0) result.h = row[kColumnHeight];
    CUST_LOGI(kTag,
              "[%s] customized sensor size(%dx%d) for camId=%d opMode=%d featureMask=(%d, %d) "
              "activity=%s",
              result.w, result.h, camId, capMode, row[kColumnFeatureMask], featureMask,
              locale->c_str());
    return result;
}

void CustRrzoPolicyLegacy::getRrzoSizeLegacy(MSize& size, int camId) {
    const CallerFacts facts = queryCallerFacts();
    const bool fromMainMenu = customMetadata()->getCamFromMainMenu();
    CUST_LOGI(kTag,
              "[%s] isSysCam = %d, is3rdCam = %d, isSdkCam = %d, is4kVideo = %d, "
              "isCamFromMainMenu = %d",
              facts.isSysCam, facts.is3rdCam, facts.isSdkCam, facts.is4kVideo, fromMainMenu);
    const int32_t capMode = customCommon()->getCapMode();
    const bool dolbyVision = customCommon()->isDolbyVision();
    int32_t featureMask = baseFeatureMask(facts);
    if (facts.isSysCam && !fromMainMenu) featureMask |= kMaskNotFromMainMenu;
    if (dolbyVision) featureMask |= kMaskDolbyVision;

    const SizeLookup lookup{custpolicy::kTableCustomRrzoSize, __func__, false};
    if (GetKeyCount(lookup.table) == 0) return;

    std::vector<std::string> locales;
    if (customMetadata()->isSystemCam()) {
        appendIfNamed(locales, customMetadata()->getCallerName());
    } else {
        appendIfNamed(locales, customMetadata()->getActivityName());
        appendIfNamed(locales, customMetadata()->geCurPackageName());
    }
    locales.emplace_back(custpolicy::kLocaleAllCamApp);

    SizeRow row{};
    const std::string* locale = nullptr;
    if (!findSizeRow(lookup, locales, camId, capMode, featureMask, row, &locale)) return;

    // The RRZO table has the last word, a 0 x 0 row included.
    size = MSize(row[kColumnWidth], row[kColumnHeight]);
    CUST_LOGI(kTag,
              "[%s] customized rrzo size(%dx%d) for camId=%d opMode=%d featureMask=(%d, %d) "
              "activity=%s",
              size.w, size.h, camId, capMode, row[kColumnFeatureMask], featureMask,
              locale->c_str());
}
