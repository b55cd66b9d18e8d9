// The device side of launch::run2d on the simulated GPU. The launchers' host code is the library's own
// (src/kernels/launchers.cpp); here each launch is checked as cudaLaunchKernel checks it, queued on its
// stream, and, when it runs, every thread of the real grid and block runs launch::threadWork, the same
// grid-stride loop the GPU kernel runs, over the simulator's views of the operation's buffers. A grid
// that misses items leaves them unwritten here as on a GPU.

#include "kernels/grid_ops.hpp"
#include "kernels/launch.hpp"
#include "mat/element_table.hpp"
#include "sim_device.hpp"

namespace vela {
namespace launch {

template <typename Op>
cudaError_t enqueue(const Op& op, size_t width, size_t height, const Shape& shape, cudaStream_t stream) {
    const cudaError_t status = sim::checkLaunch(shape.grid, shape.block, stream);
    if (status != cudaSuccess) return status;
    sim::enqueueWork(stream, [op = Op(op), width, height, shape]() mutable {
        const cudaError_t injected = sim::kernelStarts();
        if (injected != cudaSuccess) {
            sim::fault(injected);
            return;
        }
        bool mapped = true;
        op.visitGrids([&mapped](Pitched& grid) {
            if (!mapped) return;
            unsigned char* view =
                sim::mapGrid(grid.data, grid.step, grid.rowBytes, grid.rows, grid.alignment);
            mapped = view != nullptr;
            grid.data = view;
        });
        if (!mapped) return;
        const dim3 grid = shape.grid;
        const dim3 block = shape.block;
        for (unsigned by = 0; by < grid.y; ++by)
            for (unsigned bx = 0; bx < grid.x; ++bx)
                for (unsigned ty = 0; ty < block.y; ++ty)
                    for (unsigned tx = 0; tx < block.x; ++tx)
                        threadWork(op, width, height, grid, block, dim3(bx, by), dim3(tx, ty));
    });
    sim::kernelQueued();
    return cudaSuccess;
}

}  // namespace launch
}  // namespace vela

/// Instantiates the simulated device side of launch::run2d for an operation type (variadic: the type
/// may hold commas).
#define VELA_SIM_DEVICE_SIDE(...)                                                               \
    template cudaError_t vela::launch::enqueue<__VA_ARGS__>(const __VA_ARGS__&, size_t, size_t, \
                                                            const ::vela::launch::Shape&, cudaStream_t);
#define VELA_FILL_SIM_SIDE(T, ...) VELA_SIM_DEVICE_SIDE(::vela::ops::Fill<T>)
VELA_FOR_EACH_ELEMENT_TYPE(VELA_FILL_SIM_SIDE)
VELA_FILL_WORD_OPS(VELA_SIM_DEVICE_SIDE)
VELA_CONVERT_OPS(VELA_SIM_DEVICE_SIDE)
VELA_TRANSFORM_OPS(VELA_SIM_DEVICE_SIDE)
VELA_POINT_CLOUD_OPS(VELA_SIM_DEVICE_SIDE)
