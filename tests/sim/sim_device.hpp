#pragma once

// Control and inspection of the simulated GPU that replaces the CUDA runtime in the simulated test build.
//
// Device allocations live in host memory behind an address the host cannot touch: the pointer handed to
// the caller is mapped without access rights, and only the simulated copies and kernels reach the
// memory, through a second mapping. Host code that dereferences a device pointer crashes here as it
// would on a real GPU. Mapped pinned memory has a host address and a distinct device alias (the host
// cannot touch the alias, the device only takes the alias). Managed memory is ordinary host memory.
//
// Work queued on a stream (kernels, asynchronous copies) runs only when something orders it, and a fault
// of that work is sticky: see sim_runtime.cpp.

#include <cuda_runtime_api.h>

#include <cstddef>
#include <functional>
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
/// Makes the next call of the runtime function `function` (e.g. "cudaMalloc", or "cudaLaunchKernel" for
/// the next kernel launch) fail with `error`, as that call's own result; the failure fires once and is not
/// sticky.
void failNextCall(const std::string& function, cudaError_t error);
/// Makes the n-th runtime call from now (n >= 1; any function, 0 cancels) fail with `error` once.
void failCallAfter(size_t n, cudaError_t error);
/// Runtime calls made so far (those that reach an injection point), for counting an operation's calls.
size_t callsMade();
/// Leaves `error` pending, as a failed asynchronous operation would; cudaGetLastError returns and clears it.
void setPendingError(cudaError_t error);
/// Clears injected failures, the pending error and the maximum pitch set by a test; allocations, queued
/// work and a sticky error stay (cudaDeviceReset clears those).
void reset();
/// Sets what cudaDevAttrMaxPitch reports and 2-D copies accept (2^31 - 1 bytes until reset).
void setMaxPitch(size_t bytes);
/// The maximum pitch of 2-D copies.
size_t maxPitch();
/// As a device without concurrent managed access (cudaDevAttrConcurrentManagedAccess 0, embedded boards):
/// while any kernel is queued and not yet synchronised, host access to any managed memory faults (the
/// Programming Guide: "the GPU has exclusive access to all managed data while any kernel operation is
/// executing"). Attaching memory to the host is not modelled. Until reset.
void setConcurrentManagedAccess(bool concurrent);
/// Makes the next kernel that runs fault with `error` (e.g. cudaErrorLaunchFailure): a sticky error.
void faultNextKernel(cudaError_t error);
/// The sticky error of a fault of the device's own work; cudaSuccess when none.
cudaError_t stickyError();
/// Items of queued work that have not run yet.
size_t pendingWork();

/// Host-accessible view of `bytes` bytes of GPU-visible memory starting at `devicePtr`, for the simulated
/// device's work; null when the range is not inside one device, managed or mapped allocation.
void* deviceView(const void* devicePtr, size_t bytes);
/// Records `error` as the runtime's last error and returns it (cudaSuccess leaves the state alone).
cudaError_t recordError(cudaError_t error);
/// True for the null stream, cudaStreamLegacy, cudaStreamPerThread and streams created and not yet
/// destroyed.
bool isValidStream(cudaStream_t stream);

// The device side of kernel launches (sim_kernels.cpp).

/// The launch's own checks, as cudaLaunchKernel makes them: a sticky or injected error, the grid and block
/// limits, the stream.
cudaError_t checkLaunch(dim3 grid, dim3 block, cudaStream_t stream);
/// Records that a kernel was queued: managed memory closes to the host where access is not concurrent.
void kernelQueued();
/// Queues `work` on `stream`; it runs when the stream is ordered to complete.
void enqueueWork(cudaStream_t stream, std::function<void()> work);
/// The injected kernel fault for the kernel starting now, if any (cudaSuccess otherwise).
cudaError_t kernelStarts();
/// Raises a fault of the device's own work: sticky until cudaDeviceReset.
void fault(cudaError_t error);
/// The simulator's view of a kernel's buffer, or null after raising the fault a GPU would: misaligned
/// (716) when `data` or `step` is not a multiple of `alignment`, illegal address (700) when the rows leave
/// GPU-visible memory.
unsigned char* mapGrid(const void* data, size_t step, size_t rowBytes, size_t rows, size_t alignment);
/// cudaDeviceReset: drops queued work, frees every allocation and clears a sticky error.
void deviceReset();

}  // namespace sim
}  // namespace vela
