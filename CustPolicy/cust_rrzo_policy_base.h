#pragma once

#include <cstdint>
#include <memory>

#include "custpolicy/cust_contract.h"
#include "custpolicy/cust_rrzo_policy.h"
#include "platform/CustFeatureTypes.h"
#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

// The RRZO policies live behind CustRrzoAlgoAdaptor and are not exported: the HAL reaches them only
// through the adaptor.

// The RRZO size policy interface, and the conversation with the feature-chip service in the RRZO
// message class. Requests 0 and 1 share the persistent messages below: request 1 reuses the head
// and reply that request 0 left, so the order of the two calls matters.
class ICustRrzoPolicy {
public:
    using ConfigurationInputParams =
        mcam::core::device::policy::featuresetting::ConfigurationInputParams;
    using ConfigurationOutputParams =
        mcam::core::device::policy::featuresetting::ConfigurationOutputParams;

    virtual ~ICustRrzoPolicy();

    // Final RRZO size: `outSize` holds the requested size on entry and the RRZO size on return.
    virtual void selectTargetSize(int sensorIdx, NSCam::MSize const& inSize,
                                  NSCam::MSize& outSize) = 0;
    // Configuration-time calculation for the sensor's chosen settings and the requested streams.
    virtual void calculateTargetSize(int sensorIdx, NSCam::MSize& targetSize, int intParam,
                                     std::shared_ptr<CustSensorSettingMap> sensorSettings,
                                     bool flagA, bool flagB, unsigned int uintParam,
                                     ConfigurationOutputParams* outParams,
                                     ConfigurationInputParams const* inParams) = 0;

    // Request 0: tells the service the static RRZO facts of the configuration (with the stereo,
    // 4K-video and system-camera facts it queries itself). `ratioC` replaces `ratioA` when it is
    // greater than 1. Rewrites the head and reply of the persistent messages; reads no answer.
    void updateStaticRrzoInfo(int sensorIdx, NSCam::MSize& targetSize, int intParam, float ratioA,
                              float ratioB, float ratioC, bool flagA, bool flagB,
                              unsigned int uintParam, bool eisOn);
    // Request 1: tells the service the sensor output size of every sensor setting, in ascending
    // key order. Reuses the head and reply that request 0 left; a null map counts as empty.
    void selectRrzoSize(int sensorIdx, std::shared_ptr<CustSensorSettingMap> sensorSettings);
    // Request 2: asks the service for the target size and adopts it only when both sides are
    // positive; otherwise `targetSize` stands. Uses no member state. Logs the final size (debug).
    void applyTargetSize(int sensorIdx, NSCam::MSize& targetSize);

protected:
    CustEvalRequest mRequest;
    CustEvalRequest mReply;
    CustTransMsgData mRequestMsg;
    CustTransMsgData mReplyMsg;
    uint8_t mReplyData[8] = {};
};
