#include "Instance.h"

#include "Error.h"
#include "Host.h"
#include "Plugin.h"
#include "PropertySchema.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unordered_map>

namespace ofxhost {

namespace {

// Images handed out, by property set, so that clipReleaseImage can find the
// instance that owns one (and refuse anything else).
struct ImageRegistry {
    std::mutex mutex;
    std::unordered_map<const PropertySet*, EffectInstance*> owners;
};

ImageRegistry& imageRegistry() {
    static ImageRegistry* instance = new ImageRegistry;
    return *instance;
}

} // namespace

void registerImageOwner(const PropertySet* image, EffectInstance* owner) {
    ImageRegistry& r = imageRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.owners[image] = owner;
}

namespace {

bool sameTime(OfxTime a, OfxTime b) { return std::fabs(a - b) <= 1e-9; }

std::string quoted(std::string_view s) { return "'" + std::string(s) + "'"; }

} // namespace

ParamValueKind paramValueKind(const std::string& type) {
    using K = ParamValueKind::Kind;
    if (type == kOfxParamTypeInteger || type == kOfxParamTypeBoolean ||
        type == kOfxParamTypeChoice) {
        return {K::Int, 1};
    }
    if (type == kOfxParamTypeInteger2D) {
        return {K::Int, 2};
    }
    if (type == kOfxParamTypeInteger3D) {
        return {K::Int, 3};
    }
    if (type == kOfxParamTypeDouble) {
        return {K::Double, 1};
    }
    if (type == kOfxParamTypeDouble2D) {
        return {K::Double, 2};
    }
    if (type == kOfxParamTypeDouble3D || type == kOfxParamTypeRGB) {
        return {K::Double, 3};
    }
    if (type == kOfxParamTypeRGBA) {
        return {K::Double, 4};
    }
    if (type == kOfxParamTypeString || type == kOfxParamTypeCustom ||
        type == kOfxParamTypeStrChoice) {
        return {K::Text, 1};
    }
    return {K::None, 0};
}

// --- ParamInstance ---------------------------------------------------------------

namespace {

const Schema& paramSchemaOf(const std::string& type) {
    const Schema* s = schema::paramDescriptor(type);
    if (s == nullptr) {
        throw Error("unknown parameter type '" + type + "'");
    }
    return *s;
}

} // namespace

ParamInstance::ParamInstance(EffectInstance& effect, const ParamDescriptor& descriptor)
    : effect_(effect), name_(descriptor.name()), type_(descriptor.type()),
      kind_(paramValueKind(type_)), props_(paramSchemaOf(type_), &effect.host()),
      registration_(this, HandleKind::ParamInstance) {
    props_.copyValuesFrom(descriptor.properties());
    using K = ParamValueKind::Kind;
    const PropertySet& d = descriptor.properties();
    if (kind_.kind == K::Int) {
        for (int v : d.getInts(kOfxParamPropDefault)) {
            constant_.numbers.push_back(v);
        }
    } else if (kind_.kind == K::Double) {
        constant_.numbers = d.getDoubles(kOfxParamPropDefault);
    } else if (kind_.kind == K::Text) {
        constant_.text = d.getString(kOfxParamPropDefault);
    }
    constant_.numbers.resize(static_cast<std::size_t>(kind_.kind == K::Text ? 0 : kind_.dimension),
                             0.0);
}

ParamInstance* ParamInstance::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::ParamInstance)) {
        return nullptr;
    }
    return static_cast<ParamInstance*>(const_cast<void*>(handle));
}

const ParamValue& ParamInstance::stepAtLocked(OfxTime time) const {
    if (keys_.empty()) {
        return constant_;
    }
    auto it = keys_.upper_bound(time + 1e-9);
    if (it == keys_.begin()) {
        return it->second;
    }
    return std::prev(it)->second;
}

ParamInstance::KeysAround ParamInstance::keysAroundLocked(OfxTime time) const {
    if (keys_.empty() || !kind_.interpolates()) {
        return {&stepAtLocked(time), nullptr, 0.0};
    }
    const auto after = keys_.lower_bound(time);
    if (after == keys_.begin()) {
        return {&after->second, nullptr, 0.0};
    }
    if (after == keys_.end()) {
        return {&std::prev(after)->second, nullptr, 0.0};
    }
    if (sameTime(after->first, time)) {
        return {&after->second, nullptr, 0.0};
    }
    const auto before = std::prev(after);
    const double f = (time - before->first) / (after->first - before->first);
    return {&before->second, &after->second, f};
}

ParamValue ParamInstance::valueAtLocked(OfxTime time) const {
    const KeysAround around = keysAroundLocked(time);
    ParamValue v = *around.from;
    if (around.to != nullptr) {
        for (std::size_t i = 0; i < v.numbers.size(); ++i) {
            v.numbers[i] += around.f * (around.to->numbers[i] - around.from->numbers[i]);
        }
    }
    return v;
}

ParamValue ParamInstance::valueAt(OfxTime time) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return valueAtLocked(time);
}

void ParamInstance::numbersAt(OfxTime time, double* out, int count) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const KeysAround around = keysAroundLocked(time);
    const std::vector<double>& from = around.from->numbers;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        out[i] =
            around.to != nullptr ? from[i] + around.f * (around.to->numbers[i] - from[i]) : from[i];
    }
}

const char* ParamInstance::textAt(OfxTime time) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return stepAtLocked(time).text.c_str();
}

OfxStatus ParamInstance::set(const ParamValue& value, std::optional<OfxTime> time) {
    using K = ParamValueKind::Kind;
    switch (kind_.kind) {
    case K::None:
        return kOfxStatErrUnsupported;
    case K::Text:
        if (!value.numbers.empty()) {
            return kOfxStatErrValue;
        }
        break;
    case K::Int:
        for (double v : value.numbers) {
            if (std::floor(v) != v) {
                return kOfxStatErrValue;
            }
        }
        [[fallthrough]];
    case K::Double:
        if (value.numbers.size() != static_cast<std::size_t>(kind_.dimension) ||
            !value.text.empty()) {
            return kOfxStatErrValue;
        }
        break;
    }
    if (type_ == kOfxParamTypeChoice) {
        const int options = props_.dimension(kOfxParamPropChoiceOption);
        if (value.numbers[0] < 0 || value.numbers[0] >= options) {
            return kOfxStatErrValue;
        }
    }
    // A parameter that cannot animate has only its value, whatever the time.
    const bool animates = props_.getInt(kOfxParamPropAnimates) != 0;
    const OfxTime now = effect_.currentTime();
    std::lock_guard<std::mutex> lock(mutex_);
    if (!animates) {
        constant_ = value;
    } else if (time.has_value()) {
        auto existing = std::find_if(keys_.begin(), keys_.end(),
                                     [&](const auto& k) { return sameTime(k.first, *time); });
        if (existing != keys_.end()) {
            existing->second = value;
        } else {
            keys_.emplace(*time, value);
        }
    } else if (keys_.empty()) {
        constant_ = value;
    } else {
        // Setting an animated value keys it at the current time.
        keys_[now] = value;
    }
    updateAnimatingLocked();
    return kOfxStatOK;
}

void ParamInstance::updateAnimatingLocked() {
    props_.setInt(kOfxParamPropIsAnimating, keys_.empty() ? 0 : 1);
}

unsigned int ParamInstance::keyCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<unsigned int>(keys_.size());
}

std::vector<OfxTime> ParamInstance::keyTimes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<OfxTime> times;
    for (const auto& k : keys_) {
        times.push_back(k.first);
    }
    return times;
}

OfxStatus ParamInstance::keyTime(unsigned int index, OfxTime* time) const {
    if (time == nullptr) {
        return kOfxStatErrValue;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (index >= keys_.size()) {
        return kOfxStatErrBadIndex;
    }
    *time = std::next(keys_.begin(), static_cast<std::ptrdiff_t>(index))->first;
    return kOfxStatOK;
}

OfxStatus ParamInstance::keyIndex(OfxTime time, int direction, int* index) const {
    if (index == nullptr) {
        return kOfxStatErrValue;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    int i = 0;
    int found = -1;
    for (const auto& k : keys_) {
        if (direction == 0 && sameTime(k.first, time)) {
            found = i;
            break;
        }
        if (direction < 0 && k.first < time && !sameTime(k.first, time)) {
            found = i; // the last one before wins
        }
        if (direction > 0 && k.first > time && !sameTime(k.first, time)) {
            found = i;
            break;
        }
        ++i;
    }
    if (found < 0) {
        return kOfxStatFailed;
    }
    *index = found;
    return kOfxStatOK;
}

OfxStatus ParamInstance::deleteKey(OfxTime time) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = std::find_if(keys_.begin(), keys_.end(),
                                 [&](const auto& k) { return sameTime(k.first, time); });
    if (it == keys_.end()) {
        return kOfxStatErrBadIndex;
    }
    if (keys_.size() == 1) {
        // The value stays where the last key held it.
        constant_ = it->second;
    }
    keys_.erase(it);
    updateAnimatingLocked();
    return kOfxStatOK;
}

OfxStatus ParamInstance::deleteAllKeys() {
    const OfxTime now = effect_.currentTime();
    std::lock_guard<std::mutex> lock(mutex_);
    if (!keys_.empty()) {
        constant_ = valueAtLocked(now);
        keys_.clear();
    }
    updateAnimatingLocked();
    return kOfxStatOK;
}

OfxStatus ParamInstance::derivative(OfxTime time, std::vector<double>& out) const {
    if (kind_.kind != ParamValueKind::Kind::Double) {
        return kOfxStatErrUnsupported;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    out.assign(static_cast<std::size_t>(kind_.dimension), 0.0);
    const auto after = keys_.upper_bound(time);
    if (after == keys_.begin() || after == keys_.end()) {
        return kOfxStatOK;
    }
    const auto before = std::prev(after);
    for (std::size_t i = 0; i < out.size(); ++i) {
        out[i] =
            (after->second.numbers[i] - before->second.numbers[i]) / (after->first - before->first);
    }
    return kOfxStatOK;
}

OfxStatus ParamInstance::integral(OfxTime from, OfxTime to, std::vector<double>& out) const {
    if (kind_.kind != ParamValueKind::Kind::Double) {
        return kOfxStatErrUnsupported;
    }
    const double sign = to < from ? -1.0 : 1.0;
    const OfxTime a = std::min(from, to);
    const OfxTime b = std::max(from, to);
    std::lock_guard<std::mutex> lock(mutex_);
    // The value is linear between consecutive breakpoints, so the trapezoid
    // rule on each piece is exact.
    std::vector<OfxTime> cuts{a};
    for (const auto& k : keys_) {
        if (k.first > a && k.first < b) {
            cuts.push_back(k.first);
        }
    }
    cuts.push_back(b);
    out.assign(static_cast<std::size_t>(kind_.dimension), 0.0);
    for (std::size_t j = 1; j < cuts.size(); ++j) {
        const ParamValue v0 = valueAtLocked(cuts[j - 1]);
        const ParamValue v1 = valueAtLocked(cuts[j]);
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] += sign * 0.5 * (v0.numbers[i] + v1.numbers[i]) * (cuts[j] - cuts[j - 1]);
        }
    }
    return kOfxStatOK;
}

OfxStatus ParamInstance::copyFrom(const ParamInstance& from, OfxTime offset,
                                  const OfxRangeD* range) {
    if (from.type_ != type_) {
        return kOfxStatErrValue;
    }
    if (&from == this) {
        return offset == 0.0 ? kOfxStatOK : kOfxStatErrValue;
    }
    ParamValue constant;
    std::map<OfxTime, ParamValue> keys;
    {
        std::lock_guard<std::mutex> lock(from.mutex_);
        constant = from.constant_;
        for (const auto& k : from.keys_) {
            if (range == nullptr || (k.first >= range->min && k.first <= range->max)) {
                keys.emplace(k.first + offset, k.second);
            }
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    constant_ = std::move(constant);
    keys_ = std::move(keys);
    updateAnimatingLocked();
    return kOfxStatOK;
}

// --- InstanceParamSet ------------------------------------------------------------

InstanceParamSet::InstanceParamSet(EffectInstance& effect, const ParamSet& descriptors)
    : effect_(effect), props_(schema::parameterSet(), &effect.host()),
      registration_(this, HandleKind::InstanceParamSet) {
    props_.copyValuesFrom(descriptors.properties());
    for (const auto& d : descriptors.params()) {
        params_.push_back(std::make_unique<ParamInstance>(effect, *d));
    }
}

InstanceParamSet* InstanceParamSet::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::InstanceParamSet)) {
        return nullptr;
    }
    return static_cast<InstanceParamSet*>(const_cast<void*>(handle));
}

ParamInstance* InstanceParamSet::find(std::string_view name) const {
    for (const auto& p : params_) {
        if (p->name() == name) {
            return p.get();
        }
    }
    return nullptr;
}

OfxStatus InstanceParamSet::editBegin(const char* label) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++editDepth_;
    editLabels_.push_back(label != nullptr ? label : "");
    return kOfxStatOK;
}

OfxStatus InstanceParamSet::editEnd() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (editDepth_.load() == 0) {
        return kOfxStatFailed;
    }
    --editDepth_;
    return kOfxStatOK;
}

std::vector<std::string> InstanceParamSet::editLabels() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return editLabels_;
}

// --- ClipInstance ----------------------------------------------------------------

ClipInstance::ClipInstance(EffectInstance& effect, const ClipDescriptor& descriptor)
    : effect_(effect), name_(descriptor.name()), output_(name_ == kOfxImageEffectOutputClipName),
      props_(schema::clipInstance(), &effect.host()),
      registration_(this, HandleKind::ClipInstance) {
    props_.copyValuesFrom(descriptor.properties());
    const ProjectSettings& project = effect.host().config().project;
    props_.setDoubles(kOfxImageEffectPropFrameRange, {0.0, project.duration - 1.0});
    props_.setDoubles(kOfxImageEffectPropUnmappedFrameRange, {0.0, project.duration - 1.0});
    props_.setDouble(kOfxImageEffectPropFrameRate, project.frameRate);
    props_.setDouble(kOfxImageEffectPropUnmappedFrameRate, project.frameRate);
    props_.setDouble(kOfxImagePropPixelAspectRatio, project.pixelAspectRatio);
    if (isOutput()) {
        // The output exists as soon as the instance does; its format is the
        // host's first depth and the clip's first components until a source
        // or the plug-in's preferences say otherwise.
        props_.setInt(kOfxImageClipPropConnected, 1);
        const auto& depths = effect.host().config().pixelDepths;
        const std::string depth =
            std::find(depths.begin(), depths.end(), kOfxBitDepthFloat) != depths.end()
                ? std::string(kOfxBitDepthFloat)
                : (depths.empty() ? std::string(kOfxBitDepthFloat) : depths.front());
        const auto comps = props_.getStrings(kOfxImageEffectPropSupportedComponents);
        const std::string components =
            comps.empty() ? std::string(kOfxImageComponentRGBA) : comps.front();
        for (const char* p : {kOfxImageEffectPropPixelDepth, kOfxImageClipPropUnmappedPixelDepth}) {
            props_.setString(p, depth);
        }
        for (const char* p : {kOfxImageEffectPropComponents, kOfxImageClipPropUnmappedComponents}) {
            props_.setString(p, components);
        }
        props_.setString(kOfxImageEffectPropPreMultiplication, kOfxImagePreMultiplied);
    }
}

ClipInstance* ClipInstance::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::ClipInstance)) {
        return nullptr;
    }
    return static_cast<ClipInstance*>(const_cast<void*>(handle));
}

void ClipInstance::setFrames(FrameProvider provider) {
    std::optional<ImageDesc> first;
    if (provider) {
        first = provider(0.0);
    }
    std::shared_ptr<const FrameProvider> shared;
    if (provider) {
        shared = std::make_shared<const FrameProvider>(std::move(provider));
    }
    const bool connected = shared != nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        provider_ = std::move(shared);
    }
    props_.setInt(kOfxImageClipPropConnected, connected ? 1 : 0);
    if (first.has_value()) {
        props_.setString(kOfxImageEffectPropPixelDepth, first->depth);
        props_.setString(kOfxImageClipPropUnmappedPixelDepth, first->depth);
        props_.setString(kOfxImageEffectPropComponents, first->components);
        props_.setString(kOfxImageClipPropUnmappedComponents, first->components);
        props_.setString(kOfxImageEffectPropPreMultiplication, first->premultiplication);
        props_.setDouble(kOfxImagePropPixelAspectRatio, first->pixelAspectRatio);
        props_.setString(kOfxImageClipPropFieldOrder, first->field);
    }
}

FrameProvider ClipInstance::frames() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return provider_ != nullptr ? *provider_ : FrameProvider();
}

std::shared_ptr<const FrameProvider> ClipInstance::frameSource() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return provider_;
}

bool ClipInstance::connected() const {
    if (isOutput()) {
        return true;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    return provider_ != nullptr;
}

// --- EffectInstance --------------------------------------------------------------

std::optional<OfxStatus> RenderResult::statusOf(std::string_view action) const {
    for (const RenderStep& s : steps) {
        if (s.action == action) {
            return s.status;
        }
    }
    return std::nullopt;
}

EffectInstance::EffectInstance(Plugin& plugin, const EffectDescriptor& descriptor)
    : plugin_(&plugin), host_(*plugin.host()), context_(descriptor.context()),
      props_(schema::effectInstance(), plugin.host()), params_(*this, descriptor.params()),
      registration_(this, HandleKind::EffectInstance) {
    for (const auto& c : descriptor.clips()) {
        clips_.push_back(std::make_unique<ClipInstance>(*this, *c));
    }
    const ProjectSettings& project = host_.config().project;
    props_.setString(kOfxImageEffectPropContext, context_);
    props_.setDoubles(kOfxImageEffectPropProjectSize, {project.width, project.height});
    props_.setDoubles(kOfxImageEffectPropProjectOffset, {project.offsetX, project.offsetY});
    props_.setDoubles(kOfxImageEffectPropProjectExtent,
                      {project.offsetX + project.width, project.offsetY + project.height});
    props_.setDouble(kOfxImageEffectPropProjectPixelAspectRatio, project.pixelAspectRatio);
    props_.setDouble(kOfxImageEffectInstancePropEffectDuration, project.duration);
    props_.setDouble(kOfxImageEffectPropFrameRate, project.frameRate);
    props_.setInt(kOfxPropIsInteractive, 0);
    const PropertySet& d = descriptor.properties();
    props_.setInt(kOfxImageEffectInstancePropSequentialRender,
                  d.getInt(kOfxImageEffectInstancePropSequentialRender));
    props_.setInt(kOfxImageEffectPropSupportsTiles,
                  d.getInt(kOfxImageEffectPropSupportsTiles) != 0 && host_.config().tiles ? 1 : 0);
    props_.setPointer(kOfxImageEffectPropPluginHandle, descriptor.handle());
}

EffectInstance::~EffectInstance() {
    destroy();
    std::lock_guard<std::mutex> registry(imageRegistry().mutex);
    for (const auto& image : images_) {
        imageRegistry().owners.erase(image.first);
    }
}

void EffectInstance::destroy() noexcept {
    if (destroyed_) {
        return;
    }
    destroyed_ = true;
    if (plugin_ != nullptr) {
        try {
            if (plugin_->host() != nullptr) {
                plugin_->action(kOfxActionDestroyInstance, handle());
            }
        } catch (...) {
            // The plug-in went away under us; nothing to tell it any more.
        }
        plugin_->forgetInstance(this);
        plugin_ = nullptr;
    }
}

void EffectInstance::abandon() noexcept {
    destroyed_ = true;
    plugin_ = nullptr;
}

EffectInstance* EffectInstance::fromHandle(const void* handle) noexcept {
    if (!handles::valid(handle, HandleKind::EffectInstance)) {
        return nullptr;
    }
    return static_cast<EffectInstance*>(const_cast<void*>(handle));
}

Plugin& EffectInstance::plugin() const {
    if (plugin_ == nullptr) {
        throw Error("this effect instance has been destroyed (its plug-in was unloaded)");
    }
    return *plugin_;
}

ParamInstance& EffectInstance::param(std::string_view name) const {
    ParamInstance* p = params_.find(name);
    if (p == nullptr) {
        throw Error("the instance has no parameter " + quoted(name));
    }
    return *p;
}

ClipInstance* EffectInstance::findClip(std::string_view name) const {
    for (const auto& c : clips_) {
        if (c->name() == name) {
            return c.get();
        }
    }
    return nullptr;
}

ClipInstance& EffectInstance::clip(std::string_view name) const {
    ClipInstance* c = findClip(name);
    if (c == nullptr) {
        throw Error("the instance has no clip " + quoted(name));
    }
    return *c;
}

std::vector<std::string> EffectInstance::clipNames() const {
    std::vector<std::string> names;
    for (const auto& c : clips_) {
        names.push_back(c->name());
    }
    return names;
}

OfxStatus EffectInstance::action(const char* name, PropertySet* inArgs, PropertySet* outArgs) {
    return plugin().action(name, handle(), inArgs, outArgs);
}

// --- values from the host side -----------------------------------------------------

namespace {

ParamValue numbers(std::vector<double> v) {
    ParamValue p;
    p.numbers = std::move(v);
    return p;
}

ParamValue text(std::string s) {
    ParamValue p;
    p.text = std::move(s);
    return p;
}

} // namespace

void EffectInstance::setValueImpl(std::string_view name, std::optional<OfxTime> time,
                                  ParamValue value) {
    ParamInstance& p = param(name);
    const OfxStatus st = p.set(value, time);
    if (st != kOfxStatOK) {
        throw Error("cannot set parameter " + quoted(name) + " of type " + p.type() + ": " +
                    statusName(st));
    }
    recordChange({std::string(name), time, std::move(value), false, {}});
}

void EffectInstance::setValue(std::string_view name, double value) {
    setValueImpl(name, std::nullopt, numbers({value}));
}
void EffectInstance::setValue(std::string_view name, int value) {
    setValueImpl(name, std::nullopt, numbers({static_cast<double>(value)}));
}
void EffectInstance::setValue(std::string_view name, bool value) {
    setValueImpl(name, std::nullopt, numbers({value ? 1.0 : 0.0}));
}
void EffectInstance::setValue(std::string_view name, const char* value) {
    setValueImpl(name, std::nullopt, text(value != nullptr ? value : ""));
}
void EffectInstance::setValue(std::string_view name, const std::string& value) {
    setValueImpl(name, std::nullopt, text(value));
}
void EffectInstance::setValue(std::string_view name, const std::vector<double>& values) {
    setValueImpl(name, std::nullopt, numbers(values));
}
void EffectInstance::setValue(std::string_view name, const ParamValue& value) {
    setValueImpl(name, std::nullopt, value);
}
void EffectInstance::setValueAtTime(std::string_view name, OfxTime time, double value) {
    setValueImpl(name, time, numbers({value}));
}
void EffectInstance::setValueAtTime(std::string_view name, OfxTime time, int value) {
    setValueImpl(name, time, numbers({static_cast<double>(value)}));
}
void EffectInstance::setValueAtTime(std::string_view name, OfxTime time, bool value) {
    setValueImpl(name, time, numbers({value ? 1.0 : 0.0}));
}
void EffectInstance::setValueAtTime(std::string_view name, OfxTime time, const std::string& value) {
    setValueImpl(name, time, text(value));
}
void EffectInstance::setValueAtTime(std::string_view name, OfxTime time,
                                    const std::vector<double>& values) {
    setValueImpl(name, time, numbers(values));
}
void EffectInstance::setValueAtTime(std::string_view name, OfxTime time, const ParamValue& value) {
    setValueImpl(name, time, value);
}

ParamValue EffectInstance::valueAt(std::string_view name, OfxTime time) const {
    return param(name).valueAt(time);
}

namespace {

double single(const ParamInstance& p, const ParamValue& v) {
    if (v.numbers.size() != 1) {
        throw Error("parameter " + quoted(p.name()) + " of type " + p.type() +
                    " does not hold one number");
    }
    return v.numbers[0];
}

} // namespace

template <>
double EffectInstance::value<double>(std::string_view name, OfxTime time) const {
    const ParamInstance& p = param(name);
    return single(p, p.valueAt(time));
}

template <>
int EffectInstance::value<int>(std::string_view name, OfxTime time) const {
    const ParamInstance& p = param(name);
    return static_cast<int>(std::lround(single(p, p.valueAt(time))));
}

template <>
bool EffectInstance::value<bool>(std::string_view name, OfxTime time) const {
    const ParamInstance& p = param(name);
    return single(p, p.valueAt(time)) != 0.0;
}

template <>
std::string EffectInstance::value<std::string>(std::string_view name, OfxTime time) const {
    const ParamInstance& p = param(name);
    if (p.valueKind().kind != ParamValueKind::Kind::Text) {
        throw Error("parameter " + quoted(name) + " of type " + p.type() + " holds no text");
    }
    return p.valueAt(time).text;
}

template <>
std::vector<double> EffectInstance::value<std::vector<double>>(std::string_view name,
                                                               OfxTime time) const {
    return param(name).valueAt(time).numbers;
}

std::vector<ParamChange> EffectInstance::paramChanges() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
}

void EffectInstance::clearParamChanges() {
    std::lock_guard<std::mutex> lock(mutex_);
    changes_.clear();
}

void EffectInstance::recordChange(ParamChange change) {
    std::lock_guard<std::mutex> lock(mutex_);
    changes_.push_back(std::move(change));
}

OfxTime EffectInstance::currentTime() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return currentTime_;
}

void EffectInstance::setCurrentTime(OfxTime time) {
    std::lock_guard<std::mutex> lock(mutex_);
    currentTime_ = time;
}

// --- instance changed ------------------------------------------------------------

OfxStatus EffectInstance::beginInstanceChanged(const std::string& reason) {
    PropertySet in("begin instance changed arguments", &host_);
    in.setString(kOfxPropChangeReason, reason);
    return action(kOfxActionBeginInstanceChanged, &in);
}

OfxStatus EffectInstance::endInstanceChanged(const std::string& reason) {
    PropertySet in("end instance changed arguments", &host_);
    in.setString(kOfxPropChangeReason, reason);
    return action(kOfxActionEndInstanceChanged, &in);
}

OfxStatus EffectInstance::instanceChanged(const std::string& type, const std::string& name,
                                          const std::string& reason, OfxTime time,
                                          OfxPointD renderScale) {
    setCurrentTime(time);
    PropertySet in("instance changed arguments", &host_);
    in.setString(kOfxPropType, type);
    in.setString(kOfxPropName, name);
    in.setString(kOfxPropChangeReason, reason);
    in.setDouble(kOfxPropTime, time);
    in.setDoubles(kOfxImageEffectPropRenderScale, {renderScale.x, renderScale.y});
    return action(kOfxActionInstanceChanged, &in);
}

OfxStatus EffectInstance::changed(const std::string& type, const std::string& name,
                                  const std::string& reason, OfxTime time, OfxPointD renderScale) {
    const auto failed = [](OfxStatus s) { return s != kOfxStatOK && s != kOfxStatReplyDefault; };
    const OfxStatus begin = beginInstanceChanged(reason);
    const OfxStatus body = instanceChanged(type, name, reason, time, renderScale);
    const OfxStatus end = endInstanceChanged(reason);
    if (failed(begin)) {
        return begin;
    }
    if (failed(body)) {
        return body;
    }
    return failed(end) ? end : body;
}

OfxStatus EffectInstance::userEdit(std::string_view name, OfxTime time, OfxPointD renderScale) {
    param(name); // an unknown name is the caller's mistake, not the plug-in's
    return changed(kOfxTypeParameter, std::string(name), kOfxChangeUserEdited, time, renderScale);
}

// --- clips and images --------------------------------------------------------------

void EffectInstance::setClipFrames(std::string_view name, FrameProvider provider) {
    ClipInstance& c = clip(name);
    if (c.isOutput()) {
        throw Error("the output clip shows the render's buffer; it takes no frames");
    }
    c.setFrames(std::move(provider));
    // A host's default preferences: the output takes the format of the
    // source it filters.
    ClipInstance* out = findClip(kOfxImageEffectOutputClipName);
    if (out != nullptr && c.name() == kOfxImageEffectSimpleSourceClipName && c.connected()) {
        PropertySet& from = c.properties();
        PropertySet& to = out->properties();
        for (const char* p : {kOfxImageEffectPropPixelDepth, kOfxImageClipPropUnmappedPixelDepth,
                              kOfxImageEffectPropComponents, kOfxImageClipPropUnmappedComponents,
                              kOfxImageEffectPropPreMultiplication}) {
            to.setString(p, from.getString(p));
        }
        to.setDouble(kOfxImagePropPixelAspectRatio, from.getDouble(kOfxImagePropPixelAspectRatio));
    }
}

std::size_t EffectInstance::liveImages() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return images_.size();
}

std::size_t EffectInstance::imagesFetched() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return imagesFetched_;
}

std::vector<std::optional<OfxRectD>> EffectInstance::imageRegions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return imageRegions_;
}

void EffectInstance::setImageHook(ImageHook hook) {
    std::lock_guard<std::mutex> lock(mutex_);
    imageHook_ = std::move(hook);
}

void EffectInstance::forgetImage(PropertySet* image) {
    LiveImage dropped;
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = images_.find(image);
    if (it != images_.end()) {
        dropped = std::move(it->second);
        images_.erase(it);
        // A set as the host made it is kept for the next image; one the
        // hook changed is not.
        constexpr std::size_t kSpareImages = 4;
        if (!dropped.hooked && spareImages_.size() < kSpareImages) {
            dropped.properties->retire();
            spareImages_.push_back({std::move(dropped.properties), dropped.filled});
        }
    }
}

OfxStatus EffectInstance::releaseImage(OfxPropertySetHandle image) {
    return releaseImageSet(PropertySet::fromHandle(image));
}

OfxStatus EffectInstance::releaseImageSet(PropertySet* set) {
    if (set == nullptr) {
        return kOfxStatErrBadHandle;
    }
    EffectInstance* owner = nullptr;
    {
        ImageRegistry& r = imageRegistry();
        std::lock_guard<std::mutex> lock(r.mutex);
        const auto it = r.owners.find(set);
        if (it == r.owners.end()) {
            return kOfxStatErrBadHandle;
        }
        owner = it->second;
        r.owners.erase(it);
    }
    owner->forgetImage(set);
    return kOfxStatOK;
}

bool EffectInstance::cancelRequested() const {
    const std::atomic<bool>* flag = abortFlag_.load();
    return abortRequested_.load() || (flag != nullptr && flag->load());
}

int EffectInstance::abortQuery() {
    const int calls = abortCalls_.fetch_add(1);
    if (cancelRequested()) {
        return 1;
    }
    const int after = host_.config().abortAfterCalls;
    return after >= 0 && calls >= after ? 1 : 0;
}

} // namespace ofxhost
