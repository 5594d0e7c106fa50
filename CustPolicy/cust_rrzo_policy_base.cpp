#include "cust_rrzo_policy_base.h"

#include <map>

#include "cust_log.h"
#include "platform/CustFeatureServices.h"
#include "platform/SensorServices.h"

using NSCam::MSize;

namespace {

constexpr char kLogSourcePath[] = "CustPolicy/cust_rrzo_policy_base.cpp";
constexpr char kTag[] = "CustRrzoPolicyBase";

// Bit of the stereo feature mode that the service is told about in request 0.
constexpr uint32_t kStereoFeatureBit6 = 0x40;
// A ratio-C above this takes the place of ratio-A in request 0.
constexpr float kRatioCThreshold = 1.0f;
// The smallest side of a target size that the service's answer to request 2 may have.
constexpr int32_t kMinAnswerSide = 1;
// Every RRZO message carries one CustEvalRequest.
constexpr uint32_t kEvalRequestSize = sizeof(CustEvalRequest);

// The constant 16-byte head of an RRZO request: three zero words, then the message class.
void writeRequestHead(CustTransMsgData& message) {
    message.msgWord0 = 0;
    message.msgWord1 = 0;
    message.msgWord2 = 0;
    message.msgId = custpolicy::kMsgIdRrzo;
}

void attachRecord(CustTransMsgData& message, CustEvalRequest* record) {
    message.pData = record;
    message.dataSize = kEvalRequestSize;
}

bool stereoBit6IsSet() {
    const auto logicalDeviceId = static_cast<uint32_t>(StereoSettingProvider::__logicalDeviceID);
    return (StereoSettingProvider::getStereoFeatureMode(logicalDeviceId) & kStereoFeatureBit6) != 0;
}

bool is4kVideoMode() {
    CustomerData* customer = CustomerData::getInstance();
    if (customer == nullptr || customer->getCustomCommon() == nullptr) return false;
    return customer->getCustomCommon()->is4kVideoMode();
}

bool isSystemCam() {
    CustomerData* customer = CustomerData::getInstance();
    if (customer == nullptr || customer->getCustomMetadata() == nullptr) return false;
    return customer->getCustomMetadata()->isSystemCam();
}

// The service expects the sensor sizes in ascending key order, so the hash map is copied into an
// ordered one. Width and height go in as two separate look-ups of the same key.
std::map<int32_t, CustFeaturePrvSize> orderedSensorSizes(const CustSensorSettingMap* settings) {
    std::map<int32_t, CustFeaturePrvSize> sizes;
    if (settings == nullptr) return sizes;
    for (const auto& [key, setting] : *settings) {
        const auto signedKey = static_cast<int32_t>(key);
        sizes[signedKey].width = setting.sensorSize.w;
        sizes[signedKey].height = setting.sensorSize.h;
    }
    return sizes;
}

}  // namespace

ICustRrzoPolicy::~ICustRrzoPolicy() = default;

void ICustRrzoPolicy::updateStaticRrzoInfo(int sensorIdx, MSize& targetSize, int intParam,
                                           float ratioA, float ratioB, float ratioC, bool flagA,
                                           bool flagB, unsigned int uintParam, bool eisOn) {
    // The services are queried in a fixed order: stereo mode, then 4K video, then system camera.
    CustRrzoStaticInfo info{};
    info.intParam = intParam;
    info.flagB = flagB;
    info.stereoBit6 = stereoBit6IsSet();
    info.is4kVideo = is4kVideoMode();
    info.isSysCam = isSystemCam();
    info.targetSize = targetSize;
    // A NaN ratio-C is not greater than the threshold, so ratio-A goes out then.
    info.ratioA = ratioC > kRatioCThreshold ? ratioC : ratioA;
    info.ratioB = ratioB;
    info.flagA = flagA;
    info.uintParam = uintParam;
    info.eisOn = eisOn;

    // The tail word of mRequest is never written: it stays zero from construction.
    mRequest.evalType = custpolicy::kRrzoEvalStaticInfo;
    mRequest.sensorIdx = sensorIdx;
    mRequest.pParam = &info;
    mReply.pParam = mReplyData;

    // Request 1 reuses this head and this reply, so only request 0 writes them.
    writeRequestHead(mRequestMsg);
    attachRecord(mRequestMsg, &mRequest);
    attachRecord(mReplyMsg, &mReply);

    // The answer to request 0 lands in mReplyData and is never read.
    ICustFeatureChip::triggerEvaluateRequestExt(&mRequestMsg, &mReplyMsg);
}

void ICustRrzoPolicy::selectRrzoSize(int sensorIdx,
                                     std::shared_ptr<CustSensorSettingMap> sensorSettings) {
    const std::map<int32_t, CustFeaturePrvSize> sizes = orderedSensorSizes(sensorSettings.get());
    CustRrzoSensorSizes record;
    record.sensorIdx = sensorIdx;
    record.sizeMap = sizes;

    mRequest.evalType = custpolicy::kRrzoEvalSensorSizes;
    mRequest.sensorIdx = sensorIdx;
    mRequest.pParam = &record;
    // The head of mRequestMsg and the whole of mReplyMsg are left as request 0 wrote them: a
    // policy that never sent request 0 sends this one with an all-zero head (message class 0).
    attachRecord(mRequestMsg, &mRequest);

    ICustFeatureChip::triggerEvaluateRequestExt(&mRequestMsg, &mReplyMsg);
}

void ICustRrzoPolicy::applyTargetSize(int sensorIdx, MSize& targetSize) {
    // Request 2 lives on the stack: the service writes its answer straight into `answer`, and the
    // reply message carries no record.
    MSize answer(0, 0);
    CustEvalRequest request;
    request.evalType = custpolicy::kRrzoEvalTargetSize;
    request.sensorIdx = sensorIdx;
    request.pParam = &answer;

    CustTransMsgData requestMessage{};
    writeRequestHead(requestMessage);
    attachRecord(requestMessage, &request);
    CustTransMsgData replyMessage{};

    ICustFeatureChip::triggerEvaluateRequestExt(&requestMessage, &replyMessage);

    // An answer with a side of 0 or less means the service has no size: the caller's size stands.
    if (answer.w >= kMinAnswerSide && answer.h >= kMinAnswerSide) targetSize = answer;
    CUST_LOGD(kTag, "[%s] rrzo target size %d %d", targetSize.w, targetSize.h);
}
