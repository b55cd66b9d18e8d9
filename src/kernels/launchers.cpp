// The kernel launchers' host side: which operation serves a grid, and how wide its accesses may be. Built
// into the library and into the simulated device's build alike, so the simulator runs this code too.

#include <cstring>
#include <type_traits>

#include "kernels/grid_ops.hpp"
#include "kernels/kernels.hpp"
#include "kernels/launch.hpp"
#include "kernels/point_cloud_kernels.hpp"
#include "mat/element_table.hpp"

namespace vela {
namespace {

launch::Pitched pitched(const void* data, size_t step, size_t rowBytes, size_t rows, size_t alignment) {
    launch::Pitched grid;
    grid.data = static_cast<unsigned char*>(const_cast<void*>(data));
    grid.step = step;
    grid.rowBytes = rowBytes;
    grid.rows = rows;
    grid.alignment = alignment;
    return grid;
}

// The fill of width x height elements of `value` with one access of type Word per element.
template <typename Word, typename T>
cudaError_t fillAs(const T& value, const void* gpu, size_t width, size_t height, size_t stepBytes,
                   size_t alignment, cudaStream_t stream) {
    static_assert(sizeof(Word) == sizeof(T), "one access per element");
    ops::Fill<Word> op;
    op.grid = pitched(gpu, stepBytes, width * sizeof(T), height, alignment);
    std::memcpy(static_cast<void*>(&op.value), &value, sizeof(T));
    return launch::run2d(op, width, height, stream);
}

// The word type of an element of `Bytes` bytes: one access per element where the buffer is aligned.
template <size_t Bytes>
struct WordOf {
    using type = void;
};
template <>
struct WordOf<1> {
    using type = unsigned char;
};
template <>
struct WordOf<2> {
    using type = unsigned short;
};
template <>
struct WordOf<4> {
    using type = unsigned int;
};
template <>
struct WordOf<8> {
    using type = uint2;
};
template <>
struct WordOf<16> {
    using type = uint4;
};

template <typename T>
cudaError_t fillGrid(const T& value, T* gpu, size_t width, size_t height, size_t stepBytes,
                     cudaStream_t stream) {
    using Word = typename WordOf<sizeof(T)>::type;
    if constexpr (!std::is_void<Word>::value) {
        if (launch::aligned(gpu, stepBytes, sizeof(Word)))
            return fillAs<Word>(value, gpu, width, height, stepBytes, sizeof(Word), stream);
    }
    return fillAs<T>(value, gpu, width, height, stepBytes, alignof(T), stream);
}

}  // namespace

template <typename T>
cudaError_t cu_matSetToGPU(const T& value, T* gpu, size_t width, size_t height, size_t stepBytes,
                           cudaStream_t stream) {
    return fillGrid(value, gpu, width, height, stepBytes, stream);
}

#define VELA_INSTANTIATE_FILL(T, ...) \
    template cudaError_t cu_matSetToGPU<T>(const T&, T*, size_t, size_t, size_t, cudaStream_t);
VELA_FOR_EACH_ELEMENT_TYPE(VELA_INSTANTIATE_FILL)
#undef VELA_INSTANTIATE_FILL

cudaError_t cu_cvt2Signed(const Vector4<unsigned char>* src, Vector4<char>* dst, size_t srcStepBytes,
                          size_t dstStepBytes, Resolution resolution, cudaStream_t stream) {
    const size_t width = resolution.width;
    const size_t height = resolution.height;
    if (launch::aligned(src, srcStepBytes, 4) && launch::aligned(dst, dstStepBytes, 4)) {
        ops::Cvt2SignedWords op;
        op.src = pitched(src, srcStepBytes, width * 4, height, 4);
        op.dst = pitched(dst, dstStepBytes, width * 4, height, 4);
        return launch::run2d(op, width, height, stream);
    }
    ops::Cvt2SignedBytes op;
    op.src = pitched(src, srcStepBytes, width * 4, height, 1);
    op.dst = pitched(dst, dstStepBytes, width * 4, height, 1);
    return launch::run2d(op, width * 4, height, stream);
}

template <typename T>
cudaError_t cu_applyFactor(T* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                           cudaStream_t stream) {
    // Every float is scaled: a row is flat floats, whatever the element.
    constexpr size_t kFloats = std::is_same<T, float>::value ? 1 : 3;
    static_assert(sizeof(T) == kFloats * sizeof(float), "float or Vector3<float> elements");
    ops::ScaleFlat op;
    op.grid = pitched(gpu, stepBytes, width * sizeof(T), height, alignof(float));
    op.factor = factor;
    return launch::run2d(op, width * kFloats, height, stream);
}
template cudaError_t cu_applyFactor<float>(float*, float, size_t, size_t, size_t, cudaStream_t);
template cudaError_t cu_applyFactor<Vector3<float>>(Vector3<float>*, float, size_t, size_t, size_t,
                                                    cudaStream_t);

cudaError_t cu_applyFactor4f(Vector4<float>* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                             cudaStream_t stream) {
    const size_t rowBytes = width * sizeof(Vector4<float>);
    if (launch::aligned(gpu, stepBytes, 16)) {
        ops::ScaleQuads op;
        op.grid = pitched(gpu, stepBytes, rowBytes, height, 16);
        op.factor = factor;
        return launch::run2d(op, width, height, stream);
    }
    ops::ScaleXyz op;
    op.grid = pitched(gpu, stepBytes, rowBytes, height, alignof(float));
    op.factor = factor;
    return launch::run2d(op, width, height, stream);
}

namespace {

// The 3x3 block of the row-major matrix whose rows are `stride` floats apart.
ops::Matrix3 block3(const float* matrix, size_t stride) {
    ops::Matrix3 block;
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            block.m[3 * row + column] = matrix[row * stride + column];
    return block;
}

}  // namespace

cudaError_t cu_applyMat3f(Vector3<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream) {
    ops::Transform<3> op;
    op.grid = pitched(gpu, stepBytes, width * sizeof(Vector3<float>), height, alignof(float));
    op.matrix = block3(matrix, 3);
    return launch::run2d(op, width, height, stream);
}

cudaError_t cu_applyMat4f(Vector4<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream) {
    const size_t rowBytes = width * sizeof(Vector4<float>);
    if (launch::aligned(gpu, stepBytes, 16)) {
        ops::TransformQuads op;
        op.grid = pitched(gpu, stepBytes, rowBytes, height, 16);
        op.matrix = block3(matrix, 4);
        return launch::run2d(op, width, height, stream);
    }
    ops::Transform<4> op;
    op.grid = pitched(gpu, stepBytes, rowBytes, height, alignof(float));
    op.matrix = block3(matrix, 4);
    return launch::run2d(op, width, height, stream);
}

namespace {

// The back-projection of the grid's shape, chosen here once rather than per pixel.
template <bool DepthIsU16>
cudaError_t runDepth(const elementwise::DepthToCloudGrid& grid, cudaStream_t stream) {
    const auto run = [&](auto op) {
        op.g = grid;
        return launch::run2d(op, grid.width, grid.height, stream);
    };
    if (grid.cloudChannels == 3) return run(ops::DepthToCloud<DepthIsU16, 0, 3>());
    if (grid.colourChannels == 3) return run(ops::DepthToCloud<DepthIsU16, 3, 4>());
    if (grid.colourChannels == 4) return run(ops::DepthToCloud<DepthIsU16, 4, 4>());
    return run(ops::DepthToCloud<DepthIsU16, 0, 4>());
}

}  // namespace

cudaError_t cu_depthToPointCloud(const elementwise::DepthToCloudGrid& grid, cudaStream_t stream) {
    return grid.depthIsU16 != 0 ? runDepth<true>(grid, stream) : runDepth<false>(grid, stream);
}

cudaError_t cu_transformPointCloud(const elementwise::RigidCloudGrid& grid, cudaStream_t stream) {
    ops::TransformCloud op;
    op.g = grid;
    return launch::run2d(op, grid.width, grid.height, stream);
}

cudaError_t cu_scalePointCloud(const elementwise::ScaleCloudGrid& grid, cudaStream_t stream) {
    ops::ScaleCloud op;
    op.g = grid;
    return launch::run2d(op, grid.width, grid.height, stream);
}

}  // namespace vela
