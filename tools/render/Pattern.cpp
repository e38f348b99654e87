#include "Pattern.h"

#include "Error.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace ofxrender {

namespace {

std::optional<int> parseInt(std::string_view text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    if (text.empty() || r.ec != std::errc() || r.ptr != end) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<std::vector<int>> parseFrameList(std::string_view text, std::string* error) {
    auto fail = [&](const std::string& why) -> std::optional<std::vector<int>> {
        if (error != nullptr) {
            *error = "bad frame list '" + std::string(text) + "': " + why;
        }
        return std::nullopt;
    };
    const char* const form = "expected frames like 1-48x2,60,72-80 (whole numbers)";
    std::vector<int> frames;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        const std::string_view item =
            text.substr(start, comma == std::string_view::npos ? comma : comma - start);
        // "A", "A-B" or "A-BxN". The separating '-' is the first one after
        // the first character, so that the first number may be negative.
        const std::size_t x = item.find('x');
        const std::string_view range = item.substr(0, x);
        const std::size_t dash = range.size() > 1 ? range.find('-', 1) : std::string_view::npos;
        const auto first = parseInt(range.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : parseInt(range.substr(dash + 1));
        const auto step =
            x == std::string_view::npos ? std::optional<int>(1) : parseInt(item.substr(x + 1));
        if (!first || !last || !step ||
            (x != std::string_view::npos && dash == std::string_view::npos)) {
            return fail(item.empty() ? std::string("an empty item; ") + form
                                     : "'" + std::string(item) + "': " + form);
        }
        if (*last < *first) {
            return fail("'" + std::string(item) + "': the last frame comes before the first");
        }
        if (*step < 1) {
            return fail("'" + std::string(item) + "': the step must be 1 or more");
        }
        // In 64 bits: the span of two ints does not fit in one.
        const long long count = (static_cast<long long>(*last) - *first) / *step + 1;
        if (count + static_cast<long long>(frames.size()) > kMaxFrames) {
            return fail("more than " + std::to_string(kMaxFrames) + " frames");
        }
        for (long long i = 0; i < count; ++i) {
            frames.push_back(static_cast<int>(*first + i * *step));
        }
        if (comma == std::string_view::npos) {
            break;
        }
        start = comma + 1;
    }
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
    return frames;
}

SequencePattern SequencePattern::parse(const std::string& text) {
    SequencePattern p;
    p.text_ = text;
    // Only the file name may hold the frame number, not its folders.
    const std::size_t slash = text.find_last_of("/\\");
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;

    std::size_t start = std::string::npos;
    std::size_t length = 0;
    int padding = 0;
    int found = 0;
    for (std::size_t i = nameStart; i < text.size();) {
        if (text[i] == '#') {
            std::size_t j = i;
            while (j < text.size() && text[j] == '#') {
                ++j;
            }
            start = i;
            length = j - i;
            padding = static_cast<int>(length);
            ++found;
            i = j;
        } else if (text[i] == '%') {
            std::size_t j = i + 1;
            while (j < text.size() && std::isdigit(static_cast<unsigned char>(text[j])) != 0) {
                ++j;
            }
            if (j < text.size() && text[j] == '%' && j == i + 1) {
                i = j + 1; // "%%" is a literal percent sign
                continue;
            }
            if (j >= text.size() || text[j] != 'd') {
                throw usageError("bad file pattern '" + text +
                                 "': a '%' must be a frame number like %04d or %d");
            }
            const std::string digits = text.substr(i + 1, j - i - 1);
            padding = digits.empty() ? 0 : std::stoi(digits);
            if (padding > 32) {
                throw usageError("bad file pattern '" + text + "': padding over 32 digits");
            }
            start = i;
            length = j + 1 - i;
            ++found;
            i = j + 1;
        } else {
            ++i;
        }
    }
    if (found > 1) {
        throw usageError("bad file pattern '" + text + "': more than one frame number in it");
    }
    if (found == 1) {
        p.hasFrame_ = true;
        p.padding_ = padding;
        p.prefix_ = text.substr(0, start);
        p.suffix_ = text.substr(start + length);
    }
    return p;
}

std::string SequencePattern::fileFor(int frame) const {
    if (!hasFrame_) {
        return text_;
    }
    std::string digits = std::to_string(frame < 0 ? -static_cast<long long>(frame) : frame);
    if (static_cast<int>(digits.size()) < padding_) {
        digits.insert(0, static_cast<std::size_t>(padding_) - digits.size(), '0');
    }
    return prefix_ + (frame < 0 ? "-" : "") + digits + suffix_;
}

std::vector<int> SequencePattern::framesOnDisk() const {
    std::vector<int> frames;
    if (!hasFrame_) {
        return frames;
    }
    const fs::path prefixPath(prefix_);
    const std::string namePrefix = prefixPath.filename().string();
    fs::path folder = prefixPath.parent_path();
    // "shot." has filename "shot."; "dir/" has an empty one and folder "dir".
    if (!prefix_.empty() && (prefix_.back() == '/' || prefix_.back() == '\\')) {
        folder = fs::path(prefix_);
    }
    std::error_code ec;
    fs::directory_iterator it(folder.empty() ? fs::path(".") : folder, ec);
    if (ec) {
        return frames;
    }
    for (const fs::directory_entry& entry : it) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= namePrefix.size() + suffix_.size() ||
            name.compare(0, namePrefix.size(), namePrefix) != 0 ||
            name.compare(name.size() - suffix_.size(), suffix_.size(), suffix_) != 0) {
            continue;
        }
        const std::string middle =
            name.substr(namePrefix.size(), name.size() - namePrefix.size() - suffix_.size());
        const auto frame = parseInt(middle);
        // Only names this pattern would write itself (same padding).
        if (frame && fs::path(fileFor(*frame)).filename().string() == name) {
            frames.push_back(*frame);
        }
    }
    std::sort(frames.begin(), frames.end());
    return frames;
}

} // namespace ofxrender
