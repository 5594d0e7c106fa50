#include "cust_setting_policy_legacy.h"

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "config_store.h"
#include "cust_int32.h"
#include "cust_log.h"
#include "custpolicy/cust_contract.h"
#include "platform/CustFeatureServices.h"
#include "platform/SensorServices.h"

using NSCam::MSize;

namespace {

using custpolicy::kWildcard;
using custpolicy::RowReadFault;
using custpolicy::RowScan;
using custpolicy::scanTableRows;
using custpolicy::TableRow;
using custpolicy::wildcardOrEqual;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using NSCam::IMetadata;

constexpr char kLogSourcePath[] = "CustPolicy/cust_setting_policy_legacy.cpp";
constexpr char kTag[] = "CustSettingPolicyLegacy";

// Scenario numbers.
using custpolicy::kNoScenario;
constexpr unsigned int kScenarioCount = custpolicy::kMaxScenario + 1;
// The table path never determines a device id; it prints this in its place.
constexpr unsigned int kUnknownDevId = 0xFFFF;

// Vendor session parameters and static entries read by the legacy policy.
using custpolicy::kTagApiValue;
using custpolicy::kTagEngineerSensorModeSel;  // QOVIX_CONTROL_ENGINEER_SENSORMODE_SELECT
using custpolicy::kTagMipiTraversalMode;
using custpolicy::kTagTemperature;
// The temperature lies this many bytes into the temperature entry's data block.
constexpr size_t kTemperatureOffset = 40;
constexpr int kUnknownTemperature = -1;

// Engineering short-cut: this operation mode, with the static item 0, runs scenario 16.
constexpr uint32_t kMipiTraversalOperationMode = 0x40009007;
constexpr int kMipiTraversalScenario = 16;
// Source line by which log tools know the missing-tag error.
constexpr int kLineEngineerTagMissing = 146;

// Seamless scenario codes of the system-camera table and the flags each sets.
constexpr int32_t kSeamlessCode5 = 5;
constexpr int32_t kSeamlessCode4 = 4;
constexpr unsigned int kSeamlessFlags5 = custpolicy::kSeamlessFlagsScenario5;
constexpr unsigned int kSeamlessFlags4 = custpolicy::kSeamlessFlagsScenario4;
constexpr uint32_t kNoSeamlessScenario = 0;

// Camera-mode classes of the system-camera table.
constexpr int32_t kModeClassVideo = 0;
constexpr int32_t kModeClassFastMotion = 1;
constexpr int32_t kModeClassHighResolution = 2;
constexpr int32_t kModeClassOther = -1;

// The two outside packages treated as third-party callers of the device's own camera.
constexpr char kQovixCallerYoutube[] = "com.google.android.youtube";
constexpr char kQovixCallerMc10086[] = "com.greenpoint.android.mc10086.activity";

CustomMetadata* customMetadata() { return CustomerData::getInstance()->getCustomMetadata(); }
CustomCommon* customCommon() { return CustomerData::getInstance()->getCustomCommon(); }

unsigned int asUnsigned(int32_t value) { return static_cast<unsigned int>(value); }

// The stream facts the table lookups match on.
struct StreamFacts {
    MSize maxYuvSize;
    MSize maxStreamSize;
    int32_t video = 0;
    // maxStreamSize height * 1000 / width in signed 32 bits; 0 for a zero width.
    int32_t aspectRatio = 0;
};

StreamFacts streamFacts(const PolicyParsedAppImageStreamInfo* streamInfo) {
    StreamFacts facts;
    if (streamInfo == nullptr) return facts;  // no stream information: zero sizes, no video
    facts.maxYuvSize = streamInfo->maxYuvSize;
    facts.maxStreamSize = streamInfo->maxStreamSize;
    facts.video = streamInfo->hasVideoConsumer ? 1 : 0;
    facts.aspectRatio = custpolicy::ratioPermille(facts.maxStreamSize.h, facts.maxStreamSize.w);
    return facts;
}

// The mode name is asked once per lookup, video or not; a video session is class 0 whatever its
// name says.
int32_t cameraModeClass(int32_t video) {
    const std::string name = customMetadata()->getCameraModeName();
    if (video != 0) return kModeClassVideo;
    if (name == "fast_motion_mode") return kModeClassFastMotion;
    if (name == "high_pixel_mode" || name == "high_definition_mode")
        return kModeClassHighResolution;
    return kModeClassOther;
}

// Rules shared by the two sized third-party tables: an exclusive aspect-ratio floor compared
// unsigned (so a negative floor other than -1 never matches), an exclusive YUV width floor and an
// inclusive YUV size ceiling.
bool ratioAboveFloor(int32_t floor, int32_t ratio) {
    return floor == kWildcard || asUnsigned(floor) < asUnsigned(ratio);
}
bool yuvWiderThan(int32_t floor, const MSize& yuv) { return floor == kWildcard || floor < yuv.w; }
bool yuvWithin(int32_t ceiling, const MSize& yuv) {
    return ceiling == kWildcard || (ceiling >= yuv.w && ceiling >= yuv.h);
}

// First 32-bit item of an entry's raw block. An entry too short to hold one reads as nonzero, so
// a missing entry never triggers the engineering short-cut.
bool firstItemIsZero(const NSCam::IEntry& entry) {
    int32_t item = 1;
    if (entry.data() == nullptr || entry.dataSize() < sizeof(item)) return false;
    std::memcpy(&item, entry.data(), sizeof(item));
    return item == 0;
}

// How the scan of one named group of a third-party table ended.
enum class GroupScan { NoRows, Faulty, NoMatch, Matched };

// The part both name-keyed third-party lookups share: the group's row count, the width check on
// row 0 and the scan that ends at the first read error. A wrong width or a read error is logged on
// behalf of `function` and reported as Faulty; how a fault ends the lookup is the caller's choice.
template <size_t kWidth, typename RowMatches>
GroupScan scanThirdCamGroup(const char* function, const char* table, const std::string& group,
                            TableRow<kWidth>& row, RowScan& scan, int32_t& rowCount,
                            RowMatches&& rowMatches) {
    rowCount = GetLocaleKeyCount(table, group.c_str());
    if (rowCount == 0) return GroupScan::NoRows;
    const int32_t width = GetLocaleKeyValuesCount(table, group.c_str(), custpolicy::kKeyRow0);
    if (width != static_cast<int32_t>(kWidth)) {
        CUST_LOG_IN(Error, kTag, function,
                    "[%s] match setting:CameraHWConfiguration.config value count %u error!",
                    asUnsigned(width));
        return GroupScan::Faulty;
    }
    scan = scanTableRows<kWidth>(table, group.c_str(), rowCount, RowReadFault::EndLookup, row,
                                 rowMatches, [](int32_t, int32_t) {});
    if (scan.readFailed) {
        CUST_LOG_IN(Error, kTag, function, "[%s] match setting: key[%u/%u] error %d!",
                    asUnsigned(scan.index), asUnsigned(rowCount), scan.status);
        return GroupScan::Faulty;
    }
    return scan.matched ? GroupScan::Matched : GroupScan::NoMatch;
}

// The third-party capability manager is a closed library that takes the record byte for byte,
// padding included. Aggregate initialisation leaves padding unspecified, so the record is built in
// storage zeroed beforehand and lives exactly as long as this holder.
class ZeroFilledThirdParam {
public:
    ZeroFilledThirdParam() : mParam(new (mStorage) ThirdSensormodeInputParam()) {}
    ~ZeroFilledThirdParam() { mParam->~ThirdSensormodeInputParam(); }
    ZeroFilledThirdParam(const ZeroFilledThirdParam&) = delete;
    ZeroFilledThirdParam& operator=(const ZeroFilledThirdParam&) = delete;

    ThirdSensormodeInputParam& get() { return *mParam; }

private:
    alignas(ThirdSensormodeInputParam) unsigned char mStorage[sizeof(ThirdSensormodeInputParam)]{};
    ThirdSensormodeInputParam* mParam;
};

}  // namespace

CustSettingPolicyLegacy::~CustSettingPolicyLegacy() {}

// ---- Dispatch -------------------------------------------------------------------------------

bool CustSettingPolicyLegacy::selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                                  SensorSetting& sensorSetting, int sensorIdx,
                                                  unsigned int& seamlessFlags,
                                                  AppUserConfiguration const& userConfig,
                                                  float floatParam0, float floatParam1,
                                                  unsigned int hdrMode) {
    if (!appConfig || !streamInfo) return false;  // the HAL always passes both
    // A private-selection sensor lets the tables speak before the third-party path and may fall
    // back to the new policy's matching; every other sensor asks the third-party path first.
    if (ICustFeatureCapability::isPrivateSelectSensorMode(sensorIdx)) {
        if (selectSensorSetting(appConfig, streamInfo, sensorSetting, sensorIdx, seamlessFlags)) {
            return true;
        }
        if (selectSensorSetting4ThirdCase(appConfig, streamInfo, sensorSetting, sensorIdx)) {
            return true;
        }
        return selectSensorSetting4Normal(appConfig, streamInfo, userConfig, sensorSetting,
                                          sensorIdx, floatParam0, floatParam1, hdrMode);
    }
    if (selectSensorSetting4ThirdCase(appConfig, streamInfo, sensorSetting, sensorIdx)) {
        return true;
    }
    return selectSensorSetting(appConfig, streamInfo, sensorSetting, sensorIdx, seamlessFlags);
}

bool CustSettingPolicyLegacy::selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                                  SensorSetting& sensorSetting, int sensorIdx,
                                                  unsigned int& seamlessFlags) {
    if (!appConfig) return false;  // no configuration, nothing to match
    const uint32_t operationMode = appConfig->operationMode;
    CUST_LOGI(kTag, "[%s] match setting(input):camera id %d,operationMode 0x%x,DevID %x", sensorIdx,
              operationMode, kUnknownDevId);

    CustomMetadata* metadata = customMetadata();
    const bool thirdParty = metadata->is3rdCam();
    const bool sdkCaller = thirdParty && metadata->isSdkCam();

    // A third-party application outside the SDK never gets the system camera's table.
    int id = kNoScenario;
    if (!thirdParty || sdkCaller) {
        id = getSystemCamScenarioId(operationMode, sensorIdx, appConfig->sessionParams, streamInfo,
                                    seamlessFlags);
        if (isValidScenarioId(id)) {
            parseSensorSetting(sensorIdx, sensorSetting, id);
            return true;
        }
    }

    // The common table's fallback is whatever the system table left: -1 or an invalid answer.
    const int id2 = getCommonScenarioId(static_cast<int>(operationMode), sensorIdx, id);
    if (!isValidScenarioId(id2)) return false;
    parseSensorSetting(sensorIdx, sensorSetting, id2);
    return true;
}

bool CustSettingPolicyLegacy::isValidScenarioId(int scenarioId) {
    return static_cast<unsigned int>(scenarioId) < kScenarioCount;
}

// ---- Third-party path -----------------------------------------------------------------------

bool CustSettingPolicyLegacy::selectSensorSetting4ThirdCase(AppConfigPtr appConfig,
                                                            StreamInfoPtr streamInfo,
                                                            SensorSetting& sensorSetting,
                                                            int sensorIdx) {
    if (!appConfig) return false;  // no configuration, nothing to match
    CustomMetadata* metadata = customMetadata();
    if (metadata->isSystemCam() || metadata->isEngineerCam() || metadata->isEngineerMode() ||
        appConfig->operationMode != 0) {
        CUST_LOGI(kTag, "[%s] Not 3rd App");
        return false;
    }

    int api = kNoScenario;  // stays -1 when the session does not carry the API value
    IMetadata::getEntry<int32_t>(&appConfig->sessionParams, kTagApiValue, api, 0);

    int result = kNoScenario;
    if (ThirdCapManager::GetInstance()->isSupportThirdCap()) {
        const int temperature = getCurrentTemperature(&appConfig->sessionParams);
        ZeroFilledThirdParam record;
        ThirdSensormodeInputParam& param = record.get();
        param.sensorIdx = sensorIdx;
        param.camName = metadata->getCurCamName();
        param.activityName = metadata->getActivityName();
        param.capMode = customCommon()->getCapMode();
        // The manager takes the largest stream size before the largest YUV size.
        const StreamFacts facts = streamFacts(streamInfo.get());
        param.maxStreamWidth = facts.maxStreamSize.w;
        param.maxStreamHeight = facts.maxStreamSize.h;
        param.maxYuvWidth = facts.maxYuvSize.w;
        param.maxYuvHeight = facts.maxYuvSize.h;
        param.reserved = 0;
        param.isVideo = facts.video;
        param.apiValue = api;
        param.temperature = temperature;
        if (metadata->isRunGSI()) {
            param.camName = custpolicy::kLocaleGsi;
            CUST_LOGI(kTag, "[%s] runGSI, curCamName:%s", param.camName.c_str());
        }
        result = ThirdCapManager::GetInstance()->getThirdSensormode(param);
    } else {
        // Each table may override the answer of the one before.
        const uint32_t operationMode = appConfig->operationMode;
        result = getThirdCamScenarioId(sensorIdx, operationMode, streamInfo);
        result = getThirdCamScenarioIdByActivity(sensorIdx, operationMode, streamInfo, result, api);
        result = getThirdCamScenarioIdByThermal(sensorIdx, &appConfig->sessionParams, result);
    }

    // Only -1 means no decision here; any other answer is the manager's or the tables' to own.
    if (result == kNoScenario) return false;
    parseSensorSetting(sensorIdx, sensorSetting, result);
    return true;
}

// ---- Engineering override -------------------------------------------------------------------

bool CustSettingPolicyLegacy::selectSensorSetting4MipiTraversal(AppConfigPtr appConfig,
                                                                SensorSetting& sensorSetting,
                                                                int sensorIdx) {
    if (!appConfig) return false;  // no configuration, no session parameters to obey
    CustomMetadata* metadata = customMetadata();
    if (!metadata->isEngineerCam() && !metadata->isEngineerMode()) return false;

    const uint32_t operationMode = appConfig->operationMode;
    CUST_LOGI(kTag, "[%s] Current operationMode:0x%x, sensorId:%d.", operationMode, sensorIdx);

    std::shared_ptr<NSCam::IMetadataProvider> provider =
        NSCam::NSMetadataProviderManager::valueForByDeviceId(sensorIdx);
    const NSCam::IEntry traversalEntry =
        provider ? provider->getMtkStaticCharacteristics().entryFor(kTagMipiTraversalMode)
                 : NSCam::IEntry(kTagMipiTraversalMode);
    if (operationMode == kMipiTraversalOperationMode && firstItemIsZero(traversalEntry)) {
        parseSensorSetting(sensorIdx, sensorSetting, kMipiTraversalScenario);
        return true;
    }

    uint8_t sensorMode = 0;
    if (!IMetadata::getEntry<uint8_t>(&appConfig->sessionParams, kTagEngineerSensorModeSel,
                                      sensorMode, 0)) {
        CUST_LOGE_LINE(kTag, kLineEngineerTagMissing,
                       "[%s] QOVIX_CONTROL_ENGINEER_SENSORMODE_SELECT not exist");
        return false;
    }
    // Every value is taken as it stands: the tool alone steps through valid modes.
    CUST_LOGI(kTag, "[%s] sensor mode:%d for engineer explorer test.", sensorMode);
    parseSensorSetting(sensorIdx, sensorSetting, static_cast<int>(sensorMode));
    return true;
}

// ---- Common and system-camera tables --------------------------------------------------------

int CustSettingPolicyLegacy::getCommonScenarioId(int operationMode, int sensorIdx, int fallback) {
    constexpr const char* table = custpolicy::kTableCommonSensorSettingMap;
    constexpr size_t kWidth = custpolicy::kWidthCommonSensorSettingMap;
    const int32_t rowCount = GetKeyCount(table);
    if (rowCount == 0) {
        CUST_LOGE(kTag, "[%s] match setting:CameraHWConfiguration.config key error!");
        return fallback;
    }
    const int32_t width = GetValuesCount(table, custpolicy::kEntryModeRow0);
    if (width != static_cast<int32_t>(kWidth)) {
        CUST_LOGE(kTag, "[%s] match setting:CameraHWConfiguration.config value count %d error!",
                  width);
        return fallback;
    }

    TableRow<kWidth> row;
    const RowScan scan = scanTableRows<kWidth>(
        table, custpolicy::kLocaleMode, rowCount, RowReadFault::EndLookup, row,
        [&](const TableRow<kWidth>& r, int32_t) {
            return wildcardOrEqual(r[0], operationMode) && wildcardOrEqual(r[1], sensorIdx);
        },
        [](int32_t, int32_t) {});
    if (scan.readFailed) {
        CUST_LOGE(kTag, "[%s] match setting: key[%u/%u] error %d!", asUnsigned(scan.index),
                  asUnsigned(rowCount), scan.status);
        return fallback;
    }
    if (!scan.matched) return fallback;
    // Reported at error level although it is a success: log tools look for it there.
    CUST_LOGE(kTag, "[%s] match setting(result):[%s],Mode[%u/%u] [%u:0x%x,%d,%d]", table,
              asUnsigned(scan.index), asUnsigned(rowCount), asUnsigned(kWidth), asUnsigned(row[0]),
              row[1], row[2]);
    return row[2];
}

int CustSettingPolicyLegacy::getSystemCamScenarioId(unsigned int captureMode, int sensorIdx,
                                                    NSCam::IMetadata /*sessionParams*/,
                                                    StreamInfoPtr streamInfo,
                                                    unsigned int& seamlessFlags) {
    constexpr const char* table = custpolicy::kTableSystemCamSensorSettingMap;
    constexpr size_t kWidth = custpolicy::kWidthSystemCamSensorSettingMap;
    const int32_t thirdPartyCall = isThirdPartyCallQovixCamera() ? 1 : 0;
    const StreamFacts facts = streamFacts(streamInfo.get());
    CUST_LOGI(kTag,
              "[%s] match setting(input):captureMode 0x%x,isThirdPartyCall %d,maxYuvSize.w "
              "%d,maxStreamSize.w %d,video %d, aspectRation %u",
              captureMode, thirdPartyCall, facts.maxYuvSize.w, facts.maxStreamSize.w, facts.video,
              asUnsigned(facts.aspectRatio));

    const int32_t rowCount = GetKeyCount(table);
    if (rowCount == 0) {
        CUST_LOGE(kTag, "[%s] match setting:CameraHWConfiguration.config key count error!");
        return kNoScenario;
    }
    const int32_t width = GetValuesCount(table, custpolicy::kEntryModeRow0);
    if (width != static_cast<int32_t>(kWidth)) {
        CUST_LOGE(kTag, "[%s] match setting:CameraHWConfiguration.config value count %u error!",
                  asUnsigned(width));
        return kNoScenario;
    }
    const int32_t modeClass = cameraModeClass(facts.video);

    TableRow<kWidth> row;
    const RowScan scan = scanTableRows<kWidth>(
        table, custpolicy::kLocaleMode, rowCount, RowReadFault::EndLookup, row,
        [&](const TableRow<kWidth>& r, int32_t) {
            // Column 3 is an upper bound on the largest YUV width; every other test is equality.
            return wildcardOrEqual(r[0], static_cast<int32_t>(captureMode)) &&
                   wildcardOrEqual(r[1], thirdPartyCall) && wildcardOrEqual(r[2], sensorIdx) &&
                   (r[3] == kWildcard || r[3] >= facts.maxYuvSize.w) &&
                   wildcardOrEqual(r[4], facts.maxStreamSize.w) &&
                   wildcardOrEqual(r[5], modeClass) && wildcardOrEqual(r[6], facts.aspectRatio);
        },
        [](int32_t, int32_t) {});
    if (scan.readFailed) {
        CUST_LOGI(kTag, "[%s] match setting: key[%u/%u] error %d!", asUnsigned(scan.index),
                  asUnsigned(rowCount), scan.status);
        return kNoScenario;
    }
    if (!scan.matched) return kNoScenario;

    // A matched row always records the sensor's seamless scenario, 0 when it fixes none.
    uint32_t seamlessScenario = kNoSeamlessScenario;
    if (row[8] == kSeamlessCode5) {
        seamlessFlags = kSeamlessFlags5;
        seamlessScenario = kSeamlessCode5;
    } else if (row[8] == kSeamlessCode4) {
        seamlessFlags = kSeamlessFlags4;
        seamlessScenario = kSeamlessCode4;
    } else {
        CUST_LOGD(kTag, "[%s] custom setting has no fix seamless sensorScenario");
    }
    customCommon()->setConfigSensorScenario(asUnsigned(sensorIdx), seamlessScenario);

    CUST_LOGI(kTag, "[%s] match setting(result):[%s],Mode[%u/%u] [%u:0x%x,%d,%d,%d,%d,%d,%d,%d]",
              table, asUnsigned(scan.index), asUnsigned(rowCount), asUnsigned(kWidth),
              asUnsigned(row[0]), row[1], row[2], row[3], row[4], row[5], row[6], row[7]);
    return row[7];
}

bool CustSettingPolicyLegacy::isThirdPartyCallQovixCamera() {
    // Two separate queries, as the platform is asked for each name in turn.
    if (customMetadata()->getCallerName() == kQovixCallerYoutube) return true;
    return customMetadata()->getCallerName() == kQovixCallerMc10086;
}

// ---- Third-party tables ---------------------------------------------------------------------

int CustSettingPolicyLegacy::getCurrentTemperature(const NSCam::IMetadata* sessionParams) {
    int temperature = kUnknownTemperature;
    if (sessionParams != nullptr) {
        const NSCam::IEntry entry = sessionParams->entryFor(kTagTemperature, 0);
        // The temperature sits inside a vendor block; a block too short to hold it is unknown.
        if (!entry.isEmpty() && entry.data() != nullptr &&
            entry.dataSize() >= kTemperatureOffset + sizeof(int32_t)) {
            int32_t value = 0;
            std::memcpy(&value, static_cast<const uint8_t*>(entry.data()) + kTemperatureOffset,
                        sizeof(value));
            temperature = value;
        }
    }
    CUST_LOGD(kTag, "[%s] ThirdCamScenarioIdByThermal getCurrentTemperature:%d", temperature);
    return temperature;
}

int CustSettingPolicyLegacy::getThirdCamScenarioId(int sensorIdx, unsigned int operationMode,
                                                   StreamInfoPtr streamInfo) {
    constexpr const char* table = custpolicy::kTableThirdCamSensorSettingMap;
    constexpr size_t kWidth = custpolicy::kWidthThirdCamSensorSettingMap;

    // The application's own group first (or the CTS group under GSI), the catch-all always last.
    std::vector<std::string> groups;
    std::string appName = customMetadata()->getCurCamName();
    if (appName.empty()) {
        if (customMetadata()->isRunGSI()) {
            appName = custpolicy::kLocaleGsi;
            groups.push_back(appName);
            CUST_LOGI(kTag, "[%s] runGSI, curCamName:%s", appName.c_str());
        }
    } else {
        CUST_LOGI(kTag, "[%s] match setting:%s", appName.c_str());
        groups.push_back(appName);
    }
    groups.emplace_back(custpolicy::kLocaleAllCamApp);

    const StreamFacts facts = streamFacts(streamInfo.get());
    CUST_LOGI(kTag,
              "[%s] match setting(input):video %d,thirdOpMode 0x%x, asepct_Ration %u,maxYuvSize.w "
              "%d,maxYuvSize.h %d",
              facts.video, operationMode, asUnsigned(facts.aspectRatio), facts.maxYuvSize.w,
              facts.maxYuvSize.h);

    for (const std::string& group : groups) {
        TableRow<kWidth> row;
        RowScan scan;
        int32_t rowCount = 0;
        const GroupScan outcome = scanThirdCamGroup<kWidth>(
            __func__, table, group, row, scan, rowCount, [&](const TableRow<kWidth>& r, int32_t) {
                return wildcardOrEqual(r[0], sensorIdx) && wildcardOrEqual(r[1], facts.video) &&
                       wildcardOrEqual(r[2], static_cast<int32_t>(operationMode)) &&
                       ratioAboveFloor(r[3], facts.aspectRatio) &&
                       yuvWiderThan(r[4], facts.maxYuvSize) && yuvWithin(r[5], facts.maxYuvSize);
            });
        // A faulty group ends the whole lookup, hiding the catch-all's answer.
        if (outcome == GroupScan::Faulty) return kNoScenario;
        if (outcome != GroupScan::Matched) continue;
        CUST_LOGI(kTag, "[%s] match setting(result):[%s],%s[%u/%u] [%u:%d,%d,%d,%d,%d,%d,%d]",
                  table, group.c_str(), asUnsigned(scan.index), asUnsigned(rowCount),
                  asUnsigned(kWidth), row[0], row[1], row[2], row[3], row[4], row[5], row[7]);
        return row[7];
    }
    return kNoScenario;
}

int CustSettingPolicyLegacy::getThirdCamScenarioIdByActivity(int sensorIdx,
                                                             unsigned int operationMode,
                                                             StreamInfoPtr streamInfo, int fallback,
                                                             int api) {
    constexpr const char* table = custpolicy::kTableThirdCamByActivity;
    constexpr size_t kWidth = custpolicy::kWidthThirdCamByActivity;
    if (GetKeyCount(table) == 0) {
        CUST_LOGD(kTag, "[%s] match setting:CameraHWConfiguration.config key count error!");
        return fallback;
    }
    const std::string activity = customMetadata()->getActivityName();
    if (activity.empty()) return fallback;

    const StreamFacts facts = streamFacts(streamInfo.get());
    CUST_LOGI(kTag, "[%s] curActivityName:%s", activity.c_str());
    CUST_LOGI(kTag,
              "[%s] match setting(input):video %d, api %d, thirdOpMode 0x%x, asepct_Ration "
              "%u,maxYuvSize.w %d,maxYuvSize.h %d",
              facts.video, api, operationMode, asUnsigned(facts.aspectRatio), facts.maxYuvSize.w,
              facts.maxYuvSize.h);

    TableRow<kWidth> row;
    RowScan scan;
    int32_t rowCount = 0;
    const GroupScan outcome = scanThirdCamGroup<kWidth>(
        __func__, table, activity, row, scan, rowCount, [&](const TableRow<kWidth>& r, int32_t) {
            // The API column is tested last.
            return wildcardOrEqual(r[0], sensorIdx) && wildcardOrEqual(r[2], facts.video) &&
                   wildcardOrEqual(r[3], static_cast<int32_t>(operationMode)) &&
                   ratioAboveFloor(r[4], facts.aspectRatio) &&
                   yuvWiderThan(r[5], facts.maxYuvSize) && yuvWithin(r[6], facts.maxYuvSize) &&
                   wildcardOrEqual(r[1], api);
        });
    // Any fault, like no match, leaves the caller's answer in force.
    if (outcome != GroupScan::Matched) return fallback;
    CUST_LOGI(kTag, "[%s] match setting(result):[%s],%s[%u/%u] [%u:%d,%d,%d,%d,%d,%d,%d,%d]", table,
              activity.c_str(), asUnsigned(scan.index), asUnsigned(rowCount), asUnsigned(kWidth),
              row[0], row[1], row[2], row[3], row[4], row[5], row[6], row[8]);
    return row[8];
}

int CustSettingPolicyLegacy::getThirdCamScenarioIdByThermal(int sensorIdx,
                                                            NSCam::IMetadata* sessionParams,
                                                            int fallback) {
    constexpr const char* table = custpolicy::kTableThirdCamByThermal;
    constexpr size_t kWidth = custpolicy::kWidthThirdCamByThermal;
    static constexpr char kFunction[] = "getThirdCamScenarioIdByThermal";
    // The row count is the whole table's; indices past the activity's own rows fail to read and
    // are skipped.
    const int32_t rowCount = GetKeyCount(table);
    if (rowCount == 0) return fallback;
    const std::string activity = customMetadata()->getActivityName();
    const int32_t width = GetLocaleKeyValuesCount(table, activity.c_str(), custpolicy::kKeyRow0);
    if (width != static_cast<int32_t>(kWidth)) {
        CUST_LOGE(kTag, "[%s] ThirdCamScenarioIdByThermal targetName:%s valueCount is't matched!",
                  activity.c_str());
        return fallback;
    }
    TableRow<kWidth> row;
    const RowScan scan = scanTableRows<kWidth>(
        table, activity.c_str(), rowCount, RowReadFault::SkipRow, row,
        [&](const TableRow<kWidth>& r, int32_t) {
            if (!wildcardOrEqual(r[0], sensorIdx)) return false;
            // The temperature is asked afresh for every row, and every comparison is reported.
            const int temperature = getCurrentTemperature(sessionParams);
            CUST_LOG_IN(Error, kTag, kFunction,
                        "[%s] ThirdCamScenarioIdByThermal temperature:%d, value.temperature:%d",
                        temperature, r[1]);
            return temperature != kUnknownTemperature && temperature >= r[1];
        },
        [](int32_t, int32_t) {});
    if (!scan.matched) return fallback;
    CUST_LOGD(kTag, "[%s] ThirdCamScenarioIdByThermal select size %d by thermal", row[2]);
    return row[2];
}
