#pragma once

// The host loops of the point-cloud conversions, written with AVX2 where the build targets it (x86-64-v3)
// and as plain loops otherwise; both give the bits of elementwise.hpp's per-element arithmetic.
//
// Float multiplication with a subnormal operand or result takes a slow path on many x86 processors, several
// times slower than the normal one. The packed colour in the fourth float of an F32_C4 point is subnormal
// whenever its unused byte is 0, so the colour is either not an operand at all (change of axes) or is
// scaled by a fused multiply-add with a -0 addend (unit scaling), which rounds as the multiplication does
// and, on the processors measured, has no slow path.

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include "kernels/elementwise.hpp"

namespace vela {
namespace detail {

/// `count` floats times `factor`, each product rounded once as float multiplication rounds it. The vector
/// loop computes the fused x·factor + (-0): the same bits, signed zeros and NaNs included, but without the
/// slow path that float multiplication takes for subnormal operands and results (packed colours often are
/// subnormal) on the processors measured. Rows are taken from a 32-byte boundary on, so that no vector
/// access straddles two cache lines.
inline void scaleFloats(float* values, size_t count, float factor) {
    size_t i = 0;
#if defined(__AVX2__) && defined(__FMA__)
    const __m256 f = _mm256_set1_ps(factor);
    const __m256 negativeZero = _mm256_set1_ps(-0.0f);
    for (; i < count && (reinterpret_cast<uintptr_t>(values + i) & 31) != 0; ++i)
        values[i] = values[i] * factor;
    for (; i + 16 <= count; i += 16) {
        _mm256_storeu_ps(values + i, _mm256_fmadd_ps(_mm256_loadu_ps(values + i), f, negativeZero));
        _mm256_storeu_ps(values + i + 8, _mm256_fmadd_ps(_mm256_loadu_ps(values + i + 8), f, negativeZero));
    }
#endif
    for (; i < count; ++i)
        values[i] = values[i] * factor;
}

/// `count` points of four floats through the 3x3 block of the row-major 4x4 `matrix`
/// (elementwise::transformPoint<4>); the fourth float keeps its bits.
inline void transformColouredPoints(float* points, size_t count, const float* matrix) {
    float m[16];  // a local copy, which the compiler knows the points cannot overwrite
    std::memcpy(m, matrix, sizeof(m));
    size_t i = 0;
#if defined(__AVX2__)
    // Column j of the 3x3 block in lanes 0..2 of each point, 0 in lane 3 (whose result is dropped).
    const __m256 c0 = _mm256_setr_ps(m[0], m[4], m[8], 0, m[0], m[4], m[8], 0);
    const __m256 c1 = _mm256_setr_ps(m[1], m[5], m[9], 0, m[1], m[5], m[9], 0);
    const __m256 c2 = _mm256_setr_ps(m[2], m[6], m[10], 0, m[2], m[6], m[10], 0);
    constexpr int kColourLanes = 0x88;
    const auto transform = [&](float* p) {
        const __m256 v = _mm256_loadu_ps(p);
        // (m(i,0)·x + m(i,1)·y) + m(i,2)·z in lane i of each point, as transformPoint orders it.
        const __m256 r = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(c0, _mm256_permute_ps(v, 0x00)),
                                                     _mm256_mul_ps(c1, _mm256_permute_ps(v, 0x55))),
                                       _mm256_mul_ps(c2, _mm256_permute_ps(v, 0xAA)));
        _mm256_storeu_ps(p, _mm256_blend_ps(r, v, kColourLanes));
    };
    for (; i + 4 <= count; i += 4) {
        transform(points + 4 * i);
        transform(points + 4 * i + 8);
    }
#endif
    for (; i < count; ++i)
        elementwise::transformPoint<4>(m, points + 4 * i);
}

/// `count` points of three floats through the row-major 3x3 `matrix` (elementwise::transformPoint<3>).
inline void transformPoints(float* points, size_t count, const float* matrix) {
    float m[9];
    std::memcpy(m, matrix, sizeof(m));
    size_t i = 0;
#if defined(__AVX2__)
    // Eight points are three vectors of packed x, y, z. Float k of the eight points sits in lane k mod 8 of
    // one of them, and the x (y, z) of the eight points fill distinct lanes: two blends gather them into one
    // vector, a permutation puts them in point order, and the inverse steps put the results back.
    constexpr int kLanes036 = 0x49, kLanes147 = 0x92, kLanes25 = 0x24;
    const __m256i xOrder = _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5);
    const __m256i yOrder = _mm256_setr_epi32(1, 4, 7, 2, 5, 0, 3, 6);
    const __m256i zOrder = _mm256_setr_epi32(2, 5, 0, 3, 6, 1, 4, 7);
    const __m256i xLanes = xOrder;  // 3 x 3 = 1 mod 8: the order is its own inverse
    const __m256i yLanes = _mm256_setr_epi32(5, 0, 3, 6, 1, 4, 7, 2);
    const __m256i zLanes = zOrder;
    __m256 e[9];
    for (int k = 0; k < 9; ++k)
        e[k] = _mm256_set1_ps(m[k]);
    for (; i + 8 <= count; i += 8) {
        float* p = points + 3 * i;
        const __m256 a = _mm256_loadu_ps(p), b = _mm256_loadu_ps(p + 8), c = _mm256_loadu_ps(p + 16);
        const __m256 x =
            _mm256_permutevar8x32_ps(_mm256_blend_ps(_mm256_blend_ps(a, b, kLanes147), c, kLanes25), xOrder);
        const __m256 y =
            _mm256_permutevar8x32_ps(_mm256_blend_ps(_mm256_blend_ps(a, b, kLanes25), c, kLanes036), yOrder);
        const __m256 z =
            _mm256_permutevar8x32_ps(_mm256_blend_ps(_mm256_blend_ps(a, b, kLanes036), c, kLanes147), zOrder);
        const auto row = [&](int r) {
            return _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(e[3 * r], x), _mm256_mul_ps(e[3 * r + 1], y)),
                                 _mm256_mul_ps(e[3 * r + 2], z));
        };
        const __m256 ux = _mm256_permutevar8x32_ps(row(0), xLanes);
        const __m256 uy = _mm256_permutevar8x32_ps(row(1), yLanes);
        const __m256 uz = _mm256_permutevar8x32_ps(row(2), zLanes);
        _mm256_storeu_ps(p, _mm256_blend_ps(_mm256_blend_ps(ux, uy, kLanes147), uz, kLanes25));
        _mm256_storeu_ps(p + 8, _mm256_blend_ps(_mm256_blend_ps(ux, uy, kLanes25), uz, kLanes036));
        _mm256_storeu_ps(p + 16, _mm256_blend_ps(_mm256_blend_ps(ux, uy, kLanes036), uz, kLanes147));
    }
#endif
    for (; i < count; ++i)
        elementwise::transformPoint<3>(m, points + 3 * i);
}

}  // namespace detail
}  // namespace vela
