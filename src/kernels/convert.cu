// The GPU side of the unsigned-to-signed image conversion.

#include "kernels/grid_ops.hpp"
#include "kernels/launch_device.cuh"

VELA_CONVERT_OPS(VELA_LAUNCH_DEVICE_SIDE)
