#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "custpolicy/cust_rrzo_policy.h"
#include "custpolicy/cust_setting_policy.h"
#include "inputs/device_profile.h"
#include "platform/CustFeatureTypes.h"

// The simulator's feature-chip service. Unless the profile scripts a fixed answer, it answers
// with the documented reference rules:
//
// Message 0x1005 (sensor setting), for the sensor whose device index is the request's drvId:
//   1. keep the modes whose frame rate reaches maxFps; none: answer -1;
//   2. of those keep the ones that cover maxStreamSize (width and height at least as large); when
//      none covers, keep the largest ones by area instead;
//   3. of those keep the ones whose aspect ratio (height * 1000 / width) is closest to maxRatio;
//   4. answer the smallest of those by area, then by frame rate, then by scenario id.
//
// Message 0x1001 (RRZO): requests 0 and 1 are remembered per sensor. Request 2 is answered with the
// sensor output size that the last request 1 named for the sensor, narrowed to the target width of
// the last request 0 (when positive and narrower) and to the profile's rrzo_max_width, keeping the
// sensor's aspect ratio, both sides rounded down to even. A sensor the service was not told about
// is answered 0 x 0, which leaves the policy's own size.
namespace custsim {

class ReferenceEvaluator {
public:
    explicit ReferenceEvaluator(const DeviceProfile& device) : mDevice(&device) {}

    // The service call, with the platform's signature.
    void evaluate(const CustTransMsgData* request, CustTransMsgData* reply);

    // Forgets what requests 0 and 1 told, as a new configuration does.
    void resetRrzoState() { mRrzo.clear(); }

    // Explanations of the answers given since the last take, one per answer.
    std::vector<std::string> takeNotes();

    // The reference rule of message 0x1005 on its own; `why` receives the explanation.
    static int32_t pickScenario(const SensorSpec& sensor, const CustSelectIn4Setting& in,
                                std::string& why);

private:
    struct RrzoFacts {
        bool haveStatic = false;
        MSize targetSize;
        bool haveSensorSize = false;
        MSize sensorSize;
    };

    const SensorSpec* sensorByDrvId(int32_t drvId) const;
    void evaluateSetting(const CustTransMsgData* request, CustTransMsgData* reply);
    void evaluateRrzo(const CustTransMsgData* request);
    MSize answerRrzoTarget(int32_t sensorIdx, std::string& why) const;

    const DeviceProfile* mDevice;
    std::map<int32_t, RrzoFacts> mRrzo;
    std::vector<std::string> mNotes;
};

// A size as "WxH".
std::string sizeText(MSize size);

}  // namespace custsim
