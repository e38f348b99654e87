#include "HostConfig.h"

#include "Error.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxInteract.h"
#include "ofx/ofxMemory.h"
#include "ofx/ofxMessage.h"
#include "ofx/ofxMultiThread.h"
#include "ofx/ofxOpenGLRender.h"
#include "ofx/ofxParam.h"
#include "ofx/ofxProgress.h"
#include "ofx/ofxProperty.h"

#include <algorithm>

namespace ofxhost {

HostConfig::HostConfig()
    : contexts{kOfxImageEffectContextFilter, kOfxImageEffectContextGeneral},
      pixelDepths{kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat},
      components{kOfxImageComponentRGBA, kOfxImageComponentRGB, kOfxImageComponentAlpha},
      suites(standardSuites()) {}

HostConfig::SuiteVersions HostConfig::standardSuites() {
    return {
        {kOfxPropertySuite, {1}},    {kOfxImageEffectSuite, {1}}, {kOfxParameterSuite, {1}},
        {kOfxMemorySuite, {1}},      {kOfxMultiThreadSuite, {1}}, {kOfxMessageSuite, {1, 2}},
        {kOfxProgressSuite, {1, 2}}, {kOfxInteractSuite, {1}},
    };
}

HostConfig& HostConfig::removeSuite(const std::string& suite) {
    suites.erase(suite);
    return *this;
}

HostConfig& HostConfig::offerSuite(const std::string& suite, std::vector<int> versions) {
    suites[suite] = std::move(versions);
    return *this;
}

HostConfig& HostConfig::failCall(const std::string& call, OfxStatus status) {
    failures[call] = status;
    return *this;
}

HostConfig& HostConfig::enableOpenGL(const std::string& support) {
    openGLRenderSupported = support;
    suites[kOfxOpenGLRenderSuite] = {1};
    return *this;
}

bool HostConfig::offers(std::string_view suite, int suiteVersion) const {
    const auto it = suites.find(suite);
    return it != suites.end() &&
           std::find(it->second.begin(), it->second.end(), suiteVersion) != it->second.end();
}

namespace {

HostConfig named(const std::string& name, const std::string& label) {
    HostConfig cfg;
    cfg.name = name;
    cfg.label = label;
    return cfg;
}

} // namespace

std::vector<std::string> hostPresetNames() {
    return {"default",
            "MLT",
            "Assimilator",
            "com.sonycreativesoftware.vegas",
            "uk.co.thefoundry.nuke",
            "Nucoda",
            "DaVinciResolve"};
}

HostConfig hostPreset(const std::string& name) {
    if (name == "default") {
        return HostConfig();
    }
    if (name == "MLT") {
        // What the MLT framework's OpenFX module shows a plug-in: the filter
        // context only, whole frames, no OpenGL.
        HostConfig cfg = named("MLT", "MLT");
        cfg.contexts = {kOfxImageEffectContextFilter};
        cfg.tiles = false;
        cfg.multiResolution = false;
        cfg.temporalClipAccess = false;
        cfg.suites = HostConfig::standardSuites();
        cfg.render.askClipPreferences = true;
        cfg.render.honourClipPreferences = false;
        cfg.render.askFramesNeeded = false;
        cfg.render.askIsIdentity = false;
        cfg.render.bottomUpRows = true;
        cfg.render.sequencePerFrame = true;
        cfg.render.instancePerFrame = true;
        cfg.loadPerInstance = true;
        return cfg;
    }
    if (name == "Assimilator") {
        return named(name, "Scratch");
    }
    if (name == "com.sonycreativesoftware.vegas") {
        return named(name, "Vegas Pro");
    }
    if (name == "uk.co.thefoundry.nuke") {
        return named(name, "Nuke");
    }
    if (name == "Nucoda") {
        return named(name, "Nucoda");
    }
    if (name == "DaVinciResolve") {
        return named(name, "DaVinci Resolve");
    }
    std::string known;
    for (const std::string& n : hostPresetNames()) {
        known += (known.empty() ? "" : ", ") + n;
    }
    throw Error("no host preset named '" + name + "' (known: " + known + ")");
}

} // namespace ofxhost
