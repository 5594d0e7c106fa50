#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inputs/sweep_file.h"

// Where along the map's x axis a sensor's outcome changes, grouped by place: a change that happens
// at the same place for every value of the other axes is one entry, and where it differs the entry
// names the values of each variant. The text summary and the map page print the same list.
namespace custsim {

// A change of outcome from one value of the x axis to the next, on some lines of the map.
struct ChangeVariant {
    int32_t before = 0;
    int32_t after = 0;
    // The lines where it happens, each by its first point (x at its first value).
    std::vector<uint64_t> lines;
};

struct ChangePlace {
    size_t x = 0;  // the change is from value x-1 to value x
    std::vector<ChangeVariant> variants;
    // One variant, on every line where the sensor ran on both sides of the place.
    bool everywhere = false;
};

// `outcomes` holds one value per point; `notRun` marks the points where the sensor did not run.
// Places in x order, variants in the order of their first line.
std::vector<ChangePlace> changesAlong(const SweepSpec& sweep, int32_t along,
                                      const std::vector<int32_t>& outcomes, int32_t notRun);

// How an entry reads: "44 -> 45" for the place, "at app socialcam video call" for its lines
// ("at every app" for a change everywhere; "" when the map has no other axis). Input text is
// returned as it is; the caller escapes it for its medium.
std::string changePlaceText(const SweepSpec& sweep, int32_t along, const ChangePlace& place);
std::string changeLinesText(const SweepSpec& sweep, int32_t along, const ChangePlace& place,
                            const ChangeVariant& variant);

}  // namespace custsim
