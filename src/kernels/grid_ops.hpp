#pragma once

// The operations of vela's kernels (see launch.hpp for the pattern): where each item lives and how wide
// an access reaches it. The arithmetic itself is elementwise.hpp's.

#include <cuda_runtime_api.h>

#include <cstddef>

#include "kernels/elementwise.hpp"
#include "kernels/launch.hpp"
#include "kernels/point_cloud_elementwise.hpp"
#include "vela/core/vector.hpp"

namespace vela {
namespace ops {

/// Writes `value` into every item; T is the element type, or a word type of the element's size (one
/// 16-, 8-, 4-, 2- or 1-byte access per element) when the buffer is aligned for it.
template <typename T>
struct Fill {
    launch::Pitched grid;  ///< the filled buffer
    T value;               ///< bits of one element
    /// The simulated device checks and maps each GPU buffer.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(grid);
    }
    /// Item (x, y): one element.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        *elementwise::atPitch(reinterpret_cast<T*>(grid.data), grid.step, x, y) = value;
    }
};

/// Unsigned to signed bytes, one 32-bit word (four channels) per item: rows are 4-byte aligned.
struct Cvt2SignedWords {
    launch::Pitched src;  ///< U8_C4 pixels
    launch::Pitched dst;  ///< S8_C4 pixels
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(src);
        visit(dst);
    }
    /// Item (x, y): one pixel.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        const uint32_t word =
            *elementwise::atPitch(reinterpret_cast<const uint32_t*>(src.data), src.step, x, y);
        *elementwise::atPitch(reinterpret_cast<uint32_t*>(dst.data), dst.step, x, y) =
            elementwise::toSignedWord(word);
    }
};

/// As Cvt2SignedWords, a byte at a time, for rows that are not 4-byte aligned.
struct Cvt2SignedBytes {
    launch::Pitched src;  ///< U8_C4 pixels
    launch::Pitched dst;  ///< S8_C4 pixels
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(src);
        visit(dst);
    }
    /// Item (x, y): one channel byte.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        *elementwise::atPitch(reinterpret_cast<signed char*>(dst.data), dst.step, x, y) =
            elementwise::toSigned(*elementwise::atPitch(src.data, src.step, x, y));
    }
};

/// The first `Count` of each `Floats` floats scaled: Count = Floats = 1 treats a row as flat floats.
template <int Count, int Floats>
struct Scale {
    launch::Pitched grid;  ///< the points
    float factor;          ///< the unit factor
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(grid);
    }
    /// Item (x, y): one group of `Floats` floats.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        elementwise::scalePoint<Count>(
            elementwise::atPitch(reinterpret_cast<float*>(grid.data), grid.step, x * Floats, y), factor);
    }
};

/// x, y and z of 16-byte aligned F32_C4 points scaled, one 16-byte load and store per point.
struct ScaleQuads {
    launch::Pitched grid;  ///< the points, 16-byte aligned
    float factor;          ///< the unit factor
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(grid);
    }
    /// Item (x, y): one point.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        float4* at = elementwise::atPitch(reinterpret_cast<float4*>(grid.data), grid.step, x, y);
        float4 point = *at;
        elementwise::scalePoint<3>(&point.x, factor);
        *at = point;
    }
};

/// Every float of a row scaled: F32_C1 and F32_C3 rows are flat floats.
using ScaleFlat = Scale<1, 1>;
/// x, y and z of each F32_C4 point scaled, for rows that are not 16-byte aligned.
using ScaleXyz = Scale<3, 4>;

/// The 3x3 block of a change of axes, carried by value: the kernel reads it from its parameters, which no
/// store can alias, so it stays in registers.
struct Matrix3 {
    float m[9];  ///< row-major
};

/// Points of `Floats` floats (3, or 4 with a colour left alone) through `matrix`.
template <int Floats>
struct Transform {
    launch::Pitched grid;  ///< the points
    Matrix3 matrix;        ///< the change of axes
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(grid);
    }
    /// Item (x, y): one point.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        elementwise::transformPoint<3>(
            matrix.m, elementwise::atPitch(reinterpret_cast<float*>(grid.data), grid.step, x * Floats, y));
    }
};

/// 16-byte aligned F32_C4 points through `matrix`, one 16-byte load and store per point.
struct TransformQuads {
    launch::Pitched grid;  ///< the points, 16-byte aligned
    Matrix3 matrix;        ///< the change of axes
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visit(grid);
    }
    /// Item (x, y): one point.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        float4* at = elementwise::atPitch(reinterpret_cast<float4*>(grid.data), grid.step, x, y);
        float4 point = *at;
        elementwise::transformPoint<3>(matrix.m, &point.x);
        *at = point;
    }
};

/// Points a Pitched view at a raw buffer of an operation's grid, hands it to `visit`, and takes back what
/// the visit made of it (the simulated device's view of the same memory).
template <typename Visit, typename Byte>
void visitRaw(Visit& visit, Byte*& data, size_t step, size_t rowBytes, size_t rows, size_t alignment) {
    launch::Pitched grid;
    grid.data = const_cast<unsigned char*>(data);
    grid.step = step;
    grid.rowBytes = rowBytes;
    grid.rows = rows;
    grid.alignment = alignment;
    visit(grid);
    data = grid.data;
}

/// depthToPointCloud for one pixel per item, of the shape the template names (chosen once per launch).
template <bool DepthIsU16, int ColourChannels, int CloudChannels>
struct DepthToCloud {
    elementwise::DepthToCloudGrid g;  ///< buffers, steps, intrinsics, axes
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        constexpr size_t kSample = DepthIsU16 ? 2 : 4;
        visitRaw(visit, g.depth, g.depthStep, g.width * kSample, g.height, kSample);
        if (ColourChannels != 0)
            visitRaw(visit, g.colour, g.colourStep, g.width * ColourChannels, g.height, 1);
        visitRaw(visit, g.cloud, g.cloudStep, g.width * 4 * CloudChannels, g.height, 4);
    }
    /// Item (x, y): one pixel.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const {
        elementwise::DepthShape<DepthIsU16, ColourChannels, CloudChannels>()(g, x, y);
    }
};

/// transformPointCloud, one point per item.
struct TransformCloud {
    elementwise::RigidCloudGrid g;  ///< the cloud and the matrix, by value
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visitRaw(visit, g.cloud, g.step, g.width * 4 * static_cast<size_t>(g.channels), g.height, 4);
    }
    /// Item (x, y): one point.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const { elementwise::transformCloudPoint(g, x, y); }
};

/// convertPointCloudUnit, one point per item.
struct ScaleCloud {
    elementwise::ScaleCloudGrid g;  ///< the cloud and the factor
    /// See Fill::visitGrids.
    template <typename Visit>
    void visitGrids(Visit&& visit) {
        visitRaw(visit, g.cloud, g.step, g.width * 4 * static_cast<size_t>(g.channels), g.height, 4);
    }
    /// Item (x, y): one point.
    VELA_HOST_DEVICE void operator()(size_t x, size_t y) const { elementwise::scaleCloudPoint(g, x, y); }
};

}  // namespace ops
}  // namespace vela

/// The fills of aligned buffers by words wider than their elements; each element type (the element table's
/// rows) has its own fill besides.
#define VELA_FILL_WORD_OPS(X)          \
    X(::vela::ops::Fill<unsigned int>) \
    X(::vela::ops::Fill<uint2>)        \
    X(::vela::ops::Fill<uint4>)

/// The unsigned-to-signed conversions.
#define VELA_CONVERT_OPS(X)         \
    X(::vela::ops::Cvt2SignedWords) \
    X(::vela::ops::Cvt2SignedBytes)

/// The point-cloud operations.
#define VELA_TRANSFORM_OPS(X)    \
    X(::vela::ops::ScaleFlat)    \
    X(::vela::ops::ScaleXyz)     \
    X(::vela::ops::ScaleQuads)   \
    X(::vela::ops::Transform<3>) \
    X(::vela::ops::Transform<4>) \
    X(::vela::ops::TransformQuads)

/// The operations of depthToPointCloud, transformPointCloud and convertPointCloudUnit.
#define VELA_POINT_CLOUD_OPS(X)               \
    X(::vela::ops::DepthToCloud<false, 0, 3>) \
    X(::vela::ops::DepthToCloud<false, 0, 4>) \
    X(::vela::ops::DepthToCloud<false, 3, 4>) \
    X(::vela::ops::DepthToCloud<false, 4, 4>) \
    X(::vela::ops::DepthToCloud<true, 0, 3>)  \
    X(::vela::ops::DepthToCloud<true, 0, 4>)  \
    X(::vela::ops::DepthToCloud<true, 3, 4>)  \
    X(::vela::ops::DepthToCloud<true, 4, 4>)  \
    X(::vela::ops::TransformCloud)            \
    X(::vela::ops::ScaleCloud)
