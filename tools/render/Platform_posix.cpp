#include "Platform.h"

#include <unistd.h>

namespace ofxrender {

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }

char pathListSeparator() { return ':'; }

std::string standardPluginFolder() { return "/usr/OFX/Plugins"; }

unsigned long processId() { return static_cast<unsigned long>(getpid()); }

} // namespace ofxrender
