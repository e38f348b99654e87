#include "host/param/Parameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace VX::Host::Param;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Records which hooks ran, in order, and the first number the record held
// at the time.
class RecordingParameters : public Parameters {
public:
    void parameterChanged(int index) override {
        changed.push_back(index);
        seen.push_back(record(index).value.numbers[0]);
    }
    void refreshParameter(int index) override { refreshed.push_back(index); }
    std::vector<int> changed;
    std::vector<double> seen;
    std::vector<int> refreshed;
};

// A host whose 2D values are measured in a frame that is not 1 by 1.
class ScaledParameters : public Parameters {
public:
    ScaledParameters(float sx, float sy) : sx_(sx), sy_(sy) {}
    void getSizeScale(float& x, float& y) const override {
        x = sx_;
        y = sy_;
    }

private:
    float sx_;
    float sy_;
};

TEST(ParamValueTest, IntegerAndBooleanLiveAtTheStartOfTheFirstNumber) {
    ParamValue v;
    v.numbers[1] = 7.5;
    v.setInt(-123456);
    std::int32_t raw = 0;
    std::memcpy(&raw, &v.numbers[0], sizeof raw);
    EXPECT_EQ(raw, -123456);
    EXPECT_EQ(v.numbers[1], 7.5);

    v.setBool(true);
    unsigned char byte = 0;
    std::memcpy(&byte, &v.numbers[0], 1);
    EXPECT_EQ(byte, 1);
    byte = 0x80; // any non-zero byte, as a host may have left it, is true
    std::memcpy(&v.numbers[0], &byte, 1);
    EXPECT_TRUE(v.asBool());
}

TEST(ParamMakersTest, RecordsCarryWhatTheEffectGives) {
    const ParameterDef d = makeDoubleParam("Quirk Time", paramCode('S', 'Q', 't', 'i'), 3.0, 1.0,
                                           100.0, 2.0, 50.0, kParamNoAnimation);
    EXPECT_EQ(d.code, 0x53517469u);
    EXPECT_EQ(d.value.asDouble(), 3.0);
    EXPECT_EQ(d.defaultValue.asDouble(), 3.0);
    EXPECT_EQ(d.min.asDouble(), 1.0);
    EXPECT_EQ(d.max.asDouble(), 100.0);
    EXPECT_EQ(d.displayMin.asDouble(), 2.0);
    EXPECT_EQ(d.displayMax.asDouble(), 50.0);
    EXPECT_EQ(d.unitScale, 1.0);

    const ParameterDef choice = makeChoiceParam("Mode", 0, {"a", "b", "c"}, 1);
    EXPECT_EQ(choice.min.asInt(), 0);
    EXPECT_EQ(choice.max.asInt(), 2);
    const ParameterDef flag = makeBoolParam("On", 0, true);
    EXPECT_TRUE(flag.value.asBool());
    EXPECT_TRUE(flag.max.asBool());
}

// Integer record range 1..3, double record range 1..100.
struct ClampCase {
    const char* label;
    bool integer;
    bool timed;
    double input;
    double expected;
};
void PrintTo(const ClampCase& c, std::ostream* os) { *os << c.label; }

class ClampTest : public ::testing::TestWithParam<ClampCase> {};

TEST_P(ClampTest, OnlyTimeLessSettersClamp) {
    const ClampCase& c = GetParam();
    Parameters set;
    const int i = set.append(makeIntParam("i", 0, 2, 1, 3, 1, 3));
    const int d = set.append(makeDoubleParam("d", 0, 50.0, 1.0, 100.0, 1.0, 100.0));
    double got = 0.0;
    if (c.integer) {
        const auto value = static_cast<std::int32_t>(c.input);
        if (c.timed) {
            set.setInt(value, i, 12.0);
        } else {
            set.setInt(value, i);
        }
        got = set.getInt(i, 12.0);
    } else {
        if (c.timed) {
            set.setDouble(c.input, d, 12.0);
        } else {
            set.setDouble(c.input, d);
        }
        got = set.getDouble(d, 12.0);
    }
    if (std::isnan(c.expected)) {
        EXPECT_TRUE(std::isnan(got));
    } else {
        EXPECT_EQ(got, c.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Setters, ClampTest,
    ::testing::Values(ClampCase{"IntAboveMax", true, false, 5, 3},
                      ClampCase{"IntBelowMin", true, false, 0, 1},
                      ClampCase{"IntInside", true, false, 2, 2},
                      ClampCase{"IntTimedBelow", true, true, 0, 0},
                      ClampCase{"IntTimedAbove", true, true, 5, 5},
                      ClampCase{"DoubleBelowMin", false, false, 0.5, 1.0},
                      ClampCase{"DoubleAboveMax", false, false, 150.0, 100.0},
                      ClampCase{"DoubleInside", false, false, 42.25, 42.25},
                      ClampCase{"DoubleNaNPasses", false, false, kNaN, kNaN},
                      ClampCase{"DoubleMinusInf", false, false, -kInf, 1.0},
                      ClampCase{"DoubleTimedBelow", false, true, 0.5, 0.5},
                      ClampCase{"DoubleTimedAbove", false, true, 150.0, 150.0}),
    [](const ::testing::TestParamInfo<ClampCase>& p) { return p.param.label; });

TEST(ParametersTest, ColourStoresOutOfRangeValuesUnchecked) {
    Parameters set;
    const int rgb = set.append(makeRGBParam("c", 0, {0.5, 0.5, 0.5}));
    set.setRGB({2.0, -1.0, 7.0}, rgb);
    EXPECT_EQ(set.getRGB(rgb).r, 2.0);
    EXPECT_EQ(set.getRGB(rgb).g, -1.0);
    EXPECT_EQ(set.getRGB(rgb, 4.0).b, 7.0);
}

TEST(ParametersTest, TwoDValuesAreHeldInUnitsOfTheSizeScale) {
    ScaledParameters set(2.0f, 0.5f);
    const int scaled = set.append(make2DParam("p", 0, {0, 0}, {0, 0}, {1, 1}));
    const int plain = set.append(make2DParam("q", 0, {0, 0}, {0, 0}, {1, 1}, kParamScale));

    set.set2D({3.0, 4.0}, scaled);
    EXPECT_EQ(set.record(scaled).value.numbers[0], 1.5);
    EXPECT_EQ(set.record(scaled).value.numbers[1], 8.0);
    EXPECT_EQ(set.get2D(scaled).x, 3.0);
    EXPECT_EQ(set.get2D(scaled, 5.0).y, 4.0);
    set.set2D({6.0, 2.0}, scaled, 5.0);
    EXPECT_EQ(set.record(scaled).value.numbers[0], 3.0);
    EXPECT_EQ(set.record(scaled).value.numbers[1], 4.0);

    set.set2D({3.0, 4.0}, plain);
    EXPECT_EQ(set.record(plain).value.numbers[0], 3.0);
    EXPECT_EQ(set.get2D(plain).y, 4.0);
}

TEST(ParametersTest, SizeScaleIsSinglePrecisionAndOneByOneInTheBase) {
    ScaledParameters scaled(0.1f, 1.0f);
    const int p = scaled.append(make2DParam("p", 0, {1.0, 1.0}, {0, 0}, {1, 1}));
    EXPECT_EQ(scaled.get2D(p).x, static_cast<double>(0.1f));

    Parameters base;
    const int q = base.append(make2DParam("q", 0, {0.3, 0.7}, {0, 0}, {1, 1}));
    EXPECT_EQ(base.get2D(q).x, 0.3);
    EXPECT_EQ(base.get2D(q).y, 0.7);
}

class FindLayerTest : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(FindLayerTest, CountsLayerRecordsFromOne) {
    Parameters set;
    set.append(makeDoubleParam("d", 0, 0, 0, 1, 0, 1));
    set.append(makeLayerParam("first", 0));
    set.append(makeIntParam("i", 0, 0, 0, 1, 0, 1));
    set.append(makeLayerParam("second", 0));
    const auto [n, expected] = GetParam();
    if (expected >= 0) {
        EXPECT_EQ(set.findLayer(n), expected);
        return;
    }
    try {
        set.findLayer(n);
        FAIL() << "no exception for layer " << n;
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Invalid layer");
    }
}

// (n, index), index -1 where the lookup must throw.
INSTANTIATE_TEST_SUITE_P(Layers, FindLayerTest,
                         ::testing::Values(std::pair{1, 1}, std::pair{2, 3}, std::pair{3, -1},
                                           std::pair{0, -1}, std::pair{-1, -1}));

TEST(ParametersTest, ResetRestoresEveryPartAndNotifiesEachIndexInOrder) {
    RecordingParameters set;
    set.append(makeDoubleParam("d", 0, 3.0, 1.0, 100.0, 1.0, 100.0));
    set.append(makeRGBParam("c", 0, {0.1, 0.2, 0.3}));
    set.append(makeStringParam("s", 0, "default"));
    set.setDouble(50.0, 0);
    set.setRGB({0.9, 0.8, 0.7}, 1);
    set.setString("changed", 2);

    set.resetToDefaults();
    EXPECT_EQ(set.changed, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(set.seen.at(0), 3.0); // the hook already sees the default
    EXPECT_EQ(set.getDouble(0), 3.0);
    EXPECT_EQ(set.getRGB(1).g, 0.2);
    EXPECT_EQ(set.getRGB(1).b, 0.3);
    EXPECT_EQ(set.getString(2), "default");

    set.refreshAllParameters();
    EXPECT_EQ(set.refreshed, (std::vector<int>{0, 1, 2}));
    set.notifyAllParameters();
    EXPECT_EQ(set.changed, (std::vector<int>{0, 1, 2, 0, 1, 2}));
}

TEST(ParametersTest, EmptySetVisitsNothingAndHasNoLayer) {
    RecordingParameters set;
    set.resetToDefaults();
    set.refreshAllParameters();
    set.notifyAllParameters();
    EXPECT_TRUE(set.changed.empty());
    EXPECT_TRUE(set.refreshed.empty());
    EXPECT_THROW(set.findLayer(1), std::invalid_argument);
}

Parameters makeFilledSet() {
    Parameters set;
    ParameterDef choice = makeChoiceParam("Mode", 7, {"one", "two"}, 1);
    choice.reserved = 9;
    choice.extraList = {"extra"};
    set.append(choice);
    set.append(makeStringParam("Text", 8, "abc"));
    set.auxTableA()["k"] = "v";
    set.auxTableB()["x"] = "y";
    set.auxWord64() = 0x123456789ABCDEF0ull;
    set.auxWord32() = 0xCAFEu;
    return set;
}

void expectFilled(const Parameters& set) {
    ASSERT_EQ(set.count(), 2);
    EXPECT_EQ(set.record(0).reserved, 9);
    EXPECT_EQ(set.record(0).extraList, std::vector<std::string>{"extra"});
    EXPECT_EQ(set.record(0).choiceOptions, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(set.getString(1), "abc");
    EXPECT_EQ(set.auxTableA(), (Parameters::Table{{"k", "v"}}));
    EXPECT_EQ(set.auxTableB(), (Parameters::Table{{"x", "y"}}));
    EXPECT_EQ(set.auxWord64(), 0x123456789ABCDEF0ull);
    EXPECT_EQ(set.auxWord32(), 0xCAFEu);
}

void scribble(Parameters& set) {
    set.record(0).choiceOptions.push_back("three");
    set.setString("zzz", 1);
    set.auxTableA()["k"] = "changed";
    set.auxTableB().clear();
    set.auxWord64() = 0;
    set.auxWord32() = 0;
    set.append(makeBoolParam("more", 0, true));
}

TEST(ParametersCopyTest, CopiesAndAssignmentsAreIndependent) {
    Parameters original = makeFilledSet();
    Parameters copy(original);
    Parameters assigned;
    assigned.append(makeIntParam("old", 0, 1, 0, 5, 0, 5));
    assigned.auxTableA()["old"] = "gone";
    assigned = original;
    scribble(original);
    expectFilled(copy);
    expectFilled(assigned);
    scribble(copy);
    expectFilled(assigned);
}

TEST(ParametersCopyTest, AssignmentThroughTheBaseReachesADerivedSet) {
    class CountingAssign : public Parameters {
    public:
        void assign(const Parameters& other) override {
            ++assigned;
            Parameters::assign(other);
        }
        int assigned = 0;
    };
    CountingAssign target;
    Parameters& base = target;
    base = makeFilledSet();
    EXPECT_EQ(target.assigned, 1);
    expectFilled(target);
    // Assigned to itself through another name: the set keeps its records.
    const Parameters& same = base;
    base = same;
    expectFilled(target);
}

} // namespace
