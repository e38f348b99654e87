// A test build of the effect that fails on request, so that every failure
// path of the bridge can be driven through the binary interface.
//
// The in-arguments of an action may carry "SQTestThrow" naming what the
// action throws; "SQTestThrowInBind" makes the binding itself throw. The
// purge-caches action shows the effect's about text.
//
// The environment variable SQ_TEST_KERNELS, read on load, names the widest
// kernel family this build may use ("Portable", "SSE2", ... "AVX512"), so
// that a test renders the same frame with every family the processor has;
// each render then posts the message "kernels: <family>" naming the family
// its blur runs. The shipped plug-in reads no environment.
#include "effect/QuirkPluginOFX.h"
#include "host/ofx/PluginEntry.h"
#include "image/Exceptions.h"
#include "image/kernels/DericheLines.h"
#include "image/kernels/KernelFamily.h"

#include "ofx/ofxImageEffect.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

using VX::Host::OFX::Error;

class TestEffect : public VX::QuirkPluginOFX {
public:
    OfxStatus load() override {
        throwAsAsked("SQTestThrow");
        const char* widest = std::getenv("SQ_TEST_KERNELS");
        VX::Image::limitKernelFamilies(widest != nullptr ? VX::Image::kernelFamilyFromName(widest)
                                                         : std::nullopt);
        return kOfxStatOK;
    }
    void renderEffect(VX::OFXHostImage& output, VX::OFXHostImage& source,
                      const VX::Rect& window) override {
        QuirkPluginOFX::renderEffect(output, source, window);
        if (std::getenv("SQ_TEST_KERNELS") != nullptr) {
            const std::string text = std::string("kernels: ") +
                                     VX::Image::kernelFamilyName(VX::Image::currentKernelFamily(
                                         VX::Image::dericheFamilies()));
            postMessage(text.c_str(), "", VX::Host::OFX::kMsgInformation);
        }
    }
    OfxStatus purgeCaches() override {
        throwAsAsked("SQTestThrow");
        showAbout();
        return kOfxStatOK;
    }
    // The binding asks these two before it fetches the OpenGL suite.
    bool supportsOpenGLRender() const override { return true; }
    bool openGLRenderEnabled() const override {
        throwAsAsked("SQTestThrowInBind");
        return false;
    }

private:
    void throwAsAsked(const char* property) const {
        char* kind = nullptr;
        if (inArgs() == nullptr ||
            propertySuite()->propGetString(inArgs(), property, 0, &kind) != kOfxStatOK ||
            kind == nullptr)
            return;
        if (std::strncmp(kind, "error:", 6) == 0)
            throw Error{std::atoi(kind + 6)};
        if (std::strcmp(kind, "bad_alloc") == 0)
            throw std::bad_alloc();
        if (std::strcmp(kind, "string") == 0)
            throw std::string("a thrown text");
        if (std::strcmp(kind, "std") == 0)
            throw std::runtime_error("a standard failure");
        if (std::strcmp(kind, "vx") == 0)
            throw VX::Exception("a framework failure");
        if (std::strcmp(kind, "interrupted") == 0)
            throw VX::Interrupted{};
        if (std::strcmp(kind, "int") == 0)
            throw 42;
    }
};

void setHost(OfxHost* host) { VX::Host::OFX::setStoredHost(host); }

OfxStatus pluginMain(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                     OfxPropertySetHandle outArgs) {
    return VX::Host::OFX::mainEntry<TestEffect>(action, handle, inArgs, outArgs,
                                                TestEffect::paramIdTable());
}

OfxPlugin gPlugin = {
    kOfxImageEffectPluginApi, 1, "com.veltrix.test.FailingQuirk", 1, 0, &setHost, &pluginMain,
};

} // namespace

OfxExport int OfxGetNumberOfPlugins(void) { return 1; }
OfxExport OfxPlugin* OfxGetPlugin(int /*nth*/) { return &gPlugin; }
