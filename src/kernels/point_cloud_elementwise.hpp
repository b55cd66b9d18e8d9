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
    double fx, fy, cx, cy;
    float factor;    ///< depth sample to cloud unit
    float minDepth;  ///< in the cloud unit
    float maxDepth;  ///< in the cloud unit, finite
    int axis[3];     ///< output coordinate i is sign[i] times IMAGE coordinate axis[i]
    float sign[3];
    int depthIsU16;
    int colourChannels;  ///< 0, 3 or 4
    int cloudChannels;   ///< 3 or 4
};

/// One pixel of depthToPointCloud.
VELA_HOST_DEVICE inline void depthToPoint(const DepthToCloudGrid& g, size_t u, size_t v) {
    const unsigned char* depthRow = g.depth + v * g.depthStep;
    float sample;
    if (g.depthIsU16) {
        sample = static_cast<float>(reinterpret_cast<const uint16_t*>(depthRow)[u]);
    } else {
        sample = reinterpret_cast<const float*>(depthRow)[u];
    }
    const float z = sample * g.factor;
    // NaN fails every comparison; maxDepth is finite, so infinity fails too.
    const bool valid = z > 0.0f && z >= g.minDepth && z <= g.maxDepth;
    const double depth = z;
    float image[3];
    image[0] = static_cast<float>((static_cast<double>(u) - g.cx) * depth / g.fx);
    image[1] = static_cast<float>((static_cast<double>(v) - g.cy) * depth / g.fy);
    image[2] = z;
    float* point =
        reinterpret_cast<float*>(g.cloud + v * g.cloudStep) + static_cast<size_t>(g.cloudChannels) * u;
    const uint32_t quietNan = 0x7FC00000u;
    float nan;
    std::memcpy(&nan, &quietNan, sizeof nan);
    for (int i = 0; i < 3; ++i)
        point[i] = valid ? g.sign[i] * image[g.axis[i]] : nan;
    if (g.cloudChannels == 4) {
        uint32_t rgba = 0;
        if (g.colourChannels != 0) {
            const unsigned char* bgr =
                g.colour + v * g.colourStep + static_cast<size_t>(g.colourChannels) * u;
            const uint32_t alpha = g.colourChannels == 4 ? bgr[3] : 255u;
            rgba = static_cast<uint32_t>(bgr[2]) | (static_cast<uint32_t>(bgr[1]) << 8) |
                   (static_cast<uint32_t>(bgr[0]) << 16) | (alpha << 24);
        }
        // Little-endian: bytes red, green, blue, alpha in memory.
        std::memcpy(point + 3, &rgba, sizeof rgba);
    }
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
