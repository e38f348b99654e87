// Opening wide-named files on Windows, where the wide name is the native one.
#if defined(_WIN32)

#include "host/param/WidePath.h"

#include <share.h>

namespace VX {
namespace Host {
namespace Param {

std::FILE* openWidePath(const std::wstring& path, bool forWriting) {
    if (path.find(L'\0') != std::wstring::npos) {
        return nullptr;
    }
    // Others may read or write the file while it is open, as with a plain
    // fopen; the sharing is spelled out so that nobody tightens it by accident.
    return _wfsopen(path.c_str(), forWriting ? L"w" : L"r", _SH_DENYNO);
}

} // namespace Param
} // namespace Host
} // namespace VX

#endif
