#pragma once

#include <stdexcept>
#include <string>

namespace ofxrender {

// How a run ends when it cannot go on; the process exit status follows it.
enum class ExitCode : int {
    Ok = 0,
    Failed = 1, // a frame could not be read, rendered or written
    Usage = 2,  // bad command line, unknown plug-in or parameter value
    Cancelled = 130,
};

// A failure reported to the user as one line, with the exit status it gives.
class RenderError : public std::runtime_error {
public:
    RenderError(ExitCode code, const std::string& message)
        : std::runtime_error(message), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

inline RenderError usageError(const std::string& message) {
    return RenderError(ExitCode::Usage, message);
}
inline RenderError failure(const std::string& message) {
    return RenderError(ExitCode::Failed, message);
}

} // namespace ofxrender
