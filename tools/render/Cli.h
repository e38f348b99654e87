#pragma once

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

namespace ofxrender {

// The whole command: `args` without the program name. Output goes to `out`,
// one-line errors to `err`; returns the exit status.
int runCommand(const std::vector<std::string>& args, std::FILE* out, std::FILE* err,
               const std::atomic<bool>* cancel = nullptr);

} // namespace ofxrender
