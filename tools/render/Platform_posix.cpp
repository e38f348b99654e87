#include "Interrupt.h"
#include "Platform.h"

#include <csignal>
#include <unistd.h>

namespace ofxrender {

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) != 0; }

unsigned long processId() { return static_cast<unsigned long>(getpid()); }

void removeFileNow(const char* path) noexcept { unlink(path); }

namespace {

std::atomic<bool>* interruptFlag = nullptr;
std::atomic<int> interrupts{0};

void say(const char* text, std::size_t length) {
    // Nothing to do if stderr is gone.
    if (write(STDERR_FILENO, text, length) < 0) {
        return;
    }
}

// Only async-signal-safe calls in here.
extern "C" void onInterrupt(int) {
    if (interrupts.fetch_add(1) == 0) {
        if (interruptFlag != nullptr) {
            interruptFlag->store(true);
        }
        static const char text[] = "\nofx-render: stopping: frames being rendered are abandoned "
                                   "(Ctrl-C again to quit at once)\n";
        say(text, sizeof text - 1);
        return;
    }
    removeFilesBeingWritten();
    static const char text[] = "\nofx-render: quit\n";
    say(text, sizeof text - 1);
    _exit(130);
}

} // namespace

void installInterruptHandler(std::atomic<bool>* flag) {
    interruptFlag = flag;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

} // namespace ofxrender
