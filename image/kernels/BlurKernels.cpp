#include "image/kernels/BlurKernels.h"

#include <algorithm>

namespace VX {
namespace Image {

namespace {

template <class T>
void gather(const unsigned char* pixels, std::int64_t count, int components, float maximum,
            double* out) {
    const T* s = reinterpret_cast<const T*>(pixels);
    for (std::int64_t i = 0; i < count; ++i)
        out[i] = double(s[i * components]) / double(maximum);
}

template <class T>
void scatter(const double* values, std::int64_t count, std::int64_t stride, unsigned char* pixels) {
    for (std::int64_t i = 0; i < count; ++i) {
        T* d = reinterpret_cast<T*>(pixels + i * stride);
        if constexpr (sizeof(T) == 4) {
            *d = static_cast<float>(values[i]);
        } else {
            constexpr double maximum = sizeof(T) == 1 ? 255.0 : 65535.0;
            double x = values[i] * maximum + 0.5;
            x = x > 0 ? x : 0;
            x = x < maximum ? x : maximum;
            *d = static_cast<T>(static_cast<std::int32_t>(x));
        }
    }
}

} // namespace

GaussianBlurPlan::GaussianBlurPlan(HostImage& destination, const HostImage& input, const Rect& rect,
                                   const DericheCoefficients& first,
                                   const DericheCoefficients& second)
    : destination_(destination), input_(input), first_(first), second_(second), rect_(rect) {
    covered_ = intersect(rect, input.bounds);
    components_ = destination.components;
    maximum_ = destination.depth == 8 ? 255.0f : destination.depth == 16 ? 65535.0f : 1.0f;
    const bool knownDepth =
        destination.depth == 8 || destination.depth == 16 || destination.depth == 32;
    if (covered_.empty() || !knownDepth || components_ <= 0)
        return;
    rows_ = input.bounds.height();
    columns_ = covered_.width() * components_;
    middle_.resize(std::size_t(rows_) * std::size_t(columns_));
}

void GaussianBlurPlan::rowPass(std::int64_t begin, std::int64_t end, Progress* progress) {
    if (begin >= end || middle_.empty())
        return;
    const std::int64_t length = input_.bounds.width();
    const std::int64_t first = covered_.x1 - input_.bounds.x1;
    const std::int64_t count = covered_.width();
    std::vector<double> line(static_cast<std::size_t>(length));
    std::vector<double> work(static_cast<std::size_t>(length));
    std::vector<double> out(static_cast<std::size_t>(count));
    const std::size_t sampleBytes = std::size_t(input_.depth / 8);
    for (std::int64_t r = begin; r < end; ++r) {
        const std::int32_t y = input_.bounds.y1 + std::int32_t(r);
        const unsigned char* row = input_.pixel(input_.bounds.x1, y);
        float* middle = middle_.data() + r * columns_;
        for (int c = 0; c < components_; ++c) {
            const unsigned char* samples = row + std::size_t(c) * sampleBytes;
            if (input_.depth == 8)
                gather<std::uint8_t>(samples, length, components_, maximum_, line.data());
            else if (input_.depth == 16)
                gather<std::uint16_t>(samples, length, components_, maximum_, line.data());
            else
                gather<float>(samples, length, components_, maximum_, line.data());
            dericheLine(first_, line.data(), std::size_t(length), work.data(), std::size_t(first),
                        std::size_t(first + count), out.data());
            for (std::int64_t i = 0; i < count; ++i)
                middle[i * components_ + c] = static_cast<float>(out[std::size_t(i)]);
        }
        // The first pass is the first half of the filter's work.
        const std::int64_t done = r - begin;
        if (progress != nullptr && done % 32 == 0)
            progress->update(std::uint64_t(done), std::uint64_t(2 * (end - begin)));
    }
}

void GaussianBlurPlan::columnPass(std::int64_t begin, std::int64_t end, Progress* progress) {
    if (begin >= end || middle_.empty())
        return;
    const std::int64_t length = rows_;
    const std::int64_t first = covered_.y1 - input_.bounds.y1;
    const std::int64_t count = covered_.height();
    // Neighbouring lines are read together: one pass over the intermediate's
    // rows fills a block of lines instead of one.
    constexpr std::int64_t kBlock = 16;
    std::vector<double> lines(static_cast<std::size_t>(kBlock * length));
    std::vector<double> work(static_cast<std::size_t>(length));
    std::vector<double> out(static_cast<std::size_t>(count));
    const std::int64_t stride = destination_.rowBytes;
    const std::size_t sampleBytes = std::size_t(destination_.depth / 8);
    for (std::int64_t block = begin; block < end; block += kBlock) {
        const std::int64_t size = std::min(kBlock, end - block);
        for (std::int64_t i = 0; i < length; ++i) {
            const float* middle = middle_.data() + i * columns_ + block;
            for (std::int64_t j = 0; j < size; ++j)
                lines[std::size_t(j * length + i)] = middle[j];
        }
        for (std::int64_t j = 0; j < size; ++j) {
            const std::int64_t k = block + j;
            dericheLine(second_, lines.data() + j * length, std::size_t(length), work.data(),
                        std::size_t(first), std::size_t(first + count), out.data());
            const std::int32_t x = covered_.x1 + std::int32_t(k / components_);
            unsigned char* pixels =
                destination_.pixel(x, covered_.y1) + std::size_t(k % components_) * sampleBytes;
            if (destination_.depth == 8)
                scatter<std::uint8_t>(out.data(), count, stride, pixels);
            else if (destination_.depth == 16)
                scatter<std::uint16_t>(out.data(), count, stride, pixels);
            else
                scatter<float>(out.data(), count, stride, pixels);
            const std::int64_t done = k - begin;
            if (progress != nullptr && done % 32 == 0)
                progress->update(std::uint64_t((end - begin) + done),
                                 std::uint64_t(2 * (end - begin)));
        }
    }
}

} // namespace Image
} // namespace VX
