// The GPU side of the fills.

#include "kernels/grid_ops.hpp"
#include "kernels/launch_device.cuh"

VELA_FILL_OPS(VELA_LAUNCH_DEVICE_SIDE)
