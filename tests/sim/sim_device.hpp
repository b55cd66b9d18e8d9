#pragma once

// Control and inspection of the simulated GPU that replaces the CUDA runtime in the simulated test build.
//
// Device allocations live in host memory behind an address the host cannot touch: the pointer handed to
// the caller is mapped without access rights, and only the simulated copies and kernels reach the
// memory, through a second mapping. Host code that dereferences a device pointer crashes here as it
// would on a real GPU. Managed and mapped pinned allocations are ordinary host memory, as on hardware
// with unified addressing.

#include <cuda_runtime_api.h>

#include <cstddef>
#include <string>

namespace vela {
namespace sim {

/// What the simulated runtime knows about an address.
enum class Kind {
    Unknown,       ///< not allocated by the runtime: plain host memory or a stray pointer
    Device,        ///< cudaMalloc / cudaMallocPitch
    Managed,       ///< cudaMallocManaged
    MappedPinned,  ///< cudaHostAlloc with cudaHostAllocMapped
    Pinned,        ///< cudaHostAlloc without mapping
};

/// Row alignment of cudaMallocPitch, as real hardware pads rows.
constexpr size_t kPitchAlignment = 512;

/// Kind of the allocation that contains `ptr`.
Kind kindOf(const void* ptr);
/// Number of allocations not yet freed.
size_t liveAllocations();
/// Makes the next call of the runtime function `function` (e.g. "cudaMalloc") fail with `error`;
/// the failure fires once. A kernel launcher's name works the same way.
void failNextCall(const std::string& function, cudaError_t error);
/// Leaves `error` pending, as a failed asynchronous operation would; cudaGetLastError returns and clears it.
void setPendingError(cudaError_t error);
/// Clears injected failures, the pending error and the allocation log; allocations stay.
void reset();

/// Host-accessible view of `bytes` bytes of GPU-visible memory starting at `devicePtr`, for the simulated
/// kernels; null when the range is not inside one device, managed or mapped allocation.
void* deviceView(const void* devicePtr, size_t bytes);
/// Consumes an injected failure of a kernel launcher; cudaSuccess when none is pending. Records a
/// failure as the runtime's last error.
cudaError_t takeInjectedFailure(const char* function);
/// Records `error` as the runtime's last error and returns it (cudaSuccess leaves the state alone).
cudaError_t recordError(cudaError_t error);
/// True for the null stream and for streams created and not yet destroyed.
bool isValidStream(cudaStream_t stream);

}  // namespace sim
}  // namespace vela
