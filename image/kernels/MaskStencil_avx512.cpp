// The stencil's per-pixel stages on AVX512.
#include "image/kernels/MaskStencilKernels.h"

#ifdef SQ_STENCIL_VECTOR_FAMILIES

#include "image/kernels/MaskStencilImpl.h"

namespace VX {
namespace Image {

void maskStencilRowsAVX512(const MaskStencilBlock& b) { MaskStencilImpl::rowsOfAnyDepth(b); }

void maskStencilColumnsAVX512(const MaskStencilBlock& b) { MaskStencilImpl::columnsOfAnyDepth(b); }

} // namespace Image
} // namespace VX

#endif
