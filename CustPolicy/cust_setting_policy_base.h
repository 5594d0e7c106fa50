#pragma once

#include "custpolicy/cust_setting_policy.h"

// The new sensor-setting policy: gathers the selection inputs of the configuration and lets the
// device's feature-chip service name the sensor scenario (message 0x1005).
class CustSettingPolicy : public ICustSettingPolicy {
public:
    ~CustSettingPolicy() override;

    // Asks the feature-chip service for the scenario and, when it names one, fills
    // `sensorSetting` from the sensor-info helper. `outValue` is never touched. Logs a debug line
    // on entry.
    bool selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                             SensorSetting& sensorSetting, int sensorIdx, unsigned int& outValue,
                             AppUserConfiguration const& userConfig, float floatParam0,
                             float floatParam1, unsigned int hdrMode) override;
};
