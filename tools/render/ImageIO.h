#pragma once

#include "Image.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ofxrender {

// Pixels between the files and the plug-in: RGBA floats with premultiplied
// alpha, the top row first.
struct Frame {
    int width = 0;
    int height = 0;
    std::vector<float> pixels;

    Frame() = default;
    Frame(int w, int h) : width(w), height(h), pixels(std::size_t(w) * std::size_t(h) * 4, 0.f) {}
    float* at(int x, int y) { return &pixels[(std::size_t(y) * std::size_t(width) + x) * 4]; }
    const float* at(int x, int y) const {
        return &pixels[(std::size_t(y) * std::size_t(width) + x) * 4];
    }
};

enum class Depth { U8, U16, Float };
enum class Alpha { Straight, Premultiplied };

// "8", "16" or "float"; nullopt for anything else.
std::optional<Depth> parseDepth(const std::string& text);
const char* depthName(Depth depth); // "8-bit", "16-bit", "float"
const char* alphaName(Alpha alpha); // "straight", "premultiplied"
// The kOfxBitDepth... the plug-in renders in to give `depth` in `path`.
std::string ofxDepthFor(Depth depth, const std::string& path);

// The lower-case extension without its dot: "png", "exr"...
std::string formatOf(const std::string& path);
// How a format stores colour with alpha when nothing says otherwise: PNG,
// TIFF, Targa, JPEG and WebP straight; OpenEXR, DPX and the rest premultiplied.
Alpha defaultAlpha(const std::string& path);
// Why `path` cannot be written at `depth` (empty when it can).
std::string depthProblem(const std::string& path, Depth depth);

struct ImageInfo {
    Alpha stored = Alpha::Premultiplied;
    Depth depth = Depth::U8;
    int channels = 0;
};

// Reads the first image of `path`; grey, grey+alpha, RGB and RGBA files
// become RGBA (no alpha: opaque). `stored` overrides what the file says of
// its alpha. Throws RenderError (failed) naming the file and the reason.
Frame readImage(const std::string& path, std::optional<Alpha> stored = std::nullopt,
                ImageInfo* info = nullptr);

// Writes `frame` to `path` at `depth`, its colour stored as `stored`, under a
// temporary name in the same folder renamed to `path` once complete, so that
// `path` is either absent or whole. Throws RenderError (failed).
void writeImage(const std::string& path, const Frame& frame, Depth depth, Alpha stored);
// The temporary name writeImage uses for `path` (it starts with ".").
std::string temporaryNameFor(const std::string& path);

// A filtered resize (render scales and thumbnails).
Frame resize(const Frame& frame, int width, int height);

// Between frames and the plug-in's images (rows bottom up there).
// `premultiplied`: what the buffer's alpha state is.
std::unique_ptr<ofxhost::ImageBuffer> toImageBuffer(const Frame& frame, const std::string& depth);
Frame fromImageBuffer(const ofxhost::ImageBuffer& buffer, bool premultiplied);

} // namespace ofxrender
