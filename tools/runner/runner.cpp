#include "runner/runner.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "config_store.h"
#include "cust_int32.h"
#include "cust_setting_policy_legacy.h"
#include "custpolicy/cust_contract.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/PolicyTypes.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"
#include "runner/device_metadata.h"
#include "runner/library_messages.h"

namespace custsim {

namespace {

using mcam::core::device::policy::AppUserConfiguration;
using mcam::core::device::policy::PolicyParsedAppConfiguration;
using mcam::core::device::policy::PolicyParsedAppConfigurationExtra;
using mcam::core::device::policy::PolicyParsedAppImageStreamInfo;
using mcam::core::device::policy::featuresetting::ConfigurationInputParams;
using mcam::core::device::policy::featuresetting::ConfigurationOutputParams;
using mcam::core::device::policy::featuresetting::StreamRecord;
using NSCam::Utils::ULog::ULogger;

// The temperature is the int32 40 bytes into the entry's data block.
constexpr size_t kTemperatureOffset = 40;
constexpr size_t kTemperatureBlockSize = kTemperatureOffset + sizeof(int32_t);

// The only callers the system-camera table counts as outside callers.
const char* const kOutsideCallers[] = {
    "com.google.android.youtube",
    "com.greenpoint.android.mc10086.activity",
};
// Camera-mode classes of the system-camera table, from the camera application's mode name; any
// video session is class 0 whatever its name.
constexpr int32_t kModeClassVideo = 0;
constexpr int32_t kModeClassFastMotion = 1;
constexpr int32_t kModeClassHighResolution = 2;
constexpr int32_t kModeClassOther = -1;

// The device temperatures a thermal table can sensibly name, in degrees Celsius.
constexpr int32_t kLowestPlausibleTemperature = -40;
constexpr int32_t kHighestPlausibleTemperature = 150;
constexpr size_t kFpsRangeLow = 0;
constexpr size_t kFpsRangeHigh = 1;

NSCam::IMetadata sessionParamsOf(const SessionParamsSpec& params) {
    NSCam::IMetadata metadata;
    if (params.fpsRange) {
        metadata.update(NSCam::IEntry::of<int32_t>(custpolicy::kTagAeTargetFpsRange,
                                                   {static_cast<int32_t>((*params.fpsRange)[0]),
                                                    static_cast<int32_t>((*params.fpsRange)[1])}));
    }
    if (params.videoStabilization) {
        metadata.update(NSCam::IEntry::of<uint8_t>(custpolicy::kTagVideoStabilizationMode,
                                                   {*params.videoStabilization}));
    }
    if (params.aovMode)
        metadata.update(NSCam::IEntry::of<int32_t>(custpolicy::kTagAovMode, {*params.aovMode}));
    if (params.api)
        metadata.update(NSCam::IEntry::of<int32_t>(custpolicy::kTagApiValue, {*params.api}));
    if (params.temperature) {
        uint8_t block[kTemperatureBlockSize] = {};
        std::memcpy(block + kTemperatureOffset, &*params.temperature, sizeof(int32_t));
        metadata.update(NSCam::IEntry::ofBytes(custpolicy::kTagTemperature, block, sizeof(block)));
    }
    if (params.engineerSensorMode) {
        metadata.update(NSCam::IEntry::of<uint8_t>(custpolicy::kTagEngineerSensorModeSel,
                                                   {*params.engineerSensorMode}));
    }
    for (const MetadataEntrySpec& extra : params.extra) metadata.update(metadataEntry(extra));
    return metadata;
}

// The larger of two sizes by area; the first wins a tie.
MSize largerOf(MSize current, MSize candidate) {
    const int64_t a = static_cast<int64_t>(current.w) * current.h;
    const int64_t b = static_cast<int64_t>(candidate.w) * candidate.h;
    return b > a ? candidate : current;
}

}  // namespace

MSize defaultRrzoRequest(MSize stream, MSize sensor) {
    if (sensor.w <= 0 || sensor.h <= 0 || stream.w <= 0 || stream.h <= 0) return stream;
    if (stream.w <= sensor.w && stream.h <= sensor.h) return stream;
    const int64_t w = stream.w, h = stream.h;
    MSize fitted;
    if (w * sensor.h > h * sensor.w) {
        fitted = MSize(sensor.w, static_cast<int32_t>(h * sensor.w / w));
    } else {
        fitted = MSize(static_cast<int32_t>(w * sensor.h / h), sensor.h);
    }
    fitted.w &= ~1;
    fitted.h &= ~1;
    return fitted;
}

namespace {

// The engineering flow of the HAL asks the legacy policy's MIPI traversal directly; the call is
// made only when the legacy policy provides it.
template <typename Policy>
auto mipiTraversal(Policy& policy, std::shared_ptr<PolicyParsedAppConfiguration> appConfig,
                   SensorSetting& setting, int sensorIdx, int)
    -> decltype(policy.selectSensorSetting4MipiTraversal(appConfig, setting, sensorIdx),
                std::optional<bool>()) {
    return policy.selectSensorSetting4MipiTraversal(appConfig, setting, sensorIdx);
}
template <typename Policy>
std::optional<bool> mipiTraversal(Policy&, std::shared_ptr<PolicyParsedAppConfiguration>,
                                  SensorSetting&, int, long) {
    return std::nullopt;
}

// The records from `from` on; their texts move out of the platform's record, which nothing else
// reads.
std::vector<LogLine> takeAndroidLog(size_t from) {
    std::vector<LogLine> lines;
    auto& log = hostplatform::state().recorded.androidLog;
    if (from < log.size()) lines.reserve(log.size() - from);
    for (size_t i = from; i < log.size(); ++i)
        lines.push_back({log[i].priorityOrLevel, std::move(log[i].tag), std::move(log[i].text)});
    return lines;
}

// Only the records that may explain the RRZO size: all a Decision reads of the RRZO calls' log.
std::vector<LogLine> takeRrzoExplanations(size_t from) {
    std::vector<LogLine> lines;
    auto& log = hostplatform::state().recorded.androidLog;
    for (size_t i = from; i < log.size(); ++i) {
        if (mayExplainRrzo(log[i].text))
            lines.push_back(
                {log[i].priorityOrLevel, std::move(log[i].tag), std::move(log[i].text)});
    }
    return lines;
}

}  // namespace

struct BuiltConfiguration {
    std::shared_ptr<PolicyParsedAppConfiguration> appConfig;
    std::shared_ptr<PolicyParsedAppImageStreamInfo> streamInfo;
    AppUserConfiguration userConfig;
};

namespace {

BuiltConfiguration buildConfiguration(const SessionSpec& session) {
    BuiltConfiguration built;
    built.appConfig = std::make_shared<PolicyParsedAppConfiguration>();
    built.appConfig->operationMode = session.operationMode;
    built.appConfig->sessionParams = sessionParamsOf(session.params);
    if (session.configExtension)
        built.appConfig->pExtra = std::make_shared<PolicyParsedAppConfigurationExtra>();

    auto info = std::make_shared<PolicyParsedAppImageStreamInfo>();
    MSize maxYuv, maxStream, maxVideo;
    bool video = false;
    for (const StreamSpec& stream : session.streams) {
        auto image = hostplatform::makeImageStream(
            {stream.type, stream.format, stream.usage, stream.useCase, stream.size});
        info->imageStreams[stream.id] = image;
        built.userConfig.imageStreams[stream.id] = image;
        const bool raw = isRawFormat(stream.format);
        if (stream.physicalSensor) {
            auto& bySensor = raw ? info->rawStreamsBySensor : info->outputStreamsBySensor;
            bySensor[*stream.physicalSensor].push_back(image);
        }
        if (raw) continue;
        maxStream = largerOf(maxStream, stream.size);
        if (isYuvFormat(stream.format)) maxYuv = largerOf(maxYuv, stream.size);
        if (isVideoStream(stream)) {
            video = true;
            maxVideo = largerOf(maxVideo, stream.size);
        }
    }
    info->maxYuvSize = session.streamInfo.maxYuvSize.value_or(maxYuv);
    info->maxStreamSize = session.streamInfo.maxStreamSize.value_or(maxStream);
    info->hasVideoConsumer = session.streamInfo.video.value_or(video);
    info->videoWidth = session.streamInfo.videoWidth.value_or(maxVideo.w);
    built.streamInfo = info;
    return built;
}

int32_t cameraModeClass(const std::string& modeName, bool video) {
    if (video) return kModeClassVideo;
    if (modeName == "fast_motion_mode") return kModeClassFastMotion;
    if (modeName == "high_pixel_mode" || modeName == "high_definition_mode")
        return kModeClassHighResolution;
    return kModeClassOther;
}

// The groups ThirdCamSensorSettingMap searches: the camera app's own (the GSI name when it has
// none under GSI), then the catch-all.
std::vector<std::string> thirdCamGroups(const AppSpec& app) {
    std::vector<std::string> groups;
    if (!app.cameraAppName.empty()) {
        groups.push_back(app.cameraAppName);
    } else if (app.gsi) {
        groups.push_back(custpolicy::kLocaleGsi);
    }
    groups.push_back(custpolicy::kLocaleAllCamApp);
    return groups;
}

void addApplicationFacts(const SessionSpec& session, MatchFacts& facts) {
    const AppSpec& app = session.app;
    for (const char* caller : kOutsideCallers) {
        if (app.caller == caller) facts.outsideCaller = 1;
    }
    facts.caller = app.caller;
    facts.cameraModeName = app.cameraModeName;
    facts.cameraAppName = app.cameraAppName;
    facts.activity = app.activity;
    facts.api = session.params.api.value_or(-1);
    facts.captureMode = session.common.captureMode;
    facts.thirdCamGroups = thirdCamGroups(app);
}

// The frame rate and the temperature are asked of the library itself (outside any call's log
// window), so that the facts are exactly the ones it computes.
MatchFacts matchFacts(const SessionSpec& session, const BuiltConfiguration& configuration,
                      int32_t sensorIdx) {
    const PolicyParsedAppImageStreamInfo& info = *configuration.streamInfo;
    MatchFacts facts;
    facts.maxStreamSize = info.maxStreamSize;
    facts.maxYuvSize = info.maxYuvSize;
    facts.video = info.hasVideoConsumer;
    facts.aspectRatio = custpolicy::ratioPermille(info.maxStreamSize.h, info.maxStreamSize.w);
    facts.cameraModeClass = cameraModeClass(session.app.cameraModeName, facts.video);
    facts.operationMode = session.operationMode;
    CustSettingPolicyLegacy policy;
    facts.maxFps = policy.getMaxFps(configuration.appConfig, sensorIdx);
    facts.temperature = policy.getCurrentTemperature(&configuration.appConfig->sessionParams);
    addApplicationFacts(session, facts);
    return facts;
}

// Why the helper could not describe `scenario`; "" when it answers every query.
std::string unansweredQuery(const SensorSpec& sensor, int32_t scenario) {
    const auto mode = sensor.modes.find(scenario);
    const std::string id = std::to_string(scenario);
    if (mode == sensor.modes.end())
        return "sensor " + std::to_string(sensor.index) + " has no mode " + id;
    const ModeSpec& m = mode->second;
    if (m.fpsFails) return "the sensor-info helper failed the frame-rate query of mode " + id;
    if (m.sizeFails) return "the sensor-info helper failed the size query of mode " + id;
    if (m.rawFormatTypeFails)
        return "the sensor-info helper failed the raw-format-type query of mode " + id;
    return {};
}

std::vector<Warning> sessionWarnings(const SessionSpec& session) {
    std::vector<Warning> warnings;
    if (const auto& range = session.params.fpsRange;
        range && (*range)[kFpsRangeLow] > (*range)[kFpsRangeHigh]) {
        warnings.push_back(
            {"fps-range-inverted", "fps_range [" + std::to_string((*range)[kFpsRangeLow]) + ", " +
                                       std::to_string((*range)[kFpsRangeHigh]) +
                                       "]: the low end is above the high end"});
    }
    for (const StreamSpec& stream : session.streams) {
        if (stream.size.w != 0 && stream.size.h != 0) continue;
        warnings.push_back({"stream-zero-side", "stream " + std::to_string(stream.id) + " is " +
                                                    sizeText(stream.size) +
                                                    ": a stream with a zero side"});
    }
    if (const auto& t = session.params.temperature;
        t && (*t < kLowestPlausibleTemperature || *t > kHighestPlausibleTemperature)) {
        warnings.push_back(
            {"temperature-out-of-range", "temperature " + std::to_string(*t) + " °C is outside " +
                                             std::to_string(kLowestPlausibleTemperature) + ".." +
                                             std::to_string(kHighestPlausibleTemperature) + " °C"});
    }
    return warnings;
}

void collectErrors(const std::vector<LogLine>& log, bool activityHasThermalRows,
                   std::vector<LogLine>& errors) {
    for (const LogLine& line : log) {
        if (isLibraryError(line, activityHasThermalRows))
            errors.push_back({line.priority, line.tag, withoutErrorTail(line.text)});
    }
}

}  // namespace

Simulator::Simulator(HostSession& host)
    : mHost(&host), mDevice(&host.device()), mEvaluator(host.device()) {
    // The adaptors ask the platform about their sensor when they are made, as on the device.
    beginRun();
    for (const SensorSpec& sensor : mDevice->sensors) {
        mSettingAdaptors[sensor.index] = std::make_unique<CustSettingAlgoAdaptor>(sensor.index);
        mRrzoAdaptors[sensor.index] = std::make_unique<CustRrzoAlgoAdaptor>(sensor.index);
    }
}

void Simulator::beginRun() {
    ReferenceEvaluator* evaluator = &mEvaluator;
    mHost->beginRun([evaluator](const CustTransMsgData* request, CustTransMsgData* reply) {
        evaluator->evaluate(request, reply);
    });
}

void Simulator::applySession(const SessionSpec& session) {
    hostplatform::CustomerFacts& customer = hostplatform::state().customer;
    const AppSpec& app = session.app;
    customer.systemCam = app.system;
    customer.thirdPartyCam = app.thirdParty;
    customer.sdkCam = app.sdk;
    customer.engineerCam = app.engineerCam;
    customer.engineerMode = app.engineerMode;
    customer.runGsi = app.gsi;
    customer.camFromMainMenu = app.fromMainMenu;
    customer.curCamName = app.cameraAppName;
    customer.activityName = app.activity;
    customer.callerName = app.caller;
    customer.packageName = app.package;
    customer.cameraModeName = app.cameraModeName;
    customer.capMode = session.common.captureMode;
    customer.is4kVideo = session.common.video4k;
    customer.dolbyVision = session.common.dolbyVision;
}

int32_t Simulator::thirdCapAnswer(const SessionSpec& session, int32_t sensorIdx) const {
    const std::string camera = session.app.gsi ? custpolicy::kLocaleGsi : session.app.cameraAppName;
    for (const ThirdCapAnswer& answer : mDevice->thirdCap.answers) {
        if (!answer.camera.empty() && answer.camera != camera) continue;
        if (!answer.activity.empty() && answer.activity != session.app.activity) continue;
        if (answer.sensor && *answer.sensor != sensorIdx) continue;
        return answer.scenario;
    }
    return mDevice->thirdCap.defaultAnswer;
}

void Simulator::selectSetting(const SessionSpec& session, SensorCalls& calls, SensorTrace& trace,
                              const BuiltConfiguration& configuration) {
    // The facts are asked of the library separately: only the trace shows them.
    if (mTrace) trace.facts = matchFacts(session, configuration, calls.sensorIdx);
    hostplatform::State& state = hostplatform::state();
    const size_t logMark = state.recorded.androidLog.size();
    const size_t seamlessMark = state.recorded.seamless.size();
    const size_t thirdCapMark = state.recorded.thirdCap.size();
    const size_t sensorInfoMark = state.recorded.sensorInfo.size();
    mHost->takeRowReads();
    state.thirdCap.answer = thirdCapAnswer(session, calls.sensorIdx);

    calls.seamlessFlagsBefore = session.hal.seamlessFlags;
    unsigned int seamlessFlags = session.hal.seamlessFlags;
    std::optional<bool> traversal;
    if (session.hal.engineerTraversal && !calls.newSettingPolicy) {
        CustSettingPolicyLegacy legacy;
        traversal =
            mipiTraversal(legacy, configuration.appConfig, calls.record, calls.sensorIdx, 0);
        if (!traversal)
            trace.notes.push_back(
                "engineering traversal: not provided by this build of the legacy policy");
    }
    if (traversal.value_or(false)) {
        calls.reportedDecision = true;
        calls.byEngineerTraversal = true;
        trace.notes.push_back(
            "engineering traversal chose the scenario; the adaptor was not asked");
    } else {
        calls.reportedDecision =
            mSettingAdaptors.at(calls.sensorIdx)
                ->selectSensorSetting(configuration.appConfig, configuration.streamInfo,
                                      calls.record, calls.sensorIdx, seamlessFlags,
                                      configuration.userConfig, session.hal.floatParam0,
                                      session.hal.floatParam1, session.hal.hdrMode);
    }
    calls.seamlessFlags = seamlessFlags;
    for (size_t i = seamlessMark; i < state.recorded.seamless.size(); ++i) {
        const auto& call = state.recorded.seamless[i];
        if (static_cast<int32_t>(call.sensorIdx) == calls.sensorIdx)
            calls.seamlessScenario = call.scenario;
    }
    calls.capabilityManagerAsked = thirdCapMark < state.recorded.thirdCap.size();
    for (size_t i = thirdCapMark; i < state.recorded.thirdCap.size() && mTrace; ++i) {
        const auto& call = state.recorded.thirdCap[i];
        trace.notes.push_back("third-party capability manager asked for camera \"" + call.camName +
                              "\", activity \"" + call.activityName + "\": answered " +
                              std::to_string(state.thirdCap.answer));
    }
    // The feature chip's notes explain a decision it made, traced or not.
    for (std::string& note : mEvaluator.takeNotes()) trace.notes.push_back(std::move(note));
    trace.settingLog = takeAndroidLog(logMark);
    trace.settingRowReads = mHost->takeRowReads();
    for (size_t i = sensorInfoMark; i < state.recorded.sensorInfo.size(); ++i) {
        const auto& call = state.recorded.sensorInfo[i];
        if (call.sensorIdx == calls.sensorIdx) calls.namedScenario = call.scenarioId;
    }
    if (calls.reportedDecision && calls.namedScenario) {
        const SensorSpec& sensor = *mDevice->findSensor(calls.sensorIdx);
        calls.notFilledReason = unansweredQuery(sensor, *calls.namedScenario);
        calls.namedScenarioIsAMode = sensor.modes.count(*calls.namedScenario) > 0;
    }
}

void Simulator::selectRrzo(const SessionSpec& session, SensorCalls& calls, SensorTrace& trace,
                           const BuiltConfiguration& configuration) {
    hostplatform::State& state = hostplatform::state();
    const size_t logMark = state.recorded.androidLog.size();
    StreamRecord record;
    record.ratioA = session.hal.ratioA;
    record.ratioC = session.hal.ratioC;
    record.heightToWidth = session.hal.heightToWidth;
    ConfigurationOutputParams outParams;
    outParams.pStreamRecord = &record;
    ConfigurationInputParams inParams;
    inParams.pParsedAppConfiguration = configuration.appConfig;
    inParams.pParsedAppImageStreamInfo = configuration.streamInfo;

    mHost->takeRowReads();
    CustRrzoAlgoAdaptor& adaptor = *mRrzoAdaptors.at(calls.sensorIdx);
    MSize targetSize = session.hal.rrzoTarget.value_or(
        defaultRrzoRequest(configuration.streamInfo->maxStreamSize, calls.rrzoSensorSize));
    calls.rrzoRequested = targetSize;
    adaptor.calculateTargetSize(calls.sensorIdx, targetSize, session.hal.rrzoIntParam,
                                mSettingsForRrzo, session.hal.rrzoFlagA, session.hal.rrzoFlagB,
                                session.hal.rrzoUintParam, &outParams, &inParams);
    MSize outSize = calls.rrzoRequested;
    adaptor.selectTargetSize(calls.sensorIdx, calls.rrzoSensorSize, outSize);
    calls.rrzoSize = outSize;
    trace.rrzoNotes = mEvaluator.takeNotes();
    trace.rrzoRowReads = mHost->takeRowReads();
    // Untraced, the Decision needs only the messages that may explain the size.
    trace.rrzoLog = mTrace ? takeAndroidLog(logMark) : takeRrzoExplanations(logMark);
}

SessionRun Simulator::run(const SessionSpec& session) {
    // Every session starts from the device's answers alone: a configuration does not inherit the
    // previous one's facts, records or feature-chip state. The adaptors, like the HAL's, stay.
    // Puts this device's tables in force and starts the row-read record: the decisions name the
    // row that decided.
    beginRun();
    if (!mUnifiedLog) ULogger::sMode &= ~custpolicy::kLogModeUnified;
    applySession(session);
    mEvaluator.resetRrzoState();
    const BuiltConfiguration configuration = buildConfiguration(session);

    std::vector<int32_t> indices = session.sensors;
    if (indices.empty()) {
        for (const SensorSpec& sensor : mDevice->sensors) indices.push_back(sensor.index);
    }
    std::vector<SensorCalls> calls(indices.size());
    std::vector<SensorTrace> traces(indices.size());
    for (size_t i = 0; i < indices.size(); ++i) {
        const SensorSpec& profile = *mDevice->findSensor(indices[i]);
        SensorCalls& sensor = calls[i];
        sensor.sensorIdx = indices[i];
        sensor.sensorName = profile.name;
        sensor.newSettingPolicy = profile.newSettingPolicy;
        sensor.newRrzoPolicy = profile.newRrzoPolicy;
        sensor.configName = configName();
        if (const auto& range = session.params.fpsRange)
            sensor.requestedFps = (*range)[kFpsRangeHigh];
        selectSetting(session, sensor, traces[i], configuration);
    }

    // The HAL hands the RRZO policy the settings of every sensor of the configuration. A sensor the
    // policy decided nothing for runs in the HAL's own fallback scenario.
    mSettingsForRrzo = std::make_shared<CustSensorSettingMap>();
    for (SensorCalls& sensor : calls) {
        SensorSetting effective = sensor.record;
        if (!sensor.reportedDecision) {
            const SensorSpec& profile = *mDevice->findSensor(sensor.sensorIdx);
            if (profile.halFallbackScenario) {
                sensor.fallbackScenario = profile.halFallbackScenario;
            } else if (!profile.modes.empty()) {
                sensor.fallbackScenario = profile.modes.begin()->first;
            }
            if (sensor.fallbackScenario) {
                const ModeSpec& mode = profile.modes.at(*sensor.fallbackScenario);
                effective.sensorMode = static_cast<uint32_t>(mode.scenario);
                effective.sensorFps = mode.fps;
                effective.sensorSize = mode.size;
                effective.rawFmtType = mode.rawFormatType;
            }
        }
        sensor.rrzoSensorSize = effective.sensorSize;
        (*mSettingsForRrzo)[static_cast<unsigned int>(sensor.sensorIdx)] = effective;
    }
    SessionRun result;
    result.session = &session;
    result.sensors.reserve(calls.size());
    for (size_t i = 0; i < calls.size(); ++i) {
        selectRrzo(session, calls[i], traces[i], configuration);
        result.sensors.push_back(buildDecision(calls[i], traces[i]));
        if (!mTrace) continue;
        const bool thermalRows = GetLocaleKeyCount(custpolicy::kTableThirdCamByThermal,
                                                   session.app.activity.c_str()) > 0;
        collectErrors(traces[i].settingLog, thermalRows, traces[i].errors);
        collectErrors(traces[i].rrzoLog, thermalRows, traces[i].errors);
        result.traces.push_back(std::move(traces[i]));
    }
    mSettingsForRrzo.reset();
    result.warnings = sessionWarnings(session);
    return result;
}

}  // namespace custsim
