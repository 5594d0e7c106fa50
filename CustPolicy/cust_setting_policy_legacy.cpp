#include "cust_setting_policy_legacy.h"

#include "cust_log.h"

namespace {

constexpr char kLogSourcePath[] = "CustPolicy/cust_setting_policy_legacy.cpp";
constexpr char kTag[] = "CustSettingPolicyLegacy";

}  // namespace

CustSettingPolicyLegacy::~CustSettingPolicyLegacy() {}

// Placeholder until the table, third-party and normal paths land: it decides nothing, says so at
// error severity so that the gap is visible whatever the detail level, and leaves every argument
// as it found it.
bool CustSettingPolicyLegacy::selectSensorSetting(
    AppConfigPtr /*appConfig*/, StreamInfoPtr /*streamInfo*/, SensorSetting& /*sensorSetting*/,
    int sensorIdx, unsigned int& /*outValue*/, AppUserConfiguration const& /*userConfig*/,
    float /*floatParam0*/, float /*floatParam1*/, unsigned int /*hdrMode*/) {
    CUST_LOGE(kTag,
              "[%s] legacy sensor-setting decision not implemented yet, sensor %d: no scenario",
              sensorIdx);
    return false;
}
