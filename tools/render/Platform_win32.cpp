#include "Platform.h"

#include <io.h>
#include <windows.h>

namespace ofxrender {

bool isTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

char pathListSeparator() { return ';'; }

std::string standardPluginFolder() {
    char buffer[MAX_PATH];
    const DWORD n = GetEnvironmentVariableA("CommonProgramFiles", buffer, MAX_PATH);
    if (n > 0 && n < MAX_PATH) {
        return std::string(buffer, n) + "\\OFX\\Plugins";
    }
    return "C:\\Program Files\\Common Files\\OFX\\Plugins";
}

unsigned long processId() { return static_cast<unsigned long>(GetCurrentProcessId()); }

} // namespace ofxrender
