#include "cust_rrzo_adaptor.h"

#include "cust_rrzo_policy.h"
#include "cust_rrzo_policy_legacy.h"
#include "platform/CustFeatureServices.h"

using NSCam::MSize;

namespace {

// The policy starts with every member zero (value-initialised) and shares one allocation with
// its reference counts.
std::shared_ptr<ICustRrzoPolicy> makePolicy(int sensorIdx) {
    if (ICustFeatureCapability::isCustRrzoSupport(sensorIdx)) {
        return std::make_shared<CustRrzoPolicy>();
    }
    return std::make_shared<CustRrzoPolicyLegacy>();
}

}  // namespace

// The choice is made once, here, and never revisited.
CustRrzoAlgoAdaptor::CustRrzoAlgoAdaptor(int sensorIdx) { mPolicy = makePolicy(sensorIdx); }

CustRrzoAlgoAdaptor::~CustRrzoAlgoAdaptor() = default;

void CustRrzoAlgoAdaptor::selectTargetSize(int sensorIdx, MSize const& inSize, MSize& outSize) {
    mPolicy->selectTargetSize(sensorIdx, inSize, outSize);
}

void CustRrzoAlgoAdaptor::calculateTargetSize(int sensorIdx, MSize& targetSize, int intParam,
                                              std::shared_ptr<CustSensorSettingMap> sensorSettings,
                                              bool flagA, bool flagB, unsigned int uintParam,
                                              ConfigurationOutputParams* outParams,
                                              ConfigurationInputParams const* inParams) {
    // The policy gets its own reference to the settings for the length of the call.
    mPolicy->calculateTargetSize(sensorIdx, targetSize, intParam, sensorSettings, flagA, flagB,
                                 uintParam, outParams, inParams);
}
