#include "cust_setting_policy_base.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "cust_int32.h"
#include "custpolicy/cust_contract.h"
#include "cust_log.h"
#include "cust_setting_policy_legacy.h"
#include "platform/CustFeatureServices.h"
#include "platform/IMetadata.h"
#include "platform/SensorServices.h"

using NSCam::MSize;

using custpolicy::divOrZero;
using custpolicy::ratioPermille;
using custpolicy_types::PolicyParsedAppConfiguration;
using custpolicy_types::PolicyParsedAppImageStreamInfo;

namespace {

constexpr char kLogSourcePath[] = "CustPolicy/cust_setting_policy_base.cpp";
// The shared members log under the base tag, the new policy's own decision under its tag.
constexpr char kBaseTag[] = "CustSettingPolicyBase";
constexpr char kPolicyTag[] = "CustSettingPolicy";

// Source lines by which log tools know the three missing-static-entry errors.
constexpr int kLinePixelArrayMissing = 143;
constexpr int kLineMinFrameDurationsMissing = 178;
constexpr int kLineTargetFpsRangesMissing = 234;

// Platform and vendor metadata tags read by the selection helpers.
using custpolicy::kTagAeAvailableTargetFpsRanges;
using custpolicy::kTagAeTargetFpsRange;
using custpolicy::kTagAovMode;
using custpolicy::kTagScalerAvailableMinFrameDurations;
using custpolicy::kTagSensorInfoPixelArraySize;

// Item positions inside the frame-rate entries.
constexpr size_t kFpsRangeUpperItem = 1;
constexpr size_t kFpsRangeStride = 2;
// Minimum frame durations come as groups of format, width, height, duration (ns).
constexpr size_t kMinFrameDurationStride = 4;
constexpr size_t kMinFrameDurationItem = 3;
constexpr int32_t kNanosPerSecond = 1000000000;

// Aspect-ratio classes (height x 1000 / width). Everything within 50 of exact 16:9 counts as
// 16:9; anything squarer than that takes the sensor's own pixel-array ratio.
constexpr int32_t kRatioClassWide = 500;
constexpr int32_t kRatioClass16x9 = 562;
constexpr float kRatio16x9Exact = 562.5f;
constexpr float kRatio16x9Tolerance = 50.0f;

// Video at least this wide is 8K video.
constexpr int32_t k8kVideoWidth = 7680;
// Start exposure count the service assumes unless told otherwise.
constexpr int32_t kDefaultStartExpNum = 1;
// What the custom sensor-setting info reads as when the service leaves it unset.
constexpr int32_t kDefaultCustSensorSettingInfo = 1;

// Device masks carry one bit per sensor slot, up to this one; anything else maps to the
// "unknown device" index. Without a sensor list the index is 0.
constexpr uint32_t kHighestDeviceMask = 2048;
constexpr int kUnknownDrvId = 13;
constexpr int kNoSensorListDrvId = 0;

// The sensor-setting evaluation of the feature-chip service.
using custpolicy::kEvalTypeSensorSetting;
using custpolicy::kMsgIdSensorSetting;
constexpr uint32_t kRequestPayloadSize = 24;
constexpr uint32_t kReplyPayloadSize = 4;
static_assert(sizeof(CustSettingEvalRequest) == kRequestPayloadSize, "request payload size");
static_assert(sizeof(int32_t) == kReplyPayloadSize, "reply payload is one scenario id");
// The reply's scenario id when the service found no scenario.
using custpolicy::kNoScenario;

// The helpers are exported and may be handed empty handles; those read as empty records so that
// every fallback of a missing entry applies instead of a crash.
const PolicyParsedAppConfiguration& configOrEmpty(const ICustSettingPolicy::AppConfigPtr& config) {
    static const PolicyParsedAppConfiguration kEmpty;
    return config ? *config : kEmpty;
}

const PolicyParsedAppImageStreamInfo& streamsOrEmpty(
    const ICustSettingPolicy::StreamInfoPtr& streamInfo) {
    static const PolicyParsedAppImageStreamInfo kEmpty;
    return streamInfo ? *streamInfo : kEmpty;
}

// One entry of the sensor's static characteristics. A sensor without a metadata provider (only in
// a broken setup) reads as having no entries.
NSCam::IEntry staticEntry(int sensorIdx, uint32_t tag) {
    const auto provider = NSCam::NSMetadataProviderManager::valueForByDeviceId(sensorIdx);
    if (!provider) return NSCam::IEntry(tag);
    return provider->getMtkStaticCharacteristics().entryFor(tag);
}

// The device index of a device mask: the position of its lowest set bit, for masks of the known
// sensor slots.
int drvIdOfMask(uint32_t mask) {
    if (mask == 0 || mask > kHighestDeviceMask) return kUnknownDrvId;
    return __builtin_ctz(mask);
}

// Walks a stream list and keeps the first of the largest sizes: a stream replaces the current size
// only when it is at least as wide and at least as high.
MSize largestOf(const std::vector<mcam::core::device::policy::ImageStreamInfoPtr>& streams,
                MSize current) {
    for (const auto& stream : streams) {
        if (!stream) continue;
        const MSize size = stream->getImgSize();
        if (size.w >= current.w && size.h >= current.h) current = size;
    }
    return current;
}

// A scene entry for the configured operation mode resets the start exposure count to 1, but only
// when scene HDR is in force and the session asked for no HDR mode of its own.
void applyStartExpOverride(qovix_aaa_ae_vhdr_info& vhdr, uint32_t operationMode,
                           unsigned int hdrMode) {
    for (const auto& scene : vhdr.sceneInfos) {
        if (vhdr.sceneHdrEnable && hdrMode == 0 && scene.operationMode == operationMode) {
            vhdr.startExpNum = kDefaultStartExpNum;
        }
    }
}

}  // namespace

// ---- Adaptor --------------------------------------------------------------------------------

CustSettingAlgoAdaptor::CustSettingAlgoAdaptor(int sensorIdx) {
    if (ICustFeatureCapability::isPolicyCustSettingSupport(sensorIdx)) {
        mPolicy = std::make_shared<CustSettingPolicy>();
    } else {
        mPolicy = std::make_shared<CustSettingPolicyLegacy>();
    }
}

CustSettingAlgoAdaptor::~CustSettingAlgoAdaptor() = default;

bool CustSettingAlgoAdaptor::selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                                 SensorSetting& sensorSetting, int sensorIdx,
                                                 unsigned int& outValue,
                                                 AppUserConfiguration const& userConfig,
                                                 float floatParam0, float floatParam1,
                                                 unsigned int hdrMode) {
    // The constructor always sets a policy, so there is nothing to check here.
    return mPolicy->selectSensorSetting(appConfig, streamInfo, sensorSetting, sensorIdx, outValue,
                                        userConfig, floatParam0, floatParam1, hdrMode);
}

// ---- Shared members: selection inputs -------------------------------------------------------

ICustSettingPolicy::~ICustSettingPolicy() {}

void ICustSettingPolicy::getSettingSelectInfo(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                              CustSelectIn4Setting* pIn, int sensorIdx,
                                              AppUserConfiguration const& userConfig,
                                              float floatParam0, float floatParam1,
                                              unsigned int hdrMode) {
    if (pIn == nullptr) return;
    const PolicyParsedAppConfiguration& config = configOrEmpty(appConfig);
    const PolicyParsedAppImageStreamInfo& streams = streamsOrEmpty(streamInfo);

    const int maxFps = getMaxFps(appConfig, sensorIdx);

    auto vhdr = qovix_aaa_ae_vhdr_info();
    vhdr.startExpNum = kDefaultStartExpNum;
    ICustFeatureCapability::getAaaAecDefaultVhdrInfo(sensorIdx, vhdr);
    applyStartExpOverride(vhdr, config.operationMode, hdrMode);

    int32_t custInfo = kDefaultCustSensorSettingInfo;
    ICustFeatureCapability::getCustSensorSettingInfo(sensorIdx, config.operationMode,
                                                     streams.maxStreamSize.w,
                                                     streams.maxStreamSize.h, custInfo);

    pIn->maxRatio = getMaxRatio(sensorIdx, userConfig);
    // Both flags are only ever raised: the caller's record supplies false.
    if (config.pExtra) pIn->configExtraPresent = true;
    const MSize maxSize = getMaxSize(streamInfo, sensorIdx, floatParam0, floatParam1, maxFps,
                                     pIn->configExtraPresent);
    getMaxRawSize(streamInfo, sensorIdx, pIn->maxRawSize);
    pIn->maxStreamSize = maxSize;
    pIn->highFpsThres = getHighFpsThres(sensorIdx);
    pIn->drvId = sensorIdx2DrvId(sensorIdx);
    pIn->maxFps = maxFps;
    pIn->operationMode = config.operationMode;
    pIn->vhdrInfo = vhdr;
    pIn->custSensorSettingInfo = custInfo;
    if (streams.videoWidth >= k8kVideoWidth) pIn->is8kVideo = true;

    int32_t aovMode = 0;
    NSCam::IMetadata::getEntry(&config.sessionParams, kTagAovMode, aovMode);
    pIn->aovMode = aovMode;
    pIn->pixelArraySize = pixelArraySize;

    CUST_LOGD(kBaseTag,
              "[%s] configure max stream size is %d %d raw size %d %d maxFPS %d maxRatio %d "
              "highFpsThres %d aovMode %d  hdrMode = 0x%x startExpNum = %d",
              pIn->maxStreamSize.w, pIn->maxStreamSize.h, pIn->maxRawSize.width,
              pIn->maxRawSize.height, pIn->maxFps, pIn->maxRatio, pIn->highFpsThres, pIn->aovMode,
              hdrMode, vhdr.startExpNum);
}

int ICustSettingPolicy::getMaxFps(AppConfigPtr appConfig, int sensorIdx) {
    // The session's AE target range wins when it names an upper bound.
    const NSCam::IEntry sessionRange =
        configOrEmpty(appConfig).sessionParams.entryFor(kTagAeTargetFpsRange);
    const int32_t sessionFps = sessionRange.itemAt<int32_t>(kFpsRangeUpperItem);
    if (sessionFps != 0) return sessionFps;

    const NSCam::IEntry durations = staticEntry(sensorIdx, kTagScalerAvailableMinFrameDurations);
    if (durations.isEmpty()) {
        CUST_LOGE_LINE(kBaseTag, kLineMinFrameDurationsMissing,
                       "[%s] no static MTK_SCALER_AVAILABLE_MIN_FRAME_DURATIONS");
        return 0;
    }
    // Every format and size takes part; the shortest frame duration gives the highest rate.
    int32_t maxFps = 0;
    for (size_t i = 0; i < durations.count(); i += kMinFrameDurationStride) {
        const int64_t duration = durations.itemAt<int64_t>(i + kMinFrameDurationItem);
        // The device keeps the low 32 bits of the duration as a signed value.
        const auto lowBits = static_cast<int32_t>(static_cast<uint32_t>(duration));
        if (lowBits == 0) continue;
        maxFps = std::max(maxFps, divOrZero(kNanosPerSecond, lowBits));
    }
    return maxFps;
}

int ICustSettingPolicy::getMaxRatio(int sensorIdx, AppUserConfiguration const& userConfig) {
    int32_t streamRatio = 0;
    for (const auto& entry : userConfig.imageStreams) {
        if (!entry.second) continue;
        const MSize size = entry.second->getImgSize();
        streamRatio = std::max(streamRatio, ratioPermille(size.h, size.w));
    }

    const NSCam::IEntry pixelArray = staticEntry(sensorIdx, kTagSensorInfoPixelArraySize);
    if (pixelArray.isEmpty()) {
        // Keeps the last size read, possibly from an earlier configuration.
        CUST_LOGE_LINE(kBaseTag, kLinePixelArrayMissing,
                       "[%s] no static MTK_SENSOR_INFO_PIXEL_ARRAY_SIZE");
    } else {
        pixelArraySize = pixelArray.itemAt<MSize>(0);
    }

    if (streamRatio <= kRatioClassWide) return kRatioClassWide;
    if (streamRatio <= kRatioClass16x9) return kRatioClass16x9;
    if (std::fabs(static_cast<float>(streamRatio) - kRatio16x9Exact) <= kRatio16x9Tolerance) {
        return kRatioClass16x9;
    }
    if (pixelArraySize.w >= 1) return ratioPermille(pixelArraySize.h, pixelArraySize.w);
    return streamRatio;
}

MSize ICustSettingPolicy::getMaxSize(StreamInfoPtr streamInfo, int sensorIdx, float floatParam0,
                                     float floatParam1, int maxFps, bool configExtraPresent) {
    const PolicyParsedAppImageStreamInfo& streams = streamsOrEmpty(streamInfo);
    MSize size;
    if (streams.outputStreamsBySensor.empty()) {
        size = streams.maxStreamSize;
    } else {
        const auto found = streams.outputStreamsBySensor.find(sensorIdx);
        if (found != streams.outputStreamsBySensor.end()) size = largestOf(found->second, size);
    }
    // The service has the last word on the size.
    int32_t width = size.w;
    int32_t height = size.h;
    ICustFeatureCapability::getMaxStreamSize(
        sensorIdx, streams.maxYuvSize.w, streams.maxYuvSize.h, width, height, floatParam0,
        floatParam1, maxFps, pixelArraySize.w, pixelArraySize.h, configExtraPresent);
    return MSize(width, height);
}

void ICustSettingPolicy::getMaxRawSize(StreamInfoPtr streamInfo, int sensorIdx,
                                       CustFeaturePrvSize& rawSize) {
    const PolicyParsedAppImageStreamInfo& streams = streamsOrEmpty(streamInfo);
    const auto found = streams.rawStreamsBySensor.find(sensorIdx);
    if (found == streams.rawStreamsBySensor.end()) return;
    // Starts from the caller's size, not from zero.
    const MSize largest = largestOf(found->second, MSize(rawSize.width, rawSize.height));
    rawSize.width = largest.w;
    rawSize.height = largest.h;
}

int ICustSettingPolicy::getHighFpsThres(int sensorIdx) {
    const NSCam::IEntry ranges = staticEntry(sensorIdx, kTagAeAvailableTargetFpsRanges);
    if (ranges.isEmpty()) {
        CUST_LOGE_LINE(kBaseTag, kLineTargetFpsRangesMissing,
                       "[%s] no static MTK_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES");
        return 0;
    }
    int32_t highest = 0;
    for (size_t i = kFpsRangeUpperItem; i < ranges.count(); i += kFpsRangeStride) {
        highest = std::max(highest, ranges.itemAt<int32_t>(i));
    }
    return highest;
}

// ---- Shared members: normal sensor-mode matching --------------------------------------------

bool ICustSettingPolicy::selectSensorSetting4Normal(AppConfigPtr appConfig,
                                                    StreamInfoPtr streamInfo,
                                                    AppUserConfiguration const& userConfig,
                                                    SensorSetting& sensorSetting, int sensorIdx,
                                                    float floatParam0, float floatParam1,
                                                    unsigned int hdrMode) {
    // Value-initialised, so the record's padding reaches the service as zero bytes too.
    auto selectIn = CustSelectIn4Setting();
    selectIn.vhdrInfo.startExpNum = kDefaultStartExpNum;
    getSettingSelectInfo(appConfig, streamInfo, &selectIn, sensorIdx, userConfig, floatParam0,
                         floatParam1, hdrMode);

    CustSettingEvalRequest payload;
    payload.evalType = kEvalTypeSensorSetting;
    payload.drvId = sensorIdx2DrvId(sensorIdx);
    payload.pSelectIn = &selectIn;
    // A service that does not answer leaves scenario 0.
    int32_t scenarioId = 0;

    CustTransMsgData request;
    request.msgId = kMsgIdSensorSetting;
    request.pData = &payload;
    request.dataSize = kRequestPayloadSize;
    CustTransMsgData reply;
    reply.pData = &scenarioId;
    reply.dataSize = kReplyPayloadSize;
    // The service answers through reply.pData; its own return value carries nothing.
    ICustFeatureChip::triggerEvaluateRequestExt(&request, &reply);

    if (scenarioId == kNoScenario) return false;
    parseSensorSetting(sensorIdx, sensorSetting, scenarioId);
    // The result reports that a scenario was named, even when the helper could not describe it;
    // the sensor mode printed here then still shows the earlier value.
    CUST_LOGD(kBaseTag, "[%s] scenarioId(%d) sensorMode(%d)", scenarioId,
              static_cast<int>(sensorSetting.sensorMode));
    return true;
}

int ICustSettingPolicy::sensorIdx2DrvId(int sensorIdx) {
    const NSCam::IHalSensorList* sensorList = NSCam::IHalSensorList::get();
    if (sensorList == nullptr) return kNoSensorListDrvId;
    return drvIdOfMask(sensorList->querySensorDevIdx(sensorIdx));
}

void ICustSettingPolicy::parseSensorSetting(int sensorIdx, SensorSetting& sensorSetting,
                                            int scenarioId) {
    const auto helper = NSCam::utility::ICamsysSensorInfoHelper::getInstance();
    uint32_t fps = 0;
    MSize size;
    uint32_t rawFmtType = 0;
    // A missing helper can answer nothing, which is the frame-rate query failing.
    if (!helper || !helper->getSensorFps(sensorIdx, scenarioId, fps)) {
        CUST_LOGW(kBaseTag, "[%s] getSensorFps fail");
        return;
    }
    if (!helper->getSensorSize(sensorIdx, scenarioId, size)) {
        CUST_LOGW(kBaseTag, "[%s] getSensorSize fail");
        return;
    }
    if (!helper->getSensorRawFmtType(sensorIdx, scenarioId, rawFmtType)) {
        CUST_LOGW(kBaseTag, "[%s] rawFmtType fail");
        return;
    }
    // Written only once every query has answered, so a failure never leaves a mixed record.
    sensorSetting.sensorMode = static_cast<uint32_t>(scenarioId);
    sensorSetting.sensorFps = fps;
    sensorSetting.sensorSize = size;
    sensorSetting.rawFmtType = rawFmtType;
    CUST_LOGI(kBaseTag, "[%s] match setting(final result): %d", scenarioId);
}

// ---- The new policy -------------------------------------------------------------------------

CustSettingPolicy::~CustSettingPolicy() {}

bool CustSettingPolicy::selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                            SensorSetting& sensorSetting, int sensorIdx,
                                            unsigned int& /*outValue*/,
                                            AppUserConfiguration const& userConfig,
                                            float floatParam0, float floatParam1,
                                            unsigned int hdrMode) {
    CUST_LOGD(kPolicyTag, "[%s] Using New Customized SensorSetting Decision Policy");
    return selectSensorSetting4Normal(appConfig, streamInfo, userConfig, sensorSetting, sensorIdx,
                                      floatParam0, floatParam1, hdrMode);
}
