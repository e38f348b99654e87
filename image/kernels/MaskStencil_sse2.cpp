// The stencil's per-pixel stages on SSE2.
#include "image/kernels/MaskStencilKernels.h"

#ifdef SQ_STENCIL_VECTOR_FAMILIES

#include "image/kernels/MaskStencilImpl.h"

namespace VX {
namespace Image {

void maskStencilRowsSSE2(const MaskStencilBlock& b) { MaskStencilImpl::rowsOfAnyDepth(b); }

void maskStencilColumnsSSE2(const MaskStencilBlock& b) { MaskStencilImpl::columnsOfAnyDepth(b); }

} // namespace Image
} // namespace VX

#endif
