#include "Interrupt.h"
#include "Platform.h"

#include <io.h>
#include <windows.h>

namespace ofxrender {

bool isTerminal(std::FILE* stream) { return _isatty(_fileno(stream)) != 0; }

unsigned long processId() { return static_cast<unsigned long>(GetCurrentProcessId()); }

void removeFileNow(const char* path) noexcept { DeleteFileA(path); }

namespace {

std::atomic<bool>* interruptFlag = nullptr;
std::atomic<int> interrupts{0};

void say(const char* text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(lstrlenA(text)), &written,
              nullptr);
}

// Windows runs this on a thread of its own.
BOOL WINAPI onConsoleEvent(DWORD event) {
    const bool interrupt = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    if (interrupt && interrupts.fetch_add(1) == 0) {
        if (interruptFlag != nullptr) {
            interruptFlag->store(true);
        }
        say("\nofx-render: stopping: frames being rendered are abandoned "
            "(Ctrl-C again to quit at once)\n");
        return TRUE;
    }
    // A second Ctrl-C, or the console closing: now.
    removeFilesBeingWritten();
    say("\nofx-render: quit\n");
    ExitProcess(130);
}

} // namespace

void installInterruptHandler(std::atomic<bool>* flag) {
    interruptFlag = flag;
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
}

} // namespace ofxrender
