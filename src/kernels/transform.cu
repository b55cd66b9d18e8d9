// The GPU side of the point-cloud kernels: unit scaling and change of axes.

#include "kernels/grid_ops.hpp"
#include "kernels/launch_device.cuh"

VELA_TRANSFORM_OPS(VELA_LAUNCH_DEVICE_SIDE)
