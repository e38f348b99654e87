#include "ContactSheet.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace ofxrender {

namespace {

// A 3x5 font, one bit per dot, top row in the highest bits.
std::uint16_t glyph(char c) {
    static const std::uint16_t digits[10] = {
        0x7B6F, // 0: 111 101 101 101 111
        0x2C97, // 1: 010 110 010 010 111
        0x73E7, // 2: 111 001 111 100 111
        0x73CF, // 3: 111 001 111 001 111
        0x5BC9, // 4: 101 101 111 001 001
        0x79CF, // 5: 111 100 111 001 111
        0x79EF, // 6: 111 100 111 101 111
        0x7249, // 7: 111 001 001 001 001
        0x7BEF, // 8: 111 101 111 101 111
        0x7BCF, // 9: 111 101 111 001 111
    };
    if (c >= '0' && c <= '9') {
        return digits[c - '0'];
    }
    if (c == '-') {
        return 0x01C0; // 000 000 111 000 000
    }
    return 0;
}

} // namespace

SheetLayout sheetLayout(int count, int frameWidth, int frameHeight, int columns) {
    SheetLayout l;
    if (count <= 0 || frameWidth <= 0 || frameHeight <= 0) {
        return l;
    }
    l.columns =
        columns > 0
            ? std::min(columns, count)
            : std::max(1, static_cast<int>(std::ceil(std::sqrt(static_cast<double>(count)))));
    l.rows = (count + l.columns - 1) / l.columns;
    l.thumbWidth = std::min(frameWidth, SheetLayout::kMaxThumbWidth);
    l.thumbHeight = std::max(1, static_cast<int>(std::lround(static_cast<double>(frameHeight) *
                                                             l.thumbWidth / frameWidth)));
    l.cellWidth = l.thumbWidth + SheetLayout::kPad;
    l.cellHeight = l.thumbHeight + SheetLayout::kLabelHeight + SheetLayout::kPad;
    l.width = l.columns * l.cellWidth + SheetLayout::kPad;
    l.height = l.rows * l.cellHeight + SheetLayout::kPad;
    return l;
}

Thumbnail makeThumbnail(int frameNumber, const Frame& frame, const SheetLayout& layout) {
    return {frameNumber, resize(frame, layout.thumbWidth, layout.thumbHeight)};
}

void drawText(Frame& image, int x, int y, const std::string& text, int scale, const float rgb[3]) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::uint16_t bits = glyph(text[i]);
        const int left = x + static_cast<int>(i) * 4 * scale;
        for (int row = 0; row < 5; ++row) {
            for (int col = 0; col < 3; ++col) {
                if ((bits >> (14 - (row * 3 + col)) & 1) == 0) {
                    continue;
                }
                for (int dy = 0; dy < scale; ++dy) {
                    for (int dx = 0; dx < scale; ++dx) {
                        const int px = left + col * scale + dx;
                        const int py = y + row * scale + dy;
                        if (px >= 0 && py >= 0 && px < image.width && py < image.height) {
                            float* p = image.at(px, py);
                            p[0] = rgb[0];
                            p[1] = rgb[1];
                            p[2] = rgb[2];
                            p[3] = 1.0f;
                        }
                    }
                }
            }
        }
    }
}

Frame contactSheet(const std::vector<Thumbnail>& thumbnails, const SheetLayout& layout) {
    Frame sheet(layout.width, layout.height);
    for (std::size_t i = 0; i < sheet.pixels.size(); i += 4) {
        sheet.pixels[i] = sheet.pixels[i + 1] = sheet.pixels[i + 2] = 0.12f;
        sheet.pixels[i + 3] = 1.0f;
    }
    const float ink[3] = {0.95f, 0.95f, 0.95f};
    for (std::size_t n = 0; n < thumbnails.size(); ++n) {
        const int column = static_cast<int>(n) % std::max(1, layout.columns);
        const int row = static_cast<int>(n) / std::max(1, layout.columns);
        const int left = SheetLayout::kPad + column * layout.cellWidth;
        const int top = SheetLayout::kPad + row * layout.cellHeight;
        const Frame& t = thumbnails[n].image;
        for (int y = 0; y < layout.thumbHeight && y < t.height; ++y) {
            for (int x = 0; x < layout.thumbWidth && x < t.width; ++x) {
                if (left + x >= sheet.width || top + y >= sheet.height) {
                    continue;
                }
                const float check = ((x / 8 + y / 8) % 2 == 0) ? 0.8f : 0.55f;
                const float* s = t.at(x, y);
                float* d = sheet.at(left + x, top + y);
                const float under = 1.0f - std::clamp(s[3], 0.0f, 1.0f);
                for (int c = 0; c < 3; ++c) {
                    d[c] = std::clamp(s[c] + check * under, 0.0f, 1.0f);
                }
                d[3] = 1.0f;
            }
        }
        drawText(sheet, left, top + layout.thumbHeight + 3, std::to_string(thumbnails[n].frame),
                 SheetLayout::kFontScale, ink);
    }
    return sheet;
}

} // namespace ofxrender
