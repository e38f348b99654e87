// The balance kernels for processors with SSE4.1: wider loads and packs,
// blends for the alpha lane.

#include "image/kernels/BalancePixels_sse41.h"
#include "image/kernels/BalanceSimd.h"

namespace VX {
namespace Image {

bool balanceRegionSSE41(HostImage& destination, const HostImage& source, const Rect& rect,
                        const BalanceParams& params, Progress* progress) {
    return balanceRegionSimd<Sse41Pixels>(destination, source, rect, params, progress);
}

} // namespace Image
} // namespace VX
