#pragma once

// Point clouds and depth maps as files that keep every value: binary or shortest-exact text, every line
// ended, colour as raw bytes, PFM bottom row first. Beside saveDepthAs and savePointCloudAs, whose layouts
// stay as they are, and a reader for PLY, PCD and XYZ.

#include <cstdint>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"
#include "vela/mat/exporters.hpp"
#include "vela/mat/mat.hpp"

namespace vela {

/// How writePointCloud stores values.
enum class FILE_ENCODING : int32_t {
    BINARY = 0,  ///< raw little-endian values: small, fast and exact
    ASCII = 1,   ///< text, each float with the fewest digits that read back to the same float
    /// PCD only: `binary_compressed`, the fields one after another in one LZF stream; smaller where
    /// neighbouring values repeat, and the form recording tools commonly write
    BINARY_COMPRESSED = 2,
};

/// Options of writePointCloud.
struct PointCloudWriteOptions {
    /// PLY `binary_little_endian` or `ascii`, PCD `binary`, `binary_compressed` or `ascii`; XYZ is always
    /// text.
    FILE_ENCODING encoding = FILE_ENCODING::BINARY;
    /// Adds the red, green and blue bytes of each point's fourth float (F32_C4 only): PLY as three uchar
    /// properties, PCD as the packed `rgb` field 0x00RRGGBB, bit for bit.
    bool withColor = false;
    /// PCD only: keeps the grid (WIDTH and HEIGHT of the Mat) with invalid points as NaN, marking the cloud
    /// not dense. PLY and XYZ have no organised form and refuse it. Otherwise invalid points are skipped.
    bool keepInvalid = false;
};

/// Options of writeDepth.
struct DepthWriteOptions {
    /// 16-bit files (PNG, PGM) store each depth times `factor`, rounded to nearest (ties to even); below 0
    /// gives 0 and above 65535 gives 65535. PFM stores the floats as they are.
    float factor = 1.0f;
    /// What NaN and infinite depths become in 16-bit files; 0 reads as "no depth". PFM keeps them.
    uint16_t invalidValue = 0;
};

/// Writes the F32_C3 or F32_C4 `cloud` to exactly `path` as PLY, PCD or XYZ (VTK: use savePointCloudAs). A
/// point is invalid when any coordinate is not finite. A Mat without host memory is copied from the GPU
/// first. The file is written beside `path` and renamed over it once complete. A cloud without valid points
/// gives a valid empty file (logged: some readers refuse it). Failures are logged;
/// INVALID_FUNCTION_PARAMETERS for a wrong type, format or option, FAILURE when the file cannot be written.
VELA_API ERROR_CODE writePointCloud(const Mat& cloud, const String& path, POINT_CLOUD_FORMAT format,
                                    const PointCloudWriteOptions& options = {});

/// Writes the F32_C1 `depth` to exactly `path`: PFM bottom row first (the order every PFM reader expects)
/// with the floats as they are, or 16-bit PNG or PGM by the rules of `options`. A Mat without host memory is
/// copied from the GPU first; the file replaces `path` only once complete. Errors as writePointCloud.
VELA_API ERROR_CODE writeDepth(const Mat& depth, const String& path, DEPTH_FORMAT format,
                               const DepthWriteOptions& options = {});

/// Reads the PLY (ASCII or binary, either byte order), PCD (ASCII, binary or binary_compressed) or XYZ file
/// at `path`, told apart by their content, into `cloud`: a new F32_C4 host Mat of x, y, z and the colour
/// bytes red, green, blue, 0 (all 0 without colour); an organised PCD keeps its grid, anything else is one
/// row. An empty cloud leaves `cloud` empty. FAILURE, logged with the reason and `cloud` untouched, for a
/// file that cannot be read (anything but a regular file is refused without waiting on it) or is not a
/// complete cloud. Memory beyond the returned cloud is a fixed-size block of the file (or its longest header,
/// line or row); a compressed PCD also needs its compressed and expanded data at once.
VELA_API ERROR_CODE readPointCloud(const String& path, Mat& cloud);

}  // namespace vela
