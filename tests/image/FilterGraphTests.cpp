#include "ImageTestSupport.h"

#include "image/ClearFilter.h"
#include "image/Evaluate.h"
#include "image/FilterSet.h"
#include "image/Exceptions.h"
#include "image/FilterLayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using imagetest::BoundBridge;
using imagetest::Bridge;
using imagetest::ByteFilter;
using imagetest::PixelImage;
using VX::kEmptyRect;
using VX::kInfiniteRect;
using VX::Rect;
using VX::Image::connect;
using VX::Image::HostImage;

using Base = VX::Image::FilterBase<Bridge>;
using Layer = VX::Image::FilterLayer<Bridge>;
using Clear = VX::Image::ClearFilter<Bridge>;

// Answers region questions only: its input must supply `margin` more pixels
// on every side.
class RegionNode : public Base {
public:
    explicit RegionNode(int m = 0) : margin(m) {}
    const char* name() const override { return "region"; }
    Rect regionOfInterest(const Rect& r, std::size_t) const override {
        ++roiCalls;
        return {r.x1 - margin, r.y1 - margin, r.x2 + margin, r.y2 + margin};
    }
    int margin;
    mutable int roiCalls = 0;
};

VX::Image::RenderArgs argsFor(const Rect& window, HostImage& output) {
    VX::Image::RenderArgs args;
    args.window = window;
    args.output = &output;
    return args;
}

bool inside(const Rect& r, int x, int y) { return x >= r.x1 && x < r.x2 && y >= r.y1 && y < r.y2; }

// Checks every byte of `image`: `expected(x, y, b)` inside `window`, the
// untouched fill outside.
void expectPixels(PixelImage& image, const Rect& window,
                  const std::function<unsigned char(int, int, int)>& expected) {
    const Rect& bounds = image.image.bounds;
    for (int y = bounds.y1; y < bounds.y2; ++y)
        for (int x = bounds.x1; x < bounds.x2; ++x)
            for (int b = 0; b < image.pixelBytes(); ++b)
                ASSERT_EQ(image.at(x, y)[b], inside(window, x, y) ? expected(x, y, b) : 0xEE)
                    << x << "," << y << " byte " << b;
}

unsigned char plus(int x, int y, int b, int add, int times = 1) {
    return static_cast<unsigned char>(times * PixelImage::pattern(x, y, b) + add);
}

// --- regions and costs ------------------------------------------------------------

TEST(RequestRegion, SharedNodeGetsTheUnionAndIsRevisitedOnlyWhenItGrows) {
    RegionNode top, left(1), right(3), shared;
    Layer leaf;
    connect(top, left);
    connect(top, right);
    connect(left, shared);
    connect(right, shared);
    connect(shared, leaf);

    top.requestRegion({10, 10, 20, 20});
    EXPECT_EQ(left.needed, (Rect{10, 10, 20, 20}));
    EXPECT_EQ(shared.needed, (Rect{7, 7, 23, 23})); // {9..21} joined with {7..23}
    EXPECT_EQ(leaf.needed, shared.needed);
    EXPECT_EQ(shared.roiCalls, 2);

    top.requestRegion({12, 12, 18, 18}); // inside what is needed already
    EXPECT_EQ(top.roiCalls, 2);
    shared.requestRegion({8, 8, 22, 22});
    EXPECT_EQ(shared.roiCalls, 2);

    shared.requestRegion({0, 7, 5, 8}); // grows to the left only
    EXPECT_EQ(shared.needed, (Rect{0, 7, 23, 23}));
    EXPECT_EQ(leaf.needed, (Rect{0, 7, 23, 23}));
    EXPECT_EQ(shared.roiCalls, 3);

    shared.needed = kInfiniteRect;
    shared.requestRegion({-100, -100, 100, 100});
    EXPECT_EQ(shared.roiCalls, 3);
}

TEST(RequestRegion, EmptyRequestOnlyForgetsTheSharedResult) {
    RegionNode node;
    node.cachedImage = VX::Image::makeShared<HostImage>();
    node.served = 3;
    node.requestRegion({5, 5, 5, 9});
    EXPECT_FALSE(node.cachedImage);
    EXPECT_EQ(node.served, 0u);
    EXPECT_EQ(node.needed, kEmptyRect);
}

TEST(TotalCost, CountsEveryFilterOnce) {
    {
        Layer layer;
        EXPECT_EQ(layer.totalCost(), 0u);
        EXPECT_EQ(layer.totalCost(), 0u);
    }
    {
        Layer layer;
        ByteFilter filter;
        connect(filter, layer);
        EXPECT_EQ(filter.totalCost(), 1u);
    }
    {
        // Two filters read one shared filter over a layer; a third sums them.
        Layer layer;
        ByteFilter shared, left, right, top;
        connect(shared, layer);
        connect(left, shared);
        connect(right, shared);
        connect(top, left);
        connect(top, right);
        EXPECT_EQ(top.totalCost(), 4u);
        EXPECT_EQ(top.totalCost(), 0u);
    }
    {
        Clear clear;
        ByteFilter filter;
        connect(filter, clear);
        EXPECT_EQ(filter.totalCost(), 1u);
    }
}

TEST(RegionOfDefinition, FollowsTheFirstInputOrIsUnbounded) {
    PixelImage source({0, 0, 4, 4}, 8, 4, false);
    source.image.rod = {-3, -4, 50, 60};
    Layer withImage(&source.image, {1, 1, 2, 2});
    Layer withoutImage(nullptr, {1, 2, 3, 4});
    EXPECT_EQ(withImage.regionOfDefinition(), source.image.rod);
    EXPECT_EQ(withoutImage.regionOfDefinition(), (Rect{1, 2, 3, 4}));

    ByteFilter alone, reader;
    EXPECT_EQ(alone.regionOfDefinition(), kInfiniteRect);
    connect(reader, withoutImage);
    connect(reader, withImage);
    EXPECT_EQ(reader.regionOfDefinition(), (Rect{1, 2, 3, 4}));

    Clear clear;
    connect(clear, withImage);
    EXPECT_EQ(clear.regionOfDefinition(), kInfiniteRect);

    EXPECT_TRUE(ByteFilter(1).equals(ByteFilter(2)));
    EXPECT_FALSE(clear.equals(reader));
}

// --- row bands ----------------------------------------------------------------------

TEST(RowBand, BandsAreContiguousCoverEveryRowAndDifferByAtMostOne) {
    const Rect tall{0, -2147483647 - 1, 1, 2147483647};
    const std::vector<Rect> boundsCases = {{0, 0, 5, 3}, {3, -7, 9, 10}, {0, 0, 1, 1}, tall};
    for (const Rect& bounds : boundsCases)
        for (unsigned count : {1u, 2u, 3u, 4u, 7u, 16u}) {
            SCOPED_TRACE(std::to_string(bounds.y1) + ".." + std::to_string(bounds.y2) + " on " +
                         std::to_string(count));
            std::int64_t next = bounds.y1, largest = 0;
            std::int64_t smallest = std::numeric_limits<std::int64_t>::max();
            for (unsigned i = 0; i < count; ++i) {
                const Rect band = VX::Image::rowBand(bounds, i, count);
                EXPECT_EQ(band.x1, bounds.x1);
                EXPECT_EQ(band.x2, bounds.x2);
                EXPECT_EQ(band.y1, next);
                EXPECT_GE(band.height(), 0);
                next = band.y2;
                smallest = std::min(smallest, band.height());
                largest = std::max(largest, band.height());
            }
            EXPECT_EQ(next, bounds.y2);
            EXPECT_LE(largest - smallest, 1);
        }
    // Three rows on four threads: the first band is the empty one.
    EXPECT_TRUE(VX::Image::rowBand({0, 0, 5, 3}, 0, 4).empty());
    EXPECT_EQ(VX::Image::rowBand({0, 0, 5, 3}, 3, 4), (Rect{0, 2, 5, 3}));
}

// Rows wide enough to be worth a thread each.
constexpr int kWide = 6000;

TEST(FilterProcess, ThreeRowsOnFourThreadsProcessEachRowOnce) {
    BoundBridge b(4);
    PixelImage out({2, 5, 2 + kWide, 8}, 8, 4, true);
    ByteFilter filter(9);
    filter.process(b.bridge, out.image, {});

    ASSERT_EQ(filter.bands.size(), 3u); // the empty band never reaches processRect
    std::vector<int> rows(3, 0);
    for (const Rect& band : filter.bands) {
        EXPECT_EQ(band.height(), 1);
        EXPECT_EQ(band.x1, 2);
        EXPECT_EQ(band.x2, 2 + kWide);
        for (int y = band.y1; y < band.y2; ++y)
            ++rows[std::size_t(y - 5)];
    }
    EXPECT_EQ(rows, (std::vector<int>{1, 1, 1}));
    std::vector<unsigned> threads = filter.threads;
    std::sort(threads.begin(), threads.end());
    EXPECT_EQ(threads, (std::vector<unsigned>{1, 2, 3}));
    expectPixels(out, out.image.bounds, [](int, int, int) { return 9; });
}

TEST(FilterProcess, TenRowsOnFourThreads) {
    BoundBridge b(4);
    PixelImage out({0, 0, kWide, 10}, 8, 1, false);
    ByteFilter filter(1);
    filter.process(b.bridge, out.image, {});
    std::vector<Rect> bands = filter.bands;
    std::sort(bands.begin(), bands.end(), [](const Rect& l, const Rect& r) { return l.y1 < r.y1; });
    EXPECT_EQ(bands, (std::vector<Rect>{
                         {0, 0, kWide, 2}, {0, 2, kWide, 5}, {0, 5, kWide, 7}, {0, 7, kWide, 10}}));
}

// A frame smaller than a thread's worth stays on the calling thread, in one
// band; one pixel more and the host's threads share it.
TEST(FilterProcess, SmallImagesStayOnTheCallingThread) {
    using F = VX::Image::Filter<Bridge>;
    const int rows = 4, width = int(F::kPixelsWorthAThread / rows);
    for (int extra : {0, 1}) {
        SCOPED_TRACE(extra);
        BoundBridge b(4);
        PixelImage out({0, 0, width - 1 + extra, rows}, 8, 1, false);
        ByteFilter filter(3);
        filter.process(b.bridge, out.image, {});
        EXPECT_EQ(filter.bands.size(), extra == 0 ? 1u : 4u);
        expectPixels(out, out.image.bounds, [](int, int, int) { return 3; });
    }
}

// --- in-place decisions -------------------------------------------------------------

// A point filter in every respect but its region of interest, which shrinks.
class ShrinkingFilter : public ByteFilter {
public:
    Rect regionOfInterest(const Rect& r, std::size_t) const override {
        return {r.x1 + 1, r.y1 + 1, r.x2 - 1, r.y2 - 1};
    }
};

TEST(InPlace, TheFirstSoleCoveringAcceptedNonLayerInputIsChosen) {
    const Rect window{0, 0, 8, 8};
    {
        SCOPED_TRACE("single filter input");
        Layer layer;
        ByteFilter input, user;
        connect(input, layer);
        connect(user, input);
        user.requestRegion(window);
        EXPECT_EQ(user.inPlaceIndex(), 0u);
        EXPECT_EQ(input.inPlaceIndex(), 1u); // a layer never
    }
    {
        SCOPED_TRACE("the user refuses");
        ByteFilter input, user(0, false);
        connect(user, input);
        user.requestRegion(window);
        EXPECT_EQ(user.inPlaceIndex(), 1u);
    }
    {
        SCOPED_TRACE("input read by two");
        ByteFilter input, user, other;
        connect(user, input);
        connect(other, input);
        user.requestRegion(window);
        EXPECT_EQ(user.inPlaceIndex(), 1u);
    }
    {
        SCOPED_TRACE("input needed less than the user");
        ByteFilter input;
        ShrinkingFilter user;
        connect(user, input);
        user.requestRegion(window);
        EXPECT_EQ(user.inPlaceIndex(), 1u);
    }
    {
        SCOPED_TRACE("layer first, filter second");
        Layer layer;
        ByteFilter input, user;
        connect(user, layer);
        connect(user, input);
        user.requestRegion(window);
        EXPECT_EQ(user.inPlaceIndex(), 1u);
    }
}

// A chain of point filters over a layer shares the output's pixels: the root
// writes the output, its input writes into a view of it.
TEST(Evaluate, PointChainRendersInPlaceIntoTheOutput) {
    for (bool bottomUp : {false, true}) {
        SCOPED_TRACE(bottomUp ? "bottom-up output" : "top-down output");
        BoundBridge b(3);
        PixelImage source({0, 0, 8, 6}, 8, 4, false);
        source.fillPattern();
        PixelImage out({0, 0, 8, 6}, 8, 4, bottomUp);
        Layer layer(&source.image);
        ByteFilter first(1), second(2);
        connect(first, layer);
        connect(second, first);

        const Rect window{1, 1, 7, 5};
        VX::Image::evaluate<Bridge>(second, b.bridge, argsFor(window, out.image));

        expectPixels(out, window, [](int x, int y, int c) { return plus(x, y, c, 3); });
        EXPECT_EQ(second.destinationData, out.at(1, 1));
        EXPECT_EQ(first.destinationData, second.destinationData);
        EXPECT_EQ(second.inputData, std::vector<void*>{out.at(1, 1)});
        EXPECT_EQ(first.inputData, std::vector<void*>{source.image.data}); // no copy of the layer
        EXPECT_EQ(first.renderWindow, window);
    }
}

TEST(Evaluate, RefusedInPlaceRendersIntoAnIntermediateImage) {
    BoundBridge b(2);
    PixelImage source({0, 0, 8, 6}, 8, 4, false);
    source.fillPattern();
    PixelImage out({0, 0, 8, 6}, 8, 4, true);
    Layer layer(&source.image);
    ByteFilter first(1), second(2, false);
    connect(first, layer);
    connect(second, first);
    VX::Image::evaluate<Bridge>(second, b.bridge, argsFor(out.image.bounds, out.image));

    expectPixels(out, out.image.bounds, [](int x, int y, int c) { return plus(x, y, c, 3); });
    const auto* data = static_cast<unsigned char*>(first.destinationData);
    EXPECT_TRUE(data < out.bytes.data() || data >= out.bytes.data() + out.bytes.size());
    EXPECT_EQ(first.destinationBounds, out.image.bounds);
}

// The output is smaller than the window: nothing is written outside it, and
// filters below still compute what they were asked.
TEST(Evaluate, WindowBeyondTheOutputWritesOnlyTheOutput) {
    BoundBridge b(2);
    PixelImage source({-3, -3, 9, 9}, 8, 4, false);
    source.fillPattern();
    PixelImage out({0, 0, 4, 4}, 8, 4, true);
    Layer layer(&source.image);
    ByteFilter first(1), second(2);
    connect(first, layer);
    connect(second, first);
    VX::Image::evaluate<Bridge>(second, b.bridge, argsFor({-2, -2, 6, 6}, out.image));
    expectPixels(out, out.image.bounds, [](int x, int y, int c) { return plus(x, y, c, 3); });
    EXPECT_EQ(second.destinationBounds, out.image.bounds);
}

// Asks one pixel more of its input than it writes, yet takes it in place.
class GrowingFilter : public ByteFilter {
public:
    Rect regionOfInterest(const Rect& r, std::size_t) const override {
        return {r.x1 - 1, r.y1 - 1, r.x2 + 1, r.y2 + 1};
    }
};

// A filter that takes over its in-place input's larger image still writes
// only what it needs: its other inputs cover no more.
TEST(Evaluate, TakenOverInputImageIsLimitedToWhatTheFilterNeeds) {
    BoundBridge b(2);
    PixelImage source({0, 0, 8, 8}, 8, 4, false);
    source.fillPattern();
    PixelImage out({0, 0, 8, 8}, 8, 4, false);
    Layer layer(&source.image);
    ByteFilter input(1), root(0, false);
    GrowingFilter middle;
    connect(input, layer);
    connect(middle, input);
    connect(root, middle);
    const Rect window{2, 2, 6, 6};
    VX::Image::evaluate<Bridge>(root, b.bridge, argsFor(window, out.image));

    EXPECT_EQ(input.destinationBounds, (Rect{1, 1, 7, 7}));
    EXPECT_EQ(middle.destinationBounds, window);
    // Written into the input's image, from the window's corner on.
    EXPECT_EQ(middle.inputData, std::vector<void*>{input.destinationData});
    const auto* corner = static_cast<unsigned char*>(input.destinationData);
    EXPECT_GT(static_cast<unsigned char*>(middle.destinationData), corner);
    expectPixels(out, window, [](int x, int y, int c) { return plus(x, y, c, 1); });
}

// --- shared nodes -----------------------------------------------------------------

TEST(Evaluate, DiamondProcessesTheSharedFilterOnceForBothReaders) {
    BoundBridge b(4);
    PixelImage source({0, 0, 6, 5}, 8, 4, false);
    source.fillPattern();
    PixelImage out({0, 0, 6, 5}, 8, 4, false);
    Layer layer(&source.image);
    ByteFilter shared(1), left(10), right(20), top(0);
    connect(shared, layer);
    connect(left, shared);
    connect(right, shared);
    connect(top, left);
    connect(top, right);
    VX::Image::evaluate<Bridge>(top, b.bridge, argsFor(out.image.bounds, out.image));

    expectPixels(out, out.image.bounds, [](int x, int y, int c) { return plus(x, y, c, 32, 2); });
    EXPECT_EQ(shared.processCalls, 1);
    EXPECT_EQ(left.processCalls, 1);
    EXPECT_EQ(right.processCalls, 1);
    EXPECT_EQ(left.inputData, right.inputData); // both read the one result
    EXPECT_EQ(left.inputData[0], shared.destinationData);
    EXPECT_EQ(left.inPlaceIndex(), 1u); // a shared input is never written in place
    EXPECT_EQ(left.destinationData, out.at(0, 0));
    EXPECT_EQ(shared.served, 2u);
    EXPECT_FALSE(shared.cachedImage); // the last reader let it go
}

TEST(Evaluate, InputReadTwiceByOneFilterRendersOnce) {
    BoundBridge b(1);
    PixelImage source({0, 0, 4, 3}, 8, 4, false);
    source.fillPattern();
    PixelImage out({0, 0, 4, 3}, 8, 4, true);
    Layer layer(&source.image);
    ByteFilter twice(5), sum(0);
    connect(twice, layer);
    connect(sum, twice);
    connect(sum, twice);
    VX::Image::evaluate<Bridge>(sum, b.bridge, argsFor(out.image.bounds, out.image));
    expectPixels(out, out.image.bounds, [](int x, int y, int c) { return plus(x, y, c, 10, 2); });
    EXPECT_EQ(twice.processCalls, 1);
}

TEST(Evaluate, OutputsOutsideTheGraphAreForgotten) {
    BoundBridge b(2);
    PixelImage source({0, 0, 4, 4}, 8, 4, false);
    source.fillPattern();
    PixelImage out({0, 0, 4, 4}, 8, 4, false);
    Layer layer(&source.image);
    ByteFilter input(1), root(2), elsewhere(3);
    connect(input, layer);
    connect(root, input);
    connect(elsewhere, input);
    VX::Image::evaluate<Bridge>(root, b.bridge, argsFor(out.image.bounds, out.image));

    EXPECT_EQ(input.outputs, Base::Links{&root});
    EXPECT_EQ(input.destinationData, out.at(0, 0)); // no longer shared: in place
    EXPECT_EQ(elsewhere.processCalls, 0);
    expectPixels(out, out.image.bounds, [](int x, int y, int c) { return plus(x, y, c, 3); });
}

TEST(TakeCached, CopiesIntoReadersWithPixelsAndSharesWithTheOthers) {
    PixelImage cached({0, 0, 3, 2}, 8, 4, true);
    cached.fillPattern();
    PixelImage reader({0, 0, 3, 2}, 8, 4, false);
    ByteFilter shared, one, two, three;
    connect(one, shared);
    connect(two, shared);
    connect(three, shared);

    VX::Image::ImageRef first;
    bool inPlace = true;
    EXPECT_FALSE(shared.takeCached(first, inPlace)); // the first reader renders
    EXPECT_TRUE(inPlace);
    shared.cachedImage = VX::Image::makeShared<HostImage>();
    HostImage& image = *shared.cachedImage;
    image.data = cached.image.data;
    image.bounds = cached.image.bounds;
    image.rowBytes = cached.image.rowBytes;
    image.depth = 8;
    image.components = 4;

    VX::Image::ImageRef withPixels = VX::Image::makeShared<HostImage>();
    withPixels->data = reader.image.data;
    withPixels->bounds = reader.image.bounds;
    withPixels->rowBytes = reader.image.rowBytes;
    withPixels->depth = 8;
    withPixels->components = 4;
    EXPECT_TRUE(shared.takeCached(withPixels, inPlace));
    EXPECT_FALSE(inPlace);
    expectPixels(reader, reader.image.bounds, [](int x, int y, int c) { return plus(x, y, c, 0); });

    VX::Image::ImageRef empty;
    EXPECT_TRUE(shared.takeCached(empty, inPlace));
    EXPECT_EQ(empty.get(), &image);
    EXPECT_FALSE(shared.cachedImage);
    EXPECT_EQ(shared.served, 3u);
}

// --- leaves and clearing --------------------------------------------------------------

TEST(ClearFilter, ClearsTheWindowAndServesAsAnInPlaceInput) {
    BoundBridge b(2);
    {
        PixelImage out({0, 0, 5, 4}, 16, 4, true, 0, true);
        out.fillPattern();
        Clear clear;
        const Rect window{1, 1, 3, 2};
        VX::Image::evaluate<Bridge>(clear, b.bridge, argsFor(window, out.image));
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x)
                for (int c = 0; c < out.pixelBytes(); ++c)
                    ASSERT_EQ(out.at(x, y)[c], inside(window, x, y) ? 0 : plus(x, y, c, 0));
    }
    {
        PixelImage out({0, 0, 5, 4}, 8, 4, false);
        Clear clear;
        ByteFilter add(5);
        connect(add, clear);
        const Rect window{0, 1, 5, 4};
        VX::Image::evaluate<Bridge>(add, b.bridge, argsFor(window, out.image));
        expectPixels(out, window, [](int, int, int) { return 5; });
        EXPECT_EQ(add.inPlaceIndex(), 0u);
    }
}

TEST(FilterLayer, CopiesIntoAnotherImageButNotIntoItsOwn) {
    BoundBridge b(1);
    PixelImage source({0, 0, 4, 4}, 8, 4, false);
    source.fillPattern();
    Layer layer(&source.image);

    PixelImage other({2, 2, 6, 6}, 8, 4, true);
    layer.process(b.bridge, other.image, {});
    expectPixels(other, {2, 2, 4, 4}, [](int x, int y, int c) { return plus(x, y, c, 0); });

    // The same pixels described in another format: a copy would be refused.
    HostImage own;
    own.data = source.image.data;
    own.bounds = source.image.bounds;
    own.rowBytes = source.image.rowBytes;
    own.depth = 16;
    own.components = 4;
    const std::vector<unsigned char> before = source.bytes;
    EXPECT_NO_THROW(layer.process(b.bridge, own, {}));
    EXPECT_EQ(source.bytes, before);
}

TEST(Evaluate, LayerAtTheRootCopiesItsImageIntoTheOutput) {
    BoundBridge b(2);
    PixelImage source({-1, -1, 6, 6}, 8, 4, true);
    source.fillPattern();
    PixelImage out({0, 0, 5, 5}, 8, 4, false);
    Layer layer(&source.image);
    const Rect window{1, 0, 4, 5};
    VX::Image::evaluate<Bridge>(layer, b.bridge, argsFor(window, out.image));
    expectPixels(out, window, [](int x, int y, int c) { return plus(x, y, c, 0); });
}

// --- failures and progress ------------------------------------------------------------

TEST(Evaluate, BadGraphsAreReportedNotRendered) {
    BoundBridge b(1);
    PixelImage out({0, 0, 2, 2}, 8, 4, false);
    {
        ByteFilter one, two;
        connect(one, two);
        connect(two, one);
        EXPECT_THROW(VX::Image::evaluate<Bridge>(one, b.bridge, argsFor({0, 0, 2, 2}, out.image)),
                     VX::Exception);
    }
    {
        Layer empty;
        ByteFilter reader;
        connect(reader, empty);
        EXPECT_THROW(
            VX::Image::evaluate<Bridge>(reader, b.bridge, argsFor({0, 0, 2, 2}, out.image)),
            VX::Exception);
    }
    {
        ByteFilter alone;
        VX::Image::RenderArgs args;
        args.window = {0, 0, 2, 2};
        EXPECT_THROW(VX::Image::evaluate<Bridge>(alone, b.bridge, args), VX::Exception);
    }
}

TEST(Evaluate, EmptyWindowRendersNothing) {
    BoundBridge b(1);
    PixelImage out({0, 0, 2, 2}, 8, 4, false);
    ByteFilter alone(7);
    VX::Image::evaluate<Bridge>(alone, b.bridge, argsFor({1, 1, 1, 2}, out.image));
    EXPECT_EQ(alone.processCalls, 0);
    expectPixels(out, kEmptyRect, [](int, int, int) { return 0; });
}

std::vector<double> updates(const ofxhost::Host& host) {
    std::vector<double> values;
    for (const ofxhost::ProgressRecord& r : host.progress())
        if (r.kind == ofxhost::ProgressRecord::Kind::Update)
            values.push_back(r.value);
    return values;
}

TEST(Evaluate, ProgressAdvancesByEachFiltersShareOfTheTotalCost) {
    BoundBridge b(2);
    PixelImage source({0, 0, 4, 4}, 8, 4, false);
    PixelImage out({0, 0, 4, 4}, 8, 4, false);
    Layer layer(&source.image);
    ByteFilter shared, left, right, top;
    connect(shared, layer);
    connect(left, shared);
    connect(right, shared);
    connect(top, left);
    connect(top, right);
    VX::Image::evaluate<Bridge>(top, b.bridge, argsFor(out.image.bounds, out.image));

    EXPECT_EQ(updates(b.host), (std::vector<double>{0.25, 0.5, 0.75, 1.0}));
    const std::vector<ofxhost::ProgressRecord> records = b.host.progress();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.front().kind, ofxhost::ProgressRecord::Kind::Start);
    EXPECT_EQ(records.back().kind, ofxhost::ProgressRecord::Kind::End);
    EXPECT_EQ(b.bridge.progressLevel(1).count, 4u);
    EXPECT_EQ(b.bridge.progressLevel(1).base, 4u);
}

TEST(Evaluate, FixedGraphLevelIsLeftToItsOwner) {
    BoundBridge b(1);
    PixelImage out({0, 0, 2, 2}, 8, 4, false);
    ByteFilter alone;
    auto& level = b.bridge.progressLevel(1);
    level.fixed = 1;
    level.count = 10;
    level.base = 4;
    level.span = 2;
    VX::Image::evaluate<Bridge>(alone, b.bridge, argsFor(out.image.bounds, out.image));
    EXPECT_EQ(level.count, 10u);
    EXPECT_EQ(level.span, 2u);
    EXPECT_EQ(level.base, 5u); // still moved on by the filter's cost
    // done = 2 * 1 * 1000 / 1 + 4 * 1000 of 10 * 1000
    EXPECT_EQ(updates(b.host), (std::vector<double>{0.6}));
}

TEST(Evaluate, CancelFromTheHostInterrupts) {
    BoundBridge b(1, 0);
    PixelImage out({0, 0, 2, 2}, 8, 4, false);
    ByteFilter first, second;
    connect(second, first);
    EXPECT_THROW(VX::Image::evaluate<Bridge>(second, b.bridge, argsFor({0, 0, 2, 2}, out.image)),
                 VX::Interrupted);
    EXPECT_EQ(second.processCalls, 0);
}

} // namespace

// --- the set of filters a graph walk keeps --------------------------------------------

// Past the filters it holds in place the set keeps the rest on the heap:
// membership and erasure must work alike in both parts, and across them
// when an erased filter's place is taken by the last one.
TEST(FilterSet, MembershipAndErasureBeyondItsInlinePart) {
    std::vector<ByteFilter> filters(60);
    VX::Image::FilterSet<Base> set;
    for (ByteFilter& f : filters)
        EXPECT_TRUE(set.insert(&f));
    EXPECT_FALSE(set.insert(&filters[3]));
    EXPECT_FALSE(set.insert(&filters[50]));
    EXPECT_EQ(set.size(), filters.size());
    // Erase every third: some in place, some on the heap.
    for (std::size_t i = 0; i < filters.size(); i += 3)
        set.erase(&filters[i]);
    set.erase(&filters[0]); // not there any more: nothing happens
    for (std::size_t i = 0; i < filters.size(); ++i)
        EXPECT_EQ(set.count(&filters[i]), i % 3 == 0 ? 0u : 1u) << i;
    EXPECT_EQ(set.size(), 40u);
    // What was erased can come back.
    EXPECT_TRUE(set.insert(&filters[0]));
    EXPECT_EQ(set.count(&filters[0]), 1u);

    const std::vector<Base*> some = {&filters[1], &filters[2], &filters[1]};
    const VX::Image::FilterSet<Base> made(some.begin(), some.end());
    EXPECT_EQ(made.size(), 2u);
    EXPECT_EQ(made.count(&filters[2]), 1u);
    EXPECT_EQ(made.count(&filters[3]), 0u);
}
