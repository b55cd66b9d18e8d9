// The GPU side of the point-cloud operations.

#include "kernels/grid_ops.hpp"
#include "kernels/launch_device.cuh"

VELA_POINT_CLOUD_OPS(VELA_LAUNCH_DEVICE_SIDE)
