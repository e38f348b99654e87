#pragma once

#include "HandleRegistry.h"

#include "ofx/ofxCore.h"
#include "ofx/ofxProperty.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ofxhost {

class Host;

enum class PropType { Pointer, String, Double, Int };
const char* toString(PropType type);

// One property as a set defines it: its type, its dimension (0 = any number of
// values) and the values propReset goes back to.
struct PropertyDef {
    std::string name;
    PropType type = PropType::Int;
    int dimension = 1;
    std::vector<int> ints;
    std::vector<double> doubles;
    std::vector<std::string> strings;

    static PropertyDef intProp(std::string name, int dimension, std::vector<int> defaults = {});
    static PropertyDef doubleProp(std::string name, int dimension,
                                  std::vector<double> defaults = {});
    static PropertyDef stringProp(std::string name, int dimension,
                                  std::vector<std::string> defaults = {});
    static PropertyDef pointerProp(std::string name, int dimension = 1);
};

// The properties of one kind of property set (host, effect descriptor, clip
// descriptor, a parameter of some type...).
struct Schema {
    std::string name;
    std::vector<PropertyDef> properties;
};

// A property set handed to plug-ins as an OfxPropertySetHandle.
//
// A fixed-schema set holds exactly the properties of its schema: a plug-in
// can change their values but not add others (kOfxStatErrUnknown). An open
// set (the in/out arguments of an action) gains a property when one is first
// set. Strings returned by propGetString* stay valid until that value
// changes or the set is destroyed.
class PropertySet {
public:
    // An open set. `label` only names it in error messages.
    explicit PropertySet(std::string label = "arguments", Host* owner = nullptr);
    // A fixed-schema set with every property of `schema` at its default. The
    // set reads the definitions where they are, so the schema must outlive
    // it (the host's schemas live as long as the program).
    PropertySet(const Schema& schema, Host* owner);
    ~PropertySet();

    PropertySet(const PropertySet&) = delete;
    PropertySet& operator=(const PropertySet&) = delete;

    OfxPropertySetHandle handle() const {
        return reinterpret_cast<OfxPropertySetHandle>(const_cast<PropertySet*>(this));
    }
    // The live set behind a handle, or null for null, stale or foreign handles.
    static PropertySet* fromHandle(OfxPropertySetHandle handle) noexcept;

    bool isFixedSchema() const { return fixed_; }
    const std::string& label() const { return label_; }
    // The host whose failure injection and records apply to calls on this set.
    Host* owner() const { return owner_; }

    // --- the property suite's operations, answering its statuses ---------
    OfxStatus propSetPointer(const char* name, int index, void* value);
    OfxStatus propSetString(const char* name, int index, const char* value);
    OfxStatus propSetDouble(const char* name, int index, double value);
    OfxStatus propSetInt(const char* name, int index, int value);
    OfxStatus propSetPointerN(const char* name, int count, void* const* values);
    OfxStatus propSetStringN(const char* name, int count, const char* const* values);
    OfxStatus propSetDoubleN(const char* name, int count, const double* values);
    OfxStatus propSetIntN(const char* name, int count, const int* values);
    OfxStatus propGetPointer(const char* name, int index, void** value) const;
    OfxStatus propGetString(const char* name, int index, char** value) const;
    OfxStatus propGetDouble(const char* name, int index, double* value) const;
    OfxStatus propGetInt(const char* name, int index, int* value) const;
    OfxStatus propGetPointerN(const char* name, int count, void** values) const;
    OfxStatus propGetStringN(const char* name, int count, char** values) const;
    OfxStatus propGetDoubleN(const char* name, int count, double* values) const;
    OfxStatus propGetIntN(const char* name, int count, int* values) const;
    OfxStatus propReset(const char* name);
    OfxStatus propGetDimension(const char* name, int* count) const;

    // --- host and test side: throw ofxhost::Error on misuse --------------
    // Adds the property (or replaces its definition), at its default values.
    // The set keeps its own copy of `def`.
    void define(const PropertyDef& def);
    bool has(std::string_view name) const;
    int dimension(std::string_view name) const;
    PropType type(std::string_view name) const;
    // Property names in the order they were defined.
    std::vector<std::string> names() const;
    // How many properties the set has.
    std::size_t size() const;

    // Replace the whole value. On an open set an unknown name is created with
    // a variable dimension; on a fixed set it is an error.
    void setInt(std::string_view name, int value) { setAll(name, PropType::Int, &value, 1); }
    void setDouble(std::string_view name, double value) {
        setAll(name, PropType::Double, &value, 1);
    }
    void setString(std::string_view name, const std::string& value) {
        const char* text = value.c_str();
        setAll(name, PropType::String, &text, 1);
    }
    void setString(std::string_view name, const char* value) {
        setAll(name, PropType::String, &value, 1);
    }
    void setPointer(std::string_view name, void* value) {
        setAll(name, PropType::Pointer, &value, 1);
    }
    void setInts(std::string_view name, std::initializer_list<int> values) {
        setAll(name, PropType::Int, values.begin(), values.size());
    }
    void setDoubles(std::string_view name, std::initializer_list<double> values) {
        setAll(name, PropType::Double, values.begin(), values.size());
    }
    void setInts(std::string_view name, const std::vector<int>& values) {
        setAll(name, PropType::Int, values.data(), values.size());
    }
    void setDoubles(std::string_view name, const std::vector<double>& values) {
        setAll(name, PropType::Double, values.data(), values.size());
    }
    void setStrings(std::string_view name, const std::vector<std::string>& values);
    void setPointers(std::string_view name, const std::vector<void*>& values) {
        setAll(name, PropType::Pointer, values.data(), values.size());
    }

    int getInt(std::string_view name, int index = 0) const;
    double getDouble(std::string_view name, int index = 0) const;
    std::string getString(std::string_view name, int index = 0) const;
    void* getPointer(std::string_view name, int index = 0) const;
    std::vector<int> getInts(std::string_view name) const;
    std::vector<double> getDoubles(std::string_view name) const;
    std::vector<std::string> getStrings(std::string_view name) const;
    std::vector<void*> getPointers(std::string_view name) const;
    // The same into storage the caller keeps, which then costs no
    // allocation once it has grown to the value's size.
    void getString(std::string_view name, std::string& into, int index = 0) const;
    void getDoubles(std::string_view name, std::vector<double>& into) const;
    // The value formatted for people: "a, b, c" (strings quoted when asked).
    std::string valueText(std::string_view name, bool quoteStrings = false) const;

    void reset(std::string_view name);
    // Every property back to its defaults.
    void resetAll();
    // Changes made to the set so far, by either side (each write, reset,
    // definition or removal counts one): a host that kept a set can tell
    // whether anyone changed it since.
    std::uint64_t changes() const;
    // Takes the set's handle out of use while the set waits to be handed
    // out again (calls with it fail as with a destroyed set's), and puts it
    // back in use.
    void retire() noexcept { handles::remove(this); }
    void revive() { handles::add(this, HandleKind::PropertySet); }
    // Takes the property out of the set, fixed schema or not, as a host
    // that leaves it out would; the plug-in's reads of it then fail. Strings
    // handed out for it become invalid.
    void remove(std::string_view name);
    // Copies the value of every property of `other` that this set has (or,
    // for an open set, creates it).
    void copyValuesFrom(const PropertySet& other);
    // Gives `name` the value `from` has for `fromName` (by default the same
    // name), as setting that value here would (an open set creates the
    // property), without a copy in between.
    void copyValue(std::string_view name, const PropertySet& from) { copyValue(name, from, name); }
    void copyValue(std::string_view name, const PropertySet& from, std::string_view fromName);

private:
    // The strings of one value: each stays where it is while more are
    // added, since a plug-in keeps the char* that propGetString gave it.
    // The first lives in place (a property never moves), the others each in
    // a block of its own; a value that is set again is written over the
    // strings it has, so that setting a value costs no allocation once it
    // has its size.
    class StableStrings {
    public:
        std::size_t size() const { return size_; }
        std::string& operator[](std::size_t i) { return i == 0 ? first_ : *rest_[i - 1]; }
        const std::string& operator[](std::size_t i) const {
            return i == 0 ? first_ : *rest_[i - 1];
        }
        void emplace_back(const char* text) {
            if (size_ == 0)
                first_.assign(text);
            else
                rest_.push_back(std::make_unique<std::string>(text));
            ++size_;
        }
        void clear() {
            first_.clear();
            rest_.clear();
            size_ = 0;
        }
        // `count` strings: those there are keep their text, new ones are empty.
        void resize(std::size_t count) {
            while (size_ > count && size_ > 1) {
                rest_.pop_back();
                --size_;
            }
            if (count == 0)
                clear();
            while (size_ < count)
                emplace_back("");
        }
        void assign(const std::vector<std::string>& texts) {
            clear();
            for (const std::string& text : texts)
                emplace_back(text.c_str());
        }
        StableStrings() = default;
        StableStrings(const StableStrings&) = delete;
        StableStrings& operator=(const StableStrings& other) {
            if (this != &other) {
                clear();
                for (std::size_t i = 0; i < other.size(); ++i)
                    emplace_back(other[i].c_str());
            }
            return *this;
        }

    private:
        std::string first_;
        std::vector<std::unique_ptr<std::string>> rest_;
        std::size_t size_ = 0;
    };

    struct Property {
        // The definition: a schema's, or `ownDef`, the set's copy of one it
        // was given or the bare one of a property an open set created on its
        // first write (no defaults).
        const PropertyDef* def = &ownDef;
        PropertyDef ownDef;

        std::string_view name() const { return def->name; }
        const char* nameText() const { return def->name.c_str(); }
        PropType type() const { return def->type; }
        // 0: any number of values.
        int dimension() const { return def->dimension > 0 ? def->dimension : 0; }

        std::vector<int> ints;
        std::vector<double> doubles;
        std::vector<void*> pointers;
        StableStrings strings;

        int size() const;
        void reset();
    };

    // The property of that name, or null. Both remember where they found a
    // name by its address, as plug-ins pass the same literals call after
    // call; what is found there is compared whole, since the same address
    // may hold another name by then (a plug-in's reused buffer, a host
    // string since freed).
    Property* find(std::string_view name) const;
    Property* find(const char* name) const;
    Property* search(std::string_view name) const;
    // search, then remember the property found by the address `name` was
    // asked with.
    Property* searchAndRemember(std::string_view name, const char* address) const;
    const Property& require(std::string_view name, PropType type) const;
    // Adds `property` (its definition set) at its defaults, or gives an
    // existing property of that name its definition in its place.
    Property& place(std::unique_ptr<Property> property);
    Property& addCopy(const PropertyDef& def);
    Property& addUndefined(std::string_view name, PropType type);
    // The property `name` about to take `count` values of `type` (created
    // first in an open set); throws when the set cannot take them. The
    // caller holds the lock.
    Property& writable(std::string_view name, PropType type, std::size_t count);
    // Finds the property for a plug-in write, creating it in an open set.
    OfxStatus lookupForWrite(const char* name, PropType type, Property*& out);
    OfxStatus lookupForRead(const char* name, PropType type, const Property*& out) const;
    template <typename Store, typename Value>
    OfxStatus setOne(const char* name, PropType type, int index, Value value);
    template <typename Store, typename Value>
    OfxStatus setMany(const char* name, PropType type, int count, const Value* values);
    template <typename Store, typename Value>
    OfxStatus getOne(const char* name, PropType type, int index, Value* value) const;
    template <typename Store, typename Value>
    OfxStatus getMany(const char* name, PropType type, int count, Value* values) const;
    template <typename Value>
    void setAll(std::string_view name, PropType type, const Value* values, std::size_t count);

    friend struct IntStore;
    friend struct DoubleStore;
    friend struct StringStore;
    friend struct PointerStore;

    std::string label_;
    Host* owner_ = nullptr;
    bool fixed_ = false;
    mutable std::mutex mutex_;
    // Written under the lock, read without it.
    std::atomic<std::uint64_t> changes_{0};
    // Under the lock: counts a change (see changes()).
    void noteChange() {
        changes_.store(changes_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    std::vector<std::unique_ptr<Property>> properties_;
    // properties_.size(), written under the lock, read without it.
    std::atomic<std::size_t> count_{0};
    // Each property's name (a view of its definition's or its own) in name
    // order, with its place in properties_.
    std::vector<std::pair<std::string_view, std::size_t>> index_;
    // Names found lately, by address (see find): each address has a row of
    // kWays places, the newest first. Emptied when a property is removed.
    struct Found {
        const char* name = nullptr;
        Property* property = nullptr;
    };
    static constexpr std::size_t kRows = 16;
    static constexpr std::size_t kWays = 4;
    struct FoundRow {
        Found ways[kWays];
    };
    mutable FoundRow found_[kRows];
    static void remember(FoundRow& row, const char* name, Property* property);
    HandleRegistration registration_;
};

} // namespace ofxhost
