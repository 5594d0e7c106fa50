#include "runner/device_metadata.h"

namespace custsim {

namespace {

// Static characteristics the policies read.
constexpr uint32_t kTagAeAvailableTargetFpsRanges = 0x10014;
constexpr uint32_t kTagMinFrameDurations = 0xD000B;
constexpr uint32_t kTagPixelArraySize = 0xF0006;
constexpr uint32_t kTagEngineerStaticItem = 0x9004003D;

}  // namespace

NSCam::IEntry metadataEntry(const MetadataEntrySpec& described) {
    NSCam::IEntry entry(described.tag);
    for (int64_t value : described.integers) {
        switch (described.type) {
            case MetadataEntrySpec::Type::UInt8:
                entry.push_back(static_cast<uint8_t>(value));
                break;
            case MetadataEntrySpec::Type::Int32:
                entry.push_back(static_cast<int32_t>(value));
                break;
            case MetadataEntrySpec::Type::Int64:
                entry.push_back(value);
                break;
        }
    }
    return entry;
}

NSCam::IMetadata staticMetadataOf(const SensorSpec& sensor) {
    NSCam::IMetadata metadata;
    if (sensor.pixelArray)
        metadata.update(NSCam::IEntry::of<MSize>(kTagPixelArraySize, {*sensor.pixelArray}));
    if (sensor.minFrameDurations) {
        NSCam::IEntry entry(kTagMinFrameDurations);
        for (const auto& group : *sensor.minFrameDurations) {
            for (int64_t value : group) entry.push_back(value);
        }
        metadata.update(entry);
    }
    if (sensor.aeTargetFpsRanges) {
        NSCam::IEntry entry(kTagAeAvailableTargetFpsRanges);
        for (const auto& range : *sensor.aeTargetFpsRanges) {
            for (int64_t value : range) entry.push_back(static_cast<int32_t>(value));
        }
        metadata.update(entry);
    }
    if (sensor.engineerStaticItem) {
        metadata.update(
            NSCam::IEntry::of<int32_t>(kTagEngineerStaticItem, {*sensor.engineerStaticItem}));
    }
    for (const MetadataEntrySpec& extra : sensor.extraStatic) metadata.update(metadataEntry(extra));
    return metadata;
}

}  // namespace custsim
