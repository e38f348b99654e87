#pragma once

namespace sqsample {

// One frame of the built-in sample clip: a colourful gradient that drifts
// with time, dark on the left and light on the right, a few bright spots
// circling over it (the effect's mask follows bright areas) and alpha that
// falls off towards the corners.
//
// Writes width x height RGBA floats, premultiplied, the top row first, to
// `rgba`. The same frame number and size give the same bits on every
// platform: the trigonometry and exponentials do not come from the C
// library, whose last-bit rounding differs between systems.
void sampleFrame(int frame, int width, int height, float* rgba);

} // namespace sqsample
