#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "inputs/device_profile.h"
#include "inputs/sweep_file.h"
#include "runner/sweep_runner.h"

// The outputs of a sweep. CSV and JSON rows are made in the workers and written point by point as
// they arrive, so their memory does not grow with the number of points; the map page and the
// summary count as they go and are written at the end.
namespace custsim {

// An output that reads whole points (a map, a summary): the point travels from the worker as
// plain fields and is read back here, in point order.
class PointOutput : public SweepOutput {
public:
    void encode(const SweepPoint& point, std::string& bytes) const final {
        encodePoint(point, bytes);
    }
    bool write(uint64_t, std::string_view bytes) final {
        if (!decodePoint(bytes, mPoint)) return false;
        point(mPoint);
        return true;
    }

protected:
    virtual void point(const SweepPoint& point) = 0;

private:
    SweepPoint mPoint;
};

class SweepBaseline;

// One row per point and sensor (docs/sweep.md lists the columns); with a baseline (the points run
// with the configuration before an edit), the edit's columns too.
std::unique_ptr<SweepOutput> makeCsvWriter(std::ostream& out, const DeviceProfile& device,
                                           const SweepSpec& sweep,
                                           const SweepBaseline* baseline = nullptr);
// One JSON document (docs/sweep.md documents it); with a baseline, the edit's members too.
std::unique_ptr<SweepOutput> makeJsonWriter(std::ostream& out, const DeviceProfile& device,
                                            const SweepSpec& sweep,
                                            const SweepBaseline* baseline = nullptr);

// The axes the map draws across (x) and down (y); y is -1 for a sweep of one axis.
struct MapAxes {
    int32_t x = -1;
    int32_t y = -1;
};

// The self-contained HTML page of maps, one per sensor; with a baseline (the points run with the
// configuration before an edit), the map of the edit.
std::unique_ptr<SweepOutput> makeHtmlWriter(std::ostream& out, const DeviceProfile& device,
                                            const SweepSpec& sweep, MapAxes axes,
                                            const SweepBaseline* baseline = nullptr);

// Points per decided mode, per sensor, printed as a table when the sweep ends, followed by the
// points where the mode changes from one value of axis `alongAxis` to the next (none when -1); with
// a baseline, the points the edit changes.
std::unique_ptr<SweepOutput> makeSummaryWriter(std::ostream& out, const DeviceProfile& device,
                                               const SweepSpec& sweep, int32_t alongAxis,
                                               const SweepBaseline* baseline = nullptr);

// "55.6%": count / total in tenths of a percent, in integers so that every toolchain prints the
// same.
std::string shareOf(uint64_t count, uint64_t total);

// Counts points per decided scenario (-1: no decision) for each sensor; with `namedApart`, a
// scenario named but not filled counts apart from no decision, under its own key.
class ModeCounts {
public:
    explicit ModeCounts(bool namedApart = false) : mNamedApart(namedApart) {}
    void add(const Decision& outcome);
    // The key a decision counts under.
    int32_t keyOf(const Decision& outcome) const;
    // sensor index -> scenario -> points.
    const std::map<int32_t, std::map<int32_t, uint64_t>>& bySensor() const { return mCounts; }
    // How a mode is named in legends and tables: "scenario 2: 3840x2160, 30 fps".
    std::string modeName(const DeviceProfile& device, int32_t sensor, int32_t scenario) const;
    // How the summary's list of changes names a mode: "scenario 2", "no decision".
    std::string shortName(int32_t key) const;

private:
    // Keys at or below this are scenarios named but not filled: the key minus the scenario.
    static constexpr int32_t kNamedNotFilledKey = -1000;

    bool mNamedApart;
    std::map<int32_t, std::map<int32_t, uint64_t>> mCounts;
    // Size and rate of scenarios the profile does not list, as the decisions gave them.
    std::map<std::pair<int32_t, int32_t>, std::pair<MSize, uint32_t>> mSeen;
};

}  // namespace custsim
