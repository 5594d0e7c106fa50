#pragma once

#include "custpolicy/cust_setting_policy.h"

// The legacy sensor-setting policy, for sensors on which the feature-capability service does not
// enable the new policy: decides from the configuration-store tables and the calling
// application's facts.
class CustSettingPolicyLegacy : public ICustSettingPolicy {
public:
    ~CustSettingPolicyLegacy() override;

    // Chooses the scenario and fills `sensorSetting`; may also set `outValue`. False leaves
    // `sensorSetting` unchanged.
    bool selectSensorSetting(AppConfigPtr appConfig, StreamInfoPtr streamInfo,
                             SensorSetting& sensorSetting, int sensorIdx, unsigned int& outValue,
                             AppUserConfiguration const& userConfig, float floatParam0,
                             float floatParam1, unsigned int hdrMode) override;
};
