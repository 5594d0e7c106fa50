#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host_config_store.h"
#include "inputs/toml_input.h"
#include "platform/CustFeatureTypes.h"
#include "platform/MSize.h"

// The device profile: everything the platform answers for one device. docs/simulator.md
// documents every key.
namespace custsim {

// Sensor indices a device may have: one bit each in a 32-bit device mask.
constexpr int64_t kMaxSensorIndex = 31;

// One sensor mode (scenario) as the sensor-info helper answers it.
struct ModeSpec {
    int32_t scenario = 0;
    uint32_t fps = 30;
    MSize size;
    uint32_t rawFormatType = 0;
    // Queries of the helper that fail for this mode, to rehearse a broken sensor driver.
    bool fpsFails = false;
    bool sizeFails = false;
    bool rawFormatTypeFails = false;
};

// A static metadata entry given by tag, for facts the profile has no named key for.
struct MetadataEntrySpec {
    uint32_t tag = 0;
    enum class Type { UInt8, Int32, Int64 } type = Type::Int32;
    std::vector<int64_t> integers;
};

// What the feature-chip service answers for one sensor.
struct FeatureChipSpec {
    // Fixed answer to message 0x1005 instead of the reference evaluator (-1 = no scenario).
    std::optional<int32_t> scenario;
    // Fixed answer to RRZO request 2 instead of the reference evaluator.
    std::optional<MSize> rrzoSize;
    // Widest RRZO the reference evaluator answers (the ISP's line limit); 0 = no limit.
    int32_t rrzoMaxWidth = 0;
};

struct SensorSpec {
    int32_t index = 0;
    std::string name;
    std::optional<uint32_t> deviceMask;  // unset: 1 << index
    // Static characteristics.
    std::optional<MSize> pixelArray;
    std::optional<std::vector<std::vector<int64_t>>> minFrameDurations;  // [format, w, h, ns]
    std::optional<std::vector<std::vector<int64_t>>> aeTargetFpsRanges;  // [low, high]
    std::optional<int32_t> engineerStaticItem;                           // tag 0x9004003D
    std::vector<MetadataEntrySpec> extraStatic;
    // Feature-capability answers.
    bool newSettingPolicy = false;
    bool newRrzoPolicy = false;
    bool privateSelectSensorMode = false;
    std::optional<int32_t> custSensorSettingInfo;
    std::optional<MSize> maxStreamSize;  // replaces the candidate of getMaxStreamSize
    qovix_aaa_ae_vhdr_info videoHdr;
    FeatureChipSpec featureChip;
    // Scenario the HAL falls back to when the policy decides nothing (for the RRZO calls).
    std::optional<int32_t> halFallbackScenario;
    std::map<int32_t, ModeSpec> modes;
};

// One scripted answer of the third-party capability manager.
struct ThirdCapAnswer {
    std::string camera;    // camera name the manager sees; "" matches any
    std::string activity;  // "" matches any
    std::optional<int32_t> sensor;
    int32_t scenario = -1;
};

struct ThirdCapSpec {
    bool supported = false;
    int32_t defaultAnswer = -1;
    std::vector<ThirdCapAnswer> answers;  // first match wins
};

struct DeviceProfile {
    std::string file;
    std::string name;
    std::string description;
    std::string configFile;   // resolved against the profile's directory; "" = no tables
    uint32_t configLine = 0;  // where the profile names it
    uint32_t configColumn = 0;
    bool sensorList = true;
    uint32_t stereoFeatureMode = 0;
    int32_t logicalDeviceId = 0;
    int32_t videoEisAlgoType = 0;
    ThirdCapSpec thirdCap;
    std::vector<SensorSpec> sensors;  // ascending index

    const SensorSpec* findSensor(int32_t index) const;
};

// Reads and checks a profile. On problems `diagnostics` grows and the result is not to be used.
DeviceProfile loadDeviceProfile(const std::string& path, Diagnostics& diagnostics);

// The problems of loading the profile's configuration file, as input problems. A file that cannot
// be read at all is reported at the profile's `config =` line, which named it.
Diagnostics configLoadDiagnostics(const DeviceProfile& profile, const hostconfig::LoadResult& load);

// What a TOML file holds, judged by the keys that only a profile ([[sensor]]) or only a session
// ([app], [[stream]]) has; Unknown for anything else, including files that cannot be read.
enum class InputKind { Device, Session, Unknown };
InputKind inputKindOf(const std::string& path);

// When a session was given where the device profile goes, or a device profile where a session
// goes, one line that says so; nullopt otherwise (including files that cannot be read or parsed,
// which their real reading reports).
std::optional<std::string> misplacedInputHint(const std::string& devicePath,
                                              const std::vector<std::string>& sessionPaths);

// Shared by the profile and the session readers: a list of metadata entries given by tag.
std::vector<MetadataEntrySpec> readMetadataEntries(TomlTable& table, std::string_view key);

}  // namespace custsim
