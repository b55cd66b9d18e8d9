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
#include "kernels/point_cloud_elementwise.hpp"

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

/// `count` points of three floats through the rigid transform `m` (the top three rows of a row-major 4x4),
/// each coordinate ((m0·x + m1·y) + m2·z) + m3 unfused, as elementwise::transformRigid computes it. Eight
/// points (three vectors) at a time: blends gather each coordinate of the eight points into one vector
/// in a scrambled lane order, and rotations line y and z up with x's order, and back.
inline void transformRigidPoints3(float* points, size_t count, const float* m) {
    size_t i = 0;
#if defined(__AVX2__)
    // Row r of the matrix as four broadcast vectors.
    struct Row {
        __m256 x, y, z, t;
    };
    const auto row = [&](int r) {
        return Row{_mm256_set1_ps(m[4 * r]), _mm256_set1_ps(m[4 * r + 1]), _mm256_set1_ps(m[4 * r + 2]),
                   _mm256_set1_ps(m[4 * r + 3])};
    };
    const Row r0 = row(0), r1 = row(1), r2 = row(2);
    const auto apply = [](const Row& r, __m256 x, __m256 y, __m256 z) {
        return _mm256_add_ps(
            _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(r.x, x), _mm256_mul_ps(r.y, y)), _mm256_mul_ps(r.z, z)),
            r.t);
    };
    // In a, b, c (24 floats, 8 points) x sits in lanes {0,3,6}, {1,4,7}, {2,5} respectively, y in
    // {1,4,7}, {2,5}, {0,3,6} and z in {2,5}, {0,3,6}, {1,4,7}: one blend pair gathers each coordinate.
    // The x vector holds points 0 3 6 1 4 7 2 5; y and z, rotated by one and two lanes, follow that order.
    const __m256i next = _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 0);
    const __m256i afterNext = _mm256_setr_epi32(2, 3, 4, 5, 6, 7, 0, 1);
    const __m256i previous = _mm256_setr_epi32(7, 0, 1, 2, 3, 4, 5, 6);
    const __m256i beforePrevious = _mm256_setr_epi32(6, 7, 0, 1, 2, 3, 4, 5);
    const auto eight = [&](float* p) {
        const __m256 a = _mm256_loadu_ps(p), b = _mm256_loadu_ps(p + 8), c = _mm256_loadu_ps(p + 16);
        const __m256 x = _mm256_blend_ps(_mm256_blend_ps(a, b, 0x92), c, 0x24);
        const __m256 y =
            _mm256_permutevar8x32_ps(_mm256_blend_ps(_mm256_blend_ps(a, b, 0x24), c, 0x49), next);
        const __m256 z =
            _mm256_permutevar8x32_ps(_mm256_blend_ps(_mm256_blend_ps(a, b, 0x49), c, 0x92), afterNext);
        const __m256 rx = apply(r0, x, y, z);
        const __m256 ry = _mm256_permutevar8x32_ps(apply(r1, x, y, z), previous);
        const __m256 rz = _mm256_permutevar8x32_ps(apply(r2, x, y, z), beforePrevious);
        _mm256_storeu_ps(p, _mm256_blend_ps(_mm256_blend_ps(rx, ry, 0x92), rz, 0x24));
        _mm256_storeu_ps(p + 8, _mm256_blend_ps(_mm256_blend_ps(rx, ry, 0x24), rz, 0x49));
        _mm256_storeu_ps(p + 16, _mm256_blend_ps(_mm256_blend_ps(rx, ry, 0x49), rz, 0x92));
    };
    for (; i + 8 <= count; i += 8)
        eight(points + 3 * i);
#endif
    for (; i < count; ++i)
        elementwise::transformRigid(m, points + 3 * i);
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
