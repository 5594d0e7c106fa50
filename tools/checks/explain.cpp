#include "checks/explain.h"

#include <algorithm>
#include <cstdio>
#include <functional>

#include "config_store.h"
#include "custpolicy/cust_contract.h"
#include "platform/ConfigStore.h"

namespace custsim {

namespace {

using custpolicy::kTableCommonSensorSettingMap;
using custpolicy::kTableCustomRrzoSize;
using custpolicy::kTableCustomSensorSize;
using custpolicy::kTableSystemCamSensorSettingMap;
using custpolicy::kTableThirdCamByActivity;
using custpolicy::kTableThirdCamByThermal;
using custpolicy::kTableThirdCamSensorSettingMap;

constexpr int32_t kWildcard = -1;
constexpr int32_t kNoScenario = -1;
constexpr int32_t kMaxValidScenario = custpolicy::kMaxScenario;
constexpr int32_t kUnknownTemperature = -1;

// The groups every per-name table ends with, and the ones the library picks by itself.
constexpr char kModeLocale[] = "Mode";
constexpr char kCatchAllLocale[] = "AllCamApp";
constexpr char kGsiCameraName[] = "android.camera.cts";
// The camera-mode names behind the classes of the system-camera table.
constexpr char kFastMotionName[] = "fast_motion_mode";
constexpr char kHighPixelName[] = "high_pixel_mode";
constexpr char kHighDefinitionName[] = "high_definition_mode";
constexpr int32_t kModeClassVideo = 0;
constexpr int32_t kModeClassFastMotion = 1;
constexpr int32_t kModeClassHighResolution = 2;

// The engineering traversal's fixed case: this operation mode with static item 0 runs mode 16.
constexpr uint32_t kEngineerOperationMode = 0x40009007;

// Feature-mask bits of the two size tables.
constexpr int32_t kMaskStereo = 0x1;
constexpr int32_t kMask4kVideo = 0x2;
constexpr int32_t kMaskNotFromMainMenu = 0x20;
constexpr int32_t kMaskDolbyVision = 0x40;
constexpr uint32_t kStereoFeatureBit = 0x40;

// The session values the columns compare.
enum class Fact {
    Sensor,
    OperationMode,
    OutsideCaller,
    YuvWidth,
    StreamWidth,
    ModeClass,
    AspectRatio,
    Video,
    YuvSize,
    Api,
    Temperature,
    CaptureMode,
    SensorSizeMask,
    RrzoSizeMask,
};

struct ColumnSpec {
    int32_t column;
    const char* name;
    ColumnRule rule;
    Fact fact;
};

// A table's width, its match columns in the order the policy tests them, and its scenario column.
struct TableSpec {
    const char* table;
    int32_t width;
    std::vector<ColumnSpec> tests;
    int32_t answerColumn;
};

const TableSpec kCommonTable{kTableCommonSensorSettingMap,
                             3,
                             {{0, "operation mode", ColumnRule::Equal, Fact::OperationMode},
                              {1, "sensor index", ColumnRule::Equal, Fact::Sensor}},
                             2};
const TableSpec kSystemTable{kTableSystemCamSensorSettingMap,
                             9,
                             {{0, "operation mode", ColumnRule::Equal, Fact::OperationMode},
                              {1, "outside caller", ColumnRule::Equal, Fact::OutsideCaller},
                              {2, "sensor index", ColumnRule::Equal, Fact::Sensor},
                              {3, "largest YUV width", ColumnRule::Ceiling, Fact::YuvWidth},
                              {4, "largest stream width", ColumnRule::Equal, Fact::StreamWidth},
                              {5, "camera-mode class", ColumnRule::Equal, Fact::ModeClass},
                              {6, "aspect ratio", ColumnRule::Equal, Fact::AspectRatio}},
                             7};
const TableSpec kThirdTable{kTableThirdCamSensorSettingMap,
                            8,
                            {{0, "sensor index", ColumnRule::Equal, Fact::Sensor},
                             {1, "video flag", ColumnRule::Equal, Fact::Video},
                             {2, "operation mode", ColumnRule::Equal, Fact::OperationMode},
                             {3, "aspect ratio", ColumnRule::FloorUnsigned, Fact::AspectRatio},
                             {4, "largest YUV width", ColumnRule::FloorSigned, Fact::YuvWidth},
                             {5, "largest YUV size", ColumnRule::CeilingBoth, Fact::YuvSize}},
                            7};
// The API column is tested after every other column.
const TableSpec kActivityTable{kTableThirdCamByActivity,
                               9,
                               {{0, "sensor index", ColumnRule::Equal, Fact::Sensor},
                                {2, "video flag", ColumnRule::Equal, Fact::Video},
                                {3, "operation mode", ColumnRule::Equal, Fact::OperationMode},
                                {4, "aspect ratio", ColumnRule::FloorUnsigned, Fact::AspectRatio},
                                {5, "largest YUV width", ColumnRule::FloorSigned, Fact::YuvWidth},
                                {6, "largest YUV size", ColumnRule::CeilingBoth, Fact::YuvSize},
                                {1, "camera API", ColumnRule::Equal, Fact::Api}},
                               8};
const TableSpec kThermalTable{kTableThirdCamByThermal,
                              3,
                              {{0, "sensor index", ColumnRule::Equal, Fact::Sensor},
                               {1, "temperature", ColumnRule::Threshold, Fact::Temperature}},
                              2};
const TableSpec kSensorSizeTable{kTableCustomSensorSize,
                                 5,
                                 {{0, "camera id", ColumnRule::Equal, Fact::Sensor},
                                  {1, "capture mode", ColumnRule::Equal, Fact::CaptureMode},
                                  {2, "feature mask", ColumnRule::Equal, Fact::SensorSizeMask}},
                                 3};
const TableSpec kRrzoSizeTable{kTableCustomRrzoSize,
                               5,
                               {{0, "camera id", ColumnRule::Equal, Fact::Sensor},
                                {1, "capture mode", ColumnRule::Equal, Fact::CaptureMode},
                                {2, "feature mask", ColumnRule::Equal, Fact::RrzoSizeMask}},
                               3};

std::string hex(int64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%X", static_cast<uint32_t>(value));
    return text;
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string sizeWords(MSize size) { return std::to_string(size.w) + "x" + std::to_string(size.h); }

bool isValidScenario(int32_t scenario) {
    return static_cast<uint32_t>(scenario) <= static_cast<uint32_t>(kMaxValidScenario);
}

// Whether the facts are shown in hexadecimal, as the tables usually write them.
bool isHexFact(Fact fact) {
    return fact == Fact::OperationMode || fact == Fact::CaptureMode ||
           fact == Fact::SensorSizeMask || fact == Fact::RrzoSizeMask;
}

// A row's value as tables write it: modes and masks in hexadecimal, the wildcard as -1.
std::string writtenValue(Fact fact, int32_t value) {
    return isHexFact(fact) && value != kWildcard ? hex(value) : std::to_string(value);
}

// The session as the columns see it.
class SessionFacts {
public:
    SessionFacts(const SessionSpec& session, const DeviceProfile& device, int32_t sensorIdx,
                 const MatchFacts& facts)
        : mSession(session), mSensorIdx(sensorIdx), mFacts(facts) {
        const AppSpec& app = session.app;
        const bool stereo =
            (app.sdk || app.system) && (device.stereoFeatureMode & kStereoFeatureBit) != 0;
        mSensorSizeMask = (stereo ? kMaskStereo : 0) | (session.common.video4k ? kMask4kVideo : 0);
        mRrzoSizeMask = mSensorSizeMask |
                        (app.system && !app.fromMainMenu ? kMaskNotFromMainMenu : 0) |
                        (session.common.dolbyVision ? kMaskDolbyVision : 0);
    }

    int64_t value(Fact fact) const {
        switch (fact) {
            case Fact::Sensor:
                return mSensorIdx;
            case Fact::OperationMode:
                return mFacts.operationMode;
            case Fact::OutsideCaller:
                return outsideCaller() ? 1 : 0;
            case Fact::YuvWidth:
                return mFacts.maxYuvSize.w;
            case Fact::StreamWidth:
                return mFacts.maxStreamSize.w;
            case Fact::ModeClass:
                return mFacts.cameraModeClass;
            case Fact::AspectRatio:
                return mFacts.aspectRatio;
            case Fact::Video:
                return mFacts.video ? 1 : 0;
            case Fact::YuvSize:
                return std::max(mFacts.maxYuvSize.w, mFacts.maxYuvSize.h);
            case Fact::Api:
                return mFacts.api;
            case Fact::Temperature:
                return mFacts.temperature;
            case Fact::CaptureMode:
                return mFacts.captureMode;
            case Fact::SensorSizeMask:
                return mSensorSizeMask;
            case Fact::RrzoSizeMask:
                return mRrzoSizeMask;
        }
        return 0;
    }

    std::string valueText(Fact fact) const {
        if (fact == Fact::YuvSize) return sizeWords(mFacts.maxYuvSize);
        const int64_t v = value(fact);
        return isHexFact(fact) ? hex(v) : std::to_string(v);
    }

    // Where the value comes from, in the session file's terms.
    std::string source(Fact fact, int32_t rowValue) const {
        const AppSpec& app = mSession.app;
        switch (fact) {
            case Fact::Sensor:
                return "the sensor being decided";
            case Fact::OperationMode:
                return "operation_mode";
            case Fact::OutsideCaller:
                return "caller " + quoted(app.caller) +
                       (outsideCaller() ? " is one of the two outside callers"
                                        : " is not one of the two outside callers");
            case Fact::YuvWidth:
            case Fact::YuvSize:
                return "largest YUV stream " + sizeWords(mFacts.maxYuvSize);
            case Fact::StreamWidth:
                return "largest stream " + sizeWords(mFacts.maxStreamSize);
            case Fact::ModeClass:
                return modeClassSource(rowValue);
            case Fact::AspectRatio:
                return "largest stream " + sizeWords(mFacts.maxStreamSize) + ": height*1000/width";
            case Fact::Video:
                return mFacts.video ? "a stream records video" : "no stream records video";
            case Fact::Api:
                return mSession.params.api ? "[session_params] api" : "no [session_params] api";
            case Fact::Temperature:
                return mSession.params.temperature ? "[session_params] temperature"
                                                   : "no [session_params] temperature: unknown";
            case Fact::CaptureMode:
                return "[common] capture_mode";
            case Fact::SensorSizeMask:
            case Fact::RrzoSizeMask:
                return maskSource(fact == Fact::RrzoSizeMask);
        }
        return {};
    }

    bool outsideCaller() const { return mFacts.outsideCaller != 0; }

    int32_t sensorIdx() const { return mSensorIdx; }
    const SessionSpec& session() const { return mSession; }

private:
    std::string modeClassSource(int32_t wanted) const {
        if (mFacts.video) return "a stream records video: class 0 whatever the mode name";
        const std::string name = "camera_mode_name " + quoted(mSession.app.cameraModeName);
        switch (mFacts.cameraModeClass) {
            case kModeClassFastMotion:
                return name + " is " + quoted(kFastMotionName);
            case kModeClassHighResolution:
                return name;
            default:
                break;
        }
        if (wanted == kModeClassHighResolution)
            return name + " is neither " + quoted(kHighPixelName) + " nor " +
                   quoted(kHighDefinitionName);
        if (wanted == kModeClassFastMotion) return name + " is not " + quoted(kFastMotionName);
        if (wanted == kModeClassVideo) return "no stream records video";
        return name;
    }

    std::string maskSource(bool rrzo) const {
        std::vector<std::string> bits;
        const int32_t mask = rrzo ? mRrzoSizeMask : mSensorSizeMask;
        if (mask & kMaskStereo) bits.push_back("0x1 stereo");
        if (mask & kMask4kVideo) bits.push_back("0x2 video_4k");
        if (mask & kMaskNotFromMainMenu) bits.push_back("0x20 from_main_menu = false");
        if (mask & kMaskDolbyVision) bits.push_back("0x40 dolby_vision");
        if (bits.empty()) return "no feature bit set";
        std::string text;
        for (const std::string& bit : bits) text += (text.empty() ? "" : ", ") + bit;
        return text;
    }

    const SessionSpec& mSession;
    int32_t mSensorIdx;
    const MatchFacts& mFacts;
    int32_t mSensorSizeMask = 0;
    int32_t mRrzoSizeMask = 0;
};

bool passes(ColumnRule rule, int32_t row, int64_t input, const MatchFacts& facts) {
    if (rule == ColumnRule::Threshold) return input != kUnknownTemperature && input >= row;
    if (row == kWildcard) return true;
    switch (rule) {
        case ColumnRule::Equal:
            return static_cast<uint32_t>(row) == static_cast<uint32_t>(input);
        case ColumnRule::Ceiling:
            return row >= input;
        case ColumnRule::FloorSigned:
            return row < input;
        case ColumnRule::FloorUnsigned:
            return static_cast<uint32_t>(row) < static_cast<uint32_t>(input);
        case ColumnRule::CeilingBoth:
            return row >= facts.maxYuvSize.w && row >= facts.maxYuvSize.h;
        case ColumnRule::Threshold:
            break;
    }
    return false;
}

// What would let the row pass the column: a change of the row, or of the session.
std::string fixFor(const ColumnSpec& spec, int32_t row, const SessionFacts& session) {
    const std::string column = "column " + std::to_string(spec.column);
    const std::string input = session.valueText(spec.fact);
    const int64_t value = session.value(spec.fact);
    const std::string rowText = writtenValue(spec.fact, row);
    switch (spec.rule) {
        case ColumnRule::Equal:
            return column + " = " + (value == kWildcard ? "-1" : input + " or -1") +
                   ", or a session whose " + spec.name + " is " + rowText;
        case ColumnRule::Ceiling:
            return column + " >= " + input + " or -1, or a session whose " + spec.name +
                   " is at most " + rowText;
        case ColumnRule::FloorSigned:
        case ColumnRule::FloorUnsigned:
            return column + " < " + input + " or -1, or a session whose " + spec.name +
                   " is above " + rowText;
        case ColumnRule::CeilingBoth:
            return column + " >= " + std::to_string(value) +
                   " or -1, or a YUV stream whose width and height are at most " + rowText;
        case ColumnRule::Threshold:
            if (value == kUnknownTemperature) return "a session temperature of at least " + rowText;
            return column + " <= " + input + ", or a temperature of at least " + rowText;
    }
    return {};
}

// One read of the model, as the store's record would show it.
struct ModelRead {
    std::string table;
    std::string locale;
    std::string key;
    int32_t status = hostconfig::kStatusOk;
};

// A row of the trace, named for the self-check.
struct RowRef {
    std::string table;
    std::string locale;
    std::string key;
};

enum class ReadErrorEnds { Lookup, Row };

enum class ScanEnd { Matched, NoMatch, ReadError };

class Tracer {
public:
    Tracer(const SessionSpec& session, const DeviceProfile& device, int32_t sensorIdx,
           const MatchFacts& facts, const ConfigIndex* index)
        : mFacts(session, device, sensorIdx, facts),
          mMatchFacts(facts),
          mDevice(device),
          mIndex(index) {
        mTrace.sensorIdx = sensorIdx;
    }

    void traceSetting();
    void traceRrzo();
    void selfCheck(const ObservedRun& observed);
    ExplainTrace take() { return std::move(mTrace); }

private:
    const AppSpec& app() const { return mFacts.session().app; }
    bool tablePath();
    bool thirdPartyPath();
    bool engineerTraversalDecides(std::string& why) const;
    int32_t thirdCapAnswer() const;
    int32_t modeLookup(const TableSpec& spec, const std::string& why, int32_t fallback);
    int32_t thirdCamLookup();
    void noteUnsearchedGroups(const std::string& firstSearched);
    int32_t activityLookup(int32_t fallback);
    int32_t thermalLookup(int32_t fallback);
    void sizeLookup(const TableSpec& spec, bool rrzo);

    TracedTable& addTable(const TableSpec& spec, const std::string& locale, const std::string& why);
    ScanEnd scan(const TableSpec& spec, size_t tableIndex, int32_t count, ReadErrorEnds onError,
                 int32_t& answer);
    TracedRow readRow(const TableSpec& spec, const std::string& locale, int32_t key);
    void replace(std::optional<size_t>& previous, const char* by);
    bool lastRowMatched(size_t at) const {
        return at < mTrace.tables.size() && !mTrace.tables[at].rows.empty() &&
               mTrace.tables[at].rows.back().matched;
    }

    SessionFacts mFacts;
    const MatchFacts& mMatchFacts;
    const DeviceProfile& mDevice;
    const ConfigIndex* mIndex;
    ExplainTrace mTrace;
    bool mSettingCall = true;
    std::vector<ModelRead> mSettingReads;
    std::vector<ModelRead> mRrzoReads;
    // Whether the model knows if the call decides (it does not when the feature chip matches).
    std::optional<bool> mDecided;
    std::optional<RowRef> mSettingRow;
    std::optional<RowRef> mRrzoRow;
};

TracedTable& Tracer::addTable(const TableSpec& spec, const std::string& locale,
                              const std::string& why) {
    TracedTable table;
    table.table = spec.table;
    table.locale = locale;
    table.why = why;
    table.setting = mSettingCall;
    for (const ColumnSpec& column : spec.tests) {
        if (isHexFact(column.fact)) table.hexColumns.push_back(column.column);
    }
    mTrace.tables.push_back(std::move(table));
    return mTrace.tables.back();
}

TracedRow Tracer::readRow(const TableSpec& spec, const std::string& locale, int32_t key) {
    TracedRow row;
    row.key = std::to_string(key);
    std::vector<int32_t> values(static_cast<size_t>(spec.width), 0);
    row.status = GetLocaleIntegerListConfiguration(spec.table, locale.c_str(), row.key.c_str(),
                                                   values.data(), spec.width);
    (mSettingCall ? mSettingReads : mRrzoReads)
        .push_back({spec.table, locale, row.key, row.status});
    if (row.status == hostconfig::kStatusOk) {
        row.values = std::move(values);
    } else if (row.status == hostconfig::kStatusWrongCount) {
        // Shown as written, so that the report can say what is wrong with it.
        const int32_t width = GetLocaleKeyValuesCount(spec.table, locale.c_str(), row.key.c_str());
        if (width > 0) {
            row.values.assign(static_cast<size_t>(width), 0);
            GetLocaleIntegerListConfiguration(spec.table, locale.c_str(), row.key.c_str(),
                                              row.values.data(), width);
        }
    }
    if (mIndex != nullptr) {
        const int32_t at = mIndex->find(spec.table, locale, row.key);
        if (at >= 0) row.line = mIndex->rows()[static_cast<size_t>(at)].line;
    }
    return row;
}

ScanEnd Tracer::scan(const TableSpec& spec, size_t tableIndex, int32_t count, ReadErrorEnds onError,
                     int32_t& answer) {
    const std::string locale = mTrace.tables[tableIndex].locale;
    for (int32_t i = 0; i < count; ++i) {
        TracedRow row = readRow(spec, locale, i);
        const bool readOk = row.status == hostconfig::kStatusOk;
        if (readOk) {
            for (const ColumnSpec& column : spec.tests) {
                const int32_t value = row.values[static_cast<size_t>(column.column)];
                if (passes(column.rule, value, mFacts.value(column.fact), mMatchFacts)) continue;
                row.misses.push_back(
                    {column.column, column.name, column.rule, value,
                     writtenValue(column.fact, value), mFacts.valueText(column.fact),
                     mFacts.source(column.fact, value), fixFor(column, value, mFacts)});
            }
            row.matched = row.misses.empty();
        }
        TracedTable& table = mTrace.tables[tableIndex];
        table.rows.push_back(row);
        if (!readOk && onError == ReadErrorEnds::Lookup) {
            table.outcome = "row " + row.key + " failed to read (status " +
                            std::to_string(row.status) + "): the lookup ends";
            return ScanEnd::ReadError;
        }
        if (row.matched) {
            answer = row.values[static_cast<size_t>(spec.answerColumn)];
            table.outcome = "row " + row.key + " matched";
            const RowRef ref{spec.table, locale, row.key};
            (mSettingCall ? mSettingRow : mRrzoRow) = ref;
            return ScanEnd::Matched;
        }
    }
    mTrace.tables[tableIndex].outcome = "no row matched";
    return ScanEnd::NoMatch;
}

void Tracer::replace(std::optional<size_t>& previous, const char* by) {
    if (!previous) return;
    mTrace.tables[*previous].replacedBy = by;
    previous.reset();
}

int32_t Tracer::modeLookup(const TableSpec& spec, const std::string& why, int32_t fallback) {
    const int32_t count = GetKeyCount(spec.table);
    const size_t at = mTrace.tables.size();
    TracedTable& table = addTable(spec, kModeLocale, why);
    if (count <= 0) {
        table.outcome = "the table has no rows";
        return fallback;
    }
    const std::string rowZero = std::string(kModeLocale) + "[0]";
    const int32_t width = GetValuesCount(spec.table, rowZero.c_str());
    if (width != spec.width) {
        table.outcome = "refused: row 0 has " + std::to_string(width) +
                        " values, the table takes " + std::to_string(spec.width);
        return fallback;
    }
    int32_t answer = fallback;
    scan(spec, at, count, ReadErrorEnds::Lookup, answer);
    return answer;
}

bool Tracer::tablePath() {
    mTrace.steps.push_back("table path: SystemCamSensorSettingMap, then CommonSensorSettingMap");
    int32_t id = kNoScenario;
    std::optional<size_t> systemHit;
    if (app().thirdParty && !app().sdk) {
        mTrace.steps.push_back(
            "  SystemCamSensorSettingMap not asked: a third-party application that is not an SDK "
            "caller (third_party = true, sdk = false)");
    } else {
        const size_t at = mTrace.tables.size();
        id = modeLookup(kSystemTable, "the table path asks it first", kNoScenario);
        if (lastRowMatched(at)) systemHit = at;
        if (isValidScenario(id)) {
            mTrace.steps.push_back("  SystemCamSensorSettingMap named scenario " +
                                   std::to_string(id));
            return true;
        }
        if (systemHit) {
            mTrace.steps.push_back("  SystemCamSensorSettingMap answered " + std::to_string(id) +
                                   ", not a scenario 0..255: the common table is asked with it");
        }
    }
    const size_t at = mTrace.tables.size();
    const int32_t id2 = modeLookup(kCommonTable, "the table path's second chance", id);
    if (lastRowMatched(at)) replace(systemHit, kTableCommonSensorSettingMap);
    if (isValidScenario(id2)) {
        mTrace.steps.push_back("  the table path named scenario " + std::to_string(id2));
        return true;
    }
    mSettingRow = std::nullopt;
    mTrace.steps.push_back("  the table path named no scenario 0..255 (answer " +
                           std::to_string(id2) + ")");
    return false;
}

int32_t Tracer::thirdCapAnswer() const {
    const std::string camera = app().gsi ? kGsiCameraName : app().cameraAppName;
    for (const ThirdCapAnswer& answer : mDevice.thirdCap.answers) {
        if (!answer.camera.empty() && answer.camera != camera) continue;
        if (!answer.activity.empty() && answer.activity != app().activity) continue;
        if (answer.sensor && *answer.sensor != mFacts.sensorIdx()) continue;
        return answer.scenario;
    }
    return mDevice.thirdCap.defaultAnswer;
}

// A group named after the session's caller, package or activity is a common mistake: the table's
// groups are named by the camera app name alone.
void Tracer::noteUnsearchedGroups(const std::string& firstSearched) {
    const std::pair<const char*, const std::string*> kOtherNames[] = {
        {"caller", &app().caller},
        {"package", &app().package},
        {"activity", &app().activity},
    };
    std::vector<std::string> noted;
    for (const auto& [key, name] : kOtherNames) {
        if (name->empty() || *name == firstSearched || *name == kCatchAllLocale) continue;
        if (std::find(noted.begin(), noted.end(), *name) != noted.end()) continue;
        if (GetLocaleKeyCount(kThirdTable.table, name->c_str()) <= 0) continue;
        noted.push_back(*name);
        mTrace.steps.push_back("  ThirdCamSensorSettingMap has a group \"" + *name +
                               "\" (the session's " + key +
                               "), not searched: its groups are named by camera_app_name");
    }
}

int32_t Tracer::thirdCamLookup() {
    struct Group {
        std::string name;
        std::string why;
    };
    std::vector<Group> groups;
    for (const std::string& name : mMatchFacts.thirdCamGroups) {
        if (name == kCatchAllLocale) {
            groups.push_back({name, "always searched last"});
        } else if (name == app().cameraAppName) {
            groups.push_back({name, "camera_app_name"});
        } else {
            groups.push_back({name, "no camera_app_name, and gsi = true"});
        }
    }
    if (groups.size() == 1) {
        mTrace.steps.push_back(
            "  no camera_app_name (and gsi = false): ThirdCamSensorSettingMap searches only "
            "AllCamApp");
    }
    noteUnsearchedGroups(groups.front().name);
    for (const Group& group : groups) {
        const size_t at = mTrace.tables.size();
        TracedTable& table = addTable(kThirdTable, group.name, group.why);
        const int32_t count = GetLocaleKeyCount(kThirdTable.table, group.name.c_str());
        if (count <= 0) {
            table.outcome = "group without rows: passed over";
            continue;
        }
        const int32_t width = GetLocaleKeyValuesCount(kThirdTable.table, group.name.c_str(), "0");
        if (width != kThirdTable.width) {
            table.outcome = "refused: row 0 has " + std::to_string(width) +
                            " values, the table takes " + std::to_string(kThirdTable.width) +
                            "; the whole lookup ends with -1";
            return kNoScenario;
        }
        int32_t answer = kNoScenario;
        const ScanEnd end = scan(kThirdTable, at, count, ReadErrorEnds::Lookup, answer);
        if (end == ScanEnd::Matched) return answer;
        if (end == ScanEnd::ReadError) return kNoScenario;
    }
    return kNoScenario;
}

int32_t Tracer::activityLookup(int32_t fallback) {
    const char* name = kActivityTable.table;
    if (GetKeyCount(name) <= 0) {
        mTrace.steps.push_back("  ThirdCamSensorSettingMapByActivity: no such table");
        return fallback;
    }
    const std::string& activity = app().activity;
    if (activity.empty()) {
        mTrace.steps.push_back("  ThirdCamSensorSettingMapByActivity not asked: no activity");
        return fallback;
    }
    const size_t at = mTrace.tables.size();
    TracedTable& table = addTable(kActivityTable, activity, "activity");
    const int32_t count = GetLocaleKeyCount(name, activity.c_str());
    if (count <= 0) {
        table.outcome = "group without rows: the answer so far stays";
        return fallback;
    }
    const int32_t width = GetLocaleKeyValuesCount(name, activity.c_str(), "0");
    if (width != kActivityTable.width) {
        table.outcome = "refused: row 0 has " + std::to_string(width) +
                        " values, the table takes " + std::to_string(kActivityTable.width);
        return fallback;
    }
    int32_t answer = fallback;
    scan(kActivityTable, at, count, ReadErrorEnds::Lookup, answer);
    return answer;
}

int32_t Tracer::thermalLookup(int32_t fallback) {
    const char* name = kThermalTable.table;
    const int32_t count = GetKeyCount(name);
    if (count <= 0) {
        mTrace.steps.push_back("  ThirdCamSensorSettingMapByThermal: no such table");
        return fallback;
    }
    const std::string& activity = app().activity;
    const size_t at = mTrace.tables.size();
    TracedTable& table = addTable(
        kThermalTable, activity,
        "activity; keys 0.." + std::to_string(count - 1) + " (the whole table's entry count)");
    const int32_t width = GetLocaleKeyValuesCount(name, activity.c_str(), "0");
    if (width != kThermalTable.width) {
        table.outcome = width == 0 ? "the activity has no thermal rows: the answer so far stays"
                                   : "refused: row 0 has " + std::to_string(width) +
                                         " values, the table takes 3";
        return fallback;
    }
    int32_t answer = fallback;
    scan(kThermalTable, at, count, ReadErrorEnds::Row, answer);
    return answer;
}

bool Tracer::thirdPartyPath() {
    const char* notTaken = nullptr;
    if (app().system) {
        notTaken = "the application is the system camera (system = true)";
    } else if (app().engineerCam) {
        notTaken = "the engineering camera (engineer_cam = true)";
    } else if (app().engineerMode) {
        notTaken = "engineering mode (engineer_mode = true)";
    } else if (mMatchFacts.operationMode != 0) {
        notTaken = "operation mode is not 0";
    }
    if (notTaken != nullptr) {
        mTrace.steps.push_back(std::string("third-party path: not taken: ") + notTaken);
        return false;
    }
    if (mDevice.thirdCap.supported) {
        const int32_t answer = thirdCapAnswer();
        mTrace.steps.push_back("third-party path: the third-party capability manager answered " +
                               std::to_string(answer) + " (no table is read)");
        return answer != kNoScenario;
    }
    mTrace.steps.push_back(
        "third-party path: ThirdCamSensorSettingMap, then ThirdCamSensorSettingMapByActivity, then "
        "ThirdCamSensorSettingMapByThermal, each overriding the one before when it matches");
    std::optional<size_t> standing;
    const auto stepMatched = [this](size_t from) {
        for (size_t i = mTrace.tables.size(); i > from; --i) {
            const TracedTable& table = mTrace.tables[i - 1];
            if (!table.rows.empty() && table.rows.back().matched)
                return std::optional<size_t>(i - 1);
        }
        return std::optional<size_t>();
    };
    size_t from = mTrace.tables.size();
    int32_t result = thirdCamLookup();
    standing = stepMatched(from);
    from = mTrace.tables.size();
    result = activityLookup(result);
    if (auto hit = stepMatched(from)) {
        replace(standing, kTableThirdCamByActivity);
        standing = hit;
    }
    from = mTrace.tables.size();
    result = thermalLookup(result);
    if (auto hit = stepMatched(from)) {
        replace(standing, kTableThirdCamByThermal);
        standing = hit;
    }
    if (result == kNoScenario) {
        mTrace.steps.push_back("  the chain answered -1: no decision");
        mSettingRow = std::nullopt;
        return false;
    }
    mTrace.steps.push_back("  the chain named scenario " + std::to_string(result));
    return true;
}

bool Tracer::engineerTraversalDecides(std::string& why) const {
    if (!app().engineerCam && !app().engineerMode) {
        why = "neither engineer_cam nor engineer_mode";
        return false;
    }
    const SensorSpec* sensor = mDevice.findSensor(mFacts.sensorIdx());
    if (mMatchFacts.operationMode == kEngineerOperationMode && sensor != nullptr &&
        sensor->engineerStaticItem && *sensor->engineerStaticItem == 0) {
        why = "operation mode 0x40009007 with static item 0: scenario 16";
        return true;
    }
    if (mFacts.session().params.engineerSensorMode) {
        why = "engineer_sensor_mode " + std::to_string(*mFacts.session().params.engineerSensorMode);
        return true;
    }
    why = "no engineer_sensor_mode";
    return false;
}

void Tracer::traceSetting() {
    mSettingCall = true;
    const SensorSpec* sensor = mDevice.findSensor(mFacts.sensorIdx());
    if (sensor == nullptr) return;
    if (sensor->newSettingPolicy) {
        mTrace.steps.push_back(
            "the new setting policy decides (the feature chip's matching): no legacy table is "
            "read");
        return;
    }
    if (mFacts.session().hal.engineerTraversal) {
        std::string why;
        if (engineerTraversalDecides(why)) {
            mTrace.steps.push_back("engineering traversal decides (" + why +
                                   "): the adaptor is not asked");
            mDecided = true;
            return;
        }
        mTrace.steps.push_back("engineering traversal decides nothing (" + why + ")");
    }
    if (sensor->privateSelectSensorMode) {
        mTrace.steps.push_back(
            "private_select_sensor_mode = true: the table path, then the third-party path, then "
            "the feature chip's matching");
        if (tablePath() || thirdPartyPath()) {
            mDecided = true;
            return;
        }
        mTrace.steps.push_back("normal matching by the feature chip (its notes say what it chose)");
        return;
    }
    mTrace.steps.push_back(
        "private_select_sensor_mode = false: the third-party path, then the table path; no normal "
        "matching");
    mDecided = thirdPartyPath() || tablePath();
}

void Tracer::sizeLookup(const TableSpec& spec, bool rrzo) {
    if (GetKeyCount(spec.table) <= 0) return;
    struct Group {
        std::string name;
        std::string why;
    };
    std::vector<Group> groups;
    const auto add = [&groups](const std::string& name, const char* why) {
        if (!name.empty()) groups.push_back({name, why});
    };
    if (app().system) {
        add(app().caller, "caller (the system camera)");
    } else {
        add(app().activity, "activity (not the system camera)");
        if (rrzo) add(app().package, "package (not the system camera)");
    }
    groups.push_back({kCatchAllLocale, "always searched last"});
    for (const Group& group : groups) {
        const size_t at = mTrace.tables.size();
        TracedTable& table = addTable(spec, group.name, group.why);
        const int32_t count = GetLocaleKeyCount(spec.table, group.name.c_str());
        if (count <= 0) {
            table.outcome = "group without rows: passed over";
            continue;
        }
        const int32_t width = GetLocaleKeyValuesCount(spec.table, group.name.c_str(), "0");
        if (width != spec.width) {
            table.outcome = "passed over: row 0 has " + std::to_string(width) +
                            " values, the table takes " + std::to_string(spec.width);
            continue;
        }
        int32_t answer = 0;
        if (scan(spec, at, count, ReadErrorEnds::Row, answer) == ScanEnd::Matched) return;
    }
}

void Tracer::traceRrzo() {
    mSettingCall = false;
    const SensorSpec* sensor = mDevice.findSensor(mFacts.sensorIdx());
    if (sensor == nullptr) return;
    if (sensor->newRrzoPolicy) {
        mTrace.steps.push_back("RRZO calls: the feature-driven policy; no size table is read");
        return;
    }
    sizeLookup(kSensorSizeTable, false);
    const std::optional<RowRef> sensorRow = mRrzoRow;
    mRrzoRow.reset();
    sizeLookup(kRrzoSizeTable, true);
    if (!mRrzoRow) mRrzoRow = sensorRow;
}

std::string readText(const std::string& table, const std::string& locale, const std::string& key,
                     int32_t status) {
    return table + " " + locale + "[" + key + "] (status " + std::to_string(status) + ")";
}

void compareReads(const char* call, const std::vector<ModelRead>& model,
                  const std::vector<hostconfig::RowRead>* record,
                  std::vector<std::string>& differences) {
    if (record == nullptr) return;
    const size_t common = std::min(model.size(), record->size());
    for (size_t i = 0; i < common; ++i) {
        const ModelRead& m = model[i];
        const hostconfig::RowRead& r = (*record)[i];
        if (m.table == r.table && m.locale == r.locale && m.key == r.key && m.status == r.status)
            continue;
        differences.push_back(std::string(call) + " read " + std::to_string(i + 1) +
                              ": the trace reads " + readText(m.table, m.locale, m.key, m.status) +
                              ", the store recorded " +
                              readText(r.table, r.locale, r.key, r.status));
        return;
    }
    if (model.size() != record->size()) {
        differences.push_back(std::string(call) + ": the trace reads " +
                              std::to_string(model.size()) + " rows, the store recorded " +
                              std::to_string(record->size()));
    }
}

std::string refText(const std::optional<RowRef>& row) {
    return row ? row->table + " " + row->locale + "[" + row->key + "]" : "no row";
}

std::string refText(const std::optional<MatchedRow>& row) {
    return row ? row->table + " " + row->locale + "[" + row->key + "]" : "no row";
}

bool sameRow(const std::optional<RowRef>& model, const std::optional<MatchedRow>& observed) {
    if (!model || !observed) return !model && !observed;
    return model->table == observed->table && model->locale == observed->locale &&
           model->key == observed->key;
}

void Tracer::selfCheck(const ObservedRun& observed) {
    std::vector<std::string>& differences = mTrace.differences;
    compareReads("setting call", mSettingReads, observed.settingRowReads, differences);
    compareReads("RRZO calls", mRrzoReads, observed.rrzoRowReads, differences);
    if (mDecided && *mDecided != observed.decided) {
        differences.push_back(std::string("the trace says the setting call ") +
                              (*mDecided ? "decides" : "decides nothing") + ", the run " +
                              (observed.decided ? "decided" : "decided nothing"));
    }
    if (!sameRow(mSettingRow, observed.settingMatch)) {
        differences.push_back("the trace finds " + refText(mSettingRow) +
                              " deciding the sensor mode, the run names " +
                              refText(observed.settingMatch));
    }
    if (observed.rrzoRowReads != nullptr && !sameRow(mRrzoRow, observed.rrzoMatch)) {
        differences.push_back("the trace finds " + refText(mRrzoRow) +
                              " behind the RRZO size, the run names " +
                              refText(observed.rrzoMatch));
    }
}

}  // namespace

const char* ruleName(ColumnRule rule) {
    switch (rule) {
        case ColumnRule::Equal:
            return "equal, or -1";
        case ColumnRule::Ceiling:
            return "inclusive ceiling, or -1";
        case ColumnRule::FloorSigned:
            return "exclusive floor, or -1";
        case ColumnRule::FloorUnsigned:
            return "exclusive floor, unsigned, or -1";
        case ColumnRule::CeilingBoth:
            return "inclusive ceiling on width and height, or -1";
        case ColumnRule::Threshold:
            return "threshold reached at or above, no wildcard";
    }
    return "";
}

ExplainTrace buildExplainTrace(const SessionSpec& session, const DeviceProfile& device,
                               int32_t sensorIdx, const MatchFacts& facts,
                               const ObservedRun& observed, const ConfigIndex* index) {
    Tracer tracer(session, device, sensorIdx, facts, index);
    tracer.traceSetting();
    tracer.traceRrzo();
    tracer.selfCheck(observed);
    // The trace's own reads are not the library's: they leave no trace in the record.
    hostconfig::takeRowReads();
    return tracer.take();
}

std::vector<NearMiss> nearMisses(const ExplainTrace& trace) {
    std::vector<NearMiss> misses;
    for (const TracedTable& table : trace.tables) {
        for (const TracedRow& row : table.rows) {
            if (row.misses.size() == 1) misses.push_back({&table, &row});
        }
    }
    return misses;
}

}  // namespace custsim
