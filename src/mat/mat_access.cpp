// Typed element access, one template for every element type of VELA_FOR_EACH_ELEMENT_TYPE.

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>

#include "kernels/kernels.hpp"
#include "mat/element_table.hpp"
#include "mat/mat_layout.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/core/vector.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace {

// The signature text of a member template for element type T, spelled as the compiler spells it: the
// member's text up to "T = ", the type, "]". Made once per member and type, on first use.
template <typename T, const char* const* head>
const char* signatureOf() {
    static const std::string text = std::string(*head) + detail::ElementTraits<T>::spelled + "]";
    return text.c_str();
}
const char* const kSetTo = "vela::ERROR_CODE vela::Mat::setTo(const T&, vela::MEM, cudaStream_t) [with T = ";
const char* const kSetValue =
    "vela::ERROR_CODE vela::Mat::setValue(size_t, size_t, const T&, vela::MEM) [with T = ";
const char* const kGetValue =
    "vela::ERROR_CODE vela::Mat::getValue(size_t, size_t, T*, vela::MEM) const [with T = ";

// True when `mem` is CPU or GPU and the Mat's memory type has that side.
bool hasUsableSide(const Mat& mat, MEM mem) {
    return (mem == MEM::CPU && detail::hasHostSide(mat.memType)) ||
           (mem == MEM::GPU && detail::hasGpuSide(mat.memType));
}

// The buffer of side `mem` (CPU or GPU) when the memory type has that side and the buffer exists (a failed
// allocation, or an empty grid on the runtime's side, leaves none); null otherwise.
unsigned char* usableBuffer(const Mat& mat, MEM mem) {
    if (!hasUsableSide(mat, mem)) return nullptr;
    return (mem == MEM::CPU ? mat.cpuBuffer : mat.gpuBuffer).get();
}

// Byte offset of element (x, y) of T on side `mem`. Host rows are taken as packed; GPU rows are stepGPU
// bytes apart, which need not be a whole number of elements.
template <typename T>
size_t offsetOf(const Mat& mat, MEM mem, size_t x, size_t y) {
    return mem == MEM::CPU ? (y * mat.width + x) * sizeof(T) : y * mat.stepGPU + x * sizeof(T);
}

// `count` copies of `value` from `run` on. A loop of 2-, 3-, 8- or 12-byte stores runs far below the
// memory's write bandwidth, so one block of whole elements (16 KiB at most, which stays in the first-level
// cache) is filled element by element and then copied over the rest of the run, which memcpy does with
// the widest stores the machine has.
template <typename T>
void fillRun(unsigned char* run, size_t count, const T& value) {
    constexpr size_t kBlockElements = 16384 / sizeof(T);
    const size_t first = std::min(count, kBlockElements);
    std::fill_n(reinterpret_cast<T*>(run), first, value);
    const size_t blockBytes = first * sizeof(T);
    const size_t totalBytes = count * sizeof(T);
    for (size_t done = blockBytes; done < totalBytes; done += blockBytes)
        std::memcpy(run + done, run, std::min(blockBytes, totalBytes - done));
}

// Host rows are packed, so the grid is one run; a wrapped user buffer with longer rows is filled row by
// row, leaving its padding alone.
template <typename T>
void fillHost(unsigned char* data, size_t width, size_t height, size_t stepBytes, const T& value) {
    size_t runs = height;
    size_t runLength = width;
    if (stepBytes <= width * sizeof(T)) {
        runLength *= height;
        runs = 1;
    }
    for (size_t run = 0; run < runs; ++run)
        fillRun(data + run * stepBytes, runLength, value);
}

}  // namespace

template <typename T>
typename detail::ElementCheck<T>::Pointer Mat::getPtr(MEM mem) const {
    if (mem == MEM::GPU || mem == MEM_MANAGED) return reinterpret_cast<T*>(gpuBuffer.get());
    if (mem == MEM::CPU) return reinterpret_cast<T*>(cpuBuffer.get());
    return nullptr;
}

template <typename T>
typename detail::ElementCheck<T>::Status Mat::setTo(const T& value, MEM mem, cudaStream_t stream) {
    if (detail::bytesPerElement(dataType) != sizeof(T)) return ERROR_CODE::FAILURE;
    // An empty grid has nothing to fill, and no buffer on the runtime's side.
    if (initialized && (width == 0 || height == 0))
        return hasUsableSide(*this, mem) ? ERROR_CODE::SUCCESS : ERROR_CODE::FAILURE;
    unsigned char* buffer = usableBuffer(*this, mem);
    if (buffer == nullptr) return ERROR_CODE::FAILURE;
    if (mem == MEM::CPU) {
        fillHost(buffer, width, height, stepCPU, value);
    } else {
        // A failed launch is reported; the fill itself completes, or fails, later on the stream.
        VELA_CUDA_CHECK(cu_matSetToGPU(value, reinterpret_cast<T*>(buffer), width, height, stepGPU, stream),
                        (signatureOf<T, &kSetTo>()));
    }
    return ERROR_CODE::SUCCESS;
}

// Unlike getValue, neither the coordinates nor the element type are checked: callers are trusted with them.
template <typename T>
typename detail::ElementCheck<T>::Status Mat::setValue(size_t x, size_t y, const T& value, MEM mem) {
    unsigned char* buffer = usableBuffer(*this, mem);
    if (!initialized || buffer == nullptr) return ERROR_CODE::FAILURE;
    unsigned char* element = buffer + offsetOf<T>(*this, mem, x, y);
    if (mem == MEM::CPU) {
        std::memcpy(element, &value, sizeof(T));
    } else {
        VELA_CUDA_CHECK(cudaMemcpy(element, &value, sizeof(T), cudaMemcpyHostToDevice),
                        (signatureOf<T, &kSetValue>()));
    }
    return ERROR_CODE::SUCCESS;
}

template <typename T>
typename detail::ElementCheck<T>::Status Mat::getValue(size_t x, size_t y, T* value, MEM mem) const {
    if (value == nullptr) return ERROR_CODE::FAILURE;
    std::memset(static_cast<void*>(value), 0, sizeof(T));
    if (!initialized || x >= width || y >= height) return ERROR_CODE::FAILURE;
    // Only the element size is compared: a float read of a U8_C4 Mat is allowed.
    if (detail::bytesPerElement(dataType) != sizeof(T)) return ERROR_CODE::FAILURE;
    const unsigned char* buffer = usableBuffer(*this, mem);
    if (buffer == nullptr) return ERROR_CODE::FAILURE;
    const unsigned char* element = buffer + offsetOf<T>(*this, mem, x, y);
    if (mem == MEM::CPU) {
        std::memcpy(static_cast<void*>(value), element, sizeof(T));
    } else {
        VELA_CUDA_CHECK(cudaMemcpy(value, element, sizeof(T), cudaMemcpyDeviceToHost),
                        (signatureOf<T, &kGetValue>()));
    }
    return ERROR_CODE::SUCCESS;
}

#define VELA_INSTANTIATE_ACCESS(T, ...)                                                                \
    template VELA_API detail::ElementCheck<T>::Pointer Mat::getPtr<T>(MEM) const;                      \
    template VELA_API detail::ElementCheck<T>::Status Mat::setTo<T>(const T&, MEM, cudaStream_t);      \
    template VELA_API detail::ElementCheck<T>::Status Mat::setValue<T>(size_t, size_t, const T&, MEM); \
    template VELA_API detail::ElementCheck<T>::Status Mat::getValue<T>(size_t, size_t, T*, MEM) const;
VELA_FOR_EACH_ELEMENT_TYPE(VELA_INSTANTIATE_ACCESS)
#undef VELA_INSTANTIATE_ACCESS

}  // namespace vela
