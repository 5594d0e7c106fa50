#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "custpolicy/cust_export.h"
#include "custpolicy/cust_runtime.h"
#include "platform/CustFeatureTypes.h"
#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

// A width/height pair of signed 32-bit integers.
struct CustFeaturePrvSize {
    int32_t width = 0;
    int32_t height = 0;
};
static_assert(sizeof(CustFeaturePrvSize) == 8, "two 32-bit integers");

// The selection inputs that the new sensor-setting policy hands to the feature-chip service.
struct CustSelectIn4Setting {
    int32_t drvId = 0;
    NSCam::MSize maxStreamSize;
    int32_t maxFps = 0;
    int32_t maxRatio = 0;
    uint32_t operationMode = 0;
    qovix_aaa_ae_vhdr_info vhdrInfo;
    int32_t custSensorSettingInfo = 0;
    bool configExtraPresent = false;
    bool is8kVideo = false;
    int32_t highFpsThres = 0;
    int32_t aovMode = 0;
    NSCam::MSize pixelArraySize;
    CustFeaturePrvSize maxRawSize;
};
static_assert(sizeof(CustSelectIn4Setting) == 104, "selection record is 104 bytes");
static_assert(offsetof(CustSelectIn4Setting, maxStreamSize) == 4, "maxStreamSize at 4");
static_assert(offsetof(CustSelectIn4Setting, maxFps) == 12, "maxFps at 12");
static_assert(offsetof(CustSelectIn4Setting, maxRatio) == 16, "maxRatio at 16");
static_assert(offsetof(CustSelectIn4Setting, operationMode) == 20, "operationMode at 20");
static_assert(offsetof(CustSelectIn4Setting, vhdrInfo) == 24, "vhdrInfo at 24");
static_assert(offsetof(CustSelectIn4Setting, custSensorSettingInfo) == 72,
              "custSensorSettingInfo at 72");
static_assert(offsetof(CustSelectIn4Setting, configExtraPresent) == 76, "configExtraPresent at 76");
static_assert(offsetof(CustSelectIn4Setting, is8kVideo) == 77, "is8kVideo at 77");
static_assert(offsetof(CustSelectIn4Setting, highFpsThres) == 80, "highFpsThres at 80");
static_assert(offsetof(CustSelectIn4Setting, aovMode) == 84, "aovMode at 84");
static_assert(offsetof(CustSelectIn4Setting, pixelArraySize) == 88, "pixelArraySize at 88");
static_assert(offsetof(CustSelectIn4Setting, maxRawSize) == 96, "maxRawSize at 96");

// Request payload of the sensor-setting evaluation: message custpolicy::kMsgIdSensorSetting
// (0x1005), evalType custpolicy::kEvalTypeSensorSetting (1). The reply message's pData addresses
// one int32_t preset to 0 (dataSize 4) into which the service writes the scenario id, or
// custpolicy::kNoScenario (-1); the return value of triggerEvaluateRequestExt is ignored.
struct CustSettingEvalRequest {
    int32_t evalType = 0;
    int32_t drvId = 0;
    CustSelectIn4Setting* pSelectIn = nullptr;
    uint64_t reserved = 0;
};
static_assert(sizeof(CustSettingEvalRequest) == 24, "request payload is 24 bytes");
static_assert(offsetof(CustSettingEvalRequest, drvId) == 4, "drvId at 4");
static_assert(offsetof(CustSettingEvalRequest, pSelectIn) == 8, "pSelectIn at 8");
static_assert(offsetof(CustSettingEvalRequest, reserved) == 16, "zero tail at 16");

namespace custpolicy_types {
using mcam::core::device::policy::AppUserConfiguration;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;
using AppConfigPtr = std::shared_ptr<PolicyParsedAppConfiguration>;
using StreamInfoPtr = std::shared_ptr<PolicyParsedAppImageStreamInfo>;
}  // namespace custpolicy_types

// The sensor-setting policy interface: one decision and the helpers both policies share.
class CUST_EXPORT ICustSettingPolicy {
public:
    using AppUserConfiguration = custpolicy_types::AppUserConfiguration;
    using AppConfigPtr = custpolicy_types::AppConfigPtr;
    using StreamInfoPtr = custpolicy_types::StreamInfoPtr;
    using SensorSetting = custpolicy_types::SensorSetting;

    virtual ~ICustSettingPolicy();

    // Chooses the sensor scenario for the configuration. True means that a scenario was named,
    // not that it was written: the policy then asks ICamsysSensorInfoHelper for the scenario's
    // frame rate, size and raw format type and writes `sensorMode`, `sensorFps`, `sensorSize` and
    // `rawFmtType` only when all three answer; a scenario the sensor has no mode for (the new
    // policy's service answering 9, 300 or -5; a legacy row naming 9) returns true with the record
    // left as it was, and a warning logged. On the new policy every answer of the feature-chip
    // service but -1 (custpolicy::kNoScenario) is such a decision. False: nothing was named and
    // `sensorSetting` is unchanged. A caller that must tell the two trues apart presets
    // `sensorMode` to a value no scenario can give (UINT32_MAX) and checks it afterwards.
    virtual bool selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                     SensorSetting& sensorSetting, int sensorIdx,
                                     unsigned int& outValue, AppUserConfiguration const& userConfig,
                                     float floatParam0, float floatParam1,
                                     unsigned int hdrMode) = 0;

    // Gathers the selection inputs into `*pIn` (zero-filled by the caller). Like every helper
    // here, it reads an empty handle as an empty record and a sensor without static metadata as
    // one whose entries are all missing.
    void getSettingSelectInfo(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                              CustSelectIn4Setting* pIn, int sensorIdx,
                              AppUserConfiguration const& userConfig, float floatParam0,
                              float floatParam1, unsigned int hdrMode);
    // Highest frame rate of the configuration, 0 when unknown.
    int getMaxFps(AppConfigPtr appConfig, int sensorIdx);
    // Aspect-ratio class of the streams (500, 562, or the sensor's own); refreshes the cached
    // pixel-array size.
    int getMaxRatio(int sensorIdx, AppUserConfiguration const& userConfig);
    // Largest stream size, as the feature-capability service finally leaves it.
    NSCam::MSize getMaxSize(StreamInfoPtr streamInfo, int sensorIdx, float floatParam0,
                            float floatParam1, int maxFps, bool configExtraPresent);
    // Raises `rawSize` to the largest raw stream of the sensor.
    void getMaxRawSize(StreamInfoPtr streamInfo, int sensorIdx, CustFeaturePrvSize& rawSize);
    // Highest upper bound of the sensor's AE target fps ranges, 0 when unknown.
    int getHighFpsThres(int sensorIdx);
    // The new policy's decision: asks the feature-chip service (message 0x1005) for a scenario.
    // True for every answer but -1, whether or not parseSensorSetting could fill the record.
    bool selectSensorSetting4Normal(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                    AppUserConfiguration const& userConfig,
                                    SensorSetting& sensorSetting, int sensorIdx, float floatParam0,
                                    float floatParam1, unsigned int hdrMode);
    // The sensor's device index: position of the lowest bit of its device mask.
    int sensorIdx2DrvId(int sensorIdx);
    // Fills `sensorSetting` for `scenarioId` from the sensor-info helper, all fields or none.
    void parseSensorSetting(int sensorIdx, SensorSetting& sensorSetting, int scenarioId);

protected:
    // The sensor's pixel-array size, cached by getMaxRatio; keeps its last read value.
    NSCam::MSize pixelArraySize;
};

// Entry point of the sensor-setting policy: one per sensor index, holding the policy that the
// feature-capability service chose for the sensor at construction. Not safe for concurrent calls;
// adaptors of different sensors may run on different threads when the platform's services are
// thread-safe. A HAL class deriving from it must be built with -fno-rtti, like the library.
// docs/integration.md says what the HAL sets each argument from.
class CUST_EXPORT CustSettingAlgoAdaptor {
public:
    using AppUserConfiguration = custpolicy_types::AppUserConfiguration;
    using AppConfigPtr = custpolicy_types::AppConfigPtr;
    using StreamInfoPtr = custpolicy_types::StreamInfoPtr;
    using SensorSetting = custpolicy_types::SensorSetting;

    // Asks ICustFeatureCapability::isPolicyCustSettingSupport(sensorIdx) once: the new policy when
    // true, the legacy one otherwise. The index is not kept.
    explicit CustSettingAlgoAdaptor(int sensorIdx);
    virtual ~CustSettingAlgoAdaptor();

    // Forwards to the policy unchanged and returns its answer. True means a scenario was named,
    // which is not always a written record: `sensorSetting` gets all four fields (`sensorMode`,
    // `sensorFps`, `sensorSize`, `rawFmtType`) only when ICamsysSensorInfoHelper describes the
    // scenario, and is otherwise left as it was (a warning is logged). On the new policy every
    // answer of the feature-chip service but -1 (custpolicy::kNoScenario) is such a decision, 300
    // and -5 included. The HAL presets `sensorMode` to UINT32_MAX, which no named scenario can
    // leave there, and treats true with UINT32_MAX still in place like false: it picks a mode of
    // its own. False: nothing was named, `sensorSetting` is unchanged. `sensorIdx` must be the
    // constructor's. `outValue` holds the seamless flags: only the legacy policy writes it
    // (custpolicy::kSeamlessFlagsScenario5 / 4). Each decision is logged.
    virtual bool selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                     SensorSetting& sensorSetting, int sensorIdx,
                                     unsigned int& outValue, AppUserConfiguration const& userConfig,
                                     float floatParam0, float floatParam1, unsigned int hdrMode);

private:
    std::shared_ptr<ICustSettingPolicy> mPolicy;
};
