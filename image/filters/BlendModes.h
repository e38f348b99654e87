#pragma once

// The blend modes, one small formula per mode, written once for any lane
// type: `float` in the portable loops, a four-pixel vector type in each
// vector family. Every family therefore runs the same single-precision
// operations in the same order, which is what makes them agree bit for bit.
//
// A lane type T provides + - * / (with floats converting to T), and the free
// functions vmin, vmax, vabs, vsqrt, lt, le, gt, ge, eq and select, found by
// argument-dependent lookup for vector types and declared below for float.
//
// Notation: B is the background pixel (colour cb, alpha ab), L the layer
// pixel (colour cl, alpha al0), o the opacity; al = al0 * o is the layer
// alpha used everywhere, a = al + ab - al * ab the output alpha and
// t = al / a (al when a is 0) the layer's share of the output.

#include <cmath>

namespace VX {
namespace Image {
namespace BlendModes {

// --- float lanes -------------------------------------------------------------
// min and max follow the SSE instructions (the second operand when the
// comparison fails), so that the portable loops and the vector families give
// the same answer whatever the operands.
inline float vmin(float a, float b) { return a < b ? a : b; }
inline float vmax(float a, float b) { return a > b ? a : b; }
inline float vabs(float a) { return std::fabs(a); }
inline float vsqrt(float a) { return std::sqrt(a); }
inline bool lt(float a, float b) { return a < b; }
inline bool le(float a, float b) { return a <= b; }
inline bool gt(float a, float b) { return a > b; }
inline bool ge(float a, float b) { return a >= b; }
inline bool eq(float a, float b) { return a == b; }
inline float select(bool m, float a, float b) { return m ? a : b; }

template <class T>
struct Rgb {
    T r, g, b;
};

template <class T>
struct Px {
    T r, g, b, a;
};

// --- shared functions --------------------------------------------------------

// Lum(C) = 0.3 r + 0.59 g + 0.11 b. Always these weights in this order: the
// (30 r + 59 g + 11 b) / 100 form rounds differently.
template <class T>
T lum(T r, T g, T b) {
    return 0.3f * r + 0.59f * g + 0.11f * b;
}
template <class T>
T lum(const Rgb<T>& c) {
    return lum(c.r, c.g, c.b);
}

// Sat(C) = max(r, g, b) - min(r, g, b)
template <class T>
T sat(const Rgb<T>& c) {
    return vmax(vmax(c.r, c.g), c.b) - vmin(vmin(c.r, c.g), c.b);
}

// dodge(x, y) = y when y >= 1, else min(x / (1 - y), 1)
template <class T>
T dodge(T x, T y) {
    return select(ge(y, 1.0f), y, vmin(x / (1.0f - y), 1.0f));
}

// burn(x, y) = y when y <= 0, else 1 - min((1 - x) / y, 1)
template <class T>
T burn(T x, T y) {
    return select(le(y, 0.0f), y, 1.0f - vmin((1.0f - x) / y, 1.0f));
}

// overlay(x, y) = 2xy when x < 0.5, else 1 - 2(1 - x)(1 - y)
template <class T>
T overlay(T x, T y) {
    return select(lt(x, 0.5f), 2.0f * x * y, 1.0f - 2.0f * (1.0f - x) * (1.0f - y));
}

// vivid(x, y): below y = 0.5 a burn by e = 2y, above a dodge by e = 2(y - 0.5).
// Where e reaches the end of its range, e itself comes back, even when that
// lies outside 0..1 for out-of-range layers; kept as it is.
template <class T>
T vivid(T x, T y) {
    const T eb = 2.0f * y;
    const T ed = 2.0f * (y - 0.5f);
    const T burned = select(le(eb, 0.0f), eb, 1.0f - vmin((1.0f - x) / eb, 1.0f));
    const T dodged = select(ge(ed, 1.0f), ed, vmin(x / (1.0f - ed), 1.0f));
    return select(lt(y, 0.5f), burned, dodged);
}

// reflect(x, y) = y when y >= 1, else min(x^2 / (1 - y), 1)
template <class T>
T reflect(T x, T y) {
    return select(ge(y, 1.0f), y, vmin(x * x / (1.0f - y), 1.0f));
}

// soft(x, s): x - (1 - 2s) x (1 - x) when s < 0.5, else x + (2s - 1)(D(x) - x)
// with D(x) = ((16x - 12) x + 4) x below x = 0.25, sqrt(x) above.
template <class T>
T soft(T x, T s) {
    const T d = select(lt(x, 0.25f), ((16.0f * x - 12.0f) * x + 4.0f) * x, vsqrt(x));
    return select(lt(s, 0.5f), x - (1.0f - 2.0f * s) * x * (1.0f - x),
                  x + (2.0f * s - 1.0f) * (d - x));
}

// SetLum(C, l): shift C to luminance l, then pull the channels back towards
// that luminance until none is below 0 or above 1 (n and x are taken once,
// before either correction).
template <class T>
Rgb<T> setLum(const Rgb<T>& c, T l) {
    const T d = l - lum(c);
    Rgb<T> o{c.r + d, c.g + d, c.b + d};
    const T lo = lum(o);
    const T n = vmin(vmin(o.r, o.g), o.b);
    const T x = vmax(vmax(o.r, o.g), o.b);
    const auto under = lt(n, 0.0f);
    o.r = select(under, lo + (o.r - lo) * lo / (lo - n), o.r);
    o.g = select(under, lo + (o.g - lo) * lo / (lo - n), o.g);
    o.b = select(under, lo + (o.b - lo) * lo / (lo - n), o.b);
    const auto over = gt(x, 1.0f);
    o.r = select(over, lo + (o.r - lo) * (1.0f - lo) / (x - lo), o.r);
    o.g = select(over, lo + (o.g - lo) * (1.0f - lo) / (x - lo), o.g);
    o.b = select(over, lo + (o.b - lo) * (1.0f - lo) / (x - lo), o.b);
    return o;
}

// SetSat(C, s), as in W3C compositing: the largest channel becomes s, the
// smallest 0, the middle one scales in proportion; all 0 for a grey. Ties
// to the largest all become s, ties to the smallest all 0.
template <class T>
Rgb<T> setSat(const Rgb<T>& c, T s) {
    const T mx = vmax(vmax(c.r, c.g), c.b);
    const T mn = vmin(vmin(c.r, c.g), c.b);
    const T range = mx - mn;
    const auto grey = eq(mx, mn);
    auto one = [&](T v) {
        const T mid = (v - mn) * s / range;
        return select(grey, T(0.0f), select(eq(v, mx), s, select(eq(v, mn), T(0.0f), mid)));
    };
    return {one(c.r), one(c.g), one(c.b)};
}

// --- the catalogue -----------------------------------------------------------

// How a mode's formula enters the pixel.
enum class Kind {
    Normal,        // out = (cl - cb) t + cb
    Separable,     // f(cb, cl) per channel; m = (f - cl) ab + cl; out = (m - cb) t + cb
    Direct,        // m(cb, cl, ab) per channel; out = (m - cb) t + cb
    Premultiplied, // out(cb, cl, ab, al, a) per channel, outright
    WholePixel,    // f = colour(B, L) for all three channels, then as Separable
    OwnAlpha,      // pixel(B, L, al): colour and alpha outright
};

// Mode numbers 0 to 41. Numbers outside 1 to 41 mean normal (see blendModeSlot).
template <int M>
struct Mode;

// 0 normal: (cl - cb) t + cb
template <>
struct Mode<0> {
    static constexpr Kind kind = Kind::Normal;
};

// 1 darken: m = min(cl, (cb - 1) ab + 1)
template <>
struct Mode<1> {
    static constexpr Kind kind = Kind::Direct;
    template <class T>
    static T m(T cb, T cl, T ab) {
        return vmin(cl, (cb - 1.0f) * ab + 1.0f);
    }
};

// 2 multiply: cb cl
template <>
struct Mode<2> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return cb * cl;
    }
};

// 3 colour burn: burn(cb, cl)
template <>
struct Mode<3> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return burn(cb, cl);
    }
};

// 4 premultiplied colour burn: d = dodge((1 - cb) ab, (1 - cl) al);
// 1 - d / a, or 1 - d when a is 0
template <>
struct Mode<4> {
    static constexpr Kind kind = Kind::Premultiplied;
    template <class T>
    static T out(T cb, T cl, T ab, T al, T a) {
        const T d = dodge((1.0f - cb) * ab, (1.0f - cl) * al);
        return select(gt(a, 0.0f), 1.0f - d / a, 1.0f - d);
    }
};

// 5 linear burn: max(cb + cl - 1, 0)
template <>
struct Mode<5> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return vmax(cb + cl - 1.0f, 0.0f);
    }
};

// Darker and lighter colour pick one whole colour by the weighted difference
// 0.59 (gl - gb) + 0.3 (rl - rb) + 0.11 (bl - bb).
template <class T>
T weightedDifference(const Rgb<T>& b, const Rgb<T>& l) {
    return 0.59f * (l.g - b.g) + 0.3f * (l.r - b.r) + 0.11f * (l.b - b.b);
}

template <class T, class Mask>
Rgb<T> pick(Mask takeB, const Rgb<T>& b, const Rgb<T>& l) {
    return {select(takeB, b.r, l.r), select(takeB, b.g, l.g), select(takeB, b.b, l.b)};
}

// 6 darker colour: B's colour when the weighted difference is above 0, else L's
template <>
struct Mode<6> {
    static constexpr Kind kind = Kind::WholePixel;
    template <class T>
    static Rgb<T> colour(const Rgb<T>& b, const Rgb<T>& l) {
        return pick(gt(weightedDifference(b, l), 0.0f), b, l);
    }
};

// 7 add: cb + cl, not clamped
template <>
struct Mode<7> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return cb + cl;
    }
};

// 8 lighten: m = max(cb ab, cl)
template <>
struct Mode<8> {
    static constexpr Kind kind = Kind::Direct;
    template <class T>
    static T m(T cb, T cl, T ab) {
        return vmax(cb * ab, cl);
    }
};

// 9 screen: 1 - (1 - cb)(1 - cl)
template <>
struct Mode<9> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return 1.0f - (1.0f - cb) * (1.0f - cl);
    }
};

// 10 colour dodge: dodge(cb, cl)
template <>
struct Mode<10> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return dodge(cb, cl);
    }
};

// 11 premultiplied colour dodge: d = dodge(cb ab, cl al); d / a, or d when a is 0
template <>
struct Mode<11> {
    static constexpr Kind kind = Kind::Premultiplied;
    template <class T>
    static T out(T cb, T cl, T ab, T al, T a) {
        const T d = dodge(cb * ab, cl * al);
        return select(gt(a, 0.0f), d / a, d);
    }
};

// 12 linear dodge: min(cb + cl, 1)
template <>
struct Mode<12> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return vmin(cb + cl, 1.0f);
    }
};

// 13 lighter colour: B's colour when the weighted difference is below 0, else L's
template <>
struct Mode<13> {
    static constexpr Kind kind = Kind::WholePixel;
    template <class T>
    static Rgb<T> colour(const Rgb<T>& b, const Rgb<T>& l) {
        return pick(lt(weightedDifference(b, l), 0.0f), b, l);
    }
};

// 14 overlay: overlay(cb, cl)
template <>
struct Mode<14> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return overlay(cb, cl);
    }
};

// 15 soft light: m = soft((cb - 0.5) ab + 0.5, cl)
template <>
struct Mode<15> {
    static constexpr Kind kind = Kind::Direct;
    template <class T>
    static T m(T cb, T cl, T ab) {
        return soft((cb - 0.5f) * ab + 0.5f, cl);
    }
};

// 16 hard light: overlay(cl, cb)
template <>
struct Mode<16> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return overlay(cl, cb);
    }
};

// 17 linear light: max(cb + 2 cl - 1, 0) when cl < 0.5, else min(cb + 2 (cl - 0.5), 1)
template <>
struct Mode<17> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return select(lt(cl, 0.5f), vmax(cb + 2.0f * cl - 1.0f, 0.0f),
                      vmin(cb + 2.0f * (cl - 0.5f), 1.0f));
    }
};

// 18 vivid light: vivid(cb, cl)
template <>
struct Mode<18> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return vivid(cb, cl);
    }
};

// 19 pin light: min(cb, 2 cl) when cl < 0.5, else max(cb, 2 (cl - 0.5))
template <>
struct Mode<19> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return select(lt(cl, 0.5f), vmin(cb, 2.0f * cl), vmax(cb, 2.0f * (cl - 0.5f)));
    }
};

// 20 hard mix: 0 when vivid(cb, cl) < 0.5, else 1
template <>
struct Mode<20> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return select(lt(vivid(cb, cl), 0.5f), T(0.0f), T(1.0f));
    }
};

// 21 difference: |cb - cl|
template <>
struct Mode<21> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return vabs(cb - cl);
    }
};

// 22 premultiplied difference: d = |cb ab - cl al|; d / a, or d when a is 0
template <>
struct Mode<22> {
    static constexpr Kind kind = Kind::Premultiplied;
    template <class T>
    static T out(T cb, T cl, T ab, T al, T a) {
        const T d = vabs(cb * ab - cl * al);
        return select(gt(a, 0.0f), d / a, d);
    }
};

// 23 exclusion: cb + cl - 2 cb cl
template <>
struct Mode<23> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return cb + cl - 2.0f * cb * cl;
    }
};

// 24 subtract: cb - cl, not clamped
template <>
struct Mode<24> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return cb - cl;
    }
};

// 25 divide: 0 when cl is 0, else cb / cl, not clamped
template <>
struct Mode<25> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return select(eq(cl, 0.0f), T(0.0f), cb / cl);
    }
};

// 26 hue: SetLum(SetSat(L, Sat(B)), Lum(B))
template <>
struct Mode<26> {
    static constexpr Kind kind = Kind::WholePixel;
    template <class T>
    static Rgb<T> colour(const Rgb<T>& b, const Rgb<T>& l) {
        return setLum(setSat(l, sat(b)), lum(b));
    }
};

// 27 saturation: SetLum(SetSat(B, Sat(L)), Lum(B))
template <>
struct Mode<27> {
    static constexpr Kind kind = Kind::WholePixel;
    template <class T>
    static Rgb<T> colour(const Rgb<T>& b, const Rgb<T>& l) {
        return setLum(setSat(b, sat(l)), lum(b));
    }
};

// 28 colour: SetLum(L, Lum(B))
template <>
struct Mode<28> {
    static constexpr Kind kind = Kind::WholePixel;
    template <class T>
    static Rgb<T> colour(const Rgb<T>& b, const Rgb<T>& l) {
        return setLum(l, lum(b));
    }
};

// 29 luminosity: SetLum(B, Lum(L))
template <>
struct Mode<29> {
    static constexpr Kind kind = Kind::WholePixel;
    template <class T>
    static Rgb<T> colour(const Rgb<T>& b, const Rgb<T>& l) {
        return setLum(b, lum(l));
    }
};

// 30 stencil alpha: B's colour, alpha ab al
template <>
struct Mode<30> {
    static constexpr Kind kind = Kind::OwnAlpha;
    template <class T>
    static Px<T> pixel(const Px<T>& b, const Px<T>& l, T al) {
        static_cast<void>(l);
        return {b.r, b.g, b.b, b.a * al};
    }
};

// 31 stencil luma: B's colour, alpha ab Lum(L) al
template <>
struct Mode<31> {
    static constexpr Kind kind = Kind::OwnAlpha;
    template <class T>
    static Px<T> pixel(const Px<T>& b, const Px<T>& l, T al) {
        return {b.r, b.g, b.b, b.a * lum(l.r, l.g, l.b) * al};
    }
};

// 32 silhouette alpha: B's colour, alpha ab (1 - al)
template <>
struct Mode<32> {
    static constexpr Kind kind = Kind::OwnAlpha;
    template <class T>
    static Px<T> pixel(const Px<T>& b, const Px<T>& l, T al) {
        static_cast<void>(l);
        return {b.r, b.g, b.b, b.a * (1.0f - al)};
    }
};

// 33 silhouette luma: B's colour, alpha ab (1 - Lum(L) al)
template <>
struct Mode<33> {
    static constexpr Kind kind = Kind::OwnAlpha;
    template <class T>
    static Px<T> pixel(const Px<T>& b, const Px<T>& l, T al) {
        return {b.r, b.g, b.b, b.a * (1.0f - lum(l.r, l.g, l.b) * al)};
    }
};

// 34 alpha add: a' = min(ab + al, 1); t' = al / a' (al when a' is 0);
// (cl - cb) t' + cb, alpha a'
template <>
struct Mode<34> {
    static constexpr Kind kind = Kind::OwnAlpha;
    template <class T>
    static Px<T> pixel(const Px<T>& b, const Px<T>& l, T al) {
        const T a = vmin(b.a + al, 1.0f);
        const T t = select(gt(a, 0.0f), al / a, al);
        return {(l.r - b.r) * t + b.r, (l.g - b.g) * t + b.g, (l.b - b.b) * t + b.b, a};
    }
};

// 35 premultiplied layer over: alpha a; cl / a + (1 - al / a) cb, or
// (1 - al) cb when a is 0. The layer colour is divided by a without being
// multiplied by its alpha first, unlike mode 34; kept as it is.
template <>
struct Mode<35> {
    static constexpr Kind kind = Kind::OwnAlpha;
    template <class T>
    static Px<T> pixel(const Px<T>& b, const Px<T>& l, T al) {
        const T a = al + b.a - al * b.a;
        const auto some = gt(a, 0.0f);
        auto one = [&](T cb, T cl) {
            return select(some, cl / a + (1.0f - al / a) * cb, (1.0f - al) * cb);
        };
        return {one(b.r, l.r), one(b.g, l.g), one(b.b, l.b), a};
    }
};

// 36 average: (cb + cl) / 2
template <>
struct Mode<36> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return (cb + cl) * 0.5f;
    }
};

// 37 negation: 1 - |1 - cb - cl|
template <>
struct Mode<37> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return 1.0f - vabs(1.0f - cb - cl);
    }
};

// 38 reflect: reflect(cb, cl)
template <>
struct Mode<38> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return reflect(cb, cl);
    }
};

// 39 glow: reflect(cl, cb)
template <>
struct Mode<39> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return reflect(cl, cb);
    }
};

// 40 phoenix: min(cb, cl) - max(cb, cl) + 1
template <>
struct Mode<40> {
    static constexpr Kind kind = Kind::Separable;
    template <class T>
    static T f(T cb, T cl) {
        return vmin(cb, cl) - vmax(cb, cl) + 1.0f;
    }
};

// 41 behind: normal with the inputs exchanged, input 0 laid under input 1.
// The region loops swap the images before they reach the pixel.
template <>
struct Mode<41> {
    static constexpr Kind kind = Kind::Normal;
};

constexpr int kModeCount = 42;

// Which kernel a mode number runs: 1 to 41 their own, everything else normal.
constexpr int blendModeSlot(int mode) { return mode >= 1 && mode < kModeCount ? mode : 0; }

// Whether the region loop exchanges the two inputs.
constexpr bool exchangesInputs(int slot) { return slot == 41; }

// --- compositing ---------------------------------------------------------------

// (m - cb) t + cb: moves from the background towards m by the layer's share.
template <class T>
T mixToward(T m, T cb, T t) {
    return (m - cb) * t + cb;
}

// The output pixel for mode slot M. With integer samples the normal mode
// gets its colour on the stored scale (0 to 255 or 65535) and alphas on 0..1;
// every other mode gets 0..1 throughout.
template <int M, class T>
Px<T> blendPixel(const Px<T>& b, const Px<T>& l, T opacity) {
    using Md = Mode<M>;
    const T al = l.a * opacity;
    if constexpr (Md::kind == Kind::OwnAlpha) {
        return Md::pixel(b, l, al);
    } else {
        const T ab = b.a;
        const T a = al + ab - al * ab;
        const T t = select(gt(a, 0.0f), al / a, al);
        if constexpr (Md::kind == Kind::Normal) {
            return {mixToward(l.r, b.r, t), mixToward(l.g, b.g, t), mixToward(l.b, b.b, t), a};
        } else if constexpr (Md::kind == Kind::Separable) {
            auto one = [&](T cb, T cl) { return mixToward((Md::f(cb, cl) - cl) * ab + cl, cb, t); };
            return {one(b.r, l.r), one(b.g, l.g), one(b.b, l.b), a};
        } else if constexpr (Md::kind == Kind::Direct) {
            auto one = [&](T cb, T cl) { return mixToward(Md::m(cb, cl, ab), cb, t); };
            return {one(b.r, l.r), one(b.g, l.g), one(b.b, l.b), a};
        } else if constexpr (Md::kind == Kind::Premultiplied) {
            return {Md::out(b.r, l.r, ab, al, a), Md::out(b.g, l.g, ab, al, a),
                    Md::out(b.b, l.b, ab, al, a), a};
        } else {
            static_assert(Md::kind == Kind::WholePixel, "unhandled kind");
            const Rgb<T> f = Md::colour(Rgb<T>{b.r, b.g, b.b}, Rgb<T>{l.r, l.g, l.b});
            auto one = [&](T fc, T cb, T cl) { return mixToward((fc - cl) * ab + cl, cb, t); };
            return {one(f.r, b.r, l.r), one(f.g, b.g, l.g), one(f.b, b.b, l.b), a};
        }
    }
}

} // namespace BlendModes
} // namespace Image
} // namespace VX
