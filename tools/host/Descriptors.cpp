#include "Descriptors.h"

#include "Error.h"
#include "PropertySchema.h"

namespace ofxhost {

namespace {

const Schema& paramSchema(const std::string& type) {
    const Schema* s = schema::paramDescriptor(type);
    if (s == nullptr) {
        throw Error("unknown parameter type '" + type + "'");
    }
    return *s;
}

bool validName(const char* name) { return name != nullptr && name[0] != '\0'; }

} // namespace

ParamDescriptor::ParamDescriptor(Host& host, std::string type, std::string name)
    : host_(host), type_(std::move(type)), name_(std::move(name)),
      props_(paramSchema(type_), &host), registration_(this, HandleKind::Param) {
    props_.setString(kOfxPropName, name_);
    props_.setString(kOfxPropLabel, name_);
    props_.setString(kOfxParamPropScriptName, name_);
}

ParamDescriptor* ParamDescriptor::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::Param)) {
        return nullptr;
    }
    return static_cast<ParamDescriptor*>(const_cast<void*>(handle));
}

ParamSet::ParamSet(Host& host)
    : host_(host), props_(schema::parameterSet(), &host),
      registration_(this, HandleKind::ParamSet) {}

ParamSet* ParamSet::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::ParamSet)) {
        return nullptr;
    }
    return static_cast<ParamSet*>(const_cast<void*>(handle));
}

OfxStatus ParamSet::define(const char* type, const char* name, ParamDescriptor** defined) {
    if (type == nullptr || schema::paramDescriptor(type) == nullptr) {
        return kOfxStatErrUnknown;
    }
    if (!validName(name)) {
        return kOfxStatErrValue;
    }
    if (find(name) != nullptr) {
        return kOfxStatErrExists;
    }
    params_.push_back(std::make_unique<ParamDescriptor>(host_, type, name));
    if (defined != nullptr) {
        *defined = params_.back().get();
    }
    return kOfxStatOK;
}

ParamDescriptor* ParamSet::find(std::string_view name) const {
    for (const auto& p : params_) {
        if (p->name() == name) {
            return p.get();
        }
    }
    return nullptr;
}

ClipDescriptor::ClipDescriptor(Host& host, std::string name)
    : host_(host), name_(std::move(name)), props_(schema::clipDescriptor(), &host),
      registration_(this, HandleKind::Clip) {
    props_.setString(kOfxPropName, name_);
    props_.setString(kOfxPropLabel, name_);
}

ClipDescriptor* ClipDescriptor::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::Clip)) {
        return nullptr;
    }
    return static_cast<ClipDescriptor*>(const_cast<void*>(handle));
}

EffectDescriptor::EffectDescriptor(Host& host, std::string context)
    : host_(host), context_(std::move(context)), props_(schema::effectDescriptor(), &host),
      params_(host), registration_(this, HandleKind::ImageEffect) {}

EffectDescriptor* EffectDescriptor::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::ImageEffect)) {
        return nullptr;
    }
    return static_cast<EffectDescriptor*>(const_cast<void*>(handle));
}

OfxStatus EffectDescriptor::defineClip(const char* name, ClipDescriptor** defined) {
    if (context_.empty()) {
        return kOfxStatErrUnsupported;
    }
    if (!validName(name)) {
        return kOfxStatErrValue;
    }
    if (clip(name) != nullptr) {
        return kOfxStatErrExists;
    }
    clips_.push_back(std::make_unique<ClipDescriptor>(host_, name));
    if (defined != nullptr) {
        *defined = clips_.back().get();
    }
    return kOfxStatOK;
}

ClipDescriptor* EffectDescriptor::clip(std::string_view name) const {
    for (const auto& c : clips_) {
        if (c->name() == name) {
            return c.get();
        }
    }
    return nullptr;
}

} // namespace ofxhost
