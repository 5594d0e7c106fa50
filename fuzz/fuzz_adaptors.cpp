// Both adaptors end to end, every answer of the platform taken from the fuzz input: the policy
// choice, customer facts, sensor facts and static metadata, the feature-chip service's replies,
// session metadata with arbitrary tags, item types and entry lengths, stream sizes from 0 to the
// extremes, log settings, and a small configuration. Besides the sanitizers, each call is held to
// the promises of the public headers: a false result leaves the sensor setting untouched, a
// written setting is whole and matches the sensor mode it names, and the legacy RRZO policy's
// calculateTargetSize changes nothing.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "cust_setting_policy_legacy.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "fuzz_support.h"
#include "host_config_store.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"

namespace {

using custfuzz::fail;
using custfuzz::pickFloat;
using custfuzz::pickInt;
using custfuzz::pickName;
using custfuzz::pickSide;
using hostplatform::ImageStreamFacts;
using mcam::core::device::policy::AppUserConfiguration;
using mcam::core::device::policy::ImageStreamInfoPtr;
using mcam::core::device::policy::ImageStreamMap;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppConfigurationExtra;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::SensorSetting;
using mcam::core::device::policy::StreamsBySensor;
using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;
using NSCam::IEntry;
using NSCam::IMetadata;

// Tags the policies read (session and static), so that fuzzed entries land on them often.
constexpr uint32_t kTagsRead[] = {
    0x10005,     // AE target fps range (session)
    0x10014,     // AE available target fps ranges (static)
    0x10011,     // video stabilisation mode (session)
    0xD000B,     // scaler minimum frame durations (static)
    0xF0006,     // pixel array size (static)
    0x80150001,  // AOV mode (session)
    0x90040118,  // API value (session)
    0x90040108,  // temperature block (session)
    0x90040069,  // engineering sensor-mode select (session)
    0x9004003D,  // MIPI traversal item (static)
};

constexpr int64_t kInterestingDurations[] = {
    33333333,
    16666666,
    8333333,
    4166666,
    0,
    1,
    -1,
    1000000000,
    int64_t{1} << 32,
    std::numeric_limits<int64_t>::min(),
    std::numeric_limits<int64_t>::max(),
};

constexpr uint32_t kOperationModes[] = {0, 1, 0x8001, 0x40009007, 0x80000000u, 0xFFFFFFFFu};

// Image formats and usage bits that the RRZO walk distinguishes.
constexpr int32_t kFormats[] = {0x3, 0x11, 0x1000, 0x20203859, 0x21, 0x23, 0};
constexpr uint64_t kUsages[] = {0, 0x100, 0x800, 0x10000, 0x20000, 0x40000, 0x60000, 0x10100};
constexpr uint64_t kUseCases[] = {0, 3, 1, 4};

constexpr int32_t kInterestingSensors[] = {
    0, 1, 2, -1, 31, 32, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()};

constexpr size_t kMaxEntries = 8;
constexpr size_t kMaxItems = 12;
constexpr size_t kMaxBlockBytes = 64;
constexpr size_t kMaxStreams = 6;
constexpr size_t kMaxOperations = 10;

int32_t pickSensor(FuzzedDataProvider& fdp) {
    if (fdp.ConsumeIntegralInRange<int>(0, 7) != 0)
        return fdp.ConsumeIntegralInRange<int32_t>(0, 2);
    if (fdp.ConsumeBool()) return fdp.PickValueInArray(kInterestingSensors);
    return fdp.ConsumeIntegral<int32_t>();
}

uint32_t pickTag(FuzzedDataProvider& fdp) {
    if (fdp.ConsumeIntegralInRange<int>(0, 7) != 0) return fdp.PickValueInArray(kTagsRead);
    return fdp.ConsumeIntegral<uint32_t>();
}

// One entry with an arbitrary item type and length.
IEntry makeEntry(FuzzedDataProvider& fdp, uint32_t tag) {
    IEntry entry(tag);
    const size_t items = fdp.ConsumeIntegralInRange<size_t>(0, kMaxItems);
    switch (fdp.ConsumeIntegralInRange<int>(0, 6)) {
        case 0:
            for (size_t i = 0; i < items; ++i) entry.push_back(fdp.ConsumeIntegral<uint8_t>());
            break;
        case 1:
            for (size_t i = 0; i < items; ++i) entry.push_back(pickInt(fdp));
            break;
        case 2:
            for (size_t i = 0; i < items; ++i) {
                entry.push_back(fdp.ConsumeBool() ? fdp.PickValueInArray(kInterestingDurations)
                                                  : fdp.ConsumeIntegral<int64_t>());
            }
            break;
        case 3:
            for (size_t i = 0; i < items; ++i) entry.push_back(pickFloat(fdp));
            break;
        case 4:
            for (size_t i = 0; i < items; ++i) entry.push_back(static_cast<double>(pickFloat(fdp)));
            break;
        case 5:
            for (size_t i = 0; i < items; ++i) entry.push_back(MSize(pickSide(fdp), pickSide(fdp)));
            break;
        default: {
            // An opaque vendor block, such as the temperature block, of any length.
            const std::vector<uint8_t> bytes =
                fdp.ConsumeBytes<uint8_t>(fdp.ConsumeIntegralInRange<size_t>(0, kMaxBlockBytes));
            entry = IEntry::ofBytes(tag, bytes.data(), bytes.size());
            break;
        }
    }
    return entry;
}

IMetadata makeMetadata(FuzzedDataProvider& fdp) {
    IMetadata metadata;
    const size_t entries = fdp.ConsumeIntegralInRange<size_t>(0, kMaxEntries);
    for (size_t i = 0; i < entries; ++i) metadata.update(makeEntry(fdp, pickTag(fdp)));
    return metadata;
}

ImageStreamInfoPtr makeStream(FuzzedDataProvider& fdp) {
    if (fdp.ConsumeIntegralInRange<int>(0, 9) == 0) return nullptr;
    ImageStreamFacts facts;
    facts.type = fdp.ConsumeBool() ? 0 : fdp.ConsumeIntegral<int32_t>();
    facts.format =
        fdp.ConsumeBool() ? fdp.PickValueInArray(kFormats) : fdp.ConsumeIntegral<int32_t>();
    facts.usage =
        fdp.ConsumeBool() ? fdp.PickValueInArray(kUsages) : fdp.ConsumeIntegral<uint64_t>();
    facts.useCase =
        fdp.ConsumeBool() ? fdp.PickValueInArray(kUseCases) : fdp.ConsumeIntegral<uint64_t>();
    facts.size = MSize(pickSide(fdp), pickSide(fdp));
    return hostplatform::makeImageStream(facts);
}

ImageStreamMap makeStreamMap(FuzzedDataProvider& fdp) {
    ImageStreamMap streams;
    const size_t count = fdp.ConsumeIntegralInRange<size_t>(0, kMaxStreams);
    for (size_t i = 0; i < count; ++i) streams[fdp.ConsumeIntegral<int8_t>()] = makeStream(fdp);
    return streams;
}

StreamsBySensor makeStreamsBySensor(FuzzedDataProvider& fdp, int32_t sensorIdx) {
    StreamsBySensor bySensor;
    const size_t sensors = fdp.ConsumeIntegralInRange<size_t>(0, 2);
    for (size_t s = 0; s < sensors; ++s) {
        auto& list = bySensor[fdp.ConsumeBool() ? sensorIdx : pickSensor(fdp)];
        const size_t count = fdp.ConsumeIntegralInRange<size_t>(0, kMaxStreams);
        for (size_t i = 0; i < count; ++i) list.push_back(makeStream(fdp));
    }
    return bySensor;
}

std::shared_ptr<PolicyParsedAppConfiguration> makeAppConfig(FuzzedDataProvider& fdp) {
    if (fdp.ConsumeIntegralInRange<int>(0, 15) == 0) return nullptr;
    auto config = std::make_shared<PolicyParsedAppConfiguration>();
    config->operationMode =
        fdp.ConsumeBool() ? fdp.PickValueInArray(kOperationModes) : fdp.ConsumeIntegral<uint32_t>();
    config->sessionParams = makeMetadata(fdp);
    if (fdp.ConsumeBool()) config->pExtra = std::make_shared<PolicyParsedAppConfigurationExtra>();
    return config;
}

std::shared_ptr<PolicyParsedAppImageStreamInfo> makeStreamInfo(FuzzedDataProvider& fdp,
                                                               int32_t sensorIdx) {
    if (fdp.ConsumeIntegralInRange<int>(0, 15) == 0) return nullptr;
    auto info = std::make_shared<PolicyParsedAppImageStreamInfo>();
    info->maxYuvSize = MSize(pickSide(fdp), pickSide(fdp));
    info->maxStreamSize = MSize(pickSide(fdp), pickSide(fdp));
    info->hasVideoConsumer = fdp.ConsumeBool();
    info->videoWidth = pickSide(fdp);
    info->imageStreams = makeStreamMap(fdp);
    info->outputStreamsBySensor = makeStreamsBySensor(fdp, sensorIdx);
    info->rawStreamsBySensor = makeStreamsBySensor(fdp, sensorIdx);
    return info;
}

void describeSensor(FuzzedDataProvider& fdp, int32_t sensorIdx) {
    hostplatform::SensorFacts& facts = hostplatform::sensor(sensorIdx);
    facts.newSettingPolicy = fdp.ConsumeBool();
    facts.newRrzoPolicy = fdp.ConsumeBool();
    facts.privateSelectSensorMode = fdp.ConsumeBool();
    if (fdp.ConsumeBool()) facts.custSensorSettingInfo = pickInt(fdp);
    facts.defaultVhdrInfo.sceneHdrEnable = fdp.ConsumeBool();
    facts.defaultVhdrInfo.startExpNum = pickInt(fdp);
    const size_t scenes = fdp.ConsumeIntegralInRange<size_t>(0, 3);
    for (size_t i = 0; i < scenes; ++i) {
        facts.defaultVhdrInfo.sceneInfos.push_back({fdp.ConsumeBool()
                                                        ? fdp.PickValueInArray(kOperationModes)
                                                        : fdp.ConsumeIntegral<uint32_t>(),
                                                    pickInt(fdp)});
    }
    if (fdp.ConsumeBool()) facts.deviceMask = fdp.ConsumeIntegral<uint32_t>();
    facts.hasMetadataProvider = fdp.ConsumeIntegralInRange<int>(0, 15) != 0;
    facts.staticMetadata = makeMetadata(fdp);
    const size_t modes = fdp.ConsumeIntegralInRange<size_t>(0, 6);
    for (size_t i = 0; i < modes; ++i) {
        hostplatform::SensorMode mode;
        mode.fps = fdp.ConsumeIntegral<uint32_t>();
        mode.size = MSize(pickSide(fdp), pickSide(fdp));
        mode.rawFmtType = fdp.ConsumeIntegral<uint32_t>();
        mode.fpsFails = fdp.ConsumeIntegralInRange<int>(0, 7) == 0;
        mode.sizeFails = fdp.ConsumeIntegralInRange<int>(0, 7) == 0;
        mode.rawFmtTypeFails = fdp.ConsumeIntegralInRange<int>(0, 7) == 0;
        const int32_t scenario =
            fdp.ConsumeBool() ? fdp.ConsumeIntegralInRange<int32_t>(0, 16) : pickInt(fdp);
        facts.modes[scenario] = mode;
    }
}

void describeCustomer(FuzzedDataProvider& fdp, const std::vector<std::string>& names) {
    static const std::vector<std::string> kCameraModes = {"fast_motion_mode", "high_pixel_mode",
                                                          "high_definition_mode", ""};
    hostplatform::CustomerFacts& customer = hostplatform::state().customer;
    customer.systemCam = fdp.ConsumeBool();
    customer.thirdPartyCam = fdp.ConsumeBool();
    customer.sdkCam = fdp.ConsumeBool();
    customer.engineerCam = fdp.ConsumeIntegralInRange<int>(0, 7) == 0;
    customer.engineerMode = fdp.ConsumeIntegralInRange<int>(0, 7) == 0;
    customer.runGsi = fdp.ConsumeIntegralInRange<int>(0, 3) == 0;
    customer.camFromMainMenu = fdp.ConsumeBool();
    customer.curCamName = pickName(fdp, names);
    customer.activityName = pickName(fdp, names);
    customer.callerName = pickName(fdp, names);
    customer.packageName = pickName(fdp, names);
    customer.cameraModeName = pickName(fdp, kCameraModes);
    customer.capMode = pickInt(fdp);
    customer.is4kVideo = fdp.ConsumeBool();
    customer.dolbyVision = fdp.ConsumeBool();

    hostplatform::State& state = hostplatform::state();
    state.thirdCap.supported = fdp.ConsumeIntegralInRange<int>(0, 3) == 0;
    state.thirdCap.answer = fdp.ConsumeBool() ? -1 : pickInt(fdp);
    state.stereoFeatureMode = fdp.ConsumeBool() ? 0x40 : fdp.ConsumeIntegral<uint32_t>();
    state.videoEisAlgoType = fdp.ConsumeBool() ? fdp.ConsumeIntegralInRange<int32_t>(0, 2)
                                               : fdp.ConsumeIntegral<int32_t>();
    state.hasSensorList = fdp.ConsumeIntegralInRange<int>(0, 15) != 0;
    StereoSettingProvider::__logicalDeviceID = fdp.ConsumeIntegral<int32_t>();
}

void describeLogger(FuzzedDataProvider& fdp) {
    using NSCam::Utils::ULog::ULogger;
    constexpr int32_t kLevels[] = {0, 2, 3, 5};
    constexpr uint32_t kModes[] = {0, 0x1, 0x2, 0x3, 0x8, 0xA, 0xB};
    ULogger::sDetailsLevel =
        fdp.ConsumeBool() ? fdp.PickValueInArray(kLevels) : fdp.ConsumeIntegral<int32_t>();
    ULogger::sNormalDetailsMask = fdp.ConsumeBool() ? 0x101000u : fdp.ConsumeIntegral<uint32_t>();
    ULogger::sMode =
        fdp.ConsumeBool() ? fdp.PickValueInArray(kModes) : fdp.ConsumeIntegral<uint32_t>();
    if (fdp.ConsumeIntegralInRange<int>(0, 15) == 0) ULogger::sULogger = nullptr;
}

// The feature-chip service answers from the input: a scenario for 0x1005, a target size for RRZO
// request 2, and arbitrary reply bytes otherwise, always within the buffers it was given.
void installServices(FuzzedDataProvider& fdp) {
    constexpr uint32_t kMsgIdSensorSetting = 0x1005;
    constexpr int32_t kEvalTargetSize = 2;
    hostplatform::state().featureChip = [&fdp](const CustTransMsgData* request,
                                               CustTransMsgData* reply) {
        if (request == nullptr) return;
        if (request->msgId == kMsgIdSensorSetting) {
            if (reply == nullptr || reply->pData == nullptr || reply->dataSize < sizeof(int32_t)) {
                return;
            }
            const int32_t scenario =
                fdp.ConsumeBool() ? fdp.ConsumeIntegralInRange<int32_t>(-1, 16) : pickInt(fdp);
            if (fdp.ConsumeIntegralInRange<int>(0, 7) != 0) {
                std::memcpy(reply->pData, &scenario, sizeof(scenario));
            }
            return;
        }
        if (request->pData == nullptr || request->dataSize < sizeof(CustEvalRequest)) return;
        CustEvalRequest record;
        std::memcpy(static_cast<void*>(&record), request->pData, sizeof(record));
        if (record.evalType == kEvalTargetSize && record.pParam != nullptr) {
            if (fdp.ConsumeBool()) {
                const MSize answer(pickSide(fdp), pickSide(fdp));
                std::memcpy(record.pParam, &answer, sizeof(answer));
            }
            return;
        }
        if (reply != nullptr && reply->pData != nullptr && fdp.ConsumeBool()) {
            const std::vector<uint8_t> bytes = fdp.ConsumeBytes<uint8_t>(reply->dataSize);
            if (!bytes.empty()) std::memcpy(reply->pData, bytes.data(), bytes.size());
        }
    };
    if (fdp.ConsumeBool()) {
        hostplatform::state().maxStreamSize = [&fdp](const hostplatform::MaxStreamSizeCall&,
                                                     int32_t& width, int32_t& height) {
            if (!fdp.ConsumeBool()) return;
            width = pickSide(fdp);
            height = pickSide(fdp);
        };
    }
}

bool sameSetting(const SensorSetting& a, const SensorSetting& b) {
    return a.sensorMode == b.sensorMode && a.sensorFps == b.sensorFps &&
           a.sensorSize == b.sensorSize && a.sensorPattern == b.sensorPattern &&
           a.rawFmtType == b.rawFmtType;
}

SensorSetting pickSetting(FuzzedDataProvider& fdp) {
    SensorSetting setting;
    setting.sensorMode = fdp.ConsumeIntegral<uint32_t>();
    setting.sensorFps = fdp.ConsumeIntegral<uint32_t>();
    setting.sensorSize = MSize(pickSide(fdp), pickSide(fdp));
    setting.sensorPattern = fdp.ConsumeIntegral<uint32_t>();
    setting.rawFmtType = fdp.ConsumeIntegral<uint32_t>();
    return setting;
}

// A false result leaves the setting as it was; a written setting is whole and is what the sensor
// mode it names describes; the pattern is never written.
void expectSettingPromises(bool chosen, const SensorSetting& before, const SensorSetting& setting,
                           int32_t sensorIdx) {
    if (!chosen && !sameSetting(setting, before)) fail("a false result changed the sensor setting");
    if (setting.sensorPattern != before.sensorPattern) fail("the sensor pattern was written");
    if (sameSetting(setting, before)) return;
    const auto& modes = hostplatform::sensor(sensorIdx).modes;
    const auto mode = modes.find(static_cast<int32_t>(setting.sensorMode));
    if (mode == modes.end() || mode->second.fpsFails || mode->second.sizeFails ||
        mode->second.rawFmtTypeFails || setting.sensorFps != mode->second.fps ||
        setting.sensorSize != mode->second.size || setting.rawFmtType != mode->second.rawFmtType) {
        fail("a sensor setting was written that its sensor mode does not describe");
    }
}

void selectSensorSetting(FuzzedDataProvider& fdp, CustSettingAlgoAdaptor& adaptor,
                         int32_t sensorIdx) {
    const auto appConfig = makeAppConfig(fdp);
    const auto streamInfo = makeStreamInfo(fdp, sensorIdx);
    AppUserConfiguration userConfig;
    userConfig.imageStreams = makeStreamMap(fdp);
    const SensorSetting before = pickSetting(fdp);
    SensorSetting setting = before;
    const unsigned int seamlessBefore = fdp.ConsumeIntegral<uint32_t>();
    unsigned int seamless = seamlessBefore;
    const int32_t callIdx =
        fdp.ConsumeIntegralInRange<int>(0, 7) != 0 ? sensorIdx : pickSensor(fdp);

    const bool chosen = adaptor.selectSensorSetting(
        appConfig, streamInfo, setting, callIdx, seamless, userConfig, pickFloat(fdp),
        pickFloat(fdp), fdp.ConsumeIntegral<uint32_t>());

    expectSettingPromises(chosen, before, setting, callIdx);
    // The seamless flags take one of the two documented values, or stay.
    if (seamless != seamlessBefore && seamless != 0x801 && seamless != 0x101) {
        fail("unexpected seamless flags " + std::to_string(seamless));
    }
}

// The engineering override, which no dispatch calls: a public operation of the legacy policy.
void selectForEngineering(FuzzedDataProvider& fdp, int32_t sensorIdx) {
    CustSettingPolicyLegacy policy;
    const auto appConfig = makeAppConfig(fdp);
    const SensorSetting before = pickSetting(fdp);
    SensorSetting setting = before;
    const int32_t callIdx =
        fdp.ConsumeIntegralInRange<int>(0, 7) != 0 ? sensorIdx : pickSensor(fdp);
    const bool chosen = policy.selectSensorSetting4MipiTraversal(appConfig, setting, callIdx);
    expectSettingPromises(chosen, before, setting, callIdx);
}

std::shared_ptr<CustSensorSettingMap> makeSensorSettings(FuzzedDataProvider& fdp,
                                                         int32_t sensorIdx) {
    if (fdp.ConsumeIntegralInRange<int>(0, 7) == 0) return nullptr;
    auto settings = std::make_shared<CustSensorSettingMap>();
    const size_t count = fdp.ConsumeIntegralInRange<size_t>(0, 3);
    for (size_t i = 0; i < count; ++i) {
        const int32_t key = fdp.ConsumeBool() ? sensorIdx : pickSensor(fdp);
        (*settings)[static_cast<unsigned int>(key)] = pickSetting(fdp);
    }
    return settings;
}

void calculateTargetSize(FuzzedDataProvider& fdp, CustRrzoAlgoAdaptor& adaptor, int32_t sensorIdx,
                         bool legacy) {
    const auto appConfig = makeAppConfig(fdp);
    const auto streamInfo = makeStreamInfo(fdp, sensorIdx);
    const ConfigurationInputParams in{appConfig, streamInfo};
    StreamRecord record{pickFloat(fdp), pickFloat(fdp), pickFloat(fdp), pickFloat(fdp)};
    const StreamRecord recordBefore = record;
    ConfigurationOutputParams out{fdp.ConsumeIntegralInRange<int>(0, 7) != 0 ? &record : nullptr};
    const MSize targetBefore(pickSide(fdp), pickSide(fdp));
    MSize target = targetBefore;
    const auto settings = makeSensorSettings(fdp, sensorIdx);
    const int32_t callIdx =
        fdp.ConsumeIntegralInRange<int>(0, 7) != 0 ? sensorIdx : pickSensor(fdp);

    ConfigurationOutputParams* outParams =
        fdp.ConsumeIntegralInRange<int>(0, 15) != 0 ? &out : nullptr;
    adaptor.calculateTargetSize(callIdx, target, pickInt(fdp), settings, fdp.ConsumeBool(),
                                fdp.ConsumeBool(), fdp.ConsumeIntegral<uint32_t>(), outParams,
                                fdp.ConsumeIntegralInRange<int>(0, 7) != 0 ? &in : nullptr);

    if (legacy &&
        (target != targetBefore || std::memcmp(&record, &recordBefore, sizeof(record)) != 0)) {
        fail("the legacy calculateTargetSize changed an argument");
    }
    // Only heightToWidth of the stream record is ever written.
    if (std::memcmp(&record.ratioC, &recordBefore.ratioC, sizeof(float)) != 0 ||
        std::memcmp(&record.ratioA, &recordBefore.ratioA, sizeof(float)) != 0 ||
        std::memcmp(&record.reservedRatio, &recordBefore.reservedRatio, sizeof(float)) != 0) {
        fail("calculateTargetSize wrote a ratio other than heightToWidth");
    }
}

void selectTargetSize(FuzzedDataProvider& fdp, CustRrzoAlgoAdaptor& adaptor, int32_t sensorIdx) {
    const int32_t callIdx =
        fdp.ConsumeIntegralInRange<int>(0, 7) != 0 ? sensorIdx : pickSensor(fdp);
    const MSize in(pickSide(fdp), pickSide(fdp));
    MSize out(pickSide(fdp), pickSide(fdp));
    adaptor.selectTargetSize(callIdx, in, out);
}

std::vector<std::string> namePool() {
    return {"com.google.android.youtube",
            "com.greenpoint.android.mc10086.activity",
            "com.example.camera",
            "AllCamApp",
            "android.camera.cts",
            "Mode",
            ""};
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    hostconfig::setRecording(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const custfuzz::SplitInput input = custfuzz::splitInput(data, size);
    FuzzedDataProvider fdp(input.driveData, input.driveSize);
    hostplatform::reset();

    std::vector<std::string> names = namePool();
    std::string generated;
    std::string_view text = input.configText;
    if (input.source == custfuzz::ConfigSource::Generated) {
        for (int i = 0; i < 3; ++i) names.push_back(fdp.ConsumeRandomLengthString(24));
        generated = custfuzz::generateConfig(fdp, names);
        text = generated;
    }
    const custfuzz::ReferenceConfig ref = custfuzz::loadInputConfig(input, text);
    if (input.source == custfuzz::ConfigSource::Generated && !ref.ok) {
        fail("a generated configuration was refused");
    }
    for (const std::string& locale : ref.locales()) names.push_back(locale);

    describeLogger(fdp);
    describeCustomer(fdp, names);
    const int32_t sensorIdx = pickSensor(fdp);
    describeSensor(fdp, sensorIdx);
    if (fdp.ConsumeBool()) describeSensor(fdp, pickSensor(fdp));
    installServices(fdp);

    {
        CustSettingAlgoAdaptor settingAdaptor(sensorIdx);
        const bool legacyRrzo = !hostplatform::sensor(sensorIdx).newRrzoPolicy;
        CustRrzoAlgoAdaptor rrzoAdaptor(sensorIdx);
        const size_t operations = fdp.ConsumeIntegralInRange<size_t>(1, kMaxOperations);
        for (size_t i = 0; i < operations && fdp.remaining_bytes() > 0; ++i) {
            switch (fdp.ConsumeIntegralInRange<int>(0, 4)) {
                case 0:
                    selectSensorSetting(fdp, settingAdaptor, sensorIdx);
                    break;
                case 1:
                    calculateTargetSize(fdp, rrzoAdaptor, sensorIdx, legacyRrzo);
                    break;
                case 2:
                    selectTargetSize(fdp, rrzoAdaptor, sensorIdx);
                    break;
                case 3:
                    selectForEngineering(fdp, sensorIdx);
                    break;
                default:
                    // The platform's answers may change between calls; the policy choice may not.
                    describeCustomer(fdp, names);
                    describeLogger(fdp);
                    break;
            }
        }
    }
    hostplatform::reset();
    return 0;
}
