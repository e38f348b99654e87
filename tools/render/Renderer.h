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
    std::string output;                     // sequence pattern (a plain name for one frame)
    std::optional<std::vector<int>> frames; // ascending, each once
    std::vector<std::string> settings;      // "name=value"
    std::optional<Depth> depth;
    double scale = 1.0;
    int threads = 0;            // 0: as many as useful
    std::optional<Alpha> alpha; // how input and output files store colour
    std::string contactSheet;
    int sheetColumns = 0; // 0: as square as the frame count allows
    std::vector<std::string> pluginFolders;
};

// How long one frame took, from reading its source to its file being whole.
struct FrameTime {
    int frame = 0;
    double seconds = 0.0;
};

struct RenderReport {
    ExitCode code = ExitCode::Ok;
    std::string message; // the one-line reason when code is not Ok
    int requested = 0;
    std::vector<int> written; // frame numbers, in order
    int stoppedInFlight = 0;  // frames cancelled while rendering, not written
    double seconds = 0.0;
    std::optional<FrameTime> slowest; // of the frames written
    int threads = 1;
};

// The last line of a render: "wrote 48 of 48 frames to out/f.####.png in
// 12.0 s (4.0 fps); slowest frame 17 (0.41 s)".
std::string summaryLine(const RenderReport& report, const std::string& output);

// Renders the frames of `options`, showing progress and a summary on `out`
// (`terminal`: draw the bar in place). Every problem with the command line,
// the input, the plug-in or its parameters is found before the first frame
// renders. `cancel` (Ctrl-C) is the host's abort flag: once it is set no
// frame starts, frames rendering stop at the plug-in's next progress check
// and are not written, and no contact sheet is made.
RenderReport render(const RenderOptions& options, std::FILE* out, bool terminal,
                    const std::atomic<bool>* cancel = nullptr);

} // namespace ofxrender
