// HSV colour correction for processors with SSE4.1: blends for the lane
// selections, a floor instruction, wider loads and packs.

#include "image/kernels/BalancePixels_sse41.h"
#include "image/kernels/HSVSimd.h"

namespace VX {
namespace Image {

bool hsvRegionSSE41(HostImage& destination, const HostImage& source, const Rect& rect,
                    const HSVParams& params, Progress* progress) {
    return hsvRegionSimd<Sse41Pixels>(destination, source, rect, params, progress);
}

} // namespace Image
} // namespace VX
