#pragma once

// One instance of the built plug-in in our host, set up to render one kind
// of frame again and again: the benchmarks' view of the effect.

#include "BenchSupport.h"

#include "Host.h"
#include "Instance.h"
#include "Plugin.h"

#include "ofx/ofxImageEffect.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace sqbench {

struct Size {
    const char* name;
    int width, height;
};
inline const Size kSizes[] = {
    {"960x540", 960, 540}, {"1920x1080", 1920, 1080}, {"3840x2160", 3840, 2160}};

// The frames of the effect with its default settings: "on" at time 0, "off"
// (transparent) at time 2, and the two switches that change the graph.
struct FrameKind {
    const char* name;
    double time;
    bool increase, unmasked;
};
inline const FrameKind kOn{"on", 0.0, false, false};
inline const FrameKind kOff{"off", 2.0, false, false};
inline const FrameKind kUnmasked{"unmasked", 0.0, false, true};
inline const FrameKind kIncrease{"increase", 1.0, true, false};

struct Row {
    Size size;
    int bits;
    bool premultiplied;
    FrameKind frame;
    double scale;
    unsigned threads;
};

// One instance of the plug-in (or of another filter effect, whose
// parameters are left at their defaults) rendering one kind of frame again
// and again, each into the buffer of the last.
struct Frames {
    // Makes the instance in `plugin`'s host, with a source of its own.
    // Leaves `instance` null when the host will not make it.
    void setUp(ofxhost::Plugin& plugin, const Row& row, bool quirk) {
        instance = plugin.createInstance(kOfxImageEffectContextFilter);
        if (!instance)
            return;
        if (quirk) {
            instance->setValue("increaseQuirky", row.frame.increase);
            instance->setValue("unmasked", row.frame.unmasked);
        }
        const int w = std::max(1, int(std::lround(row.size.width * row.scale)));
        const int h = std::max(1, int(std::lround(row.size.height * row.scale)));
        source = sqbench::makeSource(w, h, row.bits);
        const char* alpha = row.premultiplied ? kOfxImagePreMultiplied : kOfxImageUnPreMultiplied;
        source->premultiplication = alpha;
        std::shared_ptr<ofxhost::ImageBuffer> frame = source;
        instance->setClipFrames("Source", [frame](OfxTime) {
            return std::optional<ofxhost::ImageDesc>(frame->desc());
        });
        instance->clip("Source").properties().setString(kOfxImageEffectPropPreMultiplication,
                                                        alpha);
        ofxhost::PropertySet& out = instance->clip("Output").properties();
        out.setString(kOfxImageEffectPropPixelDepth, source->depth());
        out.setString(kOfxImageEffectPropComponents, source->components());
        out.setString(kOfxImageEffectPropPreMultiplication, alpha);
        request.time = row.frame.time;
        request.renderScale = {row.scale, row.scale};
    }

    // Renders one frame into the buffer of the last one.
    OfxStatus render() {
        const ofxhost::RenderResult result = instance->render(request);
        request.reuseOutput = result.output;
        return result.status;
    }
    // Renders one frame as render() does: its time in seconds, or -1 when
    // the render fails.
    double timedRender() {
        const auto start = std::chrono::steady_clock::now();
        const OfxStatus status = render();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        return status == kOfxStatOK ? took.count() : -1.0;
    }

    std::unique_ptr<ofxhost::EffectInstance> instance;
    std::shared_ptr<ofxhost::ImageBuffer> source;
    ofxhost::RenderRequest request;
};

// The plug-in loaded into a host of `threads` processors, with one instance
// (the Frames this session is).
class Session : public Frames {
public:
    // `poolBytes`: the image memory the host keeps for reuse between frames.
    explicit Session(const Row& row, std::uint64_t poolBytes = std::uint64_t(1) << 31,
                     const std::string& bundle = SQ_QUIRK_BUNDLE)
        : host(config(row, poolBytes)), library(ofxhost::PluginLibrary::open(bundle)),
          plugin(library->plugin(0)), quirk_(bundle == SQ_QUIRK_BUNDLE) {
        ok = plugin.load(host) == kOfxStatOK && plugin.describe() == kOfxStatOK &&
             plugin.describeInContext(kOfxImageEffectContextFilter) == kOfxStatOK;
        if (ok)
            setUp(plugin, row, quirk_);
        ok = ok && instance != nullptr;
    }
    ~Session() {
        instance.reset();
        plugin.detachHost();
    }

    // A further instance in the same host, set up as the first one: null
    // when the host will not make it. It must go before the session.
    std::unique_ptr<Frames> another(const Row& row) {
        auto frames = std::make_unique<Frames>();
        frames->setUp(plugin, row, quirk_);
        return frames->instance ? std::move(frames) : nullptr;
    }

    static ofxhost::HostConfig config(const Row& row, std::uint64_t poolBytes) {
        ofxhost::HostConfig c;
        c.cpuCount = row.threads;
        c.render.honourClipPreferences = false;
        c.project.width = row.size.width;
        c.project.height = row.size.height;
        c.imageMemoryPoolBytes = poolBytes;
        // A host that renders, not one that keeps a log for tests.
        c.recordCalls = false;
        return c;
    }

    ofxhost::Host host;
    std::unique_ptr<ofxhost::PluginLibrary> library;
    ofxhost::Plugin& plugin;
    bool ok = false;

private:
    bool quirk_;
};

} // namespace sqbench
