#pragma once

#include "ImageIO.h"

#include <string>
#include <vector>

namespace ofxrender {

// Where the frames go on a contact sheet: a grid as close to square as the
// count allows (or `columns` wide: one row of 48 is a timeline strip),
// thumbnails at most kMaxThumbWidth wide, each with its frame number under it.
struct SheetLayout {
    static constexpr int kMaxThumbWidth = 160;
    static constexpr int kPad = 8;
    static constexpr int kFontScale = 2;
    static constexpr int kLabelHeight = 5 * kFontScale + 4;

    int columns = 0;
    int rows = 0;
    int thumbWidth = 0;
    int thumbHeight = 0;
    int cellWidth = 0;
    int cellHeight = 0;
    int width = 0;
    int height = 0;
};

SheetLayout sheetLayout(int count, int frameWidth, int frameHeight, int columns = 0);

struct Thumbnail {
    int frame = 0;
    Frame image; // thumbWidth x thumbHeight of the layout
};

Thumbnail makeThumbnail(int frameNumber, const Frame& frame, const SheetLayout& layout);

// The sheet, opaque: each thumbnail over a checkerboard (transparent frames
// show as the checkerboard alone), labelled with its frame number. Thumbnails
// are placed in the order given.
Frame contactSheet(const std::vector<Thumbnail>& thumbnails, const SheetLayout& layout);

// Draws `text` (digits and '-'; other characters are skipped as spaces) with
// its top-left corner at (x, y), `scale` pixels per font dot.
void drawText(Frame& image, int x, int y, const std::string& text, int scale, const float rgb[3]);

} // namespace ofxrender
