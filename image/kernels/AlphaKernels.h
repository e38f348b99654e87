#pragma once

#include "image/ImageOps.h"
#include "image/Progress.h"
#include "image/Rect.h"

namespace VX {
namespace Image {

// Straight colour to premultiplied colour on `rect` (inside both images'
// bounds): colour times alpha, alpha copied. Integer samples are multiplied
// as stored by alpha / maximum and rounded (+0.5, truncated). `destination`
// and `source` share one pixel format and may share their pixels; pixels
// without alpha (1 or 3 channels) are copied. Depths other than 8, 16 and 32
// are left alone. Progress is reported after every 32nd row.
void premultiplyRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                       Progress* progress);

// Premultiplied colour to straight colour: colour divided by alpha, where
// alpha is above 0; a fully transparent pixel keeps its colour. Integer
// results above the sample range (colour above alpha, which premultiplied
// pixels should not hold) are stored as the maximum.
void unmultiplyRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                      Progress* progress);

// Colour kept, alpha 0 (RGBA only; other layouts are left alone). Integer
// colour goes through the blend's load and store, which give it back as it
// was.
void zeroAlphaRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                     Progress* progress);

} // namespace Image
} // namespace VX
