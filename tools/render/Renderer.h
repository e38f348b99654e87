#pragma once

#include "Error.h"
#include "ImageIO.h"
#include "Pattern.h"

#include <atomic>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace ofxrender {

struct RenderOptions {
    std::string plugin; // identifier or bundle path
    std::string input;  // sequence pattern or still image; unused with `sample`
    bool sample = false;
    int sampleWidth = 480;
    int sampleHeight = 270;
    std::string output; // sequence pattern (a plain name for one frame)
    std::optional<FrameRange> frames;
    std::vector<std::string> settings; // "name=value"
    std::optional<Depth> depth;
    double scale = 1.0;
    int threads = 0;            // 0: as many as useful
    std::optional<Alpha> alpha; // how input and output files store colour
    std::string contactSheet;
    std::vector<std::string> pluginFolders;
};

struct RenderReport {
    ExitCode code = ExitCode::Ok;
    std::string message; // the one-line reason when code is not Ok
    int requested = 0;
    std::vector<int> written; // frame numbers, in order
    double seconds = 0.0;
    int threads = 1;
};

// Renders the frames of `options`, showing progress and a summary on `out`
// (`terminal`: draw the bar in place). Every problem with the command line,
// the input, the plug-in or its parameters is found before the first frame
// renders. `cancel` is polled between frames: frames already rendering are
// finished and written, no others start.
RenderReport render(const RenderOptions& options, std::FILE* out, bool terminal,
                    const std::atomic<bool>* cancel = nullptr);

} // namespace ofxrender
