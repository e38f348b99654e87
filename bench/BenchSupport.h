#pragma once

// Pieces shared by the benchmarks: source frames, the memory floor every
// figure is read against, and the process's resident memory.

#include "Image.h"

#include "ofx/ofxImageEffect.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sqbench {

// Bits per sample to the host's depth strings and back.
const char* depthString(int bits);
const char* depthLabel(int bits); // "8-bit", "16-bit", "float"

// A frame of varied colour and alpha, like footage: a gradient with bright
// spots, every sample written (so its pages are resident).
std::shared_ptr<ofxhost::ImageBuffer> makeSource(int width, int height, int bits);

// The memory floor of a frame: the source read twice and the output written
// once, split over `threads` threads as a render is. Returns the shortest of
// `repeats` passes in seconds.
double floorSeconds(const ofxhost::ImageBuffer& source, ofxhost::ImageBuffer& output,
                    unsigned threads, int repeats);

// One pass of the floor (for the floor's own benchmark rows).
void floorPass(const ofxhost::ImageBuffer& source, ofxhost::ImageBuffer& output, unsigned threads);

// The floor for a frame size, depth and thread count on buffers of their
// own: measured again at each call, the least time of the run so far.
double leastFloorSeconds(int width, int height, int bits, unsigned threads);

// The smallest of a row's repetitions: on a shared machine the least
// disturbed run (--benchmark_repetitions=N prints it as the row's _min).
double smallest(const std::vector<double>& values);

// Resident memory of this process: now and the peak since the last reset.
// Both 0 where the system does not say (then the memory rows are skipped).
struct Resident {
    std::uint64_t now = 0;
    std::uint64_t peak = 0;
};
Resident residentMemory();
// Starts a new peak at the present resident size; false where unsupported.
bool resetPeakResident();

} // namespace sqbench
