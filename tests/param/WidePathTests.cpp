#include "host/param/WidePath.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using namespace VX::Host::Param;

struct Utf32Case {
    const char* label;
    std::u32string text;
    std::string utf8;
};

// Names the case in test output instead of dumping its bytes.
void PrintTo(const Utf32Case& c, std::ostream* os) { *os << c.label; }

class Utf32Test : public ::testing::TestWithParam<Utf32Case> {};

TEST_P(Utf32Test, Encodes) { EXPECT_EQ(utf8FromUtf32(GetParam().text), GetParam().utf8); }

INSTANTIATE_TEST_SUITE_P(
    CodePoints, Utf32Test,
    ::testing::Values(
        Utf32Case{"Ascii", U"a/b.txt", "a/b.txt"},
        Utf32Case{"TwoBytes", U"\u00e4\u07ff", "\xc3\xa4\xdf\xbf"},
        Utf32Case{"ThreeBytes", U"\u0800\u65e5\uffff", "\xe0\xa0\x80\xe6\x97\xa5\xef\xbf\xbf"},
        Utf32Case{"FourBytes", U"\U0001F600\U0010FFFF", "\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf"},
        Utf32Case{"SurrogateIsReplaced", std::u32string(1, char32_t{0xD800}), "\xef\xbf\xbd"},
        Utf32Case{"BeyondUnicodeIsReplaced", std::u32string(1, char32_t{0x110000}),
                  "\xef\xbf\xbd"}),
    [](const ::testing::TestParamInfo<Utf32Case>& p) { return p.param.label; });

struct Utf16Case {
    const char* label;
    std::u16string text;
    std::string utf8;
};

// Names the case in test output instead of dumping its bytes.
void PrintTo(const Utf16Case& c, std::ostream* os) { *os << c.label; }

class Utf16Test : public ::testing::TestWithParam<Utf16Case> {};

TEST_P(Utf16Test, Encodes) { EXPECT_EQ(utf8FromUtf16(GetParam().text), GetParam().utf8); }

INSTANTIATE_TEST_SUITE_P(
    Units, Utf16Test,
    ::testing::Values(Utf16Case{"Bmp", u"x\u00e4\u65e5", "x\xc3\xa4\xe6\x97\xa5"},
                      Utf16Case{"SurrogatePair", u"\U0001F600", "\xf0\x9f\x98\x80"},
                      Utf16Case{"LoneHigh", std::u16string{char16_t{0xD83D}, u'a'},
                                "\xef\xbf\xbd"
                                "a"},
                      Utf16Case{"LoneLow", std::u16string{char16_t{0xDE00}}, "\xef\xbf\xbd"},
                      Utf16Case{"HighAtEnd", std::u16string{u'a', char16_t{0xD83D}},
                                "a\xef\xbf\xbd"},
                      Utf16Case{"SwappedPair", std::u16string{char16_t{0xDE00}, char16_t{0xD83D}},
                                "\xef\xbf\xbd\xef\xbf\xbd"}),
    [](const ::testing::TestParamInfo<Utf16Case>& p) { return p.param.label; });

TEST(WideToUtf8Test, PlatformWideStringEncodes) {
    EXPECT_EQ(wideToUtf8(L"p\u00e4 \U0001F600"), "p\xc3\xa4 \xf0\x9f\x98\x80");
}

} // namespace
