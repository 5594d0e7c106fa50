#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "platform/IMetadata.h"
#include "platform/MSize.h"

namespace NSCam {
namespace v3 {

// Facts of one configured image stream. Every query is free of side effects. Called through the
// vtable: a library built against this declaration expects this virtual order.
class IImageStreamInfo {
public:
    virtual ~IImageStreamInfo() = default;
    virtual int32_t getStreamType() const = 0;
    virtual int32_t getImgFormat() const = 0;
    // Android gralloc usage bits.
    virtual uint64_t getUsage() const = 0;
    // Android stream use-case value.
    virtual uint64_t getUseCase() const = 0;
    virtual MSize getImgSize() const = 0;
};

}  // namespace v3
}  // namespace NSCam

namespace mcam {
namespace core {
namespace device {
namespace policy {

using StreamId = int64_t;
using ImageStreamInfoPtr = std::shared_ptr<NSCam::v3::IImageStreamInfo>;
// Image streams by stream id. Ordered, so that a walk over them is the same with every C++
// runtime: the last-one-wins rules of the RRZO policy depend on the walk order.
using ImageStreamMap = std::map<StreamId, ImageStreamInfoPtr>;
// Stream lists per sensor id.
using StreamsBySensor = std::map<int32_t, std::vector<ImageStreamInfoPtr>>;

// The sensor setting chosen for a sensor. The policies write sensorMode, sensorFps, sensorSize and
// rawFmtType, all together or none.
struct SensorSetting {
    uint32_t sensorMode = 0;
    uint32_t sensorFps = 0;
    NSCam::MSize sensorSize;
    uint32_t sensorPattern = 0;  // not written by the policies
    uint32_t rawFmtType = 0;
};

// Optional extension of an application configuration; only its presence matters to the policies.
struct PolicyParsedAppConfigurationExtra {
    uint32_t flags = 0;
};

// The parsed application stream configuration.
struct PolicyParsedAppConfiguration {
    uint32_t operationMode = 0;
    NSCam::IMetadata sessionParams;
    std::shared_ptr<PolicyParsedAppConfigurationExtra> pExtra;
};

// The parsed application image-stream information.
struct PolicyParsedAppImageStreamInfo {
    NSCam::MSize maxYuvSize;
    NSCam::MSize maxStreamSize;
    bool hasVideoConsumer = false;
    int32_t videoWidth = 0;
    ImageStreamMap imageStreams;
    StreamsBySensor outputStreamsBySensor;
    StreamsBySensor rawStreamsBySensor;
};

// The application's user configuration: its image streams.
struct AppUserConfiguration {
    ImageStreamMap imageStreams;
};

namespace featuresetting {

// The per-stream record of the feature-setting output that the RRZO policy reads and writes.
struct StreamRecord {
    float ratioC = 0.0f;
    float reservedRatio = 0.0f;
    float ratioA = 0.0f;
    float heightToWidth = 0.0f;
};
static_assert(sizeof(StreamRecord) == 16, "four floats");
static_assert(offsetof(StreamRecord, ratioC) == 0, "ratio-C comes first");
static_assert(offsetof(StreamRecord, ratioA) == 8, "ratio-A after one unused float");
static_assert(offsetof(StreamRecord, heightToWidth) == 12, "heightToWidth directly after ratio-A");

struct ConfigurationInputParams {
    std::shared_ptr<const PolicyParsedAppConfiguration> pParsedAppConfiguration;
    std::shared_ptr<const PolicyParsedAppImageStreamInfo> pParsedAppImageStreamInfo;
};

struct ConfigurationOutputParams {
    StreamRecord* pStreamRecord = nullptr;
};

}  // namespace featuresetting

}  // namespace policy
}  // namespace device
}  // namespace core
}  // namespace mcam
