#include "Library.h"

#include "Error.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstring>
#include <utility>

namespace ofxhost {

namespace {

std::wstring widen(const std::string& utf8) {
    if (utf8.empty()) {
        return {};
    }
    const int n = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(),
                                        static_cast<int>(utf8.size()), nullptr, 0);
    if (n <= 0) {
        throw Error("cannot load '" + utf8 + "': the path is not valid UTF-8");
    }
    std::wstring wide(static_cast<std::size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), static_cast<int>(utf8.size()),
                          wide.data(), n);
    return wide;
}

std::string systemMessage(DWORD code) {
    wchar_t* buffer = nullptr;
    const DWORD len = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::string text;
    if (len > 0 && buffer != nullptr) {
        const int n = ::WideCharToMultiByte(CP_UTF8, 0, buffer, static_cast<int>(len), nullptr, 0,
                                            nullptr, nullptr);
        if (n > 0) {
            text.resize(static_cast<std::size_t>(n));
            ::WideCharToMultiByte(CP_UTF8, 0, buffer, static_cast<int>(len), text.data(), n,
                                  nullptr, nullptr);
        }
    }
    if (buffer != nullptr) {
        ::LocalFree(buffer);
    }
    // Some messages carry an insert for the file name, which we add ourselves.
    for (auto at = text.find("%1"); at != std::string::npos; at = text.find("%1")) {
        text.replace(at, 2, "the file");
    }
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.pop_back();
    }
    return text.empty() ? "error " + std::to_string(code) : text;
}

} // namespace

DynamicLibrary::DynamicLibrary(const std::string& path) : path_(path) {
    const std::wstring wide = widen(path);
    // No "cannot find DLL" dialog boxes: the caller reports the failure.
    const UINT oldMode = ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    HMODULE module = ::LoadLibraryW(wide.c_str());
    const DWORD code = ::GetLastError();
    ::SetErrorMode(oldMode);
    if (module == nullptr) {
        throw Error("cannot load '" + path + "': " + systemMessage(code));
    }
    native_ = reinterpret_cast<void*>(module);
}

DynamicLibrary::~DynamicLibrary() { close(); }

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : path_(std::move(other.path_)), native_(std::exchange(other.native_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    if (this != &other) {
        close();
        path_ = std::move(other.path_);
        native_ = std::exchange(other.native_, nullptr);
    }
    return *this;
}

void* DynamicLibrary::symbol(const char* name) const {
    if (native_ == nullptr || name == nullptr) {
        return nullptr;
    }
    FARPROC proc = ::GetProcAddress(reinterpret_cast<HMODULE>(native_), name);
    // Function and object pointers have the same size on Win64; copy the bits
    // rather than cast between the two kinds of pointer.
    void* address = nullptr;
    static_assert(sizeof(address) == sizeof(proc), "function pointers must fit a void*");
    std::memcpy(&address, &proc, sizeof(address));
    return address;
}

void DynamicLibrary::close() noexcept {
    if (native_ != nullptr) {
        ::FreeLibrary(reinterpret_cast<HMODULE>(native_));
        native_ = nullptr;
    }
}

} // namespace ofxhost
