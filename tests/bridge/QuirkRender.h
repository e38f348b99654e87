#pragma once

// Stutter Quirk loaded into our host with one instance in the filter context,
// for the tests that render it through the binary interface.

#include "support/PluginFixture.h"

#include "Host.h"
#include "Image.h"
#include "Instance.h"

#include "ofx/ofxImageEffect.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace sqtest {

// The effect's four parameters.
struct Params {
    double quirkTime = 3;
    double randomQuirk = 0;
    bool increase = false;
    bool unmasked = false;
};

// The effect loaded, described and instantiated; the output takes whatever
// layout the test gives it rather than the effect's preferences.
class QuirkRender {
public:
    // `bundle`: the shipped effect, or its test build (tests/plugin).
    explicit QuirkRender(ofxhost::HostConfig config = ofxhost::HostConfig(),
                         const std::string& bundle = sqtest::quirkBundle())
        : p(bundle, withoutPreferences(std::move(config))) {
        EXPECT_EQ(p.load(), kOfxStatOK);
        EXPECT_EQ(p.plugin.describe(), kOfxStatOK);
        EXPECT_EQ(p.plugin.describeInContext(kOfxImageEffectContextFilter), kOfxStatOK);
        fx = p.plugin.createInstance(kOfxImageEffectContextFilter);
    }
    static ofxhost::HostConfig withoutPreferences(ofxhost::HostConfig config) {
        // The tests choose the output's layout themselves.
        config.render.honourClipPreferences = false;
        return config;
    }
    void setParams(const Params& params) {
        fx->setValue("quirkTime", params.quirkTime);
        fx->setValue("randomQuirk", params.randomQuirk);
        fx->setValue("increaseQuirky", params.increase);
        fx->setValue("unmasked", params.unmasked);
    }
    void setSource(const std::shared_ptr<ofxhost::ImageBuffer>& image, bool premultOut) {
        source = image;
        fx->setClipFrames("Source", [image](OfxTime) {
            return std::optional<ofxhost::ImageDesc>(image->desc());
        });
        ofxhost::PropertySet& out = fx->clip("Output").properties();
        out.setString(kOfxImageEffectPropPixelDepth, image->depth());
        out.setString(kOfxImageEffectPropComponents, image->components());
        out.setString(kOfxImageEffectPropPreMultiplication,
                      premultOut ? kOfxImagePreMultiplied : kOfxImageUnPreMultiplied);
    }
    LoadedPlugin p;
    std::unique_ptr<ofxhost::EffectInstance> fx;
    std::shared_ptr<ofxhost::ImageBuffer> source;
};

} // namespace sqtest
