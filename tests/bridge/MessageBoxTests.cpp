// Message boxes on the system at hand: on Windows through MessageBoxW
// (headless under test, so it answers at once), elsewhere on standard error.
#include "host/ofx/Messages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#endif

namespace {

using namespace VX::Host::OFX;

#if defined(_WIN32)

TEST(OwnerWindow, OnlyRealWindowsOwnABox) {
    EXPECT_TRUE(isOwnerWindow(GetDesktopWindow()));
    EXPECT_FALSE(isOwnerWindow(nullptr));
    // Not a window: the system says so with ERROR_INVALID_WINDOW_HANDLE.
    EXPECT_FALSE(isOwnerWindow(reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x7ff1234))));
}

TEST(MessageBoxW, AnswersWithoutADisplayAndSurvivesBadText) {
    // Without a display the box cannot be shown; whatever the system answers
    // maps to OK, the box's only button.
    EXPECT_EQ(showMessageBox(nullptr, "Stutter Quirk \xC3\xA9t\xC3\xA9", "About", kMsgOk),
              kMsgResultOkYes);
    // Invalid UTF-8 goes to the system as null rather than garbled.
    EXPECT_EQ(showMessageBox(nullptr, "\xFF\xFE broken", "\xC3", kMsgOk | kMsgCancel),
              kMsgResultOkYes);
}

#else

TEST(OwnerWindow, NoWindowSystemMeansNoOwner) {
    int something = 0;
    EXPECT_FALSE(isOwnerWindow(&something));
    EXPECT_FALSE(isOwnerWindow(nullptr));
}

TEST(MessageBox, GoesToStandardErrorAndAnswersOk) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(showMessageBox(nullptr, "the text", "the caption", kMsgYesNo), kMsgResultOkYes);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "the caption: the text\n");
}

#endif

} // namespace
