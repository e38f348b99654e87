#include "host/ofx/Messages.h"

#include "ofx/ofxCore.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace VX::Host::OFX;

struct TypeCase {
    std::uint32_t flags;
    const char* type;
};

class MessageType : public ::testing::TestWithParam<TypeCase> {};

TEST_P(MessageType, FirstMatchingRuleWins) {
    EXPECT_STREQ(messageTypeFor(GetParam().flags), GetParam().type)
        << "flags 0x" << std::hex << GetParam().flags;
}

INSTANTIATE_TEST_SUITE_P(
    Flags, MessageType,
    ::testing::Values(TypeCase{0, "OfxMessageWarning"}, TypeCase{kMsgOk, "OfxMessageWarning"},
                      TypeCase{kMsgOk | kMsgCancel, "OfxMessageQuestion"},
                      TypeCase{kMsgOk | kMsgCancel | kMsgError, "OfxMessageQuestion"},
                      TypeCase{kMsgCancel, "OfxMessageWarning"},
                      TypeCase{kMsgYesNo | kMsgInformation, "OfxMessageQuestion"},
                      TypeCase{kMsgWarning | kMsgError, "OfxMessageWarning"},
                      TypeCase{kMsgError | kMsgInformation, "OfxMessageError"},
                      TypeCase{kMsgInformation | kMsgOk, "OfxMessageMessage"},
                      TypeCase{kMsgInformation | kMsgQuestion, "OfxMessageMessage"},
                      TypeCase{kMsgQuestion, "OfxMessageQuestion"}));

TEST(MessageResult, HostStatusMapsToAnswer) {
    EXPECT_EQ(messageResultForStatus(kOfxStatOK), kMsgResultOkYes);
    EXPECT_EQ(messageResultForStatus(kOfxStatReplyYes), kMsgResultOkYes);
    EXPECT_EQ(messageResultForStatus(kOfxStatReplyNo), kMsgResultNo);
    EXPECT_EQ(messageResultForStatus(kOfxStatFailed), kMsgResultCancel);
    EXPECT_EQ(messageResultForStatus(kOfxStatReplyDefault), kMsgResultCancel);
    EXPECT_EQ(messageResultForStatus(kOfxStatErrBadHandle), kMsgResultCancel);
}

struct StyleCase {
    std::uint32_t flags;
    bool owner;
    std::uint32_t style; // Windows MB_* bits
};

class MessageBoxStyle : public ::testing::TestWithParam<StyleCase> {};

TEST_P(MessageBoxStyle, ButtonsIconAndModality) {
    EXPECT_EQ(messageBoxStyle(GetParam().flags, GetParam().owner), GetParam().style)
        << "flags 0x" << std::hex << GetParam().flags;
}

// MB_OK 0, MB_OKCANCEL 1, MB_YESNOCANCEL 3, MB_YESNO 4, MB_ICONERROR 0x10,
// MB_ICONQUESTION 0x20, MB_ICONWARNING 0x30, MB_ICONINFORMATION 0x40,
// MB_DEFBUTTON2 0x100, MB_TASKMODAL 0x2000.
INSTANTIATE_TEST_SUITE_P(
    Flags, MessageBoxStyle,
    ::testing::Values(StyleCase{kMsgOk, true, 0x0}, StyleCase{kMsgOk, false, 0x2000},
                      StyleCase{kMsgOk | kMsgCancel, true, 0x1}, StyleCase{kMsgYesNo, true, 0x4},
                      StyleCase{kMsgYesNo | kMsgCancel, true, 0x3},
                      StyleCase{kMsgYesNo | kMsgDefaultSecond, true, 0x104},
                      // OK wins over yes/no, and the default-second flag goes with yes/no
                      StyleCase{kMsgOk | kMsgYesNo | kMsgDefaultSecond, true, 0x0},
                      StyleCase{kMsgOk | kMsgWarning | kMsgError, true, 0x30},
                      StyleCase{kMsgOk | kMsgError | kMsgInformation, true, 0x10},
                      StyleCase{kMsgOk | kMsgInformation | kMsgQuestion, true, 0x40},
                      StyleCase{kMsgYesNo | kMsgQuestion, false, 0x2024}));

TEST(MessageBoxResult, ButtonsMapToAnswers) {
    EXPECT_EQ(messageBoxResult(1), kMsgResultOkYes);  // IDOK
    EXPECT_EQ(messageBoxResult(2), kMsgResultCancel); // IDCANCEL
    EXPECT_EQ(messageBoxResult(6), kMsgResultOkYes);  // IDYES
    EXPECT_EQ(messageBoxResult(7), kMsgResultNo);     // IDNO
    EXPECT_EQ(messageBoxResult(0), kMsgResultOkYes);  // failure: treated as OK
    EXPECT_EQ(messageBoxResult(-1), kMsgResultOkYes);
}

} // namespace
