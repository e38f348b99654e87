#include "PluginSearch.h"

namespace ofxhost {

char pluginPathSeparator() { return ':'; }

std::string standardPluginFolder() { return "/usr/OFX/Plugins"; }

} // namespace ofxhost
