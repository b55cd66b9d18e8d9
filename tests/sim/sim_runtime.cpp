// The simulated GPU: the CUDA runtime functions that vela calls, implemented over host memory and strict
// about what a real device would reject.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <unordered_map>
#include <vector>

#include "sim_device.hpp"

namespace vela {
namespace sim {
namespace {

struct Allocation {
    unsigned char* base = nullptr;  // the address the caller holds
    unsigned char* view = nullptr;  // where the simulator reads and writes it
    size_t size = 0;
    size_t mappedSize = 0;  // memory-file allocations (device and mapped pinned) only
    Kind kind = Kind::Unknown;
    // Mapped pinned memory has two addresses: the host's, and the device alias that
    // cudaHostGetDevicePointer returns. Each entry names the other; only the host entry counts as an
    // allocation.
    bool deviceAlias = false;
    unsigned char* partner = nullptr;
};

// Work queued on a stream, run when something orders it.
struct Pending {
    cudaStream_t stream;  // null for the legacy default stream
    std::function<void()> work;
};

// The documented maximum pitch of 2-D copies on current devices (cudaDevAttrMaxPitch).
constexpr size_t kDefaultMaxPitch = 2147483647u;

struct State {
    std::mutex mutex;
    std::map<uintptr_t, Allocation> allocations;  // by base address
    std::unordered_map<std::string, cudaError_t> injected;
    size_t calls = 0;        // runtime calls made, counted by failCallAfter
    size_t failingCall = 0;  // the call that fails with failingError; 0: none
    cudaError_t failingError = cudaSuccess;
    std::set<cudaStream_t> streams;
    std::mutex queueMutex;  // taken before `mutex` where both are held, never after
    std::deque<Pending> pending;
    cudaError_t kernelFault = cudaSuccess;  // injected into the next kernel that runs
    size_t maxPitch = kDefaultMaxPitch;
    bool concurrentManaged = true;  // cudaDevAttrConcurrentManagedAccess
    bool managedLocked = false;     // managed memory closed to the host while kernels are pending
};

State& state() {
    static State instance;
    return instance;
}

// As in the real runtime, each host thread has its own last error.
thread_local cudaError_t lastError = cudaSuccess;

// A fault of the device's own work (an illegal or misaligned access, a failed kernel) corrupts the context:
// "the process must be terminated and relaunched" (cudaErrorIllegalAddress and its neighbours in
// driver_types.h), so every later call returns it. Shared by all threads, as the context is.
std::atomic<cudaError_t> stickyErrorState{cudaSuccess};

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

// Device addresses: device and managed memory, and the device alias of mapped pinned memory.
bool gpuVisible(const Allocation& allocation) {
    return allocation.kind == Kind::Device || allocation.kind == Kind::Managed || allocation.deviceAlias;
}

// Host addresses: everything but device memory and device aliases.
bool hostVisible(const Allocation& allocation) {
    return allocation.kind != Kind::Device && !allocation.deviceAlias;
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
    if (side == Side::Device && !gpuVisible(*allocation)) return nullptr;
    if (side == Side::Host && !hostVisible(*allocation)) return nullptr;
    const size_t offset = static_cast<const unsigned char*>(ptr) - allocation->base;
    if (bytes > allocation->size - offset) return nullptr;
    return allocation->view + offset;
}

bool takeInjected(const char* function, cudaError_t* error) {
    const cudaError_t sticky = stickyErrorState.load();
    if (sticky != cudaSuccess) {
        *error = sticky;
        return true;
    }
    std::lock_guard<std::mutex> lock(state().mutex);
    if (++state().calls == state().failingCall) {
        state().failingCall = 0;
        *error = state().failingError;
        return true;
    }
    auto found = state().injected.find(function);
    if (found == state().injected.end()) return false;
    *error = found->second;
    state().injected.erase(found);
    return true;
}

// Every runtime entry point: a sticky error, then an injected failure, is the call's result.
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

// One memory file mapped twice: read-write at `*view` and without access at `*closed`, so that a host
// dereference of the closed address faults as it would with a real GPU.
bool mapTwice(size_t mapped, void** view, void** closed, int closedAccess = PROT_NONE) {
    const int fd = memfd_create("vela-sim-device", MFD_CLOEXEC);
    if (fd < 0) return false;
    *view = *closed = MAP_FAILED;
    if (ftruncate(fd, static_cast<off_t>(mapped)) == 0) {
        *view = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        *closed = mmap(nullptr, mapped, closedAccess, MAP_SHARED, fd, 0);
    }
    close(fd);
    if (*view != MAP_FAILED && *closed != MAP_FAILED) {
        std::memset(*view, kUninitialisedByte, mapped);
        return true;
    }
    if (*view != MAP_FAILED) munmap(*view, mapped);
    if (*closed != MAP_FAILED) munmap(*closed, mapped);
    return false;
}

size_t pageRounded(size_t size) {
    return roundUp(size, static_cast<size_t>(sysconf(_SC_PAGESIZE)));
}

// Device memory: the caller holds the closed address, the simulator works through the view.
cudaError_t allocateDevice(void** devPtr, size_t size) {
    *devPtr = nullptr;
    if (size == 0) return cudaSuccess;
    const size_t mapped = pageRounded(size);
    void* view = nullptr;
    void* base = nullptr;
    if (!mapTwice(mapped, &view, &base)) return recordError(cudaErrorMemoryAllocation);
    track({static_cast<unsigned char*>(base), static_cast<unsigned char*>(view), size, mapped, Kind::Device});
    *devPtr = base;
    return cudaSuccess;
}

// Mapped pinned memory: the host address is the read-write mapping; the device alias is the closed one,
// which host code cannot use. The runtime documents that the two may differ (cudaHostGetDevicePointer,
// cudaDevAttrCanUseHostPointerForRegisteredMem), so confusing them shows here.
cudaError_t allocateMapped(void** pHost, size_t size) {
    *pHost = nullptr;
    if (size == 0) return cudaSuccess;
    const size_t mapped = pageRounded(size);
    void* host = nullptr;
    void* alias = nullptr;
    if (!mapTwice(mapped, &host, &alias)) return recordError(cudaErrorMemoryAllocation);
    auto* hostBytes = static_cast<unsigned char*>(host);
    auto* aliasBytes = static_cast<unsigned char*>(alias);
    track({hostBytes, hostBytes, size, mapped, Kind::MappedPinned, false, aliasBytes});
    track({aliasBytes, hostBytes, size, mapped, Kind::MappedPinned, true, hostBytes});
    *pHost = host;
    return cudaSuccess;
}

// Managed memory: the caller's mapping is open to the host, except while kernels are pending on a device
// without concurrent managed access (see setConcurrentManagedAccess); the simulator uses its own view.
cudaError_t allocateManaged(void** devPtr, size_t size) {
    const size_t mapped = pageRounded(size);
    void* view = nullptr;
    void* base = nullptr;
    if (!mapTwice(mapped, &view, &base, PROT_READ | PROT_WRITE))
        return recordError(cudaErrorMemoryAllocation);
    std::lock_guard<std::mutex> lock(state().mutex);
    if (state().managedLocked) mprotect(base, mapped, PROT_NONE);
    state().allocations.emplace(reinterpret_cast<uintptr_t>(base),
                                Allocation{static_cast<unsigned char*>(base),
                                           static_cast<unsigned char*>(view), size, mapped, Kind::Managed});
    *devPtr = base;
    return cudaSuccess;
}

// Opens (or closes) every managed allocation to the host; the caller holds the lock.
void setManagedAccessLocked(bool open) {
    if (state().managedLocked == !open) return;
    state().managedLocked = !open;
    for (const auto& [address, allocation] : state().allocations)
        if (allocation.kind == Kind::Managed)
            mprotect(allocation.base, allocation.mappedSize, open ? PROT_READ | PROT_WRITE : PROT_NONE);
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
        // A device alias is not what the allocator returned: it cannot be freed.
        if (found == state().allocations.end() || found->second.deviceAlias ||
            std::find(kinds.begin(), kinds.end(), found->second.kind) == kinds.end()) {
            return recordError(cudaErrorInvalidValue);
        }
        allocation = found->second;
        state().allocations.erase(found);
        if (allocation.partner != nullptr)
            state().allocations.erase(reinterpret_cast<uintptr_t>(allocation.partner));
    }
    if (allocation.kind == Kind::Device || allocation.kind == Kind::Managed) {
        munmap(allocation.base, allocation.mappedSize);
        munmap(allocation.view, allocation.mappedSize);
    } else if (allocation.partner != nullptr) {
        munmap(allocation.base, allocation.mappedSize);
        munmap(allocation.partner, allocation.mappedSize);
    } else {
        std::free(allocation.base);
    }
    return cudaSuccess;
}

// The side a copy of direction `kind` (already checked to be one of the five) reads (`source`) or writes.
Side sideOf(cudaMemcpyKind kind, bool source) {
    if (kind == cudaMemcpyDefault) return Side::Any;
    const bool host =
        kind == cudaMemcpyHostToHost || kind == (source ? cudaMemcpyHostToDevice : cudaMemcpyDeviceToHost);
    return host ? Side::Host : Side::Device;
}

// ---- Streams ----
//
// "Stream synchronization behavior" of the runtime documentation: work on a stream runs in issue order,
// asynchronously to the host. The legacy default stream (the null stream, cudaStreamLegacy) waits for all
// earlier work of the blocking streams (every stream vela creates, and cudaStreamPerThread), and their later
// work waits for it. The simulator runs queued work only when something orders it: cudaStreamSynchronize
// of its stream (and the legacy-stream work before it), or a call that waits for the whole device
// (cudaDeviceSynchronize, the synchronous copies, cudaFree, cudaFreeHost). Until then the host sees the old
// bytes, as it may on hardware.

// The queue's name for a stream: the legacy stream is the null stream.
cudaStream_t queueKey(cudaStream_t stream) {
    return stream == cudaStreamLegacy ? nullptr : stream;
}

// Runs pending[index] (the caller holds queueMutex). A fault already raised drops the work: the context is
// lost.
void runLocked(size_t index) {
    auto& pending = state().pending;
    std::function<void()> work = std::move(pending[index].work);
    pending.erase(pending.begin() + static_cast<std::ptrdiff_t>(index));
    if (stickyErrorState.load() == cudaSuccess) work();
}

// Completes the work of `stream` queued so far, with what it waits for; all work when `everything`.
void drain(cudaStream_t stream, bool everything) {
    std::lock_guard<std::mutex> lock(state().queueMutex);
    auto& pending = state().pending;
    const cudaStream_t key = queueKey(stream);
    size_t last = pending.size();  // the last item of the stream, or none
    for (size_t i = 0; i < pending.size(); ++i)
        if (everything || pending[i].stream == key) last = i;
    if (last == pending.size()) return;
    // Up to the last legacy-stream item before it, everything runs: that item waited for all earlier work.
    size_t barrier = 0;
    for (size_t i = 0; i <= last; ++i)
        if (everything || pending[i].stream == nullptr) barrier = i + 1;
    for (size_t i = 0; i < barrier; ++i)
        runLocked(0);
    last -= barrier;
    for (size_t i = 0; i <= last && i < pending.size();) {
        if (pending[i].stream == key) {
            runLocked(i);
            --last;
        } else {
            ++i;
        }
        if (last == static_cast<size_t>(-1)) break;
    }
    if (pending.empty()) {
        std::lock_guard<std::mutex> stateLock(state().mutex);
        setManagedAccessLocked(true);
    }
}

// The result of a call that waited: the sticky error its work raised, if any.
cudaError_t afterWait() {
    const cudaError_t sticky = stickyErrorState.load();
    return sticky == cudaSuccess ? cudaSuccess : recordError(sticky);
}

// ---- Copies ----

// cudaMemcpy and cudaMemcpy2D and their asynchronous forms, after the checks their documentation states:
// width at most each pitch ("dpitch and spitch ... must be greater than or equal to width"), pitches at
// most cudaDevAttrMaxPitch, pointers that fit the direction (or cudaMemcpyDefault), and areas that do not
// overlap ("The memory areas may not overlap"). A synchronous copy first waits for all earlier work and
// completes before it returns; an asynchronous one joins its stream's queue, except between two host
// buffers, which is "fully synchronous with respect to the host" ("API synchronization behavior").
cudaError_t copy2D(const char* function, void* dst, size_t dpitch, const void* src, size_t spitch,
                   size_t width, size_t height, cudaMemcpyKind kind, cudaStream_t stream, bool async,
                   bool pitched) {
    SIM_INJECTION_POINT(function);
    if (!isValidStream(stream)) return recordError(cudaErrorInvalidResourceHandle);
    if (kind < cudaMemcpyHostToHost || kind > cudaMemcpyDefault)
        return recordError(cudaErrorInvalidMemcpyDirection);
    if (width == 0 || height == 0) return cudaSuccess;
    if (dpitch < width || spitch < width) return recordError(cudaErrorInvalidPitchValue);
    if (pitched && (dpitch > maxPitch() || spitch > maxPitch()))
        return recordError(cudaErrorInvalidPitchValue);
    if (dst == nullptr || src == nullptr) return recordError(cudaErrorInvalidValue);
    if (!async) {
        drain(nullptr, true);
        if (afterWait() != cudaSuccess) return stickyErrorState.load();
    }
    unsigned char* to = nullptr;
    const unsigned char* from = nullptr;
    bool hostOnly = false;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        to = resolveLocked(dst, (height - 1) * dpitch + width, sideOf(kind, false));
        from = resolveLocked(src, (height - 1) * spitch + width, sideOf(kind, true));
        const Allocation* dstAllocation = findLocked(dst);
        const Allocation* srcAllocation = findLocked(src);
        hostOnly = (dstAllocation == nullptr || hostVisible(*dstAllocation)) &&
                   (srcAllocation == nullptr || hostVisible(*srcAllocation)) &&
                   (dstAllocation == nullptr || dstAllocation->kind != Kind::Managed) &&
                   (srcAllocation == nullptr || srcAllocation->kind != Kind::Managed);
    }
    if (to == nullptr || from == nullptr) return recordError(cudaErrorInvalidValue);
    const size_t toSpan = (height - 1) * dpitch + width;
    const size_t fromSpan = (height - 1) * spitch + width;
    if (to < from + fromSpan && from < to + toSpan) return recordError(cudaErrorInvalidValue);
    auto copy = [to, from, dpitch, spitch, width, height] {
        for (size_t row = 0; row < height; ++row)
            std::memcpy(to + row * dpitch, from + row * spitch, width);
    };
    if (!async) {
        copy();
        return cudaSuccess;
    }
    if (hostOnly) {
        drain(stream, false);
        copy();
        return afterWait();
    }
    enqueueWork(stream, copy);
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
        {cudaErrorMisalignedAddress, "misaligned address"},
        {cudaErrorInvalidConfiguration, "invalid configuration argument"},
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
    return static_cast<size_t>(std::count_if(state().allocations.begin(), state().allocations.end(),
                                             [](const auto& entry) { return !entry.second.deviceAlias; }));
}

void failNextCall(const std::string& function, cudaError_t error) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().injected[function] = error;
}

void failCallAfter(size_t n, cudaError_t error) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().failingCall = n == 0 ? 0 : state().calls + n;
    state().failingError = error;
}

size_t callsMade() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().calls;
}

void setPendingError(cudaError_t error) {
    lastError = error;
}

void reset() {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().injected.clear();
    state().failingCall = 0;
    state().kernelFault = cudaSuccess;
    state().maxPitch = kDefaultMaxPitch;
    state().concurrentManaged = true;
    setManagedAccessLocked(true);
    lastError = cudaSuccess;
}

void setConcurrentManagedAccess(bool concurrent) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().concurrentManaged = concurrent;
}

void kernelQueued() {
    std::lock_guard<std::mutex> lock(state().mutex);
    if (!state().concurrentManaged) setManagedAccessLocked(false);
}

void setMaxPitch(size_t bytes) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().maxPitch = bytes;
}

size_t maxPitch() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().maxPitch;
}

void faultNextKernel(cudaError_t error) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().kernelFault = error;
}

cudaError_t stickyError() {
    return stickyErrorState.load();
}

size_t pendingWork() {
    std::lock_guard<std::mutex> lock(state().queueMutex);
    return state().pending.size();
}

void enqueueWork(cudaStream_t stream, std::function<void()> work) {
    std::lock_guard<std::mutex> lock(state().queueMutex);
    state().pending.push_back({queueKey(stream), std::move(work)});
}

void fault(cudaError_t error) {
    cudaError_t expected = cudaSuccess;
    stickyErrorState.compare_exchange_strong(expected, error);
    lastError = stickyErrorState.load();
}

cudaError_t kernelStarts() {
    std::lock_guard<std::mutex> lock(state().mutex);
    const cudaError_t error = state().kernelFault;
    state().kernelFault = cudaSuccess;
    return error;
}

cudaError_t checkLaunch(dim3 grid, dim3 block, cudaStream_t stream) {
    SIM_INJECTION_POINT("cudaLaunchKernel");
    // The Programming Guide's table of technical specifications (every compute capability vela serves):
    // grid x up to 2^31 - 1, y and z up to 65535; block x and y up to 1024, z up to 64, and at most 1024
    // threads per block. Anything else is cudaErrorInvalidConfiguration, returned by the launch itself.
    const unsigned long long threads = static_cast<unsigned long long>(block.x) * block.y * block.z;
    if (grid.x == 0 || grid.y == 0 || grid.z == 0 || grid.x > 2147483647u || grid.y > 65535u ||
        grid.z > 65535u || block.x == 0 || block.y == 0 || block.z == 0 || block.x > 1024u ||
        block.y > 1024u || block.z > 64u || threads > 1024u)
        return recordError(cudaErrorInvalidConfiguration);
    if (!isValidStream(stream)) return recordError(cudaErrorInvalidResourceHandle);
    return cudaSuccess;
}

unsigned char* mapGrid(const void* data, size_t step, size_t rowBytes, size_t rows, size_t alignment) {
    if (rows == 0 || rowBytes == 0) return static_cast<unsigned char*>(const_cast<void*>(data));
    // A warp's access that is not aligned to its size faults: cudaErrorMisalignedAddress.
    if (((reinterpret_cast<uintptr_t>(data) | step) & (alignment - 1)) != 0) {
        fault(cudaErrorMisalignedAddress);
        return nullptr;
    }
    auto* view = static_cast<unsigned char*>(deviceView(data, (rows - 1) * step + rowBytes));
    if (view == nullptr) fault(cudaErrorIllegalAddress);
    return view;
}

void deviceReset() {
    {
        std::lock_guard<std::mutex> lock(state().queueMutex);
        state().pending.clear();
    }
    std::vector<uintptr_t> owned;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        for (const auto& [address, allocation] : state().allocations)
            if (!allocation.deviceAlias) owned.push_back(address);
    }
    stickyErrorState = cudaSuccess;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        setManagedAccessLocked(true);
    }
    for (uintptr_t address : owned)
        release(reinterpret_cast<void*>(address),
                {Kind::Device, Kind::Managed, Kind::Pinned, Kind::MappedPinned});
    lastError = cudaSuccess;
}

void* deviceView(const void* devicePtr, size_t bytes) {
    if (devicePtr == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(state().mutex);
    return resolveLocked(devicePtr, bytes, Side::Device);
}

bool isValidStream(cudaStream_t stream) {
    // The legacy and per-thread default streams are handles every call accepts (driver_types.h).
    if (stream == nullptr || stream == cudaStreamLegacy || stream == cudaStreamPerThread) return true;
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
    return vela::sim::allocateManaged(devPtr, size);
}

cudaError_t cudaHostAlloc(void** pHost, size_t size, unsigned int flags) {
    if (pHost == nullptr) return recordError(cudaErrorInvalidValue);
    *pHost = nullptr;
    SIM_INJECTION_POINT("cudaHostAlloc");
    const unsigned int known = cudaHostAllocPortable | cudaHostAllocMapped | cudaHostAllocWriteCombined;
    if ((flags & ~known) != 0) return recordError(cudaErrorInvalidValue);
    if ((flags & cudaHostAllocMapped) != 0) return vela::sim::allocateMapped(pHost, size);
    return vela::sim::allocateHostVisible(pHost, size, Kind::Pinned);
}

cudaError_t cudaHostGetDevicePointer(void** pDevice, void* pHost, unsigned int flags) {
    if (pDevice == nullptr) return recordError(cudaErrorInvalidValue);
    *pDevice = nullptr;
    SIM_INJECTION_POINT("cudaHostGetDevicePointer");
    if (flags != 0) return recordError(cudaErrorInvalidValue);
    std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
    const vela::sim::Allocation* allocation = vela::sim::findLocked(pHost);
    if (allocation == nullptr || allocation->kind != Kind::MappedPinned || allocation->deviceAlias)
        return recordError(cudaErrorInvalidValue);
    // The device alias of the same bytes, at a different address.
    *pDevice = allocation->partner + (static_cast<unsigned char*>(pHost) - allocation->base);
    return cudaSuccess;
}

// Freeing waits for the device's earlier work (the Programming Guide lists memory release among the calls
// that synchronise implicitly).
cudaError_t cudaFree(void* devPtr) {
    SIM_INJECTION_POINT("cudaFree");
    vela::sim::drain(nullptr, true);
    if (vela::sim::afterWait() != cudaSuccess) return vela::sim::stickyErrorState.load();
    return vela::sim::release(devPtr, {Kind::Device, Kind::Managed});
}

cudaError_t cudaFreeHost(void* ptr) {
    SIM_INJECTION_POINT("cudaFreeHost");
    vela::sim::drain(nullptr, true);
    if (vela::sim::afterWait() != cudaSuccess) return vela::sim::stickyErrorState.load();
    return vela::sim::release(ptr, {Kind::Pinned, Kind::MappedPinned});
}

cudaError_t cudaMemcpy(void* dst, const void* src, size_t count, cudaMemcpyKind kind) {
    return vela::sim::copy2D("cudaMemcpy", dst, count, src, count, count, 1, kind, nullptr, false, false);
}

cudaError_t cudaMemcpyAsync(void* dst, const void* src, size_t count, cudaMemcpyKind kind,
                            cudaStream_t stream) {
    return vela::sim::copy2D("cudaMemcpyAsync", dst, count, src, count, count, 1, kind, stream, true, false);
}

cudaError_t cudaMemcpy2D(void* dst, size_t dpitch, const void* src, size_t spitch, size_t width,
                         size_t height, cudaMemcpyKind kind) {
    return vela::sim::copy2D("cudaMemcpy2D", dst, dpitch, src, spitch, width, height, kind, nullptr, false,
                             true);
}

cudaError_t cudaMemcpy2DAsync(void* dst, size_t dpitch, const void* src, size_t spitch, size_t width,
                              size_t height, cudaMemcpyKind kind, cudaStream_t stream) {
    return vela::sim::copy2D("cudaMemcpy2DAsync", dst, dpitch, src, spitch, width, height, kind, stream, true,
                             true);
}

cudaError_t cudaStreamCreate(cudaStream_t* pStream) {
    if (pStream == nullptr) return recordError(cudaErrorInvalidValue);
    SIM_INJECTION_POINT("cudaStreamCreate");
    auto stream = reinterpret_cast<cudaStream_t>(new char);
    std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
    vela::sim::state().streams.insert(stream);
    *pStream = stream;
    return cudaSuccess;
}

cudaError_t cudaStreamDestroy(cudaStream_t stream) {
    SIM_INJECTION_POINT("cudaStreamDestroy");
    // Work still queued completes ("the function will return immediately and the resources will be
    // released automatically once the device has completed all work in stream"): here, at once.
    if (vela::sim::isValidStream(stream)) vela::sim::drain(stream, false);
    std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
    if (vela::sim::state().streams.erase(stream) == 0) return recordError(cudaErrorInvalidResourceHandle);
    delete reinterpret_cast<char*>(stream);
    return cudaSuccess;
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
    SIM_INJECTION_POINT("cudaStreamSynchronize");
    if (!vela::sim::isValidStream(stream)) return recordError(cudaErrorInvalidResourceHandle);
    vela::sim::drain(stream, false);
    return vela::sim::afterWait();
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
    vela::sim::drain(nullptr, true);
    return vela::sim::afterWait();
}

cudaError_t cudaDeviceReset(void) {
    vela::sim::deviceReset();
    return cudaSuccess;
}

cudaError_t cudaGetDevice(int* device) {
    if (device == nullptr) return recordError(cudaErrorInvalidValue);
    SIM_INJECTION_POINT("cudaGetDevice");
    *device = 0;
    return cudaSuccess;
}

cudaError_t cudaDeviceGetAttribute(int* value, cudaDeviceAttr attribute, int device) {
    if (value == nullptr || device != 0) return recordError(cudaErrorInvalidValue);
    SIM_INJECTION_POINT("cudaDeviceGetAttribute");
    if (attribute != cudaDevAttrMaxPitch) return recordError(cudaErrorNotSupported);
    const size_t pitch = vela::sim::maxPitch();
    *value = static_cast<int>(pitch < 2147483647u ? pitch : 2147483647u);
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
        case Kind::MappedPinned: {
            attributes->type = cudaMemoryTypeHost;
            std::lock_guard<std::mutex> lock(vela::sim::state().mutex);
            const vela::sim::Allocation* allocation = vela::sim::findLocked(ptr);
            auto* other = allocation->partner + (static_cast<const unsigned char*>(ptr) - allocation->base);
            attributes->hostPointer = allocation->deviceAlias ? other : address;
            attributes->devicePointer = allocation->deviceAlias ? address : other;
            break;
        }
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

// A sticky error is returned and never cleared: "the process must be terminated and relaunched".
cudaError_t cudaGetLastError(void) {
    if (vela::sim::stickyErrorState.load() != cudaSuccess) return vela::sim::stickyErrorState.load();
    const cudaError_t error = vela::sim::lastError;
    vela::sim::lastError = cudaSuccess;
    return error;
}

cudaError_t cudaPeekAtLastError(void) {
    if (vela::sim::stickyErrorState.load() != cudaSuccess) return vela::sim::stickyErrorState.load();
    return vela::sim::lastError;
}

const char* cudaGetErrorString(cudaError_t error) {
    const auto& texts = vela::sim::errorTexts();
    const auto found = texts.find(static_cast<int>(error));
    return found == texts.end() ? "unrecognized error code" : found->second;
}

}  // extern "C"
