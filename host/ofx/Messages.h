#pragma once

#include <cstdint>

namespace VX {
namespace Host {
namespace OFX {

// What a message asks of the user; the bits combine.
enum MessageFlags : std::uint32_t {
    kMsgOk = 0x1,
    kMsgYesNo = 0x2,
    kMsgCancel = 0x4,         // adds a cancel button to OK or to yes/no
    kMsgDefaultSecond = 0x20, // with yes/no: the second button is the default
    kMsgWarning = 0x1000,
    kMsgError = 0x2000,
    kMsgQuestion = 0x4000,
    kMsgInformation = 0x8000,
};

// How the user answered.
enum MessageResult : int {
    kMsgResultNoService = 0, // nobody could be asked
    kMsgResultOkYes = 1,
    kMsgResultCancel = 2, // also any failure of the host
    kMsgResultNo = 3,
};

// The OpenFX message type that carries a message with these flags.
const char* messageTypeFor(std::uint32_t flags);

// Maps the status of the host's message call to the user's answer.
int messageResultForStatus(int status);

// Windows message-box style (buttons, icon, modality) for these flags. Kept
// portable so that the mapping is the same wherever it is checked.
std::uint32_t messageBoxStyle(std::uint32_t flags, bool hasOwner);

// Maps the button that closed a Windows message box to a MessageResult.
int messageBoxResult(int pressedButton);

// Shows a modal message box owned by `owner` (null: task-modal). The strings
// are UTF-8. Where the system has no message boxes the text goes to standard
// error and the answer is OK.
int showMessageBox(void* owner, const char* text, const char* caption, std::uint32_t flags);

// Whether `handle` can own a message box: a window the system knows.
bool isOwnerWindow(void* handle);

} // namespace OFX
} // namespace Host
} // namespace VX
