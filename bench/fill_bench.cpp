// Host setTo for each element type, at both frame sizes, against memset (the limit: bytes written) and
// std::fill of the same element value over the same bytes, in the same run. The fill value has equal bytes
// (0x3C) in every type, so memset writes exactly what setTo and std::fill write.

#include <algorithm>
#include <cstring>
#include <string>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

constexpr unsigned char kByte = 0x3C;

template <typename T>
T fillValue() {
    T value;
    std::memset(static_cast<void*>(&value), kByte, sizeof value);
    return value;
}

void countBytes(benchmark::State& state, const Mat& mat) {
    state.SetBytesProcessed(
        static_cast<int64_t>(state.iterations() * mat.width * mat.height * mat.pixelBytes));
}

template <typename T>
void fill_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat mat(size.width, size.height, type);
    const T value = fillValue<T>();
    for (auto _ : state) {
        if (mat.setTo(value) != ERROR_CODE::SUCCESS) state.SkipWithError("setTo failed");
        benchmark::ClobberMemory();
    }
    countBytes(state, mat);
}

template <typename T>
void fill_std(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat mat(size.width, size.height, type);
    const T value = fillValue<T>();
    T* begin = mat.getPtr<T>();
    for (auto _ : state) {
        std::fill(begin, begin + mat.width * mat.height, value);
        benchmark::ClobberMemory();
    }
    countBytes(state, mat);
}

void fill_memset(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat mat(size.width, size.height, type);
    for (auto _ : state) {
        std::memset(mat.getPtr<unsigned char>(), kByte, mat.width * mat.height * mat.pixelBytes);
        benchmark::ClobberMemory();
    }
    countBytes(state, mat);
}

template <typename T>
void registerType(MAT_TYPE type, const char* typeName) {
    for (const Size size : kSizes) {
        const std::string operation = std::string("setTo_") + typeName;
        add(operation, size, "vela", fill_vela<T>, type);
        add(operation, size, "fill", fill_std<T>, type);
        add(operation, size, "memset", fill_memset, type);
    }
}

[[maybe_unused]] const bool registered = [] {
    registerType<float>(MAT_TYPE::F32_C1, "F32_C1");
    registerType<Vector2<float>>(MAT_TYPE::F32_C2, "F32_C2");
    registerType<Vector3<float>>(MAT_TYPE::F32_C3, "F32_C3");
    registerType<Vector4<float>>(MAT_TYPE::F32_C4, "F32_C4");
    registerType<unsigned char>(MAT_TYPE::U8_C1, "U8_C1");
    registerType<Vector2<unsigned char>>(MAT_TYPE::U8_C2, "U8_C2");
    registerType<Vector3<unsigned char>>(MAT_TYPE::U8_C3, "U8_C3");
    registerType<Vector4<unsigned char>>(MAT_TYPE::U8_C4, "U8_C4");
    registerType<unsigned short>(MAT_TYPE::U16_C1, "U16_C1");
    registerType<Vector4<char>>(MAT_TYPE::S8_C4, "S8_C4");
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela
