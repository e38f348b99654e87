// ofx-render: applies an OpenFX image effect to image sequences from the
// command line, through our own host. See Cli.cpp for the commands.

#include "Cli.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

namespace {

std::atomic<bool> cancelled{false};

extern "C" void onInterrupt(int) {
    cancelled = true;
    // A second Ctrl-C ends the process at once.
    std::signal(SIGINT, SIG_DFL);
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    std::vector<std::string> args(argv + 1, argv + argc);
    return ofxrender::runCommand(args, stdout, stderr, &cancelled);
}
