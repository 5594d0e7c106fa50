#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "platform/CustFeatureServices.h"
#include "platform/CustFeatureTypes.h"
#include "platform/IMetadata.h"
#include "platform/MSize.h"

// The host stand-in for the camera platform: every service the policy library calls, answering
// from a state that tests and tools set, and recording what each service was asked. It holds no
// policy logic.
namespace hostplatform {

// What the sensor-info helper answers for one scenario of a sensor.
struct SensorMode {
    uint32_t fps = 30;
    MSize size{4000, 3000};
    uint32_t rawFmtType = 0;
    bool fpsFails = false;
    bool sizeFails = false;
    bool rawFmtTypeFails = false;
};

// Everything the platform answers about one sensor index.
struct SensorFacts {
    // Feature-capability answers.
    bool newSettingPolicy = false;
    bool newRrzoPolicy = false;
    bool privateSelectSensorMode = false;
    // Answer of getCustSensorSettingInfo; unset leaves the caller's value.
    std::optional<int32_t> custSensorSettingInfo;
    qovix_aaa_ae_vhdr_info defaultVhdrInfo;
    // Device mask in the sensor list; unset means 1 << sensorIdx.
    std::optional<uint32_t> deviceMask;
    // False: the sensor has no metadata provider at all (a broken setup).
    bool hasMetadataProvider = true;
    // Static characteristics of the sensor's metadata provider.
    NSCam::IMetadata staticMetadata;
    // Sensor modes by scenario id; a scenario without an entry fails every query.
    std::map<int32_t, SensorMode> modes;
};

// Facts about the calling application and the session (the customer-data service).
struct CustomerFacts {
    bool systemCam = true;
    bool thirdPartyCam = false;
    bool sdkCam = false;
    bool engineerCam = false;
    bool engineerMode = false;
    bool runGsi = false;
    bool camFromMainMenu = true;
    std::string curCamName;
    std::string activityName;
    std::string callerName;
    std::string packageName;
    std::string cameraModeName;
    int32_t capMode = 0;
    bool is4kVideo = false;
    bool dolbyVision = false;
};

// One feature-chip call: both 48-byte messages as sent, and copies of the records they point to.
struct FeatureChipCall {
    CustTransMsgData request;
    CustTransMsgData reply;
    std::vector<uint8_t> requestPayload;  // dataSize bytes behind request.pData
    std::vector<uint8_t> replyPayload;    // dataSize bytes behind reply.pData, after the answer
    // Decoded copies of the parameter records, by message class.
    std::optional<CustSettingEvalRequest> settingRequest;
    std::optional<CustSelectIn4Setting> selectIn;
    // The 104 bytes of the selection record as the service saw them, padding included.
    std::vector<uint8_t> selectInBytes;
    std::optional<CustEvalRequest> rrzoRequest;
    std::optional<CustRrzoStaticInfo> rrzoStaticInfo;
    std::optional<CustRrzoSensorSizes> rrzoSensorSizes;
};

// The service itself: it may write its answer through reply->pData (and, for RRZO request 2,
// through the request record's pParam). The default answers nothing.
using FeatureChipHandler =
    std::function<void(const CustTransMsgData* request, CustTransMsgData* reply)>;

struct MaxStreamSizeCall {
    int32_t sensorIdx;
    int32_t maxYuvWidth, maxYuvHeight;
    int32_t width, height;  // as received
    float floatParam0, floatParam1;
    int32_t maxFps;
    int32_t pixelArrayWidth, pixelArrayHeight;
    bool configExtraPresent;
};
// May change the candidate size; the default leaves it.
using MaxStreamSizeHandler =
    std::function<void(const MaxStreamSizeCall& call, int32_t& width, int32_t& height)>;

enum class SensorInfoQuery { Fps, Size, RawFmtType };
struct SensorInfoCall {
    SensorInfoQuery query;
    int32_t sensorIdx;
    int32_t scenarioId;
};

// What getCustSensorSettingInfo was asked, with the value it received in `info`.
struct CustSensorSettingInfoCall {
    int32_t sensorIdx;
    uint32_t operationMode;
    int32_t maxStreamWidth, maxStreamHeight;
    int32_t info;
};

struct SeamlessCall {
    uint32_t sensorIdx;
    uint32_t scenario;
};

// One log record, Android or unified.
struct LogRecord {
    int32_t priorityOrLevel;  // Android priority, or unified-logger level
    std::string tag;
    std::string text;
    uint32_t moduleId = 0;  // unified logger only
    int32_t length = 0;     // unified logger only: the length formatting reported
};

struct ThirdCapFacts {
    bool supported = false;
    int32_t answer = -1;
};

// A copy of what the third-party capability manager received.
struct ThirdCapCall {
    int32_t sensorIdx;
    std::string camName;
    std::string activityName;
    int32_t capMode, maxStreamWidth, maxStreamHeight, maxYuvWidth, maxYuvHeight, reserved;
    int32_t isVideo, apiValue, temperature;
    std::vector<uint8_t> bytes;  // the record as received, padding included
};

struct Recorded {
    std::vector<FeatureChipCall> featureChip;
    std::vector<SeamlessCall> seamless;
    std::vector<SensorInfoCall> sensorInfo;
    std::vector<MaxStreamSizeCall> maxStreamSize;
    std::vector<CustSensorSettingInfoCall> custSensorSettingInfo;
    std::vector<ThirdCapCall> thirdCap;
    std::vector<int32_t> staticMetadataQueries;  // device ids asked for their provider
    // The arguments of each video-EIS query, as "(a0, a1, a2, a3, a4, a5, a6)".
    std::vector<std::string> videoEisQueries;
    std::vector<LogRecord> androidLog;
    std::vector<LogRecord> unifiedLog;
};

struct State {
    std::map<int32_t, SensorFacts> sensors;  // created on first use with defaults
    bool hasSensorList = true;
    CustomerFacts customer;
    ThirdCapFacts thirdCap;
    uint32_t stereoFeatureMode = 0;
    int32_t videoEisAlgoType = 0;
    FeatureChipHandler featureChip;
    MaxStreamSizeHandler maxStreamSize;
    // False: the customer-data service has neither its metadata nor its common object (a broken
    // setup).
    bool customerObjects = true;
    // Echo every Android log record to stderr as well (for tools).
    bool echoAndroidLog = false;
    Recorded recorded;
};

// The one platform state of the process.
State& state();
// The facts of one sensor index, created with defaults on first use.
SensorFacts& sensor(int32_t sensorIdx);
// Restores every answer to its default, clears the records and the logger settings (detail
// level 5, full debug mask, both destinations), and installs the log capture.
void reset();

// Convenience for tests and tools: the unified-logger texts, in order.
std::vector<std::string> unifiedTexts();

}  // namespace hostplatform
