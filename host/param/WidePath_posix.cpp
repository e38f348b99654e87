// Opening wide-named files where file names are bytes: the name goes to the
// file system as UTF-8.
#if !defined(_WIN32)

#include "host/param/WidePath.h"

namespace VX {
namespace Host {
namespace Param {

std::FILE* openWidePath(const std::wstring& path, bool forWriting) {
    if (path.find(L'\0') != std::wstring::npos) {
        return nullptr;
    }
    const std::string name = wideToUtf8(path);
    return std::fopen(name.c_str(), forWriting ? "w" : "r");
}

} // namespace Param
} // namespace Host
} // namespace VX

#endif
