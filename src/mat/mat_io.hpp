#pragma once

// How a Mat's element types meet the image library's matrix types.

#include <opencv2/core.hpp>

#include "vela/core/memory_types.hpp"

namespace vela {

/// The image library's matrix type of elements of `type`; -1 for a value outside the enumeration.
int cvTypeOf(MAT_TYPE type);

/// The MAT_TYPE of `mat`'s depth and channel count; U8_C1 for every combination that no MAT_TYPE holds.
MAT_TYPE matTypeFromCvMat(const cv::Mat& mat);

}  // namespace vela
