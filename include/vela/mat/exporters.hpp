#pragma once

#include <cstdint>

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"
#include "vela/mat/mat.hpp"

namespace vela {

/// File format of a depth map written by saveDepthAs.
enum class DEPTH_FORMAT : int32_t {
    PNG = 0,  ///< 16-bit unsigned PNG, one channel, uncompressed (".png")
    PFM = 1,  ///< 32-bit float PFM, top row first, little-endian (".pfm")
    PGM = 2,  ///< 16-bit unsigned binary PGM (".pgm")
};

/// File format of a point cloud written by savePointCloudAs; all are ASCII.
enum class POINT_CLOUD_FORMAT : int32_t {
    XYZ = 0,  ///< one "x y z" line per point, no colour (".xyz")
    PCD = 1,  ///< PCD v0.7, colour as a packed float (".pcd")
    PLY = 2,  ///< PLY 1.0, colour as three bytes (".ply")
    VTK = 3,  ///< legacy VTK polydata, no colour (".vtk")
};

/// Writes the F32_C1 host map `depth` to `name`, with the format's extension appended unless `name` ends with
/// it. PNG and PGM store each value times `factor`, rounded and saturated to 0..65535; PFM stores the floats
/// as they are, with 0 for NaN and infinities. False when `depth` has no host memory, is not F32_C1, the
/// format is unknown (reported on standard output) or the file cannot be written.
VELA_API bool saveDepthAs(const Mat& depth, DEPTH_FORMAT format, String name, float factor = 1.0f);

/// Writes the points of the F32_C3 or F32_C4 host map `cloud` whose x is finite to `name`, with the format's
/// extension appended unless `name` ends with it, as "%f" text. `withColor` (PCD and PLY; ignored by XYZ and
/// VTK) adds the red, green and blue bytes of each point's fourth float, so it needs F32_C4. The file is
/// written as `name` + "_tmp0.txt" and renamed when complete. False when nothing could be written.
VELA_API bool savePointCloudAs(const Mat& cloud, POINT_CLOUD_FORMAT format, String name,
                               bool withColor = false);

}  // namespace vela
