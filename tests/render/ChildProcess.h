#pragma once

#include <string>
#include <vector>

// A program run by a test with its standard output and error on pipes, so
// that the test can wait for what it says, signal it, and read its exit
// status. Linux only: its standard output pipe is made as small as the
// system allows, so that a test that stops reading stops the program soon.
class ChildProcess {
public:
    ChildProcess(const std::string& program, const std::vector<std::string>& args);
    ~ChildProcess(); // kills it if still running
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Reads standard output (or error) until it holds `text`; false when the
    // stream ends first, or stays silent for two minutes (a hang, which no
    // test expects). Everything read is kept in out() / err().
    bool waitForOutput(const std::string& text);
    bool waitForError(const std::string& text);
    // Fills its standard output pipe, so that the next thing it prints
    // blocks until the test reads again.
    void fillOutputPipe();
    // Reads both streams to their end, then waits for the exit status:
    // 128 + signal when a signal ended it; -1 when it had not ended within
    // `limitSeconds` (it is then killed), which no test expects.
    int finish(int limitSeconds = 120);
    void signal(int number);

    const std::string& out() const { return out_; }
    const std::string& err() const { return err_; }

private:
    bool readUntil(int fd, std::string& into, std::size_t& scanned, const std::string& text);

    int pid_ = -1;
    int outFd_ = -1;
    int errFd_ = -1;
    std::string out_;
    std::string err_;
    std::size_t outScanned_ = 0;
    std::size_t errScanned_ = 0;
    int fillFd_ = -1; // our copy of the write end of its standard output
};
