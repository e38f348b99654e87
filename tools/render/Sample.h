#pragma once

#include "ImageIO.h"
#include "SampleClip.h"

namespace ofxrender {

// One frame of the built-in sample clip (see sqsample::sampleFrame).
inline Frame sampleFrame(int frame, int width, int height) {
    Frame out(width, height);
    sqsample::sampleFrame(frame, width, height, out.pixels.data());
    return out;
}

} // namespace ofxrender
