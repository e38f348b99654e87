#pragma once

#include "ImageIO.h"

namespace ofxrender {

// One frame of the built-in sample clip: a colourful gradient that drifts
// with time, a few bright spots circling over it (the effect's mask follows
// bright areas) and alpha that falls off towards the corners, premultiplied.
Frame sampleFrame(int frame, int width, int height);

} // namespace ofxrender
