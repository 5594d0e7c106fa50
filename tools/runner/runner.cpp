#include "runner.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "config_store.h"
#include "cust_int32.h"
#include "cust_setting_policy_legacy.h"
#include "device_metadata.h"
#include "host_image_stream.h"
#include "host_platform.h"
#include "platform/PolicyTypes.h"
#include "platform/SensorServices.h"
#include "platform/ULogger.h"

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

// Session parameters the policies read.
constexpr uint32_t kTagAeTargetFpsRange = 0x10005;
constexpr uint32_t kTagVideoStabilizationMode = 0x10011;
constexpr uint32_t kTagAovMode = 0x80150001;
constexpr uint32_t kTagApiValue = 0x90040118;
constexpr uint32_t kTagTemperature = 0x90040108;
constexpr uint32_t kTagEngineerSensorModeSelect = 0x90040069;
// The temperature is the int32 40 bytes into the entry's data block.
constexpr size_t kTemperatureOffset = 40;
constexpr size_t kTemperatureBlockSize = kTemperatureOffset + sizeof(int32_t);

// The platform's log-mode bits that send the library's messages to the unified logger.
constexpr uint32_t kUnifiedLogModes = 0xA;

// The camera name the third-party capability manager sees under GSI.
constexpr char kGsiCameraName[] = "android.camera.cts";
// The third-party table's catch-all group, searched last.
constexpr char kCatchAllGroup[] = "AllCamApp";
// The only callers the system-camera table counts as outside callers.
const char* const kOutsideCallers[] = {
    "com.google.android.youtube",
    "com.greenpoint.android.mc10086.activity",
};

// Android log priorities, and the detail level each needs before the library writes it.
constexpr int32_t kPriorityDebug = 3;
constexpr int32_t kPriorityInfo = 4;
constexpr int32_t kPriorityWarning = 5;
constexpr int32_t kDetailLevelWarning = 2;
constexpr int32_t kDetailLevelInfo = 3;
constexpr int32_t kDetailLevelDebug = 5;

// Messages that say which table row, thermal row or engineering value chose the scenario; the last
// of them before the final result explains the decision.
const char* const kDecisionMarkers[] = {
    "match setting(result)",
    "by thermal",
    "for engineer explorer test",
};
constexpr char kFinalResultMarker[] = "match setting(final result)";
// The selection-input summary that the normal path (the feature chip's matching) logs first.
constexpr char kNormalPathMarker[] = "[getSettingSelectInfo]";
// The table named in a table's match message: "match setting(result):[Table],...".
constexpr char kTableMatchMarker[] = "match setting(result):[";
// The thermal table's pick, which names no row.
constexpr char kThermalPickMarker[] = "by thermal";
// Messages the library writes at error priority although nothing failed: a table's match report
// (log tools look for it there) and the thermal table's per-row comparison.
const char* const kErrorPriorityTraces[] = {
    "match setting(result)",
    "ThirdCamScenarioIdByThermal temperature:",
};
constexpr int32_t kPriorityError = 6;
// The thermal table's width check also fires for an activity that simply has no thermal rows
// (its row 0 then has no width): only a group that exists with the wrong width is a fault.
constexpr char kThermalWidthMarker[] = "ThirdCamScenarioIdByThermal targetName:";

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

// Messages that explain the RRZO size, most telling first, with the table each reports a row of.
struct RrzoMarker {
    const char* text;
    const char* table;  // "" when the message reports no table row
};
const RrzoMarker kRrzoMarkers[] = {
    {"customized rrzo size", custpolicy::kTableCustomRrzoSize},
    {"customized sensor size", custpolicy::kTableCustomSensorSize},
    {"rrzo target size", ""},
};

NSCam::IMetadata sessionParamsOf(const SessionParamsSpec& params) {
    NSCam::IMetadata metadata;
    if (params.fpsRange) {
        metadata.update(NSCam::IEntry::of<int32_t>(kTagAeTargetFpsRange,
                                                   {static_cast<int32_t>((*params.fpsRange)[0]),
                                                    static_cast<int32_t>((*params.fpsRange)[1])}));
    }
    if (params.videoStabilization) {
        metadata.update(
            NSCam::IEntry::of<uint8_t>(kTagVideoStabilizationMode, {*params.videoStabilization}));
    }
    if (params.aovMode) metadata.update(NSCam::IEntry::of<int32_t>(kTagAovMode, {*params.aovMode}));
    if (params.api) metadata.update(NSCam::IEntry::of<int32_t>(kTagApiValue, {*params.api}));
    if (params.temperature) {
        uint8_t block[kTemperatureBlockSize] = {};
        std::memcpy(block + kTemperatureOffset, &*params.temperature, sizeof(int32_t));
        metadata.update(NSCam::IEntry::ofBytes(kTagTemperature, block, sizeof(block)));
    }
    if (params.engineerSensorMode) {
        metadata.update(
            NSCam::IEntry::of<uint8_t>(kTagEngineerSensorModeSelect, {*params.engineerSensorMode}));
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

// The RRZO size the HAL asks for by default: the largest stream, shrunk to fit the sensor output
// when it is larger (keeping its aspect ratio, sides even), since the RRZO never upscales.
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

bool contains(const std::string& text, const char* marker) {
    return text.find(marker) != std::string::npos;
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

std::optional<LogLine> settingExplanation(const std::vector<LogLine>& log, bool& isLastMessage) {
    isLastMessage = false;
    std::optional<LogLine> finalResult;
    std::optional<LogLine> explanation;
    for (const LogLine& line : log) {
        if (contains(line.text, kFinalResultMarker)) {
            finalResult = line;
            break;
        }
        // The normal path starts by gathering its inputs: a table match logged before it did not
        // decide (its scenario was refused), the feature chip does.
        if (contains(line.text, kNormalPathMarker)) explanation.reset();
        for (const char* marker : kDecisionMarkers) {
            if (contains(line.text, marker)) explanation = line;
        }
    }
    if (explanation) return explanation;
    if (finalResult) return finalResult;
    if (log.empty()) return std::nullopt;
    isLastMessage = true;
    return log.back();
}

// The message that explains the RRZO size, and the table whose row it reports ("" for none).
std::optional<LogLine> rrzoExplanation(const std::vector<LogLine>& log, std::string& table) {
    for (const RrzoMarker& marker : kRrzoMarkers) {
        for (auto it = log.rbegin(); it != log.rend(); ++it) {
            if (!contains(it->text, marker.text)) continue;
            table = marker.table;
            return *it;
        }
    }
    return std::nullopt;
}

}  // namespace

char priorityLetter(int32_t priority) {
    static const char kLetters[] = "??VDIWEF";
    return priority >= 0 && priority < 8 ? kLetters[priority] : '?';
}

std::string logcatLine(const LogLine& line) {
    return std::string(1, priorityLetter(line.priority)) + "/" + line.tag + ": " + line.text;
}

std::string withoutErrorTail(const std::string& text) {
    // " (function){#line:path}" at the very end.
    if (text.empty() || text.back() != '}') return text;
    const size_t brace = text.rfind("){#");
    if (brace == std::string::npos) return text;
    const size_t open = text.rfind(" (", brace);
    return open == std::string::npos ? text : text.substr(0, open);
}

bool shownAtDetailLevel(int32_t priority, int32_t detailLevel) {
    if (priority > kPriorityWarning) return true;
    if (priority == kPriorityWarning) return detailLevel >= kDetailLevelWarning;
    if (priority == kPriorityInfo) return detailLevel >= kDetailLevelInfo;
    if (priority == kPriorityDebug) return detailLevel >= kDetailLevelDebug;
    return false;
}

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
        groups.push_back(kGsiCameraName);
    }
    groups.push_back(kCatchAllGroup);
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

// The table whose match the explanation reports, or "" when no table decided.
std::string decidingTable(const SensorRun& run) {
    if (!run.decided || !run.decidedBy || run.decidedByIsLastMessage) return {};
    const std::string& text = run.decidedBy->text;
    if (contains(text, kThermalPickMarker)) return custpolicy::kTableThirdCamByThermal;
    const size_t start = text.find(kTableMatchMarker);
    if (start == std::string::npos) return {};
    const size_t from = start + std::strlen(kTableMatchMarker);
    const size_t end = text.find(']', from);
    return end == std::string::npos ? std::string() : text.substr(from, end - from);
}

// A scan stops at its first match, so the table's last successful read is the row that decided.
std::optional<MatchedRow> matchedRow(const std::string& table,
                                     const std::vector<hostconfig::RowRead>& reads,
                                     const std::string& file) {
    for (auto it = reads.rbegin(); it != reads.rend(); ++it) {
        if (it->table != table || it->status != hostconfig::kStatusOk) continue;
        return MatchedRow{it->table, it->locale, it->key, file, it->line};
    }
    return std::nullopt;
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

// True for a message the library writes at error priority that reports a real fault; false for
// the decision traces it also writes there.
bool isLibraryError(const LogLine& line, const std::string& activity) {
    if (line.priority < kPriorityError) return false;
    for (const char* trace : kErrorPriorityTraces) {
        if (contains(line.text, trace)) return false;
    }
    if (contains(line.text, kThermalWidthMarker))
        return GetLocaleKeyCount(custpolicy::kTableThirdCamByThermal, activity.c_str()) > 0;
    return true;
}

void collectErrors(const std::vector<LogLine>& log, const std::string& activity,
                   std::vector<LogLine>& errors) {
    for (const LogLine& line : log) {
        if (isLibraryError(line, activity))
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
    const std::string camera = session.app.gsi ? kGsiCameraName : session.app.cameraAppName;
    for (const ThirdCapAnswer& answer : mDevice->thirdCap.answers) {
        if (!answer.camera.empty() && answer.camera != camera) continue;
        if (!answer.activity.empty() && answer.activity != session.app.activity) continue;
        if (answer.sensor && *answer.sensor != sensorIdx) continue;
        return answer.scenario;
    }
    return mDevice->thirdCap.defaultAnswer;
}

void Simulator::selectSetting(const SessionSpec& session, SensorRun& run,
                              const BuiltConfiguration& configuration) {
    if (!mOutcomeOnly) run.facts = matchFacts(session, configuration, run.sensorIdx);
    hostplatform::State& state = hostplatform::state();
    const size_t logMark = state.recorded.androidLog.size();
    const size_t seamlessMark = state.recorded.seamless.size();
    const size_t thirdCapMark = state.recorded.thirdCap.size();
    const size_t sensorInfoMark = state.recorded.sensorInfo.size();
    mHost->takeRowReads();
    state.thirdCap.answer = thirdCapAnswer(session, run.sensorIdx);

    run.seamlessFlagsBefore = session.hal.seamlessFlags;
    unsigned int seamlessFlags = session.hal.seamlessFlags;
    std::optional<bool> traversal;
    if (session.hal.engineerTraversal && !run.newSettingPolicy) {
        CustSettingPolicyLegacy legacy;
        traversal = mipiTraversal(legacy, configuration.appConfig, run.setting, run.sensorIdx, 0);
        if (!traversal)
            run.notes.push_back(
                "engineering traversal: not provided by this build of the legacy policy");
    }
    if (traversal.value_or(false)) {
        run.decided = true;
        run.byEngineerTraversal = true;
        run.notes.push_back("engineering traversal chose the scenario; the adaptor was not asked");
    } else {
        run.decided = mSettingAdaptors.at(run.sensorIdx)
                          ->selectSensorSetting(configuration.appConfig, configuration.streamInfo,
                                                run.setting, run.sensorIdx, seamlessFlags,
                                                configuration.userConfig, session.hal.floatParam0,
                                                session.hal.floatParam1, session.hal.hdrMode);
    }
    run.seamlessFlags = seamlessFlags;
    for (size_t i = seamlessMark; i < state.recorded.seamless.size(); ++i) {
        const auto& call = state.recorded.seamless[i];
        if (static_cast<int32_t>(call.sensorIdx) == run.sensorIdx)
            run.seamlessScenario = call.scenario;
    }
    for (size_t i = thirdCapMark; i < state.recorded.thirdCap.size() && !mOutcomeOnly; ++i) {
        const auto& call = state.recorded.thirdCap[i];
        run.notes.push_back("third-party capability manager asked for camera \"" + call.camName +
                            "\", activity \"" + call.activityName + "\": answered " +
                            std::to_string(state.thirdCap.answer));
    }
    for (std::string& note : mEvaluator.takeNotes()) {
        if (!mOutcomeOnly) run.notes.push_back(std::move(note));
    }
    run.settingLog = takeAndroidLog(logMark);
    run.settingRowReads = mHost->takeRowReads();
    run.decidedBy = settingExplanation(run.settingLog, run.decidedByIsLastMessage);
    for (size_t i = sensorInfoMark; i < state.recorded.sensorInfo.size(); ++i) {
        const auto& call = state.recorded.sensorInfo[i];
        if (call.sensorIdx == run.sensorIdx) run.namedScenario = call.scenarioId;
    }
    explainSetting(run);
}

void Simulator::explainSetting(SensorRun& run) const {
    const std::string table = decidingTable(run);
    if (!table.empty()) {
        run.match = matchedRow(table, run.settingRowReads, configName());
    }
    // A policy reports a decision once it has named a scenario, even when the sensor-info helper
    // then failed and the record was left as it was.
    if (run.decided && run.namedScenario) {
        run.notFilledReason =
            unansweredQuery(*mDevice->findSensor(run.sensorIdx), *run.namedScenario);
        run.filled = run.notFilledReason.empty();
    }
}

// The error lines of both calls, and the warnings about the decision and the RRZO size.
void Simulator::reviewSensor(const SessionSpec& session, SensorRun& run) const {
    if (!mOutcomeOnly) {
        collectErrors(run.settingLog, session.app.activity, run.errors);
        collectErrors(run.rrzoLog, session.app.activity, run.errors);
    }
    if (run.decided && !run.filled && run.namedScenario) {
        const SensorSpec& sensor = *mDevice->findSensor(run.sensorIdx);
        const bool noMode = sensor.modes.count(*run.namedScenario) == 0;
        run.warnings.push_back({noMode ? "scenario-not-a-mode" : "sensor-query-failed",
                                run.notFilledReason + ": SensorSetting left as it was"});
    }
    const auto& range = session.params.fpsRange;
    if (run.filled && range &&
        (*range)[kFpsRangeHigh] > static_cast<int64_t>(run.setting.sensorFps)) {
        run.warnings.push_back(
            {"fps-below-request", "scenario " + std::to_string(run.setting.sensorMode) +
                                      " runs at " + std::to_string(run.setting.sensorFps) +
                                      " fps, below the " + std::to_string((*range)[kFpsRangeHigh]) +
                                      " fps the session asks for"});
    }
    const MSize rrzo = run.rrzoSize;
    const MSize sensor = run.rrzoSensorSize;
    // A size table replaces the RRZO as its row stands, so a side can even be negative.
    if (rrzo.w <= 0 || rrzo.h <= 0) {
        run.warnings.push_back(
            {"rrzo-zero-side", "RRZO " + sizeText(rrzo) + " has a side of zero or less"});
    } else if (sensor.w > 0 && sensor.h > 0 && (rrzo.w > sensor.w || rrzo.h > sensor.h)) {
        run.warnings.push_back(
            {"rrzo-exceeds-sensor",
             "RRZO " + sizeText(rrzo) + " exceeds the sensor output " + sizeText(sensor)});
    }
}

void Simulator::selectRrzo(const SessionSpec& session, SensorRun& run,
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
    CustRrzoAlgoAdaptor& adaptor = *mRrzoAdaptors.at(run.sensorIdx);
    MSize targetSize = session.hal.rrzoTarget.value_or(
        defaultRrzoRequest(configuration.streamInfo->maxStreamSize, run.rrzoSensorSize));
    run.rrzoRequested = targetSize;
    adaptor.calculateTargetSize(run.sensorIdx, targetSize, session.hal.rrzoIntParam,
                                mSettingsForRrzo, session.hal.rrzoFlagA, session.hal.rrzoFlagB,
                                session.hal.rrzoUintParam, &outParams, &inParams);
    MSize outSize = run.rrzoRequested;
    adaptor.selectTargetSize(run.sensorIdx, run.rrzoSensorSize, outSize);
    run.rrzoSize = outSize;
    // Both records are emptied for the next call either way.
    std::vector<std::string> notes = mEvaluator.takeNotes();
    std::vector<hostconfig::RowRead> reads = mHost->takeRowReads();
    if (mOutcomeOnly) return;
    run.rrzoNotes = std::move(notes);
    run.rrzoRowReads = std::move(reads);
    run.rrzoLog = takeAndroidLog(logMark);
    std::string table;
    run.rrzoDecidedBy = rrzoExplanation(run.rrzoLog, table);
    if (!table.empty()) run.rrzoMatch = matchedRow(table, run.rrzoRowReads, configName());
}

SessionRun Simulator::run(const SessionSpec& session) {
    // Every session starts from the device's answers alone: a configuration does not inherit the
    // previous one's facts, records or feature-chip state. The adaptors, like the HAL's, stay.
    // The reports name the row that decided; the row-read record is cheap enough to keep on.
    beginRun();
    if (!mUnifiedLog) ULogger::sMode &= ~kUnifiedLogModes;
    applySession(session);
    mEvaluator.resetRrzoState();
    const BuiltConfiguration configuration = buildConfiguration(session);

    SessionRun result;
    result.session = &session;
    std::vector<int32_t> indices = session.sensors;
    if (indices.empty()) {
        for (const SensorSpec& sensor : mDevice->sensors) indices.push_back(sensor.index);
    }
    for (int32_t index : indices) {
        const SensorSpec& profile = *mDevice->findSensor(index);
        SensorRun run;
        run.sensorIdx = index;
        run.sensorName = profile.name;
        run.newSettingPolicy = profile.newSettingPolicy;
        run.newRrzoPolicy = profile.newRrzoPolicy;
        selectSetting(session, run, configuration);
        result.sensors.push_back(std::move(run));
    }

    // The HAL hands the RRZO policy the settings of every sensor of the configuration. A sensor the
    // policy decided nothing for runs in the HAL's own fallback scenario.
    mSettingsForRrzo = std::make_shared<CustSensorSettingMap>();
    for (SensorRun& run : result.sensors) {
        SensorSetting effective = run.setting;
        if (!run.decided) {
            const SensorSpec& profile = *mDevice->findSensor(run.sensorIdx);
            run.halFallback = true;
            if (profile.halFallbackScenario) {
                run.fallbackScenario = profile.halFallbackScenario;
            } else if (!profile.modes.empty()) {
                run.fallbackScenario = profile.modes.begin()->first;
            }
            if (run.fallbackScenario) {
                const ModeSpec& mode = profile.modes.at(*run.fallbackScenario);
                effective.sensorMode = static_cast<uint32_t>(mode.scenario);
                effective.sensorFps = mode.fps;
                effective.sensorSize = mode.size;
                effective.rawFmtType = mode.rawFormatType;
            }
        }
        run.rrzoSensorSize = effective.sensorSize;
        (*mSettingsForRrzo)[static_cast<unsigned int>(run.sensorIdx)] = effective;
    }
    for (SensorRun& run : result.sensors) {
        selectRrzo(session, run, configuration);
        reviewSensor(session, run);
    }
    mSettingsForRrzo.reset();
    result.warnings = sessionWarnings(session);
    return result;
}

}  // namespace custsim
