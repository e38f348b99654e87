#include "host/ofx/Host.h"

#include "host/ofx/Error.h"
#include "host/ofx/Parameters.h"

#include <cstring>

namespace VX {
namespace Host {
namespace OFX {

namespace {

template <class Suite>
const Suite* fetch(const OfxHost* host, const char* name, int version) {
    if (host == nullptr || host->fetchSuite == nullptr)
        return nullptr;
    return static_cast<const Suite*>(host->fetchSuite(host->host, name, version));
}

} // namespace

Host::Host() = default;

Host::~Host() {
    if (progressStarted_ && progressSuite_ != nullptr)
        progressSuite_->progressEnd(effect_);
}

void Host::showAbout() {}

OfxStatus Host::load() { return kOfxStatOK; }
OfxStatus Host::unload() { return kOfxStatOK; }
OfxStatus Host::purgeCaches() { return kOfxStatOK; }
OfxStatus Host::syncPrivateData() { return kOfxStatOK; }
OfxStatus Host::createInstance() { return kOfxStatOK; }
OfxStatus Host::destroyInstance() { return kOfxStatOK; }
OfxStatus Host::beginSequenceRender() { return kOfxStatOK; }
OfxStatus Host::endSequenceRender() { return kOfxStatOK; }
OfxStatus Host::beginInstanceChanged() { return kOfxStatOK; }
OfxStatus Host::endInstanceChanged() { return kOfxStatOK; }
OfxStatus Host::beginInstanceEdit() { return kOfxStatOK; }
OfxStatus Host::endInstanceEdit() { return kOfxStatOK; }
OfxStatus Host::openGLContextAttached() { return kOfxStatReplyDefault; }
OfxStatus Host::openGLContextDetached() { return kOfxStatOK; }

const char* Host::vendorPrefix() const { return "com.veltrix"; }
const char* Host::vendorName() const { return "Veltrix"; }
const char* Host::versionText() const { return nullptr; }
void Host::versionNumbers(int /*numbers*/[4]) const {}
bool Host::supportsOpenGLRender() const { return false; }
bool Host::mayRenderOpenGL() const { return false; }
bool Host::openGLRenderEnabled() const { return true; }
bool Host::supportsDeepPixels() const { return true; }
void Host::sizeHint(int& /*width*/, int& /*height*/) const {}
bool Host::wantsTemporalClipAccess() const { return false; }
bool Host::outputSupportsAlpha() const { return false; }
bool Host::inputSupportsAlpha(int /*index*/) const { return outputSupportsAlpha(); }
bool Host::needsTemporalAccess() const { return false; }

std::unique_ptr<Parameters> Host::createParameters() {
    return std::unique_ptr<Parameters>(new Parameters(*this));
}

void Host::parametersChanged(Parameters& /*set*/, int /*index*/) {}

void Host::bindHost(const OfxHost* host, OfxImageEffectHandle effect, OfxPropertySetHandle inArgs,
                    OfxPropertySetHandle outArgs) {
    host_ = host;
    effect_ = effect;
    inArgs_ = inArgs;
    outArgs_ = outArgs;

    imageEffectSuite_ = fetch<OfxImageEffectSuiteV1>(host, kOfxImageEffectSuite, 1);
    propertySuite_ = fetch<OfxPropertySuiteV1>(host, kOfxPropertySuite, 1);
    parameterSuite_ = fetch<OfxParameterSuiteV1>(host, kOfxParameterSuite, 1);
    memorySuite_ = fetch<OfxMemorySuiteV1>(host, kOfxMemorySuite, 1);
    multiThreadSuite_ = fetch<OfxMultiThreadSuiteV1>(host, kOfxMultiThreadSuite, 1);
    messageSuite2_ = fetch<OfxMessageSuiteV2>(host, kOfxMessageSuite, 2);
    messageSuite_ = messageSuite2_ != nullptr
                        ? reinterpret_cast<const OfxMessageSuiteV1*>(messageSuite2_)
                        : fetch<OfxMessageSuiteV1>(host, kOfxMessageSuite, 1);
    interactSuite_ = fetch<OfxInteractSuiteV1>(host, kOfxInteractSuite, 1);
    progressSuite_ = fetch<OfxProgressSuiteV1>(host, kOfxProgressSuite, 1);
    if (supportsOpenGLRender() && openGLRenderEnabled())
        openGLSuite_ = fetch<OfxImageEffectOpenGLRenderSuiteV1>(host, kOfxOpenGLRenderSuite, 1);

    if (imageEffectSuite_ == nullptr || propertySuite_ == nullptr || parameterSuite_ == nullptr ||
        memorySuite_ == nullptr || multiThreadSuite_ == nullptr)
        throw Error{kOfxStatErrMissingHostFeature};

    if (openGLSuite_ != nullptr) {
        // Offering the suite is not enough: the host must say it renders
        // through OpenGL now.
        char* supported = nullptr;
        if (propertySuite_->propGetString(host_->host, kOfxImageEffectPropOpenGLRenderSupported, 0,
                                          &supported) != kOfxStatOK ||
            supported == nullptr || std::strcmp(supported, "true") != 0)
            openGLSuite_ = nullptr;
    }

    switch (hostKind()) {
    case kHostAssimilator:
    case kHostNuke:
        // These hosts' progress suites misbehave during renders.
        progressSuite_ = nullptr;
        break;
    case kHostNucoda:
    case kHostDaVinci:
        hostQuirk_ = 1;
        break;
    default:
        break;
    }
}

HostKind Host::hostKind() const {
    char* name = nullptr;
    if (propertySuite_ == nullptr || host_ == nullptr ||
        propertySuite_->propGetString(host_->host, kOfxPropName, 0, &name) != kOfxStatOK)
        return classifyHost("");
    return classifyHost(name);
}

bool Host::hasMessageSuite2() const {
    // DaVinci offers version 2 but does not show what is posted through it.
    if (hostKind() == kHostDaVinci)
        return false;
    return messageSuite2_ != nullptr;
}

int Host::postMessage(const char* text, const char* /*caption*/, std::uint32_t flags) {
    if (messageSuite_ == nullptr)
        return kMsgResultNoService;
    const OfxStatus status =
        messageSuite_->message(effect_, messageTypeFor(flags), "", "%s", text ? text : "");
    return messageResultForStatus(status);
}

int Host::showMessage(const char* text, const char* caption) {
    if (hasMessageSuite2())
        return postMessage(text, caption, kMsgInformation | kMsgOk);

    // Without a message service the box belongs to the host's main window,
    // if the host names one that really is a window.
    void* owner = nullptr;
    const OfxPropertySuiteV1* props = fetch<OfxPropertySuiteV1>(host_, kOfxPropertySuite, 1);
    if (props != nullptr) {
        char* name = nullptr;
        const bool isAssimilator =
            props->propGetString(host_->host, kOfxPropName, 0, &name) == kOfxStatOK &&
            name != nullptr && std::strcmp(name, "Assimilator") == 0;
        void* handle = nullptr;
        if (!isAssimilator &&
            props->propGetPointer(host_->host, kOfxPropHostOSHandle, 0, &handle) == kOfxStatOK &&
            isOwnerWindow(handle))
            owner = handle;
    }
    return showMessageBox(owner, text, caption, kMsgOk);
}

bool postHostMessage(const OfxHost* host, OfxImageEffectHandle effect, const char* type,
                     const char* text) {
    const OfxMessageSuiteV1* suite = reinterpret_cast<const OfxMessageSuiteV1*>(
        fetch<OfxMessageSuiteV2>(host, kOfxMessageSuite, 2));
    if (suite == nullptr)
        suite = fetch<OfxMessageSuiteV1>(host, kOfxMessageSuite, 1);
    if (suite == nullptr)
        return false;
    suite->message(effect, type, "", "%s", text ? text : "");
    return true;
}

} // namespace OFX
} // namespace Host
} // namespace VX
