#include "host_platform.h"

#include <android/log.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "custpolicy/cust_contract.h"
#include "platform/PolicyTypes.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"

namespace hostplatform {

namespace {

// Message classes of the feature-chip service.
constexpr uint32_t kMsgIdRrzo = 0x1001;
constexpr uint32_t kMsgIdSensorSetting = 0x1005;
// RRZO request codes.
constexpr int32_t kRrzoStaticInfo = custpolicy::kRrzoEvalStaticInfo;
constexpr int32_t kRrzoSensorSizes = custpolicy::kRrzoEvalSensorSizes;

// Logger defaults after reset: everything passes, both destinations.
constexpr int32_t kDefaultDetailsLevel = 5;
constexpr uint32_t kDefaultDetailsMask = custpolicy::kNormalDetailsMask;
constexpr uint32_t kDefaultLogMode = 0x3;

std::vector<uint8_t> copyBytes(const void* p, size_t size) {
    if (p == nullptr || size == 0) return {};
    const auto* bytes = static_cast<const uint8_t*>(p);
    return std::vector<uint8_t>(bytes, bytes + size);
}

template <typename T>
T copyRecord(const void* p) {
    T record;
    std::memcpy(static_cast<void*>(&record), p, sizeof(T));
    return record;
}

// Copies what the records behind a request point to, while they are still alive.
void decodeRequest(const CustTransMsgData* request, FeatureChipCall& call) {
    if (request->pData == nullptr) return;
    if (request->msgId == kMsgIdSensorSetting &&
        request->dataSize >= sizeof(CustSettingEvalRequest)) {
        CustSettingEvalRequest payload;
        std::memcpy(&payload, request->pData, sizeof(payload));
        call.settingRequest = payload;
        if (payload.pSelectIn != nullptr) {
            call.selectIn = *payload.pSelectIn;  // deep copy
            call.selectInBytes = copyBytes(payload.pSelectIn, sizeof(CustSelectIn4Setting));
        }
        return;
    }
    if (request->dataSize < sizeof(CustEvalRequest)) return;
    CustEvalRequest payload;
    std::memcpy(static_cast<void*>(&payload), request->pData, sizeof(payload));
    call.rrzoRequest = payload;
    if (payload.pParam == nullptr) return;
    if (payload.evalType == kRrzoStaticInfo) {
        call.rrzoStaticInfo = copyRecord<CustRrzoStaticInfo>(payload.pParam);
    } else if (payload.evalType == kRrzoSensorSizes) {
        call.rrzoSensorSizes = *static_cast<const CustRrzoSensorSizes*>(payload.pParam);
    }
    (void)kMsgIdRrzo;
}

void captureAndroidLog(const struct __android_logger_data* data, const char* message) {
    LogRecord record;
    record.priorityOrLevel = data->priority;
    record.tag = data->tag != nullptr ? data->tag : "";
    record.text = message != nullptr ? message : "";
    if (state().echoAndroidLog)
        std::fprintf(stderr, "%s: %s\n", record.tag.c_str(), record.text.c_str());
    state().recorded.androidLog.push_back(std::move(record));
}

NSCam::Utils::ULog::ULogger gHostULogger;

class HostMetadataProvider : public NSCam::IMetadataProvider {
public:
    explicit HostMetadataProvider(int32_t deviceId) : mDeviceId(deviceId) {}
    const NSCam::IMetadata& getMtkStaticCharacteristics() const override {
        return sensor(mDeviceId).staticMetadata;
    }

private:
    int32_t mDeviceId;
};

const SensorMode* findMode(int32_t sensorIdx, int32_t scenarioId) {
    const auto& modes = sensor(sensorIdx).modes;
    auto it = modes.find(scenarioId);
    return it == modes.end() ? nullptr : &it->second;
}

}  // namespace

State& state() {
    static State sState;
    return sState;
}

SensorFacts& sensor(int32_t sensorIdx) { return state().sensors[sensorIdx]; }

void reset() {
    // The log record keeps its storage: a tool resets before every session, and would otherwise
    // grow it again from nothing each time.
    std::vector<LogRecord> androidLog = std::move(state().recorded.androidLog);
    androidLog.clear();
    state() = State();
    state().recorded.androidLog = std::move(androidLog);
    using NSCam::Utils::ULog::ULogger;
    ULogger::sDetailsLevel = kDefaultDetailsLevel;
    ULogger::sNormalDetailsMask = kDefaultDetailsMask;
    ULogger::sMode = kDefaultLogMode;
    ULogger::sULogger = &gHostULogger;
    StereoSettingProvider::__logicalDeviceID = 0;
    __android_log_set_logger(captureAndroidLog);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

std::vector<std::string> unifiedTexts() {
    std::vector<std::string> texts;
    for (const auto& record : state().recorded.unifiedLog) texts.push_back(record.text);
    return texts;
}

}  // namespace hostplatform

using namespace hostplatform;

// ---- Unified logger -------------------------------------------------------------------------

namespace NSCam::Utils::ULog {
int32_t ULogger::sDetailsLevel = 0;
uint32_t ULogger::sNormalDetailsMask = 0;
uint32_t ULogger::sMode = 0;
ULogger* ULogger::sULogger = nullptr;

void ULogger::print(uint32_t moduleId, const char* tag, int32_t level, const char* text,
                    int32_t length) {
    LogRecord record;
    record.priorityOrLevel = level;
    record.tag = tag != nullptr ? tag : "";
    record.text = text != nullptr ? text : "";
    record.moduleId = moduleId;
    record.length = length;
    state().recorded.unifiedLog.push_back(std::move(record));
}
}  // namespace NSCam::Utils::ULog

// ---- Sensor services ------------------------------------------------------------------------

namespace NSCam {

IHalSensorList* IHalSensorList::get() {
    static IHalSensorList sList;
    return state().hasSensorList ? &sList : nullptr;
}

uint32_t IHalSensorList::querySensorDevIdx(int32_t sensorIdx) const {
    const SensorFacts& facts = sensor(sensorIdx);
    if (facts.deviceMask) return *facts.deviceMask;
    return (sensorIdx >= 0 && sensorIdx < 32) ? (1u << sensorIdx) : 0u;
}

namespace utility {

std::shared_ptr<ICamsysSensorInfoHelper> ICamsysSensorInfoHelper::getInstance() {
    static std::shared_ptr<ICamsysSensorInfoHelper> sHelper =
        std::make_shared<ICamsysSensorInfoHelper>();
    return sHelper;
}

bool ICamsysSensorInfoHelper::getSensorFps(int32_t sensorIdx, int32_t scenarioId,
                                           uint32_t& fps) const {
    state().recorded.sensorInfo.push_back({SensorInfoQuery::Fps, sensorIdx, scenarioId});
    const SensorMode* mode = findMode(sensorIdx, scenarioId);
    if (mode == nullptr || mode->fpsFails) return false;
    fps = mode->fps;
    return true;
}

bool ICamsysSensorInfoHelper::getSensorSize(int32_t sensorIdx, int32_t scenarioId,
                                            MSize& size) const {
    state().recorded.sensorInfo.push_back({SensorInfoQuery::Size, sensorIdx, scenarioId});
    const SensorMode* mode = findMode(sensorIdx, scenarioId);
    if (mode == nullptr || mode->sizeFails) return false;
    size = mode->size;
    return true;
}

bool ICamsysSensorInfoHelper::getSensorRawFmtType(int32_t sensorIdx, int32_t scenarioId,
                                                  uint32_t& rawFmtType) const {
    state().recorded.sensorInfo.push_back({SensorInfoQuery::RawFmtType, sensorIdx, scenarioId});
    const SensorMode* mode = findMode(sensorIdx, scenarioId);
    if (mode == nullptr || mode->rawFmtTypeFails) return false;
    rawFmtType = mode->rawFmtType;
    return true;
}

}  // namespace utility

std::shared_ptr<IMetadataProvider> NSMetadataProviderManager::valueForByDeviceId(int32_t deviceId) {
    state().recorded.staticMetadataQueries.push_back(deviceId);
    if (!sensor(deviceId).hasMetadataProvider) return nullptr;
    return std::make_shared<HostMetadataProvider>(deviceId);
}

}  // namespace NSCam

int32_t StereoSettingProvider::__logicalDeviceID = 0;

uint32_t StereoSettingProvider::getStereoFeatureMode(uint32_t /*logicalDeviceId*/) {
    return state().stereoFeatureMode;
}

// ---- Feature services -----------------------------------------------------------------------

bool ICustFeatureCapability::isPolicyCustSettingSupport(int32_t sensorIdx) {
    return sensor(sensorIdx).newSettingPolicy;
}

bool ICustFeatureCapability::isCustRrzoSupport(int32_t sensorIdx) {
    return sensor(sensorIdx).newRrzoPolicy;
}

bool ICustFeatureCapability::isPrivateSelectSensorMode(int32_t sensorIdx) {
    return sensor(sensorIdx).privateSelectSensorMode;
}

void ICustFeatureCapability::getMaxStreamSize(int32_t sensorIdx, int32_t maxYuvWidth,
                                              int32_t maxYuvHeight, int32_t& width, int32_t& height,
                                              float floatParam0, float floatParam1, int32_t maxFps,
                                              int32_t pixelArrayWidth, int32_t pixelArrayHeight,
                                              bool configExtraPresent) {
    MaxStreamSizeCall call{sensorIdx,       maxYuvWidth,      maxYuvHeight,      width,
                           height,          floatParam0,      floatParam1,       maxFps,
                           pixelArrayWidth, pixelArrayHeight, configExtraPresent};
    state().recorded.maxStreamSize.push_back(call);
    if (state().maxStreamSize) state().maxStreamSize(call, width, height);
}

void ICustFeatureCapability::getCustSensorSettingInfo(int32_t sensorIdx, uint32_t operationMode,
                                                      int32_t maxStreamWidth,
                                                      int32_t maxStreamHeight, int32_t& info) {
    state().recorded.custSensorSettingInfo.push_back(
        {sensorIdx, operationMode, maxStreamWidth, maxStreamHeight, info});
    const SensorFacts& facts = sensor(sensorIdx);
    if (facts.custSensorSettingInfo) info = *facts.custSensorSettingInfo;
}

void ICustFeatureCapability::getAaaAecDefaultVhdrInfo(int32_t sensorIdx,
                                                      qovix_aaa_ae_vhdr_info& info) {
    info = sensor(sensorIdx).defaultVhdrInfo;
}

int32_t ICustFeatureCapability::getVideoEisAlgoType(int32_t arg0, int32_t arg1, int32_t arg2,
                                                    uint32_t arg3, uint32_t arg4, int32_t arg5,
                                                    bool arg6) {
    state().recorded.videoEisQueries.push_back(
        "(" + std::to_string(arg0) + ", " + std::to_string(arg1) + ", " + std::to_string(arg2) +
        ", " + std::to_string(arg3) + ", " + std::to_string(arg4) + ", " + std::to_string(arg5) +
        ", " + (arg6 ? "true" : "false") + ")");
    return state().videoEisAlgoType;
}

int32_t ICustFeatureChip::triggerEvaluateRequestExt(const CustTransMsgData* request,
                                                    CustTransMsgData* reply) {
    FeatureChipCall call;
    if (request != nullptr) {
        call.request = *request;
        call.requestPayload = copyBytes(request->pData, request->dataSize);
        decodeRequest(request, call);
    }
    if (reply != nullptr) call.reply = *reply;
    if (state().featureChip) state().featureChip(request, reply);
    if (reply != nullptr) call.replyPayload = copyBytes(reply->pData, reply->dataSize);
    state().recorded.featureChip.push_back(std::move(call));
    return 0;
}

// ---- Customer data --------------------------------------------------------------------------

CustomerData* CustomerData::getInstance() {
    static CustomerData sInstance;
    return &sInstance;
}
CustomMetadata* CustomerData::getCustomMetadata() {
    return state().customerObjects ? &mMetadata : nullptr;
}
CustomCommon* CustomerData::getCustomCommon() {
    return state().customerObjects ? &mCommon : nullptr;
}

bool CustomMetadata::isSystemCam() const { return state().customer.systemCam; }
bool CustomMetadata::is3rdCam() const { return state().customer.thirdPartyCam; }
bool CustomMetadata::isSdkCam() const { return state().customer.sdkCam; }
bool CustomMetadata::isEngineerCam() const { return state().customer.engineerCam; }
bool CustomMetadata::isEngineerMode() const { return state().customer.engineerMode; }
bool CustomMetadata::isRunGSI() const { return state().customer.runGsi; }
bool CustomMetadata::getCamFromMainMenu() const { return state().customer.camFromMainMenu; }
std::string CustomMetadata::getCurCamName() const { return state().customer.curCamName; }
std::string CustomMetadata::getActivityName() const { return state().customer.activityName; }
std::string CustomMetadata::getCallerName() const { return state().customer.callerName; }
std::string CustomMetadata::geCurPackageName() const { return state().customer.packageName; }
std::string CustomMetadata::getCameraModeName() const { return state().customer.cameraModeName; }

int32_t CustomCommon::getCapMode() const { return state().customer.capMode; }
bool CustomCommon::is4kVideoMode() const { return state().customer.is4kVideo; }
bool CustomCommon::isDolbyVision() const { return state().customer.dolbyVision; }
void CustomCommon::setConfigSensorScenario(uint32_t sensorIdx, uint32_t scenario) {
    state().recorded.seamless.push_back({sensorIdx, scenario});
}

// ---- Third-party capability manager ---------------------------------------------------------

ThirdCapManager* ThirdCapManager::GetInstance() {
    static ThirdCapManager sManager;
    return &sManager;
}

bool ThirdCapManager::isSupportThirdCap() const { return state().thirdCap.supported; }

int32_t ThirdCapManager::getThirdSensormode(const ThirdSensormodeInputParam& p) const {
    state().recorded.thirdCap.push_back({p.sensorIdx, p.camName, p.activityName, p.capMode,
                                         p.maxStreamWidth, p.maxStreamHeight, p.maxYuvWidth,
                                         p.maxYuvHeight, p.reserved, p.isVideo, p.apiValue,
                                         p.temperature, copyBytes(&p, sizeof(p))});
    return state().thirdCap.answer;
}
