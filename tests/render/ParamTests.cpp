#include "Error.h"
#include "Params.h"

#include "ofx/ofxParam.h"

#include <gtest/gtest.h>

using namespace ofxrender;

namespace {

std::vector<ParamInfo> params() {
    ParamInfo time;
    time.name = "quirkTime";
    time.label = "Quirk Time";
    time.type = kOfxParamTypeDouble;
    time.dimension = 1;
    time.defaults = {3};
    time.min = {1};
    time.max = {100};
    time.animates = false; // as the effect's "Quirk Time"
    ParamInfo random;
    random.name = "randomQuirk";
    random.label = "Random Quirk";
    random.type = kOfxParamTypeDouble;
    random.dimension = 1;
    random.min = {0};
    random.max = {100};
    ParamInfo on;
    on.name = "unmasked";
    on.type = kOfxParamTypeBoolean;
    on.dimension = 1;
    on.integer = true;
    ParamInfo count;
    count.name = "count";
    count.type = kOfxParamTypeInteger;
    count.dimension = 1;
    count.integer = true;
    count.min = {-2};
    count.max = {5};
    ParamInfo mode;
    mode.name = "mode";
    mode.type = kOfxParamTypeChoice;
    mode.dimension = 1;
    mode.integer = true;
    mode.options = {"Soft", "Hard"};
    ParamInfo centre;
    centre.name = "centre";
    centre.type = kOfxParamTypeDouble2D;
    centre.dimension = 2;
    centre.min = {0, 0};
    centre.max = {1, 1};
    ParamInfo title;
    title.name = "title";
    title.type = kOfxParamTypeString;
    title.dimension = 1;
    ParamInfo page;
    page.name = "Main";
    page.type = kOfxParamTypePage;
    return {time, random, on, count, mode, centre, title, page};
}

} // namespace

struct GoodCase {
    const char* assignment;
    const char* name;
    std::vector<double> numbers;
    const char* text;
};

class GoodSettingTest : public ::testing::TestWithParam<GoodCase> {};

TEST_P(GoodSettingTest, Parses) {
    const GoodCase& c = GetParam();
    const ParamSetting s = parseSetting(c.assignment, params());
    EXPECT_EQ(s.name, c.name);
    EXPECT_EQ(s.value.numbers, c.numbers);
    EXPECT_EQ(s.value.text, c.text);
}

INSTANTIATE_TEST_SUITE_P(Table, GoodSettingTest,
                         ::testing::Values(GoodCase{"quirkTime=5", "quirkTime", {5.0}, ""},
                                           GoodCase{"quirkTime=1", "quirkTime", {1.0}, ""},
                                           GoodCase{"quirkTime=100", "quirkTime", {100.0}, ""},
                                           GoodCase{"quirkTime=2.5", "quirkTime", {2.5}, ""},
                                           GoodCase{"unmasked=true", "unmasked", {1.0}, ""},
                                           GoodCase{"unmasked=FALSE", "unmasked", {0.0}, ""},
                                           GoodCase{"unmasked=1", "unmasked", {1.0}, ""},
                                           GoodCase{"unmasked=0", "unmasked", {0.0}, ""},
                                           GoodCase{"count=-2", "count", {-2.0}, ""},
                                           GoodCase{"mode=hard", "mode", {1.0}, ""},
                                           GoodCase{"mode=0", "mode", {0.0}, ""},
                                           GoodCase{"centre=0.25,0.75", "centre", {0.25, 0.75}, ""},
                                           GoodCase{"title=a=b, c", "title", {}, "a=b, c"}));

struct BadCase {
    const char* assignment;
    const char* mustSay; // the message names the parameter and what it takes
};

class BadSettingTest : public ::testing::TestWithParam<BadCase> {};

TEST_P(BadSettingTest, IsAOneLineErrorNamingTheParameter) {
    const BadCase& c = GetParam();
    try {
        parseSetting(c.assignment, params());
        FAIL() << c.assignment << " was accepted";
    } catch (const RenderError& e) {
        const std::string m = e.what();
        EXPECT_EQ(e.code(), ExitCode::Usage);
        EXPECT_NE(m.find(c.mustSay), std::string::npos) << m;
        EXPECT_EQ(m.find('\n'), std::string::npos) << m;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadSettingTest,
    ::testing::Values(
        BadCase{"quirkTime=500", "quirkTime (Double) takes a number from 1 to 100"},
        BadCase{"quirkTime=0.5", "0.5 is out of range"},
        BadCase{"quirkTime=fast", "'fast' is not a number"},
        BadCase{"quirkTime=", "'' is not a number"}, BadCase{"quirkTime=nan", "is not a number"},
        BadCase{"quirkTime=1,2", "expected 1 value, got 2"},
        BadCase{"unmasked=maybe", "unmasked (Boolean) takes true/false (or 1/0)"},
        BadCase{"unmasked=2", "'2' is not a boolean"},
        BadCase{"count=1.5", "count (Integer) takes a whole number from -2 to 5"},
        BadCase{"count=6", "6 is out of range"},
        BadCase{"mode=medium", "one of 'Soft', 'Hard' (or its index 0..1)"},
        BadCase{"mode=2", "'2' is not an option"},
        BadCase{"centre=0.5", "expected 2 values, got 1"},
        BadCase{"centre=0.5,2", "2 is out of range"}, BadCase{"Main=1", "has no value"},
        BadCase{"speed=3",
                "unknown parameter 'speed' (known: quirkTime, randomQuirk, unmasked, count"},
        BadCase{"quirkTime", "expected name=value"}, BadCase{"=3", "expected name=value"}));

struct KeyedCase {
    const char* assignment;
    std::vector<std::pair<double, std::vector<double>>> keys; // time order
};

class KeyedSettingTest : public ::testing::TestWithParam<KeyedCase> {};

TEST_P(KeyedSettingTest, ParsesKeysInTimeOrder) {
    const KeyedCase& c = GetParam();
    const ParamSetting s = parseSetting(c.assignment, params());
    ASSERT_EQ(s.keys.size(), c.keys.size()) << c.assignment;
    for (std::size_t i = 0; i < c.keys.size(); ++i) {
        EXPECT_EQ(s.keys[i].time, c.keys[i].first) << c.assignment << " key " << i;
        EXPECT_EQ(s.keys[i].value.numbers, c.keys[i].second) << c.assignment << " key " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, KeyedSettingTest,
    ::testing::Values(KeyedCase{"randomQuirk=0@1,100@48", {{1, {0}}, {48, {100}}}},
                      KeyedCase{"randomQuirk=100@48, 0@1", {{1, {0}}, {48, {100}}}},
                      KeyedCase{"randomQuirk=20@-2.5", {{-2.5, {20}}}},
                      KeyedCase{"centre=0,0.5@1,1,0.25@10", {{1, {0, 0.5}}, {10, {1, 0.25}}}},
                      KeyedCase{"unmasked=false@1,true@10", {{1, {0}}, {10, {1}}}},
                      KeyedCase{"mode=hard@0,soft@5", {{0, {1}}, {5, {0}}}},
                      KeyedCase{"count=-2@3,5@4", {{3, {-2}}, {4, {5}}}}));

TEST(KeyedSettingTest, TextKeepsItsAtSigns) {
    const ParamSetting s = parseSetting("title=me@home,5@6", params());
    EXPECT_TRUE(s.keys.empty());
    EXPECT_EQ(s.value.text, "me@home,5@6");
}

INSTANTIATE_TEST_SUITE_P(
    Keys, BadSettingTest,
    ::testing::Values(
        BadCase{"quirkTime=1@1,5@10",
                "quirkTime (\"Quirk Time\") cannot be animated: the effect holds one value"},
        BadCase{"quirkTime=5@1", "give it one value, e.g. quirkTime=3"},
        BadCase{"randomQuirk=0@1,100", "'100' has no @frame; keys are value@frame"},
        BadCase{"randomQuirk=0@x", "'x' is not a frame"},
        BadCase{"randomQuirk=0@", "'' is not a frame"},
        BadCase{"randomQuirk=0@1,5@1.0", "two keys at frame 1.0"},
        BadCase{"randomQuirk=0@1,500@2", "500 is out of range"},
        BadCase{"randomQuirk=@1", "'' is not a number"},
        BadCase{"centre=0@1", "expected 2 values, got 1"},
        BadCase{"unmasked=yes@1", "'yes' is not a boolean"}));
