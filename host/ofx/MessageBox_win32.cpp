// Message boxes on Windows, owned by the host's main window where it has one.
#if defined(_WIN32)

#include "host/ofx/Messages.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>

namespace VX {
namespace Host {
namespace OFX {

namespace {

// UTF-8 to UTF-16; false when the text is not valid UTF-8.
bool toWide(const char* text, std::wstring& wide) {
    if (text == nullptr)
        return false;
    const int n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, nullptr, 0);
    if (n <= 0)
        return false;
    wide.assign(static_cast<std::size_t>(n), L'\0');
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, &wide[0], n) != n)
        return false;
    wide.resize(static_cast<std::size_t>(n - 1));
    return true;
}

} // namespace

int showMessageBox(void* owner, const char* text, const char* caption, std::uint32_t flags) {
    std::wstring wideText;
    std::wstring wideCaption;
    // A text that does not convert is passed as null rather than garbled.
    const wchar_t* textArg = toWide(text, wideText) ? wideText.c_str() : nullptr;
    const wchar_t* captionArg = toWide(caption, wideCaption) ? wideCaption.c_str() : nullptr;
    const int pressed = MessageBoxW(static_cast<HWND>(owner), textArg, captionArg,
                                    static_cast<UINT>(messageBoxStyle(flags, owner != nullptr)));
    return messageBoxResult(pressed);
}

bool isOwnerWindow(void* handle) {
    if (handle == nullptr)
        return false;
    RECT rect;
    if (GetWindowRect(static_cast<HWND>(handle), &rect))
        return true;
    // Only a handle the system rejects as a window is dropped; other failures
    // leave the host's handle in place.
    return GetLastError() != ERROR_INVALID_WINDOW_HANDLE;
}

} // namespace OFX
} // namespace Host
} // namespace VX

#endif
