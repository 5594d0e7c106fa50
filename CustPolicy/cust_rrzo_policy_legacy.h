#pragma once

#include <memory>

#include "cust_rrzo_policy_base.h"

// The RRZO policy of sensors on which the feature-driven policy is not enabled. It does no
// configuration-time work; the final size comes from table look-ups around request 2.
class CustRrzoPolicyLegacy : public ICustRrzoPolicy {
public:
    ~CustRrzoPolicyLegacy() override;

    // PLACEHOLDER: the table look-ups are not written yet; `outSize` is left as the caller gave it.
    void selectTargetSize(int sensorIdx, MSize const& inSize, MSize& outSize) override;

    // Does nothing: the legacy policy never sends requests 0 and 1.
    void calculateTargetSize(int sensorIdx, MSize& targetSize, int intParam,
                             std::shared_ptr<CustSensorSettingMap> sensorSettings, bool flagA,
                             bool flagB, unsigned int uintParam,
                             ConfigurationOutputParams* outParams,
                             ConfigurationInputParams const* inParams) override;
};
