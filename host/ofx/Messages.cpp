#include "host/ofx/Messages.h"

#include "ofx/ofxCore.h"
#include "ofx/ofxMessage.h"

namespace VX {
namespace Host {
namespace OFX {

namespace {

// The Windows values, named here so that the mapping builds everywhere.
constexpr std::uint32_t kBoxOk = 0x0;
constexpr std::uint32_t kBoxOkCancel = 0x1;
constexpr std::uint32_t kBoxYesNoCancel = 0x3;
constexpr std::uint32_t kBoxYesNo = 0x4;
constexpr std::uint32_t kBoxIconError = 0x10;
constexpr std::uint32_t kBoxIconQuestion = 0x20;
constexpr std::uint32_t kBoxIconWarning = 0x30;
constexpr std::uint32_t kBoxIconInformation = 0x40;
constexpr std::uint32_t kBoxDefaultButton2 = 0x100;
constexpr std::uint32_t kBoxTaskModal = 0x2000;

constexpr int kButtonOk = 1;
constexpr int kButtonCancel = 2;
constexpr int kButtonYes = 6;
constexpr int kButtonNo = 7;

} // namespace

const char* messageTypeFor(std::uint32_t flags) {
    // OK with cancel is a question whatever icon it carries.
    if ((flags & kMsgYesNo) || ((flags & kMsgCancel) && (flags & kMsgOk)))
        return kOfxMessageQuestion;
    if (flags & kMsgWarning)
        return kOfxMessageWarning;
    if (flags & kMsgError)
        return kOfxMessageError;
    if (flags & kMsgInformation)
        return kOfxMessageMessage;
    if (flags & kMsgQuestion)
        return kOfxMessageQuestion;
    return kOfxMessageWarning;
}

int messageResultForStatus(int status) {
    if (status == kOfxStatOK || status == kOfxStatReplyYes)
        return kMsgResultOkYes;
    if (status == kOfxStatReplyNo)
        return kMsgResultNo;
    return kMsgResultCancel;
}

std::uint32_t messageBoxStyle(std::uint32_t flags, bool hasOwner) {
    std::uint32_t style = kBoxOk;
    // OK wins over yes/no when both are asked for.
    if (flags & kMsgOk) {
        style = (flags & kMsgCancel) ? kBoxOkCancel : kBoxOk;
    } else if (flags & kMsgYesNo) {
        style = (flags & kMsgCancel) ? kBoxYesNoCancel : kBoxYesNo;
        if (flags & kMsgDefaultSecond)
            style |= kBoxDefaultButton2;
    }
    if (flags & kMsgWarning)
        style |= kBoxIconWarning;
    else if (flags & kMsgError)
        style |= kBoxIconError;
    else if (flags & kMsgInformation)
        style |= kBoxIconInformation;
    else if (flags & kMsgQuestion)
        style |= kBoxIconQuestion;
    if (!hasOwner)
        style |= kBoxTaskModal;
    return style;
}

int messageBoxResult(int pressedButton) {
    switch (pressedButton) {
    case kButtonOk:
    case kButtonYes:
        return kMsgResultOkYes;
    case kButtonCancel:
        return kMsgResultCancel;
    case kButtonNo:
        return kMsgResultNo;
    default:
        return kMsgResultOkYes;
    }
}

} // namespace OFX
} // namespace Host
} // namespace VX
