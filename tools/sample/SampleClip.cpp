#include "SampleClip.h"

#include "image/kernels/ReproducibleMath.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace sqsample {

namespace {

constexpr float kPi = 3.14159265f;

// float in, float out; sqrt, the only function taken from the C library, is
// correctly rounded everywhere.
float cosine(float x) { return static_cast<float>(VX::Image::reproducibleCos(double(x))); }
float sine(float x) { return static_cast<float>(VX::Image::reproducibleSin(double(x))); }
float exponential(float x) { return static_cast<float>(VX::Image::reproducibleExp(double(x))); }

// A hue in 0..1 to a saturated colour.
void hueToRgb(float hue, float rgb[3]) {
    for (int c = 0; c < 3; ++c) {
        const float phase = hue + static_cast<float>(c) / 3.0f;
        rgb[c] = 0.5f + 0.5f * cosine(2.0f * kPi * phase);
    }
}

} // namespace

void sampleFrame(int frame, int width, int height, float* rgba) {
    const float t = static_cast<float>(frame);
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);
    struct Spot {
        float cx, cy, radius;
    };
    Spot spots[3];
    for (int i = 0; i < 3; ++i) {
        const float angle = t * 0.21f + static_cast<float>(i) * 2.0f * kPi / 3.0f;
        spots[i].cx = w * (0.5f + 0.3f * cosine(angle));
        spots[i].cy = h * (0.5f + 0.3f * sine(angle * 1.3f));
        spots[i].radius = std::min(w, h) * (0.08f + 0.02f * static_cast<float>(i));
    }
    const float half = std::sqrt(0.25f * w * w + 0.25f * h * h);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float fx = static_cast<float>(x) + 0.5f;
            const float fy = static_cast<float>(y) + 0.5f;
            float rgb[3];
            hueToRgb(fx / w * 0.8f + fy / h * 0.3f + t * 0.02f, rgb);
            // Dark on the left, light on the right, so that the effect's
            // mask of the bright areas shows: the left third falls below it.
            const float across = fx / w;
            const float light = 0.1f + 0.9f * across * across;
            for (float& v : rgb) {
                v = light * (0.15f + 0.55f * v);
            }
            for (const Spot& s : spots) {
                const float dx = (fx - s.cx) / s.radius;
                const float dy = (fy - s.cy) / s.radius;
                const float glow = exponential(-(dx * dx + dy * dy));
                for (float& v : rgb) {
                    v += glow * (1.0f - v);
                }
            }
            const float r =
                std::sqrt((fx - 0.5f * w) * (fx - 0.5f * w) + (fy - 0.5f * h) * (fy - 0.5f * h)) /
                half;
            const float alpha = std::clamp(1.25f - 1.1f * r, 0.0f, 1.0f);
            float* d = rgba + (std::size_t(y) * std::size_t(width) + std::size_t(x)) * 4;
            d[0] = rgb[0] * alpha;
            d[1] = rgb[1] * alpha;
            d[2] = rgb[2] * alpha;
            d[3] = alpha;
        }
    }
}

} // namespace sqsample
