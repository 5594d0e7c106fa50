#pragma once

#include <memory>

#include "cust_rrzo_policy_base.h"

// The RRZO size policy of sensors on which the feature-capability service does not enable the
// feature-driven policy. It does no configuration-time work; its final size comes from the
// per-application tables "CameraCustomSensorSize" and "CameraCustomRrzoSize" of the configuration
// store around the feature-chip service's own answer. Both tables are read afresh on every call;
// the policy keeps nothing between calls. Messages go out under the tag "CustRrzoPolicyLegacy".
class CustRrzoPolicyLegacy : public ICustRrzoPolicy {
public:
    ~CustRrzoPolicyLegacy() override;

    // `inSize` is the sensor's output size; `outSize` holds the requested size on entry and the
    // final RRZO size on return. The requested size is widened to the aspect ratio of the
    // (possibly customised) sensor size, then the service may replace it (request 2), then the
    // device's fixed stabilisation size may, and a matching RRZO row has the last word.
    void selectTargetSize(int sensorIdx, NSCam::MSize const& inSize,
                          NSCam::MSize& outSize) override;
    // Does nothing and touches no argument: the legacy policy never sends the static facts or the
    // sensor sizes (requests 0 and 1).
    void calculateTargetSize(int sensorIdx, NSCam::MSize& targetSize, int intParam,
                             std::shared_ptr<CustSensorSettingMap> sensorSettings, bool flagA,
                             bool flagB, unsigned int uintParam,
                             ConfigurationOutputParams* outParams,
                             ConfigurationInputParams const* inParams) override;

    // `inSize`, with either side replaced by a matching "CameraCustomSensorSize" row when that
    // side of the row is nonzero. Logs the caller facts and the match columns of every row read
    // (info), unreadable rows (debug) and the customised size (info).
    NSCam::MSize getSensorSizeLegacy(NSCam::MSize const& inSize, int camId);
    // Replaces `size` with a matching "CameraCustomRrzoSize" row, 0 included; without a match
    // `size` is left as it is. Logs the caller facts (info), unreadable rows (debug) and the
    // customised size (info).
    void getRrzoSizeLegacy(NSCam::MSize& size, int camId);
};
