// The balance kernels for processors with SSE2 (every x86-64 processor).

#include "image/kernels/BalancePixels_sse2.h"
#include "image/kernels/BalanceSimd.h"

namespace VX {
namespace Image {

bool balanceRegionSSE2(HostImage& destination, const HostImage& source, const Rect& rect,
                       const BalanceParams& params, Progress* progress) {
    return balanceRegionSimd<Sse2Pixels>(destination, source, rect, params, progress);
}

} // namespace Image
} // namespace VX
