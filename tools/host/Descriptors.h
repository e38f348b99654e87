#pragma once

#include "HandleRegistry.h"
#include "PropertySet.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxParam.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ofxhost {

class Host;

// A parameter defined by paramDefine, with the fixed schema of its type.
class ParamDescriptor {
public:
    // Throws ofxhost::Error for a type the host does not know.
    ParamDescriptor(Host& host, std::string type, std::string name);

    OfxParamHandle handle() const {
        return reinterpret_cast<OfxParamHandle>(const_cast<ParamDescriptor*>(this));
    }
    static ParamDescriptor* fromHandle(const void* handle) noexcept;

    const std::string& name() const { return name_; }
    const std::string& type() const { return type_; }
    PropertySet& properties() { return props_; }
    const PropertySet& properties() const { return props_; }
    Host& host() const { return host_; }

private:
    Host& host_;
    std::string type_;
    std::string name_;
    PropertySet props_;
    HandleRegistration registration_;
};

// The parameters of one effect descriptor, in definition order.
class ParamSet {
public:
    explicit ParamSet(Host& host);

    OfxParamSetHandle handle() const {
        return reinterpret_cast<OfxParamSetHandle>(const_cast<ParamSet*>(this));
    }
    static ParamSet* fromHandle(const void* handle) noexcept;

    PropertySet& properties() { return props_; }
    const PropertySet& properties() const { return props_; }
    Host& host() const { return host_; }

    // paramDefine: kOfxStatErrUnknown for an unknown type, kOfxStatErrExists
    // for a name already defined, kOfxStatErrValue for a null or empty name.
    OfxStatus define(const char* type, const char* name, ParamDescriptor** defined);
    ParamDescriptor* find(std::string_view name) const;
    const std::vector<std::unique_ptr<ParamDescriptor>>& params() const { return params_; }

private:
    Host& host_;
    PropertySet props_;
    std::vector<std::unique_ptr<ParamDescriptor>> params_;
    HandleRegistration registration_;
};

// A clip defined by clipDefine, with the clip descriptor's fixed schema.
class ClipDescriptor {
public:
    ClipDescriptor(Host& host, std::string name);

    OfxImageClipHandle handle() const {
        return reinterpret_cast<OfxImageClipHandle>(const_cast<ClipDescriptor*>(this));
    }
    static ClipDescriptor* fromHandle(const void* handle) noexcept;

    const std::string& name() const { return name_; }
    PropertySet& properties() { return props_; }
    const PropertySet& properties() const { return props_; }
    Host& host() const { return host_; }

private:
    Host& host_;
    std::string name_;
    PropertySet props_;
    HandleRegistration registration_;
};

// The image effect handle of OfxActionDescribe (no context) or of
// OfxImageEffectActionDescribeInContext (with its context).
class EffectDescriptor {
public:
    EffectDescriptor(Host& host, std::string context = {});

    OfxImageEffectHandle handle() const {
        return reinterpret_cast<OfxImageEffectHandle>(const_cast<EffectDescriptor*>(this));
    }
    static EffectDescriptor* fromHandle(const void* handle) noexcept;

    const std::string& context() const { return context_; }
    PropertySet& properties() { return props_; }
    const PropertySet& properties() const { return props_; }
    ParamSet& params() { return params_; }
    const ParamSet& params() const { return params_; }
    Host& host() const { return host_; }

    // clipDefine: clips exist only in a context, so the descriptor of
    // OfxActionDescribe answers kOfxStatErrUnsupported; kOfxStatErrExists for
    // a name already defined, kOfxStatErrValue for a null or empty name.
    OfxStatus defineClip(const char* name, ClipDescriptor** defined);
    ClipDescriptor* clip(std::string_view name) const;
    const std::vector<std::unique_ptr<ClipDescriptor>>& clips() const { return clips_; }

private:
    Host& host_;
    std::string context_;
    PropertySet props_;
    ParamSet params_;
    std::vector<std::unique_ptr<ClipDescriptor>> clips_;
    HandleRegistration registration_;
};

} // namespace ofxhost
