#include "cust_rrzo_policy.h"

#include <cstdint>

#include "cust_log.h"
#include "custpolicy/cust_contract.h"
#include "platform/IMetadata.h"
#include "platform/PolicyTypes.h"

using NSCam::MSize;

namespace {

constexpr char kLogSourcePath[] = "CustPolicy/cust_rrzo_policy.cpp";
constexpr char kTag[] = "CustRrzoPolicy";
// The helpers below report under the name of the operation they belong to.
constexpr char kCalculateTargetSize[] = "calculateTargetSize";

// Session tag holding the requested video-stabilisation mode (one unsigned byte).
using custpolicy::kTagVideoStabilizationMode;

// Stream type of an output stream (the only type a preview-like stream can have).
constexpr int32_t kStreamTypeOutput = 0;

// Image formats of preview-like streams.
constexpr int32_t kFormatRgb888 = 0x3;
constexpr int32_t kFormatYCrCb420Sp = 0x11;
constexpr int32_t kFormatPlatformYuv = 0x1000;
constexpr int32_t kFormatY8 = 0x20203859;

// Gralloc usage bits.
constexpr uint64_t kUsageHwTexture = 0x100;
constexpr uint64_t kUsageHwComposer = 0x800;
constexpr uint64_t kUsageHwVideoEncoder = 0x10000;
constexpr uint64_t kUsageHwCameraWrite = 0x20000;
// Camera ZSL is a two-bit value: only both bits together mean it.
constexpr uint64_t kUsageHwCameraZsl = 0x60000;
// Any of these marks a stream that is displayed or written by the camera.
constexpr uint64_t kUsagePreviewAny = kUsageHwTexture | kUsageHwComposer | kUsageHwCameraWrite;

// Android stream use cases.
constexpr uint64_t kUseCaseDefault = 0;
constexpr uint64_t kUseCaseVideoRecord = 3;

// heightToWidth of a stream that does not count, or of a stream as tall as the sensor.
constexpr float kNoRatio = 0.0f;

using mcam::core::device::policy::ImageStreamMap;
using mcam::core::device::policy::SensorSetting;
using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;

// What the walk needs of one image stream, asked once.
struct StreamFacts {
    int32_t type;
    int32_t format;
    uint64_t usage;
    uint64_t useCase;
    MSize size;
};

StreamFacts factsOf(const NSCam::v3::IImageStreamInfo& stream) {
    return {stream.getStreamType(), stream.getImgFormat(), stream.getUsage(), stream.getUseCase(),
            stream.getImgSize()};
}

bool isPreviewFormat(int32_t format) {
    return format == kFormatRgb888 || format == kFormatYCrCb420Sp || format == kFormatPlatformYuv ||
           format == kFormatY8;
}

// Test A: an output stream in a preview format that is displayed or camera-written.
bool isPreviewStream(const StreamFacts& stream) {
    if (stream.type != kStreamTypeOutput) return false;
    if (!isPreviewFormat(stream.format)) return false;
    if ((stream.usage & kUsagePreviewAny) != 0) return true;
    return (stream.usage & kUsageHwCameraZsl) == kUsageHwCameraZsl;
}

// Test B: a recording stream, by its use case or, without one, by the encoder usage bit.
bool isRecordStream(const StreamFacts& stream) {
    if (stream.useCase == kUseCaseVideoRecord) return true;
    return stream.useCase == kUseCaseDefault && (stream.usage & kUsageHwVideoEncoder) != 0;
}

// Plain float division: a zero width gives inf or NaN, which the walk tolerates (a NaN never
// equals the sensor ratio).
float heightToWidthOf(MSize size) {
    return static_cast<float>(size.h) / static_cast<float>(size.w);
}

void logStream(const StreamFacts& stream, float heightToWidth) {
    CUST_LOG_IN(Info, kTag, kCalculateTargetSize,
                "[%s] calculateTargetSize streamType(%d) fmt(0x%x) usage(%lu) useCase(%lu) "
                "imgSize(%dx%d) HeightToWidth(%f)",
                stream.type, static_cast<unsigned int>(stream.format),
                static_cast<unsigned long>(stream.usage),
                static_cast<unsigned long>(stream.useCase), stream.size.w, stream.size.h,
                static_cast<double>(heightToWidth));
}

// Walks the streams in map order and returns the resulting heightToWidth. Every stream visited
// overwrites it (a non-qualifying one with 0), so the last stream wins; a qualifying stream with
// exactly the sensor's ratio needs no crop, gives 0 and ends the walk.
float walkImageStreams(const ImageStreamMap& streams, float sensorRatio, float heightToWidth) {
    for (const auto& entry : streams) {
        if (!entry.second) continue;
        const StreamFacts stream = factsOf(*entry.second);
        const bool qualifies = isPreviewStream(stream) || isRecordStream(stream);
        const float ratio = qualifies ? heightToWidthOf(stream.size) : kNoRatio;
        if (qualifies && ratio == sensorRatio) return kNoRatio;
        heightToWidth = ratio;
        logStream(stream, heightToWidth);
    }
    return heightToWidth;
}

// The sensor output size of the chosen setting of `sensorIdx`. The HAL always has one; without it
// (or without a map) the size is 0 x 0, which makes the sensor ratio NaN and no stream matches.
MSize sensorOutputSize(const CustSensorSettingMap* settings, int sensorIdx) {
    if (settings == nullptr) return MSize();
    const auto it = settings->find(static_cast<unsigned int>(sensorIdx));
    return it == settings->end() ? MSize() : it->second.sensorSize;
}

// The application's image streams; null when the configuration does not carry them.
const ImageStreamMap* imageStreamsOf(const ConfigurationInputParams* inParams) {
    if (inParams == nullptr || !inParams->pParsedAppImageStreamInfo) return nullptr;
    return &inParams->pParsedAppImageStreamInfo->imageStreams;
}

// The session parameters; null when the configuration does not carry them.
const NSCam::IMetadata* sessionParamsOf(const ConfigurationInputParams* inParams) {
    if (inParams == nullptr || !inParams->pParsedAppConfiguration) return nullptr;
    return &inParams->pParsedAppConfiguration->sessionParams;
}

StreamRecord* streamRecordOf(ConfigurationOutputParams* outParams) {
    return outParams == nullptr ? nullptr : outParams->pStreamRecord;
}

// Updates heightToWidth from the streams; with no streams it is left as it was. Without a stream
// record there is nowhere to keep the ratio, so the walk is skipped.
void updateHeightToWidth(const ImageStreamMap* streams, MSize sensorSize, StreamRecord* record) {
    if (streams == nullptr || streams->empty() || record == nullptr) return;
    const float sensorRatio = heightToWidthOf(sensorSize);
    record->heightToWidth = walkImageStreams(*streams, sensorRatio, record->heightToWidth);
}

// The session's video-stabilisation mode, 0 when the session does not ask for one.
uint8_t readEisMode(const NSCam::IMetadata* sessionParams) {
    uint8_t eisMode = 0;
    if (!NSCam::IMetadata::getEntry<uint8_t>(sessionParams, kTagVideoStabilizationMode, eisMode)) {
        CUST_LOG_IN(Info, kTag, kCalculateTargetSize,
                    "[%s] No MTK_CONTROL_VIDEO_STABILIZATION_MODE in sessionParams");
    }
    CUST_LOG_IN(Debug, kTag, kCalculateTargetSize, "[%s] 3rd tag for QVXSEIS-enable:%d", eisMode);
    return eisMode;
}

}  // namespace

CustRrzoPolicy::~CustRrzoPolicy() = default;

void CustRrzoPolicy::selectTargetSize(int sensorIdx, MSize const& /*inSize*/, MSize& outSize) {
    applyTargetSize(sensorIdx, outSize);
}

void CustRrzoPolicy::calculateTargetSize(int sensorIdx, MSize& targetSize, int intParam,
                                         std::shared_ptr<CustSensorSettingMap> sensorSettings,
                                         bool flagA, bool flagB, unsigned int uintParam,
                                         ConfigurationOutputParams* outParams,
                                         ConfigurationInputParams const* inParams) {
    const MSize sensorSize = sensorOutputSize(sensorSettings.get(), sensorIdx);
    StreamRecord* record = streamRecordOf(outParams);
    updateHeightToWidth(imageStreamsOf(inParams), sensorSize, record);
    const uint8_t eisMode = readEisMode(sessionParamsOf(inParams));

    // Without a stream record the three ratios go out as 0.
    const StreamRecord ratios = record != nullptr ? *record : StreamRecord();
    updateStaticRrzoInfo(sensorIdx, targetSize, intParam, ratios.ratioA, ratios.heightToWidth,
                         ratios.ratioC, flagA, flagB, uintParam, eisMode != 0);
    // Request 1 relies on the message head that request 0 has just written.
    selectRrzoSize(sensorIdx, sensorSettings);
}
