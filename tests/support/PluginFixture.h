#pragma once

// Loading our built bundles into our own host, for tests that go through the
// real binary interface.

#include "Host.h"
#include "Plugin.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace sqtest {

// The Stutter Quirk bundle and the test build of the effect that fails on
// request (tests/plugin), as built next to the tests.
inline std::string quirkBundle() { return SQ_QUIRK_BUNDLE; }
inline std::string failingBundle() { return SQ_FAILING_BUNDLE; }

// One plug-in loaded into one host. The host is made from `config`; the
// library stays open as long as the fixture lives.
class LoadedPlugin {
public:
    LoadedPlugin(const std::string& bundle, ofxhost::HostConfig config = ofxhost::HostConfig())
        : host(std::move(config)), library(ofxhost::PluginLibrary::open(bundle)),
          plugin(library->plugin(0)) {}
    ~LoadedPlugin() { plugin.detachHost(); }

    // Sends the load action so that the plug-in gets our host; the status
    // is what the plug-in answered.
    OfxStatus load() { return plugin.load(host); }

    OfxStatus action(const char* name, ofxhost::PropertySet* in = nullptr,
                     ofxhost::PropertySet* out = nullptr) {
        return plugin.action(name, nullptr, in, out);
    }

    ofxhost::Host host;
    std::unique_ptr<ofxhost::PluginLibrary> library;
    ofxhost::Plugin& plugin;
};

} // namespace sqtest
