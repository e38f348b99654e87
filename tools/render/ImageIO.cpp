#include "ImageIO.h"

#include "Error.h"
#include "Image.h"
#include "Interrupt.h"
#include "Platform.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;
OIIO_NAMESPACE_USING

namespace ofxrender {

std::optional<Depth> parseDepth(const std::string& text) {
    if (text == "8") {
        return Depth::U8;
    }
    if (text == "16") {
        return Depth::U16;
    }
    if (text == "float" || text == "32") {
        return Depth::Float;
    }
    return std::nullopt;
}

const char* depthName(Depth depth) {
    switch (depth) {
    case Depth::U8:
        return "8-bit";
    case Depth::U16:
        return "16-bit";
    case Depth::Float:
        break;
    }
    return "float";
}

const char* alphaName(Alpha alpha) {
    return alpha == Alpha::Straight ? "straight" : "premultiplied";
}

std::string formatOf(const std::string& path) {
    std::string ext = fs::path(path).extension().string();
    if (!ext.empty() && ext[0] == '.') {
        ext.erase(0, 1);
    }
    for (char& c : ext) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return ext;
}

std::string ofxDepthFor(Depth depth, const std::string& path) {
    // OpenEXR's 16 bits are half floats: render in float and let the file
    // round them.
    if (depth == Depth::Float || formatOf(path) == "exr") {
        return kOfxBitDepthFloat;
    }
    return depth == Depth::U16 ? kOfxBitDepthShort : kOfxBitDepthByte;
}

Alpha defaultAlpha(const std::string& path) {
    static const char* const straight[] = {"png", "tif", "tiff", "tga", "jpg", "jpeg", "webp"};
    const std::string f = formatOf(path);
    for (const char* s : straight) {
        if (f == s) {
            return Alpha::Straight;
        }
    }
    return Alpha::Premultiplied;
}

std::string depthProblem(const std::string& path, Depth depth) {
    const std::string f = formatOf(path);
    if (f == "png" && depth == Depth::Float) {
        return "PNG cannot hold float pixels: use --depth 8 or 16, or write OpenEXR (.exr)";
    }
    if ((f == "jpg" || f == "jpeg") && depth != Depth::U8) {
        return "JPEG holds 8-bit pixels only: use --depth 8, or write PNG, TIFF or OpenEXR";
    }
    if (f == "exr" && depth == Depth::U8) {
        return "OpenEXR holds half or float pixels: use --depth 16 (half) or float";
    }
    if (f == "dpx" && depth == Depth::Float) {
        return "DPX is written as 8 or 16 bits here: use --depth 8 or 16, or write OpenEXR";
    }
    return "";
}

Frame readImage(const std::string& path, std::optional<Alpha> stored, ImageInfo* info) {
    std::error_code ec;
    if (!fs::exists(path, ec)) {
        throw failure("missing input file " + path);
    }
    // The stored values as they are: premultiplication is ours to do.
    ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto in = ImageInput::open(path, &config);
    if (!in) {
        std::string why = OIIO::geterror();
        std::replace(why.begin(), why.end(), '\n', ' ');
        throw failure("cannot read " + path + ": " + (why.empty() ? "unknown format" : why));
    }
    const ImageSpec imageSpec = in->spec();
    const int w = imageSpec.width;
    const int h = imageSpec.height;
    const int nc = imageSpec.nchannels;
    if (w <= 0 || h <= 0 || nc <= 0) {
        throw failure("cannot read " + path + ": it holds no pixels");
    }
    std::vector<float> raw(std::size_t(w) * std::size_t(h) * std::size_t(nc));
    if (!in->read_image(0, 0, 0, nc, TypeDesc::FLOAT, raw.data())) {
        std::string why = in->geterror();
        std::replace(why.begin(), why.end(), '\n', ' ');
        throw failure("cannot read " + path + ": " + why);
    }
    in->close();

    int alphaChannel = imageSpec.alpha_channel;
    if (alphaChannel < 0 && (nc == 2 || nc >= 4)) {
        alphaChannel = nc == 2 ? 1 : 3;
    }
    Alpha state = imageSpec.get_int_attribute("oiio:UnassociatedAlpha", 0) != 0
                      ? Alpha::Straight
                      : defaultAlpha(path);
    if (stored) {
        state = *stored;
    }
    Frame frame(w, h);
    for (std::size_t i = 0; i < std::size_t(w) * std::size_t(h); ++i) {
        const float* s = &raw[i * std::size_t(nc)];
        float* d = &frame.pixels[i * 4];
        const float a = alphaChannel >= 0 ? s[alphaChannel] : 1.0f;
        if (nc < 3) {
            d[0] = d[1] = d[2] = s[0];
        } else {
            d[0] = s[0];
            d[1] = s[1];
            d[2] = s[2];
        }
        if (state == Alpha::Straight) {
            d[0] *= a;
            d[1] *= a;
            d[2] *= a;
        }
        d[3] = a;
    }
    if (info != nullptr) {
        info->stored = state;
        info->channels = nc;
        info->depth = imageSpec.format == TypeDesc::UINT8    ? Depth::U8
                      : imageSpec.format == TypeDesc::UINT16 ? Depth::U16
                                                             : Depth::Float;
    }
    return frame;
}

std::string temporaryNameFor(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    const fs::path p(path);
    const std::string name = "." + p.stem().string() + ".tmp-" + std::to_string(processId()) + "-" +
                             std::to_string(counter.fetch_add(1)) + p.extension().string();
    return (p.parent_path() / name).string();
}

void writeImage(const std::string& path, const Frame& frame, Depth depth, Alpha stored) {
    const std::string problem = depthProblem(path, depth);
    if (!problem.empty()) {
        throw usageError("cannot write " + path + ": " + problem);
    }
    const std::string f = formatOf(path);
    const bool noAlpha = f == "jpg" || f == "jpeg";
    const int nc = noAlpha ? 3 : 4;
    TypeDesc type = depth == Depth::U8    ? TypeDesc::UINT8
                    : depth == Depth::U16 ? TypeDesc::UINT16
                                          : TypeDesc::FLOAT;
    if (f == "exr" && depth == Depth::U16) {
        type = TypeDesc::HALF;
    }
    ImageSpec imageSpec(frame.width, frame.height, nc, type);
    if (!noAlpha) {
        imageSpec.alpha_channel = 3;
    }
    // Every format gets the values exactly as we store them: PNG would
    // otherwise divide by alpha itself, and TIFF records which they are.
    imageSpec.attribute("oiio:UnassociatedAlpha",
                        (stored == Alpha::Straight || f == "png") ? 1 : 0);

    std::vector<float> data(std::size_t(frame.width) * std::size_t(frame.height) * nc);
    for (std::size_t i = 0; i < std::size_t(frame.width) * std::size_t(frame.height); ++i) {
        const float* s = &frame.pixels[i * 4];
        float* d = &data[i * std::size_t(nc)];
        const float a = s[3];
        const float k = stored == Alpha::Straight ? (a > 0.0f ? 1.0f / a : 0.0f) : 1.0f;
        for (int c = 0; c < 3; ++c) {
            d[c] = s[c] * k;
        }
        if (!noAlpha) {
            d[3] = a;
        }
    }

    auto out = ImageOutput::create(path);
    if (!out) {
        std::string why = OIIO::geterror();
        std::replace(why.begin(), why.end(), '\n', ' ');
        throw usageError("cannot write " + path + ": " +
                         (why.empty() ? "no image writer for that extension" : why));
    }
    const std::string temporary = temporaryNameFor(path);
    const FileBeingWritten marked(temporary);
    auto discard = [&](const std::string& why) {
        out.reset();
        std::error_code ignored;
        fs::remove(temporary, ignored);
        std::string text = why;
        std::replace(text.begin(), text.end(), '\n', ' ');
        return failure("cannot write " + path + ": " + text);
    };
    if (!out->open(temporary, imageSpec)) {
        throw discard(out->geterror());
    }
    if (!out->write_image(TypeDesc::FLOAT, data.data())) {
        throw discard(out->geterror());
    }
    if (!out->close()) {
        throw discard(out->geterror());
    }
    out.reset();
    std::error_code ec;
    fs::rename(temporary, path, ec);
    if (ec) {
        throw discard(ec.message());
    }
}

Frame resize(const Frame& frame, int width, int height) {
    if (width == frame.width && height == frame.height) {
        return frame;
    }
    ImageSpec fromSpec(frame.width, frame.height, 4, TypeDesc::FLOAT);
    ImageBuf from(fromSpec, const_cast<float*>(frame.pixels.data()));
    ImageBuf to(ImageSpec(width, height, 4, TypeDesc::FLOAT));
    ImageBufAlgo::resize(to, from);
    Frame out(width, height);
    to.get_pixels(ROI(0, width, 0, height, 0, 1, 0, 4), TypeDesc::FLOAT, out.pixels.data());
    return out;
}

std::unique_ptr<ofxhost::ImageBuffer> toImageBuffer(const Frame& frame, const std::string& depth) {
    auto buffer = std::make_unique<ofxhost::ImageBuffer>(OfxRectI{0, 0, frame.width, frame.height},
                                                         depth, kOfxImageComponentRGBA);
    for (int y = 0; y < frame.height; ++y) {
        const float* s = frame.at(0, frame.height - 1 - y);
        void* row = buffer->pixel(0, y);
        const std::size_t n = std::size_t(frame.width) * 4;
        if (depth == kOfxBitDepthFloat) {
            std::memcpy(row, s, n * sizeof(float));
        } else if (depth == kOfxBitDepthShort) {
            auto* d = static_cast<std::uint16_t*>(row);
            for (std::size_t i = 0; i < n; ++i) {
                d[i] = static_cast<std::uint16_t>(std::clamp(s[i], 0.0f, 1.0f) * 65535.0f + 0.5f);
            }
        } else {
            auto* d = static_cast<std::uint8_t*>(row);
            for (std::size_t i = 0; i < n; ++i) {
                d[i] = static_cast<std::uint8_t>(std::clamp(s[i], 0.0f, 1.0f) * 255.0f + 0.5f);
            }
        }
    }
    return buffer;
}

Frame fromImageBuffer(const ofxhost::ImageBuffer& buffer, bool premultiplied) {
    Frame frame(buffer.width(), buffer.height());
    const int nc = buffer.componentCount();
    const OfxRectI b = buffer.bounds();
    for (int y = 0; y < frame.height; ++y) {
        float* d = frame.at(0, frame.height - 1 - y);
        for (int x = 0; x < frame.width; ++x, d += 4) {
            const std::uint8_t* p =
                static_cast<const std::uint8_t*>(buffer.pixel(b.x1 + x, b.y1 + y));
            float v[4] = {0.f, 0.f, 0.f, 1.f};
            const int bytes = ofxhost::bytesPerComponent(buffer.depth());
            for (int c = 0; c < nc; ++c) {
                v[c] = ofxhost::readComponent(p + c * bytes, buffer.depth());
            }
            if (nc == 1) { // alpha only
                v[3] = v[0];
                v[0] = v[1] = v[2] = 0.f;
            } else if (nc == 3) {
                v[3] = 1.f;
            }
            const float k = premultiplied ? 1.0f : v[3];
            d[0] = v[0] * k;
            d[1] = v[1] * k;
            d[2] = v[2] * k;
            d[3] = v[3];
        }
    }
    return frame;
}

} // namespace ofxrender
