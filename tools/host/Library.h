#pragma once

#include <string>

namespace ofxhost {

// A shared library opened through the operating system's loader. Closing
// happens in the destructor; the object can be moved but not copied, so a
// library is closed exactly once.
class DynamicLibrary {
public:
    // Opens the library at `path` (UTF-8). Throws ofxhost::Error naming the
    // path and the loader's reason when it cannot be opened.
    explicit DynamicLibrary(const std::string& path);
    ~DynamicLibrary();

    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    // Address of an exported symbol, or null when the library has none.
    void* symbol(const char* name) const;

    const std::string& path() const { return path_; }

private:
    void close() noexcept;

    std::string path_;
    void* native_ = nullptr;
};

} // namespace ofxhost
