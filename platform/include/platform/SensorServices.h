#pragma once

#include <cstdint>
#include <memory>

#include "platform/IMetadata.h"
#include "platform/MSize.h"

namespace NSCam {

// The platform's list of sensors.
class IHalSensorList {
public:
    // The sensor list, or null when the platform has none.
    static IHalSensorList* get();
    // The device mask of a sensor index: one bit per sensor slot (1, 2, 4, ... 2048).
    uint32_t querySensorDevIdx(int32_t sensorIdx) const;
};

namespace utility {

// Per-scenario facts of a sensor. Each query answers whether it succeeded.
class ICamsysSensorInfoHelper {
public:
    static std::shared_ptr<ICamsysSensorInfoHelper> getInstance();
    bool getSensorFps(int32_t sensorIdx, int32_t scenarioId, uint32_t& fps) const;
    bool getSensorSize(int32_t sensorIdx, int32_t scenarioId, MSize& size) const;
    bool getSensorRawFmtType(int32_t sensorIdx, int32_t scenarioId, uint32_t& rawFmtType) const;
};

}  // namespace utility

// A device's metadata provider; the policies read its static characteristics. Called through the
// vtable: a library built against this declaration expects this virtual order.
class IMetadataProvider {
public:
    virtual ~IMetadataProvider() = default;
    virtual const IMetadata& getMtkStaticCharacteristics() const = 0;
};

// The library passes the sensor index as the device id; a null provider reads as no metadata.
namespace NSMetadataProviderManager {
std::shared_ptr<IMetadataProvider> valueForByDeviceId(int32_t deviceId);
}  // namespace NSMetadataProviderManager

}  // namespace NSCam

// The stereo feature settings of the platform.
class StereoSettingProvider {
public:
    // The platform's current logical device id.
    static int32_t __logicalDeviceID;
    static uint32_t getStereoFeatureMode(uint32_t logicalDeviceId);
};
