#pragma once

#include "host/ofx/Dispatch.h"
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"

#include "ofx/ofxCore.h"
#include "ofx/ofxMessage.h"

#include <exception>
#include <new>
#include <string>

namespace VX {
namespace Host {
namespace OFX {

// The host pointer handed over by setHost: the only state that lives from
// one call of the main entry to the next.
void setStoredHost(OfxHost* host);
const OfxHost* storedHost();

// The main entry of a plug-in whose effect class is `Effect`: builds a fresh
// effect for this one call, binds it to the host and the action's arguments,
// dispatches, and tears it down. Failures outside the action itself (binding,
// construction) are reported as warnings straight through the host.
template <class Effect>
OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                    OfxPropertySetHandle outArgs, const ParamIdEntry* paramIdTable) {
    OfxImageEffectHandle effectHandle =
        static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
    try {
        Effect effect;
        effect.bindHost(storedHost(), effectHandle, inArgs, outArgs);
        effect.setParamIdTable(paramIdTable);
        return dispatch(effect, action);
    } catch (const Error& e) {
        return e.status;
    } catch (const std::bad_alloc&) {
        postHostMessage(storedHost(), effectHandle, kOfxMessageWarning, "Out of memory!");
        return kOfxStatErrMemory;
    } catch (const std::string& text) {
        postHostMessage(storedHost(), effectHandle, kOfxMessageWarning, text.c_str());
        return kOfxStatErrUnknown;
    } catch (const std::exception& e) {
        postHostMessage(storedHost(), effectHandle, kOfxMessageWarning, e.what());
        return kOfxStatErrUnknown;
    } catch (...) {
        postHostMessage(storedHost(), effectHandle, kOfxMessageWarning, "Unknown internal error");
        return kOfxStatErrFatal;
    }
}

} // namespace OFX
} // namespace Host
} // namespace VX
