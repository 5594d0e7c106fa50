#pragma once

#include <cstdint>

namespace NSCam {

// The platform's size: width then height, each signed 32-bit. The library relies on exactly this
// layout (8 bytes, trivially copyable): it travels inside metadata entries and wire records as
// plain bytes.
struct MSize {
    int32_t w = 0;
    int32_t h = 0;

    constexpr MSize() = default;
    constexpr MSize(int32_t width, int32_t height) : w(width), h(height) {}

    friend constexpr bool operator==(const MSize& a, const MSize& b) { return a.w == b.w && a.h == b.h; }
    friend constexpr bool operator!=(const MSize& a, const MSize& b) { return !(a == b); }
};

static_assert(sizeof(MSize) == 8, "MSize is two 32-bit integers");

}  // namespace NSCam

// A convenience of the host code (simulator, tests); real platform headers need not have it. The
// library and its public headers spell NSCam::MSize, and the soong leg builds them without it.
using NSCam::MSize;
