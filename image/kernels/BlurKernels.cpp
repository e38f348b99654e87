#include "image/kernels/BlurKernels.h"

#include "image/kernels/DericheLines.h"
#include "image/kernels/SampleRules.h"

#include <algorithm>
#include <cstring>

namespace VX {
namespace Image {

namespace {

// Lines filtered side by side: enough independent lines for the widest
// family to hide each step's latency.
constexpr std::int64_t kLanes = 32;

template <class T>
double unit(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return SampleRules::blurLoad(v);
}

template <class T>
void storeSample(double value, unsigned char* p) {
    const T v = SampleRules::blurStore<T>(value);
    std::memcpy(p, &v, sizeof v);
}

} // namespace

GaussianBlurPlan::GaussianBlurPlan(HostImage& destination, const HostImage& input, const Rect& rect,
                                   const DericheCoefficients& first,
                                   const DericheCoefficients& second, KernelFamily family,
                                   ::VX::Host::OFX::ImageBuffer& middle)
    : destination_(destination), input_(input), first_(first), second_(second), family_(family) {
    covered_ = intersect(rect, input.bounds);
    components_ = destination.components;
    const bool knownDepth =
        destination.depth == 8 || destination.depth == 16 || destination.depth == 32;
    if (covered_.empty() || !knownDepth || components_ <= 0 || components_ > 4)
        return;
    rows_ = input.bounds.height();
    columns_ = covered_.width() * components_;
    // Rows of one block: as many as fill the lanes with whole pixels' channels.
    rowsPerBlock_ = kLanes / components_;
    rowLanes_ = (rowsPerBlock_ * components_ + 7) / 8 * 8;
    rowBlocks_ = (rows_ + rowsPerBlock_ - 1) / rowsPerBlock_;
    columnBlocks_ = (columns_ + kLanes - 1) / kLanes;
    // A block's recursions' results and samples, in doubles: along the rows
    // the samples are doubles, down the columns the intermediate's floats.
    const std::size_t rowValues = 2 * std::size_t(input.bounds.width() * rowLanes_);
    const std::size_t columnValues = std::size_t(rows_ * kLanes);
    lineValues_ = std::max(rowValues, columnValues + (columnValues + 1) / 2);
    middle.allocate(std::size_t(rows_) * std::size_t(columns_) * sizeof(float));
    middle_ = static_cast<float*>(middle.data());
}

void GaussianBlurPlan::rowPass(BlockTaker& blocks, double* lines) {
    if (middle_ == nullptr)
        return;
    std::int64_t block = blocks.next();
    if (block < 0)
        return;
    const std::int64_t length = input_.bounds.width();
    const std::int64_t first = covered_.x1 - input_.bounds.x1;
    const std::int64_t count = covered_.width();
    const std::int64_t lanes = rowLanes_, c = components_;
    double* in = lines;
    double* work = lines + length * lanes;
    const std::size_t sampleBytes = std::size_t(input_.depth / 8);

    for (; block >= 0; block = blocks.next()) {
        const std::int64_t r0 = block * rowsPerBlock_;
        const std::int64_t rowsHere = std::min(rowsPerBlock_, rows_ - r0);
        // Lanes of rows beyond the input (the last block) and spare lanes
        // filter zeros that nobody reads.
        for (std::int64_t x = 0; x < length; ++x) {
            double* to = in + x * lanes;
            for (std::int64_t lane = rowsHere * c; lane < lanes; ++lane)
                to[lane] = 0.0;
        }
        for (std::int64_t r = 0; r < rowsHere; ++r) {
            const unsigned char* row =
                input_.pixel(input_.bounds.x1, input_.bounds.y1 + std::int32_t(r0 + r));
            double* to = in + r * c;
            const std::int64_t samples = length * c;
            // Sample s of the row is channel s % c of pixel s / c.
            for (std::int64_t s = 0; s < samples; ++s) {
                const unsigned char* p = row + std::size_t(s) * sampleBytes;
                const double v = input_.depth == 8    ? unit<std::uint8_t>(p)
                                 : input_.depth == 16 ? unit<std::uint16_t>(p)
                                                      : unit<float>(p);
                to[(s / c) * lanes + s % c] = v;
            }
        }
        dericheBlock(family_, {&first_, in, work, std::size_t(length), std::size_t(lanes),
                               std::size_t(first), std::size_t(first + count)});
        for (std::int64_t r = 0; r < rowsHere; ++r) {
            float* to = middle_ + (r0 + r) * columns_;
            const double* from = work + first * lanes + r * c;
            for (std::int64_t x = 0; x < count; ++x)
                for (std::int64_t k = 0; k < c; ++k)
                    to[x * c + k] = static_cast<float>(from[x * lanes + k]);
        }
    }
}

void GaussianBlurPlan::columnPass(BlockTaker& blocks, double* lines) {
    if (middle_ == nullptr)
        return;
    std::int64_t block = blocks.next();
    if (block < 0)
        return;
    const std::int64_t length = rows_;
    const std::int64_t first = covered_.y1 - input_.bounds.y1;
    const std::int64_t count = covered_.height();
    // The intermediate's samples are floats, and go to the kernel as such.
    double* work = lines;
    float* in = reinterpret_cast<float*>(lines + length * kLanes);
    const std::size_t sampleBytes = std::size_t(destination_.depth / 8);

    for (; block >= 0; block = blocks.next()) {
        const std::int64_t k0 = block * kLanes;
        const std::int64_t used = std::min(kLanes, columns_ - k0);
        for (std::int64_t y = 0; y < length; ++y)
            loadLineFloats<kLanes>(in + y * kLanes, middle_ + y * columns_ + k0, std::size_t(used));
        dericheBlock(family_, {&second_, nullptr, work, std::size_t(length), std::size_t(kLanes),
                               std::size_t(first), std::size_t(first + count), in});
        // The block's lanes are consecutive samples of each destination row.
        for (std::int64_t y = 0; y < count; ++y) {
            unsigned char* to = destination_.pixel(covered_.x1, covered_.y1 + std::int32_t(y)) +
                                std::size_t(k0) * sampleBytes;
            const double* from = work + (first + y) * kLanes;
            for (std::int64_t j = 0; j < used; ++j) {
                unsigned char* p = to + std::size_t(j) * sampleBytes;
                if (destination_.depth == 8)
                    storeSample<std::uint8_t>(from[j], p);
                else if (destination_.depth == 16)
                    storeSample<std::uint16_t>(from[j], p);
                else
                    storeSample<float>(from[j], p);
            }
        }
    }
}

} // namespace Image
} // namespace VX
