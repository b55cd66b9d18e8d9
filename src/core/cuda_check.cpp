#include "vela/core/cuda_check.hpp"

#include <cstdio>

namespace vela {

void __cudaSafeCall(cudaError_t err, const char* function, const char* /*file*/, int /*line*/) {
    if (err == cudaSuccess) return;
    std::printf("in %s : Err [%d]: %s.\n", function, static_cast<int>(err), cudaGetErrorString(err));
}

}  // namespace vela
