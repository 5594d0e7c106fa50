#pragma once

#include <cstdint>
#include <string>

#include "platform/CustFeatureTypes.h"

// The device maker's camera feature services, as the library calls them. A vendor tree's
// replacement of this file declares the same names and signatures, usually by including the
// services' own headers. When the HAL configures several sensors at once, every function here may
// be entered from two threads at once and must be thread-safe.

// The device maker's camera feature-capability service.
class ICustFeatureCapability {
public:
    // True when the sensor uses the new sensor-setting policy.
    static bool isPolicyCustSettingSupport(int32_t sensorIdx);
    // True when the sensor uses the feature-driven RRZO policy.
    static bool isCustRrzoSupport(int32_t sensorIdx);
    // True when the sensor uses private sensor-mode selection.
    static bool isPrivateSelectSensorMode(int32_t sensorIdx);
    // Receives the candidate largest stream size in `width` / `height` and may change them.
    static void getMaxStreamSize(int32_t sensorIdx, int32_t maxYuvWidth, int32_t maxYuvHeight,
                                 int32_t& width, int32_t& height, float floatParam0,
                                 float floatParam1, int32_t maxFps, int32_t pixelArrayWidth,
                                 int32_t pixelArrayHeight, bool configExtraPresent);
    // Answers one integer for the configuration in `info`; may leave it as it is.
    static void getCustSensorSettingInfo(int32_t sensorIdx, uint32_t operationMode,
                                         int32_t maxStreamWidth, int32_t maxStreamHeight,
                                         int32_t& info);
    // Fills the sensor's default AE video-HDR information.
    static void getAaaAecDefaultVhdrInfo(int32_t sensorIdx, qovix_aaa_ae_vhdr_info& info);
    static int32_t getVideoEisAlgoType(int32_t arg0, int32_t arg1, int32_t arg2, uint32_t arg3,
                                       uint32_t arg4, int32_t arg5, bool arg6);
};

// The device maker's synchronous evaluation service. It answers through the reply's pData (for RRZO
// request 2, through the request's pParam); the library ignores the return value. Messages and
// records: custpolicy/cust_contract.h, CustSettingEvalRequest and CustEvalRequest.
class ICustFeatureChip {
public:
    static int32_t triggerEvaluateRequestExt(const CustTransMsgData* request,
                                             CustTransMsgData* reply);
};

// Facts about the calling application.
class CustomMetadata {
public:
    bool isSystemCam() const;
    bool is3rdCam() const;
    bool isSdkCam() const;
    bool isEngineerCam() const;
    bool isEngineerMode() const;
    bool isRunGSI() const;
    bool getCamFromMainMenu() const;
    std::string getCurCamName() const;
    std::string getActivityName() const;
    std::string getCallerName() const;
    std::string geCurPackageName() const;
    std::string getCameraModeName() const;
};

// Common facts of the session.
class CustomCommon {
public:
    int32_t getCapMode() const;
    bool is4kVideoMode() const;
    bool isDolbyVision() const;
    // Records the seamless sensor scenario for a sensor.
    void setConfigSensorScenario(uint32_t sensorIdx, uint32_t scenario);
};

// The customer-data singleton holding the two fact objects; none of the three getters may return
// null.
class CustomerData {
public:
    static CustomerData* getInstance();
    CustomMetadata* getCustomMetadata();
    CustomCommon* getCustomCommon();

private:
    CustomMetadata mMetadata;
    CustomCommon mCommon;
};

// The third-party capability manager.
class ThirdCapManager {
public:
    static ThirdCapManager* GetInstance();
    bool isSupportThirdCap() const;
    // The scenario chosen for the record, -1 for none.
    int32_t getThirdSensormode(const ThirdSensormodeInputParam& param) const;
};
