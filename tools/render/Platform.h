#pragma once

#include <cstdio>
#include <string>

namespace ofxrender {

// Whether `stream` is an interactive terminal (progress is drawn in place).
bool isTerminal(std::FILE* stream);
// A number that differs between processes, for temporary file names.
unsigned long processId();

} // namespace ofxrender
