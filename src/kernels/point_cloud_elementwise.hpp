#pragma once

// Per-element work of the point-cloud operations, shared by the host loops, the CUDA kernels and the
// simulated device: written once, so every target gives the same bits. Everything a kernel needs travels
// by value in one small struct (kernel parameters), never through a device allocation.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kernels/elementwise.hpp"

namespace vela {
namespace elementwise {

/// A depth grid and what makes it a cloud. Pointers are raw buffers of the side being worked on; steps
/// are in bytes.
struct DepthToCloudGrid {
    const unsigned char* depth;  ///< F32_C1 or U16_C1 samples
    size_t depthStep;
    const unsigned char* colour;  ///< blue-first bytes, or null
    size_t colourStep;
    unsigned char* cloud;  ///< F32_C3 or F32_C4 points
    size_t cloudStep;
    size_t width, height;
    float fx, fy, cx, cy;
    float factor;     ///< depth sample to cloud unit
    int32_t minBits;  ///< bits of the least valid depth, a positive float, in the cloud unit
    int32_t maxBits;  ///< bits of the greatest valid depth, a positive finite float, or -1: none valid
    float axes[9];    ///< IMAGE to the cloud's axes, row-major: one entry of each row is +1 or -1, the rest 0
    int depthIsU16;
    int colourChannels;  ///< 0, 3 or 4
    int cloudChannels;   ///< 3 or 4
};

/// The ray's x per unit of depth through column u: (u - cx) / fx, in single precision. Columns fit int32
/// (the caller checks), whose conversion to float is one vector instruction.
VELA_HOST_DEVICE inline float rayX(const DepthToCloudGrid& g, size_t u) {
    return (static_cast<float>(static_cast<int32_t>(u)) - g.cx) / g.fx;
}
/// The ray's y per unit of depth through row v: (v - cy) / fy.
VELA_HOST_DEVICE inline float rayY(const DepthToCloudGrid& g, size_t v) {
    return (static_cast<float>(static_cast<int32_t>(v)) - g.cy) / g.fy;
}

/// One pixel of depthToPointCloud, for a grid of the shape the template names (so that host loops
/// vectorise), given rayX(u) and rayY(v), which a host loop computes once per column and row: z = sample x
/// factor, x = rayX z, y = rayY z, in single precision, unfused, each operation rounded as IEEE says, so
/// every target gives the same bits. Invalid depths give NaN coordinates; the colour is packed red first
/// whatever the depth.
template <bool DepthIsU16, int ColourChannels, int CloudChannels>
VELA_HOST_DEVICE inline void depthToPointOf(const DepthToCloudGrid& g, size_t u, size_t v, float rx,
                                            float ry) {
    const unsigned char* depthRow = g.depth + v * g.depthStep;
    const float sample = DepthIsU16 ? static_cast<float>(reinterpret_cast<const uint16_t*>(depthRow)[u])
                                    : reinterpret_cast<const float*>(depthRow)[u];
    const float z = sample * g.factor;
    // Positive floats order as their bits do, and negative ones (-0 and negative NaNs included) have
    // negative bits: the range test is on integers, which no NaN can trip (a float comparison of a NaN
    // may raise an exception, so compilers would not vectorise it). maxBits is finite's, so infinity and
    // positive NaNs fail too.
    int32_t bits;
    std::memcpy(&bits, &z, sizeof bits);
    const bool valid = (bits > 0) & (bits >= g.minBits) & (bits <= g.maxBits);
    const float x = rx * z;
    const float y = ry * z;
    float* point =
        reinterpret_cast<float*>(g.cloud + v * g.cloudStep) + static_cast<size_t>(CloudChannels) * u;
    // An invalid point's coordinates become a quiet NaN by integer masking: a select between floats
    // would let the compiler compute the products only for valid points, and then not vectorise.
    const uint32_t keep = 0u - static_cast<uint32_t>(valid);
    const uint32_t quietNan = 0x7FC00000u & ~keep;
    // A valid point is finite, so the zero entries add only zeros: each coordinate is exactly +-x, y or z.
    for (int i = 0; i < 3; ++i) {
        const float coordinate = g.axes[3 * i] * x + g.axes[3 * i + 1] * y + g.axes[3 * i + 2] * z;
        uint32_t coordinateBits;
        std::memcpy(&coordinateBits, &coordinate, sizeof coordinateBits);
        coordinateBits = (coordinateBits & keep) | quietNan;
        std::memcpy(point + i, &coordinateBits, sizeof coordinateBits);
    }
    if (CloudChannels == 4) {
        uint32_t rgba = 0;
        if (ColourChannels != 0) {
            const unsigned char* bgr = g.colour + v * g.colourStep + static_cast<size_t>(ColourChannels) * u;
            const uint32_t alpha = ColourChannels == 4 ? bgr[ColourChannels == 4 ? 3 : 0] : 255u;
            rgba = static_cast<uint32_t>(bgr[2]) | (static_cast<uint32_t>(bgr[1]) << 8) |
                   (static_cast<uint32_t>(bgr[0]) << 16) | (alpha << 24);
        }
        // Little-endian: bytes red, green, blue, alpha in memory.
        std::memcpy(point + 3, &rgba, sizeof rgba);
    }
}

/// depthToPointOf as a function object, whose type names the shape (a call through it is inlined).
template <bool DepthIsU16, int ColourChannels, int CloudChannels>
struct DepthShape {
    VELA_HOST_DEVICE void operator()(const DepthToCloudGrid& g, size_t u, size_t v) const {
        depthToPointOf<DepthIsU16, ColourChannels, CloudChannels>(g, u, v, rayX(g, u), rayY(g, v));
    }
};

/// Calls `run` with the DepthShape that fits the grid.
template <bool DepthIsU16, typename Run>
VELA_HOST_DEVICE inline void withColourShape(const DepthToCloudGrid& g, Run& run) {
    if (g.cloudChannels == 3) {
        run(DepthShape<DepthIsU16, 0, 3>());
    } else if (g.colourChannels == 3) {
        run(DepthShape<DepthIsU16, 3, 4>());
    } else if (g.colourChannels == 4) {
        run(DepthShape<DepthIsU16, 4, 4>());
    } else {
        run(DepthShape<DepthIsU16, 0, 4>());
    }
}

/// Calls `run` with the DepthShape that fits the grid.
template <typename Run>
VELA_HOST_DEVICE inline void withDepthShape(const DepthToCloudGrid& g, Run run) {
    if (g.depthIsU16 != 0) {
        withColourShape<true>(g, run);
    } else {
        withColourShape<false>(g, run);
    }
}

/// One pixel of depthToPointCloud, of any shape.
VELA_HOST_DEVICE inline void depthToPoint(const DepthToCloudGrid& g, size_t u, size_t v) {
    withDepthShape(g, [&](auto perPixel) { perPixel(g, u, v); });
}

/// A cloud moved through a rigid transform: the top three rows of a row-major 4x4.
struct RigidCloudGrid {
    unsigned char* cloud;
    size_t step;
    size_t width, height;
    int channels;  ///< 3 or 4; a fourth float is not touched
    float m[12];
};

/// (x, y, z) of `point` replaced by R (x, y, z) + t, each coordinate ((m0 x + m1 y) + m2 z) + m3, unfused.
VELA_HOST_DEVICE inline void transformRigid(const float* m, float* point) {
    const float x = point[0], y = point[1], z = point[2];
    point[0] = m[0] * x + m[1] * y + m[2] * z + m[3];
    point[1] = m[4] * x + m[5] * y + m[6] * z + m[7];
    point[2] = m[8] * x + m[9] * y + m[10] * z + m[11];
}

/// One point of transformPointCloud.
VELA_HOST_DEVICE inline void transformCloudPoint(const RigidCloudGrid& g, size_t x, size_t y) {
    transformRigid(g.m, reinterpret_cast<float*>(g.cloud + y * g.step) + static_cast<size_t>(g.channels) * x);
}

/// A cloud whose x, y and z are scaled.
struct ScaleCloudGrid {
    unsigned char* cloud;
    size_t step;
    size_t width, height;
    int channels;  ///< 3 or 4; a fourth float is not touched
    float factor;
};

/// One point of convertPointCloudUnit: x, y and z times the factor, in single precision.
VELA_HOST_DEVICE inline void scaleCloudPoint(const ScaleCloudGrid& g, size_t x, size_t y) {
    float* point = reinterpret_cast<float*>(g.cloud + y * g.step) + static_cast<size_t>(g.channels) * x;
    for (int i = 0; i < 3; ++i)
        point[i] = point[i] * g.factor;
}

}  // namespace elementwise
}  // namespace vela
