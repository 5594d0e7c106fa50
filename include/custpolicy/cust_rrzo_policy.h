#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>

#include "custpolicy/cust_export.h"
#include "custpolicy/cust_runtime.h"
#include "custpolicy/cust_setting_policy.h"
#include "platform/CustFeatureTypes.h"
#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

// The record an RRZO message carries: message custpolicy::kMsgIdRrzo (0x1001), evalType one of
// custpolicy::kRrzoEval*. Request 0's pParam addresses a CustRrzoStaticInfo, request 1's a
// CustRrzoSensorSizes (nothing is read back from either), request 2's an NSCam::MSize preset to
// 0 x 0 into which the service writes the target size (taken when both sides are at least 1).
// Request 1 reuses the message head request 0 wrote: sent first, it carries message id 0. The
// return value of triggerEvaluateRequestExt is ignored.
struct CustEvalRequest {
    int32_t evalType = 0;
    int32_t sensorIdx = 0;
    void* pParam = nullptr;
    uint64_t reserved = 0;
};
static_assert(sizeof(CustEvalRequest) == 24, "RRZO request record is 24 bytes");
static_assert(offsetof(CustEvalRequest, sensorIdx) == 4, "sensorIdx at 4");
static_assert(offsetof(CustEvalRequest, pParam) == 8, "pParam at 8");
static_assert(offsetof(CustEvalRequest, reserved) == 16, "zero tail at 16");

// Parameter record of request 0: the static RRZO facts of the configuration.
struct CustRrzoStaticInfo {
    int32_t intParam = 0;
    bool flagB = false;
    bool stereoBit6 = false;
    bool is4kVideo = false;
    bool isSysCam = false;
    NSCam::MSize targetSize;
    float ratioA = 0.0f;
    float ratioB = 0.0f;
    bool flagA = false;
    uint8_t padding0[3] = {};  // spelled out so that the record goes out with zero padding
    uint32_t uintParam = 0;
    bool eisOn = false;
    uint8_t padding1[3] = {};
};
static_assert(sizeof(CustRrzoStaticInfo) == 36, "static info is 36 bytes");
static_assert(offsetof(CustRrzoStaticInfo, intParam) == 0, "intParam at 0");
static_assert(offsetof(CustRrzoStaticInfo, flagB) == 4, "flagB at 4");
static_assert(offsetof(CustRrzoStaticInfo, stereoBit6) == 5, "stereoBit6 at 5");
static_assert(offsetof(CustRrzoStaticInfo, is4kVideo) == 6, "is4kVideo at 6");
static_assert(offsetof(CustRrzoStaticInfo, isSysCam) == 7, "isSysCam at 7");
static_assert(offsetof(CustRrzoStaticInfo, targetSize) == 8, "targetSize at 8");
static_assert(offsetof(CustRrzoStaticInfo, ratioA) == 16, "ratioA at 16");
static_assert(offsetof(CustRrzoStaticInfo, ratioB) == 20, "ratioB at 20");
static_assert(offsetof(CustRrzoStaticInfo, flagA) == 24, "flagA at 24");
static_assert(offsetof(CustRrzoStaticInfo, padding0) == 25, "zero padding at 25");
static_assert(offsetof(CustRrzoStaticInfo, uintParam) == 28, "uintParam at 28");
static_assert(offsetof(CustRrzoStaticInfo, eisOn) == 32, "eisOn at 32");
static_assert(offsetof(CustRrzoStaticInfo, padding1) == 33, "zero padding at 33");

// Parameter record of request 1: the sensor output size of every sensor of the configuration.
struct CustRrzoSensorSizes {
    int32_t sensorIdx = 0;
    int32_t padding = 0;  // spelled out so that the record goes out with zero padding
    std::map<int32_t, CustFeaturePrvSize> sizeMap;
};
// The record embeds standard-library types; its layout is still fixed by the runtime it is built
// against, which is what these checks pin down.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(CustRrzoSensorSizes, padding) == 4, "zero padding at 4");
static_assert(offsetof(CustRrzoSensorSizes, sizeMap) == 8, "sizeMap at 8");
#if defined(_LIBCPP_VERSION)
// The service is built against libc++, whose std::map is 24 bytes.
static_assert(sizeof(CustRrzoSensorSizes) == 32, "sensor sizes record is 32 bytes");
#endif
#pragma GCC diagnostic pop

using CustSensorSettingMap =
    std::unordered_map<unsigned int, mcam::core::device::policy::SensorSetting>;

// The RRZO size policy behind the adaptor; internal to the library (not exported).
class ICustRrzoPolicy;

// Entry point of the RRZO size policy: one per sensor index, holding the policy that the
// feature-capability service chose for the sensor at construction. Not safe for concurrent calls
// (the policy keeps its messages between calls); a HAL class deriving from it must be built with
// -fno-rtti. docs/integration.md says what the HAL sets each argument from.
class CUST_EXPORT CustRrzoAlgoAdaptor {
public:
    using ConfigurationInputParams =
        mcam::core::device::policy::featuresetting::ConfigurationInputParams;
    using ConfigurationOutputParams =
        mcam::core::device::policy::featuresetting::ConfigurationOutputParams;

    // Chooses the policy once: the feature-driven one when the feature-capability service
    // enables it for the sensor, the legacy one otherwise.
    explicit CustRrzoAlgoAdaptor(int sensorIdx);
    virtual ~CustRrzoAlgoAdaptor();

    // Both operations forward to the policy unchanged; `sensorIdx` must be the constructor's.
    // selectTargetSize: `inSize` is the output size of the sensor mode the sensor will run (the
    // chosen setting's sensorSize, or that of the HAL's own mode when no scenario was decided or
    // the record was not filled); the feature-driven policy ignores it. `outSize` holds the
    // requested size on entry and the RRZO size on return. The legacy policy widens the request
    // to the aspect ratio of `inSize` in signed 32-bit arithmetic and checks neither size: 0 x 0
    // gives a zero width (1920 x 1080 becomes 0 x 1080), a negative side a negative result
    // (-4000 x 3000 makes it 1920 x -1440), unless the service or a table row answers a size.
    // calculateTargetSize, at configuration time: `targetSize` is only read; `sensorSettings`
    // holds the chosen SensorSetting of every sensor, keyed by sensor index; `intParam`, `flagA`,
    // `flagB` and `uintParam` go to the feature-chip service unchanged; the feature-driven policy
    // writes only heightToWidth of outParams' stream record, from the preview and recording
    // streams of `inParams` (docs/integration.md says which count), the legacy one does nothing.
    virtual void selectTargetSize(int sensorIdx, NSCam::MSize const& inSize, NSCam::MSize& outSize);
    virtual void calculateTargetSize(int sensorIdx, NSCam::MSize& targetSize, int intParam,
                                     std::shared_ptr<CustSensorSettingMap> sensorSettings,
                                     bool flagA, bool flagB, unsigned int uintParam,
                                     ConfigurationOutputParams* outParams,
                                     ConfigurationInputParams const* inParams);

private:
    std::shared_ptr<ICustRrzoPolicy> mPolicy;
};
