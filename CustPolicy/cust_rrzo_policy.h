#pragma once

#include <memory>

#include "cust_rrzo_policy_base.h"

// The feature-driven RRZO policy: the feature-chip service decides the target size, and this
// policy feeds it the facts it needs. It keeps no state of its own.
class CustRrzoPolicy : public ICustRrzoPolicy {
public:
    ~CustRrzoPolicy() override;

    // Asks the service for the target size (request 2) and adopts a positive answer; `inSize` is
    // not used.
    void selectTargetSize(int sensorIdx, NSCam::MSize const& inSize,
                          NSCam::MSize& outSize) override;

    // Records the height-to-width ratio of the application's preview-like or recording stream in
    // the stream record, then sends the static facts (request 0) and the sensor sizes
    // (request 1). `targetSize` is only read. Logs every stream it looks at (info) and the
    // session's stabilisation mode (debug).
    void calculateTargetSize(int sensorIdx, NSCam::MSize& targetSize, int intParam,
                             std::shared_ptr<CustSensorSettingMap> sensorSettings, bool flagA,
                             bool flagB, unsigned int uintParam,
                             ConfigurationOutputParams* outParams,
                             ConfigurationInputParams const* inParams) override;
};
