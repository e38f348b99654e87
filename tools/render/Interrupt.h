#pragma once

#include <atomic>
#include <string>

namespace ofxrender {

// Ctrl-C, as a studio tool takes it. The first one (or a termination request)
// sets `*flag`, which the renderer hands to our host as its abort flag, and
// says on stderr what happens next; a second one removes every file being
// written and ends the process at once with status 130. Platform code.
void installInterruptHandler(std::atomic<bool>* flag);

// Marks a file as being written for as long as it lives, so that quitting at
// once removes it instead of leaving it half-written.
class FileBeingWritten {
public:
    explicit FileBeingWritten(const std::string& path);
    ~FileBeingWritten();
    FileBeingWritten(const FileBeingWritten&) = delete;
    FileBeingWritten& operator=(const FileBeingWritten&) = delete;

private:
    int slot_ = -1;
    char* path_ = nullptr;
};

// Removes every file marked now. Safe in a signal handler: it takes no lock
// and allocates nothing.
void removeFilesBeingWritten() noexcept;
// Removes one file; safe in a signal handler. Platform code.
void removeFileNow(const char* path) noexcept;

} // namespace ofxrender
