#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "inputs/device_profile.h"
#include "inputs/session_file.h"
#include "inputs/toml_input.h"
#include "platform/MSize.h"

// A sweep: one base session and the axes to vary. The points are the product of the axes, the last
// axis varying fastest. docs/sweep.md documents every key.
namespace custsim {

// Points a sweep may have unless the command line raises the cap.
constexpr uint64_t kDefaultMaxPoints = 1000000;

// The axes a sweep may vary, in the order they nest (the first varies slowest).
enum class AxisKind { Sensor, App, OperationMode, HdrMode, Temperature, FpsRange, StreamSize };

// One axis and its values. Only the list that belongs to the axis's kind is filled.
struct SweepAxis {
    AxisKind kind = AxisKind::Temperature;
    std::string name;                         // the key in the sweep file: "temperature"
    std::vector<int64_t> numbers;             // sensor, operation mode, HDR mode, temperature
    std::vector<std::array<int32_t, 2>> fps;  // [low, high]
    std::vector<MSize> sizes;                 // the largest stream size
    std::vector<AppSpec> apps;                // application identities
    std::vector<std::string> appLabels;       // their names in reports

    size_t size() const;
    // The value as reports print it: "1920x1080", "30-60" ("30" for a fixed rate), "45",
    // "com.example.socialcam".
    std::string label(size_t value) const;
};

struct SweepSpec {
    std::string file;
    std::string description;
    SessionSpec base;
    std::vector<SweepAxis> axes;  // in the order of AxisKind
    // The axes the map draws across and down by default ("" when the file names none).
    std::string mapX;
    std::string mapY;
    uint64_t points = 0;  // the product of the axes' sizes

    // The position of an axis by name; -1 when the sweep has no such axis.
    int32_t axisIndex(const std::string& name) const;
    // The value of each axis at a point.
    std::vector<size_t> coordinates(uint64_t point) const;
    // The base session with the values of the point applied.
    SessionSpec sessionAt(uint64_t point) const;
};

// Reads and checks a sweep file against the device it is to run on. More than `maxPoints` points is
// an error, reported before any axis is expanded.
SweepSpec loadSweep(const std::string& path, const DeviceProfile& device, uint64_t maxPoints,
                    Diagnostics& diagnostics);

// The axis names a sweep file may use, in nesting order.
std::vector<std::string> sweepAxisNames();

}  // namespace custsim
