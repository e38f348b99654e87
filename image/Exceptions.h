#pragma once

#include <exception>
#include <string>
#include <utility>

namespace VX {

// The framework's own failure with a readable text. The bridge reports the
// text to the host's message suite.
class Exception : public std::exception {
public:
    explicit Exception(std::string text) : text_(std::move(text)) {}
    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
};

// Thrown when the host asks to abort a render. Deliberately not a
// std::exception, so that generic handlers never mistake a cancel for a
// failure; the render action catches it by name.
struct Interrupted {};

} // namespace VX
