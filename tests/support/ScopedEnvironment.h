#pragma once

// Sets an environment variable for the life of a scope, for tests of what a
// plug-in reads from its environment when it loads.

#include <cstdlib>
#include <optional>
#include <string>

namespace sqtest {

class ScopedEnvironment {
public:
    ScopedEnvironment(std::string name, const std::optional<std::string>& value)
        : name_(std::move(name)) {
        if (const char* before = std::getenv(name_.c_str()))
            before_ = before;
        set(value);
    }
    ~ScopedEnvironment() { set(before_); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    void set(const std::optional<std::string>& value) {
#ifdef _WIN32
        // An empty value removes the variable on Windows.
        _putenv_s(name_.c_str(), value ? value->c_str() : "");
#else
        if (value)
            setenv(name_.c_str(), value->c_str(), 1);
        else
            unsetenv(name_.c_str());
#endif
    }

    std::string name_;
    std::optional<std::string> before_;
};

} // namespace sqtest
