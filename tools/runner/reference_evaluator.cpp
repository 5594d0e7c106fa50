#include "runner/reference_evaluator.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace custsim {

namespace {

// Message classes and RRZO request codes of the feature-chip service.
constexpr uint32_t kMsgIdRrzo = 0x1001;
constexpr uint32_t kMsgIdSensorSetting = 0x1005;
constexpr int32_t kRrzoStaticInfo = 0;
constexpr int32_t kRrzoSensorSizes = 1;
constexpr int32_t kRrzoTargetSize = 2;

// Device index of a sensor as the platform's sensor list gives it: position of the lowest bit of
// the device mask for masks 1 .. 2048, 13 otherwise; 0 without a sensor list.
constexpr uint32_t kLargestDeviceMask = 2048;
constexpr int32_t kUnknownDrvId = 13;

int32_t drvIdOf(const DeviceProfile& device, const SensorSpec& sensor) {
    if (!device.sensorList) return 0;
    const uint32_t mask = sensor.deviceMask.value_or(1u << sensor.index);
    if (mask < 1 || mask > kLargestDeviceMask) return kUnknownDrvId;
    int32_t bit = 0;
    while ((mask & (1u << bit)) == 0) ++bit;
    return bit;
}

int64_t areaOf(MSize size) { return static_cast<int64_t>(size.w) * size.h; }

int32_t ratioOf(MSize size) {
    return size.w == 0 ? 0 : static_cast<int32_t>(static_cast<int64_t>(size.h) * 1000 / size.w);
}

int32_t roundDownToEven(int64_t value) { return static_cast<int32_t>(value & ~int64_t{1}); }

// Keeps the elements of `modes` that score best; `score` gives larger-is-better values.
template <typename Score>
std::vector<const ModeSpec*> keepBest(const std::vector<const ModeSpec*>& modes, Score score) {
    std::vector<const ModeSpec*> best;
    int64_t bestScore = 0;
    for (const ModeSpec* mode : modes) {
        const int64_t s = score(*mode);
        if (best.empty() || s > bestScore) {
            best.clear();
            bestScore = s;
        }
        if (s == bestScore) best.push_back(mode);
    }
    return best;
}

}  // namespace

std::string sizeText(MSize size) { return std::to_string(size.w) + "x" + std::to_string(size.h); }

std::vector<std::string> ReferenceEvaluator::takeNotes() { return std::exchange(mNotes, {}); }

const SensorSpec* ReferenceEvaluator::sensorByDrvId(int32_t drvId) const {
    for (const SensorSpec& sensor : mDevice->sensors) {
        if (drvIdOf(*mDevice, sensor) == drvId) return &sensor;
    }
    return nullptr;
}

int32_t ReferenceEvaluator::pickScenario(const SensorSpec& sensor, const CustSelectIn4Setting& in,
                                         std::string& why) {
    std::vector<const ModeSpec*> fast;
    for (const auto& [scenario, mode] : sensor.modes) {
        (void)scenario;
        if (static_cast<int64_t>(mode.fps) >= in.maxFps) fast.push_back(&mode);
    }
    if (fast.empty()) {
        why = "no mode reaches " + std::to_string(in.maxFps) + " fps";
        return -1;
    }
    std::vector<const ModeSpec*> covering;
    for (const ModeSpec* mode : fast) {
        if (mode->size.w >= in.maxStreamSize.w && mode->size.h >= in.maxStreamSize.h) {
            covering.push_back(mode);
        }
    }
    const bool anyCovers = !covering.empty();
    if (!anyCovers) covering = keepBest(fast, [](const ModeSpec& m) { return areaOf(m.size); });
    const auto closest = keepBest(covering, [&in](const ModeSpec& m) {
        return -static_cast<int64_t>(std::abs(static_cast<int64_t>(ratioOf(m.size)) - in.maxRatio));
    });
    const ModeSpec* chosen =
        *std::min_element(closest.begin(), closest.end(), [](const ModeSpec* a, const ModeSpec* b) {
            if (areaOf(a->size) != areaOf(b->size)) {
                return areaOf(a->size) < areaOf(b->size);
            }
            if (a->fps != b->fps) return a->fps < b->fps;
            return a->scenario < b->scenario;
        });
    why = std::to_string(fast.size()) + " of " + std::to_string(sensor.modes.size()) +
          " modes reach " + std::to_string(in.maxFps) + " fps; " +
          (anyCovers
               ? std::to_string(covering.size()) + (covering.size() == 1 ? " covers " : " cover ") +
                     sizeText(in.maxStreamSize)
               : "none covers " + sizeText(in.maxStreamSize) + ", the largest is kept") +
          "; ratio " + std::to_string(ratioOf(chosen->size)) + " is closest to " +
          std::to_string(in.maxRatio) + "; smallest: scenario " + std::to_string(chosen->scenario) +
          " (" + sizeText(chosen->size) + " @ " + std::to_string(chosen->fps) + " fps)";
    return chosen->scenario;
}

void ReferenceEvaluator::evaluate(const CustTransMsgData* request, CustTransMsgData* reply) {
    if (request == nullptr || request->pData == nullptr) return;
    if (request->msgId == kMsgIdSensorSetting) {
        evaluateSetting(request, reply);
    } else if (request->msgId == kMsgIdRrzo) {
        evaluateRrzo(request);
    } else {
        mNotes.push_back("feature chip: message " + std::to_string(request->msgId) +
                         " not answered");
    }
}

void ReferenceEvaluator::evaluateSetting(const CustTransMsgData* request, CustTransMsgData* reply) {
    if (request->dataSize < sizeof(CustSettingEvalRequest) || reply == nullptr ||
        reply->pData == nullptr || reply->dataSize < sizeof(int32_t)) {
        mNotes.push_back("feature chip: malformed 0x1005 request, not answered");
        return;
    }
    CustSettingEvalRequest payload;
    std::memcpy(&payload, request->pData, sizeof(payload));
    const SensorSpec* sensor = sensorByDrvId(payload.drvId);
    int32_t scenario = -1;
    std::string why;
    if (sensor == nullptr) {
        why = "no sensor has device index " + std::to_string(payload.drvId);
    } else if (sensor->featureChip.scenario) {
        scenario = *sensor->featureChip.scenario;
        why = "scripted answer of the profile";
    } else if (payload.pSelectIn == nullptr) {
        why = "request without selection inputs";
    } else {
        scenario = pickScenario(*sensor, *payload.pSelectIn, why);
    }
    std::memcpy(reply->pData, &scenario, sizeof(scenario));
    mNotes.push_back("feature chip 0x1005 for drvId " + std::to_string(payload.drvId) +
                     " answered " + std::to_string(scenario) + ": " + why);
}

void ReferenceEvaluator::evaluateRrzo(const CustTransMsgData* request) {
    if (request->dataSize < sizeof(CustEvalRequest)) return;
    CustEvalRequest payload;
    std::memcpy(static_cast<void*>(&payload), request->pData, sizeof(payload));
    if (payload.pParam == nullptr) return;
    RrzoFacts& facts = mRrzo[payload.sensorIdx];
    if (payload.evalType == kRrzoStaticInfo) {
        CustRrzoStaticInfo info;
        std::memcpy(static_cast<void*>(&info), payload.pParam, sizeof(info));
        facts.haveStatic = true;
        facts.targetSize = info.targetSize;
    } else if (payload.evalType == kRrzoSensorSizes) {
        const auto* sizes = static_cast<const CustRrzoSensorSizes*>(payload.pParam);
        auto it = sizes->sizeMap.find(payload.sensorIdx);
        if (it != sizes->sizeMap.end()) {
            facts.haveSensorSize = true;
            facts.sensorSize = MSize(it->second.width, it->second.height);
        }
    } else if (payload.evalType == kRrzoTargetSize) {
        std::string why;
        const MSize answer = answerRrzoTarget(payload.sensorIdx, why);
        std::memcpy(payload.pParam, &answer, sizeof(answer));
        mNotes.push_back("feature chip RRZO request 2 for sensor " +
                         std::to_string(payload.sensorIdx) + " answered " + sizeText(answer) +
                         ": " + why);
    }
}

MSize ReferenceEvaluator::answerRrzoTarget(int32_t sensorIdx, std::string& why) const {
    const SensorSpec* sensor = mDevice->findSensor(sensorIdx);
    if (sensor != nullptr && sensor->featureChip.rrzoSize) {
        why = "scripted answer of the profile";
        return *sensor->featureChip.rrzoSize;
    }
    auto it = mRrzo.find(sensorIdx);
    if (it == mRrzo.end() || !it->second.haveSensorSize || it->second.sensorSize.w <= 0 ||
        it->second.sensorSize.h <= 0) {
        why = "the sensor output size was not sent (no request 1), the policy keeps its size";
        return MSize();
    }
    const RrzoFacts& facts = it->second;
    int64_t width = facts.sensorSize.w;
    why = "sensor output " + sizeText(facts.sensorSize);
    if (facts.haveStatic && facts.targetSize.w > 0 && facts.targetSize.w < width) {
        width = facts.targetSize.w;
        why += " narrowed to target width " + std::to_string(width);
    }
    const int32_t maxWidth = sensor != nullptr ? sensor->featureChip.rrzoMaxWidth : 0;
    if (maxWidth > 0 && maxWidth < width) {
        width = maxWidth;
        why += " narrowed to the RRZO limit " + std::to_string(width);
    }
    const int64_t height = width * facts.sensorSize.h / facts.sensorSize.w;
    why += ", sensor aspect ratio kept";
    return MSize(roundDownToEven(width), roundDownToEven(height));
}

}  // namespace custsim
