// The policy library's main job on the host: one sensor of a device that uses the new policies,
// a video configuration, and what the two adaptors decide for it. It stands in for the simulator,
// which will drive the same adaptors from device and session descriptions.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "host_platform.h"
#include "platform/IMetadata.h"
#include "platform/PolicyTypes.h"

namespace {

using mcam::core::device::policy::AppUserConfiguration;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;
using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;

constexpr int32_t kSensor = 0;

// Metadata tags of the example device and session.
constexpr uint32_t kTagAeTargetFpsRange = 0x10005;            // session: low, high
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;  // static: pairs low, high
constexpr uint32_t kTagPixelArraySize = 0xF0006;              // static: one size

// Feature-chip message classes and the RRZO requests the example service answers.
constexpr uint32_t kMsgIdRrzo = 0x1001;
constexpr uint32_t kMsgIdSensorSetting = 0x1005;
constexpr int32_t kRrzoSensorSizesRequest = 1;
constexpr int32_t kRrzoTargetSizeRequest = 2;
constexpr int32_t kNoScenario = -1;

// Image stream facts of the example configuration (Android values).
constexpr int32_t kStreamTypeOutput = 0;
constexpr int32_t kFormatYCrCb420Sp = 0x11;
constexpr uint64_t kUsageHwTexture = 0x100;
constexpr uint64_t kUsageVideoEncoder = 0x10000;
constexpr uint64_t kUseCaseDefault = 0;

constexpr int kDefaultFps = 30;
constexpr MSize kPixelArray{4000, 3000};
constexpr MSize kVideoSize{1920, 1080};

// The sensor's modes: scenario, frame rate, output size.
struct ExampleMode {
    int32_t scenario;
    uint32_t fps;
    MSize size;
};
constexpr ExampleMode kModes[] = {
    {0, 30, {4000, 3000}},   // full-size preview and capture
    {1, 30, {4000, 2250}},   // 16:9 video
    {2, 120, {1920, 1080}},  // high-speed video
};

class ExampleStream : public NSCam::v3::IImageStreamInfo {
public:
    ExampleStream(uint64_t usage, MSize size) : mUsage(usage), mSize(size) {}
    int32_t getStreamType() const override { return kStreamTypeOutput; }
    int32_t getImgFormat() const override { return kFormatYCrCb420Sp; }
    uint64_t getUsage() const override { return mUsage; }
    uint64_t getUseCase() const override { return kUseCaseDefault; }
    MSize getImgSize() const override { return mSize; }

private:
    uint64_t mUsage;
    MSize mSize;
};

struct Options {
    int fps = kDefaultFps;
    bool showLog = false;
};

void printUsage(const char* program) {
    std::printf(
        "usage: %s [--fps N] [--log]\n"
        "Runs both policy adaptors for sensor 0 of an example device (new policies) on a 1080p\n"
        "video configuration and prints what they decide.\n"
        "  --fps N  the frame rate the session asks for (default %d)\n"
        "  --log    echo the library's Android log to stderr\n",
        program, kDefaultFps);
}

// Returns false after printing why when the arguments are not understood.
bool parseOptions(int argc, char** argv, Options& options, bool& wantHelp) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            wantHelp = true;
        } else if (arg == "--log") {
            options.showLog = true;
        } else if (arg == "--fps" && i + 1 < argc) {
            char* end = nullptr;
            const long fps = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || fps < 1 || fps > 960) {
                std::fprintf(stderr, "custpolicy: --fps wants a frame rate of 1..960\n");
                return false;
            }
            options.fps = static_cast<int>(fps);
        } else {
            std::fprintf(stderr, "custpolicy: unknown argument '%s' (try --help)\n", arg.c_str());
            return false;
        }
    }
    return true;
}

// Ratio class of a size, in thousandths of its width (16:9 is 562).
int32_t heightPermille(MSize size) { return size.w > 0 ? size.h * 1000 / size.w : 0; }

// Stand-in for the vendor's sensor-setting decision: among the modes fast enough for the requested
// frame rate, the one whose shape is closest to the streams'; none when no mode is fast enough.
int32_t chooseScenario(const CustSelectIn4Setting& in) {
    int32_t best = kNoScenario;
    int32_t bestDistance = 0;
    for (const ExampleMode& mode : kModes) {
        if (static_cast<int32_t>(mode.fps) < in.maxFps) continue;
        const int32_t distance = std::abs(heightPermille(mode.size) - in.maxRatio);
        if (best == kNoScenario || distance < bestDistance) {
            best = mode.scenario;
            bestDistance = distance;
        }
    }
    return best;
}

// The sensor output size that the last RRZO request 1 reported for the example sensor.
MSize gReportedSensorSize;

// Stand-in for the vendor's evaluation service. RRZO: remembers the sensor size of request 1 and
// answers request 2 with half of it in each direction.
void answerFeatureChip(const CustTransMsgData* request, CustTransMsgData* reply) {
    if (request == nullptr || request->pData == nullptr) return;
    if (request->msgId == kMsgIdSensorSetting) {
        const auto* payload = static_cast<const CustSettingEvalRequest*>(request->pData);
        if (payload->pSelectIn == nullptr || reply == nullptr || reply->pData == nullptr) return;
        const int32_t scenario = chooseScenario(*payload->pSelectIn);
        std::memcpy(reply->pData, &scenario, sizeof(scenario));
        return;
    }
    if (request->msgId != kMsgIdRrzo) return;
    const auto* payload = static_cast<const CustEvalRequest*>(request->pData);
    if (payload->pParam == nullptr) return;
    if (payload->evalType == kRrzoSensorSizesRequest) {
        const auto* sizes = static_cast<const CustRrzoSensorSizes*>(payload->pParam);
        const auto it = sizes->sizeMap.find(kSensor);
        if (it != sizes->sizeMap.end()) {
            gReportedSensorSize = MSize(it->second.width, it->second.height);
        }
    } else if (payload->evalType == kRrzoTargetSizeRequest) {
        *static_cast<MSize*>(payload->pParam) =
            MSize(gReportedSensorSize.w / 2, gReportedSensorSize.h / 2);
    }
}

void setUpDevice(const Options& options) {
    hostplatform::reset();
    hostplatform::state().echoAndroidLog = options.showLog;
    hostplatform::state().featureChip = answerFeatureChip;

    hostplatform::SensorFacts& sensor = hostplatform::sensor(kSensor);
    sensor.newSettingPolicy = true;
    sensor.newRrzoPolicy = true;
    for (const ExampleMode& mode : kModes) {
        hostplatform::SensorMode facts;
        facts.fps = mode.fps;
        facts.size = mode.size;
        sensor.modes[mode.scenario] = facts;
    }
    sensor.staticMetadata.update(NSCam::IEntry::of<MSize>(kTagPixelArraySize, {kPixelArray}));
    sensor.staticMetadata.update(NSCam::IEntry::of<int32_t>(kTagAeAvailableTargetFpsRanges,
                                                            {15, 30, 30, 30, 60, 60, 120, 120}));
}

struct Session {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig =
        std::make_shared<PolicyParsedAppConfiguration>();
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo =
        std::make_shared<PolicyParsedAppImageStreamInfo>();
    AppUserConfiguration userConfig;
};

// A 1080p preview and a 1080p recording stream at the requested frame rate.
Session makeVideoSession(int fps) {
    Session session;
    session.appConfig->sessionParams.update(
        NSCam::IEntry::of<int32_t>(kTagAeTargetFpsRange, {fps, fps}));
    auto preview = std::make_shared<ExampleStream>(kUsageHwTexture, kVideoSize);
    auto video = std::make_shared<ExampleStream>(kUsageVideoEncoder, kVideoSize);
    session.streamInfo->maxYuvSize = kVideoSize;
    session.streamInfo->maxStreamSize = kVideoSize;
    session.streamInfo->hasVideoConsumer = true;
    session.streamInfo->videoWidth = kVideoSize.w;
    session.streamInfo->imageStreams = {{0, preview}, {1, video}};
    session.streamInfo->outputStreamsBySensor[kSensor] = {preview, video};
    session.userConfig.imageStreams = session.streamInfo->imageStreams;
    return session;
}

// Chooses the sensor scenario; returns false when the policy found none.
bool decideSensorSetting(const Session& session, SensorSetting& setting) {
    CustSettingAlgoAdaptor adaptor(kSensor);
    unsigned int outValue = 0;
    return adaptor.selectSensorSetting(session.appConfig, session.streamInfo, setting, kSensor,
                                       outValue, session.userConfig, 1.0f, 1.0f, 0);
}

// Runs the configuration-time RRZO calculation, then asks for the final target size.
MSize decideRrzoSize(const Session& session, const SensorSetting& setting) {
    CustRrzoAlgoAdaptor adaptor(kSensor);
    auto settings = std::make_shared<CustSensorSettingMap>();
    (*settings)[kSensor] = setting;
    StreamRecord record;
    ConfigurationOutputParams outParams;
    outParams.pStreamRecord = &record;
    ConfigurationInputParams inParams;
    inParams.pParsedAppConfiguration = session.appConfig;
    inParams.pParsedAppImageStreamInfo = session.streamInfo;

    MSize targetSize = setting.sensorSize;
    adaptor.calculateTargetSize(kSensor, targetSize, 0, settings, false, false, 0, &outParams,
                                &inParams);
    MSize outSize = targetSize;
    adaptor.selectTargetSize(kSensor, targetSize, outSize);
    return outSize;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    bool wantHelp = false;
    if (!parseOptions(argc, argv, options, wantHelp)) return 2;
    if (wantHelp) {
        printUsage(argv[0]);
        return 0;
    }

    setUpDevice(options);
    const Session session = makeVideoSession(options.fps);
    std::printf("sensor %d: pixel array %dx%d, new policies, video %dx%d at %d fps\n", kSensor,
                kPixelArray.w, kPixelArray.h, kVideoSize.w, kVideoSize.h, options.fps);

    SensorSetting setting;
    if (!decideSensorSetting(session, setting)) {
        std::printf("sensor setting: no scenario chosen, nothing to size\n");
        return 0;
    }
    std::printf("sensor setting: scenario %u, %u fps, %dx%d, raw format type %u\n",
                setting.sensorMode, setting.sensorFps, setting.sensorSize.w, setting.sensorSize.h,
                setting.rawFmtType);

    const MSize rrzo = decideRrzoSize(session, setting);
    std::printf("rrzo target size: %dx%d\n", rrzo.w, rrzo.h);
    std::printf("feature-chip messages: %zu\n", hostplatform::state().recorded.featureChip.size());
    return 0;
}
