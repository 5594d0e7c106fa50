#include "cust_rrzo_policy_legacy.h"

CustRrzoPolicyLegacy::~CustRrzoPolicyLegacy() = default;

// PLACEHOLDER until the legacy table look-ups land: the caller's size stands.
void CustRrzoPolicyLegacy::selectTargetSize(int /*sensorIdx*/, MSize const& /*inSize*/,
                                            MSize& /*outSize*/) {}

void CustRrzoPolicyLegacy::calculateTargetSize(
    int /*sensorIdx*/, MSize& /*targetSize*/, int /*intParam*/,
    std::shared_ptr<CustSensorSettingMap> /*sensorSettings*/, bool /*flagA*/, bool /*flagB*/,
    unsigned int /*uintParam*/, ConfigurationOutputParams* /*outParams*/,
    ConfigurationInputParams const* /*inParams*/) {}
