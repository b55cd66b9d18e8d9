// Mat pixel copies: between two Mats in any direction, between the two sides of one Mat, deep copies and
// the unsigned-to-signed image conversion.

#include <cstdint>
#include <cstring>

#include "core/logging.hpp"
#include "kernels/kernels.hpp"
#include "mat/mat_layout.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace {

constexpr const char* kCopyToSignature =
    "vela::ERROR_CODE vela::Mat::copyTo(vela::Mat&, vela::COPY_TYPE, cudaStream_t) const";
constexpr const char* kSetFromSignature =
    "vela::ERROR_CODE vela::Mat::setFrom(const vela::Mat&, vela::COPY_TYPE, cudaStream_t)";
constexpr const char* kUpdateCpuSignature = "vela::ERROR_CODE vela::Mat::updateCPUfromGPU(cudaStream_t)";
constexpr const char* kUpdateGpuSignature = "vela::ERROR_CODE vela::Mat::updateGPUfromCPU(cudaStream_t, int)";
constexpr const char* kConvertSignature =
    "vela::ERROR_CODE vela::convertImage(vela::Mat&, vela::Mat&, cudaStream_t)";

ERROR_CODE statusOf(bool succeeded) {
    return succeeded ? ERROR_CODE::SUCCESS : ERROR_CODE::FAILURE;
}

// What a copy type reads, writes and asks of the runtime, indexed by COPY_TYPE value.
struct CopyRoute {
    bool readsHost;
    bool writesHost;
    cudaMemcpyKind kind;
};
constexpr CopyRoute kRoutes[] = {
    {true, true, cudaMemcpyHostToHost},
    {true, false, cudaMemcpyHostToDevice},
    {false, false, cudaMemcpyDeviceToDevice},
    {false, true, cudaMemcpyDeviceToHost},
};
constexpr uint32_t kRouteCount = sizeof(kRoutes) / sizeof(kRoutes[0]);

bool isKnownCopy(COPY_TYPE type) {
    return static_cast<uint32_t>(toValue(type)) < kRouteCount;
}

// An unknown copy type copies host to host through the runtime, which then infers the direction itself.
CopyRoute routeOf(COPY_TYPE type) {
    return isKnownCopy(type) ? kRoutes[toValue(type)] : CopyRoute{true, true, cudaMemcpyDefault};
}

bool hasSide(const Mat& mat, bool host) {
    return host ? detail::hasHostSide(mat.memType) : detail::hasGpuSide(mat.memType);
}

// One 2-D copy of `rows` rows `dstPitch`/`srcPitch` apart: queued on `stream` without waiting, or
// synchronous on the null stream.
cudaError_t copyOnce(void* dst, size_t dstPitch, const void* src, size_t srcPitch, size_t rowBytes,
                     size_t rows, cudaMemcpyKind kind, cudaStream_t stream) {
    if (stream != nullptr)
        return cudaMemcpy2DAsync(dst, dstPitch, src, srcPitch, rowBytes, rows, kind, stream);
    return cudaMemcpy2D(dst, dstPitch, src, srcPitch, rowBytes, rows, kind);
}

// A 2-D pitched copy. The runtime refuses pitches above the device's maximum (cudaDevAttrMaxPitch, about
// 2 GiB: a packed row of 134 M F32_C4 points is longer); such grids are copied a row at a time, each row
// one 1-D copy, which has no pitch. An empty grid has nothing to copy and no buffers the runtime would
// accept. A failed query is returned like a failed copy, for the caller to report.
cudaError_t copy2D(void* dst, size_t dstPitch, const void* src, size_t srcPitch, size_t rowBytes, size_t rows,
                   cudaMemcpyKind kind, cudaStream_t stream) {
    if (rowBytes == 0 || rows == 0) return cudaSuccess;
    int device = 0;
    int maxPitch = 0;
    cudaError_t status = cudaGetDevice(&device);
    if (status == cudaSuccess) status = cudaDeviceGetAttribute(&maxPitch, cudaDevAttrMaxPitch, device);
    if (status != cudaSuccess) return status;
    const auto limit = static_cast<size_t>(maxPitch);
    if (dstPitch <= limit && srcPitch <= limit)
        return copyOnce(dst, dstPitch, src, srcPitch, rowBytes, rows, kind, stream);
    for (size_t row = 0; row < rows && status == cudaSuccess; ++row) {
        void* to = static_cast<unsigned char*>(dst) + row * dstPitch;
        const void* from = static_cast<const unsigned char*>(src) + row * srcPitch;
        status = stream != nullptr ? cudaMemcpyAsync(to, from, rowBytes, kind, stream)
                                   : cudaMemcpy(to, from, rowBytes, kind);
    }
    return status;
}

// Makes `dst` fit to receive `src` for `type`, keeping it when its size, type and side already fit.
// False, touching nothing, when `dst` is `src` itself and would have to be reallocated: that would free
// the content it is meant to receive; or when the size cannot reach alloc unchanged (logged under
// `operation`): the copy would overrun a truncated destination.
bool prepareCopyDestination(const Mat& src, Mat& dst, COPY_TYPE type, const char* operation) {
    const CopyRoute route = routeOf(type);
    const bool fits = isKnownCopy(type) && dst.initialized && dst.width == src.width &&
                      dst.height == src.height && dst.dataType == src.dataType &&
                      hasSide(dst, route.writesHost) && hasSide(src, route.readsHost);
    if (fits) return true;
    if (&src == &dst) return false;
    // Sizes pass through 32-bit signed integers on their way into alloc.
    const auto width = static_cast<int32_t>(src.width);
    const auto height = static_cast<int32_t>(src.height);
    if (static_cast<size_t>(width) != src.width || static_cast<size_t>(height) != src.height) {
        detail::logSizeOverflow(src, operation);
        return false;
    }
    const MEM side = type == COPY_TYPE::CPU_GPU || type == COPY_TYPE::GPU_GPU ? MEM::GPU : MEM::CPU;
    dst.alloc(width, height, src.dataType, side);
    return true;
}

// copyTo and setFrom, reporting under the caller's `operation` name and `signature`.
ERROR_CODE copyMat(const Mat& src, Mat& dst, COPY_TYPE type, cudaStream_t stream, const char* operation,
                   const char* signature) {
    size_t rowBytes = 0;
    size_t bytes = 0;
    if (!detail::packedSize(src, operation, &rowBytes, &bytes)) return ERROR_CODE::FAILURE;
    if (!prepareCopyDestination(src, dst, type, operation)) return ERROR_CODE::FAILURE;
    dst.timestamp = src.timestamp;
    const CopyRoute route = routeOf(type);
    const unsigned char* from = (route.readsHost ? src.cpuBuffer : src.gpuBuffer).get();
    unsigned char* to = (route.writesHost ? dst.cpuBuffer : dst.gpuBuffer).get();
    if (type == COPY_TYPE::CPU_CPU) {
        if (bytes == 0) return ERROR_CODE::SUCCESS;
        if (from == nullptr || to == nullptr) return ERROR_CODE::FAILURE;  // a side that was never allocated
        // Host rows are packed: one block copy. Both may be one buffer when dst refers to src.
        std::memmove(to, from, bytes);
        return ERROR_CODE::SUCCESS;
    }
    const size_t fromPitch = src.getStepBytes(route.readsHost ? MEM::CPU : MEM::GPU);
    const size_t toPitch = dst.getStepBytes(route.writesHost ? MEM::CPU : MEM::GPU);
    // A destination that shares the source's buffer already holds it; the runtime refuses overlapping copies.
    if (to == from && toPitch == fromPitch) return ERROR_CODE::SUCCESS;
    return statusOf(VELA_CUDA_CHECK(
        copy2D(to, toPitch, from, fromPitch, rowBytes, src.height, route.kind, stream), signature));
}

// A reference with one side may not grow a second buffer: it does not own what it would pair it with.
bool refusesUpdate(const Mat& mat, const char* operation) {
    if (mat.memoryOwner || detail::hasBothSides(mat.memType)) return false;
    detail::logError("{} {} for reference Mat is forbidden.", "[Mat] ", operation);
    return true;
}

}  // namespace

ERROR_CODE Mat::copyTo(Mat& dst, COPY_TYPE type, cudaStream_t stream) const {
    return copyMat(*this, dst, type, stream, "copyTo", kCopyToSignature);
}

ERROR_CODE Mat::setFrom(const Mat& src, COPY_TYPE type, cudaStream_t stream) {
    return copyMat(src, *this, type, stream, "setFrom", kSetFromSignature);
}

ERROR_CODE Mat::updateCPUfromGPU(cudaStream_t stream) {
    if (refusesUpdate(*this, "updateCPUfromGPU")) return ERROR_CODE::FAILURE;
    size_t rowBytes = 0;
    size_t bytes = 0;
    if (!detail::packedSize(*this, "updateCPUfromGPU", &rowBytes, &bytes)) return ERROR_CODE::FAILURE;
    if (memType == MEM_MANAGED) {
        // Attached to the host and waited for, the buffer may be read at once; the attachment decides. An
        // empty grid has no memory to attach.
        const bool attached =
            bytes == 0 || VELA_CUDA_CHECK(cudaStreamAttachMemAsync(stream, gpuBuffer.get(), stepGPU * height,
                                                                   cudaMemAttachHost),
                                          kUpdateCpuSignature);
        VELA_CUDA_CHECK(cudaStreamSynchronize(stream), kUpdateCpuSignature);
        return statusOf(attached);
    }
    if (memType == MEM_UNIFIED) {
        // No data moves: the mapped buffer is the host's already, once the GPU work on it is done.
        return statusOf(VELA_CUDA_CHECK(cudaStreamSynchronize(stream), kUpdateCpuSignature));
    }
    if (memoryOwner && memType == MEM::GPU) {
        // As when the runtime refuses the GPU buffer of updateGPUfromCPU, nothing is added.
        unsigned char* host = detail::newHostArray(bytes, "updateCPUfromGPU");
        if (host == nullptr) return ERROR_CODE::FAILURE;
        make_shared(host, cpuBuffer, true);
        stepCPU = rowBytes;  // host rows are packed
        memType = MEM_BOTH;
    }
    return statusOf(VELA_CUDA_CHECK(copy2D(cpuBuffer.get(), stepCPU, gpuBuffer.get(), stepGPU, rowBytes,
                                           height, cudaMemcpyDeviceToHost, stream),
                                    kUpdateCpuSignature));
}

ERROR_CODE Mat::updateGPUfromCPU(cudaStream_t stream, int /*reserved*/) {
    if (refusesUpdate(*this, "updateGPUfromCPU")) return ERROR_CODE::FAILURE;
    size_t rowBytes = 0;
    size_t bytes = 0;
    if (!detail::packedSize(*this, "updateGPUfromCPU", &rowBytes, &bytes)) return ERROR_CODE::FAILURE;
    if (memType == MEM_MANAGED) {
        if (bytes == 0) return ERROR_CODE::SUCCESS;  // an empty grid has no memory to attach
        // The null stream stands for every stream, so it can only give the buffer back to all of them.
        const unsigned int flags = stream == nullptr ? cudaMemAttachGlobal : cudaMemAttachSingle;
        return statusOf(VELA_CUDA_CHECK(
            cudaStreamAttachMemAsync(stream, gpuBuffer.get(), stepGPU * height, flags), kUpdateGpuSignature));
    }
    // The mapped buffer is the GPU's already; unlike updateCPUfromGPU nothing is waited for.
    if (memType == MEM_UNIFIED) return ERROR_CODE::SUCCESS;
    if (memoryOwner && memType == MEM::CPU) {
        void* block = nullptr;
        size_t pitch = rowBytes;  // an empty grid gets no runtime storage and has no rows to pad
        if (bytes != 0 &&
            !VELA_CUDA_CHECK(cudaMallocPitch(&block, &pitch, rowBytes, height), kUpdateGpuSignature))
            return ERROR_CODE::FAILURE;
        make_cuda_shared(static_cast<unsigned char*>(block), gpuBuffer, true);
        stepGPU = pitch;
        memType = MEM_BOTH;
    }
    return statusOf(VELA_CUDA_CHECK(copy2D(gpuBuffer.get(), stepGPU, cpuBuffer.get(), stepCPU, rowBytes,
                                           height, cudaMemcpyHostToDevice, stream),
                                    kUpdateGpuSignature));
}

// The copies' results are not inspected: their failures are reported, and the clone owns its buffers.
ERROR_CODE Mat::clone(const Mat& src) {
    if (!src.initialized) return ERROR_CODE::FAILURE;
    if (&src == this) {
        // Allocating would free the source first: clone into a new Mat and take over its storage.
        Mat copy;
        static_cast<void>(copy.clone(src));  // src is initialised: the clone succeeds
        return copy.move(*this);
    }
    alloc(src.width, src.height, src.dataType, src.memType);
    timestamp = src.timestamp;
    if (src.memType == MEM::CPU) {
        static_cast<void>(setFrom(src, COPY_TYPE::CPU_CPU));
    } else if (src.memType == MEM::GPU) {
        static_cast<void>(setFrom(src, COPY_TYPE::GPU_GPU));
    } else {
        static_cast<void>(setFrom(src, COPY_TYPE::CPU_CPU));
        static_cast<void>(updateGPUfromCPU());
    }
    return ERROR_CODE::SUCCESS;
}

ERROR_CODE convertImage(Mat& src, Mat& dst, cudaStream_t stream) {
    if (!src.initialized || !detail::hasGpuSide(src.memType) || src.dataType != MAT_TYPE::U8_C4)
        return ERROR_CODE::FAILURE;
    // A kernel never runs on a buffer that is not there: on a GPU that faults and ends the context.
    const bool empty = src.width == 0 || src.height == 0;
    if (!empty && src.gpuBuffer == nullptr) return ERROR_CODE::FAILURE;
    // Reallocating the source as its own destination would free the image being converted.
    if (&src == &dst) return ERROR_CODE::FAILURE;
    if (!dst.initialized || dst.width != src.width || dst.height != src.height || dst.memType == MEM::CPU ||
        dst.dataType != MAT_TYPE::S8_C4) {
        dst.alloc(src.width, src.height, MAT_TYPE::S8_C4, MEM::GPU);
    }
    if (!empty && dst.gpuBuffer == nullptr) return ERROR_CODE::FAILURE;  // its allocation failed, reported
    VELA_CUDA_CHECK(
        cu_cvt2Signed(src.getPtr<Vector4<unsigned char>>(MEM::GPU), dst.getPtr<Vector4<char>>(MEM::GPU),
                      src.stepGPU, dst.stepGPU, src.getResolution(), stream),
        kConvertSignature);
    return ERROR_CODE::SUCCESS;
}

}  // namespace vela
