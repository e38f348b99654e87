#include "host/ofx/Dispatch.h"

#include "host/ofx/Error.h"
#include "host/ofx/Host.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <string>

namespace VX {
namespace Host {
namespace OFX {

namespace {

using Operation = OfxStatus (Host::*)();

struct Action {
    template <std::size_t N>
    constexpr Action(const char (&text)[N], Operation op, bool openGL)
        : name(text), length(N - 1), operation(op), needsOpenGL(openGL) {}

    const char* name;
    std::size_t length;
    Operation operation;
    // Only reachable while the host's OpenGL render suite is in use.
    bool needsOpenGL;
};

// In the order of comparison. The detach row carries a leading "k" on
// purpose: the standard's detach string never reaches the effect, which
// keeps no OpenGL context to let go of.
const Action kActions[] = {
    {"OfxActionDescribe", &Host::describe, false},
    {"OfxImageEffectActionDescribeInContext", &Host::describeInContext, false},
    {"OfxActionLoad", &Host::load, false},
    {"OfxActionUnload", &Host::unload, false},
    {"OfxActionPurgeCaches", &Host::purgeCaches, false},
    {"OfxActionSyncPrivateData", &Host::syncPrivateData, false},
    {"OfxActionCreateInstance", &Host::createInstance, false},
    {"OfxActionDestroyInstance", &Host::destroyInstance, false},
    {"OfxImageEffectActionIsIdentity", &Host::isIdentityAction, false},
    {"OfxImageEffectActionRender", &Host::renderAction, false},
    {"OfxImageEffectActionBeginSequenceRender", &Host::beginSequenceRender, false},
    {"OfxImageEffectActionEndSequenceRender", &Host::endSequenceRender, false},
    {"OfxImageEffectActionGetRegionOfDefinition", &Host::regionOfDefinitionAction, false},
    {"OfxImageEffectActionGetRegionsOfInterest", &Host::regionsOfInterestAction, false},
    {"OfxImageEffectActionGetTimeDomain", &Host::timeDomainAction, false},
    {"OfxImageEffectActionGetFramesNeeded", &Host::framesNeededAction, false},
    {"OfxImageEffectActionGetClipPreferences", &Host::clipPreferencesAction, false},
    {"OfxActionInstanceChanged", &Host::instanceChangedAction, false},
    {"OfxActionBeginInstanceChanged", &Host::beginInstanceChanged, false},
    {"OfxActionEndInstanceChanged", &Host::endInstanceChanged, false},
    {"OfxActionBeginInstanceEdit", &Host::beginInstanceEdit, false},
    {"OfxActionEndInstanceEdit", &Host::endInstanceEdit, false},
    {"OfxActionOpenGLContextAttached", &Host::openGLContextAttached, true},
    {"kOfxActionOpenGLContextDetached", &Host::openGLContextDetached, true},
};

OfxStatus run(Host& effect, const char* action) {
    if (action == nullptr)
        return kOfxStatOK;
    // Most names differ in length: only those of the same length are
    // compared.
    const std::size_t length = std::strlen(action);
    for (const Action& a : kActions) {
        if (a.length != length || std::memcmp(action, a.name, length) != 0)
            continue;
        if (a.needsOpenGL && effect.openGLRenderSuite() == nullptr)
            break;
        return (effect.*a.operation)();
    }
    return kOfxStatOK;
}

} // namespace

OfxStatus dispatch(Host& effect, const char* action) {
    try {
        return run(effect, action);
    } catch (const Error& e) {
        return e.status;
    } catch (const std::bad_alloc&) {
        effect.postMessage("Out of memory!", "", kMsgError);
        return kOfxStatErrMemory;
    } catch (const std::string& text) {
        effect.postMessage(text.c_str(), "", kMsgInformation);
        return kOfxStatErrUnknown;
    } catch (const std::exception& e) {
        effect.postMessage(e.what(), "", kMsgError);
        return kOfxStatErrUnknown;
    } catch (...) {
        effect.postMessage("Unknown internal error", "", kMsgError);
        return kOfxStatErrFatal;
    }
}

} // namespace OFX
} // namespace Host
} // namespace VX
