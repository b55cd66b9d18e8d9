// The simulated GPU: the CUDA runtime functions that vela calls, implemented over host memory and strict
// about what a real device would reject.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <unordered_map>

#include "sim_device.hpp"

namespace vela {
namespace sim {
namespace {

struct Allocation {
    unsigned char* base = nullptr;  // the address the caller holds
    unsigned char* view = nullptr;  // where the simulator reads and writes it
    size_t size = 0;
    size_t mappedSize = 0;  // device allocations only
    Kind kind = Kind::Unknown;
};

struct State {
    std::mutex mutex;
    std::map<uintptr_t, Allocation> allocations;  // by base address
    std::unordered_map<std::string, cudaError_t> injected;
    std::set<cudaStream_t> streams;
};

State& state() {
    static State instance;
    return instance;
}

// As in the real runtime, each host thread has its own last error.
thread_local cudaError_t lastError = cudaSuccess;

constexpr unsigned char kUninitialisedByte = 0xCD;

size_t roundUp(size_t value, size_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

// The allocation that contains `ptr`, or null; the caller holds the lock.
Allocation* findLocked(const void* ptr) {
    auto& allocations = state().allocations;
    const auto address = reinterpret_cast<uintptr_t>(ptr);
    auto next = allocations.upper_bound(address);
    if (next == allocations.begin()) return nullptr;
    Allocation& candidate = std::prev(next)->second;
    return address < reinterpret_cast<uintptr_t>(candidate.base) + candidate.size ? &candidate : nullptr;
}

bool gpuVisible(Kind kind) {
    return kind == Kind::Device || kind == Kind::Managed || kind == Kind::MappedPinned;
}

// Where the simulator may touch `bytes` bytes at `ptr`: null when the range leaves its allocation or when
// the side does not fit (a device pointer where host memory is expected, or the reverse).
enum class Side { Host, Device, Any };
unsigned char* resolveLocked(const void* ptr, size_t bytes, Side side) {
    Allocation* allocation = findLocked(ptr);
    if (allocation == nullptr) {
        // Plain host memory is unknown to the runtime: it cannot be checked, only refused as a device side.
        return side == Side::Device ? nullptr : static_cast<unsigned char*>(const_cast<void*>(ptr));
    }
    if (side == Side::Device && !gpuVisible(allocation->kind)) return nullptr;
    if (side == Side::Host && allocation->kind == Kind::Device) return nullptr;
    const size_t offset = static_cast<const unsigned char*>(ptr) - allocation->base;
    if (bytes > allocation->size - offset) return nullptr;
    return allocation->view + offset;
}

bool takeInjected(const char* function, cudaError_t* error) {
    std::lock_guard<std::mutex> lock(state().mutex);
    auto found = state().injected.find(function);
    if (found == state().injected.end()) return false;
    *error = found->second;
    state().injected.erase(found);
    return true;
}

#define SIM_INJECTION_POINT(name)                              \
    do {                                                       \
        cudaError_t injectedError;                             \
        if (::vela::sim::takeInjected(name, &injectedError)) { \
            return ::vela::sim::recordError(injectedError);    \
        }                                                      \
    } while (0)

void track(const Allocation& allocation) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().allocations.emplace(reinterpret_cast<uintptr_t>(allocation.base), allocation);
}

// Device memory: one memory file mapped twice, without access for the caller and read-write for the
// simulator, so that a host dereference of a device pointer faults as it would with a real GPU.
cudaError_t allocateDevice(void** devPtr, size_t size) {
    *devPtr = nullptr;
    if (size == 0) return cudaSuccess;
    const size_t mapped = roundUp(size, static_cast<size_t>(sysconf(_SC_PAGESIZE)));
    const int fd = memfd_create("vela-sim-device", MFD_CLOEXEC);
    if (fd < 0) return recordError(cudaErrorMemoryAllocation);
    void* view = MAP_FAILED;
    void* base = MAP_FAILED;
    if (ftruncate(fd, static_cast<off_t>(mapped)) == 0) {
        view = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        base = mmap(nullptr, mapped, PROT_NONE, MAP_SHARED, fd, 0);
    }
    close(fd);
    if (view == MAP_FAILED || base == MAP_FAILED) {
        if (view != MAP_FAILED) munmap(view, mapped);
        if (base != MAP_FAILED) munmap(base, mapped);
        return recordError(cudaErrorMemoryAllocation);
    }
    std::memset(view, kUninitialisedByte, mapped);
    track({static_cast<unsigned char*>(base), static_cast<unsigned char*>(view), size, mapped, Kind::Device});
    *devPtr = base;
    return cudaSuccess;
}

cudaError_t allocateHostVisible(void** ptr, size_t size, Kind kind) {
    *ptr = nullptr;
    if (size == 0) return cudaSuccess;
    void* memory = std::aligned_alloc(256, roundUp(size, 256));
    if (memory == nullptr) return recordError(cudaErrorMemoryAllocation);
    std::memset(memory, kUninitialisedByte, size);
    track({static_cast<unsigned char*>(memory), static_cast<unsigned char*>(memory), size, 0, kind});
    *ptr = memory;
    return cudaSuccess;
}

// Releases the allocation that starts exactly at `ptr` if its kind is one of `kinds`.
cudaError_t release(void* ptr, std::initializer_list<Kind> kinds) {
    if (ptr == nullptr) return cudaSuccess;
    Allocation allocation;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        auto found = state().allocations.find(reinterpret_cast<uintptr_t>(ptr));
        if (found == state().allocations.end() ||
            std::find(kinds.begin(), kinds.end(), found->second.kind) == kinds.end()) {
            return recordError(cudaErrorInvalidValue);
        }
        allocation = found->second;
        state().allocations.erase(found);
    }
    if (allocation.kind == Kind::Device) {
        munmap(allocation.base, allocation.mappedSize);
        munmap(allocation.view, allocation.mappedSize);
    } else {
        std::free(allocation.base);
    }
    return cudaSuccess;
}

Side sourceSide(cudaMemcpyKind kind) {
    switch (kind) {
        case cudaMemcpyHostToHost:
        case cudaMemcpyHostToDevice:
            return Side::Host;
        case cudaMemcpyDeviceToHost:
        case cudaMemcpyDeviceToDevice:
            return Side::Device;
        default:
            return Side::Any;
    }
}

Side destinationSide(cudaMemcpyKind kind) {
    switch (kind) {
        case cudaMemcpyHostToHost:
        case cudaMemcpyDeviceToHost:
            return Side::Host;
        case cudaMemcpyHostToDevice:
        case cudaMemcpyDeviceToDevice:
            return Side::Device;
        default:
            return Side::Any;
    }
}

cudaError_t copy2D(const char* function, void* dst, size_t dpitch, const void* src, size_t spitch,
                   size_t width, size_t height, cudaMemcpyKind kind, cudaStream_t stream) {
    SIM_INJECTION_POINT(function);
    if (!isValidStream(stream)) return recordError(cudaErrorInvalidResourceHandle);
    if (kind < cudaMemcpyHostToHost || kind > cudaMemcpyDefault)
        return recordError(cudaErrorInvalidMemcpyDirection);
    if (width == 0 || height == 0) return cudaSuccess;
    if (dpitch < width || spitch < width) return recordError(cudaErrorInvalidPitchValue);
    if (dst == nullptr || src == nullptr) return recordError(cudaErrorInvalidValue);
    std::lock_guard<std::mutex> lock(state().mutex);
    unsigned char* to = resolveLocked(dst, (height - 1) * dpitch + width, destinationSide(kind));
    const unsigned char* from = resolveLocked(src, (height - 1) * spitch + width, sourceSide(kind));
    if (to == nullptr || from == nullptr) return recordError(cudaErrorInvalidValue);
    for (size_t row = 0; row < height; ++row)
        std::memmove(to + row * dpitch, from + row * spitch, width);
    return cudaSuccess;
}

const std::unordered_map<int, const char*>& errorTexts() {
    // The real runtime's texts for the errors the simulator produces or tests inject.
    static const std::unordered_map<int, const char*> texts = {
        {cudaSuccess, "no error"},
        {cudaErrorInvalidValue, "invalid argument"},
        {cudaErrorMemoryAllocation, "out of memory"},
        {cudaErrorInitializationError, "initialization error"},
        {cudaErrorLaunchFailure, "unspecified launch failure"},
        {cudaErrorInvalidPitchValue, "invalid pitch argument"},
        {cudaErrorInvalidMemcpyDirection, "invalid copy direction for memcpy"},
        {cudaErrorInsufficientDriver, "CUDA driver version is insufficient for CUDA runtime version"},
        {cudaErrorNoDevice, "no CUDA-capable device is detected"},
        {cudaErrorInvalidResourceHandle, "invalid resource handle"},
        {cudaErrorIllegalAddress, "an illegal memory access was encountered"},
        {cudaErrorNotSupported, "operation not supported"},
    };
    return texts;
}

}  // namespace

cudaError_t recordError(cudaError_t error) {
    if (error != cudaSuccess) lastError = error;
    return error;
}

Kind kindOf(const void* ptr) {
    std::lock_guard<std::mutex> lock(state().mutex);
    const Allocation* allocation = findLocked(ptr);
    return allocation == nullptr ? Kind::Unknown : allocation->kind;
}

size_t liveAllocations() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().allocations.size();
}

void failNextCall(const std::string& function, cudaError_t error) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().injected[function] = error;
}

void setPendingError(cudaError_t error) {
    lastError = error;
}

void reset() {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().injected.clear();
    lastError = cudaSuccess;
}

void* deviceView(const void* devicePtr, size_t bytes) {
    if (devicePtr == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(state().mutex);
    return resolveLocked(devicePtr, bytes, Side::Device);
}

cudaError_t takeInjectedFailure(const char* function) {
    cudaError_t error = cudaSuccess;
    if (takeInjected(function, &error)) recordError(error);
    return error;
}

bool isValidStream(cudaStream_t stream) {
    if (stream == nullptr) return true;
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().streams.count(stream) != 0;
}

}  // namespace sim
}  // namespace vela

using vela::sim::Kind;
using vela::sim::recordError;

extern "C" {

cudaError_t cudaMalloc(void** devPtr, size_t size) {
    if (devPtr == nullptr) return recordError(cudaErrorInvalidValue);
    *devPtr = nullptr;
    SIM_INJECTION_POINT("cudaMalloc");
    return vela::sim::allocateDevice(devPtr, size);
}

cudaError_t cudaMallocPitch(void** devPtr, size_t* pitch, size_t width, size_t height) {
    if (devPtr == nullptr || pitch == nullptr) return recordError(cudaErrorInvalidValue);
    *devPtr = nullptr;
    *pitch = 0;
    SIM_INJECTION_POINT("cudaMallocPitch");
    const size_t padded = vela::sim::roundUp(width, vela::sim::kPitchAlignment);
    const cudaError_t result = vela::sim::allocateDevice(devPtr, padded * height);
    if (result == cudaSuccess) *pitch = padded;
    return result;
}

cudaError_t cudaMallocManaged(void** devPtr, size_t size, unsigned int flags) {
    if (devPtr == nullptr) return recordError(cudaErrorInvalidValue);
    *devPtr = nullptr;
    SIM_INJECTION_POINT("cudaMallocManaged");
    // Unlike cudaMalloc, an empty managed allocation is refused.
    if (size == 0 || (flags != cudaMemAttachGlobal && flags != cudaMemAttachHost))
        return recordError(cudaErrorInvalidValue);
    return vela::sim::allocateHostVisible(devPtr, size, Kind::Managed);
}

cudaError_t cudaHostAlloc(void** pHost, size_t size, unsigned int flags) {
    if (pHost == nullptr) return recordError(cudaErrorInvalidValue);
    *pHost = nullptr;
    SIM_INJECTION_POINT("cudaHostAlloc");
    const unsigned int known = cudaHostAllocPortable | cudaHostAllocMapped | cudaHostAllocWriteCombined;
    if ((flags & ~known) != 0) return recordError(cudaErrorInvalidValue);
    return vela::sim::allocateHostVisible(
        pHost, size, (flags & cudaHostAllocMapped) != 0 ? Kind::MappedPinned : Kind::Pinned);
}

cudaError_t cudaHostGetDevicePointer(void** pDevice, void* pHost, unsigned int flags) {
    if (pDevice == nullptr) return recordError(cudaErrorInvalidValue);
    *pDevice = nullptr;
    SIM_INJECTION_POINT("cudaHostGetDevicePointer");
    if (flags != 0 || vela::sim::kindOf(pHost) != Kind::MappedPinned)
        return recordError(cudaErrorInvalidValue);
    // Unified addressing: the device sees the block at its host address.
    *pDevice = pHost;
    return cudaSuccess;
}

cudaError_t cudaFree(void* devPtr) {
    SIM_INJECTION_POINT("cudaFree");
    return vela::sim::release(devPtr, {Kind::Device, Kind::Managed});
}

cudaError_t cudaFreeHost(void* ptr) {
    SIM_INJECTION_POINT("cudaFreeHost");
    return vela::sim::release(ptr, {Kind::Pinned, Kind::MappedPinned});
}

cudaError_t cudaMemcpy(void* dst, const void* src, size_t count, cudaMemcpyKind kind) {
    return vela::sim::copy2D("cudaMemcpy", dst, count, src, count, count, 1, kind, nullptr);
}

cudaError_t cudaMemcpyAsync(void* dst, const void* src, size_t count, cudaMemcpyKind kind,
                            cudaStream_t stream) {
    return vela::sim::copy2D("cudaMemcpyAsync", dst, count, src, count, count, 1, kind, stream);
}

cudaError_t cudaMemcpy2D(void* dst, size_t dpitch, const void* src, size_t spitch, size_t width,
                         size_t height, cudaMemcpyKind kind) {
    return vela::sim::copy2D("cudaMemcpy2D", dst, dpitch, src, spitch, width, height, kind, nullptr);
}

cudaError_t cudaMemcpy2DAsync(void* dst, size_t dpitch, const void* src, size_t spitch, size_t width,
                              size_t height, cudaMemcpyKind kind, cudaStream_t stream) {
    return vela::sim::copy2D("cudaMemcpy2DAsync", dst, dpitch, src, spitch, width, height, kind, stream);
}

cudaError_t cudaMemset(void* devPtr, int value, size_t count) {
    SIM_INJECTION_POINT("cudaMemset");
    if (count == 0) return cudaSuccess;
    void* view = vela::sim::deviceView(devPtr, count);
    if (view == nullptr) return recordError(cudaErrorInvalidValue);
    std::memset(view, value, count);
    return cudaSuccess;
}

cudaError_t cudaStreamCreate(cudaStream_t* pStream) {
    if (pStream == nullptr) return recordError(cudaErrorInvalidValue);
    SIM_INJECTION_POINT("cudaStreamCreate");
    // A stream is only a handle here: every operation completes before its call returns.
    auto stream = reinterpret_cast<cudaStream_t>(new char);
    std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
    vela::sim::state().streams.insert(stream);
    *pStream = stream;
    return cudaSuccess;
}

cudaError_t cudaStreamDestroy(cudaStream_t stream) {
    SIM_INJECTION_POINT("cudaStreamDestroy");
    std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
    if (vela::sim::state().streams.erase(stream) == 0) return recordError(cudaErrorInvalidResourceHandle);
    delete reinterpret_cast<char*>(stream);
    return cudaSuccess;
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
    SIM_INJECTION_POINT("cudaStreamSynchronize");
    if (!vela::sim::isValidStream(stream)) return recordError(cudaErrorInvalidResourceHandle);
    return cudaSuccess;
}

cudaError_t cudaStreamAttachMemAsync(cudaStream_t stream, void* devPtr, size_t length, unsigned int flags) {
    SIM_INJECTION_POINT("cudaStreamAttachMemAsync");
    if (!vela::sim::isValidStream(stream)) return recordError(cudaErrorInvalidResourceHandle);
    if (flags != cudaMemAttachGlobal && flags != cudaMemAttachHost && flags != cudaMemAttachSingle) {
        return recordError(cudaErrorInvalidValue);
    }
    // The null stream stands for every stream, so memory cannot be attached to it alone.
    if (flags == cudaMemAttachSingle && stream == nullptr) return recordError(cudaErrorInvalidValue);
    // Only managed memory can be attached, and a length, when given, must cover the whole allocation.
    std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
    auto& allocations = vela::sim::state().allocations;
    const auto found = allocations.find(reinterpret_cast<uintptr_t>(devPtr));
    if (found == allocations.end() || found->second.kind != Kind::Managed ||
        (length != 0 && length != found->second.size)) {
        return recordError(cudaErrorInvalidValue);
    }
    return cudaSuccess;
}

cudaError_t cudaDeviceSynchronize(void) {
    SIM_INJECTION_POINT("cudaDeviceSynchronize");
    return cudaSuccess;
}

cudaError_t cudaGetDeviceCount(int* count) {
    if (count == nullptr) return recordError(cudaErrorInvalidValue);
    *count = 0;
    SIM_INJECTION_POINT("cudaGetDeviceCount");
    *count = 1;
    return cudaSuccess;
}

cudaError_t cudaPointerGetAttributes(cudaPointerAttributes* attributes, const void* ptr) {
    if (attributes == nullptr) return recordError(cudaErrorInvalidValue);
    SIM_INJECTION_POINT("cudaPointerGetAttributes");
    *attributes = cudaPointerAttributes{};
    attributes->device = 0;  // the one simulated device
    void* address = const_cast<void*>(ptr);
    switch (vela::sim::kindOf(ptr)) {
        case Kind::Device:
            attributes->type = cudaMemoryTypeDevice;
            attributes->devicePointer = address;
            break;
        case Kind::Managed:
            attributes->type = cudaMemoryTypeManaged;
            attributes->devicePointer = attributes->hostPointer = address;
            break;
        case Kind::MappedPinned:
        case Kind::Pinned:
            attributes->type = cudaMemoryTypeHost;
            attributes->devicePointer = attributes->hostPointer = address;
            break;
        case Kind::Unknown:
            attributes->type = cudaMemoryTypeUnregistered;
            attributes->hostPointer = address;
            break;
    }
    return cudaSuccess;
}

cudaError_t cudaGetLastError(void) {
    const cudaError_t error = vela::sim::lastError;
    vela::sim::lastError = cudaSuccess;
    return error;
}

cudaError_t cudaPeekAtLastError(void) {
    return vela::sim::lastError;
}

const char* cudaGetErrorString(cudaError_t error) {
    const auto& texts = vela::sim::errorTexts();
    const auto found = texts.find(static_cast<int>(error));
    return found == texts.end() ? "unrecognized error code" : found->second;
}

}  // extern "C"
