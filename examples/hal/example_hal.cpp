// A camera HAL's use of libcustpolicy, written from the public headers only: one pair of adaptors
// per sensor, kept for the life of the camera device, and the three calls of a stream
// configuration with every argument set the way docs/integration.md says.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <unordered_map>

#include "custpolicy/cust_contract.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "platform/IMetadata.h"
#include "platform/PolicyTypes.h"
#include "platform/SensorServices.h"
#include "platform_services.h"

namespace {

namespace policy = mcam::core::device::policy;
using NSCam::MSize;

// One configured output stream, as the HAL's stream configuration describes it.
class ExampleStream : public NSCam::v3::IImageStreamInfo {
public:
    ExampleStream(MSize size, int32_t format, uint64_t usage)
        : mSize(size), mFormat(format), mUsage(usage) {}
    int32_t getStreamType() const override { return 0; }  // output
    int32_t getImgFormat() const override { return mFormat; }
    uint64_t getUsage() const override { return mUsage; }
    uint64_t getUseCase() const override { return 0; }  // default
    MSize getImgSize() const override { return mSize; }

private:
    MSize mSize;
    int32_t mFormat;
    uint64_t mUsage;
};

constexpr int32_t kFormatYCrCb420Sp = 0x11;
constexpr uint64_t kUsageHwTexture = 0x100;

// A sensor mode no named scenario can leave in SensorSetting::sensorMode: set before the call, it
// tells "named and filled" from "named, but the sensor has no such mode".
constexpr uint32_t kNotFilled = UINT32_MAX;
// The mode the HAL runs when the library decides nothing usable: the sensor's preview mode.
constexpr int32_t kHalFallbackScenario = 0;

// Fills `setting` for the HAL's own mode, as the library would for a scenario it named.
bool fillFromHelper(int sensorIdx, int32_t scenario, policy::SensorSetting& setting) {
    const auto helper = NSCam::utility::ICamsysSensorInfoHelper::getInstance();
    policy::SensorSetting filled = setting;
    if (!helper || !helper->getSensorFps(sensorIdx, scenario, filled.sensorFps) ||
        !helper->getSensorSize(sensorIdx, scenario, filled.sensorSize) ||
        !helper->getSensorRawFmtType(sensorIdx, scenario, filled.rawFmtType)) {
        return false;
    }
    filled.sensorMode = static_cast<uint32_t>(scenario);
    setting = filled;
    return true;
}

// The camera device: its two adaptors, created when the device opens.
struct CameraDevice {
    explicit CameraDevice(int sensorIdx)
        : sensorIdx(sensorIdx), setting(sensorIdx), rrzo(sensorIdx) {}
    int sensorIdx;
    CustSettingAlgoAdaptor setting;
    CustRrzoAlgoAdaptor rrzo;
};

// One stream configuration (a 1920 x 1080 preview) for one sensor; prints what the library chose.
void configure(CameraDevice& device) {
    // The preview reports the format the HAL resolved for it, YCrCb_420_SP, and is displayed
    // (HW_TEXTURE): so it counts as the preview of the new RRZO policy, which sends its height to
    // width ratio to the service. Reported as IMPLEMENTATION_DEFINED it would not count.
    const auto preview =
        std::make_shared<ExampleStream>(MSize{1920, 1080}, kFormatYCrCb420Sp, kUsageHwTexture);

    auto appConfig = std::make_shared<policy::PolicyParsedAppConfiguration>();
    appConfig->operationMode = 0;  // the session's operation mode
    appConfig->sessionParams.update(
        NSCam::IEntry::of<int32_t>(custpolicy::kTagAeTargetFpsRange, {30, 30}));
    auto streamInfo = std::make_shared<policy::PolicyParsedAppImageStreamInfo>();
    streamInfo->maxYuvSize = MSize{1920, 1080};
    streamInfo->maxStreamSize = MSize{1920, 1080};
    streamInfo->imageStreams[1] = preview;
    streamInfo->outputStreamsBySensor[device.sensorIdx] = {preview};
    policy::AppUserConfiguration userConfig;
    userConfig.imageStreams[1] = preview;

    // 1. The sensor mode. outValue starts at 0: only a legacy system-camera table row sets it.
    // True means a scenario was named; the record is filled only when the sensor has that mode.
    policy::SensorSetting sensorSetting;
    sensorSetting.sensorMode = kNotFilled;
    unsigned int seamlessFlags = 0;
    const bool named = device.setting.selectSensorSetting(
        appConfig, streamInfo, sensorSetting, device.sensorIdx, seamlessFlags, userConfig,
        /*floatParam0=*/1.0f, /*floatParam1=*/1.0f, /*hdrMode=*/0);
    const bool chosen = named && sensorSetting.sensorMode != kNotFilled;
    // Without a usable decision the HAL runs a mode of its own, and both RRZO calls below get that
    // mode's record: never the untouched one, whose 0 x 0 size would reach the RRZO policy.
    if (!chosen && !fillFromHelper(device.sensorIdx, kHalFallbackScenario, sensorSetting)) {
        std::printf("sensor %d: no sensor mode\n", device.sensorIdx);
        return;
    }

    // 2. The RRZO at configuration time, for the sensor settings of the whole configuration.
    auto sensorSettings =
        std::make_shared<std::unordered_map<unsigned int, policy::SensorSetting>>();
    (*sensorSettings)[static_cast<unsigned int>(device.sensorIdx)] = sensorSetting;
    policy::featuresetting::StreamRecord streamRecord;
    policy::featuresetting::ConfigurationOutputParams outParams{&streamRecord};
    const policy::featuresetting::ConfigurationInputParams inParams{appConfig, streamInfo};
    MSize targetSize{1920, 1080};
    device.rrzo.calculateTargetSize(device.sensorIdx, targetSize, /*intParam=*/0, sensorSettings,
                                    /*flagA=*/false, /*flagB=*/false, /*uintParam=*/0, &outParams,
                                    &inParams);

    // 3. The final RRZO size: the sensor output in, the requested size in and out.
    MSize rrzoSize = targetSize;
    device.rrzo.selectTargetSize(device.sensorIdx, sensorSetting.sensorSize, rrzoSize);

    std::printf("sensor %d: %s scenario %u (%ux%u at %u fps), seamless 0x%x, rrzo %dx%d\n",
                device.sensorIdx, chosen ? "library chose" : "HAL fallback",
                sensorSetting.sensorMode, sensorSetting.sensorSize.w, sensorSetting.sensorSize.h,
                sensorSetting.sensorFps, seamlessFlags, rrzoSize.w, rrzoSize.h);
}

}  // namespace

// The HAL's entry point for the example camera provider.
extern "C" __attribute__((visibility("default"))) int exampleHalConfigureCameras() {
    CameraDevice front(0);  // new policies
    CameraDevice main(1);   // legacy policies
    configure(front);
    configure(main);
    std::printf("feature-chip requests: %s\n", examplePlatformMessages());
    return 0;
}
