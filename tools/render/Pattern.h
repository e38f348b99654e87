#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ofxrender {

// The most frames one command may ask for: enough for any shot, small enough
// that a typing slip such as "1-100000000" is caught instead of queued.
constexpr long long kMaxFrames = 1000000;

// Parses a frame list as render farms write them: comma-separated items, each
// a frame "60", a range "1-48" or a range with a step "1-48x2" (1, 3 .. 47).
// Frames may be negative ("-5--1"). The result is in ascending order with
// each frame once. nullopt (and a reason in *error) for anything else,
// including a range that runs backwards, a step below 1 and more than
// kMaxFrames frames.
std::optional<std::vector<int>> parseFrameList(std::string_view text, std::string* error = nullptr);

// A file name that may hold a frame number: "shot.####.png" (one '#' per
// digit), "shot.%04d.png" or "shot.%d.png". Without one it names a single file.
class SequencePattern {
public:
    // Throws RenderError (usage) for a malformed '%' directive or more than
    // one frame placeholder.
    static SequencePattern parse(const std::string& text);

    bool isSequence() const { return hasFrame_; }
    const std::string& text() const { return text_; }
    // Digits the frame number is padded to (0: no padding).
    int padding() const { return padding_; }
    // The file of `frame`; the text itself when it is not a sequence.
    std::string fileFor(int frame) const;
    // Frame numbers of the files of this sequence that exist, in order.
    std::vector<int> framesOnDisk() const;

private:
    std::string text_;
    std::string prefix_;
    std::string suffix_;
    int padding_ = 0;
    bool hasFrame_ = false;
};

} // namespace ofxrender
