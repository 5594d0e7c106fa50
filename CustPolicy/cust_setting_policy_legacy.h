#pragma once

#include "custpolicy/cust_setting_policy.h"
#include "platform/IMetadata.h"

// The sensor-setting policy of sensors on which the feature-capability service does not enable the
// new policy. It decides inside the library, from the configuration store's scenario tables, the
// third-party capability manager, the calling application's facts and the session metadata.
class CustSettingPolicyLegacy : public ICustSettingPolicy {
public:
    ~CustSettingPolicyLegacy() override;

    // Tries the table path, the third-party path and (for private-selection sensors) the new
    // policy's normal matching, in the order the sensor calls for; the first scenario wins.
    // `seamlessFlags` may be set by a system-camera table match.
    bool selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                             SensorSetting& sensorSetting, int sensorIdx,
                             unsigned int& seamlessFlags, AppUserConfiguration const& userConfig,
                             float floatParam0, float floatParam1, unsigned int hdrMode) override;

    // The table path: the system-camera table (skipped for third-party non-SDK callers), then the
    // common table with the system answer as its fallback. True when a valid scenario was written.
    bool selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                             SensorSetting& sensorSetting, int sensorIdx,
                             unsigned int& seamlessFlags);

    // True exactly for the scenario numbers 0..255.
    bool isValidScenarioId(int scenarioId);

    // True when the caller is one of the two outside packages treated as third-party callers of
    // the device's own camera.
    bool isThirdPartyCallQovixCamera();

    // The third-party path: the capability manager's answer, or the chain of the three third-party
    // tables. Only -1 refuses; any other answer is written.
    bool selectSensorSetting4ThirdCase(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                                       SensorSetting& sensorSetting, int sensorIdx);

    // Engineering override: the scenario an engineering tool asks for in the session parameters.
    bool selectSensorSetting4MipiTraversal(AppConfigPtr appConfig, SensorSetting& sensorSetting,
                                           int sensorIdx);

    // "SystemCamSensorSettingMap": column 7 of the first matching row, otherwise -1. A match also
    // records the row's seamless scenario and may set `seamlessFlags`.
    int getSystemCamScenarioId(unsigned int captureMode, int sensorIdx,
                               NSCam::IMetadata sessionParams, StreamInfoPtr streamInfo,
                               unsigned int& seamlessFlags);
    // "CommonSensorSettingMap": column 2 of the first matching row, otherwise `fallback`.
    int getCommonScenarioId(int operationMode, int sensorIdx, int fallback);

    // The device temperature from the session parameters, -1 when unknown.
    int getCurrentTemperature(const NSCam::IMetadata* sessionParams);
    // "ThirdCamSensorSettingMap" by application name, then "AllCamApp"; -1 when nothing decides.
    int getThirdCamScenarioId(int sensorIdx, unsigned int operationMode, StreamInfoPtr streamInfo);
    // "ThirdCamSensorSettingMapByActivity" for the current activity, otherwise `fallback`.
    int getThirdCamScenarioIdByActivity(int sensorIdx, unsigned int operationMode,
                                        StreamInfoPtr streamInfo, int fallback, int api);
    // "ThirdCamSensorSettingMapByThermal" for the current activity, otherwise `fallback`.
    int getThirdCamScenarioIdByThermal(int sensorIdx, NSCam::IMetadata* sessionParams,
                                       int fallback);
};
