#pragma once

#include <cuda_runtime_api.h>

#include <cfloat>
#include <cstdint>
#include <cstring>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/mat/mat.hpp"
#include "vela/types/calibration.hpp"
#include "vela/types/units.hpp"

namespace vela {

// A point cloud is an F32_C3 Mat of (x, y, z) or an F32_C4 Mat whose fourth float carries the point's
// colour: its four bytes, in memory order, are red, green, blue and alpha (the library's red-first
// order; OpenCV images and ROS's packed `rgb` are blue-first). A pixel without a valid depth gives a point
// whose x, y and z are NaN, which the writers skip.

/// The fourth float of a coloured point: bytes red, green, blue, alpha in memory order.
inline float packColor(unsigned char red, unsigned char green, unsigned char blue,
                       unsigned char alpha = 255) {
    const unsigned char bytes[4] = {red, green, blue, alpha};
    float packed;
    std::memcpy(&packed, bytes, sizeof packed);
    return packed;
}

/// The bytes of a packed colour: (red, green, blue, alpha).
inline Vector4<unsigned char> unpackColor(float packed) {
    Vector4<unsigned char> rgba;
    std::memcpy(rgba.data(), &packed, sizeof packed);
    return rgba;
}

/// The packed colour with its first and third bytes exchanged: red-first to blue-first and back.
inline float swapRedBlue(float packed) {
    uint32_t bits;
    std::memcpy(&bits, &packed, sizeof bits);
    bits = (bits & 0xFF00FF00u) | ((bits >> 16) & 0xFFu) | ((bits & 0xFFu) << 16);
    std::memcpy(&packed, &bits, sizeof packed);
    return packed;
}

/// Exchanges red and blue in every element of the host side of `mat`: the first and third byte of a
/// U8_C3 or U8_C4 image, or of the fourth float of an F32_C4 cloud. INVALID_FUNCTION_PARAMETERS for another
/// type or a Mat without host storage.
VELA_API ERROR_CODE swapRedBlue(Mat& mat);

/// How depthToPointCloud reads the depth and what cloud it makes.
struct DepthToPointCloudParameters {
    /// Unit of an F32_C1 depth, and of a U16_C1 depth once multiplied by depth_scale.
    UNIT depth_unit = UNIT::MILLIMETER;
    /// For U16_C1 depth: the depth in depth_unit is the stored count times this factor (1 for counts of
    /// millimetres with depth_unit MILLIMETER, 0.001 with METER). Ignored for F32_C1.
    float depth_scale = 1.0f;
    /// Unit of the cloud's coordinates.
    UNIT cloud_unit = UNIT::MILLIMETER;
    /// Axis convention of the cloud; the depth is along z of IMAGE.
    COORDINATE_SYSTEM coordinate_system = COORDINATE_SYSTEM::IMAGE;
    /// Depths below this, in cloud_unit, are invalid; zero and negative depths always are.
    float min_depth = 0.0f;
    /// Depths above this, in cloud_unit, are invalid; infinity always is.
    float max_depth = FLT_MAX;
};

/// Back-projects every pixel of `depth` (F32_C1, or U16_C1 counts) through the pinhole of `camera` into
/// `cloud`, in one pass: the depth is converted to cloud_unit (z), x = ((u - cx) / fx) z and y = ((v - cy) /
/// fy) z are computed in single precision, and the point is written in the requested coordinate system.
/// Invalid depths (NaN, infinite, zero, negative, outside the range) give NaN points. `colour` is an empty
/// Mat, or a U8_C4 (blue, green, red, alpha) or U8_C3 (blue, green, red) image of the same size: with it the
/// cloud is F32_C4 with the colour packed red-first (alpha 255 from U8_C3), without it F32_C3. `cloud` is
/// written in place when it already has that size, type and a buffer on the side `mem` names; otherwise it is
/// allocated there. `mem` CPU runs on the host buffers; GPU runs a kernel on the GPU buffers, queued on
/// `stream` without waiting. Both give the same bits. `camera.image_size` must be the depth's size, or 0x0.
/// INVALID_FUNCTION_PARAMETERS for wrong types, sizes, a missing side, a focal length that is not positive
/// and finite, a unit or scale out of range; INVALID_COORDINATE_SYSTEM for a system out of range; FAILURE
/// when the cloud cannot be allocated or the GPU refuses the work (reported). On any failure `cloud` is
/// unchanged or, when the failure came after allocation, allocated.
VELA_API ERROR_CODE depthToPointCloud(const Mat& depth, const Mat& colour, const CameraParameters& camera,
                                      Mat& cloud, const DepthToPointCloudParameters& parameters = {},
                                      MEM mem = MEM::CPU, cudaStream_t stream = nullptr);
/// depthToPointCloud without colour: an F32_C3 cloud.
VELA_API ERROR_CODE depthToPointCloud(const Mat& depth, const CameraParameters& camera, Mat& cloud,
                                      const DepthToPointCloudParameters& parameters = {}, MEM mem = MEM::CPU,
                                      cudaStream_t stream = nullptr);

/// Moves every point of an F32_C3 or F32_C4 `cloud` through `transform` in place: x' = ((r00 x + r01 y) +
/// r02 z) + t0 and so on, unfused, so the host and the GPU give the same bits. The fourth float keeps its
/// bits and NaN points stay NaN. `mem` CPU works on the host buffer, GPU queues a kernel on `stream`.
/// INVALID_FUNCTION_PARAMETERS for another type or a missing side; FAILURE when the GPU refuses the work.
VELA_API ERROR_CODE transformPointCloud(Mat& cloud, const Transform& transform, MEM mem = MEM::CPU,
                                        cudaStream_t stream = nullptr);

/// Scales x, y and z of every point of an F32_C3 or F32_C4 `cloud` by getUnitScale(src, dst), keeping the
/// bits of an F32_C4 point's colour on the host as on the GPU (convertUnit scales all four floats on the
/// host). Same sides, stream and results as transformPointCloud; units above 4 are
/// INVALID_FUNCTION_PARAMETERS, equal units SUCCESS at once.
VELA_API ERROR_CODE convertPointCloudUnit(Mat& cloud, UNIT unit_src, UNIT unit_dst, MEM mem = MEM::CPU,
                                          cudaStream_t stream = nullptr);

}  // namespace vela
