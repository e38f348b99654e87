#include "Library.h"

#include "Error.h"

#include <dlfcn.h>

#include <utility>

namespace ofxhost {

DynamicLibrary::DynamicLibrary(const std::string& path) : path_(path) {
    // RTLD_LOCAL keeps one plug-in's symbols from resolving another's.
    native_ = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (native_ == nullptr) {
        const char* reason = ::dlerror();
        throw Error("cannot load '" + path + "': " + (reason ? reason : "unknown loader error"));
    }
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
    ::dlerror();
    return ::dlsym(native_, name);
}

void DynamicLibrary::close() noexcept {
    if (native_ != nullptr) {
        ::dlclose(native_);
        native_ = nullptr;
    }
}

} // namespace ofxhost
