// Mat storage: buffer handles, construction, allocation, release, sharing and the one-line description.

#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "core/logging.hpp"
#include "mat/mat_layout.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace {

constexpr const char* kAllocSignature = "void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM)";

// The deleter of memory that belongs to someone else.
void leaveAlone(unsigned char* /*ptr*/) noexcept {}

// The wrapping constructors' common part: a described grid that owns nothing.
void describe(Mat& mat, size_t width, size_t height, MAT_TYPE type, MEM mem) {
    mat.width = width;
    mat.height = height;
    mat.dataType = type;
    mat.channels = detail::channelsOf(type);
    mat.pixelBytes = detail::bytesPerElement(type);
    mat.userFlag = false;
    mat.memType = mem;
    mat.initialized = true;
    mat.memoryOwner = false;
}

// True when rows `step` bytes apart can hold `mat`'s packed rows; otherwise logs why the buffer is not
// wrapped and leaves `mat` empty. Rows closer than a packed row would overlap, and host access, which takes
// rows as packed, would reach past the caller's buffer.
bool acceptStep(Mat& mat, size_t step) {
    size_t rowBytes = 0;
    const bool fits = mat.height <= 1 ||
                      (!__builtin_mul_overflow(mat.width, mat.pixelBytes, &rowBytes) && step >= rowBytes);
    if (fits) return true;
    detail::logError(
        "{} Mat step {} is smaller than a packed row of {} x {} bytes: the buffer is not wrapped.", "[Mat] ",
        step, mat.width, mat.pixelBytes);
    mat.width = mat.height = mat.channels = mat.pixelBytes = mat.stepCPU = mat.stepGPU = 0;
    mat.memType = MEM::CPU;
    mat.initialized = false;
    return false;
}

// Everything ref and move hand over: sizes, type, memory type, both handles (shared) and the time stamp.
void shareStorage(const Mat& from, Mat& to) {
    to.width = from.width;
    to.height = from.height;
    to.channels = from.channels;
    to.stepGPU = from.stepGPU;
    to.stepCPU = from.stepCPU;
    to.pixelBytes = from.pixelBytes;
    to.dataType = from.dataType;
    to.memType = from.memType;
    to.cpuBuffer = from.cpuBuffer;
    to.gpuBuffer = from.gpuBuffer;
    to.timestamp = from.timestamp;
}

// Where getInfos says the buffers are; nothing for managed, mapped or unknown memory.
const char* memoryWord(MEM mem) {
    if (mem == MEM::CPU) return "CPU";
    if (mem == MEM::GPU) return "GPU";
    if (mem == MEM_BOTH) return "both CPU and GPU";
    return "";
}

// A handle on `ptr` that releases it with `release` when `owner`, and never otherwise. If making the handle
// throws, the shared pointer releases the block itself before the exception goes on.
template <typename Release>
std::shared_ptr<unsigned char> handleOf(unsigned char* ptr, bool owner, Release release) {
    if (owner) return std::shared_ptr<unsigned char>(ptr, release);
    return std::shared_ptr<unsigned char>(ptr, leaveAlone);
}

// Hands a runtime block back with `release`, reporting a failure under the deleter's `signature`.
void releaseReported(cudaError_t (*release)(void*), unsigned char* block, const char* signature) noexcept {
    if (block != nullptr) VELA_CUDA_CHECK(release(block), signature);
}

}  // namespace

namespace detail {

bool packedSize(const Mat& mat, const char* operation, size_t* rowBytes, size_t* bytes) {
    if (!__builtin_mul_overflow(mat.width, mat.pixelBytes, rowBytes) &&
        !__builtin_mul_overflow(*rowBytes, mat.height, bytes))
        return true;
    *rowBytes = *bytes = 0;
    logSizeOverflow(mat, operation);
    return false;
}

void logSizeOverflow(const Mat& mat, const char* operation) {
    logError("{} {} size overflows: {} x {} elements of {} bytes.", "[Mat] ", operation, mat.width,
             mat.height, mat.pixelBytes);
}

unsigned char* newHostArray(size_t bytes, const char* operation) {
    try {
        return new unsigned char[bytes];
    } catch (const std::bad_alloc&) {
        logError("{} {} cannot allocate {} bytes of host memory.", "[Mat] ", operation, bytes);
        return nullptr;
    }
}

}  // namespace detail

// Deleters never throw: a failing release is reported and the program goes on.
void make_shared(unsigned char* ptr, std::shared_ptr<unsigned char>& handle, bool owner) {
    handle = handleOf(ptr, owner, [](unsigned char* block) noexcept { delete[] block; });
}

void make_cuda_shared(unsigned char* ptr, std::shared_ptr<unsigned char>& handle, bool owner) {
    handle = handleOf(ptr, owner, [](unsigned char* block) noexcept {
        releaseReported(cudaFree, block,
                        "vela::make_cuda_shared(unsigned char*, std::shared_ptr<unsigned char>&, "
                        "bool)::<lambda(unsigned char*)>");
    });
}

void make_cuda_mapped_shared(unsigned char* ptr, std::shared_ptr<unsigned char>& handle, bool owner) {
    handle = handleOf(ptr, owner, [](unsigned char* block) noexcept {
        releaseReported(cudaFreeHost, block,
                        "vela::make_cuda_mapped_shared(unsigned char*, std::shared_ptr<unsigned char>&, "
                        "bool)::<lambda(unsigned char*)>");
    });
}

Mat::Mat(size_t width_, size_t height_, MAT_TYPE type, MEM mem) {
    alloc(width_, height_, type, mem);
}

Mat::Mat(Resolution resolution, MAT_TYPE type, MEM mem)
    : Mat(resolution.width, resolution.height, type, mem) {}

Mat::Mat(size_t width_, size_t height_, MAT_TYPE type, unsigned char* ptr, size_t step, MEM mem) {
    describe(*this, width_, height_, type, mem);
    if (!acceptStep(*this, step)) return;
    if (mem == MEM::CPU) {
        make_shared(ptr, cpuBuffer, false);
        stepCPU = step;
    } else if (mem == MEM::GPU) {
        make_cuda_shared(ptr, gpuBuffer, false);
        stepGPU = step;
    }
}

Mat::Mat(Resolution resolution, MAT_TYPE type, unsigned char* ptr, size_t step, MEM mem)
    : Mat(resolution.width, resolution.height, type, ptr, step, mem) {}

Mat::Mat(size_t width_, size_t height_, MAT_TYPE type, unsigned char* ptrCPU, size_t stepCPU_,
         unsigned char* ptrGPU, size_t stepGPU_) {
    describe(*this, width_, height_, type, MEM_BOTH);
    if (!acceptStep(*this, stepCPU_) || !acceptStep(*this, stepGPU_)) return;
    make_shared(ptrCPU, cpuBuffer, false);
    make_cuda_shared(ptrGPU, gpuBuffer, false);
    stepCPU = stepCPU_;
    stepGPU = stepGPU_;
}

Mat::Mat(Resolution resolution, MAT_TYPE type, unsigned char* ptrCPU, size_t stepCPU_, unsigned char* ptrGPU,
         size_t stepGPU_)
    : Mat(resolution.width, resolution.height, type, ptrCPU, stepCPU_, ptrGPU, stepGPU_) {}

Mat::Mat(const Mat& other) {
    ref(other);
}

Mat& Mat::operator=(const Mat& other) {
    ref(other);
    return *this;
}

Mat::Mat(Mat&& other) noexcept {
    *this = std::move(other);
}

Mat& Mat::operator=(Mat&& other) noexcept {
    if (&other == this) return *this;
    if (other.initialized && other.memoryOwner) {
        static_cast<void>(other.move(*this));  // an owning source always moves
        // move() lets the source keep its handles; a moved-from object holds nothing.
        other.cpuBuffer.reset();
        other.gpuBuffer.reset();
    } else {
        ref(other);
    }
    name = std::move(other.name);
    other.name = "n/a";
    return *this;
}

Mat::~Mat() {
    free(MEM_BOTH);
}

// Every runtime call is reported and the work goes on with whatever pointer came back, so the Mat always
// ends owning, possibly without buffers. A size that overflows gets no buffer at all, never a short one.
void Mat::alloc(size_t width_, size_t height_, MAT_TYPE type, MEM mem) {
    free(MEM_BOTH);
    // A reference or a moved-from Mat still shares buffers it no longer describes: they go now.
    cpuBuffer.reset();
    gpuBuffer.reset();
    width = width_;
    height = height_;
    dataType = type;
    channels = detail::channelsOf(type);
    pixelBytes = detail::bytesPerElement(type);
    if (mem == MEM_BOTH) {
        mem = MEM_UNIFIED;  // both sides are served by one mapped buffer, not by two
    } else if (toValue(mem) > toValue(MEM_UNIFIED)) {
        std::printf("ERROR ALLOC MEM TYPE %d\n", toValue(mem));
    }
    size_t rowBytes = 0;
    size_t bytes = 0;
    const bool sized = detail::packedSize(*this, "alloc", &rowBytes, &bytes);
    // An empty grid needs no runtime storage, and the runtime refuses some empty allocations.
    const bool fromRuntime = sized && bytes != 0;
    if (mem == MEM_MANAGED) {
        void* block = nullptr;
        if (fromRuntime)
            VELA_CUDA_CHECK(cudaMallocManaged(&block, bytes, cudaMemAttachGlobal), kAllocSignature);
        make_cuda_shared(static_cast<unsigned char*>(block), gpuBuffer, true);
        cpuBuffer = gpuBuffer;
        stepCPU = stepGPU = rowBytes;
    } else if (mem == MEM_UNIFIED) {
        void* host = nullptr;
        void* device = nullptr;
        if (fromRuntime) {
            VELA_CUDA_CHECK(cudaHostAlloc(&host, bytes, cudaHostAllocMapped), kAllocSignature);
            // The device address may differ from the host address (canUseHostPointerForRegisteredMem 0):
            // without it the GPU side stays empty, and the block is still released through its host address.
            if (!VELA_CUDA_CHECK(cudaHostGetDevicePointer(&device, host, 0), kAllocSignature))
                device = nullptr;
        }
        make_cuda_mapped_shared(static_cast<unsigned char*>(host), cpuBuffer, true);
        // The GPU handle shares the host handle's ownership and holds the device address of the same bytes.
        gpuBuffer = std::shared_ptr<unsigned char>(cpuBuffer, static_cast<unsigned char*>(device));
        stepCPU = stepGPU = rowBytes;
    } else {
        stepCPU = rowBytes;  // host rows are packed
        if (mem == MEM::CPU && sized) make_shared(detail::newHostArray(bytes, "alloc"), cpuBuffer, true);
        if (mem == MEM::GPU) {
            void* block = nullptr;
            if (fromRuntime) {
                VELA_CUDA_CHECK(cudaMallocPitch(&block, &stepGPU, rowBytes, height), kAllocSignature);
            } else {
                stepGPU = rowBytes;  // no rows to pad
            }
            make_cuda_shared(static_cast<unsigned char*>(block), gpuBuffer, true);
        }
    }
    memType = mem;
    initialized = true;
    memoryOwner = true;
}

void Mat::alloc(Resolution resolution, MAT_TYPE type, MEM mem) {
    alloc(resolution.width, resolution.height, type, mem);
}

void Mat::free(MEM mem) {
    if (initialized && memoryOwner) {
        if (detail::sharesOneBuffer(memType)) {
            cpuBuffer.reset();
            gpuBuffer.reset();
        } else {
            const bool both = detail::hasBothSides(memType);
            if (detail::hasHostSide(memType) && detail::freesHostSide(mem)) {
                cpuBuffer.reset();
                stepCPU = 0;
            }
            if (detail::hasGpuSide(memType)) {
                if (detail::freesGpuSide(mem)) {
                    gpuBuffer.reset();
                    stepGPU = 0;
                    if (both && mem == MEM::GPU) memType = MEM::CPU;
                } else if (both && mem == MEM::CPU) {
                    memType = MEM::GPU;
                }
            }
        }
        if (cpuBuffer || gpuBuffer) return;
    }
    // A reference keeps its share of the buffers until it is destroyed or allocated again.
    width = height = channels = stepGPU = stepCPU = pixelBytes = 0;
    initialized = false;
    memoryOwner = false;
}

void Mat::ref(const Mat& other) {
    if (&other == this) return;
    free(MEM_BOTH);
    if (other.width == 0 || other.height == 0 || !other.initialized) return;
    shareStorage(other, *this);
    initialized = true;
    memoryOwner = false;
    userFlag = false;
}

ERROR_CODE Mat::move(Mat& dst) {
    if (!initialized || !memoryOwner) return ERROR_CODE::FAILURE;
    if (&dst == this) return ERROR_CODE::SUCCESS;
    dst.free(MEM_BOTH);
    shareStorage(*this, dst);
    dst.userFlag = userFlag;
    dst.initialized = true;
    dst.memoryOwner = true;
    // The handles stay: they keep the buffers alive until this Mat is destroyed or allocated again, but it
    // no longer owns or describes them.
    initialized = false;
    memoryOwner = false;
    return ERROR_CODE::SUCCESS;
}

void Mat::swap(Mat& a, Mat& b) {
    Mat held;
    // move() fails only from a Mat that owns nothing, which then has nothing to hand over.
    static_cast<void>(a.move(held));
    static_cast<void>(b.move(a));
    static_cast<void>(held.move(b));
}

size_t Mat::getStepBytes(MEM mem) const {
    if (mem == MEM::GPU || mem == MEM_MANAGED) return stepGPU;
    if (mem == MEM::CPU) return stepCPU;
    return 0;
}

String Mat::getInfos() const {
    std::string text;
    if (!name.empty()) {
        text = name.str();
    } else {
        char address[2 * sizeof(void*) + 3];
        std::snprintf(address, sizeof(address), "%p", static_cast<const void*>(this));
        text = address;
    }
    if (!initialized) return text + " vela::Mat not initialised";
    text += " Ts " + std::to_string(timestamp) + " vela::Mat of size [" + std::to_string(width) + "," +
            std::to_string(height) + "], with " + std::to_string(channels) + " channels of type " +
            detail::typeWord(dataType) + "allocated on " + memoryWord(memType) +
            (memoryOwner ? " (memory owned)" : " (reference only)") + ".\n";
    return text;
}

}  // namespace vela
