#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>

namespace ofxrender {

// "[#######.......]  7/24 frames  3.1 fps  0:05 left" (with `bar`), or
// "7/24 frames  3.1 fps  0:05 left"; rates and times once a frame is done.
std::string progressLine(int done, int total, double elapsedSeconds, bool bar);
// "1:05" or "1:02:05".
std::string clockText(double seconds);

// Shows render progress: redrawn in place on a terminal, one line per frame
// otherwise (logs and pipelines). Safe to call from several render threads.
class Progress {
public:
    Progress(int total, std::FILE* out, bool terminal);
    void frameDone(int frame, const std::string& file);
    // Ends the in-place line, if one is drawn.
    void finish();
    double elapsedSeconds() const;

private:
    int total_;
    int done_ = 0;
    std::FILE* out_;
    bool terminal_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point start_;
    std::mutex mutex_;
};

} // namespace ofxrender
