// Effect instances and their parameters: creation and destruction, values
// through the parameter suite's variadic calls for every type, keys and
// interpolation, who set what, and instance-changed.

#include "InstanceFixture.h"

#include <cstring>

namespace {

using hosttest::Session;
using ofxhost::EffectInstance;
using ofxhost::ParamValue;

TEST(Instance, CreateAndDestroyAreSentWithTheInstanceSchema) {
    ofxhost::HostConfig cfg;
    cfg.project.width = 720;
    cfg.project.height = 576;
    cfg.project.pixelAspectRatio = 16.0 / 15.0;
    cfg.project.frameRate = 24.0;
    Session s(cfg);
    const ofxhost::PropertySet& p = s.instance->properties();
    EXPECT_EQ(p.getString(kOfxPropType), kOfxTypeImageEffectInstance);
    EXPECT_EQ(p.getString(kOfxImageEffectPropContext), kOfxImageEffectContextFilter);
    EXPECT_EQ(p.getDoubles(kOfxImageEffectPropProjectSize), (std::vector<double>{720, 576}));
    EXPECT_EQ(p.getDoubles(kOfxImageEffectPropProjectExtent), (std::vector<double>{720, 576}));
    EXPECT_DOUBLE_EQ(p.getDouble(kOfxImageEffectPropProjectPixelAspectRatio), 16.0 / 15.0);
    EXPECT_DOUBLE_EQ(p.getDouble(kOfxImageEffectPropFrameRate), 24.0);
    EXPECT_EQ(p.getInt(kOfxPropIsInteractive), 0);
    const void* handle = s.instance->handle();
    EXPECT_EQ(s.plugin.liveInstances(), 1u);
    s.instance.reset();
    EXPECT_EQ(s.plugin.liveInstances(), 0u);
    const auto actions = s.host.actions();
    ASSERT_GE(actions.size(), 2u);
    EXPECT_EQ(actions[actions.size() - 2].action, kOfxActionCreateInstance);
    EXPECT_EQ(actions.back().action, kOfxActionDestroyInstance);
    EXPECT_EQ(actions.back().handle, handle);
    // The handle is dead: suites answer a status, not a crash.
    OfxPropertySetHandle props = nullptr;
    EXPECT_EQ(s.suites().imageEffect->getPropertySet(
                  static_cast<OfxImageEffectHandle>(const_cast<void*>(handle)), &props),
              kOfxStatErrBadHandle);
}

TEST(Instance, UnloadingThePluginDestroysLiveInstancesFirst) {
    Session s;
    s.plugin.detachHost();
    const auto names = s.actionNames();
    ASSERT_GE(names.size(), 2u);
    EXPECT_EQ(names[names.size() - 2], kOfxActionDestroyInstance);
    EXPECT_EQ(names.back(), kOfxActionUnload);
    EXPECT_THROW(s.instance->plugin(), ofxhost::Error);
    s.instance.reset(); // no second destroy, no crash
    EXPECT_EQ(s.actionNames().back(), kOfxActionUnload);
}

TEST(Instance, UndescribedContextIsRefusedWithAReason) {
    Session s;
    try {
        s.plugin.createInstance(kOfxImageEffectContextGenerator);
        FAIL() << "expected an error";
    } catch (const ofxhost::Error& e) {
        EXPECT_NE(std::string(e.what()).find(kOfxImageEffectContextGenerator), std::string::npos);
    }
}

TEST(Instance, MltPresetSendsLoadAgainForEachInstance) {
    Session s(ofxhost::hostPreset("MLT"));
    auto second = s.plugin.createInstance(kOfxImageEffectContextFilter);
    ASSERT_NE(second, nullptr);
    const auto names = s.actionNames();
    int loads = 0;
    for (const auto& n : names) {
        loads += n == kOfxActionLoad ? 1 : 0;
    }
    EXPECT_EQ(loads, 3); // the first load, then one per instance
}

// --- values of every type through the variadic calls ----------------------

struct ValueTypeCase {
    const char* name;
    ParamValue initial;
    ParamValue next;
};

// Calls paramGetValueAtTime with the pointers the type's convention asks.
OfxStatus getAt(OfxParamHandle h, const std::string& type, OfxTime t, ParamValue& out) {
    const OfxParameterSuiteV1& ps = *ofxhost::Host::suites().parameter;
    const ofxhost::ParamValueKind kind = ofxhost::paramValueKind(type);
    using K = ofxhost::ParamValueKind::Kind;
    out = ParamValue();
    if (kind.kind == K::Text) {
        const char* s = nullptr;
        const OfxStatus st = ps.paramGetValueAtTime(h, t, &s);
        out.text = s != nullptr ? s : "<null>";
        return st;
    }
    int i[4] = {-7, -7, -7, -7};
    double d[4] = {-7, -7, -7, -7};
    OfxStatus st = kOfxStatErrUnknown;
    if (kind.kind == K::Int) {
        st = kind.dimension == 1   ? ps.paramGetValueAtTime(h, t, &i[0])
             : kind.dimension == 2 ? ps.paramGetValueAtTime(h, t, &i[0], &i[1])
                                   : ps.paramGetValueAtTime(h, t, &i[0], &i[1], &i[2]);
        out.numbers.assign(i, i + kind.dimension);
    } else {
        st = kind.dimension == 1   ? ps.paramGetValueAtTime(h, t, &d[0])
             : kind.dimension == 2 ? ps.paramGetValueAtTime(h, t, &d[0], &d[1])
             : kind.dimension == 3 ? ps.paramGetValueAtTime(h, t, &d[0], &d[1], &d[2])
                                   : ps.paramGetValueAtTime(h, t, &d[0], &d[1], &d[2], &d[3]);
        out.numbers.assign(d, d + kind.dimension);
    }
    return st;
}

// Calls paramSetValueAtTime (or paramSetValue without a time) passing the
// values by the type's convention: int, double or const char*.
OfxStatus setAt(OfxParamHandle h, const std::string& type, std::optional<OfxTime> t,
                const ParamValue& v) {
    const OfxParameterSuiteV1& ps = *ofxhost::Host::suites().parameter;
    const ofxhost::ParamValueKind kind = ofxhost::paramValueKind(type);
    using K = ofxhost::ParamValueKind::Kind;
    const auto& n = v.numbers;
    if (kind.kind == K::Text) {
        return t ? ps.paramSetValueAtTime(h, *t, v.text.c_str())
                 : ps.paramSetValue(h, v.text.c_str());
    }
    if (kind.kind == K::Int) {
        int i[3] = {0, 0, 0};
        for (int k = 0; k < kind.dimension; ++k) {
            i[k] = static_cast<int>(n[static_cast<std::size_t>(k)]);
        }
        switch (kind.dimension) {
        case 1:
            return t ? ps.paramSetValueAtTime(h, *t, i[0]) : ps.paramSetValue(h, i[0]);
        case 2:
            return t ? ps.paramSetValueAtTime(h, *t, i[0], i[1]) : ps.paramSetValue(h, i[0], i[1]);
        default:
            return t ? ps.paramSetValueAtTime(h, *t, i[0], i[1], i[2])
                     : ps.paramSetValue(h, i[0], i[1], i[2]);
        }
    }
    switch (kind.dimension) {
    case 1:
        return t ? ps.paramSetValueAtTime(h, *t, n[0]) : ps.paramSetValue(h, n[0]);
    case 2:
        return t ? ps.paramSetValueAtTime(h, *t, n[0], n[1]) : ps.paramSetValue(h, n[0], n[1]);
    case 3:
        return t ? ps.paramSetValueAtTime(h, *t, n[0], n[1], n[2])
                 : ps.paramSetValue(h, n[0], n[1], n[2]);
    default:
        return t ? ps.paramSetValueAtTime(h, *t, n[0], n[1], n[2], n[3])
                 : ps.paramSetValue(h, n[0], n[1], n[2], n[3]);
    }
}

ParamValue nums(std::vector<double> v) {
    ParamValue p;
    p.numbers = std::move(v);
    return p;
}
ParamValue txt(std::string s) {
    ParamValue p;
    p.text = std::move(s);
    return p;
}

class ParamTypes : public ::testing::TestWithParam<ValueTypeCase> {};

TEST_P(ParamTypes, DefaultThenValueThenKeyThroughTheSuite) {
    const ValueTypeCase& c = GetParam();
    Session s;
    const OfxParamHandle h = s.param(c.name);
    ASSERT_NE(h, nullptr);
    const std::string type = s.instance->param(c.name).type();
    ParamValue got;
    ASSERT_EQ(getAt(h, type, 0.0, got), kOfxStatOK);
    EXPECT_EQ(got, c.initial) << "default of " << c.name;

    ASSERT_EQ(setAt(h, type, std::nullopt, c.next), kOfxStatOK);
    ASSERT_EQ(getAt(h, type, 50.0, got), kOfxStatOK);
    EXPECT_EQ(got, c.next) << "a value without keys holds at every time";
    EXPECT_EQ(s.instance->valueAt(c.name, 3.0), c.next);

    // A key at 10 makes the parameter animated: before and at the key the
    // key's value holds (one key is constant everywhere).
    ASSERT_EQ(setAt(h, type, 10.0, c.initial), kOfxStatOK);
    ASSERT_EQ(getAt(h, type, 0.0, got), kOfxStatOK);
    EXPECT_EQ(got, c.initial);
    unsigned int keys = 0;
    EXPECT_EQ(s.suites().parameter->paramGetNumKeys(h, &keys), kOfxStatOK);
    EXPECT_EQ(keys, 1u);

    const auto changes = s.instance->paramChanges();
    ASSERT_GE(changes.size(), 2u);
    EXPECT_EQ(changes.back().param, c.name);
    EXPECT_TRUE(changes.back().byPlugin);
    EXPECT_EQ(changes.back().time, std::optional<OfxTime>(10.0));
    EXPECT_EQ(changes.back().value, c.initial);
}

INSTANTIATE_TEST_SUITE_P(
    AllValueTypes, ParamTypes,
    ::testing::Values(ValueTypeCase{"count", nums({0}), nums({42})},
                      ValueTypeCase{"invert", nums({1}), nums({0})},
                      ValueTypeCase{"mode", nums({0}), nums({3})},
                      ValueTypeCase{"gain", nums({1.0}), nums({2.5})},
                      ValueTypeCase{"color", nums({0.1, 0.2, 0.3}), nums({1, 0.5, 0.25})},
                      ValueTypeCase{"colorA", nums({0.1, 0.2, 0.3, 0.4}),
                                    nums({1, 0.5, 0.25, 0.125})},
                      ValueTypeCase{"pos", nums({0.1, 0.2}), nums({-4, 8})},
                      ValueTypeCase{"pos3", nums({0.1, 0.2, 0.3}), nums({-4, 8, 16})},
                      ValueTypeCase{"size", nums({3, 4}), nums({-1, 7})},
                      ValueTypeCase{"size3", nums({3, 4, 5}), nums({-1, 7, 9})},
                      ValueTypeCase{"label", txt("hello"), txt("a longer label")},
                      ValueTypeCase{"blob", txt("{}"), txt("{\"k\":1}")}),
    [](const ::testing::TestParamInfo<ValueTypeCase>& p) { return std::string(p.param.name); });

TEST(ParamValues, WrongHandlesAndValuesGetStatuses) {
    Session s;
    const OfxParameterSuiteV1& ps = *s.suites().parameter;
    int i = 0;
    int notAParam = 0;
    EXPECT_EQ(ps.paramGetValue(nullptr, &i), kOfxStatErrBadHandle);
    EXPECT_EQ(ps.paramGetValue(reinterpret_cast<OfxParamHandle>(&notAParam), &i),
              kOfxStatErrBadHandle);
    EXPECT_EQ(ps.paramSetValue(nullptr, 1), kOfxStatErrBadHandle);
    EXPECT_EQ(ps.paramGetValue(s.param("count"), static_cast<int*>(nullptr)), kOfxStatErrValue);
    EXPECT_EQ(ps.paramSetValue(s.param("label"), static_cast<const char*>(nullptr)),
              kOfxStatErrValue);
    EXPECT_EQ(ps.paramSetValue(s.param("mode"), 5), kOfxStatErrValue) << "only 5 options";
    EXPECT_EQ(ps.paramGetValue(s.param("group"), &i), kOfxStatErrUnsupported);
    EXPECT_EQ(ps.paramSetValue(s.param("button"), 1), kOfxStatErrUnsupported);
    OfxParamSetHandle set = nullptr;
    s.suites().imageEffect->getParamSet(s.effect(), &set);
    OfxParamHandle h = nullptr;
    EXPECT_EQ(ps.paramGetHandle(set, "noSuchParam", &h, nullptr), kOfxStatErrUnknown);
    EXPECT_EQ(ps.paramGetHandle(set, nullptr, &h, nullptr), kOfxStatErrUnknown);
    EXPECT_EQ(ps.paramDefine(set, kOfxParamTypeDouble, "late", nullptr), kOfxStatErrUnsupported);
    // The host side refuses mistakes with an error naming the parameter.
    EXPECT_THROW(s.instance->setValue("noSuchParam", 1.0), ofxhost::Error);
    EXPECT_THROW(s.instance->setValue("count", 1.5), ofxhost::Error);
    EXPECT_THROW(s.instance->setValue("label", 2.0), ofxhost::Error);
    EXPECT_THROW(s.instance->value<std::string>("gain"), ofxhost::Error);
    EXPECT_THROW(s.instance->value<double>("color"), ofxhost::Error);
}

TEST(ParamValues, InstancePropertySetsAreTheirOwn) {
    Session s;
    OfxPropertySetHandle props = nullptr;
    ASSERT_EQ(s.suites().parameter->paramGetPropertySet(s.param("gain"), &props), kOfxStatOK);
    char* type = nullptr;
    s.suites().property->propGetString(props, kOfxParamPropType, 0, &type);
    EXPECT_STREQ(type, kOfxParamTypeDouble);
    // Disabling the instance's parameter leaves the descriptor alone.
    EXPECT_EQ(s.suites().property->propSetInt(props, kOfxParamPropEnabled, 0, 0), kOfxStatOK);
    EXPECT_EQ(s.plugin.contextDescriptor(kOfxImageEffectContextFilter)
                  ->params()
                  .find("gain")
                  ->properties()
                  .getInt(kOfxParamPropEnabled),
              1);
    OfxParamSetHandle set = nullptr;
    s.suites().imageEffect->getParamSet(s.effect(), &set);
    EXPECT_EQ(s.suites().parameter->paramSetGetPropertySet(set, &props), kOfxStatOK);
    EXPECT_EQ(s.suites().parameter->paramSetGetPropertySet(set, nullptr), kOfxStatErrValue);
}

// --- keys ---------------------------------------------------------------------

TEST(Keys, DoublesInterpolateLinearlyOthersStep) {
    Session s;
    EffectInstance& i = *s.instance;
    i.setValueAtTime("gain", 0.0, 0.0);
    i.setValueAtTime("gain", 10.0, 10.0);
    i.setValueAtTime("gain", 20.0, 0.0);
    EXPECT_DOUBLE_EQ(i.value<double>("gain", -5.0), 0.0);
    EXPECT_DOUBLE_EQ(i.value<double>("gain", 2.5), 2.5);
    EXPECT_DOUBLE_EQ(i.value<double>("gain", 15.0), 5.0);
    EXPECT_DOUBLE_EQ(i.value<double>("gain", 99.0), 0.0);

    i.setValueAtTime("color", 0.0, std::vector<double>{0, 1, 0.5});
    i.setValueAtTime("color", 4.0, std::vector<double>{1, 0, 0.5});
    EXPECT_EQ(i.value<std::vector<double>>("color", 1.0), (std::vector<double>{0.25, 0.75, 0.5}));

    i.setValueAtTime("count", 0.0, 1);
    i.setValueAtTime("count", 10.0, 11);
    EXPECT_EQ(i.value<int>("count", 9.99), 1);
    EXPECT_EQ(i.value<int>("count", 10.0), 11);
    i.setValueAtTime("label", 5.0, std::string("late"));
    i.setValueAtTime("label", 0.0, std::string("early"));
    EXPECT_EQ(i.value<std::string>("label", 4.9), "early");
    EXPECT_EQ(i.value<std::string>("label", 5.0), "late");

    // Through the suite: the same values at and between keys, then the
    // derivative and integral of the piecewise-linear gain.
    const OfxParameterSuiteV1& ps = *s.suites().parameter;
    for (const double t : {-5.0, 0.0, 1.0, 2.5, 9.99, 10.0, 15.0, 99.0}) {
        double gain = -1.0;
        ASSERT_EQ(ps.paramGetValueAtTime(s.param("gain"), t, &gain), kOfxStatOK);
        EXPECT_EQ(gain, i.value<double>("gain", t)) << t;
        double c[3] = {-1.0, -1.0, -1.0};
        ASSERT_EQ(ps.paramGetValueAtTime(s.param("color"), t, &c[0], &c[1], &c[2]), kOfxStatOK);
        EXPECT_EQ(std::vector<double>(c, c + 3), i.value<std::vector<double>>("color", t)) << t;
        int count = -1;
        ASSERT_EQ(ps.paramGetValueAtTime(s.param("count"), t, &count), kOfxStatOK);
        EXPECT_EQ(count, i.value<int>("count", t)) << t;
    }
    double d = -1.0;
    EXPECT_EQ(s.suites().parameter->paramGetDerivative(s.param("gain"), 5.0, &d), kOfxStatOK);
    EXPECT_DOUBLE_EQ(d, 1.0);
    EXPECT_EQ(s.suites().parameter->paramGetDerivative(s.param("gain"), 12.0, &d), kOfxStatOK);
    EXPECT_DOUBLE_EQ(d, -1.0);
    double area = -1.0;
    EXPECT_EQ(s.suites().parameter->paramGetIntegral(s.param("gain"), 0.0, 20.0, &area),
              kOfxStatOK);
    EXPECT_DOUBLE_EQ(area, 100.0);
    EXPECT_EQ(s.suites().parameter->paramGetDerivative(s.param("count"), 5.0, &d),
              kOfxStatErrUnsupported);
}

TEST(Keys, IndexTimeAndDeletionFollowTheSuiteStatuses) {
    Session s;
    const OfxParameterSuiteV1& ps = *s.suites().parameter;
    const OfxParamHandle h = s.param("gain");
    for (double t : {30.0, 10.0, 20.0}) {
        ASSERT_EQ(ps.paramSetValueAtTime(h, t, t * 2), kOfxStatOK);
    }
    OfxTime t = -1;
    EXPECT_EQ(ps.paramGetKeyTime(h, 0, &t), kOfxStatOK);
    EXPECT_EQ(t, 10.0);
    EXPECT_EQ(ps.paramGetKeyTime(h, 2, &t), kOfxStatOK);
    EXPECT_EQ(t, 30.0);
    EXPECT_EQ(ps.paramGetKeyTime(h, 3, &t), kOfxStatErrBadIndex);
    int index = -1;
    EXPECT_EQ(ps.paramGetKeyIndex(h, 20.0, 0, &index), kOfxStatOK);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(ps.paramGetKeyIndex(h, 20.0, -1, &index), kOfxStatOK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(ps.paramGetKeyIndex(h, 20.0, 1, &index), kOfxStatOK);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(ps.paramGetKeyIndex(h, 15.0, 0, &index), kOfxStatFailed);
    EXPECT_EQ(ps.paramGetKeyIndex(h, 30.0, 1, &index), kOfxStatFailed);
    EXPECT_EQ(ps.paramDeleteKey(h, 15.0), kOfxStatErrBadIndex);
    EXPECT_EQ(ps.paramDeleteKey(h, 20.0), kOfxStatOK);
    EXPECT_DOUBLE_EQ(s.instance->value<double>("gain", 20.0), 40.0); // 10->20, 30->60
    s.instance->setCurrentTime(30.0);
    EXPECT_EQ(ps.paramDeleteAllKeys(h), kOfxStatOK);
    unsigned int n = 9;
    EXPECT_EQ(ps.paramGetNumKeys(h, &n), kOfxStatOK);
    EXPECT_EQ(n, 0u);
    // Without keys the value at the time of deletion holds everywhere.
    EXPECT_DOUBLE_EQ(s.instance->value<double>("gain", 0.0), 60.0);
}

TEST(Keys, CopyTakesKeysShiftedAndOnlyInRange) {
    Session s;
    s.instance->setValueAtTime("gain", 0.0, 1.0);
    s.instance->setValueAtTime("gain", 10.0, 2.0);
    const OfxRangeD range{5.0, 20.0};
    const OfxParameterSuiteV1& ps = *s.suites().parameter;
    EXPECT_EQ(ps.paramCopy(s.param("quirkTime"), s.param("gain"), 100.0, &range), kOfxStatOK);
    EXPECT_EQ(s.instance->param("quirkTime").keyTimes(), (std::vector<OfxTime>{110.0}));
    EXPECT_EQ(ps.paramCopy(s.param("count"), s.param("gain"), 0.0, nullptr), kOfxStatErrValue);
    EXPECT_EQ(ps.paramCopy(s.param("gain"), nullptr, 0.0, nullptr), kOfxStatErrBadHandle);
}

TEST(Keys, EditBracketsMustBalance) {
    Session s;
    OfxParamSetHandle set = nullptr;
    s.suites().imageEffect->getParamSet(s.effect(), &set);
    const OfxParameterSuiteV1& ps = *s.suites().parameter;
    EXPECT_EQ(ps.paramEditEnd(set), kOfxStatFailed);
    EXPECT_EQ(ps.paramEditBegin(set, "two at once"), kOfxStatOK);
    EXPECT_EQ(s.instance->params().editDepth(), 1);
    EXPECT_EQ(ps.paramEditEnd(set), kOfxStatOK);
    EXPECT_EQ(s.instance->params().editLabels(), (std::vector<std::string>{"two at once"}));
    EXPECT_EQ(ps.paramEditBegin(nullptr, "x"), kOfxStatErrBadHandle);
}

// --- instance changed -----------------------------------------------------------

TEST(InstanceChanged, UserEditIsBracketedAndCarriesItsArguments) {
    Session s;
    s.host.clearRecords();
    EXPECT_EQ(s.instance->userEdit("gain", 7.0, {0.5, 0.25}), kOfxStatOK);
    EXPECT_EQ(s.actionNames(),
              (std::vector<std::string>{kOfxActionBeginInstanceChanged, kOfxActionInstanceChanged,
                                        kOfxActionEndInstanceChanged}));
    EXPECT_EQ(s.logs("changed"),
              (std::vector<std::string>{"changed " kOfxTypeParameter " gain " kOfxChangeUserEdited
                                        " 7 0.5,0.25"}));
    EXPECT_EQ(s.instance->value<int>("count"), 1);
}

struct Gate {
    const char* type;
    const char* name;
    const char* reason;
    int expectedCount;
};

class InstanceChangedGates : public ::testing::TestWithParam<Gate> {};

TEST_P(InstanceChangedGates, OnlyAUserEditOfGainCounts) {
    const Gate& g = GetParam();
    Session s;
    EXPECT_EQ(s.instance->changed(g.type, g.name, g.reason, 3.0), kOfxStatOK);
    EXPECT_EQ(s.instance->value<int>("count"), g.expectedCount);
    // The plug-in's own write is recorded as its own, during that action.
    const auto changes = s.instance->paramChanges();
    ASSERT_FALSE(changes.empty());
    EXPECT_EQ(changes.front().action, kOfxActionCreateInstance);
    if (g.expectedCount == 1) {
        EXPECT_TRUE(changes.back().byPlugin);
        EXPECT_EQ(changes.back().action, kOfxActionInstanceChanged);
    } else {
        EXPECT_EQ(changes.size(), 1u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, InstanceChangedGates,
    ::testing::Values(Gate{kOfxTypeParameter, "gain", kOfxChangeUserEdited, 1},
                      Gate{kOfxTypeParameter, "gain", kOfxChangePluginEdited, 0},
                      Gate{kOfxTypeParameter, "gain", kOfxChangeTime, 0},
                      Gate{kOfxTypeParameter, "invert", kOfxChangeUserEdited, 0},
                      Gate{kOfxTypeClip, "gain", kOfxChangeUserEdited, 0}));

TEST(InstanceChanged, HostSideValuesAreRecordedAsTheHosts) {
    Session s;
    s.instance->setValue("gain", 5.0);
    s.instance->setValueAtTime("gain", 10.0, 7.0);
    const auto changes = s.instance->paramChanges();
    ASSERT_EQ(changes.size(), 3u); // the plug-in's count at create, then ours
    EXPECT_FALSE(changes[1].byPlugin);
    EXPECT_EQ(changes[1].time, std::nullopt);
    EXPECT_EQ(changes[2].time, std::optional<OfxTime>(10.0));
    EXPECT_DOUBLE_EQ(s.instance->value<double>("gain", 10.0), 7.0);
    EXPECT_THROW(s.instance->userEdit("noSuchParam", 0.0), ofxhost::Error);
}

} // namespace
