// How the effect's parameters reach the host: the describe-in-context action
// through the binary interface for Stutter Quirk itself, and in-process for
// records of every type, groups, pages and the error policy.
#include "support/PluginFixture.h"

#include "effect/QuirkPluginOFX.h"
#include "host/ofx/Dispatch.h"
#include "host/ofx/Host.h"
#include "host/ofx/Parameters.h"
#include "host/param/ParamText.h"
#include "host/param/ParameterDef.h"

#include "Descriptors.h"
#include "Host.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxParam.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <tuple>
#include <string>
#include <vector>

namespace {

using namespace VX::Host::Param;
using Strings = std::vector<std::string>;

// --- Stutter Quirk through the binary interface ----------------------------------

class QuirkInContext : public ::testing::TestWithParam<const char*> {};

TEST_P(QuirkInContext, DescribesClipsAndTheFourParameters) {
    sqtest::LoadedPlugin p(sqtest::quirkBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describe(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describeInContext(GetParam()), kOfxStatOK);
    const ofxhost::EffectDescriptor& d = *p.plugin.contextDescriptor(GetParam());

    ASSERT_EQ(d.clips().size(), 2u);
    EXPECT_EQ(d.clips()[0]->name(), "Output");
    EXPECT_EQ(d.clips()[1]->name(), "Source");
    for (const auto& clip : d.clips()) {
        EXPECT_EQ(clip->properties().getStrings(kOfxImageEffectPropSupportedComponents),
                  Strings{kOfxImageComponentRGBA});
        EXPECT_EQ(clip->properties().getInt(kOfxImageEffectPropTemporalClipAccess), 0);
    }

    const auto& params = d.params().params();
    ASSERT_EQ(params.size(), 5u);
    const Strings names = {"quirkTime", "randomQuirk", "increaseQuirky", "unmasked", "Main"};
    for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(params[i]->name(), names[i]);

    const ofxhost::PropertySet& time = params[0]->properties();
    EXPECT_EQ(params[0]->type(), kOfxParamTypeDouble);
    EXPECT_EQ(time.getString(kOfxPropLabel), "Quirk Time");
    EXPECT_EQ(time.getString(kOfxParamPropScriptName), "quirkTime");
    EXPECT_EQ(time.getString(kOfxParamPropDoubleType), kOfxParamDoubleTypePlain);
    EXPECT_EQ(time.getDouble(kOfxParamPropDefault), 3.0);
    EXPECT_EQ(time.getDouble(kOfxParamPropMin), 1.0);
    EXPECT_EQ(time.getDouble(kOfxParamPropMax), 100.0);
    EXPECT_EQ(time.getDouble(kOfxParamPropDisplayMin), 1.0);
    EXPECT_EQ(time.getDouble(kOfxParamPropDisplayMax), 100.0);
    EXPECT_EQ(time.getInt(kOfxParamPropDigits), 2);
    EXPECT_EQ(time.getInt(kOfxParamPropAnimates), 0);

    const ofxhost::PropertySet& random = params[1]->properties();
    EXPECT_EQ(random.getString(kOfxPropLabel), "Random Quirk");
    EXPECT_EQ(random.getString(kOfxParamPropDoubleType), kOfxParamDoubleTypeScale);
    EXPECT_EQ(random.getDouble(kOfxParamPropDefault), 0.0);
    EXPECT_EQ(random.getDouble(kOfxParamPropMin), 0.0);
    EXPECT_EQ(random.getDouble(kOfxParamPropMax), 100.0);
    EXPECT_EQ(random.getInt(kOfxParamPropAnimates), 1);

    for (int i : {2, 3}) {
        EXPECT_EQ(params[i]->type(), kOfxParamTypeBoolean);
        EXPECT_EQ(params[i]->properties().getInt(kOfxParamPropDefault), 0);
    }
    EXPECT_EQ(params[2]->properties().getString(kOfxPropLabel), "Increase Quirky");
    EXPECT_EQ(params[3]->properties().getString(kOfxPropLabel), "Unmasked");

    EXPECT_EQ(params[4]->type(), kOfxParamTypePage);
    EXPECT_EQ(params[4]->properties().getStrings(kOfxParamPropPageChild),
              (Strings{"quirkTime", "randomQuirk", "increaseQuirky", "unmasked"}));
    EXPECT_TRUE(p.host.messages().empty());
}

INSTANTIATE_TEST_SUITE_P(Contexts, QuirkInContext,
                         ::testing::Values(kOfxImageEffectContextFilter,
                                           kOfxImageEffectContextGeneral));

TEST(QuirkInContextFailure, ClipDefinitionFailureEndsTheAction) {
    ofxhost::HostConfig config;
    config.failCall("OfxImageEffectSuite.clipDefine", kOfxStatErrMemory);
    sqtest::LoadedPlugin p(sqtest::quirkBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describe(), kOfxStatOK);
    EXPECT_EQ(p.plugin.describeInContext(kOfxImageEffectContextFilter), kOfxStatErrMemory);
}

// Every definition the host refuses, or answers OK without a handle, ends the
// action with the host's status at once: nothing after it is described and
// nothing is set through a null handle.
struct DefineCase {
    const char* call;
    int occurrence; // which call of that name fails, from 1
};

void PrintTo(const DefineCase& c, std::ostream* os) { *os << c.call << " #" << c.occurrence; }

class QuirkDefineFailure : public ::testing::TestWithParam<std::tuple<DefineCase, OfxStatus>> {
protected:
    // The number our host gives the call, counted from the start of the
    // describe-in-context action.
    static std::uint64_t callNumber(const DefineCase& c) {
        sqtest::LoadedPlugin p(sqtest::quirkBundle());
        EXPECT_EQ(p.load(), kOfxStatOK);
        EXPECT_EQ(p.plugin.describe(), kOfxStatOK);
        p.host.resetCallCount();
        p.host.recordCallNames(true);
        EXPECT_EQ(p.plugin.describeInContext(kOfxImageEffectContextFilter), kOfxStatOK);
        const Strings names = p.host.callNames();
        int seen = 0;
        for (std::size_t i = 0; i < names.size(); ++i)
            if (names[i] == c.call && ++seen == c.occurrence)
                return i + 1;
        ADD_FAILURE() << "the action makes no call " << c.call << " #" << c.occurrence;
        return 0;
    }
};

TEST_P(QuirkDefineFailure, EndsTheActionWithTheHostsStatus) {
    const DefineCase& c = std::get<0>(GetParam());
    const OfxStatus answer = std::get<1>(GetParam());
    const std::uint64_t number = callNumber(c);
    ASSERT_GT(number, 0u);

    sqtest::LoadedPlugin p(sqtest::quirkBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describe(), kOfxStatOK);
    p.host.resetCallCount();
    p.host.failCallNumber(number, answer);
    EXPECT_EQ(p.plugin.describeInContext(kOfxImageEffectContextFilter),
              answer == ofxhost::kNullAnswer ? kOfxStatFailed : answer);
    EXPECT_EQ(p.host.countedFailureCall(), c.call);
    EXPECT_EQ(p.host.callCount(), number) << "calls made after the failed one";
}

INSTANTIATE_TEST_SUITE_P(
    Definitions, QuirkDefineFailure,
    ::testing::Combine(::testing::Values(DefineCase{"OfxImageEffectSuite.clipDefine", 1},
                                         DefineCase{"OfxImageEffectSuite.clipDefine", 2},
                                         DefineCase{"OfxImageEffectSuite.getParamSet", 1},
                                         // the four parameters, then the page
                                         DefineCase{"OfxParameterSuite.paramDefine", 1},
                                         DefineCase{"OfxParameterSuite.paramDefine", 2},
                                         DefineCase{"OfxParameterSuite.paramDefine", 4},
                                         DefineCase{"OfxParameterSuite.paramDefine", 5}),
                       ::testing::Values(kOfxStatErrMemory, kOfxStatErrBadHandle,
                                         ofxhost::kNullAnswer)),
    [](const ::testing::TestParamInfo<std::tuple<DefineCase, OfxStatus>>& param) {
        const DefineCase& c = std::get<0>(param.param);
        const std::string call = c.call;
        const OfxStatus answer = std::get<1>(param.param);
        return call.substr(call.find('.') + 1) + std::to_string(c.occurrence) + "_" +
               (answer == ofxhost::kNullAnswer ? std::string("NullHandle")
                                               : ofxhost::statusName(answer).substr(7));
    });

// --- records of every kind, in-process ---------------------------------------------

// An effect whose records and identifier table the test chooses.
class RecordsEffect : public VX::QuirkPluginOFX {
public:
    std::vector<ParameterDef> records;
    bool alphaOut = false;
    bool temporal = false;
    void defineParameters(Parameters& set) override {
        for (const ParameterDef& r : records)
            set.append(r);
    }
    bool outputSupportsAlpha() const override { return alphaOut; }
    bool needsTemporalAccess() const override { return temporal; }
};

struct Described {
    Described(const std::string& context, std::vector<ParameterDef> records,
              const VX::Host::OFX::ParamIdEntry* table = nullptr, bool pages = false,
              ofxhost::HostConfig config = ofxhost::HostConfig(),
              const std::function<void(RecordsEffect&)>& setup = nullptr)
        : host(std::move(config)), descriptor(host, context) {
        if (pages)
            host.properties().setInts(kOfxParamHostPropPageRowColumnCount, {4, 2});
        in.setString(kOfxImageEffectPropContext, context);
        effect.records = std::move(records);
        if (setup)
            setup(effect);
        effect.bindHost(host.ofxHost(), descriptor.handle(), in.handle(), nullptr);
        effect.setParamIdTable(table);
        status = VX::Host::OFX::dispatch(effect, kOfxImageEffectActionDescribeInContext);
    }
    const ofxhost::PropertySet& param(const std::string& name) const {
        const ofxhost::ParamDescriptor* p = descriptor.params().find(name);
        if (p == nullptr)
            throw std::runtime_error("no parameter " + name);
        return p->properties();
    }
    Strings paramNames() const {
        Strings names;
        for (const auto& p : descriptor.params().params())
            names.push_back(p->name());
        return names;
    }
    ofxhost::Host host;
    ofxhost::EffectDescriptor descriptor;
    ofxhost::PropertySet in;
    RecordsEffect effect;
    OfxStatus status = kOfxStatFailed;
};

constexpr std::uint32_t kA = paramCode('T', 's', 't', 'A');
constexpr std::uint32_t kB = paramCode('T', 's', 't', 'B');

TEST(ParamDescription, EmptySetStillHasClipsAndAnEmptyPage) {
    Described d(kOfxImageEffectContextFilter, {});
    ASSERT_EQ(d.status, kOfxStatOK);
    EXPECT_EQ(d.descriptor.clips().size(), 2u);
    EXPECT_EQ(d.paramNames(), Strings{"Main"});
    EXPECT_EQ(d.param("Main").dimension(kOfxParamPropPageChild), 0);
}

TEST(ParamDescription, EveryTypeWithItsProperties) {
    std::vector<ParameterDef> r = {
        makeIntParam("Count", 0, 4, -2, 9, 0, 5),
        makeChoiceParam("Mode", 0, {"one", "two", "three"}, 2),
        makeStringParam("Title", 0, "x\"y"),
        makeRGBParam("Tint", 0, {0.25, 0.5, 0.75}),
        make2DParam("Centre", 0, {0.5, 0.5}, {0, 0}, {1, 1}),
        make2DParam("Size", 0, {3, 4}, {0, 0}, {10, 10}, kParamScale),
        make2DParam("Spot", 0, {3, 4}, {0, 0}, {1, 1}, kParamScale),
        makeDoubleParam("Angle", 0, 1, 0, 2, 0, 2, kParamAngle | kParamScale | kParamX),
        makeDoubleParam("Across", 0, 1, 0, 2, 0, 2, kParamX),
        makeDoubleParam("When", 0, 1, 0, 2, 0, 2, kParamAbsoluteTime | kParamY),
        makePushButton("Go", 0),
        makeLayerParam("Matte", 0),
    };
    ParameterDef nothing;
    nothing.type = kParamTypeNone;
    nothing.name = "Nothing";
    r.push_back(nothing);
    ParameterDef unknown;
    unknown.type = 99;
    unknown.name = "Unknown";
    r.push_back(unknown);

    Described d(kOfxImageEffectContextFilter, r);
    ASSERT_EQ(d.status, kOfxStatOK);
    // Layers, placeholders and unknown types define nothing.
    EXPECT_EQ(d.paramNames(), (Strings{"Count", "Mode", "Title", "Tint", "Centre", "Size", "Spot",
                                       "Angle", "Across", "When", "Go", "Main"}));

    const auto& count = d.param("Count");
    EXPECT_EQ(count.getInt(kOfxParamPropDefault), 4);
    EXPECT_EQ(count.getInt(kOfxParamPropMin), -2);
    EXPECT_EQ(count.getInt(kOfxParamPropMax), 9);
    EXPECT_EQ(count.getInt(kOfxParamPropDisplayMax), 5);

    EXPECT_EQ(d.param("Mode").getInt(kOfxParamPropDefault), 2);
    EXPECT_EQ(d.param("Mode").getStrings(kOfxParamPropChoiceOption),
              (Strings{"one", "two", "three"}));
    EXPECT_EQ(d.param("Title").getString(kOfxParamPropDefault), "x\"y");
    EXPECT_EQ(d.param("Title").getString(kOfxParamPropStringMode), kOfxParamStringIsSingleLine);
    EXPECT_EQ(d.param("Tint").getDoubles(kOfxParamPropDefault),
              (std::vector<double>{0.25, 0.5, 0.75}));

    // 2D: a unit-square range is a position; the default is always the origin.
    EXPECT_EQ(d.param("Centre").getString(kOfxParamPropDoubleType), kOfxParamDoubleTypeXYAbsolute);
    EXPECT_EQ(d.param("Centre").getString(kOfxParamPropDefaultCoordinateSystem),
              kOfxParamCoordinatesNormalised);
    EXPECT_EQ(d.param("Centre").getDoubles(kOfxParamPropDefault), (std::vector<double>{0, 0}));
    EXPECT_EQ(d.param("Size").getString(kOfxParamPropDoubleType), kOfxParamDoubleTypeNormalisedXY);
    EXPECT_EQ(d.param("Size").getString(kOfxParamPropDefaultCoordinateSystem),
              kOfxParamCoordinatesCanonical); // untouched host default
    EXPECT_EQ(d.param("Spot").getString(kOfxParamPropDoubleType),
              kOfxParamDoubleTypeNormalisedXYAbsolute);

    // Double types: the first matching flag wins, angle before all.
    EXPECT_EQ(d.param("Angle").getString(kOfxParamPropDoubleType), kOfxParamDoubleTypeAngle);
    EXPECT_EQ(d.param("Across").getString(kOfxParamPropDoubleType), kOfxParamDoubleTypeX);
    EXPECT_EQ(d.param("Across").getString(kOfxParamPropDefaultCoordinateSystem),
              kOfxParamCoordinatesCanonical);
    EXPECT_EQ(d.param("When").getString(kOfxParamPropDoubleType), kOfxParamDoubleTypeAbsoluteTime);

    EXPECT_EQ(d.param("Main").getStrings(kOfxParamPropPageChild),
              (Strings{"Count", "Mode", "Title", "Tint", "Centre", "Size", "Spot", "Angle",
                       "Across", "When", "Go"}));
}

TEST(ParamDescription, FlagsBecomeProperties) {
    Described d(kOfxImageEffectContextFilter,
                {makeDoubleParam("All", 0, 0, 0, 1, 0, 1,
                                 kParamDisabled | kParamSecret | kParamNoAnimation | kParamNoUndo |
                                     kParamNoEvaluate | kParamNotPersistent | kParamPluginMayWrite),
                 makeBoolParam("Second", 0, true, kParamPluginMayWrite2),
                 makeBoolParam("None", 0, false)});
    ASSERT_EQ(d.status, kOfxStatOK);
    const auto& all = d.param("All");
    EXPECT_EQ(all.getInt(kOfxParamPropEnabled), 0);
    EXPECT_EQ(all.getInt(kOfxParamPropSecret), 1);
    EXPECT_EQ(all.getInt(kOfxParamPropAnimates), 0);
    EXPECT_EQ(all.getInt(kOfxParamPropCanUndo), 0);
    EXPECT_EQ(all.getInt(kOfxParamPropEvaluateOnChange), 0);
    EXPECT_EQ(all.getInt(kOfxParamPropPersistant), 0);
    EXPECT_EQ(all.getInt(kOfxParamPropPluginMayWrite), 1);
    EXPECT_EQ(d.param("Second").getInt(kOfxParamPropPluginMayWrite), 1);
    EXPECT_EQ(d.param("Second").getInt(kOfxParamPropDefault), 1);
    // Flags that are off leave the host's defaults alone.
    const auto& none = d.param("None");
    EXPECT_EQ(none.getInt(kOfxParamPropEnabled), 1);
    EXPECT_EQ(none.getInt(kOfxParamPropSecret), 0);
    EXPECT_EQ(none.getInt(kOfxParamPropAnimates), 1);
    EXPECT_EQ(none.getInt(kOfxParamPropPluginMayWrite), 0);
}

// The numbers of the type codes and flag bits are stored with every effect's
// definitions: a record made from the bare number is described, and written
// to the text file, as its kind.
struct CodeCase {
    std::uint32_t type;
    const char* ofxType; // null: not described
    bool written;
};

void PrintTo(const CodeCase& c, std::ostream* os) { *os << "type " << c.type; }

class TypeCodes : public ::testing::TestWithParam<CodeCase> {};

TEST_P(TypeCodes, DescribeAndWriteTheirKind) {
    ParameterDef r;
    r.type = GetParam().type;
    r.name = "p";
    Described d(kOfxImageEffectContextFilter, {r});
    ASSERT_EQ(d.status, kOfxStatOK);
    const ofxhost::ParamDescriptor* described = d.descriptor.params().find("p");
    if (GetParam().ofxType == nullptr) {
        EXPECT_EQ(described, nullptr);
    } else {
        ASSERT_NE(described, nullptr);
        EXPECT_EQ(described->type(), GetParam().ofxType);
    }
    EXPECT_EQ(Text::isWritten(r), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, TypeCodes,
    ::testing::Values(
        CodeCase{1, kOfxParamTypeInteger, true}, CodeCase{2, kOfxParamTypeDouble, true},
        CodeCase{3, kOfxParamTypeBoolean, true}, CodeCase{4, kOfxParamTypeString, true},
        CodeCase{5, kOfxParamTypeChoice, true}, CodeCase{6, kOfxParamTypeString, true},
        CodeCase{7, kOfxParamTypeRGB, true}, CodeCase{8, kOfxParamTypeDouble2D, true},
        CodeCase{9, kOfxParamTypeGroup, false}, CodeCase{10, nullptr, false},
        CodeCase{11, nullptr, true}, CodeCase{12, nullptr, false},
        CodeCase{13, kOfxParamTypePushButton, false}, CodeCase{14, nullptr, false}));

struct FlagCase {
    std::uint32_t bit;
    std::uint32_t type;   // of the record that carries it
    const char* property; // what the bit sets on the descriptor
    const char* text;     // the value, for a string property
    int number;           // the value otherwise
    bool written;         // whether the record still goes to the text file
};

void PrintTo(const FlagCase& c, std::ostream* os) { *os << "bit 0x" << std::hex << c.bit; }

class FlagBits : public ::testing::TestWithParam<FlagCase> {};

TEST_P(FlagBits, SetTheirProperty) {
    ParameterDef r;
    r.type = GetParam().type;
    r.name = "p";
    r.flags = GetParam().bit;
    Described d(kOfxImageEffectContextFilter, {r});
    ASSERT_EQ(d.status, kOfxStatOK);
    const ofxhost::PropertySet& props = d.param("p");
    if (GetParam().text != nullptr)
        EXPECT_EQ(props.getString(GetParam().property), GetParam().text);
    else
        EXPECT_EQ(props.getInt(GetParam().property), GetParam().number);
    EXPECT_EQ(Text::isWritten(r), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, FlagBits,
    ::testing::Values(
        FlagCase{0x1, 2, kOfxParamPropDoubleType, kOfxParamDoubleTypeScale, 0, true},
        FlagCase{0x2, 2, kOfxParamPropDoubleType, kOfxParamDoubleTypeAngle, 0, true},
        FlagCase{0x4, 2, kOfxParamPropDoubleType, kOfxParamDoubleTypeX, 0, true},
        FlagCase{0x8, 2, kOfxParamPropDoubleType, kOfxParamDoubleTypeY, 0, true},
        FlagCase{0x10, 2, kOfxParamPropEnabled, nullptr, 0, false},
        FlagCase{0x20, 2, kOfxParamPropSecret, nullptr, 1, true},
        FlagCase{0x40, 2, kOfxParamPropAnimates, nullptr, 0, true},
        FlagCase{0x100, 9, kOfxParamPropGroupOpen, nullptr, 1, false},
        FlagCase{0x400, 3, kOfxParamPropPluginMayWrite, nullptr, 1, true},
        FlagCase{0x1000, 3, kOfxParamPropCanUndo, nullptr, 0, true},
        FlagCase{0x2000, 3, kOfxParamPropEvaluateOnChange, nullptr, 0, true},
        FlagCase{0x4000, 3, kOfxParamPropPersistant, nullptr, 0, true},
        FlagCase{0x10000, 2, kOfxParamPropDoubleType, kOfxParamDoubleTypeTime, 0, true},
        FlagCase{0x20000, 2, kOfxParamPropDoubleType, kOfxParamDoubleTypeAbsoluteTime, 0, true},
        FlagCase{0x40000, 3, kOfxParamPropPluginMayWrite, nullptr, 1, true}));

const VX::Host::OFX::ParamIdEntry kTable[] = {
    {kA, nullptr, nullptr, nullptr, "first hint"}, // only the first entry speaks for the hint
    {kA, "alpha", "Alpha", "Alpha on a page", "ignored hint"},
    {kB, "beta", nullptr, nullptr, nullptr},
    {kB, nullptr, "Beta", nullptr, "late hint"},
    {0, nullptr, nullptr, nullptr, nullptr},
};

struct NamingCase {
    bool pages;
    const char* labelA;
};

class ParamNaming : public ::testing::TestWithParam<NamingCase> {};

TEST_P(ParamNaming, IdentifierLabelAndHintFromTheTable) {
    Described d(kOfxImageEffectContextFilter,
                {makeBoolParam("A record", kA, false), makeBoolParam("B record", kB, false),
                 makeBoolParam("Plain", 0, false)},
                kTable, GetParam().pages);
    ASSERT_EQ(d.status, kOfxStatOK);
    EXPECT_EQ(d.paramNames(), (Strings{"alpha", "beta", "Plain", "Main"}));
    EXPECT_EQ(d.param("alpha").getString(kOfxParamPropScriptName), "alpha");
    EXPECT_EQ(d.param("alpha").getString(kOfxPropLabel), GetParam().labelA);
    EXPECT_EQ(d.param("alpha").getString(kOfxParamPropHint), "first hint");
    EXPECT_EQ(d.param("beta").getString(kOfxPropLabel), "Beta");
    EXPECT_EQ(d.param("beta").getString(kOfxParamPropHint), ""); // first entry had none
    EXPECT_EQ(d.param("Plain").getString(kOfxPropLabel), "Plain");
}

INSTANTIATE_TEST_SUITE_P(Hosts, ParamNaming,
                         ::testing::Values(NamingCase{false, "Alpha"},
                                           NamingCase{true, "Alpha on a page"}));

TEST(ParamGroups, NestedGroupsParentTheirMembers) {
    Described d(kOfxImageEffectContextFilter,
                {makeGroupStart("Outer", 0, kParamGroupOpen), makeBoolParam("a", 0, false),
                 makeGroupStart("Inner", 0), makeBoolParam("b", 0, false), makeGroupEnd(),
                 makeBoolParam("c", 0, false), makeGroupEnd(), makeGroupEnd(),
                 makeBoolParam("d", 0, false)});
    ASSERT_EQ(d.status, kOfxStatOK);
    EXPECT_EQ(d.param("Outer").getInt(kOfxParamPropGroupOpen), 1);
    EXPECT_EQ(d.param("Inner").getInt(kOfxParamPropGroupOpen), 0);
    EXPECT_EQ(d.param("Outer").getString(kOfxParamPropParent), "");
    EXPECT_EQ(d.param("Inner").getString(kOfxParamPropParent), "Outer");
    EXPECT_EQ(d.param("a").getString(kOfxParamPropParent), "Outer");
    EXPECT_EQ(d.param("b").getString(kOfxParamPropParent), "Inner");
    EXPECT_EQ(d.param("c").getString(kOfxParamPropParent), "Outer");
    EXPECT_EQ(d.param("d").getString(kOfxParamPropParent), "");
    // Groups are not page children.
    EXPECT_EQ(d.param("Main").getStrings(kOfxParamPropPageChild), (Strings{"a", "b", "c", "d"}));
}

TEST(ParamGroups, HostsWithPagesGetNoGroups) {
    Described d(kOfxImageEffectContextFilter,
                {makeGroupStart("Outer", 0), makeBoolParam("a", 0, false), makeGroupEnd()}, nullptr,
                true);
    ASSERT_EQ(d.status, kOfxStatOK);
    EXPECT_EQ(d.paramNames(), (Strings{"a", "Main"}));
    EXPECT_EQ(d.param("a").getString(kOfxParamPropParent), "");
}

TEST(ParamLayers, GeneralContextGivesEachLayerAnOptionalClip) {
    const VX::Host::OFX::ParamIdEntry table[] = {{kB, "matteB", "Matte B", nullptr, nullptr},
                                                 {0, nullptr, nullptr, nullptr, nullptr}};
    const std::vector<ParameterDef> records = {
        makeLayerParam("Matte A", 0), makeBoolParam("x", 0, false), makeLayerParam("Matte B", kB)};
    Described general(kOfxImageEffectContextGeneral, records, table, false, {},
                      [](RecordsEffect& e) { e.temporal = true; });
    ASSERT_EQ(general.status, kOfxStatOK);
    const auto& clips = general.descriptor.clips();
    ASSERT_EQ(clips.size(), 4u);
    EXPECT_EQ(clips[2]->name(), "Matte A");
    EXPECT_EQ(clips[3]->name(), "matteB");
    EXPECT_EQ(clips[3]->properties().getString(kOfxPropLabel), "Matte B");
    for (std::size_t i = 1; i < 4; ++i)
        EXPECT_EQ(clips[i]->properties().getInt(kOfxImageEffectPropTemporalClipAccess), 1);
    for (std::size_t i = 2; i < 4; ++i) {
        EXPECT_EQ(clips[i]->properties().getInt(kOfxImageClipPropOptional), 1);
        EXPECT_EQ(clips[i]->properties().getStrings(kOfxImageEffectPropSupportedComponents),
                  Strings{kOfxImageComponentRGBA});
    }

    Described filter(kOfxImageEffectContextFilter, records, table);
    ASSERT_EQ(filter.status, kOfxStatOK);
    EXPECT_EQ(filter.descriptor.clips().size(), 2u);
}

TEST(ParamClips, AlphaOfferedWhenTheEffectTakesIt) {
    Described d(kOfxImageEffectContextFilter, {}, nullptr, false, {},
                [](RecordsEffect& e) { e.alphaOut = true; });
    ASSERT_EQ(d.status, kOfxStatOK);
    for (const auto& clip : d.descriptor.clips())
        EXPECT_EQ(clip->properties().getStrings(kOfxImageEffectPropSupportedComponents),
                  (Strings{kOfxImageComponentRGBA, kOfxImageComponentAlpha}))
            << clip->name();
}

// Property failures end the action only while the description takes shape.
struct StrictCase {
    const char* call;
    std::vector<ParameterDef> records;
    OfxStatus expected;
};

void PrintTo(const StrictCase& c, std::ostream* os) {
    *os << c.call << " with " << c.records.size() << " records";
}

class ParamStrictness : public ::testing::TestWithParam<StrictCase> {};

TEST_P(ParamStrictness, FailuresBeforeTheFirstParameterEndTheAction) {
    ofxhost::HostConfig config;
    config.failCall(GetParam().call, kOfxStatErrValue);
    Described d(kOfxImageEffectContextFilter, GetParam().records, nullptr, false, config);
    EXPECT_EQ(d.status, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, ParamStrictness,
    ::testing::Values(
        // The clips' components are set while strict.
        StrictCase{"OfxPropertySuite.propSetString", {}, kOfxStatErrValue},
        // The first parameter's own type properties are strict...
        StrictCase{"OfxPropertySuite.propSetDouble",
                   {makeDoubleParam("d", 0, 0, 0, 1, 0, 1)},
                   kOfxStatErrValue},
        // ...up to a default coordinate system, which relaxes the rule.
        StrictCase{"OfxPropertySuite.propSetDouble",
                   {makeDoubleParam("d", 0, 0, 0, 1, 0, 1, kParamX)},
                   kOfxStatOK},
        // Common properties and everything after the first parameter are not.
        StrictCase{"OfxPropertySuite.propSetStringN", {makeBoolParam("b", 0, false)}, kOfxStatOK},
        // With no parameter at all the page's children are still strict.
        StrictCase{"OfxPropertySuite.propSetStringN", {}, kOfxStatErrValue},
        // A parameter the host will not define ends the action, strict or not.
        StrictCase{
            "OfxParameterSuite.paramDefine", {makeBoolParam("b", 0, false)}, kOfxStatErrValue}));

// --- instance changed -----------------------------------------------------------

struct ChangeCase {
    const char* reason;
    const char* type;
    const char* name;
    OfxStatus status;
    bool handled;
};

void PrintTo(const ChangeCase& c, std::ostream* os) {
    *os << c.reason << " " << c.type << " " << c.name;
}

class ChangeEffect : public RecordsEffect {
public:
    int changedIndex = -1;
    void parametersChanged(VX::Host::OFX::Parameters& /*set*/, int index) override {
        changedIndex = index;
    }
};

class InstanceChanged : public ::testing::TestWithParam<ChangeCase> {};

TEST_P(InstanceChanged, ReachesTheEffectOnlyForItsOwnWritableParameters) {
    ofxhost::Host host;
    ofxhost::EffectDescriptor instance(host, kOfxImageEffectContextFilter);
    ofxhost::PropertySet in;
    in.setString(kOfxPropChangeReason, GetParam().reason);
    in.setString(kOfxPropType, GetParam().type);
    in.setString(kOfxPropName, GetParam().name);
    const VX::Host::OFX::ParamIdEntry table[] = {{kA, "writable", nullptr, nullptr, nullptr},
                                                 {0, nullptr, nullptr, nullptr, nullptr}};
    ChangeEffect effect;
    effect.records = {makeBoolParam("plain", 0, false),
                      makeBoolParam("Writable", kA, false, kParamPluginMayWrite),
                      makeBoolParam("second", 0, false, kParamPluginMayWrite2),
                      makeLayerParam("matte", 0)};
    effect.records[3].flags = kParamPluginMayWrite;
    effect.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
    effect.setParamIdTable(table);
    EXPECT_EQ(VX::Host::OFX::dispatch(effect, kOfxActionInstanceChanged), GetParam().status);
    EXPECT_EQ(effect.changedIndex >= 0, GetParam().handled);
}

INSTANTIATE_TEST_SUITE_P(
    Gates, InstanceChanged,
    ::testing::Values(ChangeCase{kOfxChangeUserEdited, kOfxTypeParameter, "writable", 0, true},
                      // a layer's clip carries its record's name
                      ChangeCase{kOfxChangeUserEdited, kOfxTypeClip, "matte", 0, true},
                      ChangeCase{kOfxChangePluginEdited, kOfxTypeParameter, "writable", 14, false},
                      ChangeCase{kOfxChangeTime, kOfxTypeParameter, "writable", 14, false},
                      ChangeCase{kOfxChangeUserEdited, kOfxTypeImageEffectInstance, "writable", 14,
                                 false},
                      ChangeCase{kOfxChangeUserEdited, kOfxTypeParameter, "plain", 14, false},
                      // the second may-write bit is for the host's eyes only
                      ChangeCase{kOfxChangeUserEdited, kOfxTypeParameter, "second", 14, false},
                      // the record's own name is not what the host calls it
                      ChangeCase{kOfxChangeUserEdited, kOfxTypeParameter, "Writable", 14, false},
                      ChangeCase{kOfxChangeUserEdited, kOfxTypeParameter, "nobody", 14, false}));

TEST(InstanceChangedArguments, MissingReasonIsTheSuitesStatus) {
    ofxhost::Host host;
    ofxhost::EffectDescriptor instance(host, kOfxImageEffectContextFilter);
    ofxhost::PropertySet in;
    ChangeEffect effect;
    effect.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
    EXPECT_EQ(VX::Host::OFX::dispatch(effect, kOfxActionInstanceChanged), kOfxStatErrUnknown);
}

} // namespace
