// The example's camera platform: the definitions of every platform symbol that libcustpolicy.so
// imports, as a vendor platform library would provide them. A real device has these in the
// platform's own libraries; here one small library answers with fixed facts:
//   sensor 0 uses the new policies; the feature-chip service names scenario 2 for it and answers
//   RRZO request 2 with 1920 x 1080;
//   sensor 1 uses the legacy policies, with an empty configuration store.
// It records the feature-chip messages it receives, so that the HAL can show the wire contract.

#include "platform_services.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "custpolicy/cust_contract.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "platform/ConfigStore.h"
#include "platform/CustFeatureServices.h"
#include "platform/IMetadata.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"

namespace {

constexpr int32_t kNewPolicySensor = 0;
constexpr int32_t kChosenScenario = 2;
constexpr NSCam::MSize kRrzoAnswer{1920, 1080};
constexpr NSCam::MSize kSensorOutput{4000, 3000};

std::string gMessages;

void record(const char* text) {
    if (!gMessages.empty()) gMessages += ' ';
    gMessages += text;
}

}  // namespace

const char* examplePlatformMessages() { return gMessages.c_str(); }

// ---- Unified camera logger: errors only, to stderr through the Android log.
namespace NSCam::Utils::ULog {
int32_t ULogger::sDetailsLevel = 1;
uint32_t ULogger::sNormalDetailsMask = 0;
uint32_t ULogger::sMode = custpolicy::kLogModeAndroid;
ULogger* ULogger::sULogger = nullptr;
void ULogger::print(uint32_t, const char*, int32_t, const char*, int32_t) {}
}  // namespace NSCam::Utils::ULog

// ---- Sensor services.
namespace NSCam {

IHalSensorList* IHalSensorList::get() {
    static IHalSensorList list;
    return &list;
}
uint32_t IHalSensorList::querySensorDevIdx(int32_t sensorIdx) const { return 1u << sensorIdx; }

namespace utility {
std::shared_ptr<ICamsysSensorInfoHelper> ICamsysSensorInfoHelper::getInstance() {
    static auto helper = std::make_shared<ICamsysSensorInfoHelper>();
    return helper;
}
bool ICamsysSensorInfoHelper::getSensorFps(int32_t, int32_t, uint32_t& fps) const {
    fps = 30;
    return true;
}
bool ICamsysSensorInfoHelper::getSensorSize(int32_t, int32_t, MSize& size) const {
    size = kSensorOutput;
    return true;
}
bool ICamsysSensorInfoHelper::getSensorRawFmtType(int32_t, int32_t, uint32_t& type) const {
    type = 0;
    return true;
}
}  // namespace utility

namespace {
class StaticMetadataProvider : public IMetadataProvider {
public:
    StaticMetadataProvider() {
        mStatic.update(
            IEntry::of<MSize>(custpolicy::kTagSensorInfoPixelArraySize, {kSensorOutput}));
        mStatic.update(IEntry::of<int32_t>(custpolicy::kTagAeAvailableTargetFpsRanges, {15, 30}));
    }
    const IMetadata& getMtkStaticCharacteristics() const override { return mStatic; }

private:
    IMetadata mStatic;
};
}  // namespace

// The library passes the sensor index as the device id.
std::shared_ptr<IMetadataProvider> NSMetadataProviderManager::valueForByDeviceId(int32_t) {
    static auto provider = std::make_shared<StaticMetadataProvider>();
    return provider;
}

}  // namespace NSCam

int32_t StereoSettingProvider::__logicalDeviceID = 0;
uint32_t StereoSettingProvider::getStereoFeatureMode(uint32_t) { return 0; }

// ---- Feature-capability service.
bool ICustFeatureCapability::isPolicyCustSettingSupport(int32_t sensorIdx) {
    return sensorIdx == kNewPolicySensor;
}
bool ICustFeatureCapability::isCustRrzoSupport(int32_t sensorIdx) {
    return sensorIdx == kNewPolicySensor;
}
bool ICustFeatureCapability::isPrivateSelectSensorMode(int32_t) { return false; }
void ICustFeatureCapability::getMaxStreamSize(int32_t, int32_t, int32_t, int32_t&, int32_t&, float,
                                              float, int32_t, int32_t, int32_t, bool) {}
void ICustFeatureCapability::getCustSensorSettingInfo(int32_t, uint32_t, int32_t, int32_t,
                                                      int32_t&) {}
void ICustFeatureCapability::getAaaAecDefaultVhdrInfo(int32_t, qovix_aaa_ae_vhdr_info&) {}
int32_t ICustFeatureCapability::getVideoEisAlgoType(int32_t, int32_t, int32_t, uint32_t, uint32_t,
                                                    int32_t, bool) {
    return 0;
}

// ---- Feature-chip service: answers through the reply, or for request 2 through the request's
// pParam; the return value is ignored by the library.
int32_t ICustFeatureChip::triggerEvaluateRequestExt(const CustTransMsgData* request,
                                                    CustTransMsgData* reply) {
    char text[32];
    if (request->msgId == custpolicy::kMsgIdSensorSetting) {
        CustSettingEvalRequest payload;
        std::memcpy(&payload, request->pData, sizeof(payload));
        std::snprintf(text, sizeof(text), "0x%x/%d", request->msgId, payload.evalType);
        const int32_t scenario = payload.pSelectIn->drvId == kNewPolicySensor
                                     ? kChosenScenario
                                     : custpolicy::kNoScenario;
        std::memcpy(reply->pData, &scenario, sizeof(scenario));
    } else {
        CustEvalRequest payload;
        std::memcpy(static_cast<void*>(&payload), request->pData, sizeof(payload));
        std::snprintf(text, sizeof(text), "0x%x/%d", request->msgId, payload.evalType);
        if (payload.evalType == custpolicy::kRrzoEvalTargetSize) {
            std::memcpy(payload.pParam, &kRrzoAnswer, sizeof(kRrzoAnswer));
        }
    }
    record(text);
    return 0;
}

// ---- Customer data: the system camera, in no special mode.
bool CustomMetadata::isSystemCam() const { return true; }
bool CustomMetadata::is3rdCam() const { return false; }
bool CustomMetadata::isSdkCam() const { return false; }
bool CustomMetadata::isEngineerCam() const { return false; }
bool CustomMetadata::isEngineerMode() const { return false; }
bool CustomMetadata::isRunGSI() const { return false; }
bool CustomMetadata::getCamFromMainMenu() const { return true; }
std::string CustomMetadata::getCurCamName() const { return "com.example.camera"; }
std::string CustomMetadata::getActivityName() const { return "com.example.camera.Main"; }
std::string CustomMetadata::getCallerName() const { return "com.example.camera"; }
std::string CustomMetadata::geCurPackageName() const { return "com.example.camera"; }
std::string CustomMetadata::getCameraModeName() const { return "photo"; }

int32_t CustomCommon::getCapMode() const { return 0; }
bool CustomCommon::is4kVideoMode() const { return false; }
bool CustomCommon::isDolbyVision() const { return false; }
void CustomCommon::setConfigSensorScenario(uint32_t, uint32_t) {}

CustomerData* CustomerData::getInstance() {
    static CustomerData data;
    return &data;
}
CustomMetadata* CustomerData::getCustomMetadata() { return &mMetadata; }
CustomCommon* CustomerData::getCustomCommon() { return &mCommon; }

ThirdCapManager* ThirdCapManager::GetInstance() {
    static ThirdCapManager manager;
    return &manager;
}
bool ThirdCapManager::isSupportThirdCap() const { return false; }
int32_t ThirdCapManager::getThirdSensormode(const ThirdSensormodeInputParam&) const {
    return custpolicy::kNoScenario;
}

// ---- Configuration store: empty.
extern "C" {
int32_t GetKeyCount(const char*) { return 0; }
int32_t GetValuesCount(const char*, const char*) { return 0; }
int32_t GetLocaleKeyCount(const char*, const char*) { return 0; }
int32_t GetLocaleKeyValuesCount(const char*, const char*, const char*) { return 0; }
int32_t GetLocaleIntegerListConfiguration(const char*, const char*, const char*, int32_t*,
                                          int32_t) {
    return -1;
}
}
