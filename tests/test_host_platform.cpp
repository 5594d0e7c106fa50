#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "host_platform.h"
#include "platform/CustFeatureServices.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"

namespace {

using NSCam::Utils::ULog::ULogger;

constexpr int32_t kSensor = 2;

int32_t askFeatureChip() {
    int32_t answer = 0;
    CustTransMsgData request;
    request.msgId = 0x1005;  // sensor setting
    CustTransMsgData reply;
    reply.pData = &answer;
    reply.dataSize = sizeof(answer);
    ICustFeatureChip::triggerEvaluateRequestExt(&request, &reply);
    return answer;
}

std::vector<size_t> recordSizes() {
    const auto& r = hostplatform::state().recorded;
    return {r.featureChip.size(),
            r.seamless.size(),
            r.sensorInfo.size(),
            r.maxStreamSize.size(),
            r.custSensorSettingInfo.size(),
            r.thirdCap.size(),
            r.staticMetadataQueries.size(),
            r.androidLog.size(),
            r.unifiedLog.size()};
}

TEST(HostPlatformTest, ResetRestoresDefaultsAndClearsTraffic) {
    hostplatform::reset();
    // One call of every recording service, then one answer of each kind moved off its default.
    askFeatureChip();
    CustomerData::getInstance()->getCustomCommon()->setConfigSensorScenario(kSensor, 3);
    uint32_t fps = 0;
    NSCam::utility::ICamsysSensorInfoHelper::getInstance()->getSensorFps(kSensor, 0, fps);
    int32_t width = 1920, height = 1080, info = 0;
    ICustFeatureCapability::getMaxStreamSize(kSensor, 1920, 1080, width, height, 1.0f, 1.0f, 30,
                                             4000, 3000, false);
    ICustFeatureCapability::getCustSensorSettingInfo(kSensor, 0, 1920, 1080, info);
    ThirdCapManager::GetInstance()->getThirdSensormode(ThirdSensormodeInputParam{});
    NSCam::NSMetadataProviderManager::valueForByDeviceId(kSensor);
    __android_log_print(ANDROID_LOG_ERROR, "HostPlatformTest", "traffic");
    ULogger::sULogger->print(0x101005, "HostPlatformTest", 1, "traffic", 7);
    for (size_t size : recordSizes()) ASSERT_GT(size, 0u);

    hostplatform::sensor(kSensor).newSettingPolicy = true;
    auto& s = hostplatform::state();
    s.hasSensorList = false;
    s.customer.systemCam = false;
    s.customer.curCamName = "cam";
    s.thirdCap = {true, 5};
    s.featureChip = [](const CustTransMsgData*, CustTransMsgData* reply) {
        *static_cast<int32_t*>(reply->pData) = 9;
    };
    ULogger::sDetailsLevel = 0;
    ULogger::sULogger = nullptr;
    StereoSettingProvider::__logicalDeviceID = 3;
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);

    hostplatform::reset();
    for (size_t size : recordSizes()) EXPECT_EQ(size, 0u);
    EXPECT_TRUE(hostplatform::unifiedTexts().empty());
    const CustomMetadata& metadata = *CustomerData::getInstance()->getCustomMetadata();
    EXPECT_FALSE(ICustFeatureCapability::isPolicyCustSettingSupport(kSensor));
    EXPECT_NE(NSCam::IHalSensorList::get(), nullptr);
    EXPECT_TRUE(metadata.isSystemCam());
    EXPECT_TRUE(metadata.getCurCamName().empty());
    EXPECT_EQ(ThirdCapManager::GetInstance()->getThirdSensormode(ThirdSensormodeInputParam{}), -1);
    EXPECT_EQ(askFeatureChip(), 0);
    EXPECT_EQ(ULogger::sDetailsLevel, 5);
    EXPECT_NE(ULogger::sULogger, nullptr);
    EXPECT_EQ(StereoSettingProvider::__logicalDeviceID, 0);
    __android_log_print(ANDROID_LOG_VERBOSE, "HostPlatformTest", "probe");
    EXPECT_EQ(hostplatform::state().recorded.androidLog.size(), 1u) << "captured at every priority";
}

}  // namespace
