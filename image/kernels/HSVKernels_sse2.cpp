// HSV colour correction for processors with SSE2 (every x86-64 processor).

#include "image/kernels/BalancePixels_sse2.h"
#include "image/kernels/HSVSimd.h"

namespace VX {
namespace Image {

bool hsvRegionSSE2(HostImage& destination, const HostImage& source, const Rect& rect,
                   const HSVParams& params, Progress* progress) {
    return hsvRegionSimd<Sse2Pixels>(destination, source, rect, params, progress);
}

} // namespace Image
} // namespace VX
