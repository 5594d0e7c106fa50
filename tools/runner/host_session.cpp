#include "runner/host_session.h"

#include <utility>

#include "platform/SensorServices.h"
#include "runner/device_metadata.h"

namespace custsim {

namespace {

// The session whose tables the store holds; null when none does (the store then holds whatever
// was loaded without a session, or nothing).
HostSession* sInForce = nullptr;

}  // namespace

HostSession::HostSession(DeviceProfile device, hostconfig::HeldConfigurationPtr tables)
    : mDevice(std::move(device)), mTables(std::move(tables)) {
    for (const SensorSpec& sensor : mDevice.sensors)
        mStaticMetadata[sensor.index] = staticMetadataOf(sensor);
}

HostSession::~HostSession() {
    if (!inForce()) return;
    // Nothing reads the row-read record after the last session, and it would grow with every read.
    hostconfig::setRowReadRecording(false);
    hostconfig::holdConfiguration();
    sInForce = nullptr;
}

bool HostSession::inForce() const { return sInForce == this; }

void HostSession::putTablesInForce() {
    if (inForce()) return;
    hostconfig::HeldConfigurationPtr previous = hostconfig::holdConfiguration();
    if (sInForce != nullptr) sInForce->mTables = std::move(previous);
    hostconfig::restoreConfiguration(std::move(mTables));
    sInForce = this;
}

void HostSession::beginRun(hostplatform::FeatureChipHandler featureChip) {
    putTablesInForce();
    hostplatform::reset();
    applyDevice(std::move(featureChip));
    // The store's call record is for tests; the simulator keeps the lighter row-read record only,
    // started empty so that a run never sees another's reads.
    hostconfig::setRecording(false);
    hostconfig::setRowReadRecording(false);
    hostconfig::setRowReadRecording(true);
}

std::vector<hostconfig::RowRead> HostSession::takeRowReads() { return hostconfig::takeRowReads(); }

void HostSession::applyDevice(hostplatform::FeatureChipHandler featureChip) {
    hostplatform::State& state = hostplatform::state();
    state.hasSensorList = mDevice.sensorList;
    state.stereoFeatureMode = mDevice.stereoFeatureMode;
    StereoSettingProvider::__logicalDeviceID = mDevice.logicalDeviceId;
    state.videoEisAlgoType = mDevice.videoEisAlgoType;
    state.thirdCap.supported = mDevice.thirdCap.supported;
    state.thirdCap.answer = mDevice.thirdCap.defaultAnswer;
    for (const SensorSpec& profile : mDevice.sensors) {
        hostplatform::SensorFacts& facts = hostplatform::sensor(profile.index);
        facts.newSettingPolicy = profile.newSettingPolicy;
        facts.newRrzoPolicy = profile.newRrzoPolicy;
        facts.privateSelectSensorMode = profile.privateSelectSensorMode;
        facts.custSensorSettingInfo = profile.custSensorSettingInfo;
        facts.defaultVhdrInfo = profile.videoHdr;
        facts.deviceMask = profile.deviceMask;
        facts.staticMetadata = mStaticMetadata.at(profile.index);
        facts.modes.clear();
        for (const auto& [scenario, mode] : profile.modes) {
            hostplatform::SensorMode hostMode;
            hostMode.fps = mode.fps;
            hostMode.size = mode.size;
            hostMode.rawFmtType = mode.rawFormatType;
            hostMode.fpsFails = mode.fpsFails;
            hostMode.sizeFails = mode.sizeFails;
            hostMode.rawFmtTypeFails = mode.rawFormatTypeFails;
            facts.modes[scenario] = hostMode;
        }
    }
    const DeviceProfile* device = &mDevice;
    state.maxStreamSize = [device](const hostplatform::MaxStreamSizeCall& call, int32_t& width,
                                   int32_t& height) {
        const SensorSpec* sensor = device->findSensor(call.sensorIdx);
        if (sensor == nullptr || !sensor->maxStreamSize) return;
        width = sensor->maxStreamSize->w;
        height = sensor->maxStreamSize->h;
    };
    state.featureChip = std::move(featureChip);
}

}  // namespace custsim
