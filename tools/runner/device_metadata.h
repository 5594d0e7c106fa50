#pragma once

#include "inputs/device_profile.h"
#include "platform/IMetadata.h"

// The metadata a device profile or a session describes, as the platform hands it to the policies.
namespace custsim {

// One entry as the profile or session wrote it.
NSCam::IEntry metadataEntry(const MetadataEntrySpec& described);
// The static characteristics of a sensor's metadata provider.
NSCam::IMetadata staticMetadataOf(const SensorSpec& sensor);

}  // namespace custsim
