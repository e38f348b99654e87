#include "Progress.h"

#include <algorithm>
#include <cmath>

namespace ofxrender {

std::string clockText(double seconds) {
    const long long s = std::max(0LL, static_cast<long long>(std::llround(seconds)));
    char text[32];
    if (s >= 3600) {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", s / 60, s % 60);
    }
    return text;
}

std::string progressLine(int done, int total, double elapsedSeconds, bool bar) {
    std::string line;
    if (bar) {
        const int width = 30;
        const int filled = total > 0 ? std::min(width, done * width / total) : width;
        line = "[" + std::string(static_cast<std::size_t>(filled), '#') +
               std::string(static_cast<std::size_t>(width - filled), '.') + "] ";
    }
    line += std::to_string(done) + "/" + std::to_string(total) + " frames";
    if (done > 0 && elapsedSeconds > 0.0) {
        const double fps = done / elapsedSeconds;
        char rate[32];
        std::snprintf(rate, sizeof rate, "  %.1f fps", fps);
        line += rate;
        line += "  " + clockText((total - done) / fps) + " left";
    }
    return line;
}

Progress::Progress(int total, std::FILE* out, bool terminal)
    : total_(total), out_(out), terminal_(terminal), start_(std::chrono::steady_clock::now()) {}

double Progress::elapsedSeconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Progress::frameDone(int frame, const std::string& file) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++done_;
    const std::string line = progressLine(done_, total_, elapsedSeconds(), terminal_);
    if (terminal_) {
        std::fprintf(out_, "\r%s\x1b[K", line.c_str());
        drawn_ = true;
    } else {
        std::fprintf(out_, "frame %d -> %s  (%s)\n", frame, file.c_str(), line.c_str());
    }
    std::fflush(out_);
}

void Progress::finish() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (drawn_) {
        std::fputc('\n', out_);
        std::fflush(out_);
        drawn_ = false;
    }
}

} // namespace ofxrender
