#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "host_platform.h"
#include "platform/CustFeatureServices.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"

namespace {

using NSCam::IHalSensorList;
using NSCam::utility::ICamsysSensorInfoHelper;
using NSCam::Utils::ULog::ULogger;

constexpr int32_t kSensor = 2;
constexpr uint32_t kTagPixelArray = 0xF0006;
constexpr uint32_t kMsgIdSensorSetting = 0x1005;

CustomMetadata& customMetadata() { return *CustomerData::getInstance()->getCustomMetadata(); }
CustomCommon& customCommon() { return *CustomerData::getInstance()->getCustomCommon(); }

void discardAndroidLog(const struct __android_logger_data*, const char*) {}

// Sends one sensor-setting message and returns the scenario the service answered (preset to 0).
int32_t askFeatureChip() {
    int32_t answer = 0;
    CustTransMsgData request;
    request.msgId = kMsgIdSensorSetting;
    CustTransMsgData reply;
    reply.pData = &answer;
    reply.dataSize = sizeof(answer);
    ICustFeatureChip::triggerEvaluateRequestExt(&request, &reply);
    return answer;
}

// Calls every recording service once, so that each kind of traffic has a record.
void makeTraffic() {
    askFeatureChip();
    customCommon().setConfigSensorScenario(kSensor, 3);
    uint32_t fps = 0;
    ICamsysSensorInfoHelper::getInstance()->getSensorFps(kSensor, 0, fps);
    int32_t width = 1920, height = 1080;
    ICustFeatureCapability::getMaxStreamSize(kSensor, 1920, 1080, width, height, 1.0f, 1.0f, 30,
                                             4000, 3000, false);
    int32_t info = 0;
    ICustFeatureCapability::getCustSensorSettingInfo(kSensor, 0, 1920, 1080, info);
    ThirdCapManager::GetInstance()->getThirdSensormode(ThirdSensormodeInputParam{});
    NSCam::NSMetadataProviderManager::valueForByDeviceId(kSensor);
    __android_log_print(ANDROID_LOG_ERROR, "HostPlatformTest", "traffic");
    ULogger::sULogger->print(0x101005, "HostPlatformTest", 1, "traffic", 7);
}

// Moves every answer of the platform away from its default.
void changeEverything() {
    auto& facts = hostplatform::sensor(kSensor);
    facts.newSettingPolicy = true;
    facts.newRrzoPolicy = true;
    facts.privateSelectSensorMode = true;
    facts.custSensorSettingInfo = 77;
    facts.defaultVhdrInfo.sceneHdrEnable = true;
    facts.defaultVhdrInfo.startExpNum = 3;
    facts.defaultVhdrInfo.sceneInfos.push_back({1, 2});
    facts.deviceMask = 0x40;
    facts.hasMetadataProvider = false;
    facts.staticMetadata.update(NSCam::IEntry::of<MSize>(kTagPixelArray, {{4000, 3000}}));
    facts.modes[0] = hostplatform::SensorMode{};

    auto& s = hostplatform::state();
    s.customer.systemCam = false;
    s.customer.thirdPartyCam = true;
    s.customer.sdkCam = true;
    s.customer.engineerCam = true;
    s.customer.engineerMode = true;
    s.customer.runGsi = true;
    s.customer.camFromMainMenu = false;
    s.customer.curCamName = "cam";
    s.customer.activityName = "activity";
    s.customer.callerName = "caller";
    s.customer.packageName = "package";
    s.customer.cameraModeName = "mode";
    s.customer.capMode = 4;
    s.customer.is4kVideo = true;
    s.customer.dolbyVision = true;
    s.thirdCap.supported = true;
    s.thirdCap.answer = 5;
    s.stereoFeatureMode = 0x40;
    s.videoEisAlgoType = 2;
    s.featureChip = [](const CustTransMsgData*, CustTransMsgData* reply) {
        *static_cast<int32_t*>(reply->pData) = 9;
    };
    s.maxStreamSize = [](const hostplatform::MaxStreamSizeCall&, int32_t& w, int32_t& h) {
        w = 1;
        h = 1;
    };

    makeTraffic();
    // After the traffic: the sensor list is still there for it, and it is not echoed.
    s.hasSensorList = false;
    s.echoAndroidLog = true;

    ULogger::sDetailsLevel = 0;
    ULogger::sNormalDetailsMask = 0;
    ULogger::sMode = 0;
    ULogger::sULogger = nullptr;
    StereoSettingProvider::__logicalDeviceID = 3;
    __android_log_set_logger(discardAndroidLog);
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
}

// Whether one answer of the platform is at its default, asked through the platform's services.
struct DefaultCase {
    const char* why;
    bool (*isDefault)();
};
const DefaultCase kDefaults[] = {
    {"old sensor-setting policy",
     [] { return !ICustFeatureCapability::isPolicyCustSettingSupport(kSensor); }},
    {"old RRZO policy", [] { return !ICustFeatureCapability::isCustRrzoSupport(kSensor); }},
    {"no private sensor-mode selection",
     [] { return !ICustFeatureCapability::isPrivateSelectSensorMode(kSensor); }},
    {"sensor-setting info left as it was",
     [] {
         int32_t info = -5;
         ICustFeatureCapability::getCustSensorSettingInfo(kSensor, 0, 0, 0, info);
         return info == -5;
     }},
    {"default video-HDR info",
     [] {
         qovix_aaa_ae_vhdr_info info;
         info.startExpNum = 0;
         info.sceneHdrEnable = true;
         ICustFeatureCapability::getAaaAecDefaultVhdrInfo(kSensor, info);
         return !info.sceneHdrEnable && info.startExpNum == 1 && info.sceneInfos.empty();
     }},
    {"sensor list present", [] { return IHalSensorList::get() != nullptr; }},
    {"device mask is one bit per index",
     [] {
         return IHalSensorList::get() != nullptr &&
                IHalSensorList::get()->querySensorDevIdx(kSensor) == 1u << kSensor;
     }},
    {"metadata provider present",
     [] { return NSCam::NSMetadataProviderManager::valueForByDeviceId(kSensor) != nullptr; }},
    {"empty static metadata",
     [] {
         const auto provider = NSCam::NSMetadataProviderManager::valueForByDeviceId(kSensor);
         return provider != nullptr && provider->getMtkStaticCharacteristics().isEmpty();
     }},
    {"no sensor modes",
     [] {
         uint32_t fps = 0;
         return !ICamsysSensorInfoHelper::getInstance()->getSensorFps(kSensor, 0, fps);
     }},
    {"system camera", [] { return customMetadata().isSystemCam(); }},
    {"not a third-party camera", [] { return !customMetadata().is3rdCam(); }},
    {"not an SDK camera", [] { return !customMetadata().isSdkCam(); }},
    {"not the engineer camera", [] { return !customMetadata().isEngineerCam(); }},
    {"not engineer mode", [] { return !customMetadata().isEngineerMode(); }},
    {"not running GSI", [] { return !customMetadata().isRunGSI(); }},
    {"camera from the main menu", [] { return customMetadata().getCamFromMainMenu(); }},
    {"no camera name", [] { return customMetadata().getCurCamName().empty(); }},
    {"no activity name", [] { return customMetadata().getActivityName().empty(); }},
    {"no caller name", [] { return customMetadata().getCallerName().empty(); }},
    {"no package name", [] { return customMetadata().geCurPackageName().empty(); }},
    {"no camera-mode name", [] { return customMetadata().getCameraModeName().empty(); }},
    {"capture mode 0", [] { return customCommon().getCapMode() == 0; }},
    {"not 4K video", [] { return !customCommon().is4kVideoMode(); }},
    {"not Dolby Vision", [] { return !customCommon().isDolbyVision(); }},
    {"third-party manager unsupported",
     [] { return !ThirdCapManager::GetInstance()->isSupportThirdCap(); }},
    {"third-party manager answers -1",
     [] {
         return ThirdCapManager::GetInstance()->getThirdSensormode(ThirdSensormodeInputParam{}) ==
                -1;
     }},
    {"stereo feature mode 0", [] { return StereoSettingProvider::getStereoFeatureMode(0) == 0; }},
    {"video EIS algorithm type 0",
     [] { return ICustFeatureCapability::getVideoEisAlgoType(0, 0, 0, 0, 0, 0, false) == 0; }},
    {"feature-chip service answers nothing", [] { return askFeatureChip() == 0; }},
    {"maximum stream size left as it was",
     [] {
         int32_t width = 1920, height = 1080;
         ICustFeatureCapability::getMaxStreamSize(kSensor, 0, 0, width, height, 0, 0, 0, 0, 0,
                                                  false);
         return width == 1920 && height == 1080;
     }},
    {"Android log not echoed", [] { return !hostplatform::state().echoAndroidLog; }},
    {"detail level 5", [] { return ULogger::sDetailsLevel == 5; }},
    {"full debug mask", [] { return ULogger::sNormalDetailsMask == 0x101000u; }},
    {"both log destinations", [] { return ULogger::sMode == 0x3u; }},
    {"unified logger installed", [] { return ULogger::sULogger != nullptr; }},
    {"logical device 0", [] { return StereoSettingProvider::__logicalDeviceID == 0; }},
    {"Android log captured at every priority",
     [] {
         const size_t before = hostplatform::state().recorded.androidLog.size();
         __android_log_print(ANDROID_LOG_VERBOSE, "HostPlatformTest", "probe");
         return hostplatform::state().recorded.androidLog.size() == before + 1;
     }},
};

TEST(HostPlatformTest, ResetRestoresEveryDefault) {
    hostplatform::reset();
    changeEverything();
    for (const auto& c : kDefaults) {
        SCOPED_TRACE(c.why);
        ASSERT_FALSE(c.isDefault()) << "the test failed to change this answer";
    }

    hostplatform::reset();
    for (const auto& c : kDefaults) {
        SCOPED_TRACE(c.why);
        EXPECT_TRUE(c.isDefault());
    }
}

TEST(HostPlatformTest, ResetClearsRecordedTraffic) {
    hostplatform::reset();
    makeTraffic();
    const auto& rec = hostplatform::state().recorded;
    ASSERT_FALSE(rec.featureChip.empty());
    ASSERT_FALSE(rec.seamless.empty());
    ASSERT_FALSE(rec.sensorInfo.empty());
    ASSERT_FALSE(rec.maxStreamSize.empty());
    ASSERT_FALSE(rec.custSensorSettingInfo.empty());
    ASSERT_FALSE(rec.thirdCap.empty());
    ASSERT_FALSE(rec.staticMetadataQueries.empty());
    ASSERT_FALSE(rec.androidLog.empty());
    ASSERT_FALSE(rec.unifiedLog.empty());

    hostplatform::reset();
    EXPECT_TRUE(rec.featureChip.empty());
    EXPECT_TRUE(rec.seamless.empty());
    EXPECT_TRUE(rec.sensorInfo.empty());
    EXPECT_TRUE(rec.maxStreamSize.empty());
    EXPECT_TRUE(rec.custSensorSettingInfo.empty());
    EXPECT_TRUE(rec.thirdCap.empty());
    EXPECT_TRUE(rec.staticMetadataQueries.empty());
    EXPECT_TRUE(rec.androidLog.empty());
    EXPECT_TRUE(rec.unifiedLog.empty());
    EXPECT_TRUE(hostplatform::unifiedTexts().empty());
}

}  // namespace
