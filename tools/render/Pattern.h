#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ofxrender {

// An inclusive range of frame numbers, "A-B" or "A" on the command line.
struct FrameRange {
    int first = 0;
    int last = 0;
    int count() const { return last - first + 1; }
};

// Parses "12", "0-23" or "-5--1"; nullopt (and a reason in *error) for
// anything else, including a range that runs backwards.
std::optional<FrameRange> parseFrameRange(std::string_view text, std::string* error = nullptr);

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
