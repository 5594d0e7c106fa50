#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Records exchanged with the device maker's closed camera feature services. Their layouts are wire
// formats: sizes and offsets are asserted.

// One scene entry of the default AE video-HDR information.
struct qovix_ae_hdr_scene_info_t {
    uint32_t operationMode = 0;
    int32_t sceneValue = 0;
};
static_assert(sizeof(qovix_ae_hdr_scene_info_t) == 8, "scene entry is 8 bytes");
static_assert(offsetof(qovix_ae_hdr_scene_info_t, sceneValue) == 4, "sceneValue at 4");

// The default AE video-HDR information of a sensor.
struct qovix_aaa_ae_vhdr_info {
    bool sceneHdrEnable = false;
    std::vector<qovix_ae_hdr_scene_info_t> sceneInfos;
    int32_t vhdrValue0 = 0;
    int32_t startExpNum = 1;
    int32_t vhdrValue2 = 0;
    int32_t vhdrValue3 = 0;
};
static_assert(offsetof(qovix_aaa_ae_vhdr_info, sceneInfos) == 8, "sceneInfos at 8");
static_assert(offsetof(qovix_aaa_ae_vhdr_info, vhdrValue0) == 32, "vhdrValue0 at 32");
static_assert(offsetof(qovix_aaa_ae_vhdr_info, startExpNum) == 36, "startExpNum at 36");
static_assert(offsetof(qovix_aaa_ae_vhdr_info, vhdrValue2) == 40, "vhdrValue2 at 40");
static_assert(offsetof(qovix_aaa_ae_vhdr_info, vhdrValue3) == 44, "vhdrValue3 at 44");
static_assert(sizeof(qovix_aaa_ae_vhdr_info) == 48, "vhdr info is 48 bytes");

// The message record of the feature-chip evaluation service.
struct CustTransMsgData {
    uint32_t msgWord0 = 0;
    uint32_t msgWord1 = 0;
    uint32_t msgWord2 = 0;
    uint32_t msgId = 0;
    uint64_t msgWord4 = 0;
    void* pData = nullptr;
    uint32_t dataSize = 0;
    uint8_t reserved[12] = {};
};
static_assert(sizeof(CustTransMsgData) == 48, "message record is 48 bytes");
static_assert(offsetof(CustTransMsgData, msgId) == 12, "msgId at 12");
static_assert(offsetof(CustTransMsgData, msgWord4) == 16, "msgWord4 at 16");
static_assert(offsetof(CustTransMsgData, pData) == 24, "pData at 24");
static_assert(offsetof(CustTransMsgData, dataSize) == 32, "dataSize at 32");
static_assert(offsetof(CustTransMsgData, reserved) == 36, "zero tail at 36");

// Input record of the third-party capability manager.
struct ThirdSensormodeInputParam {
    int32_t sensorIdx = 0;
    std::string camName;
    std::string activityName;
    int32_t capMode = 0;
    int32_t maxStreamWidth = 0;
    int32_t maxStreamHeight = 0;
    int32_t maxYuvWidth = 0;
    int32_t maxYuvHeight = 0;
    int32_t reserved = 0;
    int32_t isVideo = 0;
    int32_t apiValue = 0;
    int32_t temperature = 0;
};
// The record embeds standard-library types; its layout is still fixed by the runtime it is built
// against, which is what these checks pin down.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(ThirdSensormodeInputParam, camName) == 8, "camName at 8");
#if defined(_LIBCPP_VERSION)
// The manager is built against libc++, whose std::string is 24 bytes.
static_assert(offsetof(ThirdSensormodeInputParam, activityName) == 32, "activityName at 32");
static_assert(offsetof(ThirdSensormodeInputParam, capMode) == 56, "capMode at 56");
static_assert(offsetof(ThirdSensormodeInputParam, maxStreamWidth) == 60, "stream width at 60");
static_assert(offsetof(ThirdSensormodeInputParam, maxStreamHeight) == 64, "stream height at 64");
static_assert(offsetof(ThirdSensormodeInputParam, maxYuvWidth) == 68, "yuv width at 68");
static_assert(offsetof(ThirdSensormodeInputParam, maxYuvHeight) == 72, "yuv height at 72");
static_assert(offsetof(ThirdSensormodeInputParam, reserved) == 76, "reserved at 76");
static_assert(offsetof(ThirdSensormodeInputParam, isVideo) == 80, "video flag at 80");
static_assert(offsetof(ThirdSensormodeInputParam, apiValue) == 84, "api value at 84");
static_assert(offsetof(ThirdSensormodeInputParam, temperature) == 88, "temperature at 88");
static_assert(sizeof(ThirdSensormodeInputParam) == 96, "manager record is 96 bytes");
#endif
#pragma GCC diagnostic pop
