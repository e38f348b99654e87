#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace VX {

// An integer pixel rectangle; x2 and y2 are exclusive.
struct Rect {
    std::int32_t x1, y1, x2, y2;

    bool empty() const { return x2 <= x1 || y2 <= y1; }
    std::int64_t width() const { return std::int64_t(x2) - x1; }
    std::int64_t height() const { return std::int64_t(y2) - y1; }
    bool contains(const Rect& r) const {
        return r.x1 >= x1 && r.y1 >= y1 && r.x2 <= x2 && r.y2 <= y2;
    }
    bool operator==(const Rect& r) const {
        return x1 == r.x1 && y1 == r.y1 && x2 == r.x2 && y2 == r.y2;
    }
    bool operator!=(const Rect& r) const { return !(*this == r); }
};

// The start of a union: anything joined with it is itself.
constexpr Rect kEmptyRect = {
    std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::max(),
    std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::min()};
// Unbounded.
constexpr Rect kInfiniteRect = {
    std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::min(),
    std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::max()};

inline Rect intersect(const Rect& a, const Rect& b) {
    return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

inline Rect unite(const Rect& a, const Rect& b) {
    return {std::min(a.x1, b.x1), std::min(a.y1, b.y1), std::max(a.x2, b.x2), std::max(a.y2, b.y2)};
}

// The one pixel whose lower-left corner is (x, y), moved in by one where
// that corner is the last 32-bit value, so that x2 and y2 still exist.
inline Rect onePixelAt(std::int32_t x, std::int32_t y) {
    constexpr std::int32_t last = std::numeric_limits<std::int32_t>::max() - 1;
    x = std::min(x, last);
    y = std::min(y, last);
    return {x, y, x + 1, y + 1};
}

// A host rectangle in doubles, rounded outward to whole pixels. Values
// beyond the 32-bit range are held at its ends.
inline Rect roundOut(double x1, double y1, double x2, double y2) {
    auto clampInt = [](double v) {
        if (!(v > -2147483648.0))
            return std::numeric_limits<std::int32_t>::min();
        if (!(v < 2147483647.0))
            return std::numeric_limits<std::int32_t>::max();
        return static_cast<std::int32_t>(v);
    };
    return {clampInt(std::floor(x1)), clampInt(std::floor(y1)), clampInt(std::ceil(x2)),
            clampInt(std::ceil(y2))};
}

} // namespace VX
