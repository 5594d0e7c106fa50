#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/device_profile.h"
#include "inputs/toml_input.h"
#include "platform/MSize.h"

// A session: one stream configuration of one application, as the HAL hands it to the policies.
// docs/simulator.md documents every key.
namespace custsim {

struct AppSpec {
    std::string caller;          // getCallerName
    std::string package;         // geCurPackageName
    std::string activity;        // getActivityName
    std::string cameraAppName;   // getCurCamName
    std::string cameraModeName;  // getCameraModeName
    bool system = true;
    bool thirdParty = false;
    bool sdk = false;
    bool engineerCam = false;
    bool engineerMode = false;
    bool gsi = false;
    bool fromMainMenu = true;
};

struct CommonSpec {
    int32_t captureMode = 0;
    bool video4k = false;
    bool dolbyVision = false;
};

// Session parameters; an unset value leaves its entry out.
struct SessionParamsSpec {
    std::optional<std::vector<int64_t>> fpsRange;  // [low, high]
    std::optional<uint8_t> videoStabilization;
    std::optional<int32_t> aovMode;
    std::optional<int32_t> api;
    std::optional<int32_t> temperature;
    std::optional<uint8_t> engineerSensorMode;
    std::vector<MetadataEntrySpec> extra;
};

// Values the HAL passes alongside the configuration.
struct HalSpec {
    float floatParam0 = 0.0f;
    float floatParam1 = 0.0f;
    uint32_t hdrMode = 0;
    uint32_t seamlessFlags = 0;       // outValue before the call
    std::optional<MSize> rrzoTarget;  // default: the largest stream size
    int32_t rrzoIntParam = 0;
    bool rrzoFlagA = false;
    bool rrzoFlagB = false;
    uint32_t rrzoUintParam = 0;
    float ratioA = 0.0f;
    float ratioC = 0.0f;
    float heightToWidth = 0.0f;
    bool engineerTraversal = false;
};

struct StreamSpec {
    int64_t id = 0;
    int32_t type = 0;
    int32_t format = 0;
    uint64_t usage = 0;
    uint64_t useCase = 0;
    MSize size;
    std::optional<int32_t> physicalSensor;
};

// The parsed stream information; unset values are derived from the streams.
struct StreamInfoSpec {
    std::optional<MSize> maxYuvSize;
    std::optional<MSize> maxStreamSize;
    std::optional<bool> video;
    std::optional<int32_t> videoWidth;
};

// A value a session expects, with the line of its key for reports.
template <typename T>
struct Expected {
    T value{};
    uint32_t line = 0;
};

// Scenario value of an expectation that the sensor gets no decision ("none").
constexpr int32_t kExpectNoDecision = -1;
// Table value of an expectation that no table row decides ("none").
inline constexpr char kExpectNoTable[] = "none";

// One [[expect]] table: what one sensor of the session is to get. Every value is optional; `check`
// compares those given, `check --record` writes them from a run.
struct Expectation {
    uint32_t line = 0;  // of the [[expect]] header
    int32_t sensor = 0;
    std::optional<Expected<int32_t>> scenario;  // kExpectNoDecision: no decision
    std::optional<Expected<uint32_t>> fps;
    std::optional<Expected<MSize>> sensorSize;
    std::optional<Expected<MSize>> rrzoSize;
    std::optional<Expected<uint32_t>> seamlessFlags;
    std::optional<Expected<std::string>> table;  // kExpectNoTable: no table row decided
    std::optional<Expected<std::string>> key;    // the row as the file writes it, "Mode[1]"
};

struct SessionSpec {
    std::string file;
    std::string name;  // the file name without directory and extension
    std::string description;
    std::vector<int32_t> sensors;  // empty: every sensor of the device
    AppSpec app;
    CommonSpec common;
    uint32_t operationMode = 0;
    bool configExtension = false;
    SessionParamsSpec params;
    HalSpec hal;
    StreamInfoSpec streamInfo;
    std::vector<StreamSpec> streams;
    std::vector<Expectation> expectations;  // at most one per sensor, each a sensor it runs
};

// What a session is read for. To compare two devices (diff), its [[expect]] tables are not used
// (they are read, unchecked, and dropped) and a listed sensor the device lacks is left out of the
// run rather than refused, so that two devices with different sensor sets compare the sensors both
// have.
enum class SessionUse { Run, Compare };

// Reads and checks a session against the device it is to run on.
SessionSpec loadSession(const std::string& path, const DeviceProfile& device,
                        Diagnostics& diagnostics, SessionUse use = SessionUse::Run);
// The same from the text of a session file; `path` names it.
SessionSpec loadSessionText(std::string_view text, const std::string& path,
                            const DeviceProfile& device, Diagnostics& diagnostics,
                            SessionUse use = SessionUse::Run);

// Reads a session's keys from a table (a session file's root, or a table inside another file);
// every key of the table must be a session key.
void readSession(TomlTable& root, const DeviceProfile& device, SessionSpec& session,
                 SessionUse use = SessionUse::Run);

// Stream classes the derived stream information uses.
bool isRawFormat(int32_t format);
bool isYuvFormat(int32_t format);
bool isVideoStream(const StreamSpec& stream);

}  // namespace custsim
