// Memory a render needs beyond the host's images: the process's resident
// peak during one frame, less what was resident before it (the source and
// the output buffer, both already touched). The host keeps no image memory
// between frames here, so every intermediate is counted.
//
// Rows: Memory/<size>/<depth>/<alpha>
#include "EffectSession.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using namespace sqbench;

void peakMemory(benchmark::State& state, Row row) {
    Session s(row, 0);
    if (!s.ok) {
        state.SkipWithError("the plug-in did not load");
        return;
    }
    const double pixels = double(row.size.width) * double(row.size.height);
    double extra = 0.0, peak = 0.0;
    for (auto _ : state) {
        // A fresh output buffer, touched (zero-filled) before the peak starts.
        s.request.reuseOutput = std::make_shared<ofxhost::ImageBuffer>(
            s.source->bounds(), s.source->depth(), s.source->components());
        if (!resetPeakResident()) {
            state.SkipWithError("this system cannot reset the resident peak");
            return;
        }
        const Resident before = residentMemory();
        if (s.render() != kOfxStatOK) {
            state.SkipWithError("the render failed");
            return;
        }
        const Resident after = residentMemory();
        extra = double(after.peak - before.now);
        peak = double(after.peak);
    }
    state.counters["extra_MiB"] = extra / (1024.0 * 1024.0);
    state.counters["extra_bytes_per_px"] = extra / pixels;
    state.counters["resident_peak_GiB"] = peak / (1024.0 * 1024.0 * 1024.0);
}

void add(const Row& row) {
    const std::string name = std::string("Memory/") + row.size.name + "/" + depthLabel(row.bits) +
                             "/" + (row.premultiplied ? "premultiplied" : "straight");
    benchmark::RegisterBenchmark(name.c_str(), peakMemory, row)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

int registerRows() {
    const Size uhd = kSizes[2];
    const Size huge{"16384x16384", 16384, 16384};
    for (bool premultiplied : {false, true}) {
        add({uhd, 32, premultiplied, kOn, 1.0, 2});
        add({uhd, 8, premultiplied, kOn, 1.0, 2});
    }
    add({huge, 8, false, kOn, 1.0, 2});
    return 0;
}

const int kRegistered = registerRows();

} // namespace
