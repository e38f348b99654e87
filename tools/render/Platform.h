#pragma once

#include <cstdio>
#include <string>

namespace ofxrender {

// Whether `stream` is an interactive terminal (progress is drawn in place).
bool isTerminal(std::FILE* stream);
// ':' on POSIX systems, ';' on Windows: separates the folders of OFX_PLUGIN_PATH.
char pathListSeparator();
// Where OpenFX plug-ins are installed for every host on this system.
std::string standardPluginFolder();
// A number that differs between processes, for temporary file names.
unsigned long processId();

} // namespace ofxrender
