#pragma once

#include <cuda_runtime_api.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <tuple>
#include <type_traits>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/resolution.hpp"
#include "vela/core/string.hpp"
#include "vela/core/vector.hpp"

namespace vela {

namespace detail {
/// Types listed in a fixed order, indexable at compile time.
template <typename... Types>
struct TypeList {
    /// How many types the list holds.
    static constexpr size_t size = sizeof...(Types);
    /// The type at `index`.
    template <size_t index>
    using At = std::tuple_element_t<index, std::tuple<Types...>>;
    /// True when T is one of the types.
    template <typename T>
    static constexpr bool contains = (std::is_same<T, Types>::value || ...);
};
}  // namespace detail

/// The element types a Mat holds, in the order of MAT_TYPE's values (F32_C1 first, S8_C4 last).
using MatElementTypes = detail::TypeList<float, Vector2<float>, Vector3<float>, Vector4<float>, unsigned char,
                                         Vector2<unsigned char>, Vector3<unsigned char>,
                                         Vector4<unsigned char>, unsigned short, Vector4<char>>;

namespace detail {
/// The result types of Mat's typed members for element type T; any other T stops compilation here, with a
/// message, rather than at link time.
template <typename T>
struct ElementCheck {
    static_assert(
        MatElementTypes::contains<T>,
        "a Mat element is float, Vector2/3/4<float>, unsigned char, Vector2/3/4<unsigned char>, "
        "unsigned short or Vector4<char>: write setTo(3.0f) or setTo<unsigned char>(3), not setTo(3)");
    /// What the member returns.
    using Status = ERROR_CODE;
    /// A typed buffer.
    using Pointer = T*;
};
}  // namespace detail

/// Fills `handle` with `ptr`, a host array: released with array delete when `owner`, never otherwise.
VELA_API void make_shared(unsigned char* ptr, std::shared_ptr<unsigned char>& handle, bool owner);
/// Fills `handle` with `ptr`, GPU or managed memory: released with cudaFree when `owner`, never otherwise.
VELA_API void make_cuda_shared(unsigned char* ptr, std::shared_ptr<unsigned char>& handle, bool owner);
/// Fills `handle` with `ptr`, the host address of mapped pinned memory (the one cudaHostAlloc returned):
/// released with cudaFreeHost when `owner`, never otherwise.
VELA_API void make_cuda_mapped_shared(unsigned char* ptr, std::shared_ptr<unsigned char>& handle, bool owner);

/// A width x height grid of elements of one MAT_TYPE, held in host memory, GPU memory or both.
///
/// A Mat either owns its buffers (it allocated them) or refers to buffers that belong to someone else (a
/// user's pointer, or the Mat it was copied from). Copying a Mat shares its buffers and never copies
/// pixels; copyTo, setFrom and clone copy pixels. Host rows are packed; GPU rows are pitched (`stepGPU`).
/// One Mat is used by one thread at a time; Mats sharing a buffer may live on different threads.
///
///     vela::Mat image(1280, 720, vela::MAT_TYPE::U8_C4, vela::MEM::CPU);
///     image.setTo(vela::Vector4<unsigned char>(0, 0, 0, 255));
///     image.updateGPUfromCPU(stream);       // adds a GPU buffer, copies on `stream`
///     cudaStreamSynchronize(stream);
///     vela::Mat view = image;               // shares both buffers, owns nothing
///     vela::Vector4<unsigned char> pixel;
///     view.getValue(10, 20, &pixel, vela::MEM::GPU);
class VELA_API Mat {
  public:
    size_t width = 0;   ///< columns
    size_t height = 0;  ///< rows
    /// Values per element, 1 to 4, given by the element type.
    size_t channels = 0;
    size_t stepGPU = 0;     ///< bytes from one GPU row to the next (the pitch)
    size_t stepCPU = 0;     ///< bytes from one host row to the next
    size_t pixelBytes = 0;  ///< bytes per element
    /// Element type; a default Mat has F32_C1 here but describes no storage until `initialized`.
    MAT_TYPE dataType{};
    MEM memType = MEM::CPU;                    ///< where the buffers are (CPU, GPU or a MEM_* constant)
    std::shared_ptr<unsigned char> cpuBuffer;  ///< host buffer
    std::shared_ptr<unsigned char> gpuBuffer;  ///< GPU buffer (a device address)
    bool initialized = false;                  ///< sizes and buffers describe valid storage
    bool memoryOwner = false;                  ///< this Mat allocated its buffers
    String name = "n/a";                       ///< label printed by getInfos
    bool userFlag = false;                     ///< travels with the storage on move; never read here
    uint64_t timestamp = 0;                    ///< time stamp of the content, copied by ref, move and copies

    /// An empty Mat.
    Mat() = default;
    /// Allocates a width x height grid of `type` on `mem` (see alloc).
    Mat(size_t width, size_t height, MAT_TYPE type, MEM mem = MEM::CPU);
    /// Allocates a grid of `resolution` of `type` on `mem` (see alloc).
    Mat(Resolution resolution, MAT_TYPE type, MEM mem = MEM::CPU);
    /// Wraps one user buffer (host for CPU, GPU for GPU) of rows `step` bytes apart, without owning it.
    /// A step smaller than a packed row (width x element bytes) is refused: logged, and the Mat stays empty.
    /// A larger step is kept, and copies to or from the GPU, setTo and the file writers honour it; but host
    /// element access (getValue, setValue, getPtr arithmetic) and host-to-host copies (copyTo, setFrom,
    /// clone) treat host rows as packed, using the first width x element bytes x height bytes of the
    /// buffer. Wrap packed host rows, or copy into an owned Mat, to address host elements by row.
    Mat(size_t width, size_t height, MAT_TYPE type, unsigned char* ptr, size_t step, MEM mem);
    /// Wraps one user buffer of `resolution`, rows `step` bytes apart, without owning it.
    Mat(Resolution resolution, MAT_TYPE type, unsigned char* ptr, size_t step, MEM mem);
    /// Wraps a user host buffer and a user GPU buffer (MEM_BOTH), without owning them; steps are checked
    /// and host rows treated as in the single-buffer form.
    Mat(size_t width, size_t height, MAT_TYPE type, unsigned char* ptrCPU, size_t stepCPU,
        unsigned char* ptrGPU, size_t stepGPU);
    /// Wraps a user host buffer and a user GPU buffer of `resolution` (MEM_BOTH), without owning them.
    Mat(Resolution resolution, MAT_TYPE type, unsigned char* ptrCPU, size_t stepCPU, unsigned char* ptrGPU,
        size_t stepGPU);
    /// Shares the other Mat's buffers without owning them (see ref); copies no pixels.
    Mat(const Mat& other);
    /// Shares the other Mat's buffers without owning them (see ref); copies no pixels.
    Mat& operator=(const Mat& other);
    /// Takes over an owning `other`'s storage as move() does, leaving `other` empty; refers to the buffers of
    /// a referring `other`, as a copy does. The name goes with the storage, so a std::vector<Mat> that grows
    /// keeps every element owning and named.
    Mat(Mat&& other) noexcept;
    /// Frees what this Mat owns, then takes `other`'s storage as the move constructor does; a self-move
    /// changes nothing.
    Mat& operator=(Mat&& other) noexcept;
    /// Releases what this Mat owns; a buffer lives on while another Mat shares it.
    ~Mat();

    /// Frees, then allocates an owned grid: host rows packed, GPU rows pitched. MEM_BOTH is served by one
    /// mapped buffer (MEM_UNIFIED). Runtime failures are reported on standard output; a size whose bytes
    /// overflow, or a host array the allocator refuses, is logged. The Mat still ends owning, bufferless.
    void alloc(size_t width, size_t height, MAT_TYPE type, MEM mem = MEM::CPU);
    /// Same as alloc(resolution.width, resolution.height, type, mem).
    void alloc(Resolution resolution, MAT_TYPE type, MEM mem = MEM::CPU);
    /// Releases the owned side(s) named by `mem`; a reference or the last side emptied ends empty.
    void free(MEM mem = MEM_BOTH);
    /// Makes this Mat a reference to `other`'s buffers (nothing when `other` is empty); the name is kept.
    void ref(const Mat& other);
    /// Hands this Mat's owned storage to `dst`; FAILURE, changing nothing, when this Mat owns nothing.
    ERROR_CODE move(Mat& dst);
    /// Exchanges the owned storage of `a` and `b`; a side that only refers to storage ends empty.
    static void swap(Mat& a, Mat& b);

    /// Copies this Mat's content into `dst`, (re)allocating it only when its size, type or side does not
    /// fit. Copies on `stream` and returns without waiting; a null stream copies synchronously.
    ERROR_CODE copyTo(Mat& dst, COPY_TYPE type = COPY_TYPE::CPU_CPU, cudaStream_t stream = nullptr) const;
    /// Copies `src` into this Mat, as `src.copyTo(*this, type, stream)`. Copies on `stream` and returns
    /// without waiting; a null stream copies synchronously.
    ERROR_CODE setFrom(const Mat& src, COPY_TYPE type = COPY_TYPE::CPU_CPU, cudaStream_t stream = nullptr);
    /// Makes the host buffer hold the GPU content, adding a packed host buffer to an owned GPU Mat. Copies on
    /// `stream` and returns without waiting (a null stream copies synchronously); managed and mapped
    /// memory wait for `stream` so that the host may read at once. FAILURE for a one-sided reference.
    ERROR_CODE updateCPUfromGPU(cudaStream_t stream = nullptr);
    /// Makes the GPU buffer hold the host content, adding a pitched GPU buffer to an owned host Mat. Copies
    /// on `stream` and returns without waiting; a null stream copies synchronously. Managed memory is
    /// attached to `stream` alone, or to every stream when `stream` is null (the runtime cannot attach memory
    /// to the null stream alone). `reserved` is ignored.
    ERROR_CODE updateGPUfromCPU(cudaStream_t stream = nullptr, int reserved = 0);
    /// Makes this Mat an owning deep copy of `src` (MEM_BOTH becomes one mapped buffer); FAILURE when
    /// `src` is empty.
    ERROR_CODE clone(const Mat& src);

    /// Typed buffer: GPU for GPU and MEM_MANAGED, host for CPU, null otherwise. No check of type or state.
    template <typename T>
    typename detail::ElementCheck<T>::Pointer getPtr(MEM mem = MEM::CPU) const;
    /// Writes `value` into every element on side `mem` (CPU or GPU); T must match the element size. The GPU
    /// fill is queued on `stream` (the default stream when null) and returns without waiting.
    template <typename T>
    typename detail::ElementCheck<T>::Status setTo(const T& value, MEM mem = MEM::CPU,
                                                   cudaStream_t stream = nullptr);
    /// Writes element (x, y) on side `mem`. Neither the coordinates nor T are checked: the caller keeps
    /// them inside the grid. A GPU write is synchronous.
    template <typename T>
    typename detail::ElementCheck<T>::Status setValue(size_t x, size_t y, const T& value, MEM mem = MEM::CPU);
    /// Reads element (x, y) of side `mem` into `*value`, zeroed first; FAILURE outside the grid or when T's
    /// size differs from the element size. A GPU read is synchronous.
    template <typename T>
    typename detail::ElementCheck<T>::Status getValue(size_t x, size_t y, T* value, MEM mem = MEM::CPU) const;

    /// Writes the content to `filePath` as its extension (after the last ".", case-sensitive) and the type
    /// select: an image, a depth map (F32_C1) or a point cloud (F32_C3, F32_C4). `compression` 0..100, -1 for
    /// the default, sets the PNG level or JPEG quality; `mem` GPU first refreshes the host copy from the GPU.
    ERROR_CODE write(const String& filePath, MEM mem = MEM::CPU, int compression = -1);
    /// Replaces the content with the image decoded from `filePath` into a new host buffer (one 8-bit channel
    /// when no MAT_TYPE fits); FAILURE, leaving the Mat as it was, when nothing can be decoded. DICOM files
    /// are refused (logged): their decoder can abort the process on malformed input.
    ERROR_CODE read(const String& filePath);

    /// Row step of side `mem`: stepGPU for GPU and MEM_MANAGED, stepCPU for CPU, 0 for other values.
    size_t getStepBytes(MEM mem = MEM::CPU) const;
    /// One line: name (or address when the name is empty), time stamp, size, channels, type, memory, owner.
    String getInfos() const;

    /// Number of columns.
    size_t getWidth() const { return width; }
    /// Number of rows.
    size_t getHeight() const { return height; }
    /// Values per element, 1 to 4; 0 for an empty Mat.
    size_t getChannels() const { return channels; }
    /// Element type; meaningful only once the Mat is initialized.
    MAT_TYPE getDataType() const { return dataType; }
    /// Where the buffers are: CPU, GPU or one of the MEM_* constants.
    MEM getMemoryType() const { return memType; }
    /// Bytes per element: channels times the size of one value.
    size_t getPixelBytes() const { return pixelBytes; }
    /// Width and height as one Resolution.
    Resolution getResolution() const { return Resolution(width, height); }
    /// True when sizes and buffers describe valid storage.
    bool isInit() const { return initialized; }
    /// True when this Mat allocated its buffers; false for references and wrapped user memory.
    bool isMemoryOwner() const { return memoryOwner; }
};

/// Converts a U8_C4 image with a GPU side into `dst` as S8_C4 on the GPU, each channel shifted by -128,
/// (re)allocating `dst` when it does not fit. Queued on `stream` (the default stream when null); returns
/// without waiting. FAILURE for an empty, host-only or differently typed `src`.
VELA_API ERROR_CODE convertImage(Mat& src, Mat& dst, cudaStream_t stream = nullptr);

}  // namespace vela
