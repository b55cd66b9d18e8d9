// A depth frame made without a camera: a floor, a back wall, a sphere and a box seen by a pinhole camera,
// rendered into the Mats a capture module would hand over.
#pragma once

#include <vela/vela.hpp>

#include <cstddef>

namespace demo {

/// Pinhole intrinsics in pixels.
struct Camera {
    float fx, fy, cx, cy;

    /// The camera used at `width` x `height`: a 70-degree horizontal field of view, centred.
    static Camera forResolution(size_t width, size_t height);
};

/// Renders the scene into `depth` (F32_C1, millimetres along the optical axis, NaN where a ray meets
/// nothing) and `colour` (U8_C4, blue-green-red-alpha, black where the depth is NaN), both host Mats
/// allocated here.
void renderScene(const Camera& camera, size_t width, size_t height, vela::Mat& depth, vela::Mat& colour);

/// Fills `preview` (U8_C4, blue-green-red-alpha) with `depth` (millimetres) on a colour ramp, near warm to
/// far cool, black where there is no depth.
void colouriseDepth(const vela::Mat& depth, vela::Mat& preview);

}  // namespace demo
