// ofx-render: applies an OpenFX image effect to image sequences from the
// command line, through our own host. See Cli.cpp for the commands.

#include "Cli.h"
#include "Interrupt.h"

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    static std::atomic<bool> cancelled{false};
    ofxrender::installInterruptHandler(&cancelled);
    std::vector<std::string> args(argv + 1, argv + argc);
    return ofxrender::runCommand(args, stdout, stderr, &cancelled);
}
