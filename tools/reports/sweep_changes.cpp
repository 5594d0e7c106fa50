#include "reports/sweep_changes.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <tuple>

namespace custsim {

namespace {

// Lines named per change variant; the rest are counted.
constexpr size_t kMaxLinesNamed = 8;

// The axes that tell the lines of a map apart: every axis but x and the sensor axis.
std::vector<size_t> lineAxes(const SweepSpec& sweep, int32_t along) {
    std::vector<size_t> axes;
    for (size_t i = 0; i < sweep.axes.size(); ++i) {
        if (static_cast<int32_t>(i) == along || sweep.axes[i].kind == AxisKind::Sensor) continue;
        axes.push_back(i);
    }
    return axes;
}

uint64_t strideOf(const SweepSpec& sweep, int32_t along) {
    uint64_t stride = 1;
    for (size_t i = static_cast<size_t>(along) + 1; i < sweep.axes.size(); ++i)
        stride *= sweep.axes[i].size();
    return stride;
}

// "fps_range 15-30, 30": the values an axis takes on some lines, the first few named.
std::string axisValuesText(const SweepAxis& axis, const std::set<size_t>& values) {
    std::string text = axis.name + " ";
    size_t named = 0;
    for (size_t value : values) {
        if (named == kMaxLinesNamed) break;
        text += (named++ == 0 ? "" : ", ") + axis.label(value);
    }
    if (values.size() > named) text += " and " + std::to_string(values.size() - named) + " more";
    return text;
}

// The lines as a product of each axis's values ("fps_range 60, 120" for every temperature), or
// nothing when they are not one.
std::optional<std::string> productText(const SweepSpec& sweep, const std::vector<size_t>& axes,
                                       const std::vector<uint64_t>& lines) {
    std::vector<std::set<size_t>> values(axes.size());
    for (uint64_t line : lines) {
        const std::vector<size_t> at = sweep.coordinates(line);
        for (size_t i = 0; i < axes.size(); ++i) values[i].insert(at[axes[i]]);
    }
    uint64_t product = 1;
    for (const auto& taken : values) product *= taken.size();
    if (product != lines.size()) return std::nullopt;
    std::string text;
    for (size_t i = 0; i < axes.size(); ++i) {
        // An axis that takes every value on these lines says nothing about where.
        if (values[i].size() == sweep.axes[axes[i]].size()) continue;
        text += (text.empty() ? "" : "; ") + axisValuesText(sweep.axes[axes[i]], values[i]);
    }
    return text;
}

std::string lineText(const SweepSpec& sweep, const std::vector<size_t>& axes,
                     const std::vector<size_t>& values) {
    std::string text;
    for (size_t axis : axes) {
        text += (text.empty() ? "" : ", ") + sweep.axes[axis].name + " " +
                sweep.axes[axis].label(values[axis]);
    }
    return text;
}

}  // namespace

std::vector<ChangePlace> changesAlong(const SweepSpec& sweep, int32_t along,
                                      const std::vector<int32_t>& outcomes, int32_t notRun) {
    std::vector<ChangePlace> places;
    if (along < 0) return places;
    const uint64_t stride = strideOf(sweep, along);
    const SweepAxis& axis = sweep.axes[static_cast<size_t>(along)];
    // x -> lines compared there, and (before, after) -> lines, in point order.
    std::map<size_t, uint64_t> compared;
    std::map<size_t, std::vector<std::tuple<int32_t, int32_t, std::vector<uint64_t>>>> found;
    for (uint64_t point = 0; point < sweep.points; ++point) {
        const size_t x = (point / stride) % axis.size();
        if (x == 0) continue;
        const int32_t before = outcomes[point - stride];
        const int32_t after = outcomes[point];
        if (before == notRun || after == notRun) continue;
        ++compared[x];
        if (before == after) continue;
        auto& variants = found[x];
        const uint64_t line = point - x * stride;
        auto same = std::find_if(variants.begin(), variants.end(), [&](const auto& v) {
            return std::get<0>(v) == before && std::get<1>(v) == after;
        });
        if (same == variants.end()) {
            variants.emplace_back(before, after, std::vector<uint64_t>{line});
        } else {
            std::get<2>(*same).push_back(line);
        }
    }
    for (auto& [x, variants] : found) {
        ChangePlace place;
        place.x = x;
        for (auto& [before, after, lines] : variants)
            place.variants.push_back({before, after, std::move(lines)});
        place.everywhere =
            place.variants.size() == 1 && place.variants[0].lines.size() == compared[x];
        places.push_back(std::move(place));
    }
    return places;
}

std::string changePlaceText(const SweepSpec& sweep, int32_t along, const ChangePlace& place) {
    const SweepAxis& axis = sweep.axes[static_cast<size_t>(along)];
    return axis.label(place.x - 1) + " -> " + axis.label(place.x);
}

std::string changeLinesText(const SweepSpec& sweep, int32_t along, const ChangePlace& place,
                            const ChangeVariant& variant) {
    const std::vector<size_t> axes = lineAxes(sweep, along);
    if (axes.empty()) return "";
    if (place.everywhere) {
        std::string text = "at every ";
        for (size_t i = 0; i < axes.size(); ++i)
            text += (i == 0 ? "" : " and ") + sweep.axes[axes[i]].name;
        return text;
    }
    if (auto product = productText(sweep, axes, variant.lines); product && !product->empty())
        return "at " + *product;
    std::string text = "at ";
    for (size_t i = 0; i < variant.lines.size() && i < kMaxLinesNamed; ++i)
        text += (i == 0 ? "" : "; ") + lineText(sweep, axes, sweep.coordinates(variant.lines[i]));
    if (variant.lines.size() > kMaxLinesNamed)
        text += " and " + std::to_string(variant.lines.size() - kMaxLinesNamed) + " more";
    return text;
}

}  // namespace custsim
