// Each filter of the effect alone on a 1920x1080 frame, for every depth and
// every kernel family this processor runs, on two of our host's threads; and
// the blur at sizes 1, 30 and 100 at every depth, whose cost should not depend on the size.
// Each row carries its ratio to the memory floor of the same frame.
//
// Rows: Filter/<filter>/<depth>/<family>, Blur/size:<size>/<depth>/<family>
#include "BenchSupport.h"

#include "filters/FilterTestsSupport.h"

#include "image/FilterLayer.h"
#include "image/filters/AlphaFilters.h"
#include "image/filters/BalanceFilter.h"
#include "image/filters/BlendFilter.h"
#include "image/filters/GaussianBlurFilter.h"
#include "image/filters/HSVCCFilter.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace {

using filtertest::BoundBridge;
using filtertest::Bridge;
using filtertest::PixelImage;
using VX::Rect;
using VX::Image::ForcedKernelFamily;
using VX::Image::KernelFamily;
namespace Im = VX::Image;

const Rect kFrame{0, 0, 1920, 1080};
constexpr unsigned kThreads = 2;

// A filter of the effect as its graph makes it: the second image is the
// blend's layer (null for the others).
using MakeFilter = std::function<std::unique_ptr<Im::FilterBase<Bridge>>(Im::FilterLayer<Bridge>&,
                                                                         Im::FilterLayer<Bridge>&)>;

struct FilterKind {
    const char* name;
    MakeFilter make;
    bool twoInputs;
};

const FilterKind kFilters[] = {
    {"balance",
     [](Im::FilterLayer<Bridge>&, Im::FilterLayer<Bridge>&) {
         return std::make_unique<Im::BalanceFilter<Bridge>>(nullptr, 0.11f, 0.165f, 0.0f, 1.0f,
                                                            1.0f, true);
     },
     false},
    {"desaturate",
     [](Im::FilterLayer<Bridge>&, Im::FilterLayer<Bridge>&) {
         return std::make_unique<Im::HSVCCFilter<Bridge>>(nullptr, 0.0f, -1.0f, 0.0f);
     },
     false},
    {"blur30",
     [](Im::FilterLayer<Bridge>&, Im::FilterLayer<Bridge>&) {
         return std::make_unique<Im::GaussianBlurFilter<Bridge>>(nullptr, 30.0f, 30.0f, 0.0f, 0u,
                                                                 0u);
     },
     false},
    {"stencil",
     [](Im::FilterLayer<Bridge>& background, Im::FilterLayer<Bridge>& layer) {
         return std::make_unique<Im::BlendFilter<Bridge>>(&background, &layer, 31, 1.0f);
     },
     true},
    {"premultiply",
     [](Im::FilterLayer<Bridge>&, Im::FilterLayer<Bridge>&) {
         return std::make_unique<Im::PremultAlphaFilter<Bridge>>(nullptr);
     },
     false},
    {"unpremultiply",
     [](Im::FilterLayer<Bridge>&, Im::FilterLayer<Bridge>&) {
         return std::make_unique<Im::UnmultAlphaFilter<Bridge>>(nullptr);
     },
     false},
};

void runFilter(benchmark::State& state, const FilterKind* kind, int bits, KernelFamily family) {
    ForcedKernelFamily forced(family);
    BoundBridge bound(kThreads);
    PixelImage source(kFrame, bits, 4, false, 0, bits == 32);
    PixelImage layer(kFrame, bits, 4, false, 0, bits == 32);
    PixelImage output(kFrame, bits, 4, false, 0, bits == 32);
    filtertest::fillRandom(source, 3);
    filtertest::fillRandom(layer, 4);
    Im::FilterLayer<Bridge> background(&source.image), second(&layer.image);
    std::unique_ptr<Im::FilterBase<Bridge>> filter = kind->make(background, second);
    Im::InputImages images{&source.image};
    if (kind->twoInputs)
        images.push_back(&layer.image);
    filter->process(bound.bridge, output.image, images);
    double total = 0.0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        filter->process(bound.bridge, output.image, images);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
        total += took.count();
    }
    const double seconds = total / double(state.iterations());
    const double floor =
        sqbench::leastFloorSeconds(kFrame.width(), kFrame.height(), bits, kThreads);
    state.counters["x_floor"] = seconds / floor;
    state.counters["ns_per_px"] = seconds * 1e9 / (double(kFrame.width()) * kFrame.height());
}

void runBlur(benchmark::State& state, float size, int bits, KernelFamily family) {
    const FilterKind kind{"blur",
                          [size](Im::FilterLayer<Bridge>&, Im::FilterLayer<Bridge>&) {
                              return std::make_unique<Im::GaussianBlurFilter<Bridge>>(
                                  nullptr, size, size, 0.0f, 0u, 0u);
                          },
                          false};
    runFilter(state, &kind, bits, family);
}

int registerRows() {
    for (int f = 0; f < Im::kKernelFamilyCount; ++f) {
        const KernelFamily family = KernelFamily(f);
        if (!filtertest::processorRuns(family))
            continue;
        const std::string familyName = Im::kernelFamilyName(family);
        for (const FilterKind& kind : kFilters)
            for (int bits : {32, 16, 8})
                benchmark::RegisterBenchmark((std::string("Filter/") + kind.name + "/" +
                                              sqbench::depthLabel(bits) + "/" + familyName)
                                                 .c_str(),
                                             runFilter, &kind, bits, family)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond)
                    ->MinTime(0.2);
        for (float size : {1.0f, 30.0f, 100.0f})
            for (int bits : {32, 16, 8})
                benchmark::RegisterBenchmark((std::string("Blur/size:") +
                                              std::to_string(int(size)) + "/" +
                                              sqbench::depthLabel(bits) + "/" + familyName)
                                                 .c_str(),
                                             runBlur, size, bits, family)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond)
                    ->MinTime(0.2);
    }
    return 0;
}

const int kRegistered = registerRows();

} // namespace
