#pragma once

// Launch geometry shared by the 2-D kernels.

#include <cuda_runtime.h>

#include <cstddef>

namespace vela {
namespace launch {

/// 32 threads along a row keep each warp on contiguous memory.
inline constexpr unsigned kBlockWidth = 32;
inline constexpr unsigned kBlockHeight = 8;
inline const dim3 kBlock2d(kBlockWidth, kBlockHeight);

/// Enough blocks to cover a width x height grid.
inline dim3 grid2d(size_t width, size_t height) {
    return dim3(static_cast<unsigned>((width + kBlockWidth - 1) / kBlockWidth),
                static_cast<unsigned>((height + kBlockHeight - 1) / kBlockHeight));
}

}  // namespace launch
}  // namespace vela
