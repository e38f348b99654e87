#include "effect/FlickerPattern.h"

namespace VX {

void FlickerRandom::reset() {
    x_[0] = 0x330E;
    x_[1] = 0xABCD;
    x_[2] = 0x1234;
    a_[0] = 0xE66D;
    a_[1] = 0xDEEC;
    a_[2] = 0x0005;
    c_ = 0x000B;
}

float FlickerRandom::draw() {
    const std::uint32_t x0 = x_[0], x1 = x_[1], x2 = x_[2];
    const std::uint32_t a0 = a_[0], a1 = a_[1], a2 = a_[2];
    const std::uint32_t s0 = a0 * x0 + c_;
    // Kept in 32 bits as the pattern was defined. The carry this can lose
    // would only reach bit 16 of the top word, which is discarded, so the
    // draws equal those of the exact 48-bit generator.
    const std::uint32_t s1 = a0 * x1 + a1 * x0 + (s0 >> 16);
    const std::uint32_t s2 = a0 * x2 + a1 * x1 + a2 * x0 + (s1 >> 16);
    x_[0] = static_cast<std::uint16_t>(s0);
    x_[1] = static_cast<std::uint16_t>(s1);
    x_[2] = static_cast<std::uint16_t>(s2);
    const float low = static_cast<float>(x_[0]) * (1.0f / 281474976710656.0f); // 2^-48
    const float mid = static_cast<float>(x_[1]) * (1.0f / 4294967296.0f);      // 2^-32
    const float high = static_cast<float>(x_[2]) * (1.0f / 65536.0f);          // 2^-16
    return (mid + low) + high;
}

float flickerValue(float t, float quirkTime, float randomness) {
    if (!(t >= 0.0f))
        return 0.0f;
    FlickerRandom random;
    float position = 0.0f;
    for (;;) {
        const float next = position + 2.0f;
        // Past 2^25 single precision cannot take the walk a step further;
        // such times (or infinity) count as off instead of being walked
        // for ever.
        if (next == position)
            return 0.0f;
        position = next;
        if (position > t)
            return 1.0f;
        const float u = random.draw();
        const float gap = ((u * 2.0f - 1.0f) * randomness + 1.0f) * quirkTime;
        position = position + (1.0f > gap ? 1.0f : gap);
        if (!(t >= position))
            return 0.0f;
    }
}

} // namespace VX
