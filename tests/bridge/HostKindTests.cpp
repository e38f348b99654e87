#include "host/ofx/HostKind.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VX::Host::OFX;

struct NameCase {
    const char* name;
    HostKind kind;
};

class HostKindByName : public ::testing::TestWithParam<NameCase> {};

TEST_P(HostKindByName, Classifies) {
    EXPECT_EQ(classifyHost(GetParam().name), GetParam().kind)
        << "host name \"" << (GetParam().name ? GetParam().name : "(null)") << "\"";
}

INSTANTIATE_TEST_SUITE_P(
    Names, HostKindByName,
    ::testing::Values(
        NameCase{"Assimilator", kHostAssimilator}, NameCase{"Assimilator2", kHostOther},
        NameCase{"assimilator", kHostOther}, NameCase{"com.sonycreativesoftware.vegas", kHostVegas},
        NameCase{"com.sonycreativesoftware.vegas.pro", kHostOther},
        NameCase{"uk.com.thefoundry.nuke", kHostNuke},
        // the "uk.com." form must match whole...
        NameCase{"uk.com.thefoundry.nukeX", kHostOther},
        // ...while "uk.co." is a prefix that needs one more character
        NameCase{"uk.co.thefoundry.nuke", kHostNuke}, NameCase{"uk.co.thefoundry.x", kHostNuke},
        NameCase{"uk.co.thefoundry.", kHostOther}, NameCase{"uk.co.thefoundry", kHostOther},
        NameCase{"DaVinciResolve", kHostDaVinci}, NameCase{"DaVinci Resolve Studio", kHostDaVinci},
        NameCase{"DaVinci", kHostOther}, NameCase{"Davinci Resolve", kHostOther},
        NameCase{"Nucoda Film Master", kHostNucoda}, NameCase{"NucodaX", kHostNucoda},
        NameCase{"Nucoda", kHostOther}, NameCase{"MLT", kHostOther}, NameCase{"", kHostOther},
        NameCase{nullptr, kHostOther}));

} // namespace
