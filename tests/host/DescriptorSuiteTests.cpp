// Image effect and parameter suite calls on descriptors, as a plug-in makes
// them while describing itself.

#include "Host.h"
#include "PropertySchema.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using ofxhost::EffectDescriptor;
using ofxhost::Host;

const OfxImageEffectSuiteV1& effects() { return *Host::suites().imageEffect; }
const OfxParameterSuiteV1& params() { return *Host::suites().parameter; }
const OfxPropertySuiteV1& props() { return *Host::suites().property; }

TEST(ImageEffectSuite, ClipsAreDefinedOnlyInAContextAndOnce) {
    Host host;
    EffectDescriptor general(host);
    EffectDescriptor filter(host, kOfxImageEffectContextFilter);
    OfxPropertySetHandle clipProps = nullptr;
    EXPECT_EQ(effects().clipDefine(general.handle(), "Source", &clipProps), kOfxStatErrUnsupported);
    ASSERT_EQ(effects().clipDefine(filter.handle(), "Source", &clipProps), kOfxStatOK);
    EXPECT_EQ(effects().clipDefine(filter.handle(), "Source", &clipProps), kOfxStatErrExists);
    EXPECT_EQ(effects().clipDefine(filter.handle(), "", &clipProps), kOfxStatErrValue);
    EXPECT_EQ(effects().clipDefine(nullptr, "Output", &clipProps), kOfxStatErrBadHandle);

    // The clip's set has the clip descriptor schema, with its name filled in.
    char* name = nullptr;
    ASSERT_EQ(props().propGetString(clipProps, kOfxPropName, 0, &name), kOfxStatOK);
    EXPECT_STREQ(name, "Source");
    EXPECT_EQ(props().propSetInt(clipProps, kOfxImageClipPropOptional, 0, 1), kOfxStatOK);
    EXPECT_EQ(props().propSetInt(clipProps, kOfxImageEffectPropRenderScale, 0, 1),
              kOfxStatErrUnknown);

    OfxImageClipHandle clip = nullptr;
    OfxPropertySetHandle again = nullptr;
    ASSERT_EQ(effects().clipGetHandle(filter.handle(), "Source", &clip, &again), kOfxStatOK);
    EXPECT_EQ(again, clipProps);
    OfxPropertySetHandle viaClip = nullptr;
    EXPECT_EQ(effects().clipGetPropertySet(clip, &viaClip), kOfxStatOK);
    EXPECT_EQ(viaClip, clipProps);
    EXPECT_EQ(effects().clipGetHandle(filter.handle(), "Nope", &clip, nullptr), kOfxStatErrUnknown);
    EXPECT_EQ(filter.clips().size(), 1u);
    EXPECT_EQ(filter.clip("Source")->properties().getInt(kOfxImageClipPropOptional), 1);
}

TEST(ImageEffectSuite, HandlesOfTheWrongKindAreBadHandles) {
    Host host;
    EffectDescriptor filter(host, kOfxImageEffectContextFilter);
    OfxPropertySetHandle p = nullptr;
    OfxParamSetHandle ps = nullptr;
    // An effect's property set is not an effect, and a clip is not a clip's
    // property set.
    auto* notAnEffect = reinterpret_cast<OfxImageEffectHandle>(filter.properties().handle());
    EXPECT_EQ(effects().getPropertySet(notAnEffect, &p), kOfxStatErrBadHandle);
    EXPECT_EQ(effects().getParamSet(notAnEffect, &ps), kOfxStatErrBadHandle);
    EXPECT_EQ(
        effects().clipGetPropertySet(reinterpret_cast<OfxImageClipHandle>(filter.handle()), &p),
        kOfxStatErrBadHandle);
    EXPECT_EQ(effects().clipGetImage(nullptr, 0.0, nullptr, &p), kOfxStatErrBadHandle);
    EXPECT_EQ(params().paramGetPropertySet(reinterpret_cast<OfxParamHandle>(filter.handle()), &p),
              kOfxStatErrBadHandle);
    EXPECT_EQ(params().paramDefine(nullptr, kOfxParamTypeDouble, "x", &p), kOfxStatErrBadHandle);
    EXPECT_EQ(effects().abort(filter.handle()), 0);
}

TEST(ImageEffectSuite, GetPropertySetAndParamSetGiveTheDescriptorsOwn) {
    Host host;
    EffectDescriptor d(host);
    OfxPropertySetHandle p = nullptr;
    ASSERT_EQ(effects().getPropertySet(d.handle(), &p), kOfxStatOK);
    EXPECT_EQ(p, d.properties().handle());
    char* type = nullptr;
    ASSERT_EQ(props().propGetString(p, kOfxPropType, 0, &type), kOfxStatOK);
    EXPECT_STREQ(type, kOfxTypeImageEffect);
    OfxParamSetHandle ps = nullptr;
    ASSERT_EQ(effects().getParamSet(d.handle(), &ps), kOfxStatOK);
    EXPECT_EQ(ps, d.params().handle());
    OfxPropertySetHandle psProps = nullptr;
    EXPECT_EQ(params().paramSetGetPropertySet(ps, &psProps), kOfxStatOK);
    EXPECT_EQ(props().propSetString(psProps, kOfxPluginPropParamPageOrder, 0, "Main"), kOfxStatOK);
}

// The default value of each parameter type has that type's value type and
// dimension.
struct ParamTypeCase {
    const char* type;
    ofxhost::PropType defaultType;
    int defaultDimension;
};

class ParamDefine : public ::testing::TestWithParam<ParamTypeCase> {};

TEST_P(ParamDefine, DefinesADescriptorWithTheSchemaOfItsType) {
    const ParamTypeCase& c = GetParam();
    Host host;
    EffectDescriptor d(host, kOfxImageEffectContextGeneral);
    OfxPropertySetHandle p = nullptr;
    ASSERT_EQ(params().paramDefine(d.params().handle(), c.type, "param", &p), kOfxStatOK);
    ofxhost::ParamDescriptor* param = d.params().find("param");
    ASSERT_NE(param, nullptr);
    EXPECT_EQ(param->properties().getString(kOfxParamPropType), c.type);
    EXPECT_EQ(param->properties().getString(kOfxPropName), "param");
    if (c.defaultDimension == 0) {
        EXPECT_FALSE(param->properties().has(kOfxParamPropDefault));
    } else {
        EXPECT_EQ(param->properties().type(kOfxParamPropDefault), c.defaultType);
        EXPECT_EQ(param->properties().dimension(kOfxParamPropDefault), c.defaultDimension);
    }
    EXPECT_EQ(props().propSetString(p, kOfxParamPropHint, 0, "a hint"), kOfxStatOK);
    EXPECT_EQ(props().propSetString(p, "OfxParamPropNotAThing", 0, "x"), kOfxStatErrUnknown);
    EXPECT_EQ(params().paramDefine(d.params().handle(), c.type, "param", &p), kOfxStatErrExists);

    OfxParamHandle h = nullptr;
    OfxPropertySetHandle again = nullptr;
    ASSERT_EQ(params().paramGetHandle(d.params().handle(), "param", &h, &again), kOfxStatOK);
    EXPECT_EQ(again, param->properties().handle());
    EXPECT_EQ(params().paramGetValue(h), kOfxStatErrUnsupported);
}

INSTANTIATE_TEST_SUITE_P(
    Types, ParamDefine,
    ::testing::Values(ParamTypeCase{kOfxParamTypeInteger, ofxhost::PropType::Int, 1},
                      ParamTypeCase{kOfxParamTypeDouble, ofxhost::PropType::Double, 1},
                      ParamTypeCase{kOfxParamTypeBoolean, ofxhost::PropType::Int, 1},
                      ParamTypeCase{kOfxParamTypeChoice, ofxhost::PropType::Int, 1},
                      ParamTypeCase{kOfxParamTypeRGBA, ofxhost::PropType::Double, 4},
                      ParamTypeCase{kOfxParamTypeRGB, ofxhost::PropType::Double, 3},
                      ParamTypeCase{kOfxParamTypeDouble2D, ofxhost::PropType::Double, 2},
                      ParamTypeCase{kOfxParamTypeInteger3D, ofxhost::PropType::Int, 3},
                      ParamTypeCase{kOfxParamTypeString, ofxhost::PropType::String, 1},
                      ParamTypeCase{kOfxParamTypeCustom, ofxhost::PropType::String, 1},
                      ParamTypeCase{kOfxParamTypeGroup, ofxhost::PropType::Int, 0},
                      ParamTypeCase{kOfxParamTypePage, ofxhost::PropType::Int, 0},
                      ParamTypeCase{kOfxParamTypePushButton, ofxhost::PropType::Int, 0}));

TEST(ParamDefineErrors, UnknownTypeAndBadNames) {
    Host host;
    EffectDescriptor d(host);
    OfxPropertySetHandle p = nullptr;
    EXPECT_EQ(params().paramDefine(d.params().handle(), "OfxParamTypeNoSuch", "x", &p),
              kOfxStatErrUnknown);
    EXPECT_EQ(params().paramDefine(d.params().handle(), nullptr, "x", &p), kOfxStatErrUnknown);
    EXPECT_EQ(params().paramDefine(d.params().handle(), kOfxParamTypeDouble, nullptr, &p),
              kOfxStatErrValue);
    OfxParamHandle h = nullptr;
    EXPECT_EQ(params().paramGetHandle(d.params().handle(), "x", &h, nullptr), kOfxStatErrUnknown);
    EXPECT_TRUE(d.params().params().empty());
}

TEST(ParamDefineErrors, ChoiceOptionsAppendOneByOne) {
    Host host;
    EffectDescriptor d(host);
    OfxPropertySetHandle p = nullptr;
    ASSERT_EQ(params().paramDefine(d.params().handle(), kOfxParamTypeChoice, "mode", &p),
              kOfxStatOK);
    EXPECT_EQ(props().propSetString(p, kOfxParamPropChoiceOption, 0, "Soft"), kOfxStatOK);
    EXPECT_EQ(props().propSetString(p, kOfxParamPropChoiceOption, 1, "Hard"), kOfxStatOK);
    EXPECT_EQ(props().propSetString(p, kOfxParamPropChoiceOption, 3, "Gap"), kOfxStatErrBadIndex);
    EXPECT_EQ(d.params().find("mode")->properties().getStrings(kOfxParamPropChoiceOption),
              (std::vector<std::string>{"Soft", "Hard"}));
}

} // namespace
