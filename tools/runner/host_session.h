#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host_config_store.h"
#include "host_platform.h"
#include "inputs/device_profile.h"
#include "platform/IMetadata.h"

// The one owner of the host platform's state for one device: the device's configuration tables,
// what the platform answers for the device, and the recorders a run reads back.
//
// The host platform and the configuration store are process-wide, as the library expects of a
// real platform, so only one HostSession's tables can be in force at a time. A session takes its
// tables back into the store when it begins a run and holds the tables of the session in force
// before aside for it, so that two devices (diff's two sides) alternate without either one's
// configuration being parsed again or seen by the other's runs. Nothing but a HostSession switches
// the recorders or swaps the tables; it is used from one thread.
namespace custsim {

class HostSession {
public:
    // `tables` are the device's configuration (null: every table absent), parsed once.
    HostSession(DeviceProfile device, hostconfig::HeldConfigurationPtr tables);
    // Takes its tables out of the store and stops the row-read record when they are in force.
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    const DeviceProfile& device() const { return mDevice; }

    // Starts a run from the device's answers alone: puts this session's tables in force, resets
    // the platform (answers, records, logger settings) and applies the device's answers, with
    // `featureChip` as the feature-chip service. Row reads are recorded from here on; the store's
    // full call record (for tests) stays off.
    void beginRun(hostplatform::FeatureChipHandler featureChip);

    // The row reads since the last take, oldest first; the record is emptied.
    std::vector<hostconfig::RowRead> takeRowReads();

    // Whether this session's tables are the ones in force.
    bool inForce() const;

private:
    void putTablesInForce();
    void applyDevice(hostplatform::FeatureChipHandler featureChip);

    DeviceProfile mDevice;
    // The tables while another session's are in force (or before the first run).
    hostconfig::HeldConfigurationPtr mTables;
    // Each sensor's static metadata, built once from the profile and handed to every run.
    std::map<int32_t, NSCam::IMetadata> mStaticMetadata;
};

}  // namespace custsim
