#pragma once

#include "HandleRegistry.h"

#include "ofx/ofxCore.h"
#include "ofx/ofxProperty.h"

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
    // A fixed-schema set with every property of `schema` at its default.
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
    void define(const PropertyDef& def);
    bool has(std::string_view name) const;
    int dimension(std::string_view name) const;
    PropType type(std::string_view name) const;
    // Property names in the order they were defined.
    std::vector<std::string> names() const;

    // Replace the whole value. On an open set an unknown name is created with
    // a variable dimension; on a fixed set it is an error.
    void setInt(std::string_view name, int value) { setInts(name, {value}); }
    void setDouble(std::string_view name, double value) { setDoubles(name, {value}); }
    void setString(std::string_view name, const std::string& value) { setStrings(name, {value}); }
    void setPointer(std::string_view name, void* value) { setPointers(name, {value}); }
    void setInts(std::string_view name, const std::vector<int>& values);
    void setDoubles(std::string_view name, const std::vector<double>& values);
    void setStrings(std::string_view name, const std::vector<std::string>& values);
    void setPointers(std::string_view name, const std::vector<void*>& values);

    int getInt(std::string_view name, int index = 0) const;
    double getDouble(std::string_view name, int index = 0) const;
    std::string getString(std::string_view name, int index = 0) const;
    void* getPointer(std::string_view name, int index = 0) const;
    std::vector<int> getInts(std::string_view name) const;
    std::vector<double> getDoubles(std::string_view name) const;
    std::vector<std::string> getStrings(std::string_view name) const;
    std::vector<void*> getPointers(std::string_view name) const;
    // The value formatted for people: "a, b, c" (strings quoted when asked).
    std::string valueText(std::string_view name, bool quoteStrings = false) const;

    void reset(std::string_view name);
    // Takes the property out of the set, fixed schema or not, as a host
    // that leaves it out would; the plug-in's reads of it then fail. Strings
    // handed out for it become invalid.
    void remove(std::string_view name);
    // Copies the value of every property of `other` that this set has (or,
    // for an open set, creates it).
    void copyValuesFrom(const PropertySet& other);

private:
    // The strings of one value: each stays where it is while more are
    // added, since a plug-in keeps the char* that propGetString gave it.
    // Empty until a string is stored, so that the many properties of other
    // types cost no allocation.
    class StableStrings {
    public:
        std::size_t size() const { return items_.size(); }
        std::string& operator[](std::size_t i) { return *items_[i]; }
        const std::string& operator[](std::size_t i) const { return *items_[i]; }
        void emplace_back(const char* text) {
            items_.push_back(std::make_unique<std::string>(text));
        }
        void clear() { items_.clear(); }
        void assign(const std::vector<std::string>& texts) {
            items_.clear();
            for (const std::string& text : texts)
                items_.push_back(std::make_unique<std::string>(text));
        }
        StableStrings() = default;
        StableStrings(const StableStrings&) = delete;
        StableStrings& operator=(const StableStrings& other) {
            if (this != &other) {
                items_.clear();
                for (const auto& item : other.items_)
                    items_.push_back(std::make_unique<std::string>(*item));
            }
            return *this;
        }

    private:
        std::vector<std::unique_ptr<std::string>> items_;
    };

    struct Property {
        PropertyDef def;
        std::vector<int> ints;
        std::vector<double> doubles;
        std::vector<void*> pointers;
        StableStrings strings;

        int size() const;
        void reset();
    };

    Property* find(std::string_view name);
    const Property* find(std::string_view name) const;
    const Property& require(std::string_view name, PropType type) const;
    Property& addProperty(const PropertyDef& def);
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
    template <typename Store, typename Value>
    void setAll(std::string_view name, PropType type, const std::vector<Value>& values);

    friend struct IntStore;
    friend struct DoubleStore;
    friend struct StringStore;
    friend struct PointerStore;

    std::string label_;
    Host* owner_ = nullptr;
    bool fixed_ = false;
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<Property>> properties_;
    // Each property's name (a view of its own definition's name) in name
    // order, with its place in properties_.
    std::vector<std::pair<std::string_view, std::size_t>> index_;
    HandleRegistration registration_;
};

} // namespace ofxhost
