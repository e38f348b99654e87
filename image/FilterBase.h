#pragma once

#include "image/Exceptions.h"
#include "image/FilterList.h"
#include "image/ImageOps.h"
#include "image/Rect.h"
#include "image/SharedRef.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace VX {
namespace Image {

// What every filter of one evaluation is told about the render.
struct RenderArgs {
    double time = 0.0;
    double renderScaleX = 1.0;
    double renderScaleY = 1.0;
    Rect window = kEmptyRect;    // the render window, in pixels
    HostImage* output = nullptr; // the image the graph renders into
};

using ImageRef = SharedRef<HostImage>;
// The images of a filter's inputs, in input order, as `process` reads them.
using InputImages = std::vector<const HostImage*>;

// A graphics device to render on. Nothing creates one: filters render on the
// processor only, and the device questions answer "not usable".
struct DeviceContext;

// A node of a filter graph: a leaf that stands for an existing image, or a
// filter that computes an image from the images of its inputs.
//
// Evaluation (see Evaluate.h) has three phases, all driven from the root:
// requestRegion grows `needed` backwards from the render window, totalCost
// counts the work, and render computes each filter's result over its
// `needed` once, inputs first. Filters do not own their inputs or outputs;
// whoever creates them keeps and destroys them.
template <class Host>
class FilterBase {
public:
    FilterBase() = default;
    FilterBase(const FilterBase&) = delete;
    FilterBase& operator=(const FilterBase&) = delete;
    virtual ~FilterBase() = default;

    // The filter's type name ("layer", "clear", "balance", ...).
    virtual const char* name() const = 0;
    virtual std::string nameString() const { return name(); }
    // Where the filter's output has pixels: the first input's, unbounded
    // without inputs.
    virtual Rect regionOfDefinition() const {
        return inputs.empty() ? kInfiniteRect : inputs.front()->regionOfDefinition();
    }
    // What input `index` must supply for `output` to be computed; a point
    // filter needs the same pixels.
    virtual Rect regionOfInterest(const Rect& output, std::size_t index) const {
        static_cast<void>(index);
        return output;
    }
    // This filter's share of the work, in progress steps.
    virtual std::uint64_t cost() const { return 1; }
    // The cost of this filter and everything below it, counting each filter
    // once: the first call sums and remembers, every later call answers 0,
    // so that a filter reached through several outputs is not counted again.
    virtual std::uint64_t totalCost() {
        if (totalCost_ != 0)
            return 0;
        std::uint64_t sum = cost();
        for (FilterBase* input : inputs)
            sum += input->totalCost();
        totalCost_ = sum;
        return sum;
    }
    // Same type of filter, whatever the settings.
    virtual bool equals(const FilterBase& other) const {
        return std::strcmp(name(), other.name()) == 0;
    }

    virtual bool deviceUsable(const DeviceContext* device) const {
        static_cast<void>(device);
        return false;
    }
    virtual bool canUseDevice(const DeviceContext* device) const {
        static_cast<void>(device);
        return false;
    }

    // Computes this filter's result, and first its inputs', over `needed`.
    // `result` is where the caller wants the pixels: an image that already
    // has pixels (the output, or a view into the caller's own result when
    // `inPlace` is set) is written; an empty reference is filled with an
    // image of this filter's choosing.
    virtual void render(Host& host, const RenderArgs& args, ImageRef& result, bool& inPlace);

    // Whether input `index` may render straight into this filter's result,
    // i.e. whether the filter computes each pixel from that input's pixel at
    // the same place only.
    virtual bool inPlaceInput(std::size_t index) const {
        static_cast<void>(index);
        return false;
    }
    // The image a leaf stands for; null for a computing filter.
    virtual HostImage* layerImage() const { return nullptr; }
    // Computes `destination` (over its bounds) from the input images.
    virtual void process(Host& host, HostImage& destination, const InputImages& images) {
        static_cast<void>(host);
        static_cast<void>(destination);
        static_cast<void>(images);
    }

    // Grows `needed` by `rect` and passes what that asks of each input on;
    // inputs are visited again only when `needed` grew. Also forgets the
    // previous evaluation's shared result.
    void requestRegion(const Rect& rect) {
        cachedImage.reset();
        served = 0;
        if (rect.empty())
            return;
        if (!needed.empty()) {
            if (needed == kInfiniteRect || needed.contains(rect))
                return;
            needed = unite(needed, rect);
        } else {
            needed = rect;
        }
        for (std::size_t i = 0; i < inputs.size(); ++i)
            inputs[i]->requestRegion(regionOfInterest(needed, i));
    }

    // The input that renders straight into this filter's result, or
    // inputs.size() for none: the first one that only this filter reads,
    // that covers all this filter needs, that the filter accepts in place,
    // and that is not a leaf (a leaf's image belongs to somebody else).
    std::size_t inPlaceIndex() const {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            const FilterBase& input = *inputs[i];
            if (input.outputs.size() == 1 && input.needed.contains(needed) && inPlaceInput(i) &&
                !input.isLayer())
                return i;
        }
        return inputs.size();
    }

    // For a filter that several outputs read: hands the result of its first
    // render to the later readers instead of rendering again. Returns true
    // when `result` was served that way.
    bool takeCached(ImageRef& result, bool& inPlace) {
        if (outputs.size() < 2)
            return false;
        ++served;
        if (!cachedImage)
            return false;
        if (result && result->hasPixels() && cachedImage->hasPixels())
            copyFrom(*result, *cachedImage);
        else
            result = cachedImage;
        if (served == outputs.size())
            cachedImage.reset(); // the last reader lets it go
        inPlace = false;
        return true;
    }

    // The links of a filter; a whole graph, walked in some order.
    using Links = FilterList<FilterBase*, 4>;
    using Graph = FilterList<FilterBase*, 16>;

    Links inputs;  // the images this filter reads, in order
    Links outputs; // the filters reading this one
    std::string label;
    Rect needed = kEmptyRect;       // what the graph needs of this filter's output
    Rect renderWindow = kEmptyRect; // the whole graph's render window
    ImageRef cachedImage;           // the result, while outputs still have to read it
    ImageRef ownImage;              // the image a view result of this filter looks into
    std::size_t served = 0;         // outputs that took cachedImage in this evaluation

protected:
    // Leaves are never rendered in place and are not processed when they
    // only have to show their own image.
    virtual bool isLayer() const { return false; }

private:
    // Before processing, the innermost progress level belongs to this filter
    // and the graph level spans its cost; afterwards the graph level moves
    // on by that cost.
    void processWithProgress(Host& host, HostImage& destination, const InputImages& images);

    std::uint64_t totalCost_ = 0; // 0: not computed yet
};

// Makes `used` the next input of `user`.
template <class Host>
void connect(FilterBase<Host>& user, FilterBase<Host>& used) {
    user.inputs.push_back(&used);
    used.outputs.push_back(&user);
}

template <class Host>
void FilterBase<Host>::render(Host& host, const RenderArgs& args, ImageRef& result, bool& inPlace) {
    if (takeCached(result, inPlace))
        return;

    const std::size_t count = inputs.size();
    const std::size_t inPlaceAt = inPlaceIndex();
    const bool givenPixels = result && result->hasPixels();

    // Inputs first. With pixels to write into already, the in-place input
    // writes straight into them; without, it makes its own image and this
    // filter takes that over below. Every other input gets an image of its
    // own.
    std::vector<ImageRef> results(count);
    for (std::size_t i = 0; i < count; ++i) {
        bool intoView = false;
        if (i == inPlaceAt && givenPixels) {
            results[i] = makeShared<HostImage>(&host);
            viewOf(*results[i], *result, inputs[i]->needed);
            intoView = true;
        }
        inputs[i]->render(host, args, results[i], intoView);
    }

    bool processed = true;
    if (givenPixels) {
        // Written where the caller asked.
    } else if (isLayer()) {
        // A leaf shows its own image as it is.
        HostImage* image = layerImage();
        if (image == nullptr)
            throw Exception("Cannot render a layer that has no image");
        if (!result)
            result = makeShared<HostImage>(&host);
        viewOf(*result, *image, image->bounds);
        processed = false;
    } else if (inPlaceAt < count && results[inPlaceAt]) {
        const ImageRef& taken = results[inPlaceAt];
        if (taken->bounds == needed) {
            result = taken;
        } else {
            // The input made more than this filter may write: other inputs
            // only cover `needed`. The view does not own its pixels, so the
            // filter keeps the input's image alive while its result is read.
            ownImage = taken;
            result = makeShared<HostImage>(&host);
            viewOf(*result, *ownImage, needed);
        }
    } else {
        const HostImage* like = args.output;
        if (count > 0 && results[0] && results[0]->hasPixels())
            like = results[0].get();
        if (like == nullptr)
            throw Exception("No image to take the pixel format from");
        if (!result)
            result = makeShared<HostImage>(&host);
        allocateLike(*result, *like, needed);
    }

    if (processed) {
        InputImages images(count);
        for (std::size_t i = 0; i < count; ++i)
            images[i] = results[i].get();
        processWithProgress(host, *result, images);
    }

    if (outputs.size() >= 2)
        cachedImage = result;
}

template <class Host>
void FilterBase<Host>::processWithProgress(Host& host, HostImage& destination,
                                           const InputImages& images) {
    const std::uint64_t own = cost();
    auto& inner = host.progressLevel(0);
    if (inner.fixed == 0)
        inner.base = inner.count = inner.span = 0;
    auto& graph = host.progressLevel(1);
    if (graph.fixed == 0)
        graph.span = own;

    // Textures are not rendered here: only memory pixels are processed.
    if (!destination.bounds.empty() && destination.data != nullptr)
        process(host, destination, images);

    host.reportProgress(0, 1, 1);
    graph.base += own;
}

} // namespace Image
} // namespace VX
