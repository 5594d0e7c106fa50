#pragma once

#include <memory>

#include "cust_rrzo_policy_base.h"

// The RRZO size policy of sensors on which the feature-capability service does not enable the
// feature-driven policy. It does no configuration-time work; its final size comes from the
// per-application tables "CameraCustomSensorSize" and "CameraCustomRrzoSize" of the configuration
// store around the feature-chip service's own answer.
class CustRrzoPolicyLegacy : public ICustRrzoPolicy {
public:
    ~CustRrzoPolicyLegacy() override;

    // `inSize` is the sensor's output size; `outSize` holds the requested size on entry and the
    // final RRZO size on return.
    void selectTargetSize(int sensorIdx, MSize const& inSize, MSize& outSize) override;
    // Does nothing: the legacy policy never sends the static facts or the sensor sizes.
    void calculateTargetSize(int sensorIdx, MSize& targetSize, int intParam,
                             std::shared_ptr<CustSensorSettingMap> sensorSettings, bool flagA,
                             bool flagB, unsigned int uintParam,
                             ConfigurationOutputParams* outParams,
                             ConfigurationInputParams const* inParams) override;

    // `inSize`, with either side replaced by a matching "CameraCustomSensorSize" row when nonzero.
    MSize getSensorSizeLegacy(MSize const& inSize, int camId);
    // Replaces `size` with a matching "CameraCustomRrzoSize" row, 0 included.
    void getRrzoSizeLegacy(MSize& size, int camId);
};
