#include "host/param/Parameters.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace VX::Host::Param;
namespace fs = std::filesystem;

#if defined(_WIN32)
const std::string kEol = "\r\n";
#else
const std::string kEol = "\n";
#endif

// A fresh directory per test, removed afterwards.
class TempDir {
public:
    TempDir()
        : dir_(fs::temp_directory_path() / ("sq_param_" + std::to_string(std::random_device{}()))) {
        fs::create_directories(dir_);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    fs::path path(const std::string& name) const { return dir_ / name; }
    std::wstring wide(const std::string& name) const { return path(name).wstring(); }
    const fs::path& dir() const { return dir_; }

private:
    fs::path dir_;
};

std::string readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes;
    char buffer[4096];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        bytes.append(buffer, static_cast<std::size_t>(in.gcount()));
    }
    return bytes;
}

void writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// 2D values held in units of a 2-by-4 frame, so that saving the held value
// and saving what get2D answers give different files.
class FrameParameters : public Parameters {
public:
    void getSizeScale(float& x, float& y) const override {
        x = 2.0f;
        y = 4.0f;
    }
};

class RecordedFileParameters : public Parameters {
public:
    void parameterChanged(int index) override {
        changed.push_back(index);
        seen.push_back(record(index).value.asInt());
    }
    std::vector<int> changed;
    std::vector<std::int32_t> seen;
};

ParameterDef bareRecord(std::uint32_t type, const std::string& name) {
    ParameterDef def;
    def.type = type;
    def.name = name;
    return def;
}

const std::string kHeader = "Plugin Name: Stutter Quirk\nVersion Number: 1.0\n";

void defineReadSet(Parameters& set) {
    set.append(makeBoolParam("Flag", 0, true));                                    // 0
    set.append(makeRGBParam("Tint", 0, {0.1, 0.2, 0.3}));                          // 1
    set.append(makeIntParam("Count", 0, 5, 0, 10, 0, 10));                         // 2
    set.append(makeDoubleParam("Amount", 0, 2.0, 1.0, 100.0, 1.0, 100.0));         // 3
    set.append(makeStringParam("Text", 0, "dflt"));                                // 4
    set.append(makeDoubleParam("Hidden", 0, 1.0, 0, 100, 0, 100, kParamDisabled)); // 5
    set.append(makeIntParam("Twin", 0, 0, 0, 10, 0, 10));                          // 6
    set.append(makeIntParam("Twin", 0, 0, 0, 10, 0, 10));                          // 7
    set.append(make2DParam("Centre", 0, {0.5, 0.5}, {0, 0}, {1, 1}, kParamScale)); // 8
    set.append(makeIntParam("Version Number", 0, -1, -10, 10, -10, 10));           // 9
}

// A record's value as text, for comparing against a table.
std::string show(const Parameters& set, int i) {
    std::ostringstream out;
    switch (set.record(i).type) {
    case kParamTypeBoolean:
        out << (set.getBool(i) ? "true" : "false");
        break;
    case kParamTypeInteger:
        out << set.getInt(i);
        break;
    case kParamTypeDouble:
        out << set.getDouble(i);
        break;
    case kParamTypeRGB:
        out << set.getRGB(i).r << ' ' << set.getRGB(i).g << ' ' << set.getRGB(i).b;
        break;
    case kParamTypeDouble2D:
        out << set.get2D(i).x << ' ' << set.get2D(i).y;
        break;
    default:
        out << set.getString(i);
    }
    return out.str();
}

// --- writing -------------------------------------------------------------------

TEST(ParameterFileWriteTest, MixedSetGivesExactBytes) {
    TempDir tmp;
    FrameParameters set;
    set.append(makeIntParam("Count", 0, -42, -100, 100, -100, 100));
    set.append(makeDoubleParam("Quirk Time", 0, 3.0, 1.0, 100.0, 1.0, 100.0));
    set.append(makeDoubleParam("Small", 0, 1e-7, 0, 1, 0, 1));
    set.append(makeDoubleParam("Precise", 0, 0.1234567, 0, 1, 0, 1));
    set.append(makeDoubleParam("Big", 0, 1234567.0, 0, 1e9, 0, 1e9));
    set.append(makeDoubleParam("Hidden", 0, 5.0, 0, 10, 0, 10, kParamDisabled));
    set.append(makeBoolParam("Unmasked", 0, false));
    set.append(makeBoolParam("On", 0, true));
    set.append(makeStringParam("Text", 0, "a\"b\\c"));
    set.append(bareRecord(kParamTypeString2, "Other"));
    set.append(makeChoiceParam("Mode", 0, {"x", "y", "z"}, 2));
    set.append(makeRGBParam("Tint", 0, {0.5, 1.0, 0.25}));
    set.append(makeGroupStart("Group", 0, kParamGroupOpen));
    set.append(make2DParam("Centre", 0, {0.5, 0.25}, {0, 0}, {1, 1}));
    set.append(makeGroupEnd());
    set.append(makeLayerParam("Layer", 0));
    set.record(set.count() - 1).value.setInt(3);
    for (std::uint32_t type : {kParamTypeNone, kParamTypePushButton, 0u, 14u}) {
        set.append(bareRecord(type, "Unwritten"));
    }

    // A longer file already there must be replaced, not overwritten in part.
    writeBytes(tmp.path("out.txt"), std::string(4000, 'Q'));
    set.save(tmp.wide("out.txt"), "Stutter Quirk", "1.0");

    const char* const lines[] = {"Plugin Name: Stutter Quirk",
                                 "Version Number: 1.0",
                                 "Count: -42",
                                 "Quirk Time: 3",
                                 "Small: 1e-07",
                                 "Precise: 0.123457",
                                 "Big: 1.23457e+06",
                                 "Unmasked: false",
                                 "On: true",
                                 "Text: \"a\\\"b\\\\c\"",
                                 "Other: \"\"",
                                 "Mode: 2",
                                 "Tint: 0.5 1 0.25 ",
                                 "Centre: 0.5 0.25 ",
                                 "Layer: 3"};
    std::string expected;
    for (const char* line : lines) {
        expected += line + kEol;
    }
    EXPECT_EQ(readBytes(tmp.path("out.txt")), expected);
}

TEST(ParameterFileWriteTest, EmptySetWritesTheHeaderOnly) {
    TempDir tmp;
    RecordedFileParameters set;
    set.save(tmp.wide("empty.txt"), "Other Plug", "");
    EXPECT_EQ(readBytes(tmp.path("empty.txt")),
              "Plugin Name: Other Plug" + kEol + "Version Number: " + kEol);
    set.load(tmp.wide("empty.txt"));
    EXPECT_TRUE(set.changed.empty());
}

TEST(ParameterFileWriteTest, UncreatableFileWritesNothing) {
    TempDir tmp;
    Parameters set;
    set.append(makeIntParam("Count", 0, 1, 0, 5, 0, 5));
    set.save((tmp.path("no such dir") / "out.txt").wstring(), "P", "1");
    // A name with a NUL in it would open some other file if passed on.
    set.save(tmp.wide("cut") + std::wstring(1, L'\0') + L"tail.txt", "P", "1");
    EXPECT_TRUE(fs::is_empty(tmp.dir()));
}

TEST(ParameterFileRoundTripTest, EveryTypeComesBack) {
    TempDir tmp;
    auto define = [](Parameters& set) {
        set.append(makeIntParam("Int", 0, 0, -5, 5, -5, 5));
        set.append(makeDoubleParam("Double", 0, 0, 0, 1, 0, 1));
        set.append(makeBoolParam("Bool", 0, false));
        set.append(makeStringParam("String", 0, ""));
        set.append(makeChoiceParam("Choice", 0, {"a", "b", "c", "d"}, 0));
        set.append(bareRecord(kParamTypeString2, "String2"));
        set.append(makeRGBParam("RGB", 0, {0, 0, 0}));
        set.append(make2DParam("Point", 0, {0, 0}, {0, 0}, {1, 1}));
        set.append(make2DParam("Size", 0, {0, 0}, {-9, -9}, {9, 9}, kParamScale));
        set.append(makeLayerParam("Layer", 0));
        set.append(makeDoubleParam("Disabled", 0, 4.0, 0, 10, 0, 10, kParamDisabled));
    };
    FrameParameters written;
    define(written);
    written.setInt(-123456, 0, 0.0); // timed, so not clamped
    written.setDouble(-12.375, 1, 0.0);
    written.setBool(true, 2);
    written.setString("  a:b \"q\" \\ end\\", 3);
    written.setInt(3, 4);
    written.setString("second \"kind\"", 5);
    written.setRGB({0.125, -2.5, 1e-05}, 6);
    written.set2D({1.5, -3.0}, 7);
    written.set2D({7.25, 0.5}, 8);
    written.record(9).value.setInt(2);
    written.setDouble(9.0, 10);
    written.save(tmp.wide("trip.txt"), "Stutter Quirk", "1.0");

    FrameParameters read;
    define(read);
    read.load(tmp.wide("trip.txt"));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(show(read, i), show(written, i)) << read.record(i).name;
    }
    EXPECT_EQ(read.getInt(0), -123456);
    EXPECT_EQ(read.getRGB(6).b, 1e-05);
    EXPECT_EQ(read.getDouble(10), 4.0); // never written, so at its default
}

// --- reading rules -----------------------------------------------------------

struct ReadCase {
    const char* label;
    std::string file;
    std::vector<std::pair<int, std::string>> expected; // record index, value
};
void PrintTo(const ReadCase& c, std::ostream* os) { *os << c.label; }

class ReadRuleTest : public ::testing::TestWithParam<ReadCase> {};

TEST_P(ReadRuleTest, AppliesTheFile) {
    TempDir tmp;
    writeBytes(tmp.path("in.txt"), GetParam().file);
    Parameters set;
    defineReadSet(set);
    set.load(tmp.wide("in.txt"));
    for (const auto& [index, value] : GetParam().expected) {
        EXPECT_EQ(show(set, index), value) << "record " << index;
    }
}

const std::string k252(252, 'y');
const std::string k253(253, 'y');
const std::string k300(300, 'x');

INSTANTIATE_TEST_SUITE_P(
    Rules, ReadRuleTest,
    ::testing::Values(
        ReadCase{"CapitalTrueIsFalse", kHeader + "Flag: True\n", {{0, "false"}}},
        ReadCase{"OneIsFalse", kHeader + "Flag: 1\n", {{0, "false"}}},
        ReadCase{
            "ColourWithTwoNumbersKeepsBlue", kHeader + "Tint: 0.7 0.8\n", {{1, "0.7 0.8 0.3"}}},
        ReadCase{"ColourBlankRunsAndExtraPieces",
                 kHeader + "Tint:   0.7    0.8 0.9 4 \n",
                 {{1, "0.7 0.8 0.9"}}},
        ReadCase{"ColourTabDoesNotSeparate", kHeader + "Tint: 0.7\t0.8\n", {{1, "0.7 0.2 0.3"}}},
        ReadCase{"TwoDWithOneNumberKeepsY", kHeader + "Centre: 0.25\n", {{8, "0.25 0.5"}}},
        ReadCase{"MissingColonSwallowsTheNextLine",
                 kHeader + "Count 7\nAmount: 9\nText: \"after\"\n",
                 {{2, "5"}, {3, "2"}, {4, "after"}}},
        ReadCase{"HeaderWithoutColonSwallowsTheNextLine",
                 "Plugin Name Stutter Quirk\nCount: 7\nAmount: 9\n",
                 {{2, "5"}, {3, "9"}}},
        ReadCase{"DisabledRecordIsApplied", kHeader + "Hidden: 42\n", {{5, "42"}}},
        ReadCase{"DuplicateNamesBothSet", kHeader + "Twin: 8\n", {{6, "8"}, {7, "8"}}},
        ReadCase{"OtherPluginNameIsApplied",
                 "Plugin Name: Something Else\nVersion Number: 9\nCount: 7\n",
                 {{2, "7"}, {9, "9"}}},
        ReadCase{"VersionLineIsAnOrdinaryLine", kHeader, {{9, "1"}}},
        ReadCase{"NameTrailingWhiteSpaceRemoved", kHeader + "Count \t : 7\n", {{2, "7"}}},
        ReadCase{"NameLeadingWhiteSpaceKept", kHeader + " Count: 7\n", {{2, "5"}}},
        ReadCase{"NameIsCaseSensitive", kHeader + "count: 7\n", {{2, "5"}}},
        ReadCase{"ValueTrimmedBothSides",
                 kHeader + "Count:\t  7 \t\nAmount:   4.5   \n",
                 {{2, "7"}, {3, "4.5"}}},
        ReadCase{"CarriageReturnLineEnds",
                 "Plugin Name: P\r\nVersion Number: 1\r\nCount: 7\r\nText: \"t\"\r\n",
                 {{2, "7"}, {4, "t"}}},
        ReadCase{"IntegerReadsLikeAtoi",
                 kHeader + "Count: 12abc\nTwin: -3\nVersion Number: abc\n",
                 {{2, "12"}, {6, "-3"}, {9, "0"}}},
        ReadCase{"OverlongIntegerSaturates",
                 kHeader + "Count: 99999999999999999999\nTwin: -99999999999\n",
                 {{2, "2147483647"}, {6, "-2147483648"}}},
        ReadCase{"DoubleReadsLikeAtof",
                 kHeader + "Amount: 2.5e1xyz\nHidden: junk\n",
                 {{3, "25"}, {5, "0"}}},
        ReadCase{
            "ValuesAreNotClamped", kHeader + "Amount: 1000\nCount: 99\n", {{3, "1000"}, {2, "99"}}},
        ReadCase{"StringEscapes", kHeader + "Text: \"a\\\"b\\\\c\"\n", {{4, "a\"b\\c"}}},
        ReadCase{"StringWithoutQuoteIsEmpty", kHeader + "Text: plain\n", {{4, ""}}},
        ReadCase{"StringEndsAtClosingQuote", kHeader + "Text: \"a: b\" cd\n", {{4, "a: b"}}},
        ReadCase{"StringUnclosed", kHeader + "Text: \"ab\n", {{4, "ab"}}},
        ReadCase{"StringBackslashAtEnd", kHeader + "Text: \"ab\\\n", {{4, "ab"}}},
        ReadCase{"NulByteEndsAField",
                 kHeader + std::string("Count: 7\0 8\nText: \"a\0b\"\n", 24),
                 {{2, "7"}, {4, "a"}}},
        ReadCase{"LastLineWithoutLineEnd", kHeader + "Amount: 3\nCount: 7", {{3, "3"}, {2, "7"}}},
        ReadCase{"TrailingNameWithoutColon", kHeader + "Count: 7\nAmount", {{2, "7"}, {3, "2"}}},
        // A line counts only when its name and its value could both be read.
        ReadCase{"NameWithoutValueAtTheEndIsNotApplied",
                 kHeader + "Amount: 3\nCount:",
                 {{3, "3"}, {2, "5"}}},
        // The rest of the line counts from just after the ':', its leading
        // blank included: blank, quote, 252 characters and quote make 255.
        ReadCase{"RestOfLineOf255CharactersIsRead",
                 kHeader + "Text: \"" + k252 + "\"\nCount: 7\n",
                 {{4, k252}, {2, "7"}}},
        ReadCase{"RestOfLineOf256CharactersEndsReading",
                 kHeader + "Count: 7\nText: \"" + k253 + "\"\nAmount: 9\n",
                 {{2, "7"}, {4, "dflt"}, {3, "2"}}},
        ReadCase{"OverlongNameEndsReading",
                 kHeader + "Amount: 9\n" + k300 + ": 1\nCount: 7\n",
                 {{3, "9"}, {2, "5"}}},
        ReadCase{"OverlongHeaderReadsNothing", k300 + ": x\nCount: 7\n", {{2, "5"}}}),
    [](const ::testing::TestParamInfo<ReadCase>& p) { return p.param.label; });

TEST(ParameterFileReadTest, ResetsToDefaultsBeforeApplyingAndNotifiesOnlyThen) {
    TempDir tmp;
    writeBytes(tmp.path("in.txt"), kHeader + "Count: 9\n");
    RecordedFileParameters set;
    set.append(makeIntParam("Other", 0, 4, 0, 10, 0, 10));
    set.append(makeIntParam("Count", 0, 5, 0, 10, 0, 10));
    set.setInt(8, 0);
    set.setInt(8, 1);
    set.load(tmp.wide("in.txt"));
    EXPECT_EQ(set.changed, (std::vector<int>{0, 1}));
    EXPECT_EQ(set.seen, (std::vector<std::int32_t>{4, 5})); // defaults, not the file's value
    EXPECT_EQ(set.getInt(0), 4);
    EXPECT_EQ(set.getInt(1), 9);
}

TEST(ParameterFileReadTest, UnreadablePathsResetWithoutHanging) {
    TempDir tmp;
    for (const std::wstring& path : {tmp.wide("does not exist.txt"), tmp.dir().wstring(),
                                     tmp.wide("x") + std::wstring(1, L'\0'), std::wstring()}) {
        RecordedFileParameters set;
        set.append(makeIntParam("Count", 0, 5, 0, 10, 0, 10));
        set.setInt(8, 0);
        set.load(path);
        EXPECT_EQ(set.getInt(0), 5);
        EXPECT_EQ(set.changed, std::vector<int>{0});
    }
}

TEST(ParameterFileReadTest, NonAsciiWidePathRoundTrips) {
    TempDir tmp;
    const std::wstring path = tmp.dir().wstring() + L"/p\u00e4r\u00e4m \u65e5\u672c \U0001F600.txt";
    Parameters written;
    written.append(makeIntParam("Count", 0, 7, 0, 10, 0, 10));
    written.save(path, "Stutter Quirk", "1.0");
#if defined(_WIN32)
    const fs::path onDisk(path);
#else
    // The name must reach the file system as UTF-8.
    const fs::path onDisk =
        tmp.dir() / "p\xc3\xa4r\xc3\xa4m \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x98\x80.txt";
#endif
    EXPECT_EQ(readBytes(onDisk), "Plugin Name: Stutter Quirk" + kEol + "Version Number: 1.0" +
                                     kEol + "Count: 7" + kEol);
    Parameters read;
    read.append(makeIntParam("Count", 0, 0, 0, 10, 0, 10));
    read.load(path);
    EXPECT_EQ(read.getInt(0), 7);
}

// Random bytes, random text from the file's own alphabet, text without any
// ':' and huge lines: the reader must come back with the records as defined,
// and the same set must read a good file afterwards.
TEST(ParameterFileFuzzTest, DamagedFilesNeverBreakTheReader) {
    TempDir tmp;
    std::mt19937 rng(20240607u);
    std::uniform_int_distribution<int> byte(0, 255);
    const std::string alphabet = "FlagTintCountText:: \"\\\n\r\t0123456789.-e";
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    std::uniform_int_distribution<std::size_t> length(0, 1500);
    Parameters reference;
    defineReadSet(reference);

    for (int round = 0; round < 300; ++round) {
        const int shape = round % 5;
        std::string bytes;
        if (shape == 4) {
            const char fill = "a:7\\\n"[(round / 5) % 5];
            // Behind a header the over-long line is a value; alone, a name.
            const bool asValue = round % 2 == 1 && fill != '\n';
            bytes = (asValue ? "Plugin Name: P\nText: \"" : "") + std::string(100000, fill);
        }
        for (std::size_t k = 0, n = shape == 4 ? 0 : length(rng); k < n; ++k) {
            const char c = static_cast<char>(byte(rng));
            bytes.push_back(shape == 0   ? c
                            : shape == 2 ? (c == ':' ? ';' : c)
                                         : alphabet[pick(rng)]);
        }
        writeBytes(tmp.path("fuzz.txt"), bytes);
        Parameters set;
        defineReadSet(set);
        set.load(tmp.wide("fuzz.txt"));

        ASSERT_EQ(set.count(), reference.count());
        for (int i = 0; i < set.count(); ++i) {
            ASSERT_EQ(set.record(i).name, reference.record(i).name);
            ASSERT_EQ(set.record(i).type, reference.record(i).type);
            if (shape == 2 || shape == 4) {
                // No name can be read, or the one line is too long: nothing applies.
                ASSERT_EQ(show(set, i), show(reference, i)) << "round " << round;
            }
        }
        writeBytes(tmp.path("good.txt"), kHeader + "Count: 6\n");
        set.load(tmp.wide("good.txt"));
        ASSERT_EQ(set.getInt(2), 6);
    }
}

} // namespace
