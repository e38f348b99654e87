#pragma once

// Shared set-up of the instance, image and render tests: the Invert effect
// of the render fixture plug-in, loaded, described and instantiated.

#include "Host.h"
#include "Plugin.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace hosttest {

struct Session {
    explicit Session(ofxhost::HostConfig cfg = ofxhost::HostConfig(),
                     const std::string& context = kOfxImageEffectContextFilter)
        : host(std::move(cfg)), library(ofxhost::PluginLibrary::open(HOST_RENDER_BUNDLE)),
          plugin(library->plugin(0)) {
        if (plugin.load(host) != kOfxStatOK || plugin.describe() != kOfxStatOK ||
            plugin.describeInContext(context) != kOfxStatOK) {
            throw ofxhost::Error("the render fixture did not load");
        }
        instance = plugin.createInstance(context);
        if (instance == nullptr) {
            throw ofxhost::Error("the render fixture refused an instance");
        }
    }

    const ofxhost::SuiteTable& suites() const { return ofxhost::Host::suites(); }
    OfxImageEffectHandle effect() const { return instance->handle(); }
    OfxParamHandle param(const char* name) const {
        OfxParamSetHandle set = nullptr;
        suites().imageEffect->getParamSet(effect(), &set);
        OfxParamHandle p = nullptr;
        suites().parameter->paramGetHandle(set, name, &p, nullptr);
        return p;
    }
    OfxImageClipHandle clip(const char* name) const {
        OfxImageClipHandle c = nullptr;
        suites().imageEffect->clipGetHandle(effect(), name, &c, nullptr);
        return c;
    }
    std::vector<std::string> actionNames() const {
        std::vector<std::string> names;
        for (const auto& a : host.actions()) {
            names.push_back(a.action);
        }
        return names;
    }
    // Log messages of the plug-in that start with `prefix`.
    std::vector<std::string> logs(const std::string& prefix) const {
        std::vector<std::string> out;
        for (const auto& m : host.messages()) {
            if (m.text.compare(0, prefix.size(), prefix) == 0) {
                out.push_back(m.text);
            }
        }
        return out;
    }

    ofxhost::Host host;
    std::unique_ptr<ofxhost::PluginLibrary> library;
    ofxhost::Plugin& plugin;
    std::unique_ptr<ofxhost::EffectInstance> instance;
};

} // namespace hosttest
