#include "PropertySet.h"

#include "Error.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <type_traits>
#include <utility>

namespace ofxhost {

const char* toString(PropType type) {
    switch (type) {
    case PropType::Pointer:
        return "pointer";
    case PropType::String:
        return "string";
    case PropType::Double:
        return "double";
    case PropType::Int:
        return "int";
    }
    return "?";
}

PropertyDef PropertyDef::intProp(std::string name, int dimension, std::vector<int> defaults) {
    PropertyDef def;
    def.name = std::move(name);
    def.type = PropType::Int;
    def.dimension = dimension;
    def.ints = std::move(defaults);
    return def;
}

PropertyDef PropertyDef::doubleProp(std::string name, int dimension, std::vector<double> defaults) {
    PropertyDef def;
    def.name = std::move(name);
    def.type = PropType::Double;
    def.dimension = dimension;
    def.doubles = std::move(defaults);
    return def;
}

PropertyDef PropertyDef::stringProp(std::string name, int dimension,
                                    std::vector<std::string> defaults) {
    PropertyDef def;
    def.name = std::move(name);
    def.type = PropType::String;
    def.dimension = dimension;
    def.strings = std::move(defaults);
    return def;
}

PropertyDef PropertyDef::pointerProp(std::string name, int dimension) {
    PropertyDef def;
    def.name = std::move(name);
    def.type = PropType::Pointer;
    def.dimension = dimension;
    return def;
}

// Access to the storage of one value type, so that the suite's sixteen
// typed functions share one implementation of their checks.
struct IntStore {
    static std::vector<int>& of(PropertySet::Property& p) { return p.ints; }
    static const std::vector<int>& of(const PropertySet::Property& p) { return p.ints; }
    static void put(std::vector<int>& v, std::size_t i, int x) { v[i] = x; }
    static void push(std::vector<int>& v, int x) { v.push_back(x); }
    static int out(const std::vector<int>& v, std::size_t i) { return v[i]; }
};

struct DoubleStore {
    static std::vector<double>& of(PropertySet::Property& p) { return p.doubles; }
    static const std::vector<double>& of(const PropertySet::Property& p) { return p.doubles; }
    static void put(std::vector<double>& v, std::size_t i, double x) { v[i] = x; }
    static void push(std::vector<double>& v, double x) { v.push_back(x); }
    static double out(const std::vector<double>& v, std::size_t i) { return v[i]; }
};

struct PointerStore {
    static std::vector<void*>& of(PropertySet::Property& p) { return p.pointers; }
    static const std::vector<void*>& of(const PropertySet::Property& p) { return p.pointers; }
    static void put(std::vector<void*>& v, std::size_t i, void* x) { v[i] = x; }
    static void push(std::vector<void*>& v, void* x) { v.push_back(x); }
    static void* out(const std::vector<void*>& v, std::size_t i) { return v[i]; }
};

struct StringStore {
    using Strings = decltype(PropertySet::Property::strings);
    static Strings& of(PropertySet::Property& p) { return p.strings; }
    static const Strings& of(const PropertySet::Property& p) { return p.strings; }
    static void put(Strings& v, std::size_t i, const char* x) { v[i] = x; }
    static void push(Strings& v, const char* x) { v.emplace_back(x); }
    static char* out(const Strings& v, std::size_t i) {
        // The plug-in receives a char* by the C signature; it must not write
        // through it, and the string lives in this set.
        return const_cast<char*>(v[i].c_str());
    }
};

int PropertySet::Property::size() const {
    switch (def.type) {
    case PropType::Int:
        return static_cast<int>(ints.size());
    case PropType::Double:
        return static_cast<int>(doubles.size());
    case PropType::String:
        return static_cast<int>(strings.size());
    case PropType::Pointer:
        return static_cast<int>(pointers.size());
    }
    return 0;
}

void PropertySet::Property::reset() {
    ints = def.ints;
    doubles = def.doubles;
    strings.assign(def.strings);
    pointers.assign(def.type == PropType::Pointer && def.dimension > 0
                        ? static_cast<std::size_t>(def.dimension)
                        : 0u,
                    nullptr);
}

PropertySet::PropertySet(std::string label, Host* owner)
    : label_(std::move(label)), owner_(owner), fixed_(false),
      registration_(this, HandleKind::PropertySet) {}

PropertySet::PropertySet(const Schema& schema, Host* owner)
    : label_(schema.name), owner_(owner), fixed_(true),
      registration_(this, HandleKind::PropertySet) {
    for (const PropertyDef& def : schema.properties) {
        define(def);
    }
}

PropertySet::~PropertySet() = default;

PropertySet* PropertySet::fromHandle(OfxPropertySetHandle handle) noexcept {
    if (!handles::valid(handle, HandleKind::PropertySet)) {
        return nullptr;
    }
    return reinterpret_cast<PropertySet*>(handle);
}

namespace {

template <class Index>
auto placeIn(Index& index, std::string_view name) {
    return std::lower_bound(index.begin(), index.end(), name,
                            [](const auto& entry, std::string_view n) { return entry.first < n; });
}

} // namespace

PropertySet::Property* PropertySet::find(std::string_view name) {
    const auto it = placeIn(index_, name);
    return it == index_.end() || it->first != name ? nullptr : properties_[it->second].get();
}

const PropertySet::Property* PropertySet::find(std::string_view name) const {
    const auto it = placeIn(index_, name);
    return it == index_.end() || it->first != name ? nullptr : properties_[it->second].get();
}

PropertySet::Property& PropertySet::addProperty(const PropertyDef& def) {
    PropertyDef normalised = def;
    if (normalised.dimension < 0) {
        normalised.dimension = 0;
    }
    if (normalised.dimension > 0) {
        // A fixed dimension always holds that many values.
        const auto n = static_cast<std::size_t>(normalised.dimension);
        switch (normalised.type) {
        case PropType::Int:
            normalised.ints.resize(n, 0);
            break;
        case PropType::Double:
            normalised.doubles.resize(n, 0.0);
            break;
        case PropType::String:
            normalised.strings.resize(n);
            break;
        case PropType::Pointer:
            break;
        }
    }
    if (Property* existing = find(normalised.name)) {
        // The index views the name it has: keep that string where it is.
        std::string name = std::move(existing->def.name);
        existing->def = std::move(normalised);
        existing->def.name = std::move(name);
        existing->reset();
        return *existing;
    }
    auto property = std::make_unique<Property>();
    property->def = std::move(normalised);
    property->reset();
    const std::string_view name = property->def.name;
    index_.insert(placeIn(index_, name), {name, properties_.size()});
    properties_.push_back(std::move(property));
    return *properties_.back();
}

void PropertySet::define(const PropertyDef& def) {
    std::lock_guard<std::mutex> lock(mutex_);
    addProperty(def);
}

OfxStatus PropertySet::lookupForWrite(const char* name, PropType type, Property*& out) {
    if (name == nullptr) {
        return kOfxStatErrUnknown;
    }
    out = find(name);
    if (out == nullptr) {
        if (fixed_) {
            return kOfxStatErrUnknown;
        }
        PropertyDef def;
        def.name = name;
        def.type = type;
        def.dimension = 0;
        out = &addProperty(def);
    }
    return out->def.type == type ? kOfxStatOK : kOfxStatErrValue;
}

OfxStatus PropertySet::lookupForRead(const char* name, PropType type, const Property*& out) const {
    if (name == nullptr) {
        return kOfxStatErrUnknown;
    }
    out = find(name);
    if (out == nullptr) {
        return kOfxStatErrUnknown;
    }
    return out->def.type == type ? kOfxStatOK : kOfxStatErrValue;
}

template <typename Store, typename Value>
OfxStatus PropertySet::setOne(const char* name, PropType type, int index, Value value) {
    std::lock_guard<std::mutex> lock(mutex_);
    Property* p = nullptr;
    if (const OfxStatus st = lookupForWrite(name, type, p); st != kOfxStatOK) {
        return st;
    }
    if constexpr (std::is_same_v<Value, const char*>) {
        if (value == nullptr) {
            return kOfxStatErrValue;
        }
    }
    auto& values = Store::of(*p);
    const int size = static_cast<int>(values.size());
    if (index < 0 || (p->def.dimension > 0 && index >= p->def.dimension) || index > size) {
        return kOfxStatErrBadIndex;
    }
    // A variable-dimension property grows by one when the value one past its
    // end is set.
    if (index == size) {
        Store::push(values, value);
    } else {
        Store::put(values, static_cast<std::size_t>(index), value);
    }
    return kOfxStatOK;
}

template <typename Store, typename Value>
OfxStatus PropertySet::setMany(const char* name, PropType type, int count, const Value* values) {
    std::lock_guard<std::mutex> lock(mutex_);
    Property* p = nullptr;
    if (const OfxStatus st = lookupForWrite(name, type, p); st != kOfxStatOK) {
        return st;
    }
    if (count < 0 || (p->def.dimension > 0 && count > p->def.dimension)) {
        return kOfxStatErrBadIndex;
    }
    if (count > 0 && values == nullptr) {
        return kOfxStatErrValue;
    }
    if constexpr (std::is_same_v<Value, const char*>) {
        for (int i = 0; i < count; ++i) {
            if (values[i] == nullptr) {
                return kOfxStatErrValue;
            }
        }
    }
    auto& stored = Store::of(*p);
    if (p->def.dimension == 0) {
        // Setting N values of a variable-dimension property makes it N long.
        stored.clear();
        for (int i = 0; i < count; ++i) {
            Store::push(stored, values[i]);
        }
    } else {
        for (int i = 0; i < count; ++i) {
            Store::put(stored, static_cast<std::size_t>(i), values[i]);
        }
    }
    return kOfxStatOK;
}

template <typename Store, typename Value>
OfxStatus PropertySet::getOne(const char* name, PropType type, int index, Value* value) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Property* p = nullptr;
    if (const OfxStatus st = lookupForRead(name, type, p); st != kOfxStatOK) {
        return st;
    }
    const auto& values = Store::of(*p);
    if (index < 0 || index >= static_cast<int>(values.size())) {
        return kOfxStatErrBadIndex;
    }
    if (value == nullptr) {
        return kOfxStatErrValue;
    }
    *value = Store::out(values, static_cast<std::size_t>(index));
    return kOfxStatOK;
}

template <typename Store, typename Value>
OfxStatus PropertySet::getMany(const char* name, PropType type, int count, Value* values) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Property* p = nullptr;
    if (const OfxStatus st = lookupForRead(name, type, p); st != kOfxStatOK) {
        return st;
    }
    const auto& stored = Store::of(*p);
    if (count < 0 || count > static_cast<int>(stored.size())) {
        return kOfxStatErrBadIndex;
    }
    if (count > 0 && values == nullptr) {
        return kOfxStatErrValue;
    }
    for (int i = 0; i < count; ++i) {
        values[i] = Store::out(stored, static_cast<std::size_t>(i));
    }
    return kOfxStatOK;
}

OfxStatus PropertySet::propSetPointer(const char* name, int index, void* value) {
    return setOne<PointerStore>(name, PropType::Pointer, index, value);
}
OfxStatus PropertySet::propSetString(const char* name, int index, const char* value) {
    return setOne<StringStore>(name, PropType::String, index, value);
}
OfxStatus PropertySet::propSetDouble(const char* name, int index, double value) {
    return setOne<DoubleStore>(name, PropType::Double, index, value);
}
OfxStatus PropertySet::propSetInt(const char* name, int index, int value) {
    return setOne<IntStore>(name, PropType::Int, index, value);
}
OfxStatus PropertySet::propSetPointerN(const char* name, int count, void* const* values) {
    return setMany<PointerStore>(name, PropType::Pointer, count, values);
}
OfxStatus PropertySet::propSetStringN(const char* name, int count, const char* const* values) {
    return setMany<StringStore>(name, PropType::String, count, values);
}
OfxStatus PropertySet::propSetDoubleN(const char* name, int count, const double* values) {
    return setMany<DoubleStore>(name, PropType::Double, count, values);
}
OfxStatus PropertySet::propSetIntN(const char* name, int count, const int* values) {
    return setMany<IntStore>(name, PropType::Int, count, values);
}
OfxStatus PropertySet::propGetPointer(const char* name, int index, void** value) const {
    return getOne<PointerStore>(name, PropType::Pointer, index, value);
}
OfxStatus PropertySet::propGetString(const char* name, int index, char** value) const {
    return getOne<StringStore>(name, PropType::String, index, value);
}
OfxStatus PropertySet::propGetDouble(const char* name, int index, double* value) const {
    return getOne<DoubleStore>(name, PropType::Double, index, value);
}
OfxStatus PropertySet::propGetInt(const char* name, int index, int* value) const {
    return getOne<IntStore>(name, PropType::Int, index, value);
}
OfxStatus PropertySet::propGetPointerN(const char* name, int count, void** values) const {
    return getMany<PointerStore>(name, PropType::Pointer, count, values);
}
OfxStatus PropertySet::propGetStringN(const char* name, int count, char** values) const {
    return getMany<StringStore>(name, PropType::String, count, values);
}
OfxStatus PropertySet::propGetDoubleN(const char* name, int count, double* values) const {
    return getMany<DoubleStore>(name, PropType::Double, count, values);
}
OfxStatus PropertySet::propGetIntN(const char* name, int count, int* values) const {
    return getMany<IntStore>(name, PropType::Int, count, values);
}

OfxStatus PropertySet::propReset(const char* name) {
    std::lock_guard<std::mutex> lock(mutex_);
    Property* p = name ? find(name) : nullptr;
    if (p == nullptr) {
        return kOfxStatErrUnknown;
    }
    p->reset();
    return kOfxStatOK;
}

OfxStatus PropertySet::propGetDimension(const char* name, int* count) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Property* p = name ? find(name) : nullptr;
    if (p == nullptr) {
        return kOfxStatErrUnknown;
    }
    if (count == nullptr) {
        return kOfxStatErrValue;
    }
    *count = p->size();
    return kOfxStatOK;
}

// --- host and test side ---------------------------------------------------

const PropertySet::Property& PropertySet::require(std::string_view name, PropType type) const {
    const Property* p = find(name);
    if (p == nullptr) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    if (p->def.type != type) {
        throw Error("property '" + std::string(name) + "' of set '" + label_ + "' is of type " +
                    toString(p->def.type) + ", not " + toString(type));
    }
    return *p;
}

bool PropertySet::has(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return find(name) != nullptr;
}

int PropertySet::dimension(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Property* p = find(name);
    if (p == nullptr) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    return p->size();
}

PropType PropertySet::type(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Property* p = find(name);
    if (p == nullptr) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    return p->def.type;
}

std::vector<std::string> PropertySet::names() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> result;
    result.reserve(properties_.size());
    for (const auto& p : properties_) {
        result.push_back(p->def.name);
    }
    return result;
}

template <typename Store, typename Value>
void PropertySet::setAll(std::string_view name, PropType type, const std::vector<Value>& values) {
    std::lock_guard<std::mutex> lock(mutex_);
    Property* p = find(name);
    if (p == nullptr) {
        if (fixed_) {
            throw Error("property set '" + label_ + "' has no property '" + std::string(name) +
                        "'");
        }
        PropertyDef def;
        def.name = std::string(name);
        def.type = type;
        def.dimension = 0;
        p = &addProperty(def);
    }
    if (p->def.type != type) {
        throw Error("property '" + std::string(name) + "' of set '" + label_ + "' is of type " +
                    toString(p->def.type) + ", not " + toString(type));
    }
    if (p->def.dimension > 0 && static_cast<int>(values.size()) != p->def.dimension) {
        throw Error("property '" + std::string(name) + "' of set '" + label_ + "' has " +
                    std::to_string(p->def.dimension) + " values, not " +
                    std::to_string(values.size()));
    }
    auto& stored = Store::of(*p);
    stored.clear();
    for (const Value& v : values) {
        if constexpr (std::is_same_v<Value, std::string>) {
            Store::push(stored, v.c_str());
        } else {
            Store::push(stored, v);
        }
    }
}

void PropertySet::setInts(std::string_view name, const std::vector<int>& values) {
    setAll<IntStore>(name, PropType::Int, values);
}
void PropertySet::setDoubles(std::string_view name, const std::vector<double>& values) {
    setAll<DoubleStore>(name, PropType::Double, values);
}
void PropertySet::setStrings(std::string_view name, const std::vector<std::string>& values) {
    setAll<StringStore>(name, PropType::String, values);
}
void PropertySet::setPointers(std::string_view name, const std::vector<void*>& values) {
    setAll<PointerStore>(name, PropType::Pointer, values);
}

namespace {

template <typename Container>
auto at(const Container& values, std::string_view name, int index, const std::string& label) {
    if (index < 0 || index >= static_cast<int>(values.size())) {
        throw Error("property '" + std::string(name) + "' of set '" + label + "' has no index " +
                    std::to_string(index) + " (dimension " + std::to_string(values.size()) + ")");
    }
    return values[static_cast<std::size_t>(index)];
}

} // namespace

int PropertySet::getInt(std::string_view name, int index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return at(require(name, PropType::Int).ints, name, index, label_);
}
double PropertySet::getDouble(std::string_view name, int index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return at(require(name, PropType::Double).doubles, name, index, label_);
}
std::string PropertySet::getString(std::string_view name, int index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return at(require(name, PropType::String).strings, name, index, label_);
}
void* PropertySet::getPointer(std::string_view name, int index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return at(require(name, PropType::Pointer).pointers, name, index, label_);
}
std::vector<int> PropertySet::getInts(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return require(name, PropType::Int).ints;
}
std::vector<double> PropertySet::getDoubles(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return require(name, PropType::Double).doubles;
}
std::vector<std::string> PropertySet::getStrings(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto& s = require(name, PropType::String).strings;
    std::vector<std::string> texts;
    texts.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        texts.push_back(s[i]);
    }
    return texts;
}
std::vector<void*> PropertySet::getPointers(std::string_view name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return require(name, PropType::Pointer).pointers;
}

std::string PropertySet::valueText(std::string_view name, bool quoteStrings) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Property* p = find(name);
    if (p == nullptr) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    std::ostringstream out;
    const int n = p->size();
    for (int i = 0; i < n; ++i) {
        if (i > 0) {
            out << ", ";
        }
        const auto k = static_cast<std::size_t>(i);
        switch (p->def.type) {
        case PropType::Int:
            out << p->ints[k];
            break;
        case PropType::Double:
            out << p->doubles[k];
            break;
        case PropType::String:
            if (quoteStrings) {
                out << '"' << p->strings[k] << '"';
            } else {
                out << p->strings[k];
            }
            break;
        case PropType::Pointer: {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%p", p->pointers[k]);
            out << buffer;
            break;
        }
        }
    }
    return out.str();
}

void PropertySet::reset(std::string_view name) {
    std::lock_guard<std::mutex> lock(mutex_);
    Property* p = find(name);
    if (p == nullptr) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    p->reset();
}

void PropertySet::remove(std::string_view name) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = placeIn(index_, name);
    if (it == index_.end() || it->first != name) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    const std::size_t gone = it->second;
    properties_.erase(properties_.begin() + static_cast<std::ptrdiff_t>(gone));
    index_.erase(it);
    for (auto& entry : index_) {
        if (entry.second > gone) {
            --entry.second;
        }
    }
}

void PropertySet::copyValuesFrom(const PropertySet& other) {
    if (&other == this) {
        return;
    }
    std::scoped_lock lock(mutex_, other.mutex_);
    for (const auto& source : other.properties_) {
        Property* target = find(source->def.name);
        if (target == nullptr) {
            if (fixed_) {
                continue;
            }
            target = &addProperty(source->def);
        }
        if (target->def.type != source->def.type) {
            continue;
        }
        target->ints = source->ints;
        target->doubles = source->doubles;
        target->strings = source->strings;
        target->pointers = source->pointers;
    }
}

} // namespace ofxhost
