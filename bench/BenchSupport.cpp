#include "BenchSupport.h"

#include "WorkerPool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <tuple>
#include <type_traits>
#include <vector>

namespace sqbench {

const char* depthString(int bits) {
    return bits == 8 ? kOfxBitDepthByte : bits == 16 ? kOfxBitDepthShort : kOfxBitDepthFloat;
}

const char* depthLabel(int bits) { return bits == 8 ? "8-bit" : bits == 16 ? "16-bit" : "float"; }

namespace {

template <class T>
T quantise(float v, float top) {
    v = std::min(std::max(v, 0.0f), 1.0f);
    return static_cast<T>(v * top + 0.5f);
}

template <class T>
void fillRows(ofxhost::ImageBuffer& image, int bits) {
    const int w = image.width(), h = image.height();
    const float top = bits == 8 ? 255.0f : 65535.0f;
    for (int y = 0; y < h; ++y) {
        T* row = static_cast<T*>(image.pixel(image.bounds().x1, image.bounds().y1 + y));
        const float fy = float(y) / float(std::max(h - 1, 1));
        for (int x = 0; x < w; ++x) {
            const float fx = float(x) / float(std::max(w - 1, 1));
            // A gradient under a few bright spots, alpha fading to the corners.
            const float spot = std::max(
                0.0f, 1.0f - 40.0f * ((fx - 0.3f) * (fx - 0.3f) + (fy - 0.6f) * (fy - 0.6f)));
            const float rgba[4] = {
                0.2f + 0.6f * fx + spot, 0.1f + 0.5f * fy + spot, 0.6f - 0.4f * fx + 0.5f * spot,
                1.0f - 0.5f * (fx - 0.5f) * (fx - 0.5f) - 0.5f * (fy - 0.5f) * (fy - 0.5f)};
            for (int c = 0; c < 4; ++c) {
                if constexpr (std::is_same<T, float>::value)
                    row[4 * x + c] = rgba[c];
                else
                    row[4 * x + c] = quantise<T>(rgba[c], top);
            }
        }
    }
}

// Sums the words of rows [y1, y2) (a read the compiler cannot drop).
std::uint64_t readRows(const ofxhost::ImageBuffer& image, int y1, int y2) {
    const std::size_t words =
        std::size_t(image.rowBytes() < 0 ? -image.rowBytes() : image.rowBytes()) / 8;
    std::uint64_t sum = 0;
    for (int y = y1; y < y2; ++y) {
        const auto* row = static_cast<const std::uint64_t*>(
            image.pixel(image.bounds().x1, image.bounds().y1 + y));
        std::uint64_t s0 = 0, s1 = 0, s2 = 0, s3 = 0;
        std::size_t i = 0;
        for (; i + 4 <= words; i += 4) {
            s0 += row[i];
            s1 += row[i + 1];
            s2 += row[i + 2];
            s3 += row[i + 3];
        }
        for (; i < words; ++i)
            s0 += row[i];
        sum += s0 + s1 + s2 + s3;
    }
    return sum;
}

std::uint64_t gSink = 0;

} // namespace

std::shared_ptr<ofxhost::ImageBuffer> makeSource(int width, int height, int bits) {
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, width, height},
                                                        depthString(bits), kOfxImageComponentRGBA,
                                                        false, kOfxImageUnPreMultiplied);
    if (bits == 8)
        fillRows<std::uint8_t>(*image, bits);
    else if (bits == 16)
        fillRows<std::uint16_t>(*image, bits);
    else
        fillRows<float>(*image, bits);
    return image;
}

void floorPass(const ofxhost::ImageBuffer& source, ofxhost::ImageBuffer& output, unsigned threads) {
    // Threads kept from pass to pass, as the host keeps its render threads:
    // the floor is the memory's, not the cost of starting threads.
    static ofxhost::WorkerPool pool;
    static std::mutex poolMutex;
    std::lock_guard<std::mutex> lock(poolMutex);
    const int h = source.height();
    const std::size_t rowBytes =
        std::size_t(source.rowBytes() < 0 ? -source.rowBytes() : source.rowBytes());
    std::vector<std::uint64_t> sums(threads, 0);
    std::atomic<unsigned> next{0};
    const std::function<void()> work = [&]() {
        const unsigned t = next++;
        const int y1 = int(std::int64_t(h) * t / threads);
        const int y2 = int(std::int64_t(h) * (t + 1) / threads);
        std::uint64_t sum = readRows(source, y1, y2);
        sum += readRows(source, y1, y2);
        for (int y = y1; y < y2; ++y)
            std::memcpy(output.pixel(output.bounds().x1, output.bounds().y1 + y),
                        source.pixel(source.bounds().x1, source.bounds().y1 + y), rowBytes);
        sums[t] = sum;
    };
    pool.run(threads, work);
    for (std::uint64_t s : sums)
        gSink += s;
}

double floorSeconds(const ofxhost::ImageBuffer& source, ofxhost::ImageBuffer& output,
                    unsigned threads, int repeats) {
    double best = 1e30;
    for (int i = 0; i < repeats; ++i) {
        const auto start = std::chrono::steady_clock::now();
        floorPass(source, output, threads);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return best;
}

double smallest(const std::vector<double>& values) {
    return values.empty() ? 0.0 : *std::min_element(values.begin(), values.end());
}

double leastFloorSeconds(int width, int height, int bits, unsigned threads) {
    // Each call measures the floor again and keeps the least time so far:
    // a floor measured once, in a disturbed moment, would flatter every row
    // read against it. The first call measures it many times, so that the
    // rows read against it early see nearly the floor the last ones see:
    // otherwise the least `x_floor` of a row's repetitions would come from
    // its first, against the highest floor.
    struct Floor {
        std::shared_ptr<ofxhost::ImageBuffer> source;
        std::unique_ptr<ofxhost::ImageBuffer> output;
        double seconds = 1e30;
    };
    static std::mutex mutex;
    static std::map<std::tuple<int, int, int, unsigned>, Floor> known;
    std::lock_guard<std::mutex> lock(mutex);
    Floor& floor = known[std::make_tuple(width, height, bits, threads)];
    int repeats = 15;
    if (!floor.source) {
        floor.source = makeSource(width, height, bits);
        floor.output = std::make_unique<ofxhost::ImageBuffer>(
            floor.source->bounds(), floor.source->depth(), floor.source->components());
        floorPass(*floor.source, *floor.output, threads);
        repeats = 200;
    }
    floor.seconds =
        std::min(floor.seconds, floorSeconds(*floor.source, *floor.output, threads, repeats));
    return floor.seconds;
}

} // namespace sqbench
