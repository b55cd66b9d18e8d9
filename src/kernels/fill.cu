// The GPU side of the fills: one per element type, and the word types of aligned buffers.

#include "kernels/grid_ops.hpp"
#include "kernels/launch_device.cuh"
#include "mat/element_table.hpp"

#define VELA_FILL_DEVICE_SIDE(T, ...) VELA_LAUNCH_DEVICE_SIDE(::vela::ops::Fill<T>)
VELA_FOR_EACH_ELEMENT_TYPE(VELA_FILL_DEVICE_SIDE)
VELA_FILL_WORD_OPS(VELA_LAUNCH_DEVICE_SIDE)
