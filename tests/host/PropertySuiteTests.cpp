// The property suite as a plug-in sees it: through the C function table.

#include "Host.h"
#include "PropertySchema.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using ofxhost::Host;
using ofxhost::PropertyDef;
using ofxhost::PropertySet;

const OfxPropertySuiteV1& suite() { return *Host::suites().property; }

// One value type of the suite: how to set, get and compare it.
struct TypeCase {
    const char* name;
    ofxhost::PropType type;
    // Sets index i of `prop` to the i-th test value.
    OfxStatus (*setAt)(OfxPropertySetHandle, const char*, int index);
    // Whether index i holds the i-th test value.
    bool (*holds)(OfxPropertySetHandle, const char*, int index);
    // Sets/gets the first n test values with the N functions.
    OfxStatus (*setN)(OfxPropertySetHandle, const char*, int n);
    bool (*holdsN)(OfxPropertySetHandle, const char*, int n);
    // A call of another type's setter on this property.
    OfxStatus (*wrongSet)(OfxPropertySetHandle, const char*);
    OfxStatus (*wrongGet)(OfxPropertySetHandle, const char*);
};

int intValue(int i) { return 100 + i * 7; }
double doubleValue(int i) { return 0.25 + i; }
std::string stringValue(int i) { return "value" + std::to_string(i); }
void* pointerValue(int i) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x1000 + i));
}

const TypeCase kTypes[] = {
    {"int", ofxhost::PropType::Int,
     [](OfxPropertySetHandle h, const char* p, int i) {
         return suite().propSetInt(h, p, i, intValue(i));
     },
     [](OfxPropertySetHandle h, const char* p, int i) {
         int v = 0;
         return suite().propGetInt(h, p, i, &v) == kOfxStatOK && v == intValue(i);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         int v[4] = {intValue(0), intValue(1), intValue(2), intValue(3)};
         return suite().propSetIntN(h, p, n, v);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         int v[4] = {};
         if (suite().propGetIntN(h, p, n, v) != kOfxStatOK) {
             return false;
         }
         for (int i = 0; i < n; ++i) {
             if (v[i] != intValue(i)) {
                 return false;
             }
         }
         return true;
     },
     [](OfxPropertySetHandle h, const char* p) { return suite().propSetDouble(h, p, 0, 1.0); },
     [](OfxPropertySetHandle h, const char* p) {
         char* s = nullptr;
         return suite().propGetString(h, p, 0, &s);
     }},
    {"double", ofxhost::PropType::Double,
     [](OfxPropertySetHandle h, const char* p, int i) {
         return suite().propSetDouble(h, p, i, doubleValue(i));
     },
     [](OfxPropertySetHandle h, const char* p, int i) {
         double v = 0;
         return suite().propGetDouble(h, p, i, &v) == kOfxStatOK && v == doubleValue(i);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         double v[4] = {doubleValue(0), doubleValue(1), doubleValue(2), doubleValue(3)};
         return suite().propSetDoubleN(h, p, n, v);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         double v[4] = {};
         if (suite().propGetDoubleN(h, p, n, v) != kOfxStatOK) {
             return false;
         }
         for (int i = 0; i < n; ++i) {
             if (v[i] != doubleValue(i)) {
                 return false;
             }
         }
         return true;
     },
     [](OfxPropertySetHandle h, const char* p) { return suite().propSetInt(h, p, 0, 1); },
     [](OfxPropertySetHandle h, const char* p) {
         void* v = nullptr;
         return suite().propGetPointer(h, p, 0, &v);
     }},
    {"string", ofxhost::PropType::String,
     [](OfxPropertySetHandle h, const char* p, int i) {
         return suite().propSetString(h, p, i, stringValue(i).c_str());
     },
     [](OfxPropertySetHandle h, const char* p, int i) {
         char* v = nullptr;
         return suite().propGetString(h, p, i, &v) == kOfxStatOK && v != nullptr &&
                stringValue(i) == v;
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         const std::string s[4] = {stringValue(0), stringValue(1), stringValue(2), stringValue(3)};
         const char* v[4] = {s[0].c_str(), s[1].c_str(), s[2].c_str(), s[3].c_str()};
         return suite().propSetStringN(h, p, n, v);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         char* v[4] = {};
         if (suite().propGetStringN(h, p, n, v) != kOfxStatOK) {
             return false;
         }
         for (int i = 0; i < n; ++i) {
             if (v[i] == nullptr || stringValue(i) != v[i]) {
                 return false;
             }
         }
         return true;
     },
     [](OfxPropertySetHandle h, const char* p) { return suite().propSetPointer(h, p, 0, nullptr); },
     [](OfxPropertySetHandle h, const char* p) {
         int v = 0;
         return suite().propGetInt(h, p, 0, &v);
     }},
    {"pointer", ofxhost::PropType::Pointer,
     [](OfxPropertySetHandle h, const char* p, int i) {
         return suite().propSetPointer(h, p, i, pointerValue(i));
     },
     [](OfxPropertySetHandle h, const char* p, int i) {
         void* v = nullptr;
         return suite().propGetPointer(h, p, i, &v) == kOfxStatOK && v == pointerValue(i);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         void* v[4] = {pointerValue(0), pointerValue(1), pointerValue(2), pointerValue(3)};
         return suite().propSetPointerN(h, p, n, v);
     },
     [](OfxPropertySetHandle h, const char* p, int n) {
         void* v[4] = {};
         if (suite().propGetPointerN(h, p, n, v) != kOfxStatOK) {
             return false;
         }
         for (int i = 0; i < n; ++i) {
             if (v[i] != pointerValue(i)) {
                 return false;
             }
         }
         return true;
     },
     [](OfxPropertySetHandle h, const char* p) { return suite().propSetString(h, p, 0, "x"); },
     [](OfxPropertySetHandle h, const char* p) {
         double v = 0;
         return suite().propGetDouble(h, p, 0, &v);
     }},
};

PropertyDef defOf(ofxhost::PropType type, const std::string& name, int dimension) {
    PropertyDef def;
    def.name = name;
    def.type = type;
    def.dimension = dimension;
    return def;
}

class PropertyTypes : public ::testing::TestWithParam<TypeCase> {
protected:
    PropertyTypes() : set_(ofxhost::Schema{"test", {}}, &host_) {
        const TypeCase& t = GetParam();
        PropertyDef fixed = defOf(t.type, "fixed3", 3);
        if (t.type == ofxhost::PropType::Int) {
            fixed.ints = {7, 8, 9};
        } else if (t.type == ofxhost::PropType::Double) {
            fixed.doubles = {0.5, 1.5, 2.5};
        } else if (t.type == ofxhost::PropType::String) {
            fixed.strings = {"a", "b", "c"};
        }
        set_.define(fixed);
        set_.define(defOf(t.type, "variable", 0));
    }

    OfxPropertySetHandle handle() const { return set_.handle(); }

    Host host_;
    PropertySet set_;
};

TEST_P(PropertyTypes, SetAndGetEachIndexOfFixedDimension) {
    const TypeCase& t = GetParam();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(t.setAt(handle(), "fixed3", i), kOfxStatOK) << i;
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(t.holds(handle(), "fixed3", i)) << i;
    }
    int dim = -1;
    EXPECT_EQ(suite().propGetDimension(handle(), "fixed3", &dim), kOfxStatOK);
    EXPECT_EQ(dim, 3);
}

TEST_P(PropertyTypes, FixedDimensionRefusesIndexPastEnd) {
    const TypeCase& t = GetParam();
    EXPECT_EQ(t.setAt(handle(), "fixed3", 3), kOfxStatErrBadIndex);
    EXPECT_EQ(t.setAt(handle(), "fixed3", -1), kOfxStatErrBadIndex);
    EXPECT_FALSE(t.holds(handle(), "fixed3", 3));
    EXPECT_EQ(t.setN(handle(), "fixed3", 4), kOfxStatErrBadIndex);
}

TEST_P(PropertyTypes, VariableDimensionGrowsOnlyByAppending) {
    const TypeCase& t = GetParam();
    EXPECT_EQ(t.setAt(handle(), "variable", 1), kOfxStatErrBadIndex);
    EXPECT_EQ(t.setAt(handle(), "variable", 0), kOfxStatOK);
    EXPECT_EQ(t.setAt(handle(), "variable", 1), kOfxStatOK);
    EXPECT_EQ(t.setAt(handle(), "variable", 3), kOfxStatErrBadIndex);
    int dim = -1;
    EXPECT_EQ(suite().propGetDimension(handle(), "variable", &dim), kOfxStatOK);
    EXPECT_EQ(dim, 2);
    EXPECT_TRUE(t.holds(handle(), "variable", 0));
    EXPECT_TRUE(t.holds(handle(), "variable", 1));
}

TEST_P(PropertyTypes, SetNReplacesVariableValueAndGetNReadsIt) {
    const TypeCase& t = GetParam();
    ASSERT_EQ(t.setN(handle(), "variable", 4), kOfxStatOK);
    EXPECT_TRUE(t.holdsN(handle(), "variable", 4));
    ASSERT_EQ(t.setN(handle(), "variable", 2), kOfxStatOK);
    int dim = -1;
    suite().propGetDimension(handle(), "variable", &dim);
    EXPECT_EQ(dim, 2);
    EXPECT_TRUE(t.holdsN(handle(), "variable", 2));
    EXPECT_FALSE(t.holdsN(handle(), "variable", 3)) << "GetN past the dimension must fail";
}

TEST_P(PropertyTypes, ResetRestoresDefaults) {
    const TypeCase& t = GetParam();
    ASSERT_EQ(t.setN(handle(), "fixed3", 3), kOfxStatOK);
    ASSERT_EQ(t.setN(handle(), "variable", 3), kOfxStatOK);
    EXPECT_EQ(suite().propReset(handle(), "fixed3"), kOfxStatOK);
    EXPECT_EQ(suite().propReset(handle(), "variable"), kOfxStatOK);
    EXPECT_FALSE(t.holds(handle(), "fixed3", 0));
    int dim = -1;
    suite().propGetDimension(handle(), "variable", &dim);
    EXPECT_EQ(dim, 0);
    suite().propGetDimension(handle(), "fixed3", &dim);
    EXPECT_EQ(dim, 3);
    switch (t.type) {
    case ofxhost::PropType::Int:
        EXPECT_EQ(set_.getInts("fixed3"), (std::vector<int>{7, 8, 9}));
        break;
    case ofxhost::PropType::Double:
        EXPECT_EQ(set_.getDoubles("fixed3"), (std::vector<double>{0.5, 1.5, 2.5}));
        break;
    case ofxhost::PropType::String:
        EXPECT_EQ(set_.getStrings("fixed3"), (std::vector<std::string>{"a", "b", "c"}));
        break;
    case ofxhost::PropType::Pointer:
        EXPECT_EQ(set_.getPointers("fixed3"), (std::vector<void*>{nullptr, nullptr, nullptr}));
        break;
    }
}

TEST_P(PropertyTypes, WrongTypeIsErrValue) {
    const TypeCase& t = GetParam();
    EXPECT_EQ(t.wrongSet(handle(), "fixed3"), kOfxStatErrValue);
    EXPECT_EQ(t.wrongGet(handle(), "fixed3"), kOfxStatErrValue);
}

TEST_P(PropertyTypes, UnknownPropertyOfFixedSchemaIsErrUnknown) {
    const TypeCase& t = GetParam();
    EXPECT_EQ(t.setAt(handle(), "noSuchProperty", 0), kOfxStatErrUnknown);
    EXPECT_EQ(t.setN(handle(), "noSuchProperty", 1), kOfxStatErrUnknown);
    EXPECT_FALSE(t.holds(handle(), "noSuchProperty", 0));
    EXPECT_FALSE(set_.has("noSuchProperty"));
}

TEST_P(PropertyTypes, OpenSetCreatesPropertyOnFirstSet) {
    const TypeCase& t = GetParam();
    PropertySet args("args", &host_);
    EXPECT_FALSE(t.holds(args.handle(), "made", 0));
    ASSERT_EQ(t.setAt(args.handle(), "made", 0), kOfxStatOK);
    EXPECT_TRUE(t.holds(args.handle(), "made", 0));
    EXPECT_EQ(args.type("made"), t.type);
    EXPECT_EQ(t.wrongSet(args.handle(), "made"), kOfxStatErrValue);
}

TEST_P(PropertyTypes, BadHandlesAreRefused) {
    const TypeCase& t = GetParam();
    EXPECT_EQ(t.setAt(nullptr, "fixed3", 0), kOfxStatErrBadHandle);
    int notASet = 0;
    auto* garbage = reinterpret_cast<OfxPropertySetHandle>(&notASet);
    EXPECT_EQ(t.setAt(garbage, "fixed3", 0), kOfxStatErrBadHandle);
    EXPECT_EQ(t.setN(garbage, "fixed3", 1), kOfxStatErrBadHandle);
    // The address of a set that no longer exists, kept as a number so the
    // compiler does not see a use of freed memory: the suite must not use it.
    auto gone = std::make_unique<PropertySet>("gone", &host_);
    volatile std::uintptr_t staleAddress = reinterpret_cast<std::uintptr_t>(gone->handle());
    gone.reset();
    const auto stale = reinterpret_cast<OfxPropertySetHandle>(staleAddress);
    EXPECT_EQ(t.setAt(stale, "fixed3", 0), kOfxStatErrBadHandle);
}

INSTANTIATE_TEST_SUITE_P(AllTypes, PropertyTypes, ::testing::ValuesIn(kTypes),
                         [](const ::testing::TestParamInfo<TypeCase>& typeCase) {
                             return std::string(typeCase.param.name);
                         });

TEST(PropertySuite, ResetAndDimensionOfUnknownOrBadHandle) {
    Host host;
    PropertySet set(ofxhost::schema::clipDescriptor(), &host);
    int dim = 0;
    EXPECT_EQ(suite().propReset(set.handle(), "nope"), kOfxStatErrUnknown);
    EXPECT_EQ(suite().propGetDimension(set.handle(), "nope", &dim), kOfxStatErrUnknown);
    EXPECT_EQ(suite().propReset(nullptr, kOfxPropLabel), kOfxStatErrBadHandle);
    EXPECT_EQ(suite().propGetDimension(nullptr, kOfxPropLabel, &dim), kOfxStatErrBadHandle);
    EXPECT_EQ(suite().propGetDimension(set.handle(), nullptr, &dim), kOfxStatErrUnknown);
}

TEST(PropertySuite, StringsStayValidWhileTheirValueDoes) {
    Host host;
    PropertySet set("strings", &host);
    ASSERT_EQ(suite().propSetString(set.handle(), "s", 0, "first"), kOfxStatOK);
    char* first = nullptr;
    ASSERT_EQ(suite().propGetString(set.handle(), "s", 0, &first), kOfxStatOK);
    // Growing the property must not move the first value.
    for (int i = 1; i < 64; ++i) {
        ASSERT_EQ(suite().propSetString(set.handle(), "s", i, "more"), kOfxStatOK);
    }
    EXPECT_STREQ(first, "first");
}

// Every property is found by its name however many there are and in
// whatever order they came, after others are taken out and after one is
// defined again (which keeps its place and name).
TEST(PropertySuite, EveryNameFoundAfterRemovalsAndRedefinition) {
    Host host;
    PropertySet set("many", &host);
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i)
        names.push_back((i % 3 == 0 ? "OfxPropLongEnoughToLiveOnTheHeap" : "p") +
                        std::to_string((i * 17) % 40));
    for (std::size_t i = 0; i < names.size(); ++i)
        ASSERT_EQ(suite().propSetInt(set.handle(), names[i].c_str(), 0, int(i)), kOfxStatOK);
    for (std::size_t i = 0; i < names.size(); i += 4)
        set.remove(names[i]);
    set.define(PropertyDef::intProp(names[1], 1, {-5}));
    for (std::size_t i = 0; i < names.size(); ++i) {
        int value = -1;
        const OfxStatus st = suite().propGetInt(set.handle(), names[i].c_str(), 0, &value);
        if (i % 4 == 0) {
            EXPECT_EQ(st, kOfxStatErrUnknown) << names[i];
        } else {
            ASSERT_EQ(st, kOfxStatOK) << names[i];
            EXPECT_EQ(value, i == 1 ? -5 : int(i)) << names[i];
        }
    }
    EXPECT_EQ(set.names().size(), names.size() - 10);
    EXPECT_EQ(set.names()[0], names[1]); // defined again where it was
}

// One buffer asked with one name after another, by a plug-in through the
// suite and by the host with a string kept for its keys: each call reads,
// writes or takes out the property the buffer names at that call, known or
// not, whatever the same address named before.
TEST(PropertySuite, AReusedBufferIsReadForTheNameItHoldsNow) {
    Host host;
    PropertySet set("reused", &host);
    // Longer, shorter, a prefix, one letter apart; the last is never set.
    const std::vector<std::string> names{"OfxPropTime", "OfxPropTimeline", "OfxPropTim", "p",
                                         "OfxPropTimf"};
    const std::size_t unknown = names.size() - 1;
    for (std::size_t i = 0; i < unknown; ++i)
        set.setInt(names[i], int(i));
    char buffer[32];
    std::string key;
    key.reserve(sizeof buffer);
    const char* const keyText = key.data();
    for (int round = 0; round < 3; ++round) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            std::snprintf(buffer, sizeof buffer, "%s", names[i].c_str());
            key.assign(names[i]);
            ASSERT_EQ(key.data(), keyText);
            int value = -1;
            const OfxStatus st = suite().propGetInt(set.handle(), buffer, 0, &value);
            if (i == unknown) {
                EXPECT_EQ(st, kOfxStatErrUnknown) << names[i];
                EXPECT_FALSE(set.has(key)) << names[i];
                continue;
            }
            ASSERT_EQ(st, kOfxStatOK) << names[i];
            EXPECT_EQ(value, int(i) + round * 10) << names[i];
            EXPECT_EQ(set.getInt(key), int(i) + round * 10) << names[i];
            ASSERT_EQ(suite().propSetInt(set.handle(), buffer, 0, int(i) + round * 10 + 10),
                      kOfxStatOK);
        }
    }
    // Taken out right after both found it there.
    std::snprintf(buffer, sizeof buffer, "%s", names[0].c_str());
    key.assign(names[0]);
    int value = -1;
    ASSERT_EQ(suite().propGetInt(set.handle(), buffer, 0, &value), kOfxStatOK);
    ASSERT_TRUE(set.has(key));
    set.remove(key);
    EXPECT_EQ(suite().propGetInt(set.handle(), buffer, 0, &value), kOfxStatErrUnknown);
    EXPECT_FALSE(set.has(key));
    key.assign(names[1]);
    EXPECT_EQ(set.getInt(key), 31);
}

// Sets made from one schema read its definitions where they are, yet each
// has values of its own: a fixed dimension padded or cut from the defaults,
// changes seen by no other set, and a reset back to the schema's defaults.
// An open set copying them takes each property with its definition.
TEST(PropertySuite, SetsFromOneSchemaKeepValuesOfTheirOwn) {
    static const ofxhost::Schema kShared{"shared",
                                         {PropertyDef::intProp("short", 3, {4}),
                                          PropertyDef::stringProp("cut", 1, {"x", "y"}),
                                          PropertyDef::doubleProp("any", 0, {1.5, 2.5})}};
    Host host;
    PropertySet a(kShared, &host), b(kShared, &host);
    for (const PropertySet* set : {&a, &b}) {
        EXPECT_EQ(set->getInts("short"), (std::vector<int>{4, 0, 0}));
        EXPECT_EQ(set->getStrings("cut"), (std::vector<std::string>{"x"}));
        EXPECT_EQ(set->getDoubles("any"), (std::vector<double>{1.5, 2.5}));
    }
    const double one = 7.0;
    ASSERT_EQ(suite().propSetInt(a.handle(), "short", 1, 9), kOfxStatOK);
    ASSERT_EQ(suite().propSetString(a.handle(), "cut", 0, "changed"), kOfxStatOK);
    ASSERT_EQ(suite().propSetDoubleN(a.handle(), "any", 1, &one), kOfxStatOK);
    EXPECT_EQ(b.getInts("short"), (std::vector<int>{4, 0, 0}));
    EXPECT_EQ(b.getStrings("cut"), (std::vector<std::string>{"x"}));
    EXPECT_EQ(b.getDoubles("any"), (std::vector<double>{1.5, 2.5}));
    EXPECT_EQ(kShared.properties[0].ints, (std::vector<int>{4}));
    EXPECT_EQ(kShared.properties[1].strings, (std::vector<std::string>{"x", "y"}));

    PropertySet open("copy", &host);
    ASSERT_EQ(suite().propSetInt(open.handle(), "made", 0, 3), kOfxStatOK);
    PropertySet copy("copy of copy", &host);
    copy.copyValuesFrom(a);
    copy.copyValuesFrom(open);
    EXPECT_EQ(copy.getStrings("cut"), (std::vector<std::string>{"changed"}));
    EXPECT_EQ(copy.getDoubles("any"), (std::vector<double>{7.0}));
    EXPECT_EQ(copy.getInt("made"), 3);
    EXPECT_EQ(suite().propSetInt(copy.handle(), "short", 3, 1), kOfxStatErrBadIndex);
    copy.reset("cut");
    copy.reset("any");
    copy.reset("made");
    EXPECT_EQ(copy.getStrings("cut"), (std::vector<std::string>{"x"}));
    EXPECT_EQ(copy.getDoubles("any"), (std::vector<double>{1.5, 2.5}));
    EXPECT_EQ(copy.dimension("made"), 0);

    ASSERT_EQ(suite().propReset(a.handle(), "short"), kOfxStatOK);
    EXPECT_EQ(a.getInts("short"), (std::vector<int>{4, 0, 0}));
}

// One value copied from another set (under its own name or another) ends
// as setting it would: in place of the old value, created in an open set,
// refused where the type, the dimension or a property does not fit; within
// one set too.
TEST(PropertySuite, ACopiedValueIsSetAsSettingItWould) {
    static const ofxhost::Schema kFrom{"from",
                                       {PropertyDef::stringProp("s", 1, {"source text"}),
                                        PropertyDef::doubleProp("pair", 2, {1.5, 2.5}),
                                        PropertyDef::intProp("any", 0, {1, 2, 3})}};
    static const ofxhost::Schema kTo{
        "to",
        {PropertyDef::stringProp("s", 1, {"x"}), PropertyDef::stringProp("t", 1, {"y"}),
         PropertyDef::doubleProp("pair", 2), PropertyDef::intProp("two", 2)}};
    Host host;
    PropertySet from(kFrom, &host), to(kTo, &host), open("open", &host);
    to.copyValue("s", from);
    to.copyValue("t", from, "s");
    to.copyValue("pair", from);
    EXPECT_EQ(to.getString("s"), "source text");
    EXPECT_EQ(to.getString("t"), "source text");
    EXPECT_EQ(to.getDoubles("pair"), (std::vector<double>{1.5, 2.5}));
    open.copyValue("made", from, "any");
    EXPECT_EQ(open.getInts("made"), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(open.dimension("made"), 3);
    EXPECT_THROW(to.copyValue("two", from, "any"), ofxhost::Error);  // 3 values, not 2
    EXPECT_THROW(to.copyValue("two", from, "pair"), ofxhost::Error); // doubles, not ints
    EXPECT_THROW(to.copyValue("none", from, "s"), ofxhost::Error);
    EXPECT_THROW(to.copyValue("s", from, "none"), ofxhost::Error);
    EXPECT_EQ(to.getInts("two"), (std::vector<int>{0, 0}));
    to.copyValue("t", to, "s");
    from.copyValue("s", from);
    EXPECT_EQ(to.getString("t"), "source text");
    EXPECT_EQ(from.getString("s"), "source text");
    std::string into = "longer than the value it receives";
    to.getString("s", into);
    EXPECT_EQ(into, "source text");
    std::vector<double> numbers{9.0};
    to.getDoubles("pair", numbers);
    EXPECT_EQ(numbers, (std::vector<double>{1.5, 2.5}));
}

TEST(PropertySuite, NullValuesAreErrValue) {
    Host host;
    PropertySet set("nulls", &host);
    EXPECT_EQ(suite().propSetString(set.handle(), "s", 0, nullptr), kOfxStatErrValue);
    const char* values[] = {"a", nullptr};
    EXPECT_EQ(suite().propSetStringN(set.handle(), "s", 2, values), kOfxStatErrValue);
    set.setInt("i", 3);
    EXPECT_EQ(suite().propGetInt(set.handle(), "i", 0, nullptr), kOfxStatErrValue);
    EXPECT_EQ(suite().propGetIntN(set.handle(), "i", 1, nullptr), kOfxStatErrValue);
}

TEST(PropertySuite, HostPropertiesFollowConfig) {
    ofxhost::HostConfig cfg;
    cfg.name = "DaVinciResolve";
    cfg.openGLRenderSupported = "needed";
    int marker = 0;
    cfg.hostOSHandle = &marker;
    Host host(cfg);
    const OfxPropertySetHandle h = host.ofxHost()->host;
    char* s = nullptr;
    ASSERT_EQ(suite().propGetString(h, kOfxPropName, 0, &s), kOfxStatOK);
    EXPECT_STREQ(s, "DaVinciResolve");
    ASSERT_EQ(suite().propGetString(h, kOfxImageEffectPropOpenGLRenderSupported, 0, &s),
              kOfxStatOK);
    EXPECT_STREQ(s, "needed");
    void* p = nullptr;
    ASSERT_EQ(suite().propGetPointer(h, kOfxPropHostOSHandle, 0, &p), kOfxStatOK);
    EXPECT_EQ(p, &marker);
    int api[2] = {};
    ASSERT_EQ(suite().propGetIntN(h, kOfxPropAPIVersion, 2, api), kOfxStatOK);
    EXPECT_EQ(api[0], 1);
    EXPECT_EQ(api[1], 4);
    EXPECT_EQ(
        host.properties().getStrings(kOfxImageEffectPropSupportedContexts),
        (std::vector<std::string>{kOfxImageEffectContextFilter, kOfxImageEffectContextGeneral}));
    EXPECT_EQ(suite().propSetInt(h, "OfxNotAHostProperty", 0, 1), kOfxStatErrUnknown);
}

} // namespace
