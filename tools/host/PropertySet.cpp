#include "PropertySet.h"

#include "Error.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
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
    switch (type()) {
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
    ints = def->ints;
    doubles = def->doubles;
    strings.assign(def->strings);
    // A fixed dimension always holds that many values: defaults missing
    // from the definition are zero or empty, extra ones are dropped.
    const auto n = static_cast<std::size_t>(dimension());
    pointers.assign(type() == PropType::Pointer ? n : 0u, nullptr);
    if (n == 0)
        return;
    switch (type()) {
    case PropType::Int:
        ints.resize(n, 0);
        break;
    case PropType::Double:
        doubles.resize(n, 0.0);
        break;
    case PropType::String:
        strings.resize(n);
        break;
    case PropType::Pointer:
        break;
    }
}

PropertySet::PropertySet(std::string label, Host* owner)
    : label_(std::move(label)), owner_(owner), fixed_(false),
      registration_(this, HandleKind::PropertySet) {}

PropertySet::PropertySet(const Schema& schema, Host* owner)
    : label_(schema.name), owner_(owner), fixed_(true),
      registration_(this, HandleKind::PropertySet) {
    properties_.reserve(schema.properties.size());
    index_.reserve(schema.properties.size());
    for (const PropertyDef& def : schema.properties) {
        auto property = std::make_unique<Property>();
        property->def = &def;
        place(std::move(property));
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

// The index is ordered by length first: the standard's names share long
// prefixes ("OfxImageEffectProp..."), and most pairs differ in length.
bool before(std::string_view a, std::string_view b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

template <class Index>
auto placeIn(Index& index, std::string_view name) {
    return std::lower_bound(
        index.begin(), index.end(), name,
        [](const auto& entry, std::string_view n) { return before(entry.first, n); });
}

} // namespace

PropertySet::Property* PropertySet::search(std::string_view name) const {
    const auto it = placeIn(index_, name);
    return it == index_.end() || it->first != name ? nullptr : properties_[it->second].get();
}

namespace {

// The top four bits of a multiplicative hash of a name's address.
std::size_t foundRow(const char* name) {
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(name));
    return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15ull) >> 60);
}

} // namespace

PropertySet::Property* PropertySet::find(std::string_view name) const {
    static_assert(kRows == 16, "four bits of hash");
    const FoundRow& row = found_[foundRow(name.data())];
    for (const Found& found : row.ways)
        if (found.name == name.data() && found.property != nullptr &&
            found.property->name() == name)
            return found.property;
    return searchAndRemember(name, name.data());
}

PropertySet::Property* PropertySet::find(const char* name) const {
    const FoundRow& row = found_[foundRow(name)];
    for (const Found& found : row.ways)
        if (found.name == name && found.property != nullptr &&
            std::strcmp(name, found.property->nameText()) == 0)
            return found.property;
    return searchAndRemember(name, name);
}

PropertySet::Property* PropertySet::searchAndRemember(std::string_view name,
                                                      const char* address) const {
    Property* p = search(name);
    if (p != nullptr)
        remember(found_[foundRow(address)], address, p);
    return p;
}

void PropertySet::remember(FoundRow& row, const char* name, Property* property) {
    // The oldest goes; an address found again with another name is moved
    // to the front with its new property.
    std::size_t last = kWays - 1;
    for (std::size_t i = 0; i < kWays; ++i)
        if (row.ways[i].name == name) {
            last = i;
            break;
        }
    for (std::size_t i = last; i > 0; --i)
        row.ways[i] = row.ways[i - 1];
    row.ways[0] = {name, property};
}

PropertySet::Property& PropertySet::place(std::unique_ptr<Property> property) {
    const auto at = placeIn(index_, property->name());
    if (at != index_.end() && at->first == property->name()) {
        // Defined again: the property keeps its place and its strings'
        // storage, and takes the new definition.
        Property& existing = *properties_[at->second];
        const bool ownDefinition = property->def == &property->ownDef;
        existing.ownDef = std::move(property->ownDef);
        existing.def = ownDefinition ? &existing.ownDef : property->def;
        existing.reset();
        at->first = existing.name();
        return existing;
    }
    property->reset();
    index_.insert(at, {property->name(), properties_.size()});
    properties_.push_back(std::move(property));
    count_.store(properties_.size(), std::memory_order_relaxed);
    return *properties_.back();
}

PropertySet::Property& PropertySet::addCopy(const PropertyDef& def) {
    auto property = std::make_unique<Property>();
    property->ownDef = def;
    return place(std::move(property));
}

PropertySet::Property& PropertySet::addUndefined(std::string_view name, PropType type) {
    auto property = std::make_unique<Property>();
    property->ownDef.name = std::string(name);
    property->ownDef.type = type;
    property->ownDef.dimension = 0;
    return place(std::move(property));
}

void PropertySet::define(const PropertyDef& def) {
    std::lock_guard<std::mutex> lock(mutex_);
    noteChange();
    addCopy(def);
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
        out = &addUndefined(name, type);
    }
    return out->type() == type ? kOfxStatOK : kOfxStatErrValue;
}

OfxStatus PropertySet::lookupForRead(const char* name, PropType type, const Property*& out) const {
    if (name == nullptr) {
        return kOfxStatErrUnknown;
    }
    out = find(name);
    if (out == nullptr) {
        return kOfxStatErrUnknown;
    }
    return out->type() == type ? kOfxStatOK : kOfxStatErrValue;
}

template <typename Store, typename Value>
OfxStatus PropertySet::setOne(const char* name, PropType type, int index, Value value) {
    std::lock_guard<std::mutex> lock(mutex_);
    noteChange();
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
    if (index < 0 || (p->dimension() > 0 && index >= p->dimension()) || index > size) {
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
    noteChange();
    Property* p = nullptr;
    if (const OfxStatus st = lookupForWrite(name, type, p); st != kOfxStatOK) {
        return st;
    }
    if (count < 0 || (p->dimension() > 0 && count > p->dimension())) {
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
    if (p->dimension() == 0) {
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
    noteChange();
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
    if (p->type() != type) {
        throw Error("property '" + std::string(name) + "' of set '" + label_ + "' is of type " +
                    toString(p->type()) + ", not " + toString(type));
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
    return p->type();
}

std::uint64_t PropertySet::changes() const { return changes_.load(std::memory_order_relaxed); }

std::size_t PropertySet::size() const { return count_.load(std::memory_order_relaxed); }

std::vector<std::string> PropertySet::names() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> result;
    result.reserve(properties_.size());
    for (const auto& p : properties_) {
        result.push_back(std::string(p->name()));
    }
    return result;
}

namespace {

template <typename Value>
struct StoreOf;
template <>
struct StoreOf<int> {
    using type = IntStore;
};
template <>
struct StoreOf<double> {
    using type = DoubleStore;
};
template <>
struct StoreOf<const char*> {
    using type = StringStore;
};
template <>
struct StoreOf<void*> {
    using type = PointerStore;
};

} // namespace

PropertySet::Property& PropertySet::writable(std::string_view name, PropType type,
                                             std::size_t count) {
    Property* p = find(name);
    if (p == nullptr) {
        if (fixed_) {
            throw Error("property set '" + label_ + "' has no property '" + std::string(name) +
                        "'");
        }
        p = &addUndefined(name, type);
    }
    if (p->type() != type) {
        throw Error("property '" + std::string(name) + "' of set '" + label_ + "' is of type " +
                    toString(p->type()) + ", not " + toString(type));
    }
    if (p->dimension() > 0 && count != static_cast<std::size_t>(p->dimension())) {
        throw Error("property '" + std::string(name) + "' of set '" + label_ + "' has " +
                    std::to_string(p->dimension()) + " values, not " + std::to_string(count));
    }
    return *p;
}

template <typename Value>
void PropertySet::setAll(std::string_view name, PropType type, const Value* values,
                         std::size_t count) {
    using Store = typename StoreOf<Value>::type;
    std::lock_guard<std::mutex> lock(mutex_);
    noteChange();
    auto& stored = Store::of(writable(name, type, count));
    if (stored.size() == count) {
        // Written over in place: a value of the same size costs no allocation.
        for (std::size_t i = 0; i < count; ++i) {
            Store::put(stored, i, values[i]);
        }
        return;
    }
    stored.clear();
    for (std::size_t i = 0; i < count; ++i) {
        Store::push(stored, values[i]);
    }
}

template void PropertySet::setAll(std::string_view, PropType, const int*, std::size_t);
template void PropertySet::setAll(std::string_view, PropType, const double*, std::size_t);
template void PropertySet::setAll(std::string_view, PropType, const char* const*, std::size_t);
template void PropertySet::setAll(std::string_view, PropType, void* const*, std::size_t);

void PropertySet::setStrings(std::string_view name, const std::vector<std::string>& values) {
    std::vector<const char*> texts;
    texts.reserve(values.size());
    for (const std::string& value : values) {
        texts.push_back(value.c_str());
    }
    setAll(name, PropType::String, texts.data(), texts.size());
}

namespace {

void checkIndex(std::size_t size, std::string_view name, int index, const std::string& label) {
    if (index < 0 || index >= static_cast<int>(size)) {
        throw Error("property '" + std::string(name) + "' of set '" + label + "' has no index " +
                    std::to_string(index) + " (dimension " + std::to_string(size) + ")");
    }
}

template <typename Container>
auto at(const Container& values, std::string_view name, int index, const std::string& label) {
    checkIndex(values.size(), name, index, label);
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
void PropertySet::getString(std::string_view name, std::string& into, int index) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto& strings = require(name, PropType::String).strings;
    checkIndex(strings.size(), name, index, label_);
    into.assign(strings[static_cast<std::size_t>(index)]);
}
void PropertySet::getDoubles(std::string_view name, std::vector<double>& into) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto& doubles = require(name, PropType::Double).doubles;
    into.assign(doubles.begin(), doubles.end());
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
        switch (p->type()) {
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
    noteChange();
    Property* p = find(name);
    if (p == nullptr) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    p->reset();
}

void PropertySet::resetAll() {
    std::lock_guard<std::mutex> lock(mutex_);
    noteChange();
    for (const auto& p : properties_)
        p->reset();
}

void PropertySet::remove(std::string_view name) {
    std::lock_guard<std::mutex> lock(mutex_);
    noteChange();
    const auto it = placeIn(index_, name);
    if (it == index_.end() || it->first != name) {
        throw Error("property set '" + label_ + "' has no property '" + std::string(name) + "'");
    }
    const std::size_t gone = it->second;
    for (FoundRow& row : found_)
        row = FoundRow();
    properties_.erase(properties_.begin() + static_cast<std::ptrdiff_t>(gone));
    count_.store(properties_.size(), std::memory_order_relaxed);
    index_.erase(it);
    for (auto& entry : index_) {
        if (entry.second > gone) {
            --entry.second;
        }
    }
}

void PropertySet::copyValue(std::string_view name, const PropertySet& from,
                            std::string_view fromName) {
    if (&from == this) {
        // Within one set: through a copy, as a get and a set would.
        switch (type(fromName)) {
        case PropType::Int:
            setInts(name, getInts(fromName));
            break;
        case PropType::Double:
            setDoubles(name, getDoubles(fromName));
            break;
        case PropType::String:
            setStrings(name, getStrings(fromName));
            break;
        case PropType::Pointer:
            setPointers(name, getPointers(fromName));
            break;
        }
        return;
    }
    // Two sets are always locked in the order of their addresses.
    const bool fromFirst = std::less<const PropertySet*>()(&from, this);
    std::lock_guard<std::mutex> first(fromFirst ? from.mutex_ : mutex_);
    std::lock_guard<std::mutex> second(fromFirst ? mutex_ : from.mutex_);
    noteChange();
    const Property* source = from.find(fromName);
    if (source == nullptr) {
        throw Error("property set '" + from.label_ + "' has no property '" + std::string(fromName) +
                    "'");
    }
    Property* target = &writable(name, source->type(), std::size_t(source->size()));
    switch (source->type()) {
    case PropType::Int:
        target->ints = source->ints;
        break;
    case PropType::Double:
        target->doubles = source->doubles;
        break;
    case PropType::Pointer:
        target->pointers = source->pointers;
        break;
    case PropType::String:
        if (target->strings.size() == source->strings.size()) {
            // Written over in place, as setAll does.
            for (std::size_t i = 0; i < source->strings.size(); ++i) {
                target->strings[i] = source->strings[i];
            }
        } else {
            target->strings = source->strings;
        }
        break;
    }
}

void PropertySet::copyValuesFrom(const PropertySet& other) {
    if (&other == this) {
        return;
    }
    std::scoped_lock lock(mutex_, other.mutex_);
    noteChange();
    for (const auto& source : other.properties_) {
        Property* target = find(source->name());
        if (target == nullptr) {
            if (fixed_) {
                continue;
            }
            target = &addCopy(*source->def);
        }
        if (target->type() != source->type()) {
            continue;
        }
        target->ints = source->ints;
        target->doubles = source->doubles;
        target->strings = source->strings;
        target->pointers = source->pointers;
    }
}

} // namespace ofxhost
