#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>

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

TEST(HostPlatformTest, ResetRestoresDefaultsAndClearsTraffic) {
    hostplatform::reset();
    auto& s = hostplatform::state();
    auto& r = s.recorded;
    r.featureChip.emplace_back();
    r.seamless.emplace_back();
    r.sensorInfo.emplace_back();
    r.maxStreamSize.emplace_back();
    r.custSensorSettingInfo.emplace_back();
    r.thirdCap.emplace_back();
    r.staticMetadataQueries.emplace_back();
    r.androidLog.emplace_back();
    ULogger::sULogger->print(0x101005, "HostPlatformTest", 1, "traffic", 7);
    ASSERT_EQ(hostplatform::unifiedTexts().size(), 1u);
    hostplatform::sensor(kSensor).newSettingPolicy = true;
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
    for (size_t size : {r.featureChip.size(), r.seamless.size(), r.sensorInfo.size(),
                        r.maxStreamSize.size(), r.custSensorSettingInfo.size(), r.thirdCap.size(),
                        r.staticMetadataQueries.size(), r.androidLog.size(), r.unifiedLog.size()}) {
        EXPECT_EQ(size, 0u);
    }
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
