// Compiled twice, with and without AVX2 and hardware fused multiply-add (PRODUCT_BUILD names each build), so
// that both forms of the 4x4 product, inlined and compiled, end up side by side in one test executable.

#include <vela/geometry/matrix4f.hpp>

namespace PRODUCT_BUILD {

vela::Matrix4f product(const vela::Matrix4f& a, const vela::Matrix4f& b) {
    return a * b;
}

bool productIsInlined() {
    return VELA_INLINE_PRODUCT != 0;
}

}  // namespace PRODUCT_BUILD
