#include "ChildProcess.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void closeFd(int& fd) {
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

} // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args) {
    int out[2];
    int err[2];
    if (pipe(out) != 0 || pipe(err) != 0) {
        throw std::runtime_error("pipe failed");
    }
    // The smallest pipe the system allows: a program whose output is not
    // read blocks after a page of it.
    if (fcntl(out[1], F_SETPIPE_SZ, 4096) < 0) {
        throw std::runtime_error("cannot make the output pipe small");
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        close(out[0]);
        close(out[1]);
        close(err[0]);
        close(err[1]);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    // The write end of standard output stays open here until the pipe has
    // been filled (or never will be), so that the test can fill it.
    outFd_ = out[0];
    errFd_ = err[0];
    close(err[1]);
    fillFd_ = out[1];
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeFd(outFd_);
    closeFd(errFd_);
    closeFd(fillFd_);
}

bool ChildProcess::readUntil(int fd, std::string& into, std::size_t& scanned,
                             const std::string& text) {
    for (;;) {
        const std::size_t at = into.find(text, scanned);
        if (at != std::string::npos) {
            scanned = at + text.size();
            return true;
        }
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 120 * 1000) <= 0) {
            return false;
        }
        char buffer[4096];
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n <= 0) {
            return false;
        }
        into.append(buffer, static_cast<std::size_t>(n));
    }
}

bool ChildProcess::waitForOutput(const std::string& text) {
    return readUntil(outFd_, out_, outScanned_, text);
}

bool ChildProcess::waitForError(const std::string& text) {
    return readUntil(errFd_, err_, errScanned_, text);
}

void ChildProcess::fillOutputPipe() {
    const int flags = fcntl(fillFd_, F_GETFL);
    fcntl(fillFd_, F_SETFL, flags | O_NONBLOCK);
    const char filler[256] = {};
    while (write(fillFd_, filler, sizeof filler) > 0) {
    }
    // Writes up to PIPE_BUF go in whole or not at all: the last few bytes
    // of room are taken one at a time.
    while (write(fillFd_, filler, 1) > 0) {
    }
    closeFd(fillFd_);
}

void ChildProcess::signal(int number) { kill(pid_, number); }

int ChildProcess::finish(int limitSeconds) {
    closeFd(fillFd_);
    // Both streams to their end, whichever has data first.
    pollfd fds[2] = {{outFd_, POLLIN, 0}, {errFd_, POLLIN, 0}};
    int open = 2;
    int waited = 0;
    while (open > 0) {
        const int ready = poll(fds, 2, 1000);
        if (ready == 0) {
            if (++waited >= limitSeconds) {
                break;
            }
            continue;
        }
        for (pollfd& p : fds) {
            if (p.fd < 0 || p.revents == 0) {
                continue;
            }
            char buffer[4096];
            const ssize_t n = read(p.fd, buffer, sizeof buffer);
            if (n <= 0) {
                p.fd = -1;
                --open;
            } else {
                (p.fd == outFd_ ? out_ : err_).append(buffer, static_cast<std::size_t>(n));
            }
        }
    }
    int status = 0;
    if (open > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return -1;
    }
    waitpid(pid_, &status, 0);
    pid_ = -1;
    // What fillOutputPipe wrote (zero bytes) is not the program's.
    out_.erase(std::remove(out_.begin(), out_.end(), '\0'), out_.end());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
