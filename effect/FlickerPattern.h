#pragma once

#include <cstdint>

namespace VX {

// The 48-bit linear congruential generator of the drand48 family (seed
// 0x1234ABCD330E), worked in 16-bit words with 32-bit sums as the flicker
// pattern was defined; each draw is summed in single precision.
class FlickerRandom {
public:
    FlickerRandom() { reset(); }
    void reset();
    // A number from 0 to 1 (the single-precision sum may round up to 1).
    float draw();

private:
    std::uint16_t x_[3];
    std::uint16_t a_[3];
    std::uint16_t c_;
};

// The flicker value at time `t`: 1 in an "on" stretch, 0 in an "off" one.
// From time 0 the time line alternates two units on and a gap off whose
// length is `quirkTime` varied at random by up to `randomness` (0 to 1) of
// itself, and never shorter than one unit. The walk restarts at 0 with a
// fresh generator for every call, so the answer depends only on the
// arguments. Negative and NaN times are off.
float flickerValue(float t, float quirkTime, float randomness);

} // namespace VX
