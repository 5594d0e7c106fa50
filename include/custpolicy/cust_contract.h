#pragma once

#include <cstdint>

#include "custpolicy/cust_runtime.h"

// The numbers that the camera HAL, the platform's services and the library share. The library
// uses these constants itself, so what is written here is what goes over the wire and what is
// read from metadata. docs/integration.md explains each group.

namespace custpolicy {

// ---- Feature-chip service: ICustFeatureChip::triggerEvaluateRequestExt(request, reply) ----------
// The service answers through the reply (or, for request 2, through the request's pParam); the
// library ignores the function's return value.

// CustTransMsgData::msgId of the two message classes.
constexpr uint32_t kMsgIdRrzo = 0x1001;           // request carries a CustEvalRequest
constexpr uint32_t kMsgIdSensorSetting = 0x1005;  // request carries a CustSettingEvalRequest

// CustSettingEvalRequest::evalType of the sensor-setting evaluation. The reply's pData addresses
// one int32_t scenario id, preset to 0; the service writes the scenario, or kNoScenario.
constexpr int32_t kEvalTypeSensorSetting = 1;
// A scenario id meaning "no scenario"; 0..kMaxScenario are valid sensor scenarios.
constexpr int32_t kNoScenario = -1;
constexpr int32_t kMaxScenario = 255;

// CustEvalRequest::evalType of the RRZO requests (message class kMsgIdRrzo).
constexpr int32_t kRrzoEvalStaticInfo = 0;   // pParam: CustRrzoStaticInfo, nothing read back
constexpr int32_t kRrzoEvalSensorSizes = 1;  // pParam: CustRrzoSensorSizes, nothing read back
constexpr int32_t kRrzoEvalTargetSize = 2;   // pParam: an MSize preset to 0 x 0, the answer

// ---- Seamless flags: the `outValue` of selectSensorSetting
// --------------------------------------- Written only by the legacy policy, when a
// "SystemCamSensorSettingMap" row names seamless scenario 5 or 4 in its last column; every other
// call leaves `outValue` as the HAL set it.
constexpr unsigned int kSeamlessFlagsScenario5 = 0x801;
constexpr unsigned int kSeamlessFlagsScenario4 = 0x101;

// ---- Metadata tags read ------------------------------------------------------------------------
// From the session parameters (PolicyParsedAppConfiguration::sessionParams):
constexpr uint32_t kTagAeTargetFpsRange = 0x10005;          // int32 low, high
constexpr uint32_t kTagVideoStabilizationMode = 0x10011;    // uint8, 0 = off
constexpr uint32_t kTagAovMode = 0x80150001;                // int32
constexpr uint32_t kTagEngineerSensorModeSel = 0x90040069;  // uint8 scenario (engineering)
constexpr uint32_t kTagTemperature = 0x90040108;            // vendor block, int32 at byte 40
constexpr uint32_t kTagApiValue = 0x90040118;               // int32
// From the static characteristics (IMetadataProvider::getMtkStaticCharacteristics):
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;        // int32 pairs low, high
constexpr uint32_t kTagScalerAvailableMinFrameDurations = 0xD000B;  // int64 groups of four
constexpr uint32_t kTagSensorInfoPixelArraySize = 0xF0006;          // MSize
constexpr uint32_t kTagMipiTraversalMode = 0x9004003D;              // first item as int32

// ---- Logging through NSCam::Utils::ULog::ULogger -----------------------------------------------
// Debug messages need every one of these bits in ULogger::sNormalDetailsMask (and detail level 5).
constexpr uint32_t kNormalDetailsMask = 0x101000;
// ULogger::sMode routing: this bit sends messages to the Android log ...
constexpr uint32_t kLogModeAndroid = 0x1;
// ... and either of these bits to the unified logger object ULogger::sULogger.
constexpr uint32_t kLogModeUnified = 0xA;
// Module id under which the library reports to ULogger::print.
constexpr uint32_t kULogModuleId = 0x101005;

}  // namespace custpolicy
