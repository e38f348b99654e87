#include "PluginSearch.h"

#include <windows.h>

namespace ofxhost {

char pluginPathSeparator() { return ';'; }

std::string standardPluginFolder() {
    // "C:\Program Files\Common Files" for 64-bit programs, wherever this
    // system keeps it.
    char buffer[MAX_PATH];
    const DWORD n = GetEnvironmentVariableA("CommonProgramFiles", buffer, MAX_PATH);
    if (n > 0 && n < MAX_PATH) {
        return std::string(buffer, n) + "\\OFX\\Plugins";
    }
    return "C:\\Program Files\\Common Files\\OFX\\Plugins";
}

} // namespace ofxhost
