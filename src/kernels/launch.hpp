#pragma once

// The one way vela launches a kernel. A launcher (host code, in a .cpp file, compiled into the library and
// into the simulated build alike) builds an operation and hands it to run2d:
//
//   1. The operation is a small struct, copied by value into the kernel's parameters: its GPU buffers as
//      `Pitched` fields, any other input by value (a matrix travels in the parameters, never through a
//      device buffer), and `VELA_HOST_DEVICE void operator()(size_t x, size_t y) const` for one item of
//      the grid, which calls the per-element arithmetic of elementwise.hpp. `visitGrids(visit)` calls
//      visit(pitched) once per GPU buffer: the simulated device checks and maps each one.
//   2. The launcher returns launch::run2d(op, width, height, stream): the launch's own status, never
//      another call's error left pending.
//   3. The device side is instantiated once per operation type: VELA_LAUNCH_DEVICE_SIDE(Op) in a .cu file
//      (launch_device.cuh) and VELA_SIM_DEVICE_SIDE(Op) in tests/sim/sim_kernels.cpp.
//
// Grids are counted in items (elements, floats or words, as the operation chooses) and rows in bytes.

#include <cuda_runtime_api.h>

#include <cstddef>
#include <cstdint>

#include "kernels/elementwise.hpp"

namespace vela {
namespace launch {

/// 32 threads along a row keep each warp on contiguous memory.
inline constexpr unsigned kBlockWidth = 32;
/// Eight rows per block: 256 threads, well under the 1024 a block may hold.
inline constexpr unsigned kBlockHeight = 8;
/// The runtime's largest grid: 2^31 - 1 blocks along x, 65535 along y and z (compute capability 3.0 on;
/// the Programming Guide's table of technical specifications per compute capability).
inline constexpr size_t kMaxGridX = 2147483647u;
/// See kMaxGridX.
inline constexpr size_t kMaxGridY = 65535u;

/// A GPU buffer an operation reads or writes: `rows` rows of `rowBytes` bytes, `step` bytes apart, whose
/// start and step are multiples of `alignment` (the widest access the operation makes).
struct Pitched {
    unsigned char* data = nullptr;  ///< device address of the first row
    size_t step = 0;                ///< bytes from one row to the next
    size_t rowBytes = 0;            ///< bytes of each row the operation touches
    size_t rows = 0;                ///< rows the operation touches
    size_t alignment = 1;           ///< required alignment of `data` and `step`
};

/// True when `data` and `step` are both multiples of `alignment` (a power of two).
inline bool aligned(const void* data, size_t step, size_t alignment) {
    return ((reinterpret_cast<uintptr_t>(data) | step) & (alignment - 1)) == 0;
}

/// Blocks and threads of a launch.
struct Shape {
    dim3 grid;   ///< blocks along x and y
    dim3 block;  ///< threads per block along x and y
};

/// 32 x 8 blocks covering width x height items, as many as the runtime allows along each axis: the
/// kernel strides over what a clamped grid does not reach.
inline Shape shape2d(size_t width, size_t height) {
    const size_t blocksX = (width + kBlockWidth - 1) / kBlockWidth;
    const size_t blocksY = (height + kBlockHeight - 1) / kBlockHeight;
    Shape shape;
    shape.grid = dim3(static_cast<unsigned>(blocksX < kMaxGridX ? blocksX : kMaxGridX),
                      static_cast<unsigned>(blocksY < kMaxGridY ? blocksY : kMaxGridY));
    shape.block = dim3(kBlockWidth, kBlockHeight);
    return shape;
}

/// One thread's share of a launch over width x height items: a grid-stride loop along both axes, so any
/// grid covers any size. The GPU kernel and the simulated device both run exactly this.
template <typename Op>
VELA_HOST_DEVICE inline void threadWork(const Op& op, size_t width, size_t height, dim3 grid, dim3 block,
                                        dim3 blockIndex, dim3 threadIndex) {
    const size_t strideX = static_cast<size_t>(block.x) * grid.x;
    const size_t strideY = static_cast<size_t>(block.y) * grid.y;
    for (size_t y = static_cast<size_t>(blockIndex.y) * block.y + threadIndex.y; y < height; y += strideY)
        for (size_t x = static_cast<size_t>(blockIndex.x) * block.x + threadIndex.x; x < width; x += strideX)
            op(x, y);
}

/// The device side of a launch: queues `op` on `stream` over the grid of `shape` and returns the launch's
/// own status. Defined by launch_device.cuh for the GPU and by the simulated device for the tests.
template <typename Op>
cudaError_t enqueue(const Op& op, size_t width, size_t height, const Shape& shape, cudaStream_t stream);

/// Queues `op` over width x height items on `stream` without waiting; an empty grid launches nothing.
template <typename Op>
cudaError_t run2d(const Op& op, size_t width, size_t height, cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    return enqueue(op, width, height, shape2d(width, height), stream);
}

}  // namespace launch
}  // namespace vela
